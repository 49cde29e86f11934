#include <support/Eventually.h>
#include <support/ProtocolClient.h>
#include <support/ServerProcess.h>
#include <support/TestFolder.h>

#include <set>
#include <string>
#include <vector>

using namespace wire;

namespace
{

/// The server as it comes, with the simulated camera that it finds by itself.
std::vector<std::string> loopbackAnd(const std::vector<std::string>& further = {})
{
    std::vector<std::string> arguments = ServerProcess::loopback();
    arguments.insert(arguments.end(), further.begin(), further.end());
    return arguments;
}

struct ToolDescription
{
    int slot;
    std::string name;
    std::string typeAndMarkers;

    bool operator==(const ToolDescription& other) const
    {
        return slot == other.slot && name == other.name && typeAndMarkers == other.typeAndMarkers;
    }
};

/// What a client learns about every tool, up to the points behind the markers that it has.
std::vector<ToolDescription> describeTools(ProtocolClient& client)
{
    std::vector<ToolDescription> descriptions;
    for (const std::string& answer : client.askAll(packet(TOOL_CHECK)))
        if (answer.size() == 560)
            descriptions.push_back({answer[4], answer.substr(8, answer.find('\0', 8) - 8),
                                    answer.substr(40, 8 + static_cast<std::size_t>(12 * answer[44]))});
    return descriptions;
}

/// The translations of all tools in view, in network order as a log file has them.
std::set<std::string> translations(ProtocolClient& client, const std::vector<ToolDescription>& tools)
{
    std::set<std::string> result;
    for (const ToolDescription& tool : tools)
    {
        const std::string answer = client.ask(packet(POSE, tool.name));
        std::string translation;
        for (std::size_t at = 72; answer.size() == 88 && at < 84; at += 4)
            translation += {answer[at + 3], answer[at + 2], answer[at + 1], answer[at]};
        if (!translation.empty())
            result.insert(translation);
    }
    return result;
}

TEST(SimulatedCameraServer, ListsToolsThatMove)
{
    ServerProcess server(loopbackAnd());
    ProtocolClient client(server.port(), Order::HOST);
    EXPECT_EQ(client.ask(packet(STATUS)), acknowledgement());
    const std::vector<ToolDescription> tools = describeTools(client);
    const std::set<std::string> first = translations(client, tools);
    EXPECT_FALSE(first.empty());
    EXPECT_TRUE(eventually([&] { return translations(client, tools) != first; }));
    EXPECT_EQ(server.stop(), 0);
}

TEST(SimulatedCameraServer, RecordsWhatAReplayThenShows)
{
    const TestFolder folder;
    const std::string file = folder.path("run.tslog");
    std::vector<ToolDescription> recorded;
    {
        ServerProcess server(loopbackAnd({"--log", file}));
        ProtocolClient client(server.port(), Order::HOST);
        recorded = describeTools(client);
        const std::size_t sizeAtFirst = folder.read("run.tslog").size();
        EXPECT_TRUE(eventually([&] { return folder.read("run.tslog").size() > sizeAtFirst + 20000; }));
        EXPECT_EQ(server.stop(), 0);
    }
    const std::string log = folder.read("run.tslog");
    ServerProcess replay(loopbackAnd({"--replay", file, "--repeat"}));
    ProtocolClient client(replay.port(), Order::HOST);
    EXPECT_TRUE(describeTools(client) == recorded);
    std::set<std::string> seen;
    EXPECT_TRUE(eventually(
        [&]
        {
            seen.merge(translations(client, recorded));
            return seen.size() >= 10;
        }));
    for (const std::string& translation : seen)
        EXPECT_NE(log.find(translation), std::string::npos) << "a pose that was not recorded";
    EXPECT_EQ(replay.stop(), 0);
}

TEST(SimulatedCameraServer, MakesToolsForClients)
{
    ServerProcess server(loopbackAnd());
    ProtocolClient client(server.port(), Order::HOST);
    const std::size_t before = describeTools(client).size();
    const std::string markers = sent(Order::HOST, {1, 2, 3, 4, 5, 6, 7, 8, 10, 20, 0, 0});
    EXPECT_EQ(client.ask(packet(TOOL_INIT) + integer(Order::HOST, 20) + nameField("OfAClient") +
                         integer(Order::HOST, 13) + integer(Order::HOST, 4) + padded(markers, 384) + zeros(128)),
              acknowledgement());
    EXPECT_EQ(describeTools(client).size(), before + 1);
    EXPECT_TRUE(eventually([&] { return client.ask(packet(POSE, "OfAClient")).size() == 88; }));
    EXPECT_EQ(server.stop(), 0);
}

TEST(SimulatedCameraServer, GoesOnBeingServedWithItsErrorWhenItsSceneIsMissing)
{
    const TestFolder folder;
    const std::string settings = folder.write(
        "settings.ini", "[Tobrel]\nNavigation\\SimulatedCamera\\Scene=" + folder.path("missing.ini") + "\n");
    ServerProcess server(loopbackAnd({"--settings", settings}));
    ProtocolClient client(server.port(), Order::HOST);
    const std::string answer = client.ask(packet(STATUS));
    EXPECT_EQ(answer.substr(0, 8), bytes("63000000 00000001"));
    EXPECT_NE(answer.find("missing.ini"), std::string::npos);
    EXPECT_EQ(client.ask(packet(TOOL_CHECK)), acknowledgement());
    EXPECT_EQ(server.stop(), 0);
}

} // namespace
