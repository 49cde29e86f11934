#include "SharedServer.h"

#include <support/Eventually.h>

#include <algorithm>
#include <memory>
#include <vector>

using namespace wire;

namespace
{

const std::string STRAIGHT = " 1 0 0 0 1 0 0 0 1 ";

std::string allTypesAllowed()
{
    return packet(ALLOWED) + std::string(256, '\1');
}

class ToolserverSessions : public SharedServer<testing::Test>
{
protected:
    void SetUp() override
    {
        SharedServer::SetUp();
        camera("plug 0 Drill type=12");
        camera("plug 1 Base type=14");
        camera("move Drill" + STRAIGHT + "1 2 3 0");
        camera("move Base" + STRAIGHT + "1 0 0 0");
        // Sessions of the test before may still be about to end.
        EXPECT_TRUE(eventually([] { return logged("request on main socket") == logged(SESSION_END); }));
        m_EndedBefore = logged(SESSION_END);
    }

    /// How many sessions the server has deleted since the test began.
    static int endedSessions() { return logged(SESSION_END) - m_EndedBefore; }

private:
    static constexpr const char* SESSION_END = "Client interface at socket ";

    static int logged(const std::string& text)
    {
        const std::string log = server().process.standardError();
        int count = 0;
        for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1))
            ++count;
        return count;
    }

    inline static int m_EndedBefore = 0;
};

TEST_F(ToolserverSessions, HaveAByteOrderOfTheirOwn)
{
    camera("switch 1 on");
    ProtocolClient host(port(), Order::HOST);
    ProtocolClient swapped(port(), Order::SWAPPED);
    EXPECT_EQ(host.ask(packet(SWITCH)), bytes("20000000 01000000 01000000"));
    EXPECT_EQ(swapped.ask(packet(SWITCH)), bytes("20000000 00000001 00000001"));
}

TEST_F(ToolserverSessions, HaveAFrameOfReferenceOfTheirOwn)
{
    ProtocolClient one(port(), Order::HOST);
    ProtocolClient other(port(), Order::HOST);
    EXPECT_EQ(one.ask(packet(FRAME, "Base")), acknowledgement());
    EXPECT_EQ(one.ask(packet(POSE, "Drill")).substr(72, 12), received(Order::HOST, {0, 2, 3}));
    EXPECT_EQ(other.ask(packet(POSE, "Drill")).substr(72, 12), received(Order::HOST, {1, 2, 3}));
}

TEST_F(ToolserverSessions, HaveAllowedTypesOfTheirOwn)
{
    ProtocolClient one(port(), Order::HOST);
    ProtocolClient other(port(), Order::HOST);
    for (ProtocolClient* client : {&one, &other})
        EXPECT_EQ(client->ask(packet(FRAME, "Base")), acknowledgement());
    EXPECT_EQ(one.ask(allTypesAllowed()), acknowledgement());
    EXPECT_EQ(one.ask(packet(NEAREST)).size(), 140u);
    EXPECT_EQ(other.ask(packet(NEAREST)), failure(14, "No tool is close enough to the FOR."));
}

TEST_F(ToolserverSessions, LearnOfAToolChangeEachForThemselves)
{
    ProtocolClient one(port(), Order::HOST);
    ProtocolClient other(port(), Order::HOST);
    camera("unplug Base");
    EXPECT_EQ(one.askAll(packet(TOOL_CHECK)).size(), 2u);
    EXPECT_EQ(one.askAll(packet(ALL_POSES)).size(), 2u);
    EXPECT_EQ(other.ask(packet(ALL_POSES)), failure(6, "Toolchange detected at the Stroberbox."));
    ProtocolClient late(port(), Order::HOST);
    EXPECT_EQ(late.askAll(packet(ALL_POSES)).size(), 2u) << "a new session knows the tools of its beginning";
}

