#pragma once

#include <TSBase/Record.h>
#include <TSLib/AllPacketType.h>
#include <TSLib/PacketKind.h>
#include <TSLib/WireOrder.h>

#include <string_view>

/// The packets of the tracking protocol, byte by byte (docs/protocol.md tells the same in words): for each record its
/// layout, its values in memory, and one exchange() that writes them with a PacketWriter and reads them with a
/// PacketReader. Offsets count from the packet's first byte, which is the kind; bytes 1 to 3 are never written.
/// Lengths are millimetres.
namespace packets
{

using record::CountedPoints;
using record::Field;
using record::HostFloat;
using record::LimitedText;
using record::NetworkInt;
using record::PointList;

using PacketWriter = record::Writer<WireOrder>;
using PacketReader = record::Reader<WireOrder>;

/// A packet that is nothing but its kind: acknowledgement, exit, and the requests without arguments.
constexpr int BARE_SIZE = 4;

/// Requests that name a tool, and the place of the name in the records that have one.
constexpr Field<char, 32> NAME{BARE_SIZE};
constexpr int NAME_REQUEST_SIZE = NAME.end();
/// Names the camera itself in a frame-of-reference request.
constexpr std::string_view CAMERA_NAME = "CAM";

struct ErrorPacket
{
    static constexpr NetworkInt CODE{BARE_SIZE};
    static constexpr LimitedText<256, 255> TEXT{CODE.end()};
    static constexpr int SIZE = TEXT.end();

    int code;
    std::string_view text;
};

struct ConnectPacket
{
    static constexpr NetworkInt VERSION{BARE_SIZE};
    static constexpr NetworkInt PROBE{VERSION.end()};
    static constexpr int SIZE = PROBE.end();

    int version;
    int probe;
};

/// A pose: the answer about one tool leaves the request's name in place.
struct TransformRecord
{
    static constexpr Field<float, 9> ROTATION{NAME.end()};
    static constexpr Field<float, 3> TRANSLATION{ROTATION.end()};
    static constexpr Field<float> RMS{TRANSLATION.end()};
    static constexpr HostFloat UNCONVERTED_RMS{TRANSLATION.end()};
    static constexpr int SIZE = RMS.end();

    Matrix3x3 rotation;
    Vector3d translation;
    float rms;
};

/// One pose of many. Its RMS has always travelled unconverted, other than that of a single pose: clients of the other
/// byte order count on it.
struct ListedTransformRecord : TransformRecord
{
    std::string_view name;
};

/// The points of one tool in the camera's frame or the frame of reference.
template <int ROOM>
struct PointRecord
{
    static constexpr CountedPoints<ROOM, 43> POINTS{NAME.end()};
    static constexpr Field<float> RMS{POINTS.end()};
    static constexpr int SIZE = RMS.end();

    PointList points;
    float rms;
};
using MarkerRecord = PointRecord<32>;
using ImaginaryRecord = PointRecord<8>;

/// The points of one tool of many.
template <int ROOM>
struct ListedPointRecord : PointRecord<ROOM>
{
    std::string_view name;
};

/// The nearest tool with its imaginary points. Its RMS field is not written.
struct NearestToolRecord
{
    static constexpr auto POINTS = ImaginaryRecord::POINTS;
    static constexpr int SIZE = ImaginaryRecord::SIZE;

    std::string_view name;
    PointList points;
};

struct SwitchRecord
{
    static constexpr Field<std::int32_t> ID{BARE_SIZE};
    static constexpr Field<std::int32_t> FLAG{ID.end()};
    static constexpr int SIZE = FLAG.end();

