#include "TestSession.h"

#include <support/Eventually.h>
#include <support/LogCapture.h>
#include <support/MatchesPattern.h>

#include <gmock/gmock.h>

#include <future>
#include <random>
#include <set>
#include <stdexcept>

using namespace wire;

namespace
{

const std::set<int> KNOWN_KINDS = {21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 50};
const std::string UNSUPPORTED = failure(11, "Unsupported request on client socket.");
const std::string UNCONNECTED = failure(17, "Toolsserver error state: -53");
const std::string SWITCH_REQUEST = bytes("20");

std::string kind(int number)
{
    return std::string(1, static_cast<char>(number));
}

class ClientSocketInterfaceTest : public testing::Test
{
protected:
    LogCapture log;
    TestToollist tools{4};
};

/// Counts a session's signals on the session's own thread.
class Terminations
{
public:
    explicit Terminations(ClientSocketInterface* session)
    {
        QObject::connect(session, &ClientSocketInterface::connectionTerminated, [this] { ++m_Count; });
    }
    int count() const { return m_Count; }

private:
    std::atomic<int> m_Count{0};
};

} // namespace

// Requests and their frames

TEST_F(ClientSocketInterfaceTest, RefusesEveryUnknownKindWhetherConnectedOrNot)
{
    TestSession session(tools);
    for (const bool isConnected : {false, true})
    {
        if (isConnected)
            session.greet();
        for (int number = 0; number < 256; ++number)
        {
            if (KNOWN_KINDS.count(number) != 0)
                continue;
            EXPECT_EQ(session.ask(kind(number)), UNSUPPORTED) << number;
        }
    }
}

TEST_F(ClientSocketInterfaceTest, RefusesEveryOtherKindThanConnectAndExitUntilItIsConnected)
{
    TestSession session(tools);
    for (int number = 22; number <= 38; ++number)
        EXPECT_EQ(session.ask(kind(number)), UNCONNECTED) << number;
}

TEST_F(ClientSocketInterfaceTest, WritesTheRefusalOfAnUnconnectedClientByteForByte)
{
    TestSession session(tools);
    EXPECT_EQ(session.ask(bytes("16")), bytes("63 000000 00000011"
                                              "546f6f6c7373657276657220 6572726f7220 73746174653a20 2d3533") +
                                            zeros(228));
}

TEST_F(ClientSocketInterfaceTest, AnswersInPlaceSoThatPaddingAndTheLastByteOfATextFieldAreTheRequests)
{
    TestSession session(tools);
    const std::string answer = session.ask(std::string(560, '\xAB'));
    EXPECT_EQ(answer, bytes("63 ababab 0000000b") + padded("Unsupported request on client socket.", 255) + "\xAB");

    session.greet();
    EXPECT_EQ(session.ask(bytes("16 abcdef")), bytes("14 abcdef"));
    EXPECT_EQ(session.ask(bytes("16 01")), bytes("14 010000"));
}

TEST_F(ClientSocketInterfaceTest, FillsTheTextFieldWithZerosBehindTheText)
{
    TestSession session(tools);
    session.greet();
    tools.setStatus(5, "");
    EXPECT_EQ(session.ask(bytes("16") + std::string(300, '\x7F')), bytes("63 7f7f7f 00000005") + zeros(255) + '\x7F');
}

TEST_F(ClientSocketInterfaceTest, ReadsWhatAConnectRequestDoesNotDeliverAsZero)
{
    tools.onRequestSwitch = [](int& id, bool& isPressed)
    {
        id = 2;
        isPressed = true;
    };
    const std::string request = bytes("15 000000 00000001 00000001");
    for (std::size_t length = 1; length < request.size(); ++length)
    {
        TestSession session(tools);
        const std::string answer = session.ask(request.substr(0, length));
        const bool isVersionCut = length < 8; // it is 0 without its last byte
        EXPECT_EQ(answer, isVersionCut ? failure(18, "Incompatible protocol version: 0 != 1") : request) << length;
        const char* const order = isVersionCut ? "02000000 01000000" : "00000002 00000001"; // a cut probe is not 1
        EXPECT_EQ(session.ask(SWITCH_REQUEST), bytes("20000000") + bytes(order)) << length;
    }
}

