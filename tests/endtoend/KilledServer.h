#pragma once

#include "ClockRecording.h"

#include <TSBase/ReplayTL.h>

#include <support/LogCapture.h>

#include <chrono>
#include <iostream>
#include <random>

namespace clockRecording
{

/// The time that a replayed clock shows.
inline double shownBy(const ReplayTL& replay)
{
    Vector3d translation;
    EXPECT_EQ(replay.getTool("Clock")->getTranslationVector(translation), 1);
    return shownAt(static_cast<float>(translation.x), static_cast<float>(translation.y));
}

/// Expects that replay shows every complete block of a recording, one after the other, and then says that it is done.
inline void expectReplayOfEveryBlock(const std::string& file, const Recording& recording)
{
    const LogCapture log;
    ReplayTL replay(file, false);
    ASSERT_TRUE(replay.startReplay());
    for (std::size_t block = 0; block < recording.blocks(); ++block)
    {
        EXPECT_EQ(shownBy(replay), recording.seconds(block)) << "block " << block;
        EXPECT_EQ(log.count("toolserver", "Replay log stream - done.\n"), 0) << "before block " << block;
        QMetaObject::invokeMethod(&replay, "doReplay", Qt::DirectConnection);
    }
    EXPECT_EQ(log.count("toolserver", "Replay log stream - done.\n"), 1);
}

/// Expects that a server plays a recording to its end.
inline void expectServedReplay(const std::string& file, const Recording& recording)
{
    std::vector<std::string> arguments = ServerProcess::loopback();
    arguments.insert(arguments.end(), {"--replay", file});
    ServerProcess replay(arguments);
    ProtocolClient client(replay.port(), wire::Order::HOST);
    EXPECT_TRUE(
        eventually([&] { return replay.standardError().find("Replay log stream - done.") != std::string::npos; }));
    EXPECT_EQ(seenBy(client), recording.lastSecondsShown());
    EXPECT_EQ(replay.stop(), 0);
}

/// Kills a recording server at a moment that `random` chooses, and expects all but the last second in the file. The
/// time is the camera's own, so a machine that is too busy for both camera and recording makes no difference.
inline void killAtARandomMoment(std::mt19937& random)
{
    const TestFolder folder;
    const std::string file = folder.path("run.tslog");
    RecordingServer server(file);
    ProtocolClient client = server.connect();
    EXPECT_TRUE(eventually([&] { return Recording(folder.read("run.tslog")).blocks() >= 1; }));

    using Clock = std::chrono::steady_clock;
    const std::chrono::microseconds delay(std::uniform_int_distribution<int>(0, 500000)(random));
    const Clock::time_point end = Clock::now() + delay;
    double lastSeen = 0.0;
    do
        lastSeen = seenBy(client);
    while (Clock::now() < end);
    server.process.crash();

    const Recording recording(folder.read("run.tslog"));
    ASSERT_GE(recording.blocks(), 1u);
    const double missing = passed(recording.seconds(recording.blocks() - 1), lastSeen);
    std::cout << "killed " << delay.count() << " us after the first block: " << recording.blocks()
              << " complete blocks, the last one " << missing * 1000.0 << " ms older than what a client saw, "
              << recording.size() - START_SIZE - recording.blocks() * BLOCK_SIZE << " bytes of another one\n";
    EXPECT_LE(missing, 1.0);
    expectReplayOfEveryBlock(file, recording);
    expectServedReplay(file, recording);
}

/// The same so many times. The seed is printed, so that a failure can be had again.
inline void killAtRandomMoments(int rounds)
{
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << "\n";
    std::mt19937 random(seed);
    for (int round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        killAtARandomMoment(random);
    }
}

} // namespace clockRecording
