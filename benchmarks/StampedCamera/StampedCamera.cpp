#include "StampedCamera.h"

namespace
{

std::vector<Vector3d> markers()
{
    return {Vector3d(0.0, 0.0, 0.0), Vector3d(50.0, 0.0, 0.0), Vector3d(0.0, 60.0, 0.0), Vector3d(40.0, 70.0, 0.0)};
}

} // namespace

StampedCamera::StampedCamera(int framesPerSecond)
    : Toollist(1), m_FramesPerSecond(framesPerSecond),
      m_Tool(new Tool(1, 0, "Tool1", "Tool1", "", 1, 0, 0, markers(), {}, 1, 1)), m_StopRequested(false)
{
    insertTool(0, m_Tool->getName(), m_Tool);
    m_Thread = std::thread([this] { deliverFrames(); });
}

StampedCamera::~StampedCamera()
{
    m_StopRequested = true;
    m_Thread.join();
}

void StampedCamera::deliverFrames()
{
    using Clock = timeStamp::Clock;
    const Clock::duration period = Clock::duration(std::chrono::seconds(1)) / m_FramesPerSecond;
    for (Clock::time_point due = Clock::now(); !m_StopRequested; due += period)
    {
        std::this_thread::sleep_until(due);
        m_Tool->updateTransform(timeStamp::toTranslation(Clock::now()), Matrix3x3::identity());
    }
}

float StampedCamera::getUpdateRate()
{
    return static_cast<float>(m_FramesPerSecond);
}

void StampedCamera::enableSwitchStateNotification() {}

Tool* StampedCamera::_createTool(int, int, const std::string&, const std::string&, int, int, int, std::vector<Vector3d>,
                                 std::vector<Vector3d>, unsigned int, bool)
{
    return nullptr;
}

bool StampedCamera::_initTool(unsigned int, Tool*)
{
    return false;
}

bool StampedCamera::_loadTool(Tool*)
{
    return false;
}

bool StampedCamera::_updateCalibration(Tool*)
{
    return false;
}

void StampedCamera::_requestSwitch(int&, bool&) {}

void StampedCamera::_getSwitchState(int&, bool&) {}
