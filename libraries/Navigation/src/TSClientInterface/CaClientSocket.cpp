#include <TSClientInterface/CaClientSocket.h>

#include <TSClientInterface/SocketPlatform.h>
#include <TSClientInterface/SocketResult.h>
#include <tbrCore/Log.h>

namespace platform = tbr::platform;

CaClientSocket::CaClientSocket() : CaSocket(true, true) {}

int CaClientSocket::open(const char* hostName, int portNumber)
{
    if (m_Descriptor < 0 || m_IsOpen)
        return SocketResult::NOT_CONNECTED;
    const int result = connectToHost(hostName, portNumber);
    m_IsOpen = result == SocketResult::SUCCESS;
    return result;
}

int CaClientSocket::read(void* buffer, int* size, long timeoutMs)
{
    if (!m_IsOpen)
    {
        TBR_LOG("ERROR") << "attempt to read from a closed socket" << std::endl;
        return SocketResult::NOT_OPEN;
    }
    const int ready = waitForInput(timeoutMs);
    if (ready == SocketResult::SUCCESS)
        *size = platform::receiveBytes(m_Descriptor, buffer, *size);
    return ready;
}

int CaClientSocket::read(void* buffer, int size, long timeoutMs)
{
    return CaClientSocket::read(buffer, &size, timeoutMs);
}

int CaClientSocket::write(const void* buffer, int size)
{
    if (!m_IsOpen)
    {
        TBR_LOG("ERROR") << "attempt to write to a closed socket" << std::endl;
        return SocketResult::NOT_OPEN;
    }
    if (size >= 0 && platform::sendBytes(m_Descriptor, buffer, size) == size)
        return SocketResult::SUCCESS;
    TBR_LOG("ERROR") << "write(): failed" << std::endl;
    return SocketResult::NOT_SENT;
}
