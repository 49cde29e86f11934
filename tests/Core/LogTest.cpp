#include <tbrCore/Log.h>

#include <support/LogCapture.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <atomic>
#include <future>
#include <locale>
#include <map>
#include <thread>

using testing::ElementsAre;

namespace
{

using Lines = std::vector<std::string>;

/// Takes the time off the front and the line number out of a line of the default output: both change.
std::string withoutTimeAndLine(const QString& line)
{
    static const QRegularExpression form("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} (\\S* \\S*):\\d+: (.*)$");
    const QRegularExpressionMatch match = form.match(line);
    return match.hasMatch() ? (match.captured(1) + ": " + match.captured(2)).toStdString()
                            : "<malformed> " + line.toStdString();
}

Lines linesOf(const QByteArray& text)
{
    Lines lines;
    for (const QString& line : QString::fromUtf8(text).split(QRegularExpression("\r?\n"), Qt::SkipEmptyParts))
        lines.push_back(withoutTimeAndLine(line));
    return lines;
}

/// What a program that logs in the given way leaves behind.
struct Outcome
{
    explicit Outcome(const QString& way)
    {
        QProcess program;
        program.start(QCoreApplication::applicationDirPath() + "/LogProbe", {way});
        program.waitForFinished(-1);
        hasEndedWell = program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0;
        output = program.readAllStandardOutput().replace("\r\n", "\n").toStdString();
        log = linesOf(program.readAllStandardError());
    }

    bool hasEndedWell;
    std::string output;
    Lines log;
};

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<cannot be opened>");
}

/// A folder for log files; in the end, the default output of this process writes to none of them any more.
struct FileLogging
{
    ~FileLogging() { tbr::Log::setFile(""); }
    const QTemporaryDir folder;
};

} // namespace

TEST(Log, CommitsTheTextAsItWasStreamed)
{
    LogCapture log;
    tbr::Log::getInstance("toolserver", "Toollist.cpp", 12).printPrefix()
        << "\n\t  Tool " << std::string("Drill") << " #" << 7 << std::endl;
    ASSERT_EQ(1u, log.entries().size());
    EXPECT_EQ("toolserver", log.entries()[0].category);
    EXPECT_EQ("\n\t  Tool Drill #7\n", log.entries()[0].message);
}

TEST(Log, CommitsAnEntryWhenItGoesOutOfScopeAndNotBefore)
{
    LogCapture log;
    {
        auto entry = tbr::Log::getInstance("INFO", __FILE__, __LINE__);
        entry.printPrefix() << "half";
        EXPECT_EQ(0u, log.entries().size());
        entry.printPrefix() << " and half" << std::endl;
        EXPECT_EQ(0u, log.entries().size());
    }
    EXPECT_EQ(1, log.count("INFO", "half and half\n"));
    EXPECT_EQ(1u, log.entries().size());
}

TEST(Log, CommitsNothingWhenNothingWasBegun)
{
    LogCapture log;
    tbr::Log::getInstance("INFO", __FILE__, __LINE__);
    EXPECT_EQ(0u, log.entries().size());
    TBR_LOG("INFO");
    EXPECT_EQ(1, log.count("INFO", ""));
}

TEST(Log, KeepsTheEntriesOfManyThreadsApart)
{
    LogCapture log;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [t]
            {
                for (int i = 0; i < 100; ++i)
                    TBR_LOG("INFO") << "thread " << t << ' ' << "entry " << i << std::endl;
            });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(400u, log.entries().size());
    for (int t = 0; t < 4; ++t)
        for (int i = 0; i < 100; ++i)
            ASSERT_EQ(1, log.count("INFO", "thread " + std::to_string(t) + " entry " + std::to_string(i) + "\n"));
}

TEST(Log, SendsEveryCategoryToTheSinkWhateverTheVerbosity)
{
    LogCapture log;
    tbr::Log::setVerbosity(tbr::Log::Verbosity::QUIET);
    TBR_LOG("DEBUG") << "detail";
    tbr::Log::setVerbosity(tbr::Log::Verbosity::NORMAL);
    EXPECT_EQ(1, log.count("DEBUG", "detail"));
}

TEST(Log, LetsASinkReplaceItself)
{
    LogCapture second; // restores the default output in the end
    std::atomic<int> first{0};
    tbr::Log::setSink(
        [&first](const std::string&, const std::string&)
        {
            ++first;
            tbr::Log::setSink([&first](const std::string&, const std::string&) { first += 10; });
        });
    TBR_LOG("INFO") << "to the first";
    TBR_LOG("INFO") << "to the second";
    EXPECT_EQ(11, first);
}

TEST(Log, DoesNotReturnFromReplacingASinkThatIsRunning)
{
    LogCapture restoresTheDefault;
    std::promise<void> isRunning;
    std::atomic<bool> hasReturned{false};
    tbr::Log::setSink(
        [&](const std::string&, const std::string&)
        {
            isRunning.set_value();
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            hasReturned = true;
        });
    std::thread logger([] { TBR_LOG("INFO") << "slow"; });
    isRunning.get_future().wait();

    tbr::Log::setSink([](const std::string&, const std::string&) {});

    EXPECT_TRUE(hasReturned);
    logger.join();
}

