#pragma once

#include <tbrNumerics/Matrix3x3.h>
#include <tbrNumerics/TransMatrix3d.h>
#include <tbrNumerics/Vector3d.h>

#include <variant>
#include <vector>

/// How simulated tools move. Times in seconds, lengths in millimetres, angles in radians; all of it in the frame that
/// the tool moves in: the camera's, or another tool's. Plain values, immutable once a scene is loaded.
namespace simulation
{

constexpr double PI = 3.14159265358979323846;

/// Stays where it is.
struct Still
{
    Vector3d position;
    Matrix3x3 rotation;
};

/// Runs round a circle with constant orientation; at time 0 it is at `centre` + `radius` times a direction
/// perpendicular to the axis, which for the axis z is x.
struct Orbit
{
    Vector3d centre;
    Matrix3x3 rotation;
    Vector3d axis; // unit length
    double radius;
    double period;
};

/// Stays at one position while the tool leans by `tilt` away from its `rotation`, towards all sides in turn: every
/// line of the tool that is parallel to `axis` at rest runs along a cone about it.
struct Pivot
{
    Vector3d position;
    Matrix3x3 rotation;
    Vector3d axis; // unit length
    double tilt;
    double period;
};

struct Waypoint
{
    double time;
    Vector3d position;
    Matrix3x3 rotation;
};

/// Goes from waypoint to waypoint. Positions lie on straight lines, rotations on great circles (Shoemake, "Animating
/// Rotation with Quaternion Curves", SIGGRAPH 1985), and both come to rest at each waypoint. Before the first waypoint
/// and after the last one it rests; with a `loop` it begins again every that many seconds, and between the last
/// waypoint and the first one of the next round it goes back.
struct Path
{
    std::vector<Waypoint> waypoints; // at least one, times increasing
    double loop;                     // 0: once. Longer than from the first to the last waypoint
};

/// A motion is that of one point of the tool, given in the tool's own frame: the position is where that point is.
struct Motion
{
    Vector3d point;
    std::variant<Still, Orbit, Pivot, Path> course;
};

/// The tool's pose at a time of 0 or more.
TransMatrix3d poseAt(const Motion& motion, double time);

/// The rotation by the angles about the frame's x axis, then y axis, then z axis: Rz Ry Rx.
Matrix3x3 rotationFromAngles(const Vector3d& radians);

/// A unit vector perpendicular to a unit vector; x for z.
Vector3d perpendicularTo(const Vector3d& axis);

} // namespace simulation
