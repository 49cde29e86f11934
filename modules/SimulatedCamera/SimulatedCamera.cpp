#include <SimulatedCamera/SimulatedCamera.h>

#include <SimulatedCamera/BuiltInScene.h>
#include <SimulatedCamera/SceneReader.h>

#include <tbrCore/Log.h>
#include <tbrCore/Settings.h>

#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

using simulation::Scene;
using simulation::SceneResult;
using simulation::SceneTool;
using simulation::SwitchState;
using simulation::ToolFrame;
using simulation::TrackingParameters;

namespace
{

constexpr int NO_NUMBER = -1;
constexpr int SLOTS_WITHOUT_SCENE = 32;

static_assert(std::atomic<SwitchState>::is_always_lock_free, "sessions poll the footswitch without a pause");

SceneResult configuredScene()
{
    const std::string path = tbr::Settings::getInstance().get("Tobrel/Navigation/SimulatedCamera/Scene", "");
    return path.empty() ? simulation::builtInScene() : simulation::SceneReader::readFile(path);
}

bool areFinite(const std::vector<Vector3d>& points)
{
    const auto isFinite = [](const Vector3d& p)
    { return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z); };
    return std::all_of(points.begin(), points.end(), isFinite);
}

/// What is wrong with a client's tool; empty when it can be made.
std::string problemWith(const SceneTool& tool)
{
    if (tool.name.empty())
        return "it has no name";
    if (std::max(tool.name.size(), tool.secondName.size()) > simulation::LONGEST_NAME)
        return "its name is longer than 31 bytes";
    if (tool.type < 0 || tool.type > 255)
        return "its type is not between 0 and 255";
    if (tool.markers.size() < simulation::FEWEST_MARKERS || tool.markers.size() > simulation::MOST_MARKERS)
        return "it has not 3 to 32 markers";
    if (tool.imaginaries.size() > simulation::MOST_IMAGINARIES)
        return "it has more than 8 imaginary points";
    if (!areFinite(tool.markers) || !areFinite(tool.imaginaries))
        return "it has a coordinate that is not finite";
    return {};
}

void markInvisible(Tool& tool)
{
    Matrix3x3 invalid;
    for (int i = 0; i < 9; ++i)
        invalid[i / 3][i % 3] = Tool::invalidVector.x;
    tool.updateTransform(Tool::invalidVector, invalid);
}

std::unique_ptr<Tool> makeTool(const SceneTool& description, const std::string& name)
{
    auto tool = std::make_unique<Tool>(description.id, description.groupId, name, description.secondName,
                                       description.owner, description.type, description.startCalibrationPoint, 0,
                                       description.markers, description.imaginaries,
                                       static_cast<unsigned int>(description.numberOfPlugs), description.averaging);
    const TrackingParameters& tracking = description.tracking;
    for (std::size_t i = 0; i < tracking.normals.size(); ++i)
        tool->setNormalVector(static_cast<unsigned int>(i), tracking.normals[i]);
    tool->setMarkerAngleLimit(tracking.angleLimit);
    tool->setMinMarkers(tracking.minMarkers);
    tool->setMax3D(tracking.max3D);
    tool->setMaxRMS(tracking.maxRMS);
    markInvisible(*tool); // until its first frame
    return tool;
}

/// As they are now: clients may have changed them.
TrackingParameters parametersOf(const Tool& tool)
{
    record::PointList normals;
    tool.copyNormalVectors(normals);
    TrackingParameters parameters;
    parameters.normals.assign(normals.points, normals.points + normals.held());
    parameters.angleLimit = tool.getMarkerAngleLimit();
    parameters.minMarkers = tool.getMinMarkers();
    parameters.max3D = tool.getMax3D();
    parameters.maxRMS = tool.getMaxRMS();
    return parameters;
}

void show(const ToolFrame& frame, Tool& tool)
{
    const auto count = static_cast<unsigned int>(frame.markers.size());
    if (frame.isVisible)
    {
        tool.updateFrame(frame.markers.data(), count, frame.cameraFromTool.getRotation(),
                         frame.cameraFromTool.getTranslation(), static_cast<float>(frame.rms));
        return;
    }
    markInvisible(tool);
    for (unsigned int i = 0; i < count; ++i)
        tool.updateRealMarker(i, frame.markers[i]);
}

} // namespace

SimulatedCamera::SimulatedCamera() : SimulatedCamera(configuredScene()) {}

