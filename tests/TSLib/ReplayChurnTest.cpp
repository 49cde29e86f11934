#include "TestSession.h"

#include <support/Effort.h>
#include <support/FrameCode.h>
#include <support/LogCapture.h>
#include <support/LogFileBytes.h>
#include <support/MutedOutput.h>
#include <support/TestFolder.h>

#include <TSBase/ReplayTL.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using namespace wire;

namespace
{

using logbytes::Bytes;

Bytes tool(const std::string& name)
{
    logbytes::Content content;
    content.name = name;
    content.reals = {{1, 2, 3}};
    return logbytes::filledSlot(logbytes::content(content));
}

/// What a position block says of all tools in a frame.
Bytes positions(int frame, std::size_t tools)
{
    std::array<float, 9> rotation;
    for (int i = 0; i < 9; ++i)
        rotation[static_cast<std::size_t>(i)] = static_cast<float>(framecode::rotation(frame)[i / 3][i % 3]);
    const auto point = [](const Vector3d& at) {
        return logbytes::Point{static_cast<float>(at.x), static_cast<float>(at.y), static_cast<float>(at.z)};
    };
    const Bytes one =
        logbytes::realTime({point(framecode::marker(frame, 0))}, point(framecode::translation(frame)), rotation);
    return logbytes::positions(1, 2, std::vector<Bytes>(tools, one));
}

/// A recording of a second in which the list of tools is made anew time and again. The reader takes no tag between a
/// later tool list and the poses behind it.
Bytes changingRecording()
{
    const std::vector<Bytes> two = {tool("Probe"), logbytes::emptySlot(), tool("Drill")};
    const std::vector<Bytes> three = {tool("Drill"), tool("Saw"), tool("Probe")};
    Bytes log = logbytes::header() + logbytes::toolList(two) + positions(1, 2);
    for (int frame = 2; frame < 20; ++frame)
    {
        const bool isThree = frame % 4 < 2;
        const bool isListed = frame % 2 == 0;
        if (isListed)
            log += logbytes::toolList(isThree ? three : two);
        log += positions(frame, isThree ? 3 : 2).substr(isListed ? 1 : 0);
    }
    return log + logbytes::toolList(two) + positions(20, 2).substr(1);
}

/// One step of the replay's timer. It happens on the test's own thread: what happens on a thread of Qt is hidden from
/// the thread sanitizer.
void tick(ReplayTL& replay)
{
    QMetaObject::invokeMethod(&replay, "doReplay", Qt::DirectConnection);
}

/// Asks for poses and expects each to be of one frame.
class ReplayClient
{
public:
    explicit ReplayClient(Toollist& list) : m_Session(list) { m_Session.greet(); }

    void askEverything()
    {
        for (const char* name : {"Probe", "Drill", "Saw"})
        {
            check(m_Session.ask(packet(POSE, name)));
            EXPECT_FALSE(m_Session.ask(packet(MARKER, name)).empty());
            EXPECT_FALSE(m_Session.ask(packet(CALIBRATE, name)).empty());
            EXPECT_FALSE(m_Session.ask(packet(FRAME, name)).empty());
            EXPECT_FALSE(m_Session.ask(packet(NEAREST)).empty());
            EXPECT_EQ(m_Session.ask(packet(FRAME, "CAM")), acknowledgement());
        }
        for (const unsigned char kind : {TOOL_CHECK, ALL_POSES, ALL_MARKER, ALL_IMAGINARY})
            for (const std::string& answer : m_Session.askAll(packet(kind)))
                if (kind == ALL_POSES)
                    check(answer);
    }
    int checkedPoses() const { return m_CheckedPoses; }

private:
    void check(const std::string& record)
    {
        if (record.size() != 88)
            return;
        ++m_CheckedPoses;
        EXPECT_GE(framecode::frameOf(framecode::poseIn(record)), 0) << &record[4];
    }

    TestSession m_Session;
    int m_CheckedPoses = 0;
};

} // namespace

TEST(ReplayChurn, GivesEveryPoseFromOneFrameWhileTheListOfToolsIsMadeAnew)
{
    const MutedOutput muted;
    const LogCapture log;
    const TestFolder folder;
    ReplayTL replay(folder.write("replay.log", changingRecording()), true);
    ASSERT_TRUE(replay.startReplay());

    std::vector<std::unique_ptr<ReplayClient>> clients;
    for (int i = 0; i < 8; ++i)
        clients.push_back(std::make_unique<ReplayClient>(replay));
    std::atomic<int> atWork{static_cast<int>(clients.size())};
    std::vector<std::thread> threads;
    for (const auto& client : clients)
        threads.emplace_back(
            [&]
            {
                for (int round = 0; round < withEffort(300) && !testing::Test::HasFailure(); ++round)
                    client->askEverything();
                --atWork;
            });
    for (int ticks = 0; atWork > 0 || ticks < 200; ++ticks)
        tick(replay);
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& client : clients)
        EXPECT_GT(client->checkedPoses(), 0);
    EXPECT_FALSE(log.contains("toolserver", "ERROR")) << "the recording is read to its end";
}

TEST(ReplayChurn, CanBeStoppedAndBegunWhileClientsAsk)
{
    const MutedOutput muted;
    const LogCapture log;
    const TestFolder folder;
    ReplayTL replay(folder.write("replay.log", changingRecording()), false);
    ReplayClient client(replay);
    std::atomic<bool> isOver{false};
    std::thread asking(
        [&]
        {
            while (!isOver)
                client.askEverything();
        });
    for (int round = 0; round < withEffort(1000); ++round)
    {
        EXPECT_TRUE(replay.startReplay());
        tick(replay);
        replay.stopReplay();
    }
    isOver = true;
    asking.join();
    EXPECT_GT(client.checkedPoses(), 0);
}
