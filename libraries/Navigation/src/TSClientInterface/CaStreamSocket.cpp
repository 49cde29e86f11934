#include <TSClientInterface/CaStreamSocket.h>

#include <TSClientInterface/SocketPlatform.h>
#include <TSClientInterface/SocketResult.h>
#include <tbrCore/Log.h>

#include <QtEndian>

#include <cstdlib>
#include <cstring>

namespace platform = tbr::platform;

namespace
{

constexpr int HEADER_SIZE = 2;
constexpr int WRITE_BUFFER_SIZE = HEADER_SIZE + CaStreamSocket::MAX_WRITE_PACKEt_SIZE;
constexpr int READ_BUFFER_SIZE = HEADER_SIZE + 0xFFFF;

enum ReceivingState
{
    HEADER_DUE = 0,
    HEADER_PARTLY_THERE = 1,
    PAYLOAD_DUE = 2
};

char* allocate(int size)
{
    void* const buffer = std::malloc(static_cast<std::size_t>(size));
    Q_CHECK_PTR(buffer);
    return static_cast<char*>(buffer);
}

int reportReceiveFailure(int result)
{
    TBR_LOG("ERROR") << "recv(): failed" << std::endl;
    return result;
}

int reportNotSent()
{
    TBR_LOG("ERROR") << "send(): failed" << std::endl;
    return SocketResult::NOT_SENT;
}

int reportWriteToClosed()
{
    TBR_LOG("ERROR") << "attempt to write to a closed socket" << std::endl;
    return SocketResult::NOT_OPEN;
}

bool isWritableSize(int size)
{
    return size >= 0 && size <= CaStreamSocket::MAX_WRITE_PACKEt_SIZE;
}

} // namespace

constexpr int CaStreamSocket::MAX_WRITE_PACKEt_SIZE; // so that a Windows DLL has it, for callers that take its address

CaStreamSocket::CaStreamSocket(int descriptor, bool blocking) : CaSocket(descriptor, blocking)
{
    initBuffer();
}

CaStreamSocket::CaStreamSocket(bool dataGram, bool blocking) : CaSocket(dataGram, blocking)
{
    initBuffer();
}

CaStreamSocket::~CaStreamSocket()
{
    std::free(m_WriteBuffer);
    std::free(m_ReadBuffer);
}

void CaStreamSocket::initBuffer()
{
    m_ReceivingState = HEADER_DUE;
    m_ExpectedSize = 0;
    m_ReceivedSize = 0;
    m_WriteBuffer = allocate(WRITE_BUFFER_SIZE);
    m_ReadBuffer = allocate(READ_BUFFER_SIZE);
    m_WritePayload = m_WriteBuffer + HEADER_SIZE;
    m_ReadPayload = m_ReadBuffer + HEADER_SIZE;
}

unsigned short CaStreamSocket::swapSizeHeader(unsigned short size)
{
    return qToBigEndian(size);
}

int CaStreamSocket::receive(char* target, int size)
{
    return m_ReadAhead ? m_ReadAhead->receive(m_Descriptor, target, size)
                       : platform::receiveBytes(m_Descriptor, target, size);
}

void CaStreamSocket::enableReadAhead()
{
    if (!m_ReadAhead)
        m_ReadAhead = std::make_unique<ReadAhead>();
}

bool CaStreamSocket::hasReadAheadPacket() const
{
    if (!m_ReadAhead || m_ReceivingState != HEADER_DUE || m_ReadAhead->size() < HEADER_SIZE)
        return false;
    unsigned short header;
    std::memcpy(&header, m_ReadAhead->bytes(), sizeof header);
    const int payload = qFromBigEndian(header);
    return payload > 0 && m_ReadAhead->size() - HEADER_SIZE >= payload; // a packet of no bytes reads as a failure
}

int CaStreamSocket::read(void* buffer, int* size, long timeoutMs)
{
    const int result = read(size, timeoutMs);
    if (result != SocketResult::SUCCESS)
        return result;
    std::memcpy(buffer, m_ReadPayload, static_cast<std::size_t>(*size));
    return SocketResult::SUCCESS;
}

