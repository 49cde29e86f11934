#include <TSClientInterface/CaConnectionS.h>
#include <support/LogCapture.h>
#include <support/PlainSocket.h>

#include <string>

namespace
{

constexpr int SYSTEM_CHOSEN = 0;

class TestSocket : public CaServerSocket
{
public:
    using CaServerSocket::getLocalPort;
};

/// The server's side over plain server sockets that shows what it does with them.
class TestConnection : public CaConnectionS
{
public:
    using CaConnectionS::m_PortNumber;
    using CaConnectionS::m_Socket;
    using CaConnectionS::m_Timeout;

    int localPort() const { return static_cast<TestSocket*>(m_Socket)->getLocalPort(); }

    int made = 0;

protected:
    CaServerSocket* createSocket() override
    {
        ++made;
        return new TestSocket;
    }
};

} // namespace

TEST(CaConnectionS, HasNoSocketAtFirst)
{
    const TestConnection connection;
    EXPECT_FALSE(connection.isReadyToReceive());
    EXPECT_EQ(connection.m_Socket, nullptr);
    EXPECT_EQ(connection.m_Timeout, 1000);
}

TEST(CaConnectionS, ReceivesOnItsPort)
{
    TestConnection connection;
    PlainSocket client = PlainSocket::dataGram();
    ASSERT_EQ(connection.connect(SYSTEM_CHOSEN), 0);
    EXPECT_EQ(connection.m_PortNumber, SYSTEM_CHOSEN);
    EXPECT_FALSE(connection.isReadyToReceive());
    client.sendTo(connection.localPort(), "ask");
    while (!connection.isReadyToReceive())
        ; // the datagram is on its way
    char buffer[8];
    int size = 8;
    EXPECT_EQ(connection.m_Socket->read(buffer, &size, 0), 0);
    EXPECT_EQ(std::string(buffer, 3), "ask");
}

TEST(CaConnectionS, ConnectsAnewWithANewSocket)
{
    TestConnection connection;
    ASSERT_EQ(connection.connect(SYSTEM_CHOSEN), 0);
    const int port = connection.localPort();
    EXPECT_EQ(connection.connect(port), 0);
    EXPECT_EQ(connection.made, 2);
    EXPECT_EQ(connection.m_PortNumber, port);
    EXPECT_EQ(connection.localPort(), port);
}

#ifndef _WIN32 // where reusing an address takes a port away from its owner
TEST(CaConnectionS, ReportsAPortThatIsTaken)
{
    LogCapture log;
    PlainSocket owner = PlainSocket::dataGram();
    TestConnection connection;
    EXPECT_EQ(connection.connect(owner.port()), -3);
    EXPECT_EQ(log.count("ERROR", "bind(): failed\n"), 1);
    EXPECT_EQ(connection.m_PortNumber, owner.port());
    EXPECT_NE(connection.m_Socket, nullptr);
    EXPECT_FALSE(connection.isReadyToReceive());
}
#endif
