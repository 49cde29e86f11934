#include <TSLib/ClientQueue.h>

bool ClientQueue::put(const AcceptedClient& client)
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Changed.wait(lock, [this] { return m_IsClosed || m_Clients.size() < CAPACITY; });
    if (m_IsClosed)
        return false;
    m_Clients.push_back(client);
    m_Changed.notify_all();
    return true;
}

bool ClientQueue::take(AcceptedClient& client, std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Changed.wait_for(lock, limit, [this] { return m_IsClosed || !m_Clients.empty(); });
    if (m_Clients.empty())
        return false;
    client = m_Clients.front();
    m_Clients.pop_front();
    m_Changed.notify_all();
    return true;
}

void ClientQueue::close()
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_IsClosed = true;
    m_Changed.notify_all();
}

void ClientQueue::open()
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_IsClosed = false;
}

bool ClientQueue::isClosed() const
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_IsClosed;
}
