#include <TSClientInterface/SocketPlatform.h>
#include <support/PlainSocket.h>

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <future>
#include <thread>
#include <vector>

#ifndef _WIN32
#include <csignal>
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#endif

namespace platform = tbr::platform;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using testing::ElementsAre;

namespace
{

constexpr microseconds NO_WAIT{0};
constexpr microseconds NO_LIMIT{-1};

/// A descriptor of the platform functions that is closed in the end.
class Descriptor
{
public:
    explicit Descriptor(int value) : m_Value(value) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (m_Value >= 0)
            platform::closeSocket(m_Value);
    }
    operator int() const { return m_Value; }

private:
    int m_Value;
};

struct Connection
{
    PlainPair pair;
    Descriptor here{pair.here.release()};
    PlainSocket& peer = pair.there;
};

/// A label of a host name has at most 63 letters, so nobody needs to be asked about this one.
const std::string IMPOSSIBLE_HOST(64, 'x');

platform::SocketAddress resolved(const char* host, int port = 0)
{
    platform::SocketAddress address;
    EXPECT_TRUE(platform::resolveHost(host, port, address)) << host;
    return address;
}

/// Whether a program that this one starts would have the descriptor, too.
bool isInherited(int descriptor)
{
#ifdef _WIN32
    DWORD flags = 0;
    EXPECT_TRUE(GetHandleInformation(reinterpret_cast<HANDLE>(static_cast<INT_PTR>(descriptor)), &flags));
    return (flags & HANDLE_FLAG_INHERIT) != 0;
#else
    const int flags = fcntl(descriptor, F_GETFD);
    EXPECT_GE(flags, 0);
    return (flags & FD_CLOEXEC) == 0;
#endif
}

} // namespace

TEST(SocketPlatform, StartsAndEndsTheSystemsSockets)
{
    int error = 12345;
    EXPECT_TRUE(platform::startSockets(error));
    platform::endSockets();
    EXPECT_EQ(error, 12345);
}

TEST(SocketPlatform, LaysAnAddressOutAsTheNetworkDoes)
{
    platform::SocketAddress address;
    ASSERT_TRUE(platform::parseAddress("10.20.30.40", 0x1234, address));
    const std::vector<int> portAndHost(address.bytes + 2, address.bytes + 8);
    EXPECT_THAT(portAndHost, ElementsAre(0x12, 0x34, 10, 20, 30, 40));
}

TEST(SocketPlatform, WritesAnAddressAsNumbersWithDots)
{
    platform::SocketAddress address;
    ASSERT_TRUE(platform::parseAddress("10.20.30.255", 1, address));
    EXPECT_EQ(platform::toDotted(address), "10.20.30.255");
    EXPECT_EQ(platform::toDotted(platform::anyAddress(5)), "0.0.0.0");
}

TEST(SocketPlatform, RefusesToReadAnythingElseAsAnAddress)
{
    for (const char* text : {"", "localhost", "1.2.3", "1.2.3.256", "::1", "1.2.3.4 "})
    {
        platform::SocketAddress address;
        EXPECT_FALSE(platform::parseAddress(text, 1, address)) << text;
        EXPECT_EQ(address.bytes[3], 0) << text;
    }
}

TEST(SocketPlatform, FindsHostsByNameAndByNumber)
{
    EXPECT_EQ(platform::toDotted(resolved("localhost")), "127.0.0.1");
    EXPECT_EQ(platform::toDotted(resolved("127.0.0.7")), "127.0.0.7");
}

TEST(SocketPlatform, FindsNoHostWithoutAUsableName)
{
    platform::SocketAddress address;
    EXPECT_FALSE(platform::resolveHost(nullptr, 1, address));
    EXPECT_FALSE(platform::resolveHost("", 1, address));
    EXPECT_FALSE(platform::resolveHost(IMPOSSIBLE_HOST.c_str(), 1, address));
    EXPECT_EQ(address.bytes[3], 0);
}

