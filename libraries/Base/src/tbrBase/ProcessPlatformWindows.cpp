#include <tbrBase/ProcessPlatform.h>

#include <QCoreApplication>
#include <QMetaObject>

#include <io.h>
#include <utility>
#include <windows.h>

namespace tbr
{
namespace platform
{

namespace
{

std::function<void()> ourStop;

BOOL WINAPI wakeOnConsoleEvent(DWORD)
{
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [] { ourStop(); }, Qt::QueuedConnection);
    return TRUE;
}

} // namespace

void survivePeersThatClose() {}

void onTerminationRequest(std::function<void()> stop)
{
    ourStop = std::move(stop);
    SetConsoleCtrlHandler(wakeOnConsoleEvent, TRUE);
}

bool isStandardOutputTerminal()
{
    return _isatty(_fileno(stdout)) != 0;
}

} // namespace platform
} // namespace tbr