TEST(Log, WritesNumbersAlikeInEveryLocale)
{
    struct Grouping : std::numpunct<char>
    {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    LogCapture log;
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    TBR_LOG("INFO") << "port " << 2222;
    std::locale::global(before);
    EXPECT_EQ(1, log.count("INFO", "port 2222"));
}

TEST(Log, PrefixesEveryLineOnStandardErrorAndMixesNone)
{
    const Outcome outcome("threads");
    EXPECT_TRUE(outcome.hasEndedWell);
    EXPECT_EQ("", outcome.output);
    ASSERT_EQ(1600u, outcome.log.size());

    std::map<std::string, int> entries;
    for (std::size_t i = 0; i < outcome.log.size(); i += 2)
    {
        const std::string& one = outcome.log[i];
        ASSERT_GT(one.size(), 4u);
        const std::string entry = one.substr(0, one.size() - 4);
        ASSERT_EQ(entry + " one", one);
        ASSERT_EQ(entry + " two", outcome.log[i + 1]);
        ++entries[entry];
    }
    for (int t = 0; t < 8; ++t)
        for (int i = 0; i < 100; ++i)
            ASSERT_EQ(1, entries["INFO LogProbe.cpp: thread " + std::to_string(t) + " entry " + std::to_string(i)]);
}

TEST(Log, ShowsAllButDebuggingDetailByDefault)
{
    EXPECT_THAT(Outcome("normal").log,
                ElementsAre("ERROR LogProbe.cpp: x", "INFO LogProbe.cpp: x", "toolserver LogProbe.cpp: x"));
}

TEST(Log, ShowsOnlyErrorsWhenItIsQuiet)
{
    EXPECT_THAT(Outcome("quiet").log, ElementsAre("ERROR LogProbe.cpp: x"));
}

TEST(Log, ShowsDebuggingDetailWhenItIsVerbose)
{
    EXPECT_THAT(Outcome("verbose").log, ElementsAre("ERROR LogProbe.cpp: x", "INFO LogProbe.cpp: x",
                                                    "toolserver LogProbe.cpp: x", "DEBUG LogProbe.cpp: x"));
}

TEST(Log, ShowsTextOnOneLineAsItIsAndControlCharactersByTheirCode)
{
    EXPECT_THAT(Outcome("odd").log,
                ElementsAre("INFO LogProbe.cpp: TS 3.0 - SHUTDOWN ...", "INFO LogProbe.cpp: {0} %s %v\tx",
                            "INFO LogProbe.cpp: a\\x00b\\x1b[31m\\x0d\\x7fBohrf\xc3\xbchrung", " : nameless",
                            "INFO Windows.cpp: far away"));
}

TEST(Log, GoesBackToStandardErrorWhenTheSinkIsTakenAway)
{
    EXPECT_THAT(Outcome("restored").log, ElementsAre("INFO LogProbe.cpp: shown"));
}

TEST(Log, ShowsAnEntryWhoseSinkThrowsAndGoesOn)
{
    const Outcome outcome("throwing");
    EXPECT_TRUE(outcome.hasEndedWell);
    EXPECT_THAT(outcome.log, ElementsAre("ERROR Log.cpp: The log sink failed: disk full", "INFO LogProbe.cpp: first",
                                         "ERROR Log.cpp: The log sink failed: an exception of unknown type",
                                         "INFO LogProbe.cpp: second", "INFO LogProbe.cpp: third"));
}

TEST(Log, SendsWhatASinkLogsItselfToStandardError)
{
    const Outcome outcome("nested");
    EXPECT_TRUE(outcome.hasEndedWell);
    EXPECT_EQ("first\nsecond\n", outcome.output);
    EXPECT_THAT(outcome.log,
                ElementsAre("INFO LogProbe.cpp: from the sink: first", "INFO LogProbe.cpp: from the sink: second"));
}

TEST(Log, AppendsToAFileUntilItIsToldToStop)
{
    FileLogging logging;
    const QString path = logging.folder.filePath(QString::fromUtf8("Protokoll f\xc3\xbcr alle"));
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("2003-10-01 00:00:00.000 INFO Before.cpp:1: kept\n");
    }
    ASSERT_TRUE(tbr::Log::setFile(path.toStdString()));
    TBR_LOG("INFO") << "one\ntwo\n";
    EXPECT_THAT(linesOf(contents(path)),
                ElementsAre("INFO Before.cpp: kept", "INFO LogTest.cpp: one", "INFO LogTest.cpp: two"));

    ASSERT_TRUE(tbr::Log::setFile(""));
    TBR_LOG("INFO") << "three\n";
    EXPECT_EQ(3u, linesOf(contents(path)).size());
}

TEST(Log, WritesToOneFileAtATime)
{
    FileLogging logging;
    const QString first = logging.folder.filePath("first"), second = logging.folder.filePath("second");
    ASSERT_TRUE(tbr::Log::setFile(first.toStdString()));
    TBR_LOG("INFO") << "one\n";
    ASSERT_TRUE(tbr::Log::setFile(second.toStdString()));
    TBR_LOG("INFO") << "two\n";
    EXPECT_THAT(linesOf(contents(first)), ElementsAre("INFO LogTest.cpp: one"));
    EXPECT_THAT(linesOf(contents(second)), ElementsAre("INFO LogTest.cpp: two"));
}

TEST(Log, KeepsItsFileWhenAnotherCannotBeOpened)
{
    FileLogging logging;
    const QString path = logging.folder.filePath("log");
    ASSERT_TRUE(tbr::Log::setFile(path.toStdString()));
    EXPECT_FALSE(tbr::Log::setFile(logging.folder.path().toStdString()));
    EXPECT_FALSE(tbr::Log::setFile(logging.folder.filePath("no/such/folder").toStdString()));
    TBR_LOG("INFO") << "still here\n";
    EXPECT_THAT(linesOf(contents(path)), ElementsAre("INFO LogTest.cpp: still here"));
    EXPECT_FALSE(QFile::exists(logging.folder.filePath("no")));
}
