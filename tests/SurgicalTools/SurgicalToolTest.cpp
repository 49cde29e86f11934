#include <SurgicalTools/BurrCalibrator.h>
#include <SurgicalTools/CArmBase.h>
#include <SurgicalTools/DrillTool.h>
#include <SurgicalTools/DynamicReference.h>
#include <SurgicalTools/PointerTool.h>
#include <SurgicalTools/RoundBurrTool.h>
#include <support/Instruments.h>
#include <support/ScriptedToolServer.h>
#include <tbrBase/WatchdogException.h>

#include <QCoreApplication>
#include <QProcess>
#include <QSignalSpy>

#include <sstream>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

/// Notes what reaches a subclass.
class WatchfulTool : public SurgicalTool
{
public:
    std::vector<std::string> hooks;

protected:
    void rigidBodyAttached(CaTool* body) override { note("attached", body); }
    void rigidBodyDetached(CaTool* body) override { note("detached", body); }

private:
    void note(const std::string& hook, const CaTool* body)
    {
        hooks.push_back(hook + " " + (body ? body->getName() : "nothing") +
                        ", bound: " + (getRigidBody() ? getRigidBody()->getName() : "nothing"));
    }
};

} // namespace

TEST(SurgicalTool, StartsWithoutNameAndBody)
{
    SurgicalTool tool;
    EXPECT_EQ(tool.getName(), "<no name>");
    EXPECT_EQ(tool.getRigidBody(), nullptr);
    EXPECT_FALSE(tool.hasValidTransformation(false));
    EXPECT_FALSE(tool.hasValidTransformation(true));
    EXPECT_FALSE(tool.isToolVisible());
}

TEST(SurgicalTool, IgnoresAnEmptyName)
{
    SurgicalTool tool;
    tool.setName("");
    EXPECT_EQ(tool.getName(), "<no name>");
    tool.setName("Drill");
    tool.setName("");
    EXPECT_EQ(tool.getName(), "Drill");
}

TEST(SurgicalTool, CopiesNothing)
{
    QObject parent;
    const auto body = bodyWith({});
    SurgicalTool tool;
    tool.setParent(&parent);
    tool.setName("Drill");
    bind(tool, body.get());

    const SurgicalTool copy(tool);

    EXPECT_EQ(copy.getName(), "");
    EXPECT_EQ(copy.getRigidBody(), nullptr);
    EXPECT_EQ(copy.parent(), nullptr);
    tool.setParent(nullptr);
}

TEST(SurgicalTool, IsAMetaTypeByValue)
{
    const int type = QMetaType::type("SurgicalTool");
    ASSERT_NE(type, QMetaType::UnknownType);
    auto* tool = static_cast<SurgicalTool*>(QMetaType::create(type));
    EXPECT_EQ(tool->getName(), "<no name>");
    auto* copy = static_cast<SurgicalTool*>(QMetaType::create(type, tool));
    EXPECT_EQ(copy->getName(), "");
    QMetaType::destroy(type, copy);
    QMetaType::destroy(type, tool);
}

TEST(SurgicalTool, DescribesItsSignalsAndSlotsToQt)
{
    const QMetaObject& meta = SurgicalTool::staticMetaObject;
    std::vector<std::string> methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
    {
        std::string method = meta.method(i).methodSignature().toStdString();
        for (const QByteArray& name : meta.method(i).parameterNames())
            method += " " + name.toStdString();
        methods.push_back(method);
    }
    EXPECT_THAT(methods,
                ElementsAre("ToolMovedSIG(TransMatrix3d,bool) newLocation isValid",
                            "RigidBodyPluggedSIG(CaTool*) rigidBody", "RigidBodyUnpluggedSIG(CaTool*) rigidBody",
                            "ConfigUpdateSIG()", "StateChangeSIG(const char*) property",
                            "rigidBodyAttached(CaTool*) rigidBody", "rigidBodyDetached(CaTool*) rigidBody",
                            "rigidBodyMovedSLT(TransMatrix3d,bool) transform isValid"));
}

