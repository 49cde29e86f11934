#include "CrowdedServer.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <thread>
#include <vector>

using namespace wire;

namespace
{

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int IDLE_CLIENTS = 500;
constexpr int POLLING_CLIENTS = 50;
constexpr int POLLING_THREADS = 2;
constexpr int POLLS_PER_SECOND = 60;
constexpr int SECONDS = 120;
constexpr double LATENCY_LIMIT_MS = 100;
constexpr double MEMORY_LIMIT_KIB = 40;

/// Some clients that ask for all poses at their rate, all at the same moment, each when it has its answer.
///
/// Thread: run() on one of its own; the rest afterwards.
class Pollers
{
public:
    Pollers(int port, int count)
    {
        for (int i = 0; i < count; ++i)
            m_Clients.push_back(std::make_unique<ProtocolClient>(port, Order::HOST));
        m_Latencies.reserve(static_cast<std::size_t>(count * POLLS_PER_SECOND * SECONDS));
    }

    void run()
    {
        const Clock::time_point begin = Clock::now();
        for (int poll = 0; poll < POLLS_PER_SECOND * SECONDS; ++poll)
        {
            std::this_thread::sleep_until(begin + std::chrono::microseconds(1000000LL * poll / POLLS_PER_SECOND));
            pollOnce();
        }
    }

    /// Milliseconds from a request to the end of its answer, one for each poll that was answered as it should be.
    const std::vector<double>& latencies() const { return m_Latencies; }

private:
    void pollOnce()
    {
        static const std::string REQUEST = framed(packet(ALL_POSES));
        static const std::string END = framed(acknowledgement());
        std::vector<Clock::time_point> sendTimes;
        for (const auto& client : m_Clients)
        {
            sendTimes.push_back(Clock::now());
            client->socket().send(REQUEST);
        }
        for (std::size_t i = 0; i < m_Clients.size(); ++i)
        {
            const std::string answer = m_Clients[i]->socket().receive(CrowdedServer::ALL_POSES_SIZE);
            if (answer.size() == CrowdedServer::ALL_POSES_SIZE && answer.substr(answer.size() - END.size()) == END)
                m_Latencies.push_back(Milliseconds(Clock::now() - sendTimes[i]).count());
        }
    }

    std::vector<std::unique_ptr<ProtocolClient>> m_Clients;
    std::vector<double> m_Latencies;
};

/// The latencies of all clients that poll for SECONDS, sorted.
std::vector<double> latenciesOfPolling(int port)
{
    std::vector<Pollers> pollers;
    for (int i = 0; i < POLLING_THREADS; ++i)
        pollers.emplace_back(port, POLLING_CLIENTS / POLLING_THREADS);
    std::vector<std::thread> threads;
    for (Pollers& some : pollers)
        threads.emplace_back([&some] { some.run(); });
    for (std::thread& thread : threads)
        thread.join();
    std::vector<double> all;
    for (const Pollers& some : pollers)
        all.insert(all.end(), some.latencies().begin(), some.latencies().end());
    std::sort(all.begin(), all.end());
    return all;
}

} // namespace

TEST(ToolserverLoad, AnswersEveryPollAmongManyIdleClients)
{
    ASSERT_TRUE(ProcessStatus::allowDescriptors(IDLE_CLIENTS + POLLING_CLIENTS + 200));
    CrowdedServer server(2 * (IDLE_CLIENTS + POLLING_CLIENTS) + 200);
    const double residentBefore = server.status.residentKiB();
    std::vector<std::unique_ptr<ProtocolClient>> idle;
    for (int i = 0; i < IDLE_CLIENTS; ++i)
        idle.push_back(std::make_unique<ProtocolClient>(server.port(), Order::HOST));
    const double perSession = (server.status.residentKiB() - residentBefore) / IDLE_CLIENTS;

    const double processorBefore = server.status.processorSeconds();
    const std::vector<double> latencies = latenciesOfPolling(server.port());
    ASSERT_EQ(latencies.size(), static_cast<std::size_t>(POLLING_CLIENTS * POLLS_PER_SECOND * SECONDS))
        << "polls were not answered";
    const auto part = [&](double share)
    { return latencies[static_cast<std::size_t>(share * static_cast<double>(latencies.size() - 1))]; };
    std::cout << latencies.size() << " polls: median " << part(0.5) << " ms, 99.9 % within " << part(0.999)
              << " ms, slowest " << latencies.back() << " ms; "
              << (server.status.processorSeconds() - processorBefore) / SECONDS << " processors; " << perSession
              << " KiB for an idle session\n";
    EXPECT_LT(latencies.back(), LATENCY_LIMIT_MS) << "milliseconds; other work on this machine counts, too";
    if (IS_MEMORY_MEASURABLE)
    {
        EXPECT_LT(perSession, MEMORY_LIMIT_KIB);
    }

    for (const auto& client : idle)
        EXPECT_TRUE(client->isServed());
    idle.clear();
    EXPECT_TRUE(server.isEmptyAgain());
    EXPECT_EQ(server.stop(), 0) << server.process.standardError();
}
