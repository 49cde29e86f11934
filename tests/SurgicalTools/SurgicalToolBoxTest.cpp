#include <SurgicalTools/BurrCalibrator.h>
#include <SurgicalTools/DrillTool.h>
#include <SurgicalTools/PointerTool.h>
#include <SurgicalTools/SurgicalToolBox.h>
#include <support/Instruments.h>
#include <support/LogCapture.h>
#include <support/OwnProcess.h>
#include <support/ScriptedToolServer.h>
#include <tbrBase/WatchdogException.h>
#include <tbrCore/Settings.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QProcess>
#include <QSignalSpy>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// The box exists once in a process, so each test that makes it has a process of its own.

namespace
{

/// Writes one line of a slot into the settings.
void setSlot(int slot, const std::string& property, const std::string& value)
{
    tbr::Settings::getInstance().set(
        "Tobrel/Navigation/SurgicalToolBox/SurgicalTool." + std::to_string(slot) + "." + property, value);
}

void chooseScriptedModule()
{
    tbr::Settings::getInstance().set(QString("Tobrel/Navigation/CaToolList/ClientInterfaceModulePath"),
                                     QCoreApplication::applicationDirPath() + "/plugins");
    tbr::Settings::getInstance().set("Tobrel/Navigation/CaToolList/ClientInterfaceModule", "ScriptedClientInterface");
}

SurgicalToolBox& box()
{
    return *SurgicalToolBox::getInstance();
}

_tbr::ToolListUpdateThread& updateThread()
{
    return *static_cast<_tbr::ToolListUpdateThread*>(box().findChild<QThread*>());
}

SurgicalTool* toolNamed(const std::string& name)
{
    return box().getTool(name);
}

/// Puts a new instrument into the box.
SurgicalTool* plug(const std::string& className, const std::string& name)
{
    auto made = SurgicalTool::createTool(className);
    SurgicalTool* tool = made.get();
    tool->setName(name);
    EXPECT_EQ(box().plugSurgicalTool(made), CaError::nullError);
    return tool;
}

/// A list that knows these tools; each differs from the others in the signature of its one marker.
class ListOf : public CaToolList
{
public:
    explicit ListOf(const std::vector<std::string>& names)
    {
        std::vector<ScriptedToolServer::ToolInfo> tools;
        for (const std::string& name : names)
            tools.push_back(ScriptedToolServer::tool(name, {{1.0 + static_cast<double>(tools.size()), 0, 0}}, {}));
        tools.push_back(ScriptedToolServer::tool(0));
        server().numberOfTools = {static_cast<int>(names.size())};
        server().toolInfos = tools;
        server().connected = true;
        toolChange();
    }

    ScriptedToolServer& server() { return *static_cast<ScriptedToolServer*>(getToolServer()); }
};

void expectError(const CaError& error, const char* name, const char* message)
{
    EXPECT_EQ(error.getName(), name);
    EXPECT_EQ(error.getMessage(), message);
    EXPECT_EQ(error.getFile(), "");
    EXPECT_EQ(error.getLine(), 0);
    EXPECT_EQ(error.getData(), nullptr);
    EXPECT_NE(error, CaError::nullError);
}

std::vector<std::string> namesOf(const std::vector<SurgicalTool*>& tools)
{
    std::vector<std::string> names;
    for (const SurgicalTool* tool : tools)
        names.push_back(tool->getName());
    return names;
}

} // namespace

TEST(SurgicalToolBox, DefinesItsErrors)
{
    expectError(SurgicalToolBox::NoToolListERR, "SurgicalToolBox::NoToolListERR",
                "This surgical tool box is not connected to a CaToolList object");
    expectError(SurgicalToolBox::ToolNotManagedERR, "SurgicalToolBox::ToolNotManagedERR",
                "This requested surgical tool box is not managed by this tool box");
}

TEST(SurgicalToolBox, DescribesItsSignalsToQt)
{
    const QMetaObject& meta = SurgicalToolBox::staticMetaObject;
    std::vector<std::string> methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.push_back(meta.method(i).methodSignature().toStdString());
    EXPECT_THAT(methods, ElementsAre("ToolPluggedSIG(SurgicalTool*)", "ToolUnpluggedSIG(SurgicalTool*)",
                                     "ConnectToolserverSIG()", "DiconnectToolserverSIG()",
                                     "currentToolChangedSig(SurgicalTool*,SurgicalTool*)"));
}