TEST_F(ToolserverSessions, SurviveAStormOfConnects)
{
    constexpr int COUNT = 50;
    {
        std::vector<std::unique_ptr<ProtocolClient>> clients;
        for (int i = 0; i < COUNT; ++i)
            clients.push_back(std::make_unique<ProtocolClient>(port()));
        for (const auto& client : clients)
            client->greet(Order::HOST);
        for (const auto& client : clients)
            EXPECT_EQ(client->askAll(packet(ALL_POSES)).size(), 3u);
        for (int i = 0; i < COUNT; i += 2)
            clients[static_cast<std::size_t>(i)]->socket().abort();
        for (int i = 1; i < COUNT; i += 2)
            EXPECT_TRUE(clients[static_cast<std::size_t>(i)]->isServed());
    }
    EXPECT_TRUE(eventually([] { return endedSessions() == COUNT; })) << endedSessions();
}

TEST_F(ToolserverSessions, EndWithClientsThatSayNothing)
{
    for (int i = 0; i < 10; ++i)
        ProtocolClient(port()).socket().abort();
    // Some may be gone before they are accepted.
    ProtocolClient client(port(), Order::HOST);
    EXPECT_TRUE(client.isServed());
}

TEST_F(ToolserverSessions, EndWhenTheirClientIsKilledWithinAFrame)
{
    for (const std::string& part : {bytes("00"), bytes("0004"), bytes("0004 16"), bytes("ffff 16000000")})
    {
        ProtocolClient closed(port(), Order::HOST);
        closed.socket().send(part);
        closed.socket().close();
        ProtocolClient killed(port(), Order::HOST);
        killed.socket().send(part);
        killed.socket().abort();
    }
    EXPECT_TRUE(eventually([] { return endedSessions() == 8; })) << endedSessions();
}

TEST_F(ToolserverSessions, EndWhenTheirClientIsKilledInTheSwitchWait)
{
    ProtocolClient closed(port(), Order::HOST);
    ProtocolClient killed(port(), Order::HOST);
    for (ProtocolClient* client : {&closed, &killed})
    {
        client->send(packet(POSES_ON_SWITCH) + integer(Order::HOST, 9) + integer(Order::HOST, 1));
        camera("await requestSwitch");
    }
    closed.socket().close();
    killed.socket().abort();
    EXPECT_TRUE(eventually([] { return endedSessions() == 2; })) << endedSessions();
}

/// Far more answers than the connection's buffers hold, for a client that does not read them.
void askWithoutReading(ProtocolClient& client)
{
    std::string requests;
    for (int i = 0; i < 20000; ++i)
        requests += framed(packet(TOOL_CHECK));
    client.socket().send(requests);
}

TEST_F(ToolserverSessions, GoOnWhileAnotherClientDoesNotReadItsAnswers)
{
    ProtocolClient lazy(port(), Order::HOST);
    askWithoutReading(lazy);
    ProtocolClient client(port(), Order::HOST);
    for (int i = 0; i < 100; ++i)
    {
        camera("rename Drill Borer");
        camera("rename Borer Drill");
        EXPECT_EQ(client.ask(packet(POSE, "Drill")).size(), 88u);
    }
    lazy.socket().abort();
    EXPECT_TRUE(eventually([] { return endedSessions() == 1; }));
    EXPECT_TRUE(client.isServed());
}

std::string toolInit()
{
    return packet(TOOL_INIT) + integer(Order::HOST, 5) + nameField("New") + zeros(520);
}

TEST_F(ToolserverSessions, GoOnWhileTheCameraKeepsAnotherOne)
{
    camera("block createTool");
    ProtocolClient kept(port(), Order::HOST);
    kept.send(toolInit());
    camera("await createTool");

    ProtocolClient client(port(), Order::HOST);
    EXPECT_EQ(client.ask(packet(POSE, "Drill")).size(), 88u);
    camera("unplug Base");
    EXPECT_EQ(client.askAll(packet(TOOL_CHECK)).size(), 2u);

    camera("release");
    EXPECT_EQ(kept.receive(), acknowledgement());
}

