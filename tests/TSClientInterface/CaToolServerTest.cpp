#include <TSClientInterface/CaToolServer.h>
#include <support/LogCapture.h>
#include <support/ScriptedToolServer.h>

#include <gtest/gtest.h>

#include <climits>
#include <memory>

TEST(CaToolServer, HasAMessageForEveryStatus)
{
    const std::pair<int, const char*> messages[] = {{-23, "Tool does not have normal vectors"},
                                                    {-22, "Initialization error"},
                                                    {-21, "Tools are too far from reference"},
                                                    {-20, "Calibration error"},
                                                    {-19, "Maximal number of clients reached"},
                                                    {-18, "Wrong request from client"},
                                                    {-17, "Requested socket is already in use"},
                                                    {-16, "Missing plugs of a multiplug tool"},
                                                    {-15, "Problem reading tool info"},
                                                    {-14, "Problem initializing OptoTrak"},
                                                    {-13, "Problem initializing stroberbox"},
                                                    {-12, "Problem initializing comport"},
                                                    {-11, "Unknown tool"},
                                                    {-10, "Tool not in view"},
                                                    {-9, "Reference not in view"},
                                                    {-8, "Unexpected packet received"},
                                                    {-7, "Remote error message"},
                                                    {-6, "Tool set has changed"},
                                                    {-5, "Connection error"},
                                                    {-4, "Incompatiple protocol"},
                                                    {-3, "Unknown hostname"},
                                                    {-2, "Server timeout"},
                                                    {-1, "No connection with toolserver"},
                                                    {0, "Toolserver OK"},
                                                    {1, "Waiting for packets"},
                                                    {2, "Footswitch pressed"},
                                                    {3, "Footswitch released"}};
    const LogCapture log;
    for (const auto& [status, message] : messages)
        EXPECT_STREQ(CaToolServer::getMessage(status), message) << status;
    EXPECT_TRUE(log.entries().empty());
}

TEST(CaToolServer, LogsTheTableIndexOfAStatusWithoutMessage)
{
    const std::pair<int, const char*> lines[] = {{4, "No error message for status: 27\n"},
                                                 {10, "No error message for status: 33\n"},
                                                 {-24, "No error message for status: -1\n"},
                                                 {INT_MAX, "No error message for status: 2147483670\n"},
                                                 {INT_MIN, "No error message for status: -2147483625\n"}};
    for (const auto& [status, line] : lines)
    {
        const LogCapture log;
        EXPECT_STREQ(CaToolServer::getMessage(status), "Unknown message for this status");
        EXPECT_EQ(log.entries().size(), 1U);
        EXPECT_EQ(log.count("ERROR", line), 1) << status;
    }
}

TEST(CaToolServer, IsDeletedThroughItsInterface)
{
    bool isGone = false;
    auto scripted = std::make_unique<ScriptedToolServer>();
    scripted->onDestruction = [&] { isGone = true; };
    std::unique_ptr<CaToolServer> server = std::move(scripted);
    server.reset();
    EXPECT_TRUE(isGone);
}

TEST(CaToolServerFactory, WritesWhenItComesAndGoes)
{
    class Factory : public CaToolServerFactory
    {
    public:
        CaToolServer* createInstance() override { return new ScriptedToolServer; }
    };

    testing::internal::CaptureStdout();
    {
        Factory factory;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "CaToolServerFactory constructor\n");
        const std::unique_ptr<CaToolServer> server(factory.createInstance());
        EXPECT_FALSE(server->isConnected());

        testing::internal::CaptureStdout();
        Factory copy(factory);
        copy = factory;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        testing::internal::CaptureStdout();
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "CaToolServerFactory destructor\nCaToolServerFactory destructor\n");
}
