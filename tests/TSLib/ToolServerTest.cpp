#include "ServerInThread.h"

#include <TSLib/ClientSocketInterface.h>
#include <tbrCore/DLLManager.h>

#include <support/CameraControl.h>
#include <support/LogCapture.h>
#include <support/LogFileBytes.h>
#include <support/MatchesPattern.h>
#include <support/ProtocolClient.h>
#include <support/TestFolder.h>
#include <support/TestToollist.h>

#include <gmock/gmock.h>

#include <QSignalSpy>

using namespace wire;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

namespace
{

using Entry = LogCapture::Entry;

/// An entry of category "toolserver".
testing::Matcher<const Entry&> entry(const testing::Matcher<const std::string&>& message)
{
    return AllOf(Field(&Entry::category, "toolserver"), Field(&Entry::message, message));
}

/// A library's file name on this system.
std::string named(const std::string& name)
{
    return name + DLLManager::GetDLLExtension();
}

std::string moduleFile(const std::string& module)
{
    return std::string(TBR_TEST_PLUGINS) + "/" + named(module);
}

bool isLogged(const LogCapture& log, const char* regularExpression)
{
    for (const Entry& one : log.entries())
        if (one.category == "toolserver" && testing::Matches(MatchesPattern(regularExpression))(one.message))
            return true;
    return false;
}

/// A recording of one tool without markers at (1, 2, 3).
std::string recording()
{
    using namespace logbytes;
    Content tool;
    tool.name = "Probe";
    return header() + toolList({filledSlot(content(tool))}) + positions(0, 0, {realTime({}, {1, 2, 3})});
}

} // namespace

// Made, not run

TEST(ToolServer, SaysWhatItWillLoadFromWhere)
{
    const TestFolder folder;
    folder.write(named("B"), "");
    folder.write(named("A"), "");
    folder.write("C.txt", "");
    const std::string directory = folder.path("");
    const LogCapture log;
    {
        const ToolServer server(directory, "Camera", "", false, false);
        EXPECT_THAT(log.entries(), ElementsAre(entry("Using \"" + directory + "\" as directory for TS plugins.\n"),
                                               entry(named("A") + "\n"), entry(named("B") + "\n"),
                                               entry("Trying to load \"" + directory + "/" + named("Camera") +
                                                     "\" as camera plugin.\n")));
    }
    EXPECT_THAT(log.entries(), testing::SizeIs(6));
    EXPECT_EQ(log.count("toolserver", "\n\nTS 3.0 - SHUTDOWN REQUESTED ...\n\n"), 1);
    EXPECT_EQ(log.entries().back().message, "\n... SHUTDOWN COMPLETED!\n\n");
}

TEST(ToolServer, LeavesTheModuleToTheSystemsLibraryPathWithoutADirectory)
{
    const LogCapture log;
    const ToolServer server("", "Camera", "", false, false);
    EXPECT_THAT(log.entries(),
                ElementsAre(entry("Using library path provided by the system as directory for TS plugins.\n"),
                            entry("Trying to load \"" + named("Camera") + "\" as camera plugin.\n")));
}

TEST(ToolServer, LoadsNoModuleForAReplay)
{
    const LogCapture log;
    const ToolServer server("/anywhere", "Camera", "some.log", true, false);
    EXPECT_THAT(log.entries(), ElementsAre(entry("Using replay module as camera plugin.\n")));
}

TEST(ToolServer, SaysWhenThereAreNoModulesToList)
{
    const TestFolder folder;
    folder.write("notes.txt", "");
    ToolServer server("", "Camera", "", false, false);
    const LogCapture log;
    server.showModuleList(folder.path(""));
    server.showModuleList(folder.path("nowhere"));
    EXPECT_THAT(log.entries(), ElementsAre(entry("Error finding file.\n"), entry("Error finding file.\n")));
}

TEST(ToolServer, ListensOnPort2222OfEveryAddressUnlessToldOtherwise)
{
    ToolServer server("", "Camera", "", false, false);
    EXPECT_EQ(server.getPort(), 2222);
    EXPECT_EQ(server.getBindAddress(), "0.0.0.0");
    EXPECT_EQ(server.getToollist(), nullptr);
    server.setPort(2345);
    server.setBindAddress("127.0.0.1");
    EXPECT_EQ(server.getPort(), 2345);
    EXPECT_EQ(server.getBindAddress(), "127.0.0.1");
}

