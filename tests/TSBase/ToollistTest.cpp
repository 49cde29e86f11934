#include <TSBase/Toollist.h>

#include <support/FileSizeLimit.h>
#include <support/LogCapture.h>
#include <support/LogFileBytes.h>
#include <support/PrivateMember.h>
#include <support/TestFolder.h>
#include <support/TestToollist.h>

#include <tbrBase/FilePlatform.h>
#include <tbrCore/CaObserver.h>

#include <gtest/gtest.h>

#include <QDateTime>
#include <QFileInfo>
#include <QMetaMethod>
#include <QTest>

#include <memory>
#include <thread>

using logbytes::Bytes;

struct LogFile
{
    using Type = std::FILE* Toollist::*;
    friend Type privateMember(LogFile);
};
template struct PrivateMember<LogFile, &Toollist::m_LogFile>;

struct LogSize
{
    using Type = std::int64_t Toollist::*;
    friend Type privateMember(LogSize);
};
template struct PrivateMember<LogSize, &Toollist::m_LogSize>;

namespace
{

constexpr int PATIENCE_MS = 60000;

void waitUntil(const std::function<bool()>& condition)
{
    while (!condition())
        std::this_thread::yield();
}

std::uint32_t numberAt(const Bytes& bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    for (std::size_t i = offset; i < offset + 4; ++i)
        value = value << 8 | static_cast<unsigned char>(bytes.at(i));
    return value;
}

/// The description that a tool of makeTool() leaves in a recording.
Bytes contentOf(const std::string& name, const std::vector<logbytes::Point>& reals = {})
{
    logbytes::Content content;
    content.name = name;
    content.reals = reals;
    return logbytes::content(content, '\0');
}

class RecordingObserver : public CaObserver
{
public:
    void notified(CaSubject& subject, const char* event, void* data) override
    {
        subjects.push_back(&subject);
        events.push_back(event);
        hasData = hasData || data != nullptr;
    }
    std::vector<CaSubject*> subjects;
    std::vector<std::string> events;
    bool hasData = false;
};

} // namespace

TEST(Toollist, HasAtLeastOneSlot)
{
    EXPECT_EQ(1u, TestToollist(0).getMaxNumberOfTools());
    EXPECT_EQ(1u, TestToollist(-5).getMaxNumberOfTools());
    EXPECT_EQ(1u, TestToollist(1).getMaxNumberOfTools());
    EXPECT_EQ(64u, TestToollist(64).getMaxNumberOfTools());
}

TEST(Toollist, LogsItsConstructionWithItsSlots)
{
    const LogCapture log;
    const TestToollist three(3), one(-5);
    EXPECT_EQ(1, log.count("toolserver", "Toollist constructor (number of tools: 3).\n"));
    EXPECT_EQ(1, log.count("toolserver", "Toollist constructor (number of tools: 1).\n"));
    EXPECT_EQ(2u, log.entries().size());
}

TEST(Toollist, LogsItsDestruction)
{
    auto list = std::make_unique<TestToollist>(1);
    const LogCapture log;
    list.reset();
    EXPECT_EQ(1, log.count("toolserver", "Toollist destructor - cleaning up tool list.\n"));
    EXPECT_EQ(1u, log.entries().size());
}

TEST(Toollist, BeginsEmptyAndWell)
{
    TestToollist list(3);
    EXPECT_EQ(0, list.getStatus());
    EXPECT_EQ("", list.getErrorMsg());
    EXPECT_EQ(0, list.getToolChangeCount());
    EXPECT_EQ(0.0f, list.getUpdateRate());
    for (unsigned int slot = 0; slot < 3; ++slot)
        EXPECT_EQ(nullptr, list.getTool(slot));
    int number = -1;
    bool state = true;
    list.getSwitch(number, state);
    EXPECT_EQ(0, number);
    EXPECT_FALSE(state);
}

TEST(Toollist, DoesNotReplay)
{
    TestToollist list(1);
    EXPECT_FALSE(list.startReplay());
    list.stopReplay();
}

TEST(Toollist, HasOnePrivateSlotAndNoSignals)
{
    const QMetaObject& meta = Toollist::staticMetaObject;
    ASSERT_EQ(1, meta.methodCount() - meta.methodOffset());
    const QMetaMethod method = meta.method(meta.methodOffset());
    EXPECT_EQ(QByteArray("doLog()"), method.methodSignature());
    EXPECT_EQ(QMetaMethod::Private, method.access());
    EXPECT_EQ(QMetaMethod::Slot, method.methodType());
}

TEST(Toollist, NamesItsFootswitchEvent)
{
    EXPECT_STREQ("Toollist::SWITCH_STATE_CHANGED_NOTIFICATION", Toollist::SWITCH_STATE_CHANGED_NOTIFICATION);
}

TEST(Toollist, ReportsTheStatusThatTheModuleSets)
{
    TestToollist list(1);
    list.setStatus(17, "The camera is unplugged.");
    EXPECT_EQ(17, list.getStatus());
    EXPECT_EQ("The camera is unplugged.", list.getErrorMsg());
    list.setStatus(0, "");
    EXPECT_EQ(0, list.getStatus());
    EXPECT_EQ("", list.getErrorMsg());
}

