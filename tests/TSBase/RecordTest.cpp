#include <TSBase/Record.h>

#include <gtest/gtest.h>

#include <string>

using namespace record;

namespace
{

/// A number order of the tests' own: least significant byte first.
struct LittleEndian
{
    static void putInt(char* bytes, std::int32_t value)
    {
        for (int i = 0; i < 4; ++i)
            bytes[i] = static_cast<char>(static_cast<std::uint32_t>(value) >> (8 * i));
    }
    static std::int32_t getInt(const char* bytes)
    {
        std::uint32_t value = 0;
        for (int i = 3; i >= 0; --i)
            value = value << 8 | static_cast<unsigned char>(bytes[i]);
        return static_cast<std::int32_t>(value);
    }
    static void putFloat(char* bytes, float value)
    {
        std::int32_t bits;
        std::memcpy(&bits, &value, 4);
        putInt(bytes, bits);
    }
    static float getFloat(const char* bytes)
    {
        const std::int32_t bits = getInt(bytes);
        float value;
        std::memcpy(&value, &bits, 4);
        return value;
    }
};

using BigWriter = Writer<BigEndian>;
using BigReader = Reader<BigEndian>;

std::string hex(const std::string& bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes)
        text += {digits[static_cast<unsigned char>(c) / 16], digits[static_cast<unsigned char>(c) % 16]};
    return text;
}

/// The record of `size` bytes, all '.', after `write` has filled it in; guard bytes behind it must stay.
template <class Write>
std::string written(int size, Write write)
{
    std::string bytes(static_cast<std::size_t>(size) + 64, '.');
    BigWriter writer(&bytes[0], size);
    write(writer);
    EXPECT_EQ(std::string(64, '.'), bytes.substr(static_cast<std::size_t>(size)));
    return bytes.substr(0, static_cast<std::size_t>(size));
}

BigReader readerOf(const std::string& bytes)
{
    return BigReader(bytes.data(), static_cast<int>(bytes.size()));
}

std::string ones(int floats)
{
    std::string bytes;
    for (int i = 0; i < floats; ++i)
        bytes += std::string("\x3f\x80\0\0", 4);
    return bytes;
}

} // namespace

TEST(Record, LaysFieldsSideBySide)
{
    constexpr Field<char, 32> name{4};
    constexpr Field<float, 9> rotation{name.end()};
    constexpr Field<std::int32_t> count{rotation.end()};
    constexpr CountedPoints<8> points{count.end()};
    constexpr LimitedText<80, 31> text{points.end()};
    constexpr NetworkInt code{text.end()};
    constexpr HostFloat rms{code.end()};

    EXPECT_EQ(36, rotation.offset);
    EXPECT_EQ(72, count.offset);
    EXPECT_EQ(76, points.count().offset);
    EXPECT_EQ(80, points.points().offset);
    EXPECT_EQ(176, points.end());
    EXPECT_EQ(256, code.offset);
    EXPECT_EQ(260, rms.offset);
    EXPECT_EQ(264, rms.end());
}

TEST(Record, ReadsCountedPointsBeyondTheirRoomUpToTheirLimit)
{
    constexpr CountedPoints<8, 10> points{20};
    EXPECT_EQ(20 + 4 + 8 * 12, points.end());
    EXPECT_EQ(20 + 4 + 10 * 12, points.readEnd());
}

TEST(Record, WritesNumbersMostSignificantByteFirst)
{
    const std::string bytes = written(16,
                                      [](BigWriter& write)
                                      {
                                          write(Field<std::int32_t>{0}, 0x01020304);
                                          write(Field<std::int32_t>{4}, -2);
                                          write(Field<float>{8}, 1.0f);
                                          write(Field<float>{12}, -3.0e28f);
                                      });
    EXPECT_EQ("01020304"
              "fffffffe"
              "3f800000"
              "eec1ded6",
              hex(bytes));
}

TEST(Record, ReadsNumbersMostSignificantByteFirst)
{
    const std::string bytes("\x01\x02\x03\x04\xff\xff\xff\xfe\x3f\x80\0\0\xee\xc1\xde\xd6", 16);
    BigReader read = readerOf(bytes);
    int first, second;
    float third, fourth;
    read(Field<std::int32_t>{0}, first);
    read(Field<std::int32_t>{4}, second);
    read(Field<float>{8}, third);
    read(Field<float>{12}, fourth);

    EXPECT_EQ(0x01020304, first);
    EXPECT_EQ(-2, second);
    EXPECT_EQ(1.0f, third);
    EXPECT_EQ(-3.0e28f, fourth);
    EXPECT_TRUE(read.isGood());
}