TEST(SurgicalToolBox, StartsEmptyAndUnconnected)
{
    inOwnProcess(
        []
        {
            EXPECT_EQ(SurgicalToolBox::getInstance(), SurgicalToolBox::getInstance());
            EXPECT_THAT(box().getAllTools(), IsEmpty());
            EXPECT_EQ(box().getToolList(), nullptr);
            EXPECT_EQ(box().getCurrentTool(), nullptr);
            EXPECT_FALSE(box().isConnected());
            EXPECT_EQ(box().startTracking(), CaError::nullError);
            box().stopTracking();
            EXPECT_EQ(toolNamed("Drill"), nullptr);
        });
}

TEST(SurgicalToolBox, RunsAnUpdateThreadWithoutATimer)
{
    inOwnProcess(
        []
        {
            EXPECT_TRUE(updateThread().isRunning());
            EXPECT_EQ(updateThread().parent(), &box());
            EXPECT_EQ(updateThread().thread(), QThread::currentThread()); // so its timer would tick here
            EXPECT_EQ(updateThread().timerId, 0);
            EXPECT_EQ(updateThread().toolList, nullptr);
        });
}

TEST(SurgicalToolBox, MakesTheInstrumentsOfTheSettings)
{
    inOwnProcess(
        []
        {
            setSlot(0, "ClassId", "DrillTool"); // no name: its class
            setSlot(5, "ClassId", "DrillGuide");
            setSlot(5, "Name", "Guide");
            setSlot(6, "ClassId", "PointerTool"); // an empty name is ignored
            setSlot(6, "Name", "");
            setSlot(7, "ClassId", "Unknown");
            setSlot(8, "ClassId", "");
            setSlot(9, "Name", "Nothing");
            setSlot(98, "ClassId", "BurrCalibrator");
            setSlot(98, "Name", "Last");
            setSlot(99, "ClassId", "CArmBase");
            const LogCapture log;

            EXPECT_THAT(namesOf(box().getAllTools()), UnorderedElementsAre("DrillTool", "Guide", "<no name>", "Last"));
            EXPECT_NE(qobject_cast<DrillTool*>(toolNamed("DrillTool")), nullptr);
            EXPECT_NE(qobject_cast<DrillGuide*>(toolNamed("Guide")), nullptr);
            EXPECT_NE(qobject_cast<BurrCalibrator*>(toolNamed("Last")), nullptr);
            EXPECT_THAT(log.entries(), IsEmpty());
        });
}

TEST(SurgicalToolBox, ReadsTheSettingsOnce)
{
    inOwnProcess(
        []
        {
            EXPECT_THAT(box().getAllTools(), IsEmpty());
            setSlot(0, "ClassId", "DrillTool");
            EXPECT_THAT(box().getAllTools(), IsEmpty());
        });
}

TEST(SurgicalToolBox, BindsTheBodiesOfTheSettings)
{
    inOwnProcess(
        []
        {
            chooseScriptedModule();
            setSlot(1, "ClassId", "PointerTool");
            setSlot(1, "Name", "First");
            setSlot(1, "RigidBody", "Shared");
            setSlot(2, "ClassId", "PointerTool");
            setSlot(2, "Name", "Second");
            setSlot(2, "RigidBody", "Shared"); // the later slot wins
            setSlot(3, "ClassId", "DrillTool");
            setSlot(3, "Name", "Third");
            setSlot(3, "RigidBody", "Missing");
            auto* list = new ListOf({"Shared"});
            EXPECT_EQ(toolNamed("First")->getRigidBody(), nullptr);
            InstrumentLog first(*toolNamed("First")), second(*toolNamed("Second")), third(*toolNamed("Third"));

            EXPECT_EQ(box().setToolList(list), CaError::nullError);

            EXPECT_EQ(box().getToolList(), list);
            EXPECT_EQ(toolNamed("Second")->getRigidBody(), list->getTool("Shared"));
            EXPECT_THAT(first.signalsSoFar(), ElementsAre("plugged"));
            EXPECT_THAT(second.signalsSoFar(), ElementsAre("plugged Shared"));
            EXPECT_THAT(third.signalsSoFar(), IsEmpty());
            EXPECT_EQ(updateThread().toolList, list);
            delete list;
            EXPECT_EQ(box().getToolList(), nullptr);
            EXPECT_FALSE(box().isConnected());
            EXPECT_EQ(toolNamed("Second")->getRigidBody(), nullptr);
        });
}

TEST(SurgicalToolBox, IgnoresAMissingToolList)
{
    inOwnProcess(
        []
        {
            chooseScriptedModule();
            ListOf list({});
            box().setToolList(&list);
            EXPECT_EQ(box().setToolList(nullptr), CaError::nullError);
            EXPECT_EQ(box().getToolList(), &list);
        });
}