TEST(SurgicalTool, PrintsItself)
{
    const auto body = bodyWith({});
    SurgicalTool tool;
    tool.setName("Drill");
    std::ostringstream unbound, bound, address;
    tool.printSelf(unbound);
    EXPECT_EQ(unbound.str(), "SurgicalTool:\n=============\ntool name : Drill\nrigid body: 0\n");

    bind(tool, body.get());
    tool.printSelf(bound);
    address << body.get();
    EXPECT_EQ(bound.str(), "SurgicalTool:\n=============\ntool name : Drill\nrigid body: " + address.str() + "\n");
}

TEST(SurgicalTool, TellsSubclassesBeforeItAnnouncesABody)
{
    const auto body = bodyWith({}, nullptr, "A");
    WatchfulTool tool;
    std::size_t hooksAtSignal = 0;
    QObject::connect(&tool, &SurgicalTool::RigidBodyPluggedSIG, [&] { hooksAtSignal = tool.hooks.size(); });
    const InstrumentLog log(tool);

    bind(tool, body.get());

    EXPECT_EQ(tool.getRigidBody(), body.get());
    EXPECT_THAT(tool.hooks, ElementsAre("attached A, bound: A"));
    EXPECT_EQ(hooksAtSignal, 1U);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("plugged A"));
}

TEST(SurgicalTool, AnnouncesThatNothingIsBound)
{
    WatchfulTool tool;
    const InstrumentLog log(tool);
    bind(tool, nullptr);
    EXPECT_THAT(tool.hooks, ElementsAre("attached nothing, bound: nothing"));
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("plugged"));
}

TEST(SurgicalTool, RelaysThePosesOfItsBody)
{
    const auto body = bodyWith({});
    SurgicalTool tool;
    bind(tool, body.get());
    QSignalSpy moved(&tool, SIGNAL(ToolMovedSIG(TransMatrix3d, bool)));
    const TransMatrix3d pose(quarterTurnAboutZ(), Vector3d(1, 2, 3));

    move(*body, pose);
    hide(*body);

    ASSERT_EQ(moved.count(), 2);
    EXPECT_EQ(moved.at(0).at(0).value<TransMatrix3d>(), pose);
    EXPECT_TRUE(moved.at(0).at(1).toBool());
    EXPECT_EQ(moved.at(1).at(0).value<TransMatrix3d>(), pose);
    EXPECT_FALSE(moved.at(1).at(1).toBool());
}

TEST(SurgicalTool, FollowsItsBodyByAConnectionThatOthersCanName)
{
    const auto body = bodyWith({});
    SurgicalTool tool;
    bind(tool, body.get());
    const InstrumentLog log(tool);

    EXPECT_TRUE(QObject::disconnect(body.get(), SIGNAL(TransformationUpdatedSIG(TransMatrix3d, bool)), &tool,
                                    SLOT(rigidBodyMovedSLT(TransMatrix3d, bool))));
    move(*body, TransMatrix3d());
    EXPECT_THAT(log.signalsSoFar(), IsEmpty());
}

TEST(SurgicalTool, RelaysPosesFromAnotherThreadThroughItsEventLoop)
{
    const auto body = bodyWith({});
    SurgicalTool tool;
    bind(tool, body.get());
    const InstrumentLog log(tool);

    std::thread updater([&] { move(*body, TransMatrix3d()); });
    updater.join();
    EXPECT_THAT(log.signalsSoFar(), IsEmpty());
    QCoreApplication::processEvents();
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("moved"));
}

TEST(SurgicalTool, MovesTwiceWhenItsBodyIsBoundTwice)
{
    const auto body = bodyWith({}, nullptr, "A");
    SurgicalTool tool;
    bind(tool, body.get());
    const InstrumentLog log(tool);

    bind(tool, body.get());
    move(*body, TransMatrix3d());

    EXPECT_THAT(log.signalsSoFar(), ElementsAre("plugged A", "moved", "moved"));
}

TEST(SurgicalTool, ThrowsWhenItsBodyIsTakenAway)
{
    const auto body = bodyWith({}, nullptr, "A");
    WatchfulTool tool;
    bind(tool, body.get());
    const InstrumentLog log(tool);
    std::string text;

    testing::internal::CaptureStdout();
    try
    {
        bind(tool, nullptr);
    }
    catch (const tbr::WatchdogException& error)
    {
        text = error.what();
    }

    EXPECT_EQ(testing::internal::GetCapturedStdout(), text);
    EXPECT_EQ(text.rfind("Assertion disconnect( rigidBody, 0, this, 0 ) failed in ", 0), 0U) << text;
    EXPECT_NE(text.find("SurgicalTool.cpp at line 129"), std::string::npos) << text;
    EXPECT_EQ(tool.getRigidBody(), body.get());
    EXPECT_THAT(tool.hooks, ElementsAre("attached A, bound: A"));
    move(*body, TransMatrix3d());
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("moved"));
}

