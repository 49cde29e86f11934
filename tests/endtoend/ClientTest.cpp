#include "SharedServer.h"

#include <support/ClientModule.h>
#include <support/LogCapture.h>

#include <TSClientInterface/CaInitializableTool.h>
#include <TSClientInterface/CaNormalInfo.h>
#include <TSClientInterface/CaTool.h>
#include <TSClientInterface/CaToolList.h>
#include <TSClientInterface/CaToolServer.h>

#include <gmock/gmock.h>

#include <QSignalSpy>

#include <atomic>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr long PATIENT_MS = 60000;

const std::string STRAIGHT = " 1 0 0 0 1 0 0 0 1 ";
/// A quarter turn about the z axis, as the camera's `move` takes it.
const std::string TURNED = " 0 -1 0 1 0 0 0 0 1 ";

using Points = std::vector<Vector3d>;

/// What crosses the wire has single precision.
Vector3d narrowed(const Vector3d& v)
{
    return {static_cast<double>(static_cast<float>(v.x)), static_cast<double>(static_cast<float>(v.y)),
            static_cast<double>(static_cast<float>(v.z))};
}

Points narrowed(const Points& points)
{
    Points result;
    for (const Vector3d& point : points)
        result.push_back(narrowed(point));
    return result;
}

/// The application's list: its tools can be initialised.
class InitializableToolList : public CaToolList
{
protected:
    CaTool* createTool(const char* name, unsigned char type, int, int numberOfImags, int numberOfReals) override
    {
        return new CaInitializableTool(getToolServer(), name, type, numberOfImags, numberOfReals);
    }
};

template <class List>
std::unique_ptr<List> makeList()
{
    useClientModule(TBR_MODULES);
    auto list = std::make_unique<List>();
    list->getToolServer()->setTimeout(PATIENT_MS);
    return list;
}

std::vector<std::string> namesIn(const CaToolList& list)
{
    std::vector<std::string> names;
    for (int i = 0; i < list.getNumberOfTools(); ++i)
        names.push_back(list.getTool(i)->getName());
    return names;
}

/// A list that is connected to the server of the suite, with a camera in the hands of the test.
class Client : public SharedServer<testing::Test>
{
protected:
    void SetUp() override
    {
        SharedServer::SetUp();
        camera("plug 0 Drill type=12 id=7 second=drills real=0,0,0;100,0,0;0,50,0 imag=0,0,-80;0,0,20");
        camera("plug 3 Base type=1 id=8 real=0,0,0;10,0,0;0,10,0 imag=0,-70,5");
        EXPECT_EQ(list->connect("127.0.0.1", port()), 0);
    }

    CaTool& tool(const char* name) const
    {
        CaTool* const found = list->getTool(name);
        if (!found)
            throw std::runtime_error(std::string("there is no tool ") + name);
        return *found;
    }

    LogCapture log;
    std::unique_ptr<InitializableToolList> list = makeList<InitializableToolList>();
};

// --- the tool set

TEST_F(Client, KnowsTheToolsOfTheServerAfterConnecting)
{
    EXPECT_TRUE(list->isConnected());
    EXPECT_EQ(list->getStatus(), 0);
    ASSERT_THAT(namesIn(*list), ElementsAre("Drill", "Base"));
    EXPECT_EQ(tool("Drill").getType(), 12);
    EXPECT_EQ(tool("Drill").getPortNumber(), 0);
    EXPECT_EQ(tool("Base").getPortNumber(), 3);
    EXPECT_EQ(tool("Drill").getRigReal(1), Vector3d(100, 0, 0));
    EXPECT_EQ(tool("Drill").getRigImag(0), Vector3d(0, 0, -80));
    EXPECT_EQ(list->disconnect(), 0);
    EXPECT_FALSE(list->isConnected());
    EXPECT_EQ(list->getStatus(), -1);
}

