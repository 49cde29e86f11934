#include <tbrBase/ProcessPlatform.h>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>

namespace platform = tbr::platform;

namespace
{

std::atomic<int> ourRequests{0};
std::atomic<QThread*> ourStoppingThread{nullptr};

/// The termination handler is installed once for this process, as in a program.
class ProcessPlatform : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        ASSERT_TRUE(platform::onTerminationRequest(
            []
            {
                ourStoppingThread = QThread::currentThread();
                ++ourRequests;
            }));
    }

    void SetUp() override { ourRequests = 0; }

    static void waitForRequest()
    {
        while (ourRequests == 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
};

QByteArray outputOf(const QString& program, const QStringList& arguments)
{
    QProcess child;
    child.start(program, arguments);
    return child.waitForFinished(-1) ? child.readAllStandardOutput().trimmed() : child.errorString().toUtf8();
}

QString probe()
{
    return QCoreApplication::applicationDirPath() + "/ProcessPlatformProbe";
}

} // namespace

TEST_F(ProcessPlatform, CallsTheStopFunctionForAnInterrupt)
{
    std::raise(SIGINT);
    waitForRequest();
    EXPECT_EQ(1, ourRequests);
}

TEST_F(ProcessPlatform, CallsTheStopFunctionForATermination)
{
    std::raise(SIGTERM);
    waitForRequest();
    EXPECT_EQ(1, ourRequests);
}

TEST_F(ProcessPlatform, CallsTheStopFunctionAgainForALaterRequest)
{
    std::raise(SIGTERM);
    waitForRequest();
    std::raise(SIGINT);
    while (ourRequests < 2)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

TEST_F(ProcessPlatform, CallsTheStopFunctionOnTheMainThreadWhicheverThreadIsInterrupted)
{
    std::thread other([] { std::raise(SIGTERM); });
    waitForRequest();
    other.join();
    EXPECT_EQ(QCoreApplication::instance()->thread(), ourStoppingThread);
}

TEST_F(ProcessPlatform, LeavesTheErrorCodeOfTheInterruptedThreadAlone)
{
    errno = 0;
    for (int i = 0; i < 70000 && errno == 0; ++i) // more requests than the system remembers
        std::raise(SIGTERM);
    EXPECT_EQ(0, errno);
    waitForRequest();
    QCoreApplication::processEvents();
    EXPECT_EQ(1, ourRequests);
}

TEST_F(ProcessPlatform, OutlivesAPeerThatCloses)
{
    std::signal(SIGPIPE, SIG_DFL);
    platform::survivePeersThatClose();
    std::raise(SIGPIPE);
}

TEST_F(ProcessPlatform, OutlivesAFileThatMayNotGrow)
{
    std::signal(SIGXFSZ, SIG_DFL);
    platform::surviveFileSizeLimits();
    std::raise(SIGXFSZ);
}

TEST_F(ProcessPlatform, KnowsAPipeFromATerminal)
{
    EXPECT_EQ("no terminal", outputOf(probe(), {}));
}

TEST_F(ProcessPlatform, KnowsATerminal)
{
    const QString script = QStandardPaths::findExecutable("script");
    if (script.isEmpty())
        GTEST_SKIP() << "there is no program that provides a terminal";
    EXPECT_EQ("a terminal", outputOf(script, {"-qec", probe(), "/dev/null"}));
}
