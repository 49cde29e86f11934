#include <TSClientInterface/CaInitializableTool.h>
#include <TSClientInterface/CaToolList.h>
#include <support/LogCapture.h>
#include <support/RigidMotions.h>
#include <support/ScriptedToolServer.h>
#include <tbrCore/DLLManager.h>
#include <tbrCore/Settings.h>

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QSignalSpy>

#include <limits>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char* const MODULE_PATH = "Tobrel/Navigation/CaToolList/ClientInterfaceModulePath";
const char* const MODULE = "Tobrel/Navigation/CaToolList/ClientInterfaceModule";

using Tools = std::vector<ScriptedToolServer::ToolInfo>;

// Geometries of different signatures.
const std::vector<Vector3d> TRIANGLE = {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}};
const std::vector<Vector3d> SQUARE = {{1, 1, 1}, {2, 2, 2}, {3, 3, 3}, {4, 4, 4}};
const std::vector<Vector3d> TIP = {{0, 0, 100}};

std::string pluginFolder()
{
    return QCoreApplication::applicationDirPath().toStdString() + "/plugins";
}

void chooseModule(const std::string& folder, const std::string& module)
{
    tbr::Settings::getInstance().set(std::string(MODULE_PATH), folder);
    tbr::Settings::getInstance().set(std::string(MODULE), module);
}

/// A list that shows what a derived list sees.
class OpenList : public CaToolList
{
public:
    using CaToolList::CaToolList;
    using CaToolList::findTool;
    using CaToolList::getNumberOfUnpluggeds;
    using CaToolList::getToolIndex;
    using CaToolList::getUnplugged;
    using CaToolList::toolChange;
};

/// A list whose tools a test makes.
class MakingList : public OpenList
{
public:
    std::function<CaTool*(const char* name, unsigned char type, int port, int imags, int reals)> make;

protected:
    CaTool* createTool(const char* name, unsigned char type, int port, int imags, int reals) override
    {
        return make(name, type, port, imags, reals);
    }
};

template <class List>
ScriptedToolServer& serverOf(const List& list)
{
    return *static_cast<ScriptedToolServer*>(list.getToolServer());
}

template <class List>
void deliver(List& list, Tools tools, int endStatus = 0)
{
    ScriptedToolServer& server = serverOf(list);
    server.numberOfTools = {static_cast<int>(tools.size())};
    tools.push_back(ScriptedToolServer::tool(endStatus));
    server.toolInfos = tools;
}

/// Lets the list read this tool set.
template <class List>
int read(List& list, const Tools& tools, int endStatus = 0)
{
    deliver(list, tools, endStatus);
    return list.toolChange();
}

std::vector<std::string> names(const CaToolList& list)
{
    std::vector<std::string> all;
    for (int i = 0; i < list.getNumberOfTools(); ++i)
        all.push_back(list.getTool(i)->getName());
    return all;
}

struct CaToolListTest : testing::Test
{
    CaToolListTest() { serverOf(list).onCall = {}; }

    // The settings come first: the list reads them when it is made.
    struct ScriptedModule
    {
        ScriptedModule() { chooseModule(pluginFolder(), "ScriptedClientInterface"); }
    } module;
    OpenList list;
    ScriptedToolServer& server = serverOf(list);
};

} // namespace

TEST(CaToolList, LogsWhenItsModuleIsNotSet)
{
    tbr::Settings::getInstance().load(std::string("/dev/null"));
    const LogCapture log;
    const CaToolList list;
    EXPECT_EQ(list.getToolServer(), nullptr);
    EXPECT_EQ(log.count("ERROR", "Error opening DLL!\n"), 1);
    EXPECT_TRUE(log.contains("ERROR", "DLL Error: "));
    EXPECT_TRUE(log.contains("ERROR", "[NOT YET DEFINED]/[NOT YET DEFINED]" + DLLManager::GetDLLExtension()));
    EXPECT_EQ(log.entries().size(), 2U);
}

TEST(CaToolList, AnswersEveryRequestWithoutAModule)
{
    const LogCapture log;
    chooseModule("/nowhere", "Nothing");
    OpenList list;
    OpenList other;
    CaRigidBody body("Reference", 0, 0);
    CaTool* nearest = reinterpret_cast<CaTool*>(&body);
    QSignalSpy changes(&list, SIGNAL(ToolSetChangedSIG()));

    EXPECT_EQ(list.getToolServer(), nullptr);
    EXPECT_EQ(list.connect(nullptr), -1);
    ScriptedToolServer scripted;
    EXPECT_EQ(list.connect(&scripted), -1);
    EXPECT_EQ(list.connect("localhost", 2222), -1);
    EXPECT_EQ(list.disconnect(), -1);
    EXPECT_FALSE(list.isConnected());
    EXPECT_EQ(list.getStatus(), -1);
    EXPECT_EQ(list.getNumberOfTools(), 0);
    EXPECT_EQ(list.setReference(&body), -1);
    EXPECT_EQ(list.getReference(), nullptr);
    EXPECT_EQ(list.updateAllImags(), -1);
    EXPECT_EQ(list.updateAllReals(), -1);
    EXPECT_EQ(list.updateAllTransforms(true), -1);
    EXPECT_EQ(list.updateAllTransformsAndImags(), -1);
    EXPECT_EQ(list.setNearestTypes(nullptr, 0), -1);
    EXPECT_EQ(list.getNearestTool(nearest), -1);
    EXPECT_EQ(nearest, reinterpret_cast<CaTool*>(&body)); // nobody was asked
    EXPECT_EQ(list.toolChange(), -1);
    EXPECT_EQ(list.getTool(0), nullptr);
    EXPECT_EQ(changes.count(), 0);
}

TEST_F(CaToolListTest, LoadsTheModuleOfTheSettings)
{
    ASSERT_NE(list.getToolServer(), nullptr);
    EXPECT_STREQ(list.getToolServer()->getHostName(), "scripted");
}

TEST_F(CaToolListTest, TakesItsTextAsObjectName)
{
    const LogCapture log;
    const CaToolList named("Second list");
    EXPECT_EQ(named.objectName(), QString("Second list"));
    ASSERT_NE(named.getToolServer(), nullptr); // the module still is the one of the settings
    EXPECT_THAT(log.entries(), IsEmpty());
}