TEST(Record, WritesAVectorAsThreeFloats)
{
    EXPECT_EQ("3f800000c000000042c88000",
              hex(written(12, [](BigWriter& write) { write(Field<float, 3>{0}, Vector3d(1.0, -2.0, 100.25)); })));
}

TEST(Record, WritesAMatrixRowByRow)
{
    Matrix3x3 matrix;
    for (int i = 0; i < 9; ++i)
        matrix[i / 3][i % 3] = i + 1;
    EXPECT_EQ("3f8000004000000040400000"
              "4080000040a0000040c00000"
              "40e000004100000041100000",
              hex(written(36, [&](BigWriter& write) { write(Field<float, 9>{0}, matrix); })));
}

TEST(Record, ReadsAMatrixRowByRow)
{
    std::string bytes = ones(9);
    bytes.replace(4, 4, std::string("\x40\0\0\0", 4));
    bytes.replace(24, 4, std::string("\xc0\0\0\0", 4));
    Matrix3x3 matrix;
    readerOf(bytes)(Field<float, 9>{0}, matrix);

    EXPECT_EQ(2.0, matrix[0][1]);
    EXPECT_EQ(-2.0, matrix[2][0]);
    EXPECT_EQ(1.0, matrix[1][0]);
    EXPECT_EQ(1.0, matrix[2][2]);
}

TEST(Record, NarrowsDoublesToSinglePrecision)
{
    EXPECT_EQ("3dcccccd0000000000000000",
              hex(written(12, [](BigWriter& write) { write(Field<float, 3>{0}, Vector3d(0.1, 0.0, 0.0)); })));
}

TEST(Record, WritesANameWithItsTerminatorAndNothingBehindIt)
{
    EXPECT_EQ(std::string("..Drill\0...", 11),
              written(11, [](BigWriter& write) { write(Field<char, 8>{2}, std::string_view("Drill")); }));
}

TEST(Record, LetsATooLongNameRunOnIntoTheNextFields)
{
    EXPECT_EQ(std::string("abcdefgh\0.", 10),
              written(10, [](BigWriter& write) { write(Field<char, 4>{0}, std::string_view("abcdefgh")); }));
}

TEST(Record, NeverLetsANameLeaveTheRecord)
{
    EXPECT_EQ("..abcd",
              written(6, [](BigWriter& write) { write(Field<char, 4>{2}, std::string_view("abcdefghijklm")); }));
    EXPECT_EQ("..abcd", written(6, [](BigWriter& write) { write(Field<char, 4>{2}, std::string_view("abcd")); }));
}

TEST(Record, EndsANameAtItsFirstNul)
{
    EXPECT_EQ(std::string("ab\0...", 6),
              written(6, [](BigWriter& write) { write(Field<char, 6>{0}, std::string_view("ab\0cd", 5)); }));
}

TEST(Record, ReadsANameUpToItsTerminatorOrItsFieldsEnd)
{
    const std::string bytes("ab\0cdefghij", 11);
    std::string shortName, longName;
    std::string_view view;
    const BigReader read = readerOf(bytes);
    read(Field<char, 4>{0}, shortName);
    read(Field<char, 4>{3}, longName);
    read(Field<char, 4>{0}, view);

    EXPECT_EQ("ab", shortName);
    EXPECT_EQ("cdef", longName);
    EXPECT_EQ("ab", view);
}

TEST(Record, CutsALimitedTextAndZeroesTheRestOfTheLimitOnly)
{
    EXPECT_EQ(std::string("ab\0\0..", 6),
              written(6, [](BigWriter& write) { write(LimitedText<6, 4>{0}, std::string_view("ab")); }));
    EXPECT_EQ("abcd..", written(6, [](BigWriter& write) { write(LimitedText<6, 4>{0}, std::string_view("abcdef")); }));
}

TEST(Record, ReadsALimitedTextUpToItsLimit)
{
    const std::string bytes = "abcdef";
    std::string_view text;
    readerOf(bytes)(LimitedText<6, 4>{0}, text);
    EXPECT_EQ("abcd", text);
}

