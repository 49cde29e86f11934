#include <TSClient/PacketExchange.h>

#include <support/Dripping.h>
#include <support/LogCapture.h>
#include <support/PlayedServer.h>

#include <gtest/gtest.h>

#include <future>
#include <limits>
#include <string>
#include <vector>

using namespace std::chrono_literals;
using namespace wire;

namespace
{

constexpr long PATIENT_MS = 60000;
constexpr long IMPATIENT_MS = 1;

std::string switchState(unsigned id)
{
    return packet(SWITCH) + integer(Order::HOST, id) + integer(Order::HOST, 0);
}

/// A pose of which only the name counts.
std::string pose(const std::string& name)
{
    return packet(ALL_POSES, name) + zeros(52);
}

std::string markers(const std::string& name)
{
    return packet(ALL_MARKER, name) + zeros(392);
}

/// A client's exchange of packets with a server that the test plays.
class PacketExchangeTest : public testing::Test
{
protected:
    PacketExchangeTest()
    {
        exchange.setTimeout(PATIENT_MS);
        EXPECT_EQ(server.greet(exchange), 0);
    }
    ~PacketExchangeTest() override { exchange.setTimeout(IMPATIENT_MS); } // for its farewell

    int ask(unsigned char kind, int size = 4)
    {
        prepare(kind);
        return exchange.request(packet, size);
    }
    int start(unsigned char kind)
    {
        prepare(kind);
        return exchange.startSequence(packet, 4);
    }
    int next(unsigned char kind) { return exchange.nextInSequence(static_cast<PacketKind>(kind), packet); }

    std::string received(std::size_t size) const { return std::string(packet.bytes, size); }
    std::string receivedName() const { return packet.bytes + 4; }

    void answer(const std::vector<std::string>& packets)
    {
        for (const std::string& each : packets)
            server.answer(each);
    }

