#include <TSClientInterface/CaClientSocket.h>
#include <TSClientInterface/SocketPlatform.h>
#include <support/LogCapture.h>
#include <support/PlainSocket.h>
#include <support/Wine.h>

#include <future>
#include <string>
#include <utility>

namespace
{

constexpr long PATIENTLY = 30000; // milliseconds
constexpr long WITHOUT_LIMIT = -1;
constexpr const char* LOOPBACK = "127.0.0.1";
constexpr const char* EVERYBODY = "255.255.255.255"; // which a socket may not talk to unasked

class TestSocket : public CaClientSocket
{
public:
    using CaClientSocket::bindTo;
    using CaClientSocket::getLocalPort;
    using CaClientSocket::m_Descriptor;
    using CaClientSocket::m_IsOpen;
};

/// An open socket and its peer.
struct Connection
{
    Connection() { EXPECT_EQ(socket.open(LOOPBACK, peer.port()), 0); }

    PlainSocket peer = PlainSocket::dataGram();
    TestSocket socket;
    char buffer[12] = "-----------";
    int size = 10;
};

} // namespace

TEST(CaClientSocket, IsABlockingDatagramSocketThatIsNotOpen)
{
    TestSocket socket;
    EXPECT_TRUE(socket.isDataGramSocket());
    testing::internal::CaptureStdout();
    EXPECT_TRUE(socket.isInBlockingMode());
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(socket.m_IsOpen);
}

TEST(CaClientSocket, NeitherReadsNorWritesBeforeItIsOpen)
{
    LogCapture log;
    CaClientSocket socket;
    char buffer[4];
    int size = 4;
    EXPECT_EQ(socket.read(buffer, &size, PATIENTLY), -1);
    EXPECT_EQ(socket.read(buffer, 4, PATIENTLY), -1);
    EXPECT_EQ(socket.write("a", 1), -1);
    EXPECT_EQ(size, 4);
    EXPECT_EQ(log.count("ERROR", "attempt to read from a closed socket\n"), 2);
    EXPECT_EQ(log.count("ERROR", "attempt to write to a closed socket\n"), 1);
}

TEST(CaClientSocket, OpensOnlyOnce)
{
    LogCapture log;
    Connection connection;
    EXPECT_TRUE(connection.socket.m_IsOpen);
    EXPECT_EQ(connection.socket.open(LOOPBACK, 9), -3);
    EXPECT_TRUE(connection.socket.m_IsOpen);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaClientSocket, DoesNotOpenWithoutADescriptor)
{
    LogCapture log;
    TestSocket socket;
    const int valid = std::exchange(socket.m_Descriptor, -1);
    EXPECT_EQ(socket.open(LOOPBACK, 9), -3);
    socket.m_Descriptor = valid;
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaClientSocket, ReportsAnUnknownHost)
{
    LogCapture log;
    TestSocket socket;
    const std::string impossible(64, 'x'); // a label has at most 63 letters
    EXPECT_EQ(socket.open(impossible.c_str(), 9), -4);
    EXPECT_EQ(socket.open(nullptr, 9), -4);
    EXPECT_EQ(log.count("ERROR", "gethostbyname(): failed\n"), 2);
    EXPECT_FALSE(socket.m_IsOpen);
}

TEST(CaClientSocket, ReportsThatItCannotBeBound)
{
    LogCapture log;
    TestSocket socket;
    ASSERT_EQ(socket.bindTo(tbr::platform::anyAddress(0)), 0); // and a second time is refused
    EXPECT_EQ(socket.open(LOOPBACK, 9), -3);
    EXPECT_EQ(log.count("ERROR", "bind(): failed\n"), 1);
    EXPECT_EQ(log.entries().size(), 1U);
    EXPECT_FALSE(socket.m_IsOpen);
}

TEST(CaClientSocket, ReportsAPeerThatItCannotTalkTo)
{
    LogCapture log;
    TestSocket socket;
    EXPECT_EQ(socket.open(EVERYBODY, 9), -3);
    EXPECT_EQ(log.count("ERROR", "connect(): failed\n"), 1);
    EXPECT_EQ(log.entries().size(), 1U);
    EXPECT_FALSE(socket.m_IsOpen);
}

