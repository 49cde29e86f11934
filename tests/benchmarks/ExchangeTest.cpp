#include <Exchange.h>

#include <support/PlainSocket.h>

#include <gtest/gtest.h>

namespace
{

int kindOf(const Exchange::Packet& packet)
{
    return static_cast<int>(packet.kind);
}

} // namespace

TEST(Exchange, ConnectsWithVersion1AndThisHostsByteOrder)
{
    const Exchange connect = Exchange::connect();

    EXPECT_EQ(connect.request, bytes("000c 15000000 00000001 00000001"));
    EXPECT_EQ(connect.answerSize(), 14);
}

TEST(Exchange, AsksForThePoseOfATool)
{
    const Exchange pose = Exchange::pose("Tool1", 1);

    EXPECT_EQ(pose.request, bytes("0024 1d000000 546f6f6c31") + std::string(27, '\0'));
    EXPECT_EQ(pose.numberOfRequests, 1);
    ASSERT_EQ(pose.answer.size(), 1u);
    EXPECT_EQ(kindOf(pose.answer[0]), 29);
    EXPECT_EQ(pose.answer[0].size, 88);
    EXPECT_EQ(pose.answerSize(), 90);
}

TEST(Exchange, AsksForAPoseSeveralTimesInOneSend)
{
    const Exchange pose = Exchange::pose("Tool1", 3);

    EXPECT_EQ(pose.request.size(), 3u * 38u);
    EXPECT_EQ(pose.request.substr(38, 38), Exchange::pose("Tool1", 1).request);
    EXPECT_EQ(pose.numberOfRequests, 3);
    EXPECT_EQ(pose.answerSize(), 3 * 90);
}

TEST(Exchange, ExpectsAPacketForEachToolAndAnAcknowledgement)
{
    const Exchange all = Exchange::allPoses(2);

    EXPECT_EQ(all.request, bytes("0004 1e000000"));
    ASSERT_EQ(all.answer.size(), 3u);
    EXPECT_EQ(kindOf(all.answer[0]), 30);
    EXPECT_EQ(kindOf(all.answer[1]), 30);
    EXPECT_EQ(kindOf(all.answer[2]), 20);
    EXPECT_EQ(all.answerSize(), 2 * 90 + 6);
}
