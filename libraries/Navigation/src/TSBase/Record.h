#pragma once

#include <tbrNumerics/Matrix3x3.h>
#include <tbrNumerics/Vector3d.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

/// Fixed binary layouts, described once: a record is a list of fields at byte offsets, and one list of fields serves
/// writing and reading. Packets of the tracking protocol and records of the tracking log are both described this way.
namespace record
{

/// COUNT values of type T (std::int32_t, float or char) that stand side by side from `offset` on.
template <class T, int COUNT = 1>
struct Field
{
    int offset;
    constexpr int end() const { return offset + COUNT * static_cast<int>(sizeof(T)); }
};

/// A text of which at most LIMIT bytes are written, the rest of those LIMIT bytes being zeroed; bytes of the field
/// behind the limit stay as they are, so a text of LIMIT bytes or more has no terminator of its own.
template <int SIZE, int LIMIT>
struct LimitedText
{
    int offset;
    constexpr int end() const { return offset + SIZE; }
};

/// An integer that is always in network order, whatever the record's own order is.
struct NetworkInt
{
    int offset;
    constexpr int end() const { return offset + 4; }
};

/// A float that is never converted: its bytes are those of the writing host.
struct HostFloat
{
    int offset;
    constexpr int end() const { return offset + 4; }
};

/// A count (32-bit integer) directly followed by that many points of three floats, with room for ROOM of them. More
/// points than ROOM are announced but not written. When reading, up to LIMIT points are taken, running on into what
/// follows the room; any other count makes the record unreadable.
template <int ROOM, int LIMIT = ROOM>
struct CountedPoints
{
    int offset;
    constexpr Field<std::int32_t> count() const { return {offset}; }
    constexpr Field<float, 3 * ROOM> points() const { return {offset + 4}; }
    constexpr int end() const { return points().end(); }
    constexpr int readEnd() const { return offset + 4 + 12 * LIMIT; }
};

/// The points of one record in memory. `count` is the number announced; only the first CAPACITY are held.
struct PointList
{
    static constexpr int CAPACITY = 43;
    int count = 0;
    Vector3d points[CAPACITY];

    int held() const { return std::min(count, CAPACITY); }
};

/// Numbers in network order, floats by their bit pattern.
struct BigEndian
{
    static void putInt(char* bytes, std::int32_t value) { putBits(bytes, static_cast<std::uint32_t>(value)); }
    static std::int32_t getInt(const char* bytes) { return static_cast<std::int32_t>(getBits(bytes)); }

    static void putFloat(char* bytes, float value)
    {
        std::uint32_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        putBits(bytes, bits);
    }
    static float getFloat(const char* bytes)
    {
        const std::uint32_t bits = getBits(bytes);
        float value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

private:
    static void putBits(char* bytes, std::uint32_t bits)
    {
        for (int i = 0; i < 4; ++i)
            bytes[i] = static_cast<char>(bits >> (24 - 8 * i));
    }
    static std::uint32_t getBits(const char* bytes)
    {
        std::uint32_t bits = 0;
        for (int i = 0; i < 4; ++i)
            bits = bits << 8 | static_cast<unsigned char>(bytes[i]);
        return bits;
    }
};

/// Writes values into the fields of a record of `size` bytes. What no field covers keeps its bytes; nothing is ever
/// written outside the record. `Order` converts numbers (see BigEndian).
template <class Order>
class Writer
{
public:
    Writer(char* bytes, int size, const Order& order = Order()) : m_Bytes(bytes), m_Size(size), m_Order(order) {}

    void operator()(Field<std::int32_t> field, int value) { putInt(field.offset, value); }
    void operator()(Field<float> field, float value) { putFloat(field.offset, value); }
    void operator()(Field<float, 3> field, const Vector3d& value) { putPoints(field.offset, &value, 1); }
    void operator()(Field<float, 9> field, const Matrix3x3& value)
    {
        for (int i = 0; i < 9; ++i)
            putFloat(field.offset + 4 * i, static_cast<float>(value[i / 3][i % 3]));
    }

    /// Copies a name with its terminator. A name that is too long runs on into the fields behind it, which are to be
    /// written after it, but never out of the record.
    template <int SIZE>
    void operator()(Field<char, SIZE> field, std::string_view name)
    {
        name = name.substr(0, name.find('\0'));
        const std::size_t room = static_cast<std::size_t>(std::max(0, m_Size - field.offset));
        name.copy(m_Bytes + field.offset, room);
        if (name.size() < room)
            m_Bytes[field.offset + static_cast<int>(name.size())] = '\0';
    }