TEST_F(Client, TellsTheCamerasErrorInItsStatus)
{
    camera("status -12 The strobe does not answer.");
    EXPECT_EQ(list->getStatus(), -12);
    std::string text;
    EXPECT_EQ(list->getToolServer()->getLastRemoteError(text), -12);
    EXPECT_EQ(text, "The strobe does not answer.");
}

/// Every request that learns about a changed tool set.
class ClientRequest : public Client, public testing::WithParamInterface<const char*>
{
protected:
    int request()
    {
        CaTool* nearest = nullptr;
        const std::string name = GetParam();
        return name == "Imags"                ? list->updateAllImags()
               : name == "Reals"              ? list->updateAllReals()
               : name == "Transforms"         ? list->updateAllTransforms(true)
               : name == "QuietTransforms"    ? list->updateAllTransforms(false)
               : name == "TransformsAndImags" ? list->updateAllTransformsAndImags()
                                              : list->getNearestTool(nearest);
    }
    /// The nearest tool needs a reference that is a tool, which nothing here makes one.
    int expected() const { return std::string(GetParam()) == "NearestTool" ? -9 : 0; }
};

TEST_P(ClientRequest, ReadsTheToolSetAnewWhenAToolIsPluggedRenamedOrUnplugged)
{
    QSignalSpy changes(list.get(), &CaToolList::ToolSetChangedSIG);
    CaTool* const drill = list->getTool("Drill");
    camera("plug 1 Late type=13 real=5,5,5;6,6,7;8,8,8 imag=1,2,3");
    EXPECT_EQ(request(), expected());
    EXPECT_THAT(namesIn(*list), ElementsAre("Drill", "Late", "Base"));
    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(list->getTool("Drill"), drill);

    CaTool* const late = list->getTool("Late");
    camera("rename Late Later");
    EXPECT_EQ(request(), expected());
    EXPECT_EQ(list->getTool("Later"), late);
    EXPECT_EQ(changes.count(), 2);

    camera("unplug Later");
    EXPECT_EQ(request(), expected());
    EXPECT_THAT(namesIn(*list), ElementsAre("Drill", "Base"));
    EXPECT_FALSE(late->isPlugged());

    camera("plug 5 Latest type=13 real=5,5,5;6,6,7;8,8,8 imag=1,2,3");
    EXPECT_EQ(request(), expected());
    EXPECT_EQ(list->getTool("Latest"), late);
    EXPECT_TRUE(late->isPlugged());
    EXPECT_EQ(late->getPortNumber(), 5);
    EXPECT_EQ(changes.count(), 4);
    EXPECT_EQ(request(), expected());
    EXPECT_EQ(changes.count(), 4);
}