TEST(Toollist, CountsChangesOfItsToolsWhenTheModuleSaysSo)
{
    TestToollist list(1);
    list.insertTool(0, "Drill", makeTool("Drill"));
    EXPECT_EQ(0, list.getToolChangeCount());
    list.toolSetChanged();
    list.toolSetChanged();
    EXPECT_EQ(2, list.getToolChangeCount());
}

TEST(Toollist, PutsAToolIntoASlotWhateverNameIsGiven)
{
    TestToollist list(3);
    Tool* drill = makeTool("Drill");
    EXPECT_TRUE(list.insertTool(2, "something else", drill));
    EXPECT_EQ(drill, list.getTool(2));
    EXPECT_EQ(drill, list._getTool(2));
    EXPECT_EQ(drill, list.getTool("Drill"));
    EXPECT_EQ(nullptr, list.getTool("something else"));
    EXPECT_EQ(nullptr, list.getTool(1));
}

TEST(Toollist, RefusesASlotItDoesNotHave)
{
    TestToollist list(3);
    const std::unique_ptr<Tool> drill(makeTool("Drill"));
    EXPECT_FALSE(list.insertTool(3, "Drill", drill.get()));
    EXPECT_FALSE(list.insertTool(0xffffffffu, "Drill", drill.get()));
    EXPECT_EQ(nullptr, list.getTool("Drill"));
    EXPECT_EQ(nullptr, list.getTool(3));
    EXPECT_EQ(nullptr, list.getTool(0xffffffffu));
    EXPECT_EQ(nullptr, list._getTool(3));
}

TEST(Toollist, GivesAnOverwrittenToolBackToTheModule)
{
    std::atomic<bool> isDeleted{false};
    TestToollist list(2);
    Tool* first = new MortalTool("First", isDeleted);
    list.insertTool(0, "", first);
    EXPECT_TRUE(list.insertTool(0, "", makeTool("Second")));
    EXPECT_FALSE(isDeleted);
    EXPECT_EQ(nullptr, list.getTool("First"));

    EXPECT_TRUE(list.insertTool(1, "", first));
    EXPECT_EQ(first, list.getTool("First"));
}

TEST(Toollist, EmptiesASlotWithANullTool)
{
    TestToollist list(1);
    const std::unique_ptr<Tool> drill(makeTool("Drill"));
    list.insertTool(0, "", drill.get());
    EXPECT_TRUE(list.insertTool(0, "", nullptr));
    EXPECT_EQ(nullptr, list.getTool(0));
    EXPECT_EQ(nullptr, list.getTool("Drill"));
}

TEST(Toollist, FindsToolsByTheirExactName)
{
    TestToollist list(3);
    list.insertTool(1, "", makeTool("Drill"));
    list.insertTool(2, "", makeTool("drill"));
    EXPECT_EQ(list.getTool(1), list.getTool("Drill"));
    EXPECT_EQ(list.getTool(2), list.getTool("drill"));
    EXPECT_EQ(nullptr, list.getTool("DRILL"));
    EXPECT_EQ(nullptr, list.getTool("Dril"));
    EXPECT_EQ(nullptr, list.getTool("Drill2"));
    EXPECT_EQ(nullptr, list.getTool(std::string("Drill\0", 6)));
    EXPECT_EQ(nullptr, list.getTool(""));
}

TEST(Toollist, FindsAToolWithoutAName)
{
    TestToollist list(2);
    list.insertTool(1, "", makeTool(""));
    EXPECT_EQ(list.getTool(1), list.getTool(""));
}

TEST(Toollist, RemovesAndDeletesTheFirstToolOfAName)
{
    std::atomic<bool> firstIsDeleted{false}, secondIsDeleted{false};
    TestToollist list(3);
    list.insertTool(0, "", new MortalTool("Drill", firstIsDeleted));
    Tool* second = new MortalTool("Drill", secondIsDeleted);
    list.insertTool(2, "", second);

    EXPECT_TRUE(list.removeTool("Drill"));
    EXPECT_TRUE(firstIsDeleted);
    EXPECT_FALSE(secondIsDeleted);
    EXPECT_EQ(nullptr, list.getTool(0));
    EXPECT_EQ(second, list.getTool("Drill"));

    EXPECT_TRUE(list.removeTool(second->getName())); // a name that goes with the tool
    EXPECT_TRUE(secondIsDeleted);
    EXPECT_FALSE(list.removeTool("Drill"));
    EXPECT_EQ(3u, list.getMaxNumberOfTools());
    EXPECT_EQ(0, list.getToolChangeCount());
}

