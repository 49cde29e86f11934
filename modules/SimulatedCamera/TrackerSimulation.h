#pragma once

#include <SimulatedCamera/Footswitch.h>
#include <SimulatedCamera/NoiseSource.h>
#include <SimulatedCamera/Scene.h>

#include <tbrNumerics/TransMatrix3d.h>
#include <tbrNumerics/Vector3d.h>

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace simulation
{

/// What the tracker makes of one tool in one frame.
struct ToolFrame
{
    std::vector<Vector3d> markers; // as measured, in the camera's frame; Tool::invalidVector where not seen
    bool isVisible = false;        // whether the pose below is one
    TransMatrix3d cameraFromTool;
    double rms = 0.0;    // of the fit, in millimetres
    int usedMarkers = 0; // that the fit rests on
};

/// The world in front of the camera and the camera's measuring, frame by frame: frame n is at n / rate seconds. Knows
/// neither timers nor threads nor server tools; the same scene always runs alike, whoever looks when.
///
/// Tools have numbers: those of the scene their index in it, those added later go on from there. A number must be that
/// of a tool that is there.
/// Thread: use by one thread at a time.
class TrackerSimulation
{
public:
    /// At frame 0.
    explicit TrackerSimulation(std::shared_ptr<const Scene> scene);

    /// Goes on to the next frame.
    void step();

    std::uint64_t frame() const { return m_Frame; }
    /// Seconds since frame 0.
    double time() const;

    /// Adds a tool, which must not move in another one's frame; returns its number, which is not given out again.
    int add(SceneTool tool);
    void remove(int number);

    const SceneTool& tool(int number) const { return m_Bodies.at(number).tool; }
    /// The true pose in this frame.
    const TransMatrix3d& cameraFromTool(int number) const { return m_Bodies.at(number).cameraFromTool; }
    /// Whether the tool is connected to the tracker in this frame.
    bool isPlugged(int number) const;
    SwitchState footswitch() const;

    /// What the tracker measures in this frame. Asking again, or not at all, changes nothing for any other question.
    /// A marker whose residual exceeds max3D is left out of the fit, the worst one first, until none does.
    ToolFrame measure(int number, const TrackingParameters& parameters) const;

private:
    struct Body
    {
        SceneTool tool;
        NoiseSource noise;
        TransMatrix3d cameraFromTool;
    };

    double loopedTime() const;
    void moveBody(Body& body) const;
    bool isSeen(const Body& body, std::size_t marker, const TrackingParameters& parameters) const;

    std::shared_ptr<const Scene> m_Scene;
    std::uint64_t m_Frame;
    int m_NextNumber;
    std::map<int, Body> m_Bodies; // by number: a tool comes after the one in whose frame it moves
};

} // namespace simulation
