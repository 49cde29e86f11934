#include <TSLib/RefusalLog.h>

#include <gtest/gtest.h>

#include <optional>
#include <string>

using namespace std::chrono_literals;

namespace
{

using Line = std::optional<std::string>;

const Line NO_LINE;

/// The line for an address, with the number of refusals before it that had none.
Line lineFor(const std::string& address, int withoutLine = 0)
{
    const std::string line = "A client from " + address + " was sent away.";
    return withoutLine == 0 ? line : line + " Refusals before it without a line: " + std::to_string(withoutLine) + ".";
}

/// A log whose clock the test moves.
class MovedLog
{
public:
    /// A client from the address is sent away.
    Line add(const std::string& address) { return m_Log.lineFor(address, "was sent away.", m_Now); }
    void pass(std::chrono::milliseconds time) { m_Now += time; }

    /// Refuses clients from `count` addresses that no other call has used; returns the lines.
    int addStrangers(int count)
    {
        int lines = 0;
        for (int i = 0; i < count; ++i)
            lines += add("stranger " + std::to_string(m_NextStranger++)) ? 1 : 0;
        return lines;
    }

    static constexpr int ROOM = RefusalLog::MAX_ADDRESSES;

private:
    RefusalLog m_Log;
    RefusalLog::Clock::time_point m_Now{1h};
    int m_NextStranger = 0;
};

} // namespace

TEST(RefusalLog, WritesALineForTheFirstRefusalOfAnAddress)
{
    MovedLog log;
    EXPECT_EQ(log.add("10.0.0.1"), lineFor("10.0.0.1"));
}

TEST(RefusalLog, TellsWhyTheClientWasSentAway)
{
    RefusalLog log;
    EXPECT_EQ(log.lineFor("10.0.0.1", "is not allowed and was sent away.", RefusalLog::Clock::now()),
              "A client from 10.0.0.1 is not allowed and was sent away.");
}

TEST(RefusalLog, WritesNoSecondLineWithinTheMinute)
{
    MovedLog log;
    log.add("10.0.0.1");
    EXPECT_EQ(log.add("10.0.0.1"), NO_LINE);
    log.pass(59'999ms);
    EXPECT_EQ(log.add("10.0.0.1"), NO_LINE);
}

TEST(RefusalLog, TellsAfterTheMinuteHowManyHadNoLine)
{
    MovedLog log;
    log.add("10.0.0.1");
    for (int i = 0; i < 3; ++i)
        log.add("10.0.0.1");
    log.pass(60s);
    EXPECT_EQ(log.add("10.0.0.1"), lineFor("10.0.0.1", 3));
    log.add("10.0.0.1");
    log.pass(60s);
    EXPECT_EQ(log.add("10.0.0.1"), lineFor("10.0.0.1", 1)) << "the three have been told";
    log.pass(24h);
    EXPECT_EQ(log.add("10.0.0.1"), lineFor("10.0.0.1"));
}

TEST(RefusalLog, CountsTheMinuteFromTheLastLineRatherThanTheLastRefusal)
{
    MovedLog log;
    log.add("10.0.0.1");
    log.pass(40s);
    EXPECT_EQ(log.add("10.0.0.1"), NO_LINE);
    log.pass(20s);
    EXPECT_EQ(log.add("10.0.0.1"), lineFor("10.0.0.1", 1));
}

TEST(RefusalLog, TellsAddressesApart)
{
    MovedLog log;
    EXPECT_EQ(log.add("10.0.0.1"), lineFor("10.0.0.1"));
    EXPECT_EQ(log.add("10.0.0.2"), lineFor("10.0.0.2"));
    EXPECT_EQ(log.add("10.0.0.1"), NO_LINE);
    log.pass(60s);
    EXPECT_EQ(log.add("10.0.0.2"), lineFor("10.0.0.2"));
    EXPECT_EQ(log.add("10.0.0.1"), lineFor("10.0.0.1", 1));
}

TEST(RefusalLog, TakesAllAddressesForOneThatFindNoRoom)
{
    MovedLog log;
    EXPECT_EQ(log.addStrangers(MovedLog::ROOM), MovedLog::ROOM);
    EXPECT_EQ(log.add("10.0.0.1"), lineFor("10.0.0.1"));
    EXPECT_EQ(log.add("10.0.0.2"), NO_LINE);
    EXPECT_EQ(log.add("10.0.0.3"), NO_LINE);
    log.pass(60s - 1ms);
    EXPECT_EQ(log.add("10.0.0.4"), NO_LINE);
}

TEST(RefusalLog, WritesNoMoreLinesForTenThousandAddressesThanForThoseThatFindRoom)
{
    MovedLog log;
    EXPECT_EQ(log.addStrangers(10'000), MovedLog::ROOM + 1);
}

TEST(RefusalLog, KeepsAnAddressApartThatWasThereBeforeTheOthers)
{
    MovedLog log;
    log.add("10.0.0.1");
    log.addStrangers(MovedLog::ROOM + 1000);
    EXPECT_EQ(log.add("10.0.0.1"), NO_LINE);
    log.pass(60s);
    EXPECT_EQ(log.add("10.0.0.1"), lineFor("10.0.0.1", 1));
}

TEST(RefusalLog, FindsRoomAgainWhenTheMinuteOfOthersIsOver)
{
    MovedLog log;
    log.addStrangers(MovedLog::ROOM + 1000);
    log.pass(60s);
    EXPECT_EQ(log.add("10.0.0.1"), lineFor("10.0.0.1"));
    EXPECT_EQ(log.add("10.0.0.2"), lineFor("10.0.0.2"));
    EXPECT_EQ(log.add("10.0.0.2"), NO_LINE);
}

TEST(RefusalLog, LosesNoRefusalWhenItForgetsAnAddress)
{
    MovedLog log;
    log.add("10.0.0.1");
    for (int i = 0; i < 5; ++i)
        log.add("10.0.0.1");
    log.pass(60s);
    EXPECT_EQ(log.addStrangers(MovedLog::ROOM), MovedLog::ROOM) << "10.0.0.1 has gone to make room";
    EXPECT_EQ(log.add("10.0.0.2"), lineFor("10.0.0.2", 5));
}