INSTANTIATE_TEST_SUITE_P(OfAnyKind, ClientRequest,
                         testing::Values("Imags", "Reals", "Transforms", "QuietTransforms", "TransformsAndImags",
                                         "NearestTool"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_F(Client, KeepsUpWithAToolSetThatChangesAllTheTime)
{
    control().begin("churn Drill 2000");
    for (int i = 0; i < 20; ++i)
        EXPECT_THAT(list->updateAllTransforms(true), testing::AnyOf(0, -6));
    control().finish();
    EXPECT_EQ(list->updateAllTransforms(true), 0);
    EXPECT_THAT(namesIn(*list), ElementsAre("Drill", "Base"));
    EXPECT_TRUE(tool("Drill").isTransformValid());
}

// --- measurements

TEST_F(Client, UpdatesAllPosesAndAnnouncesThem)
{
    camera("move Drill" + TURNED + "10 -2 1 0.25");
    camera("hide Base");
    QSignalSpy drill(&tool("Drill"), &CaTool::TransformationUpdatedSIG);
    QSignalSpy base(&tool("Base"), &CaTool::TransformationUpdatedSIG);
    EXPECT_EQ(list->updateAllTransforms(true), 0);
    EXPECT_TRUE(tool("Drill").isTransformValid());
    EXPECT_EQ(tool("Drill").getTranslation(), Vector3d(10, -2, 1));
    EXPECT_EQ(tool("Drill").getRotation() * Vector3d(1, 2, 3), Vector3d(-2, 1, 3));
    EXPECT_FALSE(tool("Base").isTransformValid());
    ASSERT_EQ(drill.count(), 1);
    EXPECT_EQ(drill[0][0].value<TransMatrix3d>().getTranslation(), Vector3d(10, -2, 1));
    EXPECT_TRUE(drill[0][1].toBool());
    ASSERT_EQ(base.count(), 1);
    EXPECT_FALSE(base[0][1].toBool());

    EXPECT_EQ(list->updateAllTransforms(false), 0);
    EXPECT_EQ(drill.count(), 1);
}

TEST_F(Client, UpdatesAllPoints)
{
    camera("move Drill" + TURNED + "10 -2 1 0.25");
    camera("markers Drill 1,2,3;4,5,6;7,8,9");
    camera("hide Base");
    EXPECT_EQ(list->updateAllImags(), 0);
    EXPECT_EQ(tool("Drill").getImag(0), Vector3d(10, -2, -79));
    EXPECT_FALSE(tool("Base").isImagsValid());
    EXPECT_EQ(list->updateAllReals(), 0);
    EXPECT_EQ(tool("Drill").getReal(2), Vector3d(7, 8, 9));
    EXPECT_EQ(list->updateAllTransformsAndImags(), 0);
    EXPECT_EQ(tool("Drill").getImag(1), Vector3d(10, -2, 21));
}

TEST_F(Client, UpdatesOneTool)
{
    camera("move Drill" + TURNED + "10 -2 1 0.25");
    camera("markers Drill 1,2,3;4,5,6;7,8,9");
    camera("hide Base");
    EXPECT_EQ(tool("Drill").updateTransform(), 0);
    EXPECT_EQ(tool("Drill").getTranslation(), Vector3d(10, -2, 1));
    EXPECT_EQ(tool("Drill").getRms(), 0.25F);
    EXPECT_EQ(tool("Drill").updateImags(), 0);
    EXPECT_EQ(tool("Drill").getImag(0), Vector3d(10, -2, -79));
    EXPECT_EQ(tool("Drill").updateReals(), 0);
    EXPECT_EQ(tool("Drill").getReal(0), Vector3d(1, 2, 3));
    EXPECT_TRUE(tool("Drill").hasValidTransformation(true));
    EXPECT_EQ(tool("Base").updateTransform(), -10);
    EXPECT_EQ(tool("Base").updateImags(), -10);
    EXPECT_EQ(tool("Drill").updateImags(&tool("Base")), -9);
}

TEST_F(Client, AnswersMinus11ForAToolThatTheServerNoLongerKnows)
{
    camera("unplug Drill");
    EXPECT_EQ(tool("Drill").updateTransform(), -11);
    EXPECT_EQ(tool("Drill").updateReals(), -11);
    EXPECT_EQ(tool("Drill").calibrate(), -11);
    EXPECT_EQ(list->setReference(&tool("Drill")), -11);
}

TEST_F(Client, MeasuresInTheFrameOfTheReferenceUntilItIsReset)
{
    camera("move Drill" + STRAIGHT + "10 -2 1 0.25");
    camera("move Base" + TURNED + "10 0 0 0");
    QSignalSpy changes(list.get(), &CaToolList::ReferenceChangedSIG);
    EXPECT_EQ(list->setReference(&tool("Base")), 0);
    EXPECT_EQ(list->getReference(), &tool("Base"));
    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(list->updateAllTransforms(true), 0);
    EXPECT_EQ(tool("Drill").getTranslation(), Vector3d(-2, 0, 1));

    camera("hide Base");
    EXPECT_EQ(list->updateAllTransforms(true), -9);
    EXPECT_FALSE(tool("Drill").isTransformValid());
    EXPECT_EQ(list->updateAllImags(), -9);
    EXPECT_EQ(list->updateAllReals(), 0);
    EXPECT_EQ(tool("Drill").updateTransform(), -9);

    EXPECT_EQ(list->setReference(CaToolList::getTracker()), 0);
    EXPECT_EQ(list->updateAllTransforms(true), 0);
    EXPECT_EQ(tool("Drill").getTranslation(), Vector3d(10, -2, 1));
    EXPECT_EQ(changes.count(), 2);
}

TEST_F(Client, FindsTheNearestToolOfTheAllowedTypes)
{
    camera("plug 4 Pointer type=0 real=1,1,1;2,5,2;3,9,3 imag=0,0,1");
    EXPECT_EQ(list->updateAllTransforms(true), 0);
    camera("move Base" + STRAIGHT + "0 0 0 0");
    camera("move Drill" + STRAIGHT + "5 0 0 0");
    camera("move Pointer" + STRAIGHT + "50 0 0 0");
    CaTool* nearest = &tool("Base");
    EXPECT_EQ(list->getNearestTool(nearest), -9); // the camera is no tool
    EXPECT_EQ(nearest, nullptr);

    EXPECT_EQ(list->setReference(&tool("Base")), 0);
    EXPECT_EQ(list->getNearestTool(nearest), 0); // type 0 is allowed from the start
    EXPECT_EQ(nearest, &tool("Pointer"));
    EXPECT_EQ(nearest->getImag(0), Vector3d(50, 0, 1));

    const unsigned char both[] = {0, 12};
    EXPECT_EQ(list->setNearestTypes(both, 2), 0);
    EXPECT_EQ(list->getNearestTool(nearest), 0);
    EXPECT_EQ(nearest, &tool("Drill"));

    EXPECT_EQ(list->setNearestTypes(nullptr, 0), 0);
    EXPECT_EQ(list->getNearestTool(nearest), -21);

    EXPECT_EQ(list->setNearestTypes(both, 2), 0);
    camera("move Drill" + STRAIGHT + "1000 0 0 0");
    camera("hide Pointer");
    EXPECT_EQ(list->getNearestTool(nearest), -21);
}

TEST_F(Client, SeesTheFootswitch)
{
    camera("switch 258 on");
    int id = 0;
    bool isPressed = false;
    EXPECT_EQ(list->getToolServer()->getSwitch(&id, &isPressed), 0);
    EXPECT_EQ(id, 258);
    EXPECT_TRUE(isPressed);
}

TEST_F(Client, GetsPosesWhenTheFootswitchIsPressed)
{
    CaToolServer& server = *list->getToolServer();
    std::string name;
    Matrix3x3 rotation;
    Vector3d translation;
    camera("move Drill" + STRAIGHT + "1 2 3 0");
    server.setTimeout(1);
    EXPECT_EQ(server.startTransformsOnSwitch(4, true), 0);
    EXPECT_EQ(server.nextTransform(name, rotation, translation), -2);
    EXPECT_EQ(server.getStatus(), -2); // the server is not listening

    camera("switch 4 on");
    server.setTimeout(PATIENT_MS);
    EXPECT_EQ(server.nextTransform(name, rotation, translation), 1);
    EXPECT_EQ(name, "Drill");
    EXPECT_EQ(translation, Vector3d(1, 2, 3));
    EXPECT_EQ(server.getStatus(), 0); // the rest is kept
    EXPECT_EQ(server.nextTransform(name, rotation, translation), 1);
    EXPECT_EQ(name, "Base");
    EXPECT_EQ(server.nextTransform(name, rotation, translation), 0);
}

TEST_F(Client, CanCancelAWaitThatNeverEnds)
{
    CaToolServer& server = *list->getToolServer();
    EXPECT_EQ(server.startTransformsOnSwitch(4, true), 0);
    camera("await requestSwitch");
    std::future<int> status = std::async(std::launch::async, [&] { return server.getStatus(); });
    while (status.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        server.cancel();
    EXPECT_EQ(status.get(), -5);
    EXPECT_EQ(list->connect("127.0.0.1", port()), 0);
    EXPECT_EQ(list->updateAllTransforms(true), 0);
}

// --- writing to the server

TEST_F(Client, Calibrates)
{
    const Vector3d points[] = {{1, 2, 3}, {0, 0, 20.5}};
    camera("calls");
    tool("Drill").setRigImags(points);
    EXPECT_EQ(tool("Drill").calibrate(), 0);
    EXPECT_EQ(camera("calls"), "updateCalibration Drill [1,2,3;0,0,20.5]\n");
    camera("refuse updateCalibration");
    EXPECT_EQ(tool("Drill").calibrate(), -20);
}

TEST_F(Client, InitializesAToolOnTheServer)
{
    CaInitializableTool fresh(list->getToolServer(), "Fresh", 13, 1, 2);
    const Vector3d reals[] = {{1, 2, 3}, {4, 5, 6.5}};
    const Vector3d imags[] = {{7, 8, 9}};
    fresh.setRigReals(reals);
    fresh.setRigImags(imags);
    fresh.setIdentifier(99);
    fresh.setOwnerName("TwelveBytes.");
    fresh.setCalibrationStartIndex(5);
    fresh.setCalibrationDate(20240229);
    fresh.setNumberOfPlugs(2);
    EXPECT_EQ(fresh.initialize(), -11); // not plugged
    fresh.plug(6);
    camera("calls");
    EXPECT_EQ(fresh.initialize(), 0);
    EXPECT_EQ(camera("calls"), "createTool 99 0 Fresh TwelveBytes. 13 5 20240229 [1,2,3;4,5,6.5] [7,8,9] 2 true\n"
                               "initTool 6 Fresh\n");

    EXPECT_EQ(list->updateAllTransforms(true), 0);
    const auto* const known = qobject_cast<CaInitializableTool*>(list->getTool("Fresh"));
    ASSERT_NE(known, nullptr);
    EXPECT_TRUE(known->equals(fresh));
    EXPECT_EQ(known->getIdentifier(), 99);
    EXPECT_STREQ(known->getOwnerName(), "client");
    EXPECT_EQ(known->getCalibrationStartIndex(), 5);
    EXPECT_EQ(known->getNumberOfPlugs(), 2);

    camera("refuse createTool");
    EXPECT_EQ(fresh.initialize(), -22);
}

TEST_F(Client, WritesNormalInfoThatCanBeReadAgain)
{
    auto& drill = dynamic_cast<CaInitializableTool&>(tool("Drill"));
    CaNormalInfo info(3);
    info.setNormal(0, {0, 0, 1});
    info.setNormal(1, {0, 1, 0});
    info.setNormal(2, {0.5, 0, 0.25});
    info.setMarkerAngleLimit(60);
    info.setMinMarkerVisible(3);
    info.setMax3dError(0.5);
    info.setMaxRmsError(1.3); // more than a server stores
    drill.setNormalInfo(&info);
    EXPECT_EQ(drill.writeNormalInfo(), 0);

    drill.setNormalInfo(nullptr);
    EXPECT_EQ(drill.readNormalInfo(), 0);
    ASSERT_NE(drill.getNormalInfo(), nullptr);
    EXPECT_EQ(drill.getNormalInfo()->getNumberOfNormals(), 3);
    EXPECT_EQ(drill.getNormalInfo()->getNormal(2), Vector3d(0.5, 0, 0.25));
    EXPECT_EQ(drill.getNormalInfo()->getMarkerAngleLimit(), 60);
    EXPECT_EQ(drill.getNormalInfo()->getMinMarkerVisible(), 3);
    EXPECT_EQ(drill.getNormalInfo()->getMax3dError(), 0.5);
    EXPECT_EQ(drill.getNormalInfo()->getMaxRmsError(), 0);

    CaNormalInfo tooFew(2);
    drill.setNormalInfo(&tooFew);
    EXPECT_EQ(drill.writeNormalInfo(), -11);
    std::string text;
    EXPECT_EQ(list->getToolServer()->getLastRemoteError(text), 9);
    EXPECT_EQ(text, "The number of normal vectors doesn't match the number of reals");

    camera("plug 6 Bare type=1 imag=1,0,0");
    EXPECT_EQ(list->updateAllTransforms(true), 0);
    EXPECT_EQ(dynamic_cast<CaInitializableTool&>(tool("Bare")).readNormalInfo(), -23);
}

// --- several clients and threads

TEST_F(Client, KeepsItsReferenceApartFromThatOfAnotherClient)
{
    camera("move Drill" + STRAIGHT + "10 -2 1 0.25");
    camera("move Base" + STRAIGHT + "1 0 0 0");
    auto other = makeList<CaToolList>();
    EXPECT_EQ(other->connect(list->getToolServer()), 0);
    EXPECT_EQ(other->setReference(other->getTool("Base")), 0);
    EXPECT_EQ(other->updateAllTransforms(true), 0);
    EXPECT_EQ(list->updateAllTransforms(true), 0);
    EXPECT_EQ(other->getTool("Drill")->getTranslation(), Vector3d(9, -2, 1));
    EXPECT_EQ(tool("Drill").getTranslation(), Vector3d(10, -2, 1));
}

TEST_F(Client, MayBeReadAndUpdatedByOtherThreads)
{
    camera("move Drill" + STRAIGHT + "0 0 0 0");
    EXPECT_EQ(list->updateAllTransforms(true), 0);
    CaTool& drill = tool("Drill");
    CaTool& base = tool("Base");
    std::atomic<bool> isOver{false};
    std::atomic<int> torn{0};
    std::atomic<int> failed{0};
    std::thread reader(
        [&]
        {
            while (!isOver)
            {
                TransMatrix3d pose;
                if (drill.getTransform(pose))
                    torn += pose.getTranslation().x == pose.getTranslation().z ? 0 : 1;
                torn += list->getTool(0) == &drill ? 0 : 1;
            }
        });
    std::thread updater(
        [&]
        {
            while (!isOver)
                failed += drill.updateTransform() == 0 && base.updateReals() == 0 ? 0 : 1;
        });
    control().begin("sweep Drill 3000");
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(list->updateAllTransforms(true), 0);
    control().finish();
    isOver = true;
    reader.join();
    updater.join();
    EXPECT_EQ(torn, 0);
    EXPECT_EQ(failed, 0);
}

// --- losing the server

TEST(ClientWithoutAServer, SaysSo)
{
    const LogCapture log;
    auto list = makeList<CaToolList>();
    EXPECT_EQ(list->connect("127.0.0.1", PlainSocket::freePort()), -5);
    EXPECT_EQ(list->connect("no.such.host.invalid", 2222), -3);
    EXPECT_EQ(list->updateAllTransforms(true), -1);
    EXPECT_THAT(namesIn(*list), IsEmpty());
}

TEST(ClientThatLosesItsServer, KeepsItsToolsAndFindsThemAgain)
{
    const LogCapture log;
    const std::vector<std::string> tools = {"plug 0 Drill type=12 real=0,0,0;100,0,0;0,50,0 imag=0,0,-80",
                                            "plug 1 Base type=1 real=0,0,0;10,0,0;0,10,0"};
    auto first = std::make_unique<TestServer>(std::vector<std::string>{}, tools);
    const int port = first->port();
    auto list = makeList<CaToolList>();
    ASSERT_EQ(list->connect("127.0.0.1", port), 0);
    EXPECT_EQ(list->updateAllTransforms(true), 0);
    CaTool* const drill = list->getTool("Drill");
    QSignalSpy poses(drill, &CaTool::TransformationUpdatedSIG);

    // In the middle of a sequence: the server waits for a switch that never comes.
    CaToolServer& server = *list->getToolServer();
    EXPECT_EQ(server.startTransformsOnSwitch(9, true), 0);
    first->camera.tell("await requestSwitch");
    first->process.crash();
    std::string name;
    Matrix3x3 rotation;
    Vector3d translation;
    EXPECT_EQ(server.nextTransform(name, rotation, translation), -5);
    EXPECT_FALSE(list->isConnected());
    EXPECT_EQ(list->updateAllTransforms(true), -1);
    EXPECT_FALSE(drill->isTransformValid());
    ASSERT_EQ(poses.count(), 1);
    EXPECT_FALSE(poses[0][1].toBool());
    EXPECT_EQ(list->connect("127.0.0.1", port), -5);

    TestServer second({"--port", std::to_string(port)}, {tools[1], "plug 4 Renamed" + tools[0].substr(12)});
    second.camera.tell("move Renamed" + STRAIGHT + "1 2 3 0.5");
    EXPECT_EQ(list->connect("127.0.0.1", port), 0);
    EXPECT_EQ(list->updateAllTransforms(true), 0);
    EXPECT_EQ(list->getTool("Renamed"), drill);
    EXPECT_EQ(drill->getTranslation(), Vector3d(1, 2, 3));
    EXPECT_EQ(second.stop(), 0);
    EXPECT_EQ(list->updateAllTransforms(true), -5);
}

TEST(ClientThatLosesItsServer, EndsASequenceWithALoss)
{
    const LogCapture log;
    TestServer server({}, {"plug 0 Drill type=12 real=0,0,0;100,0,0;0,50,0 imag=0,0,-80"});
    auto list = makeList<CaToolList>();
    ASSERT_EQ(list->connect("127.0.0.1", server.port()), 0);
    server.process.crash();
    EXPECT_EQ(list->updateAllReals(), -5);
    EXPECT_FALSE(list->getTool("Drill")->isRealsValid());
    EXPECT_EQ(list->updateAllImags(), -1);
    EXPECT_EQ(list->getTool("Drill")->updateTransform(), -1);
}

TEST(ClientOfAServerThatStandsStill, TimesOutAndGoesOnWithFreshAnswers)
{
    TestServer server({}, {"plug 0 Drill type=12 real=0,0,0;100,0,0;0,50,0 imag=0,0,-80"});
    auto list = makeList<CaToolList>();
    ASSERT_EQ(list->connect("127.0.0.1", server.port()), 0);
    CaTool& drill = *list->getTool("Drill");
    server.camera.tell("move Drill" + STRAIGHT + "1 0 0 0");

    server.process.pause();
    list->getToolServer()->setTimeout(20);
    EXPECT_EQ(drill.updateTransform(), -2);
    EXPECT_FALSE(drill.isTransformValid());
    EXPECT_EQ(list->updateAllTransforms(true), -2);
    EXPECT_EQ(list->getStatus(), -2);
    EXPECT_TRUE(list->isConnected());

    server.process.resume();
    server.camera.tell("move Drill" + STRAIGHT + "2 0 0 0");
    list->getToolServer()->setTimeout(PATIENT_MS);
    EXPECT_EQ(list->getStatus(), 0);
    EXPECT_EQ(drill.updateTransform(), 0);
    EXPECT_EQ(drill.getTranslation(), Vector3d(2, 0, 0)); // and not the answer that came too late
    EXPECT_EQ(list->updateAllTransforms(true), 0);
    EXPECT_EQ(server.stop(), 0);
}

TEST(ClientOfAServerThatStandsStill, CannotConnectUntilItGoesOn)
{
    TestServer server;
    auto list = makeList<CaToolList>();
    list->getToolServer()->setTimeout(20);
    server.process.pause();
    EXPECT_EQ(list->connect("127.0.0.1", server.port()), -2);
    EXPECT_FALSE(list->isConnected());
    server.process.resume();
    list->getToolServer()->setTimeout(PATIENT_MS);
    EXPECT_EQ(list->connect("127.0.0.1", server.port()), 0);
    EXPECT_EQ(server.stop(), 0);
}

// --- the simulated camera

struct SceneTool
{
    const char* name;
    int type;
    Points markers;
    Points imaginaries;
};

/// As scenes/builtin.ini has them.
const std::vector<SceneTool> BUILTIN = {
    {"DynamicReference", 1, {{-45, 35, 0}, {50, 30, 0}, {5, -5, 12}, {40, -40, 10}, {-30, -45, 0}}, {{0, -70, 5}}},
    {"Pointer", 0, {{0, 60, 0}, {-25, 15, 0}, {25, 0, 0}, {0, -40, 0}}, {{0, -180, -20}}},
    {"DrillGuide", 14, {{-40, 0, 0}, {0, 35, 0}, {10, -35, 0}}, {{60, -20, 0}, {60, 20, 0}}},
    {"Drill", 12, {{-30, 40, 0}, {30, 45, 0}, {35, -30, 0}, {-25, -35, 5}}, {{0, -60, -40}, {0, 60, -40}}},
    {"BurrCalibrator",
     2,
     {{-45, -50, 0}, {45, -50, 0}, {40, -95, 0}, {-35, -90, 5}},
     {{-17.5, -40, -65}, {-17.5, -40, -20}, {17.5, -40, -20}}},
    {"RoundBurr", 13, {{-25, 45, 0}, {25, 40, 0}, {20, -20, 0}, {-30, -15, 5}}, {{0, -150, -30}, {0, -50, -30}}},
    {"CArmBase", 3, {{-80, 80, 0}, {0, 95, 0}, {85, 75, 0}, {80, -80, 10}, {5, -60, 0}, {-75, -85, 0}}, {{0, 0, -50}}},
};

TEST(ClientOfTheSimulatedCamera, KnowsEveryToolOfTheBuiltInSceneAndSeesItMove)
{
    ServerProcess server(ServerProcess::loopback());
    auto list = makeList<CaToolList>();
    ASSERT_EQ(list->connect("127.0.0.1", server.port()), 0);
    ASSERT_EQ(list->getNumberOfTools(), static_cast<int>(BUILTIN.size()));
    for (const SceneTool& expected : BUILTIN)
    {
        const CaTool* const tool = list->getTool(expected.name);
        ASSERT_NE(tool, nullptr) << expected.name;
        EXPECT_EQ(tool->getType(), expected.type);
        EXPECT_EQ(Points(tool->getRigReals(), tool->getRigReals() + tool->getNumberOfReals()),
                  narrowed(expected.markers))
            << expected.name;
        EXPECT_EQ(Points(tool->getRigImags(), tool->getRigImags() + tool->getNumberOfImags()),
                  narrowed(expected.imaginaries))
            << expected.name;
    }

    CaTool& pointer = *list->getTool("Pointer");
    CaTool& reference = *list->getTool("DynamicReference");
    Vector3d first;
    EXPECT_TRUE(eventually([&] { return list->updateAllTransforms(true) == 0 && pointer.isTransformValid(); }));
    first = pointer.getTranslation();
    EXPECT_TRUE(eventually([&] { return list->updateAllTransforms(true) == 0 && pointer.getTranslation() != first; }));
    EXPECT_TRUE(eventually([&] { return pointer.updateReals() == 0 && pointer.isToolVisible(); }));

    EXPECT_EQ(list->setReference(&reference), 0);
    EXPECT_TRUE(eventually([&] { return list->updateAllTransforms(true) == 0 && pointer.isTransformValid(); }));
    EXPECT_LT(pointer.getTranslation().length(), 500); // beside the reference, two metres from the camera
    EXPECT_EQ(server.stop(), 0);
}

} // namespace