TEST(SurgicalToolBox, ConnectsAListOfItsOwn)
{
    inOwnProcess(
        []
        {
            chooseScriptedModule();
            QSignalSpy connected(&box(), SIGNAL(ConnectToolserverSIG()));

            expectError(box().connect("somewhere", 4711), "SurgicalToolBox::connectionFailed", "");

            ASSERT_NE(box().getToolList(), nullptr); // stays
            EXPECT_EQ(connected.count(), 0);
            EXPECT_EQ(updateThread().toolList, nullptr);
            auto& server = *static_cast<ScriptedToolServer*>(box().getToolList()->getToolServer());
            EXPECT_THAT(server.calls(), ElementsAre("connect somewhere 4711"));

            const CaToolList* list = box().getToolList();
            server.connecting = {0};
            server.onCall = [&](const std::string&) { server.connected = true; };
            EXPECT_EQ(box().connect("elsewhere", 4712), CaError::nullError);
            EXPECT_EQ(box().getToolList(), list);
            EXPECT_TRUE(box().isConnected());
            EXPECT_EQ(connected.count(), 1);
            EXPECT_EQ(updateThread().toolList, list);
            server.onCall = {};
        });
}

TEST(SurgicalToolBox, DoesNotConnectAListThatIsConnected)
{
    inOwnProcess(
        []
        {
            chooseScriptedModule();
            SurgicalTool* drill = plug("DrillTool", "Drill");
            box().attachTool(*drill, "Body");
            ListOf list({"Body"});
            box().setToolList(&list);
            list.server().forgetCalls();
            QSignalSpy connected(&box(), SIGNAL(ConnectToolserverSIG()));
            InstrumentLog log(*drill);

            EXPECT_EQ(box().connect("somewhere", 4711), CaError::nullError);

            EXPECT_THAT(list.server().calls(), IsEmpty());
            EXPECT_EQ(connected.count(), 1);
            EXPECT_THAT(log.signalsSoFar(), ElementsAre("plugged Body")); // bound again,
            move(*list.getTool("Body"), TransMatrix3d());
            EXPECT_THAT(log.signalsSoFar(), ElementsAre("plugged Body", "moved", "moved")); // so it moves twice
            delete drill;
        });
}

TEST(SurgicalToolBox, PlugsAnInstrumentOnce)
{
    inOwnProcess(
        []
        {
            QSignalSpy plugged(&box(), SIGNAL(ToolPluggedSIG(SurgicalTool*)));
            SurgicalTool* drill = plug("DrillTool", "Drill");
            ASSERT_EQ(plugged.count(), 1);
            EXPECT_EQ(plugged.at(0).at(0).value<SurgicalTool*>(), drill);
            EXPECT_EQ(drill->getRigidBody(), nullptr);

            auto again = SurgicalTool::createTool("");
            expectError(box().plugSurgicalTool(again), "SurgicalToolBox::GenericError", "");
            again.reset(drill);
            expectError(box().plugSurgicalTool(again), "SurgicalToolBox::GenericError", "");
            EXPECT_EQ(plugged.count(), 1);
            EXPECT_THAT(box().getAllTools(), ElementsAre(drill)); // and it was not deleted
            EXPECT_EQ(drill->getName(), "Drill");
        });
}

TEST(SurgicalToolBox, ForgetsAnInstrumentThatDies)
{
    inOwnProcess(
        []
        {
            SurgicalTool* drill = plug("DrillTool", "Drill");
            box().setCurrentTool(drill);
            delete drill;
            EXPECT_THAT(box().getAllTools(), IsEmpty());
            EXPECT_EQ(box().getCurrentTool(), nullptr);
            EXPECT_EQ(toolNamed("Drill"), nullptr);
        });
}

TEST(SurgicalToolBox, AttachesOnlyInstrumentsThatItHas)
{
    inOwnProcess(
        []
        {
            SurgicalTool stranger;
            EXPECT_EQ(box().attachTool(stranger, "Body"), SurgicalToolBox::ToolNotManagedERR);
            EXPECT_EQ(stranger.getRigidBody(), nullptr);
        });
}

