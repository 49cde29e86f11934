#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

/// Tracking log files put together byte by byte from the format's offsets. Nothing here uses the code under test.
namespace logbytes
{

using Bytes = std::string;
using Point = std::array<float, 3>;

inline Bytes u32(std::uint32_t value)
{
    Bytes bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift & 0xff);
    return bytes;
}

inline Bytes i32(int value)
{
    return u32(static_cast<std::uint32_t>(value));
}

inline Bytes f32(float value)
{
    static_assert(sizeof(float) == 4, "IEEE-754 single precision");
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return u32(bits);
}

inline Bytes points(const std::vector<Point>& list)
{
    Bytes bytes;
    for (const Point& point : list)
        for (const float coordinate : point)
            bytes += f32(coordinate);
    return bytes;
}

/// `bytes` with some of them replaced from `offset` on.
inline Bytes patched(Bytes bytes, std::size_t offset, const Bytes& patch)
{
    return bytes.replace(offset, patch.size(), patch);
}

inline Bytes header()
{
    return Bytes("Pardel special-TS3 log-file format (10/2003).\0", 46);
}

/// What a tool-content record says.
struct Content
{
    Bytes name = "Probe";
    Bytes secondName = "Second";
    int type = 14;
    std::vector<Point> reals;
    std::vector<Point> normals;
    std::vector<Point> imaginaries;
    int id = 7;
    int jacks = 0;
    int angleLimit = 60;
    float max3D = 0.0f;
    float maxRMS = 0.0f;
    int gid = 1;
    int minMarkers = 3;
};

/// The 972 bytes of a tool. `filler` stands where the format leaves the bytes open.
inline Bytes content(const Content& tool, char filler = '\xAA')
{
    Bytes record(972, filler);
    const std::pair<std::size_t, Bytes> fields[] = {
        {0, tool.name + '\0'},
        {32, tool.secondName + '\0'},
        {64, i32(tool.type)},
        {68, i32(static_cast<int>(tool.reals.size())) + points(tool.reals)},
        {456, i32(static_cast<int>(tool.normals.size())) + points(tool.normals)},
        {844, i32(static_cast<int>(tool.imaginaries.size())) + points(tool.imaginaries)},
        {944, i32(tool.id)},
        {948, i32(tool.jacks)},
        {952, i32(tool.angleLimit)},
        {956, f32(tool.max3D)},
        {960, f32(tool.maxRMS)},
        {964, i32(tool.gid)},
        {968, i32(tool.minMarkers)},
    };
    for (const auto& field : fields)
        record.replace(field.first, field.second.size(), field.second);
    return record;
}

inline Bytes filledSlot(const Bytes& record)
{
    return Bytes("TL1\0", 4) + record;
}

inline Bytes emptySlot()
{
    return Bytes("TL0\0", 4);
}

inline Bytes joined(const std::vector<Bytes>& parts)
{
    Bytes bytes;
    for (const Bytes& part : parts)
        bytes += part;
    return bytes;
}

/// A tool-list block.
inline Bytes toolList(const std::vector<Bytes>& entries)
{
    return "T" + u32(static_cast<std::uint32_t>(entries.size())) + joined(entries);
}

/// A position block.
inline Bytes positions(std::uint32_t seconds, std::uint32_t microseconds, const std::vector<Bytes>& records)
{
    return "P" + u32(seconds) + u32(microseconds) + joined(records);
}

constexpr std::array<float, 9> IDENTITY = {1, 0, 0, 0, 1, 0, 0, 0, 1};

/// The real-time record of one tool.
inline Bytes realTime(const std::vector<Point>& markers, const Point& translation,
                      const std::array<float, 9>& rotation = IDENTITY)
{
    Bytes bytes = points(markers);
    for (const float element : rotation)
        bytes += f32(element);
    return bytes + points({translation});
}

} // namespace logbytes
