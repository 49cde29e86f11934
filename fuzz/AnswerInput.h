#pragma once

#include "Frames.h"
#include "MemorySockets.h"
#include "Target.h"

#include <TSClientInterface/CaToolServer.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

/// What the targets share that put a server's bytes before a client: their input, and what every client keeps to.
///
/// An input is 32 bytes of what the client does - flags, then one byte for each operation - and the stream with which
/// the server answers to whatever it is asked, early or late. Each connection gets the stream from its beginning.
namespace fuzz
{

class AnswerInput
{
public:
    static constexpr std::size_t PREFIX_SIZE = 32;

    AnswerInput(const std::uint8_t* data, std::size_t size)
        : m_Flags(size > 0 ? data[0] : 0),
          m_Operations(data + std::min<std::size_t>(1, size), data + std::min(PREFIX_SIZE, size)),
          m_Stream(textOf(data + std::min(PREFIX_SIZE, size), size - std::min(PREFIX_SIZE, size)))
    {
    }

    const std::vector<std::uint8_t>& operations() const { return m_Operations; }

private:
    friend class AnswerServer;

    std::uint8_t m_Flags;
    std::vector<std::uint8_t> m_Operations;
    std::string m_Stream;
};

/// The server of one input: answers every connection while it lives.
class AnswerServer
{
public:
    explicit AnswerServer(const AnswerInput& input) : m_Input(input)
    {
        setMemoryServer([this](MemoryPeer client) { take(std::move(client)); });
    }
    ~AnswerServer() { setMemoryServer({}); }
    AnswerServer(const AnswerServer&) = delete;
    AnswerServer& operator=(const AnswerServer&) = delete;

    /// Lets more of a stream that is held back arrive at the newest connection: up to a packet's end, or a few bytes.
    void release(bool isWholePacket)
    {
        if (m_Connections.empty() || m_Held.empty())
            return;
        constexpr std::size_t FEW = 3;
        const Frames frames = takeApart(m_Held);
        const std::size_t packet = frames.payloads.empty() ? m_Held.size() : 2 + frames.payloads.front().size();
        const std::size_t size = isWholePacket ? packet : std::min(FEW, m_Held.size());
        m_Connections.back().send(m_Held.substr(0, size));
        m_Held.erase(0, size);
    }

    /// Sends the stream to the newest connection over and over, which fills a client's buffers; once for each
    /// connection.
    void flood()
    {
        constexpr std::size_t MUCH = 200000;
        if (m_Connections.empty() || m_IsFlooded || m_Input.m_Stream.empty())
            return;
        m_IsFlooded = true;
        std::string flood;
        while (flood.size() < MUCH)
            flood += m_Input.m_Stream;
        m_Connections.back().send(flood);
    }

    /// What the clients have sent are whole requests, whatever they were answered.
    void checkRequests() const
    {
        for (const MemoryPeer& connection : m_Connections)
        {
            const Frames requests = takeApart(connection.received());
            require(requests.rest.empty(), "a client sends whole packets only");
            for (const std::string& request : requests.payloads)
            {
                const int kind = static_cast<unsigned char>(request[0]);
                require((kind >= 21 && kind <= 38) || kind == 50, "a client asks for what there is");
                require(request.size() <= 560, "no request is longer than a packet");
            }
        }
    }

private:
    static constexpr unsigned PIECE_MASK = 0x1f; ///< bytes that arrive at once; 0: all
    static constexpr unsigned HOLDS_BACK = 0x20; ///< the stream arrives by release() only
    static constexpr unsigned ENDS = 0x40;       ///< the server closes behind its stream, unless it is held back
    static constexpr unsigned CONNECTS = 0x80;   ///< the server agrees to the connection before

    void take(MemoryPeer client)
    {
        const unsigned flags = m_Input.m_Flags;
        const bool holdsBack = (flags & HOLDS_BACK) != 0;
        m_IsFlooded = false;
        m_Held = holdsBack ? m_Input.m_Stream : std::string();
        client.deliverAtMost(flags & PIECE_MASK);
        if (flags & CONNECTS)
            client.send(std::string("\0\x0c\x15\0\0\0\0\0\0\1\0\0\0\1", 14));
        if (!holdsBack)
            client.send(m_Input.m_Stream);
        if ((flags & ENDS) && !holdsBack)
            client.finish();
        m_Connections.push_back(std::move(client));
    }

    const AnswerInput& m_Input;
    std::vector<MemoryPeer> m_Connections;
    std::string m_Held;       // of the newest connection's stream
    bool m_IsFlooded = false; // the newest connection
};

/// Every result of an operation is a status code, and a good one or an error besides.
inline void checkStatus(int status)
{
    require(status >= CaToolServer::NO_NORMAL_VECTORS && status <= CaToolServer::FOOTSWITCH_RELEASED,
            "an operation returns a status code");
}

/// Has a Course, made with the server of an input, take the input's operations, and checks what it requested.
template <class Course>
void runCourse(const AnswerInput& input)
{
    AnswerServer server(input);
    {
        Course course(server);
        course.take(0); // without a connection there is not much to do
        for (const std::uint8_t operation : input.operations())
            course.take(operation);
    }
    server.checkRequests();
}

} // namespace fuzz
