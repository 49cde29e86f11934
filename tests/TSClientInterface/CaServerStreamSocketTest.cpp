#include <TSClientInterface/CaServerStreamSocket.h>
#include <support/LogCapture.h>
#include <support/PlainSocket.h>

#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace
{

constexpr long PATIENTLY = 30000; // milliseconds
constexpr int SYSTEM_CHOSEN = 0;

class TestSocket : public CaServerStreamSocket
{
public:
    using CaServerStreamSocket::CaServerStreamSocket;
    using CaServerStreamSocket::m_Descriptor;
    using CaServerStreamSocket::m_IsOpen;
    using CaServerStreamSocket::shutdown;
};

int noDelayOf(const TestSocket& socket)
{
    return PlainSocket::optionOf(socket.m_Descriptor, IPPROTO_TCP, TCP_NODELAY);
}

/// Lets a socket wait for a client with an invalid descriptor.
int waitWithDescriptor(TestSocket& socket, int descriptor)
{
    const int valid = std::exchange(socket.m_Descriptor, descriptor);
    int accepted = 77;
    std::string client = "nobody";
    const int result = socket.waitForClientRequest(accepted, client);
    socket.m_Descriptor = valid;
    EXPECT_EQ(accepted, 77);
    EXPECT_EQ(client, "nobody");
    return result;
}

} // namespace

TEST(CaServerStreamSocket, IsNotOpenAtFirst)
{
    TestSocket socket;
    EXPECT_FALSE(socket.m_IsOpen);
    EXPECT_FALSE(socket.isDataGramSocket());
    EXPECT_EQ(socket.getPortNumber(), -1);
    EXPECT_EQ(noDelayOf(socket), 0);
}

TEST(CaServerStreamSocket, OpensOnAPortOfTheSystemsChoice)
{
    LogCapture log;
    TestSocket socket;
    EXPECT_EQ(socket.open(SYSTEM_CHOSEN), 0);
    EXPECT_TRUE(socket.m_IsOpen);
    EXPECT_GT(socket.getPortNumber(), 0);
    EXPECT_NE(noDelayOf(socket), 0);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaServerStreamSocket, OpensOnAGivenPort)
{
    const int port = PlainSocket::freePort();
    CaServerStreamSocket socket;
    EXPECT_EQ(socket.open(port), 0);
    EXPECT_EQ(socket.getPortNumber(), port);
}

TEST(CaServerStreamSocket, OpensOnlyOnce)
{
    LogCapture log;
    CaServerStreamSocket socket;
    ASSERT_EQ(socket.open(SYSTEM_CHOSEN), 0);
    const int port = socket.getPortNumber();
    EXPECT_EQ(socket.open(SYSTEM_CHOSEN), -3);
    EXPECT_EQ(socket.open("127.0.0.1", SYSTEM_CHOSEN), -3);
    EXPECT_EQ(socket.getPortNumber(), port);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaServerStreamSocket, DoesNotOpenWithoutADescriptor)
{
    LogCapture log;
    TestSocket socket;
    const int valid = std::exchange(socket.m_Descriptor, -1);
    EXPECT_EQ(socket.open(SYSTEM_CHOSEN), -3);
    EXPECT_EQ(socket.open("127.0.0.1", SYSTEM_CHOSEN), -3);
    socket.m_Descriptor = valid;
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaServerStreamSocket, ReportsAnAddressThatCannotBeHad)
{
    LogCapture log;
    TestSocket socket;
    EXPECT_EQ(socket.open("192.0.2.1", SYSTEM_CHOSEN), -3); // an address for documents, no machine's
    EXPECT_EQ(socket.open("localhost", SYSTEM_CHOSEN), -3); // not four numbers
    EXPECT_EQ(log.count("ERROR", "bind(): failed\n"), 2);
    EXPECT_EQ(log.entries().size(), 2U);
    EXPECT_FALSE(socket.m_IsOpen);
    EXPECT_EQ(socket.open(SYSTEM_CHOSEN), 0);
}

