#pragma once

#include <TSBase/Export.h>

#include <QAbstractEventDispatcher>

#include <condition_variable>
#include <mutex>

/// Runs the event loop of a thread that has nothing but queued calls: no timers, no sockets that are watched. It needs
/// no descriptor, so that starting such a thread never fails for want of one - Qt's own dispatcher then ends the whole
/// process.
///
/// Thread: give it to a QThread before that starts; the thread owns it. wakeUp() and interrupt() may be called from any
/// thread. A timer or socket notifier that is started on the thread is refused and logged.
class TBR_NAVIGATION_EXPORT QueueEventDispatcher : public QAbstractEventDispatcher
{
    Q_OBJECT

public:
    QueueEventDispatcher() = default;
    ~QueueEventDispatcher() override;

    bool processEvents(QEventLoop::ProcessEventsFlags flags) override;
    bool hasPendingEvents() override;
    void wakeUp() override;
    void interrupt() override;
    void flush() override;

    void registerSocketNotifier(QSocketNotifier* notifier) override;
    void unregisterSocketNotifier(QSocketNotifier* notifier) override;
    void registerTimer(int timerId, int interval, Qt::TimerType timerType, QObject* object) override;
    bool unregisterTimer(int timerId) override;
    bool unregisterTimers(QObject* object) override;
    QList<TimerInfo> registeredTimers(QObject* object) const override;
    int remainingTime(int timerId) override;
#ifdef Q_OS_WIN
    bool registerEventNotifier(QWinEventNotifier* notifier) override;
    void unregisterEventNotifier(QWinEventNotifier* notifier) override;
#endif

private:
    bool takeWakeUp();
    void waitForWakeUp();

    std::mutex m_Mutex; // guards m_IsWoken
    std::condition_variable m_Woken;
    bool m_IsWoken = false;
};
