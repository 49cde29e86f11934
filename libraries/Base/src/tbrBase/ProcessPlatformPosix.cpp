#include <tbrBase/ProcessPlatform.h>

#include <QCoreApplication>
#include <QSocketNotifier>

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

int ourWakePipe[2] = {-1, -1};

extern "C" void wakeOnSignal(int)
{
    const char byte = 0;
    // Nothing can be done in a signal handler if this fails; a full pipe already holds the request.
    const ssize_t written = write(ourWakePipe[1], &byte, 1);
    static_cast<void>(written);
}

} // namespace

void survivePeersThatClose()
{
    std::signal(SIGPIPE, SIG_IGN);
}

void onTerminationRequest(std::function<void()> stop)
{
    if (pipe2(ourWakePipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto* notifier = new QSocketNotifier(ourWakePipe[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier,
                     [stop = std::move(stop)]
                     {
                         char bytes[16];
                         while (read(ourWakePipe[0], bytes, sizeof bytes) > 0)
                             continue;
                         stop();
                     });

    struct sigaction action = {};
    action.sa_handler = wakeOnSignal;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool isStandardOutputTerminal()
{
    return isatty(STDOUT_FILENO) == 1;
}

} // namespace platform
} // namespace tbr
