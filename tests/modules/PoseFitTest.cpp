#include <SimulatedCamera/PoseFit.h>

#include "SimulatedScenes.h"

#include <gtest/gtest.h>

#include <cmath>

using simulation::PoseFit;

namespace
{

std::vector<Vector3d> moved(const TransMatrix3d& motion, std::vector<Vector3d> points)
{
    for (Vector3d& point : points)
        point = motion * point;
    return points;
}

void expectSamePose(const TransMatrix3d& actual, const TransMatrix3d& expected)
{
    for (int i = 0; i < 9; ++i)
        EXPECT_NEAR(actual.getRotation()[i / 3][i % 3], expected.getRotation()[i / 3][i % 3], 1e-9);
    EXPECT_LT((actual.getTranslation() - expected.getTranslation()).length(), 1e-9);
}

const std::vector<Vector3d> SQUARE = {{1, 1, 0}, {-1, 1, 0}, {-1, -1, 0}, {1, -1, 0}};

} // namespace

TEST(PoseFit, FindsAnExactMotion)
{
    for (std::size_t count = 3; count <= 6; ++count)
    {
        const TransMatrix3d motion(simulation::rotationFromAngles({0.3, -2.0, 3.0}), {100, -200, -2000});
        const auto fit = PoseFit::fit(scenes::markers(count), moved(motion, scenes::markers(count)));
        ASSERT_TRUE(fit);
        expectSamePose(fit->pose, motion);
        EXPECT_NEAR(fit->rms, 0.0, 1e-9);
        EXPECT_EQ(fit->residuals.size(), count);
    }
}

TEST(PoseFit, ReportsTheDistancesThatAreLeft)
{
    std::vector<Vector3d> larger = SQUARE;
    for (Vector3d& corner : larger)
        corner *= 1.1;
    const auto fit = PoseFit::fit(SQUARE, larger);
    ASSERT_TRUE(fit);
    expectSamePose(fit->pose, TransMatrix3d());
    for (const double residual : fit->residuals)
        EXPECT_NEAR(residual, 0.1 * std::sqrt(2.0), 1e-12);
    EXPECT_NEAR(fit->rms, 0.1 * std::sqrt(2.0), 1e-12);
}

TEST(PoseFit, HasTheLeastSquaredDistance)
{
    const std::vector<Vector3d> from = scenes::markers(5);
    std::vector<Vector3d> to = from;
    to[0] += Vector3d(1, -2, 0.5);
    to[3] += Vector3d(-0.5, 0.3, 2);
    const auto fit = PoseFit::fit(from, to);
    ASSERT_TRUE(fit);
    for (int axis = 0; axis < 6; ++axis)
        for (const double step : {-1e-3, 1e-3})
        {
            Vector3d turn, shift;
            (axis < 3 ? turn[axis] : shift[axis - 3]) = step;
            const TransMatrix3d other = TransMatrix3d(simulation::rotationFromAngles(turn), shift) * fit->pose;
            double squares = 0;
            for (std::size_t i = 0; i < from.size(); ++i)
                squares += std::pow((other * from[i] - to[i]).length(), 2);
            EXPECT_GT(squares, 5 * fit->rms * fit->rms);
        }
}

TEST(PoseFit, NeverMirrors)
{
    std::vector<Vector3d> mirrored = scenes::markers(6);
    for (Vector3d& point : mirrored)
        point.x = -point.x;
    const auto fit = PoseFit::fit(scenes::markers(6), mirrored);
    ASSERT_TRUE(fit);
    const Matrix3x3 r = fit->pose.getRotation();
    EXPECT_NEAR(dot(cross({r[0][0], r[1][0], r[2][0]}, {r[0][1], r[1][1], r[2][1]}), {r[0][2], r[1][2], r[2][2]}), 1.0,
                1e-9);
    EXPECT_GT(fit->rms, 1.0);
}

TEST(PoseFit, FitsPointsInAPlane)
{
    const TransMatrix3d motion(simulation::rotationFromAngles({3.1, 0.1, 0}), {0, 0, -1500});
    const auto fit = PoseFit::fit(SQUARE, moved(motion, SQUARE));
    ASSERT_TRUE(fit);
    expectSamePose(fit->pose, motion);
}

TEST(PoseFit, HasNoPoseForPointsThatDoNotFixOne)
{
    EXPECT_FALSE(PoseFit::fit({}, {}));
    EXPECT_FALSE(PoseFit::fit({{0, 0, 0}, {1, 0, 0}}, {{0, 0, 0}, {1, 0, 0}}));
    const std::vector<Vector3d> line = {{0, 0, 0}, {10, 20, 30}, {20, 40, 60}, {-15, -30, -45}};
    EXPECT_FALSE(PoseFit::fit(line, line));
    const std::vector<Vector3d> same(4, {1, 2, 3});
    EXPECT_FALSE(PoseFit::fit(same, same));
    EXPECT_FALSE(PoseFit::fit(SQUARE, same));
}