SimulatedCamera::SimulatedCamera(const SceneResult& scene)
    : Toollist(scene.scene ? scene.scene->numberOfSlots : SLOTS_WITHOUT_SCENE),
      m_Scene(scene.scene ? scene.scene : std::make_shared<const Scene>()), m_IsWorking(scene.scene != nullptr),
      m_Simulation(m_Scene), m_WasPlugged(m_Scene->tools.size(), false), m_Footswitch(m_Simulation.footswitch()),
      m_IsSwitchWatched(false), m_Clock(m_Scene->rate, std::chrono::steady_clock::now()), m_Timer(new QTimer(this))
{
    if (!m_IsWorking)
    {
        TBR_LOG("ERROR") << "The simulated camera has no scene: " << scene.error << std::endl;
        setStatus(SCENE_ERROR, scene.error);
        return;
    }
    {
        const Lock lock(m_Mutex);
        followScenePlugs();
        deliver();
    }
    m_Timer->setTimerType(Qt::PreciseTimer);
    m_Timer->setSingleShot(true);
    connect(m_Timer, &QTimer::timeout, this, &SimulatedCamera::computeDueFrames);
    m_Timer->start(m_Clock.millisecondsToNext(std::chrono::steady_clock::now()));
    TBR_LOG("toolserver") << "The simulated camera shows " << m_Scene->tools.size() << " tools at " << m_Scene->rate
                          << " frames per second." << std::endl;
}

float SimulatedCamera::getUpdateRate()
{
    return m_IsWorking ? static_cast<float>(m_Scene->rate) : 0.0f;
}

void SimulatedCamera::computeDueFrames()
{
    for (int due = m_Clock.takeDueFrames(std::chrono::steady_clock::now()); due > 0; --due)
        computeFrame();
    m_Timer->start(m_Clock.millisecondsToNext(std::chrono::steady_clock::now()));
}

void SimulatedCamera::computeFrame()
{
    SwitchState footswitch;
    {
        const Lock lock(m_Mutex);
        m_Simulation.step();
        followScenePlugs();
        deliver();
        footswitch = m_Simulation.footswitch();
    }
    setFootswitch(footswitch);
}

/// Plugs and unplugs what the scene plugs and unplugs in this frame. m_Mutex must be held.
void SimulatedCamera::followScenePlugs()
{
    for (std::size_t i = 0; i < m_WasPlugged.size(); ++i)
    {
        const int number = static_cast<int>(i);
        const bool isPlugged = m_Simulation.isPlugged(number);
        if (isPlugged && !m_WasPlugged[i])
            plug(number, i);
        else if (!isPlugged && m_Tools.count(number) != 0)
            unplug(number);
        m_WasPlugged[i] = isPlugged;
    }
}

/// Puts the frame into the tools. m_Mutex must be held, which also keeps the tools.
void SimulatedCamera::deliver()
{
    for (const auto& [number, tool] : m_Tools)
        show(m_Simulation.measure(number, parametersOf(*tool)), *tool);
}

void SimulatedCamera::setFootswitch(const SwitchState& state)
{
    if (state == m_Footswitch.load())
        return;
    m_Footswitch = state;
    if (m_IsSwitchWatched)
        notifySwitchStateChanged();
}

void SimulatedCamera::enableSwitchStateNotification()
{
    m_IsSwitchWatched = true;
}

void SimulatedCamera::_requestSwitch(int& number, bool& state)
{
    const SwitchState now = m_Footswitch;
    number = now.number;
    state = now.isPressed;
}

void SimulatedCamera::_getSwitchState(int& number, bool& state)
{
    _requestSwitch(number, state);
}

std::vector<Tool*> SimulatedCamera::slotContents() const
{
    return Reading(*this).table().tools();
}

/// Makes a tool of the simulation a server's tool, in the wanted slot or else in the first free one. Null when that
/// cannot be. m_Mutex must be held.
Tool* SimulatedCamera::plug(int number, std::size_t wantedSlot)
{
    const SceneTool& description = m_Simulation.tool(number);
    std::vector<Tool*> tools = slotContents();
    const bool isWantedFree = wantedSlot < tools.size() && !tools[wantedSlot];
    const auto slot = isWantedFree ? tools.begin() + static_cast<std::ptrdiff_t>(wantedSlot)
                                   : std::find(tools.begin(), tools.end(), nullptr);
    std::string name = description.name;
    createUniqueRuntimeToolName(name);
    if (slot == tools.end() || name.size() > simulation::LONGEST_NAME)
    {
        TBR_LOG("ERROR") << "The tool " << name << " cannot be plugged: "
                         << (slot == tools.end() ? "no slot is free." : "its name is longer than 31 bytes.")
                         << std::endl;
        return nullptr;
    }

    Tool* const tool = makeTool(description, name).release();
    *slot = tool;
    m_Tools[number] = tool;
    replaceTable(std::move(tools));
    toolSetChanged();
    return tool;
}

