#include <TSClientInterface/CaServerSocket.h>
#include <support/LogCapture.h>
#include <support/PlainSocket.h>

#include <future>
#include <string>
#include <utility>

namespace
{

constexpr long PATIENTLY = 30000; // milliseconds
constexpr long WITHOUT_LIMIT = -1;
constexpr int SYSTEM_CHOSEN = 0;

class TestSocket : public CaServerSocket
{
public:
    using CaServerSocket::getLocalPort;
    using CaServerSocket::m_Descriptor;
};

/// An open socket and somebody who may write to it.
struct Service
{
    Service() { EXPECT_EQ(socket.open(SYSTEM_CHOSEN), 0); }

    int port() const { return socket.getLocalPort(); }
    std::string readText()
    {
        int size = 10;
        EXPECT_EQ(socket.read(buffer, &size, PATIENTLY), 0);
        return std::string(buffer, static_cast<std::size_t>(size));
    }

    TestSocket socket;
    PlainSocket client = PlainSocket::dataGram();
    char buffer[12] = "-----------";
};

} // namespace

TEST(CaServerSocket, NeitherReadsNorWritesBeforeItIsOpen)
{
    LogCapture log;
    CaServerSocket socket;
    char buffer[4];
    int size = 4;
    EXPECT_FALSE(socket.isOpen());
    EXPECT_TRUE(socket.isDataGramSocket());
    EXPECT_EQ(socket.read(buffer, &size, PATIENTLY), -1);
    EXPECT_EQ(socket.write("a", 1), -1);
    EXPECT_EQ(size, 4);
    EXPECT_EQ(log.count("ERROR", "attempt to read from a closed socket\n"), 1);
    EXPECT_EQ(log.count("ERROR", "attempt to write to a closed socket\n"), 1);
}

TEST(CaServerSocket, OpensOnlyOnce)
{
    LogCapture log;
    Service service;
    const int port = service.port();
    EXPECT_TRUE(service.socket.isOpen());
    EXPECT_EQ(service.socket.open(SYSTEM_CHOSEN), -3);
    EXPECT_TRUE(service.socket.isOpen());
    EXPECT_EQ(service.port(), port);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaServerSocket, DoesNotOpenWithoutADescriptor)
{
    LogCapture log;
    TestSocket socket;
    const int valid = std::exchange(socket.m_Descriptor, -1);
    EXPECT_EQ(socket.open(SYSTEM_CHOSEN), -3);
    socket.m_Descriptor = valid;
    EXPECT_TRUE(log.entries().empty());
}

#ifndef _WIN32 // where reusing an address takes a port away from its owner
TEST(CaServerSocket, ReportsAPortThatIsTaken)
{
    LogCapture log;
    const PlainSocket owner = PlainSocket::dataGram();
    CaServerSocket socket;
    EXPECT_EQ(socket.open(owner.port()), -3);
    EXPECT_EQ(log.count("ERROR", "bind(): failed\n"), 1);
    EXPECT_EQ(log.entries().size(), 1U);
    EXPECT_FALSE(socket.isOpen());
}
#endif

TEST(CaServerSocket, AnswersTheSenderOfTheLastDatagram)
{
    Service service;
    PlainSocket other = PlainSocket::dataGram();

    service.client.sendTo(service.port(), "one");
    EXPECT_EQ(service.readText(), "one");
    EXPECT_EQ(service.socket.write("to one", 6), 0);
    int sender = 0;
    EXPECT_EQ(service.client.receiveDataGram(&sender), "to one");
    EXPECT_EQ(sender, service.port());

    other.sendTo(service.port(), "other");
    EXPECT_EQ(service.readText(), "other");
    EXPECT_EQ(service.socket.write("to other", 8), 0);
    EXPECT_EQ(other.receiveDataGram(), "to other");
}