TEST(SurgicalTool, ThrowsWhenABodyIsReplacedByAnUnconnectedOne)
{
    const auto a = bodyWith({}, nullptr, "A");
    const auto b = bodyWith({}, nullptr, "B");
    SurgicalTool tool;
    bind(tool, a.get());

    testing::internal::CaptureStdout();
    EXPECT_THROW(bind(tool, b.get()), tbr::WatchdogException);
    testing::internal::GetCapturedStdout();

    EXPECT_EQ(tool.getRigidBody(), a.get());
    const InstrumentLog log(tool);
    move(*b, TransMatrix3d());
    EXPECT_THAT(log.signalsSoFar(), IsEmpty());
}

TEST(SurgicalTool, DisconnectsTheNewBodyAndKeepsTheOldOneConnected)
{
    const auto a = bodyWith({}, nullptr, "A");
    const auto b = bodyWith({}, nullptr, "B");
    SurgicalTool tool;
    bind(tool, a.get());
    int signalsOfB = 0;
    QObject::connect(b.get(), &CaTool::TransformationUpdatedSIG, &tool, [&] { ++signalsOfB; });

    bind(tool, b.get()); // b is connected to the instrument, if not by the instrument itself

    EXPECT_EQ(tool.getRigidBody(), b.get());
    const InstrumentLog log(tool);
    move(*b, TransMatrix3d());
    EXPECT_EQ(signalsOfB, 0); // was disconnected
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("moved"));
    move(*a, TransMatrix3d());
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("moved", "moved")); // the old body still moves it
}

TEST(SurgicalTool, UnbindsWithoutDisconnecting)
{
    const auto body = bodyWith({}, nullptr, "A");
    WatchfulTool tool;
    bind(tool, body.get());
    const InstrumentLog log(tool);

    unbind(tool);
    EXPECT_EQ(tool.getRigidBody(), nullptr);
    EXPECT_THAT(tool.hooks, ElementsAre("attached A, bound: A", "detached A, bound: nothing"));
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("unplugged A"));

    move(*body, TransMatrix3d());
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("unplugged A", "moved"));
}

TEST(SurgicalTool, ForgetsABodyThatDies)
{
    auto body = bodyWith({}, nullptr, "A");
    SurgicalTool tool;
    bind(tool, body.get());
    body.reset();
    EXPECT_EQ(tool.getRigidBody(), nullptr);
    EXPECT_FALSE(tool.isToolVisible());

    const auto next = bodyWith({}, nullptr, "B");
    bind(tool, next.get()); // nothing was bound any more
    EXPECT_EQ(tool.getRigidBody(), next.get());
}

TEST(SurgicalTool, SurvivesASlotThatDeletesTheBodyBeingBound)
{
    auto* body = bodyWith({}, nullptr, "A").release();
    SurgicalTool tool;
    QObject::connect(&tool, &SurgicalTool::RigidBodyPluggedSIG, [&] { delete body; });
    bind(tool, body);
    EXPECT_EQ(tool.getRigidBody(), nullptr);
}

TEST(SurgicalTool, LeavesItsBodyAloneWhenItDies)
{
    const auto body = bodyWith({}, nullptr, "A");
    {
        SurgicalTool tool;
        bind(tool, body.get());
    }
    move(*body, TransMatrix3d());
    EXPECT_STREQ(body->getName(), "A");
}

TEST(SurgicalTool, GivesAValidPoseOnly)
{
    const auto body = bodyWith({});
    SurgicalTool tool;
    bind(tool, body.get());
    TransMatrix3d pose(Matrix3x3(), Vector3d(9, 9, 9));

    EXPECT_FALSE(tool.getToolTransformation(pose));
    EXPECT_EQ(pose.getTranslation(), Vector3d(9, 9, 9));
    move(*body, TransMatrix3d(quarterTurnAboutZ(), Vector3d(1, 2, 3)));
    EXPECT_TRUE(tool.getToolTransformation(pose));
    EXPECT_EQ(pose, TransMatrix3d(quarterTurnAboutZ(), Vector3d(1, 2, 3)));
}

