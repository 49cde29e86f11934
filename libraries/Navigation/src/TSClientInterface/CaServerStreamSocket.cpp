#include <TSClientInterface/CaServerStreamSocket.h>

#include <TSClientInterface/SocketPlatform.h>
#include <TSClientInterface/SocketResult.h>
#include <tbrCore/Log.h>

#include <iostream>

namespace platform = tbr::platform;

CaServerStreamSocket::CaServerStreamSocket() : CaStreamSocket(false, true) {}

CaServerStreamSocket::CaServerStreamSocket(int descriptor) : CaStreamSocket(descriptor, true)
{
    m_IsOpen = true;
    sendAtOnce();
}

void CaServerStreamSocket::sendAtOnce()
{
    if (!platform::setNoDelay(m_Descriptor))
        TBR_LOG("ERROR") << "setsockopt(TCP_NODELAY) failed" << std::endl;
}

int CaServerStreamSocket::open(int portNumber)
{
    return openAt(platform::anyAddress(portNumber));
}

int CaServerStreamSocket::open(const std::string& bindAddress, int portNumber)
{
    platform::SocketAddress address;
    if (platform::parseAddress(bindAddress, portNumber, address))
        return openAt(address);
    TBR_LOG("ERROR") << "bind(): failed" << std::endl;
    return SocketResult::NOT_CONNECTED;
}

int CaServerStreamSocket::openAt(const platform::SocketAddress& address)
{
    if (m_Descriptor < 0 || m_IsOpen)
        return SocketResult::NOT_CONNECTED;
    const int result = bindTo(address);
    if (result != SocketResult::SUCCESS)
        return result;
    m_IsOpen = true;
    sendAtOnce();
    return SocketResult::SUCCESS;
}

int CaServerStreamSocket::getPortNumber() const
{
    return getLocalPort();
}

int CaServerStreamSocket::listen()
{
    if (m_Descriptor != 0 && platform::listenOn(m_Descriptor, m_Backlog))
        return SocketResult::SUCCESS;
    TBR_LOG("ERROR") << "invalid descriptor" << std::endl;
    return SocketResult::NOT_CONNECTED;
}

int CaServerStreamSocket::waitForClientRequest(int& socket, std::string& clientName)
{
    const int result = listen();
    if (result != SocketResult::SUCCESS)
        return result;
    platform::SocketAddress client;
    socket = platform::acceptConnection(m_Descriptor, client);
    if (socket > 0)
    {
        clientName = platform::toDotted(client);
        return SocketResult::SUCCESS;
    }
    std::cout << "invalid socket from accept call (" + std::to_string(socket) + ")." << std::flush;
    return SocketResult::NOT_CONNECTED;
}

int CaServerStreamSocket::waitForClientRequest2(int* socket, std::string* clientName)
{
    return waitForClientRequest(*socket, *clientName);
}
