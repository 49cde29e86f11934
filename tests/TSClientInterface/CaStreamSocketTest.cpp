#include <TSClientInterface/CaStreamSocket.h>
#include <TSClientInterface/SocketPlatform.h>
#include <support/LogCapture.h>
#include <support/PlainSocket.h>
#include <support/Wine.h>

#include <cstring>
#include <future>
#include <string>
#include <utility>
#include <vector>

namespace
{

constexpr long PATIENTLY = 30000; // milliseconds
constexpr long AT_ONCE = 0;
constexpr long WITHOUT_WAIT = -1; // receives at once, which blocks in blocking mode

/// A connected stream socket with its inner side open to the tests.
class TestSocket : public CaStreamSocket
{
public:
    explicit TestSocket(int descriptor) : CaStreamSocket(descriptor, true) { m_IsOpen = true; }

    using CaStreamSocket::enableReadAhead;
    using CaStreamSocket::hasReadAheadPacket;
    using CaStreamSocket::isPeerGone;
    using CaStreamSocket::m_Descriptor;
    using CaStreamSocket::m_ExpectedSize;
    using CaStreamSocket::m_IsOpen;
    using CaStreamSocket::m_ReceivedSize;
    using CaStreamSocket::m_ReceivingState;
    using CaStreamSocket::read;
    using CaStreamSocket::shutdown;
    using CaStreamSocket::waitForInput;
    using CaStreamSocket::write;
    using CaStreamSocket::writeFrames;

    std::string payload(int size) { return std::string(static_cast<const char*>(getReadBuffer()), std::size_t(size)); }
};

/// A stream socket and, at the other end, a peer that knows nothing of packets.
struct Connection
{
    PlainPair pair;
    TestSocket socket{pair.here.release()};
    PlainSocket& peer = pair.there;
    int size = 77; // what a read finds in *size

    /// Lets all that follows fail: the peer resets the connection. Wine would report that as one that was closed;
    /// there, the socket loses its own two ends instead.
    void fail()
    {
        if (isWine())
            tbr::platform::shutdownSocket(socket.m_Descriptor);
        else
            peer.abort();
    }
};

std::string sizeHeader(std::size_t size)
{
    return {static_cast<char>(size / 256), static_cast<char>(size % 256)};
}

/// Bytes that differ from place to place.
std::string pattern(std::size_t size)
{
    std::string result(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        result[i] = static_cast<char>(i * 7 + i / 251);
    return result;
}

/// Waits until so many bytes have come that nobody has read.
bool waitForBytes(Connection& connection, std::size_t count)
{
    PlainSocket socket = PlainSocket::adopt(connection.socket.m_Descriptor);
    const bool haveCome = socket.waitForBytes(count);
    socket.release();
    return haveCome;
}

/// Reads on while only a part has arrived.
int readPatiently(Connection& connection)
{
    int result = -2;
    while (result == -2)
        result = connection.socket.read(&connection.size, PATIENTLY);
    return result;
}

} // namespace

TEST(CaStreamSocket, ReceivesAPacketWhoseHeaderAndPayloadArriveTogether)
{
    Connection connection;
    connection.peer.send(bytes("0003") + "abc");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.size, 3);
    EXPECT_EQ(connection.socket.payload(3), "abc");
}

TEST(CaStreamSocket, ReceivesAPacketWithoutWaitingFirst)
{
    Connection connection;
    connection.peer.send(bytes("0003") + "abc");
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), 0);
    EXPECT_EQ(connection.size, 3);
    EXPECT_EQ(connection.socket.payload(3), "abc");
}

TEST(CaStreamSocket, ReceivesOnePacketAtATime)
{
    Connection connection;
    connection.peer.send(bytes("0001") + "a" + bytes("0002") + "bc");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.socket.payload(connection.size), "a");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.socket.payload(connection.size), "bc");
    EXPECT_EQ(connection.socket.read(&connection.size, AT_ONCE), -2);
}

