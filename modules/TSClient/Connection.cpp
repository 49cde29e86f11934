#include "Connection.h"

#include <TSClientInterface/CaToolServer.h>
#include <TSClientInterface/SocketPlatform.h>
#include <TSClientInterface/SocketResult.h>
#include <tbrCore/Log.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <thread>
#include <utility>

/// Receives as much as has arrived in one go, and hands it out packet by packet: an answer about all tools is many
/// small packets.
class Connection::Socket : public CaClientStreamSocket
{
public:
    /// `isInterrupted` is looked at while the socket waits, and must outlive it.
    explicit Socket(const std::atomic<bool>& isInterrupted) : m_IsInterrupted(isInterrupted) {}

    using CaSocket::shutdown;

    bool hasPacket() const { return receivedSize() >= HEADER_SIZE && receivedSize() >= dueSize(); }
    /// Sends one packet, as write() does. Waits at most until the deadline.
    int sendPacket(const char* payload, int size, Deadline deadline);
    /// The next packet, as read(int*, long) delivers it. Waits at most until the deadline.
    int nextPacket(const char*& payload, int& size, Deadline deadline);

private:
    static constexpr int HEADER_SIZE = 2;

    int receivedSize() const { return m_End - m_Begin; }
    /// The bytes of the packet that is due, header included, as far as that is known yet.
    int dueSize() const;
    int waitUntil(Deadline deadline);
    int receiveMore(Deadline deadline);
    int receiveAtOnce(Deadline deadline);
    int receiveBytes(int (*receive)(int descriptor, void* buffer, int size));

    char m_Bytes[2 * (HEADER_SIZE + 65535)];     // the longest packet has room, wherever it begins in the first half
    int m_Begin = 0;                             // of the packet that is due
    int m_End = 0;                               // of what has been received
    std::chrono::milliseconds m_ReceiveLimit{0}; // the system's; none yet
    const std::atomic<bool>& m_IsInterrupted;
};

namespace
{

/// The time that is left until the deadline; none when it has passed.
template <class Unit>
Unit timeUntil(Connection::Deadline deadline)
{
    return std::max(std::chrono::ceil<Unit>(deadline - std::chrono::steady_clock::now()), Unit(0));
}

} // namespace

int Connection::Socket::dueSize() const
{
    const auto byte = [this](int i) { return static_cast<int>(static_cast<unsigned char>(m_Bytes[m_Begin + i])); };
    return receivedSize() < HEADER_SIZE ? HEADER_SIZE : HEADER_SIZE + (byte(0) << 8 | byte(1));
}

int Connection::Socket::receiveBytes(int (*receive)(int descriptor, void* buffer, int size))
{
    const int count = receive(getDescriptor(), m_Bytes + m_End, static_cast<int>(sizeof m_Bytes) - m_End);
    m_End += std::max(count, 0);
    return count;
}

/// Waits for bytes and receives them in a single call of the system, which shows where updates are many. The system's
/// limit is less than the time that is left, and is seldom set: what is left of one request is about what is left of
/// the next. Returns the count, or -1 when the rest of the time is to be waited for otherwise.
int Connection::Socket::receiveAtOnce(Deadline deadline)
{
    constexpr std::chrono::milliseconds WORTH_IT{100}; // the system's clock ticks are as good as nothing then
    const auto left = timeUntil<std::chrono::milliseconds>(deadline);
    if (left < WORTH_IT)
        return -1;
    if (m_ReceiveLimit > left || m_ReceiveLimit < left / 2)
    {
        m_ReceiveLimit = left * 3 / 4;
        if (!tbr::platform::setReceiveLimit(getDescriptor(), m_ReceiveLimit))
            m_ReceiveLimit = {};
    }
    return m_ReceiveLimit.count() > 0 ? receiveBytes(tbr::platform::receiveWithinLimit) : -1;
}

/// Waits for bytes, and looks now and then whether it shall end: on Windows a wait that begins after shutdown() is not
/// ended by it.
int Connection::Socket::waitUntil(Deadline deadline)
{
    using std::chrono::milliseconds;
    constexpr milliseconds LOOK_EVERY{100};
    milliseconds left = timeUntil<milliseconds>(deadline);
    int ready = waitForInput(static_cast<long>(std::min(left, LOOK_EVERY).count()));
    while (ready == SocketResult::NOTHING_YET && left > LOOK_EVERY && !m_IsInterrupted)
    {
        left -= LOOK_EVERY;
        ready = waitForInput(static_cast<long>(std::min(left, LOOK_EVERY).count()));
    }
    return ready == SocketResult::NOTHING_YET && m_IsInterrupted ? SocketResult::PEER_CLOSED : ready;
}

int Connection::Socket::receiveMore(Deadline deadline)
{
    int count = receiveAtOnce(deadline);
    if (count < 0)
    {
        const int ready = waitUntil(deadline);
        if (ready != SocketResult::SUCCESS)
            return ready;
        count = receiveBytes(tbr::platform::receiveBytes);
    }
    return count > 0 ? SocketResult::SUCCESS : SocketResult::PEER_CLOSED;
}

