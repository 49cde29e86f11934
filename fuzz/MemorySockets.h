#pragma once

#include <TSBase/Export.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

/// What a fuzz target does at the other end of a socket. The fuzz build's socket platform keeps all connections in this
/// process's memory, so that an input needs no system call, and nothing depends on when bytes arrive.
namespace fuzz
{

struct MemoryConnection;

/// The far end of one connection; copies speak for the same end. It may outlive the near end.
/// Thread: any.
class TBR_NAVIGATION_EXPORT MemoryPeer
{
public:
    /// A new connection, whose near end a socket is to adopt by its descriptor.
    MemoryPeer();
    explicit MemoryPeer(std::shared_ptr<MemoryConnection> connection);

    /// The near end's descriptor, which belongs to the socket that adopts it.
    int descriptor() const;

    /// Bytes for the near end, which can be received at once.
    void send(const std::string& bytes);
    /// Ends this side: after the bytes sent so far the near end receives 0.
    void finish();
    /// Lets one receive deliver at most `size` bytes; 0: all there are.
    void deliverAtMost(std::size_t size);
    /// Takes `size` more bytes from the near end; what is sent beyond that fails.
    void acceptAtMost(std::size_t size);

    /// All that the near end has sent.
    std::string received() const;
    /// How many bytes are sent and not received yet.
    std::size_t undelivered() const;

private:
    std::shared_ptr<MemoryConnection> m_Connection;
};

/// Who answers when a socket connects to whatever host and port: called with the far end, on the thread that connects,
/// before the near end can receive. Without such a server connecting fails.
TBR_NAVIGATION_EXPORT void setMemoryServer(std::function<void(MemoryPeer)> server);

} // namespace fuzz
