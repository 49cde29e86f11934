#include <TSLib/QueueEventDispatcher.h>

#include <tbrCore/Log.h>

#include <QCoreApplication>

#include <utility>

namespace
{

void refuse(const char* what)
{
    TBR_LOG("ERROR") << "A thread that has only queued calls cannot have a " << what << "." << std::endl;
}

} // namespace

/// Qt sees to it that nobody calls any more. Its order is made once more where a sanitizer can see it.
QueueEventDispatcher::~QueueEventDispatcher()
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
}

/// What is queued runs; then, if that is asked for and nobody has called since the last time, the thread sleeps until
/// somebody does.
bool QueueEventDispatcher::processEvents(QEventLoop::ProcessEventsFlags flags)
{
    const bool wasWoken = takeWakeUp();
    QCoreApplication::sendPostedEvents();
    if (wasWoken || !(flags & QEventLoop::WaitForMoreEvents))
        return wasWoken;
    emit aboutToBlock();
    waitForWakeUp();
    emit awake();
    QCoreApplication::sendPostedEvents();
    return true;
}

/// Whether somebody has called since the last time.
bool QueueEventDispatcher::takeWakeUp()
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return std::exchange(m_IsWoken, false);
}

void QueueEventDispatcher::waitForWakeUp()
{
    std::unique_lock<std::mutex> lock(m_Mutex);
    m_Woken.wait(lock, [this] { return m_IsWoken; });
    m_IsWoken = false;
}

bool QueueEventDispatcher::hasPendingEvents()
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
    return m_IsWoken;
}

void QueueEventDispatcher::wakeUp()
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_IsWoken = true;
    m_Woken.notify_all();
}

/// The event loop looks whether it shall end whenever it is woken.
void QueueEventDispatcher::interrupt()
{
    wakeUp();
}

void QueueEventDispatcher::flush() {}

void QueueEventDispatcher::registerSocketNotifier(QSocketNotifier*)
{
    refuse("socket notifier");
}

void QueueEventDispatcher::unregisterSocketNotifier(QSocketNotifier*) {}

void QueueEventDispatcher::registerTimer(int, int, Qt::TimerType, QObject*)
{
    refuse("timer");
}

bool QueueEventDispatcher::unregisterTimer(int)
{
    return false;
}

bool QueueEventDispatcher::unregisterTimers(QObject*)
{
    return false;
}

QList<QAbstractEventDispatcher::TimerInfo> QueueEventDispatcher::registeredTimers(QObject*) const
{
    return {};
}

int QueueEventDispatcher::remainingTime(int)
{
    return -1;
}

#ifdef Q_OS_WIN
bool QueueEventDispatcher::registerEventNotifier(QWinEventNotifier*)
{
    refuse("event notifier");
    return false;
}

void QueueEventDispatcher::unregisterEventNotifier(QWinEventNotifier*) {}
#endif
