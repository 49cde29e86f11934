#include <TSClientInterface/CaTool.h>
#include <support/EventLog.h>
#include <support/RigidMotions.h>
#include <support/ScriptedToolServer.h>

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QSignalSpy>

#include <future>
#include <limits>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

/// A tool whose counts the test may change.
class ResizableTool : public CaTool
{
public:
    using CaTool::CaTool;
    using CaTool::setNumberOfImags;
    using CaTool::setNumberOfReals;
};

/// Notes the signals of a tool in the order in which they come.
class SignalLog
{
public:
    explicit SignalLog(CaTool& tool)
    {
        QObject::connect(&tool, &CaTool::ToolPluggedSIG, [this] { note("plugged"); });
        QObject::connect(&tool, &CaTool::ToolUnpluggedSIG, [this] { note("unplugged"); });
        QObject::connect(&tool, &CaTool::RealsUpdatedSIG, [this](bool valid) { note("reals", valid); });
        QObject::connect(&tool, &CaTool::ImagsUpdatedSIG, [this](bool valid) { note("imags", valid); });
        QObject::connect(&tool, &CaTool::TransformationUpdatedSIG,
                         [this](TransMatrix3d, bool valid) { note("transform", valid); });
    }

    const std::vector<std::string>& signalsSoFar() const { return m_Signals; }

private:
    void note(const std::string& signal) { m_Signals.push_back(signal); }
    void note(const std::string& signal, bool valid) { note(signal + (valid ? " valid" : " invalid")); }

    std::vector<std::string> m_Signals;
};

struct ToolAndServer : testing::Test
{
    ScriptedToolServer server;
    ResizableTool tool{&server, "Drill", 12, 2, 3};
};

using CaToolTest = ToolAndServer;

} // namespace

TEST_F(CaToolTest, StartsUnpluggedAndWithoutMeasurements)
{
    EXPECT_EQ(CaTool::NOPORT, -1);
    EXPECT_STREQ(tool.getName(), "Drill");
    EXPECT_EQ(tool.getNumberOfImags(), 2);
    EXPECT_EQ(tool.getNumberOfReals(), 3);
    EXPECT_EQ(tool.getToolServer(), &server);
    EXPECT_EQ(tool.getType(), 12);
    EXPECT_EQ(tool.getPortNumber(), -1);
    EXPECT_FALSE(tool.isPlugged());
    EXPECT_EQ(tool.getImag(1), Vector3d());
    EXPECT_EQ(tool.getReal(2), Vector3d());
    EXPECT_EQ(tool.getRotation(), Matrix3x3());
    EXPECT_EQ(tool.getTranslation(), Vector3d());
    EXPECT_EQ(tool.getRms(), -1.0F);
    EXPECT_FALSE(tool.isRmsValid());
    EXPECT_FALSE(tool.isImagsValid());
    EXPECT_FALSE(tool.isRealsValid());
    EXPECT_FALSE(tool.isTransformValid());
    EXPECT_EQ(tool.getClientData(), nullptr);
    EXPECT_THAT(server.calls(), IsEmpty());
}

TEST_F(CaToolTest, StoresTypeAndRms)
{
    tool.setType(255);
    EXPECT_EQ(tool.getType(), 255);
    tool.setRms(0.0F);
    EXPECT_EQ(tool.getRms(), 0.0F);
    EXPECT_TRUE(tool.isRmsValid());
}

TEST_F(CaToolTest, UpdatesItsRealMarkers)
{
    server.realPoints = {ScriptedToolServer::points(0, "", {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, 0.25F)};
    const SignalLog log(tool);

    EXPECT_EQ(tool.updateReals(), 0);

    EXPECT_THAT(server.calls(), ElementsAre("getReals Drill"));
    EXPECT_TRUE(tool.isRealsValid());
    EXPECT_EQ(tool.getReal(0), Vector3d(1, 2, 3));
    EXPECT_EQ(tool.getReals()[2], Vector3d(7, 8, 9));
    EXPECT_EQ(tool.getRms(), 0.25F);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("reals valid"));
}

TEST_F(CaToolTest, PassesOnAPositiveStatusAsSuccess)
{
    server.realPoints = {ScriptedToolServer::points(1, "", {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}})};
    EXPECT_EQ(tool.updateReals(), 1);
    EXPECT_TRUE(tool.isRealsValid());
}