TEST_F(CaToolListTest, MakesServersOfAModuleForOthers)
{
    std::string file = pluginFolder() + "/ScriptedClientInterface" + DLLManager::GetDLLExtension();
    const std::unique_ptr<CaToolServer> other(list.createToolServerInterface(file));
    ASSERT_NE(other, nullptr);
    EXPECT_NE(other.get(), list.getToolServer());

    const LogCapture log;
    std::string nothing = "/nowhere/Nothing.so";
    EXPECT_EQ(list.createToolServerInterface(nothing), nullptr);
    EXPECT_EQ(log.count("ERROR", "Error opening DLL!\n"), 1);
    EXPECT_TRUE(log.contains("ERROR", "DLL Error: The library \"/nowhere/Nothing.so\""));
    EXPECT_NE(list.getToolServer(), nullptr);
}

TEST_F(CaToolListTest, HasATrackerThatStandsForTheCamera)
{
    CaRigidBody* tracker = CaToolList::getTracker();
    ASSERT_NE(tracker, nullptr);
    EXPECT_STREQ(tracker->getName(), "CAM");
    EXPECT_EQ(tracker->getNumberOfImags(), 0);
    EXPECT_EQ(tracker->getNumberOfReals(), 0);
    const CaToolList another;
    EXPECT_EQ(CaToolList::getTracker(), tracker);
}

TEST_F(CaToolListTest, HasOneDefaultListForTheProcess)
{
    CaToolList* theList = CaToolList::getTheToolList();
    ASSERT_NE(theList, nullptr);
    EXPECT_NE(theList, &list);
    EXPECT_EQ(CaToolList::getTheToolList(), theList);
}

TEST_F(CaToolListTest, ReadsTheToolSetWhenItIsConnected)
{
    deliver(list, {ScriptedToolServer::tool("Drill", TRIANGLE, TIP, 3, 12)});
    server.connecting = {0};
    QSignalSpy changes(&list, SIGNAL(ToolSetChangedSIG()));

    EXPECT_EQ(list.connect("somewhere", 4711), 0);

    EXPECT_THAT(server.calls(),
                ElementsAre("connect somewhere 4711", "getNumberOfTools", "getToolInfo", "getToolInfo"));
    EXPECT_EQ(changes.count(), 1);
    EXPECT_THAT(names(list), ElementsAre("Drill"));

    ScriptedToolServer other;
    EXPECT_EQ(list.connect(&other), 0);
    EXPECT_EQ(changes.count(), 2);
    EXPECT_EQ(server.count("connect other"), 1);
}

TEST_F(CaToolListTest, ReadsNoToolSetWhenItCannotConnect)
{
    server.connecting = {-3, 1};
    QSignalSpy changes(&list, SIGNAL(ToolSetChangedSIG()));
    ScriptedToolServer other;

    EXPECT_EQ(list.connect("somewhere", 4711), -3);
    EXPECT_EQ(list.connect(&other), 1); // only 0 is success
    EXPECT_EQ(list.connect(nullptr), -1);

    EXPECT_THAT(server.calls(), ElementsAre("connect somewhere 4711", "connect other"));
    EXPECT_EQ(changes.count(), 0);
}

TEST_F(CaToolListTest, PassesOnDisconnectionAndConnectionState)
{
    server.disconnecting = {-5};
    server.connected = true;
    EXPECT_EQ(list.disconnect(), -5);
    EXPECT_TRUE(list.isConnected());
    server.connected = false;
    EXPECT_FALSE(list.isConnected());
}

