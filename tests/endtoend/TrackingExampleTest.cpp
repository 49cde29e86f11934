#include <support/ProgramProcess.h>
#include <support/TestServer.h>

#include <gmock/gmock.h>

using testing::HasSubstr;

namespace
{

const ProgramProcess::Environment SETTINGS = {{"TBR_SETTINGS", TBR_EXAMPLE_SETTINGS}};

TEST(TrackingExample, PrintsWhereAToolIsUntilTheServerIsLost)
{
    TestServer server({}, {"plug 0 Drill type=12 real=0,0,0;100,0,0;0,50,0"});
    server.camera.tell("move Drill 1 0 0 0 1 0 0 0 1 10 -2 1.5 0");
    ProgramProcess tracking(TBR_TRACKING, {"Drill", "127.0.0.1", std::to_string(server.port())}, SETTINGS);
    const auto prints = [&](const std::string& line)
    { return eventually([&] { return tracking.standardOutput().find(line + "\n") != std::string::npos; }); };
    EXPECT_TRUE(prints("10 -2 1.5"));
    server.camera.tell("hide Drill");
    EXPECT_TRUE(prints("out of view"));
    EXPECT_EQ(server.stop(), 0);
    EXPECT_EQ(tracking.exitStatus(), 1);
}

TEST(TrackingExample, SaysWhatIsMissing)
{
    TestServer server({}, {"plug 0 Drill type=12"});
    ProgramProcess noTool(TBR_TRACKING, {"Pointer", "127.0.0.1", std::to_string(server.port())}, SETTINGS);
    EXPECT_EQ(noTool.exitStatus(), 1);
    EXPECT_THAT(noTool.standardError(), HasSubstr("There is no such tool."));
    EXPECT_EQ(server.stop(), 0);
    ProgramProcess noServer(TBR_TRACKING, {"Drill", "127.0.0.1", std::to_string(PlainSocket::freePort())}, SETTINGS);
    EXPECT_EQ(noServer.exitStatus(), 1);
    EXPECT_THAT(noServer.standardError(), HasSubstr("Connection error\n"));
}

} // namespace
