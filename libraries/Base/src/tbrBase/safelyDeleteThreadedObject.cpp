#include <tbrBase/safelyDeleteThreadedObject.h>

#include <QObject>
#include <QPointer>
#include <QThread>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

namespace tbr
{

namespace
{

/// Something that one thread announces once and another waits for.
class Announcement
{
public:
    void make()
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_IsMade = true;
        m_Made.notify_all();
    }

    bool waitFor(std::chrono::milliseconds limit)
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        return m_Made.wait_for(lock, limit, [this] { return m_IsMade; });
    }

private:
    std::mutex m_Mutex; // guards m_IsMade
    std::condition_variable m_Made;
    bool m_IsMade = false;
};

/// Goes to the thread of its victim and takes it along when it is deleted there. (The victim's own destroyed() signal
/// would come too early: children and the rest of the destructor follow it.)
class Undertaker : public QObject
{
public:
    Undertaker(QObject* victim, std::shared_ptr<Announcement> gone) : m_Victim(victim), m_Gone(std::move(gone))
    {
        moveToThread(victim->thread());
    }
    ~Undertaker() override
    {
        delete m_Victim.data();
        m_Gone->make();
    }

private:
    QPointer<QObject> m_Victim;
    const std::shared_ptr<Announcement> m_Gone;
};

} // namespace

void safelyDeleteThreadedObject(QObject* object)
{
    if (!object)
        return;

    QThread* thread = object->thread();
    if (!thread || thread == QThread::currentThread())
    {
        delete object;
        return;
    }
    if (!thread->isRunning())
    {
        thread->wait(); // it may be about to finish, and still touch the object
        delete object;
        return;
    }

    const auto gone = std::make_shared<Announcement>();
    auto* undertaker = new Undertaker(object, gone);
    undertaker->deleteLater();
    const std::chrono::milliseconds untilNextLook(20);
    while (!gone->waitFor(untilNextLook))
    {
        if (!thread->isFinished())
            continue;
        // A thread that ends runs its deferred deletions for the last time; this one may have come after that.
        thread->wait();
        if (!gone->waitFor(std::chrono::milliseconds(0)))
            delete undertaker;
        return;
    }
}

} // namespace tbr
