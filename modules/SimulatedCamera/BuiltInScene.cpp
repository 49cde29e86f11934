#include <SimulatedCamera/BuiltInScene.h>

#include <SimulatedCamera/SceneReader.h>

#include <QFile>

/// Makes the scene known to Qt; a static library's resources are not found otherwise. Outside of namespaces, as the
/// macro asks for.
static void registerScenes()
{
    Q_INIT_RESOURCE(SimulatedCamera);
}

namespace simulation
{

namespace
{

const char* const BUILT_IN_FILE = ":/SimulatedCamera/builtin.ini";

} // namespace

std::string builtInSceneText()
{
    registerScenes();
    QFile file(BUILT_IN_FILE);
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

SceneResult builtInScene()
{
    return SceneReader::readText(builtInSceneText(), "built-in scene");
}

} // namespace simulation