TEST(ToolServer, MakesAReplayListForAReplay)
{
    ToolServer server("", "", "some.log", true, true);
    const LogCapture log;
    const std::unique_ptr<Toollist> list(server.createToollist(""));
    ASSERT_TRUE(list);
    EXPECT_EQ(log.count("toolserver", "ReplayTL constructor (filename: some.log) in auto repeat mode.\n"), 1);
}

TEST(ToolServer, MakesTheListOfTheModule)
{
    ToolServer server(TBR_TEST_PLUGINS, "TestCamera", "", false, false);
    const std::unique_ptr<Toollist> list(server.createToollist(moduleFile("TestCamera")));
    ASSERT_TRUE(list);
    EXPECT_EQ(list->getMaxNumberOfTools(), 8U);
}

TEST(ToolServer, SaysWhyAModuleCannotBeLoaded)
{
    ToolServer server(TBR_TEST_PLUGINS, "Missing", "", false, false);
    const LogCapture log;
    EXPECT_EQ(server.createToollist(moduleFile("Missing")), nullptr);
    EXPECT_THAT(log.entries(),
                ElementsAre(entry("Error opening DLL!\n"), entry("DLL Error: The library \"" + moduleFile("Missing") +
                                                                 "\" cannot be loaded: there is no such file\n")));
}

// Runs that end at once

TEST(ToolServer, SurvivesAModuleThatThrowsInsteadOfMakingItsList)
{
    ToolServer server("", "FailingCamera", "", false, false);
    const LogCapture log;
    EXPECT_EQ(server.createToollist(TBR_FAILING_CAMERA), nullptr);
    EXPECT_EQ(log.count("ERROR", "The camera module failed to make its tool list: the device is not connected\n"), 1);
}

TEST(ToolServer, RunsByItselfAndEndsWithoutAModule)
{
    const LogCapture log;
    ToolServer server(TBR_TEST_PLUGINS, "Missing", "", false, false);
    QSignalSpy failures(&server, &ToolServer::startFailed);
    QSignalSpy ends(&server, &ToolServer::finished);
    QSignalSpy listening(&server, &ToolServer::listening);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(eventually([&] { return !ends.empty(); }));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "it never got as far as to serve";
    EXPECT_EQ(ends.at(0).at(0).toInt(), 1);
    ASSERT_EQ(failures.size(), 1);
    EXPECT_EQ(failures.at(0).at(0).toString().toStdString(),
              "The library \"" + moduleFile("Missing") + "\" cannot be loaded: there is no such file");
    EXPECT_TRUE(listening.empty());
    EXPECT_TRUE(isLogged(log, "     - TS main thread \\(0x[0-9a-f]+\\) started\n"));
    EXPECT_FALSE(log.contains("toolserver", "Main thread ("));
}

TEST(ToolServer, LeavesItsLoopAtOnceWhenItWasStoppedBefore)
{
    ToolServer server(TBR_TEST_PLUGINS, "TestCamera", "", false, false);
    server.setPort(0);
    server.terminateMainThread();
    testing::internal::CaptureStdout();
    EXPECT_EQ(server.run(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "finished\n");
}

TEST(ToolServer, DoesNotRunAgainAfterItHasServed)
{
    ToolServer server(TBR_TEST_PLUGINS, "TestCamera", "", false, false);
    server.setPort(0);
    server.terminateMainThread();
    EXPECT_EQ(server.run(), 0);
    EXPECT_EQ(server.run(), 1); // as its own timer would let it
}

TEST(ToolServer, ConnectsToItsPortWhenItIsStoppedBeforeItRuns)
{
    PlainSocket listener = PlainSocket::listening();
    ToolServer server(TBR_TEST_PLUGINS, "TestCamera", "", false, false);
    server.setPort(listener.port());
    server.terminateMainThread();
    EXPECT_TRUE(listener.accept().seesPeerClose());
}

TEST(ToolServer, LogsTheStagesOfItsStart)
{
    ToolServer server(TBR_TEST_PLUGINS, "TestCamera", "", false, false);
    server.setPort(0);
    server.terminateMainThread();
    delete server.createToollist(moduleFile("TestCamera")); // the module's factory announces itself only once
    const LogCapture log;
    server.run();
    EXPECT_THAT(log.entries(), ElementsAre(entry(MatchesPattern("     - TS main thread \\(0x[0-9a-f]+\\) started\n")),
                                           entry("Toollist constructor (number of tools: 8).\n"),
                                           entry("\n\nTS 3.0 successfully started ...\n\n"),
                                           entry(MatchesPattern("Main thread \\(0x[0-9a-f]+\\) running.\n\n"))));
}

// Serving

TEST(ToolServer, ServesTheModulesToolsUntilItIsStopped)
{
    testing::internal::CaptureStdout();
    {
        ServerInThread server;
        EXPECT_EQ(server.address(), "0.0.0.0");
        server.call(
            [&](ToolServer& one)
            {
                EXPECT_EQ(one.getPort(), server.port());
                EXPECT_NE(one.getToollist(), nullptr);
            });
        ProtocolClient client(server.port(), Order::HOST);
        EXPECT_EQ(client.ask(bytes("17")), acknowledgement());
        EXPECT_EQ(server.stop(), 0);
        EXPECT_TRUE(client.seesServerClose());
        EXPECT_THAT(server.failures(), IsEmpty());
    }
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                MatchesPattern("new client connection\n" // the client
                               "new client connection\n" // the server itself, to stop waiting
                               "finished\n"
                               "current thread 0x[0-9a-f]+\nquitting thread 0x[0-9a-f]+\n"));
}

