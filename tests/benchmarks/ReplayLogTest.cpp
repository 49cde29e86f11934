#include <ReplayLog.h>

#include <support/PlainSocket.h>

#include <gtest/gtest.h>

namespace
{

constexpr std::size_t HEADER = 46;
constexpr std::size_t LIST_OF_TWO = 1 + 4 + 2 * (4 + 972);
constexpr std::size_t BLOCK_OF_TWO = 1 + 8 + 2 * (4 + 4) * 12;

} // namespace

TEST(ReplayLog, BeginsWithTheHeaderAndTheToolList)
{
    const std::string log = replayLog::make(2);

    EXPECT_EQ(log.substr(0, HEADER), std::string("Pardel special-TS3 log-file format (10/2003).", HEADER));
    EXPECT_EQ(log.substr(HEADER, 9), bytes("54 00000002 544c3100"));
    EXPECT_EQ(log.substr(HEADER + 9, 6), std::string("Tool1", 6));
    EXPECT_EQ(log.substr(HEADER + 9 + 68, 4), bytes("00000004")); // markers
    EXPECT_EQ(log.substr(HEADER + 9 + 976, 6), std::string("Tool2", 6));
}

TEST(ReplayLog, HoldsTenSecondsOfPositions)
{
    const std::string log = replayLog::make(2);

    EXPECT_EQ(log.size(), HEADER + LIST_OF_TWO + 200 * BLOCK_OF_TWO);
    EXPECT_EQ(log.substr(HEADER + LIST_OF_TWO, 9), bytes("50 00000000 00000000"));
    EXPECT_EQ(log.substr(HEADER + LIST_OF_TWO + 21 * BLOCK_OF_TWO, 9), bytes("50 00000001 0000c350"));
}

TEST(ReplayLog, PlacesEachToolWithItsMarkersInFrontOfTheCamera)
{
    const std::string log = replayLog::make(2);
    const std::string second = log.substr(HEADER + LIST_OF_TWO + 9 + 96, 96);

    EXPECT_EQ(second.substr(0, 24), bytes("41200000 00000000 c4fa0000  42700000 00000000 c4fa0000")); // 10 and 60
    EXPECT_EQ(second.substr(48, 12), bytes("3f800000 00000000 00000000"));
    EXPECT_EQ(second.substr(84, 12), bytes("41200000 00000000 c4fa0000"));
}