TEST(CaServerSocket, CutsADatagramToTheCallersRoom)
{
    Service service;
    service.client.sendTo(service.port(), "abcdef");
    int size = 4;
    const int result = service.socket.read(service.buffer, &size, PATIENTLY);
#ifdef _WIN32 // where the system reports a cut datagram as a failure
    EXPECT_EQ(result, -6);
#else
    EXPECT_EQ(result, 0);
    EXPECT_EQ(size, 4);
#endif
    EXPECT_STREQ(service.buffer, "abcd-------");
}

TEST(CaServerSocket, ReceivesAnEmptyDatagram)
{
    Service service;
    service.client.sendTo(service.port(), "");
    EXPECT_EQ(service.readText(), "");
    EXPECT_EQ(service.socket.write("", 0), 0);
    EXPECT_TRUE(service.client.waitForInput(PlainSocket::PATIENCE));
}

TEST(CaServerSocket, ReportsThatNoDatagramCameInTime)
{
    LogCapture log;
    Service service;
    int size = 10;
    EXPECT_EQ(service.socket.read(service.buffer, &size, 0), -2);
    EXPECT_EQ(service.socket.read(service.buffer, &size, 1), -2);
    EXPECT_EQ(size, 10);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaServerSocket, WaitsWithoutLimitUntilADatagramArrives)
{
    Service service;
    int size = 10;
    std::future<int> reading =
        std::async(std::launch::async, [&] { return service.socket.read(service.buffer, &size, WITHOUT_LIMIT); });
    service.client.sendTo(service.port(), "late");
    EXPECT_EQ(reading.get(), 0);
    EXPECT_EQ(size, 4);
}

TEST(CaServerSocket, ReportsAWaitThatFails)
{
    LogCapture log;
    Service service;
    int size = 10;
    const int valid = std::exchange(service.socket.m_Descriptor, -1);
    EXPECT_EQ(service.socket.read(service.buffer, &size, 0), -6);
    service.socket.m_Descriptor = valid;
    EXPECT_EQ(size, 10);
    EXPECT_EQ(log.count("ERROR", "select(): failed\n"), 1);
}

TEST(CaServerSocket, ReportsAReceiveThatFails)
{
    LogCapture log;
    Service service;
    service.client.sendTo(service.port(), "x");
    int size = -1; // there is no such room
    EXPECT_EQ(service.socket.read(service.buffer, &size, PATIENTLY), -6);
    EXPECT_EQ(size, -1);
    EXPECT_EQ(log.count("ERROR", "recvfrom(): failed\n"), 1);
    EXPECT_EQ(service.readText(), "x");
}

TEST(CaServerSocket, HasNobodyToAnswerBeforeTheFirstDatagram)
{
    LogCapture log;
    Service service;
    EXPECT_EQ(service.socket.write("a", 1), -5);
    EXPECT_EQ(log.count("ERROR", "sendto(): failed\n"), 1);
}

TEST(CaServerSocket, ReportsADatagramThatItCannotSend)
{
    LogCapture log;
    Service service;
    service.client.sendTo(service.port(), "x");
    EXPECT_EQ(service.readText(), "x");
    const std::string tooLarge(65508, 'x'); // with its headers more than 65535 bytes
    EXPECT_EQ(service.socket.write(tooLarge.data(), 65508), -5);
    EXPECT_EQ(service.socket.write("a", -1), -5);
    EXPECT_EQ(log.count("ERROR", "sendto(): failed\n"), 2);
    EXPECT_EQ(log.entries().size(), 2U);
}

TEST(CaServerSocket, IsReadyToReadWhenADatagramHasArrived)
{
    Service service;
    EXPECT_FALSE(service.socket.isReadyToRead());
    service.client.sendTo(service.port(), "x");
    while (!service.socket.isReadyToRead())
        ; // the datagram is on its way
    EXPECT_EQ(service.readText(), "x");
    EXPECT_FALSE(service.socket.isReadyToRead());
}