TEST(ToolServer, LogsItsClients)
{
    const LogCapture log;
    ServerInThread server;
    const int port = server.port();
    ProtocolClient client(port, Order::HOST);
    EXPECT_TRUE(isLogged(
        log, ("\t\tMain thread \\(0x[0-9a-f]+\\) request on main socket \\(" + std::to_string(port) + "\n").c_str()));
    EXPECT_EQ(log.count("toolserver", ") from client: 127.0.0.1\n"), 1);
}

TEST(ToolServer, DeletesASessionWhoseClientLeaves)
{
    const LogCapture log;
    ServerInThread server;
    ProtocolClient stays(server.port(), Order::HOST);
    testing::internal::CaptureStdout();
    ProtocolClient exits(server.port(), Order::HOST);
    ProtocolClient closes(server.port(), Order::HOST);
    EXPECT_EQ(exits.ask(bytes("32")), acknowledgement());
    EXPECT_TRUE(exits.seesServerClose());
    closes.socket().close();
    const auto ends = [&log]
    {
        int count = 0;
        for (const Entry& one : log.entries())
            count +=
                testing::Matches(MatchesPattern("\t\tTerminating client thread 0x[0-9a-f]+\n"))(one.message) ? 1 : 0;
        return count;
    };
    EXPECT_TRUE(eventually([&] { return ends() == 2; }));
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                MatchesPattern("new client connection\n"
                               "new client connection\n"
                               "emitting connectionTerminated\n"
                               "current thread 0x[0-9a-f]+"
                               "current thread 0x[0-9a-f]+\nquitting thread 0x[0-9a-f]+\n"
                               "current thread 0x[0-9a-f]+"
                               "current thread 0x[0-9a-f]+\nquitting thread 0x[0-9a-f]+\n"));
    EXPECT_TRUE(isLogged(log, "\t\tClient interface at socket [0-9]+\n"));
    EXPECT_FALSE(log.contains("toolserver", "Suiciding"));
    EXPECT_TRUE(stays.isServed());
}

TEST(ToolServer, DeletesNothingForASessionThatIsNotItsOwn)
{
    ServerInThread server;
    ProtocolClient client(server.port(), Order::HOST);
    TestToollist tools(1);
    PlainPair ends;
    ClientSocketInterface stranger(ends.there.release(), &tools);
    const LogCapture log;
    server.call(
        [&](ToolServer& one)
        { QObject::connect(&stranger, SIGNAL(connectionTerminated()), &one, SLOT(clientSocketInterfaceExit())); });
    ends.here.close();
    EXPECT_TRUE(eventually([&] { return isLogged(log, "\t\tTerminating client thread 0x[0-9a-f]+\n"); }));
    EXPECT_TRUE(isLogged(log, "Suiciding thread 0x[0-9a-f]+ doesn't belong to a client server.\n"));
    EXPECT_TRUE(client.isServed());
}

TEST(ToolServer, DeletesNothingForACallThatNoSessionSent)
{
    ToolServer server("", "Camera", "", false, false);
    const LogCapture log;
    server.clientSocketInterfaceExit();
    EXPECT_THAT(log.entries(),
                ElementsAre(entry(MatchesPattern("Suiciding thread 0x[0-9a-f]+ doesn't belong to a client server.\n")),
                            entry(MatchesPattern("\t\tTerminating client thread 0x[0-9a-f]+\n"))));
}

