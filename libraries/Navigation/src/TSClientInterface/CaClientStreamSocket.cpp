#include <TSClientInterface/CaClientStreamSocket.h>

#include <TSClientInterface/SocketResult.h>
#include <tbrCore/Log.h>

CaClientStreamSocket::CaClientStreamSocket() : CaStreamSocket(false, true) {}

int CaClientStreamSocket::open(const char* hostName, int portNumber)
{
    m_PortNumber = portNumber;
    if (m_Descriptor < 0 || m_IsOpen)
        return SocketResult::NOT_CONNECTED;
    const int result = connectToHost(hostName, portNumber);
    m_IsOpen = result == SocketResult::SUCCESS;
    return result;
}

int CaClientStreamSocket::close()
{
    TBR_LOG("ERROR") << "Sorry - not yet implemented!" << std::endl;
    return SocketResult::SUCCESS;
}
