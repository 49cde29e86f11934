#include <tbrNumerics/Matrix3x3.h>

#include "Matrices.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace
{

const Matrix3x3 QUARTER_TURN = matrix({{0.0, -1.0, 0.0}, {1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}});
/// Rows and columns of length 1 by the triple 2, 3, 6, 7.
const Matrix3x3 SEVENTHS = scaled(1.0 / 7.0, matrix({{2.0, -3.0, 6.0}, {6.0, -2.0, -3.0}, {3.0, 6.0, 2.0}}));

Matrix3x3 orthonormalized(Matrix3x3 m)
{
    m.orthonormalize();
    return m;
}

/// Rows, columns and handedness of a rotation, to the last digits.
testing::AssertionResult isRotation(const Matrix3x3& r)
{
    const double rows = largestDifference(r * r.transposed(), Matrix3x3());
    const double columns = largestDifference(r.transposed() * r, Matrix3x3());
    const double volume = std::fabs(determinant(r) - 1.0);
    if (rows <= 1e-15 && columns <= 1e-15 && volume <= 2e-15)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "errors of rows " << rows << ", columns " << columns << ", volume " << volume;
}

class RandomMatrices
{
public:
    Matrix3x3 noise(double size)
    {
        Matrix3x3 m;
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 3; ++column)
                m[row][column] = size * m_Normal(m_Generator);
        return m;
    }

    /// From a random unit quaternion, by the usual formula.
    Matrix3x3 rotation()
    {
        double q[4], squared = 0.0;
        for (double& component : q)
        {
            component = m_Normal(m_Generator);
            squared += component * component;
        }
        return fromQuaternion(q, squared);
    }

    /// A rotation by about `angle` radians about a random axis.
    Matrix3x3 smallRotation(double angle)
    {
        double q[4] = {1.0, 0.0, 0.0, 0.0}, squared = 1.0;
        for (int i = 1; i < 4; ++i)
        {
            q[i] = 0.5 * angle * m_Normal(m_Generator);
            squared += q[i] * q[i];
        }
        return fromQuaternion(q, squared);
    }

private:
    static Matrix3x3 fromQuaternion(const double (&q)[4], double squared)
    {
        const double s = 2.0 / squared;
        const double w = q[0], x = q[1], y = q[2], z = q[3];
        return matrix({{1.0 - s * (y * y + z * z), s * (x * y - w * z), s * (x * z + w * y)},
                       {s * (x * y + w * z), 1.0 - s * (x * x + z * z), s * (y * z - w * x)},
                       {s * (x * z - w * y), s * (y * z + w * x), 1.0 - s * (x * x + y * y)}});
    }

    std::mt19937 m_Generator{20031};
    std::normal_distribution<double> m_Normal;
};

Matrix3x3 sum(const Matrix3x3& a, const Matrix3x3& b)
{
    Matrix3x3 result;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
            result[row][column] = a[row][column] + b[row][column];
    return result;
}

} // namespace

TEST(Matrix3x3, IsTheIdentityWhenNothingElseIsSaid)
{
    const Matrix3x3 expected = matrix({{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}});
    EXPECT_EQ(expected, Matrix3x3());
    EXPECT_EQ(expected, Matrix3x3::identity());
}

TEST(Matrix3x3, GivesItsElementsByRowAndColumn)
{
    Matrix3x3 m;
    m[0][2] = 5.0;
    m[2][1] = 7.0;
    const Matrix3x3& constant = m;
    EXPECT_EQ(5.0, constant[0][2]);
    EXPECT_EQ(7.0, constant[2][1]);
    EXPECT_EQ(0.0, constant[1][2]);
    EXPECT_EQ(constant[0] + 3, constant[1]); // stored row by row
}

TEST(Matrix3x3, IsTransposedAboutItsDiagonal)
{
    Matrix3x3 m = matrix({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}});
    const Matrix3x3 expected = matrix({{1.0, 4.0, 7.0}, {2.0, 5.0, 8.0}, {3.0, 6.0, 9.0}});
    EXPECT_EQ(expected, m.transposed());
    m.transpose();
    EXPECT_EQ(expected, m);
}

TEST(Matrix3x3, MultipliesMatricesRowByColumn)
{
    const Matrix3x3 a = matrix({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}});
    const Matrix3x3 b = matrix({{1.0, 0.0, 2.0}, {0.0, 1.0, -1.0}, {3.0, 1.0, 0.0}});
    const Matrix3x3 expected = matrix({{10.0, 5.0, 0.0}, {22.0, 11.0, 3.0}, {34.0, 17.0, 6.0}});
    EXPECT_EQ(expected, a * b);

    Matrix3x3 product = a;
    product *= b;
    EXPECT_EQ(expected, product);
    product = a;
    product *= product;
    EXPECT_EQ(a * a, product);
}