/// Takes a tool out of its slot; it is deleted as soon as nobody uses it. m_Mutex must be held.
void SimulatedCamera::unplug(int number)
{
    std::vector<Tool*> tools = slotContents();
    std::replace(tools.begin(), tools.end(), m_Tools.at(number), static_cast<Tool*>(nullptr));
    forget(number);
    replaceTable(std::move(tools));
    toolSetChanged();
}

/// No more frames for a tool that leaves its slot; a client's tool is gone for good. m_Mutex must be held.
void SimulatedCamera::forget(int number)
{
    m_Tools.erase(number);
    m_NewTools.erase(number);
    if (!isOfScene(number))
        m_Simulation.remove(number);
}

/// The number of a tool in a slot; NO_NUMBER for any other pointer, which is not followed. m_Mutex must be held.
int SimulatedCamera::numberOf(const Tool* tool) const
{
    const auto isSame = [&](const auto& entry) { return entry.second == tool; };
    const auto found = std::find_if(m_Tools.begin(), m_Tools.end(), isSame);
    return found == m_Tools.end() ? NO_NUMBER : found->first;
}

bool SimulatedCamera::isOfScene(int number) const
{
    return static_cast<std::size_t>(number) < m_Scene->tools.size();
}

Tool* SimulatedCamera::_createTool(int ID, int GID, const std::string& name, const std::string& secondName, int type,
                                   int startCalibrationPoint, int /*reserved*/, std::vector<Vector3d> realMarkers,
                                   std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, bool /*flag*/)
{
    SceneTool description;
    description.name = name;
    description.secondName = secondName;
    description.owner = secondName;
    description.id = ID;
    description.groupId = GID;
    description.type = type;
    description.numberOfPlugs = static_cast<int>(numberOfJacks);
    description.startCalibrationPoint = startCalibrationPoint;
    description.markers = std::move(realMarkers);
    description.imaginaries = std::move(imaginaryMarkers);
    description.noise = m_Scene->noise;
    description.motion.course = simulation::Still{simulation::MIDDLE_OF_VOLUME, {}};

    const std::string problem = m_IsWorking ? problemWith(description) : "the camera has no scene";
    if (!problem.empty())
    {
        TBR_LOG("ERROR") << "The tool \"" << name << "\" of a client cannot be made: " << problem << "." << std::endl;
        return nullptr;
    }
    const Lock lock(m_Mutex);
    const int number = m_Simulation.add(std::move(description));
    Tool* const tool = plug(number, 0);
    if (tool)
        m_NewTools.insert(number);
    else
        m_Simulation.remove(number);
    return tool;
}

bool SimulatedCamera::_initTool(unsigned int slot, Tool* tool)
{
    const Lock lock(m_Mutex);
    const int number = numberOf(tool);
    if (number == NO_NUMBER)
        return false;
    std::vector<Tool*> tools = slotContents();
    if (slot >= tools.size())
    {
        TBR_LOG("ERROR") << "The tool " << tool->getName() << " cannot be initialised: there is no slot " << slot << "."
                         << std::endl;
        if (!isOfScene(number))
            unplug(number);
        return false;
    }
    m_NewTools.erase(number);
    if (tools[slot] == tool)
        return true;

    Tool* occupant = tools[slot];
    if (occupant && m_NewTools.count(numberOf(occupant)) == 0)
    {
        forget(numberOf(occupant));
        occupant = nullptr;
    }
    std::replace(tools.begin(), tools.end(), tool, occupant);
    tools[slot] = tool;
    replaceTable(std::move(tools));
    toolSetChanged();
    return true;
}

bool SimulatedCamera::_loadTool(Tool* /*tool*/)
{
    return true;
}

bool SimulatedCamera::_updateCalibration(Tool* tool)
{
    const Lock lock(m_Mutex);
    return numberOf(tool) != NO_NUMBER;
}