TEST_F(ClientSocketInterfaceTest, ReadsNothingOfALongFrameBeyondItsPacket)
{
    TestSession session(tools);
    for (const std::size_t size : {560U, 561U, 4000U, 65533U, 65535U})
    {
        std::string request = bytes("15 000000 00000001 00000001");
        request.resize(size, '\xFF');
        EXPECT_EQ(session.ask(request), bytes("15000000 00000001 00000001")) << size;
    }
    EXPECT_EQ(session.ask(bytes("16")), acknowledgement());
}

TEST_F(ClientSocketInterfaceTest, ForgetsTheLongerRequestBeforeAShortOne)
{
    TestSession session(tools);
    session.ask(std::string(560, '\xFF'));
    EXPECT_EQ(session.ask(bytes("15")), failure(18, "Incompatible protocol version: 0 != 1"));
}

TEST_F(ClientSocketInterfaceTest, EndsAtAFrameOfNoBytes)
{
    TestSession session(tools);
    const Terminations terminations(session.get());
    session.socket().send(bytes("0000"));
    EXPECT_TRUE(eventually([&] { return terminations.count() == 1; }));
    EXPECT_EQ(log.count("toolserver", "Status: -7\n"), 1);
    session.remove();
    EXPECT_TRUE(session.seesServerClose());
}

TEST_F(ClientSocketInterfaceTest, LogsEveryIncompleteReadAndGoesOn)
{
    TestSession session(tools);
    const std::string failed =
        "Error on client socket " + std::to_string(session->getSocketNumber()) + " - reading failed. \n";

    session.socket().send(bytes("00"));
    EXPECT_TRUE(eventually([&] { return log.count("toolserver", "Status: -2\n") == 1; }));
    EXPECT_EQ(log.count("toolserver", failed), 1);
    session.socket().send(bytes("0c 15000000 0000"));
    EXPECT_TRUE(eventually([&] { return log.count("toolserver", "Status: -2\n") >= 2; }));
    session.socket().send(bytes("0001 00000001"));
    EXPECT_EQ(session.receive(), bytes("15000000 00000001 00000001"));
}

TEST_F(ClientSocketInterfaceTest, AnswersPipelinedRequestsInTheirOrder)
{
    TestSession session(tools);
    session.socket().send(framed(bytes("16")) + framed(bytes("15000000 00000001 00000001")) +
                          framed(bytes("16 010203")) + framed(bytes("27")) + framed(bytes("32 040506")));
    EXPECT_EQ(session.receive(), UNCONNECTED);
    EXPECT_EQ(session.receive(), bytes("15000000 00000001 00000001"));
    EXPECT_EQ(session.receive(), bytes("14010203"));
    EXPECT_EQ(session.receive(), UNSUPPORTED);
    EXPECT_EQ(session.receive(), bytes("14040506"));
}

TEST_F(ClientSocketInterfaceTest, AnswersWhatCameBeforeAFrameOfNoBytes)
{
    TestSession session(tools);
    session.greet();
    session.socket().send(framed(bytes("27")) + framed(bytes("27")) + bytes("0000"));
    EXPECT_EQ(session.receive(), UNSUPPORTED);
    EXPECT_EQ(session.receive(), UNSUPPORTED);
    EXPECT_TRUE(eventually([&] { return session->hasTerminated(); }));
}

TEST_F(ClientSocketInterfaceTest, AnswersWhatCameBeforeAnIncompleteRequest)
{
    TestSession session(tools);
    session.greet();
    session.socket().send(framed(bytes("27")) + bytes("0005 16"));
    EXPECT_EQ(session.receive(), UNSUPPORTED);
    session.socket().send(bytes("01020304"));
    EXPECT_EQ(session.receive(), acknowledgement("010203"));
}

