#include <tbrBase/ProcessPlatform.h>

#include <support/Eventually.h>
#include <support/ProgramProcess.h>

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

/// A program that ends after a number of requests, ready for them.
class Asked
{
public:
    explicit Asked(int requests) : process(probe().toStdString(), {"requests", std::to_string(requests)})
    {
        EXPECT_TRUE(says("ready\n"));
    }

    bool says(const std::string& output)
    {
        return eventually([&] { return process.standardOutput() == output || !process.isRunning(); }) &&
               process.standardOutput() == output;
    }

    ProgramProcess process;
};

} // namespace

TEST(ProcessPlatform, EndsAProgramAsItEndsItselfWhenTheUserAsksIt)
{
    Asked program(1);
    EXPECT_EQ(0, program.process.stop(SIGINT));
    EXPECT_EQ("ready\nasked on the main thread\n", program.process.standardOutput());
}

TEST(ProcessPlatform, EndsAProgramAsItEndsItselfWhenTheSystemAsksIt)
{
    Asked program(1);
    EXPECT_EQ(0, program.process.stop(SIGTERM));
    EXPECT_EQ("ready\nasked on the main thread\n", program.process.standardOutput());
}

TEST(ProcessPlatform, HearsEveryRequest)
{
    Asked program(3);
    program.process.ask(SIGTERM);
    EXPECT_TRUE(program.says("ready\nasked on the main thread\n"));
    program.process.ask(SIGINT);
    EXPECT_TRUE(program.says("ready\nasked on the main thread\nasked on the main thread\n"));
    EXPECT_EQ(0, program.process.stop());
}

TEST(ProcessPlatform, KnowsAPipeFromATerminal)
{
    EXPECT_EQ("no terminal", outputOf(probe(), {}));
}

#ifndef _WIN32 // requests are signals, and signals reach the test itself

namespace
{

std::atomic<int> ourRequests{0};
std::atomic<QThread*> ourStoppingThread{nullptr};

/// The termination handler is installed once for this process, as in a program.
class ProcessPlatformSignals : public testing::Test
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

} // namespace

TEST_F(ProcessPlatformSignals, CallsTheStopFunctionForAnInterrupt)
{
    std::raise(SIGINT);
    waitForRequest();
    EXPECT_EQ(1, ourRequests);
}

TEST_F(ProcessPlatformSignals, CallsTheStopFunctionForATermination)
{
    std::raise(SIGTERM);
    waitForRequest();
    EXPECT_EQ(1, ourRequests);
}

TEST_F(ProcessPlatformSignals, CallsTheStopFunctionAgainForALaterRequest)
{
    std::raise(SIGTERM);
    waitForRequest();
    std::raise(SIGINT);
    while (ourRequests < 2)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

TEST_F(ProcessPlatformSignals, CallsTheStopFunctionOnTheMainThreadWhicheverThreadIsInterrupted)
{
    std::thread other([] { std::raise(SIGTERM); });
    waitForRequest();
    other.join();
    EXPECT_EQ(QCoreApplication::instance()->thread(), ourStoppingThread);
}

TEST_F(ProcessPlatformSignals, LeavesTheErrorCodeOfTheInterruptedThreadAlone)
{
    errno = 0;
    for (int i = 0; i < 70000 && errno == 0; ++i) // more requests than the system remembers
        std::raise(SIGTERM);
    EXPECT_EQ(0, errno);
    waitForRequest();
    QCoreApplication::processEvents();
    EXPECT_EQ(1, ourRequests);
}

TEST_F(ProcessPlatformSignals, OutlivesAPeerThatCloses)
{
    std::signal(SIGPIPE, SIG_DFL);
    platform::survivePeersThatClose();
    std::raise(SIGPIPE);
}

TEST_F(ProcessPlatformSignals, OutlivesAFileThatMayNotGrow)
{
    std::signal(SIGXFSZ, SIG_DFL);
    platform::surviveFileSizeLimits();
    std::raise(SIGXFSZ);
}

TEST(ProcessPlatform, KnowsATerminal)
{
    const QString script = QStandardPaths::findExecutable("script");
    if (script.isEmpty())
        GTEST_SKIP() << "there is no program that provides a terminal";
    EXPECT_EQ("a terminal", outputOf(script, {"-qec", probe(), "/dev/null"}));
}

#endif
