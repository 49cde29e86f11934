#include <TSClientInterface/CaClientStreamSocket.h>
#include <TSClientInterface/SocketPlatform.h>
#include <support/LogCapture.h>
#include <support/PlainSocket.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{

constexpr long PATIENTLY = 30000; // milliseconds
constexpr const char* LOOPBACK = "127.0.0.1";

class TestSocket : public CaClientStreamSocket
{
public:
    using CaClientStreamSocket::bindTo;
    using CaClientStreamSocket::m_Descriptor;
    using CaClientStreamSocket::m_IsOpen;
};

} // namespace

TEST(CaClientStreamSocket, IsNeitherOpenNorBoundAtFirst)
{
    LogCapture log;
    TestSocket socket;
    int size = 0;
    EXPECT_EQ(socket.getPortNumber(), -1);
    EXPECT_FALSE(socket.m_IsOpen);
    EXPECT_FALSE(socket.isDataGramSocket());
    EXPECT_EQ(socket.read(&size, 0), -1);
    EXPECT_EQ(socket.write("a", 1), -1);
    EXPECT_EQ(log.count("ERROR", "attempt to read from a closed socket\n"), 1);
    EXPECT_EQ(log.count("ERROR", "attempt to write to a closed socket\n"), 1);
}

TEST(CaClientStreamSocket, ExchangesPacketsWithAServer)
{
    PlainSocket listener = PlainSocket::listening();
    CaClientStreamSocket socket;
    ASSERT_EQ(socket.open(LOOPBACK, listener.port()), 0);
    EXPECT_EQ(socket.getPortNumber(), listener.port());
    PlainSocket server = listener.accept();

    EXPECT_EQ(socket.write("ask", 3), 0);
    EXPECT_EQ(server.receive(5), bytes("0003") + "ask");

    server.send(bytes("0006") + "answer");
    char buffer[10] = "---------";
    int size = 0;
    EXPECT_EQ(socket.read(buffer, &size, PATIENTLY), 0);
    EXPECT_EQ(std::string(buffer), "answer---");
}

TEST(CaClientStreamSocket, FindsItsServerByName)
{
    PlainSocket listener = PlainSocket::listening();
    CaClientStreamSocket socket;
    EXPECT_EQ(socket.open("localhost", listener.port()), 0);
}

TEST(CaClientStreamSocket, OpensOnlyOnce)
{
    LogCapture log;
    PlainSocket listener = PlainSocket::listening();
    TestSocket socket;
    ASSERT_EQ(socket.open(LOOPBACK, listener.port()), 0);
    EXPECT_EQ(socket.open(LOOPBACK, 9), -3);
    EXPECT_EQ(socket.getPortNumber(), 9);
    EXPECT_TRUE(socket.m_IsOpen);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaClientStreamSocket, DoesNotOpenWithoutADescriptor)
{
    TestSocket socket;
    const int descriptor = std::exchange(socket.m_Descriptor, -1);
    EXPECT_EQ(socket.open(LOOPBACK, 9), -3);
    EXPECT_EQ(socket.getPortNumber(), 9);
    socket.m_Descriptor = descriptor;
}

TEST(CaClientStreamSocket, ReportsAnUnknownHost)
{
    LogCapture log;
    TestSocket socket;
    const std::string impossible(64, 'x'); // a label has at most 63 letters
    EXPECT_EQ(socket.open(impossible.c_str(), 4711), -4);
    EXPECT_EQ(socket.open(nullptr, 4712), -4);
    EXPECT_EQ(log.count("ERROR", "gethostbyname(): failed\n"), 2);
    EXPECT_EQ(log.entries().size(), 2U);
    EXPECT_EQ(socket.getPortNumber(), 4712);
    EXPECT_FALSE(socket.m_IsOpen);
}

TEST(CaClientStreamSocket, ReportsAServerThatDoesNotListen)
{
    LogCapture log;
    TestSocket socket;
    const int port = PlainSocket::freePort();
    EXPECT_EQ(socket.open(LOOPBACK, port), -3);
    EXPECT_EQ(log.count("ERROR", "connect(): failed\n"), 1);
    EXPECT_EQ(log.entries().size(), 1U);
    EXPECT_EQ(socket.getPortNumber(), port);
    EXPECT_FALSE(socket.m_IsOpen);
}

TEST(CaClientStreamSocket, ReportsThatItCannotBeBound)
{
    LogCapture log;
    PlainSocket listener = PlainSocket::listening();
    TestSocket socket;
    ASSERT_EQ(socket.bindTo(tbr::platform::anyAddress(0)), 0); // and a second time is refused
    EXPECT_EQ(socket.open(LOOPBACK, listener.port()), -3);
    EXPECT_EQ(log.count("ERROR", "bind(): failed\n"), 1);
    EXPECT_EQ(log.entries().size(), 1U);
    EXPECT_FALSE(socket.m_IsOpen);
}

TEST(CaClientStreamSocket, CountsTheLower16BitsOfAPortButKeepsItAsGiven)
{
    PlainSocket listener = PlainSocket::listening();
    CaClientStreamSocket socket;
    EXPECT_EQ(socket.open(LOOPBACK, listener.port() + 65536), 0);
    EXPECT_EQ(socket.getPortNumber(), listener.port() + 65536);
}

TEST(CaClientStreamSocket, StaysOpenWhenClosed)
{
    LogCapture log;
    PlainSocket listener = PlainSocket::listening();
    CaClientStreamSocket socket;
    ASSERT_EQ(socket.open(LOOPBACK, listener.port()), 0);
    PlainSocket server = listener.accept();

    EXPECT_EQ(socket.close(), 0);
    EXPECT_EQ(log.count("ERROR", "Sorry - not yet implemented!\n"), 1);
    EXPECT_EQ(socket.write("a", 1), 0);
    EXPECT_EQ(server.receive(3), bytes("0001") + "a");
}

TEST(CaClientStreamSocket, EndsItsConnectionWhenDestroyed)
{
    PlainSocket listener = PlainSocket::listening();
    auto socket = std::make_unique<CaClientStreamSocket>();
    ASSERT_EQ(socket->open(LOOPBACK, listener.port()), 0);
    PlainSocket server = listener.accept();
    socket.reset();
    EXPECT_TRUE(server.seesPeerClose());
}

TEST(CaClientStreamSocket, ConnectsToOneServerAsOftenAsWanted)
{
    LogCapture log;
    PlainSocket listener = PlainSocket::listening();
    std::vector<std::unique_ptr<CaClientStreamSocket>> sockets;
    for (int i = 0; i < 300; ++i)
    {
        sockets.push_back(std::make_unique<CaClientStreamSocket>());
        ASSERT_EQ(sockets.back()->open(LOOPBACK, listener.port()), 0) << i;
    }
    EXPECT_TRUE(log.entries().empty());
}
