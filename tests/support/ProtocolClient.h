#pragma once

#include <support/PlainSocket.h>
#include <support/WireBytes.h>

#include <string>
#include <vector>

/// A client of a tool server that frames its packets and nothing else: what is in them is the test's affair. A step
/// that goes wrong fails the test; nothing waits longer than PlainSocket::PATIENCE.
class ProtocolClient
{
public:
    /// Connects to a port of this machine, without a packet yet.
    explicit ProtocolClient(int port) : m_Socket(PlainSocket::connectedTo(port)) {}
    /// Connects and agrees on the order of numbers.
    ProtocolClient(int port, wire::Order order) : ProtocolClient(port) { greet(order); }

    void send(const std::string& packet) { m_Socket.send(wire::framed(packet)); }

    /// The payload of the next packet; empty when the server closes the connection instead.
    std::string receive()
    {
        const std::string header = m_Socket.receive(2);
        if (header.size() < 2)
            return {};
        const auto byte = [&header](std::size_t i)
        { return static_cast<std::size_t>(static_cast<unsigned char>(header[i])); };
        const std::size_t size = byte(0) << 8 | byte(1);
        const std::string payload = m_Socket.receive(size);
        EXPECT_EQ(payload.size(), size) << "the packet is cut short";
        return payload;
    }

    std::string ask(const std::string& packet)
    {
        send(packet);
        return receive();
    }

    /// All answers to a request that is answered tool by tool, up to and with the acknowledgement (or what else is no
    /// packet of `kind` and no error of 264 bytes).
    std::vector<std::string> askAll(const std::string& packet)
    {
        std::vector<std::string> answers;
        send(packet);
        do
            answers.push_back(receive());
        while (answers.back().size() > 4);
        return answers;
    }

    /// Connects with protocol version 1.
    void greet(wire::Order order = wire::Order::HOST)
    {
        const std::string probe = order == wire::Order::HOST ? "00000001" : "01000000";
        EXPECT_EQ(ask(bytes("15000000 00000001" + probe)), bytes("15000000 00000001 00000001"));
    }

    /// Whether the server still answers: an unknown request is refused.
    bool isServed() { return ask(bytes("00")) == wire::failure(11, "Unsupported request on client socket."); }

    /// Whether the server closes the connection without a further byte.
    bool seesServerClose() { return m_Socket.seesPeerClose(); }

    /// The connection itself, for whatever is not a packet.
    PlainSocket& socket() { return m_Socket; }

private:
    PlainSocket m_Socket;
};
