#include <SimulatedCamera/NoiseSource.h>

#include <gtest/gtest.h>

#include <cmath>

using simulation::NoiseSource;

TEST(NoiseSource, RepeatsItself)
{
    EXPECT_EQ(NoiseSource(7, 3).errorOf(1000, 5), NoiseSource(7, 3).errorOf(1000, 5));
}

TEST(NoiseSource, DiffersWithSeedStreamFrameAndMarker)
{
    const Vector3d error = NoiseSource(7, 3).errorOf(1000, 5);
    EXPECT_NE(error, NoiseSource(8, 3).errorOf(1000, 5));
    EXPECT_NE(error, NoiseSource(7, 4).errorOf(1000, 5));
    EXPECT_NE(error, NoiseSource(7, 3).errorOf(1001, 5));
    EXPECT_NE(error, NoiseSource(7, 3).errorOf(1000, 6));
}

TEST(NoiseSource, IsNormallyDistributed)
{
    const NoiseSource noise(1, 0);
    const int count = 100000;
    Vector3d sum, squares, products;
    int withinOne = 0, withinTwo = 0;
    for (int frame = 0; frame < count; ++frame)
    {
        const Vector3d e = noise.errorOf(static_cast<std::uint64_t>(frame), static_cast<unsigned>(frame % 32));
        sum += e;
        squares += Vector3d(e.x * e.x, e.y * e.y, e.z * e.z);
        products += Vector3d(e.x * e.y, e.y * e.z, e.z * e.x);
        withinOne += std::abs(e.x) < 1.0 ? 1 : 0;
        withinTwo += std::abs(e.z) < 2.0 ? 1 : 0;
    }
    const double deviation = std::sqrt(1.0 / count); // of a mean; four of them are allowed
    for (int axis = 0; axis < 3; ++axis)
    {
        EXPECT_NEAR(sum[axis] / count, 0.0, 4 * deviation);
        EXPECT_NEAR(squares[axis] / count, 1.0, 4 * std::sqrt(2.0) * deviation);
        EXPECT_NEAR(products[axis] / count, 0.0, 4 * deviation);
    }
    EXPECT_NEAR(withinOne / double(count), 0.6827, 4 * 0.4655 * deviation);
    EXPECT_NEAR(withinTwo / double(count), 0.9545, 4 * 0.2084 * deviation);
}