TEST(SocketPlatform, CountsOnlyTheLower16BitsOfAPort)
{
    EXPECT_EQ(resolved("127.0.0.1", 65536 + 0x0203).bytes[2], 2);
    EXPECT_EQ(resolved("127.0.0.1", 65536 + 0x0203).bytes[3], 3);
    EXPECT_EQ(platform::anyAddress(-1).bytes[2], 255);
    EXPECT_EQ(platform::anyAddress(-1).bytes[3], 255);
}

TEST(SocketPlatform, TellsStreamAndDatagramSocketsApart)
{
    const Descriptor stream(platform::createSocket(false));
    const Descriptor dataGram(platform::createSocket(true));
    bool isStream = false;
    EXPECT_TRUE(platform::getSocketKind(stream, isStream));
    EXPECT_TRUE(isStream);
    EXPECT_TRUE(platform::getSocketKind(dataGram, isStream));
    EXPECT_FALSE(isStream);
}

TEST(SocketPlatform, FailsForADescriptorThatIsNone)
{
    bool isStream = false;
    char byte = 0;
    platform::SocketAddress address = resolved("127.0.0.1", 1);
    EXPECT_FALSE(platform::getSocketKind(-1, isStream));
    EXPECT_FALSE(platform::setReuseAddress(-1));
    EXPECT_FALSE(platform::setNonBlocking(-1, true));
    EXPECT_FALSE(platform::setReceiveBufferSize(-1, 1000));
    EXPECT_FALSE(platform::setSendBufferSize(-1, 1000));
    EXPECT_FALSE(platform::setNoDelay(-1));
    EXPECT_FALSE(platform::bindSocket(-1, platform::anyAddress(0)));
    EXPECT_FALSE(platform::connectSocket(-1, address));
    EXPECT_FALSE(platform::listenOn(-1, 5));
    EXPECT_LT(platform::acceptConnection(-1, address), 0);
    EXPECT_EQ(platform::getBoundPort(-1), -1);
    EXPECT_EQ(platform::waitReadable(-1, NO_LIMIT), -1);
    EXPECT_TRUE(platform::isPeerGone(-1));
    EXPECT_EQ(platform::receiveBytes(-1, &byte, 1), -1);
    EXPECT_EQ(platform::receiveFrom(-1, &byte, 1, address), -1);
    EXPECT_EQ(platform::sendBytes(-1, &byte, 1), -1);
    EXPECT_EQ(platform::sendWithin(-1, &byte, 1, NO_LIMIT), -1);
    EXPECT_EQ(platform::sendTo(-1, &byte, 1, address), -1);
}

TEST(SocketPlatform, NeitherReceivesNorSendsANegativeCount)
{
    Connection connection;
    platform::SocketAddress address;
    char byte = 0;
    EXPECT_EQ(platform::receiveBytes(connection.here, &byte, -1), -1);
    EXPECT_EQ(platform::receiveFrom(connection.here, &byte, -1, address), -1);
    EXPECT_EQ(platform::sendBytes(connection.here, &byte, -1), -1);
    EXPECT_EQ(platform::sendWithin(connection.here, &byte, -1, NO_LIMIT), -1);
    EXPECT_EQ(platform::sendTo(connection.here, &byte, -1, address), -1);
}

TEST(SocketPlatform, DoesNotListenOnASocketThatWasNeverBound)
{
    const Descriptor unbound(platform::createSocket(false));
    EXPECT_EQ(platform::getBoundPort(unbound), -1);
    EXPECT_FALSE(platform::listenOn(unbound, 5));
    EXPECT_EQ(platform::getBoundPort(unbound), -1);
}

TEST(SocketPlatform, AcceptsAConnectionAndTellsWhoCame)
{
    const Descriptor listener(platform::createSocket(false));
    ASSERT_TRUE(platform::bindSocket(listener, platform::anyAddress(0)));
    ASSERT_TRUE(platform::listenOn(listener, 5));
    const Descriptor client(platform::createSocket(false));
    ASSERT_TRUE(platform::bindSocket(client, platform::anyAddress(0)));
    ASSERT_TRUE(platform::connectSocket(client, resolved("127.0.0.1", platform::getBoundPort(listener))));

    platform::SocketAddress peer;
    const Descriptor accepted(platform::acceptConnection(listener, peer));

    EXPECT_GT(accepted, 0);
    EXPECT_EQ(platform::toDotted(peer), "127.0.0.1");
    EXPECT_EQ(peer.bytes[2] * 256 + peer.bytes[3], platform::getBoundPort(client));
    EXPECT_EQ(platform::sendBytes(accepted, "hello", 5), 5);
    char buffer[5];
    EXPECT_EQ(platform::receiveBytes(client, buffer, 5), 5);
    EXPECT_EQ(std::string(buffer, 5), "hello");
}

