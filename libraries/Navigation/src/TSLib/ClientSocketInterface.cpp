#include <TSLib/ClientSocketInterface.h>

#include <TSLib/QueueEventDispatcher.h>

#include <tbrBase/WatchdogException.h>
#include <tbrCore/Log.h>

#include <QCoreApplication>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <iostream>
#include <sstream>
#include <thread>

using namespace packets;

namespace
{

constexpr int UNCONNECTED = -53;
constexpr int CONNECTED = 0;
constexpr int CONNECTED_WITH_ERROR = 17;
constexpr int PROTOCOL_VERSION = 1;
constexpr int CONNECTION_LOST = -7;
constexpr double NEAREST_TOOL_LIMIT = 1000.0;
constexpr std::chrono::milliseconds STOP_PATIENCE(1000);

/// Answers are sent when this much has come together, so that the longest tool list takes no more memory.
constexpr std::size_t ANSWERS_LIMIT = 60000;

const void* currentThread()
{
    return QThread::currentThread();
}

/// Writes whole lines, so that those of several threads do not mix.
template <class... Pieces>
void print(const Pieces&... pieces)
{
    std::ostringstream text;
    (text << ... << pieces);
    std::cout << text.str() << std::flush;
}

/// The pose of a tool, with its RMS, in the frame whose pose comes in; false when the tool is not visible.
bool transformToReference(const Tool& tool, TransformRecord& pose)
{
    return tool.calculateTransformationToReference(pose.rotation, pose.translation, pose.rms) != 0;
}

/// The imaginary points of `tool` under a pose, with their true count.
void transformImaginaries(const Tool& tool, const TransformRecord& pose, PointList& points)
{
    tool.copyImaginaryMarkers(points);
    for (int i = 0; i < points.held(); ++i)
        points.points[i] = pose.rotation * points.points[i] + pose.translation;
}

} // namespace

const ClientSocketInterface::Requests ClientSocketInterface::ourRequests = ClientSocketInterface::makeRequests();

ClientSocketInterface::Requests ClientSocketInterface::makeRequests()
{
    using Self = ClientSocketInterface;
    Requests requests;
    requests.fill({&Self::handlePUnknown, Guard::NONE, Duration::SHORT});
    const auto row = [&requests](PacketKind kind, void (Self::*handler)(AllPacketType&),
                                 Duration duration = Duration::SHORT, Guard guard = Guard::NEEDS_CONNECTION) {
        requests[static_cast<unsigned char>(kind)] = {handler, guard, duration};
    };
    row(PacketKind::CONNECT, &Self::handlePConnect, Duration::SHORT, Guard::NONE);
    row(PacketKind::STATUS, &Self::handlePStatus, Duration::MODULES_TIME);
    row(PacketKind::TOOL_CHECK, &Self::handlePToolcheck);
    row(PacketKind::FRAME_OF_REFERENCE, &Self::handlePFOR);
    row(PacketKind::MARKER, &Self::handlePMarker);
    row(PacketKind::ALL_MARKER, &Self::handlePAllMarker);
    row(PacketKind::IMAGINARY, &Self::handlePImaginary);
    row(PacketKind::ALL_IMAGINARY, &Self::handlePAllImaginary);
    row(PacketKind::RIGID_TRANSFORM, &Self::handlePRigtrans);
    row(PacketKind::ALL_RIGID_TRANSFORM, &Self::handlePAllRigtrans);
    row(PacketKind::NEAREST_TOOL, &Self::handlePNearestTool);
    row(PacketKind::SWITCH, &Self::handlePSwitch, Duration::MODULES_TIME);
    row(PacketKind::ALL_RIGID_TRANSFORM_ON_SWITCH, &Self::handlePAllRigtransOnSwitch, Duration::MODULES_TIME);
    row(PacketKind::ADD_NORMAL_VECTORS, &Self::handlePAddNormalVectors, Duration::MODULES_TIME);
    row(PacketKind::CALIBRATE, &Self::handlePCalibrate, Duration::MODULES_TIME);
    row(PacketKind::TOOL_INIT, &Self::handlePToolInit, Duration::MODULES_TIME);
    row(PacketKind::ALLOWED_NEAREST_TOOL, &Self::handlePAllowedNearestTool);
    row(PacketKind::GET_NORMAL_VECTOR, &Self::handlePGetNormalVector);
    row(PacketKind::EXIT, &Self::handlePExit, Duration::SHORT, Guard::NONE);
    return requests;
}

