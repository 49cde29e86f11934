#include "TestSession.h"

#include <support/LogCapture.h>

#include <utility>

using namespace wire;

namespace
{

const std::string NO_TOOL = failure(9, "There is no tool with this name.");
const std::string NO_MATCH = failure(9, "The number of normal vectors doesn't match the number of reals");
const std::string NOT_UPDATED = failure(13, "Error while updating calibration.");
const std::string NOT_INITIALISED = failure(15, "Error while initializing a new tool.");

/// The requests that change the module's tools: calibration, normal vectors, new tools. Every test runs in both byte
/// orders. "Drill" in slot 0 has two real markers and two imaginary points.
class ClientSocketInterfaceCalibrationTest : public testing::TestWithParam<Order>
{
protected:
    ClientSocketInterfaceCalibrationTest() : drill(makeTool("Drill", {{1, 2, 3}, {4, 5, 6}}, {{1, 0, 0}, {0, 2, 0.5}}))
    {
        tools.insertTool(0, "", drill);
        session = std::make_unique<TestSession>(tools);
        session->greet(GetParam());
    }

    std::string number(std::uint32_t value) const { return integer(GetParam(), value); }
    std::string floats(std::initializer_list<double> values) const { return sent(GetParam(), values); }
    std::string answered(std::initializer_list<double> values) const { return received(GetParam(), values); }
    std::string ask(const std::string& request) { return session->ask(request); }
    /// `count` points (1, 2, 3).
    std::string points(int count) const
    {
        std::string result;
        for (int i = 0; i < count; ++i)
            result += floats({1, 2, 3});
        return result;
    }
    /// A whole request to make a tool.
    std::string toolRequest(std::uint32_t realCount, const std::string& reals, std::uint32_t imaginaryCount,
                            const std::string& imaginaries) const
    {
        return bytes("24 000000") + number(2) + nameField("Probe") + number(14) + number(realCount) +
               padded(reals, 384) + number(imaginaryCount) + padded(imaginaries, 96) + number(0x01020304) +
               padded("Owner", 12) + number(3) + number(20240131) + number(6);
    }
    /// A whole request to set normal vectors.
    std::string normalsRequest(const std::string& name, std::uint32_t count, const std::string& normals) const
    {
        return bytes("22 000000") + nameField(name) + number(count) + padded(normals, 384) + number(45) + number(4) +
               floats({0.5, 1.275});
    }

    LogCapture log;
    TestToollist tools{4};
    Tool* const drill;
    std::unique_ptr<TestSession> session;
};

INSTANTIATE_TEST_SUITE_P(, ClientSocketInterfaceCalibrationTest, testing::Values(Order::HOST, Order::SWAPPED), nameOf);

} // namespace

// Calibration (35)

TEST_P(ClientSocketInterfaceCalibrationTest, ReplacesTheImaginaryPointsThatTheToolHas)
{
    const std::string request =
        bytes("23 010203") + nameField("Drill") + number(77) + floats({7, 8, 10, -1, 0.25, 0.5, 100.5, 100.5, 100.5});
    EXPECT_EQ(ask(request), bytes("14 010203"));
    ASSERT_EQ(drill->getNumberOfImaginaryMarkers(), 2U);
    EXPECT_EQ(drill->getImaginaryMarker(0), Vector3d(7, 8, 10));
    EXPECT_EQ(drill->getImaginaryMarker(1), Vector3d(-1, 0.25, 0.5));
    EXPECT_EQ(tools.requests(), (std::vector<TestToollist::Request>{{"_updateCalibration", 0, drill}}));
}

TEST_P(ClientSocketInterfaceCalibrationTest, ReadsPointsThatWereCutOffAsZeros)
{
    const std::string request = bytes("23 000000") + nameField("Drill") + number(2) + floats({7, 8, 10, -1});
    EXPECT_EQ(ask(request), acknowledgement());
    EXPECT_EQ(drill->getImaginaryMarker(1), Vector3d(-1, 0, 0));
    EXPECT_EQ(ask(bytes("23 000000") + "Drill"), acknowledgement());
    EXPECT_EQ(drill->getImaginaryMarker(0), Vector3d(0, 0, 0));
}

TEST_P(ClientSocketInterfaceCalibrationTest, RefusesToCalibrateAnUnknownTool)
{
    EXPECT_EQ(ask(bytes("23 000000") + nameField("Nobody") + number(2) + points(2)), NO_TOOL);
    EXPECT_TRUE(tools.requests().empty());
}

