#include <StampedCamera/TimeStamp.h>

#include <gtest/gtest.h>

namespace
{

using timeStamp::Clock;

/// What a client makes of a time that travelled in single precision.
std::int64_t journeyOf(std::int64_t microseconds)
{
    const Vector3d translation = timeStamp::toTranslation(Clock::time_point(std::chrono::microseconds(microseconds)));
    return timeStamp::toMicroseconds(static_cast<float>(translation.x), static_cast<float>(translation.y));
}

} // namespace

TEST(TimeStamp, SurvivesSinglePrecisionToTheMicrosecond)
{
    EXPECT_EQ(journeyOf(0), 0);
    EXPECT_EQ(journeyOf(16777215), 16777215);
    EXPECT_EQ(journeyOf(16777217), 16777217);
    EXPECT_EQ(journeyOf(281474976710655), 281474976710655);
}

TEST(TimeStamp, BeginsAgainAfterNineYears)
{
    EXPECT_EQ(journeyOf(281474976710656 + 5), 5);
}

TEST(TimeStamp, HoldsTheUpperBitsInXAndTheLowerOnesInY)
{
    const Vector3d translation =
        timeStamp::toTranslation(Clock::time_point(std::chrono::microseconds(2 * 16777216 + 3)));

    EXPECT_EQ(translation.x, 2.0);
    EXPECT_EQ(translation.y, 3.0);
}
