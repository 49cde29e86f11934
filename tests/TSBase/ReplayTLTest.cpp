#include <TSBase/ReplayTL.h>

#include <support/LogCapture.h>
#include <support/LogFileBytes.h>
#include <support/PrivateMember.h>
#include <support/TestFolder.h>
#include <support/TestToollist.h>

#include <tbrBase/FilePlatform.h>

#include <gtest/gtest.h>

#include <QMetaMethod>
#include <QTest>

#include <cmath>
#include <memory>
#include <thread>

using logbytes::Bytes;

struct ReplayFile
{
    using Type = std::FILE* ReplayTL::*;
    friend Type privateMember(ReplayFile);
};
template struct PrivateMember<ReplayFile, &ReplayTL::m_ReplayFile>;

namespace
{

constexpr int PATIENCE_MS = 60000;
const char* const SHORT_RECORD =
    "ERROR during creation of the tool in replay mode - could not read enough bytes from logstream handle.\n";

void waitUntil(const std::function<bool()>& condition)
{
    while (!condition())
        std::this_thread::yield();
}

Bytes toolNamed(const std::string& name, std::size_t markers = 0)
{
    logbytes::Content content;
    content.name = name;
    content.reals.assign(markers, {1, 2, 3});
    return logbytes::filledSlot(logbytes::content(content));
}

/// The position block of one tool without markers that stands at (x, 0, 0).
Bytes positionAt(float x)
{
    return logbytes::positions(1, 2, {logbytes::realTime({}, {x, 0, 0})});
}

double xOf(const Tool* tool)
{
    Vector3d translation;
    tool->getTranslationVector(translation);
    return translation.x;
}

class Replay : public testing::Test
{
protected:
    enum Mode
    {
        SINGLE_PLAY,
        AUTO_REPEAT
    };

    /// A replay of a file with these bytes.
    ReplayTL& replayOf(const Bytes& bytes, Mode mode = SINGLE_PLAY)
    {
        m_Folder.write("replay.log", bytes);
        m_Replay = std::make_unique<ReplayTL>(m_File, mode == AUTO_REPEAT);
        return *m_Replay;
    }

    /// A log of one tool and three poses, at 1, 2 and 3.
    static Bytes threePoses()
    {
        return logbytes::header() + logbytes::toolList({toolNamed("Drill")}) + positionAt(1) + positionAt(2) +
               positionAt(3);
    }

    static void tick(ReplayTL& replay) { QMetaObject::invokeMethod(&replay, "doReplay", Qt::DirectConnection); }

    std::string tooFewFrames() const
    {
        return "Replay error: not enough valid data frames found in  " + m_File + ".\n";
    }
    std::string wrongHeader() const { return "Replay error: reading header found in  " + m_File + ".\n"; }

    /// Expects that a start fails with exactly these log entries of the category "toolserver".
    static void expectNoStart(ReplayTL& replay, const std::vector<std::string>& messages)
    {
        const LogCapture log;
        EXPECT_FALSE(replay.startReplay());
        std::vector<std::string> logged;
        for (const LogCapture::Entry& entry : log.entries())
        {
            EXPECT_EQ("toolserver", entry.category);
            logged.push_back(entry.message);
        }
        EXPECT_EQ(messages, logged);
    }

    const TestFolder m_Folder{};
    std::string m_File = m_Folder.path("replay.log");
    std::unique_ptr<ReplayTL> m_Replay;
};

} // namespace

TEST_F(Replay, LogsItsFileAndMode)
{
    const LogCapture log;
    const ReplayTL once("recording.log", false), repeated("other.log", true);
    EXPECT_EQ(1, log.count("toolserver", "ReplayTL constructor (filename: recording.log) in single play mode.\n"));
    EXPECT_EQ(1, log.count("toolserver", "ReplayTL constructor (filename: other.log) in auto repeat mode.\n"));
    EXPECT_EQ(2, log.count("toolserver", "Toollist constructor (number of tools: 1).\n"));
}

TEST_F(Replay, LogsItsEndBeforeThatOfTheToolList)
{
    ReplayTL& replay = replayOf(threePoses());
    replay.startReplay();
    const LogCapture log;
    m_Replay.reset();
    ASSERT_EQ(2u, log.entries().size());
    EXPECT_EQ("~ReplayTL() finished\n", log.entries()[0].message);
    EXPECT_EQ("Toollist destructor - cleaning up tool list.\n", log.entries()[1].message);
}

TEST_F(Replay, HasOnePrivateSlotAndNoSignals)
{
    const QMetaObject& meta = ReplayTL::staticMetaObject;
    ASSERT_EQ(1, meta.methodCount() - meta.methodOffset());
    const QMetaMethod method = meta.method(meta.methodOffset());
    EXPECT_EQ(QByteArray("doReplay()"), method.methodSignature());
    EXPECT_EQ(QMetaMethod::Private, method.access());
    EXPECT_EQ(QMetaMethod::Slot, method.methodType());
}