TEST_F(ClientSocketInterfaceTest, AnswersWhatCameBeforeARequestThatKeepsTheModuleBusy)
{
    std::promise<void> released;
    const std::shared_future<void> release = released.get_future().share();
    tools.onRequestSwitch = [release](int&, bool&) { release.wait(); };
    TestSession session(tools);
    session.greet();
    session.socket().send(framed(bytes("27")) + framed(SWITCH_REQUEST) + framed(bytes("27")));
    EXPECT_EQ(session.receive(), UNSUPPORTED);
    released.set_value();
    EXPECT_EQ(session.receive(), bytes("20000000 00000000 00000000"));
    EXPECT_EQ(session.receive(), UNSUPPORTED);
}

TEST_F(ClientSocketInterfaceTest, AnswersWhatCameBeforeARequestThatWaitsForTheSwitch)
{
    std::atomic<bool> isPressed{false};
    tools.onRequestSwitch = [&](int& id, bool& state)
    {
        id = 5;
        state = isPressed;
    };
    TestSession session(tools);
    session.greet();
    session.socket().send(framed(bytes("27")) + framed(bytes("21 000000 05000000 01000000")));
    EXPECT_EQ(session.receive(), UNSUPPORTED);
    isPressed = true;
    EXPECT_EQ(session.receive(), acknowledgement());
}

TEST_F(ClientSocketInterfaceTest, AnswersWhatCameBeforeARequestThatFails)
{
    tools.onRequestSwitch = [](int&, bool&) { throw std::runtime_error("no footswitch"); };
    TestSession session(tools);
    session.greet();
    session.socket().send(framed(bytes("27")) + framed(SWITCH_REQUEST) + framed(bytes("27")));
    EXPECT_EQ(session.receive(), UNSUPPORTED);
    EXPECT_TRUE(eventually([&] { return session->hasTerminated(); }));
    session.remove();
    EXPECT_TRUE(session.seesServerClose());
}

TEST_F(ClientSocketInterfaceTest, AnswersTensOfThousandsOfRequestsThatComeTogether)
{
    TestSession session(tools);
    session.greet();
    constexpr int COUNT = 30000; // 270 KB of requests, 180 KB of answers: more than any buffer holds
    std::string requests;
    std::string answers;
    for (int i = 0; i < COUNT; ++i)
    {
        const std::string padding = {static_cast<char>(i), static_cast<char>(i >> 8), static_cast<char>(i >> 16)};
        requests += framed(bytes("16") + padding + "abc");
        answers += framed(bytes("14") + padding);
    }
    auto sending = std::async(std::launch::async, [&] { session.socket().send(requests); });
    EXPECT_EQ(session.socket().receive(answers.size()), answers);
    sending.get();
}

TEST_F(ClientSocketInterfaceTest, GoesOnAfterRequestsOfRandomBytes)
{
    tools.insertTool(0, "", makeTool("Probe", {{1, 2, 3}}, {{1, 2, 3}}));
    tools.insertTool(2, "", makeTool(""));
    TestSession session(tools);
    session.greet();
    std::mt19937 random(1);
    const auto number = [&random](unsigned long below) { return random() % below; };
    const std::string end = bytes("63 656e64 0000000b") + padded("Unsupported request on client socket.", 256);
    for (int round = 0; round < 3000; ++round)
    {
        std::string request(1 + number(number(10) == 0 ? 3000 : 560), '\0');
        for (char& byte : request)
            byte = static_cast<char>(number(4) == 0 ? number(256) : 0);
        const auto requestKind = 21 + number(18);
        request[0] = static_cast<char>(requestKind == 33 ? 31 : requestKind); // 33 would wait for the switch
        if (number(2) == 0)
            request.replace(std::min<std::size_t>(4, request.size()), 5, "Probe");
        session.send(request);
        session.send(std::string("\0end", 4));
        std::string answer = session.receive();
        while (answer != end && !answer.empty())
            answer = session.receive();
        ASSERT_EQ(answer, end) << round;
    }
}

// Connect

TEST_F(ClientSocketInterfaceTest, DoesNotSwapForAClientWhoseProbeReadsOne)
{
    TestSession session(tools);
    EXPECT_EQ(session.ask(bytes("15 778899 00000001 00000001")), bytes("15 778899 00000001 00000001"));
    EXPECT_EQ(log.count("toolserver", "Byteswapping off for connection.\n"), 1);
    tools.onRequestSwitch = [](int& id, bool&) { id = 0x01020304; };
    EXPECT_EQ(session.ask(SWITCH_REQUEST), bytes("20000000 04030201 00000000"));
}

