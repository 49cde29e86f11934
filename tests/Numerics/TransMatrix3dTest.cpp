#include <tbrNumerics/TransMatrix3d.h>

#include "Matrices.h"

#include <gtest/gtest.h>

namespace
{

/// A quarter turn about z: x becomes y.
const Matrix3x3 QUARTER_TURN = matrix({{0.0, -1.0, 0.0}, {1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}});
const TransMatrix3d MOTION(QUARTER_TURN, Vector3d(1.0, 2.0, 3.0));

} // namespace

TEST(TransMatrix3d, IsTheIdentityWhenNothingElseIsSaid)
{
    const TransMatrix3d nothing;
    EXPECT_EQ(Matrix3x3::identity(), nothing.getRotation());
    EXPECT_EQ(Vector3d(), nothing.getTranslation());
    EXPECT_EQ(Vector3d(4.0, 5.0, 6.0), nothing * Vector3d(4.0, 5.0, 6.0));
}

TEST(TransMatrix3d, BecomesTheIdentityOnDemand)
{
    TransMatrix3d motion = MOTION;
    motion.identity();
    EXPECT_EQ(TransMatrix3d(), motion);
}

TEST(TransMatrix3d, GivesBackWhatWasSet)
{
    TransMatrix3d motion;
    motion.setRotation(QUARTER_TURN);
    EXPECT_EQ(Vector3d(), motion.getTranslation());
    motion.setTranslation(Vector3d(1.0, 2.0, 3.0));
    EXPECT_EQ(QUARTER_TURN, motion.getRotation());
    EXPECT_EQ(Vector3d(1.0, 2.0, 3.0), motion.getTranslation());
    EXPECT_EQ(MOTION, motion);
}

TEST(TransMatrix3d, RotatesAPointBeforeItMovesIt)
{
    EXPECT_EQ(Vector3d(1.0, 3.0, 3.0), MOTION * Vector3d(1.0, 0.0, 0.0));
    EXPECT_EQ(Vector3d(-4.0, 6.0, 9.0), MOTION * Vector3d(4.0, 5.0, 6.0));
}

TEST(TransMatrix3d, IsUndoneByItsInverse)
{
    const TransMatrix3d back = MOTION.inverted();
    EXPECT_EQ(matrix({{0.0, 1.0, 0.0}, {-1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}}), back.getRotation());
    EXPECT_EQ(Vector3d(-2.0, 1.0, -3.0), back.getTranslation());
    EXPECT_EQ(Vector3d(4.0, 5.0, 6.0), back * (MOTION * Vector3d(4.0, 5.0, 6.0)));

    TransMatrix3d inPlace = MOTION;
    inPlace.invert();
    EXPECT_EQ(back, inPlace);
}

TEST(TransMatrix3d, AppliesTheRightFactorOfAProductFirst)
{
    const TransMatrix3d shift(Matrix3x3::identity(), Vector3d(10.0, 0.0, 0.0));
    EXPECT_EQ(TransMatrix3d(QUARTER_TURN, Vector3d(1.0, 12.0, 3.0)), MOTION * shift);
    EXPECT_EQ(TransMatrix3d(QUARTER_TURN, Vector3d(11.0, 2.0, 3.0)), shift * MOTION);

    TransMatrix3d product = MOTION;
    product *= shift;
    EXPECT_EQ(MOTION * shift, product);
    product *= product;
    EXPECT_EQ(MOTION * shift * MOTION * shift, product);
}

TEST(TransMatrix3d, IsComparedExactly)
{
    EXPECT_TRUE(MOTION == TransMatrix3d(QUARTER_TURN, Vector3d(1.0, 2.0, 3.0)));
    EXPECT_FALSE(MOTION != TransMatrix3d(QUARTER_TURN, Vector3d(1.0, 2.0, 3.0)));
    EXPECT_TRUE(MOTION != TransMatrix3d(QUARTER_TURN, Vector3d(1.0, 2.0, 4.0)));
    EXPECT_TRUE(MOTION != TransMatrix3d(Matrix3x3(), Vector3d(1.0, 2.0, 3.0)));
}