TEST_F(Replay, AnswersLikeACameraThatCannotBeChanged)
{
    ReplayTL& replay = replayOf(threePoses());
    ASSERT_TRUE(replay.startReplay());
    Tool* drill = replay.getTool("Drill");
    EXPECT_EQ(0, replay.getStatus());
    EXPECT_EQ("", replay.getErrorMsg());
    EXPECT_EQ(0.0f, replay.getUpdateRate());
    EXPECT_EQ(0, replay.getToolChangeCount());
    EXPECT_EQ(nullptr, replay.createTool(1, 2, "Probe", "", 14, 0, 0, {{1, 2, 3}}, {{4, 5, 6}}, 0, true));
    EXPECT_TRUE(replay.initTool(0, drill));
    EXPECT_TRUE(replay.loadTool(drill));
    EXPECT_TRUE(replay.updateCalibration(drill));
    replay.enableSwitchStateNotification();
    int number = 42;
    bool state = true;
    replay.requestSwitch(number, state);
    EXPECT_EQ(42, number);
    EXPECT_TRUE(state);
}

TEST_F(Replay, DeliversTheFirstPoseAtItsStart)
{
    logbytes::Content content;
    content.name = "Pointer";
    content.reals = {{1, 2, 3}, {4, 5, 6}};
    const std::array<float, 9> quarterTurn = {0, -1, 0, 1, 0, 0, 0, 0, 1};
    ReplayTL& replay =
        replayOf(logbytes::header() +
                 logbytes::toolList(
                     {logbytes::emptySlot(), logbytes::filledSlot(logbytes::content(content)), logbytes::emptySlot()}) +
                 logbytes::positions(5, 6, {logbytes::realTime({{7, 8, 9}, {10, 11, 12}}, {13, 14, 15}, quarterTurn)}));
    EXPECT_TRUE(replay.startReplay());

    EXPECT_EQ(3u, replay.getMaxNumberOfTools());
    EXPECT_EQ(nullptr, replay.getTool(0));
    EXPECT_EQ(nullptr, replay.getTool(2));
    const Tool* pointer = replay.getTool("Pointer");
    ASSERT_TRUE(pointer);
    EXPECT_EQ(pointer, replay.getTool(1));
    EXPECT_EQ(Vector3d(4, 5, 6), pointer->getRealMarker(1));
    Vector3d position, translation;
    pointer->getRealMarkerPosition(1, position);
    EXPECT_EQ(Vector3d(10, 11, 12), position);
    Matrix3x3 rotation;
    EXPECT_EQ(1, pointer->getTransform(rotation, translation));
    EXPECT_EQ(Vector3d(13, 14, 15), translation);
    EXPECT_EQ(-1.0, rotation[0][1]);
    EXPECT_EQ(1.0, rotation[1][0]);
}

TEST_F(Replay, PrintsItsStart)
{
    ReplayTL& replay = replayOf(threePoses());
    testing::internal::CaptureStdout();
    replay.startReplay();
    EXPECT_EQ("ReplayTL::_startReplay()\ndone.\nstarting replay timer async... \n",
              testing::internal::GetCapturedStdout());

    testing::internal::CaptureStdout();
    replay.startReplay();
    EXPECT_EQ("ReplayTL::_startReplay()\n", testing::internal::GetCapturedStdout());
}

TEST_F(Replay, RefusesASecondStart)
{
    ReplayTL& replay = replayOf(threePoses());
    EXPECT_TRUE(replay.startReplay());
    const Tool* drill = replay.getTool("Drill");
    expectNoStart(replay, {"Replay is already running.\n"});
    EXPECT_EQ(drill, replay.getTool("Drill"));
    tick(replay);
    EXPECT_EQ(2.0, xOf(drill));
}

TEST_F(Replay, FailsWithoutAFile)
{
    m_File = m_Folder.path("no such file");
    ReplayTL replay(m_File, false);
    const std::string message = "Error openening replay file name: " + m_File + ".\n";
    expectNoStart(replay, {message});
    expectNoStart(replay, {message}); // not stuck
}

TEST_F(Replay, FailsOnAFolder)
{
    m_File = m_Folder.path(".");
    ReplayTL replay(m_File, false);
#ifdef _WIN32 // where a folder cannot even be opened
    expectNoStart(replay, {"Error openening replay file name: " + m_File + ".\n"});
#else
    expectNoStart(replay, {wrongHeader()});
#endif
}

