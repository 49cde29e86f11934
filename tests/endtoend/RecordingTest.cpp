#include <support/Eventually.h>
#include <support/LogFileBytes.h>
#include <support/TestFolder.h>
#include <support/TestServer.h>

#include <gmock/gmock.h>

#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

using namespace wire;

namespace
{

constexpr std::size_t HEADER_SIZE = 46;
constexpr std::size_t TOOL_LIST_SIZE = 1 + 4 + 8 * 4 + 3 * 972; // eight slots, three of them with a tool
constexpr std::size_t POSITIONS_SIZE = 1 + 8 + (2 + 4) * 12 + (0 + 4) * 12 + (1 + 4) * 12;

const std::vector<std::string> SCENE = {"plug 1 Drill type=12 id=7 second=Bosch jacks=1 real=1,2,3;4,5,6 imag=7,8,9",
                                        "plug 2 Base type=15 id=8",
                                        "plug 6 Probe type=13 id=9 real=0.1,0.2,0.3 imag=1,0,0;0,1,0",
                                        "markers Drill 0.1,0.2,0.3;-1,1e-20,3.5",
                                        "move Drill 0.6 -0.8 0 0.8 0.6 0 0 0 1 123.456 -0.001 2000.7 0",
                                        "hide Base",
                                        "move Probe 1 0 0 0 1 0 0 0 1 0.1 0.2 0.3 0"};

std::unique_ptr<ServerProcess> replayOf(const std::string& file, bool isRepeating = false)
{
    std::vector<std::string> arguments = ServerProcess::loopback();
    arguments.insert(arguments.end(), {"--replay", file});
    if (isRepeating)
        arguments.push_back("--repeat");
    return std::make_unique<ServerProcess>(arguments);
}

/// Whether a file has that many whole position blocks, at least.
bool hasPositions(const TestFolder& folder, std::size_t count)
{
    return folder.read("run.tslog").size() >= HEADER_SIZE + TOOL_LIST_SIZE + count * POSITIONS_SIZE;
}

/// Everything that a recording keeps and that clients get as it is.
std::vector<std::string> askForRecorded(ProtocolClient& client)
{
    std::vector<std::string> answers;
    for (std::string answer : client.askAll(packet(TOOL_CHECK)))
        answers.push_back(answer.size() == 560 ? answer.replace(536, 12, zeros(12)) : answer); // without its owner
    for (const std::string& answer : client.askAll(packet(ALL_MARKER)))
        answers.push_back(answer);
    for (const unsigned char kind : {MARKER, POSE, GET_NORMALS})
        for (const char* name : {"Drill", "Base", "Probe"})
            answers.push_back(client.ask(packet(kind, name)));
    return answers;
}

/// The numbers in answers about poses and imaginary points, which the server computes.
std::vector<float> askForComputed(ProtocolClient& client)
{
    std::vector<float> numbers;
    EXPECT_EQ(client.ask(packet(FRAME, "Drill")), acknowledgement());
    for (const unsigned char kind : {POSE, IMAGINARY})
        for (const char* name : {"Drill", "Probe"})
        {
            const std::string answer = client.ask(packet(kind, name));
            EXPECT_GE(answer.size(), 88u);
            for (std::size_t at = kind == POSE ? 36 : 40; at + 4 <= answer.size(); at += 4)
                std::memcpy(&numbers.emplace_back(), answer.data() + at, 4);
        }
    return numbers;
}

TEST(ToolserverRecording, ReplaysTheSameToolsAndPosesToSinglePrecision)
{
    const TestFolder folder;
    TestServer server({"--log", folder.path("run.tslog")}, SCENE);
    ProtocolClient live(server.port(), Order::HOST);
    EXPECT_TRUE(eventually([&] { return hasPositions(folder, 3); }));
    const auto replay = replayOf(folder.path("run.tslog"));
    ProtocolClient replayed(replay->port(), Order::HOST);

    const std::vector<std::string> expected = askForRecorded(live);
    const std::vector<std::string> actual = askForRecorded(replayed);
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(actual[i] == expected[i]) << "answer " << i;
    EXPECT_THAT(askForComputed(replayed), testing::Pointwise(testing::FloatNear(0.001f), askForComputed(live)));

    EXPECT_EQ(replay->stop(), 0);
    EXPECT_EQ(server.stop(), 0);
}

TEST(ToolserverRecording, EndsWithACompleteBlockWhenTheServerIsTold)
{
    const TestFolder folder;
    TestServer server({"--log", folder.path("run.tslog")}, SCENE);
    ProtocolClient client(server.port(), Order::HOST);
    EXPECT_TRUE(eventually([&] { return hasPositions(folder, 4); }));
    EXPECT_EQ(server.stop(), 0);

    const std::string file = folder.read("run.tslog");
    EXPECT_EQ(file.substr(0, HEADER_SIZE), logbytes::header());
    EXPECT_EQ(file.substr(HEADER_SIZE, 5), "T" + bytes("00000008"));
    const std::size_t positions = file.size() - HEADER_SIZE - TOOL_LIST_SIZE;
    EXPECT_EQ(positions % POSITIONS_SIZE, 0u);
    for (std::size_t at = HEADER_SIZE + TOOL_LIST_SIZE; at < file.size(); at += POSITIONS_SIZE)
        EXPECT_EQ(file[at], 'P');
}

TEST(ToolserverRecording, EndsWithACompleteBlockWhenTheCameraHoldsTheEndUp)
{
    const TestFolder folder;
    TestServer server({"--log", folder.path("run.tslog")}, SCENE);
    server.camera.tell("block createTool");
    ProtocolClient client(server.port(), Order::HOST);
    client.send(packet(TOOL_INIT) + zeros(556));
    server.camera.tell("await createTool");
    EXPECT_EQ(server.stop(), 0);
    EXPECT_EQ((folder.read("run.tslog").size() - HEADER_SIZE - TOOL_LIST_SIZE) % POSITIONS_SIZE, 0u);
}

TEST(ToolserverRecording, HoldsTheToolListAgainAfterEachChange)
{
    const TestFolder folder;
    TestServer server({"--log", folder.path("run.tslog")}, SCENE);
    const auto record = [&] { return folder.read("run.tslog"); };
    EXPECT_TRUE(eventually([&] { return hasPositions(folder, 1); }));
    EXPECT_EQ(record().find("Later"), std::string::npos);
    server.camera.tell("rename Probe Later");
    EXPECT_TRUE(eventually([&] { return record().find("Later") != std::string::npos; }));
    EXPECT_EQ(server.stop(), 0);
    EXPECT_NE(record().find("T" + bytes("00000008"), HEADER_SIZE + TOOL_LIST_SIZE), std::string::npos);
}

TEST(ToolserverRecording, ReplacesAnEarlierFile)
{
    const TestFolder folder;
    const std::string file = folder.write("run.tslog", std::string(100000, 'x'));
    TestServer server({"--log", file});
    EXPECT_EQ(folder.read("run.tslog").substr(0, HEADER_SIZE), logbytes::header());
    EXPECT_EQ(server.stop(), 0);
    EXPECT_EQ(folder.read("run.tslog").find("xxx"), std::string::npos);
}

/// A recording of one tool, Probe, that has moved along the x axis: to 1, 2 and 3.
std::string threePoses()
{
    std::string file = logbytes::header() + logbytes::toolList({logbytes::filledSlot(logbytes::content({}))});
    for (const float x : {1.0f, 2.0f, 3.0f})
        file += logbytes::positions(0, 0, {logbytes::realTime({}, {x, 0, 0})});
    return file;
}

/// The x coordinate of the tool that moves.
float positionOf(ProtocolClient& client)
{
    const std::string answer = client.ask(packet(POSE, "Probe"));
    float x = 0.0f;
    if (answer.size() == 88)
        std::memcpy(&x, answer.data() + 72, sizeof x);
    return x;
}

TEST(ToolserverReplay, PlaysOncePoseByPoseAndKeepsTheLastOne)
{
    const TestFolder folder;
    const auto server = replayOf(folder.write("three.tslog", threePoses()));
    ProtocolClient client(server->port(), Order::HOST);
    EXPECT_TRUE(eventually(
        [&]
        {
            EXPECT_EQ(std::set<float>({1, 2, 3}).count(positionOf(client)), 1u);
            return server->standardError().find("Replay log stream - done.") != std::string::npos;
        }));
    EXPECT_EQ(positionOf(client), 3.0f);
    EXPECT_EQ(server->stop(), 0);
}

TEST(ToolserverReplay, BeginsAnewAtTheEndWhenToldToRepeat)
{
    const TestFolder folder;
    const auto server = replayOf(folder.write("three.tslog", threePoses()), true);
    ProtocolClient client(server->port(), Order::HOST);
    for (int round = 0; round < 2; ++round)
        for (const float x : {3.0f, 1.0f})
            EXPECT_TRUE(eventually([&] { return positionOf(client) == x; })) << x;
    EXPECT_EQ(server->stop(), 0);
}

TEST(ToolserverReplay, ServesEveryRequestOfASession)
{
    const TestFolder folder;
    const auto server = replayOf(folder.write("three.tslog", threePoses()), true);
    ProtocolClient client(server->port(), Order::HOST);
    EXPECT_EQ(client.ask(packet(STATUS)), acknowledgement());
    EXPECT_EQ(client.ask(packet(SWITCH)), packet(SWITCH) + zeros(8)) << "a recording has no footswitch";
    EXPECT_EQ(client.ask(packet(TOOL_INIT) + zeros(556)), failure(15, "Error while initializing a new tool."))
        << "nor can it take a tool";
    EXPECT_EQ(client.ask(packet(CALIBRATE, "Probe")), acknowledgement());
    EXPECT_EQ(server->stop(), 0);
}

} // namespace
