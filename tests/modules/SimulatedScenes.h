#pragma once

#include <SimulatedCamera/Scene.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Scenes made in code, for the tests of the simulated camera.
namespace scenes
{

/// Geometry of `count` markers (3 to 6) that look along +z, 40 to 80 mm around the origin.
inline std::vector<Vector3d> markers(std::size_t count)
{
    const std::vector<Vector3d> all = {{-50, 40, 0},  {60, 45, 0}, {45, -50, 5},
                                       {-40, -45, 0}, {5, 80, 10}, {0, -70, -5}};
    return {all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count)};
}

/// Stands still in the middle of the volume and looks into the camera; without noise.
inline simulation::SceneTool tool(const std::string& name, std::size_t markerCount = 4)
{
    simulation::SceneTool result;
    result.name = name;
    result.markers = markers(markerCount);
    result.tracking.normals.assign(markerCount, Vector3d(0, 0, 1));
    result.motion.course = simulation::Still{simulation::MIDDLE_OF_VOLUME, {}};
    return result;
}

inline simulation::Scene sceneOf(std::vector<simulation::SceneTool> tools, double rate = 60.0)
{
    simulation::Scene scene;
    scene.tools = std::move(tools);
    scene.rate = rate;
    return scene;
}

inline std::shared_ptr<const simulation::Scene> shared(simulation::Scene scene)
{
    return std::make_shared<const simulation::Scene>(std::move(scene));
}

inline simulation::SceneResult resultOf(simulation::Scene scene)
{
    return {shared(std::move(scene)), {}};
}

} // namespace scenes