TEST_F(Replay, FailsOnAFileWithAnotherHeader)
{
    const Bytes bytes = threePoses();
    for (const std::size_t offset : {0, 20, 44, 45})
    {
        ReplayTL& replay = replayOf(logbytes::patched(bytes, offset, "?"));
        expectNoStart(replay, {wrongHeader()});
        expectNoStart(replay, {wrongHeader()}); // not stuck
        EXPECT_EQ(nullptr, replay.getTool(0));
    }
}

TEST_F(Replay, StaysStuckAfterAFileThatHoldsOnlyTheHeaderUntilItIsStopped)
{
    ReplayTL& replay = replayOf(logbytes::header());
    expectNoStart(replay, {tooFewFrames()});
    expectNoStart(replay, {"Replay is already running.\n"});
    expectNoStart(replay, {"Replay is already running.\n"});
    replay.stopReplay();
    expectNoStart(replay, {tooFewFrames()});

    replay.stopReplay();
    m_Folder.write("replay.log", threePoses());
    EXPECT_TRUE(replay.startReplay());
}

TEST_F(Replay, StaysStuckAfterAFileWithoutPoses)
{
    ReplayTL& replay = replayOf(logbytes::header() + logbytes::toolList({toolNamed("Drill")}));
    expectNoStart(replay, {"nR:0\n", tooFewFrames()});
    expectNoStart(replay, {"Replay is already running.\n"});
    EXPECT_TRUE(replay.getTool("Drill"));
    m_Replay.reset(); // with the file closed already
}

TEST_F(Replay, DoesNotTickWhileItIsStuck)
{
    ReplayTL& replay = replayOf(logbytes::header());
    replay.startReplay();
    const LogCapture log;
    QTest::qWait(120);
    EXPECT_EQ(0u, log.entries().size());
}

TEST_F(Replay, FailsOnAFileWithoutTools)
{
    ReplayTL& replay = replayOf(logbytes::header() +
                                logbytes::toolList({logbytes::emptySlot(), logbytes::emptySlot()}) + positionAt(1));
    expectNoStart(replay, {tooFewFrames()});
    EXPECT_EQ(2u, replay.getMaxNumberOfTools());
    EXPECT_EQ(nullptr, replay.getTool(0));
}

TEST_F(Replay, FailsOnAFileWithoutSlots)
{
    expectNoStart(replayOf(logbytes::header() + logbytes::toolList({}) + positionAt(1)), {tooFewFrames()});
    EXPECT_EQ(0u, m_Replay->getMaxNumberOfTools());
    EXPECT_EQ(nullptr, m_Replay->getTool(0));
}

TEST_F(Replay, TakesAnyOtherSlotTagForAnEmptySlot)
{
    ReplayTL& replay = replayOf(
        logbytes::header() + logbytes::toolList({"TL1 ", toolNamed("Drill"), "tl1" + Bytes(1, '\0')}) + positionAt(1));
    EXPECT_TRUE(replay.startReplay());
    EXPECT_EQ(nullptr, replay.getTool(0));
    EXPECT_EQ("Drill", replay.getTool(1)->getName());
    EXPECT_EQ(nullptr, replay.getTool(2));
    EXPECT_EQ(1.0, xOf(replay.getTool(1)));
}

TEST_F(Replay, DoesNotLookAtTheFirstTwoBlocksTags)
{
    Bytes bytes = threePoses();
    bytes[46] = '?';
    bytes[46 + 5 + 976] = '?';
    ReplayTL& replay = replayOf(bytes);
    EXPECT_TRUE(replay.startReplay());
    EXPECT_EQ(1.0, xOf(replay.getTool(0)));
}

TEST_F(Replay, GoesByTheLastToolOfABlock)
{
    const Bytes unreadable = logbytes::patched(toolNamed("Bad"), 4 + 68, logbytes::i32(33));
    const Bytes good = toolNamed("Good");
    expectNoStart(replayOf(logbytes::header() + logbytes::toolList({good, unreadable}) + positionAt(1)),
                  {"nR:0\n", SHORT_RECORD, tooFewFrames()});
    EXPECT_EQ(-8, m_Replay->getTool(1)->getStatus());
    EXPECT_EQ(0, m_Replay->getTool(0)->getStatus());

    EXPECT_TRUE(replayOf(logbytes::header() + logbytes::toolList({unreadable, good}) + positionAt(1)).startReplay());
    EXPECT_EQ(-8, m_Replay->getTool(0)->getStatus());
    EXPECT_EQ(1.0, xOf(m_Replay->getTool("Good")));
}

TEST_F(Replay, RefusesMarkerCountsAboveARecordsRoom)
{
    for (const int count : {33, -1, 0x7fffffff})
        for (const std::size_t offset : {68, 456, 844})
        {
            const Bytes tool = logbytes::patched(toolNamed("Bad"), 4 + offset, logbytes::i32(count));
            expectNoStart(replayOf(logbytes::header() + logbytes::toolList({tool}) + positionAt(1)),
                          {SHORT_RECORD, tooFewFrames()});
            EXPECT_EQ(-8, m_Replay->getTool(0)->getStatus());
        }
}

