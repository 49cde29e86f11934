#include "TestSession.h"

#include <support/Eventually.h>
#include <support/LogCapture.h>
#include <support/Wine.h>

#include <thread>

using namespace wire;

namespace
{

const double INVALID = static_cast<double>(-3.0e28f);
const std::string CAMERA = nameField("CAM");
const std::string NO_TOOL = failure(9, "There is no tool with this name");
const std::string NOT_IN_VIEW = failure(8, "The Tool is not in view.");
const std::string NO_REFERENCE = failure(7, "Frame of reference is not in view.");
const std::string TOOLS_CHANGED = failure(6, "Toolchange detected at the Stroberbox.");

/// What the request left behind its last field.
std::string filler(std::size_t count)
{
    return std::string(count, '\xCC');
}

/// A request about one tool, with recognisable padding, filled up to a whole packet behind the name's terminator.
std::string about(int kind, const std::string& name)
{
    const std::string request = static_cast<char>(kind) + bytes("a1a2a3") + name + '\0';
    return request + filler(560 - request.size());
}

/// A request without arguments, filled up in the same way.
std::string all(int kind)
{
    return static_cast<char>(kind) + bytes("a1a2a3") + filler(556);
}

/// The name of about() as it stands in the answer.
std::string leftName(const std::string& name)
{
    return name + '\0' + filler(31 - name.size());
}

/// Every test runs in both byte orders. "Drill" and "Base" stand in slots 0 and 2 of 4, both a quarter turn about z;
/// what they look like from each other was worked out by hand.
class ClientSocketInterfaceQueriesTest : public testing::TestWithParam<Order>
{
protected:
    ClientSocketInterfaceQueriesTest()
        : drill(makeTool("Drill", {{1, 2, 3}, {4, 5, 6}}, {{1, 0, 0}, {0, 2, 0.5}})), base(makeTool("Base"))
    {
        tools.insertTool(0, "", drill);
        tools.insertTool(2, "", base);
        place(*drill, quarterTurn(), {10, 3, 0.5});
        drill->updateRms(0.25f);
        place(*base, quarterTurn(), {11, 1, 0});
        base->updateRms(0.5f);
        session = std::make_unique<TestSession>(tools);
        session->greet(GetParam());
    }

    std::string number(std::uint32_t value) const { return integer(GetParam(), value); }
    std::string floats(std::initializer_list<double> values) const { return received(GetParam(), values); }
    std::string ask(const std::string& request) { return session->ask(request); }
    void setReference(const std::string& name)
    {
        EXPECT_EQ(ask(bytes("18000000") + nameField(name)), acknowledgement());
    }
    void allow(std::initializer_list<int> types)
    {
        std::string flags = zeros(256);
        for (const int type : types)
            flags[static_cast<std::size_t>(type)] = '\x80';
        EXPECT_EQ(ask(bytes("25000000") + flags), acknowledgement());
    }
    /// A tool in slot 1 or 3, where there is none yet.
    Tool* add(unsigned int slot, Tool* tool)
    {
        tools.insertTool(slot, "", tool);
        return tool;
    }
    static Tool* makeTyped(const std::string& name, int type, std::vector<Vector3d> imaginaries = {})
    {
        return new Tool(7, 1, name, "", "", type, 0, 0, {}, std::move(imaginaries), 0, 1);
    }

    LogCapture log;
    TestToollist tools{4};
    Tool* const drill;
    Tool* const base;
    std::unique_ptr<TestSession> session;
};

INSTANTIATE_TEST_SUITE_P(, ClientSocketInterfaceQueriesTest, testing::Values(Order::HOST, Order::SWAPPED), nameOf);

} // namespace

// Pose of one tool (29)

TEST_P(ClientSocketInterfaceQueriesTest, AnswersAPoseInTheCamerasFrame)
{
    EXPECT_EQ(ask(about(29, "Drill")), bytes("1d a1a2a3") + leftName("Drill") + floats({0, -1, 0, 1, 0, 0, 0, 0, 1}) +
                                           floats({10, 3, 0.5}) + floats({0.25}));
}

TEST_P(ClientSocketInterfaceQueriesTest, AnswersAPoseInAToolsFrame)
{
    setReference("Base");
    EXPECT_EQ(ask(about(29, "Drill")), bytes("1d a1a2a3") + leftName("Drill") + floats({1, 0, 0, 0, 1, 0, 0, 0, 1}) +
                                           floats({2, 1, 0.5}) + floats({0.25}));
    EXPECT_EQ(ask(about(29, "Base")), bytes("1d a1a2a3") + leftName("Base") + floats({1, 0, 0, 0, 1, 0, 0, 0, 1}) +
                                          floats({0, 0, 0}) + floats({0.5}));
}

