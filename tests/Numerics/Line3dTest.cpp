#include <tbrNumerics/Line3d.h>

#include <gtest/gtest.h>

TEST(Line3d, IsZeroWhenNothingElseIsSaid)
{
    const Line3d line;
    EXPECT_EQ(Vector3d(), line.point);
    EXPECT_EQ(Vector3d(), line.direction);
}

TEST(Line3d, IsWrittenDownAsPointAndDirection)
{
    const Line3d line{Vector3d(1.0, 2.0, 3.0), Vector3d(0.0, 0.0, 5.0)};
    EXPECT_EQ(Vector3d(1.0, 2.0, 3.0), line.point);
    EXPECT_EQ(Vector3d(0.0, 0.0, 5.0), line.direction);
}

TEST(Line3d, IsComparedByPointAndDirectionAsTheyAre)
{
    const Line3d line{Vector3d(1.0, 2.0, 3.0), Vector3d(0.0, 0.0, 5.0)};
    const Line3d same = line;
    const Line3d elsewhere{Vector3d(1.0, 2.0, 4.0), Vector3d(0.0, 0.0, 5.0)};
    const Line3d longer{Vector3d(1.0, 2.0, 3.0), Vector3d(0.0, 0.0, 10.0)};
    EXPECT_TRUE(line == same);
    EXPECT_FALSE(line != same);
    EXPECT_TRUE(line != elsewhere);
    EXPECT_TRUE(line != longer);
    EXPECT_FALSE(line == longer);
}
