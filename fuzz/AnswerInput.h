#pragma once

#include "Frames.h"
#include "MemorySockets.h"
#include "Target.h"

#include <TSClientInterface/CaToolServer.h>

#include <algorithm>
#include <string>
#include <vector>

/// What the targets share that put a server's bytes before a client: their input, and what every client keeps to.
///
/// An input is 32 bytes of what the client does - flags, then one byte for each operation - and the stream with which
/// the server answers to whatever it is asked. Each connection gets the whole stream.
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

    /// Answers every connection from now on; `requests` collects what each client sends.
    void serve(std::vector<MemoryPeer>& connections) const
    {
        setMemoryServer(
            [this, &connections](MemoryPeer client)
            {
                client.deliverAtMost(m_Flags & PIECE_MASK);
                client.send(m_Flags & CONNECTS ? helloFrame() + m_Stream : m_Stream);
                if (m_Flags & ENDS)
                    client.finish();
                connections.push_back(client);
            });
    }

private:
    static constexpr unsigned PIECE_MASK = 0x3f; ///< bytes that arrive at once; 0: all
    static constexpr unsigned ENDS = 0x40;       ///< the server closes behind its stream
    static constexpr unsigned CONNECTS = 0x80;   ///< the server agrees to the connection before

    static std::string helloFrame() { return std::string("\0\x0c\x15\0\0\0\0\0\0\1\0\0\0\1", 14); }

    unsigned m_Flags;
    std::vector<std::uint8_t> m_Operations;
    std::string m_Stream;
};

/// What a client sends are whole requests, whatever it was answered.
inline void checkRequests(const std::vector<MemoryPeer>& connections)
{
    for (const MemoryPeer& connection : connections)
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

/// Every result of an operation is a status code, and a good one or an error besides.
inline void checkStatus(int status)
{
    require(status >= CaToolServer::NO_NORMAL_VECTORS && status <= CaToolServer::FOOTSWITCH_RELEASED,
            "an operation returns a status code");
}

} // namespace fuzz
