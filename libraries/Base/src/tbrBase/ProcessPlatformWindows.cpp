#include <tbrBase/ProcessPlatform.h>

#include <QCoreApplication>
#include <QMetaObject>

#include <cstdio>
#include <io.h>
#include <mutex>
#include <utility>

#include <windows.h>

namespace tbr
{
namespace platform
{

namespace
{

std::mutex ourMutex;
class Listener;
Listener* ourListener = nullptr; // guarded by ourMutex; null when the application is gone

/// Lives with the application, on the main thread.
class Listener : public QObject
{
public:
    Listener(QObject* parent, std::function<void()> stop) : QObject(parent), m_Stop(std::move(stop))
    {
        const std::lock_guard<std::mutex> lock(ourMutex);
        ourListener = this;
    }
    ~Listener() override
    {
        const std::lock_guard<std::mutex> lock(ourMutex);
        ourListener = nullptr;
    }

    /// From any thread, with ourMutex locked.
    void notify()
    {
        QMetaObject::invokeMethod(
            this, [this] { m_Stop(); }, Qt::QueuedConnection);
    }

private:
    const std::function<void()> m_Stop;
};

/// Runs on a thread that the system makes for it.
BOOL WINAPI wakeOnConsoleEvent(DWORD event)
{
    {
        const std::lock_guard<std::mutex> lock(ourMutex);
        if (ourListener)
            ourListener->notify();
    }
    // When the console closes, the system ends the process as soon as this handler returns: leave main() the time.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        Sleep(INFINITE);
    return TRUE;
}

} // namespace

void survivePeersThatClose()
{
    // There is no such signal on this system: a write to a closed pipe or socket just fails.
}

void surviveFileSizeLimits()
{
    // Nor is there one for this: a write that is not allowed just fails.
}

bool onTerminationRequest(std::function<void()> stop)
{
    new Listener(QCoreApplication::instance(), std::move(stop)); // its parent owns it
    return SetConsoleCtrlHandler(wakeOnConsoleEvent, TRUE) != 0;
}

bool isStandardOutputTerminal()
{
    return _isatty(_fileno(stdout)) != 0;
}

} // namespace platform
} // namespace tbr