TEST(Toollist, DeletesItsToolsInSlotOrder)
{
    struct NamedTool : Tool
    {
        NamedTool(const std::string& name, std::vector<std::string>& deleted)
            : Tool(1, 1, name, "", "", 14, 0, 0, {}, {}, 0, 1), m_Deleted(deleted)
        {
        }
        ~NamedTool() override { m_Deleted.push_back(getName()); }
        std::vector<std::string>& m_Deleted;
    };
    std::vector<std::string> deleted;
    {
        TestToollist list(4);
        list.insertTool(3, "", new NamedTool("c", deleted));
        list.insertTool(0, "", new NamedTool("b", deleted));
        list.insertTool(1, "", new NamedTool("a", deleted));
    }
    EXPECT_EQ((std::vector<std::string>{"b", "a", "c"}), deleted);
}

TEST(Toollist, DeletesAToolThatStandsInTwoSlotsOnce)
{
    std::atomic<bool> isDeleted{false};
    TestToollist list(3);
    Tool* drill = new MortalTool("Drill", isDeleted);
    list.insertTool(0, "", drill);
    list.insertTool(2, "", drill);
    EXPECT_TRUE(list.removeTool("Drill"));
    EXPECT_TRUE(isDeleted);
    EXPECT_EQ(nullptr, list.getTool(2));

    Tool* probe = makeTool("Probe");
    list.insertTool(0, "", probe);
    list.insertTool(1, "", probe); // and the destructor deletes this one once
}

TEST(Toollist, ReplacesTheWholeTableAndKeepsTheToolsThatStay)
{
    std::atomic<bool> goneIsDeleted{false}, keptIsDeleted{false};
    TestToollist list(2);
    Tool* kept = new MortalTool("Kept", keptIsDeleted);
    list.insertTool(0, "", new MortalTool("Gone", goneIsDeleted));
    list.insertTool(1, "", kept);

    list.replaceTable({nullptr, nullptr, kept});
    EXPECT_EQ(3u, list.getMaxNumberOfTools());
    EXPECT_EQ(kept, list.getTool(2));
    EXPECT_TRUE(goneIsDeleted);
    EXPECT_FALSE(keptIsDeleted);
}

TEST(Toollist, LeavesAFreeNameAlone)
{
    TestToollist list(2);
    std::string name = "probe";
    list.createUniqueRuntimeToolName(name);
    EXPECT_EQ("probe", name);
}

TEST(Toollist, AppendsTheFirstFreeNumberToATakenName)
{
    TestToollist list(4);
    list.insertTool(2, "", makeTool("a"));
    std::string name = "a";
    list.createUniqueRuntimeToolName(name);
    EXPECT_EQ("a_1", name);

    list.insertTool(1, "", makeTool("a_1"));
    name = "a";
    list.createUniqueRuntimeToolName(name);
    EXPECT_EQ("a_2", name);

    name = "a_1";
    list.createUniqueRuntimeToolName(name);
    EXPECT_EQ("a_1_1", name);

    list.insertTool(3, "", makeTool("a_3"));
    name = "a";
    list.createUniqueRuntimeToolName(name);
    EXPECT_EQ("a_2", name);
}

TEST(Toollist, NumbersAnEmptyNameToo)
{
    TestToollist list(1);
    list.insertTool(0, "", makeTool(""));
    std::string name;
    list.createUniqueRuntimeToolName(name);
    EXPECT_EQ("_1", name);
}

TEST(Toollist, PassesACreationOnAndInsertsNothingItself)
{
    TestToollist list(2);
    const std::unique_ptr<Tool> made(makeTool("Drill"));
    list.onCreateTool = [&](const TestToollist::Creation&) { return made.get(); };
    const std::vector<Vector3d> reals = {{1, 2, 3}}, imaginaries = {{4, 5, 6}, {7, 8, 9}};
    EXPECT_EQ(made.get(), list.createTool(1, 2, "Drill", "D-2", 14, 3, 4, reals, imaginaries, 5, true));

    ASSERT_EQ(1u, list.creations().size());
    const TestToollist::Creation creation = list.creations().front();
    EXPECT_EQ(1, creation.ID);
    EXPECT_EQ(2, creation.GID);
    EXPECT_EQ("Drill", creation.name);
    EXPECT_EQ("D-2", creation.secondName);
    EXPECT_EQ(14, creation.type);
    EXPECT_EQ(3, creation.startCalibrationPoint);
    EXPECT_EQ(4, creation.reserved);
    EXPECT_EQ(reals, creation.realMarkers);
    EXPECT_EQ(imaginaries, creation.imaginaryMarkers);
    EXPECT_EQ(5u, creation.numberOfJacks);
    EXPECT_TRUE(creation.flag);
    EXPECT_EQ(nullptr, list.getTool("Drill"));
}

TEST(Toollist, ReturnsNullWhenTheModuleRefusesACreation)
{
    TestToollist list(2);
    EXPECT_EQ(nullptr, list.createTool(1, 2, "Drill", "", 14, 0, 0, {}, {}, 0, false));
}

