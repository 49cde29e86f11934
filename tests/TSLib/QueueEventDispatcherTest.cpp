#include <TSLib/QueueEventDispatcher.h>

#include <support/Eventually.h>
#include <support/LogCapture.h>

#include <gtest/gtest.h>

#include <QThread>
#include <QTimer>

#include <atomic>
#include <thread>
#include <vector>

namespace
{

/// A thread with this dispatcher and an object that lives there.
class QueueThread
{
public:
    QueueThread()
    {
        m_Thread.setEventDispatcher(new QueueEventDispatcher);
        m_Object.moveToThread(&m_Thread);
        m_Thread.start();
    }
    ~QueueThread() { end(); }

    template <class Call>
    void post(Call call)
    {
        QMetaObject::invokeMethod(&m_Object, call, Qt::QueuedConnection);
    }
    void end()
    {
        m_Thread.quit();
        m_Thread.wait();
    }

private:
    QThread m_Thread;
    QObject m_Object;
};

} // namespace

TEST(QueueEventDispatcher, RunsQueuedCallsInTheirOrder)
{
    std::vector<int> order;
    std::atomic<int> done{0};
    QueueThread thread;
    for (int i = 0; i < 1000; ++i)
        thread.post(
            [&order, &done, i]
            {
                order.push_back(i);
                ++done;
            });
    EXPECT_TRUE(eventually([&] { return done == 1000; }));
    for (int i = 0; i < 1000; ++i)
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(QueueEventDispatcher, RunsCallsThatAreQueuedWhileItSleepsOrIsAboutTo)
{
    QueueThread thread;
    for (int i = 0; i < 1000; ++i)
    {
        std::atomic<bool> isDone{false};
        thread.post([&isDone] { isDone = true; });
        while (!isDone)
            std::this_thread::yield();
    }
}

TEST(QueueEventDispatcher, RunsCallsFromManyThreads)
{
    std::atomic<int> done{0};
    QueueThread thread;
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i)
        callers.emplace_back(
            [&]
            {
                for (int call = 0; call < 500; ++call)
                    thread.post([&done] { ++done; });
            });
    for (std::thread& caller : callers)
        caller.join();
    EXPECT_TRUE(eventually([&] { return done == 2000; }));
}

TEST(QueueEventDispatcher, EndsItsThreadWheneverItIsAsked)
{
    for (int i = 0; i < 200; ++i)
    {
        QueueThread thread;
        if (i % 2 == 0)
            thread.post([] {});
        if (i % 3 == 0)
            std::this_thread::yield();
        thread.end();
    }
}

TEST(QueueEventDispatcher, RefusesATimer)
{
    const LogCapture log;
    std::atomic<bool> isDone{false};
    QueueThread thread;
    thread.post(
        [&isDone]
        {
            QTimer timer;
            timer.start(1000);
            EXPECT_EQ(timer.remainingTime(), -1);
            isDone = true;
        });
    EXPECT_TRUE(eventually([&] { return isDone.load(); }));
    EXPECT_EQ(log.count("ERROR", "A thread that has only queued calls cannot have a timer.\n"), 1);
}