TEST(Matrix3x3, MultipliesAVectorFromTheLeft)
{
    const Matrix3x3 m = matrix({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}});
    EXPECT_EQ(Vector3d(3.0, 6.0, 9.0), m * Vector3d(1.0, -2.0, 2.0));
    EXPECT_EQ(Vector3d(0.0, 1.0, 0.0), QUARTER_TURN * Vector3d(1.0, 0.0, 0.0));
}

TEST(Matrix3x3, IsComparedExactlyInEveryElement)
{
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
        {
            Matrix3x3 other;
            EXPECT_TRUE(other == Matrix3x3());
            other[row][column] += 1e-15;
            EXPECT_TRUE(other != Matrix3x3());
            EXPECT_FALSE(other == Matrix3x3());
        }
}

TEST(Matrix3x3, StaysWhenItIsARotationAlready)
{
    EXPECT_EQ(Matrix3x3(), orthonormalized(Matrix3x3()));
    EXPECT_EQ(QUARTER_TURN, orthonormalized(QUARTER_TURN));
    EXPECT_LE(largestDifference(SEVENTHS, orthonormalized(SEVENTHS)), 1e-15);
}

TEST(Matrix3x3, LosesItsScaleWhenOrthonormalized)
{
    for (const double factor : {2.0, 0.001, 1e-300, 1e300, 2.999999950695069e28})
    {
        EXPECT_LE(largestDifference(SEVENTHS, orthonormalized(scaled(factor, SEVENTHS))), 1e-15) << factor;
        EXPECT_LE(largestDifference(QUARTER_TURN, orthonormalized(scaled(factor, QUARTER_TURN))), 1e-15) << factor;
    }
}

TEST(Matrix3x3, LosesAStretchAlongTheAxesWhenOrthonormalized)
{
    const Matrix3x3 stretch = matrix({{4.0, 0.0, 0.0}, {0.0, 0.5, 0.0}, {0.0, 0.0, 1.25}});
    EXPECT_LE(largestDifference(SEVENTHS, orthonormalized(SEVENTHS * stretch)), 1e-15);
    // The rotation is the same whether the stretch comes before it or after it.
    EXPECT_LE(largestDifference(SEVENTHS, orthonormalized(stretch * SEVENTHS)), 4e-15);
}

TEST(Matrix3x3, LosesAShearWhenOrthonormalized)
{
    // The rotation in a shear (1 g; 0 1) turns by the angle whose tangent is -g/2: here -3/4.
    const Matrix3x3 shear = matrix({{1.0, 1.5, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}});
    const Matrix3x3 expected = matrix({{0.8, 0.6, 0.0}, {-0.6, 0.8, 0.0}, {0.0, 0.0, 1.0}});
    EXPECT_LE(largestDifference(expected, orthonormalized(shear)), 1e-15);
    EXPECT_LE(largestDifference(expected.transposed(), orthonormalized(shear.transposed())), 1e-15);
}

TEST(Matrix3x3, TurnsAReflectionIntoTheNearestRightHandedRotation)
{
    const Matrix3x3 mirror = matrix({{3.0, 0.0, 0.0}, {0.0, 2.0, 0.0}, {0.0, 0.0, -1.0}});
    EXPECT_LE(largestDifference(Matrix3x3(), orthonormalized(mirror)), 1e-15);

    const Matrix3x3 steep = matrix({{1.0, 0.0, 0.0}, {0.0, -2.0, 0.0}, {0.0, 0.0, 3.0}});
    const Matrix3x3 halfTurnAboutZ = matrix({{-1.0, 0.0, 0.0}, {0.0, -1.0, 0.0}, {0.0, 0.0, 1.0}});
    EXPECT_LE(largestDifference(halfTurnAboutZ, orthonormalized(steep)), 1e-15);
}

TEST(Matrix3x3, TurnsAPointReflectionIntoOneOfTheNearestRotations)
{
    const Matrix3x3 inversion = scaled(-1.0, Matrix3x3());
    const Matrix3x3 rotation = orthonormalized(inversion);
    EXPECT_TRUE(isRotation(rotation));
    EXPECT_NEAR(4.0, squaredDistance(rotation, inversion),
                1e-14); // 6 + 2 trace R, whose least value is that of a half turn
}