TEST_P(ClientSocketInterfaceCalibrationTest, ReportsAModuleThatDoesNotTakeACalibration)
{
    tools.onUpdateCalibration = [](Tool*) { return false; };
    EXPECT_EQ(ask(bytes("23 000000") + nameField("Drill") + number(2) + points(2)).substr(0, 42),
              NOT_UPDATED.substr(0, 42));
    EXPECT_EQ(drill->getImaginaryMarker(0), Vector3d(1, 2, 3)) << "the points are set all the same";
    EXPECT_EQ(ask(normalsRequest("Drill", 2, points(2))).substr(0, 42), NOT_UPDATED.substr(0, 42));
}

TEST_P(ClientSocketInterfaceCalibrationTest, TakesFortyThreePointsButNotOneMore)
{
    tools.insertTool(1, "", makeTool("Full", {}, std::vector<Vector3d>(43)));
    Tool* tooMany = makeTool("TooMany", {}, std::vector<Vector3d>(44));
    tools.insertTool(2, "", tooMany);
    const std::string points43 = number(43) + points(43);
    EXPECT_EQ(ask(bytes("23 000000") + nameField("Full") + points43), acknowledgement());
    EXPECT_EQ(tools.getTool("Full")->getImaginaryMarker(42), Vector3d(1, 2, 3));
    EXPECT_EQ(ask(bytes("23 000000") + nameField("TooMany") + points43).substr(0, 42), NOT_UPDATED.substr(0, 42));
    EXPECT_EQ(tooMany->getImaginaryMarker(0), Vector3d(0, 0, 0));
    EXPECT_EQ(tools.requests().size(), 1U);
}

TEST_P(ClientSocketInterfaceCalibrationTest, CalibratesAToolWithoutPoints)
{
    tools.insertTool(1, "", makeTool("Bare"));
    EXPECT_EQ(ask(bytes("23 000000") + "Bare"), acknowledgement());
    EXPECT_EQ(tools.requests().size(), 1U);
}

// Normal vectors (34, 38)

TEST_P(ClientSocketInterfaceCalibrationTest, SetsNormalVectorsAndTheirLimits)
{
    EXPECT_EQ(ask(normalsRequest("Drill", 2, floats({0, 0, 1, 0, -1, 0}))), acknowledgement());
    ASSERT_EQ(drill->getNumberOfNormalVectors(), 2U);
    EXPECT_EQ(drill->getNormalVector(0), Vector3d(0, 0, 1));
    EXPECT_EQ(drill->getNormalVector(1), Vector3d(0, -1, 0));
    EXPECT_EQ(drill->getMarkerAngleLimit(), 45);
    EXPECT_EQ(drill->getMinMarkers(), 4);
    EXPECT_EQ(drill->getMax3D(), 0.5f);
    EXPECT_EQ(drill->getMaxRMS(), 1.275f);
    EXPECT_EQ(tools.requests(), (std::vector<TestToollist::Request>{{"_updateCalibration", 0, drill}}));
}

TEST_P(ClientSocketInterfaceCalibrationTest, StoresLimitsOutOfRangeAsZero)
{
    const std::string request = bytes("22 000000") + nameField("Drill") + number(2) + padded(points(2), 384) +
                                number(0xFFFFFFFF) + number(0) + floats({1.3, 0});
    EXPECT_EQ(ask(request), acknowledgement());
    EXPECT_EQ(drill->getMax3D(), 0.0f);
    EXPECT_EQ(drill->getMaxRMS(), 0.0f);
    EXPECT_EQ(drill->getMarkerAngleLimit(), -1);
}

TEST_P(ClientSocketInterfaceCalibrationTest, RefusesNormalVectorsForAnUnknownToolBeforeItCounts)
{
    EXPECT_EQ(ask(bytes("22 000000") + nameField("Nobody") + number(99)), NO_TOOL);
}