    int id;
    int flag;
};

/// One flag byte for each tool type; copied as it is.
struct AllowedTypes
{
    static constexpr Field<char, 256> FLAGS{BARE_SIZE};
    static constexpr int SIZE = FLAGS.end();
};

struct ToolDescription
{
    static constexpr Field<std::int32_t> SLOT{BARE_SIZE};
    static constexpr Field<char, 32> TOOL_NAME{SLOT.end()};
    static constexpr Field<std::int32_t> TYPE{TOOL_NAME.end()};
    static constexpr CountedPoints<32, 42> REAL_MARKERS{TYPE.end()};
    static constexpr CountedPoints<8, 10> IMAGINARY_MARKERS{REAL_MARKERS.end()};
    static constexpr Field<std::int32_t> ID{IMAGINARY_MARKERS.end()};
    static constexpr LimitedText<12, 8> OWNER{ID.end()};
    static constexpr Field<char, 12> REQUESTED_OWNER{OWNER.offset};
    static constexpr Field<std::int32_t> START_CALIBRATION_POINT{OWNER.end()};
    static constexpr Field<std::int32_t> CALIBRATION_DATE{START_CALIBRATION_POINT.end()};
    static constexpr Field<std::int32_t> NUMBER_OF_JACKS{CALIBRATION_DATE.end()};
    static constexpr int SIZE = NUMBER_OF_JACKS.end();

    int slot;
    std::string_view name;
    int type;
    PointList realMarkers;
    PointList imaginaryMarkers;
    int id;
    std::string_view owner;
    int startCalibrationPoint;
    int calibrationDate;
    int numberOfJacks;
};

/// The description with which a client makes a tool: its owner text may fill the whole field.
struct ToolInitRequest : ToolDescription
{
};

struct NormalVectorRecord
{
    static constexpr CountedPoints<32, 43> NORMALS{NAME.end()};
    static constexpr Field<std::int32_t> MARKER_ANGLE_LIMIT{NORMALS.end()};
    static constexpr Field<std::int32_t> MIN_MARKERS{MARKER_ANGLE_LIMIT.end()};
    static constexpr Field<float> MAX_3D{MIN_MARKERS.end()};
    static constexpr Field<float> MAX_RMS{MAX_3D.end()};
    static constexpr int SIZE = MAX_RMS.end();