TEST(ToolServer, IgnoresASecondRun)
{
    ServerInThread server;
    ProtocolClient client(server.port(), Order::HOST);
    server.call([](ToolServer& one) { EXPECT_EQ(one.run(), 1); });
    EXPECT_TRUE(client.isServed());
    EXPECT_EQ(server.stop(), 0);
}

TEST(ToolServer, ServesACameraThatReportsAnError)
{
    CameraControl camera;
    qputenv("TBR_TEST_CAMERA", camera.address().c_str());
    const LogCapture log;
    ServerInThread server;
    camera.accept();
    qunsetenv("TBR_TEST_CAMERA");
    camera.tell("status -14 too hot");
    camera.tell("start");

    ProtocolClient client(server.port(), Order::HOST);
    EXPECT_EQ(client.ask(bytes("16")), bytes("63000000 fffffff2") + padded("too hot", 256));
    EXPECT_EQ(log.count("toolserver", "\n\nError starting up TS 3.0!\n"), 1);
    EXPECT_EQ(log.count("toolserver", "Waiting for clients to request error status ...\n"), 1);
    EXPECT_FALSE(log.contains("toolserver", "successfully started"));
}

// Ports and clients that may not

TEST(ToolServer, GoesOnWithoutAPortUntilItIsStopped)
{
    const PlainSocket owner = PlainSocket::listening();
    const LogCapture log;
    ServerSetup setup;
    setup.configure = [&](ToolServer& server) { server.setPort(owner.port()); };
    ServerInThread server(setup);
    EXPECT_TRUE(eventually([&] { return isLogged(log, "Main thread \\(0x[0-9a-f]+\\) running.\n\n"); }));
    EXPECT_EQ(log.count("toolserver", "Error on main socket - while opening the socket.\n"), 1);
    EXPECT_THAT(server.failures(),
                ElementsAre("Port " + std::to_string(owner.port()) +
                            " on 0.0.0.0 cannot be opened: it is in use, not permitted, or the address is not this "
                            "machine's"));
    EXPECT_EQ(server.stop(), 0);
}

TEST(ToolServer, ListensOnOneAddressOnly)
{
    ServerSetup setup;
    setup.configure = [](ToolServer& server) { server.setBindAddress("127.0.0.1"); };
    ServerInThread server(setup);
    EXPECT_EQ(server.address(), "127.0.0.1");
    ProtocolClient client(server.port(), Order::HOST);
    EXPECT_TRUE(client.isServed());
    EXPECT_EQ(server.stop(), 0);
}

TEST(ToolServer, CannotListenOnWhatIsNoAddress)
{
    ServerSetup setup;
    setup.configure = [](ToolServer& server) { server.setBindAddress("300.0.0.1"); };
    ServerInThread server(setup);
    EXPECT_TRUE(eventually([&] { return !server.failures().empty(); }));
    EXPECT_EQ(server.stop(), 0);
}

TEST(ToolServer, SendsClientsAwayWhoseAddressIsNotAllowed)
{
    const LogCapture log;
    ServerSetup setup;
    setup.configure = [](ToolServer& server)
    {
        AddressFilter filter;
        filter.add("10.0.0.0/8");
        server.setAllowedClients(filter);
    };
    ServerInThread server(setup);
    ProtocolClient client(server.port());
    EXPECT_TRUE(client.seesServerClose());
    EXPECT_EQ(log.count("toolserver", "A client from 127.0.0.1 is not allowed and was sent away.\n"), 1);
}

TEST(ToolServer, LogsOncePerAddressAndMinuteThatItSendsClientsAway)
{
    const LogCapture log;
    ServerSetup setup;
    setup.configure = [](ToolServer& server)
    {
        AddressFilter filter;
        filter.add("127.0.0.1");
        server.setAllowedClients(filter);
        server.setMaximumClients(1);
    };
    ServerInThread server(setup);
    for (int i = 0; i < 5; ++i)
        for (const char* address : {"127.0.0.2", "127.0.0.3"})
            EXPECT_TRUE(PlainSocket::connectedFrom(address, server.port()).seesPeerClose());
    ProtocolClient only(server.port(), Order::HOST);
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(ProtocolClient(server.port()).seesServerClose());

    EXPECT_EQ(log.count("toolserver", "A client from 127.0.0.2 is not allowed and was sent away.\n"), 1);
    EXPECT_EQ(log.count("toolserver", "A client from 127.0.0.3 is not allowed and was sent away.\n"), 1);
    EXPECT_EQ(log.count("toolserver", "A client from 127.0.0.1 was sent away: there are 1 clients already.\n"), 1);
    const auto entries = log.entries();
    EXPECT_EQ(std::count_if(entries.begin(), entries.end(),
                            [](const Entry& one) { return one.message.find("sent away") != std::string::npos; }),
              3);
}