TEST(CaStreamSocket, CopiesAPayloadToTheCallersBuffer)
{
    Connection connection;
    char buffer[10] = "---------";
    connection.peer.send(bytes("0003") + "abc");
    EXPECT_EQ(connection.socket.read(buffer, &connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.size, 3);
    EXPECT_STREQ(buffer, "abc------");
}

TEST(CaStreamSocket, LeavesTheCallersBufferAloneWithoutACompletePacket)
{
    Connection connection;
    char buffer[10] = "---------";
    connection.peer.send(bytes("0003") + "ab");
    EXPECT_EQ(connection.socket.read(buffer, &connection.size, PATIENTLY), -2);
    EXPECT_EQ(connection.size, 77);
    EXPECT_STREQ(buffer, "---------");
}

TEST(CaStreamSocket, OnlyLooksWhenTheTimeLimitIs0)
{
    LogCapture log;
    Connection connection;
    EXPECT_EQ(connection.socket.read(&connection.size, AT_ONCE), -2);
    EXPECT_EQ(connection.size, 77);
    EXPECT_EQ(connection.socket.m_ReceivingState, 0);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaStreamSocket, ReportsACutHeaderAsIncomplete)
{
    Connection connection;
    connection.peer.send(bytes("00"));
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -2);
    EXPECT_EQ(connection.size, 0);
    EXPECT_EQ(connection.socket.m_ReceivingState, 1);
    EXPECT_EQ(connection.socket.m_ReceivedSize, 1);
    EXPECT_EQ(connection.socket.m_ExpectedSize, 2);
}

TEST(CaStreamSocket, CompletesAPacketThatArrivesByteByByte)
{
    Connection connection;
    const std::string packet = bytes("0003") + "abc";
    for (std::size_t i = 0; i + 1 < packet.size(); ++i)
    {
        connection.peer.send(packet.substr(i, 1));
        ASSERT_EQ(connection.socket.waitForInput(PATIENTLY), 0);
        EXPECT_EQ(connection.socket.read(&connection.size, AT_ONCE), -2) << i;
        EXPECT_EQ(connection.size, 0) << i;
    }
    connection.peer.send("c");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.size, 3);
    EXPECT_EQ(connection.socket.payload(3), "abc");
    EXPECT_EQ(connection.socket.m_ReceivingState, 0);
}

TEST(CaStreamSocket, WaitsForThePayloadAfterTheHeader)
{
    Connection connection;
    connection.peer.send(bytes("0102"));
    EXPECT_EQ(connection.socket.read(&connection.size, 1), -2);
    EXPECT_EQ(connection.size, 77);
    EXPECT_EQ(connection.socket.m_ReceivingState, 2);
    EXPECT_EQ(connection.socket.m_ReceivedSize, 0);
    EXPECT_EQ(connection.socket.m_ExpectedSize, 258);
}

TEST(CaStreamSocket, CompletesAPayloadThatArrivesInParts)
{
    Connection connection;
    connection.peer.send(bytes("0006") + "ab");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -2);
    EXPECT_EQ(connection.socket.m_ReceivedSize, 2);
    connection.peer.send("cde");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -2);
    EXPECT_EQ(connection.socket.m_ReceivedSize, 5);
    EXPECT_EQ(connection.size, 77);
    EXPECT_EQ(connection.socket.read(&connection.size, AT_ONCE), -2);
    connection.peer.send("f");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.size, 6);
    EXPECT_EQ(connection.socket.payload(6), "abcdef");
    EXPECT_EQ(connection.socket.m_ReceivingState, 0);
    EXPECT_EQ(connection.socket.m_ReceivedSize, 0);
    EXPECT_EQ(connection.socket.m_ExpectedSize, 0);
}

