#pragma once

#include <TSClientInterface/CaSocket.h>
#include <TSClientInterface/SocketPlatform.h>

/// A datagram (UDP) socket that answers whoever wrote last. new --open()--> open until destroyed.
///
/// Results as those of CaClientSocket, and -6 also when receiving failed.
class TBR_NAVIGATION_EXPORT CaServerSocket : public CaSocket
{
public:
    /// A new socket in blocking mode, not open.
    CaServerSocket();

    /// Binds to a port on every address of this machine. Returns 0, or -3 when it is open already or on failure.
    int open(int portNumber);
    bool isOpen() const { return m_IsOpen; }

    /// Receives one datagram, at most `*size` bytes of it, stores the count in `*size` and remembers the sender. Waits
    /// at most `timeoutMs` milliseconds, without end if negative.
    int read(void* buffer, int* size, long timeoutMs) override;
    /// Sends one datagram to the sender of the last one received; -5 when there was none yet.
    int write(const void* buffer, int size) override;

protected:
    bool m_IsOpen = false;
    tbr::platform::SocketAddress m_ClientAddress; ///< sender of the last datagram received
};