TEST(Toollist, PassesRequestsAboutToolsOnAndReturnsTheAnswers)
{
    TestToollist list(2);
    const std::unique_ptr<Tool> drill(makeTool("Drill"));
    EXPECT_TRUE(list.initTool(1, drill.get()));
    EXPECT_TRUE(list.loadTool(drill.get()));
    EXPECT_TRUE(list.updateCalibration(drill.get()));
    EXPECT_EQ((std::vector<TestToollist::Request>{{"_initTool", 1, drill.get()},
                                                  {"_loadTool", 0, drill.get()},
                                                  {"_updateCalibration", 0, drill.get()}}),
              list.requests());

    list.onInitTool = [](unsigned int, Tool*) { return false; };
    list.onLoadTool = list.onUpdateCalibration = [](Tool*) { return false; };
    EXPECT_FALSE(list.initTool(1, drill.get()));
    EXPECT_FALSE(list.loadTool(drill.get()));
    EXPECT_FALSE(list.updateCalibration(drill.get()));
}

TEST(Toollist, PassesASwitchRequestOn)
{
    TestToollist list(1);
    list.onRequestSwitch = [](int& number, bool& state)
    {
        number += 2;
        state = !state;
    };
    int number = 40;
    bool state = false;
    list.requestSwitch(number, state);
    EXPECT_EQ(42, number);
    EXPECT_TRUE(state);
}

TEST(Toollist, FreezesEveryPoseWhenTheFootswitchChanges)
{
    TestToollist list(3);
    list.insertTool(0, "", makeTool("Drill"));
    list.insertTool(2, "", makeTool("Probe"));
    list.getTool(0)->updateTransform(Vector3d(1, 2, 3), Matrix3x3());
    list.getTool(2)->updateTransform(Vector3d(4, 5, 6), Matrix3x3());
    list.notifySwitchStateChanged();

    Matrix3x3 rotation;
    Vector3d translation;
    list.getTool(0)->getStoredTransform(rotation, translation);
    EXPECT_EQ(Vector3d(1, 2, 3), translation);
    list.getTool(2)->getStoredTransform(rotation, translation);
    EXPECT_EQ(Vector3d(4, 5, 6), translation);
}

TEST(Toollist, RefreshesTheSwitchAndNotifiesEvenWithoutTools)
{
    TestToollist list(1);
    RecordingObserver observer;
    list.addObserver(&observer);
    list.onGetSwitchState = [](int& number, bool& state)
    {
        number = 3;
        state = true;
    };
    int number = 0;
    bool state = false;
    list.getSwitch(number, state);
    EXPECT_EQ(0, number); // the device is not asked

    list.notifySwitchStateChanged();
    list.getSwitch(number, state);
    EXPECT_EQ(3, number);
    EXPECT_TRUE(state);
    EXPECT_EQ((std::vector<std::string>{"Toollist::SWITCH_STATE_CHANGED_NOTIFICATION"}), observer.events);
    EXPECT_EQ((std::vector<CaSubject*>{&list}), observer.subjects);
    EXPECT_FALSE(observer.hasData);
}

TEST(Toollist, KeepsTheSwitchWhenTheModuleLeavesItAlone)
{
    TestToollist list(1);
    list.onGetSwitchState = [](int& number, bool&) { number += 5; };
    list.notifySwitchStateChanged();
    list.notifySwitchStateChanged();
    int number = 0;
    bool state = true;
    list.getSwitch(number, state);
    EXPECT_EQ(10, number);
    EXPECT_FALSE(state);
}

TEST(Toollist, LetsObserversReadTheNewSwitch)
{
    struct Reader : CaObserver
    {
        void notified(CaSubject& subject, const char*, void*) override
        {
            dynamic_cast<Toollist&>(subject).getSwitch(number, state);
        }
        int number = 0;
        bool state = false;
    };
    TestToollist list(1);
    list.onGetSwitchState = [](int& number, bool&) { number = 9; };
    Reader reader;
    list.addObserver(&reader);
    list.notifySwitchStateChanged();
    EXPECT_EQ(9, reader.number);
}

namespace
{

/// A list of three slots whose middle one is empty, and a folder to record into.
class ToollistRecording : public testing::Test
{
protected:
    ToollistRecording()
    {
        m_List.insertTool(0, "", makeTool("Drill", {{1, 2, 3}}));
        m_List.insertTool(2, "", makeTool("Probe"));
        m_List.getTool(0)->updateRealMarker(0, Vector3d(10, 20, 30));
        m_List.getTool(0)->updateTransform(Vector3d(4, 5, 6), Matrix3x3());
        m_List.getTool(2)->updateTransform(Vector3d(7, 8, 9), Matrix3x3());
    }

    bool start() { return m_List.startLogging(file()); }
    std::string file() const { return m_Folder.path("tracking.log"); }
    Bytes recorded() const { return m_Folder.read("tracking.log"); }

    /// The recording without the time stamp that begins at `offset`.
    static Bytes withoutTime(Bytes bytes, std::size_t offset) { return bytes.replace(offset, 8, 8, 't'); }

    const TestFolder m_Folder;
    TestToollist m_List{3};

