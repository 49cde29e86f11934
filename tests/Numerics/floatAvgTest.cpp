#include <tbrNumerics/floatAvg.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace
{

const float INVALID = -3.0e28f; // what a camera module reports for a point out of view
const float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();

/// Adds the samples; returns the last average.
float addAll(floatAvg& average, const std::vector<float>& samples)
{
    float last = 0.0f;
    for (const float sample : samples)
        last = average.addValue(sample);
    return last;
}

} // namespace

TEST(floatAvg, AveragesAllSamplesWhileTheyAreFew)
{
    floatAvg average(4);
    EXPECT_EQ(8.0f, average.addValue(8.0f));
    EXPECT_EQ(6.0f, average.addValue(4.0f));
    EXPECT_EQ(5.0f, average.addValue(3.0f));
    EXPECT_EQ(4.0f, average.addValue(1.0f));
}

TEST(floatAvg, AveragesTheLastSamplesOnceThereAreEnough)
{
    floatAvg average(3);
    addAll(average, {1.0f, 2.0f, 6.0f});
    EXPECT_EQ(4.0f, average.addValue(4.0f));   // 2, 6, 4
    EXPECT_EQ(10.0f, average.addValue(20.0f)); // 6, 4, 20
    EXPECT_EQ(8.0f, average.addValue(0.0f));   // 4, 20, 0
    EXPECT_EQ(7.0f, average.addValue(1.0f));   // 20, 0, 1
}

TEST(floatAvg, PassesEverySampleThroughWithALengthOfOne)
{
    for (const unsigned length : {1u, 0u})
    {
        floatAvg average(length);
        EXPECT_EQ(0.1f, average.addValue(0.1f));
        EXPECT_EQ(INVALID, average.addValue(INVALID));
        EXPECT_TRUE(std::isnan(average.addValue(NOT_A_NUMBER)));
        EXPECT_EQ(0.7f, average.addValue(0.7f));
    }
}

TEST(floatAvg, CountsAHugeSampleOnlyWhileItIsInTheWindow)
{
    floatAvg average(3);
    addAll(average, {0.25f, INVALID, 0.5f});
    EXPECT_FLOAT_EQ(-1.0e28f, average.addValue(0.75f));
    EXPECT_EQ(0.75f, average.addValue(1.0f)); // 0.5, 0.75, 1
}

TEST(floatAvg, ForgetsASampleThatIsNotANumberWithTheWindow)
{
    floatAvg average(2);
    addAll(average, {1.0f, NOT_A_NUMBER});
    EXPECT_TRUE(std::isnan(average.addValue(2.0f)));
    EXPECT_EQ(3.0f, average.addValue(4.0f));

    addAll(average, {std::numeric_limits<float>::infinity(), 5.0f});
    EXPECT_EQ(6.0f, average.addValue(7.0f));
}

TEST(floatAvg, DoesNotOverflowWhereItsAverageIsAFloat)
{
    const float largest = std::numeric_limits<float>::max();
    floatAvg average(2);
    average.addValue(largest);
    EXPECT_EQ(largest, average.addValue(largest));
}

TEST(floatAvg, DoesNotDriftOverManySamples)
{
    floatAvg average(10);
    for (int i = 0; i < 100000; ++i)
        average.addValue(0.1f * static_cast<float>(i % 7));
    EXPECT_EQ(0.1f, addAll(average, std::vector<float>(10, 0.1f)));
}

TEST(floatAvg, TakesNoRoomForSamplesThatHaveNotCome)
{
    floatAvg average(std::numeric_limits<unsigned>::max());
    EXPECT_EQ(2.0f, average.addValue(2.0f));
    EXPECT_EQ(3.0f, average.addValue(4.0f));
}

TEST(floatAvg, IsCopiedWithItsSamples)
{
    floatAvg original(2);
    original.addValue(2.0f);
    floatAvg copy = original;
    EXPECT_EQ(3.0f, copy.addValue(4.0f));
    EXPECT_EQ(5.0f, original.addValue(8.0f));
}
