#include <TSBase/GracePeriod.h>

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace
{

void waitUntil(const std::atomic<bool>& condition)
{
    while (!condition)
        std::this_thread::yield();
}

/// Gives other threads so many chances to run.
void letOthersRun()
{
    for (int i = 0; i < 1000; ++i)
        std::this_thread::yield();
}

} // namespace

TEST(GracePeriod, DoesNotWaitWithoutReaders)
{
    GracePeriod grace;
    grace.waitForReaders();
    {
        const GracePeriod::Section section(grace);
    }
    grace.waitForReaders();
    grace.waitForReaders();
}

TEST(GracePeriod, WaitsForAReaderThatHadBegun)
{
    GracePeriod grace;
    std::atomic<bool> hasBegun{false}, writerIsThere{false}, hasEnded{false};
    std::thread reader(
        [&]
        {
            const GracePeriod::Section section(grace);
            hasBegun = true;
            waitUntil(writerIsThere);
            letOthersRun();
            hasEnded = true;
        });

    waitUntil(hasBegun);
    writerIsThere = true;
    grace.waitForReaders();
    EXPECT_TRUE(hasEnded);
    reader.join();
}

TEST(GracePeriod, WaitsForNestedSectionsOfAReader)
{
    GracePeriod grace;
    std::atomic<bool> hasBegun{false}, writerIsThere{false}, hasEnded{false};
    std::thread reader(
        [&]
        {
            const GracePeriod::Section outer(grace);
            hasBegun = true;
            waitUntil(writerIsThere);
            for (int i = 0; i < 100; ++i)
            {
                const GracePeriod::Section inner(grace);
                std::this_thread::yield();
            }
            hasEnded = true;
        });

    waitUntil(hasBegun);
    writerIsThere = true;
    grace.waitForReaders();
    EXPECT_TRUE(hasEnded);
    reader.join();
}

TEST(GracePeriod, IsNotStarvedByReadersThatComeAndGo)
{
    GracePeriod grace;
    std::atomic<bool> isOver{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back(
            [&]
            {
                auto section = std::make_unique<GracePeriod::Section>(grace);
                while (!isOver)
                {
                    auto next = std::make_unique<GracePeriod::Section>(grace); // one is always open
                    section = std::move(next);
                }
            });
    for (int i = 0; i < 100; ++i)
        grace.waitForReaders();
    isOver = true;
    for (std::thread& reader : readers)
        reader.join();
}

TEST(GracePeriod, NeverLetsAReaderSeeWhatAWriterHasFreed)
{
    constexpr int GOOD = 42;
    struct Value
    {
        ~Value() { number = 0; }
        int number = GOOD;
    };
    GracePeriod grace;
    std::atomic<const Value*> published{new Value};
    std::atomic<bool> isOver{false};
    std::atomic<int> wrong{0};

    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back(
            [&]
            {
                while (!isOver)
                {
                    const GracePeriod::Section section(grace);
                    const Value* value = published.load();
                    wrong += value->number != GOOD ? 1 : 0;
                }
            });
    std::vector<std::thread> writers;
    for (int i = 0; i < 2; ++i)
        writers.emplace_back(
            [&]
            {
                for (int round = 0; round < 500; ++round)
                {
                    const std::unique_ptr<const Value> old(published.exchange(new Value));
                    grace.waitForReaders();
                }
            });
    for (std::thread& writer : writers)
        writer.join();
    isOver = true;
    for (std::thread& reader : readers)
        reader.join();
    delete published.load();
    EXPECT_EQ(0, wrong);
}