TEST(SocketPlatform, FailsToConnectWhereNobodyListens)
{
    const Descriptor client(platform::createSocket(false));
    EXPECT_FALSE(platform::connectSocket(client, resolved("127.0.0.1", PlainSocket::freePort())));
}

TEST(SocketPlatform, WaitsNoLongerThanTheLimitForASilentPeer)
{
    Connection connection;
    EXPECT_EQ(platform::waitReadable(connection.here, NO_WAIT), 0);
    EXPECT_EQ(platform::waitReadable(connection.here, milliseconds(1)), 0);
}

TEST(SocketPlatform, StopsWaitingWhenThereIsAByte)
{
    Connection connection;
    connection.peer.send("x");
    EXPECT_EQ(platform::waitReadable(connection.here, PlainSocket::PATIENCE), 1);
}

TEST(SocketPlatform, StopsWaitingWhenThePeerCloses)
{
    Connection connection;
    connection.peer.close();
    EXPECT_EQ(platform::waitReadable(connection.here, PlainSocket::PATIENCE), 1);
}

TEST(SocketPlatform, WaitsWithoutLimitUntilThereIsAByte)
{
    Connection connection;
    std::future<int> waiting =
        std::async(std::launch::async, [&] { return platform::waitReadable(connection.here, NO_LIMIT); });
    connection.peer.send("x");
    EXPECT_EQ(waiting.get(), 1);
}

