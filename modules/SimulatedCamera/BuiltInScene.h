#pragma once

#include <SimulatedCamera/Scene.h>

#include <string>

namespace simulation
{

/// The scene that is shown when no file is named: scenes/builtin.ini of the module's folder, compiled in.
SceneResult builtInScene();

/// Its text, a template for scenes of one's own.
std::string builtInSceneText();

} // namespace simulation
