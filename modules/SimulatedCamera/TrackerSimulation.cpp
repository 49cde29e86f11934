#include <SimulatedCamera/TrackerSimulation.h>

#include <SimulatedCamera/PoseFit.h>

#include <TSBase/Tool.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace simulation
{

namespace
{

bool isHidden(const SceneTool& tool, std::size_t marker, double time)
{
    const auto hides = [&](const Occlusion& occlusion)
    {
        const bool isMeant = occlusion.marker == Occlusion::ALL_MARKERS || occlusion.marker == static_cast<int>(marker);
        return isMeant && occlusion.when.contains(time);
    };
    return std::any_of(tool.occlusions.begin(), tool.occlusions.end(), hides);
}

bool isUsable(const Vector3d& normal)
{
    return normal != Tool::invalidVector && normal.length() > 0.0 && std::isfinite(normal.length());
}

/// Whether the camera, at the origin, is within the limit of the normal's direction.
bool facesCamera(const Vector3d& marker, const Vector3d& normal, int limitDegrees)
{
    return angle(normal, -marker) <= limitDegrees * PI / 180.0;
}

/// The pairs of model and measured points that take part in a fit.
struct Pairs
{
    std::vector<Vector3d> model;
    std::vector<Vector3d> measured;

    void drop(std::ptrdiff_t i)
    {
        model.erase(model.begin() + i);
        measured.erase(measured.begin() + i);
    }
};

/// Fits the pairs, dropping those beyond `max3D`; nothing when too few are left.
std::optional<PoseFit> fitWithin(float max3D, int minMarkers, Pairs& pairs)
{
    while (static_cast<int>(pairs.model.size()) >= minMarkers)
    {
        std::optional<PoseFit> fit = PoseFit::fit(pairs.model, pairs.measured);
        if (!fit || max3D <= 0.0f)
            return fit;
        const auto worst = std::max_element(fit->residuals.begin(), fit->residuals.end());
        if (*worst <= static_cast<double>(max3D))
            return fit;
        pairs.drop(worst - fit->residuals.begin());
    }
    return std::nullopt;
}

} // namespace

TrackerSimulation::TrackerSimulation(std::shared_ptr<const Scene> scene)
    : m_Scene(std::move(scene)), m_Frame(0), m_NextNumber(0)
{
    for (const SceneTool& tool : m_Scene->tools)
        add(tool);
}

double TrackerSimulation::time() const
{
    return static_cast<double>(m_Frame) / m_Scene->rate;
}

double TrackerSimulation::loopedTime() const
{
    if (m_Scene->loop <= 0.0)
        return time();
    return std::fmod(static_cast<double>(m_Frame), m_Scene->loop * m_Scene->rate) / m_Scene->rate;
}

void TrackerSimulation::step()
{
    ++m_Frame;
    for (auto& [number, body] : m_Bodies)
        moveBody(body);
}

void TrackerSimulation::moveBody(Body& body) const
{
    const TransMatrix3d parentFromTool = poseAt(body.tool.motion, time());
    body.cameraFromTool =
        body.tool.movesIn == CAMERA_FRAME ? parentFromTool : cameraFromTool(body.tool.movesIn) * parentFromTool;
}

int TrackerSimulation::add(SceneTool tool)
{
    const int number = m_NextNumber++;
    const NoiseSource noise(m_Scene->seed, static_cast<std::uint64_t>(number));
    Body& body = m_Bodies.emplace(number, Body{std::move(tool), noise, {}}).first->second;
    moveBody(body);
    return number;
}

void TrackerSimulation::remove(int number)
{
    m_Bodies.erase(number);
}

bool TrackerSimulation::isPlugged(int number) const
{
    const std::vector<Interval>& plugged = tool(number).plugged;
    const auto isNow = [time = loopedTime()](const Interval& interval) { return interval.contains(time); };
    return plugged.empty() || std::any_of(plugged.begin(), plugged.end(), isNow);
}

SwitchState TrackerSimulation::footswitch() const
{
    return m_Scene->footswitch.stateAt(time());
}

bool TrackerSimulation::isSeen(const Body& body, std::size_t marker, const TrackingParameters& parameters) const
{
    if (isHidden(body.tool, marker, loopedTime()))
        return false;
    if (marker >= parameters.normals.size() || !isUsable(parameters.normals[marker]))
        return true;
    return facesCamera(body.cameraFromTool * body.tool.markers[marker],
                       body.cameraFromTool.getRotation() * parameters.normals[marker], parameters.angleLimit);
}

ToolFrame TrackerSimulation::measure(int number, const TrackingParameters& parameters) const
{
    const Body& body = m_Bodies.at(number);
    ToolFrame result;
    Pairs pairs;
    for (std::size_t i = 0; i < body.tool.markers.size(); ++i)
    {
        result.markers.push_back(Tool::invalidVector);
        if (!isSeen(body, i, parameters))
            continue;
        const Vector3d error = body.tool.noise * body.noise.errorOf(m_Frame, static_cast<unsigned>(i));
        result.markers.back() = body.cameraFromTool * body.tool.markers[i] + error;
        pairs.model.push_back(body.tool.markers[i]);
        pairs.measured.push_back(result.markers.back());
    }

    const std::optional<PoseFit> fit = fitWithin(parameters.max3D, parameters.minMarkers, pairs);
    if (!fit || (parameters.maxRMS > 0.0f && fit->rms > static_cast<double>(parameters.maxRMS)))
        return result;
    result.isVisible = true;
    result.cameraFromTool = fit->pose;
    result.rms = fit->rms;
    result.usedMarkers = static_cast<int>(pairs.model.size());
    return result;
}

} // namespace simulation
