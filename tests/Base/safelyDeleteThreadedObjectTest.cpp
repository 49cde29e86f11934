#include <tbrBase/safelyDeleteThreadedObject.h>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace
{

/// Tells how often, and by which thread, the objects that point to it were destroyed.
struct Obituary
{
    std::atomic<int> count{0};
    std::atomic<QThread*> thread{nullptr};
};

class Mortal : public QObject
{
public:
    explicit Mortal(Obituary& obituary, QObject* parent = nullptr) : QObject(parent), m_Obituary(obituary) {}
    ~Mortal() override
    {
        m_Obituary.thread = QThread::currentThread();
        ++m_Obituary.count;
    }

private:
    Obituary& m_Obituary;
};

/// Its destructor gives a caller that does not wait for it the time to be found out.
class SlowMortal : public Mortal
{
public:
    using Mortal::Mortal;
    ~SlowMortal() override { std::this_thread::sleep_for(std::chrono::milliseconds(30)); }
};

/// A thread with an event loop that ends with the test.
class Loop : public QThread
{
public:
    Loop() { start(); }
    ~Loop() override
    {
        quit();
        wait();
    }
};

/// Runs `action` in `object`'s thread and waits for it.
template <class Action>
void runWhereItLives(QObject& object, Action action)
{
    std::promise<void> done;
    QTimer::singleShot(0, &object,
                       [&]
                       {
                           action();
                           done.set_value();
                       });
    done.get_future().wait();
}

/// Counts Qt's warnings while it lives.
class Warnings
{
public:
    Warnings()
    {
        ourCount = 0;
        m_Original = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) { ++ourCount; });
    }
    ~Warnings() { qInstallMessageHandler(m_Original); }
    Warnings(const Warnings&) = delete;
    Warnings& operator=(const Warnings&) = delete;

    int count() const { return ourCount; }

private:
    QtMessageHandler m_Original;
    static std::atomic<int> ourCount;
};
std::atomic<int> Warnings::ourCount{0};

} // namespace

TEST(safelyDeleteThreadedObject, IgnoresNull)
{
    tbr::safelyDeleteThreadedObject(nullptr);
}

TEST(safelyDeleteThreadedObject, DeletesAnObjectOfTheCallingThreadAtOnce)
{
    Obituary obituary;
    tbr::safelyDeleteThreadedObject(new Mortal(obituary));
    EXPECT_EQ(1, obituary.count);
}

TEST(safelyDeleteThreadedObject, LetsARunningThreadDeleteItsObject)
{
    Obituary obituary;
    Loop loop;
    auto* object = new Mortal(obituary);
    object->moveToThread(&loop);

    tbr::safelyDeleteThreadedObject(object);

    EXPECT_EQ(1, obituary.count);
    EXPECT_EQ(&loop, obituary.thread);
}

TEST(safelyDeleteThreadedObject, EndsARunningTimerInItsOwnThread)
{
    Obituary obituary;
    std::atomic<int> ticks{0};
    Warnings warnings;
    Loop loop;
    auto* object = new Mortal(obituary);
    auto* timer = new QTimer(object);
    QObject::connect(timer, &QTimer::timeout, object, [&ticks] { ++ticks; });
    object->moveToThread(&loop);
    runWhereItLives(*object, [timer] { timer->start(0); });
    while (ticks == 0)
        std::this_thread::yield();

    tbr::safelyDeleteThreadedObject(object);

    const int ticksAtDeath = ticks;
    Mortal later(obituary);
    later.moveToThread(&loop);
    runWhereItLives(later, [] {});
    EXPECT_EQ(ticksAtDeath, ticks);
    EXPECT_EQ(0, warnings.count());
    EXPECT_EQ(1, obituary.count);
    runWhereItLives(later, [&later] { later.moveToThread(QCoreApplication::instance()->thread()); });
}

TEST(safelyDeleteThreadedObject, ReturnsWhenTheChildrenAreGoneToo)
{
    Obituary parents, children;
    Loop loop;
    auto* object = new Mortal(parents);
    new SlowMortal(children, object);
    object->moveToThread(&loop);

    tbr::safelyDeleteThreadedObject(object);

    EXPECT_EQ(1, parents.count);
    EXPECT_EQ(1, children.count);
}

TEST(safelyDeleteThreadedObject, DeletesAnObjectWhoseThreadWasNeverStarted)
{
    Obituary obituary;
    QThread idle;
    auto* object = new Mortal(obituary);
    object->moveToThread(&idle);

    tbr::safelyDeleteThreadedObject(object);

    EXPECT_EQ(1, obituary.count);
}

TEST(safelyDeleteThreadedObject, DeletesAnObjectWhoseThreadHasFinished)
{
    Obituary obituary;
    QThread thread;
    auto* object = new Mortal(obituary);
    object->moveToThread(&thread);
    thread.start();
    thread.quit();
    thread.wait();

    tbr::safelyDeleteThreadedObject(object);

    EXPECT_EQ(1, obituary.count);
}

TEST(safelyDeleteThreadedObject, DeletesAnObjectWhoseThreadNoLongerExists)
{
    Obituary obituary;
    auto* object = new Mortal(obituary);
    {
        Loop loop;
        object->moveToThread(&loop);
    }

    tbr::safelyDeleteThreadedObject(object);

    EXPECT_EQ(1, obituary.count);
}

TEST(safelyDeleteThreadedObject, WaitsForAThreadThatIsBusy)
{
    Obituary obituary;
    Loop loop;
    auto* object = new Mortal(obituary);
    object->moveToThread(&loop);
    std::promise<void> isBusy;
    QTimer::singleShot(0, object,
                       [&isBusy]
                       {
                           isBusy.set_value();
                           std::this_thread::sleep_for(std::chrono::milliseconds(50));
                       });
    isBusy.get_future().wait();

    tbr::safelyDeleteThreadedObject(object);

    EXPECT_EQ(1, obituary.count);
    EXPECT_EQ(&loop, obituary.thread);
}

TEST(safelyDeleteThreadedObject, ReturnsHoweverNarrowlyItMeetsTheEndOfTheThread)
{
    for (int round = 0; round < 200; ++round)
    {
        Obituary obituary;
        QThread thread;
        auto* object = new Mortal(obituary);
        object->moveToThread(&thread);
        thread.start();
        std::thread ender([&thread] { thread.quit(); });

        tbr::safelyDeleteThreadedObject(object);

        ender.join();
        thread.quit(); // in case it came before the thread's event loop
        thread.wait();
        ASSERT_EQ(1, obituary.count) << "round " << round;
    }
}
