#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#endif

/// The bytes written as hexadecimal digits, two for each; blanks between them do not count.
inline std::string bytes(const std::string& hexadecimal)
{
    std::string result;
    std::string digits;
    for (const char c : hexadecimal)
    {
        if (c == ' ')
            continue;
        digits += c;
        if (digits.size() < 2)
            continue;
        result += static_cast<char>(std::stoi(digits, nullptr, 16));
        digits.clear();
    }
    return result;
}

/// A socket on the loopback interface that knows nothing of packets: the other end of the sockets under test, byte by
/// byte. A step that goes wrong fails the test; nothing waits longer than PATIENCE.
class PlainSocket
{
public:
    static constexpr std::chrono::seconds PATIENCE{30};

    /// A stream socket that listens on a port of the system's choice.
    static PlainSocket listening()
    {
        PlainSocket socket = ofKind(SOCK_STREAM);
        socket.bindToLoopback();
        EXPECT_EQ(::listen(socket.m_Handle, 1000), 0);
        return socket;
    }
    /// A stream socket connected to a port of this machine.
    static PlainSocket connectedTo(int port)
    {
        PlainSocket socket;
        EXPECT_TRUE(socket.tryConnect(port)) << "nobody listens on port " << port;
        return socket;
    }
    /// The same from another address of this machine's own, such as 127.0.0.2.
    static PlainSocket connectedFrom(const char* address, int port)
    {
        PlainSocket socket = ofKind(SOCK_STREAM);
        sockaddr_in own = loopback(0);
        EXPECT_EQ(::inet_pton(AF_INET, address, &own.sin_addr), 1);
        EXPECT_EQ(::bind(socket.m_Handle, reinterpret_cast<const sockaddr*>(&own), sizeof own), 0) << address;
        EXPECT_TRUE(socket.connectHandle(port)) << "nobody listens on port " << port;
        return socket;
    }
    /// A datagram socket on a port of the system's choice.
    static PlainSocket dataGram()
    {
        PlainSocket socket = ofKind(SOCK_DGRAM);
        socket.bindToLoopback();
        return socket;
    }
    /// A datagram socket without a port.
    static PlainSocket unboundDataGram() { return ofKind(SOCK_DGRAM); }
    /// Owns a descriptor that is there already.
    static PlainSocket adopt(int descriptor) { return PlainSocket(toHandle(descriptor)); }
    /// A port on which nobody listens.
    static int freePort() { return PlainSocket::listening().port(); }

    /// A TCP option or socket option of any descriptor.
    static int optionOf(int descriptor, int level, int option)
    {
        int value = 0; // of which a system may fill the first byte only
        socklen_t size = sizeof value;
        EXPECT_EQ(::getsockopt(toHandle(descriptor), level, option, reinterpret_cast<char*>(&value), &size), 0);
        return value;
    }

    /// The port of the peer that any descriptor is connected to; 0 when it is not connected or no socket.
    static int peerPortOf(int descriptor)
    {
        sockaddr_in peer = {};
        socklen_t size = sizeof peer;
        return ::getpeername(toHandle(descriptor), reinterpret_cast<sockaddr*>(&peer), &size) == 0
                   ? ntohs(peer.sin_port)
                   : 0;
    }

    /// No socket yet; assign one.
    PlainSocket() = default;
    PlainSocket(PlainSocket&& other) noexcept : m_Handle(std::exchange(other.m_Handle, NONE)) {}
    PlainSocket& operator=(PlainSocket&& other) noexcept
    {
        std::swap(m_Handle, other.m_Handle);
        return *this;
    }
    ~PlainSocket() { close(); }

    bool isOpen() const { return m_Handle != NONE; }

    int port() const
    {
        sockaddr_in address = {};
        socklen_t size = sizeof address;
        EXPECT_EQ(::getsockname(m_Handle, reinterpret_cast<sockaddr*>(&address), &size), 0);
        return ntohs(address.sin_port);
    }

    /// Becomes a stream socket connected to a port of this machine; false while nobody listens there.
    bool tryConnect(int port)
    {
        *this = ofKind(SOCK_STREAM);
        return connectHandle(port);
    }

    /// The next connection of a listening socket.
    PlainSocket accept()
    {
        start();
        EXPECT_TRUE(waitForInput(PATIENCE)) << "nobody connects";
        return PlainSocket(::accept(m_Handle, nullptr, nullptr));
    }

    /// Gives the descriptor away; this object is empty then.
    int release() { return static_cast<int>(std::exchange(m_Handle, NONE)); }

    /// Whether there is a byte, a closed peer or an error to fetch within the time.
    bool waitForInput(std::chrono::milliseconds limit) const
    {
#ifdef _WIN32
        WSAPOLLFD watched = {m_Handle, POLLRDNORM, 0};
        return ::WSAPoll(&watched, 1, static_cast<int>(limit.count())) > 0;
#else
        pollfd watched = {m_Handle, POLLIN, 0};
        return ::poll(&watched, 1, static_cast<int>(limit.count())) > 0;
#endif
    }