TEST(CaStreamSocket, HasRoomForEveryLengthAHeaderCanAnnounce)
{
    for (const std::size_t length : {65533U, 65534U, 65535U})
    {
        Connection connection;
        const std::string payload = pattern(length);
        std::future<void> sending =
            std::async(std::launch::async, [&] { connection.peer.send(sizeHeader(length) + payload); });
        EXPECT_EQ(readPatiently(connection), 0);
        sending.get();
        ASSERT_EQ(connection.size, static_cast<int>(length));
        EXPECT_EQ(connection.socket.payload(connection.size), payload);
    }
}

TEST(CaStreamSocket, CopiesTheLongestPayloadAsAWhole)
{
    Connection connection;
    const std::string payload = pattern(65535);
    std::vector<char> buffer(65535);
    std::future<void> sending = std::async(std::launch::async, [&] { connection.peer.send(bytes("ffff") + payload); });
    int result = -2;
    while (result == -2)
        result = connection.socket.read(buffer.data(), &connection.size, PATIENTLY);
    sending.get();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(connection.size, 65535);
    EXPECT_EQ(std::string(buffer.data(), buffer.size()), payload);
}

TEST(CaStreamSocket, ReportsAPacketWithoutBytesAsAClosedConnectionAtOnce)
{
    LogCapture log;
    for (const long limit : {AT_ONCE, PATIENTLY, WITHOUT_WAIT})
    {
        Connection connection;
        connection.peer.send(bytes("0000"));
        ASSERT_EQ(connection.socket.waitForInput(PATIENTLY), 0);
        EXPECT_EQ(connection.socket.read(&connection.size, limit), -7) << limit;
        EXPECT_TRUE(connection.socket.m_IsOpen) << limit;
        EXPECT_EQ(connection.socket.m_ReceivingState, 2) << limit;
        EXPECT_EQ(connection.size, 77) << limit;
    }
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaStreamSocket, KeepsReportingAPacketWithoutBytesWhateverFollows)
{
    Connection connection;
    char buffer[8] = "-------";
    connection.peer.send(bytes("0000 0001") + "a");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -7);
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -7);
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), -7);
    EXPECT_EQ(connection.socket.read(buffer, &connection.size, AT_ONCE), -7);
    EXPECT_STREQ(buffer, "-------");
}

TEST(CaStreamSocket, ReportsAPacketWithoutBytesWhoseHeaderArrivesInParts)
{
    Connection connection;
    connection.peer.send(bytes("00"));
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -2);
    connection.peer.send(bytes("00"));
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), -7);
}

TEST(CaStreamSocket, ClosesForGoodWhenThePeerClosesBeforeAHeader)
{
    LogCapture log;
    Connection connection;
    connection.peer.close();
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -7);
    EXPECT_FALSE(connection.socket.m_IsOpen);
    EXPECT_TRUE(log.entries().empty());

    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -1);
    EXPECT_EQ(log.count("ERROR", "attempt to read from a closed socket\n"), 1);
    EXPECT_EQ(connection.socket.write("a", 1), -1);
    EXPECT_EQ(log.count("ERROR", "attempt to write to a closed socket\n"), 1);
    EXPECT_EQ(log.entries().size(), 2U);
}

TEST(CaStreamSocket, StaysOpenWhenThePeerClosesInsideAHeader)
{
    LogCapture log;
    Connection connection;
    connection.peer.send(bytes("00"));
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -2);
    connection.peer.close();
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -7);
    EXPECT_TRUE(connection.socket.m_IsOpen);
    EXPECT_EQ(connection.socket.m_ReceivingState, 1);
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -7);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaStreamSocket, StaysOpenWhenThePeerClosesInsideAPayload)
{
    LogCapture log;
    Connection connection;
    connection.peer.send(bytes("0003") + "ab");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -2);
    connection.peer.close();
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -7);
    EXPECT_TRUE(connection.socket.m_IsOpen);
    EXPECT_EQ(connection.socket.m_ReceivingState, 2);
    EXPECT_EQ(connection.socket.m_ReceivedSize, 2);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaStreamSocket, DeliversAPacketThatArrivedBeforeThePeerClosed)
{
    Connection connection;
    connection.peer.send(bytes("0001") + "a");
    connection.peer.close();
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.socket.payload(connection.size), "a");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -7);
}

