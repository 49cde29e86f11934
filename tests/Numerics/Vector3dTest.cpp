#include <tbrNumerics/Vector3d.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>

namespace
{

const double PI = 3.141592653589793;
const double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
const double INFINITE = std::numeric_limits<double>::infinity();

} // namespace

TEST(Vector3d, IsZeroWhenNothingElseIsSaid)
{
    const Vector3d zero;
    EXPECT_EQ(0.0, zero.x);
    EXPECT_EQ(0.0, zero.y);
    EXPECT_EQ(0.0, zero.z);
}

TEST(Vector3d, IsAPlainValueOfThreeDoubles)
{
    EXPECT_EQ(3 * sizeof(double), sizeof(Vector3d));
    EXPECT_TRUE(std::is_trivially_copyable<Vector3d>::value);
}

TEST(Vector3d, GivesItsComponentsByIndex)
{
    Vector3d v(1.0, 2.0, 3.0);
    const Vector3d& constant = v;
    EXPECT_EQ(1.0, constant[0]);
    EXPECT_EQ(2.0, constant[1]);
    EXPECT_EQ(3.0, constant[2]);

    v[0] = 4.0;
    v[1] = 5.0;
    v[2] = 6.0;
    EXPECT_EQ(4.0, v.x);
    EXPECT_EQ(5.0, v.y);
    EXPECT_EQ(6.0, v.z);
}

TEST(Vector3d, AddsSubtractsNegatesAndScales)
{
    const Vector3d a(1.0, 2.0, 4.0), b(0.5, -1.0, 8.0);
    EXPECT_EQ(Vector3d(1.5, 1.0, 12.0), a + b);
    EXPECT_EQ(Vector3d(0.5, 3.0, -4.0), a - b);
    EXPECT_EQ(Vector3d(-1.0, -2.0, -4.0), -a);
    EXPECT_EQ(Vector3d(2.0, 4.0, 8.0), a * 2.0);
    EXPECT_EQ(Vector3d(2.0, 4.0, 8.0), 2.0 * a);
    EXPECT_EQ(Vector3d(0.5, 1.0, 2.0), a / 2.0);
}

TEST(Vector3d, ChangesInPlaceAsItDoesByValue)
{
    Vector3d v(1.0, 2.0, 4.0);
    v += Vector3d(0.5, -1.0, 8.0);
    EXPECT_EQ(Vector3d(1.5, 1.0, 12.0), v);
    v -= Vector3d(0.5, 1.0, 4.0);
    EXPECT_EQ(Vector3d(1.0, 0.0, 8.0), v);
    v *= 3.0;
    EXPECT_EQ(Vector3d(3.0, 0.0, 24.0), v);
    v /= 1.5;
    EXPECT_EQ(Vector3d(2.0, 0.0, 16.0), v);
    v += v;
    EXPECT_EQ(Vector3d(4.0, 0.0, 32.0), v);
}

TEST(Vector3d, IsComparedExactlyInEveryComponent)
{
    const Vector3d v(1.0, 2.0, 3.0);
    EXPECT_TRUE(v == Vector3d(1.0, 2.0, 3.0));
    EXPECT_FALSE(v != Vector3d(1.0, 2.0, 3.0));
    EXPECT_TRUE(v != Vector3d(std::nextafter(1.0, 2.0), 2.0, 3.0));
    EXPECT_TRUE(v != Vector3d(1.0, std::nextafter(2.0, 3.0), 3.0));
    EXPECT_TRUE(v != Vector3d(1.0, 2.0, std::nextafter(3.0, 4.0)));
}

TEST(Vector3d, HasItsEuclideanLength)
{
    EXPECT_EQ(0.0, Vector3d().length());
    EXPECT_EQ(3.0, Vector3d(1.0, -2.0, 2.0).length());
    EXPECT_EQ(7.0, Vector3d(2.0, 3.0, 6.0).length());
}

TEST(Vector3d, HasALengthWhereItsSquareWouldOverflowOrVanish)
{
    EXPECT_DOUBLE_EQ(7e200, Vector3d(2e200, 3e200, -6e200).length());
    EXPECT_DOUBLE_EQ(7e-200, Vector3d(2e-200, 3e-200, -6e-200).length());
    EXPECT_DOUBLE_EQ(3e-160, Vector3d(1e-160, 2e-160, 2e-160).length());
    EXPECT_EQ(INFINITE, Vector3d(0.0, -INFINITE, 1.0).length());
    EXPECT_TRUE(std::isnan(Vector3d(1.0, NOT_A_NUMBER, 1.0).length()));
}