TEST_P(ClientSocketInterfaceQueriesTest, RefusesThePoseOfAnUnknownTool)
{
    for (const char* name : {"", "drill", "Dril", "Drill2", "CAM"})
        EXPECT_EQ(ask(bytes("1d000000") + nameField(name)), NO_TOOL) << name;
    EXPECT_EQ(ask(about(29, "Nobody")),
              bytes("63 a1a2a3 00000009") + padded("There is no tool with this name", 255) + '\xCC');
}

TEST_P(ClientSocketInterfaceQueriesTest, RefusesThePoseOfAToolOutOfView)
{
    hide(*drill);
    EXPECT_EQ(ask(bytes("1d000000") + nameField("Drill")), NOT_IN_VIEW);
    setReference("Base");
    EXPECT_EQ(ask(bytes("1d000000") + nameField("Drill")), NOT_IN_VIEW);
}

TEST_P(ClientSocketInterfaceQueriesTest, RefusesAPoseWhileTheFrameOfReferenceIsOutOfView)
{
    setReference("Base");
    hide(*base);
    EXPECT_EQ(ask(bytes("1d000000") + nameField("Drill")), NO_REFERENCE);
    hide(*drill);
    EXPECT_EQ(ask(bytes("1d000000") + nameField("Drill")), NO_REFERENCE);
    EXPECT_EQ(ask(bytes("1d000000") + nameField("Nobody")), NO_TOOL);
}

TEST_P(ClientSocketInterfaceQueriesTest, RefusesAPoseWhenTheFrameOfReferenceWasTakenAway)
{
    setReference("Base");
    tools.removeTool("Base");
    EXPECT_EQ(ask(bytes("1d000000") + nameField("Drill")), NO_REFERENCE);
}

TEST_P(ClientSocketInterfaceQueriesTest, ReadsTheRestOfACutNameAsZeros)
{
    add(1, makeTool("Dri"));
    const std::string request = bytes("1d000000") + "Drill";
    for (std::size_t length = 1; length <= request.size(); ++length)
    {
        const std::string answer = ask(request.substr(0, length));
        EXPECT_EQ(answer.size(), length == 7 || length == 9 ? 88U : 264U) << length;
        EXPECT_EQ(answer.substr(0, 1), length == 7 || length == 9 ? bytes("1d") : bytes("63")) << length;
    }
}

TEST_P(ClientSocketInterfaceQueriesTest, EndsANameAtItsFieldsEnd)
{
    const std::string name = "ANameOfExactlyThirtyTwoCharacter";
    ASSERT_EQ(name.size(), 32U);
    place(*add(1, makeTool(name)), Matrix3x3(), {1, 2, 3});
    EXPECT_EQ(ask(bytes("1d000000") + name + "ThisIsNoPartOfIt"),
              bytes("1d000000") + name + floats({1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 2, 3, 0}));
}

// Poses of all tools (30, 33)

TEST_P(ClientSocketInterfaceQueriesTest, AnswersAllPosesOneAfterAnotherInTheSamePacket)
{
    Tool* tip = add(3, makeTool("Tip"));
    place(*tip, Matrix3x3(), {1, 2, 3});
    tip->updateRms(0.125f);
    hide(*base);

    EXPECT_EQ(ask(all(30)), bytes("1e a1a2a3") + leftName("Drill") + floats({0, -1, 0, 1, 0, 0, 0, 0, 1}) +
                                floats({10, 3, 0.5}) + bytes("0000803e")); // the RMS is never converted
    EXPECT_EQ(session->receive(), bytes("63 a1a2a3 00000008") + padded("Tools is not in view.", 255) + '\xCC');
    EXPECT_EQ(session->receive(), bytes("1e a1a2a3") + padded(std::string("Tip\0", 4) + "Tools is not in view.", 32) +
                                      floats({1, 0, 0, 0, 1, 0, 0, 0, 1}) + floats({1, 2, 3}) + bytes("0000003e"));
    EXPECT_EQ(session->receive(), acknowledgement("a1a2a3"));
}

TEST_P(ClientSocketInterfaceQueriesTest, AnswersAllPosesInAToolsFrame)
{
    setReference("Base");
    EXPECT_EQ(ask(bytes("1e")), bytes("1e000000") + nameField("Drill") + floats({1, 0, 0, 0, 1, 0, 0, 0, 1}) +
                                    floats({2, 1, 0.5}) + bytes("0000803e"));
    EXPECT_EQ(session->receive(), bytes("1e000000") + padded(std::string("Base\0", 5), 32) +
                                      floats({1, 0, 0, 0, 1, 0, 0, 0, 1}) + floats({0, 0, 0}) + bytes("0000003f"));
    EXPECT_EQ(session->receive(), acknowledgement());
}

