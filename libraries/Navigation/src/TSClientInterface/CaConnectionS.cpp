#include <TSClientInterface/CaConnectionS.h>

CaConnectionS::CaConnectionS() = default;

CaConnectionS::~CaConnectionS()
{
    delete m_Socket;
}

int CaConnectionS::connect(int port)
{
    m_PortNumber = port;
    delete m_Socket;
    m_Socket = nullptr;
    m_Socket = createSocket();
    return m_Socket->open(port);
}

bool CaConnectionS::isReadyToReceive() const
{
    return m_Socket && m_Socket->isOpen() && m_Socket->isReadyToRead();
}