TEST(Matrix3x3, CompletesASingularMatrixToARightHandedRotation)
{
    EXPECT_LE(
        largestDifference(Matrix3x3(), orthonormalized(matrix({{5.0, 0.0, 0.0}, {0.0, 2.0, 0.0}, {0.0, 0.0, 0.0}}))),
        1e-15);
    EXPECT_LE(
        largestDifference(QUARTER_TURN, orthonormalized(matrix({{0.0, -4.0, 0.0}, {9.0, 0.0, 0.0}, {0.0, 0.0, 0.0}}))),
        1e-15);

    const Matrix3x3 line = orthonormalized(matrix({{0.0, 0.0, 0.0}, {0.0, 0.0, 7.0}, {0.0, 0.0, 0.0}}));
    EXPECT_TRUE(isRotation(line));
    EXPECT_NEAR(1.0, line[1][2], 1e-15);

    EXPECT_TRUE(isRotation(orthonormalized(scaled(0.0, Matrix3x3()))));
}

TEST(Matrix3x3, BecomesARotationThoughOneElementIsHuge)
{
    for (const double huge : {-2.999999950695069e28, 1.7e308})
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 3; ++column)
            {
                Matrix3x3 m = SEVENTHS;
                m[row][column] = huge;
                m.orthonormalize();
                EXPECT_TRUE(isRotation(m));
                EXPECT_NEAR(huge < 0.0 ? -1.0 : 1.0, m[row][column], 1e-15);
            }
}

TEST(Matrix3x3, StaysAsItIsWhenAnElementIsNotFinite)
{
    for (const double bad : {std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()})
    {
        Matrix3x3 m = matrix({{1.0, 2.0, 3.0}, {4.0, bad, 6.0}, {7.0, 8.0, 9.0}});
        const Matrix3x3 before = m;
        m.orthonormalize();
        EXPECT_EQ(before, m);
    }
    Matrix3x3 m = matrix({{1.0, 2.0, 3.0}, {4.0, 5.0, std::numeric_limits<double>::quiet_NaN()}, {7.0, 8.0, 9.0}});
    m.orthonormalize();
    EXPECT_TRUE(std::isnan(m[1][2]));
    m[1][2] = 6.0;
    EXPECT_EQ(matrix({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0}}), m);
}

TEST(Matrix3x3, IsOrthonormalToTheLastDigitsWhateverItWas)
{
    RandomMatrices random;
    for (int i = 0; i < 2000; ++i)
        ASSERT_TRUE(isRotation(orthonormalized(random.noise(1.0)))) << "matrix " << i;
}

TEST(Matrix3x3, BecomesARotationThanWhichNoneCloseByIsNearer)
{
    RandomMatrices random;
    for (int i = 0; i < 500; ++i)
    {
        const Matrix3x3 noisy = sum(random.rotation(), random.noise(i % 2 == 0 ? 0.01 : 0.5));
        const Matrix3x3 nearest = orthonormalized(noisy);
        const double distance = squaredDistance(nearest, noisy);
        for (const double angle : {1.0, 0.1, 0.001})
            for (int k = 0; k < 5; ++k)
                ASSERT_LE(distance, squaredDistance(random.smallRotation(angle) * nearest, noisy) + 1e-13)
                    << "matrix " << i;
    }
}

TEST(Matrix3x3, BecomesTheSameRotationWhetherItIsCloseToOneOrFarFromIt)
{
    RandomMatrices random;
    for (int i = 0; i < 2000; ++i)
    {
        const double noise = i % 3 == 0 ? 1e-6 : i % 3 == 1 ? 1e-3 : 0.02;
        const Matrix3x3 close = sum(random.rotation(), random.noise(noise));
        const Matrix3x3 far = scaled(4.0, close); // exactly, as 4 is a power of two
        ASSERT_LE(largestDifference(orthonormalized(close), orthonormalized(far)), 3e-15) << "matrix " << i;
        ASSERT_TRUE(isRotation(orthonormalized(close))) << "matrix " << i;
    }
}

TEST(Matrix3x3, BecomesTheRotationOfItsPolarDecomposition)
{
    RandomMatrices random;
    for (int i = 0; i < 500; ++i)
    {
        const Matrix3x3 noisy = sum(random.rotation(), random.noise(0.1));
        const Matrix3x3 stretch = orthonormalized(noisy).transposed() * noisy;
        ASSERT_LE(largestDifference(stretch, stretch.transposed()), 1e-14) << "matrix " << i;
    }
}