TEST(Vector3d, TakesTheLengthAskedFor)
{
    Vector3d v(0.0, 3.0, -4.0);
    EXPECT_EQ(Vector3d(0.0, 0.6, -0.8), v.normalized());
    EXPECT_EQ(Vector3d(0.0, 6.0, -8.0), v.normalized(10.0));
    EXPECT_EQ(Vector3d(0.0, 3.0, -4.0), v);
    v.normalize();
    EXPECT_EQ(Vector3d(0.0, 0.6, -0.8), v);
    v.normalize(5.0);
    EXPECT_EQ(Vector3d(0.0, 3.0, -4.0), v);
}

TEST(Vector3d, StaysZeroWhenItIsNormalizedWithoutALength)
{
    Vector3d zero;
    zero.normalize(5.0);
    EXPECT_EQ(Vector3d(), zero);
    EXPECT_EQ(Vector3d(), zero.normalized());
}

TEST(Vector3d, KeepsItsDirectionHoweverShortOrLongItIs)
{
    for (const double scale : {1e-200, 1e-20, 1e200})
    {
        const Vector3d direction = (Vector3d(2.0, 3.0, 6.0) * scale).normalized(7.0);
        EXPECT_DOUBLE_EQ(2.0, direction.x);
        EXPECT_DOUBLE_EQ(3.0, direction.y);
        EXPECT_DOUBLE_EQ(6.0, direction.z);
    }
}

TEST(Vector3d, IsUndefinedWhenNoComponentIsANumber)
{
    Vector3d v(1.0, 2.0, 3.0);
    EXPECT_FALSE(v.isUndefined());
    v.setUndefined();
    EXPECT_TRUE(std::isnan(v.x) && std::isnan(v.y) && std::isnan(v.z));
    EXPECT_TRUE(v.isUndefined());
    EXPECT_TRUE(v != v);
    v.x = 0.0;
    EXPECT_FALSE(v.isUndefined());
}

TEST(Vector3d, HasARightHandedCrossProduct)
{
    EXPECT_EQ(Vector3d(0.0, 0.0, 1.0), cross(Vector3d(1.0, 0.0, 0.0), Vector3d(0.0, 1.0, 0.0)));
    EXPECT_EQ(Vector3d(-3.0, 6.0, -3.0), cross(Vector3d(1.0, 2.0, 3.0), Vector3d(4.0, 5.0, 6.0)));
    EXPECT_EQ(Vector3d(), cross(Vector3d(1.0, 2.0, 3.0), Vector3d(2.0, 4.0, 6.0)));
}

TEST(Vector3d, HasAScalarProduct)
{
    EXPECT_EQ(12.0, dot(Vector3d(1.0, -2.0, 3.0), Vector3d(4.0, 5.0, 6.0)));
    EXPECT_EQ(12.0, Vector3d(1.0, -2.0, 3.0).dot(Vector3d(4.0, 5.0, 6.0)));
}

TEST(Vector3d, EnclosesAnAngleFromZeroToPi)
{
    const Vector3d x(2.0, 0.0, 0.0);
    EXPECT_EQ(0.0, angle(x, Vector3d(5.0, 0.0, 0.0)));
    EXPECT_DOUBLE_EQ(PI / 4.0, angle(x, Vector3d(1.0, 1.0, 0.0)));
    EXPECT_DOUBLE_EQ(PI / 2.0, angle(x, Vector3d(0.0, 0.0, -3.0)));
    EXPECT_DOUBLE_EQ(PI * 2.0 / 3.0, angle(Vector3d(1.0, -1.0, 0.0), Vector3d(0.0, 1.0, -1.0)));
    EXPECT_DOUBLE_EQ(PI, angle(x, Vector3d(-1.0, 0.0, 0.0)));
}

TEST(Vector3d, EnclosesAnExactAngleWithANearlyParallelOne)
{
    const Vector3d x(1.0, 0.0, 0.0);
    EXPECT_DOUBLE_EQ(1e-9, angle(x, Vector3d(1.0, 1e-9, 0.0)));
    EXPECT_DOUBLE_EQ(PI - 1e-9, angle(x, Vector3d(-1.0, 0.0, 1e-9)));
}

TEST(Vector3d, EnclosesNoAngleWithoutADirection)
{
    EXPECT_EQ(0.0, angle(Vector3d(), Vector3d(1.0, 0.0, 0.0)));
    EXPECT_EQ(0.0, angle(Vector3d(), Vector3d()));
    Vector3d undefined;
    undefined.setUndefined();
    EXPECT_TRUE(std::isnan(angle(undefined, Vector3d(1.0, 0.0, 0.0))));
}