TEST(SurgicalTool, AsksItsBodyForVisibility)
{
    ScriptedToolServer server;
    server.poses = {ScriptedToolServer::pose(0)};
    server.realPoints = {ScriptedToolServer::points(0, "", {{1, 0, 0}, {2, 0, 0}, {-3e28, 0, 0}}),
                         ScriptedToolServer::points(0, "", {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}})};
    CaTool body(&server, "Body", 0, 0, 3);
    SurgicalTool tool;
    bind(tool, &body);

    EXPECT_TRUE(tool.hasValidTransformation(false));
    EXPECT_FALSE(tool.hasValidTransformation(true));
    EXPECT_FALSE(tool.isToolVisible());
    EXPECT_TRUE(tool.hasValidTransformation(true));
    EXPECT_TRUE(tool.isToolVisible());
}

TEST(SurgicalTool, IsRegisteredByLoadingTheLibrary)
{
    QProcess program;
    program.start(QCoreApplication::applicationDirPath() + "/listInstruments", QStringList());
    ASSERT_TRUE(program.waitForFinished(-1));
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_EQ(program.readAllStandardOutput().replace("\r", "").toStdString(), "BurrCalibrator BurrCalibrator\n"
                                                                               "CArmBase CArmBase\n"
                                                                               "DrillGuide DrillGuide\n"
                                                                               "DrillTool DrillTool\n"
                                                                               "DynamicReference DynamicReference\n"
                                                                               "PointerTool PointerTool\n"
                                                                               "RoundBurrTool RoundBurrTool\n"
                                                                               "SurgicalTool as meta type: 1\n"
                                                                               "TransMatrix3d as meta type: 1\n");
}

TEST(SurgicalTool, IsMadeByItsClassName)
{
    EXPECT_NE(qobject_cast<BurrCalibrator*>(SurgicalTool::createTool("BurrCalibrator").get()), nullptr);
    EXPECT_NE(qobject_cast<CArmBase*>(SurgicalTool::createTool("CArmBase").get()), nullptr);
    EXPECT_NE(qobject_cast<DrillGuide*>(SurgicalTool::createTool("DrillGuide").get()), nullptr);
    EXPECT_NE(qobject_cast<DrillTool*>(SurgicalTool::createTool("DrillTool").get()), nullptr);
    EXPECT_NE(qobject_cast<DynamicReference*>(SurgicalTool::createTool("DynamicReference").get()), nullptr);
    EXPECT_NE(qobject_cast<PointerTool*>(SurgicalTool::createTool("PointerTool").get()), nullptr);
    EXPECT_NE(qobject_cast<RoundBurrTool*>(SurgicalTool::createTool("RoundBurrTool").get()), nullptr);
}

TEST(SurgicalTool, IsNotMadeByAnUnknownName)
{
    for (const char* name : {"", "Drill", "drilltool", "SurgicalTool", "CalibrationUnit"})
        EXPECT_EQ(SurgicalTool::createTool(name).get(), nullptr) << name;
}

TEST(SurgicalTool, IsRegisteredOnceHoweverOftenThatIsAsked)
{
    const CaFactory<SurgicalTool> before = SurgicalTool::getFactory();
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ(createBurrCalibratorFactory(), 1);
        EXPECT_EQ(createCArmBaseFactory(), 1);
        EXPECT_EQ(createDrillGuideFactory(), 1);
        EXPECT_EQ(createDrillToolFactory(), 1);
        EXPECT_EQ(createDynamicReferenceFactory(), 1);
        EXPECT_EQ(createPointerToolFactory(), 1);
        EXPECT_EQ(createRoundBurrToolFactory(), 1);
    }
    EXPECT_EQ(before.size(), 7U);
    EXPECT_EQ(SurgicalTool::getFactory(), before);
}

TEST(SurgicalTool, IsKnownByItsClassAndBaseNames)
{
    const CArmBase base;
    EXPECT_STREQ(base.metaObject()->className(), "CArmBase");
    EXPECT_TRUE(base.inherits("CArmBase"));
    EXPECT_TRUE(base.inherits("SurgicalTool"));
    EXPECT_FALSE(base.inherits("DynamicReference"));
    EXPECT_EQ(base.getName(), "<no name>");
}
