#include <TSClientInterface/SocketPlatform.h>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <winsock2.h>
#include <ws2tcpip.h>

#include <mstcpip.h>
#include <windows.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#ifndef TCP_MAXRT // in Windows' own headers, not in every compiler's
#define TCP_MAXRT 5
#endif

namespace tbr
{
namespace platform
{

namespace
{

static_assert(sizeof(SocketAddress) == sizeof(sockaddr_in), "an address is stored as the system lays it out");

/// Socket handles fit 32 bits on every Windows; -1 becomes INVALID_SOCKET and back.
SOCKET toHandle(int descriptor)
{
    return static_cast<SOCKET>(static_cast<INT_PTR>(descriptor));
}

int toDescriptor(SOCKET handle)
{
    if (handle == INVALID_SOCKET)
        return -1;
    SetHandleInformation(reinterpret_cast<HANDLE>(handle), HANDLE_FLAG_INHERIT, 0);
    return static_cast<int>(handle);
}

sockaddr_in toSystem(const SocketAddress& address)
{
    sockaddr_in result;
    std::memcpy(&result, address.bytes, sizeof result);
    return result;
}

SocketAddress fromSystem(const sockaddr_in& address)
{
    SocketAddress result;
    std::memcpy(result.bytes, &address, sizeof address);
    return result;
}

SocketAddress makeAddress(in_addr host, int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr = host;
    return fromSystem(address);
}

template <class Value>
bool setOption(int descriptor, int level, int option, const Value& value)
{
    return setsockopt(toHandle(descriptor), level, option, reinterpret_cast<const char*>(&value), sizeof value) == 0;
}

/// Whether an accept failed because its client did not wait for it. (The last is Wine's word for it.)
bool hasPeerGone(int error)
{
    return error == WSAECONNRESET || error == WSAECONNABORTED || error == WSAENOTCONN;
}

/// Whether another socket has the address of a stream socket that is to be bound.
///
/// Here a socket that reuses addresses would even be bound to the port on which another one listens, and clients would
/// reach either of them by chance. A socket that does not reuse addresses is told the truth.
bool isTaken(const sockaddr_in& address)
{
    const SOCKET probe = socket(AF_INET, SOCK_STREAM, 0);
    if (probe == INVALID_SOCKET)
        return false;
    const bool isFree = bind(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const bool isInUse = !isFree && (WSAGetLastError() == WSAEADDRINUSE || WSAGetLastError() == WSAEACCES);
    closesocket(probe);
    return isInUse;
}

} // namespace

bool startSockets(int& error)
{
    WSADATA details;
    if (WSAStartup(MAKEWORD(2, 2), &details) == 0)
        return true;
    error = WSAGetLastError();
    return false;
}

void endSockets()
{
    WSACleanup();
}

int createSocket(bool dataGram)
{
    return toDescriptor(socket(AF_INET, dataGram ? SOCK_DGRAM : SOCK_STREAM, 0));
}

void closeSocket(int descriptor)
{
    closesocket(toHandle(descriptor));
}

void shutdownSocket(int descriptor)
{
    shutdown(toHandle(descriptor), SD_BOTH);
    // A pending accept or receive of another thread does not notice the shutdown by itself.
    CancelIoEx(reinterpret_cast<HANDLE>(toHandle(descriptor)), nullptr);
}

bool getSocketKind(int descriptor, bool& isStream)
{
    int type = 0;
    int size = sizeof type;
    if (getsockopt(toHandle(descriptor), SOL_SOCKET, SO_TYPE, reinterpret_cast<char*>(&type), &size) != 0)
        return false;
    isStream = type == SOCK_STREAM;
    return true;
}

bool setReuseAddress(int descriptor)
{
    const char value[4] = {'1'};
    return setOption(descriptor, SOL_SOCKET, SO_REUSEADDR, value);
}

bool setNonBlocking(int descriptor, bool nonBlocking)
{
    u_long value = nonBlocking ? 1 : 0;
    return ioctlsocket(toHandle(descriptor), static_cast<long>(FIONBIO), &value) == 0;
}

bool setReceiveBufferSize(int descriptor, int size)
{
    return setOption(descriptor, SOL_SOCKET, SO_RCVBUF, size);
}

bool setSendBufferSize(int descriptor, int size)
{
    return setOption(descriptor, SOL_SOCKET, SO_SNDBUF, size);
}

bool setNoDelay(int descriptor)
{
    const int on = 1;
    return setOption(descriptor, IPPROTO_TCP, TCP_NODELAY, on);
}

bool setKeepAlive(int descriptor, const KeepAlive& keepAlive)
{
    // The number of probes is fixed (10): the interval is chosen so that all of them take as long as was asked for.
    constexpr int FIXED_PROBES = 10;
    tcp_keepalive values = {};
    values.onoff = 1;
    values.keepalivetime = static_cast<u_long>(1000 * keepAlive.idleSeconds);
    values.keepaliveinterval = static_cast<u_long>(1000 * keepAlive.probes * keepAlive.intervalSeconds / FIXED_PROBES);
    // How long what was sent may stay without an answer. Not every version of the system lets it be chosen.
    const DWORD limitSeconds = static_cast<DWORD>(keepAlive.idleSeconds + keepAlive.probes * keepAlive.intervalSeconds);
    setOption(descriptor, IPPROTO_TCP, TCP_MAXRT, limitSeconds);
    DWORD written = 0;
    return WSAIoctl(toHandle(descriptor), SIO_KEEPALIVE_VALS, &values, sizeof values, nullptr, 0, &written, nullptr,
                    nullptr) == 0;
}

SocketAddress anyAddress(int port)
{
    in_addr host;
    host.s_addr = htonl(INADDR_ANY);
    return makeAddress(host, port);
}

bool parseAddress(const std::string& dotted, int port, SocketAddress& address)
{
    in_addr host;
    if (inet_pton(AF_INET, dotted.c_str(), &host) != 1)
        return false;
    address = makeAddress(host, port);
    return true;
}

bool resolveHost(const char* hostName, int port, SocketAddress& address)
{
    if (!hostName || !*hostName) // the system would take "" for this machine
        return false;
    addrinfo wanted = {};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(hostName, nullptr, &wanted, &found) != 0)
        return false;
    sockaddr_in first;
    std::memcpy(&first, found->ai_addr, sizeof first);
    freeaddrinfo(found);
    address = makeAddress(first.sin_addr, port);
    return true;
}

std::string toDotted(const SocketAddress& address)
{
    const sockaddr_in system = toSystem(address);
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &system.sin_addr, text, sizeof text);
    return text;
}

bool bindSocket(int descriptor, const SocketAddress& address)
{
    const sockaddr_in local = toSystem(address);
    bool isStream = false;
    if (getSocketKind(descriptor, isStream) && isStream && local.sin_port != 0 && isTaken(local))
        return false;
    return bind(toHandle(descriptor), reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0;
}

bool connectSocket(int descriptor, const SocketAddress& address)
{
    const sockaddr_in peer = toSystem(address);
    return connect(toHandle(descriptor), reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0;
}

bool listenOn(int descriptor, int backlog)
{
    return getBoundPort(descriptor) > 0 && listen(toHandle(descriptor), backlog) == 0;
}

int acceptConnection(int descriptor, SocketAddress& peer)
{
    sockaddr_in address = {};
    SOCKET accepted = INVALID_SOCKET;
    do // a client that has gone already is reported as a failure, which must not be taken for one of this machine's
    {
        int size = sizeof address;
        accepted = accept(toHandle(descriptor), reinterpret_cast<sockaddr*>(&address), &size);
    } while (accepted == INVALID_SOCKET && hasPeerGone(WSAGetLastError()));
    peer = fromSystem(address);
    return toDescriptor(accepted);
}

int getBoundPort(int descriptor)
{
    sockaddr_in address = {};
    int size = sizeof address;
    if (getsockname(toHandle(descriptor), reinterpret_cast<sockaddr*>(&address), &size) != 0 || address.sin_port == 0)
        return -1;
    return ntohs(address.sin_port);
}

int waitReadable(int descriptor, std::chrono::microseconds limit)
{
    fd_set watched;
    FD_ZERO(&watched);
    FD_SET(toHandle(descriptor), &watched);
    timeval time = {};
    time.tv_sec = static_cast<long>(limit.count() / 1000000);
    time.tv_usec = static_cast<long>(limit.count() % 1000000);
    const int result = select(0, &watched, nullptr, nullptr, limit.count() < 0 ? nullptr : &time);
    return result == SOCKET_ERROR ? -1 : result;
}

bool isPeerGone(int descriptor)
{
    WSAPOLLFD watched = {toHandle(descriptor), POLLRDNORM, 0};
    const int ready = WSAPoll(&watched, 1, 0);
    if (ready == 0)
        return false;
    char byte;
    return ready < 0 || (watched.revents & (POLLHUP | POLLERR | POLLNVAL)) ||
           recv(toHandle(descriptor), &byte, 1, MSG_PEEK) <= 0;
}

int receiveBytes(int descriptor, void* buffer, int size)
{
    if (size < 0)
        return -1;
    return recv(toHandle(descriptor), static_cast<char*>(buffer), size, 0);
}

int receiveAvailable(int descriptor, void* buffer, int size)
{
    const int ready = waitReadable(descriptor, std::chrono::microseconds(0));
    return ready > 0 ? receiveBytes(descriptor, buffer, size) : ready;
}

/// The system has a limit, but a socket on which it has passed cannot be relied upon any more.
bool setReceiveLimit(int, std::chrono::milliseconds)
{
    return false;
}

int receiveWithinLimit(int descriptor, void* buffer, int size)
{
    return receiveBytes(descriptor, buffer, size);
}

int receiveFrom(int descriptor, void* buffer, int size, SocketAddress& sender)
{
    if (size < 0)
        return -1;
    sockaddr_in address = {};
    int addressSize = sizeof address;
    const int received = recvfrom(toHandle(descriptor), static_cast<char*>(buffer), size, 0,
                                  reinterpret_cast<sockaddr*>(&address), &addressSize);
    if (received >= 0)
        sender = fromSystem(address);
    return received;
}

int sendBytes(int descriptor, const void* data, int size)
{
    if (size < 0)
        return -1;
    return send(toHandle(descriptor), static_cast<const char*>(data), size, 0);
}

int sendWithin(int descriptor, const void* data, int size, std::chrono::microseconds limit)
{
    using Clock = std::chrono::steady_clock;
    if (size < 0 || !setNonBlocking(descriptor, true))
        return -1;
    const Clock::time_point deadline = Clock::now() + limit;
    const char* const bytes = static_cast<const char*>(data);
    int sent = 0;
    bool isGood = true;
    bool isOutOfTime = false;
    while (isGood && sent < size)
    {
        const int count = send(toHandle(descriptor), bytes + sent, size - sent, 0);
        sent += std::max(count, 0);
        if (count >= 0)
            continue;
        const bool isFull = WSAGetLastError() == WSAEWOULDBLOCK;
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        const int restMs = limit.count() < 0 ? -1 : static_cast<int>(std::clamp<std::int64_t>(rest, 0, INT_MAX));
        WSAPOLLFD watched = {toHandle(descriptor), POLLWRNORM, 0};
        const int ready = isFull ? WSAPoll(&watched, 1, restMs) : -1;
        isGood = ready > 0;
        isOutOfTime = ready == 0;
    }
    setNonBlocking(descriptor, false);
    return isGood || isOutOfTime || sent > 0 ? sent : -1;
}

int sendTo(int descriptor, const void* data, int size, const SocketAddress& receiver)
{
    if (size < 0)
        return -1;
    const sockaddr_in address = toSystem(receiver);
    return sendto(toHandle(descriptor), static_cast<const char*>(data), size, 0,
                  reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

} // namespace platform
} // namespace tbr
