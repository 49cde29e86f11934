#include <TSClient/TSClient.h>

#include <support/LogCapture.h>
#include <support/PlayedServer.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using namespace wire;

namespace
{

constexpr long PATIENT_MS = 60000;
constexpr long IMPATIENT_MS = 1;

const std::string NOT_A_NUMBER = bytes("0000c07f");
const std::string INFINITE_FLOAT = bytes("0000807f");

std::string number(int value)
{
    return integer(Order::HOST, static_cast<std::uint32_t>(value));
}

std::string floats(std::initializer_list<double> values)
{
    return sent(Order::HOST, values);
}

/// A quarter turn about the z axis.
std::string turned()
{
    return floats({0, -1, 0, 1, 0, 0, 0, 0, 1});
}

std::string poseRecord(unsigned char kind, const std::string& name, const std::string& numbers)
{
    return packet(kind, name) + numbers;
}

/// A record of counted points with room for `room` of them, ended by the RMS error.
std::string pointRecord(unsigned char kind, const std::string& name, int count, const std::string& points,
                        std::size_t room, double rms = 0.25)
{
    return packet(kind, name) + number(count) + padded(points, 12 * room) + floats({rms});
}

struct Description
{
    int slot = 3;
    std::string name = "Drill";
    int type = 12;
    int numberOfReals = 1;
    std::string reals = floats({1, 2, 3});
    int numberOfImags = 2;
    std::string imags = floats({4, 5, 6, 7, 8, 9});
    std::string owner = "Miller";

    std::string bytes() const
    {
        return packet(TOOL_CHECK) + number(slot) + nameField(name) + number(type) + number(numberOfReals) +
               padded(reals, 384) + number(numberOfImags) + padded(imags, 96) + number(77) + padded(owner, 12) +
               number(5) + number(20240229) + number(2);
    }
};

/// A client that is connected to a server in the hands of the test.
class TSClientTest : public testing::Test
{
protected:
    TSClientTest()
    {
        client->setTimeout(PATIENT_MS);
        EXPECT_EQ(server.greet(*client), 0);
    }
    ~TSClientTest() override
    {
        if (client)
            client->setTimeout(IMPATIENT_MS); // for its farewell
    }

    void answer(const std::vector<std::string>& packets)
    {
        for (const std::string& each : packets)
            server.answer(each);
    }

