#pragma once

#include <TSClientInterface/CaClientSocket.h>

#include <set>
#include <string>

/// A client's connection over a datagram socket that remembers where it points. A derived class decides on the socket.
/// unconnected --connect() succeeds--> connected --disconnect()--> unconnected
///
/// Ownership: the connection owns its socket. Thread: one at a time.
class TBR_NAVIGATION_EXPORT CaConnection
{
public:
    CaConnection();
    virtual ~CaConnection();
    CaConnection(const CaConnection&) = delete;
    CaConnection& operator=(const CaConnection&) = delete;

    /// Ends an existing connection and connects to a port of a host. Returns 0; -3 when there is no such host; -5 when
    /// the connection could not be made; other results of the socket's open() as they are. After a failure the
    /// connection is unconnected.
    virtual int connect(const char* host, int port);
    /// Destroys the socket and forgets the host name. Returns 0, also when there was nothing to end.
    virtual int disconnect();

protected:
    /// Makes the socket to use: a new CaClientSocket or one derived from it, never null. The caller owns it.
    virtual CaClientSocket* createSocket() = 0;

public:
    /// Whether a socket exists.
    bool isConnected() const { return m_Socket != nullptr; }
    /// Whether a read of the socket would find something; false while unconnected.
    bool isReadyToReceive() const;
    /// The host's name as given to connect(), null while unconnected. The text stays valid as long as this object.
    const char* getHostName() const { return m_HostName; }
    /// The port last given to connect() or setPortNumber(), -1 before.
    int getPortNumber() const { return m_PortNumber; }
    /// The time limit for answers in milliseconds, for those who use the connection; 1000 at first.
    long getTimeout() const { return m_Timeout; }
    void setTimeout(long milliseconds) { m_Timeout = milliseconds; }

protected:
    void setPortNumber(int port) { m_PortNumber = port; }

    CaClientSocket* m_Socket = nullptr;
    long m_Timeout = 1000;
    const char* m_HostName = nullptr; ///< one of m_HostNames, null while unconnected
    int m_PortNumber = -1;

private:
    std::set<std::string> m_HostNames; // all ever connected to: callers may hold on to a name beyond its connection
};