    LogCapture log;
    PlayedServer server;
    PacketExchange exchange;
    AllPacketType packet;

private:
    void prepare(unsigned char kind)
    {
        packet = {};
        packet.bytes[0] = static_cast<char>(kind);
    }
};

// --- connecting

TEST(PacketExchangeConnect, GreetsInNetworkOrderAndIsConnectedThen)
{
    PlayedServer server;
    PacketExchange exchange;
    exchange.setTimeout(PATIENT_MS);
    EXPECT_FALSE(exchange.isConnected());
    EXPECT_EQ(server.greet(exchange), 0); // which checks the greeting
    EXPECT_TRUE(exchange.isConnected());
    server.answer(acknowledgement());
    exchange.disconnect();
    EXPECT_EQ(server.request(), bytes("32000000"));
    EXPECT_TRUE(server.connection.seesPeerClose());
    EXPECT_FALSE(exchange.isConnected());
}

TEST(PacketExchangeConnect, FailsWhenTheServerRefusesOrIsNoToolServer)
{
    const LogCapture log;
    const struct
    {
        std::string answer;
        int status;
    } rows[] = {
        {failure(18, "Incompatible protocol version: 1 != 2"), -4},
        {failure(17, "Toolsserver error state: -53"), -7},
        {bytes("15000000 00000002 00000001"), -4},
        {bytes("15000000 01000000 01000000"), -4},
        {acknowledgement(), -8},
        {bytes("15000000 00000001"), -8},
        {"SSH-2.0-whatever", -8},
        {"", -5}, // a frame without bytes
    };
    for (const auto& row : rows)
    {
        PlayedServer server;
        PacketExchange exchange;
        exchange.setTimeout(PATIENT_MS);
        EXPECT_EQ(server.greet(exchange, row.answer), row.status) << row.answer;
        EXPECT_FALSE(exchange.isConnected());
        EXPECT_TRUE(server.connection.seesPeerClose());
    }
}

TEST(PacketExchangeConnect, TimesOutWhenTheServerSaysNothing)
{
    PlayedServer server;
    PacketExchange exchange;
    exchange.setTimeout(1000);
    EXPECT_EQ(server.admit(exchange).get(), -2);
    EXPECT_FALSE(exchange.isConnected());
    exchange.setTimeout(PATIENT_MS);
    EXPECT_EQ(server.greet(exchange), 0);
    exchange.setTimeout(IMPATIENT_MS);
}

TEST(PacketExchangeConnect, FailsWhenTheServerClosesWithoutAByte)
{
    const LogCapture log;
    PlayedServer server;
    PacketExchange exchange;
    exchange.setTimeout(PATIENT_MS);
    std::future<int> status = server.admit(exchange);
    server.connection.close();
    EXPECT_EQ(status.get(), -5);
}

TEST(PacketExchangeConnect, RefusesRequestsBefore)
{
    PacketExchange exchange;
    AllPacketType packet = {};
    packet.bytes[0] = 30;
    EXPECT_EQ(exchange.request(packet, 4), -1);
    EXPECT_EQ(exchange.startSequence(packet, 4), -1);
    EXPECT_EQ(exchange.receiveSequence(), -1);
    EXPECT_EQ(exchange.nextInSequence(PacketKind::ALL_RIGID_TRANSFORM, packet), -1);
    exchange.disconnect();
}

// --- requests

TEST_F(PacketExchangeTest, HandsTheAnswerToItsRequest)
{
    server.answer(switchState(7));
    EXPECT_EQ(ask(SWITCH), 0);
    EXPECT_EQ(received(12), switchState(7));
    EXPECT_EQ(server.request(), bytes("20000000"));
}

TEST_F(PacketExchangeTest, AcceptsAnAnswerOfSingleBytes)
{
    std::future<int> status = std::async(std::launch::async, [this] { return ask(SWITCH); });
    EXPECT_EQ(server.request(), bytes("20000000"));
    for (const char byte : framed(switchState(7)))
        server.connection.send(std::string(1, byte));
    EXPECT_EQ(status.get(), 0);
    EXPECT_EQ(received(12), switchState(7));
}

TEST_F(PacketExchangeTest, RemembersTheLastErrorPacket)
{
    std::string text = "anything";
    EXPECT_EQ(exchange.getLastRemoteError(text), 0);
    EXPECT_EQ(text, "");

    server.answer(failure(13, "Error while updating calibration."));
    EXPECT_EQ(ask(STATUS), -20);
    server.answer(acknowledgement());
    EXPECT_EQ(ask(STATUS), 0);
    EXPECT_EQ(exchange.getLastRemoteError(text), 13);
    EXPECT_EQ(text, "Error while updating calibration.");

    server.answer(bytes("63000000 fffffff0") + std::string(256, 'e')); // no terminator
    EXPECT_EQ(ask(STATUS), -16);
    EXPECT_EQ(exchange.getLastRemoteError(text), -16);
    EXPECT_EQ(text, std::string(255, 'e'));
}

TEST_F(PacketExchangeTest, ForgetsTheLastErrorWhenItConnectsAgain)
{
    server.answer(failure(13, "Error while updating calibration."));
    EXPECT_EQ(ask(STATUS), -20);
    server.answer(acknowledgement()); // to the farewell
    EXPECT_EQ(server.greet(exchange), 0);
    std::string text = "anything";
    EXPECT_EQ(exchange.getLastRemoteError(text), 0);
    EXPECT_EQ(text, "");
}

// --- time-outs

TEST_F(PacketExchangeTest, DropsAnAnswerThatComesAfterTheTimeOut)
{
    exchange.setTimeout(IMPATIENT_MS);
    EXPECT_EQ(ask(SWITCH), -2);
    EXPECT_TRUE(exchange.isConnected());

    exchange.setTimeout(PATIENT_MS);
    answer({switchState(1), switchState(2)}); // too late, and in time
    EXPECT_EQ(ask(SWITCH), 0);
    EXPECT_EQ(received(12), switchState(2));
}

TEST_F(PacketExchangeTest, DropsALateErrorToo)
{
    exchange.setTimeout(IMPATIENT_MS);
    EXPECT_EQ(ask(SWITCH), -2);
    exchange.setTimeout(PATIENT_MS);
    answer({failure(6, "Toolchange detected at the Stroberbox."), acknowledgement()});
    EXPECT_EQ(ask(STATUS), 0);
    std::string text;
    EXPECT_EQ(exchange.getLastRemoteError(text), 0);
}

TEST_F(PacketExchangeTest, SendsNoFurtherRequestBeforeTheLateAnswerHasCome)
{
    exchange.setTimeout(IMPATIENT_MS);
    EXPECT_EQ(ask(SWITCH), -2);
    EXPECT_EQ(ask(STATUS), -2);
    EXPECT_EQ(ask(STATUS), -2);
    exchange.setTimeout(PATIENT_MS);
    answer({switchState(1), bytes("14000000")});
    EXPECT_EQ(ask(FRAME, 36), 0);

    EXPECT_EQ(server.request(), bytes("20000000"));
    EXPECT_EQ(server.request(), bytes("18000000") + zeros(32));
}

TEST_F(PacketExchangeTest, CompletesALateAnswerThatTheTimeOutCutInTwo)
{
    const std::string late = framed(switchState(1));
    for (std::size_t cut = 1; cut < late.size(); ++cut)
    {
        exchange.setTimeout(IMPATIENT_MS);
        server.connection.send(late.substr(0, cut));
        EXPECT_EQ(ask(SWITCH), -2) << cut;
        exchange.setTimeout(PATIENT_MS);
        server.connection.send(late.substr(cut));
        server.answer(switchState(2));
        EXPECT_EQ(ask(SWITCH), 0) << cut;
        EXPECT_EQ(received(12), switchState(2)) << cut;
    }
}

TEST_F(PacketExchangeTest, TakesAnyTimeOut)
{
    for (const long ms : {1000000000L, 1000000001L, 2147483647L, std::numeric_limits<long>::max()})
    {
        exchange.setTimeout(ms);
        EXPECT_EQ(exchange.getTimeout(), ms);
        server.answer(acknowledgement());
        EXPECT_EQ(ask(STATUS), 0) << ms;
    }
    exchange.setTimeout(0);
    EXPECT_EQ(ask(STATUS), -2);
}

// --- sequences

TEST_F(PacketExchangeTest, FetchesASequenceUpToItsAcknowledgement)
{
    answer({pose("A"), pose("B"), acknowledgement()});
    EXPECT_EQ(start(ALL_POSES), 0);
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(receivedName(), "A");
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(receivedName(), "B");
    EXPECT_EQ(next(ALL_POSES), 0);
    EXPECT_EQ(next(ALL_POSES), 0);
}

TEST_F(PacketExchangeTest, GoesOnBehindAToolThatIsNotInView)
{
    answer({failure(8, "Tools is not in view."), pose("B"), acknowledgement()});
    start(ALL_POSES);
    EXPECT_EQ(next(ALL_POSES), -10);
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(receivedName(), "B");
    EXPECT_EQ(next(ALL_POSES), 0);
    std::string text;
    EXPECT_EQ(exchange.getLastRemoteError(text), 8);
    EXPECT_EQ(text, "Tools is not in view.");
}

TEST_F(PacketExchangeTest, EndsASequenceWithEveryOtherError)
{
    answer({failure(6, "Toolchange detected at the Stroberbox.")});
    start(ALL_POSES);
    EXPECT_EQ(next(ALL_POSES), -6);
    EXPECT_EQ(next(ALL_POSES), 0);

    answer({failure(7, "Frame of reference is not in view."), switchState(3)});
    start(ALL_POSES);
    EXPECT_EQ(ask(SWITCH), 0); // no acknowledgement is waited for
    EXPECT_EQ(next(ALL_POSES), -9);
}

TEST_F(PacketExchangeTest, DrainsASequenceThatIsLeftInTheMiddle)
{
    answer({pose("A"), pose("B"), failure(8, "Tools is not in view."), pose("C"), acknowledgement()});
    start(ALL_POSES);
    EXPECT_EQ(next(ALL_POSES), 1);

    answer({markers("M"), acknowledgement()});
    EXPECT_EQ(start(ALL_MARKER), 0);
    EXPECT_EQ(next(ALL_MARKER), 1);
    EXPECT_EQ(receivedName(), "M");
    EXPECT_EQ(next(ALL_MARKER), 0);
}

TEST_F(PacketExchangeTest, BeginsTheSameSequenceAnew)
{
    answer({pose("old 1"), pose("old 2"), acknowledgement(), pose("new"), acknowledgement()});
    start(ALL_POSES);
    EXPECT_EQ(next(ALL_POSES), 1);
    start(ALL_POSES);
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(receivedName(), "new");
    EXPECT_EQ(next(ALL_POSES), 0);
}

TEST_F(PacketExchangeTest, KeepsTheRestOfASequenceForLaterWhenARequestComesBetween)
{
    answer({pose("A"), pose("B"), acknowledgement(), switchState(3), switchState(4)});
    start(ALL_POSES);
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(ask(SWITCH), 0);
    EXPECT_EQ(received(12), switchState(3));
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(receivedName(), "B");
    EXPECT_EQ(ask(SWITCH), 0);
    EXPECT_EQ(received(12), switchState(4));
    EXPECT_EQ(next(ALL_POSES), 0);
}

TEST_F(PacketExchangeTest, LeavesASequenceAloneWhenAnotherKindIsFetched)
{
    EXPECT_EQ(next(ALL_MARKER), -8); // none was started
    answer({pose("A"), acknowledgement()});
    start(ALL_POSES);
    EXPECT_EQ(next(ALL_MARKER), -8);
    EXPECT_EQ(next(TOOL_CHECK), -8);
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(receivedName(), "A");
    EXPECT_EQ(next(ALL_POSES), 0);
    EXPECT_EQ(next(ALL_MARKER), -8);
}

TEST_F(PacketExchangeTest, GoesOnWithASequenceAfterATimeOutInIt)
{
    server.answer(pose("A"));
    start(ALL_POSES);
    EXPECT_EQ(next(ALL_POSES), 1);
    exchange.setTimeout(IMPATIENT_MS);
    EXPECT_EQ(next(ALL_POSES), -2);
    exchange.setTimeout(PATIENT_MS);
    answer({pose("B"), acknowledgement()});
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(receivedName(), "B");
    EXPECT_EQ(next(ALL_POSES), 0);
}

TEST_F(PacketExchangeTest, EndsARequestInTimeHoweverSteadilySingleBytesOfItsAnswerCome)
{
    exchange.setTimeout(200);
    const Dripping answer(server.connection, framed(std::string(65535, '\x14')), 1, 2ms);
    EXPECT_EQ(ask(STATUS), -2);
    EXPECT_EQ(start(ALL_POSES), -2);
    EXPECT_EQ(exchange.receiveSequence(), -2);
    EXPECT_EQ(exchange.connect("127.0.0.1", server.port()), -2); // where nobody greets
}

TEST_F(PacketExchangeTest, LeavesASequenceInTimeHoweverSteadilyItsPacketsCome)
{
    const std::string tool = framed(failure(8, "Tools is not in view."));
    start(ALL_POSES);
    exchange.setTimeout(100);
    const Dripping answer(server.connection, tool, tool.size(), 10ms); // ten seconds for a thousand of them
    int status = -10;
    int fetches = 0;
    for (; fetches < 1000 && status == -10; ++fetches)
        status = next(ALL_POSES);
    EXPECT_EQ(status, -2);
    EXPECT_GT(fetches, 1);
    EXPECT_EQ(next(ALL_POSES), -10); // the sequence goes on, as long as the caller does
}

TEST_F(PacketExchangeTest, ReportsATimeOutOfTheStartInEveryFetch)
{
    exchange.setTimeout(IMPATIENT_MS);
    EXPECT_EQ(ask(SWITCH), -2);
    EXPECT_EQ(start(ALL_POSES), -2); // cannot be sent yet
    EXPECT_EQ(next(ALL_POSES), -2);
    EXPECT_EQ(next(ALL_POSES), -2);
    exchange.setTimeout(PATIENT_MS);
    answer({switchState(1), pose("A"), acknowledgement()});
    EXPECT_EQ(start(ALL_POSES), 0);
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(receivedName(), "A");
}

TEST_F(PacketExchangeTest, KeepsASequenceAndDropsALateAnswerBetween)
{
    answer({pose("A"), pose("B"), acknowledgement()});
    start(ALL_POSES);
    EXPECT_EQ(next(ALL_POSES), 1);
    exchange.setTimeout(IMPATIENT_MS);
    EXPECT_EQ(ask(SWITCH), -2);
    exchange.setTimeout(PATIENT_MS);
    server.answer(switchState(1));
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(receivedName(), "B");
    EXPECT_EQ(next(ALL_POSES), 0);
    server.answer(switchState(2));
    EXPECT_EQ(ask(SWITCH), 0);
    EXPECT_EQ(received(12), switchState(2));
}

TEST_F(PacketExchangeTest, ClosesTheConnectionWhenASequenceDoesNotEnd)
{
    constexpr int ONE_TOO_MANY = 4097;
    start(ALL_POSES);
    std::future<int> status = std::async(std::launch::async, [this] { return exchange.receiveSequence(); });
    for (int i = 0; i < ONE_TOO_MANY; ++i)
        server.answer(pose("A"));
    EXPECT_EQ(status.get(), -8);
    EXPECT_FALSE(exchange.isConnected());
}

TEST_F(PacketExchangeTest, ClosesTheConnectionWhenAFetchedOrDrainedSequenceDoesNotEnd)
{
    constexpr int ONE_TOO_MANY = 4097;
    start(ALL_POSES);
    std::future<int> status = std::async(std::launch::async,
                                         [this]
                                         {
                                             int last = 1;
                                             for (int i = 0; i < 1000 && last == 1; ++i)
                                                 last = next(ALL_POSES);
                                             return last == 1 ? ask(STATUS) : last;
                                         });
    for (int i = 0; i < ONE_TOO_MANY; ++i)
        server.answer(pose("A"));
    EXPECT_EQ(status.get(), -8);
    EXPECT_FALSE(exchange.isConnected());
}

// --- garbage and loss

TEST_F(PacketExchangeTest, ClosesTheConnectionAtAPacketThatDoesNotBelongThere)
{
    const std::string text = failure(9, "There is no tool with this name");
    const std::vector<std::string> garbage = {
        "x",                                    // one byte
        acknowledgement(),                      // of another request
        switchState(1).substr(0, 11),           // too short
        switchState(1) + "x",                   // too long
        text.substr(0, 263),                    //
        text + "x",                             //
        pose("A"),                              // of a sequence
        bytes("20"),                            //
        std::string(560, '\xff'),               //
        bytes("20") + std::string(65534, '\0'), // the longest frame
    };
    for (const std::string& each : garbage)
    {
        std::future<int> status = std::async(std::launch::async, [this] { return ask(SWITCH); });
        server.request();
        server.answer(each);
        EXPECT_EQ(status.get(), -8) << each.size();
        EXPECT_FALSE(exchange.isConnected());
        EXPECT_EQ(ask(SWITCH), -1);
        EXPECT_EQ(server.greet(exchange), 0);
    }
    EXPECT_TRUE(log.contains("ERROR", "answered a request of kind 32 with a packet of kind 20 and 4 bytes"));
}

TEST_F(PacketExchangeTest, ClosesTheConnectionAtGarbageInASequence)
{
    for (const std::string& garbage : {markers("A"), pose("A").substr(0, 87), switchState(1), std::string(5, '\x14')})
    {
        answer({pose("A"), garbage});
        start(ALL_POSES);
        EXPECT_EQ(next(ALL_POSES), 1);
        EXPECT_EQ(next(ALL_POSES), -8);
        EXPECT_EQ(next(ALL_POSES), -1);
        EXPECT_EQ(server.greet(exchange), 0);
    }
}

TEST_F(PacketExchangeTest, IsLostAtAFrameWithoutBytes)
{
    server.connection.send(bytes("0000"));
    EXPECT_EQ(ask(STATUS), -5);
    EXPECT_EQ(ask(STATUS), -1);
}

TEST_F(PacketExchangeTest, IsLostWhenTheServerAnswersButTakesNoRequest)
{
    constexpr int MANY = 20000; // more than the system keeps for a peer that does not read
    std::string answers;
    for (int i = 0; i < MANY; ++i)
        answers += framed(acknowledgement());
    server.connection.send(answers);
    int status = 0;
    exchange.setTimeout(300);
    for (int i = 0; i < MANY && status == 0; ++i)
        status = ask(TOOL_INIT, 560);
    EXPECT_EQ(status, -5);
    EXPECT_FALSE(exchange.isConnected());
}

TEST_F(PacketExchangeTest, IsLostWhenTheServerClosesInTheMiddleOfAnAnswer)
{
    const std::string whole = framed(switchState(1));
    for (std::size_t cut = 0; cut < whole.size(); ++cut)
    {
        server.connection.send(whole.substr(0, cut));
        server.connection.endSending();
        EXPECT_EQ(ask(SWITCH), -5) << cut;
        EXPECT_FALSE(exchange.isConnected());
        EXPECT_EQ(ask(SWITCH), -1);
        EXPECT_EQ(server.greet(exchange), 0);
    }
}

TEST_F(PacketExchangeTest, IsLostWhenTheServerClosesInTheMiddleOfASequence)
{
    server.answer(pose("A"));
    start(ALL_POSES);
    server.request();
    server.connection.endSending();
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(next(ALL_POSES), -5);
    EXPECT_EQ(next(ALL_POSES), -1);
    EXPECT_EQ(start(ALL_POSES), -1);
}

TEST_F(PacketExchangeTest, CanConnectAgainAndAgainWithoutAMemoryOfTheFormerConnection)
{
    answer({pose("A"), pose("B")});
    start(ALL_POSES);
    EXPECT_EQ(next(ALL_POSES), 1);
    EXPECT_EQ(server.greet(exchange), 0);
    EXPECT_EQ(next(ALL_POSES), -8);
    server.answer(switchState(5));
    EXPECT_EQ(ask(SWITCH), 0);
    EXPECT_EQ(received(12), switchState(5));
}

// --- interrupting

TEST_F(PacketExchangeTest, LetsABlockedRequestReturnWhenItIsInterrupted)
{
    std::future<int> status = std::async(std::launch::async, [this] { return ask(SWITCH); });
    EXPECT_EQ(server.request(), bytes("20000000"));
    exchange.interrupt();
    EXPECT_EQ(status.get(), -5);
    EXPECT_FALSE(exchange.isConnected());
}

TEST_F(PacketExchangeTest, LetsABlockedFetchReturnWhenItIsInterrupted)
{
    start(ALL_POSES);
    std::future<int> status = std::async(std::launch::async, [this] { return next(ALL_POSES); });
    while (status.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
        exchange.interrupt();
    EXPECT_EQ(status.get(), -5);
}

TEST_F(PacketExchangeTest, IsNotInterruptedWhileNothingIsBlocked)
{
    exchange.interrupt();
    server.answer(acknowledgement());
    EXPECT_EQ(ask(STATUS), 0);
}

TEST(PacketExchangeConnect, ReturnsWhenItIsInterrupted)
{
    const LogCapture log;
    PlayedServer server;
    PacketExchange exchange;
    exchange.setTimeout(PATIENT_MS);
    std::future<int> status = server.admit(exchange);
    exchange.interrupt();
    EXPECT_EQ(status.get(), -5);
    EXPECT_FALSE(exchange.isConnected());
}

} // namespace
