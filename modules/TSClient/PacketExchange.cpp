#include "PacketExchange.h"

#include "RemoteError.h"

#include <TSClientInterface/CaToolServer.h>
#include <tbrCore/Log.h>

#include <algorithm>
#include <iterator>

using namespace packets;

/// What a server may answer to a request.
struct PacketExchange::AnswerRule
{
    PacketKind request;
    PacketKind answer;
    int size;
    bool isSequence; ///< any number of answers, then an acknowledgement

    bool isError(const AllPacketType& packet, int packetSize) const
    {
        return kindOf(packet) == PacketKind::FAILURE && packetSize == ErrorPacket::SIZE;
    }
    bool isAcknowledgement(const AllPacketType& packet, int packetSize) const
    {
        return kindOf(packet) == PacketKind::ACKNOWLEDGE && packetSize == BARE_SIZE;
    }
    bool accepts(const AllPacketType& packet, int packetSize) const
    {
        return (kindOf(packet) == answer && packetSize == size) || isError(packet, packetSize) ||
               (isSequence && isAcknowledgement(packet, packetSize));
    }
    /// Whether nothing more comes after this packet. A sequence goes on after a tool that is not in view.
    bool isCompleteWith(const AllPacketType& packet, int packetSize) const
    {
        if (!isSequence || isAcknowledgement(packet, packetSize))
            return true;
        if (!isError(packet, packetSize))
            return false;
        ErrorPacket error;
        decode(packet, WireOrder::host(), error);
        return statusOfRemoteError(error.code) != CaToolServer::TOOL_NOT_IN_VIEW;
    }

    static const AnswerRule* find(PacketKind request);
};

const PacketExchange::AnswerRule* PacketExchange::AnswerRule::find(PacketKind request)
{
    using K = PacketKind;
    static constexpr AnswerRule RULES[] = {
        {K::CONNECT, K::CONNECT, ConnectPacket::SIZE, false},
        {K::STATUS, K::ACKNOWLEDGE, BARE_SIZE, false},
        {K::TOOL_CHECK, K::TOOL_CHECK, ToolDescription::SIZE, true},
        {K::FRAME_OF_REFERENCE, K::ACKNOWLEDGE, BARE_SIZE, false},
        {K::MARKER, K::ACKNOWLEDGE, MarkerRecord::SIZE, false},
        {K::ALL_MARKER, K::ALL_MARKER, MarkerRecord::SIZE, true},
        {K::IMAGINARY, K::ACKNOWLEDGE, ImaginaryRecord::SIZE, false},
        {K::ALL_IMAGINARY, K::ALL_IMAGINARY, ImaginaryRecord::SIZE, true},
        {K::RIGID_TRANSFORM, K::RIGID_TRANSFORM, TransformRecord::SIZE, false},
        {K::ALL_RIGID_TRANSFORM, K::ALL_RIGID_TRANSFORM, TransformRecord::SIZE, true},
        {K::NEAREST_TOOL, K::ACKNOWLEDGE, NearestToolRecord::SIZE, false},
        {K::SWITCH, K::SWITCH, SwitchRecord::SIZE, false},
        {K::ALL_RIGID_TRANSFORM_ON_SWITCH, K::ALL_RIGID_TRANSFORM, TransformRecord::SIZE, true},
        {K::ADD_NORMAL_VECTORS, K::ACKNOWLEDGE, BARE_SIZE, false},
        {K::CALIBRATE, K::ACKNOWLEDGE, BARE_SIZE, false},
        {K::TOOL_INIT, K::ACKNOWLEDGE, BARE_SIZE, false},
        {K::ALLOWED_NEAREST_TOOL, K::ACKNOWLEDGE, BARE_SIZE, false},
        {K::GET_NORMAL_VECTOR, K::ACKNOWLEDGE, NormalVectorRecord::SIZE, false},
        {K::EXIT, K::ACKNOWLEDGE, BARE_SIZE, false},
    };
    return std::find_if(std::begin(RULES), std::end(RULES),
                        [request](const AnswerRule& r) { return r.request == request; });
}