TEST_F(CaToolTest, InvalidatesItsRealMarkersWhenTheServerFails)
{
    server.realPoints = {ScriptedToolServer::points(0, "", {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}),
                         ScriptedToolServer::points(-10)};
    tool.updateReals();
    const SignalLog log(tool);

    EXPECT_EQ(tool.updateReals(), -10);

    EXPECT_FALSE(tool.isRealsValid());
    EXPECT_EQ(tool.getRms(), -1.0F);
    EXPECT_EQ(tool.getReal(0), Vector3d(1, 2, 3)); // the last measurement stays, marked invalid
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("reals invalid"));
}

TEST_F(CaToolTest, ClearsTheRmsWhileItAsksForRealMarkersOnly)
{
    float during = 0.0F;
    server.onCall = [&](const std::string&) { during = tool.getRms(); };
    tool.setRms(0.5F);
    tool.updateReals();
    EXPECT_EQ(during, -1.0F);

    tool.setRms(0.5F);
    tool.updateImags();
    EXPECT_EQ(during, 0.5F);
}

TEST_F(CaToolTest, UpdatesItsImaginaryPoints)
{
    server.imagPoints = {ScriptedToolServer::points(0, "", {{1, 2, 3}, {4, 5, 6}}, 0.75F),
                         ScriptedToolServer::points(-9)};
    const SignalLog log(tool);

    EXPECT_EQ(tool.updateImags(), 0);
    EXPECT_THAT(server.calls(), ElementsAre("getImags Drill"));
    EXPECT_TRUE(tool.isImagsValid());
    EXPECT_EQ(tool.getImag(1), Vector3d(4, 5, 6));
    EXPECT_EQ(tool.getImags()[0], Vector3d(1, 2, 3));
    EXPECT_EQ(tool.getRms(), 0.75F);

    EXPECT_EQ(tool.updateImags(), -9);
    EXPECT_FALSE(tool.isImagsValid());
    EXPECT_EQ(tool.getRms(), -1.0F);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("imags valid", "imags invalid"));
}

TEST(CaTool, DoesNotAskForPointsThatItDoesNotHave)
{
    ScriptedToolServer server;
    CaTool tool(&server, "Drill", 0, 0, 0);
    tool.setRms(0.5F);
    const SignalLog log(tool);

    EXPECT_EQ(tool.updateReals(), 0);
    EXPECT_EQ(tool.updateImags(), 0);
    EXPECT_EQ(tool.calibrate(), 0);

    EXPECT_EQ(tool.getRms(), 0.5F);
    EXPECT_THAT(server.calls(), IsEmpty());
    EXPECT_THAT(log.signalsSoFar(), IsEmpty());
}

TEST_F(CaToolTest, UpdatesAndAnnouncesItsPose)
{
    server.poses = {ScriptedToolServer::pose(0, "", quarterTurnAboutZ(), Vector3d(10, 20, 30), 0.125F)};
    tool.setRms(0.5F);
    float rmsInSlot = 0.0F;
    QObject::connect(&tool, &CaTool::TransformationUpdatedSIG, [&] { rmsInSlot = tool.getRms(); });
    QSignalSpy spy(&tool, SIGNAL(TransformationUpdatedSIG(TransMatrix3d, bool)));

    EXPECT_EQ(tool.updateTransform(), 0);

    EXPECT_THAT(server.calls(), ElementsAre("getTransform Drill"));
    EXPECT_TRUE(tool.isTransformValid());
    EXPECT_EQ(tool.getRotation(), quarterTurnAboutZ());
    EXPECT_EQ(tool.getTranslation(), Vector3d(10, 20, 30));
    EXPECT_EQ(tool.getRms(), 0.125F);
    EXPECT_EQ(rmsInSlot, 0.5F); // the RMS error follows the announcement
    ASSERT_EQ(spy.count(), 1);
    EXPECT_EQ(spy.at(0).at(0).value<TransMatrix3d>(), TransMatrix3d(quarterTurnAboutZ(), Vector3d(10, 20, 30)));
    EXPECT_TRUE(spy.at(0).at(1).toBool());
}

TEST_F(CaToolTest, LosesItsPoseWithoutASignalWhenTheServerFails)
{
    server.poses = {ScriptedToolServer::pose(0), ScriptedToolServer::pose(-10)};
    tool.updateTransform();
    const SignalLog log(tool);

    EXPECT_EQ(tool.updateTransform(), -10);

    EXPECT_FALSE(tool.isTransformValid());
    EXPECT_EQ(tool.getRms(), -1.0F);
    EXPECT_THAT(log.signalsSoFar(), IsEmpty());
}