TEST(CaStreamSocket, ReportsAFailedReceiveBeforeAHeaderAsAClosedConnection)
{
    LogCapture log;
    Connection connection;
    connection.fail();
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), -7);
    EXPECT_TRUE(connection.socket.m_IsOpen);
    EXPECT_EQ(log.count("ERROR", "recv(): failed\n"), 1);
    EXPECT_EQ(log.entries().size(), 1U);
}

TEST(CaStreamSocket, ReportsAFailedReceiveInsideAHeader)
{
    LogCapture log;
    Connection connection;
    connection.peer.send(bytes("00"));
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -2);
    connection.fail();
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), -6);
    EXPECT_TRUE(connection.socket.m_IsOpen);
    EXPECT_EQ(connection.socket.m_ReceivingState, 1);
    EXPECT_EQ(log.count("ERROR", "recv(): failed\n"), 1);
}

TEST(CaStreamSocket, ReportsAFailedReceiveInsideAPayload)
{
    LogCapture log;
    Connection connection;
    connection.peer.send(bytes("0003") + "ab");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -2);
    connection.fail();
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), -6);
    EXPECT_TRUE(connection.socket.m_IsOpen);
    EXPECT_EQ(connection.socket.m_ReceivingState, 2);
    EXPECT_EQ(log.count("ERROR", "recv(): failed\n"), 1);
}

TEST(CaStreamSocket, TakesNothingToReceiveInNonBlockingModeForAFailure)
{
    LogCapture log;
    Connection connection;
    connection.socket.setBlockingMode(false);
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), -7);
    EXPECT_TRUE(connection.socket.m_IsOpen);
    EXPECT_EQ(log.count("ERROR", "recv(): failed\n"), 1);
}

TEST(CaStreamSocket, ReportsAWaitThatFails)
{
    LogCapture log;
    Connection connection;
    const int descriptor = std::exchange(connection.socket.m_Descriptor, -1);
    EXPECT_EQ(connection.socket.read(&connection.size, AT_ONCE), -6);
    EXPECT_EQ(log.count("ERROR", "select(): failed\n"), 1);
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), -7);
    EXPECT_EQ(log.count("ERROR", "recv(): failed\n"), 1);
    connection.socket.m_Descriptor = descriptor;
}

TEST(CaStreamSocket, ReportsAnInvalidReceivingState)
{
    LogCapture log;
    Connection connection;
    connection.socket.m_ReceivingState = 3;
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), -6);
    EXPECT_EQ(connection.socket.read(&connection.size, AT_ONCE), -2);
    EXPECT_EQ(log.count("ERROR", "Invalid receiving state - recv(): failed\n"), 1);
    EXPECT_EQ(log.entries().size(), 1U);
}

TEST(CaStreamSocket, ReadsThroughTheReadThatADerivedClassOverrides)
{
    class Counting : public TestSocket
    {
    public:
        using TestSocket::read;
        using TestSocket::TestSocket;
        int read(int* size, long timeoutMs) override
        {
            ++calls;
            return TestSocket::read(size, timeoutMs);
        }
        int calls = 0;
    };
    PlainPair pair;
    Counting socket(pair.here.release());
    char buffer[8];
    int size = 0;
    pair.there.send(bytes("0001") + "a");
    EXPECT_EQ(socket.read(buffer, &size, PATIENTLY), 0);
    EXPECT_EQ(socket.calls, 2); // for the header, and again for the payload
}

TEST(CaStreamSocket, WritesASizeHeaderBeforeThePayload)
{
    Connection connection;
    EXPECT_EQ(connection.socket.write("abc", 3), 0);
    EXPECT_EQ(connection.peer.receive(5), bytes("0003") + "abc");
    EXPECT_EQ(connection.socket.write(std::string(258, 'z').data(), 258), 0);
    EXPECT_EQ(connection.peer.receive(260), bytes("0102") + std::string(258, 'z'));
}

