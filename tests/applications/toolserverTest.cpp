#include <support/Eventually.h>
#include <support/LogFileBytes.h>
#include <support/MatchesPattern.h>
#include <support/TestFolder.h>
#include <support/TestServer.h>

#include <gmock/gmock.h>

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace wire;

namespace
{

using Arguments = std::vector<std::string>;

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

bool isLoggedAs(const std::string& line, const std::string& category)
{
    return line.find(" " + category + " ") != std::string::npos;
}

/// What the program itself tells the user, besides the log.
std::vector<std::string> messagesIn(const std::string& standardError)
{
    std::vector<std::string> messages;
    for (const std::string& line : linesOf(standardError))
        if (line.rfind("toolserver: ", 0) == 0)
            messages.push_back(line);
    return messages;
}

/// How a run of the program that ends by itself has ended.
struct Outcome
{
    explicit Outcome(ServerProcess& process)
        : status(process.exitStatus()), output(process.standardOutput()), errors(process.standardError())
    {
    }
    explicit Outcome(const Arguments& arguments) : Outcome(*std::make_unique<ServerProcess>(arguments)) {}

    int status;
    std::string output;
    std::string errors;
};

Arguments joined(Arguments arguments, const Arguments& further)
{
    arguments.insert(arguments.end(), further.begin(), further.end());
    return arguments;
}

/// A job that cannot be done, and what the program says about it.
struct Failure
{
    Arguments arguments;
    std::string reason;
};

/// Status 1, one line that contains the reason, and with --quiet nothing else but errors.
void expectFailures(const std::vector<Failure>& failures)
{
    std::vector<std::unique_ptr<ServerProcess>> plain;
    std::vector<std::unique_ptr<ServerProcess>> quiet;
    for (const Failure& failure : failures) // all at the same time
    {
        const Arguments arguments = joined(ServerProcess::loopback(), failure.arguments);
        plain.push_back(std::make_unique<ServerProcess>(arguments));
        quiet.push_back(std::make_unique<ServerProcess>(joined(arguments, {"--quiet"})));
    }
    for (std::size_t i = 0; i < failures.size(); ++i)
    {
        SCOPED_TRACE(testing::PrintToString(failures[i].arguments));
        const Outcome outcome(*plain[i]);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(messagesIn(outcome.errors), testing::ElementsAre(testing::HasSubstr(failures[i].reason)));
        EXPECT_THAT(outcome.output, testing::Not(testing::HasSubstr("listening on")));

        const Outcome quietOutcome(*quiet[i]);
        EXPECT_EQ(quietOutcome.status, 1);
        EXPECT_EQ(messagesIn(quietOutcome.errors), messagesIn(outcome.errors));
        for (const std::string& line : linesOf(quietOutcome.errors))
            EXPECT_TRUE(isLoggedAs(line, "ERROR") || line.rfind("toolserver: ", 0) == 0) << line;
    }
}

Arguments testCamera()
{
    return {"--module-dir", TBR_TEST_PLUGINS, "--module", "TestCamera"};
}

TEST(toolserver, ShowsItsOptionsOnRequest)
{
    for (const char* option : {"--help", "-h"})
    {
        const Outcome run({option});
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.errors, "");
        for (const char* described :
             {"--module-dir <DIR>", "--module <NAME>", "--log <FILE>", "--replay <FILE>", "--repeat", "--port <N>",
              "--bind <ADDR>", "--allow <CIDR>", "--max-clients <N>", "--list-modules", "--settings <FILE>", "--quiet",
              "--verbose", "--version", "--help", "2222", "SimulatedCamera", "0.0.0.0"})
            EXPECT_THAT(run.output, testing::HasSubstr(described));
    }
}

