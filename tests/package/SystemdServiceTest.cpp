#include "ShellCommand.h"

#include <support/Document.h>
#include <support/Eventually.h>
#include <support/ProtocolClient.h>
#include <support/ServerProcess.h>

#include <gmock/gmock.h>

#include <iostream>
#include <memory>

using testing::HasSubstr;

namespace
{

/// The service as it is installed. What systemd knows about units is asked from its tools, which need no systemd to
/// run; the sandbox is made by sandboxed.py.
class SystemdService : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        ourFolder = std::make_unique<TestFolder>();
        // Open to the service's account, as a system's folders are.
        const ShellOutcome installation =
            runInShell("chmod 755 " + ourFolder->path("") + "; " TBR_CMAKE " --install " TBR_BUILD_TREE " --prefix " +
                       ourFolder->path("tbr"));
        ASSERT_EQ(installation.status, 0) << installation.errors;
    }
    static void TearDownTestSuite() { ourFolder.reset(); }

    void SetUp() override
    {
        if (!isThere("systemd-analyze --version"))
            GTEST_SKIP() << "the package systemd is not installed";
        if (!isThere("/usr/bin/python3 -c 'import seccomp'"))
            GTEST_SKIP() << "the package python3-seccomp is not installed";
        ASSERT_EQ(runInShell("mkdir -p " + state() + "; chmod 777 " + state()).status, 0);
    }

    static std::string installed(const std::string& file) { return ourFolder->path("tbr/" + file); }
    static std::string unit() { return installed("lib/systemd/system/tbr-toolserver.service"); }
    static std::string state() { return ourFolder->path("state"); }

    static std::unique_ptr<TestFolder> ourFolder;
};

std::unique_ptr<TestFolder> SystemdService::ourFolder;

/// The service's command, with its options, in its sandbox.
class SandboxedServer : public ServerProcess
{
public:
    SandboxedServer(const std::string& unit, const std::string& state, const std::string& options)
        : ServerProcess({unit, state}, {{"TOOLSERVER_OPTIONS", options}}, nullptr, TBR_SANDBOXED)
    {
    }
};

/// The options that a file for /etc/default sets.
std::string optionsIn(const std::string& file)
{
    return runInShell(". " + file + "; echo -n \"$TOOLSERVER_OPTIONS\"").output;
}

} // namespace

TEST_F(SystemdService, HasAUnitThatSystemdUnderstands)
{
    const ShellOutcome check = runInShell("systemd-analyze verify --man=no --recursive-errors=no " + unit());
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.output + check.errors, "");
}

TEST_F(SystemdService, IsExposedToLittleByItsUnit)
{
    const ShellOutcome check =
        runInShell("systemd-analyze security --no-pager --offline=true --threshold=12 " + unit());
    EXPECT_EQ(check.status, 0) << check.output;
    const auto verdict = check.output.find("Overall exposure level");
    ASSERT_NE(verdict, std::string::npos) << check.output;
    std::cout << check.output.substr(verdict);
}

TEST_F(SystemdService, UnderstandsTheFragmentsOfTheDocument)
{
    for (const DocumentBlock& block : blocksOf(TBR_SECURITY_DOCUMENT, "ini"))
    {
        const TestFolder folder;
        const std::string copy = folder.path("tbr-toolserver.service");
        folder.write("fragment", block.text);
        const ShellOutcome check =
            runInShell("cp " + unit() + " " + copy + "; mkdir " + copy + ".d; cp " + folder.path("fragment") + " " +
                       copy + ".d/fragment.conf; " + "systemd-analyze verify --man=no --recursive-errors=no " + copy);
        EXPECT_EQ(check.status, 0) << block.text;
        EXPECT_EQ(check.output + check.errors, "") << block.text;
    }
}

TEST_F(SystemdService, HasAnAccountThatNobodyCanLogInTo)
{
    const TestFolder folder;
    const std::string root = folder.path("");
    const ShellOutcome made = runInShell("mkdir " + root + "/etc; systemd-sysusers --root=" + root + " " +
                                         installed("lib/sysusers.d/tbr-toolserver.conf") + " && chmod u+r " + root +
                                         "/etc/shadow"); // which is not even its owner's to read
    ASSERT_EQ(made.status, 0) << made.errors;
    EXPECT_THAT(folder.read("etc/passwd"), testing::ContainsRegex("^tbr-toolserver:x:[0-9]+:[0-9]+:[^\n]*/nologin\n"));
    EXPECT_THAT(folder.read("etc/group"), testing::ContainsRegex("^tbr-toolserver:x:[0-9]+:\n"));
    EXPECT_THAT(folder.read("etc/shadow"), HasSubstr("tbr-toolserver:!*:"));
    EXPECT_THAT(runInShell("cat " + unit()).output, HasSubstr("\nUser=tbr-toolserver\n"));
}

TEST_F(SystemdService, ServesAndRecordsInItsSandbox)
{
    const std::string options = optionsIn(installed("share/tbrNavigation/systemd/tbr-toolserver.default"));
    EXPECT_THAT(runInShell("cat " + unit()).output, HasSubstr("\nEnvironment=\"TOOLSERVER_OPTIONS=" + options + "\"\n"))
        << "the example changes nothing";
    SandboxedServer server(unit(), state(), options + " --port 0 --log 'a session.tslog'");
    ASSERT_THAT(server.listeningLine(), HasSubstr("listening on 127.0.0.1:"));

    constexpr int MORE_THAN_1024_DESCRIPTORS_ARE_ENOUGH_FOR = 600;
    std::vector<ProtocolClient> clients;
    for (int i = 0; i < MORE_THAN_1024_DESCRIPTORS_ARE_ENOUGH_FOR; ++i)
        clients.emplace_back(server.port(), wire::Order::HOST);
    for (ProtocolClient& client : clients)
        EXPECT_TRUE(client.isServed());
    clients.clear();

    EXPECT_EQ(server.stop(), 0);
    EXPECT_TRUE(server.wasShutDownCompletely());
    const ShellOutcome recording = runInShell("stat -c '%a %s' '" + state() + "/a session.tslog'");
    EXPECT_THAT(recording.output, testing::MatchesRegex("640 [0-9]{4,}\n"));
}

TEST_F(SystemdService, MayDoInItsSandboxWhatItNeedsAndNothingElse)
{
    const std::string script = ourFolder->path("SandboxProbe.py"); // where the service's account can read it
    ASSERT_EQ(runInShell("install -m 644 " TBR_SANDBOX_PROBE " " + script).status, 0);
    const ShellOutcome probe = runInShell(TBR_SANDBOXED " " + unit() + " " + state() + " /usr/bin/python3 " + script +
                                          " " + ourFolder->path("foreign"));
    ASSERT_EQ(probe.status, 0) << probe.errors;
    for (const char* result :
         {"write here: done\n", "open AF_INET: done\n", "open AF_INET6: Address family not supported by protocol\n",
          "open AF_UNIX: Address family not supported by protocol\n",
          "open AF_NETLINK: Address family not supported by protocol\n",
          "open AF_PACKET: Address family not supported by protocol\n",
          "write and execute memory: Operation not permitted\n", "raise the priority: Operation not permitted\n",
          "change the root: Operation not permitted\n", "become root: Operation not permitted\n"})
        EXPECT_THAT(probe.output, HasSubstr(result));

    if (probe.errors.find("sandboxed: the file system stays writable") == std::string::npos)
        EXPECT_THAT(probe.output, HasSubstr("write elsewhere: Read-only file system\n"));
    else
        std::cout << "Not tested, for want of the right to mount: the read-only file system.\n";
}
