#pragma once

#include <TSClientInterface/CaClientStreamSocket.h>

#include <memory>
#include <string>
#include <vector>

/// A client's connection over a stream socket that remembers where it points. A derived class decides on the socket.
/// unconnected --connect()--> connected (a socket exists, open or not) --disconnect()--> unconnected
///
/// Ownership: the connection owns its sockets. Thread: one at a time.
class TBR_NAVIGATION_EXPORT CaStreamConnection
{
public:
    CaStreamConnection();
    virtual ~CaStreamConnection();
    CaStreamConnection(const CaStreamConnection&) = delete;
    CaStreamConnection& operator=(const CaStreamConnection&) = delete;

    /// Connects with a new socket and returns the result of its open(): 0, -3 or -4. A failed socket stays in place; a
    /// socket of an earlier call that was not disconnected stays open, out of use, until this object is destroyed.
    /// A null host is logged and then fails as an unknown one.
    virtual int connect(const char* host, int port);
    /// Destroys the socket and forgets the host name. Returns 0, also when there was nothing to end.
    virtual int disconnect();
    /// Whether a socket exists, which says nothing about its being open.
    virtual bool isConnected() const;

protected:
    /// Makes the socket to use, never null. The caller owns it.
    virtual CaClientStreamSocket* createSocket() = 0;

public:
    /// Whether a read of the socket would find something; false while unconnected.
    bool isReadyToReceive() const;
    /// The host's name as given to connect(), empty while unconnected. Valid until the next connect or disconnect.
    const char* getHostName() const { return m_HostName.c_str(); }
    /// The socket's port, -1 without a socket.
    int getPortNumber() const;

protected:
    CaClientStreamSocket* m_Socket = nullptr;
    long m_Timeout = 1000; ///< milliseconds, for those who use the connection
    std::string m_HostName;

private:
    std::vector<std::unique_ptr<CaClientStreamSocket>> m_FormerSockets; // replaced, but never disconnected
};