TEST_F(Replay, RefusesASlotCountThatTheFileCannotHold)
{
    const Bytes rest = toolNamed("Drill") + positionAt(1); // 976 + 57 bytes: room for 258 slots
    for (const std::uint32_t count : {259u, 0x7fffffffu, 0x80000000u, 0xffffffffu})
    {
        expectNoStart(replayOf(logbytes::header() + "T" + logbytes::u32(count) + rest), {SHORT_RECORD, tooFewFrames()});
        EXPECT_EQ(1u, m_Replay->getMaxNumberOfTools());
        EXPECT_EQ(nullptr, m_Replay->getTool(0));
    }
    // As many as it could hold are looked for; behind the tool stand bytes that are no slots.
    expectNoStart(replayOf(logbytes::header() + "T" + logbytes::u32(258) + rest), {"nR:0\n", tooFewFrames()});
    EXPECT_EQ(258u, m_Replay->getMaxNumberOfTools());
}

TEST_F(Replay, RefusesMoreSlotsThanATableHolds)
{
    const auto start = [this](std::uint32_t count)
    {
        const Bytes list = "T" + logbytes::u32(count) + toolNamed("Drill");
        const std::string name = m_Folder.write("replay.log", logbytes::header() + list);
        QFile::resize(QString::fromStdString(name), 64 << 20); // its hole reads as empty slots
        m_Replay = std::make_unique<ReplayTL>(name, false);
        return m_Replay->startReplay();
    };
    EXPECT_TRUE(start(1 << 20));
    EXPECT_EQ(1u << 20, m_Replay->getMaxNumberOfTools());
    const LogCapture log;
    EXPECT_FALSE(start((1 << 20) + 1));
    EXPECT_EQ(1, log.count("toolserver", SHORT_RECORD));
    EXPECT_EQ(1, log.count("toolserver", tooFewFrames()));
}

TEST_F(Replay, ReplaysThePartOfAFileThatIsComplete)
{
    const Bytes start =
        logbytes::header() + logbytes::toolList({toolNamed("Drill", 1), logbytes::emptySlot(), toolNamed("Probe")});
    const auto frame = [](float x) {
        return logbytes::positions(1, 2,
                                   {logbytes::realTime({{x, x, x}}, {x, 0, 0}), logbytes::realTime({}, {x, 0, 0})});
    };
    const std::size_t frameSize = frame(1).size();
    ASSERT_EQ(9u + 60u + 48u, frameSize);
    const Bytes file = start + frame(1) + frame(2);

    const LogCapture log;
    for (std::size_t length = 0; length <= file.size(); ++length)
    {
        SCOPED_TRACE(length);
        ReplayTL& replay = replayOf(file.substr(0, length));
        EXPECT_EQ(length >= start.size() + frameSize, replay.startReplay());
        if (length < start.size() + frameSize)
        {
            EXPECT_EQ(length >= 46,
                      !replay.startReplay() && log.entries().back().message == "Replay is already running.\n");
            continue;
        }
        const Tool* probe = replay.getTool("Probe");
        EXPECT_EQ(1.0, xOf(probe));
        tick(replay);
        EXPECT_EQ(length == file.size() ? 2.0 : 1.0, xOf(probe));
        const std::string last = log.entries().back().message;
        EXPECT_EQ(length < file.size(), last == "Replay log stream - done.\n");
        tick(replay); // beyond the end, or stopped already
    }
    EXPECT_GT(log.count("toolserver", SHORT_RECORD), 900);
}

TEST_F(Replay, PlaysOncePoseByPose)
{
    ReplayTL& replay = replayOf(threePoses());
    ASSERT_TRUE(replay.startReplay());
    const Tool* drill = replay.getTool("Drill");
    const LogCapture log;
    EXPECT_EQ(1.0, xOf(drill));
    tick(replay);
    EXPECT_EQ(2.0, xOf(drill));
    tick(replay);
    EXPECT_EQ(3.0, xOf(drill));
    EXPECT_EQ(0u, log.entries().size());
    tick(replay);
    EXPECT_EQ(1, log.count("toolserver", "Replay log stream - done.\n"));
    EXPECT_EQ(1u, log.entries().size());

    EXPECT_EQ(drill, replay.getTool("Drill")); // the tools stay
    EXPECT_EQ(3.0, xOf(drill));
    EXPECT_TRUE(replay.startReplay()); // it has become idle
    EXPECT_EQ(1.0, xOf(replay.getTool("Drill")));
}

