#include <support/ProgramProcess.h>
#include <support/TestServer.h>

namespace
{

const ProgramProcess::Environment SETTINGS = {{"TBR_SETTINGS", TBR_EXAMPLE_SETTINGS}};
const std::vector<std::string> TOOLS = {"plug 0 Drill type=12 real=0,0,0;100,0,0;0,50,0",
                                        "plug 1 Base type=1 real=0,0,0;10,0,0;0,10,0"};
const std::string STRAIGHT = " 1 0 0 0 1 0 0 0 1 ";

/// The program, and what it prints from one look to the next.
class Reconnecting
{
public:
    explicit Reconnecting(int port)
        : m_Process(TBR_RECONNECTING, {"Drill", "Base", "127.0.0.1", std::to_string(port)}, SETTINGS)
    {
    }

    ~Reconnecting() { m_Process.crash(); } // it has no other end

    bool prints(const std::string& line)
    {
        return eventually(
            [&]
            {
                const auto found = m_Process.standardOutput().find("\n" + line + "\n", m_Seen);
                m_Seen = found == std::string::npos ? m_Seen : found + 1;
                return found != std::string::npos;
            });
    }

private:
    ProgramProcess m_Process;
    std::size_t m_Seen = 0;
};

TEST(ReconnectingExample, GoesOnWithAServerThatIsStartedAnewOnTheSamePort)
{
    auto first = std::make_unique<TestServer>(std::vector<std::string>(), TOOLS);
    const int port = first->port();
    first->camera.tell("move Drill" + STRAIGHT + "10 -2 1.5 0");
    first->camera.tell("move Base" + STRAIGHT + "1 0 0 0");
    Reconnecting reconnecting(port);
    EXPECT_TRUE(reconnecting.prints("9 -2 1.5"));
    first->process.crash();
    EXPECT_TRUE(reconnecting.prints("Connection error"));
    first.reset();

    TestServer second({"--port", std::to_string(port)}, TOOLS);
    second.camera.tell("move Drill" + STRAIGHT + "20 -2 1.5 0");
    second.camera.tell("move Base" + STRAIGHT + "1 0 0 0");
    EXPECT_TRUE(reconnecting.prints("19 -2 1.5")); // seen from the reference again
    EXPECT_EQ(second.stop(), 0);
}

#ifndef _WIN32
TEST(ReconnectingExample, TriesANewConnectionWhenTheServerStandsStillForLong)
{
    TestServer server({}, TOOLS);
    server.camera.tell("move Drill" + STRAIGHT + "10 -2 1.5 0");
    server.camera.tell("move Base" + STRAIGHT + "1 0 0 0");
    Reconnecting reconnecting(server.port());
    EXPECT_TRUE(reconnecting.prints("9 -2 1.5"));
    server.process.pause();
    for (int i = 0; i < 3; ++i) // two of the old connection, one of a new one
        EXPECT_TRUE(reconnecting.prints("Server timeout"));
    server.process.resume();
    server.camera.tell("move Drill" + STRAIGHT + "20 -2 1.5 0");
    EXPECT_TRUE(reconnecting.prints("19 -2 1.5"));
    EXPECT_EQ(server.stop(), 0);
}
#endif

} // namespace