TEST(SurgicalToolBox, AttachesAnInstrumentToABody)
{
    inOwnProcess(
        []
        {
            chooseScriptedModule();
            auto* list = new ListOf({"Body"});
            box().setToolList(list);
            SurgicalTool* drill = plug("DrillTool", "Drill");
            InstrumentLog log(*drill);

            EXPECT_EQ(box().attachTool(*drill, ""), CaError::nullError); // as it is
            EXPECT_THAT(log.signalsSoFar(), IsEmpty());
            EXPECT_EQ(box().attachTool(*drill, "Body"), CaError::nullError);
            EXPECT_EQ(drill->getRigidBody(), list->getTool("Body"));
            EXPECT_THAT(log.signalsSoFar(), ElementsAre("plugged Body"));
            EXPECT_EQ(box().attachTool(*drill, "Body"), CaError::nullError);
            EXPECT_THAT(log.signalsSoFar(), ElementsAre("plugged Body"));
            delete list;
        });
}

TEST(SurgicalToolBox, ThrowsWhenABoundInstrumentIsDetached)
{
    inOwnProcess(
        []
        {
            chooseScriptedModule();
            ListOf list({"Body"});
            box().setToolList(&list);
            SurgicalTool* drill = plug("DrillTool", "Drill");
            box().attachTool(*drill, "Body");

            EXPECT_THROW(box().attachTool(*drill, ""), tbr::WatchdogException);

            EXPECT_EQ(drill->getRigidBody(), list.getTool("Body"));
            EXPECT_EQ(box().attachTool(*drill, ""), CaError::nullError); // the name was changed all the same
        });
}

TEST(SurgicalToolBox, DetachesAnInstrumentThatIsNotBound)
{
    inOwnProcess(
        []
        {
            chooseScriptedModule();
            ListOf list({});
            box().setToolList(&list);
            SurgicalTool* drill = plug("DrillTool", "Drill");
            box().attachTool(*drill, "Missing");
            InstrumentLog log(*drill);
            EXPECT_EQ(box().attachTool(*drill, ""), CaError::nullError);
            EXPECT_THAT(log.signalsSoFar(), ElementsAre("plugged"));
        });
}

TEST(SurgicalToolBox, TakesABodyFromTheInstrumentThatHadIt)
{
    inOwnProcess(
        []
        {
            chooseScriptedModule();
            SurgicalTool* drill = plug("DrillTool", "Drill");
            SurgicalTool* pointer = plug("PointerTool", "Pointer");
            box().attachTool(*drill, "Body");
            box().attachTool(*pointer, "Body");
            ListOf list({"Body"});
            box().setToolList(&list);
            EXPECT_EQ(drill->getRigidBody(), nullptr);
            EXPECT_EQ(pointer->getRigidBody(), list.getTool("Body"));
        });
}

TEST(SurgicalToolBox, KeepsABodyThatTheListDoesNotKnow)
{
    inOwnProcess(
        []
        {
            chooseScriptedModule();
            ListOf list({"Body"});
            ListOf other({"Another"});
            box().setToolList(&list);
            SurgicalTool* drill = plug("DrillTool", "Drill");
            box().attachTool(*drill, "Body");
            box().setToolList(&other);
            EXPECT_EQ(drill->getRigidBody(), list.getTool("Body"));
        });
}

TEST(SurgicalToolBox, SurvivesSlotsThatChangeItWhileItBinds)
{
    inOwnProcess(
        []
        {
            chooseScriptedModule();
            SurgicalTool* tools[] = {plug("DrillTool", "A"), plug("DrillTool", "B"), plug("DrillTool", "C")};
            const std::vector<SurgicalTool*> inOrder = box().getAllTools();
            QObject::connect(inOrder[0], &SurgicalTool::RigidBodyPluggedSIG,
                             [&]
                             {
                                 delete inOrder[1];
                                 plug("PointerTool", "D");
                             });
            ListOf list({});
            box().setToolList(&list);
            EXPECT_EQ(box().getAllTools().size(), std::size(tools));
        });
}

TEST(SurgicalToolBox, FindsInstrumentsByName)
{
    inOwnProcess(
        []
        {
            SurgicalTool* drill = plug("DrillTool", "Dr\xC3\xBCll");
            SurgicalTool* one = plug("PointerTool", "Twin");
            SurgicalTool* two = plug("PointerTool", "Twin");
            EXPECT_EQ(box().getTool(std::string("Dr\xC3\xBCll")), drill);
            EXPECT_EQ(box().getTool(QString::fromUtf8("Dr\xC3\xBCll")), drill);
            EXPECT_EQ(toolNamed("dr\xC3\xBCll"), nullptr);
            EXPECT_EQ(toolNamed(""), nullptr);
            EXPECT_EQ(toolNamed("Twin"), std::min(one, two, std::less<SurgicalTool*>()));
        });
}

