#include <TSClientInterface/CaConnection.h>
#include <support/LogCapture.h>
#include <support/PlainSocket.h>

#include <memory>
#include <string>

namespace
{

constexpr const char* LOOPBACK = "127.0.0.1";
constexpr const char* EVERYBODY = "255.255.255.255"; // which a socket may not talk to unasked

/// A connection over plain client sockets that shows what it does with them.
class TestConnection : public CaConnection
{
public:
    int disconnect() override
    {
        ++disconnects;
        return CaConnection::disconnect();
    }

    using CaConnection::m_Socket;
    using CaConnection::setPortNumber;

    int disconnects = 0;
    int made = 0;
    const std::shared_ptr<int> destroyed = std::make_shared<int>(0); // outlives the connection

protected:
    CaClientSocket* createSocket() override
    {
        ++made;
        auto* socket = new CaClientSocket;
        QObject::connect(socket, &QObject::destroyed, [count = destroyed] { ++*count; });
        return socket;
    }
};

} // namespace

TEST(CaConnection, IsUnconnectedAtFirst)
{
    TestConnection connection;
    EXPECT_FALSE(connection.isConnected());
    EXPECT_FALSE(connection.isReadyToReceive());
    EXPECT_EQ(connection.getHostName(), nullptr);
    EXPECT_EQ(connection.getPortNumber(), -1);
    EXPECT_EQ(connection.getTimeout(), 1000);
    EXPECT_EQ(connection.disconnect(), 0);
}

TEST(CaConnection, RemembersWhereItPoints)
{
    const PlainSocket peer = PlainSocket::dataGram();
    TestConnection connection;
    std::string host = LOOPBACK;
    EXPECT_EQ(connection.connect(host.c_str(), peer.port()), 0);
    host = "changed";
    EXPECT_TRUE(connection.isConnected());
    EXPECT_STREQ(connection.getHostName(), LOOPBACK);
    EXPECT_EQ(connection.getPortNumber(), peer.port());
    EXPECT_EQ(connection.made, 1);
    EXPECT_EQ(connection.disconnects, 0);
}

TEST(CaConnection, CarriesDatagrams)
{
    PlainSocket peer = PlainSocket::dataGram();
    TestConnection connection;
    ASSERT_EQ(connection.connect(LOOPBACK, peer.port()), 0);
    EXPECT_FALSE(connection.isReadyToReceive());
    EXPECT_EQ(connection.m_Socket->write("ask", 3), 0);
    int port = 0;
    EXPECT_EQ(peer.receiveDataGram(&port), "ask");
    peer.sendTo(port, "answer");
    while (!connection.isReadyToReceive())
        ; // the answer is on its way
    char buffer[6];
    EXPECT_EQ(connection.m_Socket->read(buffer, 6, 0), 0);
    EXPECT_EQ(std::string(buffer, 6), "answer");
}

TEST(CaConnection, ForgetsItsHostButKeepsItsPortWhenDisconnected)
{
    const PlainSocket peer = PlainSocket::dataGram();
    TestConnection connection;
    ASSERT_EQ(connection.connect(LOOPBACK, peer.port()), 0);
    const char* const host = connection.getHostName();
    EXPECT_EQ(connection.disconnect(), 0);
    EXPECT_FALSE(connection.isConnected());
    EXPECT_FALSE(connection.isReadyToReceive());
    EXPECT_EQ(connection.getHostName(), nullptr);
    EXPECT_EQ(connection.getPortNumber(), peer.port());
    EXPECT_EQ(*connection.destroyed, 1);
    EXPECT_STREQ(host, LOOPBACK) << "who asked for the name before may go on using it";
}

TEST(CaConnection, DisconnectsBeforeItConnectsAnew)
{
    const PlainSocket first = PlainSocket::dataGram();
    const PlainSocket second = PlainSocket::dataGram();
    TestConnection connection;
    ASSERT_EQ(connection.connect(LOOPBACK, first.port()), 0);
    ASSERT_EQ(connection.connect("localhost", second.port()), 0);
    EXPECT_EQ(connection.disconnects, 1);
    EXPECT_EQ(connection.made, 2);
    EXPECT_EQ(*connection.destroyed, 1);
    EXPECT_STREQ(connection.getHostName(), "localhost");
    EXPECT_EQ(connection.getPortNumber(), second.port());
}

TEST(CaConnection, ReportsAnUnknownHostAsMinus3)
{
    LogCapture log;
    TestConnection connection;
    const std::string impossible(64, 'x'); // a label has at most 63 letters
    EXPECT_EQ(connection.connect(impossible.c_str(), 9), -3);
    EXPECT_EQ(log.count("ERROR", "gethostbyname(): failed\n"), 1);
    EXPECT_FALSE(connection.isConnected());
    EXPECT_EQ(connection.getHostName(), nullptr);
    EXPECT_EQ(connection.getPortNumber(), 9);
    EXPECT_EQ(connection.disconnects, 1);
    EXPECT_EQ(*connection.destroyed, 1);
}

TEST(CaConnection, TakesNoHostForAnUnknownOne)
{
    LogCapture log;
    TestConnection connection;
    EXPECT_EQ(connection.connect(nullptr, 9), -3);
    EXPECT_FALSE(connection.isConnected());
}

TEST(CaConnection, ReportsAHostThatRefusesAsMinus5)
{
    LogCapture log;
    TestConnection connection;
    EXPECT_EQ(connection.connect(EVERYBODY, 9), -5);
    EXPECT_EQ(log.count("ERROR", "connect(): failed\n"), 1);
    EXPECT_FALSE(connection.isConnected());
    EXPECT_EQ(connection.disconnects, 1);
}

TEST(CaConnection, ConnectsAfterAFailure)
{
    LogCapture log;
    const PlainSocket peer = PlainSocket::dataGram();
    TestConnection connection;
    EXPECT_EQ(connection.connect(EVERYBODY, 9), -5);
    EXPECT_EQ(connection.connect(LOOPBACK, peer.port()), 0);
    EXPECT_TRUE(connection.isConnected());
}

TEST(CaConnection, KeepsTheTimeLimitAndThePortItIsTold)
{
    TestConnection connection;
    connection.setTimeout(250);
    connection.setPortNumber(4711);
    EXPECT_EQ(connection.getTimeout(), 250);
    EXPECT_EQ(connection.getPortNumber(), 4711);
}

TEST(CaConnection, DestroysItsSocketInTheEnd)
{
    const PlainSocket peer = PlainSocket::dataGram();
    std::shared_ptr<int> destroyed;
    {
        TestConnection connection;
        destroyed = connection.destroyed;
        ASSERT_EQ(connection.connect(LOOPBACK, peer.port()), 0);
        EXPECT_EQ(*destroyed, 0);
    }
    EXPECT_EQ(*destroyed, 1);
}
