#include <tbrBase/ProcessPlatform.h>

#include <QCoreApplication>
#include <QMetaObject>

#include <cstdio>
#include <io.h>
#include <utility>
#include <windows.h>

namespace tbr
{
namespace platform
{

namespace
{

std::function<void()> ourStop; // set before the handler below is installed, called on the main thread only

/// Runs on a thread that the system makes for it.
BOOL WINAPI wakeOnConsoleEvent(DWORD event)
{
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [] { ourStop(); }, Qt::QueuedConnection);
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
    ourStop = std::move(stop);
    return SetConsoleCtrlHandler(wakeOnConsoleEvent, TRUE) != 0;
}

bool isStandardOutputTerminal()
{
    return _isatty(_fileno(stdout)) != 0;
}

} // namespace platform
} // namespace tbr
