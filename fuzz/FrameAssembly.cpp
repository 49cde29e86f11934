// A stream socket against a peer that sends frames in whatever pieces, reads nothing, or goes: results, sizes, payloads
// and states are compared with a model that is written from the rules alone.
#include "MemorySockets.h"
#include "Target.h"

#include <TSClientInterface/CaServerStreamSocket.h>

#include <algorithm>
#include <vector>

namespace
{

using fuzz::require;

constexpr int DONE = 0, NOT_OPEN = -1, NOTHING_YET = -2, NOT_SENT = -5, RECEIVE_FAILED = -6, PEER_CLOSED = -7;
constexpr int HEADER_DUE = 0, HEADER_PARTLY_THERE = 1, PAYLOAD_DUE = 2;
constexpr int LONGEST_WRITE = 65533;
constexpr int UNTOUCHED = -12345;

/// The input as a script: what is asked for beyond its end is 0.
class Script
{
public:
    Script(const std::uint8_t* data, std::size_t size) : m_Data(data), m_Size(size) {}

    bool isAtEnd() const { return m_At == m_Size; }
    int byte() { return isAtEnd() ? 0 : m_Data[m_At++]; }
    int twoBytes()
    {
        const int high = byte();
        return high << 8 | byte();
    }
    std::string text(int size)
    {
        const std::size_t count = std::min(static_cast<std::size_t>(size), m_Size - m_At);
        m_At += count;
        return fuzz::textOf(m_Data + m_At - count, count);
    }

private:
    const std::uint8_t* m_Data;
    std::size_t m_Size;
    std::size_t m_At = 0;
};

/// How a socket takes bytes from its connection, which must make no difference.
enum class Receiving
{
    AS_NEEDED,
    AHEAD
};

/// A socket that lets its state be seen.
class ObservedSocket : public CaServerStreamSocket
{
public:
    using CaStreamSocket::hasReadAheadPacket;

    ObservedSocket(int descriptor, Receiving receiving) : CaServerStreamSocket(descriptor)
    {
        if (receiving == Receiving::AHEAD)
            enableReadAhead();
    }

    int state() const { return m_ReceivingState; }
    bool isOpen() const { return m_IsOpen; }
};

/// What a stream socket is to do, byte for byte.
struct Model
{
    std::string arrived; // and not read yet
    bool isFinished = false;
    bool isBlocking = true;
    bool isOpen = true;
    int state = HEADER_DUE;
    std::string header;
    std::string payload;
    std::size_t announced = 0;

    std::string sent;
    std::size_t room = std::string::npos;

    bool isReadable() const { return !arrived.empty() || isFinished; }

    /// Up to `size` bytes; -1 for a failure, 0 when the peer has closed.
    int receive(std::size_t size, std::string& target)
    {
        if (!isReadable())
            return -1;
        const std::size_t count = std::min(size, arrived.size());
        target.append(arrived, 0, count);
        arrived.erase(0, count);
        return static_cast<int>(count);
    }

    /// Whether a read without a limit would wait for ever, on its way through all that has arrived.
    bool wouldBlock() const
    {
        if (!isBlocking || isFinished || !isOpen || (state == PAYLOAD_DUE && payload.size() == announced))
            return false;
        if (state == PAYLOAD_DUE)
            return arrived.empty();
        const std::size_t missing = 2 - header.size();
        if (arrived.size() != missing)
            return arrived.empty();
        return header + arrived != std::string(2, '\0'); // the header is all that has arrived
    }

    int read(int& size, bool hasLimit)
    {
        if (!isOpen)
            return NOT_OPEN;
        if (state == PAYLOAD_DUE && payload.size() == announced)
            return PEER_CLOSED;
        if (hasLimit && !isReadable())
            return NOTHING_YET;
        return state == PAYLOAD_DUE ? readPayload(size) : readHeader(size, hasLimit);
    }

    int readHeader(int& size, bool hasLimit)
    {
        const int count = receive(2 - header.size(), header);
        if (count < 0)
            return state == HEADER_DUE ? PEER_CLOSED : RECEIVE_FAILED;
        if (count == 0)
        {
            isOpen = isOpen && state != HEADER_DUE;
            return PEER_CLOSED;
        }
        if (header.size() < 2)
        {
            state = HEADER_PARTLY_THERE;
            size = 0;
            return NOTHING_YET;
        }
        announced = static_cast<std::size_t>(static_cast<unsigned char>(header[0]) << 8 |
                                             static_cast<unsigned char>(header[1]));
        header.clear();
        payload.clear();
        state = PAYLOAD_DUE;
        return read(size, hasLimit);
    }

    int readPayload(int& size)
    {
        const int count = receive(announced - payload.size(), payload);
        if (count < 0)
            return RECEIVE_FAILED;
        if (count == 0)
            return PEER_CLOSED;
        if (payload.size() < announced)
            return NOTHING_YET;
        state = HEADER_DUE;
        size = static_cast<int>(announced);
        return DONE;
    }