ClientSocketInterface::ClientSocketInterface(int socket, Toollist* toollist)
    : CaServerStreamSocket(socket), m_Thread(new QThread), m_ConnectionState(UNCONNECTED), m_SocketNumber(socket),
      m_Toollist(toollist), m_FrameOfReference(CAMERA_FRAME),
      m_ToolChangeMark(toollist->getToolChangeCount()), m_AllowedNearestTypes{}, m_ExitCallback(nullptr),
      m_ExitCallbackData(nullptr), m_StopRequested(false), m_HasTerminated(false)
{
    enableByteSwapping(false);
    enableReadAhead();
    m_AllowedNearestTypes[0] = 1;
    m_Thread->setEventDispatcher(new QueueEventDispatcher); // the thread owns it
    moveToThread(m_Thread);
    tbr::assertHolds(connect(m_Thread, SIGNAL(started()), this, SLOT(evaluateClientMessage())),
                     "connect(m_thread, SIGNAL(started()), this, SLOT(evaluateClientMessage()))",
                     "TSLib/ClientSocketInterface.cpp", 107);
    m_Thread->start(QThread::InheritPriority); // from here on the session's thread is at work
    if (!m_Thread->isRunning() && !m_Thread->isFinished())
    {
        TBR_LOG("ERROR") << "There is no thread for the client at socket " << m_SocketNumber << "." << std::endl;
        m_HasTerminated = true;
    }
}

ClientSocketInterface::~ClientSocketInterface()
{
    print("current thread ", currentThread(), "\nquitting thread ", static_cast<const void*>(m_Thread), "\n");
    requestStop();
    constexpr std::chrono::milliseconds SLICE(50);
    for (std::chrono::milliseconds waited = SLICE; !waitForEnd(SLICE); waited += SLICE)
    {
        if (waited != STOP_PATIENCE)
            continue;
        // Only a camera module that does not return can hold a session up. Its thread uses this object: it must not go.
        TBR_LOG("ERROR") << "The session at socket " << m_SocketNumber
                         << " waits for the camera module to return before it can end." << std::endl;
    }
    static_cast<void>(m_HasTerminated.load()); // the order that wait() made, once more where a sanitizer can see it
    delete m_Thread;
}

void ClientSocketInterface::addExitCallback(void (*callback)(ClientSocketInterface*, void*), void* data)
{
    m_ExitCallback = callback;
    m_ExitCallbackData = data;
}

int ClientSocketInterface::getSocketNumber() const
{
    return m_SocketNumber;
}

bool ClientSocketInterface::hasTerminated() const
{
    return m_HasTerminated;
}

void ClientSocketInterface::requestStop()
{
    m_StopRequested = true;
    shutdown();
    m_Thread->quit();
}

bool ClientSocketInterface::waitForEnd(std::chrono::milliseconds limit)
{
    if (m_Thread->wait(static_cast<unsigned long>(limit.count())))
        return true;
    shutdown(); // again, for a system on which a call that was just about to wait has missed it
    return false;
}

void ClientSocketInterface::terminate()
{
    const bool isAwaited = !m_StopRequested;
    m_HasTerminated = true; // the last access: the destructor goes by it
    if (isAwaited)
        emit connectionTerminated();
}

void ClientSocketInterface::evaluateClientMessage()
{
    TBR_LOG("toolserver") << "Client thread (" << currentThread() << ") running.\n";
    AllPacketType packet;
    int status = 0;
    do
    {
        if (readRequest(packet, status))
        {
            if (!answerRequest(packet))
                break;
            // Nothing but queued calls can be pending here: a session has neither timers nor event-driven sockets.
            QCoreApplication::sendPostedEvents();
        }
        else
            logReadFailure(status);
    } while (status != CONNECTION_LOST && !m_StopRequested);

    terminate();
    QCoreApplication::sendPostedEvents();
}

