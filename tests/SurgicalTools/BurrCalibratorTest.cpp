#include <SurgicalTools/BurrCalibrator.h>
#include <support/Instruments.h>
#include <support/LogCapture.h>
#include <support/ScriptedToolServer.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

// u = (1, 0, 0), v = (0, 1, 0), n = (0, 0, 1)
const std::vector<Vector3d> BLOCK = {{0, 0, 0}, {0, -1, 0}, {1, -1, 0}};
const Vector3d HOLE_5MM(2.5, -35, -2.45);
const Vector3d HOLE_8MM(32.5, -35, -2.45);

/// A block and an instrument, each with a body of the same server; both stand where the camera is unless a test says
/// otherwise.
struct BurrCalibratorTest : testing::Test
{
    BurrCalibratorTest()
    {
        bind(block, blockBody.get());
        bind(burr, burrBody.get());
        server.poses = {ScriptedToolServer::pose(0)};
        server.imagPoints = {ScriptedToolServer::points(0, "", BLOCK)};
    }

    ScriptedToolServer server;
    std::unique_ptr<CaTool> blockBody = bodyWith(BLOCK, &server, "Block");
    std::unique_ptr<CaTool> burrBody = bodyWith({HOLE_5MM}, &server, "Burr");
    BurrCalibrator block;
    SurgicalTool burr;
    SurgicalTool unbound;
};

ScriptedToolServer::Pose seen(const TransMatrix3d& pose)
{
    return ScriptedToolServer::pose(0, "", pose.getRotation(), pose.getTranslation());
}

} // namespace

TEST_F(BurrCalibratorTest, HasItsPointsInTheCamerasFrame)
{
    EXPECT_EQ(block.getCalibrationPoint0(nullptr), Vector3d(17, -2.5, 10.5));
    EXPECT_EQ(block.getCalibrationPoint1(nullptr), Vector3d(17, -1, 10.5));
    EXPECT_THAT(server.calls(), ElementsAre("getImags Block", "getImags Block"));
}

TEST_F(BurrCalibratorTest, HasItsPointsInTheFrameOfAReference)
{
    server.poses = {seen(TransMatrix3d(Matrix3x3(), Vector3d(100, 200, 300))),
                    seen(TransMatrix3d(quarterTurnAboutZ(), Vector3d(10, 20, 30)))};
    // Point 0 is at (117, 197.5, 310.5) for the camera: (107, 177.5, 280.5) from the reference, turned back.
    EXPECT_EQ(block.getCalibrationPoint0(&burr), Vector3d(177.5, -107, 280.5));

    server.poses = {seen(TransMatrix3d(Matrix3x3(), Vector3d(100, 200, 300))),
                    seen(TransMatrix3d(quarterTurnAboutZ(), Vector3d(10, 20, 30)))};
    EXPECT_EQ(block.getCalibrationPoint1(&burr), Vector3d(179, -107, 280.5));
    EXPECT_THAT(server.calls(),
                ElementsAre("getTransform Block", "getTransform Burr", "getTransform Block", "getTransform Burr"));
}

TEST_F(BurrCalibratorTest, NormalisesTheDirectionsOfTheBlock)
{
    // Long sides at an angle: u = (1, 0, 0), v = (0.6, 0.8, 0), n = (0, 0, 1).
    server.imagPoints = {ScriptedToolServer::points(0, "", {{6, 8, 0}, {0, 0, 0}, {40, 0, 0}})};
    EXPECT_THAT(block.getCalibrationPoint0(nullptr), IsCloseTo(Vector3d(6 + 17 - 1.5, 8 - 2, 10.5)));
    EXPECT_THAT(block.getCalibrationPoint1(nullptr), IsCloseTo(Vector3d(17, 0, 10.5)));
}

TEST_F(BurrCalibratorTest, HasNoPointsWhileItIsOutOfView)
{
    const LogCapture log;
    server.imagPoints = {ScriptedToolServer::points(-10)};
    server.poses = {ScriptedToolServer::pose(-10)};
    EXPECT_TRUE(block.getCalibrationPoint0(nullptr).isUndefined());
    EXPECT_TRUE(block.getCalibrationPoint1(nullptr).isUndefined());
    EXPECT_TRUE(block.getCalibrationPoint0(&burr).isUndefined());
    EXPECT_TRUE(block.getCalibrationPoint1(&burr).isUndefined());
    EXPECT_THAT(log.entries(), IsEmpty());
}

TEST_F(BurrCalibratorTest, HasNoPointsWithoutRigidBodies)
{
    const LogCapture log;
    BurrCalibrator unboundBlock;
    for (SurgicalTool* reference : {static_cast<SurgicalTool*>(nullptr), &burr, &unbound})
    {
        EXPECT_TRUE(unboundBlock.getCalibrationPoint0(reference).isUndefined());
        EXPECT_TRUE(unboundBlock.getCalibrationPoint1(reference).isUndefined());
    }
    EXPECT_TRUE(block.getCalibrationPoint0(&unbound).isUndefined());
    EXPECT_TRUE(block.getCalibrationPoint1(&unbound).isUndefined());
    EXPECT_THAT(log.entries(), IsEmpty());
    EXPECT_THAT(server.calls(), IsEmpty());
}

