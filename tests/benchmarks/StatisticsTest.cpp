#include <Statistics.h>

#include <gtest/gtest.h>

#include <numeric>

namespace
{

std::vector<double> oneTo(int count)
{
    std::vector<double> values(static_cast<std::size_t>(count));
    std::iota(values.begin(), values.end(), 1.0);
    return values;
}

} // namespace

TEST(Statistics, SummarizesAnOddNumberOfValuesByTheOneInTheMiddle)
{
    const statistics::Summary summary = statistics::summarize({9.0, 1.0, 4.0});

    EXPECT_EQ(summary.median, 4.0);
    EXPECT_EQ(summary.lowest, 1.0);
    EXPECT_EQ(summary.highest, 9.0);
}

TEST(Statistics, SummarizesAnEvenNumberOfValuesByTheMeanOfTheTwoInTheMiddle)
{
    EXPECT_EQ(statistics::summarize({8.0, 1.0, 2.0, 4.0}).median, 3.0);
}

TEST(Statistics, SummarizesOneValueByItself)
{
    const statistics::Summary summary = statistics::summarize({7.0});

    EXPECT_EQ(summary.median, 7.0);
    EXPECT_EQ(summary.lowest, 7.0);
    EXPECT_EQ(summary.highest, 7.0);
}

TEST(Statistics, TakesPercentilesByTheNearestRank)
{
    EXPECT_EQ(statistics::percentile(oneTo(1000), 0.5), 500.0);
    EXPECT_EQ(statistics::percentile(oneTo(1000), 0.99), 990.0);
    EXPECT_EQ(statistics::percentile(oneTo(1000), 0.999), 999.0);
    EXPECT_EQ(statistics::percentile(oneTo(3), 0.5), 2.0);
}

TEST(Statistics, TakesTheGreatestValueAsAHighPercentileOfFewValues)
{
    EXPECT_EQ(statistics::percentile(oneTo(10), 0.999), 10.0);
    EXPECT_EQ(statistics::percentile(oneTo(10), 1.0), 10.0);
    EXPECT_EQ(statistics::percentile(oneTo(1), 0.5), 1.0);
}

TEST(Statistics, TakesTheSmallestValueAsThePercentileZero)
{
    EXPECT_EQ(statistics::percentile(oneTo(10), 0.0), 1.0);
}

TEST(Statistics, DividesPairByPair)
{
    EXPECT_EQ(statistics::ratios({1.0, 6.0}, {4.0, 3.0}), (std::vector<double>{0.25, 2.0}));
}