/// Reads one request into the packet; what it does not deliver reads as zero, what does not fit is dropped.
bool ClientSocketInterface::readRequest(AllPacketType& packet, int& status)
{
    int size = AllPacketType::SIZE;
    status = read(&size, -1);
    if (status < 0)
        return false;

    const std::size_t used = static_cast<std::size_t>(std::min(size, static_cast<int>(AllPacketType::SIZE)));
    std::memcpy(packet.bytes, getReadBuffer(), used);
    std::memset(packet.bytes + used, 0, sizeof packet.bytes - used);
    return true;
}

void ClientSocketInterface::logReadFailure(int status) const
{
    TBR_LOG("toolserver") << "Error on client socket " << m_SocketNumber << " - reading failed. " << std::endl;
    TBR_LOG("toolserver") << "Status: " << status << std::endl;
}

/// Answers one request; false when that failed so badly that the session has to end.
bool ClientSocketInterface::answerRequest(AllPacketType& packet)
{
    const Request& request = ourRequests[static_cast<unsigned char>(packet.bytes[0])];
    if (request.duration == Duration::MODULES_TIME)
        sendAnswers();
    const std::size_t earlierAnswers = m_Answers.size();
    try
    {
        handle(request, packet);
        if (!hasReadAheadPacket() || m_Answers.size() >= ANSWERS_LIMIT)
            sendAnswers();
        return true;
    }
    catch (const std::exception& error)
    {
        TBR_LOG("ERROR") << "The session at socket " << m_SocketNumber
                         << " ends: a request failed with: " << error.what() << std::endl;
    }
    catch (...)
    {
        TBR_LOG("ERROR") << "The session at socket " << m_SocketNumber << " ends: a request failed." << std::endl;
    }
    m_Answers.resize(std::min(m_Answers.size(), earlierAnswers)); // nothing of this request, which may be in the midst
    sendAnswers();
    return false;
}

void ClientSocketInterface::handle(const Request& request, AllPacketType& packet)
{
    if (request.guard == Guard::NONE || !handleNOTConnected(packet))
        (this->*request.handler)(packet);
}

bool ClientSocketInterface::handleNOTConnected(AllPacketType& packet)
{
    if (m_ConnectionState > UNCONNECTED)
        return false;
    handlePError(packet, 17, "Toolsserver error state: " + std::to_string(m_ConnectionState));
    return true;
}

WireOrder ClientSocketInterface::wireOrder() const
{
    return {sockhtonl, sockntohl, sockhtonf, sockntohf, !isByteSwapping()};
}

template <class Record>
void ClientSocketInterface::answer(AllPacketType& packet, PacketKind kind, Record& values)
{
    setKind(packet, kind);
    encode(packet, wireOrder(), values);
    enqueue(packet, Record::SIZE);
}

void ClientSocketInterface::acknowledge(AllPacketType& packet)
{
    setKind(packet, PacketKind::ACKNOWLEDGE);
    enqueue(packet, BARE_SIZE);
}

void ClientSocketInterface::handlePError(AllPacketType& packet, int code, const std::string& text)
{
    ErrorPacket error{code, text};
    answer(packet, PacketKind::FAILURE, error);
}

void ClientSocketInterface::handlePError(AllPacketType& packet, int code, const char* text)
{
    ErrorPacket error{code, text};
    answer(packet, PacketKind::FAILURE, error);
}

/// Appends a packet with its size header to the answers of this request.
void ClientSocketInterface::enqueue(const AllPacketType& packet, int size)
{
    m_Answers.push_back(static_cast<char>(size >> 8));
    m_Answers.push_back(static_cast<char>(size));
    m_Answers.insert(m_Answers.end(), packet.bytes, packet.bytes + size);
}

/// Sends all answers that have come together, in one piece. A client that is gone shows at the next read.
void ClientSocketInterface::sendAnswers()
{
    if (m_Answers.empty())
        return;
    writeFrames(m_Answers.data(), static_cast<int>(m_Answers.size()));
    m_Answers.clear();
}

/// Calls perTool(slot, tool) for every tool in slot order and sends what has come together whenever it is much, while
/// no tool is kept alive for it.
template <class PerTool>
void ClientSocketInterface::forEachTool(PerTool perTool)
{
    unsigned int slot = 0;
    for (bool isMoreToCome = true; isMoreToCome;)
    {
        {
            const Reading reading(*m_Toollist);
            for (; slot < reading.size() && m_Answers.size() < ANSWERS_LIMIT; ++slot)
                if (Tool* tool = reading.tool(slot))
                    perTool(slot, *tool);
            isMoreToCome = slot < reading.size();
        }
        if (isMoreToCome)
            sendAnswers();
    }
}