    const Bytes m_ToolList = logbytes::toolList({logbytes::filledSlot(contentOf("Drill", {{1, 2, 3}})),
                                                 logbytes::emptySlot(), logbytes::filledSlot(contentOf("Probe"))});
    const Bytes m_Start = logbytes::header() + m_ToolList;
    const Bytes m_Records = logbytes::realTime({{10, 20, 30}}, {4, 5, 6}) + logbytes::realTime({}, {7, 8, 9});
    const Bytes m_Position = "Ptttttttt" + m_Records;
};

} // namespace

TEST_F(ToollistRecording, BeginsWithTheHeaderAndTheTools)
{
    const LogCapture log;
    EXPECT_TRUE(start());
    EXPECT_EQ(m_Start, recorded());
    EXPECT_EQ(1, log.count("toolserver", "HAB ICH MAL GEAENDERT\n"));
    EXPECT_EQ(1u, log.entries().size());
}

TEST_F(ToollistRecording, AddsThePosesAtEveryTick)
{
    start();
    m_List.tick();
    EXPECT_EQ(m_Start + m_Position, withoutTime(recorded(), m_Start.size() + 1));

    m_List.getTool(2)->updateTransform(Vector3d(1, 1, 1), Matrix3x3());
    m_List.tick();
    const Bytes second = recorded().substr(m_Start.size() + m_Position.size());
    EXPECT_EQ("Ptttttttt" + logbytes::realTime({{10, 20, 30}}, {4, 5, 6}) + logbytes::realTime({}, {1, 1, 1}),
              withoutTime(second, 1));
}

TEST_F(ToollistRecording, StampsThePosesWithTheTimeOfDay)
{
    start();
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    m_List.tick();
    const qint64 after = QDateTime::currentMSecsSinceEpoch();

    const std::uint32_t microseconds = numberAt(recorded(), m_Start.size() + 5);
    EXPECT_GT(1000000u, microseconds);
    const qint64 stamp = qint64(numberAt(recorded(), m_Start.size() + 1)) * 1000 + microseconds / 1000;
    EXPECT_LE(before, stamp);
    EXPECT_GE(after, stamp);
}

TEST_F(ToollistRecording, AddsTheToolsAgainWhenTheirSetHasChanged)
{
    start();
    m_List.removeTool("Drill");
    m_List.toolSetChanged();
    m_List.tick();
    m_List.tick();

    const Bytes tools =
        logbytes::toolList({logbytes::emptySlot(), logbytes::emptySlot(), logbytes::filledSlot(contentOf("Probe"))});
    const Bytes position = "Ptttttttt" + logbytes::realTime({}, {7, 8, 9});
    const std::size_t first = m_Start.size() + tools.size() + 1;
    EXPECT_EQ(m_Start + tools + position + position,
              withoutTime(withoutTime(recorded(), first), first + position.size()));
}

TEST_F(ToollistRecording, DoesNotRepeatTheToolsForChangesBeforeItsStart)
{
    m_List.toolSetChanged();
    m_List.toolSetChanged();
    start();
    m_List.tick();
    EXPECT_EQ(m_Start + m_Position, withoutTime(recorded(), m_Start.size() + 1));
}

TEST_F(ToollistRecording, GoesByTheChangeCountAlone)
{
    start();
    m_List.insertTool(1, "", makeTool("Third"));
    m_List.tick();
    EXPECT_EQ('P', recorded().at(m_Start.size()));
    EXPECT_EQ(m_Start.size() + m_Position.size() + 48, recorded().size());
}

TEST_F(ToollistRecording, TakesBlocksThatTheModuleAsksFor)
{
    m_List.logToollistContent();
    m_List.logToolPositions(); // nothing runs yet
    start();
    m_List.logToollistContent();
    m_List.logToolPositions();
    EXPECT_EQ(m_Start + m_ToolList + m_Position, withoutTime(recorded(), m_Start.size() + m_ToolList.size() + 1));
}

TEST_F(ToollistRecording, IsRefusedWhileOneRuns)
{
    start();
    m_List.tick();
    const Bytes before = recorded();
    const LogCapture log;
    EXPECT_FALSE(m_List.startLogging(m_Folder.path("other.log")));
    EXPECT_FALSE(start());

    EXPECT_EQ(2, log.count("toolserver", "HAB ICH MAL GEAENDERT\n"));
    EXPECT_EQ(2, log.count("toolserver", "logging is already running\n"));
    EXPECT_EQ(4u, log.entries().size());
    EXPECT_EQ(before, recorded());
    EXPECT_EQ("<cannot be opened>", m_Folder.read("other.log"));
    m_List.tick();
    EXPECT_EQ(before.size() + m_Position.size(), recorded().size());
}

TEST_F(ToollistRecording, FailsWhenTheFileCannotBeMade)
{
    const std::string name = m_Folder.path("no such folder/tracking.log");
    const LogCapture log;
    EXPECT_FALSE(m_List.startLogging(name));
    EXPECT_EQ(1, log.count("toolserver", "HAB ICH MAL GEAENDERT\n"));
    EXPECT_EQ(1, log.count("toolserver", "error openening log file name: " + name + "\n"));
    EXPECT_EQ(2u, log.entries().size());

    m_List.tick();
    EXPECT_TRUE(start());
}