TEST_F(CaToolListTest, ReadsTheToolSetWhenTheStatusSaysSo)
{
    deliver(list, {});
    server.status = {0, -6, -2};
    QSignalSpy changes(&list, SIGNAL(ToolSetChangedSIG()));

    EXPECT_EQ(list.getStatus(), 0);
    EXPECT_EQ(changes.count(), 0);
    EXPECT_EQ(list.getStatus(), -6);
    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(list.getStatus(), -2);
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(CaToolListTest, GivesNewToolsWhatTheServerDelivers)
{
    EXPECT_EQ(read(list, {ScriptedToolServer::tool("Drill", TRIANGLE, TIP, 3, 12)}), 0);

    ASSERT_EQ(list.getNumberOfTools(), 1);
    CaTool* tool = list.getTool(0);
    EXPECT_STREQ(tool->getName(), "Drill");
    EXPECT_EQ(tool->objectName(), QString("Drill"));
    EXPECT_EQ(tool->getType(), 12);
    EXPECT_EQ(tool->getPortNumber(), 3);
    EXPECT_EQ(tool->getToolServer(), list.getToolServer());
    EXPECT_EQ(tool->getNumberOfReals(), 3);
    EXPECT_EQ(tool->getRigReal(2), Vector3d(3, 0, 0));
    EXPECT_EQ(tool->getRigImag(0), Vector3d(0, 0, 100));
    EXPECT_EQ(tool->getSignature(), 6.0);
    EXPECT_EQ(qobject_cast<CaInitializableTool*>(tool), nullptr);
}

TEST_F(CaToolListTest, PassesOverToolsThatCannotBeRead)
{
    EXPECT_EQ(read(list,
                   {ScriptedToolServer::tool(-16), ScriptedToolServer::tool("Drill", TRIANGLE, TIP),
                    ScriptedToolServer::tool(-15), ScriptedToolServer::tool("Pointer", SQUARE, TIP)},
                   -2),
              -2);
    EXPECT_THAT(names(list), ElementsAre("Drill", "Pointer"));
}

TEST_F(CaToolListTest, EndsTheReadingWithAnyOtherStatus)
{
    for (const int status : {0, 2, 3, -1, -2, -6, -10, -14, -17})
    {
        EXPECT_EQ(read(list, {ScriptedToolServer::tool("Drill", TRIANGLE, TIP), ScriptedToolServer::tool(status),
                              ScriptedToolServer::tool("Pointer", SQUARE, TIP)}),
                  status);
        EXPECT_THAT(names(list), ElementsAre("Drill")) << status;
    }
}

TEST_F(CaToolListTest, UnplugsAllToolsWhenTheirNumberCannotBeRead)
{
    read(list, {ScriptedToolServer::tool("Drill", TRIANGLE, TIP)});
    QSignalSpy changes(&list, SIGNAL(ToolSetChangedSIG()));
    server.forgetCalls();
    server.numberOfTools = {-5};

    EXPECT_EQ(list.toolChange(), -5);

    EXPECT_THAT(server.calls(), ElementsAre("getNumberOfTools"));
    EXPECT_EQ(list.getNumberOfTools(), 0);
    EXPECT_EQ(list.getNumberOfUnpluggeds(), 1);
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(CaToolListTest, AsksForToolsEvenIfTheirNumberIsZero)
{
    server.numberOfTools = {0};
    server.toolInfos = {ScriptedToolServer::tool("Drill", TRIANGLE, TIP), ScriptedToolServer::tool(0)};
    list.toolChange();
    EXPECT_THAT(names(list), ElementsAre("Drill"));
}

TEST_F(CaToolListTest, AnnouncesAnEmptySet)
{
    QSignalSpy changes(&list, SIGNAL(ToolSetChangedSIG()));
    read(list, {});
    EXPECT_EQ(changes.count(), 1);
}

TEST_F(CaToolListTest, RecognisesAToolByItsGeometry)
{
    read(list, {ScriptedToolServer::tool("Drill", TRIANGLE, TIP, 3, 12)});
    CaTool* drill = list.getTool(0);
    QSignalSpy unplugged(drill, SIGNAL(ToolUnpluggedSIG()));

    read(list, {ScriptedToolServer::tool("Other", SQUARE, TIP),
                ScriptedToolServer::tool("Renamed", {{6, 0, 0}, {}, {}}, {{7, 7, 7}}, 9, 14)});

    EXPECT_THAT(names(list), ElementsAre("Other", "Renamed"));
    EXPECT_EQ(list.getTool(1), drill);
    EXPECT_EQ(drill->objectName(), QString("Renamed"));
    EXPECT_EQ(drill->getRigReal(0), Vector3d(6, 0, 0)); // the same signature
    EXPECT_EQ(drill->getRigImag(0), Vector3d(7, 7, 7));
    EXPECT_EQ(drill->getPortNumber(), 3); // a current tool keeps its port and type
    EXPECT_EQ(drill->getType(), 12);
    EXPECT_EQ(unplugged.count(), 0);
    EXPECT_EQ(list.getNumberOfUnpluggeds(), 0);
}

TEST_F(CaToolListTest, DistinguishesToolsByTheirNumbersOfPoints)
{
    read(list, {ScriptedToolServer::tool("Drill", TRIANGLE, TIP)});
    const CaTool* drill = list.getTool(0);
    read(list, {ScriptedToolServer::tool("Drill", TRIANGLE, {})});
    EXPECT_NE(list.getTool(0), drill);
    EXPECT_EQ(list.getUnplugged(0), drill);
}

TEST_F(CaToolListTest, RevivesAToolThatComesBackUnderAnotherName)
{
    read(list, {ScriptedToolServer::tool("Drill", TRIANGLE, TIP, 3)});
    CaTool* drill = list.getTool(0);
    QSignalSpy unplugged(drill, SIGNAL(ToolUnpluggedSIG()));

    read(list, {});
    EXPECT_EQ(list.getNumberOfTools(), 0);
    ASSERT_EQ(list.getNumberOfUnpluggeds(), 1);
    EXPECT_EQ(list.getUnplugged(0), drill);
    EXPECT_FALSE(drill->isPlugged());
    EXPECT_EQ(unplugged.count(), 1);

    read(list, {ScriptedToolServer::tool("Back", TRIANGLE, {{5, 5, 5}}, 8)});
    EXPECT_EQ(list.getTool("Back"), drill);
    EXPECT_EQ(drill->getPortNumber(), 8);
    EXPECT_EQ(drill->getRigImag(0), Vector3d(5, 5, 5));
    EXPECT_EQ(list.getNumberOfUnpluggeds(), 0);
    EXPECT_EQ(unplugged.count(), 2); // plug() says so too
}

TEST_F(CaToolListTest, UnplugsMissingToolsInTheirOrder)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, {}), ScriptedToolServer::tool("B", SQUARE, {}),
                ScriptedToolServer::tool("C", SQUARE, TIP)});
    std::vector<std::string> order;
    for (int i = 0; i < 3; ++i)
        QObject::connect(list.getTool(i), &CaTool::ToolUnpluggedSIG,
                         [&, tool = list.getTool(i)] { order.push_back(tool->getName()); });
    bool signalCameLast = false;
    QObject::connect(&list, &CaToolList::ToolSetChangedSIG,
                     [&] { signalCameLast = order.size() == 2 && list.getNumberOfTools() == 1; });

    read(list, {ScriptedToolServer::tool("B", SQUARE, {})});

    EXPECT_THAT(order, ElementsAre("A", "C"));
    EXPECT_STREQ(list.getUnplugged(0)->getName(), "A");
    EXPECT_STREQ(list.getUnplugged(1)->getName(), "C");
    EXPECT_TRUE(signalCameLast);
}

TEST_F(CaToolListTest, ListsOneObjectTwiceForTwoToolsOfOneGeometry)
{
    const Tools twins = {ScriptedToolServer::tool("Left", TRIANGLE, TIP, 1),
                         ScriptedToolServer::tool("Right", TRIANGLE, TIP, 2)};
    read(list, twins);
    CaTool* left = list.getTool(0);
    CaTool* right = list.getTool(1);
    EXPECT_NE(left, right); // there was no current tool to match

    read(list, twins);
    EXPECT_EQ(list.getTool(0), left);
    EXPECT_EQ(list.getTool(1), left);
    EXPECT_THAT(names(list), ElementsAre("Right", "Right")); // the last delivered name
    ASSERT_EQ(list.getNumberOfUnpluggeds(), 1);
    EXPECT_EQ(list.getUnplugged(0), right);

    read(list, {ScriptedToolServer::tool("Left", TRIANGLE, TIP, 1)}); // its second place is no other tool
    EXPECT_TRUE(left->isPlugged());
    EXPECT_EQ(list.getNumberOfUnpluggeds(), 1);
}

TEST_F(CaToolListTest, TreatsAnObjectThatStandsTwiceInTheListAsOne)
{
    const Tools twins = {ScriptedToolServer::tool("Left", TRIANGLE, TIP, 1),
                         ScriptedToolServer::tool("Right", TRIANGLE, TIP, 2)};
    read(list, twins);
    read(list, twins);
    CaTool* left = list.getTool(0);
    QSignalSpy unplugged(left, SIGNAL(ToolUnpluggedSIG()));
    QSignalSpy moved(left, SIGNAL(TransformationUpdatedSIG(TransMatrix3d, bool)));

    server.nextPoses = {ScriptedToolServer::pose(1, "Right"), ScriptedToolServer::pose(0)};
    EXPECT_EQ(list.updateAllTransforms(true), 0);
    EXPECT_TRUE(left->isTransformValid()); // its second place does not count as missing
    EXPECT_EQ(moved.count(), 1);

    read(list, {});
    EXPECT_EQ(unplugged.count(), 1);
    EXPECT_EQ(list.getNumberOfUnpluggeds(), 2); // left and right, each once
}