TEST(CaServerStreamSocket, ReportsAPortThatIsTaken)
{
    LogCapture log;
    const PlainSocket owner = PlainSocket::listening();
    TestSocket socket;
    EXPECT_EQ(socket.open(owner.port()), -3);
    EXPECT_EQ(log.count("ERROR", "bind(): failed\n"), 1);
    EXPECT_FALSE(socket.m_IsOpen);
}

TEST(CaServerStreamSocket, AcceptsClientsOneAfterTheOther)
{
    CaServerStreamSocket listener;
    ASSERT_EQ(listener.open(SYSTEM_CHOSEN), 0);
    for (const char* text : {"first", "later"})
    {
        int descriptor = -1;
        std::string name;
        std::future<int> waiting =
            std::async(std::launch::async, [&] { return listener.waitForClientRequest(descriptor, name); });
        PlainSocket client;
        while (!client.tryConnect(listener.getPortNumber())) // until the other thread listens
            std::this_thread::yield();
        ASSERT_EQ(waiting.get(), 0);
        EXPECT_EQ(name, "127.0.0.1");
        ASSERT_GT(descriptor, 0);

        CaServerStreamSocket session(descriptor);
        EXPECT_EQ(session.write(text, 5), 0);
        EXPECT_EQ(client.receive(7), bytes("0005") + text);
    }
}

TEST(CaServerStreamSocket, AcceptsClientsThroughPointersToo)
{
    CaServerStreamSocket listener;
    ASSERT_EQ(listener.open("127.0.0.1", SYSTEM_CHOSEN), 0);
    int descriptor = -1;
    std::string name;
    std::future<int> waiting =
        std::async(std::launch::async, [&] { return listener.waitForClientRequest2(&descriptor, &name); });
    PlainSocket client;
    while (!client.tryConnect(listener.getPortNumber())) // until the other thread listens
        std::this_thread::yield();
    EXPECT_EQ(waiting.get(), 0);
    EXPECT_EQ(name, "127.0.0.1");
    const CaServerStreamSocket session(descriptor);
}

TEST(CaServerStreamSocket, LetsClientsConnectBeforeAnybodyWaitsForThem)
{
    LogCapture log;
    CaServerStreamSocket listener;
    EXPECT_EQ(listener.listen(), -3); // not bound yet
    EXPECT_EQ(log.count("ERROR", "invalid descriptor\n"), 1);
    ASSERT_EQ(listener.open(SYSTEM_CHOSEN), 0);
    EXPECT_EQ(listener.listen(), 0);
    PlainSocket client = PlainSocket::connectedTo(listener.getPortNumber());
    int descriptor = -1;
    std::string name;
    EXPECT_EQ(listener.waitForClientRequest(descriptor, name), 0);
    EXPECT_EQ(CaServerStreamSocket(descriptor).write("a", 1), 0);
    EXPECT_EQ(client.receive(3), bytes("0001") + "a");
}

TEST(CaServerStreamSocket, LeavesTheRoomForTheNextClientsWhileNobodyWaits)
{
    CaServerStreamSocket listener;
    ASSERT_EQ(listener.open(SYSTEM_CHOSEN), 0);
    const auto acceptOne = [&]
    {
        int descriptor = -1;
        std::string name;
        EXPECT_EQ(listener.waitForClientRequest(descriptor, name), 0);
        return std::make_unique<CaServerStreamSocket>(descriptor);
    };
    std::future<std::unique_ptr<CaServerStreamSocket>> first = std::async(std::launch::async, acceptOne);
    PlainSocket firstClient;
    while (!firstClient.tryConnect(listener.getPortNumber())) // until the other thread listens
        std::this_thread::yield();
    first.get();

    PlainSocket second = PlainSocket::connectedTo(listener.getPortNumber());
    PlainSocket third = PlainSocket::connectedTo(listener.getPortNumber());
    acceptOne()->write("2", 1);
    acceptOne()->write("3", 1);
    EXPECT_EQ(second.receive(3), bytes("0001") + "2");
    EXPECT_EQ(third.receive(3), bytes("0001") + "3");
}