    PointList normals;
    int markerAngleLimit;
    int minMarkers;
    float max3D;
    float maxRMS;
};

/// New imaginary points for a tool, as many as it has; the count in the packet is not read.
struct CalibrateRequest
{
    static constexpr CountedPoints<8, 43> POINTS{NAME.end()};
};

static_assert(ErrorPacket::SIZE == 264 && ConnectPacket::SIZE == 12 && TransformRecord::SIZE == 88 &&
                  MarkerRecord::SIZE == 428 && ImaginaryRecord::SIZE == 140 && SwitchRecord::SIZE == 12 &&
                  AllowedTypes::SIZE == 260 && NormalVectorRecord::SIZE == 440 &&
                  ToolDescription::SIZE == AllPacketType::SIZE,
              "clients count on these bytes");
static_assert(MarkerRecord::POINTS.readEnd() <= AllPacketType::SIZE &&
                  CalibrateRequest::POINTS.readEnd() <= AllPacketType::SIZE &&
                  NormalVectorRecord::NORMALS.readEnd() <= AllPacketType::SIZE &&
                  ToolDescription::REAL_MARKERS.readEnd() <= AllPacketType::SIZE &&
                  ToolDescription::IMAGINARY_MARKERS.readEnd() <= AllPacketType::SIZE,
              "no count that is accepted leads out of a packet");

inline PacketKind kindOf(const AllPacketType& packet)
{
    return static_cast<PacketKind>(packet.bytes[0]);
}

inline void setKind(AllPacketType& packet, PacketKind kind)
{
    packet.bytes[0] = static_cast<char>(kind);
}

template <class Packet>
void exchange(Packet& packet, ErrorPacket& error)
{
    packet(ErrorPacket::CODE, error.code);
    packet(ErrorPacket::TEXT, error.text);
}

template <class Packet>
void exchange(Packet& packet, ConnectPacket& connect)
{
    packet(ConnectPacket::VERSION, connect.version);
    packet(ConnectPacket::PROBE, connect.probe);
}

template <class Packet>
void exchange(Packet& packet, TransformRecord& pose)
{
    packet(TransformRecord::ROTATION, pose.rotation);
    packet(TransformRecord::TRANSLATION, pose.translation);
    packet(TransformRecord::RMS, pose.rms);
}

template <class Packet>
void exchange(Packet& packet, ListedTransformRecord& pose)
{
    packet(NAME, pose.name);
    packet(TransformRecord::ROTATION, pose.rotation);
    packet(TransformRecord::TRANSLATION, pose.translation);
    packet(TransformRecord::UNCONVERTED_RMS, pose.rms);
}

template <class Packet, int ROOM>
void exchange(Packet& packet, PointRecord<ROOM>& record)
{
    packet(PointRecord<ROOM>::POINTS, record.points);
    packet(PointRecord<ROOM>::RMS, record.rms);
}

template <class Packet, int ROOM>
void exchange(Packet& packet, ListedPointRecord<ROOM>& record)
{
    packet(NAME, record.name);
    packet(PointRecord<ROOM>::POINTS, record.points);
    packet(PointRecord<ROOM>::RMS, record.rms);
}

template <class Packet>
void exchange(Packet& packet, NearestToolRecord& record)
{
    packet(NAME, record.name);
    packet(NearestToolRecord::POINTS, record.points);
}

template <class Packet>
void exchange(Packet& packet, SwitchRecord& state)
{
    packet(SwitchRecord::ID, state.id);
    packet(SwitchRecord::FLAG, state.flag);
}

/// All of a description but its owner, which differs between answer and request.
template <class Packet>
void exchangeWithoutOwner(Packet& packet, ToolDescription& tool)
{
    packet(ToolDescription::SLOT, tool.slot);
    packet(ToolDescription::TOOL_NAME, tool.name);
    packet(ToolDescription::TYPE, tool.type);
    packet(ToolDescription::REAL_MARKERS, tool.realMarkers);
    packet(ToolDescription::IMAGINARY_MARKERS, tool.imaginaryMarkers);
    packet(ToolDescription::ID, tool.id);
    packet(ToolDescription::START_CALIBRATION_POINT, tool.startCalibrationPoint);
    packet(ToolDescription::CALIBRATION_DATE, tool.calibrationDate);
    packet(ToolDescription::NUMBER_OF_JACKS, tool.numberOfJacks);
}

template <class Packet>
void exchange(Packet& packet, ToolDescription& tool)
{
    exchangeWithoutOwner(packet, tool);
    packet(ToolDescription::OWNER, tool.owner);
}

template <class Packet>
void exchange(Packet& packet, ToolInitRequest& tool)
{
    // Before the rest: the terminator of an owner that fills its field stands in the next one.
    packet(ToolDescription::REQUESTED_OWNER, tool.owner);
    exchangeWithoutOwner(packet, tool);
}

template <class Packet>
void exchange(Packet& packet, NormalVectorRecord& record)
{
    packet(NormalVectorRecord::NORMALS, record.normals);
    packet(NormalVectorRecord::MARKER_ANGLE_LIMIT, record.markerAngleLimit);
    packet(NormalVectorRecord::MIN_MARKERS, record.minMarkers);
    packet(NormalVectorRecord::MAX_3D, record.max3D);
    packet(NormalVectorRecord::MAX_RMS, record.maxRMS);
}

/// Calls `exchangeAs` with the order that is known to the compiler when the numbers are copied as they are, as most
/// clients' are.
template <class Exchange>
auto inOrder(const WireOrder& order, Exchange exchangeAs)
{
    return order.isHostOrder ? exchangeAs(HostOrder()) : exchangeAs(order);
}

/// Writes a record's values into a packet, which is `Record::SIZE` bytes long then.
template <class Record>
void encode(AllPacketType& packet, const WireOrder& order, Record& values)
{
    inOrder(order,
            [&](const auto& known)
            {
                record::Writer writer(packet.bytes, Record::SIZE, known);
                exchange(writer, values);
            });
}

/// Reads a record's values out of a packet; false when a count in it does not fit. Texts are views into the packet.
template <class Record>
bool decode(const AllPacketType& packet, const WireOrder& order, Record& values)
{
    return inOrder(order,
                   [&](const auto& known)
                   {
                       record::Reader reader(packet.bytes, AllPacketType::SIZE, known);
                       exchange(reader, values);
                       return reader.isGood();
                   });
}

/// The tool that a request names. The view points into the packet.
inline std::string_view nameIn(const AllPacketType& packet)
{
    std::string_view name;
    record::Reader<HostOrder>(packet.bytes, AllPacketType::SIZE)(NAME, name);
    return name;
}

} // namespace packets
