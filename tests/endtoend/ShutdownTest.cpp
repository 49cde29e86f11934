#include <support/TestServer.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

using namespace wire;

namespace
{

std::string waitForSwitch()
{
    return packet(POSES_ON_SWITCH) + integer(Order::HOST, 9) + integer(Order::HOST, 1);
}

/// Has a session stay in the camera module for as long as the camera likes.
void keepInCamera(TestServer& server, ProtocolClient& client, const std::string& requestsBefore)
{
    server.camera.tell("block createTool");
    client.socket().send(requestsBefore + framed(packet(TOOL_INIT) + zeros(556)));
    server.camera.tell("await createTool");
}

/// Each way to ask the program to end.
class ToolserverShutdown : public testing::TestWithParam<int>
{
protected:
    /// Ends the server of one test. A machine that stands still for two seconds may have its end forced, which is no
    /// failure; what always holds the end up is one, so the test is to be made up to three times.
    static bool endsCleanly(TestServer& server)
    {
        EXPECT_EQ(server.process.stop(GetParam()), 0) << server.process.standardError();
        return server.process.wasShutDownCompletely();
    }
    template <class Attempt>
    static void expectCleanEnd(Attempt attempt)
    {
        EXPECT_TRUE(attempt() || attempt() || attempt());
    }
};

TEST_P(ToolserverShutdown, EndsWithoutClients)
{
    expectCleanEnd(
        []
        {
            TestServer server;
            return endsCleanly(server);
        });
}

/// Ends a server whose sessions wait for everything that a session can wait for but the camera.
bool endsAmidWaits(const std::function<bool(TestServer&)>& end)
{
    TestServer server({}, {"plug 0 Drill"});
    ProtocolClient silent(server.port());
    ProtocolClient idle(server.port(), Order::HOST);
    ProtocolClient inHeader(server.port(), Order::HOST);
    inHeader.socket().send(bytes("00"));
    ProtocolClient inFrame(server.port(), Order::HOST);
    inFrame.socket().send(bytes("ffff 16000000"));
    ProtocolClient inSwitchWait(server.port(), Order::HOST);
    inSwitchWait.send(waitForSwitch());
    server.camera.tell("await requestSwitch");
    ProtocolClient notReading(server.port(), Order::HOST);
    std::string requests;
    for (int i = 0; i < 20000; ++i)
        requests += framed(packet(TOOL_CHECK));
    notReading.socket().send(requests);
    EXPECT_EQ(idle.ask(packet(STATUS)), acknowledgement());

    const bool isClean = end(server);

    for (ProtocolClient* client : {&silent, &idle, &inHeader, &inFrame, &inSwitchWait})
        EXPECT_TRUE(client->seesServerClose());
    return isClean;
}

TEST_P(ToolserverShutdown, EndsWhateverItsSessionsWaitFor)
{
    expectCleanEnd([] { return endsAmidWaits(endsCleanly); });
}

INSTANTIATE_TEST_SUITE_P(, ToolserverShutdown, testing::Values(SIGTERM, SIGINT),
                         [](const auto& signal) { return signal.param == SIGINT ? "Interrupt" : "Terminate"; });

TEST(Toolserver, EndsAmidAStormOfConnects)
{
    TestServer server;
    std::vector<std::unique_ptr<PlainSocket>> clients;
    for (int i = 0; i < 12; ++i)
    {
        clients.push_back(std::make_unique<PlainSocket>());
        EXPECT_TRUE(clients.back()->tryConnect(server.port()));
    }
    EXPECT_EQ(server.stop(), 0) << server.process.standardError();
}

TEST(Toolserver, EndsWhileTheCameraKeepsASession)
{
    TestServer server;
    ProtocolClient client(server.port(), Order::HOST);
    keepInCamera(server, client, "");
    EXPECT_EQ(server.stop(), 0) << server.process.standardError();
}

TEST(Toolserver, EndsWhileTheCameraKeepsASessionThatIsBeingDeleted)
{
    TestServer server;
    ProtocolClient client(server.port(), Order::HOST);
    keepInCamera(server, client, framed(packet(EXIT)));
    EXPECT_EQ(server.stop(), 0) << server.process.standardError();
}

TEST(Toolserver, EndsWhileTheCameraIsStillStarting)
{
    CameraControl camera;
    ServerProcess process({"--module-dir", TBR_TEST_PLUGINS, "--module", "TestCamera", "--port", "0"},
                          {{"TBR_TEST_CAMERA", camera.address()}});
    camera.accept(); // and no command to start
    EXPECT_EQ(process.stop(), 0) << process.standardError();
    EXPECT_EQ(process.standardOutput().find("listening on"), std::string::npos);
}

TEST(Toolserver, EndsBeforeItHasLookedForItsCamera)
{
    ServerProcess process({"--module-dir", TBR_TEST_PLUGINS, "--module", "TestCamera", "--port", "0"});
    EXPECT_TRUE(eventually([&] { return process.standardError().find("Trying to load") != std::string::npos; }));
    EXPECT_EQ(process.stop(), 0) << process.standardError();
}

} // namespace