TEST(CaServerStreamSocket, DoesNotWaitForClientsWithoutAValidDescriptor)
{
    LogCapture log;
    TestSocket socket;
    ASSERT_EQ(socket.open(SYSTEM_CHOSEN), 0);
    EXPECT_EQ(waitWithDescriptor(socket, 0), -3);
    EXPECT_EQ(waitWithDescriptor(socket, -1), -3);
    EXPECT_EQ(log.count("ERROR", "invalid descriptor\n"), 2);
    EXPECT_EQ(log.entries().size(), 2U);
}

TEST(CaServerStreamSocket, DoesNotWaitForClientsBeforeItIsOpen)
{
    LogCapture log;
    CaServerStreamSocket socket;
    int descriptor = 77;
    std::string name;
    EXPECT_EQ(socket.waitForClientRequest2(&descriptor, &name), -3);
    EXPECT_EQ(descriptor, 77);
    EXPECT_EQ(log.count("ERROR", "invalid descriptor\n"), 1);
    EXPECT_EQ(log.entries().size(), 1U);
}

TEST(CaServerStreamSocket, TellsOnStandardOutputThatAcceptingFailed)
{
    LogCapture log;
    CaServerStreamSocket socket;
    ASSERT_EQ(socket.open(SYSTEM_CHOSEN), 0);
    socket.setBlockingMode(false); // so that there is no client yet
    int descriptor = 77;
    std::string name = "nobody";
    testing::internal::CaptureStdout();
    const int result = socket.waitForClientRequest(descriptor, name);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "invalid socket from accept call (-1).");
    EXPECT_EQ(result, -3);
    EXPECT_EQ(descriptor, -1);
    EXPECT_EQ(name, "nobody");
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaServerStreamSocket, EndsAWaitForClientsWhenAnotherThreadShutsItDown)
{
    LogCapture log;
    TestSocket socket;
    ASSERT_EQ(socket.open(SYSTEM_CHOSEN), 0);
    int descriptor = 77;
    std::string name;
    testing::internal::CaptureStdout();
    std::future<int> waiting =
        std::async(std::launch::async, [&] { return socket.waitForClientRequest(descriptor, name); });
    do
        socket.shutdown();
    while (waiting.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready);
    EXPECT_EQ(waiting.get(), -3);
    testing::internal::GetCapturedStdout();
}

TEST(CaServerStreamSocket, IsOpenOnAnAcceptedDescriptor)
{
    LogCapture log;
    PlainPair pair;
    TestSocket socket(pair.here.release());
    EXPECT_TRUE(socket.m_IsOpen);
    EXPECT_NE(noDelayOf(socket), 0);
    EXPECT_EQ(socket.open(SYSTEM_CHOSEN), -3);

    pair.there.send(bytes("0003") + "ask");
    int size = 0;
    EXPECT_EQ(socket.read(&size, PATIENTLY), 0);
    EXPECT_EQ(std::string(static_cast<char*>(socket.getReadBuffer()), 3), "ask");
    EXPECT_EQ(socket.write("answer", 6), 0);
    EXPECT_EQ(pair.there.receive(8), bytes("0006") + "answer");
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaServerStreamSocket, LogsThatASocketCannotSendAtOnce)
{
    PlainSocket dataGram = PlainSocket::dataGram();
    LogCapture log;
    const TestSocket socket(dataGram.release());
    EXPECT_EQ(log.count("ERROR", "setsockopt(TCP_NODELAY) failed\n"), 1);
    EXPECT_EQ(log.entries().size(), 1U);
    EXPECT_TRUE(socket.m_IsOpen);
}

TEST(CaServerStreamSocket, OpensEvenIfItCannotSendAtOnce)
{
    LogCapture log;
    TestSocket socket;
    const int dataGram = PlainSocket::unboundDataGram().release();
    const PlainSocket former = PlainSocket::adopt(std::exchange(socket.m_Descriptor, dataGram));
    EXPECT_EQ(socket.open(SYSTEM_CHOSEN), 0);
    EXPECT_TRUE(socket.m_IsOpen);
    EXPECT_EQ(log.count("ERROR", "setsockopt(TCP_NODELAY) failed\n"), 1);
}
