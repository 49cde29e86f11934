#include "ShellCommand.h"

#include <support/Document.h>
#include <support/Eventually.h>
#include <support/PlainSocket.h>

#include <gmock/gmock.h>

#include <memory>

using testing::HasSubstr;

namespace
{

/// The commands of docs/security.md, carried out on this machine, with ports of this test's own: the tool server, the
/// server's end of the tunnel, and the workstation's end of it.
class TlsTunnel : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!isThere("command -v stunnel"))
            GTEST_SKIP() << "the package stunnel4 is not installed";
        if (!isThere("command -v openssl"))
            GTEST_SKIP() << "the package openssl is not installed";
        ASSERT_EQ(runInShell("mkdir " + m_Folder.path("server") + " " + m_Folder.path("workstation")).status, 0);
        for (const DocumentBlock& block : blocksOf(TBR_SECURITY_DOCUMENT, "sh "))
            ASSERT_NO_FATAL_FAILURE(carryOut(block));
        ASSERT_EQ(m_Processes.size(), 3U) << "the tool server and both ends";
    }

    void TearDown() override
    {
        for (auto process = m_Processes.rbegin(); process != m_Processes.rend(); ++process)
            EXPECT_EQ((*process)->stop(), 0) << (*process)->standardError();
    }

    /// Runs commands in the folder of "server" or "workstation" to their end.
    ShellOutcome run(const std::string& place, const std::string& commands) const
    {
        return runInShell("cd " + m_Folder.path(place) + "\n" + commands, environment());
    }

    /// Starts a program that listens on `port` until the test ends.
    void start(const std::string& place, const std::string& command, const std::string& port)
    {
        const std::vector<std::string> arguments = {"-c", "cd " + m_Folder.path(place) + " && exec " + command};
        m_Processes.push_back(std::make_unique<ProgramProcess>("/bin/bash", arguments, environment()));
        ProgramProcess& process = *m_Processes.back();
        EXPECT_TRUE(eventually([&] { return !process.isRunning() || PlainSocket().tryConnect(std::stoi(port)); }));
        ASSERT_TRUE(process.isRunning()) << command << "\n" << process.standardError();
    }

    /// What toolclient shows of the server that it finds on `port`.
    ShellOutcome toolclient(const std::string& port, const std::string& command) const
    {
        return run("workstation", "toolclient --port " + port + " " + command);
    }

    /// The same, with PORT for the port's number.
    std::string shownAt(const std::string& port, const std::string& command) const
    {
        std::string output = toolclient(port, command).output;
        const auto at = output.find(":" + port);
        return at == std::string::npos ? output : output.replace(at + 1, port.size(), "PORT");
    }

    /// How many clients the tool server itself has seen so far.
    int clientsOfServer() const
    {
        const std::string log = m_Processes.front()->standardError();
        int count = 0;
        for (auto at = log.find("from client:"); at != std::string::npos; at = log.find("from client:", at + 1))
            ++count;
        return count;
    }

    static std::string freePort() { return std::to_string(PlainSocket::freePort()); }

    const std::string serverPort = freePort();
    const std::string tunnelPort = freePort();
    const std::string entrancePort = freePort();

private:
    /// "sh PLACE" runs to its end, "sh PLACE runs" stays.
    void carryOut(const DocumentBlock& block)
    {
        const std::string place = block.kind.find(" workstation") == 2 ? "workstation" : "server";
        if (block.kind == "sh " + place + " runs")
        {
            const std::string ports[] = {serverPort, tunnelPort, entrancePort};
            ASSERT_LT(m_Processes.size(), std::size(ports));
            start(place, localised(block.text), ports[m_Processes.size()]);
            return;
        }
        ASSERT_EQ(block.kind, "sh " + place);
        const ShellOutcome outcome = run(place, localised(block.text));
        ASSERT_EQ(outcome.status, 0) << block.text << outcome.errors;
        runInShell("cd " + m_Folder.path("") +
                   "; cp -n server/navigation.crt workstation/; "
                   "cp -n workstation/workstation-1.crt server/"); // as soon as they are there
    }

    /// A command of the document with the addresses of this test.
    std::string localised(std::string command) const
    {
        const std::string loopback = "127.0.0.1:";
        const std::pair<std::string, std::string> addresses[] = {
            {"--bind 127.0.0.1 --port 2222", "--bind 127.0.0.1 --port " + serverPort},
            {"192.168.7.1:2223 127.0.0.1:2222", loopback + tunnelPort + " " + loopback + serverPort},
            {"127.0.0.1:2222 192.168.7.1:2223", loopback + entrancePort + " " + loopback + tunnelPort},
            {"toolclient --port 2222", "toolclient --port " + entrancePort}};
        for (const auto& [documented, own] : addresses)
            for (auto at = command.find(documented); at != std::string::npos; at = command.find(documented, at + 1))
                command.replace(at, documented.size(), own);
        return command;
    }

    static ProgramProcess::Environment environment()
    {
        return {{"PATH", TBR_TUNNEL_DIR ":" TBR_BIN_DIR ":" + qgetenv("PATH").toStdString()}};
    }

    const TestFolder m_Folder;
    std::vector<std::unique_ptr<ProgramProcess>> m_Processes;
};

} // namespace

