#pragma once

#include <TSBase/Export.h>

#include <chrono>
#include <string>

/// What differs between operating systems when sockets are used. One source per platform keeps these promises.
///
/// All sockets are IPv4 and never inherited by child processes. A signal neither ends a call early nor is one ever
/// raised by a peer that has gone. A negative descriptor makes every call fail. Any thread may call; what one call does
/// to a descriptor that another thread closes meanwhile is the caller's affair.
namespace tbr
{
namespace platform
{

/// An IPv4 address and port as the system lays them out. All zero means none.
struct SocketAddress
{
    alignas(4) unsigned char bytes[16] = {};
};

/// After how many seconds of silence a peer is asked for a sign of life, how often then, and how many requests may stay
/// without an answer before the connection counts as lost.
struct KeepAlive
{
    int idleSeconds;
    int intervalSeconds;
    int probes;
};

/// Starts the system's sockets, where they need a start. On failure returns false with the system's error number in
/// `error`. Every start needs one endSockets().
TBR_NAVIGATION_EXPORT bool startSockets(int& error);
TBR_NAVIGATION_EXPORT void endSockets();

/// A new datagram or stream socket in blocking mode; negative on failure and never 0.
TBR_NAVIGATION_EXPORT int createSocket(bool dataGram);
TBR_NAVIGATION_EXPORT void closeSocket(int descriptor);

/// Ends both directions of a connection. A thread that is blocked in receiving, sending or accepting on this descriptor
/// returns; the descriptor stays valid until it is closed. On Windows a call that is just about to wait can miss it:
/// call again until it has returned.
TBR_NAVIGATION_EXPORT void shutdownSocket(int descriptor);

/// Tells whether the socket is a stream socket; false is returned on failure, and `isStream` is left alone then.
TBR_NAVIGATION_EXPORT bool getSocketKind(int descriptor, bool& isStream);
/// Options of a socket; false on failure. Sizes are in bytes.
TBR_NAVIGATION_EXPORT bool setReuseAddress(int descriptor);
TBR_NAVIGATION_EXPORT bool setNonBlocking(int descriptor, bool nonBlocking);
TBR_NAVIGATION_EXPORT bool setReceiveBufferSize(int descriptor, int size);
TBR_NAVIGATION_EXPORT bool setSendBufferSize(int descriptor, int size);
TBR_NAVIGATION_EXPORT bool setNoDelay(int descriptor);
/// Makes a connection whose peer is gone without a word fail after idleSeconds + probes * intervalSeconds, whether it
/// is idle or has sent what nobody acknowledges (where the system lets that be chosen). A peer that is there, but
/// leaves the system's buffers full for as long, counts as gone, too.
TBR_NAVIGATION_EXPORT bool setKeepAlive(int descriptor, const KeepAlive& keepAlive);

/// Every address of this machine. Of `port` the lower 16 bits count; 0 lets the system choose.
TBR_NAVIGATION_EXPORT SocketAddress anyAddress(int port);
/// The address written as four decimal numbers with dots. False, with `address` left alone, when it is anything else.
TBR_NAVIGATION_EXPORT bool parseAddress(const std::string& dotted, int port, SocketAddress& address);
/// The first address of a host name or dotted address. False, with `address` left alone, when there is none or
/// `hostName` is null. Blocks while the system looks the name up.
TBR_NAVIGATION_EXPORT bool resolveHost(const char* hostName, int port, SocketAddress& address);
/// The four decimal numbers with dots.
TBR_NAVIGATION_EXPORT std::string toDotted(const SocketAddress& address);

TBR_NAVIGATION_EXPORT bool bindSocket(int descriptor, const SocketAddress& address);
/// Connects, or fixes the peer of a datagram socket. Blocks until it is decided if the socket is in blocking mode.
TBR_NAVIGATION_EXPORT bool connectSocket(int descriptor, const SocketAddress& address);
/// Lets a bound socket take connections; fails for a socket that was never bound.
TBR_NAVIGATION_EXPORT bool listenOn(int descriptor, int backlog);
/// The descriptor of the next connection and its peer's address; negative on failure and never 0.
TBR_NAVIGATION_EXPORT int acceptConnection(int descriptor, SocketAddress& peer);
/// The local port, -1 when the socket is not bound.
TBR_NAVIGATION_EXPORT int getBoundPort(int descriptor);

/// Waits until the socket can be read (also: the peer has closed, or there is an error to fetch). Returns 1 when it
/// can, 0 when time is up, -1 on failure. A limit of 0 only looks; a negative one waits without limit.
TBR_NAVIGATION_EXPORT int waitReadable(int descriptor, std::chrono::microseconds limit);
/// Whether the peer of a connection closed its side or is gone; never waits, takes no byte. A descriptor that cannot be
/// looked at counts as gone. Where the system cannot tell, unread bytes hide a closed peer.
TBR_NAVIGATION_EXPORT bool isPeerGone(int descriptor);

/// Receives what is there, at most `size` bytes, waiting for the first one in blocking mode. Returns the count, 0 when
/// the peer of a connection has closed, -1 on failure.
TBR_NAVIGATION_EXPORT int receiveBytes(int descriptor, void* buffer, int size);
/// The same without ever waiting: 0 also when nothing is there.
TBR_NAVIGATION_EXPORT int receiveAvailable(int descriptor, void* buffer, int size);
/// Sets how long receiveWithinLimit() waits on this socket, 1 ms or more. False where the system has no such limit.
TBR_NAVIGATION_EXPORT bool setReceiveLimit(int descriptor, std::chrono::milliseconds limit);
/// As receiveBytes() in blocking mode, in a single call of the system, but -1 is also returned when the limit of
/// setReceiveLimit() has passed, or a signal came: waitReadable() tells how things are then.
TBR_NAVIGATION_EXPORT int receiveWithinLimit(int descriptor, void* buffer, int size);
/// The same as receiveBytes() for one datagram; also tells its sender.
TBR_NAVIGATION_EXPORT int receiveFrom(int descriptor, void* buffer, int size, SocketAddress& sender);
/// Sends. Returns the count of bytes taken, which in blocking mode is `size` unless the connection ends meanwhile, or
/// -1 on failure.
TBR_NAVIGATION_EXPORT int sendBytes(int descriptor, const void* data, int size);
/// Sends on a socket in blocking mode, but waits for room no longer than `limit` in all. A limit of 0 sends what fits;
/// a negative one waits without limit. Returns the count of bytes taken, which is less than `size` when time was up or
/// the connection ended, or -1 on failure.
TBR_NAVIGATION_EXPORT int sendWithin(int descriptor, const void* data, int size, std::chrono::microseconds limit);
/// Sends one datagram. Returns the count of bytes taken, -1 on failure.
TBR_NAVIGATION_EXPORT int sendTo(int descriptor, const void* data, int size, const SocketAddress& receiver);

} // namespace platform
} // namespace tbr
