#include <SurgicalTools/PointerTool.h>
#include <support/Instruments.h>
#include <support/ScriptedToolServer.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

/// A pointer and a reference, each with a body of the same server.
struct PointerToolTest : testing::Test
{
    PointerToolTest()
    {
        bind(pointer, pointerBody.get());
        bind(reference, referenceBody.get());
    }

    ScriptedToolServer server;
    std::unique_ptr<CaTool> pointerBody = bodyWith({{1, 0, 0}}, &server, "Pointer");
    std::unique_ptr<CaTool> referenceBody = bodyWith({}, &server, "Reference");
    PointerTool pointer;
    SurgicalTool reference;
    SurgicalTool unboundReference;
};

} // namespace

TEST_F(PointerToolTest, AsksForItsTipInTheCamerasFrame)
{
    server.imagPoints = {ScriptedToolServer::points(0, "", {{1, 2, 3}}),
                         ScriptedToolServer::points(0, "", {{4, 5, 6}})};
    EXPECT_EQ(pointer.getTipPosition(nullptr), Vector3d(1, 2, 3));
    EXPECT_EQ(pointer.getTipPosition(&unboundReference), Vector3d(4, 5, 6));
    EXPECT_THAT(server.calls(), ElementsAre("getImags Pointer", "getImags Pointer"));
}

TEST_F(PointerToolTest, ExpressesItsTipInTheFrameOfAReference)
{
    server.poses = {ScriptedToolServer::pose(0, "", quarterTurnAboutZ(), Vector3d(10, 20, 30)),
                    ScriptedToolServer::pose(0, "", quarterTurnAboutZ(), Vector3d(4, 3, 2))};
    // The tip is at (10, 21, 30) for the camera: (6, 18, 28) from the reference, turned back by 90 degrees.
    EXPECT_EQ(pointer.getTipPosition(&reference), Vector3d(18, -6, 28));
    EXPECT_THAT(server.calls(), ElementsAre("getTransform Pointer", "getTransform Reference"));
}

TEST_F(PointerToolTest, GivesTheLastTipWhileItIsOutOfView)
{
    server.imagPoints = {ScriptedToolServer::points(0, "", {{1, 2, 3}}), ScriptedToolServer::points(-10)};
    pointer.getTipPosition(nullptr);
    EXPECT_EQ(pointer.getTipPosition(nullptr), Vector3d(1, 2, 3));
}

TEST_F(PointerToolTest, TellsWhetherItsTipIsValid)
{
    server.imagPoints = {ScriptedToolServer::points(0, "", {{1, 2, 3}}), ScriptedToolServer::points(-10)};
    Vector3d tip;
    EXPECT_TRUE(pointer.getTipPosition(&tip, nullptr));
    EXPECT_EQ(tip, Vector3d(1, 2, 3));

    tip = Vector3d();
    EXPECT_FALSE(pointer.getTipPosition(&tip, nullptr));
    EXPECT_EQ(tip, Vector3d(1, 2, 3)); // the last one
}

TEST_F(PointerToolTest, StoresItsTipInTheFrameOfAReference)
{
    server.poses = {ScriptedToolServer::pose(0, "", quarterTurnAboutZ(), Vector3d(10, 20, 30)),
                    ScriptedToolServer::pose(0, "", quarterTurnAboutZ(), Vector3d(4, 3, 2)),
                    ScriptedToolServer::pose(0), ScriptedToolServer::pose(-10)};
    Vector3d tip;
    EXPECT_TRUE(pointer.getTipPosition(&tip, &reference));
    EXPECT_EQ(tip, Vector3d(18, -6, 28));
    EXPECT_FALSE(pointer.getTipPosition(&tip, &reference)); // the reference is out of view
}

TEST_F(PointerToolTest, AsksNothingForAReferenceWithoutBodyWhenItTellsValidity)
{
    Vector3d tip;
    EXPECT_FALSE(pointer.getTipPosition(&tip, &unboundReference));

    const Vector3d measured(7, 8, 9);
    pointerBody->setImags(&measured);
    EXPECT_TRUE(pointer.getTipPosition(&tip, &unboundReference));
    EXPECT_EQ(tip, Vector3d(7, 8, 9));
    EXPECT_THAT(server.calls(), IsEmpty());
}

TEST_F(PointerToolTest, HasNoTipWithoutABody)
{
    PointerTool unbound;
    Vector3d tip(9, 9, 9);
    EXPECT_FALSE(unbound.getTipPosition(&tip, nullptr));
    EXPECT_FALSE(unbound.getTipPosition(&tip, &reference));
    EXPECT_EQ(tip, Vector3d(9, 9, 9));
}

TEST(PointerTool, HasAnUndefinedTipOnABodyWithoutPoints)
{
    ScriptedToolServer server;
    const auto body = bodyWith({}, &server);
    PointerTool pointer;
    bind(pointer, body.get());
    EXPECT_TRUE(pointer.getTipPosition(nullptr).isUndefined());
}

TEST_F(PointerToolTest, HasTheSameTipWhereverTheCameraStands)
{
    RandomMotions motions;
    for (int i = 0; i < 100; ++i)
    {
        const TransMatrix3d pointerPose = motions.next();
        const TransMatrix3d referencePose = motions.next();
        const TransMatrix3d cameraMotion = motions.next();
        pointerBody->setRigImag(0, motions.point(300.0));
        Vector3d tips[2];
        for (const bool isMoved : {false, true})
        {
            std::vector<ScriptedToolServer::Pose> poses;
            for (const TransMatrix3d& pose : {pointerPose, referencePose})
            {
                const TransMatrix3d seen = isMoved ? cameraMotion * pose : pose;
                poses.push_back(ScriptedToolServer::pose(0, "", seen.getRotation(), seen.getTranslation()));
            }
            server.poses = poses;
            tips[isMoved ? 1 : 0] = pointer.getTipPosition(&reference);
        }
        EXPECT_THAT(tips[1], IsCloseTo(tips[0]));
        EXPECT_THAT(tips[0], IsCloseTo(referencePose.inverted() * (pointerPose * pointerBody->getRigImag(0))));
    }
}