    template <int SIZE, int LIMIT>
    void operator()(LimitedText<SIZE, LIMIT> field, std::string_view text)
    {
        static_assert(LIMIT <= SIZE, "a text stays in its field");
        text = text.substr(0, std::min<std::size_t>(text.find('\0'), LIMIT));
        std::memset(m_Bytes + field.offset, 0, LIMIT);
        text.copy(m_Bytes + field.offset, LIMIT);
    }

    void operator()(NetworkInt field, int value) { BigEndian::putInt(m_Bytes + field.offset, value); }
    void operator()(HostFloat field, float value) { std::memcpy(m_Bytes + field.offset, &value, sizeof value); }

    template <int ROOM, int LIMIT>
    void operator()(CountedPoints<ROOM, LIMIT> field, const PointList& list)
    {
        putInt(field.offset, list.count);
        putPoints(field.points().offset, list.points, std::max(0, std::min(list.held(), ROOM)));
    }

private:
    void putInt(int offset, std::int32_t value) { m_Order.putInt(m_Bytes + offset, value); }
    void putFloat(int offset, float value) { m_Order.putFloat(m_Bytes + offset, value); }
    void putPoints(int offset, const Vector3d* points, int count)
    {
        for (int i = 0; i < count; ++i)
            for (int axis = 0; axis < 3; ++axis)
                putFloat(offset + 12 * i + 4 * axis, static_cast<float>(points[i][axis]));
    }

    char* m_Bytes;
    int m_Size;
    Order m_Order;
};

/// Reads the fields of a record of `size` bytes: the counterpart of Writer, with the same list of fields. isGood()
/// turns false when a count does not fit; the list then stays empty.
template <class Order>
class Reader
{
public:
    Reader(const char* bytes, int size, const Order& order = Order()) : m_Bytes(bytes), m_Size(size), m_Order(order) {}

    bool isGood() const { return m_IsGood; }

    void operator()(Field<std::int32_t> field, int& value) { value = m_Order.getInt(m_Bytes + field.offset); }
    void operator()(Field<float> field, float& value) { value = m_Order.getFloat(m_Bytes + field.offset); }
    void operator()(Field<float, 3> field, Vector3d& value) { getPoints(field.offset, &value, 1); }
    void operator()(Field<float, 9> field, Matrix3x3& value)
    {
        for (int i = 0; i < 9; ++i)
            value[i / 3][i % 3] = m_Order.getFloat(m_Bytes + field.offset + 4 * i);
    }

    /// A name ends at its terminator or at its field's end. The view points into the record.
    template <int SIZE>
    void operator()(Field<char, SIZE> field, std::string_view& name) const
    {
        name = text(field.offset, SIZE);
    }
    template <int SIZE>
    void operator()(Field<char, SIZE> field, std::string& name) const
    {
        name = text(field.offset, SIZE);
    }
    template <int SIZE, int LIMIT>
    void operator()(LimitedText<SIZE, LIMIT> field, std::string_view& value) const
    {
        value = text(field.offset, LIMIT);
    }

    void operator()(NetworkInt field, int& value) { value = BigEndian::getInt(m_Bytes + field.offset); }
    void operator()(HostFloat field, float& value) { std::memcpy(&value, m_Bytes + field.offset, sizeof value); }

    template <int ROOM, int LIMIT>
    void operator()(CountedPoints<ROOM, LIMIT> field, PointList& list)
    {
        static_assert(LIMIT <= PointList::CAPACITY, "a list holds all that may be read");
        const int count = m_Order.getInt(m_Bytes + field.offset);
        if (count < 0 || count > LIMIT || field.points().offset + 12 * count > m_Size)
        {
            m_IsGood = false;
            list.count = 0;
            return;
        }
        list.count = count;
        getPoints(field.points().offset, list.points, count);
    }

    /// `count` points without a count of their own; false when they would leave the record.
    bool points(int offset, Vector3d* out, int count)
    {
        if (count < 0 || offset + 12LL * count > m_Size)
            return false;
        getPoints(offset, out, count);
        return true;
    }

private:
    std::string_view text(int offset, int size) const
    {
        const std::string_view field(m_Bytes + offset, static_cast<std::size_t>(size));
        return field.substr(0, field.find('\0'));
    }
    void getPoints(int offset, Vector3d* points, int count)
    {
        for (int i = 0; i < count; ++i)
            for (int axis = 0; axis < 3; ++axis)
                points[i][axis] = m_Order.getFloat(m_Bytes + offset + 12 * i + 4 * axis);
    }

    const char* m_Bytes;
    int m_Size;
    Order m_Order;
    bool m_IsGood = true;
};

} // namespace record
