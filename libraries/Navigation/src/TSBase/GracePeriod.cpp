#include <TSBase/GracePeriod.h>

#include <chrono>
#include <thread>

namespace
{

/// Sections take microseconds, so it mostly helps to look again at once; a reader that lost its processor needs time.
void waitForZero(const std::atomic<int>& readers)
{
    for (int looks = 0; readers.load() != 0; ++looks)
    {
        if (looks < 64)
            std::this_thread::yield();
        else
            std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
}

} // namespace

GracePeriod::GracePeriod() : m_Phase(0), m_Readers{} {}

void GracePeriod::waitForReaders()
{
    const std::lock_guard<std::mutex> lock(m_WriterMutex);
    for (int round = 0; round < 2; ++round)
    {
        const unsigned phase = m_Phase.load();
        m_Phase.store(1 - phase);
        waitForZero(m_Readers[phase]);
    }
}
