#pragma once

#include <SimulatedCamera/SimulatedCamera.h>

#include <tbrNumerics/Matrix3x3.h>
#include <tbrNumerics/Vector3d.h>

#include <QTemporaryDir>

#include <string>
#include <vector>

/// What a camera's thread does for each frame of `tools` tools with four markers each, step by step. Each step does the
/// work for all tools once. Errors: std::runtime_error.
///
/// Thread: use by one thread. No frame is computed but by these steps: nothing here runs an event loop.
class CameraWork
{
public:
    static constexpr unsigned int AVERAGING = 10; ///< frames over which poses are averaged

    explicit CameraWork(int tools);
    ~CameraWork();

    int tools() const { return static_cast<int>(m_Measured.size()); }

    /// The least-squares fit of each tool's markers to where they were measured.
    void fitPoses();
    /// Tool::updateFrame() of each tool: positions, averaged pose, RMS.
    void updateTools();
    /// The real-time record of each tool, in memory.
    void makeRecords();
    /// One tick of the recording: a position block, written to the file.
    void recordTick();

    /// Pose, RMS and imaginary points of each tool in the frame of the first one, as sessions read them.
    void readTools();
    /// Looks each tool up by its name, in an order that has nothing to do with the slots.
    void lookUpNames();

private:
    struct Measured
    {
        std::vector<Vector3d> model;
        std::vector<Vector3d> markers;
        Matrix3x3 rotation;
        Vector3d translation;
        float rms;
    };

    const QTemporaryDir m_Folder;
    SimulatedCamera m_Camera;
    std::vector<Measured> m_Measured;
    std::vector<std::string> m_Names;
    std::vector<char> m_Record;
};