TEST_F(BurrCalibratorTest, FindsABurrInItsHoles)
{
    burrBody->setRigImag(0, HOLE_5MM);
    EXPECT_TRUE(block.isIn5mmHole(&burr));
    EXPECT_FALSE(block.isIn8mmHole(&burr));
    burrBody->setRigImag(0, HOLE_8MM);
    EXPECT_FALSE(block.isIn5mmHole(&burr));
    EXPECT_TRUE(block.isIn8mmHole(&burr));
    EXPECT_EQ(server.count("getTransform Block"), 4);
    EXPECT_EQ(server.count("getTransform Burr"), 4);
}

TEST_F(BurrCalibratorTest, AllowsTenMillimetresOnEachAxis)
{
    for (int axis = 0; axis < 3; ++axis)
        for (const double sign : {1.0, -1.0})
        {
            Vector3d burrCentre = HOLE_5MM;
            burrCentre[axis] = HOLE_5MM[axis] + sign * 10.0;
            burrBody->setRigImag(0, burrCentre);
            EXPECT_TRUE(block.isIn5mmHole(&burr)) << axis << " " << sign;
            burrCentre[axis] = HOLE_5MM[axis] + sign * 10.000001;
            burrBody->setRigImag(0, burrCentre);
            EXPECT_FALSE(block.isIn5mmHole(&burr)) << axis << " " << sign;
        }
    burrBody->setRigImag(0, HOLE_8MM + Vector3d(10, -10, 10)); // a box, not a sphere
    EXPECT_TRUE(block.isIn8mmHole(&burr));
}

TEST_F(BurrCalibratorTest, MeasuresTheHoleInTheFrameOfTheInstrument)
{
    // The block as seen by the instrument stands at (100, 200, 300).
    server.poses = {seen(TransMatrix3d(quarterTurnAboutZ(), Vector3d(-190, 120, 330))),
                    seen(TransMatrix3d(quarterTurnAboutZ(), Vector3d(10, 20, 30)))};
    burrBody->setRigImag(0, HOLE_5MM + Vector3d(100, 200, 300));
    EXPECT_TRUE(block.isIn5mmHole(&burr));
}

TEST_F(BurrCalibratorTest, TellsWhyItCannotLookIntoAHole)
{
    using Test = bool (BurrCalibrator::*)(SurgicalTool*) const;
    BurrCalibrator unboundBlock;
    for (const Test isInHole : {&BurrCalibrator::isIn5mmHole, &BurrCalibrator::isIn8mmHole})
    {
        LogCapture log;
        EXPECT_FALSE((block.*isInHole)(nullptr));
        EXPECT_FALSE((unboundBlock.*isInHole)(nullptr));
        EXPECT_THAT(log.entries(), IsEmpty());

        EXPECT_FALSE((block.*isInHole)(&unbound));
        EXPECT_EQ(log.count("ERROR", "Rigid body is not defined.\n"), 1);
        EXPECT_FALSE((unboundBlock.*isInHole)(&burr));
        EXPECT_EQ(log.count("ERROR", "Rigid body is not defined.\n"), 2);

        server.poses = {ScriptedToolServer::pose(0), ScriptedToolServer::pose(-10)};
        EXPECT_FALSE((block.*isInHole)(&burr));
        EXPECT_EQ(log.count("ERROR", "Imags are not valid.\n"), 1);
        EXPECT_EQ(log.entries().size(), 3U);
    }
}

TEST_F(BurrCalibratorTest, HasNothingDefinedOnABodyWithFewerThanThreePoints)
{
    const auto body = bodyWith({{0, 0, 0}, {0, -1, 0}}, &server, "Block");
    BurrCalibrator poorBlock;
    bind(poorBlock, body.get());
    EXPECT_TRUE(poorBlock.getCalibrationPoint0(&burr).isUndefined());
    EXPECT_TRUE(poorBlock.getCalibrationPoint1(&burr).isUndefined());
    EXPECT_FALSE(poorBlock.isIn5mmHole(&burr));

    const auto pointless = bodyWith({}, &server, "Burr");
    SurgicalTool poorBurr;
    bind(poorBurr, pointless.get());
    EXPECT_FALSE(block.isIn5mmHole(&poorBurr));
}

TEST_F(BurrCalibratorTest, FindsTheSameWhereverTheCameraStands)
{
    RandomMotions motions;
    for (int i = 0; i < 100; ++i)
    {
        const TransMatrix3d blockPose = motions.next();
        const TransMatrix3d burrPose = motions.next();
        const TransMatrix3d cameraMotion = motions.next();
        const TransMatrix3d burrFromBlock = burrPose.inverted() * blockPose;
        const auto look = [&](bool isMoved)
        {
            const TransMatrix3d camera = isMoved ? cameraMotion : TransMatrix3d();
            server.poses = {seen(camera * blockPose), seen(camera * burrPose)};
        };

        for (const bool isMoved : {false, true})
        {
            look(isMoved);
            EXPECT_THAT(block.getCalibrationPoint0(&burr), IsCloseTo(burrFromBlock * Vector3d(17, -2.5, 10.5)));
            look(isMoved);
            EXPECT_THAT(block.getCalibrationPoint1(&burr), IsCloseTo(burrFromBlock * Vector3d(17, -1, 10.5)));

            const Vector3d hole = burrFromBlock * HOLE_8MM;
            for (const double deviation : {9.9999, 10.0001})
            {
                look(isMoved);
                burrBody->setRigImag(0, hole - Vector3d(0, deviation, 0));
                EXPECT_EQ(block.isIn8mmHole(&burr), deviation < 10.0);
            }
        }
    }
}
