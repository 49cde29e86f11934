#include <TSClientInterface/CaServerSocket.h>

#include <TSClientInterface/SocketResult.h>
#include <tbrCore/Log.h>

namespace platform = tbr::platform;

CaServerSocket::CaServerSocket() : CaSocket(true, true) {}

int CaServerSocket::open(int portNumber)
{
    if (m_Descriptor < 0 || m_IsOpen)
        return SocketResult::NOT_CONNECTED;
    const int result = bindTo(platform::anyAddress(portNumber));
    m_IsOpen = result == SocketResult::SUCCESS;
    return result;
}

int CaServerSocket::read(void* buffer, int* size, long timeoutMs)
{
    if (!m_IsOpen)
    {
        TBR_LOG("ERROR") << "attempt to read from a closed socket" << std::endl;
        return SocketResult::NOT_OPEN;
    }
    const int ready = waitForInput(timeoutMs);
    if (ready != SocketResult::SUCCESS)
        return ready;
    const int received = platform::receiveFrom(m_Descriptor, buffer, *size, m_ClientAddress);
    if (received < 0)
    {
        TBR_LOG("ERROR") << "recvfrom(): failed" << std::endl;
        return SocketResult::RECEIVE_FAILED;
    }
    *size = received;
    return SocketResult::SUCCESS;
}

int CaServerSocket::write(const void* buffer, int size)
{
    if (!m_IsOpen)
    {
        TBR_LOG("ERROR") << "attempt to write to a closed socket" << std::endl;
        return SocketResult::NOT_OPEN;
    }
    if (size >= 0 && platform::sendTo(m_Descriptor, buffer, size, m_ClientAddress) == size)
        return SocketResult::SUCCESS;
    TBR_LOG("ERROR") << "sendto(): failed" << std::endl;
    return SocketResult::NOT_SENT;
}
