#include "KilledServer.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

using namespace clockRecording;

namespace
{

/// Limits the size of a process's files while it lives, as an administrator may.
class FileSizeLimit
{
public:
    FileSizeLimit(pid_t process, std::size_t bytes) : m_Process(process)
    {
        const rlimit limit = {bytes, RLIM_INFINITY};
        EXPECT_EQ(prlimit(process, RLIMIT_FSIZE, &limit, &m_Former), 0);
    }
    ~FileSizeLimit() { EXPECT_EQ(prlimit(m_Process, RLIMIT_FSIZE, &m_Former, nullptr), 0); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    pid_t m_Process;
    rlimit m_Former;
};

/// A disk with little room, seen by this thread and the processes that it starts only. Not everybody may have one.
class SmallDisk
{
public:
    explicit SmallDisk(std::size_t bytes)
    {
        const std::string options = "size=" + std::to_string(bytes);
        m_IsThere = unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                    mount("tmpfs", m_Folder.path("").c_str(), "tmpfs", 0, options.c_str()) == 0;
    }
    ~SmallDisk() { EXPECT_TRUE(!m_IsThere || umount2(m_Folder.path("").c_str(), MNT_DETACH) == 0); }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isThere() const { return m_IsThere; }
    const TestFolder& folder() const { return m_Folder; }

private:
    const TestFolder m_Folder;
    bool m_IsThere;
};

int reportsOf(const ServerProcess& server)
{
    const std::string log = server.standardError();
    const std::string report = "The tracking log cannot be written (";
    int count = 0;
    for (std::size_t at = log.find(report); at != std::string::npos; at = log.find(report, at + 1))
        ++count;
    return count;
}

/// Waits until there is no room for the recording; expects that clients see the tools move on all the same, that this
/// is reported once, and that the file keeps its complete blocks and nothing else.
void expectTrackingWithoutRoom(RecordingServer& server, const TestFolder& folder)
{
    ProtocolClient client = server.connect();
    EXPECT_TRUE(eventually([&] { return reportsOf(server.process) > 0; }));
    const Recording full(folder.read("run.tslog"));
    const double begin = seenBy(client);
    EXPECT_TRUE(eventually([&] { return passed(begin, seenBy(client)) > 1.0; })) << "some twenty ticks without room";
    EXPECT_EQ(reportsOf(server.process), 1);

    // A look may fall between a block that was begun and its removal.
    EXPECT_TRUE(eventually([&] { return Recording(folder.read("run.tslog")).endsWithABlock(); }));
    EXPECT_EQ(Recording(folder.read("run.tslog")).blocks(), full.blocks());
}

TEST(InterruptedRecording, MissesAtMostTheLastSecondWhenTheServerIsKilled)
{
    killAtRandomMoments(3);
}

TEST(InterruptedRecording, LetsTheServerTrackOnWhileTheFileMayNotGrowAndGoesOnAfterwards)
{
    const TestFolder folder;
    RecordingServer server(folder.path("run.tslog"));
    const auto recorded = [&] { return Recording(folder.read("run.tslog")); };
    EXPECT_TRUE(eventually([&] { return recorded().blocks() >= 1; }));
    {
        // There is room for some more blocks and the beginning of another one.
        const FileSizeLimit limit(static_cast<pid_t>(server.process.processId()),
                                  START_SIZE + (recorded().blocks() + 3) * BLOCK_SIZE + 5000);
        expectTrackingWithoutRoom(server, folder);
    }
    const std::size_t before = recorded().blocks();
    EXPECT_TRUE(eventually([&] { return recorded().blocks() >= before + 3; }));
    EXPECT_EQ(server.process.stop(), 0);
    EXPECT_TRUE(server.process.wasShutDownCompletely());
    EXPECT_EQ(reportsOf(server.process), 1);
    EXPECT_TRUE(recorded().endsWithABlock());
    expectReplayOfEveryBlock(folder.path("run.tslog"), recorded());
}

TEST(InterruptedRecording, KeepsTheFileWholeOnADiskThatFillsUp)
{
    const SmallDisk disk(START_SIZE + 12 * BLOCK_SIZE);
    if (!disk.isThere())
        GTEST_SKIP() << "this user may not make a disk";
    RecordingServer server(disk.folder().path("run.tslog"));
    expectTrackingWithoutRoom(server, disk.folder());
    EXPECT_EQ(server.process.stop(), 0);
    EXPECT_TRUE(server.process.wasShutDownCompletely());
    EXPECT_EQ(reportsOf(server.process), 1);

    const Recording recording(disk.folder().read("run.tslog"));
    EXPECT_TRUE(recording.endsWithABlock());
    EXPECT_GE(recording.blocks(), 1u);
    expectReplayOfEveryBlock(disk.folder().path("run.tslog"), recording);
}

} // namespace
