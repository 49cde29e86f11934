#include <TSClientInterface/CaConnection.h>

#include <TSClientInterface/SocketResult.h>

namespace
{

// What connect() reports differs from what the socket reports.
constexpr int HOST_IS_UNKNOWN = -3;
constexpr int CONNECTION_FAILED = -5;

int toConnectionResult(int socketResult)
{
    switch (socketResult)
    {
    case SocketResult::UNKNOWN_HOST:
        return HOST_IS_UNKNOWN;
    case SocketResult::NOT_CONNECTED:
        return CONNECTION_FAILED;
    default:
        return socketResult;
    }
}

} // namespace

CaConnection::CaConnection() = default;

CaConnection::~CaConnection()
{
    delete m_Socket;
}

int CaConnection::connect(const char* host, int port)
{
    if (m_Socket)
        disconnect();
    m_HostName = host ? m_HostNames.insert(host).first->c_str() : nullptr;
    m_PortNumber = port;
    m_Socket = createSocket();
    const int result = m_Socket->open(host, port);
    if (result != SocketResult::SUCCESS)
        disconnect();
    return toConnectionResult(result);
}

int CaConnection::disconnect()
{
    delete m_Socket;
    m_Socket = nullptr;
    m_HostName = nullptr;
    return SocketResult::SUCCESS;
}

bool CaConnection::isReadyToReceive() const
{
    return m_Socket && m_Socket->isReadyToRead();
}
