#include <TSClientInterface/ReadAhead.h>

#include <support/PlainSocket.h>

#include <string>

namespace
{

/// What has been received through a ReadAhead, and a peer that knows nothing of it.
struct Stream
{
    PlainPair pair;
    ReadAhead ahead;
    int here = pair.here.release();
    PlainSocket owner = PlainSocket::adopt(here);

    std::string receive(int size)
    {
        std::string target(static_cast<std::size_t>(size), '?');
        const int count = ahead.receive(here, &target[0], size);
        return count < 0 ? "failed" : target.substr(0, static_cast<std::size_t>(count));
    }
    /// Sends, and waits until all of it has come to this side.
    void deliver(const std::string& bytes)
    {
        pair.there.send(bytes);
        EXPECT_TRUE(owner.waitForBytes(bytes.size()));
    }
};

std::string pattern(std::size_t size)
{
    std::string result(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        result[i] = static_cast<char>(i * 7 + i / 251);
    return result;
}

} // namespace

TEST(ReadAhead, GivesOnlyWhatIsAskedForAndKeepsTheRest)
{
    Stream stream;
    stream.deliver("abcdefgh");
    EXPECT_EQ(stream.receive(2), "ab");
    EXPECT_EQ(stream.ahead.size(), 6);
    EXPECT_EQ(std::string(stream.ahead.bytes(), 6), "cdefgh");
    EXPECT_EQ(stream.receive(6), "cdefgh");
    EXPECT_EQ(stream.ahead.size(), 0);
}

TEST(ReadAhead, GivesWhatIsHereWhenThatIsLessThanWanted)
{
    Stream stream;
    stream.deliver("abc");
    EXPECT_EQ(stream.receive(10), "abc");
}

TEST(ReadAhead, AddsWhatHasArrivedMeanwhile)
{
    Stream stream;
    stream.deliver("abc");
    EXPECT_EQ(stream.receive(2), "ab");
    stream.deliver("defg");
    EXPECT_EQ(stream.receive(4), "cdef");
    EXPECT_EQ(stream.receive(4), "g");
}

TEST(ReadAhead, DoesNotWaitForMoreThanItHolds)
{
    Stream stream;
    stream.deliver("abc");
    EXPECT_EQ(stream.receive(2), "ab");
    EXPECT_EQ(stream.receive(5), "c");
}

TEST(ReadAhead, PutsALargePieceStraightIntoItsPlace)
{
    Stream stream;
    const std::string sent = "ab" + pattern(2 * ReadAhead::CAPACITY) + "yz";
    stream.deliver(sent);
    EXPECT_EQ(stream.receive(2), "ab");
    EXPECT_EQ(stream.ahead.size(), ReadAhead::CAPACITY - 2);
    EXPECT_EQ(stream.receive(2 * ReadAhead::CAPACITY), sent.substr(2, 2 * ReadAhead::CAPACITY));
    EXPECT_EQ(stream.receive(2), "yz");
}

TEST(ReadAhead, ReportsTheEndOfTheConnectionAfterItsLastByte)
{
    Stream stream;
    stream.deliver("abc");
    EXPECT_EQ(stream.receive(2), "ab");
    stream.pair.there.close();
    EXPECT_EQ(stream.receive(5), "c");
    EXPECT_EQ(stream.receive(5), "");
}

TEST(ReadAhead, ReportsAFailureAfterTheLastByte)
{
    Stream stream;
    stream.deliver("abc");
    EXPECT_EQ(stream.receive(2), "ab");
    stream.pair.there.abort();
    EXPECT_TRUE(stream.owner.waitForInput(PlainSocket::PATIENCE));
    EXPECT_EQ(stream.receive(5), "c");
    char byte;
    EXPECT_LE(stream.ahead.receive(stream.here, &byte, 1), 0);
    EXPECT_EQ(stream.ahead.receive(-1, &byte, 1), -1);
}
