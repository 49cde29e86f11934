#include <TSLib/Packets.h>

#include <support/PlainSocket.h>

#include <gtest/gtest.h>

#include <string>

using namespace packets;

namespace
{

/// A byte order that shows every conversion: integers are sent negated, floats with 100 added.
WireOrder visibleOrder()
{
    return {[](std::int32_t value) { return -value; }, [](std::int32_t value) { return -value; },
            [](float value) { return value + 100.0f; }, [](float value) { return value - 100.0f; }};
}

AllPacketType packetOf(const std::string& content)
{
    AllPacketType packet;
    std::memset(packet.bytes, 0xCC, sizeof packet.bytes);
    content.copy(packet.bytes, sizeof packet.bytes);
    return packet;
}

std::string textOf(const AllPacketType& packet, int from, int to)
{
    return std::string(packet.bytes + from, static_cast<std::size_t>(to - from));
}

std::string filler(std::size_t count)
{
    return std::string(count, '\xCC');
}

template <class Record>
AllPacketType encoded(Record values, const WireOrder& order = WireOrder::host())
{
    AllPacketType packet = packetOf("");
    encode(packet, order, values);
    return packet;
}

PointList pointsOf(std::initializer_list<Vector3d> points)
{
    PointList list;
    list.count = static_cast<int>(points.size());
    std::copy(points.begin(), points.end(), list.points);
    return list;
}

} // namespace

TEST(Packets, ArePacketsOf560AlignedBytes)
{
    EXPECT_EQ(sizeof(AllPacketType), 560U);
    EXPECT_EQ(alignof(AllPacketType), 4U);
}

TEST(Packets, BearTheirKindInTheFirstByteAndLeaveTheNextThreeAlone)
{
    AllPacketType packet = packetOf(bytes("1d a1a2a3"));
    EXPECT_EQ(kindOf(packet), PacketKind::RIGID_TRANSFORM);
    setKind(packet, PacketKind::FAILURE);
    EXPECT_EQ(textOf(packet, 0, 4), bytes("63 a1a2a3"));
}

TEST(Packets, NumberTheirKindsAsClientsKnowThem)
{
    const std::pair<PacketKind, int> kinds[] = {{PacketKind::ACKNOWLEDGE, 20},
                                                {PacketKind::CONNECT, 21},
                                                {PacketKind::STATUS, 22},
                                                {PacketKind::TOOL_CHECK, 23},
                                                {PacketKind::FRAME_OF_REFERENCE, 24},
                                                {PacketKind::MARKER, 25},
                                                {PacketKind::ALL_MARKER, 26},
                                                {PacketKind::IMAGINARY, 27},
                                                {PacketKind::ALL_IMAGINARY, 28},
                                                {PacketKind::RIGID_TRANSFORM, 29},
                                                {PacketKind::ALL_RIGID_TRANSFORM, 30},
                                                {PacketKind::NEAREST_TOOL, 31},
                                                {PacketKind::SWITCH, 32},
                                                {PacketKind::ALL_RIGID_TRANSFORM_ON_SWITCH, 33},
                                                {PacketKind::ADD_NORMAL_VECTORS, 34},
                                                {PacketKind::CALIBRATE, 35},
                                                {PacketKind::TOOL_INIT, 36},
                                                {PacketKind::ALLOWED_NEAREST_TOOL, 37},
                                                {PacketKind::GET_NORMAL_VECTOR, 38},
                                                {PacketKind::EXIT, 50},
                                                {PacketKind::FAILURE, 99}};
    for (const auto& kind : kinds)
        EXPECT_EQ(static_cast<int>(kind.first), kind.second);
}

TEST(Packets, WriteAnErrorInNetworkOrderAndKeepTheLastByteOfItsText)
{
    EXPECT_EQ(textOf(encoded(ErrorPacket{0x01020304, "No"}, visibleOrder()), 0, 265),
              filler(4) + bytes("01020304") + "No" + std::string(253, '\0') + filler(2));
    const std::string text(300, 'x');
    EXPECT_EQ(textOf(encoded(ErrorPacket{-53, text}), 4, 265), bytes("ffffffcb") + text.substr(0, 255) + filler(2));
}

TEST(Packets, ExchangeTheConnectionInNetworkOrder)
{
    EXPECT_EQ(textOf(encoded(ConnectPacket{1, 0x01000000}, visibleOrder()), 0, 13),
              filler(4) + bytes("00000001 01000000") + filler(1));
    ConnectPacket connect = {};
    EXPECT_TRUE(decode(packetOf(bytes("15000000 00000002 ffffffff")), visibleOrder(), connect));
    EXPECT_EQ(connect.version, 2);
    EXPECT_EQ(connect.probe, -1);
}

TEST(Packets, WriteAPoseRowByRowWithoutTouchingTheName)
{
    TransformRecord pose;
    for (int i = 0; i < 9; ++i)
        pose.rotation[i / 3][i % 3] = i + 1;
    pose.translation = {10, 20, 30};
    pose.rms = 0.5f;
    EXPECT_EQ(textOf(encoded(pose), 0, 89),
              filler(36) +
                  bytes("0000803f 00000040 00004040 00008040 0000a040 0000c040 0000e040 00000041 00001041"
                        "00002041 0000a041 0000f041 0000003f") +
                  filler(1));
}