TEST(CaStreamSocket, WritesAnEmptyPacketAsItsHeaderAlone)
{
    Connection connection;
    EXPECT_EQ(connection.socket.write(nullptr, 0), 0);
    EXPECT_EQ(connection.socket.write("a", 1), 0);
    EXPECT_EQ(connection.peer.receive(5), bytes("0000 0001") + "a");
}

TEST(CaStreamSocket, WritesAPayloadThatWasBuiltInPlace)
{
    Connection connection;
    std::memcpy(connection.socket.getWriteBuffer(), "wxyz", 4);
    EXPECT_EQ(connection.socket.write(3), 0);
    EXPECT_EQ(connection.socket.write(4), 0);
    EXPECT_EQ(connection.peer.receive(11), bytes("0003") + "wxy" + bytes("0004") + "wxyz");
}

TEST(CaStreamSocket, KeepsTheSizeHeaderInNetworkOrderWhateverTheByteSwapping)
{
    for (const bool swap : {true, false})
    {
        Connection connection;
        connection.socket.enableByteSwapping(swap);
        EXPECT_EQ(connection.socket.write("abc", 3), 0);
        EXPECT_EQ(connection.peer.receive(5), bytes("0003") + "abc");
        connection.peer.send(bytes("0002") + "de");
        EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), 0);
        EXPECT_EQ(connection.size, 2);
    }
}

TEST(CaStreamSocket, WritesTheLargestPayloadAs65535Bytes)
{
    Connection connection;
    const std::string payload = pattern(65533);
    std::future<std::string> received = std::async(std::launch::async, [&] { return connection.peer.receive(65535); });
    EXPECT_EQ(connection.socket.write(payload.data(), 65533), 0);
    EXPECT_EQ(received.get(), bytes("fffd") + payload);
}

TEST(CaStreamSocket, RefusesAPayloadThatIsTooLargeAndSendsNothing)
{
    LogCapture log;
    Connection connection;
    const std::string payload = pattern(65534);
    EXPECT_EQ(connection.socket.write(payload.data(), 65534), -5);
    EXPECT_EQ(connection.socket.write(payload.data(), -1), -5);
    EXPECT_EQ(log.count("ERROR", "can't handle packet size 65534 (MAX_WRITE_PACKEt_SIZE: 65533)\n"), 1);
    EXPECT_EQ(log.count("ERROR", "can't handle packet size -1 (MAX_WRITE_PACKEt_SIZE: 65533)\n"), 1);
    EXPECT_EQ(log.entries().size(), 2U);

    EXPECT_EQ(connection.socket.write("a", 1), 0);
    EXPECT_EQ(connection.peer.receive(3), bytes("0001") + "a");
}

TEST(CaStreamSocket, LooksAtThePayloadsSizeBeforeItLooksWhetherItIsOpen)
{
    LogCapture log;
    Connection connection;
    connection.socket.m_IsOpen = false;
    EXPECT_EQ(connection.socket.write("a", -1), -5);
    EXPECT_EQ(connection.socket.write("a", 1), -1);
    EXPECT_EQ(connection.socket.write(1), -1);
    EXPECT_EQ(connection.socket.write(65534), -1);
    EXPECT_EQ(log.count("ERROR", "attempt to write to a closed socket\n"), 3);
}

TEST(CaStreamSocket, DoesNotSendBytesFromBeyondItsBuffer)
{
    LogCapture log;
    Connection connection;
    EXPECT_EQ(connection.socket.write(65534), -5);
    EXPECT_EQ(connection.socket.write(-1), -5);
    EXPECT_EQ(log.count("ERROR", "send(): failed\n"), 2);
    EXPECT_EQ(connection.socket.write("a", 1), 0);
    EXPECT_EQ(connection.peer.receive(3), bytes("0001") + "a");
}

