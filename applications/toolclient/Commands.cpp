#include "Commands.h"

#include "Watch.h"

#include <TSClientInterface/CaTool.h>
#include <TSClientInterface/CaToolList.h>
#include <TSClientInterface/CaToolServer.h>
#include <TSClientInterface/CaToolType.h>

#include <algorithm>
#include <numeric>
#include <ostream>
#include <vector>

namespace
{

/// Markers that the tracker did not see are reported this far away or farther (CaTool::numberOfRealsVisible()).
constexpr double FAR_AWAY_SQUARED = 1e7;

QJsonArray numbers(const Vector3d& vector)
{
    return {vector.x, vector.y, vector.z};
}

} // namespace

Commands::Commands(const Options& options, CaToolList& toolList, std::ostream& out)
    : m_Options(options), m_ToolList(toolList), m_Out(out), m_Reference(options.reference, toolList)
{
}

int Commands::run()
{
    struct Row
    {
        const char* name;
        int (Commands::*command)();
    };
    static constexpr Row ROWS[] = {
        {"status", &Commands::showStatus},   {"list", &Commands::listTools},      {"watch", &Commands::watch},
        {"nearest", &Commands::showNearest}, {"pose", &Commands::showPose},       {"markers", &Commands::showMarkers},
        {"switch", &Commands::showSwitch},   {"calibrate", &Commands::calibrate},
    };
    const int status = m_Reference.set();
    if (status < 0)
        return status;
    const auto row =
        std::find_if(std::begin(ROWS), std::end(ROWS), [this](const Row& r) { return m_Options.command == r.name; });
    return (this->*row->command)();
}

CaTool* Commands::findTool(const QString& name) const
{
    return m_ToolList.getTool(name.toStdString());
}

void Commands::write(const QString& listName, const Report& report)
{
    switch (m_Options.format)
    {
    case Options::Format::TEXT:
        m_Out << report.toText().toStdString();
        break;
    case Options::Format::CSV:
        m_Out << report.toCsv(true).toStdString();
        break;
    case Options::Format::JSON:
        m_Out << jsonLine({{listName, report.toJson()}}).toStdString();
        break;
    }
    m_Out.flush();
}

/// A single result: an object in JSON, otherwise a table of one row.
void Commands::write(const QStringList& columns, const QJsonArray& row)
{
    Report report(columns);
    report.addRow(row);
    if (m_Options.format == Options::Format::JSON)
        m_Out << jsonLine(report.toJson().first().toObject()).toStdString() << std::flush;
    else
        write(QString(), report);
}

int Commands::showStatus()
{
    const int status = m_ToolList.getStatus();
    std::string cameraText;
    const int cameraError = status < 0 ? m_ToolList.getToolServer()->getLastRemoteError(cameraText) : 0;
    write({"server", "status", "message", "cameraError", "cameraText", "tools"},
          {QString::fromStdString(m_ToolList.getToolServer()->getServerDescription()), status,
           CaToolServer::getMessage(status), cameraError, QString::fromStdString(cameraText),
           m_ToolList.getNumberOfTools()});
    return status;
}

int Commands::listTools()
{
    const int status = m_ToolList.updateAllTransforms(true);
    Report report({"name", "type", "typeName", "slot", "markers", "points", "visible"});
    for (int i = 0; i < m_ToolList.getNumberOfTools(); ++i)
    {
        const CaTool& tool = *m_ToolList.getTool(i);
        report.addRow({tool.getName(), tool.getType(), CaToolType::getName(tool.getType()), tool.getPortNumber(),
                       tool.getNumberOfReals(), tool.getNumberOfImags(), tool.isTransformValid()});
    }
    write("tools", report);
    return status;
}

int Commands::watch()
{
    Watch watch(m_Options, m_ToolList, m_Reference, m_Out);
    return watch.run();
}

int Commands::showNearest()
{
    std::vector<unsigned char> types(256);
    std::iota(types.begin(), types.end(), static_cast<unsigned char>(0));
    int status = m_ToolList.setNearestTypes(types.data(), static_cast<int>(types.size()));
    CaTool* tool = nullptr;
    if (status >= 0)
        status = m_ToolList.getNearestTool(tool);
    if (status >= 0)
        write({"name", "type", "typeName", "slot"},
              {tool->getName(), tool->getType(), CaToolType::getName(tool->getType()), tool->getPortNumber()});
    return status;
}

int Commands::showPose()
{
    CaTool* tool = findTool(m_Options.tool);
    if (!tool)
        return CaToolServer::UNKNOWN_TOOL;
    const int status = tool->updateTransform();
    if (status < 0)
        return status;
    QJsonArray row{tool->getName()};
    appendPose(row, tool->getRotation(), tool->getTranslation());
    row.append(static_cast<double>(tool->getRms()));
    write(poseColumns(), row);
    return status;
}

int Commands::showMarkers()
{
    CaTool* tool = findTool(m_Options.tool);
    if (!tool)
        return CaToolServer::UNKNOWN_TOOL;
    const int status = tool->updateReals();
    if (status < 0)
        return status;
    Report report({"marker", "visible", "x", "y", "z"});
    for (int i = 0; i < tool->getNumberOfReals(); ++i)
    {
        const Vector3d marker = tool->getReal(i);
        const bool isVisible = dot(marker, marker) < FAR_AWAY_SQUARED;
        QJsonArray row{i, isVisible};
        for (const QJsonValue& number : numbers(marker))
            row.append(isVisible ? number : QJsonValue());
        report.addRow(row);
    }
    write("markers", report);
    return status;
}

int Commands::showSwitch()
{
    int id = 0;
    bool isPressed = false;
    const int status = m_ToolList.getToolServer()->getSwitch(&id, &isPressed);
    if (status >= 0)
        write({"switch", "pressed"}, {id, isPressed});
    return status;
}

int Commands::calibrate()
{
    CaTool* tool = findTool(m_Options.tool);
    if (!tool)
        return CaToolServer::UNKNOWN_TOOL;
    if (static_cast<int>(m_Options.points.size()) != tool->getNumberOfImags())
        return CaToolServer::CALIBRATION_ERROR;
    tool->setRigImags(m_Options.points.data());
    const int status = tool->calibrate();
    if (status >= 0)
        write({"name", "calibratedPoints"}, {tool->getName(), tool->getNumberOfImags()});
    return status;
}