void ClientSocketInterface::handlePUnknown(AllPacketType& packet)
{
    handlePError(packet, 11, "Unsupported request on client socket.");
}

void ClientSocketInterface::handlePConnect(AllPacketType& packet)
{
    ConnectPacket connect;
    decode(packet, wireOrder(), connect);
    if (connect.version != PROTOCOL_VERSION)
    {
        m_ConnectionState = CONNECTED_WITH_ERROR;
        return handlePError(packet, 18,
                            "Incompatible protocol version: " + std::to_string(connect.version) +
                                " != " + std::to_string(PROTOCOL_VERSION));
    }

    const bool isSwapping = connect.probe != 1;
    enableByteSwapping(isSwapping);
    TBR_LOG("toolserver") << "Byteswapping " << (isSwapping ? "on" : "off") << " for connection.\n";
    m_ConnectionState = CONNECTED;
    connect.probe = 1;
    answer(packet, PacketKind::CONNECT, connect);
}

void ClientSocketInterface::handlePStatus(AllPacketType& packet)
{
    const int status = m_Toollist->getStatus();
    if (status != 0)
        return handlePError(packet, status, m_Toollist->getErrorMsg());
    acknowledge(packet);
}

void ClientSocketInterface::handlePSwitch(AllPacketType& packet)
{
    int id = 0;
    bool isPressed = false;
    m_Toollist->requestSwitch(id, isPressed);
    SwitchRecord state{id, isPressed ? 1 : 0};
    answer(packet, PacketKind::SWITCH, state);
}

void ClientSocketInterface::handlePAllowedNearestTool(AllPacketType& packet)
{
    std::memcpy(m_AllowedNearestTypes.data(), packet.bytes + AllowedTypes::FLAGS.offset, m_AllowedNearestTypes.size());
    acknowledge(packet);
}

void ClientSocketInterface::handlePExit(AllPacketType& packet)
{
    acknowledge(packet);
    sendAnswers();
    print("emitting connectionTerminated\n");
    terminate();
}

void ClientSocketInterface::handlePToolInit(AllPacketType& packet)
{
    ToolInitRequest request;
    Tool* tool = nullptr;
    bool isInitialised = false;
    if (decode(packet, wireOrder(), request))
    {
        const PointList& reals = request.realMarkers;
        const PointList& imaginaries = request.imaginaryMarkers;
        const Toollist::ModuleCall call(*m_Toollist); // the new tool lives at least until it is initialised
        tool = m_Toollist->createTool(request.id, 0, std::string(request.name), std::string(request.owner),
                                      request.type, request.startCalibrationPoint, request.calibrationDate,
                                      std::vector<Vector3d>(reals.points, reals.points + reals.count),
                                      std::vector<Vector3d>(imaginaries.points, imaginaries.points + imaginaries.count),
                                      static_cast<unsigned int>(request.numberOfJacks), true);
        isInitialised = tool && m_Toollist->initTool(static_cast<unsigned int>(request.slot), tool);
    }
    if (!isInitialised)
        return handlePError(packet, 15, "Error while initializing a new tool.");
    acknowledge(packet);
}

/// The common part of the requests that change what the module knows of a tool: `change` checks the request and applies
/// it to the tool, or answers an error and returns false.
void ClientSocketInterface::changeCalibration(AllPacketType& packet,
                                              bool (ClientSocketInterface::*change)(AllPacketType&, Tool&))
{
    const Toollist::ModuleCall call(*m_Toollist);
    Tool* tool = nullptr;
    {
        const Reading reading(*m_Toollist);
        tool = reading.tool(nameIn(packet));
        if (!tool)
            return handlePError(packet, 9, "There is no tool with this name.");
        if (!(this->*change)(packet, *tool))
            return;
    }
    if (!m_Toollist->updateCalibration(tool))
        return handlePError(packet, 13, "Error while updating calibration.");
    acknowledge(packet);
}

void ClientSocketInterface::handlePCalibrate(AllPacketType& packet)
{
    changeCalibration(packet, &ClientSocketInterface::setImaginaryMarkers);
}