TEST_P(ClientSocketInterfaceQueriesTest, RefusesAllPosesWhileTheFrameOfReferenceIsMissing)
{
    setReference("Base");
    hide(*base);
    EXPECT_EQ(ask(bytes("1e")), NO_REFERENCE);
    EXPECT_EQ(ask(bytes("1c")), NO_REFERENCE);
    tools.removeTool("Base");
    EXPECT_EQ(ask(bytes("1e")), NO_REFERENCE);
    EXPECT_EQ(ask(bytes("1c")), NO_REFERENCE);
    EXPECT_TRUE(session->isServed());
}

TEST_P(ClientSocketInterfaceQueriesTest, OnlyAcknowledgesWhenThereAreNoTools)
{
    tools.removeTool("Drill");
    tools.removeTool("Base");
    for (const char* request : {"1a 010203", "1c 010203", "1e 010203", "17 010203"})
        EXPECT_EQ(ask(bytes(request)), bytes("14 010203")) << request;
}

TEST_P(ClientSocketInterfaceQueriesTest, AnswersAllPosesOnceTheSwitchIsAsWanted)
{
    tools.removeTool("Base");
    std::atomic<int> looks{0};
    tools.onRequestSwitch = [&](int& id, bool& isPressed)
    {
        const int look = ++looks; // switch 5 released, switch 6 pressed, then what is wanted
        id = look == 2 ? 6 : 5;
        isPressed = look > 1;
    };
    EXPECT_EQ(ask(bytes("21 a1a2a3") + number(5) + number(1)),
              bytes("1e a1a2a3") + std::string("Drill\0", 6) + number(1).substr(2) + zeros(24) +
                  floats({0, -1, 0, 1, 0, 0, 0, 0, 1}) + floats({10, 3, 0.5}) + bytes("0000803e"));
    EXPECT_EQ(session->receive(), acknowledgement("a1a2a3"));
    EXPECT_EQ(looks, 3);
}

TEST_P(ClientSocketInterfaceQueriesTest, ChecksTheToolsAndTheFrameOfReferenceAfterTheSwitchCame)
{
    setReference("Base");
    hide(*base);
    EXPECT_EQ(ask(bytes("21")), NO_REFERENCE); // an unscripted switch is 0, released
    tools.toolSetChanged();
    EXPECT_EQ(ask(bytes("21")), TOOLS_CHANGED);
}

TEST_P(ClientSocketInterfaceQueriesTest, StopsWaitingForTheSwitchWhenItsClientGoes)
{
    std::atomic<int> looks{0};
    std::atomic<bool> hasTerminated{false};
    tools.onRequestSwitch = [&](int&, bool&) { ++looks; };
    QObject::connect(session->get(), &ClientSocketInterface::connectionTerminated, [&] { hasTerminated = true; });
    session->send(bytes("21000000") + number(5) + number(1));
    EXPECT_TRUE(eventually([&] { return looks > 1; }));
    if (!isWine())                  // which lets it
        session->send(bytes("16")); // a request that nobody reads must not hide the closed connection
    session->socket().close();
    EXPECT_TRUE(eventually([&] { return hasTerminated.load(); }));
}

// Markers (25, 26)

TEST_P(ClientSocketInterfaceQueriesTest, AnswersMeasuredMarkersWhateverTheFrameOfReference)
{
    drill->updateRealMarker(0, {1, 2, 3});
    setReference("Base");
    hide(*base);
    hide(*drill);
    EXPECT_EQ(ask(about(25, "Drill")), bytes("14 a1a2a3") + leftName("Drill") + number(2) + floats({1, 2, 3}) +
                                           floats({INVALID, INVALID, INVALID}) + filler(30 * 12) + floats({0.25}));
    EXPECT_EQ(ask(about(25, "Base")),
              bytes("14 a1a2a3") + leftName("Base") + number(0) + filler(32 * 12) + floats({0.5}));
    EXPECT_EQ(ask(bytes("19000000") + nameField("Nobody")), NO_TOOL);
}

