#pragma once

#include <TSBase/Record.h>

/// The tracking log file, byte by byte (docs/log-format.md tells the same in words). All numbers are big-endian.
namespace LogFormat
{

/// The file's first bytes; the terminating NUL is part of them.
constexpr char HEADER[] = "Pardel special-TS3 log-file format (10/2003).";
constexpr int HEADER_SIZE = sizeof HEADER;
static_assert(HEADER_SIZE == 46, "recorded files begin with these bytes");

constexpr char TOOL_LIST_TAG = 'T';
constexpr char POSITIONS_TAG = 'P';
constexpr char FILLED_SLOT[4] = "TL1";
constexpr char EMPTY_SLOT[4] = "TL0";
constexpr int SLOT_TAG_SIZE = sizeof FILLED_SLOT;

/// A tool list that announces more slots cannot be read: the holes of a sparse file would be as many empty slots, and
/// take all memory.
constexpr int MOST_SLOTS = 1 << 20;

/// What is logged when a tool, or a whole tool list, cannot be read.
constexpr char SHORT_RECORD_MESSAGE[] =
    "ERROR during creation of the tool in replay mode - could not read enough bytes from logstream handle.\n";

/// The description of one tool.
namespace ToolContent
{
using record::CountedPoints;
using record::Field;

constexpr Field<char, 32> NAME{0};
constexpr Field<char, 32> SECOND_NAME{NAME.end()};
constexpr Field<std::int32_t> TYPE{SECOND_NAME.end()};
constexpr CountedPoints<32> REAL_MARKERS{TYPE.end()};
constexpr CountedPoints<32> NORMAL_VECTORS{REAL_MARKERS.end()};
constexpr CountedPoints<8> IMAGINARY_MARKERS{NORMAL_VECTORS.end()};
constexpr Field<std::int32_t> ID{IMAGINARY_MARKERS.end()};
constexpr Field<std::int32_t> NUMBER_OF_JACKS{ID.end()};
constexpr Field<std::int32_t> MARKER_ANGLE_LIMIT{NUMBER_OF_JACKS.end()};
constexpr Field<float> MAX_3D{MARKER_ANGLE_LIMIT.end()};
constexpr Field<float> MAX_RMS{MAX_3D.end()};
constexpr Field<std::int32_t> GID{MAX_RMS.end()};
constexpr Field<std::int32_t> MIN_MARKERS{GID.end()};
constexpr int SIZE = MIN_MARKERS.end();
static_assert(SIZE == 972, "recorded files hold these bytes");
} // namespace ToolContent

/// The time stamp that begins a position block, behind its tag.
namespace TimeStamp
{
constexpr record::Field<std::int32_t> SECONDS{0};
constexpr record::Field<std::int32_t> MICROSECONDS{SECONDS.end()};
constexpr int SIZE = MICROSECONDS.end();
} // namespace TimeStamp

/// The real-time record of a tool with `markers` real markers: their positions, the rotation row by row, the
/// translation.
constexpr int realTimeSize(int markers)
{
    return (markers + 4) * 12;
}

} // namespace LogFormat