bool ClientSocketInterface::setImaginaryMarkers(AllPacketType& packet, Tool& tool)
{
    const unsigned int count = tool.getNumberOfImaginaryMarkers();
    PointList points;
    PacketReader reader(packet.bytes, AllPacketType::SIZE, wireOrder());
    if (count > PointList::CAPACITY ||
        !reader.points(CalibrateRequest::POINTS.points().offset, points.points, static_cast<int>(count)))
    {
        handlePError(packet, 13, "Error while updating calibration.");
        return false;
    }
    points.count = static_cast<int>(count);
    tool.setImaginaryMarkers(points);
    return true;
}

void ClientSocketInterface::handlePAddNormalVectors(AllPacketType& packet)
{
    changeCalibration(packet, &ClientSocketInterface::setNormalVectors);
}

bool ClientSocketInterface::setNormalVectors(AllPacketType& packet, Tool& tool)
{
    NormalVectorRecord record;
    if (!decode(packet, wireOrder(), record) ||
        static_cast<unsigned int>(record.normals.count) != tool.getNumberOfRealMarkers())
    {
        handlePError(packet, 9, "The number of normal vectors doesn't match the number of reals");
        return false;
    }
    tool.setNormalVectors(record.normals);
    tool.setMarkerAngleLimit(record.markerAngleLimit);
    tool.setMinMarkers(record.minMarkers);
    tool.setMax3D(record.max3D);
    tool.setMaxRMS(record.maxRMS);
    return true;
}

void ClientSocketInterface::handlePGetNormalVector(AllPacketType& packet)
{
    const Reading reading(*m_Toollist);
    const Tool* tool = reading.tool(nameIn(packet));
    if (!tool)
        return handlePError(packet, 9, "There is no tool with this name");
    if (tool->getNumberOfRealMarkers() == 0)
        return handlePError(packet, 16, "There are no normal vectors defined for this tool");

    NormalVectorRecord record;
    tool->copyNormalVectors(record.normals);
    record.markerAngleLimit = tool->getMarkerAngleLimit();
    record.minMarkers = tool->getMinMarkers();
    record.max3D = tool->getMax3D();
    record.maxRMS = tool->getMaxRMS();
    answer(packet, PacketKind::ACKNOWLEDGE, record);
}

void ClientSocketInterface::handlePFOR(AllPacketType& packet)
{
    const std::string_view name = nameIn(packet);
    if (name == CAMERA_NAME)
    {
        m_FrameOfReference = CAMERA_FRAME;
        return acknowledge(packet);
    }

    const Reading reading(*m_Toollist);
    const Tool* tool = reading.tool(name);
    if (!tool)
        return handlePError(packet, 9, "There is no tool with this name");
    const auto& tools = reading.table().tools();
    const auto last = std::find(tools.rbegin(), tools.rend(), tool);
    m_FrameOfReference = static_cast<int>(tools.rend() - last) - 1;
    acknowledge(packet);
}

void ClientSocketInterface::handlePToolcheck(AllPacketType& packet)
{
    // Taken first: a change while the tools are listed is then reported by the next request for all tools.
    const int changeCount = m_Toollist->getToolChangeCount();
    forEachTool(
        [&](unsigned int slot, const Tool& tool)
        {
            ToolDescription description;
            description.slot = static_cast<int>(slot);
            description.name = tool.getName();
            description.type = tool.getType() == 15 ? 6 : tool.getType();
            tool.copyRealMarkers(description.realMarkers);
            tool.copyImaginaryMarkers(description.imaginaryMarkers);
            description.id = tool.getID();
            description.owner = tool.getOwner();
            description.startCalibrationPoint = tool.getStartCalibrationPoint();
            description.calibrationDate = tool.getCalibrationDate();
            description.numberOfJacks = static_cast<int>(tool.getNumberOfJacks());
            answer(packet, PacketKind::TOOL_CHECK, description);
        });

    if (!m_Toollist->getTool(static_cast<unsigned int>(m_FrameOfReference)))
    {
        m_FrameOfReference = CAMERA_FRAME;
        TBR_LOG("toolserver") << "Frame of Reference reset to CAMERA !!!\n";
    }
    m_ToolChangeMark = changeCount;
    acknowledge(packet);
}

