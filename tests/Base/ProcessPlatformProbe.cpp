#include <tbrBase/ProcessPlatform.h>

#include <QCoreApplication>
#include <QThread>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

void say(const char* line)
{
    std::puts(line);
    std::fflush(stdout);
}

/// Ends after so many requests to end.
int endAfter(QCoreApplication& application, int requests)
{
    const bool isHeard = tbr::platform::onTerminationRequest(
        [&application, requests]() mutable
        {
            say(QThread::currentThread() == application.thread() ? "asked on the main thread" : "asked elsewhere");
            if (--requests == 0)
                application.quit();
        });
    say(isHeard ? "ready" : "deaf");
    return application.exec();
}

} // namespace

/// Without an argument says whether its standard output is a terminal; with "requests N" it ends after N requests to
/// end; with "wait" when its standard input does.
int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    if (argc == 3)
        return endAfter(application, std::atoi(argv[2]));
    if (argc == 2)
        return std::getchar() == EOF ? 0 : 1;
    say(tbr::platform::isStandardOutputTerminal() ? "a terminal" : "no terminal");
}
