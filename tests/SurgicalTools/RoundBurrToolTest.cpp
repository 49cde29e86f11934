#include <SurgicalTools/RoundBurrTool.h>
#include <support/EventLog.h>
#include <support/Instruments.h>
#include <support/LogCapture.h>
#include <support/ScriptedToolServer.h>

#include <QSignalSpy>

#include <limits>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

/// A burr whose axis points up to its tip at (0, 0, 100), and a reference.
struct RoundBurrToolTest : testing::Test
{
    RoundBurrToolTest()
    {
        bind(burr, body.get());
        bind(reference, referenceBody.get());
    }

    ScriptedToolServer server;
    std::unique_ptr<CaTool> body = bodyWith({{0, 0, 100}, {0, 0, 50}}, &server, "Burr");
    std::unique_ptr<CaTool> referenceBody = bodyWith({}, &server, "Reference");
    RoundBurrTool burr;
    SurgicalTool reference;
    QSignalSpy radiusChanges{&burr, SIGNAL(burrRadiusChangedSIG(int))};
    QSignalSpy recalibrations{&burr, SIGNAL(toolRecalibratedSIG())};
};

} // namespace

TEST_F(RoundBurrToolTest, StartsWithoutRadius)
{
    EXPECT_EQ(burr.getRadius(), -1.0);
}

TEST_F(RoundBurrToolTest, MovesItsPointFromTheTipToTheCentre)
{
    const EventLog events(*body);
    burr.setRadius(2.5);
    EXPECT_EQ(burr.getRadius(), 2.5);
    EXPECT_EQ(body->getRigImag(0), Vector3d(0, 0, 97.5));
    EXPECT_EQ(body->getRigImag(1), Vector3d(0, 0, 50));
    EXPECT_THAT(events.events(), ElementsAre("CaRigidBody::RIGIMAGS_CHANGED"));
    EXPECT_EQ(recalibrations.count(), 0);
}

TEST_F(RoundBurrToolTest, MovesItsPointAtEveryCall)
{
    burr.setRadius(2.0);
    burr.setRadius(2.0);
    EXPECT_EQ(body->getRigImag(0), Vector3d(0, 0, 96));
    EXPECT_EQ(burr.getRadius(), 2.0);

    burr.setAxis(Vector3d(0, 0, 100), Vector3d(0, 0, 50)); // teaching the tip again is the way to change a radius
    burr.setRadius(3.0);
    EXPECT_EQ(body->getRigImag(0), Vector3d(0, 0, 97));
}

TEST_F(RoundBurrToolTest, AnnouncesItsRadiusWithoutTheFraction)
{
    for (const double radius : {2.9, 0.5, 1e300})
        burr.setRadius(radius);
    ASSERT_EQ(radiusChanges.count(), 3);
    EXPECT_EQ(radiusChanges.at(0).at(0).toInt(), 2);
    EXPECT_EQ(radiusChanges.at(1).at(0).toInt(), 0);
    EXPECT_EQ(radiusChanges.at(2).at(0).toInt(), std::numeric_limits<int>::max());
}

TEST_F(RoundBurrToolTest, LosesItsRadiusQuietly)
{
    for (const double radius : {0.0, -0.1, std::numeric_limits<double>::quiet_NaN()})
    {
        burr.setRadius(1.0);
        radiusChanges.clear();
        const EventLog events(*body);
        burr.setRadius(radius);
        EXPECT_EQ(burr.getRadius(), -1.0);
        EXPECT_EQ(radiusChanges.count(), 0);
        EXPECT_THAT(events.events(), IsEmpty());
    }
}

TEST(RoundBurrTool, LosesItsRadiusWithoutABodyToo)
{
    RoundBurrTool burr;
    burr.setRadius(0.0);
    EXPECT_EQ(burr.getRadius(), -1.0);
}

TEST(RoundBurrTool, HasNoCentreOnABodyWithoutAnAxis)
{
    const auto body = bodyWith({{0, 0, 100}});
    RoundBurrTool burr;
    bind(burr, body.get());
    burr.setRadius(2.0);
    EXPECT_TRUE(body->getRigImag(0).isUndefined());
}

