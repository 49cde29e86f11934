#include "SharedServer.h"

using namespace wire;

namespace
{

const double INVALID = static_cast<double>(-3.0e28f);

const char* const NOT_IN_VIEW = "The Tool is not in view.";
const char* const NO_REFERENCE = "Frame of reference is not in view.";
const char* const TOOL_CHANGE = "Toolchange detected at the Stroberbox.";
const char* const NO_TOOL = "There is no tool with this name";
const char* const NO_TOOL_WITH_PERIOD = "There is no tool with this name.";
const char* const NO_CALIBRATION = "Error while updating calibration.";

/// A quarter turn about the z axis, as the camera's `move` takes it.
const std::string TURNED = " 0 -1 0 1 0 0 0 0 1 ";
const std::string STRAIGHT = " 1 0 0 0 1 0 0 0 1 ";

using ToolserverConnection = SharedServer<testing::Test>;

TEST_F(ToolserverConnection, RefusesEveryRequestForToolsBeforeAConnectRequest)
{
    ProtocolClient client(port());
    for (unsigned char kind = STATUS; kind <= GET_NORMALS; ++kind)
        EXPECT_EQ(client.ask(packet(kind)), failure(17, "Toolsserver error state: -53")) << int(kind);
}

TEST_F(ToolserverConnection, AcknowledgesAnExitBeforeAConnectRequestAndCloses)
{
    ProtocolClient client(port());
    EXPECT_EQ(client.ask(packet(EXIT)), acknowledgement());
    EXPECT_TRUE(client.seesServerClose());
}

TEST_F(ToolserverConnection, AcknowledgesAnExitAndCloses)
{
    ProtocolClient client(port(), Order::HOST);
    EXPECT_EQ(client.ask(packet(EXIT)), acknowledgement());
    EXPECT_TRUE(client.seesServerClose());
}

TEST_F(ToolserverConnection, RefusesAnotherProtocolVersionButServesItsClient)
{
    ProtocolClient client(port());
    EXPECT_EQ(client.ask(bytes("15000000 00000002 00000001")), failure(18, "Incompatible protocol version: 2 != 1"));
    EXPECT_EQ(client.ask(packet(STATUS)), acknowledgement());
    EXPECT_EQ(client.ask(bytes("15000000 ffffffff 00000001")), failure(18, "Incompatible protocol version: -1 != 1"));
}

TEST_F(ToolserverConnection, RefusesUnknownKindsWithAndWithoutAConnectRequest)
{
    ProtocolClient client(port());
    for (int round = 0; round < 2; ++round)
    {
        for (const int kind : {0, 1, 19, 20, 39, 44, 49, 51, 98, 99, 128, 255})
            EXPECT_EQ(client.ask(packet(static_cast<unsigned char>(kind))),
                      failure(11, "Unsupported request on client socket."))
                << kind;
        client.greet(Order::HOST);
    }
}

TEST_F(ToolserverConnection, SwapsNumbersForEveryProbeButOne)
{
    ProtocolClient client(port());
    camera("switch 258 on");
    for (const char* probe : {"01000000", "00000000", "00000002", "ffffffff"})
    {
        EXPECT_EQ(client.ask(bytes(std::string("15000000 00000001") + probe)), bytes("15000000 00000001 00000001"));
        EXPECT_EQ(client.ask(packet(SWITCH)), bytes("20000000 00000102 00000001")) << probe;
    }
    client.greet(Order::HOST);
    EXPECT_EQ(client.ask(packet(SWITCH)), bytes("20000000 02010000 01000000"));
}

TEST_F(ToolserverConnection, KeepsTheBytesBehindTheKind)
{
    ProtocolClient client(port(), Order::HOST);
    EXPECT_EQ(client.ask(bytes("16aabbcc")), bytes("14aabbcc"));
    EXPECT_EQ(client.ask(bytes("28aabbcc")).substr(0, 8), bytes("63aabbcc 0000000b"));
}

TEST_F(ToolserverConnection, TakesWhatARequestDoesNotDeliverForZero)
{
    ProtocolClient client(port());
    EXPECT_EQ(client.ask(bytes("15")), failure(18, "Incompatible protocol version: 0 != 1"));
    EXPECT_EQ(client.ask(bytes("15000000 0000000100")), bytes("15000000 00000001 00000001"));
    EXPECT_EQ(client.ask(bytes("18") + zeros(3) + "CAM"), acknowledgement());
}

TEST_F(ToolserverConnection, ServesARequestOfAnyLength)
{
    ProtocolClient client(port(), Order::HOST);
    for (const std::size_t size : {1u, 559u, 560u, 561u, 4096u, 65533u, 65535u})
        EXPECT_EQ(client.ask(packet(STATUS).substr(0, 1) + zeros(size - 1)), acknowledgement()) << size;
}

TEST_F(ToolserverConnection, PutsARequestTogetherFromSingleBytes)
{
    ProtocolClient client(port(), Order::HOST);
    for (const char byte : framed(packet(STATUS)))
        client.socket().send(std::string(1, byte));
    EXPECT_EQ(client.receive(), acknowledgement());
}

TEST_F(ToolserverConnection, AnswersRequestsThatArriveTogetherInTheirOrder)
{
    ProtocolClient client(port(), Order::HOST);
    camera("switch 5 off");
    client.socket().send(framed(packet(STATUS)) + framed(packet(SWITCH)) + framed(packet(POSE, "Nobody")));
    EXPECT_EQ(client.receive(), acknowledgement());
    EXPECT_EQ(client.receive(), bytes("20000000 05000000 00000000"));
    EXPECT_EQ(client.receive(), failure(9, NO_TOOL));
}

TEST_F(ToolserverConnection, ClosesAfterAFrameWithoutBytesAndServesTheOthers)
{
    ProtocolClient other(port(), Order::HOST);
    ProtocolClient client(port(), Order::HOST);
    client.send("");
    EXPECT_TRUE(client.seesServerClose());
    EXPECT_TRUE(other.isServed());
}

/// Every request kind, with the numbers in either order.
class ToolserverProtocol : public SharedServer<testing::TestWithParam<Order>>
{
protected:
    /// Three tools with a gap between them: Drill in slot 0, Base in 2, Probe in 7.
    void SetUp() override
    {
        SharedServer::SetUp();
        camera("plug 0 Drill type=12 id=7 owner=TobrelGmbH start=2 jacks=1 real=1,2,3;4,5,6 imag=7,8,9");
        camera("plug 2 Base type=15 id=8");
        camera("plug 7 Probe type=13 id=9 imag=1,0,0;0,1,0");
        client = std::make_unique<ProtocolClient>(port(), GetParam());
    }
    void TearDown() override { EXPECT_TRUE(client->isServed()); }