TEST_P(ClientSocketInterfaceQueriesTest, AnswersTheMarkersOfAllToolsInOnePacket)
{
    drill->updateRealMarker(0, {1, 2, 3});
    drill->updateRealMarker(1, {4, 5, 6});
    Tool* tip = add(3, makeTool("Tip", {{0, 0, 0}}));
    tip->updateRealMarker(0, {7, 8, 10});
    hide(*tip);

    EXPECT_EQ(ask(all(26)), bytes("1a a1a2a3") + leftName("Drill") + number(2) + floats({1, 2, 3, 4, 5, 6}) +
                                filler(30 * 12) + floats({0.25}));
    EXPECT_EQ(session->receive(), bytes("1a a1a2a3") + std::string("Base\0\0", 6) + filler(26) + number(0) +
                                      floats({1, 2, 3, 4, 5, 6}) + filler(30 * 12) + floats({0.5}));
    EXPECT_EQ(session->receive(), bytes("1a a1a2a3") + std::string("Tip\0\0\0", 6) + filler(26) + number(1) +
                                      floats({7, 8, 10, 4, 5, 6}) + filler(30 * 12) + floats({0}));
    EXPECT_EQ(session->receive(), acknowledgement("a1a2a3"));
}

TEST_P(ClientSocketInterfaceQueriesTest, AnnouncesAllOfFortyMarkersAndSendsThirtyTwo)
{
    Tool* many = add(1, makeTool("Many", std::vector<Vector3d>(40)));
    std::string points;
    for (unsigned int i = 0; i < 40; ++i)
    {
        many->updateRealMarker(i, i % 2 ? Vector3d(1, 2, 3) : Vector3d(4, 5, 6));
        if (i < 32)
            points += i % 2 ? floats({1, 2, 3}) : floats({4, 5, 6});
    }
    const std::string record = number(40) + points + floats({0});
    EXPECT_EQ(ask(about(25, "Many")), bytes("14 a1a2a3") + leftName("Many") + record);
    ask(all(26));
    EXPECT_EQ(session->receive().substr(36), record);
}

TEST_P(ClientSocketInterfaceQueriesTest, LetsALongNameRunOnIntoWhatIsNotWrittenAfterIt)
{
    tools.removeTool("Drill");
    tools.removeTool("Base");
    std::string name;
    for (int i = 0; i < 600; ++i)
        name += static_cast<char>('a' + i % 26);
    place(*add(1, makeTool(name)), Matrix3x3(), {1, 2, 3});

    EXPECT_EQ(ask(all(26)), bytes("1a a1a2a3") + name.substr(0, 32) + number(0) + name.substr(36, 384) + floats({0}));
    EXPECT_EQ(session->receive(), acknowledgement("a1a2a3"));
    EXPECT_EQ(ask(all(28)), bytes("1c a1a2a3") + name.substr(0, 32) + number(0) + name.substr(36, 96) + floats({0}));
    EXPECT_EQ(session->receive(), acknowledgement("a1a2a3"));
    EXPECT_EQ(ask(all(30)), bytes("1e a1a2a3") + name.substr(0, 32) + floats({1, 0, 0, 0, 1, 0, 0, 0, 1}) +
                                floats({1, 2, 3}) + zeros(4));
    EXPECT_EQ(session->receive(), acknowledgement("a1a2a3"));
    EXPECT_EQ(ask(all(23)), bytes("17 a1a2a3") + number(1) + name.substr(0, 32) + number(14) + number(0) +
                                name.substr(40, 384) + number(0) + name.substr(428, 96) + number(7) +
                                padded("Owner", 8) + name.substr(536, 4) + number(0) + number(0) + number(0));
    EXPECT_EQ(session->receive(), acknowledgement("a1a2a3"));
}

// Imaginary points (27, 28)

TEST_P(ClientSocketInterfaceQueriesTest, AnswersImaginaryPointsInTheCurrentFrame)
{
    EXPECT_EQ(ask(about(27, "Drill")), bytes("14 a1a2a3") + leftName("Drill") + number(2) +
                                           floats({10, 4, 0.5, 8, 3, 1}) + filler(6 * 12) + floats({0.25}));
    setReference("Base");
    EXPECT_EQ(ask(about(27, "Drill")), bytes("14 a1a2a3") + leftName("Drill") + number(2) +
                                           floats({3, 1, 0.5, 2, 3, 1}) + filler(6 * 12) + floats({0.25}));
}

TEST_P(ClientSocketInterfaceQueriesTest, RefusesImaginaryPointsAsItRefusesAPose)
{
    EXPECT_EQ(ask(bytes("1b000000") + nameField("Nobody")), NO_TOOL);
    hide(*drill);
    EXPECT_EQ(ask(bytes("1b000000") + nameField("Drill")), NOT_IN_VIEW);
    setReference("Base");
    EXPECT_EQ(ask(bytes("1b000000") + nameField("Drill")), NOT_IN_VIEW);
    hide(*base);
    EXPECT_EQ(ask(bytes("1b000000") + nameField("Drill")), NO_REFERENCE);
}