TEST(ToolServer, AdmitsClientsWhoseAddressIsAllowed)
{
    ServerSetup setup;
    setup.configure = [](ToolServer& server)
    {
        AddressFilter filter;
        filter.add("127.0.0.0/8");
        server.setAllowedClients(filter);
    };
    ServerInThread server(setup);
    ProtocolClient client(server.port(), Order::HOST);
    EXPECT_TRUE(client.isServed());
}

TEST(ToolServer, SendsClientsAwayThatAreTooManyUntilOneLeaves)
{
    const LogCapture log;
    ServerSetup setup;
    setup.configure = [](ToolServer& server) { server.setMaximumClients(2); };
    ServerInThread server(setup);
    ProtocolClient first(server.port(), Order::HOST);
    ProtocolClient second(server.port(), Order::HOST);
    ProtocolClient third(server.port());
    EXPECT_TRUE(third.seesServerClose());
    EXPECT_EQ(log.count("toolserver", "A client from 127.0.0.1 was sent away: there are 2 clients already.\n"), 1);

    EXPECT_EQ(first.ask(bytes("32")), acknowledgement());
    EXPECT_TRUE(first.seesServerClose());
    ProtocolClient fourth(server.port(), Order::HOST);
    EXPECT_TRUE(fourth.isServed());
    EXPECT_TRUE(second.isServed());
}

TEST(ToolServer, ServesManyClientsThatComeAtOnce)
{
    ServerInThread server;
    std::vector<ProtocolClient> clients;
    for (int i = 0; i < 20; ++i)
        clients.emplace_back(server.port());
    for (ProtocolClient& client : clients)
        client.greet(Order::HOST);
    for (ProtocolClient& client : clients)
        EXPECT_TRUE(client.isServed());
}

TEST(ToolServer, LetsNobodyWaitForASessionThatTheModuleHoldsUp)
{
    CameraControl camera;
    qputenv("TBR_TEST_CAMERA", camera.address().c_str());
    ServerInThread server;
    camera.accept();
    qunsetenv("TBR_TEST_CAMERA");
    camera.tell("plug 0 Probe");
    camera.tell("start");
    ProtocolClient leaves(server.port(), Order::HOST);
    camera.tell("block updateCalibration");
    leaves.socket().send(framed(bytes("32")) + framed(bytes("23000000") + nameField("Probe")));
    EXPECT_EQ(leaves.receive(), acknowledgement());
    camera.tell("await updateCalibration");
    EXPECT_TRUE(leaves.seesServerClose());

    ProtocolClient comes(server.port(), Order::HOST);
    EXPECT_TRUE(comes.isServed());
    camera.tell("release");
    EXPECT_TRUE(comes.isServed());
}

TEST(ToolServer, AsksSilentClientsForASignOfLife)
{
    ServerInThread server;
    ProtocolClient client(server.port(), Order::HOST);
    int session = 1;
    while (session < 10000 && PlainSocket::peerPortOf(session) != client.socket().port())
        ++session;
    EXPECT_EQ(PlainSocket::optionOf(session, SOL_SOCKET, SO_KEEPALIVE), 1);
#ifdef TCP_USER_TIMEOUT // where the system lets all of it be looked at
    EXPECT_EQ(PlainSocket::optionOf(session, IPPROTO_TCP, TCP_KEEPIDLE), 20);
    EXPECT_EQ(PlainSocket::optionOf(session, IPPROTO_TCP, TCP_KEEPINTVL), 10);
    EXPECT_EQ(PlainSocket::optionOf(session, IPPROTO_TCP, TCP_KEEPCNT), 3);
    EXPECT_EQ(PlainSocket::optionOf(session, IPPROTO_TCP, TCP_USER_TIMEOUT), 50000);
#endif
}

// Recording and replay

TEST(ToolServer, RecordsToTheFileThatItWasGiven)
{
    const TestFolder folder;
    ServerSetup setup;
    setup.logFile = folder.path("camera.log");
    ServerInThread server(setup);
    server.port();
    EXPECT_EQ(server.stop(), 0);
    EXPECT_EQ(folder.read("camera.log").substr(0, 51), logbytes::header() + "T" + bytes("00000008"));
    EXPECT_THAT(server.failures(), IsEmpty());
}

