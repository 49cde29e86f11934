#pragma once

#include <SimulatedCamera/Footswitch.h>
#include <SimulatedCamera/Motion.h>

#include <tbrNumerics/Vector3d.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// What a simulated camera sees. Lengths in millimetres, times in seconds since the first frame. The camera is at the
/// origin of its frame and looks along -z, with x to the right and y up; its volume is 1.5 to 2.5 m away.
namespace simulation
{

constexpr int MOST_MARKERS = 32;
constexpr int FEWEST_MARKERS = 3;
constexpr int MOST_IMAGINARIES = 8;
constexpr std::size_t LONGEST_NAME = 31;
constexpr int CAMERA_FRAME = -1;
constexpr Vector3d MIDDLE_OF_VOLUME(0.0, 0.0, -2000.0);

/// From a time up to, not including, another.
struct Interval
{
    double from;
    double to;

    bool contains(double time) const { return from <= time && time < to; }
};

/// One marker, or all of a tool's, hidden for a while.
struct Occlusion
{
    static constexpr int ALL_MARKERS = -1;

    int marker;
    Interval when;
};

/// What decides whether the camera sees a tool.
struct TrackingParameters
{
    std::vector<Vector3d> normals; // one per marker; a missing, zero or invalid one: seen from all sides
    int angleLimit = 60;           // degrees between a normal and the direction to the camera
    int minMarkers = FEWEST_MARKERS;
    float max3D = 0.0f;  // greatest residual of a marker in the fit; 0: no limit
    float maxRMS = 0.0f; // greatest RMS of the fit; 0: no limit
};

/// One tool of a scene. Geometry in the tool's own frame.
struct SceneTool
{
    std::string name;
    std::string secondName;
    std::string owner;
    int id = 0;
    int groupId = 0;
    int type = 0;
    int numberOfPlugs = 1;
    int startCalibrationPoint = 0;
    unsigned int averaging = 1; // frames over which poses are averaged
    std::vector<Vector3d> markers;
    std::vector<Vector3d> imaginaries;
    TrackingParameters tracking; // at first; clients may change them
    double noise = 0.0;          // standard deviation of a marker's position, on each axis
    int movesIn = CAMERA_FRAME;  // or the index of an earlier tool whose frame the motion is in
    Motion motion{};
    std::vector<Occlusion> occlusions;
    std::vector<Interval> plugged; // empty: always
};

struct Scene
{
    double rate = 60.0; // frames per second
    std::uint64_t seed = 1;
    double loop = 0.0;  // paths, occlusions and plugging begin again after that time; 0: never
    double noise = 0.1; // of the tools that clients make; the default for others
    int numberOfSlots = 32;
    Footswitch footswitch;
    std::vector<SceneTool> tools;
};

/// A scene, or why there is none: the text names the file, the section and the key.
struct SceneResult
{
    std::shared_ptr<const Scene> scene;
    std::string error;
};

} // namespace simulation
