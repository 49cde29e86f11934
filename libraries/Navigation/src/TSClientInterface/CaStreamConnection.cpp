#include <TSClientInterface/CaStreamConnection.h>

#include <TSClientInterface/SocketResult.h>
#include <tbrCore/Log.h>

CaStreamConnection::CaStreamConnection() = default;

CaStreamConnection::~CaStreamConnection()
{
    delete m_Socket;
}

int CaStreamConnection::connect(const char* host, int port)
{
    if (!host)
        TBR_LOG("ERROR") << "invalid hostname (NULL)" << std::endl;
    m_HostName = host ? host : "";
    if (m_Socket)
        m_FormerSockets.emplace_back(m_Socket);
    m_Socket = nullptr;
    m_Socket = createSocket();
    return m_Socket->open(host, port);
}

int CaStreamConnection::disconnect()
{
    delete m_Socket;
    m_Socket = nullptr;
    m_HostName.clear();
    return SocketResult::SUCCESS;
}

bool CaStreamConnection::isConnected() const
{
    return m_Socket != nullptr;
}

bool CaStreamConnection::isReadyToReceive() const
{
    return isConnected() && m_Socket && m_Socket->isReadyToRead();
}

int CaStreamConnection::getPortNumber() const
{
    return m_Socket ? m_Socket->getPortNumber() : -1;
}