TEST_P(ClientSocketInterfaceQueriesTest, AnswersTheImaginaryPointsOfAllVisibleTools)
{
    hide(*add(1, makeTool("Tip", {}, {{5, 5, 5}})));
    base->setImaginaryMarker(0, {0, 0, 1});
    place(*base, Matrix3x3(), {1, 2, 3});

    EXPECT_EQ(ask(all(28)), bytes("1c a1a2a3") + leftName("Drill") + number(2) + floats({10, 4, 0.5, 8, 3, 1}) +
                                filler(6 * 12) + floats({0.25}));
    EXPECT_EQ(session->receive(), bytes("1c a1a2a3") + std::string("Base\0\0", 6) + filler(26) + number(1) +
                                      floats({1, 2, 4, 8, 3, 1}) + filler(6 * 12) + floats({0.5}));
    EXPECT_EQ(session->receive(), acknowledgement("a1a2a3"));
}

TEST_P(ClientSocketInterfaceQueriesTest, AnswersTheImaginaryPointsOfAllToolsInAToolsFrame)
{
    base->setImaginaryMarker(0, {0, 0, 1});
    setReference("Base");
    EXPECT_EQ(ask(bytes("1c")), bytes("1c000000") + nameField("Drill") + number(2) + floats({3, 1, 0.5, 2, 3, 1}) +
                                    zeros(6 * 12) + floats({0.25}));
    EXPECT_EQ(session->receive(), bytes("1c000000") + nameField("Base") + number(1) + floats({0, 0, 1, 2, 3, 1}) +
                                      zeros(6 * 12) + floats({0.5}));
    EXPECT_EQ(session->receive(), acknowledgement());
}

TEST_P(ClientSocketInterfaceQueriesTest, AnnouncesAllImaginaryPointsAndSendsEight)
{
    place(*add(1, makeTool("Many", {}, std::vector<Vector3d>(50, Vector3d(0, 0, 1)))), Matrix3x3(), {1, 2, 3});
    std::string points;
    for (int i = 0; i < 8; ++i)
        points += floats({1, 2, 4});
    EXPECT_EQ(ask(about(27, "Many")), bytes("14 a1a2a3") + leftName("Many") + number(50) + points + floats({0}));
}

// Nearest tool (31, 37)

TEST_P(ClientSocketInterfaceQueriesTest, HasNoNearestToolWithoutAToolAsFrameOfReference)
{
    allow({14});
    EXPECT_EQ(ask(bytes("1f")), NO_REFERENCE);
    setReference("Base");
    hide(*base);
    EXPECT_EQ(ask(bytes("1f")), NO_REFERENCE);
    tools.removeTool("Base");
    EXPECT_EQ(ask(bytes("1f")), NO_REFERENCE);
}

TEST_P(ClientSocketInterfaceQueriesTest, AnswersTheNearestToolWithItsOwnPointsWhenItIsTheLast)
{
    place(*base, Matrix3x3(), {0, 0, 0});
    place(*add(3, makeTyped("Near", 14, {{1, 0, 0}, {0, 2, 0.5}})), quarterTurn(), {3, 4, 0});
    allow({14});
    setReference("Base");
    EXPECT_EQ(ask(all(31)), bytes("14 a1a2a3") + leftName("Near") + number(2) + floats({3, 5, 0, 1, 4, 0.5}) +
                                filler(6 * 12) + filler(4)); // no RMS
}

TEST_P(ClientSocketInterfaceQueriesTest, AnswersTheLastToolsPointsUnderTheNearestToolsPoseAndCount)
{
    place(*base, Matrix3x3(), {0, 0, 0});
    hide(*add(3, makeTyped("Last", 99, {{1, 0, 0}})));
    place(*add(1, makeTyped("Near", 14, {{9, 9, 9}, {8, 8, 8}, {7, 7, 7}})), Matrix3x3(), {3, 4, 0});
    allow({14});
    setReference("Base");
    EXPECT_EQ(ask(all(31)), bytes("14 a1a2a3") + leftName("Near") + number(3) + floats({4, 4, 0}) +
                                floats({INVALID, INVALID, INVALID, INVALID, INVALID, INVALID}) + filler(5 * 12) +
                                filler(4));
}