int CaStreamSocket::read(int* size, long timeoutMs)
{
    if (!m_IsOpen)
    {
        TBR_LOG("ERROR") << "attempt to read from a closed socket" << std::endl;
        return SocketResult::NOT_OPEN;
    }
    if (m_ReceivingState == PAYLOAD_DUE && m_ExpectedSize == m_ReceivedSize)
        return SocketResult::PEER_CLOSED; // receiving no bytes looks like a closed peer, and nothing is worth waiting
                                          // for
    if (timeoutMs >= 0 && (!m_ReadAhead || m_ReadAhead->size() == 0))
    {
        const int ready = waitForInput(timeoutMs);
        if (ready != SocketResult::SUCCESS)
            return ready;
    }
    switch (m_ReceivingState)
    {
    case HEADER_DUE:
        return receiveHeader(size, timeoutMs);
    case HEADER_PARTLY_THERE:
        return receiveRestOfHeader(size, timeoutMs);
    case PAYLOAD_DUE:
        return receivePayload(size);
    default:
        TBR_LOG("ERROR") << "Invalid receiving state - recv(): failed" << std::endl;
        return SocketResult::RECEIVE_FAILED;
    }
}

int CaStreamSocket::receiveHeader(int* size, long timeoutMs)
{
    const int received = receive(m_ReadBuffer, HEADER_SIZE);
    if (received < 0)
        return reportReceiveFailure(SocketResult::PEER_CLOSED);
    if (received == 0)
    {
        m_IsOpen = false;
        return SocketResult::PEER_CLOSED;
    }
    m_ReceivedSize = 0;
    return received == HEADER_SIZE ? expectPayload(size, timeoutMs) : expectRestOfHeader(received, size);
}

int CaStreamSocket::receiveRestOfHeader(int* size, long timeoutMs)
{
    const int missing = HEADER_SIZE - m_ReceivedSize;
    const int received = receive(m_ReadBuffer + m_ReceivedSize, missing);
    if (received < 0)
        return reportReceiveFailure(SocketResult::RECEIVE_FAILED);
    if (received == 0)
        return SocketResult::PEER_CLOSED;
    return received == missing ? expectPayload(size, timeoutMs) : expectRestOfHeader(received, size);
}

int CaStreamSocket::receivePayload(int* size)
{
    const int missing = m_ExpectedSize - m_ReceivedSize;
    const int received = receive(m_ReadPayload + m_ReceivedSize, missing);
    if (received < 0)
        return reportReceiveFailure(SocketResult::RECEIVE_FAILED);
    if (received == 0)
        return SocketResult::PEER_CLOSED;
    m_ReceivedSize += received;
    if (received < missing)
        return SocketResult::NOTHING_YET;
    *size = m_ReceivedSize;
    m_ReceivingState = HEADER_DUE;
    m_ExpectedSize = 0;
    m_ReceivedSize = 0;
    return SocketResult::SUCCESS;
}

int CaStreamSocket::expectPayload(int* size, long timeoutMs)
{
    unsigned short header;
    std::memcpy(&header, m_ReadBuffer, sizeof header);
    m_ReceivingState = PAYLOAD_DUE;
    m_ReceivedSize = 0;
    m_ExpectedSize = swapSizeHeader(header);
    return read(size, timeoutMs);
}

int CaStreamSocket::expectRestOfHeader(int received, int* size)
{
    m_ReceivingState = HEADER_PARTLY_THERE;
    m_ReceivedSize += received;
    m_ExpectedSize = HEADER_SIZE;
    *size = 0;
    return SocketResult::NOTHING_YET;
}

int CaStreamSocket::write(const void* buffer, int size)
{
    if (!isWritableSize(size))
    {
        TBR_LOG("ERROR") << "can't handle packet size " << size << " (MAX_WRITE_PACKEt_SIZE: " << MAX_WRITE_PACKEt_SIZE
                         << ")" << std::endl;
        return SocketResult::NOT_SENT;
    }
    if (size > 0)
        std::memcpy(m_WritePayload, buffer, static_cast<std::size_t>(size));
    return write(size);
}

int CaStreamSocket::write(int size)
{
    if (!m_IsOpen)
        return reportWriteToClosed();
    if (!isWritableSize(size)) // its bytes could not stand in the buffer
        return reportNotSent();
    const unsigned short header = swapSizeHeader(static_cast<unsigned short>(size));
    std::memcpy(m_WriteBuffer, &header, sizeof header);
    return writeFrames(m_WriteBuffer, HEADER_SIZE + size);
}

int CaStreamSocket::writeFrames(const char* bytes, int size)
{
    if (!m_IsOpen)
        return reportWriteToClosed();
    if (size < 0 || platform::sendBytes(m_Descriptor, bytes, size) != size)
        return reportNotSent();
    return SocketResult::SUCCESS;
}

bool CaStreamSocket::isPeerGone()
{
    return platform::isPeerGone(m_Descriptor);
}