TEST_F(Replay, BeginsAgainWithTheFirstPose)
{
    ReplayTL& replay = replayOf(threePoses(), AUTO_REPEAT);
    ASSERT_TRUE(replay.startReplay());
    const Tool* drill = replay.getTool("Drill");
    const LogCapture log;
    for (int round = 1; round <= 3; ++round)
    {
        tick(replay);
        EXPECT_EQ(2.0, xOf(drill));
        tick(replay);
        EXPECT_EQ(3.0, xOf(drill));
        tick(replay);
        EXPECT_EQ(3.0, xOf(drill));
        EXPECT_EQ(round, log.count("toolserver", "Replay log stream from the beginning.\n"));
        tick(replay);
        EXPECT_EQ(1.0, xOf(drill));
    }
    EXPECT_EQ(3u, log.entries().size());
    EXPECT_EQ(drill, replay.getTool("Drill"));
}

TEST_F(Replay, TakesAnUnknownTagForAPosition)
{
    Bytes bytes = threePoses();
    bytes[46 + 5 + 976 + 57] = 'x';
    ReplayTL& replay = replayOf(bytes);
    replay.startReplay();
    tick(replay);
    EXPECT_EQ(2.0, xOf(replay.getTool(0)));
}

TEST_F(Replay, CanBeStoppedAndStartedAgain)
{
    ReplayTL& replay = replayOf(threePoses());
    replay.stopReplay(); // idle: nothing to do
    ASSERT_TRUE(replay.startReplay());
    tick(replay);
    const LogCapture log;
    replay.stopReplay();
    replay.stopReplay();
    EXPECT_EQ(0u, log.entries().size());
    EXPECT_EQ(2.0, xOf(replay.getTool("Drill")));
    EXPECT_TRUE(replay.startReplay());
    EXPECT_EQ(1.0, xOf(replay.getTool("Drill")));
}

TEST_F(Replay, ReportsATickWithoutAFile)
{
    const LogCapture log;
    tick(replayOf(threePoses()));
    EXPECT_EQ(1, log.count("toolserver", "Invalid replay handle.\n"));
    EXPECT_EQ(1, log.count("toolserver", "Replay log stream - done.\n"));
    EXPECT_EQ(0, log.count("toolserver", "Replay log stream from the beginning.\n"));

    tick(replayOf(threePoses(), AUTO_REPEAT));
    EXPECT_EQ(2, log.count("toolserver", "Invalid replay handle.\n"));
    EXPECT_EQ(1, log.count("toolserver", "Replay log stream from the beginning.\n"));
}

TEST_F(Replay, BecomesIdleWhenAStuckReplayTicks)
{
    ReplayTL& replay = replayOf(logbytes::header());
    replay.startReplay();
    tick(replay);
    expectNoStart(replay, {tooFewFrames()});
}

TEST_F(Replay, ReadsTheTimeStampDirectlyBehindALaterToolList)
{
    // Behind the second tool list stand P and 7 more bytes: to this reader the 8 bytes of a time stamp.
    ReplayTL& replay =
        replayOf(logbytes::header() + logbytes::toolList({toolNamed("Drill")}) + positionAt(1) +
                 logbytes::toolList({toolNamed("Probe"), toolNamed("Pointer", 0)}) + "P" + Bytes(7, '\x01') +
                 logbytes::realTime({}, {4, 0, 0}) + logbytes::realTime({}, {5, 0, 0}) +
                 logbytes::positions(1, 2, {logbytes::realTime({}, {6, 0, 0}), logbytes::realTime({}, {7, 0, 0})}));
    ASSERT_TRUE(replay.startReplay());
    tick(replay);
    EXPECT_EQ(nullptr, replay.getTool("Drill"));
    EXPECT_EQ(2u, replay.getMaxNumberOfTools());
    EXPECT_EQ(0, replay.getToolChangeCount());
    EXPECT_EQ(4.0, xOf(replay.getTool("Probe")));
    EXPECT_EQ(5.0, xOf(replay.getTool("Pointer")));
    tick(replay);
    EXPECT_EQ(6.0, xOf(replay.getTool("Probe")));
    EXPECT_EQ(7.0, xOf(replay.getTool("Pointer")));
}

TEST_F(Replay, IsOneByteOffBehindAToolListThatIsNotTheFirst)
{
    // As the writer writes it. The last time byte and the first three of each number make the number before:
    // 3f | 3f 80 00 is 0.748046875; x, y, z = 1, 2, 3 give z = 00 | 40 40 00.
    const Bytes position = logbytes::positions(0x01010101, 0x0101013f, {logbytes::realTime({}, {1, 2, 3})});
    ReplayTL& replay = replayOf(logbytes::header() + logbytes::toolList({toolNamed("Drill")}) + positionAt(1) +
                                logbytes::toolList({toolNamed("Probe")}) + position + position + position);
    ASSERT_TRUE(replay.startReplay());
    const LogCapture log;
    for (int frame = 0; frame < 2; ++frame)
    {
        tick(replay);
        Matrix3x3 rotation;
        Vector3d translation;
        ASSERT_EQ(1, replay.getTool("Probe")->getTransform(rotation, translation));
        EXPECT_EQ(0.748046875, rotation[0][0]);
        EXPECT_EQ(std::ldexp(0x404000, -149), translation.z);
    }
    tick(replay);
    EXPECT_EQ(0, log.count("toolserver", "Replay log stream - done.\n"));
    tick(replay);
    EXPECT_EQ(1, log.count("toolserver", "Replay log stream - done.\n"));
}