namespace
{

constexpr int PROTOCOL_VERSION = 1;

/// More packets than any tool list has tools: a server that never ends a sequence must not fill the memory.
constexpr int SEQUENCE_LIMIT = 4096;

/// Beyond all patience (eleven days), and still far from where the arithmetic of times would overflow.
constexpr long LONGEST_TIMEOUT_MS = 1000000000;

/// Marks an operation as blocked while it lives.
class BusyMark
{
public:
    explicit BusyMark(std::atomic<bool>& flag) : m_Flag(flag) { m_Flag = true; }
    ~BusyMark() { m_Flag = false; }

private:
    std::atomic<bool>& m_Flag;
};

} // namespace

std::chrono::milliseconds PacketExchange::timeout() const
{
    return std::chrono::milliseconds(std::min<long>(m_TimeoutMs, LONGEST_TIMEOUT_MS));
}

Connection::Deadline PacketExchange::deadlineFromNow() const
{
    return std::chrono::steady_clock::now() + timeout();
}

/// Closes the connection: what was to come is lost with it. Returns the status given.
int PacketExchange::close(int status)
{
    m_IsConnected = false;
    m_Pending = nullptr;
    m_Sequence.clear();
    m_SequenceKind = {};
    m_Connection.disconnect();
    return status;
}

int PacketExchange::connect(const char* host, int port)
{
    disconnect();
    const BusyMark busy(m_IsBusy);
    m_RemoteErrorCode = 0;
    m_RemoteErrorText.clear();
    int status = m_Connection.open(host, port, deadlineFromNow());
    if (status == CaToolServer::OK)
    {
        m_IsConnected = true;
        status = negotiate();
    }
    return status == CaToolServer::OK ? status : close(status);
}

/// Agrees on the protocol version. The probe is sent in network order, so that the server does not convert numbers.
int PacketExchange::negotiate()
{
    AllPacketType packet = {};
    ConnectPacket hello{PROTOCOL_VERSION, 1};
    setKind(packet, PacketKind::CONNECT);
    encode(packet, WireOrder::host(), hello);
    const int status = request(packet, ConnectPacket::SIZE);
    if (status != CaToolServer::OK)
        return status;
    decode(packet, WireOrder::host(), hello);
    return hello.version == PROTOCOL_VERSION ? CaToolServer::OK : CaToolServer::INCOMPATIBLE_PROTOCOL;
}

void PacketExchange::disconnect()
{
    if (m_IsConnected && !m_Pending)
    {
        AllPacketType packet = {};
        setKind(packet, PacketKind::EXIT);
        request(packet, BARE_SIZE);
    }
    close(CaToolServer::OK);
}

void PacketExchange::interrupt()
{
    if (m_IsBusy)
        m_Connection.interrupt();
}

int PacketExchange::getLastRemoteError(std::string& text) const
{
    text = m_RemoteErrorText;
    return m_RemoteErrorCode;
}

/// OK for an answer, the status of an error packet otherwise; the error is remembered.
int PacketExchange::statusOf(const AllPacketType& packet)
{
    if (kindOf(packet) != PacketKind::FAILURE)
        return CaToolServer::OK;
    ErrorPacket error;
    decode(packet, WireOrder::host(), error);
    m_RemoteErrorCode = error.code;
    m_RemoteErrorText = std::string(error.text);
    return statusOfRemoteError(error.code);
}

/// Receives the next packet of the answer that is pending, which may end it.
int PacketExchange::receiveOne(AllPacketType& packet, Connection::Deadline deadline)
{
    int size = 0;
    const int status = m_Connection.receive(packet, size, deadline);
    if (status == CaToolServer::SERVER_TIMEOUT)
        return status;
    if (status != CaToolServer::OK)
        return close(status);
    ++m_PendingReceived;
    if (!m_Pending->accepts(packet, size) || m_PendingReceived > SEQUENCE_LIMIT)
    {
        TBR_LOG("ERROR") << "The tool server answered a request of kind " << static_cast<int>(m_Pending->request)
                         << " with a packet of kind " << static_cast<int>(kindOf(packet)) << " and " << size
                         << " bytes as packet " << m_PendingReceived << "; the connection is closed." << std::endl;
        return close(CaToolServer::UNEXPECTED_PACKET);
    }
    if (m_Pending->isCompleteWith(packet, size))
        m_Pending = nullptr;
    return CaToolServer::OK;
}