TEST_F(ToolserverSessions, EndAfterTheCameraHasLetGoOfAKilledClientsRequest)
{
    camera("block initTool");
    ProtocolClient killed(port(), Order::HOST);
    killed.send(toolInit());
    camera("await initTool");
    killed.socket().abort();
    camera("unplug New");
    camera("release");
    EXPECT_TRUE(eventually([] { return endedSessions() == 1; }));
}

TEST_F(ToolserverSessions, NeverSeeAPoseHalfWritten)
{
    ProtocolClient client(port(), Order::HOST);
    const auto askTranslation = [&client] { return client.ask(packet(POSE, "Drill")).substr(72, 12); };
    control().begin("sweep Drill 200000");
    EXPECT_TRUE(eventually([&] { return askTranslation() != received(Order::HOST, {1, 2, 3}); })) << "it never begins";
    for (int i = 0; i < 1000; ++i)
    {
        const std::string translation = askTranslation();
        EXPECT_EQ(translation.substr(0, 4), translation.substr(4, 4));
        EXPECT_EQ(translation.substr(0, 4), translation.substr(8, 4));
    }
    control().finish();
}

/// One round of every request that looks at tools; each answer has a form that such a request may have.
void askEverything(ProtocolClient& client)
{
    const auto isOneOf = [](std::size_t size, std::initializer_list<std::size_t> sizes)
    { return std::find(sizes.begin(), sizes.end(), size) != sizes.end(); };
    for (const unsigned char kind : {FRAME, MARKER, IMAGINARY, POSE})
        EXPECT_TRUE(isOneOf(client.ask(packet(kind, "Drill")).size(), {4, 428, 140, 88, 264})) << int(kind);
    for (const unsigned char kind : {TOOL_CHECK, ALL_MARKER, ALL_IMAGINARY, ALL_POSES})
    {
        client.send(packet(kind));
        std::string answer = client.receive();
        const bool isToolChange = answer == failure(6, "Toolchange detected at the Stroberbox.");
        while (!isToolChange && answer.size() > 4 && answer != failure(7, "Frame of reference is not in view."))
        {
            EXPECT_TRUE(isOneOf(answer.size(), {560, 428, 140, 88})) << int(kind);
            answer = client.receive();
        }
    }
    EXPECT_TRUE(isOneOf(client.ask(packet(GET_NORMALS, "Drill")).size(), {440, 264}));
    EXPECT_TRUE(isOneOf(client.ask(packet(CALIBRATE, "Drill")).size(), {4, 264}));
}

TEST_F(ToolserverSessions, ServeOnWhileToolsAreReplacedAtAHighRate)
{
    camera("plug 0 Drill type=12 real=1,2,3;4,5,6 imag=7,8,9");
    std::vector<std::unique_ptr<ProtocolClient>> clients;
    for (int i = 0; i < 4; ++i)
        clients.push_back(std::make_unique<ProtocolClient>(port(), i % 2 == 0 ? Order::HOST : Order::SWAPPED));
    control().begin("churn Drill 2000");
    for (int round = 0; round < 20; ++round)
        for (const auto& client : clients)
            askEverything(*client);
    control().finish();
    for (const auto& client : clients)
        EXPECT_TRUE(client->isServed());
}

TEST_F(ToolserverSessions, EndOnceForAnExitAndAClosedConnectionTogether)
{
    for (int i = 0; i < 10; ++i)
    {
        ProtocolClient client(port(), Order::HOST);
        client.send(packet(EXIT));
        client.send(packet(STATUS));
    }
    EXPECT_TRUE(eventually([] { return endedSessions() == 10; })) << endedSessions();
    ProtocolClient client(port(), Order::HOST);
    EXPECT_TRUE(client.isServed());
}

} // namespace
