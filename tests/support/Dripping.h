#pragma once

#include <support/PlainSocket.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

/// Sends bytes over and over again, a piece at a time with a pause before each, until it dies or the peer has gone: a
/// peer that waits for one piece never waits long, and one that waits for all of them waits for ever.
class Dripping
{
public:
    Dripping(PlainSocket& connection, std::string data, std::size_t pieceSize, std::chrono::milliseconds pause)
        : m_Connection(connection), m_Data(std::move(data)), m_PieceSize(pieceSize), m_Pause(pause),
          m_Thread([this] { run(); })
    {
    }
    ~Dripping()
    {
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_IsEnded = true;
        }
        m_Ended.notify_one();
        m_Thread.join();
    }
    /// Whether the peer has gone.
    bool isOver() const { return m_IsOver; }

    Dripping(const Dripping&) = delete;
    Dripping& operator=(const Dripping&) = delete;

private:
    void run()
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        std::size_t next = 0;
        while (!m_Ended.wait_for(lock, m_Pause, [this] { return m_IsEnded; }))
        {
            m_IsOver = !m_Connection.trySend(m_Data.substr(next, m_PieceSize));
            if (m_IsOver)
                return;
            next = next + m_PieceSize < m_Data.size() ? next + m_PieceSize : 0;
        }
    }

    PlainSocket& m_Connection;
    const std::string m_Data;
    const std::size_t m_PieceSize;
    const std::chrono::milliseconds m_Pause;
    std::mutex m_Mutex; // guards m_IsEnded
    std::condition_variable m_Ended;
    bool m_IsEnded = false;
    std::atomic<bool> m_IsOver{false};
    std::thread m_Thread; // last: it uses all the others
};