TEST(Packets, ConvertEveryFloatOfAPoseButTheRmsOfAListedOne)
{
    TransformRecord pose;
    pose.rotation[1][0] = -99;
    pose.translation = {-100, -98, -99};
    pose.rms = -98;
    const AllPacketType single = encoded(pose, visibleOrder());
    EXPECT_EQ(textOf(single, 48, 52), bytes("0000803f"));
    EXPECT_EQ(textOf(single, 72, 88), bytes("00000000 00000040 0000803f 00000040"));

    ListedTransformRecord listed;
    static_cast<TransformRecord&>(listed) = pose;
    listed.name = "Tip";
    const AllPacketType one = encoded(listed, visibleOrder());
    EXPECT_EQ(textOf(one, 4, 36), std::string("Tip\0", 4) + filler(28));
    EXPECT_EQ(textOf(one, 72, 89), bytes("00000000 00000040 0000803f 0000c4c2") + filler(1));
}

TEST(Packets, NarrowCoordinatesToSinglePrecision)
{
    TransformRecord pose = {};
    pose.translation = {0.1, 1e-60, -2.999999950695069e28};
    EXPECT_EQ(textOf(encoded(pose), 72, 84), bytes("cdcccc3d 00000000 d6dec1ee"));
}

TEST(Packets, WriteTheMarkersThatTheToolHasAndLeaveTheRest)
{
    MarkerRecord markers;
    markers.points = pointsOf({{1, 2, 3}});
    markers.rms = 0.5f;
    EXPECT_EQ(textOf(encoded(markers), 0, 429), filler(36) + bytes("01000000 0000803f 00000040 00004040") +
                                                    filler(31 * 12) + bytes("0000003f") + filler(1));
    ImaginaryRecord imaginaries;
    imaginaries.points = pointsOf({{1, 2, 3}, {3, 2, 1}});
    imaginaries.rms = 0.5f;
    EXPECT_EQ(textOf(encoded(imaginaries), 0, 141),
              filler(36) + bytes("02000000 0000803f 00000040 00004040 00004040 00000040 0000803f") + filler(6 * 12) +
                  bytes("0000003f") + filler(1));
}

TEST(Packets, WriteNoMorePointsThanThereIsRoomFor)
{
    MarkerRecord markers;
    markers.points.count = 100;
    std::fill(std::begin(markers.points.points), std::end(markers.points.points), Vector3d(1, 1, 1));
    markers.rms = 2.0f;
    EXPECT_EQ(textOf(encoded(markers), 36, 40), bytes("64000000"));
    EXPECT_EQ(textOf(encoded(markers), 420, 429), bytes("0000803f 00000040") + filler(1));
    NearestToolRecord nearest;
    nearest.name = "N";
    nearest.points = markers.points;
    EXPECT_EQ(textOf(encoded(nearest), 132, 141), bytes("0000803f") + filler(5)) << "the RMS field is not written";
}

TEST(Packets, ExchangeTheSwitch)
{
    EXPECT_EQ(textOf(encoded(SwitchRecord{-5, -1}, visibleOrder()), 4, 13), bytes("05000000 01000000") + filler(1));
    SwitchRecord wanted = {};
    EXPECT_TRUE(decode(packetOf(bytes("21000000 07000000 01000000")), WireOrder::host(), wanted));
    EXPECT_EQ(wanted.id, 7);
    EXPECT_EQ(wanted.flag, 1);
}

TEST(Packets, WriteAToolDescriptionFieldByField)
{
    ToolDescription tool;
    tool.slot = 2;
    tool.name = "Probe";
    tool.type = 14;
    tool.realMarkers = pointsOf({{1, 2, 3}});
    tool.imaginaryMarkers = pointsOf({{3, 2, 1}});
    tool.id = 0x01020304;
    tool.owner = "Somebody else";
    tool.startCalibrationPoint = 3;
    tool.calibrationDate = 4;
    tool.numberOfJacks = 5;
    EXPECT_EQ(textOf(encoded(tool), 0, 560),
              filler(4) + bytes("02000000") + std::string("Probe\0", 6) + filler(26) + bytes("0e000000 01000000") +
                  bytes("0000803f 00000040 00004040") + filler(31 * 12) + bytes("01000000") +
                  bytes("00004040 00000040 0000803f") + filler(7 * 12) + bytes("04030201") + "Somebody" + filler(4) +
                  bytes("03000000 04000000 05000000"));
}

TEST(Packets, FillAShortOwnerWithZerosUpToEightBytes)
{
    ToolDescription tool = {};
    tool.owner = "Me";
    EXPECT_EQ(textOf(encoded(tool), 536, 548), std::string("Me\0\0\0\0\0\0", 8) + filler(4));
}