/// Waits for the next packet, as long as the sequence may still take.
int PacketExchange::waitForOneOfSequence(AllPacketType& packet)
{
    const BusyMark busy(m_IsBusy);
    const Connection::Deadline begin = std::chrono::steady_clock::now();
    const Connection::Deadline::duration left = SEQUENCE_TIMEOUTS * timeout() - m_SequenceWaited;
    const int status = receiveOne(packet, begin + std::min<Connection::Deadline::duration>(timeout(), left));
    if (status == CaToolServer::SERVER_TIMEOUT)
        m_SequenceWaited = {};
    else
        m_SequenceWaited += std::chrono::steady_clock::now() - begin;
    return status;
}

/// Receives all that is still to come, as far as it comes before the deadline, and keeps what is wanted.
int PacketExchange::settle(Connection::Deadline deadline)
{
    int status = CaToolServer::OK;
    while (m_Pending && status == CaToolServer::OK)
    {
        const bool isSequence = m_Pending->isSequence;
        AllPacketType packet;
        status = receiveOne(packet, deadline);
        if (status == CaToolServer::OK && m_IsPendingWanted)
            keep(packet, isSequence);
        if (m_Pending && status == CaToolServer::OK && std::chrono::steady_clock::now() > deadline)
            status = CaToolServer::SERVER_TIMEOUT;
    }
    return status;
}

void PacketExchange::keep(const AllPacketType& packet, bool isOfSequence)
{
    if (isOfSequence)
        m_Sequence.push_back(packet);
    else
        m_Answer = packet;
}

/// Receives what is still to come, and only then sends.
int PacketExchange::send(const AllPacketType& packet, int size, Connection::Deadline deadline)
{
    if (!m_IsConnected)
        return CaToolServer::NO_CONNECTION;
    int status = settle(deadline);
    if (status != CaToolServer::OK)
        return status;
    status = m_Connection.send(packet, size, deadline);
    if (status != CaToolServer::OK)
        return close(status);
    m_Pending = AnswerRule::find(kindOf(packet));
    m_IsPendingWanted = true;
    m_PendingReceived = 0;
    return CaToolServer::OK;
}

int PacketExchange::request(AllPacketType& packet, int size)
{
    const BusyMark busy(m_IsBusy);
    const Connection::Deadline deadline = deadlineFromNow();
    int status = send(packet, size, deadline);
    if (status != CaToolServer::OK)
        return status;
    status = settle(deadline);
    if (status != CaToolServer::OK)
    {
        m_IsPendingWanted = false;
        return status;
    }
    packet = m_Answer;
    return statusOf(packet);
}

int PacketExchange::startSequence(const AllPacketType& packet, int size)
{
    const BusyMark busy(m_IsBusy);
    m_Sequence.clear();
    m_SequenceKind = AnswerRule::find(kindOf(packet))->answer;
    m_IsPendingWanted = false;
    m_SequenceWaited = {};
    m_SequenceStatus = send(packet, size, deadlineFromNow());
    return m_SequenceStatus;
}

int PacketExchange::receiveSequence()
{
    const BusyMark busy(m_IsBusy);
    return m_IsConnected ? settle(deadlineFromNow()) : static_cast<int>(CaToolServer::NO_CONNECTION);
}

int PacketExchange::nextInSequence(PacketKind kind, AllPacketType& packet)
{
    if (!m_IsConnected)
        return CaToolServer::NO_CONNECTION;
    if (kind != m_SequenceKind)
        return CaToolServer::UNEXPECTED_PACKET;
    if (!m_Sequence.empty())
    {
        packet = m_Sequence.front();
        m_Sequence.pop_front();
    }
    else if (m_Pending && m_Pending->isSequence && m_IsPendingWanted)
    {
        // Most packets of a sequence arrive together; for those, even asking what time it is would count.
        const int status = m_Connection.hasPacket() ? receiveOne(packet, {}) : waitForOneOfSequence(packet);
        if (status != CaToolServer::OK)
            return status;
    }
    else
        return m_SequenceStatus;

    if (kindOf(packet) == PacketKind::ACKNOWLEDGE)
        return CaToolServer::OK;
    const int status = statusOf(packet);
    return status == CaToolServer::OK ? static_cast<int>(CaToolServer::WAITING_FOR_PACKETS) : status;
}
