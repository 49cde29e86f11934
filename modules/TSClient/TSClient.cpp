#include "TSClient.h"

#include <tbrCore/Log.h>

#include <algorithm>
#include <cmath>

using namespace packets;

namespace
{

constexpr int PROTOCOL_VERSION = 1;
constexpr int REALS_ROOM = 32;
constexpr int IMAGS_ROOM = 8;
constexpr int NAME_ROOM = 32;

WireOrder wireOrder()
{
    return WireOrder::host();
}

bool isFinite(const Vector3d& vector)
{
    return std::isfinite(vector.x) && std::isfinite(vector.y) && std::isfinite(vector.z);
}

bool isFinite(const Vector3d* points, int count)
{
    return std::all_of(points, points + count, [](const Vector3d& point) { return isFinite(point); });
}

/// OK, or TOOL_NOT_IN_VIEW for what the server measured with numbers that are none.
int statusOfMeasurement(bool isFinite, std::string_view name)
{
    if (isFinite)
        return CaToolServer::OK;
    TBR_LOG("ERROR") << "The tool server sent numbers that are not finite for the tool \"" << name << "\"."
                     << std::endl;
    return CaToolServer::TOOL_NOT_IN_VIEW;
}

/// Hands a pose to a caller. Returns a status code.
int copyPose(const TransformRecord& pose, std::string_view name, Matrix3x3& rotation, Vector3d& translation)
{
    bool isGood = isFinite(pose.translation);
    for (int i = 0; i < 9; ++i)
        isGood = isGood && std::isfinite(pose.rotation[i / 3][i % 3]);
    if (isGood)
    {
        rotation = pose.rotation;
        translation = pose.translation;
    }
    return statusOfMeasurement(isGood, name);
}

/// Hands points to a caller who has room for `room` of them; false when the server sent more.
bool copyPoints(const PointList& list, Vector3d* points, int room, int* count)
{
    if (list.count > room)
        return false;
    std::copy_n(list.points, list.count, points);
    *count = list.count;
    return true;
}

/// The caller's points for a request; false when there are more than a record has room for.
bool takePoints(const Vector3d* points, int count, int room, PointList& list)
{
    if (count < 0 || count > room || (count > 0 && !points))
        return false;
    list.count = count;
    std::copy_n(points, count, list.points);
    return true;
}

AllPacketType bareRequest(PacketKind kind)
{
    AllPacketType packet = {};
    setKind(packet, kind);
    return packet;
}

/// Writes a name into a request; false for a name that no tool of a server can have.
bool putName(AllPacketType& packet, const char* name)
{
    const std::string_view text = name ? name : "";
    if (text.size() > NAME_ROOM)
        return false;
    PacketWriter(packet.bytes, NAME_REQUEST_SIZE, wireOrder())(NAME, text);
    return true;
}

} // namespace

TSClient::TSClient() = default;

TSClient::~TSClient()
{
    m_Exchange.disconnect();
}

const char* TSClient::getHostName() const
{
    const Lock lock(m_AddressMutex);
    return m_HostName.c_str();
}

int TSClient::getPortNumber() const
{
    return m_PortNumber;
}

void TSClient::setTimeout(long ms)
{
    m_Exchange.setTimeout(std::max(ms, 0L));
}

long TSClient::getTimeout() const
{
    return m_Exchange.getTimeout();
}

int TSClient::connect(CaToolServer* other)
{
    if (!other)
        return NO_CONNECTION;
    const char* const name = other->getHostName();
    const std::string host = name ? name : ""; // a copy: `other` may be this
    return host.empty() ? static_cast<int>(NO_CONNECTION) : connect(host.c_str(), other->getPortNumber());
}

void TSClient::setAddress(const std::string& host, int port)
{
    const Lock lock(m_AddressMutex);
    m_HostName = host;
    m_PortNumber = port;
}

int TSClient::connect(const char* host, int port)
{
    const Lock lock(m_Mutex);
    const std::string hostName = host ? host : ""; // a copy: it may be what getHostName() returned
    setAddress(hostName, port);
    m_ToolInfos.clear();
    return m_Exchange.connect(hostName.c_str(), port);
}