TEST(ToolServer, ServesWithoutARecordingThatCannotBeWritten)
{
    const TestFolder folder;
    const LogCapture log;
    ServerSetup setup;
    setup.logFile = folder.path("nowhere/camera.log");
    ServerInThread server(setup);
    ProtocolClient client(server.port(), Order::HOST);
    EXPECT_TRUE(client.isServed());
    EXPECT_THAT(server.failures(), ElementsAre("The tracking log \"" + setup.logFile + "\" cannot be written"));
    EXPECT_EQ(log.count("toolserver", "error openening log file name: " + setup.logFile + "\n"), 1);
}

TEST(ToolServer, ReplaysARecordingInPlaceOfACamera)
{
    const TestFolder folder;
    const LogCapture log;
    ServerSetup setup;
    setup.logFile = folder.write("camera.log", recording());
    setup.isReplay = true;
    setup.isRepeating = true;
    ServerInThread server(setup);
    ProtocolClient client(server.port(), Order::HOST);
    EXPECT_EQ(client.ask(packet(POSE, "Probe")), packet(POSE, "Probe") +
                                                     received(Order::HOST, {1, 0, 0, 0, 1, 0, 0, 0, 1}) +
                                                     received(Order::HOST, {1, 2, 3, 0}));
    EXPECT_EQ(log.count("toolserver", "ReplayTL constructor (filename: " + setup.logFile + ") in auto repeat mode.\n"),
              1);
    EXPECT_THAT(server.failures(), IsEmpty());
}

TEST(ToolServer, ServesWithoutTheReplayOfAMissingFile)
{
    const TestFolder folder;
    const LogCapture log;
    ServerSetup setup;
    setup.logFile = folder.path("missing.log");
    setup.isReplay = true;
    ServerInThread server(setup);
    ProtocolClient client(server.port(), Order::HOST);
    EXPECT_EQ(client.ask(bytes("17")), acknowledgement());
    EXPECT_EQ(log.count("toolserver", "Error openening replay file name: " + setup.logFile + ".\n"), 1);
    EXPECT_EQ(log.count("toolserver", "ReplayTL constructor (filename: " + setup.logFile + ") in single play mode.\n"),
              1);
    EXPECT_THAT(server.failures(), ElementsAre("The tracking log \"" + setup.logFile +
                                               "\" cannot be replayed: it is missing, unreadable or not a complete "
                                               "tracking log"));
}

// Its end

TEST(ToolServer, EndsWhateverItsSessionsAreDoing)
{
    const LogCapture log;
    ServerInThread server;
    const int port = server.port();
    ProtocolClient silent(port);
    ProtocolClient idle(port, Order::HOST);
    ProtocolClient inHeader(port, Order::HOST);
    inHeader.socket().send(bytes("01"));
    ProtocolClient inPayload(port, Order::HOST);
    inPayload.socket().send(bytes("0010 16"));
    ProtocolClient atSwitch(port, Order::HOST);
    atSwitch.send(bytes("21000000 05000000 01000000"));
    ProtocolClient greedy(port, Order::HOST);
    std::string requests;
    for (int i = 0; i < 30000; ++i) // answered by 8 MB: more than the system keeps for a client that does not read
        requests += framed(bytes("00"));
    greedy.socket().send(requests);
    EXPECT_TRUE(greedy.socket().waitForInput(PlainSocket::PATIENCE));

    EXPECT_EQ(server.stop(), 0);
    for (ProtocolClient* client : {&silent, &idle, &inHeader, &inPayload, &atSwitch})
        EXPECT_TRUE(client->seesServerClose());
    EXPECT_EQ(log.count("toolserver", "\n\nTS 3.0 - SHUTDOWN REQUESTED ...\n\n"), 1);
    EXPECT_EQ(log.count("toolserver", "\n... SHUTDOWN COMPLETED!\n\n"), 1);
}

TEST(ToolServer, EndsWhenItIsStoppedOnItsOwnThread)
{
    ServerInThread server;
    server.port();
    server.call([](ToolServer& one) { one.terminateMainThread(); });
    EXPECT_TRUE(server.wait(static_cast<unsigned long>(30000)));
}

TEST(ToolServer, EndsWhileClientsComeAndGo)
{
    for (int round = 0; round < 5; ++round)
    {
        ServerInThread server;
        const int port = server.port();
        std::vector<ProtocolClient> clients;
        for (int i = 0; i < 5; ++i)
        {
            clients.emplace_back(port);
            clients.back().send(bytes("32"));
        }
        EXPECT_EQ(server.stop(), 0);
    }
}
