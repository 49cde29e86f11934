#include <SimulatedCamera/Motion.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace simulation;

namespace
{

void expectNear(const Vector3d& actual, const Vector3d& expected)
{
    EXPECT_LT((actual - expected).length(), 1e-9) << actual.x << " " << actual.y << " " << actual.z << " instead of "
                                                  << expected.x << " " << expected.y << " " << expected.z;
}

Matrix3x3 aboutZ(double degrees)
{
    return rotationFromAngles({0, 0, degrees * PI / 180.0});
}

Path straightPath(double loop)
{
    return {{{10, {0, 0, 0}, aboutZ(0)}, {20, {100, 0, 0}, aboutZ(90)}}, loop};
}

} // namespace

TEST(Motion, StandsStill)
{
    const Motion motion{{}, Still{{1, 2, 3}, aboutZ(90)}};
    EXPECT_EQ(poseAt(motion, 0), poseAt(motion, 1234.5));
    expectNear(poseAt(motion, 5) * Vector3d(1, 0, 0), {1, 3, 3});
}

TEST(Motion, PlacesTheNamedPointOfTheTool)
{
    const Motion motion{{0, -180, -20}, Still{{1, 2, 3}, aboutZ(37)}};
    expectNear(poseAt(motion, 0) * Vector3d(0, -180, -20), {1, 2, 3});
}

TEST(Motion, TurnsAboutXThenYThenZ)
{
    const Matrix3x3 rotation = rotationFromAngles({PI / 2, 0, PI / 2});
    expectNear(rotation * Vector3d(0, 1, 0), {0, 0, 1}); // y -> z about x; z stays about z
    expectNear(rotation * Vector3d(1, 0, 0), {0, 1, 0});
    expectNear(rotationFromAngles({0, PI / 2, 0}) * Vector3d(0, 0, 1), {1, 0, 0});
}

TEST(Motion, OrbitsFromXToYAboutZ)
{
    const Motion motion{{}, Orbit{{0, 0, -2000}, aboutZ(0), {0, 0, 1}, 50, 8}};
    expectNear(poseAt(motion, 0).getTranslation(), {50, 0, -2000});
    expectNear(poseAt(motion, 2).getTranslation(), {0, 50, -2000});
    expectNear(poseAt(motion, 12).getTranslation(), {-50, 0, -2000});
    EXPECT_EQ(poseAt(motion, 3).getRotation(), Matrix3x3());
}

TEST(Motion, OrbitsAboutEveryAxisInAPlanePerpendicularToIt)
{
    for (const Vector3d axis : {Vector3d(1, 0, 0), Vector3d(0, 1, 0), Vector3d(0.6, 0, 0.8), Vector3d(0, -1, 0)})
        for (double time = 0; time < 10; time += 0.7)
        {
            const Motion motion{{}, Orbit{{}, {}, axis, 50, 10}};
            const Vector3d position = poseAt(motion, time).getTranslation();
            EXPECT_NEAR(position.length(), 50, 1e-9);
            EXPECT_NEAR(dot(position, axis), 0, 1e-9);
        }
}

TEST(Motion, PivotsAboutAPointWithConstantTilt)
{
    const Vector3d tip(0, -180, -20);
    const Motion motion{tip, Pivot{{5, 6, -2000}, {}, {0, 1, 0}, 0.3, 4}};
    Vector3d sum;
    for (int i = 0; i < 8; ++i)
    {
        const TransMatrix3d pose = poseAt(motion, 0.5 * i);
        expectNear(pose * tip, {5, 6, -2000});
        const Vector3d shaft = pose.getRotation() * Vector3d(0, 1, 0);
        EXPECT_NEAR(angle(shaft, {0, 1, 0}), 0.3, 1e-9);
        sum += shaft;
    }
    expectNear(sum, {0, 8 * std::cos(0.3), 0}); // it leans to all sides alike
}

TEST(Motion, GoesSmoothlyFromWaypointToWaypoint)
{
    const Motion motion{{}, straightPath(0)};
    expectNear(poseAt(motion, 0).getTranslation(), {0, 0, 0});
    expectNear(poseAt(motion, 10).getTranslation(), {0, 0, 0});
    expectNear(poseAt(motion, 12.5).getTranslation(), {15.625, 0, 0}); // 3/16 - 2/64
    expectNear(poseAt(motion, 15).getTranslation(), {50, 0, 0});
    expectNear(poseAt(motion, 15) * Vector3d(1, 0, 0), {50 + std::sqrt(0.5), std::sqrt(0.5), 0}); // 45 degrees
    expectNear(poseAt(motion, 20).getTranslation(), {100, 0, 0});
    expectNear(poseAt(motion, 1000) * Vector3d(1, 0, 0), {100, 1, 0});
}

TEST(Motion, RestsAtAWaypoint)
{
    const Motion motion{{}, straightPath(0)};
    EXPECT_LT((poseAt(motion, 10.01).getTranslation() - poseAt(motion, 10).getTranslation()).length(), 0.001);
    EXPECT_LT((poseAt(motion, 20).getTranslation() - poseAt(motion, 19.99).getTranslation()).length(), 0.001);
}

TEST(Motion, GoesBackToTheFirstWaypointWhenItLoops)
{
    const Motion motion{{}, straightPath(60)}; // back from 20 to 70
    expectNear(poseAt(motion, 45).getTranslation(), {50, 0, 0});
    expectNear(poseAt(motion, 70).getTranslation(), {0, 0, 0});
    expectNear(poseAt(motion, 0).getTranslation(), poseAt(motion, 60).getTranslation());
    expectNear(poseAt(motion, 15 + 60 * 1000).getTranslation(), {50, 0, 0});
}

TEST(Motion, TakesTheShortWayRound)
{
    const Motion motion{{}, Path{{{0, {}, aboutZ(170)}, {2, {}, aboutZ(-170)}}, 0}};
    expectNear(poseAt(motion, 1).getRotation() * Vector3d(1, 0, 0), {-1, 0, 0});
}

TEST(Motion, StaysAtTheOnlyWaypoint)
{
    for (const double loop : {0.0, 5.0})
    {
        const Motion motion{{}, Path{{{1, {7, 8, 9}, aboutZ(30)}}, loop}};
        for (const double time : {0.0, 1.0, 4.0, 12.0})
            expectNear(poseAt(motion, time).getTranslation(), {7, 8, 9});
    }
}