TEST_F(ToollistRecording, FailsWhenNotEvenTheHeaderCanBeWritten)
{
    {
        const FileSizeLimit full(0);
        const LogCapture log;
        EXPECT_FALSE(start());
        EXPECT_EQ(1, log.count("toolserver", "error openening log file name: " + file() + "\n"));
        EXPECT_EQ(2u, log.entries().size());
    }
    m_List.tick();
    EXPECT_TRUE(start());
    EXPECT_EQ(m_Start, recorded());
}

TEST_F(ToollistRecording, EndsWhenItIsStopped)
{
    start();
    m_List.stopLogging();
    m_List.tick();
    m_List.logToolPositions();
    m_List.stopLogging();
    EXPECT_EQ(m_Start, recorded());
}

TEST_F(ToollistRecording, BeginsAnewInTheSameFile)
{
    start();
    m_List.tick();
    m_List.stopLogging();
    EXPECT_TRUE(start());
    EXPECT_EQ(m_Start, recorded());
}

TEST_F(ToollistRecording, IsClosedWithTheList)
{
    {
        TestToollist list(1);
        list.startLogging(m_Folder.path("short.log"));
        list.tick();
    }
    EXPECT_EQ(logbytes::header() + logbytes::toolList({logbytes::emptySlot()}) + "Ptttttttt",
              withoutTime(m_Folder.read("short.log"), 46 + 9 + 1));
}

TEST_F(ToollistRecording, KeepsTheFileWholeWhenTheDiskIsFullAndGoesOnAfterwards)
{
    start();
    m_List.tick();
    const LogCapture log;
    {
        const FileSizeLimit limit(m_Start.size() + m_Position.size() + 10); // the next block's beginning would fit
        m_List.tick();
        EXPECT_EQ(m_Start.size() + m_Position.size(), recorded().size());
        m_List.tick();
        EXPECT_EQ(m_Start.size() + m_Position.size(), recorded().size());
    }
    ASSERT_EQ(1u, log.entries().size());
    EXPECT_EQ("ERROR", log.entries().front().category);
    EXPECT_EQ("The tracking log cannot be written (" + FileSizeLimit::reason() +
                  "); poses are not recorded until it can.\n",
              log.entries().front().message);

    m_List.tick();
    const std::size_t second = m_Start.size() + m_Position.size();
    EXPECT_EQ(m_Start + m_Position + m_Position, withoutTime(withoutTime(recorded(), m_Start.size() + 1), second + 1));

    const FileSizeLimit again(recorded().size());
    m_List.tick();
    EXPECT_EQ(2u, log.entries().size());
}

TEST_F(ToollistRecording, DoesNotLoseAChangeOfToolsToAFullDisk)
{
    start();
    m_List.removeTool("Drill");
    m_List.toolSetChanged();
    {
        const FileSizeLimit limit(m_Start.size() + 5);
        m_List.tick();
    }
    EXPECT_EQ(m_Start, recorded());
    m_List.tick();
    m_List.tick();

    const Bytes tools =
        logbytes::toolList({logbytes::emptySlot(), logbytes::emptySlot(), logbytes::filledSlot(contentOf("Probe"))});
    EXPECT_EQ(m_Start + tools, recorded().substr(0, m_Start.size() + tools.size()));
    EXPECT_EQ(m_Start.size() + tools.size() + 2 * (9 + 48), recorded().size());
}

TEST_F(ToollistRecording, GoesOnBeyond4GiBAndKeepsTheFileWholeThere)
{
    start();
    std::FILE* const file = m_List.*privateMember(LogFile());
    const std::int64_t far = (std::int64_t(1) << 32) + 7; // as if it had gone on for weeks; what lies between is a hole
    ASSERT_TRUE(tbr::platform::seekFile(file, far, SEEK_SET));
    m_List.*privateMember(LogSize()) = far;
    const auto size = [&] { return QFileInfo(QString::fromStdString(m_Folder.path("tracking.log"))).size(); };
    const auto block = static_cast<std::int64_t>(m_Position.size());

    m_List.tick();
    EXPECT_EQ(far + block, size());
    {
        const FileSizeLimit limit(static_cast<std::size_t>(far + block + 10));
        m_List.tick();
        EXPECT_EQ(far + block, size());
    }
    m_List.tick();
    EXPECT_EQ(far + 2 * block, size());
    QFile read(QString::fromStdString(m_Folder.path("tracking.log")));
    ASSERT_TRUE(read.open(QIODevice::ReadOnly) && read.seek(far));
    const std::size_t second = m_Position.size();
    EXPECT_EQ(m_Position + m_Position, withoutTime(withoutTime(read.readAll().toStdString(), 1), second + 1));
}

TEST_F(ToollistRecording, IsDrivenByTheListsTimer)
{
    start();
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return recorded().size() >= m_Start.size() + 3 * m_Position.size(); }, PATIENCE_MS));
    m_List.stopLogging();
    const Bytes stopped = recorded();
    EXPECT_EQ(0u, (stopped.size() - m_Start.size()) % m_Position.size());
}

