#pragma once

#include <TSBase/Export.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace _tbr
{

/// A recursive mutex that counts its users, which are whoever holds it and whoever waits for it. So its owner can wait
/// until nobody uses it any more before it dies.
///
///     free --lock()--> taken --last unlock()--> free, or taken by one who waited
///
/// As long as there is but one user, taking it and giving it up costs one atomic operation each, which counts where
/// many tools are updated at a high rate. Several users take turns under a mutex inside.
///
/// Thread: any. It may be destroyed as soon as waitUntilUnused() has returned.
class TBR_NAVIGATION_EXPORT ToolMutex
{
public:
    /// Destroys a mutex, at once or, when the calling thread holds it, with its last unlock().
    struct Deleter
    {
        void operator()(ToolMutex* mutex) const
        {
            if (mutex->isOurs())
                mutex->m_IsAbandoned = true;
            else
                delete mutex;
        }
    };
    using Owner = std::unique_ptr<ToolMutex, Deleter>;

    void lock()
    {
        if (!isOurs() && !takeIfFree())
            takeTurn();
        own();
    }

    bool try_lock()
    {
        if (!isOurs() && !takeIfFree())
            return false;
        own();
        return true;
    }

    void unlock()
    {
        if (--m_Depth > 0)
            return;
        const bool isAbandoned = m_IsAbandoned; // nobody else uses it then
        m_Holder.store(std::thread::id(), std::memory_order_relaxed);
        int alone = ONE_HOLDER;
        if (!m_State.compare_exchange_strong(alone, 0, std::memory_order_release, std::memory_order_relaxed))
            giveTurn();
        if (isAbandoned)
            end();
    }

    /// Returns when the calling thread is the only user left, or nobody is. No other thread may begin to use it.
    void waitUntilUnused();

private:
    static constexpr int TAKEN = 1;
    static constexpr int USER = 2; // one of them in m_State
    static constexpr int ONE_HOLDER = USER | TAKEN;

    /// Only the calling thread itself can have written its own identity.
    bool isOurs() const { return m_Holder.load(std::memory_order_relaxed) == std::this_thread::get_id(); }

    bool takeIfFree()
    {
        int nobody = 0;
        return m_State.compare_exchange_strong(nobody, ONE_HOLDER, std::memory_order_acquire,
                                               std::memory_order_relaxed);
    }

    void own()
    {
        m_Holder.store(std::this_thread::get_id(), std::memory_order_relaxed);
        ++m_Depth;
    }

    void takeTurn();
    void giveTurn();
    void end();

    std::atomic<int> m_State{0};           // the number of users times USER, and TAKEN
    std::atomic<std::thread::id> m_Holder; // none while it is free
    int m_Depth = 0;                       // how often the holder has locked it; the holder's
    bool m_IsAbandoned = false;            // the holder's
    std::mutex m_TurnMutex;                // guards every change of m_State while there is more than one user
    std::condition_variable m_TurnCame;
};

} // namespace _tbr