TEST_P(ClientSocketInterfaceQueriesTest, AnswersNoMorePointsThanTheNearestToolHas)
{
    place(*base, Matrix3x3(), {0, 0, 0});
    add(3, makeTyped("Last", 99, {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}}));
    place(*add(1, makeTyped("Near", 14, {{9, 9, 9}})), Matrix3x3(), {3, 4, 0});
    allow({14});
    setReference("Base");
    EXPECT_EQ(ask(all(31)), bytes("14 a1a2a3") + leftName("Near") + number(1) + floats({4, 4, 0}) + filler(7 * 12 + 4));
}

TEST_P(ClientSocketInterfaceQueriesTest, KeepsTheEarlierOfTwoEquallyNearTools)
{
    place(*base, Matrix3x3(), {0, 0, 0});
    place(*drill, Matrix3x3(), {0, 0, 7});
    place(*add(1, makeTyped("First", 1)), Matrix3x3(), {3, 4, 0});
    place(*add(3, makeTyped("Second", 1)), Matrix3x3(), {0, 0, -5});
    allow({1, 14});
    setReference("Base");
    EXPECT_EQ(ask(all(31)), bytes("14 a1a2a3") + leftName("First") + number(0) + filler(8 * 12 + 4));
}

TEST_P(ClientSocketInterfaceQueriesTest, FindsNoNearestToolAtAThousandOrBeyond)
{
    const std::string nothingNear = failure(14, "No tool is close enough to the FOR.");
    place(*base, Matrix3x3(), {0, 0, 0});
    allow({14});
    setReference("Base");
    place(*drill, Matrix3x3(), {1000.0, 0, 0});
    EXPECT_EQ(ask(bytes("1f")), nothingNear);
    place(*drill, Matrix3x3(), {5000.0, 0, 0});
    EXPECT_EQ(ask(bytes("1f")), nothingNear);
    hide(*drill);
    EXPECT_EQ(ask(bytes("1f")), nothingNear);
    place(*drill, Matrix3x3(), {999.9999, 0, 0});
    EXPECT_EQ(ask(bytes("1f")).substr(0, 9), bytes("14000000") + "Drill");
}

TEST_P(ClientSocketInterfaceQueriesTest, ChoosesOnlyAmongAllowedTypes)
{
    const std::string nothingNear = failure(14, "No tool is close enough to the FOR.");
    place(*base, Matrix3x3(), {0, 0, 0});
    place(*add(1, makeTyped("Zero", 0)), Matrix3x3(), {5, 0, 0});
    place(*add(3, makeTyped("Last", 255)), Matrix3x3(), {1, 0, 0});
    setReference("Base");
    EXPECT_EQ(ask(bytes("1f")).substr(4, 4), "Zero") << "only type 0 is allowed at first";
    allow({255});
    EXPECT_EQ(ask(bytes("1f")).substr(4, 4), "Last");
    allow({0, 255});
    EXPECT_EQ(ask(bytes("1f")).substr(4, 4), "Last");
    allow({1, 13, 15, 254});
    EXPECT_EQ(ask(bytes("1f")), nothingNear);
    ask(bytes("25")); // cut short: no type at all
    EXPECT_EQ(ask(bytes("1f")), nothingNear);
}

TEST_P(ClientSocketInterfaceQueriesTest, NeverChoosesATypeThatHasNoFlag)
{
    place(*base, Matrix3x3(), {0, 0, 0});
    hide(*drill);
    EXPECT_EQ(ask(bytes("25000000") + std::string(556, '\x01')), acknowledgement());
    setReference("Base");
    for (const int type : {-1, 256, 257, 0x7FFFFFFF, -0x7FFFFFFF})
    {
        Tool* former = tools.getTool(1);
        place(*add(1, makeTyped("Odd", type)), Matrix3x3(), {1, 0, 0});
        delete former;
        EXPECT_EQ(ask(bytes("1f")), failure(14, "No tool is close enough to the FOR.")) << type;
    }
}

TEST_P(ClientSocketInterfaceQueriesTest, NeverChoosesTheReferenceToolInWhateverSlotItStands)
{
    place(*base, Matrix3x3(), {0, 0, 0});
    hide(*drill);
    add(1, base);
    add(3, base);
    allow({14});
    setReference("Base");
    EXPECT_EQ(ask(bytes("1f")), failure(14, "No tool is close enough to the FOR."));
}

// Frame of reference (24)

