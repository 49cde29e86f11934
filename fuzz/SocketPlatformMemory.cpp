#include <TSClientInterface/SocketPlatform.h>

#include "MemorySockets.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <utility>

/// The socket platform of the fuzz build: SocketPlatform.h's promises, kept by byte strings in memory.
///
/// One promise is kept in a shorter way: a wait with a limit ends at once when nothing is there. A fuzz target makes
/// everything that can arrive available before the socket looks, so the time would only pass.
namespace fuzz
{

struct MemoryConnection
{
    int descriptor = -1;
    bool isStream = true;
    bool isConnected = false;
    bool isNonBlocking = false;
    bool isShutDown = false; // by the near end
    bool isFinished = false; // by the far end
    int boundPort = -1;
    std::string toNear;
    std::size_t delivered = 0; // of toNear
    std::size_t mostPerReceive = std::numeric_limits<std::size_t>::max();
    std::string fromNear;
    std::size_t room = std::numeric_limits<std::size_t>::max();

    std::size_t undelivered() const { return toNear.size() - delivered; }
    bool isAtEnd() const { return isShutDown || isFinished; }
    /// Whether receiving would not wait.
    bool isReady() const { return !isConnected || undelivered() > 0 || isAtEnd(); }
};

namespace
{

using ConnectionPointer = std::shared_ptr<MemoryConnection>;
using Lock = std::unique_lock<std::mutex>;

/// All connections of the process. Never destroyed: sockets may be closed until the very end.
struct Network
{
    std::mutex mutex; // guards all below and every connection
    std::condition_variable changed;
    std::map<int, ConnectionPointer> open;
    std::function<void(MemoryPeer)> server;

    static Network& instance()
    {
        static Network* const network = new Network;
        return *network;
    }

    /// Under a descriptor that is not in use; 0 means "none" to the socket classes.
    void add(const ConnectionPointer& connection)
    {
        const Lock lock(mutex);
        int descriptor = 1;
        while (open.count(descriptor) != 0)
            ++descriptor;
        connection->descriptor = descriptor;
        open[descriptor] = connection;
    }

    /// Null for a descriptor that is not open. The mutex must be held.
    ConnectionPointer find(int descriptor) const
    {
        const auto found = open.find(descriptor);
        return found == open.end() ? nullptr : found->second;
    }
};

/// Does `change` to an open connection; false when there is none.
template <class Change>
bool changeConnection(int descriptor, Change change)
{
    Network& network = Network::instance();
    const Lock lock(network.mutex);
    const ConnectionPointer connection = network.find(descriptor);
    if (!connection)
        return false;
    change(*connection);
    network.changed.notify_all();
    return true;
}

/// Does `change` to the connection, open or not.
template <class Change>
void changePeer(MemoryConnection& connection, Change change)
{
    Network& network = Network::instance();
    const Lock lock(network.mutex);
    change(connection);
    network.changed.notify_all();
}

} // namespace

MemoryPeer::MemoryPeer() : MemoryPeer(std::make_shared<MemoryConnection>())
{
    m_Connection->isConnected = true;
    Network::instance().add(m_Connection);
}

MemoryPeer::MemoryPeer(std::shared_ptr<MemoryConnection> connection) : m_Connection(std::move(connection)) {}

int MemoryPeer::descriptor() const
{
    return m_Connection->descriptor;
}

void MemoryPeer::send(const std::string& bytes)
{
    changePeer(*m_Connection, [&](MemoryConnection& connection) { connection.toNear += bytes; });
}

void MemoryPeer::finish()
{
    changePeer(*m_Connection, [](MemoryConnection& connection) { connection.isFinished = true; });
}

void MemoryPeer::deliverAtMost(std::size_t size)
{
    const std::size_t most = size == 0 ? std::numeric_limits<std::size_t>::max() : size;
    changePeer(*m_Connection, [most](MemoryConnection& connection) { connection.mostPerReceive = most; });
}

void MemoryPeer::acceptAtMost(std::size_t size)
{
    changePeer(*m_Connection, [size](MemoryConnection& connection) { connection.room = size; });
}

std::string MemoryPeer::received() const
{
    const Lock lock(Network::instance().mutex);
    return m_Connection->fromNear;
}

std::size_t MemoryPeer::undelivered() const
{
    const Lock lock(Network::instance().mutex);
    return m_Connection->undelivered();
}

void setMemoryServer(std::function<void(MemoryPeer)> server)
{
    Network& network = Network::instance();
    const Lock lock(network.mutex);
    network.server = std::move(server);
}

} // namespace fuzz

