#include <TSLib/ClientQueue.h>

#include <gtest/gtest.h>

#include <future>

namespace
{

constexpr std::chrono::milliseconds AT_ONCE(0);
constexpr std::chrono::milliseconds PATIENTLY(30000);

AcceptedClient client(int socket)
{
    return {0, socket, "127.0.0." + std::to_string(socket)};
}

void fill(ClientQueue& queue)
{
    for (std::size_t i = 1; i <= ClientQueue::CAPACITY; ++i)
        ASSERT_TRUE(queue.put(client(static_cast<int>(i))));
}

/// The socket of the next client, 0 when there is none.
int takenFrom(ClientQueue& queue, std::chrono::milliseconds limit)
{
    AcceptedClient taken;
    return queue.take(taken, limit) ? taken.socket : 0;
}

} // namespace

TEST(ClientQueue, GivesClientsInTheOrderOfTheirComing)
{
    ClientQueue queue;
    ASSERT_TRUE(queue.put(client(7)));
    ASSERT_TRUE(queue.put({-3, -1, ""}));
    AcceptedClient taken;
    ASSERT_TRUE(queue.take(taken, AT_ONCE));
    EXPECT_EQ(taken.result, 0);
    EXPECT_EQ(taken.socket, 7);
    EXPECT_EQ(taken.address, "127.0.0.7");
    ASSERT_TRUE(queue.take(taken, AT_ONCE));
    EXPECT_EQ(taken.result, -3);
}

TEST(ClientQueue, HasNobodyToGiveAfterTheTimeIsUp)
{
    ClientQueue queue;
    EXPECT_EQ(takenFrom(queue, std::chrono::milliseconds(1)), 0);
}

TEST(ClientQueue, WakesWhoWaitsForAClient)
{
    ClientQueue queue;
    auto taken = std::async(std::launch::async, [&] { return takenFrom(queue, PATIENTLY); });
    EXPECT_TRUE(queue.put(client(3)));
    EXPECT_EQ(taken.get(), 3);
}

TEST(ClientQueue, LetsTheAcceptingThreadWaitForRoom)
{
    ClientQueue queue;
    fill(queue);
    auto put = std::async(std::launch::async, [&] { return queue.put(client(99)); });
    EXPECT_EQ(takenFrom(queue, AT_ONCE), 1);
    EXPECT_TRUE(put.get());
    for (std::size_t i = 2; i <= ClientQueue::CAPACITY; ++i)
        EXPECT_EQ(takenFrom(queue, AT_ONCE), static_cast<int>(i));
    EXPECT_EQ(takenFrom(queue, AT_ONCE), 99);
}

TEST(ClientQueue, EndsEveryWaitWhenItIsClosed)
{
    ClientQueue full;
    fill(full);
    auto put = std::async(std::launch::async, [&] { return full.put(client(99)); });
    ClientQueue empty;
    auto taken = std::async(std::launch::async, [&] { return takenFrom(empty, PATIENTLY); });
    full.close();
    empty.close();
    EXPECT_FALSE(put.get());
    EXPECT_EQ(taken.get(), 0);
}

TEST(ClientQueue, StillGivesWhatItHoldsWhenItIsClosed)
{
    ClientQueue queue;
    ASSERT_TRUE(queue.put(client(5)));
    queue.close();
    EXPECT_TRUE(queue.isClosed());
    EXPECT_FALSE(queue.put(client(6)));
    EXPECT_EQ(takenFrom(queue, AT_ONCE), 5);
    EXPECT_EQ(takenFrom(queue, PATIENTLY), 0);
}

TEST(ClientQueue, CanBeOpenedAgain)
{
    ClientQueue queue;
    queue.close();
    queue.open();
    EXPECT_FALSE(queue.isClosed());
    EXPECT_TRUE(queue.put(client(6)));
    EXPECT_EQ(takenFrom(queue, AT_ONCE), 6);
}