TEST(CaStreamSocket, ReportsThatThePeerTakesNoMoreBytes)
{
    LogCapture log;
    Connection connection;
    connection.fail();
    ASSERT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), -7);
    EXPECT_EQ(connection.socket.write("a", 1), -5);
    EXPECT_EQ(connection.socket.write(1), -5);
    EXPECT_EQ(log.count("ERROR", "send(): failed\n"), 2);
    EXPECT_TRUE(connection.socket.m_IsOpen);
}

TEST(CaStreamSocket, ReportsAShortSendAsAFailure)
{
    LogCapture log;
    Connection connection;
    connection.socket.setBlockingMode(false);
    connection.socket.setWriteBufferSize(4096);
    const std::string payload = pattern(65533);
    int written = 0;
    while (connection.socket.write(payload.data(), 65533) == 0)
        ASSERT_LT(++written, 10000) << "the peer does not read, so the buffers must be full some time";
    EXPECT_EQ(log.count("ERROR", "send(): failed\n"), 1);
}

TEST(CaStreamSocket, SendsFramesAsTheyAre)
{
    Connection connection;
    const std::string frames = bytes("0001") + "a" + bytes("0002") + "bc";
    EXPECT_EQ(connection.socket.writeFrames(frames.data(), 7), 0);
    EXPECT_EQ(connection.peer.receive(7), frames);
}

TEST(CaStreamSocket, SendsAnyAmountOfFramesCompletely)
{
    Connection connection;
    connection.socket.setWriteBufferSize(4096);
    const std::string frames = pattern(1000000);
    std::future<std::string> received =
        std::async(std::launch::async, [&] { return connection.peer.receive(frames.size()); });
    EXPECT_EQ(connection.socket.writeFrames(frames.data(), 1000000), 0);
    EXPECT_EQ(received.get(), frames);
}

TEST(CaStreamSocket, ReportsFramesThatItCannotSend)
{
    LogCapture log;
    Connection connection;
    connection.fail();
    ASSERT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), -7);
    EXPECT_EQ(connection.socket.writeFrames("abc", 3), -5);
    EXPECT_EQ(connection.socket.writeFrames("abc", -1), -5);
    EXPECT_EQ(log.count("ERROR", "send(): failed\n"), 2);
    connection.socket.m_IsOpen = false;
    EXPECT_EQ(connection.socket.writeFrames("abc", 3), -1);
    EXPECT_EQ(log.count("ERROR", "attempt to write to a closed socket\n"), 1);
}

TEST(CaStreamSocket, SeesThatThePeerHasGone)
{
    Connection connection;
    EXPECT_FALSE(connection.socket.isPeerGone());
    connection.peer.close();
    ASSERT_EQ(connection.socket.waitForInput(PATIENTLY), 0);
    EXPECT_TRUE(connection.socket.isPeerGone());
    EXPECT_EQ(connection.socket.read(&connection.size, AT_ONCE), -7);
}

TEST(CaStreamSocket, DoesNotTakeAnUnreadPacketForAPeerThatHasGone)
{
    Connection connection;
    connection.peer.send(bytes("0001") + "a");
    ASSERT_EQ(connection.socket.waitForInput(PATIENTLY), 0);
    EXPECT_FALSE(connection.socket.isPeerGone());
    EXPECT_EQ(connection.socket.read(&connection.size, AT_ONCE), 0);
}

TEST(CaStreamSocket, EndsAReadThatBlocksWhenAnotherThreadShutsItDown)
{
    Connection connection;
    std::future<int> reading =
        std::async(std::launch::async, [&] { return connection.socket.read(&connection.size, WITHOUT_WAIT); });
    connection.socket.shutdown();
    EXPECT_EQ(reading.get(), -7);
    EXPECT_TRUE(connection.peer.seesPeerClose());
}

TEST(CaStreamSocket, EndsAWriteThatBlocksWhenAnotherThreadShutsItDown)
{
    LogCapture log;
    Connection connection;
    std::future<int> writing = std::async(std::launch::async,
                                          [&]
                                          {
                                              while (connection.socket.write(60000) == 0)
                                                  ; // the peer does not read, so the last one blocks
                                              return connection.socket.write(1);
                                          });
    ASSERT_TRUE(connection.peer.waitForInput(PlainSocket::PATIENCE)); // it is writing
    connection.socket.shutdown();
    EXPECT_EQ(writing.get(), -5);
    EXPECT_EQ(log.count("ERROR", "send(): failed\n"), 2);
}

