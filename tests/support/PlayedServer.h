#pragma once

#include <support/PlainSocket.h>
#include <support/WireBytes.h>

#include <future>
#include <string>

/// A tool server that the test plays, packet by packet or byte by byte. An answer may be sent before its request: the
/// client looks for it only after asking, so that one thread can do for both ends.
class PlayedServer
{
public:
    static const std::string& greeting()
    {
        static const std::string answer = bytes("15000000 00000001 00000001");
        return answer;
    }

    PlayedServer() : m_Listener(PlainSocket::listening()) {}

    int port() const { return m_Listener.port(); }

    /// Takes the next client that connects, in place of the present one, which is let go of.
    void accept() { connection = m_Listener.accept(); }

    /// Lets a client connect; returns while it waits for the answer to its greeting, which has been checked.
    template <class Client>
    std::future<int> admit(Client& client)
    {
        std::future<int> status =
            std::async(std::launch::async, [&client, port = port()] { return client.connect("127.0.0.1", port); });
        accept();
        EXPECT_EQ(request(), bytes("15000000 00000001 00000001"));
        return status;
    }

    /// Lets a client connect and returns the status that it gets.
    template <class Client>
    int greet(Client& client, const std::string& reply = greeting())
    {
        std::future<int> status = admit(client);
        answer(reply);
        return status.get();
    }

    void answer(const std::string& packet) { connection.send(wire::framed(packet)); }

    /// The next request; empty when the client closes instead.
    std::string request()
    {
        const std::string header = connection.receive(2);
        if (header.size() < 2)
            return {};
        const auto byte = [&header](std::size_t i)
        { return static_cast<std::size_t>(static_cast<unsigned char>(header[i])); };
        return connection.receive(byte(0) << 8 | byte(1));
    }

    PlainSocket connection;

private:
    PlainSocket m_Listener;
};
