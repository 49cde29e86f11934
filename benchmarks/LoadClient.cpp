#include "LoadClient.h"

#include <TSClientInterface/SocketPlatform.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace platform = tbr::platform;

namespace
{

constexpr int NONE = -1;
constexpr int KIND_END = Exchange::HEADER_SIZE + 1;

/// The packet at `bytes`, of which the header and the kind have arrived, must be the expected one.
void check(const char* bytes, const Exchange::Packet& expected)
{
    const int size = static_cast<unsigned char>(bytes[0]) << 8 | static_cast<unsigned char>(bytes[1]);
    const int kind = static_cast<unsigned char>(bytes[Exchange::HEADER_SIZE]);
    if (size == expected.size && kind == static_cast<int>(expected.kind))
        return;
    throw std::runtime_error("the server answered a packet of kind " + std::to_string(kind) + " and " +
                             std::to_string(size) + " bytes, expected were kind " +
                             std::to_string(static_cast<int>(expected.kind)) + " and " + std::to_string(expected.size));
}

} // namespace

LoadClient::LoadClient(int port) : m_Descriptor(platform::createSocket(false))
{
    platform::SocketAddress server;
    if (!platform::parseAddress("127.0.0.1", port, server) || !platform::connectSocket(m_Descriptor, server) ||
        !platform::setNoDelay(m_Descriptor))
    {
        platform::closeSocket(m_Descriptor);
        throw std::runtime_error("no connection to the server at port " + std::to_string(port));
    }
    try
    {
        perform(Exchange::connect());
    }
    catch (...)
    {
        platform::closeSocket(m_Descriptor);
        throw;
    }
}

LoadClient::LoadClient(LoadClient&& other) noexcept
    : m_Descriptor(std::exchange(other.m_Descriptor, NONE)), m_Answer(std::move(other.m_Answer))
{
}

LoadClient::~LoadClient()
{
    if (m_Descriptor != NONE)
        platform::closeSocket(m_Descriptor);
}

void LoadClient::abort()
{
    platform::shutdownSocket(m_Descriptor);
}

void LoadClient::perform(const Exchange& exchange)
{
    const int size = static_cast<int>(exchange.request.size());
    if (platform::sendBytes(m_Descriptor, exchange.request.data(), size) != size)
        throw std::runtime_error("the server takes no requests any more");
    receiveAnswer(exchange);
}

void LoadClient::receiveAnswer(const Exchange& exchange)
{
    const int size = exchange.answerSize();
    m_Answer.resize(static_cast<std::size_t>(size));
    bool isStartChecked = false;
    for (int received = 0; received < size;)
    {
        const int count = platform::receiveBytes(m_Descriptor, m_Answer.data() + received, size - received);
        if (count <= 0)
            throw std::runtime_error("the server did not answer in full: " + std::to_string(received) + " of " +
                                     std::to_string(size) + " bytes came");
        received += count;
        if (!isStartChecked && received >= KIND_END) // at once: an error is shorter than what is waited for
        {
            check(m_Answer.data(), exchange.answer.front());
            isStartChecked = true;
        }
    }
    check(m_Answer.data() + size - Exchange::HEADER_SIZE - exchange.answer.back().size, exchange.answer.back());
}
