#include "ReplayLog.h"

#include <TSBase/LogFormat.h>

namespace
{

constexpr int NUMBER_OF_MARKERS = 4;
constexpr int NUMBER_OF_BLOCKS = 200; // ten seconds; then it begins again

using Writer = record::Writer<record::BigEndian>;

/// The markers of a tool, in its own frame. No two tools are alike: clients recognise tools by their geometry.
record::PointList markers(int index)
{
    record::PointList list;
    list.count = NUMBER_OF_MARKERS;
    list.points[0] = Vector3d(0.0, 0.0, 0.0);
    list.points[1] = Vector3d(50.0, 0.0, 0.0);
    list.points[2] = Vector3d(0.0, 60.0, 0.0);
    list.points[3] = Vector3d(40.0 + index, 70.0, 0.0);
    return list;
}

std::string toolContent(int index)
{
    using namespace LogFormat::ToolContent;
    std::string bytes(SIZE, '\0');
    Writer write(bytes.data(), SIZE);
    write(NAME, replayLog::toolName(index));
    write(SECOND_NAME, replayLog::toolName(index));
    write(TYPE, 1 + index % 8);
    write(REAL_MARKERS, markers(index));
    write(ID, index);
    write(NUMBER_OF_JACKS, 1);
    write(MARKER_ANGLE_LIMIT, 60);
    write(MIN_MARKERS, 3);
    return bytes;
}

std::string toolList(int numberOfTools)
{
    char count[4];
    record::BigEndian::putInt(count, numberOfTools);
    std::string bytes(1, LogFormat::TOOL_LIST_TAG);
    bytes.append(count, sizeof count);
    for (int i = 0; i < numberOfTools; ++i)
        bytes.append(LogFormat::FILLED_SLOT, LogFormat::SLOT_TAG_SIZE).append(toolContent(i));
    return bytes;
}

std::string realTimeRecord(int index, int block)
{
    constexpr int SIZE = LogFormat::realTimeSize(NUMBER_OF_MARKERS);
    const Vector3d translation(10.0 * index, 0.1 * block, -2000.0);
    std::string bytes(SIZE, '\0');
    Writer write(bytes.data(), SIZE);
    int offset = 0;
    const record::PointList own = markers(index);
    for (int i = 0; i < own.held(); ++i, offset += 12)
        write(record::Field<float, 3>{offset}, own.points[i] + translation);
    write(record::Field<float, 9>{offset}, Matrix3x3::identity());
    write(record::Field<float, 3>{offset + 36}, translation);
    return bytes;
}

std::string positionBlock(int numberOfTools, int block)
{
    constexpr int MICROSECONDS_PER_BLOCK = 50000;
    std::string stamp(LogFormat::TimeStamp::SIZE, '\0');
    Writer write(stamp.data(), LogFormat::TimeStamp::SIZE);
    write(LogFormat::TimeStamp::SECONDS, block * MICROSECONDS_PER_BLOCK / 1000000);
    write(LogFormat::TimeStamp::MICROSECONDS, block * MICROSECONDS_PER_BLOCK % 1000000);

    std::string bytes = LogFormat::POSITIONS_TAG + stamp;
    for (int i = 0; i < numberOfTools; ++i)
        bytes += realTimeRecord(i, block);
    return bytes;
}

} // namespace

std::string replayLog::toolName(int index)
{
    return "Tool" + std::to_string(index + 1);
}

std::string replayLog::make(int numberOfTools)
{
    std::string bytes(LogFormat::HEADER, LogFormat::HEADER_SIZE);
    bytes += toolList(numberOfTools);
    for (int block = 0; block < NUMBER_OF_BLOCKS; ++block)
        bytes += positionBlock(numberOfTools, block);
    return bytes;
}
