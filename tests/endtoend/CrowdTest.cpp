#include "CrowdedServer.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <thread>
#include <vector>

using namespace wire;

namespace
{

/// One of the ways in which a client comes and goes.
void comeAndGo(int port, int number)
{
    PlainSocket client = PlainSocket::connectedTo(port);
    const std::string greeting = framed(bytes("15000000 00000001 00000001"));
    switch (number % 5)
    {
    case 0: // as it should be
        client.send(greeting + framed(packet(ALL_POSES)));
        EXPECT_EQ(client.receive(14 + CrowdedServer::ALL_POSES_SIZE).size(), 14 + CrowdedServer::ALL_POSES_SIZE);
        return client.close();
    case 1:
        return client.close();
    case 2:
        return client.abort();
    case 3:
        client.send(greeting + bytes("0004 16"));
        return client.close();
    default:
        client.send(greeting + bytes("00"));
        return client.abort();
    }
}

void storm(int port)
{
    for (int i = 0; i < 1000; ++i)
        comeAndGo(port, i);
}

/// Whether the server serves a client; one that it has no room for it may send away or keep waiting.
bool isAnswered(PlainSocket& client)
{
    return client.trySend(framed(bytes("15000000 00000001 00000001"))) &&
           client.waitForInput(std::chrono::seconds(2)) && client.receive(14).size() == 14;
}

/// How many lines the server has written until now.
long lines(const ServerProcess& process)
{
    const std::string all = process.standardOutput() + process.standardError();
    return std::count(all.begin(), all.end(), '\n');
}

} // namespace

TEST(ToolserverCrowd, LeavesNothingBehindWhenAThousandClientsCameAndWent)
{
    CrowdedServer server;
    storm(server.port()); // after the first storm the system's allocator keeps what one needs
    EXPECT_TRUE(server.isEmptyAgain());
    const double before = server.status.residentKiB();
    storm(server.port());
    EXPECT_TRUE(server.isEmptyAgain());
    const double growth = server.status.residentKiB() - before;
    std::cout << "resident memory before the second storm: " << before << " KiB, growth " << growth << " KiB\n";
    if (IS_MEMORY_MEASURABLE)
    {
        EXPECT_LT(growth, 2048) << "KiB for 1000 clients that have gone";
    }
    EXPECT_EQ(server.stop(), 0) << server.process.standardError();
}

TEST(ToolserverCrowd, ServesTwoThousandIdleClients)
{
    constexpr int COUNT = 2000;
    if (!ProcessStatus::allowDescriptors(COUNT + 200))
        GTEST_SKIP() << "this system does not let a program hold so many connections";
    CrowdedServer server(2 * COUNT + 500);
    std::vector<std::unique_ptr<ProtocolClient>> clients;
    const int threads = server.status.threads();
    for (int i = 0; i < COUNT; ++i)
        clients.push_back(std::make_unique<ProtocolClient>(server.port(), Order::HOST));
    EXPECT_GE(server.status.threads(), threads + COUNT);
    for (int i = 0; i < COUNT; i += 100)
        EXPECT_EQ(clients[static_cast<std::size_t>(i)]->askAll(packet(ALL_POSES)).size(), CrowdedServer::TOOLS + 1U);
    clients.clear();
    EXPECT_TRUE(server.isEmptyAgain());
    EXPECT_EQ(server.stop(), 0) << server.process.standardError();
}

/// Servers that may hold so many descriptors, of which they may keep some for other ends than clients. When a session
/// takes two, it makes a difference which one is lacking.
class ToolserverWithoutDescriptors : public testing::TestWithParam<int>
{
};

TEST_P(ToolserverWithoutDescriptors, ServesItsClientsQuietlyAndTakesNewOnesWhenItCan)
{
    CrowdedServer server(GetParam());
    ProtocolClient friendly(server.port(), Order::HOST);
    std::vector<PlainSocket> crowd;
    do
        crowd.push_back(PlainSocket::connectedTo(server.port()));
    while (isAnswered(crowd.back()) && crowd.size() < static_cast<std::size_t>(GetParam()));
    ASSERT_TRUE(server.process.isRunning()) << server.process.standardError();
    EXPECT_LT(crowd.size(), static_cast<std::size_t>(GetParam())) << "each client takes a descriptor";
    for (int i = 0; i < 3; ++i)
        crowd.push_back(PlainSocket::connectedTo(server.port()));

    const double processorBefore = server.status.processorSeconds();
    const long linesBefore = lines(server.process);
    const auto begin = std::chrono::steady_clock::now();
    int asked = 0;
    while (std::chrono::steady_clock::now() - begin < std::chrono::seconds(1))
    {
        ASSERT_EQ(friendly.askAll(packet(ALL_POSES)).size(), CrowdedServer::TOOLS + 1U)
            << server.process.standardError();
        ++asked;
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // a client that polls
    }
    const double processor = server.status.processorSeconds() - processorBefore;
    const long written = lines(server.process) - linesBefore;
    std::cout << asked << " requests answered, " << processor << " s of processor time, " << written
              << " lines written within a second\n";
    EXPECT_LT(processor, 0.5) << "seconds of a second: it must not try again without a pause";
    EXPECT_LT(written, 100) << "lines in a second";

    crowd.clear();
    PlainSocket late;
    EXPECT_TRUE(eventually([&] { return late.tryConnect(server.port()) && isAnswered(late); }));
    EXPECT_TRUE(friendly.isServed());
    EXPECT_EQ(server.stop(), 0) << server.process.standardError();
}

INSTANTIATE_TEST_SUITE_P(, ToolserverWithoutDescriptors, testing::Values(40, 41), testing::PrintToStringParamName());
