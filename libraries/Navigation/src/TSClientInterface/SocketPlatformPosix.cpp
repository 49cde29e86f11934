#include <TSClientInterface/SocketPlatform.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace tbr
{
namespace platform
{

namespace
{

using Clock = std::chrono::steady_clock;

static_assert(sizeof(SocketAddress) == sizeof(sockaddr_in), "an address is stored as the system lays it out");

constexpr auto ADDRESS_SIZE = static_cast<socklen_t>(sizeof(sockaddr_in));

/// Calls again as long as a signal interrupts the call.
template <class Call>
auto repeatInterrupted(Call call)
{
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
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
    return setsockopt(descriptor, level, option, &value, sizeof value) == 0;
}

/// Descriptor 0 means "none" to the socket classes; a process without standard input would hand it out.
int awayFromZero(int descriptor)
{
    if (descriptor != 0)
        return descriptor;
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, 1);
    close(descriptor);
    return moved;
}

int pollTimeoutMs(std::chrono::microseconds limit, Clock::time_point deadline)
{
    if (limit.count() < 0)
        return -1;
    if (limit.count() == 0)
        return 0;
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(rest, 0, INT_MAX));
}

/// A connect that a signal interrupted goes on by itself; this waits for its outcome.
bool finishConnect(int descriptor)
{
    pollfd watched = {descriptor, POLLOUT, 0};
    if (repeatInterrupted([&] { return poll(&watched, 1, -1); }) < 0)
        return false;
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

} // namespace

bool startSockets(int&)
{
    return true;
}

void endSockets() {}

int createSocket(bool dataGram)
{
    return awayFromZero(socket(AF_INET, (dataGram ? SOCK_DGRAM : SOCK_STREAM) | SOCK_CLOEXEC, 0));
}

void closeSocket(int descriptor)
{
    close(descriptor);
}

void shutdownSocket(int descriptor)
{
    shutdown(descriptor, SHUT_RDWR);
}

bool getSocketKind(int descriptor, bool& isStream)
{
    int type = 0;
    socklen_t size = sizeof type;
    if (getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) != 0)
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
    const int flags = fcntl(descriptor, F_GETFL);
    return flags >= 0 && fcntl(descriptor, F_SETFL, nonBlocking ? flags | O_NONBLOCK : flags & ~O_NONBLOCK) == 0;
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
    const int on = 1;
    bool isSet = setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, on) &&
                 setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, keepAlive.idleSeconds) &&
                 setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, keepAlive.intervalSeconds) &&
                 setOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, keepAlive.probes);
#ifdef TCP_USER_TIMEOUT
    const unsigned int limitMs =
        1000U * static_cast<unsigned int>(keepAlive.idleSeconds + keepAlive.probes * keepAlive.intervalSeconds);
    isSet = isSet && setOption(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, limitMs);
#endif
    return isSet;
}

SocketAddress anyAddress(int port)
{
    return makeAddress({htonl(INADDR_ANY)}, port);
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
    if (!hostName)
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
    return bind(descriptor, reinterpret_cast<const sockaddr*>(&local), ADDRESS_SIZE) == 0;
}

bool connectSocket(int descriptor, const SocketAddress& address)
{
    const sockaddr_in peer = toSystem(address);
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&peer), ADDRESS_SIZE) == 0)
        return true;
    return errno == EINTR && finishConnect(descriptor);
}

bool listenOn(int descriptor, int backlog)
{
    // Without this, the system would silently choose a port for a socket that was never bound.
    return getBoundPort(descriptor) > 0 && listen(descriptor, backlog) == 0;
}

int acceptConnection(int descriptor, SocketAddress& peer)
{
    sockaddr_in address = {};
    const int accepted = repeatInterrupted(
        [&]
        {
            socklen_t size = ADDRESS_SIZE;
            return accept4(descriptor, reinterpret_cast<sockaddr*>(&address), &size, SOCK_CLOEXEC);
        });
    peer = fromSystem(address);
    return awayFromZero(accepted);
}

int getBoundPort(int descriptor)
{
    sockaddr_in address = {};
    socklen_t size = ADDRESS_SIZE;
    if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0 || address.sin_port == 0)
        return -1;
    return ntohs(address.sin_port);
}

int waitReadable(int descriptor, std::chrono::microseconds limit)
{
    if (descriptor < 0) // poll would ignore it and wait
        return -1;
    const Clock::time_point deadline = Clock::now() + limit;
    pollfd watched = {descriptor, POLLIN, 0};
    const int result = repeatInterrupted([&] { return poll(&watched, 1, pollTimeoutMs(limit, deadline)); });
    return result > 0 && (watched.revents & POLLNVAL) ? -1 : result;
}

