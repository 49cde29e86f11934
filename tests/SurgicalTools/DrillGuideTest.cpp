#include <SurgicalTools/DrillGuide.h>
#include <support/Instruments.h>

using testing::ElementsAre;

TEST(DrillGuide, StartsWithoutGeometry)
{
    const DrillGuide guide;
    EXPECT_EQ(guide.getDrillAxis(), Vector3d());
    EXPECT_EQ(guide.getEntryPoint(), Vector3d());
}

TEST(DrillGuide, TakesItsGeometryFromItsBody)
{
    const auto body = bodyWith({{1, 2, 30}, {4, 6, 8}, {9, 9, 9}}, nullptr, "A");
    DrillGuide guide;
    const InstrumentLog log(guide);

    bind(guide, body.get());

    EXPECT_EQ(guide.getEntryPoint(), Vector3d(4, 6, 8));
    EXPECT_EQ(guide.getDrillAxis(), Vector3d(-3, -4, 22)); // not normalised
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "plugged A"));
}

TEST(DrillGuide, LearnsNothingFromABodyWithFewerThanTwoPoints)
{
    const auto body = bodyWith({{1, 2, 30}}, nullptr, "A");
    DrillGuide guide;
    const InstrumentLog log(guide);

    bind(guide, nullptr);
    bind(guide, body.get());

    EXPECT_EQ(guide.getEntryPoint(), Vector3d());
    EXPECT_EQ(guide.getDrillAxis(), Vector3d());
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("plugged", "plugged A"));
}

TEST(DrillGuide, KeepsItsGeometryWhenPointsChangeUntilItIsBoundAgain)
{
    const auto body = bodyWith({{0, 0, 1}, {0, 0, 0}});
    DrillGuide guide;
    bind(guide, body.get());
    body->setRigImag(0, Vector3d(0, 0, 5));
    EXPECT_EQ(guide.getDrillAxis(), Vector3d(0, 0, 1));
    bind(guide, body.get());
    EXPECT_EQ(guide.getDrillAxis(), Vector3d(0, 0, 5));
}
