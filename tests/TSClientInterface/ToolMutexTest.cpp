#include <TSClientInterface/ToolMutex.h>

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

using _tbr::ToolMutex;

namespace
{

bool canBeTakenByAnotherThread(ToolMutex& mutex)
{
    return std::async(std::launch::async,
                      [&]
                      {
                          const bool isTaken = mutex.try_lock();
                          if (isTaken)
                              mutex.unlock();
                          return isTaken;
                      })
        .get();
}

TEST(ToolMutex, IsTakenAgainByTheSameThreadAndGivenUpByItsLastUnlock)
{
    ToolMutex mutex;
    mutex.lock();
    EXPECT_TRUE(mutex.try_lock());
    mutex.lock();
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_FALSE(canBeTakenByAnotherThread(mutex));
        mutex.unlock();
    }
    EXPECT_TRUE(canBeTakenByAnotherThread(mutex));
}

TEST(ToolMutex, LetsEachOfManyThreadsHaveItAlone)
{
    constexpr int THREADS = 4;
    constexpr int ROUNDS = 20000;
    ToolMutex mutex;
    int number = 0; // torn and lost counts show
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t)
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; i < ROUNDS; ++i)
                {
                    if (t % 2 == 0 || !mutex.try_lock())
                        mutex.lock();
                    const std::lock_guard<ToolMutex> again(mutex);
                    ++number;
                    mutex.unlock();
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(number, THREADS * ROUNDS);
}

TEST(ToolMutex, IsTakenTogetherWithAnotherOneInAnyOrder)
{
    constexpr int ROUNDS = 20000;
    ToolMutex first;
    ToolMutex second;
    int number = 0;
    const auto count = [&](ToolMutex& one, ToolMutex& other)
    {
        for (int i = 0; i < ROUNDS; ++i)
        {
            const std::scoped_lock lock(one, other);
            ++number;
        }
    };
    std::thread forwards([&] { count(first, second); });
    std::thread backwards([&] { count(second, first); });
    count(first, first);
    forwards.join();
    backwards.join();
    EXPECT_EQ(number, 3 * ROUNDS);
}

TEST(ToolMutex, WaitsUntilItsHolderAndThoseWhoWaitForItAreDone)
{
    for (int round = 0; round < 200; ++round)
    {
        auto mutex = std::make_unique<ToolMutex>();
        std::atomic<int> done{0};
        std::atomic<int> begun{0};
        std::vector<std::thread> users;
        for (int i = 0; i < 3; ++i)
            users.emplace_back(
                [&]
                {
                    const std::lock_guard<ToolMutex> lock(*mutex);
                    ++begun;
                    std::this_thread::yield();
                    ++done;
                });
        while (begun == 0)
            std::this_thread::yield();
        const int before = begun;
        mutex->waitUntilUnused();
        EXPECT_GE(done, before);
        for (std::thread& user : users)
            user.join();
        mutex->waitUntilUnused(); // nobody
    }
}

TEST(ToolMutex, DoesNotWaitForTheCallingThreadItself)
{
    ToolMutex mutex;
    mutex.lock();
    mutex.lock();
    mutex.waitUntilUnused();
    EXPECT_FALSE(canBeTakenByAnotherThread(mutex));
    mutex.unlock();
    mutex.unlock();
    EXPECT_TRUE(canBeTakenByAnotherThread(mutex));
}

TEST(ToolMutex, OutlivesItsOwnerWhileItIsHeld)
{
    ToolMutex::Owner owner(new ToolMutex);
    ToolMutex& mutex = *owner;
    mutex.lock();
    mutex.lock();
    owner.reset();
    EXPECT_FALSE(canBeTakenByAnotherThread(mutex));
    mutex.unlock();
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
    mutex.unlock(); // its end; a sanitizer build would tell if it was not, or came before
}

} // namespace