TEST(CaTool, ReportsAMissingServer)
{
    CaTool tool(nullptr, "Drill", 0, 1, 1);
    CaTool reference(nullptr, "Reference", 0, 0, 0);
    const SignalLog log(tool);

    EXPECT_EQ(tool.getToolServer(), nullptr);
    EXPECT_EQ(tool.updateReals(), -1);
    EXPECT_EQ(tool.updateImags(), -1);
    EXPECT_EQ(tool.updateTransform(), -1);
    EXPECT_EQ(tool.calibrate(), -1);
    EXPECT_EQ(tool.updateImags(&reference), -10);
    EXPECT_FALSE(tool.hasValidTransformation(false));
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("reals invalid", "imags invalid"));
}

TEST_F(CaToolTest, MarksPointsValidThatAreSet)
{
    const SignalLog log(tool);
    const Vector3d imags[] = {{1, 2, 3}, {4, 5, 6}};
    const Vector3d reals[] = {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}};

    tool.setImags(imags);
    EXPECT_TRUE(tool.isImagsValid());
    EXPECT_FALSE(tool.isRealsValid());
    tool.setReals(reals);
    EXPECT_TRUE(tool.isRealsValid());
    EXPECT_EQ(tool.getImag(1), Vector3d(4, 5, 6));
    EXPECT_EQ(tool.getReal(2), Vector3d(3, 0, 0));
    EXPECT_THAT(log.signalsSoFar(), IsEmpty());

    CaTool empty(&server, "Empty", 0, 0, 0);
    empty.setImags(nullptr);
    empty.setReals(nullptr);
    EXPECT_TRUE(empty.isImagsValid());
    EXPECT_TRUE(empty.isRealsValid());
}

TEST_F(CaToolTest, LosesTheRmsWithAnyMeasurement)
{
    using Invalidate = void (CaTool::*)();
    for (const Invalidate invalidate :
         {&CaTool::setImagsInvalid, &CaTool::setRealsInvalid, &CaTool::setTransformInvalid})
    {
        const Vector3d points[] = {{}, {}, {}};
        tool.setImags(points);
        tool.setReals(points);
        tool.setTransform(Matrix3x3(), Vector3d(), false);
        tool.setRms(0.5F);

        (tool.*invalidate)();

        EXPECT_EQ(tool.getRms(), -1.0F);
        EXPECT_EQ(tool.isImagsValid(), invalidate != &CaTool::setImagsInvalid);
        EXPECT_EQ(tool.isRealsValid(), invalidate != &CaTool::setRealsInvalid);
        EXPECT_EQ(tool.isTransformValid(), invalidate != &CaTool::setTransformInvalid);
    }
}

TEST_F(CaToolTest, AnnouncesASetPoseOnlyWhenAsked)
{
    const SignalLog log(tool);
    tool.setTransform(quarterTurnAboutZ(), Vector3d(1, 2, 3), false);
    EXPECT_THAT(log.signalsSoFar(), IsEmpty());
    tool.setTransform(quarterTurnAboutZ(), Vector3d(1, 2, 3), true);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("transform valid"));
}

TEST_F(CaToolTest, AnnouncesAnInvalidPoseWithItsLastValue)
{
    tool.setTransform(quarterTurnAboutZ(), Vector3d(1, 2, 3), false);
    tool.setTransformInvalid();
    QSignalSpy spy(&tool, SIGNAL(TransformationUpdatedSIG(TransMatrix3d, bool)));

    tool.notifyAboutNewTransformation();

    ASSERT_EQ(spy.count(), 1);
    EXPECT_EQ(spy.at(0).at(0).value<TransMatrix3d>(), TransMatrix3d(quarterTurnAboutZ(), Vector3d(1, 2, 3)));
    EXPECT_FALSE(spy.at(0).at(1).toBool());
}

TEST_F(CaToolTest, CopiesOutAValidPoseOnly)
{
    TransMatrix3d pose(Matrix3x3(), Vector3d(9, 9, 9));
    EXPECT_FALSE(tool.getTransform(pose));
    EXPECT_EQ(pose.getTranslation(), Vector3d(9, 9, 9));

    tool.setTransform(quarterTurnAboutZ(), Vector3d(1, 2, 3), false);
    EXPECT_TRUE(tool.getTransform(pose));
    EXPECT_EQ(pose, TransMatrix3d(quarterTurnAboutZ(), Vector3d(1, 2, 3)));
}