TEST_F(ToollistRecording, GoesOnWhenTheListMovesToAnotherThread)
{
    start();
    CameraThread camera(m_List);
    waitUntil([&] { return recorded().size() >= m_Start.size() + 2 * m_Position.size(); });
    m_List.stopLogging();
}

TEST_F(ToollistRecording, CanBeBegunAndEndedFromAnotherThread)
{
    CameraThread camera(m_List);
    for (int round = 0; round < 3; ++round)
    {
        EXPECT_TRUE(start());
        waitUntil([&] { return recorded().size() > m_Start.size(); });
        m_List.stopLogging();
        EXPECT_EQ(0u, (recorded().size() - m_Start.size()) % m_Position.size());
    }
}

TEST_F(ToollistRecording, RunsAfterTheLastWordWasStartWhoeverSaidIt)
{
    CameraThread camera(m_List);
    camera.call(
        [&]
        {
            EXPECT_TRUE(start());
            std::thread(
                [&]
                {
                    m_List.stopLogging();
                    EXPECT_TRUE(start());
                    m_List.stopLogging();
                })
                .join(); // what it asks of the timer waits until this has returned
            EXPECT_TRUE(start());
        });
    waitUntil([&] { return recorded().size() > m_Start.size(); });
    m_List.stopLogging();
}

TEST(Toollist, KeepsARemovedToolAliveWhileAReadingCanSeeIt)
{
    std::atomic<bool> isDeleted{false}, readerIsThere{false}, wasAliveToTheEnd{false};
    TestToollist list(2);
    list.insertTool(0, "", new MortalTool("Drill", isDeleted));
    std::thread reader(
        [&]
        {
            const Toollist::Reading reading(list);
            readerIsThere = true;
            waitUntil([&] { return list.getTool("Drill") == nullptr; }); // others do not see it any more
            const Tool* drill = reading.tool("Drill");
            wasAliveToTheEnd = drill && drill == reading.tool(0u) && drill->getName() == "Drill" && !isDeleted;
        });
    waitUntil([&] { return readerIsThere.load(); });

    EXPECT_TRUE(list.removeTool("Drill"));
    EXPECT_TRUE(wasAliveToTheEnd);
    EXPECT_TRUE(isDeleted);
    reader.join();
}

TEST(Toollist, GivesAnOverwrittenToolBackWhenNoReadingCanSeeIt)
{
    std::atomic<bool> readerIsThere{false}, readerHasLeft{false};
    TestToollist list(1);
    Tool* first = makeTool("First");
    Tool* second = makeTool("Second");
    list.insertTool(0, "", first);
    std::thread reader(
        [&]
        {
            const Toollist::Reading reading(list);
            readerIsThere = true;
            waitUntil([&] { return list.getTool(0) == second; });
            readerHasLeft = reading.tool(0u) == first && first->getName() == "First";
        });
    waitUntil([&] { return readerIsThere.load(); });

    EXPECT_TRUE(list.insertTool(0, "", second));
    EXPECT_TRUE(readerHasLeft);
    delete first;
    reader.join();
}

TEST(Toollist, ShowsAReadingTheTableOfItsBeginning)
{
    TestToollist list(2);
    list.insertTool(0, "", makeTool("Drill"));
    const Toollist::Reading reading(list);
    EXPECT_EQ(2u, reading.size());
    EXPECT_EQ(list.getTool(0), reading.tool("Drill"));
    EXPECT_EQ(list.getTool(0), reading.table().tools().at(0));
    EXPECT_EQ(nullptr, reading.tool(1u));
    EXPECT_EQ(nullptr, reading.tool(2u));
}

TEST(Toollist, DeletesARemovedToolAtTheEndOfTheModuleCall)
{
    std::atomic<bool> isDeleted{false};
    TestToollist list(1);
    list.insertTool(0, "", new MortalTool("Drill", isDeleted));
    {
        const Toollist::ModuleCall call(list);
        EXPECT_TRUE(list.removeTool("Drill")); // does not wait for the call
        EXPECT_EQ(nullptr, list.getTool("Drill"));
        EXPECT_FALSE(isDeleted);
    }
    EXPECT_TRUE(isDeleted);
}

TEST(Toollist, WaitsOnlyForModuleCallsThatBeganBeforeTheRemoval)
{
    std::atomic<bool> firstIsDeleted{false}, secondIsDeleted{false};
    TestToollist list(2);
    list.insertTool(0, "", new MortalTool("First", firstIsDeleted));
    list.insertTool(1, "", new MortalTool("Second", secondIsDeleted));

    auto early = std::make_unique<Toollist::ModuleCall>(list);
    auto alsoEarly = std::make_unique<Toollist::ModuleCall>(list);
    list.removeTool("First");
    auto late = std::make_unique<Toollist::ModuleCall>(list);
    list.removeTool("Second");

    early.reset();
    EXPECT_FALSE(firstIsDeleted);
    alsoEarly.reset();
    EXPECT_TRUE(firstIsDeleted);
    EXPECT_FALSE(secondIsDeleted);
    late.reset();
    EXPECT_TRUE(secondIsDeleted);
}

