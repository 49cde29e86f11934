#include "CameraWork.h"

#include <SimulatedCamera/PoseFit.h>

#include <QMetaObject>

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>

namespace
{

const std::vector<Vector3d> MARKERS = {{0.0, 60.0, 0.0}, {-25.0, 15.0, 0.0}, {25.0, 0.0, 0.0}, {0.0, -40.0, 0.0}};

std::string nameOf(int tool)
{
    return "Tool" + std::to_string(tool + 1);
}

simulation::SceneResult sceneOf(int tools)
{
    auto scene = std::make_shared<simulation::Scene>();
    scene->numberOfSlots = tools;
    for (int i = 0; i < tools; ++i)
    {
        simulation::SceneTool tool;
        tool.name = nameOf(i);
        tool.averaging = CameraWork::AVERAGING;
        tool.markers = MARKERS;
        tool.imaginaries = {{0.0, -180.0, -20.0}};
        tool.noise = 0.1;
        tool.motion.course = simulation::Still{simulation::MIDDLE_OF_VOLUME, {}};
        scene->tools.push_back(tool);
    }
    return {scene, {}};
}

void require(bool holds, const char* what)
{
    if (!holds)
        throw std::runtime_error(what);
}

} // namespace

CameraWork::CameraWork(int tools) : m_Camera(sceneOf(tools))
{
    const Toollist::Reading reading(m_Camera);
    for (int i = 0; i < tools; ++i)
    {
        const Tool* tool = reading.tool(static_cast<unsigned int>(i));
        require(tool && tool->isVisible(), "the simulated camera does not see its tools");
        Measured measured;
        measured.model = MARKERS;
        record::PointList positions;
        tool->copyRealMarkerPositions(positions, measured.rms);
        measured.markers.assign(positions.points, positions.points + positions.held());
        tool->getTransform(measured.rotation, measured.translation);
        m_Measured.push_back(measured);
        m_Names.push_back(nameOf(i));
    }
    std::shuffle(m_Names.begin(), m_Names.end(), std::mt19937(1));
    require(m_Camera.startLogging(m_Folder.filePath("run.tslog").toStdString()), "the recording cannot begin");
}

CameraWork::~CameraWork()
{
    m_Camera.stopLogging();
}

void CameraWork::fitPoses()
{
    for (const Measured& tool : m_Measured)
        require(simulation::PoseFit::fit(tool.model, tool.markers).has_value(), "a pose cannot be fitted");
}

void CameraWork::updateTools()
{
    const Toollist::Reading reading(m_Camera);
    for (std::size_t i = 0; i < m_Measured.size(); ++i)
    {
        const Measured& tool = m_Measured[i];
        reading.tool(static_cast<unsigned int>(i))
            ->updateFrame(tool.markers.data(), static_cast<unsigned int>(tool.markers.size()), tool.rotation,
                          tool.translation, tool.rms);
    }
}

void CameraWork::makeRecords()
{
    m_Record.clear();
    const Toollist::Reading reading(m_Camera);
    for (const Tool* tool : reading.table().tools())
        tool->appendToolRTData(m_Record);
}

void CameraWork::recordTick()
{
    QMetaObject::invokeMethod(&m_Camera, "doLog", Qt::DirectConnection);
}

void CameraWork::readTools()
{
    const Toollist::Reading reading(m_Camera);
    Matrix3x3 reference;
    Vector3d origin;
    reading.tool(0u)->getTransform(reference, origin);
    for (const Tool* tool : reading.table().tools())
    {
        Matrix3x3 rotation = reference;
        Vector3d translation = origin;
        float rms = 0.0f;
        record::PointList points;
        require(tool->calculateTransformationToReference(rotation, translation, rms) == 1, "a tool is not visible");
        tool->copyImaginaryMarkers(points);
    }
}

void CameraWork::lookUpNames()
{
    for (const std::string& name : m_Names)
        require(m_Camera.getTool(name) != nullptr, "a tool is not found");
}