TEST_F(Replay, KeepsTheLastToolsWhenItBeginsAgain)
{
    ReplayTL& replay = replayOf(logbytes::header() + logbytes::toolList({toolNamed("Drill")}) + positionAt(1) +
                                    logbytes::toolList({toolNamed("Probe")}) + "P" + Bytes(7, '\0') +
                                    logbytes::realTime({}, {2, 0, 0}),
                                AUTO_REPEAT);
    ASSERT_TRUE(replay.startReplay());
    tick(replay);
    EXPECT_EQ(2.0, xOf(replay.getTool("Probe")));
    tick(replay); // the end
    EXPECT_TRUE(replay.getTool("Probe"));
    tick(replay);
    EXPECT_EQ(nullptr, replay.getTool("Drill"));
    EXPECT_EQ(1.0, xOf(replay.getTool("Probe")));
}

TEST_F(Replay, StopsAtAToolListThatIsCutShort)
{
    const Bytes start = logbytes::header() + logbytes::toolList({toolNamed("Drill")}) + positionAt(1);
    const Bytes list = logbytes::toolList({toolNamed("Probe")});
    for (const std::size_t length : {1, 4, 5, 8, 9, 500, 980})
    {
        SCOPED_TRACE(length);
        ReplayTL& replay = replayOf(start + list.substr(0, length));
        ASSERT_TRUE(replay.startReplay());
        const LogCapture log;
        tick(replay);
        EXPECT_EQ(1, log.count("toolserver", "Replay log stream - done.\n"));
        EXPECT_EQ(0, log.count("toolserver", "Invalid replay handle.\n"));
        EXPECT_EQ(nullptr, replay.getTool("Drill"));
        EXPECT_TRUE(replay.startReplay());
    }
}

TEST_F(Replay, GoesBackFromAToolListThatIsCutShort)
{
    ReplayTL& replay = replayOf(logbytes::header() + logbytes::toolList({toolNamed("Drill")}) + positionAt(1) +
                                    logbytes::toolList({toolNamed("Probe"), toolNamed("Pointer")}).substr(0, 1500),
                                AUTO_REPEAT);
    ASSERT_TRUE(replay.startReplay());
    const LogCapture log;
    tick(replay); // also reads the first position block, from its tag on, and fails at the tool that is not complete
    EXPECT_EQ(2, log.count("toolserver", "Replay log stream from the beginning.\n"));
    EXPECT_EQ(1, log.count("toolserver", SHORT_RECORD));
    EXPECT_EQ(0x1.fcp-128, xOf(replay.getTool("Probe"))); // one byte too early: 00 3F 80 00
    EXPECT_EQ(-8, replay.getTool(1)->getStatus());

    tick(replay);
    EXPECT_EQ(1.0, xOf(replay.getTool("Probe")));
}

TEST_F(Replay, GoesBackTwiceFromAToolListWithoutTools)
{
    ReplayTL& replay = replayOf(logbytes::header() + logbytes::toolList({toolNamed("Drill")}) + positionAt(1) +
                                    logbytes::toolList({logbytes::emptySlot()}) + positionAt(2),
                                AUTO_REPEAT);
    ASSERT_TRUE(replay.startReplay());
    const LogCapture log;
    tick(replay);
    EXPECT_EQ(2, log.count("toolserver", "Replay log stream from the beginning.\n")); // no list, and no tool to read
    tick(replay);
    EXPECT_EQ(3, log.count("toolserver", "Replay log stream from the beginning.\n"));
}

TEST_F(Replay, ReadsNothingWithoutAFile)
{
    class OpenReplay : public ReplayTL
    {
    public:
        using ReplayTL::refreshToollistContent;
        using ReplayTL::refreshToolPosContent;
        using ReplayTL::ReplayTL;
    };
    OpenReplay replay(m_File, AUTO_REPEAT);
    EXPECT_FALSE(replay.refreshToolPosContent());
    EXPECT_FALSE(replay.refreshToollistContent());
    EXPECT_EQ(nullptr, replay.getTool(0U));
}

