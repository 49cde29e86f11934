#include <TSClientInterface/CaStreamConnection.h>
#include <support/LogCapture.h>
#include <support/PlainSocket.h>

#include <string>

namespace
{

constexpr long PATIENTLY = 30000; // milliseconds
constexpr const char* LOOPBACK = "127.0.0.1";

/// A connection over plain stream sockets with its inner side open to the tests.
class TestConnection : public CaStreamConnection
{
public:
    using CaStreamConnection::m_Socket;
    using CaStreamConnection::m_Timeout;

    int made = 0;

protected:
    CaClientStreamSocket* createSocket() override
    {
        ++made;
        return new CaClientStreamSocket;
    }
};

} // namespace

TEST(CaStreamConnection, IsUnconnectedAtFirst)
{
    TestConnection connection;
    EXPECT_FALSE(connection.isConnected());
    EXPECT_FALSE(connection.isReadyToReceive());
    EXPECT_STREQ(connection.getHostName(), "");
    EXPECT_EQ(connection.getPortNumber(), -1);
    EXPECT_EQ(connection.m_Timeout, 1000);
    EXPECT_EQ(connection.disconnect(), 0);
}

TEST(CaStreamConnection, CarriesPackets)
{
    PlainSocket listener = PlainSocket::listening();
    TestConnection connection;
    ASSERT_EQ(connection.connect(LOOPBACK, listener.port()), 0);
    PlainSocket server = listener.accept();
    EXPECT_TRUE(connection.isConnected());
    EXPECT_STREQ(connection.getHostName(), LOOPBACK);
    EXPECT_EQ(connection.getPortNumber(), listener.port());
    EXPECT_FALSE(connection.isReadyToReceive());

    EXPECT_EQ(connection.m_Socket->write("ask", 3), 0);
    EXPECT_EQ(server.receive(5), bytes("0003") + "ask");
    server.send(bytes("0006") + "answer");
    while (!connection.isReadyToReceive())
        ; // the answer is on its way
    int size = 0;
    EXPECT_EQ(connection.m_Socket->read(&size, PATIENTLY), 0);
    EXPECT_EQ(size, 6);
}

TEST(CaStreamConnection, ForgetsAllWhenDisconnected)
{
    PlainSocket listener = PlainSocket::listening();
    TestConnection connection;
    ASSERT_EQ(connection.connect(LOOPBACK, listener.port()), 0);
    PlainSocket server = listener.accept();
    EXPECT_EQ(connection.disconnect(), 0);
    EXPECT_TRUE(server.seesPeerClose());
    EXPECT_FALSE(connection.isConnected());
    EXPECT_FALSE(connection.isReadyToReceive());
    EXPECT_STREQ(connection.getHostName(), "");
    EXPECT_EQ(connection.getPortNumber(), -1);
}

TEST(CaStreamConnection, KeepsASocketThatFailedToOpen)
{
    LogCapture log;
    TestConnection connection;
    const int port = PlainSocket::freePort();
    EXPECT_EQ(connection.connect(LOOPBACK, port), -3);
    EXPECT_EQ(log.count("ERROR", "connect(): failed\n"), 1);
    EXPECT_TRUE(connection.isConnected());
    EXPECT_STREQ(connection.getHostName(), LOOPBACK);
    EXPECT_EQ(connection.getPortNumber(), port);
    EXPECT_EQ(connection.m_Socket->write("a", 1), -1);
}

TEST(CaStreamConnection, ReportsAnUnknownHostAsItsSocketDoes)
{
    LogCapture log;
    TestConnection connection;
    const std::string impossible(64, 'x'); // a label has at most 63 letters
    EXPECT_EQ(connection.connect(impossible.c_str(), 9), -4);
    EXPECT_TRUE(connection.isConnected());
    EXPECT_EQ(connection.getHostName(), impossible);
}

TEST(CaStreamConnection, LogsAMissingHostAndTriesAllTheSame)
{
    LogCapture log;
    PlainSocket listener = PlainSocket::listening();
    TestConnection connection;
    ASSERT_EQ(connection.connect(LOOPBACK, listener.port()), 0);
    EXPECT_EQ(connection.connect(nullptr, 9), -4);
    ASSERT_EQ(log.entries().size(), 2U);
    EXPECT_EQ(log.entries()[0].category, "ERROR");
    EXPECT_EQ(log.entries()[0].message, "invalid hostname (NULL)\n");
    EXPECT_EQ(log.entries()[1].message, "gethostbyname(): failed\n");
    EXPECT_STREQ(connection.getHostName(), "");
    EXPECT_EQ(connection.getPortNumber(), 9);
    EXPECT_TRUE(connection.isConnected());
}

TEST(CaStreamConnection, LeavesAnEarlierSocketOpenWhenItConnectsAnew)
{
    PlainSocket first = PlainSocket::listening();
    PlainSocket second = PlainSocket::listening();
    PlainSocket firstServer;
    {
        TestConnection connection;
        ASSERT_EQ(connection.connect(LOOPBACK, first.port()), 0);
        firstServer = first.accept();
        CaClientStreamSocket* const earlier = connection.m_Socket;
        ASSERT_EQ(connection.connect(LOOPBACK, second.port()), 0);
        EXPECT_EQ(connection.made, 2);
        EXPECT_EQ(connection.getPortNumber(), second.port());
        EXPECT_EQ(connection.disconnect(), 0);

        EXPECT_EQ(earlier->write("a", 1), 0);
        EXPECT_EQ(firstServer.receive(3), bytes("0001") + "a");
    }
    EXPECT_TRUE(firstServer.seesPeerClose());
}

TEST(CaStreamConnection, IsReadyToReceiveWhenThePeerHasClosed)
{
    PlainSocket listener = PlainSocket::listening();
    TestConnection connection;
    ASSERT_EQ(connection.connect(LOOPBACK, listener.port()), 0);
    listener.accept().close();
    while (!connection.isReadyToReceive())
        ; // the news is on its way
    int size = 0;
    EXPECT_EQ(connection.m_Socket->read(&size, 0), -7);
}