TEST_F(TlsTunnel, ShowsWhatADirectConnectionShows)
{
    for (const char* command : {"status", "--json list"})
    {
        const ShellOutcome direct = toolclient(serverPort, command);
        EXPECT_EQ(direct.status, 0) << direct.errors;
        EXPECT_TRUE(eventually( // the answers change, as tools come into view
            [&] { return shownAt(entrancePort, command) == shownAt(serverPort, command); }))
            << direct.output;
    }
    EXPECT_THAT(shownAt(entrancePort, "list"), HasSubstr("Pointer"));
}

TEST_F(TlsTunnel, RefusesWhoeverHasNoCertificateOnTheListBeforeTheServerSeesIt)
{
    const int before = clientsOfServer();
    const std::string handshake = "openssl s_client -ign_eof -connect 127.0.0.1:" + tunnelPort + " ";

    EXPECT_EQ(toolclient(tunnelPort, "list").status, 1) << "it speaks no TLS";
    EXPECT_THAT(run("workstation", handshake + "-tls1_3").errors, HasSubstr("alert certificate required"));
    EXPECT_THAT(run("workstation", handshake + "-tls1_2 -cert workstation-1.crt -key workstation-1.key").errors,
                HasSubstr("alert protocol version"));

    const std::string port = freePort();
    ASSERT_EQ(run("workstation", "tls-tunnel identity stranger").status, 0);
    ASSERT_NO_FATAL_FAILURE(
        start("workstation", "tls-tunnel client stranger navigation.crt 127.0.0.1:" + port + " 127.0.0.1:" + tunnelPort,
              port));
    EXPECT_EQ(toolclient(port, "list").status, 1);

    EXPECT_EQ(toolclient(entrancePort, "list").status, 0);
    EXPECT_TRUE(eventually([&] { return clientsOfServer() > before; }));
    EXPECT_EQ(clientsOfServer(), before + 1) << "the last one alone";
}

TEST_F(TlsTunnel, RefusesAServerThatIsNotTheOwnerOfTheCertificate)
{
    const std::string port = freePort();
    ASSERT_EQ(run("workstation", "tls-tunnel identity other").status, 0);
    ASSERT_NO_FATAL_FAILURE(
        start("workstation", "tls-tunnel client workstation-1 other.crt 127.0.0.1:" + port + " 127.0.0.1:" + tunnelPort,
              port));
    EXPECT_EQ(toolclient(port, "list").status, 1);
}

TEST_F(TlsTunnel, KeepsTheKeyFromOthersAndNeverReplacesIt)
{
    EXPECT_EQ(run("server", "stat -c %a navigation.key").output, "600\n");
    const std::string key = run("server", "cat navigation.key").output;
    const ShellOutcome again = run("server", "tls-tunnel identity navigation");
    EXPECT_EQ(again.status, 1);
    EXPECT_THAT(again.errors, HasSubstr("navigation.key is there already"));
    EXPECT_EQ(run("server", "cat navigation.key").output, key);
}

TEST_F(TlsTunnel, WritesItsConfigurationDownForTheSystem)
{
    const std::string addresses = " 127.0.0.1:1 127.0.0.1:2";
    const ShellOutcome printed = run("server", "tls-tunnel --print server navigation clients.crt" + addresses);
    EXPECT_EQ(printed.status, 0);
    for (const char* line : {"client = no\n", "accept = 127.0.0.1:1\n", "connect = 127.0.0.1:2\n", "verifyPeer = yes\n",
                             "/server/navigation.key\n", "/server/clients.crt\n", "sslVersionMin = TLSv1.3\n"})
        EXPECT_THAT(printed.output, HasSubstr(line));
    EXPECT_THAT(run("server", "tls-tunnel server navigation missing.crt" + addresses).errors,
                HasSubstr("missing.crt cannot be read"));
}

TEST_F(TlsTunnel, RefusesWrongUsageWithStatus2)
{
    for (const char* arguments : {"", "nonsense", "identity", "identity a b", "server a b c", "--print identity a",
                                  "--print", "client a b c d e"})
        EXPECT_EQ(run("server", std::string("tls-tunnel ") + arguments).status, 2) << arguments;
    const ShellOutcome help = run("server", "tls-tunnel --help");
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.output, HasSubstr("tls-tunnel identity NAME"));
}
