#include <SimulatedCamera/FrameClock.h>

#include <gtest/gtest.h>

#include <chrono>

using simulation::FrameClock;
using namespace std::chrono_literals;

namespace
{

const FrameClock::Time START(1000s);

} // namespace

TEST(FrameClock, CountsEachFrameOutOnce)
{
    FrameClock clock(100, START);
    EXPECT_EQ(clock.takeDueFrames(START), 0);
    EXPECT_EQ(clock.takeDueFrames(START + 11ms), 1);
    EXPECT_EQ(clock.takeDueFrames(START + 11ms), 0);
    EXPECT_EQ(clock.takeDueFrames(START + 19ms), 0);
    EXPECT_EQ(clock.takeDueFrames(START + 21ms), 1);
}

TEST(FrameClock, GivesTheMissedFramesToALateCaller)
{
    FrameClock clock(100, START);
    EXPECT_EQ(clock.takeDueFrames(START + 55ms), 5);
    EXPECT_EQ(clock.takeDueFrames(START + 155ms), 10);
}

TEST(FrameClock, PutsOffWhatIsMoreThanATenthOfASecond)
{
    FrameClock clock(1000, START);
    EXPECT_EQ(clock.takeDueFrames(START + 5000ms + 500us), 100);
    EXPECT_EQ(clock.takeDueFrames(START + 5000ms + 500us), 0);
    EXPECT_EQ(clock.takeDueFrames(START + 5003ms + 500us), 3);

    FrameClock slow(1, START);
    EXPECT_EQ(slow.takeDueFrames(START + 3600s), 1) << "one frame at least";
}

TEST(FrameClock, TellsHowLongToWait)
{
    FrameClock clock(100, START);
    EXPECT_EQ(clock.millisecondsToNext(START), 10);
    EXPECT_EQ(clock.millisecondsToNext(START + 3500us), 7);
    clock.takeDueFrames(START + 12ms);
    EXPECT_EQ(clock.millisecondsToNext(START + 12ms), 8);
    EXPECT_EQ(clock.millisecondsToNext(START + 50ms), 1) << "never less, so that other events have their turn";
    EXPECT_EQ(FrameClock(1000, START).millisecondsToNext(START), 1);
    EXPECT_EQ(FrameClock(1, START).millisecondsToNext(START), 1000);
}