bool isPeerGone(int descriptor)
{
#ifdef POLLRDHUP
    if (descriptor < 0)
        return true;
    pollfd watched = {descriptor, POLLRDHUP, 0};
    return repeatInterrupted([&] { return poll(&watched, 1, 0); }) != 0;
#else
    char byte;
    const auto count = repeatInterrupted([&] { return recv(descriptor, &byte, 1, MSG_PEEK | MSG_DONTWAIT); });
    return count == 0 || (count < 0 && errno != EAGAIN && errno != EWOULDBLOCK);
#endif
}

int receiveBytes(int descriptor, void* buffer, int size)
{
    if (size < 0)
        return -1;
    return static_cast<int>(
        repeatInterrupted([&] { return recv(descriptor, buffer, static_cast<std::size_t>(size), 0); }));
}

int receiveAvailable(int descriptor, void* buffer, int size)
{
    if (size < 0)
        return -1;
    const auto count =
        repeatInterrupted([&] { return recv(descriptor, buffer, static_cast<std::size_t>(size), MSG_DONTWAIT); });
    return count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) ? 0 : static_cast<int>(count);
}

bool setReceiveLimit(int descriptor, std::chrono::milliseconds limit)
{
    timeval time = {};
    time.tv_sec = static_cast<time_t>(limit.count() / 1000);
    time.tv_usec = static_cast<suseconds_t>(limit.count() % 1000 * 1000);
    return setOption(descriptor, SOL_SOCKET, SO_RCVTIMEO, time);
}

int receiveWithinLimit(int descriptor, void* buffer, int size)
{
    return size < 0 ? -1 : static_cast<int>(recv(descriptor, buffer, static_cast<std::size_t>(size), 0));
}

int receiveFrom(int descriptor, void* buffer, int size, SocketAddress& sender)
{
    if (size < 0)
        return -1;
    sockaddr_in address = {};
    const auto received = repeatInterrupted(
        [&]
        {
            socklen_t addressSize = ADDRESS_SIZE;
            return recvfrom(descriptor, buffer, static_cast<std::size_t>(size), 0,
                            reinterpret_cast<sockaddr*>(&address), &addressSize);
        });
    if (received >= 0)
        sender = fromSystem(address);
    return static_cast<int>(received);
}

int sendBytes(int descriptor, const void* data, int size)
{
    if (size < 0)
        return -1;
    const char* const bytes = static_cast<const char*>(data);
    int sent = 0;
    do // a signal may cut a blocking send short; what is left goes with the next one
    {
        const auto count = repeatInterrupted(
            [&] { return send(descriptor, bytes + sent, static_cast<std::size_t>(size - sent), MSG_NOSIGNAL); });
        if (count < 0)
            return sent > 0 ? sent : -1;
        sent += static_cast<int>(count);
    } while (sent < size);
    return sent;
}

int sendWithin(int descriptor, const void* data, int size, std::chrono::microseconds limit)
{
    if (descriptor < 0 || size < 0)
        return -1;
    const Clock::time_point deadline = Clock::now() + limit;
    const char* const bytes = static_cast<const char*>(data);
    int sent = 0;
    while (sent < size)
    {
        const auto rest = static_cast<std::size_t>(size - sent);
        const auto count =
            repeatInterrupted([&] { return send(descriptor, bytes + sent, rest, MSG_NOSIGNAL | MSG_DONTWAIT); });
        if (count >= 0)
        {
            sent += static_cast<int>(count);
            continue;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK)
            return sent > 0 ? sent : -1;
        pollfd watched = {descriptor, POLLOUT, 0};
        if (repeatInterrupted([&] { return poll(&watched, 1, pollTimeoutMs(limit, deadline)); }) <= 0)
            break;
    }
    return sent;
}

int sendTo(int descriptor, const void* data, int size, const SocketAddress& receiver)
{
    if (size < 0)
        return -1;
    const sockaddr_in address = toSystem(receiver);
    return static_cast<int>(repeatInterrupted(
        [&]
        {
            return sendto(descriptor, data, static_cast<std::size_t>(size), MSG_NOSIGNAL,
                          reinterpret_cast<const sockaddr*>(&address), ADDRESS_SIZE);
        }));
}

} // namespace platform
} // namespace tbr