int TSClient::disconnect()
{
    const Lock lock(m_Mutex);
    if (!m_Exchange.isConnected())
        return NO_CONNECTION;
    m_Exchange.disconnect();
    m_ToolInfos.clear();
    return OK;
}

bool TSClient::isConnected() const
{
    return m_Exchange.isConnected();
}

void TSClient::cancel()
{
    m_Exchange.interrupt();
}

int TSClient::getProtocolVersion() const
{
    return PROTOCOL_VERSION;
}

std::string TSClient::getServerDescription() const
{
    const Lock lock(m_Mutex);
    if (!m_Exchange.isConnected())
        return "not connected";
    const Lock addressLock(m_AddressMutex);
    return "tool server at " + m_HostName + ":" + std::to_string(m_PortNumber) + ", protocol version " +
           std::to_string(PROTOCOL_VERSION);
}

int TSClient::getLastRemoteError(std::string& text)
{
    const Lock lock(m_Mutex);
    return m_Exchange.getLastRemoteError(text);
}

int TSClient::requestNamed(AllPacketType& packet, PacketKind kind, const char* name, int size)
{
    setKind(packet, kind);
    return putName(packet, name) ? m_Exchange.request(packet, size) : static_cast<int>(UNKNOWN_TOOL);
}

int TSClient::requestBare(PacketKind kind)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = bareRequest(kind);
    return m_Exchange.request(packet, BARE_SIZE);
}

int TSClient::startBare(PacketKind kind)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = bareRequest(kind);
    return m_Exchange.startSequence(packet, BARE_SIZE);
}

int TSClient::getStatus()
{
    return requestBare(PacketKind::STATUS);
}

int TSClient::getNumberOfTools()
{
    const Lock lock(m_Mutex);
    m_ToolInfos.clear();
    AllPacketType packet = bareRequest(PacketKind::TOOL_CHECK);
    int status = m_Exchange.startSequence(packet, BARE_SIZE);
    if (status == OK)
        status = m_Exchange.receiveSequence();
    if (status != OK)
        return status;
    while ((status = m_Exchange.nextInSequence(PacketKind::TOOL_CHECK, packet)) == WAITING_FOR_PACKETS)
        m_ToolInfos.push_back(packet);
    if (status == OK)
        return static_cast<int>(m_ToolInfos.size());
    m_ToolInfos.clear();
    return status;
}

int TSClient::getToolInfo(CaToolInfo& info)
{
    const Lock lock(m_Mutex);
    if (m_ToolInfos.empty())
        return m_Exchange.isConnected() ? OK : NO_CONNECTION;
    const AllPacketType packet = m_ToolInfos.front();
    m_ToolInfos.pop_front();

    ToolDescription tool;
    if (!decode(packet, wireOrder(), tool) ||
        !copyPoints(tool.realMarkers, info.reals, REALS_ROOM, &info.numberOfReals) ||
        !copyPoints(tool.imaginaryMarkers, info.imags, IMAGS_ROOM, &info.numberOfImags) ||
        !isFinite(info.reals, info.numberOfReals) || !isFinite(info.imags, info.numberOfImags))
        return TOOL_INFO_UNREADABLE;
    info.name = std::string(tool.name);
    info.type = static_cast<unsigned char>(tool.type);
    info.port = tool.slot;
    info.identifier = tool.id;
    info.ownerName = std::string(tool.owner);
    info.calibrationStartIndex = tool.startCalibrationPoint;
    info.calibrationDate = tool.calibrationDate;
    info.numberOfPlugs = tool.numberOfJacks;
    return WAITING_FOR_PACKETS;
}

template <class Record>
int TSClient::requestPoints(PacketKind kind, const char* name, Vector3d* points, int room, int* count, float* rms)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = {};
    const int status = requestNamed(packet, kind, name, NAME_REQUEST_SIZE);
    if (status != OK)
        return status;
    Record record;
    if (!decode(packet, wireOrder(), record) || !copyPoints(record.points, points, room, count))
        return UNEXPECTED_PACKET;
    *rms = record.rms;
    return OK;
}

int TSClient::getReals(const char* name, Vector3d* reals, int* count, float* rms)
{
    return requestPoints<MarkerRecord>(PacketKind::MARKER, name, reals, REALS_ROOM, count, rms);
}