TEST(toolserver, ShowsItsVersionOnRequest)
{
    const Outcome run({"--version"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.output, MatchesPattern("toolserver [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_EQ(run.errors, "");
}

TEST(toolserver, RefusesWrongUsageWithOneLineAndStatus2)
{
    const std::vector<Arguments> wrong = {{"--nonsense"},
                                          {"-x"},
                                          {"surplus"},
                                          {"--port"},
                                          {"--port", ""},
                                          {"--port", "x"},
                                          {"--port", "22x"},
                                          {"--port", "-1"},
                                          {"--port", "65536"},
                                          {"--port", "99999999999"},
                                          {"--bind", "localhost"},
                                          {"--bind", "256.0.0.1"},
                                          {"--bind", "127.0.0"},
                                          {"--bind", ""},
                                          {"--allow", "10.0.0.0/33"},
                                          {"--allow", "10.0.0.0/8", "--allow", "everyone"},
                                          {"--allow", ""},
                                          {"--allow", "10.0.0.0/8,192.168.7.0/24"},
                                          {"--allow", "10.0.0.010"},
                                          {"--allow", "::1"},
                                          {"--allow"},
                                          {"--max-clients", "0"},
                                          {"--max-clients", "-3"},
                                          {"--max-clients", "many"},
                                          {"--max-clients", ""},
                                          {"--max-clients", "1000001"},
                                          {"--module", ""},
                                          {"--module-dir", ""},
                                          {"--log", ""},
                                          {"--replay", ""},
                                          {"--settings", ""},
                                          {"--repeat"},
                                          {"--repeat=yes", "--replay", "a"},
                                          {"--log", "a", "--replay", "b"},
                                          {"--quiet", "--verbose"}};
    for (const Arguments& arguments : wrong)
    {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const Outcome run(arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(linesOf(run.errors).size(), 1u) << run.errors;
        EXPECT_EQ(messagesIn(run.errors).size(), 1u) << run.errors;
    }
}

TEST(toolserver, NamesTheMistakeInItsUsage)
{
    EXPECT_THAT(Outcome({"--port", "70000"}).errors, testing::HasSubstr("--port needs a number from 0 to 65535"));
    EXPECT_THAT(Outcome({"--nonsense"}).errors, testing::HasSubstr("nonsense"));
    EXPECT_THAT(Outcome({"--allow", "everyone"}).errors, testing::HasSubstr("\"everyone\""));
}

TEST(toolserver, ListsTheCameraModulesOfAFolderAndNoOtherLibraries)
{
    const TestFolder folder;
    const QString extension = "." + QFileInfo(TBR_TEST_CAMERA_FILE).suffix();
    const auto pathOf = [&](const char* name) { return QString::fromStdString(folder.path(name)) + extension; };
    ASSERT_TRUE(QFile::copy(TBR_TEST_CAMERA_FILE, pathOf("SecondCamera")));
    ASSERT_TRUE(QFile::copy(TBR_TEST_CAMERA_FILE, pathOf("FirstCamera")));
    ASSERT_TRUE(QFile::copy(TBR_WRONG_PLUGIN_FILE, pathOf("NoCamera")));
    folder.write("Garbage" + extension.toStdString(), "this is no library");
    folder.write("notes.txt", "nor is this");

    const Outcome run({"--list-modules", "--module-dir", folder.path("")});

    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "FirstCamera\nSecondCamera\n");
    EXPECT_EQ(run.errors, "");
}

TEST(toolserver, ListsNothingForAnEmptyFolderAndFailsForNone)
{
    const TestFolder folder;
    const Outcome empty({"--list-modules", "--module-dir", folder.path("")});
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.output + empty.errors, "");
    const Outcome missing({"--list-modules", "--module-dir", folder.path("missing")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.output, "");
    EXPECT_THAT(linesOf(missing.errors), testing::ElementsAre(testing::HasSubstr("missing")));
}

TEST(toolserver, FindsTheModulesBesideItself)
{
    const Outcome run({"--list-modules"});
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(linesOf(run.output), testing::Contains("SimulatedCamera"));
}

TEST(toolserver, TellsWhereItListensAndWhatItServes)
{
    TestServer server({}, {"plug 0 Drill", "plug 5 Base"});
    EXPECT_EQ(server.process.listeningLine(),
              "listening on 127.0.0.1:" + std::to_string(server.port()) + ", module TestCamera, 2 tools");
    EXPECT_TRUE(ProtocolClient(server.port(), Order::HOST).isServed());
    EXPECT_EQ(server.stop(), 0);
}

TEST(toolserver, ListensOnEveryAddressUnlessToldOtherwise)
{
    ServerProcess server(joined(testCamera(), {"--port", "0"}));
    EXPECT_EQ(server.listeningLine().rfind("listening on 0.0.0.0:", 0), 0u);
    EXPECT_TRUE(ProtocolClient(server.port(), Order::HOST).isServed());
    EXPECT_EQ(server.stop(), 0);
}

TEST(toolserver, ListensOnThePortThatItIsTold)
{
    const std::string port = std::to_string(PlainSocket::freePort());
    ServerProcess server(joined(testCamera(), {"--bind", "127.0.0.1", "--port", port}));
    EXPECT_EQ(server.listeningLine().rfind("listening on 127.0.0.1:" + port + ",", 0), 0u);
    EXPECT_EQ(server.stop(), 0);
}

TEST(toolserver, FailsWhenItsPortCannotBeHad)
{
    PlainSocket taken = PlainSocket::listening();
    const std::string port = std::to_string(taken.port());
    expectFailures({{joined(testCamera(), {"--port", port}), "Port " + port},
                    {joined(testCamera(), {"--bind", "192.0.2.1"}), "192.0.2.1"}}); // not this machine's
}

TEST(toolserver, FailsWithoutItsModule)
{
    const TestFolder folder;
    const std::string extension = "." + QFileInfo(TBR_TEST_CAMERA_FILE).suffix().toStdString();
    folder.write("Garbage" + extension, "this is no library");
    const auto module = [](const std::string& directory, const std::string& name) {
        return Arguments{"--module-dir", directory, "--module", name};
    };
    expectFailures({{module(TBR_TEST_PLUGINS, "Missing"), "Missing" + extension},
                    {{"--module-dir", folder.path("nowhere")}, "nowhere/SimulatedCamera" + extension},
                    {module(folder.path(""), "Garbage"), "Garbage" + extension},
                    {module(TBR_TEST_PLUGINS, "EmptyPlugin"), "is no plug-in"},
                    {module(TBR_TEST_PLUGINS, "NullPlugin"), "NullPlugin"},
                    {module(TBR_TEST_PLUGINS, "WrongInterfacePlugin"), "ToollistFactory"}});
}

TEST(toolserver, FailsForAReplayFileThatCannotBePlayed)
{
    const TestFolder folder;
    const std::string start = logbytes::header() + logbytes::toolList({logbytes::filledSlot(logbytes::content({}))});
    const std::string pose = logbytes::positions(0, 0, {logbytes::realTime({}, {1, 2, 3})});
    std::vector<Failure> failures;
    for (const std::string& file : {folder.path("missing"), folder.path(""), folder.write("empty", ""),
                                    folder.write("text", "This is no tracking log, whatever else it is said to be."),
                                    folder.write("header", logbytes::header()), folder.write("without_poses", start),
                                    folder.write("cut", start + pose.substr(0, pose.size() - 1)),
                                    folder.write("huge", logbytes::header() + "T" + bytes("ffffffff"))})
        failures.push_back({{"--replay", file}, "\"" + file + "\""});
    expectFailures(failures);
}

TEST(toolserver, FailsForALogFileThatCannotBeWritten)
{
    const TestFolder folder;
    std::vector<Failure> failures;
    for (const std::string& file : {folder.path("nowhere/run.tslog"), folder.path("")})
        failures.push_back({joined(testCamera(), {"--log", file}), "\"" + file + "\""});
    expectFailures(failures);
}

TEST(toolserver, FailsForSettingsThatCannotBeRead)
{
    const TestFolder folder;
    std::vector<Failure> failures;
    for (const std::string& file :
         {folder.path("missing.ini"), folder.path(""), folder.write("bad.ini", "[Tobrel\nno equals sign")})
        failures.push_back({joined(testCamera(), {"--settings", file}), "\"" + file + "\""});
    expectFailures(failures);
}

TEST(toolserver, ServesACameraThatReportsAnError)
{
    TestServer server({}, {"status -12 The strobe does not answer."});
    EXPECT_THAT(server.process.standardError(), testing::HasSubstr("Error starting up TS 3.0!"));
    ProtocolClient client(server.port(), Order::HOST);
    EXPECT_EQ(client.ask(packet(STATUS)), bytes("63000000 fffffff4") + padded("The strobe does not answer.", 256));
    EXPECT_EQ(server.stop(), 0);
}

/// A client that is sent away: nothing arrives but the end.
bool isSentAway(int port)
{
    return ProtocolClient(port).seesServerClose();
}

TEST(toolserver, LetsClientsInOnlyFromTheNetworksThatAreAllowed)
{
    TestServer closed({"--allow", "10.0.0.0/8", "--allow", "192.0.2.7"});
    EXPECT_TRUE(isSentAway(closed.port()));
    EXPECT_TRUE(isSentAway(closed.port()));
    EXPECT_EQ(closed.stop(), 0);

    TestServer open({"--allow", "10.0.0.0/8", "--allow", "127.0.0.0/8"});
    EXPECT_TRUE(ProtocolClient(open.port(), Order::HOST).isServed());
    EXPECT_EQ(open.stop(), 0);
}

TEST(toolserver, TellsTheAddressesThatAreAllowedFromOthersOfTheSameMachine)
{
    TestServer server({"--allow", "127.0.0.2", "--allow", "127.0.8.0/29"});
    for (const char* address : {"127.0.0.1", "127.0.0.3", "127.0.7.255", "127.0.8.8"})
        EXPECT_TRUE(PlainSocket::connectedFrom(address, server.port()).seesPeerClose()) << address;
    for (const char* address : {"127.0.0.2", "127.0.8.0", "127.0.8.7"})
    {
        PlainSocket client = PlainSocket::connectedFrom(address, server.port());
        client.send(framed(packet(EXIT)));
        EXPECT_EQ(client.receive(6), framed(acknowledgement())) << address;
    }
    EXPECT_EQ(server.stop(), 0);
}

TEST(toolserver, LogsOncePerAddressAndMinuteThatItSendsClientsAway)
{
    TestServer server({"--allow", "10.0.0.0/8"});
    for (int i = 0; i < 20; ++i)
        EXPECT_TRUE(PlainSocket::connectedFrom("127.0.0.2", server.port()).seesPeerClose());
    EXPECT_TRUE(isSentAway(server.port()));
    EXPECT_EQ(server.stop(), 0);
    std::vector<std::string> refusals = linesOf(server.process.standardError());
    refusals.erase(std::remove_if(refusals.begin(), refusals.end(),
                                  [](const std::string& line) { return line.find("sent away") == std::string::npos; }),
                   refusals.end());
    EXPECT_THAT(refusals,
                testing::ElementsAre(testing::HasSubstr("A client from 127.0.0.2 is not allowed and was sent away."),
                                     testing::HasSubstr("A client from 127.0.0.1 is not allowed and was sent away.")));
}

TEST(toolserver, ListensOnlyOnTheAddressThatItIsTold)
{
    ServerProcess server(joined(testCamera(), {"--bind", "127.0.0.5", "--port", "0"}));
    EXPECT_EQ(server.listeningLine().rfind("listening on 127.0.0.5:", 0), 0u);
    EXPECT_FALSE(PlainSocket().tryConnect(server.port())) << "nobody listens on 127.0.0.1";
    EXPECT_EQ(server.stop(), 0);
}

TEST(toolserver, ServesNoMoreClientsThanItIsTold)
{
    TestServer server({"--max-clients", "2"});
    ProtocolClient first(server.port(), Order::HOST);
    {
        ProtocolClient second(server.port(), Order::HOST);
        EXPECT_TRUE(isSentAway(server.port()));
        EXPECT_TRUE(first.isServed());
        EXPECT_TRUE(second.isServed());
    }
    EXPECT_TRUE(eventually(
        [&]
        {
            ProtocolClient third(server.port());
            third.send(packet(EXIT));
            return third.socket().receive(6) == framed(acknowledgement());
        }));
    EXPECT_TRUE(first.isServed());
    EXPECT_EQ(server.stop(), 0);
}

/// Runs a server through clients' visits until one has ended in an error; returns its standard error. (Not on every
/// system does the first reset connection look like one.)
std::string logOfVisits(const Arguments& options)
{
    TestServer server(options);
    EXPECT_TRUE(eventually(
        [&]
        {
            ProtocolClient(server.port(), Order::HOST).socket().abort();
            return server.process.standardError().find("recv(): failed") != std::string::npos;
        }));
    EXPECT_EQ(server.stop(), 0);
    return server.process.standardError();
}

TEST(toolserver, LogsEverythingButDebuggingDetail)
{
    const std::vector<std::string> lines = linesOf(logOfVisits({}));
    const auto count = [&](const char* category)
    {
        return std::count_if(lines.begin(), lines.end(),
                             [category](const std::string& line) { return isLoggedAs(line, category); });
    };
    EXPECT_GT(count("toolserver"), 0);
    EXPECT_GT(count("ERROR"), 0);
    EXPECT_EQ(count("DEBUG"), 0);
}

TEST(toolserver, LogsErrorsOnlyWhenQuiet)
{
    for (const std::string& line : linesOf(logOfVisits({"--quiet"})))
        EXPECT_TRUE(isLoggedAs(line, "ERROR")) << line;
}

TEST(toolserver, LogsDebuggingDetailToo)
{
    const std::string log = logOfVisits({"--verbose"});
    EXPECT_THAT(log, testing::HasSubstr(" toolserver "));
    EXPECT_THAT(log, testing::HasSubstr(" DEBUG "));
}

TEST(toolserver, GoesOnWhenNobodyReadsItsOutputAnyLonger)
{
    const TestFolder folder;
    QProcess reader; // takes the first line, and ends
    reader.setStandardOutputFile(QString::fromStdString(folder.path("first")));
    ServerProcess server(joined(ServerProcess::loopback(), testCamera()), {}, &reader);
    reader.start(TBR_FIRST_LINE, QStringList());
    ASSERT_TRUE(reader.waitForFinished(60000));
    const int port = ServerProcess::portIn(folder.read("first"));
    ASSERT_GT(port, 0);

    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(ProtocolClient(port, Order::HOST).isServed()) << "each client has the server write a line";
    EXPECT_EQ(server.stop(), 0);
}

} // namespace
