#pragma once

#include <support/PlainSocket.h>

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>

/// The tracking protocol's bytes as a client sees them, written down without the code under test.
namespace wire
{

/// The kinds of packets, as they stand in the first byte.
constexpr unsigned char ACKNOWLEDGE = 20, CONNECT = 21, STATUS = 22, TOOL_CHECK = 23, FRAME = 24, MARKER = 25,
                        ALL_MARKER = 26, IMAGINARY = 27, ALL_IMAGINARY = 28, POSE = 29, ALL_POSES = 30, NEAREST = 31,
                        SWITCH = 32, POSES_ON_SWITCH = 33, ADD_NORMALS = 34, CALIBRATE = 35, TOOL_INIT = 36,
                        ALLOWED = 37, GET_NORMALS = 38, EXIT = 50, FAILURE = 99;

/// The order in which a session's numbers stand in its packets; agreed when it connects.
enum class Order
{
    HOST,
    SWAPPED
};

inline std::string nameOf(const testing::TestParamInfo<Order>& order)
{
    return order.param == Order::HOST ? "HostOrder" : "SwappedOrder";
}

inline std::string zeros(std::size_t count)
{
    return std::string(count, '\0');
}

/// A text and zeros up to `size` bytes.
inline std::string padded(const std::string& text, std::size_t size)
{
    return text + zeros(size - text.size());
}

/// A name in its field of 32 bytes.
inline std::string nameField(const std::string& name)
{
    return padded(name, 32);
}

/// The payload behind its length.
inline std::string framed(const std::string& payload)
{
    return std::string{static_cast<char>(payload.size() >> 8), static_cast<char>(payload.size())} + payload;
}

/// An integer: the least significant byte first in host order, last when swapped.
inline std::string integer(Order order, std::uint32_t value)
{
    std::string result;
    for (int i = 0; i < 4; ++i)
        result += static_cast<char>(value >> (order == Order::HOST ? 8 * i : 24 - 8 * i));
    return result;
}

/// Floats as a client sends them: their bits, the least significant byte first in host order, last when swapped. The
/// bits were worked out by hand.
inline std::string sent(Order order, std::initializer_list<double> values)
{
    static const std::map<double, std::uint32_t> bits = {
        {-1, 0xbf800000}, {0, 0x00000000},    {0.25, 0x3e800000},  {0.5, 0x3f000000},  {1, 0x3f800000},
        {2, 0x40000000},  {3, 0x40400000},    {4, 0x40800000},     {5, 0x40a00000},    {6, 0x40c00000},
        {7, 0x40e00000},  {8, 0x41000000},    {9, 0x41100000},     {1.3, 0x3fa66666},  {10, 0x41200000},
        {20, 0x41a00000}, {1000, 0x447a0000}, {1.275, 0x3fa33333}, {100.5, 0x42c90000}};
    std::string result;
    for (const double value : values)
        result += integer(order, bits.at(value));
    return result;
}

/// Floats as a session sends them. In host order: their bits, the least significant byte first. Swapped, it sends
/// something else: the reversed bytes taken as an unsigned integer, and that number as a float in host order. So 1.0 is
/// 3f800000; reversed 0000803f, which is 32831; as a float 47003f00; in bytes 003f0047. All were worked out by hand.
inline std::string received(Order order, std::initializer_list<double> values)
{
    static const double INVALID = static_cast<double>(-3.0e28f);
    struct Bytes
    {
        const char* host;
        const char* swapped;
    };
    static const std::map<double, Bytes> table = {
        {INVALID, {"d6dec1ee", "c2de564f"}}, {-20.5, {"0000a4c1", "00c12447"}}, {-2, {"000000c0", "00004043"}},
        {-1, {"000080bf", "00bf0047"}},      {0, {"00000000", "00000000"}},     {0.25, {"0000803e", "003e0047"}},
        {0.5, {"0000003f", "00007c42"}},     {1, {"0000803f", "003f0047"}},     {2, {"00000040", "00008042"}},
        {3, {"00004040", "00808046"}},       {4, {"00008040", "00400047"}},     {5, {"0000a040", "00402047"}},
        {6, {"0000c040", "00404047"}},       {7, {"0000e040", "00406047"}},     {8, {"00000041", "00008242"}},
        {9, {"00001041", "00088245"}},       {10, {"00002041", "00040146"}},    {20, {"0000a041", "00412047"}},
        {30, {"0000f041", "00417047"}},      {1000, {"00007a44", "0088f446"}},  {0.125, {"0000003e", "00007842"}},
        {1.275, {"3333a33f", "8dce4c4e"}},
    };
    std::string result;
    for (const double value : values)
        result += bytes(order == Order::HOST ? table.at(value).host : table.at(value).swapped);
    return result;
}

/// A packet of which only the kind counts.
inline std::string packet(unsigned char kind)
{
    return static_cast<char>(kind) + zeros(3);
}

/// A request that names a tool.
inline std::string packet(unsigned char kind, const std::string& toolName)
{
    return packet(kind) + nameField(toolName);
}

inline std::string acknowledgement(const std::string& padding = "000000")
{
    return bytes("14" + padding);
}

/// An error packet for a request that was shorter than its text's last byte.
inline std::string failure(unsigned char code, const std::string& text)
{
    return packet(FAILURE) + zeros(3) + static_cast<char>(code) + padded(text, 256);
}

} // namespace wire