TEST(CaTool, CountsMarkersCloserThanTheServersMark)
{
    CaTool tool(nullptr, "Drill", 0, 0, 5);
    const double limit = 1e7; // squared
    Vector3d undefined;
    undefined.setUndefined();
    const Vector3d reals[] = {{3000, 0, 0},          // 9e6
                              {10000, 0, 0},         // 1e8
                              {3000, 1000, 0},       // exactly 1e7
                              {0, 1000, -2999.9999}, // just below
                              undefined};
    ASSERT_EQ(reals[2].dot(reals[2]), limit);

    tool.setReals(reals);

    EXPECT_EQ(tool.numberOfRealsVisible(), 2);
}

TEST(CaTool, IsVisibleFromThreeMarkersOn)
{
    CaTool tool(nullptr, "Drill", 0, 0, 3);
    const Vector3d away(10000, 0, 0);
    const Vector3d two[] = {{1, 0, 0}, away, {2, 0, 0}};
    tool.setReals(two);
    EXPECT_FALSE(tool.isToolVisible());

    const Vector3d three[] = {{1, 0, 0}, {3000, 0, 0}, {2, 0, 0}};
    tool.setReals(three);
    EXPECT_TRUE(tool.isToolVisible());
}

TEST_F(CaToolTest, HasAValidTransformationWhenItsPoseIsUpdated)
{
    server.poses = {ScriptedToolServer::pose(0), ScriptedToolServer::pose(-2)};
    EXPECT_TRUE(tool.hasValidTransformation(false));
    EXPECT_FALSE(tool.hasValidTransformation(false));
    EXPECT_THAT(server.calls(), ElementsAre("getTransform Drill", "getTransform Drill"));
}

TEST_F(CaToolTest, NeedsEveryMarkerForAFullyVisibleTransformation)
{
    const std::vector<Vector3d> visible = {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}};
    const std::vector<Vector3d> oneAway = {{1, 0, 0}, {-3e28, 0, 0}, {3, 0, 0}};
    server.poses = {ScriptedToolServer::pose(0), ScriptedToolServer::pose(0), ScriptedToolServer::pose(-10)};
    server.realPoints = {ScriptedToolServer::points(0, "", visible), ScriptedToolServer::points(0, "", oneAway),
                         ScriptedToolServer::points(0, "", visible)};

    EXPECT_TRUE(tool.hasValidTransformation(true));
    EXPECT_FALSE(tool.hasValidTransformation(true));
    EXPECT_TRUE(tool.isTransformValid());
    EXPECT_FALSE(tool.hasValidTransformation(true)); // all markers, but no pose
    EXPECT_EQ(server.count("getReals Drill"), 3);
}

TEST_F(CaToolTest, CountsTheLastMeasuredMarkersWhenTheirUpdateFails)
{
    const Vector3d visible[] = {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}};
    tool.setReals(visible);
    server.poses = {ScriptedToolServer::pose(0)};
    server.realPoints = {ScriptedToolServer::points(-2)};

    EXPECT_TRUE(tool.hasValidTransformation(true));
    EXPECT_FALSE(tool.isRealsValid());
}

TEST_F(CaToolTest, ExpressesImaginaryPointsInTheFrameOfAReference)
{
    CaTool reference(&server, "Reference", 0, 0, 0);
    tool.setRigImag(0, Vector3d(1, 0, 0));
    tool.setRigImag(1, Vector3d(0, 2, 5));
    server.poses = {ScriptedToolServer::pose(0, "", quarterTurnAboutZ(), Vector3d(10, 20, 30)),
                    ScriptedToolServer::pose(0, "", quarterTurnAboutZ(), Vector3d(4, 3, 2))};
    const SignalLog log(tool);

    EXPECT_EQ(tool.updateImags(&reference), 0);

    EXPECT_THAT(server.calls(), ElementsAre("getTransform Drill", "getTransform Reference"));
    EXPECT_TRUE(tool.isImagsValid());
    // (1, 0, 0) is at (10, 21, 30) for the camera: (6, 18, 28) from the reference, turned back by 90 degrees
    EXPECT_EQ(tool.getImag(0), Vector3d(18, -6, 28));
    // (0, 2, 5) is at (8, 20, 35) for the camera: (4, 17, 33) from the reference
    EXPECT_EQ(tool.getImag(1), Vector3d(17, -4, 33));
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("transform valid"));
}