TEST(SurgicalToolBox, FindsInstrumentsByType)
{
    inOwnProcess(
        []
        {
            plug("DrillTool", "Drill");
            plug("PointerTool", "Pointer");
            plug("DynamicReference", "Patient");
            const auto names = [](const char* type, bool exactType)
            { return namesOf(box().getAllToolsOfType(type, exactType)); };

            EXPECT_THAT(names("SurgicalTool", false), UnorderedElementsAre("Drill", "Pointer", "Patient"));
            EXPECT_THAT(names("SurgicalTool", true), IsEmpty());
            EXPECT_THAT(names("DrillTool", true), ElementsAre("Drill"));
            EXPECT_THAT(names("DrillTool", false), ElementsAre("Drill"));
            EXPECT_THAT(names("QObject", false), UnorderedElementsAre("Drill", "Pointer", "Patient"));
            EXPECT_THAT(names("", false), IsEmpty());
            EXPECT_EQ(box().getDynamicReference("Patient"), toolNamed("Patient"));
            EXPECT_EQ(box().getDynamicReference("Drill"), nullptr);
            EXPECT_EQ(box().getDynamicReference("Nobody"), nullptr);
        });
}

TEST(SurgicalToolBox, HasACurrentInstrument)
{
    inOwnProcess(
        []
        {
            SurgicalTool* drill = plug("DrillTool", "Drill");
            SurgicalTool* pointer = plug("PointerTool", "Pointer");
            SurgicalTool stranger;
            QSignalSpy changes(&box(), SIGNAL(currentToolChangedSig(SurgicalTool*, SurgicalTool*)));
            const LogCapture log;
            const auto lines = [&] { return log.count("INFO", "CurrentToolSet \n"); };

            EXPECT_FALSE(box().setCurrentTool(nullptr)); // as it is
            EXPECT_EQ(lines(), 0);
            EXPECT_TRUE(box().setCurrentTool(drill));
            EXPECT_EQ(lines(), 1);
            EXPECT_FALSE(box().setCurrentTool(drill));
            EXPECT_EQ(lines(), 1);
            EXPECT_TRUE(box().setCurrentTool(pointer));
            EXPECT_EQ(box().getCurrentTool(), pointer);
            EXPECT_EQ(lines(), 2);
            EXPECT_FALSE(box().setCurrentTool(nullptr));
            EXPECT_FALSE(box().setCurrentTool(&stranger));
            EXPECT_EQ(lines(), 4);
            EXPECT_EQ(log.entries().size(), 4U);
            EXPECT_EQ(box().getCurrentTool(), pointer);

            ASSERT_EQ(changes.count(), 2);
            EXPECT_EQ(changes.at(0).at(0).value<SurgicalTool*>(), drill);
            EXPECT_EQ(changes.at(0).at(1).value<SurgicalTool*>(), nullptr);
            EXPECT_EQ(changes.at(1).at(0).value<SurgicalTool*>(), pointer);
            EXPECT_EQ(changes.at(1).at(1).value<SurgicalTool*>(), drill);
        });
}

TEST(SurgicalToolBox, RefreshesItsListWhenTheApplicationStartsATimer)
{
    inOwnProcess(
        []
        {
            chooseScriptedModule();
            ListOf list({"Body"});
            SurgicalTool* drill = plug("DrillTool", "Drill");
            box().attachTool(*drill, "Body");
            box().setToolList(&list);
            list.server().nextPoses = {ScriptedToolServer::pose(1, "Body", Matrix3x3(), Vector3d(1, 2, 3)),
                                       ScriptedToolServer::pose(0)};
            QEventLoop loop;
            TransMatrix3d pose;
            QObject::connect(drill, &SurgicalTool::ToolMovedSIG,
                             [&](TransMatrix3d newLocation, bool)
                             {
                                 pose = newLocation;
                                 loop.quit();
                             });

            updateThread().timerId = updateThread().startTimer(1);
            loop.exec();

            EXPECT_EQ(pose.getTranslation(), Vector3d(1, 2, 3));
        });
}

TEST(SurgicalToolBox, LetsTheProcessEndCleanly)
{
    for (const char* application : {"none", "gone", "left"})
    {
        QProcess program;
        program.start(QCoreApplication::applicationDirPath() + "/endWithToolBox", {application});
        ASSERT_TRUE(program.waitForFinished(-1));
        EXPECT_EQ(program.exitStatus(), QProcess::NormalExit) << application;
        EXPECT_EQ(program.exitCode(), 0) << application;
        EXPECT_EQ(program.readAllStandardOutput().replace("\r", "").toStdString(), "1 instrument, thread runs\n")
            << application;
    }
}
