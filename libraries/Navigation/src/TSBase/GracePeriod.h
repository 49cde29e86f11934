#pragma once

#include <TSBase/Export.h>

#include <atomic>
#include <mutex>

/// Lets many threads read a shared structure without a lock while others replace it: a writer publishes the new
/// structure through an atomic pointer, waits here until nobody can still see the old one, and then frees it.
///
/// Readers never wait and never make each other wait. A writer waits for the readers that had begun before it, and at
/// most for those that began while it did so; it cannot be starved. Readers must keep their sections short and must not
/// become writers inside them.
///
/// Why it is right: a reader counts itself before it loads the pointer, in one total order of all these operations. So
/// a reader that loaded the old pointer was counted, in one of the two counters, before the new pointer was published.
/// The writer then sees both counters at zero once each; new readers go to the other counter meanwhile, so each does
/// reach zero. (The scheme of McKenney's "sleepable read-copy update", Linux Symposium 2006.)
class TBR_NAVIGATION_EXPORT GracePeriod
{
public:
    /// A read section: from construction to destruction, on one thread.
    class Section
    {
    public:
        explicit Section(GracePeriod& grace) : m_Readers(grace.m_Readers[grace.m_Phase.load()])
        {
            m_Readers.fetch_add(1);
        }
        ~Section() { m_Readers.fetch_sub(1); }
        Section(const Section&) = delete;
        Section& operator=(const Section&) = delete;

    private:
        std::atomic<int>& m_Readers;
    };

    GracePeriod();

    /// Returns when every section that had begun before this call has ended. Any thread, but not inside a section.
    void waitForReaders();

private:
    std::atomic<unsigned> m_Phase; // 0 or 1: the counter that new sections use
    std::atomic<int> m_Readers[2];
    std::mutex m_WriterMutex; // one writer waits at a time
};