bool ClientSocketInterface::isToolSetChanged(AllPacketType& packet)
{
    if (m_ToolChangeMark == m_Toollist->getToolChangeCount())
        return false;
    handlePError(packet, 6, "Toolchange detected at the Stroberbox.");
    return true;
}

/// The tool that the request names, with its pose in the frame of reference and its RMS; null when an error was
/// answered.
Tool* ClientSocketInterface::locateTool(AllPacketType& packet, const Reading& reading, TransformRecord& pose)
{
    Tool* tool = reading.tool(nameIn(packet));
    int result = 1;
    if (!tool)
    {
        handlePError(packet, 9, "There is no tool with this name");
        return nullptr;
    }
    if (m_FrameOfReference == CAMERA_FRAME)
        result = tool->getTransform(pose.rotation, pose.translation, pose.rms);
    else
    {
        Tool* reference = reading.tool(static_cast<unsigned int>(m_FrameOfReference));
        result = reference
                     ? tool->calculateTransformationToReference(reference, pose.rotation, pose.translation, pose.rms)
                     : -1;
    }
    if (result == 1)
        return tool;
    if (result == 0)
        handlePError(packet, 8, "The Tool is not in view.");
    else
        handlePError(packet, 7, "Frame of reference is not in view.");
    return nullptr;
}

void ClientSocketInterface::handlePRigtrans(AllPacketType& packet)
{
    const Reading reading(*m_Toollist);
    TransformRecord pose;
    if (locateTool(packet, reading, pose))
        answer(packet, PacketKind::RIGID_TRANSFORM, pose);
}

void ClientSocketInterface::handlePImaginary(AllPacketType& packet)
{
    const Reading reading(*m_Toollist);
    TransformRecord pose;
    const Tool* tool = locateTool(packet, reading, pose);
    if (!tool)
        return;
    ImaginaryRecord record;
    transformImaginaries(*tool, pose, record.points);
    record.rms = pose.rms;
    answer(packet, PacketKind::ACKNOWLEDGE, record);
}

void ClientSocketInterface::handlePMarker(AllPacketType& packet)
{
    const Reading reading(*m_Toollist);
    const Tool* tool = reading.tool(nameIn(packet));
    if (!tool)
        return handlePError(packet, 9, "There is no tool with this name");
    MarkerRecord record;
    tool->copyRealMarkerPositions(record.points, record.rms);
    answer(packet, PacketKind::ACKNOWLEDGE, record);
}

/// The pose of the frame of reference in the camera's frame; false when an error was answered.
bool ClientSocketInterface::getReferencePose(AllPacketType& packet, TransformRecord& pose)
{
    pose.rotation = Matrix3x3::identity();
    pose.translation = Vector3d();
    if (m_FrameOfReference == CAMERA_FRAME)
        return true;

    const Reading reading(*m_Toollist);
    const Tool* reference = reading.tool(static_cast<unsigned int>(m_FrameOfReference));
    if (reference && reference->getTransform(pose.rotation, pose.translation) != 0)
        return true;
    handlePError(packet, 7, "Frame of reference is not in view.");
    return false;
}

void ClientSocketInterface::handlePAllRigtrans(AllPacketType& packet)
{
    TransformRecord reference;
    if (isToolSetChanged(packet) || !getReferencePose(packet, reference))
        return;
    forEachTool(
        [&](unsigned int, const Tool& tool)
        {
            ListedTransformRecord pose;
            static_cast<TransformRecord&>(pose) = reference;
            if (!transformToReference(tool, pose))
                return handlePError(packet, 8, "Tools is not in view.");
            pose.name = tool.getName();
            answer(packet, PacketKind::ALL_RIGID_TRANSFORM, pose);
        });
    acknowledge(packet);
}

void ClientSocketInterface::handlePAllImaginary(AllPacketType& packet)
{
    TransformRecord reference;
    if (isToolSetChanged(packet) || !getReferencePose(packet, reference))
        return;
    forEachTool(
        [&](unsigned int, const Tool& tool)
        {
            TransformRecord pose = reference;
            if (!transformToReference(tool, pose))
                return;
            ListedPointRecord<8> record;
            record.name = tool.getName();
            transformImaginaries(tool, pose, record.points);
            record.rms = pose.rms;
            answer(packet, PacketKind::ALL_IMAGINARY, record);
        });
    acknowledge(packet);
}