TEST(CaClientSocket, ExchangesDatagramsWithItsPeer)
{
    Connection connection;
    EXPECT_EQ(connection.socket.write("question", 8), 0);
    int port = 0;
    EXPECT_EQ(connection.peer.receiveDataGram(&port), "question");
    EXPECT_EQ(port, connection.socket.getLocalPort());

    connection.peer.sendTo(port, "answer");
    EXPECT_EQ(connection.socket.read(connection.buffer, &connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.size, 6);
    EXPECT_STREQ(connection.buffer, "answer-----");
}

TEST(CaClientSocket, ReadsWithoutTellingTheCountWhenTheSizeIsGivenAsANumber)
{
    Connection connection;
    connection.peer.sendTo(connection.socket.getLocalPort(), "answer");
    EXPECT_EQ(connection.socket.read(connection.buffer, 10, PATIENTLY), 0);
    EXPECT_STREQ(connection.buffer, "answer-----");
}

TEST(CaClientSocket, HearsNobodyButItsPeer)
{
    Connection connection;
    PlainSocket stranger = PlainSocket::dataGram();
    stranger.sendTo(connection.socket.getLocalPort(), "stranger");
    connection.peer.sendTo(connection.socket.getLocalPort(), "peer");
    EXPECT_EQ(connection.socket.read(connection.buffer, &connection.size, PATIENTLY), 0);
    EXPECT_STREQ(connection.buffer, "peer-------");
}

TEST(CaClientSocket, ReportsThatNoDatagramCameInTime)
{
    LogCapture log;
    Connection connection;
    EXPECT_EQ(connection.socket.read(connection.buffer, &connection.size, 0), -2);
    EXPECT_EQ(connection.socket.read(connection.buffer, &connection.size, 1), -2);
    EXPECT_EQ(connection.socket.read(connection.buffer, 10, 0), -2);
    EXPECT_EQ(connection.size, 10);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaClientSocket, WaitsWithoutLimitUntilADatagramArrives)
{
    Connection connection;
    std::future<int> reading = std::async(
        std::launch::async, [&] { return connection.socket.read(connection.buffer, &connection.size, WITHOUT_LIMIT); });
    connection.peer.sendTo(connection.socket.getLocalPort(), "late");
    EXPECT_EQ(reading.get(), 0);
    EXPECT_EQ(connection.size, 4);
}

TEST(CaClientSocket, TakesAReceiveThatFailsForADatagramOfSizeMinus1)
{
    LogCapture log;
    Connection connection;
    const bool wakesNobody = isWine(); // for the answer that nobody is there; but there a datagram too long fails, too
    if (wakesNobody)
        connection.peer.sendTo(connection.socket.getLocalPort(), "more than ten bytes");
    connection.peer.close();
    EXPECT_EQ(connection.socket.write("a", 1), 0);
    EXPECT_EQ(connection.socket.read(connection.buffer, &connection.size, PATIENTLY), 0);
    EXPECT_EQ(connection.size, -1);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaClientSocket, ReportsAWaitThatFails)
{
    LogCapture log;
    Connection connection;
    const int valid = std::exchange(connection.socket.m_Descriptor, -1);
    EXPECT_EQ(connection.socket.read(connection.buffer, &connection.size, WITHOUT_LIMIT), -6);
    EXPECT_EQ(connection.socket.read(connection.buffer, 10, 0), -6);
    connection.socket.m_Descriptor = valid;
    EXPECT_EQ(connection.size, 10);
    EXPECT_EQ(log.count("ERROR", "select(): failed\n"), 2);
}

TEST(CaClientSocket, ReportsADatagramThatItCannotSend)
{
    LogCapture log;
    Connection connection;
    const std::string tooLarge(65508, 'x'); // with its headers more than 65535 bytes
    EXPECT_EQ(connection.socket.write(tooLarge.data(), 65508), -5);
    EXPECT_EQ(connection.socket.write("a", -1), -5);
    EXPECT_EQ(log.count("ERROR", "write(): failed\n"), 2);
    EXPECT_EQ(log.entries().size(), 2U);
}

TEST(CaClientSocket, IsReadyToReadWhenADatagramHasArrived)
{
    Connection connection;
    EXPECT_FALSE(connection.socket.isReadyToRead());
    std::future<int> arrived = std::async(std::launch::async,
                                          [&]
                                          {
                                              while (!connection.socket.isReadyToRead())
                                                  ; // the datagram is on its way
                                              return connection.socket.read(connection.buffer, 10, 0);
                                          });
    connection.peer.sendTo(connection.socket.getLocalPort(), "x");
    EXPECT_EQ(arrived.get(), 0);
    EXPECT_FALSE(connection.socket.isReadyToRead());
}

TEST(CaClientSocket, CountsAsReadyToReadOnceItsDescriptorIsClosed)
{
    Connection connection;
    tbr::platform::closeSocket(connection.socket.m_Descriptor);
    EXPECT_TRUE(connection.socket.isReadyToRead());
    connection.socket.m_Descriptor = -1;
    EXPECT_TRUE(connection.socket.isReadyToRead());
}
