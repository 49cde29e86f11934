#include "LoadRun.h"

#include "ProcessMeasure.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <thread>

namespace
{

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using Microseconds = std::chrono::duration<double, std::micro>;

/// Time for all threads to start.
constexpr std::chrono::milliseconds START_TIME(30);
constexpr double WARM_UP_SHARE = 0.2;
constexpr std::chrono::seconds PATIENCE(20);
constexpr std::size_t EXPECTED_EXCHANGES = 16384;

Clock::duration toDuration(double seconds)
{
    return std::chrono::duration_cast<Clock::duration>(Seconds(seconds));
}

/// When a run begins, from when it counts, and when it ends.
struct Window
{
    Clock::time_point begin;
    Clock::time_point countFrom;
    Clock::time_point end;
};

Window windowOf(double seconds)
{
    const Clock::time_point begin = Clock::now() + START_TIME;
    const Clock::time_point countFrom = begin + toDuration(WARM_UP_SHARE * seconds);
    return {begin, countFrom, countFrom + toDuration(seconds)};
}

/// The thread of one client and what it found.
class Worker
{
public:
    Worker(LoadClient& client, const loadRun::Load& load, const Window& window, double phase, std::atomic<int>& atWork)
        : m_Client(client), m_Load(load), m_Window(window), m_Phase(phase)
    {
        m_Latencies.reserve(EXPECTED_EXCHANGES);
        m_Thread = std::thread([this, &atWork] { run(atWork); });
    }

    void abort() { m_Client.abort(); }
    void join() { m_Thread.join(); }

    /// After join(): adds the latencies and returns when the last one that counts ended, or throws what ended the work.
    Clock::time_point collect(std::vector<double>& latencies) const
    {
        if (m_Failure)
            std::rethrow_exception(m_Failure);
        latencies.insert(latencies.end(), m_Latencies.begin(), m_Latencies.end());
        return m_LastCounted;
    }

private:
    void run(std::atomic<int>& atWork)
    {
        try
        {
            std::this_thread::sleep_until(m_Window.begin);
            if (m_Load.ratePerClient > 0.0)
                askAtItsRate();
            else
                askWithoutPause();
        }
        catch (const std::exception&)
        {
            m_Failure = std::current_exception();
        }
        --atWork;
    }

    void askWithoutPause()
    {
        for (Clock::time_point from = Clock::now(); isOn(from);)
            from = ask(from);
    }

    void askAtItsRate()
    {
        const Clock::duration period = toDuration(1.0 / m_Load.ratePerClient);
        for (Clock::time_point due = m_Window.begin + toDuration(m_Phase / m_Load.ratePerClient); isOn(due);
             due += period)
        {
            const bool isLate = Clock::now() > due; // then the server was late: a timer would have woken us before
            std::this_thread::sleep_until(due);
            ask(isLate ? due : Clock::now());
        }
    }

    /// On a machine that is busy otherwise the time may be over before a client had its turn: one exchange counts
    /// always.
    bool isOn(Clock::time_point from) const { return from < m_Window.end || m_Latencies.empty(); }

    /// Returns when the answer had come.
    Clock::time_point ask(Clock::time_point from)
    {
        m_Client.perform(m_Load.exchange);
        const Clock::time_point to = Clock::now();
        if (from >= m_Window.countFrom && (to <= m_Window.end || m_Latencies.empty()))
        {
            m_Latencies.push_back(Microseconds(to - from).count());
            m_LastCounted = to;
        }
        return to;
    }

    LoadClient& m_Client;
    const loadRun::Load& m_Load;
    const Window m_Window;
    const double m_Phase; // of its period, so that the clients do not ask all at once
    std::vector<double> m_Latencies;
    Clock::time_point m_LastCounted;
    std::exception_ptr m_Failure;
    std::thread m_Thread;
};

std::vector<std::unique_ptr<Worker>> startWorkers(std::vector<LoadClient>& clients, const loadRun::Load& load,
                                                  const Window& window, std::atomic<int>& atWork)
{
    std::vector<std::unique_ptr<Worker>> workers;
    for (LoadClient& client : clients)
    {
        const double phase = static_cast<double>(workers.size()) / static_cast<double>(clients.size());
        workers.push_back(std::make_unique<Worker>(client, load, window, phase, atWork));
    }
    return workers;
}

void endWorkers(const std::vector<std::unique_ptr<Worker>>& workers, const std::atomic<int>& atWork)
{
    const Clock::time_point deadline = Clock::now() + PATIENCE;
    while (atWork > 0 && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    for (const auto& worker : workers)
    {
        if (atWork > 0)
            worker->abort();
        worker->join();
    }
}

} // namespace

loadRun::Outcome loadRun::drive(std::vector<LoadClient>& clients, const Load& load, qint64 serverProcess)
{
    const Window window = windowOf(load.seconds);
    std::atomic<int> atWork(static_cast<int>(clients.size()));
    const auto workers = startWorkers(clients, load, window, atWork);

    std::this_thread::sleep_until(window.countFrom);
    const std::optional<double> usedBefore = processMeasure::processorSeconds(serverProcess);
    std::this_thread::sleep_until(window.end);
    const std::optional<double> usedAfter = processMeasure::processorSeconds(serverProcess);
    endWorkers(workers, atWork);

    Outcome outcome{};
    Clock::time_point countedTo = window.end;
    for (const auto& worker : workers)
        countedTo = std::max(countedTo, worker->collect(outcome.latencies));
    std::sort(outcome.latencies.begin(), outcome.latencies.end());
    const double requests = static_cast<double>(outcome.latencies.size()) * load.exchange.numberOfRequests;
    outcome.requestsPerSecond = requests / Seconds(countedTo - window.countFrom).count();
    if (usedBefore && usedAfter)
        outcome.processorPerRequest = (*usedAfter - *usedBefore) * 1e6 / requests;
    return outcome;
}