TEST_F(ClientSocketInterfaceTest, SwapsForAClientWhoseProbeReadsAnythingElse)
{
    tools.onRequestSwitch = [](int& id, bool&) { id = 0x01020304; };
    for (const char* probe : {"01000000", "00000000", "00000002", "ffffffff"})
    {
        TestSession session(tools);
        EXPECT_EQ(session.ask(bytes("15 000000 00000001") + bytes(probe)), bytes("15000000 00000001 00000001"));
        EXPECT_EQ(session.ask(SWITCH_REQUEST), bytes("20000000 01020304 00000000")) << probe;
    }
    EXPECT_EQ(log.count("toolserver", "Byteswapping on for connection.\n"), 4);
}

TEST_F(ClientSocketInterfaceTest, ChangesTheByteOrderWithEveryConnect)
{
    tools.onRequestSwitch = [](int& id, bool&) { id = 1; };
    TestSession session(tools);
    session.greet(Order::SWAPPED);
    EXPECT_EQ(session.ask(SWITCH_REQUEST), bytes("20000000 00000001 00000000"));
    session.greet(Order::HOST);
    EXPECT_EQ(session.ask(SWITCH_REQUEST), bytes("20000000 01000000 00000000"));
}

TEST_F(ClientSocketInterfaceTest, RefusesAnotherProtocolVersionByteForByte)
{
    TestSession session(tools);
    EXPECT_EQ(session.ask(bytes("15 000000 00000002 00000001")),
              bytes("63 000000 00000012"
                    "496e636f6d70617469626c6520 70726f746f636f6c20 76657273696f6e3a20 32 20 21 3d 20 31") +
                  zeros(219));
    EXPECT_EQ(session.ask(bytes("15 000000 01000000 00000001")),
              failure(18, "Incompatible protocol version: 16777216 != 1"));
    EXPECT_EQ(session.ask(bytes("15 000000 ffffffff 00000001")), failure(18, "Incompatible protocol version: -1 != 1"));
    EXPECT_EQ(session.ask(bytes("15 000000 80000000")), failure(18, "Incompatible protocol version: -2147483648 != 1"));
}

TEST_F(ClientSocketInterfaceTest, ServesAClientOfAnotherProtocolVersionAllTheSame)
{
    TestSession session(tools);
    session.ask(bytes("15 000000 00000002 00000001"));
    EXPECT_EQ(session.ask(bytes("16")), acknowledgement());
}

TEST_F(ClientSocketInterfaceTest, KeepsTheByteOrderWhenAnotherVersionIsAskedForLater)
{
    tools.onRequestSwitch = [](int& id, bool&) { id = 1; };
    TestSession session(tools);
    session.greet(Order::SWAPPED);
    session.ask(bytes("15 000000 00000002 00000001"));
    EXPECT_EQ(session.ask(SWITCH_REQUEST), bytes("20000000 00000001 00000000"));
}

// Status, switch, allowed types

TEST_F(ClientSocketInterfaceTest, AcknowledgesAStatusRequestWhileTheCameraWorks)
{
    TestSession session(tools);
    session.greet(Order::SWAPPED);
    EXPECT_EQ(session.ask(bytes("16 112233")), bytes("14 112233"));
}

TEST_F(ClientSocketInterfaceTest, PassesOnTheCamerasOwnErrorWithItsCodeInNetworkOrder)
{
    TestSession session(tools);
    for (const Order order : {Order::HOST, Order::SWAPPED})
    {
        session.greet(order);
        tools.setStatus(0x01020304, "Lens cap on");
        EXPECT_EQ(session.ask(bytes("16")), bytes("63000000 01020304") + padded("Lens cap on", 256));
        tools.setStatus(-14, "The camera is too hot");
        EXPECT_EQ(session.ask(bytes("16")), bytes("63000000 fffffff2") + padded("The camera is too hot", 256));
    }
}

