#pragma once

#include <TSBase/Tool.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

/// Frames that tell their number: rotation, translation, RMS and markers of a tool are all worked out from it, so that
/// an answer which was put together from two frames is found out. Millimetres, radians.
namespace framecode
{

/// Numbers run from 0 to PERIOD - 1. Frame 0 is the pose of a tool that has seen no frame yet.
constexpr int PERIOD = 97;
/// Two frames differ by 1 in their translations and by 0.06 in their rotations; rounding to floats is far below this.
constexpr double TOLERANCE = 0.02;

struct Pose
{
    Matrix3x3 rotation;
    Vector3d translation;
};

inline Vector3d translation(int frame)
{
    return Vector3d(frame, 2.0 * frame, -1.0 * frame);
}

/// A turn about the z axis, of a whole one in PERIOD frames.
inline Matrix3x3 rotation(int frame)
{
    const double angle = 2.0 * 3.14159265358979323846 * frame / PERIOD;
    Matrix3x3 turn;
    turn[0][0] = turn[1][1] = std::cos(angle);
    turn[0][1] = -std::sin(angle);
    turn[1][0] = std::sin(angle);
    return turn;
}

inline Vector3d marker(int frame, unsigned int index)
{
    return Vector3d(frame, index, -frame);
}

inline float rms(int frame)
{
    return static_cast<float>(frame);
}

/// Gives a tool without averaging all that belongs to a frame.
inline void show(Tool& tool, int frame)
{
    std::vector<Vector3d> markers;
    for (unsigned int i = 0; i < tool.getNumberOfRealMarkers(); ++i)
        markers.push_back(marker(frame, i));
    tool.updateFrame(markers.data(), tool.getNumberOfRealMarkers(), rotation(frame), translation(frame), rms(frame));
}

inline bool isNear(const Pose& one, const Pose& other)
{
    for (int i = 0; i < 9; ++i)
        if (!(std::abs(one.rotation[i / 3][i % 3] - other.rotation[i / 3][i % 3]) < TOLERANCE))
            return false;
    return (one.translation - other.translation).length() < TOLERANCE;
}

/// The frame of a pose in the camera's frame; -1 when it belongs to none.
inline int frameOf(const Pose& pose)
{
    const int frame = static_cast<int>(std::lround(pose.translation.x));
    return frame >= 0 && frame < PERIOD && isNear(pose, {rotation(frame), translation(frame)}) ? frame : -1;
}

/// Where a tool of one frame stands as seen from a reference of another (or the same) frame.
inline Pose seenFrom(int referenceFrame, int frame)
{
    const Matrix3x3 referenceFromCamera = rotation(referenceFrame).transposed();
    return {referenceFromCamera * rotation(frame),
            referenceFromCamera * (translation(frame) - translation(referenceFrame))};
}

/// Whether a pose is that of a tool of this frame as seen from a reference that is of one frame, too.
inline bool isSeenFromOneFrame(const Pose& pose, int frame)
{
    for (int referenceFrame = 0; referenceFrame < PERIOD; ++referenceFrame)
        if (isNear(pose, seenFrom(referenceFrame, frame)))
            return true;
    return false;
}

/// The number at an offset of a packet in host order.
template <class Number>
Number numberAt(const std::string& packet, std::size_t offset)
{
    Number number = {};
    if (offset + sizeof number <= packet.size())
        std::memcpy(&number, packet.data() + offset, sizeof number);
    return number;
}

inline Vector3d pointAt(const std::string& packet, std::size_t offset)
{
    return Vector3d(numberAt<float>(packet, offset), numberAt<float>(packet, offset + 4),
                    numberAt<float>(packet, offset + 8));
}

/// The pose in a transformation record in host order.
inline Pose poseIn(const std::string& record)
{
    Pose pose;
    for (std::size_t i = 0; i < 9; ++i)
        pose.rotation[static_cast<int>(i / 3)][static_cast<int>(i % 3)] = numberAt<float>(record, 36 + 4 * i);
    pose.translation = pointAt(record, 72);
    return pose;
}

} // namespace framecode