    /// Whether so many bytes, which stay here, arrive while PATIENCE lasts.
    bool waitForBytes(std::size_t count)
    {
        std::string seen(count, '\0');
        const auto end = std::chrono::steady_clock::now() + PATIENCE;
        while (std::chrono::steady_clock::now() < end && waitForInput(PATIENCE))
            if (static_cast<std::size_t>(::recv(m_Handle, &seen[0], static_cast<Size>(count), MSG_PEEK)) == count)
                return true;
        return false;
    }

    /// Lets small pieces leave at once instead of waiting for the peer to confirm the ones before.
    void sendWithoutDelay()
    {
        const int on = 1;
        ::setsockopt(m_Handle, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&on), sizeof on);
    }

    void send(const std::string& data)
    {
        ASSERT_TRUE(trySend(data)) << "the peer takes no bytes";
    }

    /// False when the peer takes no bytes any more.
    bool trySend(const std::string& data)
    {
        std::size_t sent = 0;
        while (sent < data.size())
        {
            const auto count = ::send(m_Handle, data.data() + sent, static_cast<Size>(data.size() - sent), FLAGS);
            if (count <= 0)
                return false;
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }

    /// Exactly `size` bytes; fewer when the peer closes before, or PATIENCE ends.
    std::string receive(std::size_t size)
    {
        std::string data(size, '\0');
        std::size_t received = 0;
        while (received < size && waitForInput(PATIENCE))
        {
            const auto count = ::recv(m_Handle, &data[received], static_cast<Size>(size - received), 0);
            if (count <= 0)
                break;
            received += static_cast<std::size_t>(count);
        }
        data.resize(received);
        return data;
    }

    /// Whether the peer closes, without a further byte, while PATIENCE lasts.
    bool seesPeerClose()
    {
        char byte;
        return waitForInput(PATIENCE) && ::recv(m_Handle, &byte, 1, 0) <= 0;
    }

    /// Sends a datagram to a port of this machine.
    void sendTo(int port, const std::string& data)
    {
        const sockaddr_in peer = loopback(port);
        const auto sent = ::sendto(m_Handle, data.data(), static_cast<Size>(data.size()), FLAGS,
                                   reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
        EXPECT_EQ(static_cast<std::size_t>(sent), data.size());
    }

    /// The next datagram and the port it came from; empty when there is none while PATIENCE lasts.
    std::string receiveDataGram(int* senderPort = nullptr)
    {
        if (!waitForInput(PATIENCE))
            return {};
        std::string data(65536, '\0');
        sockaddr_in sender = {};
        socklen_t senderSize = sizeof sender;
        const auto count = ::recvfrom(m_Handle, &data[0], static_cast<Size>(data.size()), 0,
                                      reinterpret_cast<sockaddr*>(&sender), &senderSize);
        EXPECT_GE(count, 0);
        data.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
        if (senderPort)
            *senderPort = ntohs(sender.sin_port);
        return data;
    }

    /// Tells the peer that no more bytes come; receiving goes on.
    void endSending()
    {
        ::shutdown(m_Handle, 1);
    }

    void close()
    {
        const Handle handle = std::exchange(m_Handle, NONE);
        if (handle == NONE)
            return;
#ifdef _WIN32
        ::closesocket(handle);
#else
        ::close(handle);
#endif
    }

    /// Closes with a reset, as a crashed machine does when it is back: the peer's next receive fails.
    void abort()
    {
        linger atOnce = {};
        atOnce.l_onoff = 1;
        ::setsockopt(m_Handle, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&atOnce), sizeof atOnce);
        close();
    }

private:
#ifdef _WIN32
    using Handle = SOCKET;
    using Size = int;
    static constexpr Handle NONE = INVALID_SOCKET;
    static constexpr int FLAGS = 0;

    /// One start for each socket, and never an end: a CaSocket that adopts one ends Windows' sockets without having
    /// started them, if it is the last.
    static void start()
    {
        WSADATA details;
        EXPECT_EQ(::WSAStartup(MAKEWORD(2, 2), &details), 0);
    }
#else
    using Handle = int;
    using Size = std::size_t;
    static constexpr Handle NONE = -1;
    static constexpr int FLAGS = MSG_NOSIGNAL;

    static void start() {}
#endif

    explicit PlainSocket(Handle handle) : m_Handle(handle)
    {
        EXPECT_NE(m_Handle, NONE);
    }

    static PlainSocket ofKind(int kind)
    {
        start();
        return PlainSocket(::socket(AF_INET, kind, 0));
    }

    static Handle toHandle(int descriptor)
    {
        return static_cast<Handle>(descriptor);
    }

    static sockaddr_in loopback(int port)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    bool connectHandle(int port)
    {
        const sockaddr_in peer = loopback(port);
        return ::connect(m_Handle, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0;
    }

    void bindToLoopback()
    {
        const sockaddr_in address = loopback(0);
        EXPECT_EQ(::bind(m_Handle, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }

    Handle m_Handle = NONE;
};

/// Two ends of one connection.
struct PlainPair
{
    PlainPair()
    {
        PlainSocket listener = PlainSocket::listening();
        here = PlainSocket::connectedTo(listener.port());
        there = listener.accept();
    }

    PlainSocket here;
    PlainSocket there;
};
