#pragma once

#include <TSClientInterface/CaServerSocket.h>

/// The server's side of a connection over datagrams. A derived class decides on the socket.
///
/// Ownership: the connection owns its socket. Thread: one at a time.
class TBR_NAVIGATION_EXPORT CaConnectionS
{
public:
    CaConnectionS();
    virtual ~CaConnectionS();
    CaConnectionS(const CaConnectionS&) = delete;
    CaConnectionS& operator=(const CaConnectionS&) = delete;

    /// Receives on a port of this machine from now on, with a new socket; one of an earlier call is closed first.
    /// Returns the result of the socket's open(): 0 or -3.
    int connect(int port);
    /// Whether a read of the socket would find something; false while there is no open socket.
    bool isReadyToReceive() const;

protected:
    /// Makes the socket to use, never null. The caller owns it.
    virtual CaServerSocket* createSocket() = 0;

    CaServerSocket* m_Socket = nullptr;
    long m_Timeout = 1000; ///< milliseconds, for those who use the connection
    int m_PortNumber = -1; ///< the port last given to connect()
};