TEST_F(CaToolListTest, RevivesAnUnpluggedToolForOneDeliveryOnly)
{
    read(list, {ScriptedToolServer::tool("Drill", TRIANGLE, TIP, 3)});
    const CaTool* drill = list.getTool(0);
    read(list, {});
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP, 1), ScriptedToolServer::tool("B", TRIANGLE, TIP, 2)});
    EXPECT_EQ(list.getTool(0), drill);
    EXPECT_NE(list.getTool(1), drill);
}

TEST_F(CaToolListTest, KeepsApplicationObjectsHungOnATool)
{
    class Data : public CaClientData
    {
    };
    read(list, {ScriptedToolServer::tool("Drill", TRIANGLE, TIP)});
    auto* data = list.getTool(0)->setClientData(new Data);
    read(list, {});
    read(list, {ScriptedToolServer::tool("Again", TRIANGLE, TIP)});
    EXPECT_EQ(list.getTool(0)->getClientData(), data);
}

TEST(CaToolList, DescribesInitializableToolsOfADerivedList)
{
    chooseModule(pluginFolder(), "ScriptedClientInterface");
    MakingList list;
    std::string asked;
    list.make = [&](const char* name, unsigned char type, int port, int imags, int reals)
    {
        std::ostringstream call;
        call << name << " " << static_cast<int>(type) << " " << port << " " << imags << " " << reals;
        asked = call.str();
        return new CaInitializableTool(list.getToolServer(), name, type, imags, reals);
    };
    ScriptedToolServer::ToolInfo reply = ScriptedToolServer::tool("Drill", TRIANGLE, TIP, 3, 12);
    reply.info.identifier = 4711;
    reply.info.ownerName = "Ward";
    reply.info.calibrationStartIndex = 2;
    reply.info.calibrationDate = 20240102;
    reply.info.numberOfPlugs = 5;

    read(list, {reply});

    EXPECT_EQ(asked, "Drill 12 3 1 3");
    auto* tool = qobject_cast<CaInitializableTool*>(list.getTool(0));
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(tool->getIdentifier(), 4711);
    EXPECT_STREQ(tool->getOwnerName(), "Ward");
    EXPECT_EQ(tool->getCalibrationStartIndex(), 2);
    EXPECT_EQ(tool->getCalibrationDate(), 20240102);
    EXPECT_EQ(tool->getNumberOfPlugs(), 5);
    EXPECT_EQ(tool->getPortNumber(), 3);
    EXPECT_EQ(tool->getRigReal(2), Vector3d(3, 0, 0));
}

TEST(CaToolList, LeavesOutToolsThatADerivedListDoesNotMake)
{
    chooseModule(pluginFolder(), "ScriptedClientInterface");
    MakingList list;
    list.make = [&](const char* name, unsigned char type, int, int imags, int reals) -> CaTool*
    { return type == 1 ? new CaTool(list.getToolServer(), name, type, imags, reals) : nullptr; };
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP, 1, 0), ScriptedToolServer::tool("B", SQUARE, TIP, 2, 1)});
    EXPECT_THAT(names(list), ElementsAre("B"));
}

TEST(CaToolList, FitsPointsToToolsOfOtherSizesThanAsked)
{
    chooseModule(pluginFolder(), "ScriptedClientInterface");
    MakingList list;
    list.make = [&](const char* name, unsigned char type, int, int, int)
    { return new CaTool(list.getToolServer(), name, type, 9, 40); };

    read(list, {ScriptedToolServer::tool("Drill", TRIANGLE, TIP)});

    CaTool* tool = list.getTool(0);
    EXPECT_EQ(tool->getRigReal(2), Vector3d(3, 0, 0));
    EXPECT_TRUE(tool->getRigReal(3).isUndefined());
    EXPECT_TRUE(tool->getRigImag(8).isUndefined());

    serverOf(list).nextRealPoints = {
        ScriptedToolServer::points(1, "Drill", std::vector<Vector3d>(32, Vector3d(1, 1, 1))),
        ScriptedToolServer::points(0)};
    EXPECT_EQ(list.updateAllReals(), 0);
    EXPECT_EQ(tool->getReal(31), Vector3d(1, 1, 1));
    EXPECT_TRUE(tool->getReal(39).isUndefined());
}

TEST(CaToolList, OwnsAToolOnceThatADerivedListReturnsTwice)
{
    chooseModule(pluginFolder(), "ScriptedClientInterface");
    MakingList list;
    CaTool* one = nullptr;
    list.make = [&](const char* name, unsigned char type, int, int imags, int reals)
    {
        if (!one)
            one = new CaTool(list.getToolServer(), name, type, imags, reals);
        return one;
    };
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP), ScriptedToolServer::tool("B", SQUARE, TIP)});
    EXPECT_EQ(list.getNumberOfTools(), 2);
    read(list, {});
    EXPECT_EQ(list.getNumberOfUnpluggeds(), 1);
    read(list, {ScriptedToolServer::tool("C", SQUARE, {})}); // made from an unplugged one
    EXPECT_EQ(list.getNumberOfUnpluggeds(), 0);
}

TEST_F(CaToolListTest, CutsNumbersOfPointsThatHaveNoRoom)
{
    ScriptedToolServer::ToolInfo reply = ScriptedToolServer::tool("Drill", TRIANGLE, TIP);
    for (const int count : {std::numeric_limits<int>::max(), 33, -1, std::numeric_limits<int>::min()})
    {
        const LogCapture log;
        reply.info.numberOfReals = count;
        reply.info.numberOfImags = count;
        read(list, {reply});
        EXPECT_EQ(list.getTool(0)->getNumberOfReals(), count > 0 ? 32 : 0);
        EXPECT_EQ(list.getTool(0)->getNumberOfImags(), count > 0 ? 8 : 0);
        EXPECT_TRUE(log.contains("ERROR", "Tool Drill was delivered with " + std::to_string(count) + " real markers"));
        EXPECT_TRUE(
            log.contains("ERROR", "Tool Drill was delivered with " + std::to_string(count) + " imaginary points"));
    }
}