TEST_F(Replay, EmptiesItsSlotsWhenAToolListCannotBeRead)
{
    ReplayTL& replay = replayOf(logbytes::header() + logbytes::toolList({toolNamed("Drill"), logbytes::emptySlot()}) +
                                positionAt(1) + "T" + logbytes::u32(1000));
    ASSERT_TRUE(replay.startReplay());
    const LogCapture log;
    tick(replay);
    EXPECT_EQ(1, log.count("toolserver", SHORT_RECORD));
    EXPECT_EQ(2u, replay.getMaxNumberOfTools());
    EXPECT_EQ(nullptr, replay.getTool(0));
}

TEST_F(Replay, DoesNotSmoothTheRecordedPoses)
{
    const std::array<float, 9> skewed = {2, 0, 0, 0, 1, 0, 0, 0, 1};
    ReplayTL& replay = replayOf(logbytes::header() + logbytes::toolList({toolNamed("Drill")}) + positionAt(1) +
                                logbytes::positions(1, 2, {logbytes::realTime({}, {100, 0, 0}, skewed)}));
    replay.startReplay();
    tick(replay);
    Matrix3x3 rotation;
    Vector3d translation;
    replay.getTool("Drill")->getTransform(rotation, translation);
    EXPECT_EQ(2.0, rotation[0][0]);
    EXPECT_EQ(100.0, translation.x);

    Tool* drill = replay.getTool("Drill");
    drill->updateTranslation(Vector3d(1, 0, 0));
    drill->updateTranslation(Vector3d(5, 0, 0));
    EXPECT_EQ(5.0, xOf(drill));
}

TEST_F(Replay, PlaysWhatAToolListHasRecorded)
{
    const std::string name = m_Folder.path("recorded.log");
    TestToollist list(3);
    list.insertTool(1, "", makeTool("Drill", {{1, 2, 3}}));
    list.startLogging(name);
    for (int frame = 1; frame <= 3; ++frame)
    {
        list.getTool(1)->updateTransform(Vector3d(frame, 0, 0), Matrix3x3());
        list.tick();
    }
    list.stopLogging();

    ReplayTL replay(name, false);
    ASSERT_TRUE(replay.startReplay());
    EXPECT_EQ(3u, replay.getMaxNumberOfTools());
    for (int frame = 1; frame <= 3; ++frame)
    {
        EXPECT_EQ(frame, xOf(replay.getTool("Drill")));
        tick(replay);
    }
}

TEST_F(Replay, OpensFilesWithNamesInUtf8)
{
    const std::string name = m_Folder.write("Pr\xc3\xbc"
                                            "fung.log",
                                            threePoses());
    ReplayTL replay(name, false);
    EXPECT_TRUE(replay.startReplay());
}

TEST_F(Replay, ReadsFilesOfMoreThan4GiB)
{
    const std::string name = m_Folder.write("replay.log", threePoses());
    QFile file(QString::fromStdString(name));
    ASSERT_TRUE(file.resize((qint64(1) << 32) + 50)); // sparse; its low 32 bits say "shorter than its tool list"

    ReplayTL replay(name, true);
    ASSERT_TRUE(replay.startReplay());
    EXPECT_EQ(1.0, xOf(replay.getTool("Drill")));
    tick(replay);
    tick(replay);
    EXPECT_EQ(3.0, xOf(replay.getTool("Drill")));
    tick(replay);
    EXPECT_EQ(0.0, xOf(replay.getTool("Drill")));
}

TEST_F(Replay, PlaysBlocksBeyond4GiB)
{
    // The hole reads as blocks of zeros, whose tag is as good as any.
    const Bytes start = logbytes::header() + logbytes::toolList({toolNamed("Drill")}) + positionAt(1);
    const qint64 blockSize = static_cast<qint64>(positionAt(2).size());
    const qint64 lastBlocks = static_cast<qint64>(start.size()) + ((qint64(1) << 32) / blockSize + 1) * blockSize;
    const std::string name = m_Folder.write("replay.log", start);
    QFile file(QString::fromStdString(name));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.seek(lastBlocks));
    const Bytes blocks = positionAt(2) + positionAt(3);
    ASSERT_EQ(qint64(blocks.size()), file.write(blocks.data(), qint64(blocks.size())));
    file.close();

    ReplayTL replay(name, true);
    ASSERT_TRUE(replay.startReplay());
    const Tool* drill = replay.getTool("Drill");
    tick(replay);
    EXPECT_EQ(0.0, xOf(drill));
    // 75 million ticks later (LongReplay plays a file from end to end):
    ASSERT_TRUE(tbr::platform::seekFile(replay.*privateMember(ReplayFile()), lastBlocks, SEEK_SET));
    tick(replay);
    EXPECT_EQ(2.0, xOf(drill));
    tick(replay);
    EXPECT_EQ(3.0, xOf(drill));
    tick(replay);
    EXPECT_EQ(3.0, xOf(drill)) << "the end of the file";
    tick(replay);
    EXPECT_EQ(1.0, xOf(drill));
}