    int writeFrame(const std::string& bytes)
    {
        if (!isOpen)
            return NOT_OPEN;
        const std::string frame = {static_cast<char>(bytes.size() >> 8), static_cast<char>(bytes.size())};
        const std::string all = frame + bytes;
        sent += all.substr(0, std::min(room, all.size()));
        const bool isComplete = room >= all.size();
        room -= std::min(room, all.size());
        return isComplete ? DONE : NOT_SENT;
    }
};

/// One input: a script of what the peer and the socket's user do in turn.
class Exchange
{
public:
    explicit Exchange(Receiving receiving) : m_Socket(m_Peer.descriptor(), receiving), m_Buffer(65535) {}

    void run(Script script)
    {
        constexpr int MOST_STEPS = 200;
        for (int step = 0; step < MOST_STEPS && !script.isAtEnd(); ++step)
        {
            takeStep(script);
            require(m_Socket.state() == m_Model.state, "the receiving state is the rules' state");
            require(m_Socket.isOpen() == m_Model.isOpen, "only a peer that closed between packets closes the socket");
        }
        require(m_Peer.received() == m_Model.sent, "what was written is what was sent");
    }

private:
    void takeStep(Script& script)
    {
        switch (script.byte() % 12)
        {
        case 0:
        case 1:
            return arrive(script.text(script.byte()));
        case 2: // any length, also those that no script could write out
            return arrive(std::string(static_cast<std::size_t>(script.twoBytes()), static_cast<char>(script.byte())));
        case 3:
            m_Model.isFinished = true;
            return m_Peer.finish();
        case 4:
            m_Model.isBlocking = !m_Model.isBlocking;
            return m_Socket.setBlockingMode(m_Model.isBlocking);
        case 5:
        case 6:
        case 7:
            return read(script.byte(), false);
        case 8:
            return read(script.byte(), true);
        case 9:
            return write(script.text(script.byte()));
        case 10:
            return writeOfSize(2 * script.twoBytes() - 100, script.byte() % 2 == 0);
        default:
            m_Model.room = static_cast<std::size_t>(script.twoBytes());
            m_Peer.acceptAtMost(m_Model.room);
        }
    }

    void arrive(const std::string& bytes)
    {
        if (m_Model.isFinished)
            return;
        m_Model.arrived += bytes;
        m_Peer.send(bytes);
    }

    void read(int choice, bool copies)
    {
        const long limits[] = {0, 5, 2500, -1};
        long limit = limits[choice % 4];
        if (limit < 0 && m_Model.wouldBlock())
            limit = 0;
        const bool isHere = m_Socket.hasReadAheadPacket();
        int expectedSize = UNTOUCHED;
        const int expected = m_Model.read(expectedSize, limit >= 0);
        int size = UNTOUCHED;
        const int result = copies ? m_Socket.read(m_Buffer.data(), &size, limit) : m_Socket.read(&size, limit);
        require(result == expected, "a read has the rules' result");
        require(result == DONE || !isHere || !m_Model.isOpen, "a packet that was read ahead is there");
        require(size == expectedSize, "a read sets the size as the rules say");
        if (result != DONE)
            return;
        const char* bytes = copies ? m_Buffer.data() : static_cast<const char*>(m_Socket.getReadBuffer());
        require(m_Model.payload.compare(0, std::string::npos, bytes, static_cast<std::size_t>(size)) == 0,
                "a payload arrives as it was sent");
    }

    void write(const std::string& bytes)
    {
        require(m_Socket.write(bytes.data(), static_cast<int>(bytes.size())) == m_Model.writeFrame(bytes),
                "a write has the rules' result");
    }

    /// From sizes below 0 to sizes that no header can announce.
    void writeOfSize(int size, bool isInPlace)
    {
        const bool isWritable = size >= 0 && size <= LONGEST_WRITE;
        const std::string bytes(isWritable ? static_cast<std::size_t>(size) : 0, static_cast<char>(size));
        bytes.copy(static_cast<char*>(m_Socket.getWriteBuffer()), bytes.size());
        const int unwritable = isInPlace && !m_Model.isOpen ? NOT_OPEN : NOT_SENT;
        const int expected = isWritable ? m_Model.writeFrame(bytes) : unwritable;
        const int result = isInPlace ? m_Socket.write(size) : m_Socket.write(bytes.data(), size);
        require(result == expected, "a write has the rules' result");
    }

    fuzz::MemoryPeer m_Peer;
    ObservedSocket m_Socket;
    std::vector<char> m_Buffer; // as large as any payload
    Model m_Model;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    for (const Receiving receiving : {Receiving::AS_NEEDED, Receiving::AHEAD})
        Exchange(receiving).run(Script(data, size));
    return 0;
}
