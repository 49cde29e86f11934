#include <TSBase/ReplayTL.h>

#include <support/LogCapture.h>
#include <support/LogFileBytes.h>
#include <support/TestFolder.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iostream>

using logbytes::Bytes;

namespace
{

constexpr std::size_t TOOLS = 64;
constexpr std::size_t MARKERS = 32;

const std::vector<logbytes::Point> ALL_MARKERS(MARKERS, {1, 2, 3});

Bytes start()
{
    std::vector<Bytes> entries;
    for (std::size_t i = 0; i < TOOLS; ++i)
    {
        logbytes::Content tool;
        tool.name = "T" + std::to_string(i);
        tool.reals = ALL_MARKERS;
        entries.push_back(logbytes::filledSlot(logbytes::content(tool)));
    }
    return logbytes::header() + logbytes::toolList(entries);
}

/// The block of tools that all stand at (x, 0, 0).
Bytes positionsAt(float x)
{
    return logbytes::positions(1, 2, std::vector<Bytes>(TOOLS, logbytes::realTime(ALL_MARKERS, {x, 0, 0})));
}

double xOf(const Tool* tool)
{
    Vector3d translation;
    tool->getTranslationVector(translation);
    return translation.x;
}

/// The most memory that this process has had so far, in KiB; 0 where the system does not tell.
long peakKiB()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
    {
        long value = 0;
        if (word == "VmHWM:" && status >> value)
            return value;
    }
    return 0;
}

} // namespace

TEST(LongReplay, PlaysMoreThan4GiBFromEndToEndInConstantMemory)
{
    const Bytes first = start() + positionsAt(1);
    const auto blockSize = static_cast<qint64>(positionsAt(2).size());
    const qint64 emptyBlocks = (qint64(1) << 32) / blockSize + 1;
    const TestFolder folder;
    const std::string name = folder.write("replay.log", first);
    QFile file(QString::fromStdString(name));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite) && file.seek(qint64(first.size()) + emptyBlocks * blockSize));
    ASSERT_EQ(blockSize, file.write(positionsAt(2).data(), blockSize));
    file.close();

    const LogCapture log;
    ReplayTL replay(name, false);
    ASSERT_TRUE(replay.startReplay());
    const Tool* tool = replay.getTool("T63");
    const auto tick = [&] { QMetaObject::invokeMethod(&replay, "doReplay", Qt::DirectConnection); };
    EXPECT_EQ(1.0, xOf(tool));
    tick();
    const long before = peakKiB();
    for (qint64 block = 1; block < emptyBlocks; ++block)
        tick();
    EXPECT_EQ(0.0, xOf(tool));
    tick();
    EXPECT_EQ(2.0, xOf(tool));
    EXPECT_EQ(0, log.count("toolserver", "Replay log stream - done.\n"));
    tick();
    EXPECT_EQ(1, log.count("toolserver", "Replay log stream - done.\n"));
    std::cout << "memory grew by " << peakKiB() - before << " KiB while " << emptyBlocks << " blocks were played\n";
    EXPECT_LE(peakKiB() - before, 1024);
}