TEST_F(CaToolListTest, KeepsTheFirst32Tools)
{
    const LogCapture log;
    Tools tools;
    for (int i = 0; i < 40; ++i)
        tools.push_back(ScriptedToolServer::tool("Tool " + std::to_string(i), {{1.0 * i, 0, 0}}, {}, i));

    EXPECT_EQ(read(list, tools), 0);

    EXPECT_EQ(list.getNumberOfTools(), 32);
    EXPECT_STREQ(list.getTool(31)->getName(), "Tool 31");
    EXPECT_EQ(list.getTool("Tool 32"), nullptr);
    EXPECT_EQ(list.getTool(32), nullptr);
    EXPECT_EQ(log.count("ERROR", "8 tools beyond 32 were left out of the tool list.\n"), 1);
    EXPECT_EQ(server.count("getToolInfo"), 41); // the sequence is brought to its end
}

TEST_F(CaToolListTest, LeavesAnEnumerationWithoutEnd)
{
    for (const int status : {1, -16, -15})
    {
        const LogCapture log;
        server.forgetCalls();
        server.numberOfTools = {1};
        ScriptedToolServer::ToolInfo same = ScriptedToolServer::tool("Drill", TRIANGLE, TIP);
        same.status = status;
        server.toolInfos = {same};
        EXPECT_EQ(list.toolChange(), status);
        EXPECT_EQ(server.count("getToolInfo"), 1024);
        EXPECT_EQ(list.getNumberOfTools(), status == 1 ? 32 : 0);
        EXPECT_EQ(log.count("ERROR", "The tool server's sequence of tools was left after 1024 fetches.\n"), 1);
    }
}

TEST_F(CaToolListTest, SurvivesNamesOfAnyLength)
{
    const LogCapture log;
    const std::string longName(1000000, 'x');
    const std::string withNul("A\0B", 3);
    read(list, {ScriptedToolServer::tool(longName, TRIANGLE, TIP), ScriptedToolServer::tool(withNul, SQUARE, TIP),
                ScriptedToolServer::tool("", SQUARE, {})});
    EXPECT_EQ(list.getTool(longName), list.getTool(0));
    EXPECT_STREQ(list.getTool(1)->getName(), "A"); // a name ends at its NUL
    EXPECT_EQ(list.getTool(""), list.getTool(2));

    server.nearest = {ScriptedToolServer::points(0, longName + "y", {})};
    CaTool* nearest = nullptr;
    EXPECT_EQ(list.getNearestTool(nearest), -11);
}

TEST_F(CaToolListTest, NeverMatchesAGeometryThatIsNotANumber)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    read(list, {ScriptedToolServer::tool("Drill", {{nan, 0, 0}}, {})});
    const CaTool* drill = list.getTool(0);
    read(list, {ScriptedToolServer::tool("Drill", {{nan, 0, 0}}, {})});
    EXPECT_NE(list.getTool(0), drill);
    EXPECT_EQ(list.getUnplugged(0), drill);
}

TEST_F(CaToolListTest, FindsToolsByNameAndType)
{
    read(list, {ScriptedToolServer::tool("Drill", TRIANGLE, TIP, 1, 12),
                ScriptedToolServer::tool("drill", SQUARE, TIP, 2, 5), ScriptedToolServer::tool("C", SQUARE, {}, 3, 5)});

    EXPECT_EQ(list.getTool("Drill"), list.getTool(0));
    EXPECT_EQ(list.getTool("drill"), list.getTool(1));
    EXPECT_EQ(list.getTool(std::string("C")), list.getTool(2));
    EXPECT_EQ(list.getTool("Dril"), nullptr);
    EXPECT_EQ(list.getTool("Drill "), nullptr);
    EXPECT_EQ(list.getTool(static_cast<const char*>(nullptr)), nullptr);
    EXPECT_EQ(list.getToolByType(5), list.getTool(1));
    EXPECT_EQ(list.getToolByType(7), nullptr);
    EXPECT_EQ(list.getToolIndex("C"), 2);
    EXPECT_EQ(list.getToolIndex("D"), -1);
    EXPECT_EQ(list.getTool(-1), nullptr);
    EXPECT_EQ(list.getTool(3), nullptr);
    EXPECT_EQ(list.getUnplugged(0), nullptr);
}

TEST_F(CaToolListTest, FindsTheFirstToolOfAGeometry)
{
    CaTool a(nullptr, "A", 0, 0, 1), b(nullptr, "B", 0, 0, 1), c(nullptr, "C", 0, 0, 2);
    CaTool* tools[] = {&c, &a, &b};
    EXPECT_EQ(OpenList::findTool(tools, 3, b), 1);
    EXPECT_EQ(OpenList::findTool(tools, 1, b), -1);
    EXPECT_EQ(OpenList::findTool(std::vector<CaTool*>{&c, &b}, a), 1);
    EXPECT_EQ(OpenList::findTool(std::vector<CaTool*>{}, a), -1);
}

TEST_F(CaToolListTest, UpdatesAllImaginaryPoints)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP), ScriptedToolServer::tool("B", SQUARE, TIP),
                ScriptedToolServer::tool("C", SQUARE, {})});
    const Vector3d old(1, 1, 1);
    list.getTool("B")->setImags(&old);
    server.forgetCalls();
    server.nextImagPoints = {ScriptedToolServer::points(1, "C", {}), ScriptedToolServer::points(-10, "B", {}),
                             ScriptedToolServer::points(1, "Nobody", {{9, 9, 9}}),
                             ScriptedToolServer::points(1, "A", {{1, 2, 3}}), ScriptedToolServer::points(0)};
    QSignalSpy updated(list.getTool("A"), SIGNAL(ImagsUpdatedSIG(bool)));

    EXPECT_EQ(list.updateAllImags(), 0);

    EXPECT_THAT(server.calls(),
                ElementsAre("startImags", "nextImags", "nextImags", "nextImags", "nextImags", "nextImags"));
    EXPECT_TRUE(list.getTool("A")->isImagsValid());
    EXPECT_EQ(list.getTool("A")->getImag(0), Vector3d(1, 2, 3));
    EXPECT_FALSE(list.getTool("B")->isImagsValid());
    EXPECT_TRUE(list.getTool("C")->isImagsValid());
    EXPECT_EQ(updated.count(), 0);
}