TEST_F(CaToolTest, TellsWhetherToolOrReferenceIsOutOfView)
{
    CaTool reference(&server, "Reference", 0, 0, 0);
    const Vector3d imags[] = {{}, {}};

    server.poses = {ScriptedToolServer::pose(-10), ScriptedToolServer::pose(-2)};
    tool.setImags(imags);
    EXPECT_EQ(tool.updateImags(&reference), -10);
    EXPECT_FALSE(tool.isImagsValid());
    EXPECT_EQ(server.count("getTransform Reference"), 1);

    server.poses = {ScriptedToolServer::pose(0), ScriptedToolServer::pose(-2)};
    tool.setImags(imags);
    EXPECT_EQ(tool.updateImags(&reference), -9);
    EXPECT_FALSE(tool.isImagsValid());
}

TEST_F(CaToolTest, TakesANullReferenceAsOutOfView)
{
    server.poses = {ScriptedToolServer::pose(0), ScriptedToolServer::pose(-10)};
    EXPECT_EQ(tool.updateImags(nullptr), -9);
    EXPECT_EQ(tool.updateImags(nullptr), -10);
}

TEST_F(CaToolTest, CanBeItsOwnReference)
{
    server.poses = {ScriptedToolServer::pose(0, "", quarterTurnAboutZ(), Vector3d(10, 20, 30))};
    tool.setRigImag(0, Vector3d(1, 2, 3));
    EXPECT_EQ(tool.updateImags(&tool), 0);
    EXPECT_EQ(tool.getImag(0), Vector3d(1, 2, 3));
}

TEST_F(CaToolTest, SurvivesAReferenceThatASlotDeletes)
{
    server.poses = {ScriptedToolServer::pose(0)};
    auto* reference = new CaTool(&server, "Reference", 0, 0, 0);
    QObject::connect(&tool, &CaTool::TransformationUpdatedSIG, [&] { delete reference; });

    EXPECT_EQ(tool.updateImags(reference), -9);
    EXPECT_THAT(server.calls(), ElementsAre("getTransform Drill"));
}

TEST_F(CaToolTest, SurvivesApplicationObjectsThatASlotDeletes)
{
    class Data : public CaClientData
    {
    };
    server.poses = {ScriptedToolServer::pose(0)};
    tool.setClientData(new Data);
    auto* receiver = new QObject;
    int calls = 0;
    QObject::connect(&tool, &CaTool::TransformationUpdatedSIG,
                     [&]
                     {
                         delete receiver;
                         receiver = nullptr;
                         tool.setClientData(nullptr);
                     });
    QObject::connect(&tool, &CaTool::TransformationUpdatedSIG, receiver, [&] { ++calls; });

    EXPECT_EQ(tool.updateTransform(), 0);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(tool.getClientData(), nullptr);
}

TEST_F(CaToolTest, CalibratesWithItsRigidBodysImaginaryPoints)
{
    server.calibration = {-20};
    tool.setRigImag(0, Vector3d(1, 2, 3));
    tool.setRigImag(1, Vector3d(4, 5, 6));
    EXPECT_EQ(tool.calibrate(), -20);
    EXPECT_THAT(server.calls(), ElementsAre("calibrate Drill (1,2,3)(4,5,6)"));
}

TEST(CaTool, EqualsAToolOfTheSameGeometry)
{
    const Vector3d markers[] = {{1, 2, 3}, {4, 5, 6}};
    const Vector3d sameSum[] = {{21, 0, 0}, {0, 0, 0}};
    const Vector3d otherSum[] = {{1, 2, 3}, {4, 5, 6.0000001}};
    CaTool tool(nullptr, "Drill", 0, 1, 2);
    CaTool same(nullptr, "Pointer", 5, 1, 2);
    CaTool otherImags(nullptr, "Drill", 0, 2, 2);
    CaTool otherReals(nullptr, "Drill", 0, 1, 3);
    tool.setRigReals(markers);
    same.setRigReals(sameSum);
    otherImags.setRigReals(markers);

    EXPECT_TRUE(tool.equals(same));
    EXPECT_TRUE(tool.equals(tool));
    EXPECT_FALSE(tool.equals(otherImags));
    EXPECT_FALSE(tool.equals(otherReals));
    same.setRigReals(otherSum);
    EXPECT_FALSE(tool.equals(same));
}