namespace tbr
{
namespace platform
{

using fuzz::changeConnection;
using fuzz::ConnectionPointer;
using fuzz::Lock;
using fuzz::MemoryConnection;
using fuzz::MemoryPeer;
using fuzz::Network;

namespace
{

bool isOpen(int descriptor)
{
    return changeConnection(descriptor, [](MemoryConnection&) {});
}

/// An address is its port; all hosts are this process.
SocketAddress makeAddress(int port)
{
    SocketAddress address;
    const auto shortPort = static_cast<std::uint16_t>(port);
    std::memcpy(address.bytes, &shortPort, sizeof shortPort);
    return address;
}

/// As many bytes as are there, up to `size`; returns their count.
int takeBytes(MemoryConnection& connection, void* buffer, int size)
{
    const std::size_t count =
        std::min({static_cast<std::size_t>(size), connection.undelivered(), connection.mostPerReceive});
    connection.toNear.copy(static_cast<char*>(buffer), count, connection.delivered);
    connection.delivered += count;
    return static_cast<int>(count);
}

int portOf(const SocketAddress& address)
{
    std::uint16_t port;
    std::memcpy(&port, address.bytes, sizeof port);
    return port;
}

} // namespace

bool startSockets(int&)
{
    return true;
}

void endSockets() {}

int createSocket(bool dataGram)
{
    const auto connection = std::make_shared<MemoryConnection>();
    connection->isStream = !dataGram;
    Network::instance().add(connection);
    return connection->descriptor;
}

void closeSocket(int descriptor)
{
    shutdownSocket(descriptor);
    Network& network = Network::instance();
    const Lock lock(network.mutex);
    network.open.erase(descriptor);
}

void shutdownSocket(int descriptor)
{
    changeConnection(descriptor, [](MemoryConnection& connection) { connection.isShutDown = true; });
}

bool getSocketKind(int descriptor, bool& isStream)
{
    return changeConnection(descriptor, [&](MemoryConnection& connection) { isStream = connection.isStream; });
}

bool setReuseAddress(int descriptor)
{
    return isOpen(descriptor);
}

bool setNonBlocking(int descriptor, bool nonBlocking)
{
    return changeConnection(descriptor, [&](MemoryConnection& connection) { connection.isNonBlocking = nonBlocking; });
}

bool setReceiveBufferSize(int descriptor, int)
{
    return isOpen(descriptor);
}

bool setSendBufferSize(int descriptor, int)
{
    return isOpen(descriptor);
}

bool setNoDelay(int descriptor)
{
    return isOpen(descriptor);
}

bool setKeepAlive(int descriptor, const KeepAlive&)
{
    return isOpen(descriptor);
}

SocketAddress anyAddress(int port)
{
    return makeAddress(port);
}

bool parseAddress(const std::string& dotted, int port, SocketAddress& address)
{
    return resolveHost(dotted.c_str(), port, address);
}

bool resolveHost(const char* hostName, int port, SocketAddress& address)
{
    if (!hostName || *hostName == '\0')
        return false;
    address = makeAddress(port);
    return true;
}

std::string toDotted(const SocketAddress&)
{
    return "127.0.0.1";
}

bool bindSocket(int descriptor, const SocketAddress& address)
{
    constexpr int SYSTEM_CHOICE = 40000;
    const int port = portOf(address) == 0 ? SYSTEM_CHOICE : portOf(address);
    return changeConnection(descriptor, [port](MemoryConnection& connection) { connection.boundPort = port; });
}

bool connectSocket(int descriptor, const SocketAddress&)
{
    Network& network = Network::instance();
    ConnectionPointer connection;
    std::function<void(MemoryPeer)> server;
    {
        const Lock lock(network.mutex);
        connection = network.find(descriptor);
        server = network.server;
        if (!connection || connection->isConnected || connection->isShutDown || !server)
            return false;
    }
    server(MemoryPeer(connection));
    return changeConnection(descriptor, [](MemoryConnection& changed) { changed.isConnected = true; });
}

/// No target listens: a session is made from the descriptor of a connection.
bool listenOn(int, int)
{
    return false;
}

int acceptConnection(int, SocketAddress&)
{
    return -1;
}

int getBoundPort(int descriptor)
{
    int port = -1;
    changeConnection(descriptor, [&port](MemoryConnection& connection) { port = connection.boundPort; });
    return port;
}

int waitReadable(int descriptor, std::chrono::microseconds limit)
{
    Network& network = Network::instance();
    Lock lock(network.mutex);
    const ConnectionPointer connection = network.find(descriptor);
    if (!connection)
        return -1;
    if (limit.count() < 0)
        network.changed.wait(lock, [&] { return connection->isReady(); });
    return connection->isReady() ? 1 : 0;
}

bool isPeerGone(int descriptor)
{
    bool isGone = true;
    changeConnection(descriptor,
                     [&](MemoryConnection& connection) { isGone = !connection.isConnected || connection.isAtEnd(); });
    return isGone;
}

int receiveBytes(int descriptor, void* buffer, int size)
{
    Network& network = Network::instance();
    Lock lock(network.mutex);
    const ConnectionPointer connection = network.find(descriptor);
    if (!connection || size < 0 || !connection->isConnected)
        return -1;
    if (size > 0 && !connection->isReady() && connection->isNonBlocking)
        return -1;
    if (size > 0)
        network.changed.wait(lock, [&] { return connection->isReady(); });
    return takeBytes(*connection, buffer, size);
}

int receiveAvailable(int descriptor, void* buffer, int size)
{
    Network& network = Network::instance();
    const Lock lock(network.mutex);
    const ConnectionPointer connection = network.find(descriptor);
    return connection && connection->isConnected && size >= 0 ? takeBytes(*connection, buffer, size) : -1;
}

bool setReceiveLimit(int descriptor, std::chrono::milliseconds)
{
    return isOpen(descriptor);
}

/// Its limit passes at once, as that of every wait.
int receiveWithinLimit(int descriptor, void* buffer, int size)
{
    return waitReadable(descriptor, std::chrono::microseconds(0)) > 0 ? receiveBytes(descriptor, buffer, size) : -1;
}

/// No target uses datagrams.
int receiveFrom(int, void*, int, SocketAddress&)
{
    return -1;
}

int sendBytes(int descriptor, const void* data, int size)
{
    int sent = -1;
    changeConnection(descriptor,
                     [&](MemoryConnection& connection)
                     {
                         if (size < 0 || !connection.isConnected || connection.isShutDown ||
                             (size > 0 && connection.room == 0))
                             return;
                         const std::size_t count = std::min(static_cast<std::size_t>(size), connection.room);
                         connection.fromNear.append(static_cast<const char*>(data), count);
                         connection.room -= count;
                         sent = static_cast<int>(count);
                     });
    return sent;
}

/// No room comes while time passes.
int sendWithin(int descriptor, const void* data, int size, std::chrono::microseconds)
{
    return sendBytes(descriptor, data, size);
}

int sendTo(int, const void*, int, const SocketAddress&)
{
    return -1;
}

} // namespace platform
} // namespace tbr