TEST_F(CaToolListTest, UpdatesAllRealMarkers)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP), ScriptedToolServer::tool("B", SQUARE, TIP)});
    const Vector3d old[4];
    list.getTool("B")->setReals(old);
    server.forgetCalls();
    server.nextRealPoints = {ScriptedToolServer::points(1, "A", {{1, 2, 3}, {4, 5, 6}}),
                             ScriptedToolServer::points(-2)};

    EXPECT_EQ(list.updateAllReals(), -2);

    EXPECT_THAT(server.calls(), ElementsAre("startReals", "nextReals", "nextReals"));
    EXPECT_TRUE(list.getTool("A")->isRealsValid());
    EXPECT_EQ(list.getTool("A")->getReal(1), Vector3d(4, 5, 6));
    EXPECT_TRUE(list.getTool("A")->getReal(2).isUndefined()); // was not delivered
    EXPECT_FALSE(list.getTool("B")->isRealsValid());
}

TEST_F(CaToolListTest, IgnoresAClaimOfMorePointsThanThereIsRoom)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP)});
    for (const int count : {std::numeric_limits<int>::max(), -5})
    {
        ScriptedToolServer::Points reply = ScriptedToolServer::points(1, "A", {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
        reply.count = count;
        server.nextRealPoints = {reply, ScriptedToolServer::points(0)};
        server.nextImagPoints = {reply, ScriptedToolServer::points(0)};
        EXPECT_EQ(list.updateAllReals(), 0);
        EXPECT_EQ(list.updateAllImags(), 0);
        EXPECT_EQ(list.getTool(0)->getReal(0).isUndefined(), count < 0);
        EXPECT_EQ(list.getTool(0)->getImag(0).isUndefined(), count < 0);
    }
}

TEST_F(CaToolListTest, AnnouncesAllPosesInListOrderWhenAsked)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP), ScriptedToolServer::tool("B", SQUARE, TIP)});
    list.getTool("A")->setTransform(Matrix3x3(), Vector3d(9, 9, 9), false);
    std::vector<std::string> moves;
    for (const char* name : {"A", "B"})
        QObject::connect(list.getTool(name), &CaTool::TransformationUpdatedSIG,
                         [&moves, name](TransMatrix3d, bool valid) { moves.push_back(name + std::to_string(valid)); });
    server.forgetCalls();
    server.nextPoses = {ScriptedToolServer::pose(1, "B", Matrix3x3(), Vector3d(1, 2, 3)),
                        ScriptedToolServer::pose(-10, "A"), ScriptedToolServer::pose(0)};

    EXPECT_EQ(list.updateAllTransforms(true), 0);

    EXPECT_THAT(server.calls(),
                ElementsAre("startTransforms notify", "nextTransform", "nextTransform", "nextTransform"));
    EXPECT_THAT(moves, ElementsAre("A0", "B1"));
    EXPECT_FALSE(list.getTool("A")->isTransformValid());
    EXPECT_EQ(list.getTool("B")->getTranslation(), Vector3d(1, 2, 3));
}

TEST_F(CaToolListTest, HandsPosesToTheFirstToolOfTheirNameInWhateverOrderTheyCome)
{
    const auto pose = [](const char* name, double x)
    { return ScriptedToolServer::pose(1, name, Matrix3x3(), Vector3d(x, 0, 0)); };
    const auto updated = [&](std::vector<ScriptedToolServer::Pose> poses)
    {
        poses.push_back(ScriptedToolServer::pose(0));
        server.nextPoses = poses;
        EXPECT_EQ(list.updateAllTransforms(true), 0);
        std::vector<double> result;
        for (int i = 0; i < list.getNumberOfTools(); ++i)
            result.push_back(list.getTool(i)->isTransformValid() ? list.getTool(i)->getTranslation().x : -1);
        return result;
    };
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP), ScriptedToolServer::tool("B", SQUARE, TIP),
                ScriptedToolServer::tool("C", TRIANGLE, {})});
    EXPECT_THAT(updated({pose("A", 1), pose("B", 2), pose("C", 3)}), ElementsAre(1, 2, 3));
    EXPECT_THAT(updated({pose("C", 3), pose("B", 2), pose("A", 1)}), ElementsAre(1, 2, 3));
    EXPECT_THAT(updated({pose("B", 2), pose("B", 4), pose("C", 3), pose("D", 5)}), ElementsAre(-1, 4, 3));
    EXPECT_THAT(updated({pose("", 9)}), ElementsAre(-1, -1, -1));

    list.getTool(1)->setName("A"); // as an application may
    EXPECT_THAT(updated({pose("A", 1), pose("A", 2), pose("C", 3)}), ElementsAre(2, -1, 3));
    list.getTool(0)->setName("B");
    EXPECT_THAT(updated({pose("A", 1), pose("B", 2), pose("C", 3)}), ElementsAre(2, 1, 3));
    read(list, {ScriptedToolServer::tool("C", TRIANGLE, TIP), ScriptedToolServer::tool("A", TRIANGLE, {})});
    EXPECT_THAT(updated({pose("A", 1), pose("C", 3)}), ElementsAre(3, 1));
}

TEST_F(CaToolListTest, MayBeUpdatedByASlotOfItsUpdate)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP), ScriptedToolServer::tool("B", SQUARE, TIP)});
    server.nextPoses = {ScriptedToolServer::pose(1, "A"), ScriptedToolServer::pose(0)};
    server.nextImagPoints = {ScriptedToolServer::points(1, "B", TIP), ScriptedToolServer::points(0)};
    int status = -1;
    QObject::connect(list.getTool(0), &CaTool::TransformationUpdatedSIG, [&] { status = list.updateAllImags(); });
    QSignalSpy second(list.getTool(1), &CaTool::TransformationUpdatedSIG);
    EXPECT_EQ(list.updateAllTransforms(true), 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(list.getTool(1)->isImagsValid());
    ASSERT_EQ(second.count(), 1); // whatever the slot's update delivered
    EXPECT_FALSE(second[0][1].toBool());
}