TEST_F(ClientSocketInterfaceTest, CutsAnErrorTextAt255BytesWithoutATerminator)
{
    TestSession session(tools);
    session.greet();
    const std::string request = bytes("16") + std::string(559, '\xEE');
    for (const std::size_t length : {255U, 256U, 1000U})
    {
        tools.setStatus(1, std::string(length, 'x'));
        EXPECT_EQ(session.ask(request), bytes("63 eeeeee 00000001") + std::string(255, 'x') + '\xEE') << length;
    }
    tools.setStatus(1, std::string(254, 'x'));
    EXPECT_EQ(session.ask(request), bytes("63 eeeeee 00000001") + std::string(254, 'x') + '\0' + '\xEE');
}

TEST_F(ClientSocketInterfaceTest, AnswersTheSwitchInTheClientsByteOrder)
{
    TestSession session(tools);
    tools.onRequestSwitch = [](int& id, bool& isPressed)
    {
        id = 0x0A0B0C0D;
        isPressed = true;
    };
    session.greet(Order::HOST);
    EXPECT_EQ(session.ask(bytes("20 ffffff ffffffff ffffffff")), bytes("20 ffffff 0d0c0b0a 01000000"));
    session.greet(Order::SWAPPED);
    EXPECT_EQ(session.ask(bytes("20 ffffff ffffffff ffffffff")), bytes("20 ffffff 0a0b0c0d 00000001"));
}

TEST_F(ClientSocketInterfaceTest, AnswersSwitchZeroReleasedForACameraWithoutASwitch)
{
    TestSession session(tools);
    session.greet();
    EXPECT_EQ(session.ask(bytes("20 000000 ffffffff ffffffff")), bytes("20000000 00000000 00000000"));
}

TEST_F(ClientSocketInterfaceTest, AcknowledgesAllowedTypesOfAnyLength)
{
    TestSession session(tools);
    session.greet();
    for (const std::size_t length : {1U, 4U, 5U, 259U, 260U, 560U})
        EXPECT_EQ(session.ask(bytes("25") + zeros(length - 1)), acknowledgement()) << length;
}

// Exit and end

TEST_F(ClientSocketInterfaceTest, AcknowledgesAnExitAnnouncesItsEndAndGoesOnReading)
{
    TestSession session(tools);
    const Terminations terminations(session.get());
    session.greet();
    EXPECT_FALSE(session->hasTerminated());
    testing::internal::CaptureStdout();
    EXPECT_EQ(session.ask(bytes("32 0a0b0c")), bytes("14 0a0b0c"));
    EXPECT_TRUE(eventually([&] { return terminations.count() == 1; }));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "emitting connectionTerminated\n");
    EXPECT_TRUE(session->hasTerminated());

    EXPECT_EQ(session.ask(bytes("16")), acknowledgement());
    EXPECT_EQ(session.ask(bytes("32")), acknowledgement());
    EXPECT_TRUE(eventually([&] { return terminations.count() == 2; }));
}

TEST_F(ClientSocketInterfaceTest, AcknowledgesAnExitBeforeConnect)
{
    TestSession session(tools);
    const Terminations terminations(session.get());
    EXPECT_EQ(session.ask(bytes("32")), acknowledgement());
    EXPECT_TRUE(eventually([&] { return terminations.count() == 1; }));
}

TEST_F(ClientSocketInterfaceTest, AnnouncesItsEndWhenTheClientCloses)
{
    TestSession session(tools);
    const Terminations terminations(session.get());
    session.greet();
    session.socket().close();
    EXPECT_TRUE(eventually([&] { return terminations.count() == 1; }));
    EXPECT_EQ(log.count("toolserver", "Status: -7\n"), 1);
    EXPECT_TRUE(session->hasTerminated());
}

TEST_F(ClientSocketInterfaceTest, AnnouncesItsEndWhenTheClientBreaksOff)
{
    TestSession idle(tools);
    TestSession inHeader(tools);
    TestSession inPayload(tools);
    const Terminations ends[] = {Terminations(idle.get()), Terminations(inHeader.get()), Terminations(inPayload.get())};
    inHeader.socket().send(bytes("00"));
    inPayload.socket().send(bytes("0010 15"));
    for (TestSession* session : {&idle, &inHeader, &inPayload})
        session->socket().abort();
    for (const Terminations& end : ends)
        EXPECT_TRUE(eventually([&] { return end.count() == 1; }));
}