TEST(Record, WritesANetworkIntegerAndAHostFloatWhateverTheOrder)
{
    std::string bytes(12, '.');
    Writer<LittleEndian> write(&bytes[0], 12);
    write(Field<std::int32_t>{0}, 1);
    write(NetworkInt{4}, 1);
    write(HostFloat{8}, 1.0f);

    const float one = 1.0f;
    EXPECT_EQ("0100000000000001", hex(bytes.substr(0, 8)));
    EXPECT_EQ(0, std::memcmp(bytes.data() + 8, &one, 4));

    Reader<LittleEndian> read(bytes.data(), 12);
    int ordered, network;
    float host;
    read(Field<std::int32_t>{0}, ordered);
    read(NetworkInt{4}, network);
    read(HostFloat{8}, host);
    EXPECT_EQ(1, ordered);
    EXPECT_EQ(1, network);
    EXPECT_EQ(1.0f, host);
}

TEST(Record, WritesCountedPointsBehindTheirCount)
{
    PointList list;
    list.count = 1;
    list.points[0] = Vector3d(1.0, 1.0, 1.0);
    EXPECT_EQ("00000001" + hex(ones(3)) + hex(std::string(12, '.')),
              hex(written(28, [&](BigWriter& write) { write(CountedPoints<2>{0}, list); })));
}

TEST(Record, AnnouncesPointsBeyondTheRoomButDoesNotWriteThem)
{
    PointList list;
    list.count = 3;
    list.points[0] = list.points[1] = list.points[2] = Vector3d(1.0, 1.0, 1.0);
    EXPECT_EQ("00000003" + hex(ones(6)) + "2e2e2e2e",
              hex(written(32, [&](BigWriter& write) { write(CountedPoints<2>{0}, list); })));

    list.count = 1000;
    EXPECT_EQ("000003e8" + hex(ones(6)), hex(written(28, [&](BigWriter& write) { write(CountedPoints<2>{0}, list); })));
}

TEST(Record, WritesNoPointsForANegativeCount)
{
    PointList list;
    list.count = -1;
    EXPECT_EQ("ffffffff" + hex(std::string(24, '.')),
              hex(written(28, [&](BigWriter& write) { write(CountedPoints<2>{0}, list); })));
}

TEST(Record, ReadsAsManyPointsAsAreAnnounced)
{
    const std::string bytes = std::string("\0\0\0\x01", 4) + ones(6);
    PointList list;
    BigReader read = readerOf(bytes);
    read(CountedPoints<2>{0}, list);

    EXPECT_TRUE(read.isGood());
    EXPECT_EQ(1, list.count);
    EXPECT_EQ(Vector3d(1.0, 1.0, 1.0), list.points[0]);
    EXPECT_EQ(Vector3d(), list.points[1]);
}

TEST(Record, RefusesACountThatDoesNotFit)
{
    for (const char* count : {"\0\0\0\x03", "\xff\xff\xff\xff", "\x7f\xff\xff\xff", "\x80\0\0\0"})
    {
        const std::string bytes = std::string(count, 4) + ones(60);
        PointList list;
        list.count = 2;
        BigReader read = readerOf(bytes);
        read(CountedPoints<2>{0}, list);
        EXPECT_FALSE(read.isGood());
        EXPECT_EQ(0, list.count);
    }
}

TEST(Record, RefusesACountThatWouldLeaveTheRecord)
{
    const std::string bytes = std::string("\0\0\0\x02", 4) + ones(5);
    PointList list;
    BigReader read = readerOf(bytes);
    read(CountedPoints<2>{0}, list);
    EXPECT_FALSE(read.isGood());
    EXPECT_EQ(0, list.count);
}

TEST(Record, RemembersThatACountWasRefused)
{
    const std::string bytes = std::string("\0\0\0\x09", 4) + std::string(28, '\0');
    PointList list;
    BigReader read = readerOf(bytes);
    read(CountedPoints<2>{0}, list);
    read(CountedPoints<2>{4}, list);
    EXPECT_FALSE(read.isGood());
}

TEST(Record, ReadsUncountedPointsOnlyWithinTheRecord)
{
    const std::string bytes = ones(6);
    Vector3d points[3];
    BigReader read = readerOf(bytes);

    EXPECT_FALSE(read.points(0, points, 3));
    EXPECT_FALSE(read.points(4, points, 2));
    EXPECT_FALSE(read.points(0, points, -1));
    EXPECT_FALSE(read.points(0, points, 0x7fffffff));
    EXPECT_EQ(Vector3d(), points[0]);
    EXPECT_TRUE(read.points(0, points, 2));
    EXPECT_EQ(Vector3d(1.0, 1.0, 1.0), points[1]);
}

TEST(Record, HoldsAtMostTheListsCapacity)
{
    PointList list;
    list.count = 44;
    EXPECT_EQ(43, list.held());
    list.count = 12;
    EXPECT_EQ(12, list.held());
}