    static std::string number(int value) { return integer(GetParam(), static_cast<std::uint32_t>(value)); }
    static std::string in(std::initializer_list<double> values) { return sent(GetParam(), values); }
    static std::string out(std::initializer_list<double> values) { return received(GetParam(), values); }
    static std::string turnedRotation() { return out({0, -1, 0, 1, 0, 0, 0, 0, 1}); }
    static std::string straightRotation() { return out({1, 0, 0, 0, 1, 0, 0, 0, 1}); }
    /// 0.25 as it stands in this host's memory.
    static std::string rawQuarter() { return bytes("0000803e"); }

    std::string ask(const std::string& request) { return client->ask(request); }
    std::vector<std::string> askAll(unsigned char kind) { return client->askAll(packet(kind)); }
    void setFrame(const std::string& name) { EXPECT_EQ(ask(packet(FRAME, name)), acknowledgement()); }

    std::unique_ptr<ProtocolClient> client;
};

/// The name in an answer, which ends at its NUL: what follows in its field may be left from an earlier answer.
std::string nameIn(const std::string& answer, std::size_t offset = 4)
{
    return answer.substr(offset, answer.find('\0', offset) - offset);
}

TEST_P(ToolserverProtocol, ReportsTheCamerasStatus)
{
    EXPECT_EQ(ask(packet(STATUS)), acknowledgement());
    camera("status -12 The strobe does not answer.");
    EXPECT_EQ(ask(packet(STATUS)), bytes("63000000 fffffff4") + padded("The strobe does not answer.", 256));
    camera("status 3");
    EXPECT_EQ(ask(packet(STATUS)), failure(3, ""));
}

TEST_P(ToolserverProtocol, CutsAnErrorTextAfter255BytesAndAddsNoTerminator)
{
    camera("status 1 " + std::string(300, 'x'));
    EXPECT_EQ(ask(packet(STATUS) + std::string(300, '\x55')),
              bytes("63000000 00000001") + std::string(255, 'x') + "\x55");
}

TEST_P(ToolserverProtocol, DescribesEveryTool)
{
    const std::vector<std::string> answers = askAll(TOOL_CHECK);

    ASSERT_EQ(answers.size(), 4u);
    EXPECT_EQ(answers[0], packet(TOOL_CHECK) + number(0) + nameField("Drill") + number(12) + number(2) +
                              out({1, 2, 3, 4, 5, 6}) + zeros(360) + number(1) + out({7, 8, 9}) + zeros(84) +
                              number(7) + padded("TobrelGm", 12) + number(2) + number(0) + number(1));
    EXPECT_EQ(answers[1].size(), 560u);
    EXPECT_EQ(answers[1].substr(0, 8), packet(TOOL_CHECK) + number(2));
    EXPECT_EQ(nameIn(answers[1], 8), "Base");
    EXPECT_EQ(answers[1].substr(40, 8), number(6) + number(0)) << "type 15 is reported as 6";
    EXPECT_EQ(answers[1].substr(432, 4), number(0));
    EXPECT_EQ(answers[1].substr(532), number(8) + zeros(12) + number(0) + number(0) + number(0));
    EXPECT_EQ(answers[2].substr(0, 8), packet(TOOL_CHECK) + number(7));
    EXPECT_EQ(nameIn(answers[2], 8), "Probe");
    EXPECT_EQ(answers[2].substr(432, 28), number(2) + out({1, 0, 0, 0, 1, 0}));
    EXPECT_EQ(answers[3], acknowledgement());
}

TEST_P(ToolserverProtocol, TakesATypeOutsideTheKnownOnesAsItIs)
{
    camera("plug 0 Drill type=-1");
    EXPECT_EQ(askAll(TOOL_CHECK)[0].substr(40, 4), number(-1));
}

TEST_P(ToolserverProtocol, AnswersAllToolRequestsForAnEmptyListWithTheAcknowledgementOnly)
{
    camera("reset");
    for (const unsigned char kind : {TOOL_CHECK, ALL_MARKER, ALL_IMAGINARY, ALL_POSES})
        EXPECT_EQ(ask(packet(kind)), acknowledgement()) << int(kind);
}

TEST_P(ToolserverProtocol, TakesToolsAndTheCameraAsFrameOfReference)
{
    camera("move Drill" + STRAIGHT + "10 -2 1 0.25");
    camera("move Base" + STRAIGHT + "1 0 0 0");
    EXPECT_EQ(ask(packet(FRAME, "Base")), acknowledgement());
    EXPECT_EQ(ask(packet(POSE, "Drill")).substr(72, 12), out({9, -2, 1}));
    EXPECT_EQ(ask(packet(FRAME, "CAM")), acknowledgement());
    EXPECT_EQ(ask(packet(POSE, "Drill")).substr(72, 12), out({10, -2, 1}));
}

TEST_P(ToolserverProtocol, RefusesAnUnknownFrameOfReferenceAndKeepsTheFormerOne)
{
    setFrame("Base");
    camera("hide Base");
    for (const char* name : {"Nobody", "base", "", "CAMERA"})
        EXPECT_EQ(ask(packet(FRAME, name)), failure(9, NO_TOOL)) << name;
    EXPECT_EQ(ask(packet(POSE, "Drill")), failure(7, NO_REFERENCE));
}

TEST_P(ToolserverProtocol, AnswersThePoseOfATool)
{
    camera("move Drill" + TURNED + "10 -2 1 0.25");
    EXPECT_EQ(ask(packet(POSE, "Drill")), packet(POSE, "Drill") + turnedRotation() + out({10, -2, 1}) + out({0.25}));
}

TEST_P(ToolserverProtocol, AnswersThePoseOfAToolInTheFrameOfAnother)
{
    camera("move Drill" + STRAIGHT + "1 2 3 0.5");
    camera("move Base" + TURNED + "0 0 0 0");
    setFrame("Base");
    EXPECT_EQ(ask(packet(POSE, "Drill")),
              packet(POSE, "Drill") + out({0, 1, 0, -1, 0, 0, 0, 0, 1}) + out({2, -1, 3}) + out({0.5}));
}

/// Both requests about one tool's place fail alike.
TEST_P(ToolserverProtocol, RefusesPosesAndPointsOfToolsThatAreUnknownOrOutOfView)
{
    camera("hide Drill");
    for (const unsigned char kind : {POSE, IMAGINARY})
    {
        setFrame("CAM");
        EXPECT_EQ(ask(packet(kind, "Nobody")), failure(9, NO_TOOL));
        EXPECT_EQ(ask(packet(kind, "Drill")), failure(8, NOT_IN_VIEW));
        setFrame("Base");
        EXPECT_EQ(ask(packet(kind, "Nobody")), failure(9, NO_TOOL));
        EXPECT_EQ(ask(packet(kind, "Drill")), failure(8, NOT_IN_VIEW));
    }
}

TEST_P(ToolserverProtocol, RefusesPosesAndPointsWhileTheFrameOfReferenceIsHiddenOrGone)
{
    setFrame("Base");
    camera("hide Base");
    EXPECT_EQ(ask(packet(POSE, "Drill")), failure(7, NO_REFERENCE));
    EXPECT_EQ(ask(packet(IMAGINARY, "Drill")), failure(7, NO_REFERENCE));
    camera("unplug Base");
    EXPECT_EQ(ask(packet(POSE, "Drill")), failure(7, NO_REFERENCE));
    EXPECT_EQ(ask(packet(IMAGINARY, "Drill")), failure(7, NO_REFERENCE));
}

TEST_P(ToolserverProtocol, AnswersThePosesOfAllToolsWithAnErrorForEachThatIsHidden)
{
    camera("move Drill" + TURNED + "10 -2 1 0.25");
    camera("hide Base");
    camera("move Probe" + STRAIGHT + "1 2 3 0.25");

    const std::vector<std::string> answers = askAll(ALL_POSES);

    ASSERT_EQ(answers.size(), 4u);
    EXPECT_EQ(answers[0], packet(ALL_POSES, "Drill") + turnedRotation() + out({10, -2, 1}) + rawQuarter())
        << "the RMS of one pose of many is not converted";
    EXPECT_EQ(answers[1], failure(8, "Tools is not in view."));
    EXPECT_EQ(nameIn(answers[2]), "Probe");
    EXPECT_EQ(answers[2].substr(36), straightRotation() + out({1, 2, 3}) + rawQuarter());
    EXPECT_EQ(answers[3], acknowledgement());
}

TEST_P(ToolserverProtocol, AnswersThePosesOfAllToolsInTheFrameOfOneOfThem)
{
    camera("move Drill" + STRAIGHT + "10 -2 1 0");
    camera("move Base" + STRAIGHT + "1 0 0 0");
    camera("hide Probe");
    setFrame("Base");
    const std::vector<std::string> answers = askAll(ALL_POSES);
    ASSERT_EQ(answers.size(), 4u);
    EXPECT_EQ(answers[0].substr(72, 12), out({9, -2, 1}));
    EXPECT_EQ(answers[1].substr(36, 48), straightRotation() + out({0, 0, 0}));
    EXPECT_EQ(answers[2], failure(8, "Tools is not in view."));
}

TEST_P(ToolserverProtocol, RefusesAllPosesAndPointsWhileTheFrameOfReferenceIsHiddenOrGone)
{
    setFrame("Base");
    camera("hide Base");
    for (const unsigned char kind : {ALL_POSES, ALL_IMAGINARY, NEAREST})
        EXPECT_EQ(ask(packet(kind)), failure(7, NO_REFERENCE)) << int(kind);
    EXPECT_EQ(askAll(ALL_MARKER).size(), 4u) << "markers stand in the camera's frame";
}

TEST_P(ToolserverProtocol, ReportsAToolChangeToAllToolRequestsUntilAToolCheck)
{
    camera("switch 4 on");
    for (const char* change : {"plug 5 Late", "rename Late Later", "unplug Later"})
    {
        camera(change);
        for (const unsigned char kind : {ALL_MARKER, ALL_IMAGINARY, ALL_POSES, NEAREST})
            EXPECT_EQ(ask(packet(kind)), failure(6, TOOL_CHANGE)) << change << ' ' << int(kind);
        EXPECT_EQ(ask(packet(POSES_ON_SWITCH) + number(4) + number(1)), failure(6, TOOL_CHANGE)) << change;
        EXPECT_EQ(ask(packet(POSE, "Drill")).size(), 88u) << "a request for one tool goes on";
        askAll(TOOL_CHECK);
        EXPECT_EQ(askAll(ALL_MARKER).back(), acknowledgement()) << change;
    }
}

TEST_P(ToolserverProtocol, ReturnsToTheCamerasFrameWhenAToolCheckMissesTheFrameOfReference)
{
    camera("move Drill" + STRAIGHT + "10 -2 1 0");
    setFrame("Base");
    camera("unplug Base");
    EXPECT_EQ(ask(packet(POSE, "Drill")), failure(7, NO_REFERENCE));
    askAll(TOOL_CHECK);
    EXPECT_EQ(ask(packet(POSE, "Drill")).substr(72, 12), out({10, -2, 1}));
    EXPECT_NE(server().process.standardError().find("Frame of Reference reset to CAMERA !!!"), std::string::npos);
}

TEST_P(ToolserverProtocol, AnswersTheMeasuredMarkersOfAToolWhateverTheFrameOfReference)
{
    camera("move Drill" + TURNED + "10 -2 1 0.25");
    camera("move Base" + STRAIGHT + "1 0 0 0");
    camera("markers Drill 4,5,6");
    for (const char* frame : {"CAM", "Base"})
    {
        setFrame(frame);
        EXPECT_EQ(ask(packet(MARKER, "Drill")), packet(ACKNOWLEDGE, "Drill") + number(2) + out({4, 5, 6}) +
                                                    out({INVALID, INVALID, INVALID}) + zeros(360) + out({0.25}));
    }
    EXPECT_EQ(ask(packet(MARKER, "Base")), packet(ACKNOWLEDGE, "Base") + number(0) + zeros(384) + out({0}));
    EXPECT_EQ(ask(packet(MARKER, "Nobody")), failure(9, NO_TOOL));
}

TEST_P(ToolserverProtocol, AnswersTheMeasuredMarkersOfAllToolsHiddenOnesToo)
{
    camera("markers Drill 4,5,6;1,2,3");
    camera("hide Drill");
    const std::vector<std::string> answers = askAll(ALL_MARKER);
    ASSERT_EQ(answers.size(), 4u);
    EXPECT_EQ(answers[0], packet(ALL_MARKER, "Drill") + number(2) + out({4, 5, 6, 1, 2, 3}) + zeros(360) + out({0}));
    EXPECT_EQ(nameIn(answers[1]), "Base");
    EXPECT_EQ(answers[1].substr(36, 4), number(0));
    EXPECT_EQ(nameIn(answers[2]), "Probe");
    EXPECT_EQ(answers[3], acknowledgement());
}

TEST_P(ToolserverProtocol, AnswersTheImaginaryPointsOfATool)
{
    camera("move Drill" + TURNED + "10 -2 1 0.25");
    EXPECT_EQ(ask(packet(IMAGINARY, "Drill")),
              packet(ACKNOWLEDGE, "Drill") + number(1) + out({2, 5, 10}) + zeros(84) + out({0.25}));
    camera("move Base" + STRAIGHT + "1 0 0 0");
    setFrame("Base");
    EXPECT_EQ(ask(packet(IMAGINARY, "Drill")),
              packet(ACKNOWLEDGE, "Drill") + number(1) + out({1, 5, 10}) + zeros(84) + out({0.25}));
}

TEST_P(ToolserverProtocol, AnswersTheImaginaryPointsOfAllToolsInView)
{
    camera("move Drill" + TURNED + "10 -2 1 0.25");
    camera("hide Base");
    const std::vector<std::string> answers = askAll(ALL_IMAGINARY);
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_EQ(answers[0], packet(ALL_IMAGINARY, "Drill") + number(1) + out({2, 5, 10}) + zeros(84) + out({0.25}));
    EXPECT_EQ(nameIn(answers[1]), "Probe");
    EXPECT_EQ(answers[1].substr(36, 28), number(2) + out({1, 0, 0, 0, 1, 0}));
    EXPECT_EQ(answers[2], acknowledgement());
}

/// Tests of the nearest tool: only the types given may be chosen.
std::string allowedTypes(std::initializer_list<int> types)
{
    std::string flags = zeros(256);
    for (const int type : types)
        flags[static_cast<std::size_t>(type)] = 1;
    return packet(ALLOWED) + flags;
}

TEST_P(ToolserverProtocol, ChoosesTheNearestToolAmongTheAllowedTypes)
{
    setFrame("Base");
    camera("move Drill" + STRAIGHT + "1 0 0 0.5");
    camera("move Probe" + TURNED + "0 2 0 0.5");
    EXPECT_EQ(ask(packet(NEAREST)), failure(14, "No tool is close enough to the FOR.")) << "type 0 only, at first";

    EXPECT_EQ(ask(allowedTypes({12, 13, 15})), acknowledgement());
    EXPECT_EQ(nameIn(ask(packet(NEAREST))), "Drill");
    EXPECT_EQ(ask(allowedTypes({13})), acknowledgement());
    EXPECT_EQ(ask(packet(NEAREST)),
              packet(ACKNOWLEDGE, "Probe") + number(2) + out({0, 3, 0, -1, 2, 0}) + zeros(72) + zeros(4));
    camera("hide Probe");
    EXPECT_EQ(ask(packet(NEAREST)), failure(14, "No tool is close enough to the FOR."));
}

TEST_P(ToolserverProtocol, GivesTheNearestToolThePointsOfTheLastTool)
{
    setFrame("Base");
    EXPECT_EQ(ask(allowedTypes({12, 13})), acknowledgement());
    camera("move Drill" + TURNED + "1 0 0 0");
    camera("move Probe" + STRAIGHT + "9 0 0 0");
    EXPECT_EQ(ask(packet(NEAREST)).substr(0, 52), packet(ACKNOWLEDGE, "Drill") + number(1) + out({1, 1, 0}));
}

TEST_P(ToolserverProtocol, TakesNoToolForNearAtADistanceOf1000)
{
    setFrame("Base");
    EXPECT_EQ(ask(allowedTypes({12})), acknowledgement());
    camera("move Drill" + STRAIGHT + "1000 0 0 0");
    EXPECT_EQ(ask(packet(NEAREST)), failure(14, "No tool is close enough to the FOR."));
    camera("move Drill" + STRAIGHT + "999.5 0 0 0");
    EXPECT_EQ(nameIn(ask(packet(NEAREST))), "Drill");
}

TEST_P(ToolserverProtocol, RefusesTheNearestToolInTheCamerasFrame)
{
    EXPECT_EQ(ask(packet(NEAREST)), failure(7, NO_REFERENCE));
}

TEST_P(ToolserverProtocol, ReportsTheFootswitch)
{
    EXPECT_EQ(ask(packet(SWITCH)), packet(SWITCH) + number(0) + number(0));
    camera("switch 3 on");
    EXPECT_EQ(ask(packet(SWITCH)), packet(SWITCH) + number(3) + number(1));
}

TEST_P(ToolserverProtocol, AnswersAllPosesOnceTheFootswitchIsAsWanted)
{
    camera("move Drill" + TURNED + "10 -2 1 0.25");
    camera("unplug Base");
    askAll(TOOL_CHECK);
    camera("calls");

    client->send(packet(POSES_ON_SWITCH) + number(3) + number(1));
    camera("await requestSwitch");
    camera("switch 3 off");
    camera("switch 2 on");
    EXPECT_FALSE(client->socket().waitForInput(std::chrono::milliseconds(0)));
    camera("switch 3 on");

    const std::string answer = client->receive();
    EXPECT_EQ(nameIn(answer), "Drill");
    EXPECT_EQ(answer.substr(0, 4), packet(ALL_POSES)) << "as for a request of kind 30";
    EXPECT_EQ(answer.substr(36), turnedRotation() + out({10, -2, 1}) + rawQuarter());
    EXPECT_EQ(nameIn(client->receive()), "Probe");
    EXPECT_EQ(client->receive(), acknowledgement());
}

TEST_P(ToolserverProtocol, AnswersTheErrorsOfAllPosesAfterTheFootswitchToo)
{
    setFrame("Base");
    camera("hide Base");
    EXPECT_EQ(ask(packet(POSES_ON_SWITCH) + number(0) + number(0)), failure(7, NO_REFERENCE));
    client->send(packet(POSES_ON_SWITCH) + number(1) + number(1));
    camera("unplug Base");
    camera("switch 1 on");
    EXPECT_EQ(client->receive(), failure(6, TOOL_CHANGE));
}

/// The request that sets, and but for its kind the answer that gets, the normal vectors of Drill.
std::string normals(const std::string& count, const std::string& vectors, const std::string& parameters)
{
    return nameField("Drill") + count + padded(vectors, 384) + parameters;
}

TEST_P(ToolserverProtocol, KeepsNormalVectorsAndTheirParameters)
{
    EXPECT_EQ(ask(packet(GET_NORMALS, "Drill")),
              packet(ACKNOWLEDGE) + normals(number(2), out({INVALID, INVALID, INVALID, INVALID, INVALID, INVALID}),
                                            number(60) + number(3) + out({0, 0})));
    camera("calls");
    EXPECT_EQ(
        ask(packet(ADD_NORMALS) + normals(number(2), in({0, 0, 1, 0, 1, 0}), number(45) + number(2) + in({0.5, 0.25}))),
        acknowledgement());
    EXPECT_EQ(camera("calls"), "updateCalibration Drill [7,8,9]\n");
    EXPECT_EQ(ask(packet(GET_NORMALS, "Drill")),
              packet(ACKNOWLEDGE) +
                  normals(number(2), out({0, 0, 1, 0, 1, 0}), number(45) + number(2) + out({0.5, 0.25})));
}

TEST_P(ToolserverProtocol, TakesErrorLimitsOutOfRangeForNone)
{
    EXPECT_EQ(
        ask(packet(ADD_NORMALS) + normals(number(2), in({0, 0, 1, 0, 1, 0}), number(45) + number(2) + in({1.3, 0}))),
        acknowledgement());
    EXPECT_EQ(ask(packet(GET_NORMALS, "Drill")).substr(432), out({0, 0}));
}

TEST_P(ToolserverProtocol, RefusesNormalVectorsThatDoNotFit)
{
    const std::string mismatch = "The number of normal vectors doesn't match the number of reals";
    const std::string parameters = number(45) + number(2) + in({0.5, 0.25});
    camera("calls");
    for (const int count : {0, 1, 3, 32, 43, 44, -1, 0x7fffffff})
        EXPECT_EQ(ask(packet(ADD_NORMALS) + normals(number(count), "", parameters)), failure(9, mismatch)) << count;
    EXPECT_EQ(ask(packet(ADD_NORMALS, "Nobody")), failure(9, NO_TOOL_WITH_PERIOD));
    EXPECT_EQ(camera("calls"), "");
    camera("refuse updateCalibration");
    EXPECT_EQ(ask(packet(ADD_NORMALS) + normals(number(2), in({0, 0, 1, 0, 1, 0}), parameters)),
              failure(13, NO_CALIBRATION));
}

TEST_P(ToolserverProtocol, HasNoNormalVectorsForAToolWithoutMarkers)
{
    EXPECT_EQ(ask(packet(GET_NORMALS, "Base")), failure(16, "There are no normal vectors defined for this tool"));
    EXPECT_EQ(ask(packet(GET_NORMALS, "Nobody")), failure(9, NO_TOOL));
}

TEST_P(ToolserverProtocol, CalibratesTheImaginaryPointsOfATool)
{
    camera("calls");
    const std::string count = bytes("deadbeef"); // is not looked at
    EXPECT_EQ(ask(packet(CALIBRATE, "Probe") + count + in({1, 2, 3, 4, 5, 6, 7, 8, 9})), acknowledgement());
    EXPECT_EQ(camera("calls"), "updateCalibration Probe [1,2,3;4,5,6]\n");
    EXPECT_EQ(ask(packet(IMAGINARY, "Probe")).substr(36, 28), number(2) + out({1, 2, 3, 4, 5, 6}));
}

TEST_P(ToolserverProtocol, RefusesACalibrationOfAnUnknownToolOrThatTheCameraRefuses)
{
    EXPECT_EQ(ask(packet(CALIBRATE, "Nobody")), failure(9, NO_TOOL_WITH_PERIOD));
    camera("refuse updateCalibration");
    EXPECT_EQ(ask(packet(CALIBRATE, "Probe")), failure(13, NO_CALIBRATION));
}

TEST_P(ToolserverProtocol, MakesAToolOfAClient)
{
    const auto request = [&](int slot)
    {
        return packet(TOOL_INIT) + number(slot) + nameField("New") + number(13) + number(2) +
               padded(in({1, 2, 3, 4, 5, 6}), 384) + number(1) + padded(in({7, 8, 9}), 96) + number(77) +
               "twelve bytes" + number(5) + number(20240131) + number(2);
    };
    camera("calls");
    EXPECT_EQ(ask(request(4)), acknowledgement());
    EXPECT_EQ(camera("calls"),
              "createTool 77 0 New twelve bytes 13 5 20240131 [1,2,3;4,5,6] [7,8,9] 2 true\ninitTool 4 New\n");
    EXPECT_EQ(ask(packet(MARKER, "New")).substr(36, 4), number(2));

    camera("refuse initTool");
    EXPECT_EQ(ask(request(4)), failure(15, "Error while initializing a new tool."));
    camera("calls");
    camera("refuse createTool");
    EXPECT_EQ(ask(request(4)).substr(0, 44), failure(15, "Error while initializing a new tool.").substr(0, 44));
    EXPECT_EQ(camera("calls").find("initTool"), std::string::npos);
}

TEST_P(ToolserverProtocol, RefusesAToolWithMoreMarkersThanThePacketHoldsWithoutAskingTheCamera)
{
    camera("calls");
    const auto request = [&](int reals, int imaginaries)
    { return packet(TOOL_INIT) + zeros(40) + number(reals) + zeros(384) + number(imaginaries) + zeros(124); };
    for (const int count : {43, -1, 0x7fffffff})
        EXPECT_EQ(ask(request(count, 0)), failure(15, "Error while initializing a new tool.")) << count;
    for (const int count : {11, -1, 0x7fffffff})
        EXPECT_EQ(ask(request(0, count)), failure(15, "Error while initializing a new tool.")) << count;
    EXPECT_EQ(camera("calls"), "");
    EXPECT_EQ(ask(request(42, 0)), acknowledgement());
}

INSTANTIATE_TEST_SUITE_P(, ToolserverProtocol, testing::Values(Order::HOST, Order::SWAPPED), nameOf);

} // namespace