TEST_P(ClientSocketInterfaceQueriesTest, GoesBackToTheCameraAsFrameOfReference)
{
    setReference("Base");
    EXPECT_EQ(ask(bytes("18 010203") + "CAM" + '\0' + filler(28)), bytes("14 010203"));
    EXPECT_EQ(ask(about(29, "Drill")).substr(72), floats({10, 3, 0.5, 0.25}));
    setReference("Base");
    EXPECT_EQ(ask(bytes("18 000000") + "CAM"), acknowledgement());
    EXPECT_EQ(ask(about(29, "Drill")).substr(72), floats({10, 3, 0.5, 0.25}));
}

TEST_P(ClientSocketInterfaceQueriesTest, KeepsTheFrameOfReferenceWhenANewOneIsUnknown)
{
    setReference("Base");
    for (const char* name : {"Nobody", "", "CAM1", "cam"})
        EXPECT_EQ(ask(bytes("18000000") + nameField(name)), NO_TOOL) << name;
    EXPECT_EQ(ask(about(29, "Drill")).substr(72), floats({2, 1, 0.5, 0.25}));
}

TEST_P(ClientSocketInterfaceQueriesTest, TakesAHiddenToolAsFrameOfReference)
{
    hide(*base);
    setReference("Base");
    EXPECT_EQ(ask(bytes("1d000000") + nameField("Drill")), NO_REFERENCE);
}

TEST_P(ClientSocketInterfaceQueriesTest, RefersToTheLastSlotOfATool)
{
    add(3, base);
    setReference("Base");
    Tool* other = add(3, makeTool("Other")); // the slot counts, not the tool
    place(*other, Matrix3x3(), {8, 2, 0.5});
    EXPECT_EQ(ask(about(29, "Drill")).substr(72), floats({2, 1, 0, 0.25}));
}

// Tool check and changes (23)

TEST_P(ClientSocketInterfaceQueriesTest, DescribesEveryTool)
{
    tools.removeTool("Drill");
    tools.removeTool("Base");
    Tool* probe = add(1, new Tool(0x11223344, 5, "Probe", "Second", "Somebody else", 15, 3, 99, {{1, 2, 3}, {4, 5, 6}},
                                  {{7, 8, 10}}, 6, 1));
    hide(*probe);
    add(3, new Tool(-2, 5, "Tip", "", "Me", 6, 0, 0, {}, {}, 0, 1));

    EXPECT_EQ(ask(all(23)), bytes("17 a1a2a3") + number(1) + leftName("Probe") + number(6) + number(2) +
                                floats({1, 2, 3, 4, 5, 6}) + filler(30 * 12) + number(1) + floats({7, 8, 10}) +
                                filler(7 * 12) + number(0x11223344) + "Somebody" + filler(4) + number(3) + number(0) +
                                number(6));
    EXPECT_EQ(session->receive(), bytes("17 a1a2a3") + number(3) + std::string("Tip\0e\0", 6) + filler(26) + number(6) +
                                      number(0) + floats({1, 2, 3, 4, 5, 6}) + filler(30 * 12) + number(0) +
                                      floats({7, 8, 10}) + filler(7 * 12) + number(0xFFFFFFFE) + padded("Me", 8) +
                                      filler(4) + number(0) + number(0) + number(0));
    EXPECT_EQ(session->receive(), acknowledgement("a1a2a3"));
}

TEST_P(ClientSocketInterfaceQueriesTest, DescribesAToolOfFortyMarkersByThirtyTwo)
{
    tools.removeTool("Drill");
    tools.removeTool("Base");
    add(1, makeTool("Many", std::vector<Vector3d>(40, Vector3d(1, 2, 3)), std::vector<Vector3d>(9, Vector3d(4, 5, 6))));
    std::string markers;
    for (int i = 0; i < 32; ++i)
        markers += floats({1, 2, 3});
    std::string imaginaries;
    for (int i = 0; i < 8; ++i)
        imaginaries += floats({4, 5, 6});
    EXPECT_EQ(ask(bytes("17")), bytes("17000000") + number(1) + nameField("Many") + number(14) + number(40) + markers +
                                    number(9) + imaginaries + number(7) + padded("Owner", 12) + zeros(12));
}

TEST_P(ClientSocketInterfaceQueriesTest, ReportsAToolChangeToEveryAllToolsRequestUntilTheToolCheck)
{
    setReference("Base");
    tools.toolSetChanged();
    for (const char* request : {"1a", "1c", "1e", "1f", "21"})
        EXPECT_EQ(ask(bytes(request)), TOOLS_CHANGED) << request;
    for (const char* request : {"19000000", "1b000000", "1d000000", "26000000"})
        EXPECT_NE(ask(bytes(request) + nameField("Drill")), TOOLS_CHANGED) << request;

    EXPECT_EQ(ask(bytes("17")).substr(0, 1), bytes("17"));
    EXPECT_EQ(session->receive().substr(0, 1), bytes("17"));
    EXPECT_EQ(session->receive(), acknowledgement());
    EXPECT_EQ(ask(bytes("1a")).size(), 428U);
    EXPECT_EQ(session->receive().size(), 428U);
    EXPECT_EQ(session->receive(), acknowledgement());
}