TEST_F(CaToolListTest, KeepsPosesQuietlyWhenNotAsked)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP), ScriptedToolServer::tool("B", SQUARE, TIP)});
    list.getTool("A")->setTransform(Matrix3x3(), Vector3d(9, 9, 9), false);
    QSignalSpy moveOfA(list.getTool("A"), SIGNAL(TransformationUpdatedSIG(TransMatrix3d, bool)));
    QSignalSpy moveOfB(list.getTool("B"), SIGNAL(TransformationUpdatedSIG(TransMatrix3d, bool)));
    server.nextPoses = {ScriptedToolServer::pose(1, "B", Matrix3x3(), Vector3d(1, 2, 3)), ScriptedToolServer::pose(3)};

    EXPECT_EQ(list.updateAllTransforms(false), 3);

    EXPECT_EQ(server.count("startTransforms quiet"), 1);
    EXPECT_TRUE(list.getTool("A")->isTransformValid());
    EXPECT_EQ(list.getTool("A")->getTranslation(), Vector3d(9, 9, 9));
    EXPECT_TRUE(list.getTool("B")->isTransformValid());
    EXPECT_EQ(moveOfA.count() + moveOfB.count(), 0);
}

TEST_F(CaToolListTest, StartsAnUpdateAfreshWhenTheToolSetHasChanged)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP)});
    deliver(list, {ScriptedToolServer::tool("A2", TRIANGLE, TIP)});
    server.nextPoses = {ScriptedToolServer::pose(-6), ScriptedToolServer::pose(1, "A2"), ScriptedToolServer::pose(0)};
    server.nextRealPoints = {ScriptedToolServer::points(-6), ScriptedToolServer::points(1, "A2", TRIANGLE),
                             ScriptedToolServer::points(0)};
    server.nextImagPoints = {ScriptedToolServer::points(-6), ScriptedToolServer::points(1, "A2", TIP),
                             ScriptedToolServer::points(0)};
    QSignalSpy changes(&list, SIGNAL(ToolSetChangedSIG()));
    QSignalSpy moves(list.getTool(0), SIGNAL(TransformationUpdatedSIG(TransMatrix3d, bool)));
    server.forgetCalls();

    EXPECT_EQ(list.updateAllTransforms(false), 0);
    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(server.count("startTransforms quiet"), 1);
    EXPECT_EQ(server.count("startTransforms notify"), 1); // the repeated one notifies, whatever was asked
    EXPECT_EQ(moves.count(), 1);

    deliver(list, {ScriptedToolServer::tool("A2", TRIANGLE, TIP)});
    EXPECT_EQ(list.updateAllReals(), 0);
    EXPECT_TRUE(list.getTool("A2")->isRealsValid());
    deliver(list, {ScriptedToolServer::tool("A2", TRIANGLE, TIP)});
    EXPECT_EQ(list.updateAllImags(), 0);
    EXPECT_TRUE(list.getTool("A2")->isImagsValid());
    EXPECT_EQ(changes.count(), 3);
}

TEST_F(CaToolListTest, GivesUpWhenTheToolSetNeverSettles)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP)});
    list.getTool(0)->setTransform(Matrix3x3(), Vector3d(), false);
    server.nextPoses = {ScriptedToolServer::pose(-6)};
    server.nextRealPoints = {ScriptedToolServer::points(-6)};
    server.nextImagPoints = {ScriptedToolServer::points(-6)};
    server.nearest = {ScriptedToolServer::points(-6)};
    deliver(list, {});
    QSignalSpy changes(&list, SIGNAL(ToolSetChangedSIG()));
    CaTool* nearest = nullptr;

    EXPECT_EQ(list.updateAllTransforms(true), -6);
    EXPECT_EQ(changes.count(), 16);
    EXPECT_EQ(list.updateAllReals(), -6);
    EXPECT_EQ(list.updateAllImags(), -6);
    EXPECT_EQ(list.updateAllTransformsAndImags(), -6);
    EXPECT_EQ(list.getNearestTool(nearest), -6);
    EXPECT_EQ(changes.count(), 5 * 16);
}

TEST_F(CaToolListTest, GivesUpWhenSlotsKeepAskingAboutASetThatNeverSettles)
{
    deliver(list, {});
    server.nextPoses = {ScriptedToolServer::pose(-6)};
    server.status = {-6};
    int announcements = 0;
    QObject::connect(&list, &CaToolList::ToolSetChangedSIG,
                     [&]
                     {
                         ++announcements;
                         EXPECT_EQ(list.updateAllTransforms(true), -6);
                         EXPECT_EQ(list.getStatus(), -6);
                     });

    EXPECT_EQ(list.updateAllTransforms(true), -6);
    // 16 readings outside; each announcement makes two requests of one reading, three levels deep: 1 + 2 + 4 + 8
    EXPECT_EQ(announcements, 16 * 15);
}

TEST_F(CaToolListTest, AnswersRequestsThatSlotsMakeWhileTheSetIsAnnounced)
{
    deliver(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP)});
    server.nextPoses = {ScriptedToolServer::pose(1, "A"), ScriptedToolServer::pose(0)};
    int status = -1;
    QObject::connect(&list, &CaToolList::ToolSetChangedSIG, [&] { status = list.updateAllTransforms(true); });
    list.toolChange();
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(list.getTool("A")->isTransformValid());
}

TEST_F(CaToolListTest, DoesNotReadTheSetAgainWhileItReadsIt)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP)});
    int nested = 0;
    QObject::connect(list.getTool(0), &CaTool::ToolUnpluggedSIG, [&] { nested = list.toolChange(); });

    EXPECT_EQ(read(list, {ScriptedToolServer::tool("B", SQUARE, TIP)}), 0);

    EXPECT_EQ(nested, -6);
    EXPECT_THAT(names(list), ElementsAre("B"));
    EXPECT_EQ(list.getNumberOfUnpluggeds(), 1);
}

TEST_F(CaToolListTest, LeavesASequenceWithoutEnd)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP)});
    server.nextImagPoints = {ScriptedToolServer::points(1, "A", TIP)};
    server.nextRealPoints = {ScriptedToolServer::points(-10, "A", TRIANGLE)};
    server.nextPoses = {ScriptedToolServer::pose(1, "Nobody")};
    const LogCapture log;

    EXPECT_EQ(list.updateAllImags(), 1);
    EXPECT_EQ(server.count("nextImags"), 1024);
    EXPECT_TRUE(list.getTool(0)->isImagsValid());
    EXPECT_EQ(list.updateAllReals(), -10);
    EXPECT_EQ(server.count("nextReals"), 1024);
    EXPECT_EQ(list.updateAllTransforms(true), 1);
    EXPECT_EQ(server.count("nextTransform"), 1024);
    EXPECT_EQ(log.count("ERROR", "The tool server's sequence of measurements was left after 1024 fetches.\n"), 3);
}

