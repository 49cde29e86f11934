// A scene of whatever bytes: it is refused with a reason, or it can be run.
#include "Target.h"

#include <SimulatedCamera/SceneReader.h>
#include <SimulatedCamera/SimulatedCamera.h>
#include <SimulatedCamera/TrackerSimulation.h>

#include <cmath>

namespace
{

using fuzz::require;
using simulation::Scene;
using simulation::SceneResult;

bool isFinite(const Vector3d& vector)
{
    return std::isfinite(vector.x) && std::isfinite(vector.y) && std::isfinite(vector.z);
}

void checkFrame(const simulation::ToolFrame& frame, const simulation::SceneTool& tool)
{
    require(frame.markers.size() == tool.markers.size(), "each marker is measured or marked as not seen");
    for (const Vector3d& marker : frame.markers)
        require(isFinite(marker), "a measured marker is a point");
    if (!frame.isVisible)
        return;
    require(std::isfinite(frame.rms) && frame.rms >= 0, "the error of a fit is a number");
    require(isFinite(frame.cameraFromTool.getTranslation()), "a measured pose is a pose");
}

void run(const SceneResult& result)
{
    constexpr int FRAMES = 4;
    simulation::TrackerSimulation simulation(result.scene);
    for (int frame = 0; frame < FRAMES; ++frame)
    {
        for (std::size_t i = 0; i < result.scene->tools.size(); ++i)
            checkFrame(simulation.measure(static_cast<int>(i), result.scene->tools[i].tracking),
                       result.scene->tools[i]);
        simulation.footswitch();
        simulation.step();
    }
}

void checkCamera(const SceneResult& result)
{
    SimulatedCamera camera(result);
    const bool works = result.scene != nullptr;
    require((camera.getStatus() == 0) == works, "a camera without a scene says so");
    require(works || camera.getErrorMsg() == result.error, "a camera without a scene says why");
    if (works)
        require(camera.getMaxNumberOfTools() == static_cast<unsigned int>(result.scene->numberOfSlots),
                "a camera has the scene's slots");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string source = "the input";
    const SceneResult result = simulation::SceneReader::readText(fuzz::textOf(data, size), source);
    require((result.scene != nullptr) == result.error.empty(), "there is a scene or a reason, not both");
    require(result.error.empty() || result.error.compare(0, source.size(), source) == 0, "a reason names its source");
    if (result.scene)
        run(result);
    checkCamera(result);
    return 0;
}