TEST_F(CaToolTest, AnnouncesPluggingAsAChangeOfThePlug)
{
    const SignalLog log(tool);
    tool.plug(3);
    EXPECT_EQ(tool.getPortNumber(), 3);
    EXPECT_TRUE(tool.isPlugged());
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("unplugged"));

    tool.plug(3);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("unplugged", "unplugged"));
}

TEST_F(CaToolTest, AnnouncesUnpluggingOnce)
{
    tool.plug(3);
    const SignalLog log(tool);
    tool.unplug();
    tool.unplug();
    EXPECT_EQ(tool.getPortNumber(), -1);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("unplugged"));
}

TEST_F(CaToolTest, KeepsMeasuredPointsWhenTheirNumberChanges)
{
    const Vector3d imags[] = {{1, 2, 3}, {4, 5, 6}};
    const Vector3d reals[] = {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}};
    tool.setImags(imags);
    tool.setReals(reals);
    const EventLog log(tool);

    tool.setNumberOfImags(3);
    tool.setNumberOfReals(1);
    EXPECT_EQ(tool.getNumberOfImags(), 3);
    EXPECT_EQ(tool.getImag(1), Vector3d(4, 5, 6));
    EXPECT_EQ(tool.getImag(2), Vector3d());
    EXPECT_EQ(tool.getNumberOfReals(), 1);
    EXPECT_EQ(tool.getReal(0), Vector3d(1, 0, 0));
    EXPECT_EQ(tool.numberOfRealsVisible(), 1);

    tool.setNumberOfImags(3);
    tool.setNumberOfReals(1);
    EXPECT_THAT(log.events(), ElementsAre("CaRigidBody::RIGIMAGS_CHANGED", "CaRigidBody::RIGREALS_CHANGED"));
}

TEST_F(CaToolTest, GivesUndefinedPointsOutsideTheTool)
{
    EXPECT_TRUE(tool.getImag(2).isUndefined());
    EXPECT_TRUE(tool.getImag(-1).isUndefined());
    EXPECT_TRUE(tool.getReal(3).isUndefined());
}

TEST(CaTool, LeavesPointsUndefinedThatTheServerDidNotDeliver)
{
    ScriptedToolServer server;
    CaTool tool(&server, "Drill", 0, 2, 3);
    for (const int claimed : {1, -7, 100})
    {
        ScriptedToolServer::Points reply = ScriptedToolServer::points(0, "", {{1, 2, 3}});
        reply.count = claimed;
        server.realPoints = {reply};
        server.imagPoints = {reply};
        EXPECT_EQ(tool.updateReals(), 0);
        EXPECT_EQ(tool.updateImags(), 0);
        EXPECT_EQ(tool.getReal(0).isUndefined(), claimed < 1) << claimed;
        EXPECT_EQ(tool.getReal(2).isUndefined(), claimed < 3) << claimed;
        EXPECT_EQ(tool.getImag(1).isUndefined(), claimed < 2) << claimed;
    }
}

TEST(CaTool, HasMorePointsThanAServerDelivers)
{
    ScriptedToolServer server;
    CaTool tool(&server, "Drill", 0, 9, 33);
    const std::vector<Vector3d> many(40, Vector3d(1, 2, 3));
    server.realPoints = {ScriptedToolServer::points(0, "", many)};
    server.imagPoints = {ScriptedToolServer::points(0, "", many)};
    server.poses = {ScriptedToolServer::pose(0)};

    EXPECT_EQ(tool.updateReals(), 0);
    EXPECT_EQ(tool.getReal(31), Vector3d(1, 2, 3));
    EXPECT_TRUE(tool.getReal(32).isUndefined());
    EXPECT_EQ(tool.numberOfRealsVisible(), 32);

    EXPECT_EQ(tool.updateImags(), 0);
    EXPECT_EQ(tool.getImag(7), Vector3d(1, 2, 3));
    EXPECT_TRUE(tool.getImag(8).isUndefined());

    tool.setRigImag(8, Vector3d(7, 7, 7)); // from the rigid body, so no buffer limits it
    EXPECT_EQ(tool.updateImags(&tool), 0);
    EXPECT_EQ(tool.getImag(8), Vector3d(7, 7, 7));
}