// Reading ahead

TEST(CaStreamSocket, KnowsOfWholePacketsThatItHasReadAhead)
{
    Connection connection;
    connection.socket.enableReadAhead();
    EXPECT_FALSE(connection.socket.hasReadAheadPacket());
    connection.peer.send(bytes("0001") + "a" + bytes("0002") + "bc" + bytes("0002") + "d");
    EXPECT_TRUE(waitForBytes(connection, 10));
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), 0);
    EXPECT_EQ(connection.socket.payload(connection.size), "a");
    EXPECT_TRUE(connection.socket.hasReadAheadPacket());
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.socket.payload(connection.size), "bc");
    EXPECT_FALSE(connection.socket.hasReadAheadPacket());

    EXPECT_EQ(connection.socket.read(&connection.size, AT_ONCE), -2);
    connection.peer.send("e");
    EXPECT_EQ(readPatiently(connection), 0);
    EXPECT_EQ(connection.socket.payload(connection.size), "de");
}

TEST(CaStreamSocket, KnowsOfNoPacketReadAheadUnlessToldToReadAhead)
{
    Connection connection;
    connection.peer.send(bytes("0001") + "a" + bytes("0001") + "b");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), 0);
    EXPECT_FALSE(connection.socket.hasReadAheadPacket());
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.socket.payload(connection.size), "b");
}

TEST(CaStreamSocket, DoesNotTakeAFrameOfNoBytesForAPacketReadAhead)
{
    Connection connection;
    connection.socket.enableReadAhead();
    connection.peer.send(bytes("0001") + "a" + bytes("0000"));
    EXPECT_TRUE(waitForBytes(connection, 5));
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), 0);
    EXPECT_FALSE(connection.socket.hasReadAheadPacket());
    EXPECT_EQ(connection.socket.read(&connection.size, WITHOUT_WAIT), -7);
    EXPECT_TRUE(connection.socket.m_IsOpen);
}

TEST(CaStreamSocket, HasTheSameResultsByteByByteWhenItReadsAhead)
{
    Connection connection;
    connection.socket.enableReadAhead();
    connection.peer.send(bytes("00"));
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -2);
    EXPECT_EQ(connection.size, 0);
    EXPECT_EQ(connection.socket.m_ReceivingState, 1);
    connection.peer.send(bytes("02"));
    EXPECT_EQ(connection.socket.read(&connection.size, AT_ONCE + 50), -2);
    EXPECT_EQ(connection.socket.m_ReceivingState, 2);
    connection.peer.send("x");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -2);
    EXPECT_EQ(connection.socket.m_ReceivedSize, 1);
    connection.peer.send("y");
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.socket.payload(connection.size), "xy");
    connection.peer.close();
    EXPECT_EQ(connection.socket.read(&connection.size, PATIENTLY), -7);
    EXPECT_FALSE(connection.socket.m_IsOpen);
}

TEST(CaStreamSocket, ReceivesTheLargestPacketsWhenItReadsAhead)
{
    Connection connection;
    connection.socket.enableReadAhead();
    const std::string large = pattern(65535);
    auto sending = std::async(std::launch::async,
                              [&]
                              {
                                  for (int i = 0; i < 3; ++i)
                                      connection.peer.send(bytes("0001") + "a" + sizeHeader(65535) + large);
                              });
    for (int i = 0; i < 3; ++i)
    {
        ASSERT_EQ(readPatiently(connection), 0);
        EXPECT_EQ(connection.socket.payload(connection.size), "a");
        ASSERT_EQ(readPatiently(connection), 0);
        EXPECT_EQ(connection.socket.payload(connection.size), large);
    }
    sending.get();
}