TEST(Toollist, KeepsReplacedToolsForAModuleCallToo)
{
    std::atomic<bool> isDeleted{false};
    TestToollist list(1);
    list.insertTool(0, "", new MortalTool("Drill", isDeleted));
    {
        const Toollist::ModuleCall call(list);
        list.replaceTable({nullptr});
        EXPECT_FALSE(isDeleted);
    }
    EXPECT_TRUE(isDeleted);
}

TEST(Toollist, CanBeChangedInsideAModuleCall)
{
    TestToollist list(2);
    list.onCreateTool = [&](const TestToollist::Creation& creation)
    {
        std::string name = creation.name;
        list.createUniqueRuntimeToolName(name);
        list.removeTool("Drill");
        Tool* tool = makeTool(name);
        list.insertTool(1, "", tool);
        list.toolSetChanged();
        return tool;
    };
    list.insertTool(0, "", makeTool("Drill"));
    const Toollist::ModuleCall call(list);
    Tool* made = list.createTool(1, 2, "Drill", "", 14, 0, 0, {}, {}, 0, true);
    EXPECT_EQ(made, list.getTool("Drill_1"));
    EXPECT_EQ(nullptr, list.getTool(0));
}

TEST(Toollist, GivesEachThreadItsOwnCopyOfTheErrorText)
{
    TestToollist list(1);
    std::atomic<bool> isOver{false};
    std::atomic<int> torn{0};
    list.setStatus(1, std::string(100, 'a'));
    std::thread reader(
        [&]
        {
            while (!isOver)
            {
                const std::string& text = list.getErrorMsg();
                torn += text.size() != 100 || text.front() != text.back() ? 1 : 0;
                list.getStatus();
            }
        });
    for (int i = 0; i < 2000; ++i)
        list.setStatus(i, std::string(100, i % 2 == 0 ? 'b' : 'c'));
    isOver = true;
    reader.join();
    EXPECT_EQ(0, torn);
}

TEST(Toollist, RecordsWholeBlocksWhileItsToolsComeAndGo)
{
    const TestFolder folder;
    TestToollist list(2);
    list.insertTool(0, "", makeTool("Fixed"));
    list.insertTool(1, "", makeTool("Guest"));
    ASSERT_TRUE(list.startLogging(folder.path("tracking.log")));

    std::atomic<bool> isOver{false};
    std::thread module( // replaces the guest, so every moment has two tools
        [&]
        {
            for (int i = 0; i < 300; ++i)
            {
                Tool* former = list.getTool(1);
                list.insertTool(1, "", makeTool("Guest"));
                list.toolSetChanged();
                delete former;
            }
            isOver = true;
        });
    std::thread session(
        [&]
        {
            Matrix3x3 rotation;
            Vector3d translation;
            while (!isOver)
            {
                const Toollist::Reading reading(list);
                Tool* guest = reading.tool("Guest");
                Tool* fixed = reading.tool(0u);
                fixed->updateTransform(Vector3d(1, 2, 3), Matrix3x3());
                guest->calculateTransformationToReference(fixed, rotation, translation);
            }
        });
    while (!isOver)
    {
        list.logToolPositions();
        list.logToollistContent();
        list.tick();
    }
    module.join();
    session.join();
    list.stopLogging();

    const Bytes bytes = folder.read("tracking.log");
    std::size_t offset = 46;
    while (offset < bytes.size())
    {
        ASSERT_TRUE(bytes[offset] == 'T' || bytes[offset] == 'P') << offset;
        offset += bytes[offset] == 'T' ? 5 + 2 * 976 : 9 + 2 * 48;
    }
    EXPECT_EQ(bytes.size(), offset);
}

TEST(Toollist, RemovesAndInsertsFromSeveralThreads)
{
    TestToollist list(8);
    list.onLoadTool = [](Tool* tool) { return tool->getName() == "3"; };
    std::atomic<bool> isOver{false};
    std::thread session(
        [&]
        {
            while (!isOver)
            {
                const Toollist::ModuleCall call(list);
                Tool* tool = nullptr;
                {
                    const Toollist::Reading reading(list);
                    tool = reading.tool("3");
                }
                if (tool)
                    list.loadTool(tool); // the module uses it for as long as it likes
            }
        });
    std::vector<std::thread> modules;
    for (unsigned int slot = 0; slot < 4; ++slot)
        modules.emplace_back(
            [&list, slot]
            {
                for (int i = 0; i < 200; ++i)
                {
                    list.insertTool(slot, "", makeTool(std::to_string(slot)));
                    EXPECT_TRUE(list.removeTool(std::to_string(slot)));
                    list.toolSetChanged();
                }
            });
    for (std::thread& module : modules)
        module.join();
    isOver = true;
    session.join();
    EXPECT_EQ(800, list.getToolChangeCount());
    for (unsigned int slot = 0; slot < 8; ++slot)
        EXPECT_EQ(nullptr, list.getTool(slot));
}