TEST(SocketPlatform, SeesThatThePeerIsThere)
{
    Connection connection;
    EXPECT_FALSE(platform::isPeerGone(connection.here));
    connection.peer.send("x");
    ASSERT_EQ(platform::waitReadable(connection.here, PlainSocket::PATIENCE), 1);
    EXPECT_FALSE(platform::isPeerGone(connection.here));
    char byte = 0;
    EXPECT_EQ(platform::receiveBytes(connection.here, &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
}

TEST(SocketPlatform, SeesThatThePeerClosedItsSide)
{
    Connection connection;
    connection.peer.endSending();
    ASSERT_EQ(platform::waitReadable(connection.here, PlainSocket::PATIENCE), 1);
    EXPECT_TRUE(platform::isPeerGone(connection.here));
}

TEST(SocketPlatform, SeesThatThePeerBrokeTheConnection)
{
    Connection connection;
    connection.peer.abort();
    ASSERT_EQ(platform::waitReadable(connection.here, PlainSocket::PATIENCE), 1);
    EXPECT_TRUE(platform::isPeerGone(connection.here));
}

TEST(SocketPlatform, FailsToSendToAPeerThatIsGone)
{
    Connection connection;
    connection.peer.abort();
    ASSERT_EQ(platform::waitReadable(connection.here, PlainSocket::PATIENCE), 1);
    EXPECT_EQ(platform::sendBytes(connection.here, "x", 1), -1); // the reset itself
    EXPECT_EQ(platform::sendBytes(connection.here, "x", 1), -1); // where a signal would end the process
}

TEST(SocketPlatform, SendsEverythingInBlockingMode)
{
    Connection connection;
    platform::setSendBufferSize(connection.here, 4096);
    const std::string sent(2000000, 'b');
    std::future<std::string> received =
        std::async(std::launch::async, [&] { return connection.peer.receive(sent.size()); });
    EXPECT_EQ(platform::sendBytes(connection.here, sent.data(), static_cast<int>(sent.size())), 2000000);
    EXPECT_EQ(received.get(), sent);
}

TEST(SocketPlatform, SendsWhatFitsInNonBlockingMode)
{
    Connection connection;
    ASSERT_TRUE(platform::setNonBlocking(connection.here, true));
    platform::setSendBufferSize(connection.here, 4096);
    const std::string data(50000000, 'n');
    const int taken = platform::sendBytes(connection.here, data.data(), static_cast<int>(data.size()));
    EXPECT_GT(taken, 0);
    EXPECT_LT(taken, static_cast<int>(data.size()));
    char byte;
    EXPECT_EQ(platform::receiveBytes(connection.here, &byte, 1), -1);
}

TEST(SocketPlatform, ReceivesWithinALimit)
{
    Connection connection;
    char byte = 0;
    const bool hasLimit = platform::setReceiveLimit(connection.here, milliseconds(20));
#ifdef _WIN32
    EXPECT_FALSE(hasLimit); // a receive waits for its bytes there
#else
    EXPECT_TRUE(hasLimit);
    EXPECT_EQ(platform::receiveWithinLimit(connection.here, &byte, 1), -1);
#endif
    connection.peer.send("x");
    EXPECT_EQ(platform::receiveWithinLimit(connection.here, &byte, 1), 1);
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(platform::receiveWithinLimit(connection.here, &byte, -1), -1);
    connection.peer.close();
    EXPECT_EQ(platform::receiveWithinLimit(connection.here, &byte, 1), 0);
    EXPECT_FALSE(platform::setReceiveLimit(-1, milliseconds(20)));
}

TEST(SocketPlatform, SendsEverythingThatThePeerTakesWithinTheLimit)
{
    Connection connection;
    platform::setSendBufferSize(connection.here, 4096);
    const std::string sent(2000000, 'w');
    for (const microseconds limit : {microseconds(PlainSocket::PATIENCE), NO_LIMIT})
    {
        std::future<std::string> received =
            std::async(std::launch::async, [&] { return connection.peer.receive(sent.size()); });
        EXPECT_EQ(platform::sendWithin(connection.here, sent.data(), 2000000, limit), 2000000);
        EXPECT_EQ(received.get(), sent);
    }
}

TEST(SocketPlatform, SendsWhatFitsToAPeerThatTakesNothingMore)
{
    Connection connection;
    const std::string data(50000000, 'f');
    const int fitting = platform::sendWithin(connection.here, data.data(), 50000000, milliseconds(20));
    EXPECT_GT(fitting, 0);
    EXPECT_LT(fitting, 50000000);
    EXPECT_EQ(connection.peer.receive(static_cast<std::size_t>(fitting)), data.substr(0, fitting));
    EXPECT_EQ(platform::sendWithin(connection.here, "x", 1, NO_WAIT), 1);
    EXPECT_EQ(connection.peer.receive(1), "x"); // in blocking mode as before
    EXPECT_EQ(platform::sendWithin(connection.here, nullptr, 0, NO_WAIT), 0);
}

TEST(SocketPlatform, FailsToSendWithinALimitToAPeerThatIsGone)
{
    Connection connection;
    connection.peer.abort();
    ASSERT_EQ(platform::waitReadable(connection.here, PlainSocket::PATIENCE), 1);
    EXPECT_EQ(platform::sendWithin(connection.here, "x", 1, NO_LIMIT), -1);
    EXPECT_EQ(platform::sendWithin(connection.here, "x", 1, NO_LIMIT), -1);
}

TEST(SocketPlatform, EndsABlockedReceive)
{
    Connection connection;
    char byte;
    std::future<int> receiving =
        std::async(std::launch::async, [&] { return platform::receiveBytes(connection.here, &byte, 1); });
    do
        platform::shutdownSocket(connection.here);
    while (receiving.wait_for(milliseconds(1)) != std::future_status::ready);
    EXPECT_LE(receiving.get(), 0);
}

TEST(SocketPlatform, EndsABlockedSend)
{
    Connection connection;
    const std::string data(50000000, 's');
    std::future<int> sending =
        std::async(std::launch::async, [&] { return platform::sendBytes(connection.here, data.data(), 50000000); });
    ASSERT_TRUE(connection.peer.waitForInput(PlainSocket::PATIENCE)); // it is sending
    do
        platform::shutdownSocket(connection.here);
    while (sending.wait_for(milliseconds(1)) != std::future_status::ready);
    EXPECT_LT(sending.get(), 50000000);
}

TEST(SocketPlatform, EndsABlockedAccept)
{
    const Descriptor listener(platform::createSocket(false));
    ASSERT_TRUE(platform::bindSocket(listener, platform::anyAddress(0)));
    ASSERT_TRUE(platform::listenOn(listener, 5));
    platform::SocketAddress peer;
    std::future<int> accepting =
        std::async(std::launch::async, [&] { return platform::acceptConnection(listener, peer); });
    do
        platform::shutdownSocket(listener);
    while (accepting.wait_for(milliseconds(1)) != std::future_status::ready);
    EXPECT_LT(accepting.get(), 0);
}

TEST(SocketPlatform, CarriesDatagramsBothWays)
{
    PlainSocket peer = PlainSocket::dataGram();
    const Descriptor here(platform::createSocket(true));
    ASSERT_TRUE(platform::bindSocket(here, platform::anyAddress(0)));

    ASSERT_EQ(platform::sendTo(here, "ask", 3, resolved("127.0.0.1", peer.port())), 3);
    int senderPort = 0;
    EXPECT_EQ(peer.receiveDataGram(&senderPort), "ask");
    EXPECT_EQ(senderPort, platform::getBoundPort(here));

    peer.sendTo(senderPort, "answer");
    char buffer[10];
    platform::SocketAddress sender;
    ASSERT_EQ(platform::receiveFrom(here, buffer, 10, sender), 6);
    EXPECT_EQ(std::string(buffer, 6), "answer");
    EXPECT_EQ(sender.bytes[2] * 256 + sender.bytes[3], peer.port());
}

TEST(SocketPlatform, SendsAnEmptyDatagram)
{
    PlainSocket peer = PlainSocket::dataGram();
    const Descriptor here(platform::createSocket(true));
    ASSERT_TRUE(platform::connectSocket(here, resolved("127.0.0.1", peer.port())));
    EXPECT_EQ(platform::sendBytes(here, "", 0), 0);
    EXPECT_TRUE(peer.waitForInput(PlainSocket::PATIENCE));
    EXPECT_EQ(peer.receiveDataGram(), "");
}

TEST(SocketPlatform, KeepsDescriptorsFromChildProcesses)
{
    const Descriptor listener(platform::createSocket(false));
    ASSERT_TRUE(platform::bindSocket(listener, platform::anyAddress(0)));
    ASSERT_TRUE(platform::listenOn(listener, 5));
    PlainSocket client = PlainSocket::connectedTo(platform::getBoundPort(listener));
    platform::SocketAddress peer;
    const Descriptor accepted(platform::acceptConnection(listener, peer));
    EXPECT_FALSE(isInherited(listener));
    EXPECT_FALSE(isInherited(accepted));
}

#ifndef _WIN32 // what only shows where descriptors are small numbers and signals interrupt calls

TEST(SocketPlatform, FailsToWaitOnAClosedDescriptor)
{
    const int closed = platform::createSocket(false);
    platform::closeSocket(closed);
    EXPECT_EQ(platform::waitReadable(closed, NO_LIMIT), -1);
    EXPECT_TRUE(platform::isPeerGone(closed));
}

TEST(SocketPlatform, SeesAClosedPeerBehindUnreadBytes)
{
    Connection connection;
    connection.peer.send("unread");
    connection.peer.close();
    while (!platform::isPeerGone(connection.here))
        std::this_thread::yield();
    char buffer[10];
    EXPECT_EQ(platform::receiveBytes(connection.here, buffer, 10), 6);
}

TEST(SocketPlatform, NeverHandsOutDescriptor0)
{
    const int standardInput = fcntl(0, F_DUPFD_CLOEXEC, 3);
    close(0);
    {
        const Descriptor socket(platform::createSocket(false));
        EXPECT_GT(socket, 0);
        EXPECT_EQ(fcntl(socket, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
        EXPECT_EQ(fcntl(0, F_GETFD), -1);
    }
    if (standardInput >= 0)
    {
        dup2(standardInput, 0);
        close(standardInput);
    }
}

TEST(SocketPlatform, WaitsOnADescriptorBeyondAThousand)
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    Connection connection;
    const Descriptor high(fcntl(connection.here, F_DUPFD_CLOEXEC, 3000));
    if (high < 0)
        GTEST_SKIP() << "this system allows no more than " << limit.rlim_max << " descriptors";
    EXPECT_EQ(platform::waitReadable(high, NO_WAIT), 0);
    connection.peer.send("x");
    EXPECT_EQ(platform::waitReadable(high, PlainSocket::PATIENCE), 1);
    EXPECT_FALSE(platform::isPeerGone(high));
}

namespace
{

std::atomic<int> ourSignals{0};

/// A thread that signals interrupt while it runs `work`.
template <class Work>
int runInterrupted(Work work, const std::function<void()>& finish)
{
    struct sigaction interrupt = {};
    struct sigaction before = {};
    interrupt.sa_handler = [](int) { ++ourSignals; }; // without SA_RESTART
    sigaction(SIGUSR1, &interrupt, &before);
    ourSignals = 0;
    std::promise<pthread_t> thread;
    std::promise<void> mayEnd;
    std::future<void> end = mayEnd.get_future();
    std::future<int> result = std::async(std::launch::async,
                                         [&]
                                         {
                                             thread.set_value(pthread_self());
                                             const int outcome = work();
                                             end.wait(); // the last signals must find it alive
                                             return outcome;
                                         });
    const pthread_t target = thread.get_future().get();
    while (ourSignals < 20)
    {
        pthread_kill(target, SIGUSR1);
        std::this_thread::yield();
    }
    finish();
    mayEnd.set_value();
    const int outcome = result.get();
    sigaction(SIGUSR1, &before, nullptr);
    return outcome;
}

} // namespace

TEST(SocketPlatform, DoesNotEndAWaitForASignal)
{
    Connection connection;
    EXPECT_EQ(runInterrupted([&] { return platform::waitReadable(connection.here, NO_LIMIT); },
                             [&] { connection.peer.send("x"); }),
              1);
}

TEST(SocketPlatform, DoesNotEndAReceiveForASignal)
{
    Connection connection;
    char byte = 0;
    EXPECT_EQ(runInterrupted([&] { return platform::receiveBytes(connection.here, &byte, 1); },
                             [&] { connection.peer.send("x"); }),
              1);
    EXPECT_EQ(byte, 'x');
}

TEST(SocketPlatform, DoesNotCutASendForASignal)
{
    Connection connection;
    const std::string data(20000000, 's');
    EXPECT_EQ(runInterrupted([&] { return platform::sendBytes(connection.here, data.data(), 20000000); },
                             [&] { EXPECT_EQ(connection.peer.receive(20000000), data); }),
              20000000);
}

TEST(SocketPlatform, DoesNotEndAnAcceptForASignal)
{
    const Descriptor listener(platform::createSocket(false));
    ASSERT_TRUE(platform::bindSocket(listener, platform::anyAddress(0)));
    ASSERT_TRUE(platform::listenOn(listener, 5));
    platform::SocketAddress peer;
    PlainSocket client;
    const Descriptor accepted(runInterrupted([&] { return platform::acceptConnection(listener, peer); }, [&]
                                             { client = PlainSocket::connectedTo(platform::getBoundPort(listener)); }));
    EXPECT_GT(accepted, 0);
}

#else

TEST(SocketPlatform, DoesNotAcceptAClientThatHasGoneInPlaceOfOneThatWaits)
{
    const Descriptor listener(platform::createSocket(false));
    ASSERT_TRUE(platform::bindSocket(listener, platform::anyAddress(0)));
    ASSERT_TRUE(platform::listenOn(listener, 5));
    const int port = platform::getBoundPort(listener);
    PlainSocket::connectedTo(port).abort();
    PlainSocket waiting = PlainSocket::connectedTo(port);
    platform::SocketAddress peer;
    const Descriptor accepted(platform::acceptConnection(listener, peer));
    ASSERT_GT(accepted, 0);
    EXPECT_EQ(PlainSocket::peerPortOf(accepted), waiting.port());
}

#endif