int TSClient::getImags(const char* name, Vector3d* imags, int* count, float* rms)
{
    const int status = requestPoints<ImaginaryRecord>(PacketKind::IMAGINARY, name, imags, IMAGS_ROOM, count, rms);
    return status == OK ? statusOfMeasurement(isFinite(imags, *count), name) : status;
}

template <class Record>
int TSClient::nextPoints(PacketKind kind, std::string& name, Vector3d* points, int room, int* count)
{
    const Lock lock(m_Mutex);
    AllPacketType packet;
    const int status = m_Exchange.nextInSequence(kind, packet);
    if (status != WAITING_FOR_PACKETS)
        return status;
    Record record;
    if (!decode(packet, wireOrder(), record) || !copyPoints(record.points, points, room, count))
        return UNEXPECTED_PACKET;
    name.assign(record.name);
    return WAITING_FOR_PACKETS;
}

int TSClient::startImags()
{
    return startBare(PacketKind::ALL_IMAGINARY);
}

int TSClient::nextImags(std::string& name, Vector3d* imags, int* count)
{
    const int status =
        nextPoints<ListedPointRecord<IMAGS_ROOM>>(PacketKind::ALL_IMAGINARY, name, imags, IMAGS_ROOM, count);
    if (status != WAITING_FOR_PACKETS)
        return status;
    const int measured = statusOfMeasurement(isFinite(imags, *count), name);
    return measured == OK ? status : measured;
}

int TSClient::startReals()
{
    return startBare(PacketKind::ALL_MARKER);
}

int TSClient::nextReals(std::string& name, Vector3d* reals, int* count)
{
    return nextPoints<ListedPointRecord<REALS_ROOM>>(PacketKind::ALL_MARKER, name, reals, REALS_ROOM, count);
}

int TSClient::startTransforms(bool)
{
    return startBare(PacketKind::ALL_RIGID_TRANSFORM);
}

int TSClient::startTransformsOnSwitch(int switchId, bool pressed)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = bareRequest(PacketKind::ALL_RIGID_TRANSFORM_ON_SWITCH);
    SwitchRecord wanted{switchId, pressed ? 1 : 0};
    encode(packet, wireOrder(), wanted);
    return m_Exchange.startSequence(packet, SwitchRecord::SIZE);
}

int TSClient::nextTransform(std::string& name, Matrix3x3& rotation, Vector3d& translation)
{
    const Lock lock(m_Mutex);
    AllPacketType packet;
    const int status = m_Exchange.nextInSequence(PacketKind::ALL_RIGID_TRANSFORM, packet);
    if (status != WAITING_FOR_PACKETS)
        return status;
    ListedTransformRecord pose;
    decode(packet, wireOrder(), pose);
    name.assign(pose.name);
    const int measured = copyPose(pose, pose.name, rotation, translation);
    return measured == OK ? status : measured;
}

int TSClient::getTransform(const char* name, Matrix3x3& rotation, Vector3d& translation, float* rms)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = {};
    const int status = requestNamed(packet, PacketKind::RIGID_TRANSFORM, name, NAME_REQUEST_SIZE);
    if (status != OK)
        return status;
    TransformRecord pose;
    decode(packet, wireOrder(), pose);
    *rms = pose.rms;
    return copyPose(pose, name, rotation, translation);
}

int TSClient::setReference(const char* name)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = {};
    return requestNamed(packet, PacketKind::FRAME_OF_REFERENCE, name, NAME_REQUEST_SIZE);
}

int TSClient::setNearestTypes(const bool* typeMask)
{
    const Lock lock(m_Mutex);
    if (!typeMask)
        return WRONG_REQUEST;
    AllPacketType packet = bareRequest(PacketKind::ALLOWED_NEAREST_TOOL);
    for (int type = 0; type < AllowedTypes::SIZE - BARE_SIZE; ++type)
        packet.bytes[AllowedTypes::FLAGS.offset + type] = typeMask[type] ? 1 : 0;
    return m_Exchange.request(packet, AllowedTypes::SIZE);
}