TEST_F(RoundBurrToolTest, IsTaughtItsAxis)
{
    const EventLog events(*body);
    EXPECT_TRUE(burr.setAxis(Vector3d(1, 2, 3), Vector3d(4, 5, 6)));
    EXPECT_EQ(body->getRigImag(0), Vector3d(1, 2, 3));
    EXPECT_EQ(body->getRigImag(1), Vector3d(4, 5, 6));
    EXPECT_EQ(recalibrations.count(), 1);
    EXPECT_EQ(radiusChanges.count(), 0);
    EXPECT_THAT(events.events(), ElementsAre("CaRigidBody::RIGIMAGS_CHANGED"));
}

TEST(RoundBurrTool, KeepsFurtherPointsWhenItIsTaughtItsAxis)
{
    const auto body = bodyWith({{}, {}, {7, 8, 9}});
    RoundBurrTool burr;
    bind(burr, body.get());
    EXPECT_TRUE(burr.setAxis(Vector3d(1, 2, 3), Vector3d(4, 5, 6)));
    EXPECT_EQ(body->getRigImag(1), Vector3d(4, 5, 6));
    EXPECT_EQ(body->getRigImag(2), Vector3d(7, 8, 9));
}

TEST(RoundBurrTool, RefusesAnAxisWithoutABody)
{
    const LogCapture log;
    RoundBurrTool burr;
    QSignalSpy recalibrations(&burr, SIGNAL(toolRecalibratedSIG()));
    EXPECT_FALSE(burr.setAxis(Vector3d(), Vector3d()));
    EXPECT_EQ(log.count("ERROR", "Rigid body is not defined.\n"), 1);
    EXPECT_EQ(log.entries().size(), 1U);
    EXPECT_EQ(recalibrations.count(), 0);
}

TEST(RoundBurrTool, RefusesAnAxisOnABodyWithFewerThanTwoPoints)
{
    for (const std::vector<Vector3d>& points : {std::vector<Vector3d>{}, std::vector<Vector3d>{{7, 8, 9}}})
    {
        const LogCapture log;
        const auto body = bodyWith(points);
        RoundBurrTool burr;
        bind(burr, body.get());
        EXPECT_FALSE(burr.setAxis(Vector3d(1, 2, 3), Vector3d(4, 5, 6)));
        EXPECT_EQ(log.count("ERROR", "Rigid body has only one imaginary.\n"), 1);
        EXPECT_EQ(log.entries().size(), 1U);
    }
}

TEST_F(RoundBurrToolTest, ExpressesItsCentreInTheFrameOfAReference)
{
    server.poses = {ScriptedToolServer::pose(0, "", Matrix3x3(), Vector3d(10, 20, 30)),
                    ScriptedToolServer::pose(0, "", quarterTurnAboutZ(), Vector3d(4, 3, 2))};
    // (0, 0, 100) is at (10, 20, 130) for the camera: (6, 17, 128) from the reference, turned back by 90 degrees.
    EXPECT_EQ(burr.getBurrPosition(&reference), Vector3d(17, -6, 128));
    EXPECT_THAT(server.calls(), ElementsAre("getTransform Burr", "getTransform Reference"));
}

TEST_F(RoundBurrToolTest, HasNoPositionWithoutAReference)
{
    SurgicalTool unbound;
    RoundBurrTool unboundBurr;
    EXPECT_TRUE(burr.getBurrPosition(nullptr).isUndefined());
    EXPECT_TRUE(burr.getBurrPosition(&unbound).isUndefined());
    EXPECT_TRUE(unboundBurr.getBurrPosition(nullptr).isUndefined());
    EXPECT_THAT(server.calls(), IsEmpty());
}

TEST_F(RoundBurrToolTest, HasTheSameCentreWhereverTheCameraStands)
{
    RandomMotions motions;
    burr.setRadius(3.0);
    for (int i = 0; i < 100; ++i)
    {
        const TransMatrix3d burrPose = motions.next();
        const TransMatrix3d referencePose = motions.next();
        const TransMatrix3d cameraMotion = motions.next();
        const auto seen = [&](const TransMatrix3d& pose)
        {
            const TransMatrix3d moved = cameraMotion * pose;
            return ScriptedToolServer::pose(0, "", moved.getRotation(), moved.getTranslation());
        };
        server.poses = {seen(burrPose), seen(referencePose)};
        EXPECT_THAT(burr.getBurrPosition(&reference),
                    IsCloseTo(referencePose.inverted() * (burrPose * Vector3d(0, 0, 97))));
    }
}