TEST(Packets, ReadAToolRequestFieldByField)
{
    const std::string request = bytes("24000000 02000000") + "Probe" + std::string(27, '\0') +
                                bytes("0e000000 02000000") +
                                bytes("0000803f 00000040 00004040 00008040 0000a040 0000c040") + filler(30 * 12) +
                                bytes("01000000") + bytes("00004040 00000040 0000803f") + filler(7 * 12) +
                                bytes("04030201") + "OwnerOfWidth" + bytes("03000000 04000000 ffffffff");
    ASSERT_EQ(request.size(), 560U);
    const AllPacketType packet = packetOf(request);
    ToolInitRequest tool = {};
    ASSERT_TRUE(decode(packet, WireOrder::host(), tool));
    EXPECT_EQ(tool.slot, 2);
    EXPECT_EQ(tool.name, "Probe");
    EXPECT_EQ(tool.type, 14);
    ASSERT_EQ(tool.realMarkers.count, 2);
    EXPECT_EQ(tool.realMarkers.points[1], Vector3d(4, 5, 6));
    ASSERT_EQ(tool.imaginaryMarkers.count, 1);
    EXPECT_EQ(tool.imaginaryMarkers.points[0], Vector3d(3, 2, 1));
    EXPECT_EQ(tool.id, 0x01020304);
    EXPECT_EQ(tool.owner, "OwnerOfWidth");
    EXPECT_EQ(tool.startCalibrationPoint, 3);
    EXPECT_EQ(tool.calibrationDate, 4);
    EXPECT_EQ(tool.numberOfJacks, -1);
}

TEST(Packets, WriteAToolRequestWhoseOwnerFillsItsField)
{
    ToolInitRequest tool = {};
    tool.owner = "OwnerOfWidth";
    tool.startCalibrationPoint = -1;
    EXPECT_EQ(textOf(encoded(tool), 536, 552), "OwnerOfWidth" + bytes("ffffffff"));
}

TEST(Packets, RefuseCountsThatLeadOutOfThePacket)
{
    const auto isReadable = [](auto record, int offset, int count)
    {
        AllPacketType packet = packetOf(std::string(560, '\0'));
        WireOrder::host().putInt(packet.bytes + offset, count);
        return decode(packet, WireOrder::host(), record);
    };
    for (const int count : {-1, INT32_MIN, INT32_MAX, 0x15555556, 44})
    {
        EXPECT_FALSE(isReadable(ToolInitRequest(), 44, count)) << count;
        EXPECT_FALSE(isReadable(ToolInitRequest(), 432, count)) << count;
        EXPECT_FALSE(isReadable(NormalVectorRecord(), 36, count)) << count;
    }
    EXPECT_TRUE(isReadable(ToolInitRequest(), 44, 42));
    EXPECT_FALSE(isReadable(ToolInitRequest(), 44, 43));
    EXPECT_TRUE(isReadable(ToolInitRequest(), 432, 10));
    EXPECT_FALSE(isReadable(ToolInitRequest(), 432, 11));
    EXPECT_TRUE(isReadable(NormalVectorRecord(), 36, 43));
}

TEST(Packets, ExchangeNormalVectorsAndTheirLimits)
{
    NormalVectorRecord record;
    record.normals = pointsOf({{0, 0, 1}});
    record.markerAngleLimit = 60;
    record.minMarkers = 3;
    record.max3D = 0.5f;
    record.maxRMS = 1.0f;
    const std::string written = textOf(encoded(record), 0, 441);
    EXPECT_EQ(written, filler(36) + bytes("01000000 00000000 00000000 0000803f") + filler(31 * 12) +
                           bytes("3c000000 03000000 0000003f 0000803f") + filler(1));
    NormalVectorRecord read = {};
    EXPECT_TRUE(decode(packetOf(written), WireOrder::host(), read));
    EXPECT_EQ(read.normals.points[0], Vector3d(0, 0, 1));
    EXPECT_EQ(read.markerAngleLimit, 60);
    EXPECT_EQ(read.minMarkers, 3);
    EXPECT_EQ(read.max3D, 0.5f);
    EXPECT_EQ(read.maxRMS, 1.0f);
}

TEST(Packets, LetALongNameRunIntoTheFieldsWrittenBeforeOrNeverButNotOutOfTheRecord)
{
    ListedPointRecord<8> record;
    const std::string name(1000, 'n');
    record.name = name;
    record.rms = 2.0f;
    EXPECT_EQ(textOf(encoded(record), 0, 141),
              filler(4) + name.substr(0, 32) + bytes("00000000") + name.substr(0, 96) + bytes("00000040") + filler(1));
}

TEST(Packets, ReadANameUpToItsTerminatorOrItsFieldsEnd)
{
    EXPECT_EQ(nameIn(packetOf(bytes("1d000000") + std::string("Tip\0rest", 8))), "Tip");
    EXPECT_EQ(nameIn(packetOf(bytes("1d000000") + std::string(40, 'n'))), std::string(32, 'n'));
    EXPECT_EQ(nameIn(packetOf(bytes("1d000000 00"))), "");
}