TEST_P(ClientSocketInterfaceCalibrationTest, RefusesAnotherNumberOfNormalVectorsThanOfMarkers)
{
    for (const std::uint32_t count :
         {0U, 1U, 3U, 32U, 33U, 43U, 44U, 45U, 0x0AAAAAABU, 0x15555556U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
        EXPECT_EQ(ask(bytes("22 000000") + nameField("Drill") + number(count)).substr(0, 71), NO_MATCH.substr(0, 71))
            << count;
    EXPECT_EQ(drill->getNumberOfNormalVectors(), 0U);
    EXPECT_EQ(drill->getMarkerAngleLimit(), 60);
    EXPECT_TRUE(tools.requests().empty());
}

TEST_P(ClientSocketInterfaceCalibrationTest, TakesFortyThreeNormalVectorsButNotOneMore)
{
    tools.insertTool(1, "", makeTool("Full", std::vector<Vector3d>(43)));
    tools.insertTool(2, "", makeTool("TooMany", std::vector<Vector3d>(44)));
    EXPECT_EQ(ask(bytes("22 000000") + nameField("Full") + number(43) + points(43)), acknowledgement());
    Tool* full = tools.getTool("Full");
    EXPECT_EQ(full->getNormalVector(42), Vector3d(1, 2, 3));
    EXPECT_EQ(full->getMax3D(), 0.0f) << "the vectors run on into the limits: 3.0 is too much";
    EXPECT_EQ(ask(bytes("22 000000") + nameField("TooMany") + number(44) + points(43)).substr(0, 71),
              NO_MATCH.substr(0, 71));
}

TEST_P(ClientSocketInterfaceCalibrationTest, AnswersNormalVectorsWithTheirLimits)
{
    const double invalid = static_cast<double>(-3.0e28f);
    drill->setNormalVector(0, {0, -1, 2});
    drill->setMarkerAngleLimit(45);
    drill->setMinMarkers(4);
    drill->setMax3D(0.5f);
    drill->setMaxRMS(1.275f);
    const std::string filler(32 * 12 + 16, '\xCC');
    EXPECT_EQ(ask(bytes("26 010203") + nameField("Drill") + filler),
              bytes("14 010203") + nameField("Drill") + number(2) + answered({0, -1, 2, invalid, invalid, invalid}) +
                  filler.substr(0, 30 * 12) + number(45) + number(4) + answered({0.5, 1.275}));
}

TEST_P(ClientSocketInterfaceCalibrationTest, AnnouncesAllNormalVectorsAndSendsThirtyTwo)
{
    Tool* many = makeTool("Many", std::vector<Vector3d>(40));
    tools.insertTool(1, "", many);
    std::string normals;
    for (unsigned int i = 0; i < 40; ++i)
    {
        many->setNormalVector(i, {0, 0, 1});
        if (i < 32)
            normals += answered({0, 0, 1});
    }
    EXPECT_EQ(ask(bytes("26 000000") + nameField("Many")), bytes("14 000000") + nameField("Many") + number(40) +
                                                               normals + number(60) + number(3) + answered({0, 0}));
}

TEST_P(ClientSocketInterfaceCalibrationTest, HasNoNormalVectorsForAnUnknownToolOrOneWithoutMarkers)
{
    tools.insertTool(1, "", makeTool("Bare"));
    EXPECT_EQ(ask(bytes("26 000000") + nameField("Nobody")), failure(9, "There is no tool with this name"));
    EXPECT_EQ(ask(bytes("26 000000") + nameField("Bare")),
              failure(16, "There are no normal vectors defined for this tool"));
}

// New tools (36)

TEST_P(ClientSocketInterfaceCalibrationTest, LetsTheModuleMakeAToolFromEveryFieldOfTheRequest)
{
    Tool* made = nullptr;
    tools.onCreateTool = [&](const TestToollist::Creation& wanted)
    {
        made = makeTool(wanted.name, wanted.realMarkers, wanted.imaginaryMarkers);
        tools.insertTool(2, wanted.name, made);
        return made;
    };
    EXPECT_EQ(ask(toolRequest(2, floats({1, 2, 3, 4, 5, 6}), 1, floats({7, 8, 10}))), acknowledgement());

    ASSERT_EQ(tools.creations().size(), 1U);
    const TestToollist::Creation wanted = tools.creations().front();
    EXPECT_EQ(wanted.ID, 0x01020304);
    EXPECT_EQ(wanted.GID, 0);
    EXPECT_EQ(wanted.name, "Probe");
    EXPECT_EQ(wanted.secondName, "Owner");
    EXPECT_EQ(wanted.type, 14);
    EXPECT_EQ(wanted.startCalibrationPoint, 3);
    EXPECT_EQ(wanted.reserved, 20240131);
    EXPECT_EQ(wanted.realMarkers, (std::vector<Vector3d>{{1, 2, 3}, {4, 5, 6}}));
    EXPECT_EQ(wanted.imaginaryMarkers, (std::vector<Vector3d>{{7, 8, 10}}));
    EXPECT_EQ(wanted.numberOfJacks, 6U);
    EXPECT_TRUE(wanted.flag);
    EXPECT_EQ(tools.requests(), (std::vector<TestToollist::Request>{{"_initTool", 2, made}}));
}

TEST_P(ClientSocketInterfaceCalibrationTest, ReportsAToolThatTheModuleDoesNotMakeOrInitialise)
{
    const std::string request = toolRequest(0, "", 0, "").substr(0, 4);
    EXPECT_EQ(ask(request), NOT_INITIALISED);
    EXPECT_TRUE(tools.requests().empty()) << "there is no tool to initialise";

    tools.onCreateTool = [&](const TestToollist::Creation&) { return drill; };
    tools.onInitTool = [](unsigned int, Tool*) { return false; };
    EXPECT_EQ(ask(request), NOT_INITIALISED);
    EXPECT_EQ(tools.requests(), (std::vector<TestToollist::Request>{{"_initTool", 0, drill}}));
}

TEST_P(ClientSocketInterfaceCalibrationTest, TakesAsManyPointsAsThePacketHolds)
{
    tools.onCreateTool = [&](const TestToollist::Creation&) { return drill; };
    std::string request = toolRequest(42, "", 0, "");
    request.replace(48, 42 * 12, points(42)); // over all that follows: nothing else counts
    ask(request.replace(432, 4, number(0)));
    ASSERT_EQ(tools.creations().size(), 1U);
    EXPECT_EQ(tools.creations().back().realMarkers.size(), 42U);
    EXPECT_EQ(tools.creations().back().realMarkers.back(), Vector3d(1, 2, 3));

    request = toolRequest(0, "", 10, "");
    ask(request.replace(436, 10 * 12, points(10)));
    ASSERT_EQ(tools.creations().size(), 2U);
    EXPECT_EQ(tools.creations().back().imaginaryMarkers, std::vector<Vector3d>(10, Vector3d(1, 2, 3)));
}

TEST_P(ClientSocketInterfaceCalibrationTest, RefusesCountsThatThePacketCannotHoldWithoutAskingTheModule)
{
    for (const std::uint32_t count : {43U, 44U, 0x15555556U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
        EXPECT_EQ(ask(toolRequest(count, "", 0, "")).substr(0, 45), NOT_INITIALISED.substr(0, 45)) << count;
    for (const std::uint32_t count : {11U, 12U, 0x15555556U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
        EXPECT_EQ(ask(toolRequest(0, "", count, "")).substr(0, 45), NOT_INITIALISED.substr(0, 45)) << count;
    EXPECT_TRUE(tools.creations().empty());
    EXPECT_TRUE(tools.requests().empty());
}

TEST_P(ClientSocketInterfaceCalibrationTest, EndsNamesAtTheirFieldsEnd)
{
    std::string request = toolRequest(0, "", 0, "");
    request.replace(8, 32, std::string(32, 'n')).replace(536, 12, std::string(12, 'o'));
    ask(request);
    ASSERT_EQ(tools.creations().size(), 1U);
    EXPECT_EQ(tools.creations().back().name, std::string(32, 'n'));
    EXPECT_EQ(tools.creations().back().secondName, std::string(12, 'o'));
}

TEST_P(ClientSocketInterfaceCalibrationTest, ReadsACutToolRequestAsZerosBehindItsEnd)
{
    const std::string request = toolRequest(2, floats({1, 2, 3, 4, 5, 6}), 1, floats({7, 8, 10}));
    for (std::size_t length = 1; length < request.size(); ++length)
        ASSERT_EQ(ask(request.substr(0, length)).size(), 264U) << length;
    const std::vector<TestToollist::Creation> creations = tools.creations();
    ASSERT_EQ(creations.size(), 559U);
    EXPECT_EQ(creations[7 + 3].name, "Pro");
    EXPECT_EQ(creations[0].type, 0);
    EXPECT_EQ(creations[59].realMarkers, (std::vector<Vector3d>{{1, 2, 3}, {0, 0, 0}}));
    EXPECT_EQ(creations[71].imaginaryMarkers.size(), 0U);
    EXPECT_EQ(creations[535 + 2].secondName, "Ow");
    EXPECT_EQ(creations[555].reserved, 20240131);
    EXPECT_EQ(creations[555].numberOfJacks, 0U);
}

TEST_P(ClientSocketInterfaceCalibrationTest, KeepsAToolAliveWhileTheModuleHandlesIt)
{
    std::atomic<bool> isDeleted{false};
    tools.insertTool(1, "", new MortalTool("Mortal", isDeleted));
    bool wasDeletedInside = true;
    tools.onUpdateCalibration = [&](Tool*)
    {
        tools.removeTool("Mortal");
        wasDeletedInside = isDeleted;
        return true;
    };
    EXPECT_EQ(ask(bytes("23 000000") + "Mortal"), acknowledgement());
    EXPECT_FALSE(wasDeletedInside);
    EXPECT_EQ(ask(bytes("16")), acknowledgement()); // the request before is over
    EXPECT_TRUE(isDeleted);
}
