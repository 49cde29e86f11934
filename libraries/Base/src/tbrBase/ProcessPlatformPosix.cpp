#include <tbrBase/ProcessPlatform.h>

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace tbr
{
namespace platform
{

namespace
{

int ourWakePipe[2] = {-1, -1}; // kept to the end of the process: a signal may arrive as late

extern "C" void wakeOnSignal(int)
{
    const int interruptedErrno = errno;
    const char byte = 0;
    // Nothing can be done in a signal handler if this fails; a full pipe already holds the request.
    const ssize_t written = write(ourWakePipe[1], &byte, 1);
    static_cast<void>(written);
    errno = interruptedErrno;
}

void emptyWakePipe()
{
    char bytes[16];
    while (read(ourWakePipe[0], bytes, sizeof bytes) > 0)
        continue;
}

bool wakeOn(int signal)
{
    struct sigaction action = {};
    action.sa_handler = wakeOnSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    return sigaction(signal, &action, nullptr) == 0;
}

} // namespace

void survivePeersThatClose()
{
    std::signal(SIGPIPE, SIG_IGN);
}

void surviveFileSizeLimits()
{
    std::signal(SIGXFSZ, SIG_IGN);
}

bool onTerminationRequest(std::function<void()> stop)
{
    if (pipe2(ourWakePipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    auto* notifier = new QSocketNotifier(ourWakePipe[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier,
                     [stop = std::move(stop)]
                     {
                         emptyWakePipe();
                         stop();
                     });
    return wakeOn(SIGINT) && wakeOn(SIGTERM);
}

bool isStandardOutputTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

} // namespace platform
} // namespace tbr