int TSClient::getNearestTool(std::string& name, Vector3d* imags, int* count)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = bareRequest(PacketKind::NEAREST_TOOL);
    const int status = m_Exchange.request(packet, BARE_SIZE);
    if (status != OK)
        return status;
    NearestToolRecord record;
    if (!decode(packet, wireOrder(), record) || !copyPoints(record.points, imags, IMAGS_ROOM, count))
        return UNEXPECTED_PACKET;
    name.assign(record.name);
    return statusOfMeasurement(isFinite(imags, *count), name);
}

int TSClient::calibrate(const char* name, const Vector3d* imags, int numberOfImags)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = {};
    PointList points;
    if (!takePoints(imags, numberOfImags, IMAGS_ROOM, points))
        return CALIBRATION_ERROR;
    PacketWriter(packet.bytes, AllPacketType::SIZE, wireOrder())(CalibrateRequest::POINTS, points);
    return requestNamed(packet, PacketKind::CALIBRATE, name, CalibrateRequest::POINTS.end());
}

int TSClient::getSwitch(int* switchId, bool* pressed)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = bareRequest(PacketKind::SWITCH);
    const int status = m_Exchange.request(packet, BARE_SIZE);
    if (status != OK)
        return status;
    SwitchRecord state;
    decode(packet, wireOrder(), state);
    *switchId = state.id;
    *pressed = state.flag != 0;
    return OK;
}

int TSClient::writeNormalInfo(const char* name, const Vector3d* normals, int count, int markerAngleLimit,
                              int minMarkerVisible, double max3d, double maxRms)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = {};
    NormalVectorRecord record;
    if (!takePoints(normals, count, REALS_ROOM, record.normals))
        return UNKNOWN_TOOL;
    record.markerAngleLimit = markerAngleLimit;
    record.minMarkers = minMarkerVisible;
    record.max3D = static_cast<float>(max3d);
    record.maxRMS = static_cast<float>(maxRms);
    encode(packet, wireOrder(), record);
    return requestNamed(packet, PacketKind::ADD_NORMAL_VECTORS, name, NormalVectorRecord::SIZE);
}

int TSClient::readNormalInfo(const char* name, Vector3d* normals, int* count, int* markerAngleLimit,
                             int* minMarkerVisible, double* max3d, double* maxRms)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = {};
    const int status = requestNamed(packet, PacketKind::GET_NORMAL_VECTOR, name, NAME_REQUEST_SIZE);
    if (status != OK)
        return status;
    NormalVectorRecord record;
    if (!decode(packet, wireOrder(), record) || !copyPoints(record.normals, normals, REALS_ROOM, count))
        return UNEXPECTED_PACKET;
    *markerAngleLimit = record.markerAngleLimit;
    *minMarkerVisible = record.minMarkers;
    *max3d = record.max3D;
    *maxRms = record.maxRMS;
    return OK;
}

int TSClient::initialize(int port, const char* name, unsigned char type, const Vector3d* reals, int numberOfReals,
                         const Vector3d* imags, int numberOfImags, int identifier, const char* ownerName,
                         int calibrationStartIndex, int calibrationDate, int numberOfPlugs)
{
    const Lock lock(m_Mutex);
    AllPacketType packet = bareRequest(PacketKind::TOOL_INIT);
    ToolInitRequest tool;
    tool.slot = port;
    tool.name = name ? name : "";
    tool.type = type;
    tool.id = identifier;
    tool.owner = ownerName ? ownerName : "";
    tool.startCalibrationPoint = calibrationStartIndex;
    tool.calibrationDate = calibrationDate;
    tool.numberOfJacks = numberOfPlugs;
    if (tool.name.size() > NAME_ROOM || !takePoints(reals, numberOfReals, REALS_ROOM, tool.realMarkers) ||
        !takePoints(imags, numberOfImags, IMAGS_ROOM, tool.imaginaryMarkers))
        return INITIALIZATION_ERROR;
    constexpr std::size_t OWNER_ROOM = ToolDescription::START_CALIBRATION_POINT.offset - ToolDescription::OWNER.offset;
    tool.owner = tool.owner.substr(0, OWNER_ROOM);
    encode(packet, wireOrder(), tool);
    return m_Exchange.request(packet, ToolDescription::SIZE);
}