TEST_F(CaToolTest, EmitsUnderItsRecursiveMutex)
{
    server.poses = {ScriptedToolServer::pose(0)};
    bool otherThreadWaited = false;
    QObject::connect(&tool, &CaTool::TransformationUpdatedSIG,
                     [&]
                     {
                         EXPECT_TRUE(tool.isTransformValid()); // the own thread gets in again
                         auto other = std::async(std::launch::async, [&] { tool.setTransformInvalid(); });
                         other.get(); // takes no mutex, so it does not wait
                         EXPECT_FALSE(tool.isTransformValid());
                     });
    std::thread reader;
    std::atomic<bool> updateIsOver{false};
    QObject::connect(&tool, &CaTool::TransformationUpdatedSIG,
                     [&]
                     {
                         std::promise<void> started;
                         reader = std::thread(
                             [&, start = &started]
                             {
                                 start->set_value();
                                 tool.getRms(); // waits for the end of the update
                                 otherThreadWaited = updateIsOver;
                             });
                         started.get_future().wait();
                         updateIsOver = true;
                     });

    tool.updateTransform();
    reader.join();
    EXPECT_TRUE(otherThreadWaited);
}

TEST(CaTool, SendsItsPoseToAnotherThread)
{
    CaTool tool(nullptr, "Drill", 0, 0, 0);
    QObject receiver; // lives here, so what another thread announces comes through the event loop
    std::vector<TransMatrix3d> received;
    QObject::connect(&tool, &CaTool::TransformationUpdatedSIG, &receiver,
                     [&](TransMatrix3d pose, bool) { received.push_back(pose); });

    std::thread updater([&] { tool.setTransform(quarterTurnAboutZ(), Vector3d(1, 2, 3), true); });
    updater.join();
    EXPECT_THAT(received, IsEmpty());
    QCoreApplication::processEvents();

    EXPECT_THAT(received, ElementsAre(TransMatrix3d(quarterTurnAboutZ(), Vector3d(1, 2, 3))));
}

TEST(CaTool, IsUpdatedAndReadByManyThreads)
{
    ScriptedToolServer server;
    server.poses = {ScriptedToolServer::pose(0, "", quarterTurnAboutZ(), Vector3d(1, 1, 1)),
                    ScriptedToolServer::pose(-10),
                    ScriptedToolServer::pose(0, "", quarterTurnAboutZ(), Vector3d(2, 2, 2))};
    server.realPoints = {ScriptedToolServer::points(0, "", {{1, 1, 1}, {2, 2, 2}}), ScriptedToolServer::points(-10)};
    CaTool drill(&server, "Drill", 0, 1, 2);
    CaTool guide(&server, "Guide", 0, 1, 2);

    // Each tool is the other's reference, which would deadlock if the mutexes were taken one after the other.
    const auto update = [](CaTool& tool, CaTool& reference)
    {
        for (int i = 0; i < 200; ++i)
        {
            tool.updateImags(&reference);
            tool.updateReals();
            TransMatrix3d pose;
            reference.getTransform(pose);
            EXPECT_EQ(pose.getTranslation().x, pose.getTranslation().z);
            EXPECT_TRUE(tool.equals(reference));
            reference.setImagsInvalid();
            tool.getImag(0);
        }
    };
    std::thread one([&] { update(drill, guide); });
    std::thread two([&] { update(guide, drill); });
    one.join();
    two.join();
}

TEST(CaTool, DiesAfterThoseWhoWaitForIt)
{
    ScriptedToolServer server;
    std::promise<void> updating, readerIsClose;
    server.poses = {ScriptedToolServer::pose(0, "", Matrix3x3(), Vector3d(1, 2, 3))};
    auto tool = std::make_unique<CaTool>(&server, "Drill", 0, 0, 1);
    std::shared_future<void> mayGoOn = readerIsClose.get_future().share();
    server.onCall = [&](const std::string& call)
    {
        if (call != "getTransform Drill")
            return;
        updating.set_value();
        mayGoOn.wait();
    };

    std::thread updater([&] { EXPECT_EQ(tool->updateTransform(), 0); });
    updating.get_future().wait(); // the updater holds the mutex
    std::thread destroyer(
        [&]
        {
            readerIsClose.set_value();
            tool.reset();
        });
    updater.join();
    destroyer.join();
    EXPECT_EQ(tool, nullptr);
}