TEST_P(ClientSocketInterfaceQueriesTest, ResetsAMissingFrameOfReferenceAtTheToolCheck)
{
    const std::string reset = "Frame of Reference reset to CAMERA !!!\n";
    const auto checkTools = [this]
    {
        for (std::string answer = ask(bytes("17")); answer.size() == 560;)
            answer = session->receive();
    };
    checkTools();
    checkTools();
    EXPECT_EQ(log.count("toolserver", reset), 2) << "the camera itself is reset every time";
    setReference("Base");
    checkTools();
    EXPECT_EQ(log.count("toolserver", reset), 2);
    EXPECT_EQ(ask(about(29, "Drill")).substr(72), floats({2, 1, 0.5, 0.25}));
    tools.removeTool("Base");
    checkTools();
    EXPECT_EQ(log.count("toolserver", reset), 3);
    EXPECT_EQ(ask(about(29, "Drill")).substr(72), floats({10, 3, 0.5, 0.25}));
}

// Several sessions

TEST_P(ClientSocketInterfaceQueriesTest, KeepsFrameOrderTypesAndMarkOfEachSessionApart)
{
    TestSession other(tools);
    const Order otherOrder = GetParam() == Order::HOST ? Order::SWAPPED : Order::HOST;
    other.greet(otherOrder);
    setReference("Base");
    EXPECT_EQ(other.ask(about(29, "Drill")).substr(72), received(otherOrder, {10, 3, 0.5, 0.25}));
    EXPECT_EQ(ask(about(29, "Drill")).substr(72), floats({2, 1, 0.5, 0.25}));

    other.ask(bytes("18000000") + nameField("Base"));
    allow({14});
    EXPECT_EQ(ask(bytes("1f")).substr(4, 5), "Drill");
    EXPECT_EQ(other.ask(bytes("1f")), failure(14, "No tool is close enough to the FOR."));

    tools.toolSetChanged();
    for (std::string answer = ask(bytes("17")); answer.size() == 560;)
        answer = session->receive();
    EXPECT_NE(ask(bytes("1e")), TOOLS_CHANGED);
    EXPECT_EQ(other.ask(bytes("1e")), TOOLS_CHANGED);
    TestSession late(tools);
    late.greet();
    EXPECT_NE(late.ask(bytes("1e")), TOOLS_CHANGED) << "a session begins with the tools as they are";
}

TEST_P(ClientSocketInterfaceQueriesTest, SendsTheAnswersOfAVeryLongToolListCompletely)
{
    constexpr unsigned int COUNT = 1000; // 560 kB: more than is sent at a time
    TestToollist longList(COUNT);
    for (unsigned int slot = 0; slot < COUNT; ++slot)
        longList.insertTool(slot, "", makeTool("Tool" + std::to_string(slot)));
    TestSession longSession(longList);
    longSession.greet(GetParam());
    longSession.send(bytes("17"));
    for (unsigned int slot = 0; slot < COUNT; ++slot)
        ASSERT_EQ(longSession.receive().substr(4, 4), number(slot));
    EXPECT_EQ(longSession.receive(), acknowledgement());
}

TEST_P(ClientSocketInterfaceQueriesTest, SurvivesToolsThatComeAndGoWhileItAnswers)
{
    std::atomic<bool> isOver{false};
    std::thread camera(
        [&]
        {
            while (!isOver)
            {
                tools.insertTool(1, "", makeTool("Fleeting", {{1, 2, 3}}, {{1, 2, 3}}));
                tools.toolSetChanged();
                tools.removeTool("Fleeting");
                tools.toolSetChanged();
            }
        });
    const auto isPerTool = [](const std::string& answer)
    { return answer.size() > 4 && (answer[0] != 99 || answer[7] == 8); };
    allow({14});
    for (int round = 0; round < 20; ++round)
    {
        for (const int kind : {23, 26, 28, 30})
        {
            std::string answer = ask(all(kind));
            while (isPerTool(answer))
                answer = session->receive();
            ASSERT_FALSE(answer.empty()) << kind;
        }
        for (const int kind : {24, 25, 27, 29, 31, 34, 35, 38})
            ASSERT_FALSE(ask(about(kind, "Fleeting")).empty()) << kind;
    }
    isOver = true;
    camera.join();
}