TEST_F(CaToolListTest, DerivesImaginaryPointsFromPoses)
{
    read(list,
         {ScriptedToolServer::tool("A", TRIANGLE, {{1, 0, 0}, {0, 2, 5}}), ScriptedToolServer::tool("B", SQUARE, TIP)});
    const Vector3d old(1, 1, 1);
    list.getTool("B")->setImags(&old);
    server.nextPoses = {ScriptedToolServer::pose(1, "A", quarterTurnAboutZ(), Vector3d(10, 20, 30)),
                        ScriptedToolServer::pose(2)};
    server.forgetCalls();

    EXPECT_EQ(list.updateAllTransformsAndImags(), 2);

    EXPECT_THAT(server.calls(), ElementsAre("startTransforms notify", "nextTransform", "nextTransform"));
    EXPECT_TRUE(list.getTool("A")->isImagsValid());
    EXPECT_EQ(list.getTool("A")->getImag(0), Vector3d(10, 21, 30));
    EXPECT_EQ(list.getTool("A")->getImag(1), Vector3d(8, 20, 35));
    EXPECT_FALSE(list.getTool("B")->isImagsValid());
}

TEST_F(CaToolListTest, FindsTheNearestTool)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP), ScriptedToolServer::tool("B", SQUARE, TIP)});
    server.nearest = {ScriptedToolServer::points(1, "B", {{1, 2, 3}})};
    QSignalSpy updated(list.getTool("B"), SIGNAL(ImagsUpdatedSIG(bool)));
    CaTool* nearest = nullptr;

    EXPECT_EQ(list.getNearestTool(nearest), 0);

    EXPECT_EQ(nearest, list.getTool("B"));
    EXPECT_TRUE(nearest->isImagsValid());
    EXPECT_EQ(nearest->getImag(0), Vector3d(1, 2, 3));
    EXPECT_EQ(updated.count(), 0);
}

TEST_F(CaToolListTest, ReportsANearestToolThatItDoesNotKnow)
{
    read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP)});
    server.nearest = {ScriptedToolServer::points(0, "Nobody", {}), ScriptedToolServer::points(-10, "A", {})};
    CaTool* nearest = list.getTool(0);
    const LogCapture log;

    EXPECT_EQ(list.getNearestTool(nearest), -11);
    EXPECT_EQ(nearest, nullptr);
    EXPECT_EQ(log.count("ERROR", "Tool not in list: name=\"Nobody\"\n"), 1);

    nearest = list.getTool(0);
    EXPECT_EQ(list.getNearestTool(nearest), -10);
    EXPECT_EQ(nearest, nullptr);
    EXPECT_EQ(log.entries().size(), 1U);
}

TEST_F(CaToolListTest, AsksForTheNearestToolAgainWhenTheToolSetHasChanged)
{
    deliver(list, {ScriptedToolServer::tool("New", TRIANGLE, TIP)});
    server.nearest = {ScriptedToolServer::points(-6), ScriptedToolServer::points(0, "New", {{1, 2, 3}})};
    CaTool* nearest = nullptr;
    EXPECT_EQ(list.getNearestTool(nearest), 0);
    EXPECT_EQ(nearest, list.getTool("New"));
}

TEST_F(CaToolListTest, PassesOnTheTypesOfNearestTools)
{
    const unsigned char types[] = {255, 0, 12, 12};
    server.nearestTypes = {-18};
    EXPECT_EQ(list.setNearestTypes(types, 4), -18);
    EXPECT_EQ(list.setNearestTypes(types, 1), -18);
    EXPECT_EQ(list.setNearestTypes(types, -1), -18);
    EXPECT_EQ(list.setNearestTypes(nullptr, 3), -18);
    EXPECT_THAT(server.calls(), ElementsAre("setNearestTypes 0 12 255 ", "setNearestTypes 255 ", "setNearestTypes ",
                                            "setNearestTypes "));
}

TEST_F(CaToolListTest, KeepsAReferenceThatTheServerAccepts)
{
    CaRigidBody body("Table", 0, 0);
    server.reference = {-11, 0, 1};
    QSignalSpy changes(&list, SIGNAL(ReferenceChangedSIG()));

    EXPECT_EQ(list.setReference(&body), -11);
    EXPECT_EQ(list.getReference(), nullptr);
    EXPECT_EQ(list.setReference(&body), 0);
    EXPECT_EQ(list.getReference(), &body);
    EXPECT_EQ(list.setReference(CaToolList::getTracker()), 1);
    EXPECT_EQ(list.getReference(), CaToolList::getTracker());
    EXPECT_EQ(changes.count(), 2);
    EXPECT_THAT(server.calls(), ElementsAre("setReference Table", "setReference Table", "setReference CAM"));
}

TEST_F(CaToolListTest, RefusesNoReferenceAtAll)
{
    EXPECT_EQ(list.setReference(nullptr), -11);
    EXPECT_THAT(server.calls(), IsEmpty());
}

TEST_F(CaToolListTest, ForgetsAReferenceThatDies)
{
    server.reference = {0};
    auto body = std::make_unique<CaRigidBody>("Table", 0, 0);
    list.setReference(body.get());
    body.reset();
    EXPECT_EQ(list.getReference(), nullptr);
}

TEST(CaToolList, OwnsItsToolsAndItsServer)
{
    chooseModule(pluginFolder(), "ScriptedClientInterface");
    bool serverIsGone = false;
    QPointer<CaTool> current, unplugged;
    {
        OpenList list;
        serverOf(list).onDestruction = [&] { serverIsGone = true; };
        read(list, {ScriptedToolServer::tool("A", TRIANGLE, TIP)});
        unplugged = list.getTool(0);
        read(list, {ScriptedToolServer::tool("B", SQUARE, TIP)});
        current = list.getTool(0);
        QObject::connect(current, &QObject::destroyed,
                         [&]
                         {
                             EXPECT_EQ(list.getNumberOfTools(), 0);
                             EXPECT_FALSE(serverIsGone);
                         });
    }
    EXPECT_TRUE(current.isNull());
    EXPECT_TRUE(unplugged.isNull());
    EXPECT_TRUE(serverIsGone);
}

TEST(CaToolList, StillConnectsSignals)
{
    chooseModule(pluginFolder(), "ScriptedClientInterface");
    OpenList list;
    int changes = 0;
    CaToolList::connect(&list, &CaToolList::ToolSetChangedSIG, [&] { ++changes; });
    read(list, {});
    EXPECT_EQ(changes, 1);
}