    LogCapture log;
    PlayedServer server;
    std::unique_ptr<TSClient> client = std::make_unique<TSClient>();
    std::string name = "untouched";
    std::array<Vector3d, 32> points;
    int count = -1;
    float rms = -1.0F;
    Matrix3x3 rotation;
    Vector3d translation;
};

const Matrix3x3 QUARTER_TURN = []
{
    Matrix3x3 matrix;
    matrix[0][0] = matrix[1][1] = 0;
    matrix[0][1] = -1;
    matrix[1][0] = 1;
    return matrix;
}();

// --- the connection

TEST(UnconnectedTSClient, RefusesEveryOperation)
{
    TSClient client;
    std::array<Vector3d, 32> points;
    std::string name;
    Matrix3x3 rotation;
    Vector3d translation;
    CaToolInfo info;
    int number = 0;
    int other = 0;
    float rms = 0;
    double limit = 0;
    bool flag = false;
    const bool types[256] = {};
    const int statuses[] = {client.disconnect(),
                            client.connect(nullptr),
                            client.getNumberOfTools(),
                            client.getToolInfo(info),
                            client.startImags(),
                            client.nextImags(name, points.data(), &number),
                            client.startReals(),
                            client.nextReals(name, points.data(), &number),
                            client.getReals("A", points.data(), &number, &rms),
                            client.getImags("A", points.data(), &number, &rms),
                            client.setReference("A"),
                            client.setNearestTypes(types),
                            client.getNearestTool(name, points.data(), &number),
                            client.startTransforms(true),
                            client.startTransformsOnSwitch(1, true),
                            client.nextTransform(name, rotation, translation),
                            client.getTransform("A", rotation, translation, &rms),
                            client.calibrate("A", points.data(), 1),
                            client.getSwitch(&number, &flag),
                            client.getStatus(),
                            client.writeNormalInfo("A", points.data(), 1, 0, 0, 0, 0),
                            client.readNormalInfo("A", points.data(), &number, &number, &other, &limit, &limit),
                            client.initialize(0, "A", 0, points.data(), 1, points.data(), 1, 0, "", 0, 0, 0)};
    for (const int status : statuses)
        EXPECT_EQ(status, -1) << &status - statuses;

    EXPECT_FALSE(client.isConnected());
    EXPECT_STREQ(client.getHostName(), "");
    EXPECT_EQ(client.getPortNumber(), 0);
    EXPECT_EQ(client.getServerDescription(), "not connected");
    EXPECT_EQ(client.getTimeout(), 1000);
    EXPECT_EQ(client.getProtocolVersion(), 1);
    EXPECT_EQ(client.getLastRemoteError(name), 0);
    client.cancel();
}

TEST_F(TSClientTest, KnowsItsServer)
{
    EXPECT_TRUE(client->isConnected());
    EXPECT_STREQ(client->getHostName(), "127.0.0.1");
    EXPECT_EQ(client->getPortNumber(), server.port());
    EXPECT_EQ(client->getServerDescription(),
              "tool server at 127.0.0.1:" + std::to_string(server.port()) + ", protocol version 1");
}

TEST_F(TSClientTest, SaysGoodbyeWhenItDisconnects)
{
    server.answer(acknowledgement());
    EXPECT_EQ(client->disconnect(), 0);
    EXPECT_EQ(server.request(), bytes("32000000"));
    EXPECT_TRUE(server.connection.seesPeerClose());
    EXPECT_FALSE(client->isConnected());
    EXPECT_EQ(client->disconnect(), -1);
}

TEST_F(TSClientTest, SaysGoodbyeWhenItDies)
{
    server.answer(acknowledgement());
    client.reset();
    EXPECT_EQ(server.request(), bytes("32000000"));
    EXPECT_TRUE(server.connection.seesPeerClose());
}

TEST_F(TSClientTest, ConnectsToWhereAnotherClientIsConnected)
{
    TSClient second;
    EXPECT_EQ(client->connect(&second), -1); // it has never been anywhere
    EXPECT_TRUE(client->isConnected());

    second.setTimeout(PATIENT_MS);
    std::future<int> status = std::async(std::launch::async, [&] { return second.connect(client.get()); });
    const PlainSocket first = std::move(server.connection);
    server.accept();
    EXPECT_EQ(server.request(), bytes("15000000 00000001 00000001"));
    server.answer(PlayedServer::greeting());
    EXPECT_EQ(status.get(), 0);
    EXPECT_STREQ(second.getHostName(), "127.0.0.1");
    EXPECT_EQ(second.getPortNumber(), server.port());
    second.setTimeout(IMPATIENT_MS);
}

TEST_F(TSClientTest, ConnectsAgainByWayOfItself)
{
    server.answer(acknowledgement());
    std::future<int> status = std::async(std::launch::async, [&] { return client->connect(client.get()); });
    EXPECT_EQ(server.request(), bytes("32000000"));
    server.accept();
    server.answer(PlayedServer::greeting());
    EXPECT_EQ(status.get(), 0);
    EXPECT_STREQ(client->getHostName(), "127.0.0.1");
}

TEST_F(TSClientTest, TakesANegativeTimeOutForNone)
{
    client->setTimeout(-5);
    EXPECT_EQ(client->getTimeout(), 0);
    EXPECT_EQ(client->getStatus(), -2);
}

// --- one operation after the other: the bytes out, and what becomes of the bytes in

TEST_F(TSClientTest, AsksForTheStatus)
{
    server.answer(acknowledgement());
    EXPECT_EQ(client->getStatus(), 0);
    EXPECT_EQ(server.request(), bytes("16000000"));
}

TEST_F(TSClientTest, ReadsTheToolSet)
{
    Description bare;
    bare.slot = 31;
    bare.name = std::string(32, 'n'); // no terminator
    bare.type = 255;
    bare.numberOfReals = bare.numberOfImags = 0;
    bare.reals = bare.imags = bare.owner = "";
    answer({Description().bytes(), bare.bytes(), acknowledgement()});
    EXPECT_EQ(client->getNumberOfTools(), 2);
    EXPECT_EQ(server.request(), bytes("17000000"));

    CaToolInfo info;
    EXPECT_EQ(client->getToolInfo(info), 1);
    EXPECT_EQ(info.name, "Drill");
    EXPECT_EQ(info.type, 12);
    EXPECT_EQ(info.port, 3);
    EXPECT_EQ(info.numberOfReals, 1);
    EXPECT_EQ(info.reals[0], Vector3d(1, 2, 3));
    EXPECT_EQ(info.numberOfImags, 2);
    EXPECT_EQ(info.imags[0], Vector3d(4, 5, 6));
    EXPECT_EQ(info.imags[1], Vector3d(7, 8, 9));
    EXPECT_EQ(info.identifier, 77);
    EXPECT_EQ(info.ownerName, "Miller");
    EXPECT_EQ(info.calibrationStartIndex, 5);
    EXPECT_EQ(info.calibrationDate, 20240229);
    EXPECT_EQ(info.numberOfPlugs, 2);

    EXPECT_EQ(client->getToolInfo(info), 1);
    EXPECT_EQ(info.name, std::string(32, 'n'));
    EXPECT_EQ(info.type, 255);
    EXPECT_EQ(info.port, 31);
    EXPECT_EQ(info.numberOfReals, 0);
    EXPECT_EQ(info.numberOfImags, 0);
    EXPECT_EQ(info.ownerName, "");
    EXPECT_EQ(client->getToolInfo(info), 0);
}

TEST_F(TSClientTest, ReadsFullToolsAndTellsUnreadableOnes)
{
    std::vector<Description> tools(9);
    for (std::size_t i = 0; i < tools.size(); ++i)
        tools[i].slot = static_cast<int>(i);
    tools[0].numberOfReals = 32;
    tools[0].numberOfImags = 8;
    tools[1].numberOfReals = 33;
    tools[2].numberOfReals = -1;
    tools[3].numberOfImags = 9;
    tools[4].numberOfImags = -2147483647 - 1;
    tools[5].numberOfReals = 2147483647;
    tools[6].reals = NOT_A_NUMBER;
    tools[7].imags = floats({1, 2}) + INFINITE_FLOAT;
    for (const Description& tool : tools)
        server.answer(tool.bytes());
    server.answer(acknowledgement());
    EXPECT_EQ(client->getNumberOfTools(), 9);

    CaToolInfo info;
    EXPECT_EQ(client->getToolInfo(info), 1);
    EXPECT_EQ(info.numberOfReals, 32);
    EXPECT_EQ(info.numberOfImags, 8);
    for (int i = 1; i <= 7; ++i)
        EXPECT_EQ(client->getToolInfo(info), -15) << i;
    EXPECT_EQ(client->getToolInfo(info), 1);
    EXPECT_EQ(info.port, 8);
    EXPECT_EQ(client->getToolInfo(info), 0);
}

TEST_F(TSClientTest, FindsNoToolInAnEmptyToolSetOrAfterAnError)
{
    CaToolInfo info;
    server.answer(acknowledgement());
    EXPECT_EQ(client->getNumberOfTools(), 0);
    EXPECT_EQ(client->getToolInfo(info), 0);

    answer({Description().bytes(), failure(17, "Toolsserver error state: -53")});
    EXPECT_EQ(client->getNumberOfTools(), -7);
    EXPECT_EQ(client->getToolInfo(info), 0);
}

TEST_F(TSClientTest, ReadsTheToolSetAnewAfterATimeOutInTheMiddle)
{
    CaToolInfo info;
    client->setTimeout(200);
    server.answer(Description().bytes());
    EXPECT_EQ(client->getNumberOfTools(), -2);
    EXPECT_EQ(client->getToolInfo(info), 0);
    EXPECT_EQ(client->nextTransform(name, rotation, translation), -8);

    client->setTimeout(PATIENT_MS);
    Description other;
    other.name = "Pointer";
    answer({Description().bytes(), acknowledgement(), other.bytes(), acknowledgement()});
    EXPECT_EQ(client->getNumberOfTools(), 1);
    EXPECT_EQ(client->getToolInfo(info), 1);
    EXPECT_EQ(info.name, "Pointer");
}

TEST_F(TSClientTest, FetchesAllImaginaryPoints)
{
    answer({pointRecord(ALL_IMAGINARY, "Drill", 2, floats({1, 2, 3, 4, 5, 6}), 8),
            pointRecord(ALL_IMAGINARY, "Burr", 0, "", 8), acknowledgement()});
    EXPECT_EQ(client->startImags(), 0);
    EXPECT_EQ(server.request(), bytes("1c000000"));
    EXPECT_EQ(client->nextImags(name, points.data(), &count), 1);
    EXPECT_EQ(name, "Drill");
    EXPECT_EQ(count, 2);
    EXPECT_EQ(points[0], Vector3d(1, 2, 3));
    EXPECT_EQ(points[1], Vector3d(4, 5, 6));
    EXPECT_EQ(client->nextImags(name, points.data(), &count), 1);
    EXPECT_EQ(name, "Burr");
    EXPECT_EQ(count, 0);
    EXPECT_EQ(client->nextImags(name, points.data(), &count), 0);
}

TEST_F(TSClientTest, FetchesAllMarkers)
{
    answer({pointRecord(ALL_MARKER, "Drill", 32, floats({1, 2, 3}), 32), acknowledgement()});
    EXPECT_EQ(client->startReals(), 0);
    EXPECT_EQ(server.request(), bytes("1a000000"));
    EXPECT_EQ(client->nextReals(name, points.data(), &count), 1);
    EXPECT_EQ(name, "Drill");
    EXPECT_EQ(count, 32);
    EXPECT_EQ(points[0], Vector3d(1, 2, 3));
    EXPECT_EQ(client->nextReals(name, points.data(), &count), 0);
}

TEST_F(TSClientTest, FetchesAllPoses)
{
    for (const bool notify : {true, false})
    {
        answer({poseRecord(ALL_POSES, "Drill", turned() + floats({10, 20, 1000, 0.5})),
                failure(8, "Tools is not in view."), acknowledgement()});
        EXPECT_EQ(client->startTransforms(notify), 0);
        EXPECT_EQ(server.request(), bytes("1e000000"));
        EXPECT_EQ(client->nextTransform(name, rotation, translation), 1);
        EXPECT_EQ(name, "Drill");
        EXPECT_EQ(rotation, QUARTER_TURN);
        EXPECT_EQ(translation, Vector3d(10, 20, 1000));
        EXPECT_EQ(client->nextTransform(name, rotation, translation), -10);
        EXPECT_EQ(client->nextTransform(name, rotation, translation), 0);
    }
}

TEST_F(TSClientTest, FetchesAllPosesOnASwitch)
{
    for (const bool isPressed : {true, false})
    {
        answer({poseRecord(ALL_POSES, "Drill", turned() + floats({10, 20, 1000, 0.5})), acknowledgement()});
        EXPECT_EQ(client->startTransformsOnSwitch(258, isPressed), 0);
        EXPECT_EQ(server.request(), bytes(isPressed ? "21000000 02010000 01000000" : "21000000 02010000 00000000"));
        EXPECT_EQ(client->nextTransform(name, rotation, translation), 1);
        EXPECT_EQ(translation, Vector3d(10, 20, 1000));
        EXPECT_EQ(client->nextTransform(name, rotation, translation), 0);
    }
}

TEST_F(TSClientTest, AsksForOneToolsMarkers)
{
    server.answer(pointRecord(ACKNOWLEDGE, "Drill", 2, floats({1, 2, 3, 4, 5, 6}), 32));
    EXPECT_EQ(client->getReals("Drill", points.data(), &count, &rms), 0);
    EXPECT_EQ(server.request(), bytes("19000000") + nameField("Drill"));
    EXPECT_EQ(count, 2);
    EXPECT_EQ(points[1], Vector3d(4, 5, 6));
    EXPECT_EQ(rms, 0.25F);
}

TEST_F(TSClientTest, AsksForOneToolsImaginaryPoints)
{
    server.answer(pointRecord(ACKNOWLEDGE, "Drill", 8, floats({1, 2, 3, 4, 5, 6}), 8));
    EXPECT_EQ(client->getImags("Drill", points.data(), &count, &rms), 0);
    EXPECT_EQ(server.request(), bytes("1b000000") + nameField("Drill"));
    EXPECT_EQ(count, 8);
    EXPECT_EQ(points[1], Vector3d(4, 5, 6));
    EXPECT_EQ(points[7], Vector3d(0, 0, 0));
    EXPECT_EQ(rms, 0.25F);
}

TEST_F(TSClientTest, AsksForOneToolsPose)
{
    server.answer(poseRecord(POSE, "Drill", turned() + floats({10, 20, 1000, 0.5})));
    EXPECT_EQ(client->getTransform("Drill", rotation, translation, &rms), 0);
    EXPECT_EQ(server.request(), bytes("1d000000") + nameField("Drill"));
    EXPECT_EQ(rotation, QUARTER_TURN);
    EXPECT_EQ(translation, Vector3d(10, 20, 1000));
    EXPECT_EQ(rms, 0.5F);
}

TEST_F(TSClientTest, SetsTheReference)
{
    answer({acknowledgement(), acknowledgement(), acknowledgement()});
    EXPECT_EQ(client->setReference("CAM"), 0);
    EXPECT_EQ(client->setReference("Dynamic Reference"), 0);
    EXPECT_EQ(client->setReference(nullptr), 0);
    EXPECT_EQ(server.request(), bytes("18000000 43414d00") + zeros(28));
    EXPECT_EQ(server.request(), bytes("18000000") + nameField("Dynamic Reference"));
    EXPECT_EQ(server.request(), bytes("18000000") + zeros(32));
}

TEST_F(TSClientTest, SendsNamesThatFillTheirFieldAndKnowsThatLongerOnesBelongToNoTool)
{
    const std::string full(32, 'n');
    server.answer(acknowledgement());
    EXPECT_EQ(client->setReference(full.c_str()), 0);
    EXPECT_EQ(server.request(), bytes("18000000") + full);

    const std::string longer(33, 'n');
    EXPECT_EQ(client->setReference(longer.c_str()), -11);
    EXPECT_EQ(client->getReals(longer.c_str(), points.data(), &count, &rms), -11);
    EXPECT_EQ(client->calibrate(longer.c_str(), points.data(), 1), -11);
}

TEST_F(TSClientTest, SetsTheNearestTypes)
{
    server.answer(acknowledgement());
    bool types[256] = {};
    types[0] = types[13] = types[255] = true;
    EXPECT_EQ(client->setNearestTypes(types), 0);
    std::string mask = zeros(256);
    mask[0] = mask[13] = mask[255] = 1;
    EXPECT_EQ(server.request(), bytes("25000000") + mask);
    EXPECT_EQ(client->setNearestTypes(nullptr), -18);
}

TEST_F(TSClientTest, AsksForTheNearestTool)
{
    server.answer(pointRecord(ACKNOWLEDGE, "Burr", 1, floats({7, 8, 9}), 8));
    EXPECT_EQ(client->getNearestTool(name, points.data(), &count), 0);
    EXPECT_EQ(server.request(), bytes("1f000000"));
    EXPECT_EQ(name, "Burr");
    EXPECT_EQ(count, 1);
    EXPECT_EQ(points[0], Vector3d(7, 8, 9));
}

TEST_F(TSClientTest, AsksForTheSwitch)
{
    answer({bytes("20000000 02010000 01000000"), bytes("20000000 ffffffff 00000000")});
    int id = 0;
    bool isPressed = false;
    EXPECT_EQ(client->getSwitch(&id, &isPressed), 0);
    EXPECT_EQ(server.request(), bytes("20000000"));
    EXPECT_EQ(id, 258);
    EXPECT_TRUE(isPressed);
    EXPECT_EQ(client->getSwitch(&id, &isPressed), 0);
    EXPECT_EQ(id, -1);
    EXPECT_FALSE(isPressed);
}

TEST_F(TSClientTest, Calibrates)
{
    const Vector3d imags[] = {{1, 2, 3}, {4, 5, 6}};
    server.answer(acknowledgement());
    EXPECT_EQ(client->calibrate("Drill", imags, 2), 0);
    const std::string request = server.request();
    EXPECT_EQ(request.substr(0, 36), bytes("23000000") + nameField("Drill"));
    EXPECT_EQ(request.substr(40), padded(floats({1, 2, 3, 4, 5, 6}), 96));

    EXPECT_EQ(client->calibrate("Drill", points.data(), 9), -20);
    EXPECT_EQ(client->calibrate("Drill", points.data(), -1), -20);
    EXPECT_EQ(client->calibrate("Drill", nullptr, 1), -20);
}

TEST_F(TSClientTest, WritesNormalInfo)
{
    const Vector3d normals[] = {{0, 0, 1}, {0, 1, 0}};
    server.answer(acknowledgement());
    EXPECT_EQ(client->writeNormalInfo("Drill", normals, 2, 60, 3, 0.5, 1.275), 0);
    EXPECT_EQ(server.request(), bytes("22000000") + nameField("Drill") + number(2) +
                                    padded(floats({0, 0, 1, 0, 1, 0}), 384) + number(60) + number(3) +
                                    floats({0.5, 1.275}));
    EXPECT_EQ(client->writeNormalInfo("Drill", points.data(), 33, 60, 3, 0.5, 1.0), -11);
}

TEST_F(TSClientTest, ReadsNormalInfo)
{
    server.answer(packet(ACKNOWLEDGE, "Drill") + number(2) + padded(floats({0, 0, 1, 0, 1, 0}), 384) + number(60) +
                  number(3) + floats({0.5, 1.275}));
    int angleLimit = 0;
    int minMarkers = 0;
    double max3d = 0;
    double maxRms = 0;
    EXPECT_EQ(client->readNormalInfo("Drill", points.data(), &count, &angleLimit, &minMarkers, &max3d, &maxRms), 0);
    EXPECT_EQ(server.request(), bytes("26000000") + nameField("Drill"));
    EXPECT_EQ(count, 2);
    EXPECT_EQ(points[0], Vector3d(0, 0, 1));
    EXPECT_EQ(points[1], Vector3d(0, 1, 0));
    EXPECT_EQ(angleLimit, 60);
    EXPECT_EQ(minMarkers, 3);
    EXPECT_EQ(max3d, 0.5);
    EXPECT_EQ(maxRms, static_cast<double>(1.275F));
}

TEST_F(TSClientTest, InitializesATool)
{
    const Vector3d reals[] = {{1, 2, 3}};
    const Vector3d imags[] = {{4, 5, 6}, {7, 8, 9}};
    answer({acknowledgement(), acknowledgement(), acknowledgement()});
    const auto initialize = [&](const char* owner)
    { return client->initialize(3, "Drill", 12, reals, 1, imags, 2, 77, owner, 5, 20240229, 2); };
    EXPECT_EQ(initialize("Miller"), 0);
    EXPECT_EQ(initialize("Miller-Meyer"), 0); // fills its field
    EXPECT_EQ(initialize("Miller-Meyers"), 0);

    Description tool;
    tool.owner = "Miller";
    EXPECT_EQ(server.request(), "\x24" + tool.bytes().substr(1));
    tool.owner = "Miller-Meyer";
    EXPECT_EQ(server.request(), "\x24" + tool.bytes().substr(1));
    EXPECT_EQ(server.request(), "\x24" + tool.bytes().substr(1));
}

TEST_F(TSClientTest, InitializesAToolWithoutPointsAndRefusesOneThatNoRecordHolds)
{
    Description tool;
    tool.name = tool.owner = tool.reals = tool.imags = "";
    tool.numberOfReals = tool.numberOfImags = 0;
    server.answer(acknowledgement());
    EXPECT_EQ(client->initialize(3, nullptr, 12, nullptr, 0, nullptr, 0, 77, nullptr, 5, 20240229, 2), 0);
    EXPECT_EQ(server.request(), "\x24" + tool.bytes().substr(1));

    const auto initialize = [&](const char* name_, int reals, int imags)
    { return client->initialize(0, name_, 0, points.data(), reals, points.data(), imags, 0, "", 0, 0, 0); };
    EXPECT_EQ(initialize("A", 33, 0), -22);
    EXPECT_EQ(initialize("A", -1, 0), -22);
    EXPECT_EQ(initialize("A", 0, 9), -22);
    EXPECT_EQ(initialize(std::string(33, 'n').c_str(), 0, 0), -22);
}

// --- what is no measurement

TEST_F(TSClientTest, TakesAPoseThatIsNotFiniteForAToolOutOfView)
{
    const std::string good = floats({0.5});
    answer({poseRecord(ALL_POSES, "A", turned().substr(4) + floats({0, 0, 0}) + NOT_A_NUMBER + good),
            poseRecord(ALL_POSES, "B", INFINITE_FLOAT + turned().substr(4) + floats({0, 0, 0}) + good),
            poseRecord(ALL_POSES, "C", turned() + floats({1, 2, 3}) + NOT_A_NUMBER), acknowledgement()});
    client->startTransforms(true);
    EXPECT_EQ(client->nextTransform(name, rotation, translation), -10);
    EXPECT_EQ(client->nextTransform(name, rotation, translation), -10);
    EXPECT_EQ(translation, Vector3d(0, 0, 0));
    EXPECT_EQ(client->nextTransform(name, rotation, translation), 1); // its RMS is not told
    EXPECT_EQ(name, "C");
    EXPECT_EQ(client->nextTransform(name, rotation, translation), 0);
    EXPECT_TRUE(log.contains("ERROR", "not finite for the tool \"A\""));

    server.answer(poseRecord(POSE, "A", turned() + floats({1, 2}) + INFINITE_FLOAT + good));
    EXPECT_EQ(client->getTransform("A", rotation, translation, &rms), -10);
}

TEST_F(TSClientTest, TakesImaginaryPointsThatAreNotFiniteForAToolOutOfView)
{
    const std::string bad = floats({1, 2}) + NOT_A_NUMBER;
    answer({pointRecord(ALL_IMAGINARY, "A", 1, bad, 8), pointRecord(ALL_IMAGINARY, "B", 0, bad, 8), acknowledgement()});
    client->startImags();
    EXPECT_EQ(client->nextImags(name, points.data(), &count), -10);
    EXPECT_EQ(client->nextImags(name, points.data(), &count), 1); // the bad one does not count
    EXPECT_EQ(name, "B");
    EXPECT_EQ(client->nextImags(name, points.data(), &count), 0);

    answer({pointRecord(ACKNOWLEDGE, "A", 1, bad, 8), pointRecord(ACKNOWLEDGE, "A", 1, bad, 8)});
    EXPECT_EQ(client->getImags("A", points.data(), &count, &rms), -10);
    EXPECT_EQ(client->getNearestTool(name, points.data(), &count), -10);
}

TEST_F(TSClientTest, PassesMarkersOnThatWereNotSeen)
{
    const double invalid = static_cast<double>(-3.0e28F);
    const std::string unseen = bytes("d6dec1ee d6dec1ee d6dec1ee");
    server.answer(pointRecord(ACKNOWLEDGE, "A", 2, unseen + NOT_A_NUMBER, 32));
    EXPECT_EQ(client->getReals("A", points.data(), &count, &rms), 0);
    EXPECT_EQ(points[0], Vector3d(invalid, invalid, invalid));
    EXPECT_TRUE(std::isnan(points[1].x));
}

TEST_F(TSClientTest, RefusesCountsThatNoRecordHolds)
{
    int number = 0;
    double limit = 0;
    for (const int bad : {-1, 44, 2147483647, -2147483647 - 1})
    {
        answer({pointRecord(ACKNOWLEDGE, "A", bad, "", 32), pointRecord(ACKNOWLEDGE, "A", bad, "", 8),
                pointRecord(ACKNOWLEDGE, "A", bad, "", 8), pointRecord(ALL_MARKER, "A", bad, "", 32), acknowledgement(),
                pointRecord(ALL_IMAGINARY, "A", bad, "", 8), acknowledgement(),
                packet(ACKNOWLEDGE, "A") + integer(Order::HOST, static_cast<std::uint32_t>(bad)) + zeros(400)});
        EXPECT_EQ(client->getReals("A", points.data(), &count, &rms), -8) << bad;
        EXPECT_EQ(client->getImags("A", points.data(), &count, &rms), -8) << bad;
        EXPECT_EQ(client->getNearestTool(name, points.data(), &count), -8) << bad;
        client->startReals();
        EXPECT_EQ(client->nextReals(name, points.data(), &count), -8) << bad;
        client->startImags();
        EXPECT_EQ(client->nextImags(name, points.data(), &count), -8) << bad;
        EXPECT_EQ(client->readNormalInfo("A", points.data(), &count, &number, &number, &limit, &limit), -8) << bad;
        EXPECT_TRUE(client->isConnected());
    }
}

TEST_F(TSClientTest, NeverDeliversMorePointsThanTheCallerHasRoomFor)
{
    answer({pointRecord(ACKNOWLEDGE, "A", 33, "", 32), pointRecord(ACKNOWLEDGE, "A", 9, "", 8)});
    EXPECT_EQ(client->getReals("A", points.data(), &count, &rms), -8);
    EXPECT_EQ(client->getImags("A", points.data(), &count, &rms), -8);
    EXPECT_EQ(count, -1);
}

// --- errors

TEST_F(TSClientTest, TranslatesTheErrorsOfEveryOperation)
{
    const bool types[256] = {};
    int number = 0;
    double limit = 0;
    bool flag = false;
    const std::vector<std::function<int()>> operations = {
        [&] { return client->getStatus(); },
        [&] { return client->getNumberOfTools(); },
        [&] { return client->startImags(), client->nextImags(name, points.data(), &count); },
        [&] { return client->startReals(), client->nextReals(name, points.data(), &count); },
        [&] { return client->startTransforms(true), client->nextTransform(name, rotation, translation); },
        [&] { return client->startTransformsOnSwitch(1, true), client->nextTransform(name, rotation, translation); },
        [&] { return client->getReals("A", points.data(), &count, &rms); },
        [&] { return client->getImags("A", points.data(), &count, &rms); },
        [&] { return client->getTransform("A", rotation, translation, &rms); },
        [&] { return client->setReference("A"); },
        [&] { return client->setNearestTypes(types); },
        [&] { return client->getNearestTool(name, points.data(), &count); },
        [&] { return client->getSwitch(&number, &flag); },
        [&] { return client->calibrate("A", points.data(), 1); },
        [&] { return client->writeNormalInfo("A", points.data(), 1, 0, 0, 0, 0); },
        [&] { return client->readNormalInfo("A", points.data(), &count, &number, &number, &limit, &limit); },
        [&] { return client->initialize(0, "A", 0, points.data(), 1, points.data(), 1, 0, "", 0, 0, 0); }};
    const struct
    {
        const char* code;
        int status;
    } errors[] = {{"00000006", -6},  {"00000007", -9},  {"00000009", -11}, {"0000000b", -18}, {"0000000d", -20},
                  {"0000000e", -21}, {"0000000f", -22}, {"00000010", -23}, {"00000011", -7},  {"00000012", -4},
                  {"fffffff2", -14}, {"ffffffff", -1},  {"00000000", -7},  {"ffffffe8", -7},  {"7fffffff", -7}};
    for (std::size_t operation = 0; operation < operations.size(); ++operation)
        for (const auto& error : errors)
        {
            server.answer(bytes(std::string("63000000") + error.code) + padded("Reason", 256));
            EXPECT_EQ(operations[operation](), error.status) << operation << " " << error.code;
        }
    EXPECT_EQ(client->getLastRemoteError(name), 2147483647);
    EXPECT_EQ(name, "Reason");
    EXPECT_TRUE(client->isConnected());
}

TEST_F(TSClientTest, ReportsALossOnceAndNoConnectionThen)
{
    server.connection.close();
    EXPECT_EQ(client->getStatus(), -5);
    EXPECT_FALSE(client->isConnected());
    EXPECT_EQ(client->getStatus(), -1);
    EXPECT_EQ(server.greet(*client), 0);
    EXPECT_TRUE(client->isConnected());
}

TEST_F(TSClientTest, LetsABlockedOperationReturnWhenItIsCancelled)
{
    std::future<int> status = std::async(std::launch::async, [this] { return client->getStatus(); });
    EXPECT_EQ(server.request(), bytes("16000000"));
    client->cancel();
    EXPECT_EQ(status.get(), -5);
    EXPECT_FALSE(client->isConnected());
}

// --- threads

TEST_F(TSClientTest, AnswersSeveralThreadsEachWithItsOwnTool)
{
    constexpr int ROUNDS = 200;
    const std::vector<std::string> names = {"1", "2", "3", "4"};
    std::atomic<int> wrong{0};
    std::atomic<int> running{4};
    std::vector<std::thread> threads;
    for (const std::string& tool : names)
        threads.emplace_back(
            [this, tool, &wrong, &running]
            {
                for (int i = 0; i < ROUNDS; ++i)
                {
                    Matrix3x3 r;
                    Vector3d t;
                    float e = 0;
                    const int status = client->getTransform(tool.c_str(), r, t, &e);
                    wrong += status != 0 || t.x != std::stod(tool) ? 1 : 0;
                }
                --running;
            });
    threads.emplace_back(
        [&]
        {
            while (running > 0)
            {
                std::string text;
                client->setTimeout(PATIENT_MS);
                wrong += client->isConnected() ? 0 : 1;
                wrong += std::string(client->getHostName()) == "127.0.0.1" ? 0 : 1;
                client->getPortNumber();
                client->getTimeout();
                client->getLastRemoteError(text);
                client->getServerDescription();
            }
        });
    for (std::size_t i = 0; i < ROUNDS * names.size(); ++i)
    {
        const std::string request = server.request();
        const double x = request.size() == 36 ? std::atof(request.c_str() + 4) : 0;
        server.answer(poseRecord(POSE, request.substr(4, 1), turned() + floats({x, 0, 0, 0.5})));
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
