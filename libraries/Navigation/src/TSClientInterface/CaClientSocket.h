#pragma once

#include <TSClientInterface/CaSocket.h>

/// A datagram (UDP) socket that sends to, and receives from, one peer. new --open()--> open until destroyed.
///
/// Results (SocketResult.h): 0 done, -1 not open, -2 no datagram in time, -3 open failed, -4 unknown host, -5 not sent,
/// -6 waiting failed.
class TBR_NAVIGATION_EXPORT CaClientSocket : public CaSocket
{
public:
    /// A new socket in blocking mode, not open.
    CaClientSocket();

    /// Fixes the peer: the first address of a host name or dotted address. No datagram travels yet, so a peer that does
    /// not exist shows only later. Returns 0; -3 when it is open already or on failure; -4 when there is no such host.
    int open(const char* hostName, int portNumber);

    /// Receives one datagram, at most `*size` bytes of it, and stores the count in `*size`. Waits at most `timeoutMs`
    /// milliseconds, without end if negative. The result is 0 also when receiving itself failed, as after a peer
    /// refused an earlier datagram; `*size` is -1 then.
    int read(void* buffer, int* size, long timeoutMs) override;
    /// Sends one datagram. Returns 0, -1 or -5.
    int write(const void* buffer, int size) override;
    /// The same read for a caller who knows the datagram's size and does not ask for the count.
    virtual int read(void* buffer, int size, long timeoutMs);

protected:
    bool m_IsOpen = false;
};