TEST_F(Replay, IsDrivenByItsTimerToTheEnd)
{
    ReplayTL& replay = replayOf(threePoses());
    const LogCapture log;
    ASSERT_TRUE(replay.startReplay());
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return log.count("toolserver", "Replay log stream - done.\n") == 1; }, PATIENCE_MS));
    EXPECT_EQ(3.0, xOf(replay.getTool("Drill")));
    QTest::qWait(120);
    EXPECT_EQ(0, log.count("toolserver", "Invalid replay handle.\n")); // the timer has stopped, too
}

TEST_F(Replay, DoesNotTickWhenItWasStoppedBeforeItsTimerBegan)
{
    ReplayTL& replay = replayOf(threePoses());
    ASSERT_TRUE(replay.startReplay());
    replay.stopReplay();
    const LogCapture log;
    QTest::qWait(120);
    EXPECT_EQ(0u, log.entries().size());
}

TEST_F(Replay, GoesOnWhenItMovesToAnotherThread)
{
    ReplayTL& replay = replayOf(threePoses(), AUTO_REPEAT);
    ASSERT_TRUE(replay.startReplay());
    const Tool* drill = replay.getTool("Drill");
    ASSERT_TRUE(QTest::qWaitFor([&] { return xOf(drill) == 2.0; }, PATIENCE_MS));
    const CameraThread camera(replay);
    waitUntil([&] { return xOf(drill) == 1.0; });
    waitUntil([&] { return xOf(drill) == 3.0; });
    replay.stopReplay();
}

TEST_F(Replay, BeginsInTheThreadToWhichItMovesBeforeItsTimerBegan)
{
    ReplayTL& replay = replayOf(threePoses(), AUTO_REPEAT);
    ASSERT_TRUE(replay.startReplay());
    const Tool* drill = replay.getTool("Drill");
    const CameraThread camera(replay);
    waitUntil([&] { return xOf(drill) == 3.0; });
    replay.stopReplay();
}

TEST_F(Replay, CanBeStartedAndStoppedFromAnotherThread)
{
    ReplayTL& replay = replayOf(threePoses(), AUTO_REPEAT);
    const CameraThread camera(replay);
    for (int round = 0; round < 3; ++round)
    {
        ASSERT_TRUE(replay.startReplay());
        const Tool* drill = replay.getTool("Drill"); // replaced by each start only
        waitUntil([&] { return xOf(drill) == 3.0; });
        replay.stopReplay();
    }
}

TEST_F(Replay, KeepsReplacedToolsAliveWhileASessionReadsThem)
{
    ReplayTL& replay =
        replayOf(logbytes::header() + logbytes::toolList({toolNamed("Drill")}) + positionAt(1) +
                 logbytes::toolList({toolNamed("Probe")}) + "P" + Bytes(7, '\0') + logbytes::realTime({}, {2, 0, 0}));
    ASSERT_TRUE(replay.startReplay());
    std::atomic<bool> sessionIsThere{false}, wasAliveToTheEnd{false};
    std::thread session(
        [&]
        {
            const Toollist::Reading reading(replay);
            const Tool* drill = reading.tool("Drill");
            sessionIsThere = true;
            waitUntil([&] { return replay.getTool("Probe") != nullptr; });
            wasAliveToTheEnd = drill->getName() == "Drill" && xOf(drill) == 1.0;
        });
    waitUntil([&] { return sessionIsThere.load(); });
    tick(replay);
    EXPECT_TRUE(wasAliveToTheEnd);
    session.join();
}

TEST_F(Replay, ReplacesItsToolsWhileSessionsReadThem)
{
    Bytes bytes = logbytes::header() + logbytes::toolList({toolNamed("Drill")}) + positionAt(1);
    for (int i = 0; i < 100; ++i)
        bytes += logbytes::toolList({toolNamed("Drill")}) + "P" + Bytes(7, '\0') + logbytes::realTime({}, {1, 0, 0});
    ReplayTL& replay = replayOf(bytes);
    ASSERT_TRUE(replay.startReplay());
    std::atomic<bool> isOver{false};
    std::vector<std::thread> sessions;
    for (int i = 0; i < 2; ++i)
        sessions.emplace_back(
            [&]
            {
                while (!isOver)
                {
                    const Toollist::ModuleCall call(replay);
                    const Toollist::Reading reading(replay);
                    Matrix3x3 rotation;
                    Vector3d translation;
                    reading.tool("Drill")->getTransform(rotation, translation);
                }
            });
    for (int i = 0; i < 100; ++i)
        tick(replay);
    isOver = true;
    for (std::thread& session : sessions)
        session.join();
    EXPECT_EQ(1.0, xOf(replay.getTool("Drill")));
}