void ClientSocketInterface::handlePAllMarker(AllPacketType& packet)
{
    if (isToolSetChanged(packet))
        return;
    forEachTool(
        [&](unsigned int, const Tool& tool)
        {
            ListedPointRecord<32> record;
            record.name = tool.getName();
            tool.copyRealMarkerPositions(record.points, record.rms);
            answer(packet, PacketKind::ALL_MARKER, record);
        });
    acknowledge(packet);
}

void ClientSocketInterface::handlePNearestTool(AllPacketType& packet)
{
    TransformRecord reference;
    if (isToolSetChanged(packet))
        return;
    if (m_FrameOfReference == CAMERA_FRAME)
        return handlePError(packet, 7, "Frame of reference is not in view.");
    if (!getReferencePose(packet, reference))
        return;

    const Reading reading(*m_Toollist);
    const NearestTool nearest = findNearestTool(reading, reference);
    if (!nearest.tool)
        return handlePError(packet, 14, "No tool is close enough to the FOR.");
    answerNearestTool(packet, nearest);
}

/// Of the visible tools of allowed types, the one nearest to the frame of reference, whose pose is `reference`; the
/// earlier one of two at the same distance.
ClientSocketInterface::NearestTool ClientSocketInterface::findNearestTool(const Reading& reading,
                                                                          const TransformRecord& reference) const
{
    const Tool* referenceTool = reading.tool(static_cast<unsigned int>(m_FrameOfReference));
    NearestTool nearest;
    double nearestDistance = NEAREST_TOOL_LIMIT;
    for (const Tool* tool : reading.table().tools())
    {
        if (!tool)
            continue;
        nearest.last = tool;
        TransformRecord pose = reference;
        if (tool == referenceTool || !isAllowedAsNearest(tool->getType()) || !transformToReference(*tool, pose))
            continue;
        const double distance = pose.translation.length();
        if (distance < nearestDistance)
        {
            nearest.tool = tool;
            nearest.pose = pose;
            nearestDistance = distance;
        }
    }
    return nearest;
}

/// Answers the nearest tool's name and number of imaginary points, with the imaginary points of the last tool in the
/// list under the nearest tool's pose. Clients have always been answered so; the points are the nearest tool's own only
/// when it is the last one.
void ClientSocketInterface::answerNearestTool(AllPacketType& packet, const NearestTool& nearest)
{
    NearestToolRecord record;
    record.name = nearest.tool->getName();
    nearest.last->copyImaginaryMarkers(record.points);
    std::fill(record.points.points + record.points.held(), record.points.points + PointList::CAPACITY,
              Tool::invalidVector);
    record.points.count = static_cast<int>(nearest.tool->getNumberOfImaginaryMarkers());
    for (int i = 0; i < record.points.held(); ++i)
        record.points.points[i] = nearest.pose.rotation * record.points.points[i] + nearest.pose.translation;
    answer(packet, PacketKind::ACKNOWLEDGE, record);
}

bool ClientSocketInterface::isAllowedAsNearest(int type) const
{
    return type >= 0 && type < static_cast<int>(m_AllowedNearestTypes.size()) &&
           m_AllowedNearestTypes[static_cast<std::size_t>(type)] != 0;
}

void ClientSocketInterface::handlePAllRigtransOnSwitch(AllPacketType& packet)
{
    SwitchRecord wanted;
    decode(packet, wireOrder(), wanted);
    if (waitForSwitch(wanted.id, wanted.flag != 0))
        handlePAllRigtrans(packet);
}

/// Asks the module again and again, without a pause, until the switch is as wanted; false when the session ends or its
/// client goes before.
bool ClientSocketInterface::waitForSwitch(int id, bool isPressed)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds LOOK_PERIOD(50);
    Clock::time_point nextLook = Clock::now() + LOOK_PERIOD;
    while (!m_StopRequested)
    {
        int currentId = 0;
        bool isCurrentlyPressed = false;
        m_Toollist->requestSwitch(currentId, isCurrentlyPressed);
        if (currentId == id && isCurrentlyPressed == isPressed)
            return true;
        if (Clock::now() >= nextLook)
        {
            if (isPeerGone())
                return false;
            nextLook = Clock::now() + LOOK_PERIOD;
        }
        std::this_thread::yield(); // the camera, whose switch this is, must get its turn on a busy machine
    }
    return false;
}