TEST_F(ClientSocketInterfaceTest, KeepsItsSocketNumberAndNeverCallsTheExitCallback)
{
    static std::atomic<int> calls{0};
    PlainPair ends;
    const int descriptor = ends.there.release();
    {
        ClientSocketInterface session(descriptor, &tools);
        const Terminations terminations(&session);
        session.addExitCallback([](ClientSocketInterface*, void*) { ++calls; }, this);
        EXPECT_EQ(session.getSocketNumber(), descriptor);
        ends.here.send(framed(bytes("32")));
        ends.here.close();
        EXPECT_TRUE(eventually([&] { return terminations.count() == 2; }));
    }
    EXPECT_EQ(calls, 0);
}

TEST_F(ClientSocketInterfaceTest, LogsThatItsThreadRuns)
{
    TestSession session(tools);
    session.greet();
    ASSERT_FALSE(log.entries().empty());
    bool isLogged = false;
    for (const LogCapture::Entry& entry : log.entries())
        isLogged |= entry.category == "toolserver" &&
                    testing::Matches(MatchesPattern("Client thread \\(0x[0-9a-f]+\\) running.\n"))(entry.message);
    EXPECT_TRUE(isLogged);
}

TEST_F(ClientSocketInterfaceTest, PrintsTheThreadsWhenItIsDeleted)
{
    TestSession session(tools);
    session.greet();
    testing::internal::CaptureStdout();
    session.remove();
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                MatchesPattern("current thread 0x[0-9a-f]+\nquitting thread 0x[0-9a-f]+\n"));
}

// Deletion, whatever the session is doing

TEST_F(ClientSocketInterfaceTest, CanBeDeletedAtOnce)
{
    for (int i = 0; i < 20; ++i)
    {
        TestSession session(tools);
        session.remove();
        EXPECT_TRUE(session.seesServerClose());
    }
}

TEST_F(ClientSocketInterfaceTest, CanBeDeletedWhileItReceives)
{
    for (const char* begun : {"", "00", "0010", "0010 15", "000c 150000000000"})
    {
        TestSession session(tools);
        session.greet();
        session.socket().send(bytes(begun));
        session.remove();
        EXPECT_TRUE(session.seesServerClose()) << begun;
    }
}

TEST_F(ClientSocketInterfaceTest, DoesNotAnnounceItsEndWhenItIsDeleted)
{
    TestSession session(tools);
    const Terminations terminations(session.get());
    session.greet();
    session.remove();
    EXPECT_EQ(terminations.count(), 0);
}

TEST_F(ClientSocketInterfaceTest, CanBeDeletedWhileItWaitsForTheSwitch)
{
    std::atomic<int> looks{0};
    tools.onRequestSwitch = [&](int&, bool&) { ++looks; };
    TestSession session(tools);
    session.greet();
    session.send(bytes("21 000000 05000000 01000000"));
    EXPECT_TRUE(eventually([&] { return looks > 1; }));
    session.remove();
    EXPECT_TRUE(session.seesServerClose());
}

namespace
{

/// A client that asks for more than the system's buffers hold and reads nothing.
class GreedyClient
{
public:
    static constexpr int REQUESTS = 4000; // 4000 * 4 * 430 bytes are some 7 MB; the buffers are made small
    static constexpr std::size_t ANSWERS_SIZE = 4 * 430 + 6;

    explicit GreedyClient(TestToollist& list) : m_Session((addTools(list), list))
    {
        m_Session->setWriteBufferSize(4096);
        m_Session.greet();
        std::string requests;
        for (int i = 0; i < REQUESTS; ++i)
            requests += framed(bytes("1a")) + framed(SWITCH_REQUEST);
        m_Session.socket().send(requests);
        EXPECT_TRUE(m_Session.socket().waitForInput(PlainSocket::PATIENCE));
    }
    TestSession& session() { return m_Session; }

private:
    static void addTools(TestToollist& list)
    {
        for (unsigned int slot = 0; slot < 4; ++slot)
            if (!list.getTool(slot))
                list.insertTool(slot, "", makeTool("Tool" + std::to_string(slot)));
    }

