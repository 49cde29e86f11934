#include <tbrBase/msleep.h>

#include <gtest/gtest.h>

#include <chrono>
#include <climits>

TEST(msleep, LastsAtLeastAsLongAsAsked)
{
    const auto start = std::chrono::steady_clock::now();
    tbr::msleep(15);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(15));
}

TEST(msleep, ReturnsForZeroAndNegativeTimes)
{
    tbr::msleep(0);
    tbr::msleep(-1);
    tbr::msleep(INT_MIN); // a sleep of that length, taken as positive, would hit the test's time limit
}
