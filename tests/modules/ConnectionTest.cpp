#include <TSClient/Connection.h>

#include <support/LogCapture.h>
#include <support/PlainSocket.h>
#include <support/WireBytes.h>

#include <TSClientInterface/SocketPlatform.h>

#include <gtest/gtest.h>

#include <chrono>
#include <future>

using namespace std::chrono_literals;

namespace
{

Connection::Deadline in(std::chrono::milliseconds time)
{
    return std::chrono::steady_clock::now() + time;
}

/// A connection and its other end.
class ConnectionTest : public testing::Test
{
protected:
    ConnectionTest()
    {
        PlainSocket listener = PlainSocket::listening();
        EXPECT_EQ(connection.open("127.0.0.1", listener.port(), in(1min)), 0);
        peer = listener.accept();
    }

    LogCapture log;
    Connection connection;
    PlainSocket peer;
    AllPacketType received;
    int size = -1;
};

/// A server whose queue of connections is full, so that further attempts hang until it takes one.
class BusyServer
{
public:
    BusyServer() : m_Listener(PlainSocket::listening())
    {
        const int descriptor = m_Listener.release();
        EXPECT_TRUE(tbr::platform::listenOn(descriptor, 0));
        m_Listener = PlainSocket::adopt(descriptor);
        m_First = PlainSocket::connectedTo(port());
    }
    int port() const { return m_Listener.port(); }

private:
    PlainSocket m_Listener;
    PlainSocket m_First;
};

TEST_F(ConnectionTest, SendsAPacketBehindItsLength)
{
    AllPacketType packet = {};
    packet.bytes[0] = 22;
    packet.bytes[3] = 5;
    EXPECT_EQ(connection.send(packet, 4, in(1min)), 0);
    EXPECT_EQ(peer.receive(6), bytes("0004 16000005"));
}

TEST_F(ConnectionTest, IsLostWhenThePeerTakesNoPacketBeforeTheDeadline)
{
    AllPacketType packet = {};
    int status = 0;
    for (int i = 0; i < 100000 && status == 0; ++i)
        status = connection.send(packet, 560, in(10ms));
    EXPECT_EQ(status, -5);
    EXPECT_TRUE(log.contains("ERROR", "The tool server took no request."));
}

TEST_F(ConnectionTest, ReceivesAPacketAndZeroesWhatItDidNotHold)
{
    peer.send(bytes("0003 14aabb"));
    std::fill(std::begin(received.bytes), std::end(received.bytes), 'x');
    EXPECT_EQ(connection.receive(received, size, in(1min)), 0);
    EXPECT_EQ(size, 3);
    EXPECT_EQ(std::string(received.bytes, 560), bytes("14aabb") + wire::zeros(557));
}

TEST_F(ConnectionTest, KeepsTheFirst560BytesOfALongerPacketAndItsSize)
{
    for (const int whole : {560, 561, 65535})
    {
        const std::string payload(static_cast<std::size_t>(whole), 'p');
        std::future<int> status =
            std::async(std::launch::async, [this] { return connection.receive(received, size, in(1min)); });
        peer.send(wire::framed(payload));
        EXPECT_EQ(status.get(), 0);
        EXPECT_EQ(size, whole);
        EXPECT_EQ(std::string(received.bytes, 560), std::string(560, 'p'));
    }
}

TEST_F(ConnectionTest, PutsAPacketTogetherFromSingleBytes)
{
    for (const char byte : bytes("0004 140a0b"))
    {
        peer.send(std::string(1, byte));
        EXPECT_EQ(connection.receive(received, size, in(1ms)), -2);
    }
    peer.send(bytes("0c"));
    EXPECT_EQ(connection.receive(received, size, in(1min)), 0);
    EXPECT_EQ(std::string(received.bytes, 4), bytes("140a0b0c"));
}

TEST_F(ConnectionTest, HandsOutPacketsOneByOneThatArriveTogether)
{
    EXPECT_FALSE(connection.hasPacket());
    std::string all;
    for (int i = 0; i < 3000; ++i) // more than is received in one go
        all += wire::framed(wire::padded(std::to_string(i), 88));
    std::future<void> sending = std::async(std::launch::async, [&] { peer.send(all); });
    for (int i = 0; i < 3000; ++i)
    {
        EXPECT_EQ(connection.receive(received, size, in(1min)), 0);
        EXPECT_EQ(size, 88);
        EXPECT_EQ(std::string(received.bytes), std::to_string(i));
    }
    EXPECT_FALSE(connection.hasPacket());
    sending.get();

    peer.send(bytes("0001 aa 0001 bb 0001"));
    EXPECT_EQ(connection.receive(received, size, in(1min)), 0);
    EXPECT_TRUE(connection.hasPacket());
    EXPECT_EQ(connection.receive(received, size, in(-1h)), 0);
    EXPECT_FALSE(connection.hasPacket());
}

TEST_F(ConnectionTest, ReceivesWhatIsHereEvenAfterTheDeadline)
{
    peer.send(bytes("0001 14"));
    EXPECT_EQ(connection.receive(received, size, in(-1h)), 0);
    EXPECT_EQ(connection.receive(received, size, in(-1h)), -2);
}

TEST_F(ConnectionTest, IsLostWhenThePeerClosesOrResetsOrSendsAFrameWithoutBytes)
{
    peer.send(bytes("0004 14"));
    peer.close();
    EXPECT_EQ(connection.receive(received, size, in(1min)), -5);

    PlainSocket listener = PlainSocket::listening();
    EXPECT_EQ(connection.open("127.0.0.1", listener.port(), in(1min)), 0);
    listener.accept().abort();
    EXPECT_EQ(connection.receive(received, size, in(1min)), -5);

    EXPECT_EQ(connection.open("127.0.0.1", listener.port(), in(1min)), 0);
    peer = listener.accept();
    peer.send(bytes("0000"));
    EXPECT_EQ(connection.receive(received, size, in(1min)), -5);
}

TEST_F(ConnectionTest, ClosesTheEarlierConnectionWhenItIsOpenedAgain)
{
    PlainSocket listener = PlainSocket::listening();
    EXPECT_EQ(connection.open("127.0.0.1", listener.port(), in(1min)), 0);
    EXPECT_TRUE(peer.seesPeerClose());
}

TEST_F(ConnectionTest, LetsABlockedReceiveReturnWhenItIsInterrupted)
{
    std::future<int> status =
        std::async(std::launch::async, [this] { return connection.receive(received, size, in(1h)); });
    connection.interrupt();
    EXPECT_EQ(status.get(), -5);
    EXPECT_TRUE(peer.seesPeerClose());
}

TEST(UnopenedConnection, ReportsAnUnknownHostAndOneThatRefuses)
{
    const LogCapture log;
    Connection connection;
    EXPECT_EQ(connection.open("no.such.host.invalid", 1, in(1min)), -3);
    EXPECT_EQ(connection.open("", 1, in(1min)), -3);
    EXPECT_EQ(connection.open("127.0.0.1", PlainSocket::freePort(), in(1min)), -5);
}

TEST(UnopenedConnection, CanBeInterruptedAndDisconnected)
{
    Connection connection;
    connection.interrupt();
    EXPECT_EQ(connection.disconnect(), 0);
    PlainSocket listener = PlainSocket::listening();
    EXPECT_EQ(connection.open("127.0.0.1", listener.port(), in(1min)), 0);
}

#ifdef __linux__ // elsewhere a server that is too busy refuses
TEST(ConnectionAttempt, EndsAtItsDeadline)
{
    const LogCapture log;
    const BusyServer server;
    Connection connection;
    EXPECT_EQ(connection.open("127.0.0.1", server.port(), in(50ms)), -2);
}

TEST(ConnectionAttempt, EndsWhenItIsInterrupted)
{
    const LogCapture log;
    const BusyServer server;
    Connection connection;
    std::future<int> status =
        std::async(std::launch::async, [&] { return connection.open("127.0.0.1", server.port(), in(1h)); });
    while (status.wait_for(1ms) != std::future_status::ready)
        connection.interrupt();
    EXPECT_EQ(status.get(), -5);
}
#endif

} // namespace
