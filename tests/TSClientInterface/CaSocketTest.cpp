#include <TSClientInterface/CaSocket.h>
#include <TSClientInterface/SocketPlatform.h>
#include <support/LogCapture.h>
#include <support/OwnProcess.h>
#include <support/PlainSocket.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <future>
#include <memory>
#include <string>
#include <type_traits>

namespace platform = tbr::platform;

namespace
{

/// The least that makes a CaSocket, with its inner side open to the tests.
class TestSocket : public CaSocket
{
public:
    explicit TestSocket(bool dataGram, bool blocking = true) : CaSocket(dataGram, blocking) {}
    explicit TestSocket(int descriptor, bool blocking = true) : CaSocket(descriptor, blocking) {}

    int read(void*, int*, long) override { return 0; }
    int write(const void*, int) override { return 0; }

    using CaSocket::bindTo;
    using CaSocket::connectToHost;
    using CaSocket::getDescriptor;
    using CaSocket::getLocalPort;
    using CaSocket::getNumberOfSockets;
    using CaSocket::m_Blocking;
    using CaSocket::m_Descriptor;
    using CaSocket::shutdown;
    using CaSocket::sockhtond;
    using CaSocket::sockhtonf;
    using CaSocket::sockhtonl;
    using CaSocket::sockhtons;
    using CaSocket::sockntohd;
    using CaSocket::sockntohf;
    using CaSocket::sockntohl;
    using CaSocket::sockntohs;
    using CaSocket::waitForInput;
};

/// Lets a socket have another descriptor for a while.
class WithDescriptor
{
public:
    WithDescriptor(TestSocket& socket, int descriptor) : m_Socket(socket), m_Former(socket.m_Descriptor)
    {
        socket.m_Descriptor = descriptor;
    }
    WithDescriptor(const WithDescriptor&) = delete;
    WithDescriptor& operator=(const WithDescriptor&) = delete;
    ~WithDescriptor() { m_Socket.m_Descriptor = m_Former; }

private:
    TestSocket& m_Socket;
    const int m_Former;
};

struct SwappingSocket : TestSocket
{
    explicit SwappingSocket(bool swap) : TestSocket(false) { enableByteSwapping(swap); }
};

double fromBits(std::uint64_t bits)
{
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

float fromBits32(std::uint32_t bits)
{
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::uint64_t bitsOf(double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

std::uint32_t bitsOf(float value)
{
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

/// What isInBlockingMode() writes to standard output.
std::string modeText(TestSocket& socket, bool expected)
{
    testing::internal::CaptureStdout();
    const bool mode = socket.isInBlockingMode();
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(mode, expected);
    return text;
}

int receiveByte(TestSocket& socket)
{
    char byte;
    return platform::receiveBytes(socket.getDescriptor(), &byte, 1);
}

} // namespace

TEST(CaSocket, CountsTheSocketsThatAreAlive)
{
    EXPECT_EQ(TestSocket::getNumberOfSockets(), 0);
    {
        const TestSocket first(false);
        EXPECT_EQ(TestSocket::getNumberOfSockets(), 1);
        auto second = std::make_unique<TestSocket>(true);
        EXPECT_EQ(TestSocket::getNumberOfSockets(), 2);
        second.reset();
        EXPECT_EQ(TestSocket::getNumberOfSockets(), 1);
    }
    EXPECT_EQ(TestSocket::getNumberOfSockets(), 0);
}

TEST(CaSocket, CountsAdoptedSocketsToo)
{
    PlainPair pair;
    {
        const TestSocket adopted(pair.here.release());
        EXPECT_EQ(TestSocket::getNumberOfSockets(), 1);
    }
    EXPECT_EQ(TestSocket::getNumberOfSockets(), 0);
}

TEST(CaSocket, CountsSocketsThatCouldNotBeMade)
{
    LogCapture log;
    testing::internal::CaptureStderr();
    {
        const TestSocket invalid(-1);
        EXPECT_EQ(TestSocket::getNumberOfSockets(), 1);
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(TestSocket::getNumberOfSockets(), 0);
}

TEST(CaSocket, MakesTheKindOfSocketThatIsAskedFor)
{
    TestSocket stream(false);
    TestSocket dataGram(true);
    EXPECT_GT(stream.getDescriptor(), 0);
    EXPECT_FALSE(stream.isDataGramSocket());
    EXPECT_TRUE(dataGram.isDataGramSocket());
    EXPECT_EQ(PlainSocket::optionOf(stream.getDescriptor(), SOL_SOCKET, SO_TYPE), SOCK_STREAM);
    EXPECT_EQ(PlainSocket::optionOf(dataGram.getDescriptor(), SOL_SOCKET, SO_TYPE), SOCK_DGRAM);
}

TEST(CaSocket, LetsAddressesBeReused)
{
    PlainPair pair;
    TestSocket made(false);
    TestSocket adopted(pair.here.release());
    EXPECT_NE(PlainSocket::optionOf(made.getDescriptor(), SOL_SOCKET, SO_REUSEADDR), 0);
    EXPECT_NE(PlainSocket::optionOf(adopted.getDescriptor(), SOL_SOCKET, SO_REUSEADDR), 0);
}

TEST(CaSocket, FindsOutTheKindOfAnAdoptedSocket)
{
    PlainPair pair;
    const int descriptor = pair.here.release();
    TestSocket stream(descriptor);
    TestSocket dataGram(PlainSocket::dataGram().release());
    EXPECT_EQ(stream.getDescriptor(), descriptor);
    EXPECT_FALSE(stream.isDataGramSocket());
    EXPECT_TRUE(dataGram.isDataGramSocket());
}

TEST(CaSocket, LogsWhatItCannotDoWithAnInvalidDescriptorAndTakesItForADatagramSocket)
{
    LogCapture log;
    testing::internal::CaptureStderr();
    const TestSocket invalid(-1);
    const std::string errors = testing::internal::GetCapturedStderr();

    EXPECT_TRUE(invalid.isDataGramSocket());
    ASSERT_EQ(log.entries().size(), 2U);
    EXPECT_EQ(log.entries()[0].category, "ERROR");
    EXPECT_EQ(log.entries()[0].message, "Error getsockopt.\n");
    EXPECT_EQ(log.entries()[1].category, "ERROR");
    EXPECT_EQ(log.entries()[1].message, "Error setsockopt.\n");
    EXPECT_EQ(errors.find("setsockopt: "), 0U) << errors;
}

TEST(CaSocket, LogsNothingWhenAllGoesWell)
{
    LogCapture log;
    const TestSocket socket(false);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaSocket, ClosesItsDescriptorInTheEnd)
{
    PlainPair pair;
    auto socket = std::make_unique<TestSocket>(pair.here.release());
    EXPECT_FALSE(pair.there.waitForInput(std::chrono::milliseconds(0)));
    socket.reset();
    EXPECT_TRUE(pair.there.seesPeerClose());
}

TEST(CaSocket, TellsItsBlockingMode)
{
    TestSocket blocking(false, true);
    TestSocket nonBlocking(false, false);
    EXPECT_EQ(modeText(blocking, true), "socket is in blocking mode\n");
    EXPECT_EQ(modeText(nonBlocking, false), "socket is in NON blocking mode\n");
}

TEST(CaSocket, ChangesItsBlockingMode)
{
    TestSocket socket(false, true);
    socket.setBlockingMode(false);
    EXPECT_EQ(modeText(socket, false), "socket is in NON blocking mode\n");
    socket.setBlockingMode(true);
    EXPECT_EQ(modeText(socket, true), "socket is in blocking mode\n");
}

TEST(CaSocket, WaitsForBytesInBlockingMode)
{
    for (const bool atFirst : {true, false})
    {
        PlainPair pair;
        TestSocket socket(pair.here.release(), atFirst);
        socket.setBlockingMode(true);
        std::future<int> receiving = std::async(std::launch::async, [&] { return receiveByte(socket); });
        pair.there.send("x");
        EXPECT_EQ(receiving.get(), 1) << atFirst;
    }
}

TEST(CaSocket, DoesNotWaitForBytesInNonBlockingMode)
{
    PlainPair first;
    TestSocket adopted(first.here.release(), false);
    EXPECT_EQ(receiveByte(adopted), -1);

    PlainPair second;
    TestSocket switched(second.here.release(), true);
    switched.setBlockingMode(false);
    EXPECT_EQ(receiveByte(switched), -1);

    TestSocket made(true, false);
    ASSERT_EQ(made.bindTo(platform::anyAddress(0)), 0);
    EXPECT_EQ(receiveByte(made), -1);
}

TEST(CaSocket, RemembersTheBlockingModeEvenWithoutADescriptor)
{
    TestSocket socket(false, true);
    const WithDescriptor none(socket, -1);
    socket.setBlockingMode(false);
    EXPECT_FALSE(socket.m_Blocking);
}

TEST(CaSocket, LeavesTheBlockingModeAloneWhenTheDescriptorIs0)
{
    TestSocket socket(false, true);
    const WithDescriptor zero(socket, 0);
    socket.setBlockingMode(false);
    EXPECT_TRUE(socket.m_Blocking);
}

TEST(CaSocket, AdjustsTheBufferSizes)
{
    LogCapture log;
    TestSocket socket(false);
    EXPECT_TRUE(socket.setReadBufferSize(20000));
    EXPECT_TRUE(socket.setWriteBufferSize(30000));
    EXPECT_GE(PlainSocket::optionOf(socket.getDescriptor(), SOL_SOCKET, SO_RCVBUF), 20000);
    EXPECT_LT(PlainSocket::optionOf(socket.getDescriptor(), SOL_SOCKET, SO_RCVBUF), 50000);
    EXPECT_GE(PlainSocket::optionOf(socket.getDescriptor(), SOL_SOCKET, SO_SNDBUF), 30000);
    EXPECT_LT(PlainSocket::optionOf(socket.getDescriptor(), SOL_SOCKET, SO_SNDBUF), 70000);
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaSocket, LogsBufferSizesThatItCannotAdjust)
{
    LogCapture log;
    TestSocket socket(false);
    const WithDescriptor none(socket, -1);
    EXPECT_FALSE(socket.setReadBufferSize(20000));
    EXPECT_FALSE(socket.setWriteBufferSize(20000));
    ASSERT_EQ(log.entries().size(), 2U);
    EXPECT_EQ(log.entries()[0].message, "setsockopt(): failed to adjust read buffer size\n");
    EXPECT_EQ(log.entries()[0].category, "ERROR");
    EXPECT_EQ(log.entries()[1].message, "setsockopt(): failed to adjust write buffer size\n");
    EXPECT_EQ(log.entries()[1].category, "ERROR");
}

TEST(CaSocket, IsReadyToReadWhenThereIsSomethingToFetch)
{
    PlainPair pair;
    TestSocket socket(pair.here.release());
    EXPECT_FALSE(socket.isReadyToRead());
    pair.there.send("x");
    EXPECT_EQ(socket.waitForInput(30000), 0);
    EXPECT_TRUE(socket.isReadyToRead());
}

TEST(CaSocket, CountsAsReadyToReadWhenItCannotLook)
{
    TestSocket socket(false);
    const WithDescriptor none(socket, -1);
    EXPECT_TRUE(socket.isReadyToRead());
}

TEST(CaSocket, LogsAWaitThatFails)
{
    LogCapture log;
    TestSocket socket(false);
    const WithDescriptor none(socket, -1);
    EXPECT_EQ(socket.waitForInput(0), -6);
    EXPECT_EQ(socket.waitForInput(-1), -6);
    EXPECT_EQ(log.count("ERROR", "select(): failed\n"), 2);
}

TEST(CaSocket, WaitsWithAnyLimitUntilThereIsInput)
{
    PlainPair pair;
    TestSocket socket(pair.here.release());
    EXPECT_EQ(socket.waitForInput(0), -2);
    EXPECT_EQ(socket.waitForInput(1), -2);
    pair.there.send("x");
    // The last before, and the first that does not fit 32 bits in microseconds; then those that do not fit at all.
    for (const long limit : {-1L, 2147483L, 2147484L, 4294967L, 4294968L, 2147483647L, LONG_MAX})
        EXPECT_EQ(socket.waitForInput(limit), 0) << limit;
}

TEST(CaSocket, DoesNotGiveUpAtOnceWhenTheLimitIsHuge)
{
    for (const long limit : {2147484L, 4294967L, LONG_MAX})
    {
        PlainPair pair;
        TestSocket socket(pair.here.release());
        std::future<int> waiting = std::async(std::launch::async, [&] { return socket.waitForInput(limit); });
        pair.there.send("x");
        EXPECT_EQ(waiting.get(), 0) << limit;
    }
}

TEST(CaSocket, KnowsItsLocalPort)
{
    TestSocket socket(false);
    EXPECT_EQ(socket.getLocalPort(), -1);
    ASSERT_EQ(socket.bindTo(platform::anyAddress(0)), 0);
    EXPECT_GT(socket.getLocalPort(), 0);
}

TEST(CaSocket, ConvertsToTheTypesOfTheWire)
{
    static_assert(std::is_same<decltype(TestSocket::sockhtond), double (*)(double)>::value, "");
    static_assert(std::is_same<decltype(TestSocket::sockntohf), float (*)(float)>::value, "");
    static_assert(std::is_same<decltype(TestSocket::sockhtons), short (*)(short)>::value, "");
    static_assert(std::is_same<decltype(TestSocket::sockhtonl), std::int32_t (*)(std::int32_t)>::value, "");
    static_assert(sizeof(short) == 2, "");
}

TEST(CaSocket, ReversesTheBytesOfIntegersWithSwapping)
{
    const SwappingSocket socket(true);
    EXPECT_EQ(socket.sockhtons(0x0102), 0x0201);
    EXPECT_EQ(socket.sockntohs(0x0102), 0x0201);
    EXPECT_EQ(socket.sockhtons(-2), -257); // fffe becomes feff
    EXPECT_EQ(socket.sockntohs(0x00ff), -256);
    EXPECT_EQ(socket.sockhtonl(0x01020304), 0x04030201);
    EXPECT_EQ(socket.sockntohl(0x01020304), 0x04030201);
    EXPECT_EQ(socket.sockhtonl(1), 16777216);
    EXPECT_EQ(socket.sockntohl(-2), -16777217); // fffffffe becomes feffffff
}

TEST(CaSocket, GetsIntegersBackThatItSwapped)
{
    const SwappingSocket socket(true);
    for (const int value : {0, 1, -1, 255, 256, 12345, -12345, 32767, -32768})
    {
        EXPECT_EQ(socket.sockntohs(socket.sockhtons(static_cast<short>(value))), value);
        EXPECT_EQ(socket.sockntohl(socket.sockhtonl(value)), value);
    }
    EXPECT_EQ(socket.sockntohl(socket.sockhtonl(INT32_MIN)), INT32_MIN);
}

TEST(CaSocket, ReversesTheBytesOfReceivedFloatingPointNumbersWithSwapping)
{
    const SwappingSocket socket(true);
    EXPECT_EQ(bitsOf(socket.sockntohd(fromBits(0x0102030405060708U))), 0x0807060504030201U);
    EXPECT_EQ(socket.sockntohd(fromBits(0x000000000000F03FU)), 1.0);
    EXPECT_EQ(bitsOf(socket.sockntohf(fromBits32(0x01020304U))), 0x04030201U);
    EXPECT_EQ(socket.sockntohf(fromBits32(0x0000803FU)), 1.0F);
    EXPECT_EQ(bitsOf(socket.sockntohf(fromBits32(0x0100807FU))), 0x7F800001U) << "a signalling NaN stays as it is";
}

TEST(CaSocket, SendsTheNumberThatTheReversedBytesStandForWithSwapping)
{
    const SwappingSocket socket(true);
    EXPECT_EQ(socket.sockhtond(1.0), 61503.0); // 3ff0000000000000 becomes 000000000000f03f
    EXPECT_EQ(socket.sockhtond(-2.0), 192.0);  // c000000000000000 becomes 00000000000000c0
    EXPECT_EQ(socket.sockhtond(0.0), 0.0);
    EXPECT_EQ(socket.sockhtonf(1.0F), 32831.0F); // 3f800000 becomes 0000803f
    EXPECT_EQ(socket.sockhtonf(-2.0F), 192.0F);  // c0000000 becomes 000000c0
}

TEST(CaSocket, TakesTheReversedBytesAsUnsignedAndRoundsToNearest)
{
    const SwappingSocket socket(true);
    EXPECT_EQ(socket.sockhtond(fromBits(0x0000000000000080U)), 9223372036854775808.0);
    EXPECT_EQ(socket.sockhtond(fromBits(0xFFFFFFFFFFFFFFFFU)), 18446744073709551616.0);
    EXPECT_EQ(socket.sockhtonf(fromBits32(0x00000080U)), 2147483648.0F);
    EXPECT_EQ(socket.sockhtonf(fromBits32(0xFFFFFFFFU)), 4294967296.0F);
    EXPECT_EQ(socket.sockhtonf(fromBits32(0x01000001U)), 16777216.0F); // 16777217 is half-way, even wins
    EXPECT_EQ(socket.sockhtonf(fromBits32(0x03000001U)), 16777220.0F); // 16777219 is half-way, even wins
}

TEST(CaSocket, DoesNotGetFloatingPointNumbersBackThatItSwapped)
{
    const SwappingSocket socket(true);
    EXPECT_NE(socket.sockntohd(socket.sockhtond(1.0)), 1.0);
    EXPECT_NE(socket.sockntohf(socket.sockhtonf(1.0F)), 1.0F);
}

TEST(CaSocket, ReturnsEveryArgumentWithoutSwapping)
{
    const SwappingSocket socket(false);
    EXPECT_EQ(socket.sockhtons(0x0102), 0x0102);
    EXPECT_EQ(socket.sockntohs(0x0102), 0x0102);
    EXPECT_EQ(socket.sockhtonl(0x01020304), 0x01020304);
    EXPECT_EQ(socket.sockntohl(0x01020304), 0x01020304);
    EXPECT_EQ(socket.sockhtond(-1.25), -1.25);
    EXPECT_EQ(socket.sockntohd(-1.25), -1.25);
    EXPECT_EQ(socket.sockhtonf(-1.25F), -1.25F);
    EXPECT_EQ(socket.sockntohf(-1.25F), -1.25F);
}

TEST(CaSocket, SwitchesSwappingForItselfAlone)
{
    SwappingSocket one(true);
    const SwappingSocket other(false);
    EXPECT_EQ(one.sockhtonl(1), 16777216);
    EXPECT_EQ(other.sockhtonl(1), 1);
    one.enableByteSwapping(false);
    EXPECT_EQ(one.sockhtonl(1), 1);
    one.enableByteSwapping(true);
    EXPECT_EQ(one.sockhtonl(1), 16777216);
}

TEST(CaSocket, LeavesNumbersAloneUntilAByteOrderIsChosen)
{
    const TestSocket socket(false);
    EXPECT_EQ(socket.sockhtonl(0x01020304), 0x01020304);
    EXPECT_EQ(socket.sockhtonf(1.5F), 1.5F);
}

#ifdef _WIN32 // elsewhere sockets need no start
namespace
{

bool canMakeSockets()
{
    const SOCKET socket = ::socket(AF_INET, SOCK_DGRAM, 0);
    const bool isMade = socket != INVALID_SOCKET;
    if (isMade)
        ::closesocket(socket);
    return isMade;
}

/// Other libraries of this process may have started them, too.
void endStartsOfOthers()
{
    while (::WSACleanup() == 0)
        continue;
}

} // namespace

TEST(CaSocket, StartsTheSystemsSocketsWithTheFirstAndEndsThemWithTheLast)
{
    inOwnProcess(
        []
        {
            endStartsOfOthers();
            EXPECT_FALSE(canMakeSockets());
            auto first = std::make_unique<TestSocket>(true);
            EXPECT_TRUE(canMakeSockets());
            auto second = std::make_unique<TestSocket>(false);
            first.reset();
            EXPECT_TRUE(canMakeSockets());
            second.reset();
            EXPECT_FALSE(canMakeSockets());

            const TestSocket again(true);
            EXPECT_TRUE(canMakeSockets());
        });
}

TEST(CaSocket, EndsTheSystemsSocketsWithTheLastWhoeverStartedThem)
{
    inOwnProcess(
        []
        {
            endStartsOfOthers();
            WSADATA details;
            ASSERT_EQ(::WSAStartup(MAKEWORD(2, 2), &details), 0);
            auto adopting = std::make_unique<TestSocket>(static_cast<int>(::socket(AF_INET, SOCK_DGRAM, 0)));
            EXPECT_TRUE(canMakeSockets());
            adopting.reset();
            EXPECT_FALSE(canMakeSockets());
        });
}
#endif
