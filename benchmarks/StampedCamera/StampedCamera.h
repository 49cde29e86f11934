#pragma once

#include "TimeStamp.h"

#include <TSBase/Toollist.h>

#include <atomic>
#include <chrono>
#include <thread>

/// A camera for measurements: one tool, "Tool1", always in view, whose translation tells when its frame was taken (see
/// TimeStamp). It has no footswitch, and clients cannot make tools.
///
/// Thread: a thread of its own delivers the frames from construction to destruction.
class StampedCamera : public Toollist
{
public:
    explicit StampedCamera(int framesPerSecond);
    ~StampedCamera() override;

    float getUpdateRate() override;
    void enableSwitchStateNotification() override;

protected:
    Tool* _createTool(int ID, int GID, const std::string& name, const std::string& secondName, int type,
                      int startCalibrationPoint, int reserved, std::vector<Vector3d> realMarkers,
                      std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, bool flag) override;
    bool _initTool(unsigned int slot, Tool* tool) override;
    bool _loadTool(Tool* tool) override;
    bool _updateCalibration(Tool* tool) override;
    void _requestSwitch(int& number, bool& state) override;
    void _getSwitchState(int& number, bool& state) override;

private:
    void deliverFrames();

    const int m_FramesPerSecond;
    Tool* m_Tool; // owned by the list
    std::atomic<bool> m_StopRequested;
    std::thread m_Thread;
};
