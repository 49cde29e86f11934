#pragma once

/// Results that all sockets and connections share.
namespace SocketResult
{

constexpr int SUCCESS = 0;
constexpr int NOT_OPEN = -1;       ///< the socket is not open
constexpr int NOTHING_YET = -2;    ///< time is up, or only a part of a packet has arrived: call again
constexpr int NOT_CONNECTED = -3;  ///< open, bind, connect, listen or accept failed
constexpr int UNKNOWN_HOST = -4;   ///< the host name could not be resolved
constexpr int NOT_SENT = -5;       ///< sending failed, or the packet is too large
constexpr int RECEIVE_FAILED = -6; ///< waiting or receiving failed, or the receiving state is invalid
constexpr int PEER_CLOSED = -7;    ///< the peer closed the connection, or receiving failed while a header was due

} // namespace SocketResult