    TestSession m_Session;
};

} // namespace

TEST_F(ClientSocketInterfaceTest, CanBeDeletedWhileItSendsToAClientThatNeverReads)
{
    std::atomic<int> answered{0};
    tools.onRequestSwitch = [&](int&, bool&) { ++answered; };
    GreedyClient greedy(tools);
    greedy.session().remove();
    EXPECT_LT(answered, GreedyClient::REQUESTS) << "the client was served without reading";
}

TEST_F(ClientSocketInterfaceTest, KeepsNobodyElseWaitingWhileAClientDoesNotRead)
{
    GreedyClient greedy(tools);
    TestSession session(tools);
    session.greet();
    EXPECT_EQ(session.ask(bytes("16")), acknowledgement());
    EXPECT_TRUE(tools.removeTool("Tool0")); // returns when no session looks at the tool any more
    tools.toolSetChanged();
    EXPECT_EQ(session.ask(bytes("1a")), failure(6, "Toolchange detected at the Stroberbox."));
}

TEST_F(ClientSocketInterfaceTest, ServesALateReaderCompletely)
{
    GreedyClient greedy(tools);
    for (int i = 0; i < GreedyClient::REQUESTS; ++i)
    {
        const std::string answers = greedy.session().socket().receive(GreedyClient::ANSWERS_SIZE);
        ASSERT_EQ(answers.size(), GreedyClient::ANSWERS_SIZE);
        ASSERT_EQ(answers.substr(GreedyClient::ANSWERS_SIZE - 6), bytes("0004 14000000"));
        ASSERT_EQ(greedy.session().receive(), bytes("20000000 00000000 00000000"));
    }
    EXPECT_TRUE(greedy.session().isServed());
}

TEST_F(ClientSocketInterfaceTest, OutlivesTheModuleCallThatHoldsItUp)
{
    tools.insertTool(0, "", makeTool("Probe"));
    std::promise<void> entered;
    std::promise<void> released;
    tools.onUpdateCalibration = [&](Tool*)
    {
        entered.set_value();
        released.get_future().wait();
        return true;
    };
    TestSession session(tools);
    session.greet();
    session.send(bytes("23000000") + nameField("Probe"));
    entered.get_future().wait();

    const std::string number = std::to_string(session->getSocketNumber());
    const auto deletion = std::async(std::launch::async, [&] { session.remove(); });
    EXPECT_TRUE(eventually(
        [&]
        {
            return log.count("ERROR", "The session at socket " + number +
                                          " waits for the camera module to return before it can end.\n") == 1;
        }));
    released.set_value();
    deletion.wait();
    EXPECT_TRUE(session.seesServerClose());
}

// A module that fails

TEST_F(ClientSocketInterfaceTest, EndsWhenTheModuleThrowsAndLeavesOtherSessionsAlone)
{
    TestSession other(tools);
    other.greet();
    TestSession session(tools);
    const Terminations terminations(session.get());
    tools.onRequestSwitch = [](int&, bool&) { throw std::runtime_error("no footswitch"); };
    session.greet();
    session.send(SWITCH_REQUEST);
    EXPECT_TRUE(eventually([&] { return terminations.count() == 1; }));
    EXPECT_EQ(log.count("ERROR", "The session at socket " + std::to_string(session->getSocketNumber()) +
                                     " ends: a request failed with: no footswitch\n"),
              1);
    EXPECT_EQ(other.ask(bytes("16")), acknowledgement());
}

TEST_F(ClientSocketInterfaceTest, EndsWhenTheModuleThrowsSomethingElse)
{
    TestSession session(tools);
    const Terminations terminations(session.get());
    tools.onRequestSwitch = [](int&, bool&) { throw 5; };
    session.greet();
    session.send(SWITCH_REQUEST);
    EXPECT_TRUE(eventually([&] { return terminations.count() == 1; }));
    EXPECT_TRUE(log.contains("ERROR", " ends: a request failed.\n"));
}