int Connection::Socket::sendPacket(const char* payload, int size, Deadline deadline)
{
    std::memcpy(getWriteBuffer(), payload, static_cast<std::size_t>(size));
    m_WriteBuffer[0] = static_cast<char>(size >> 8);
    m_WriteBuffer[1] = static_cast<char>(size);
    const int frame = HEADER_SIZE + size;
    const int sent = tbr::platform::sendWithin(getDescriptor(), m_WriteBuffer, frame,
                                               timeUntil<std::chrono::microseconds>(deadline));
    return sent == frame ? SocketResult::SUCCESS : SocketResult::NOT_SENT;
}

int Connection::Socket::nextPacket(const char*& payload, int& size, Deadline deadline)
{
    if (m_Begin == m_End)
        m_Begin = m_End = 0;
    while (!hasPacket())
    {
        if (m_Begin > static_cast<int>(sizeof m_Bytes) / 2)
        {
            std::memmove(m_Bytes, m_Bytes + m_Begin, static_cast<std::size_t>(receivedSize()));
            m_End -= std::exchange(m_Begin, 0);
        }
        const int result = receiveMore(deadline);
        if (result != SocketResult::SUCCESS)
            return result;
    }
    payload = m_Bytes + m_Begin + HEADER_SIZE;
    size = dueSize() - HEADER_SIZE;
    if (size == 0)
        return SocketResult::PEER_CLOSED; // as every stream socket takes a frame without bytes
    m_Begin += HEADER_SIZE + size;
    return SocketResult::SUCCESS;
}

namespace
{

using Clock = std::chrono::steady_clock;

/// Ends a blocked connection attempt that is given up, from a thread of its own. It looks again and again, because an
/// attempt that has not begun yet cannot be ended.
class AttemptWatch
{
public:
    AttemptWatch(std::function<bool()> isGivenUp, std::function<void()> end)
        : m_IsGivenUp(std::move(isGivenUp)), m_End(std::move(end)), m_Thread([this] { run(); })
    {
    }
    ~AttemptWatch()
    {
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_IsDecided = true;
        }
        m_Changed.notify_one();
        m_Thread.join();
    }
    AttemptWatch(const AttemptWatch&) = delete;
    AttemptWatch& operator=(const AttemptWatch&) = delete;

private:
    void run()
    {
        constexpr std::chrono::milliseconds LOOK_EVERY{20};
        std::unique_lock<std::mutex> lock(m_Mutex);
        while (!m_Changed.wait_for(lock, LOOK_EVERY, [this] { return m_IsDecided; }))
            if (m_IsGivenUp())
                m_End();
    }

    const std::function<bool()> m_IsGivenUp;
    const std::function<void()> m_End;
    std::mutex m_Mutex; // guards m_IsDecided
    std::condition_variable m_Changed;
    bool m_IsDecided = false;
    std::thread m_Thread; // last: it uses all the others
};

} // namespace

int Connection::open(const char* host, int port, Deadline deadline)
{
    disconnect();
    m_IsInterrupted = false;
    const auto isLate = [deadline] { return Clock::now() >= deadline; };
    int result = SocketResult::NOT_CONNECTED;
    {
        const AttemptWatch watch([&] { return m_IsInterrupted || isLate(); }, [this] { shutdown(); });
        result = connect(host, port);
    }
    if (m_IsInterrupted)
        return CaToolServer::CONNECTION_ERROR;
    if (result == SocketResult::UNKNOWN_HOST)
        return CaToolServer::UNKNOWN_HOSTNAME;
    if (isLate())
        return CaToolServer::SERVER_TIMEOUT;
    return result == SocketResult::SUCCESS ? CaToolServer::OK : CaToolServer::CONNECTION_ERROR;
}

int Connection::disconnect()
{
    const std::lock_guard<std::mutex> lock(m_SocketMutex);
    m_OwnSocket = nullptr;
    return CaStreamConnection::disconnect();
}

CaClientStreamSocket* Connection::createSocket()
{
    const std::lock_guard<std::mutex> lock(m_SocketMutex);
    m_OwnSocket = new Socket(m_IsInterrupted);
    return m_OwnSocket;
}

void Connection::shutdown()
{
    const std::lock_guard<std::mutex> lock(m_SocketMutex);
    if (m_OwnSocket)
        m_OwnSocket->shutdown();
}

void Connection::interrupt()
{
    m_IsInterrupted = true;
    shutdown();
}

int Connection::send(const AllPacketType& packet, int size, Deadline deadline)
{
    if (m_OwnSocket->sendPacket(packet.bytes, size, deadline) == SocketResult::SUCCESS)
        return CaToolServer::OK;
    TBR_LOG("ERROR") << "The tool server took no request." << std::endl;
    return CaToolServer::CONNECTION_ERROR;
}

int Connection::receive(AllPacketType& packet, int& size, Deadline deadline)
{
    const char* payload = nullptr;
    const int result = m_OwnSocket->nextPacket(payload, size, deadline);
    if (result != SocketResult::SUCCESS)
        return result == SocketResult::NOTHING_YET ? CaToolServer::SERVER_TIMEOUT : CaToolServer::CONNECTION_ERROR;

    const std::size_t used = static_cast<std::size_t>(std::min(size, static_cast<int>(AllPacketType::SIZE)));
    std::memcpy(packet.bytes, payload, used);
    std::memset(packet.bytes + used, 0, sizeof packet.bytes - used);
    return CaToolServer::OK;
}

bool Connection::hasPacket() const
{
    return m_OwnSocket && m_OwnSocket->hasPacket();
}
