#include "Watch.h"

#include "Reference.h"

#include <TSClientInterface/CaTool.h>
#include <TSClientInterface/CaToolList.h>
#include <TSClientInterface/CaToolServer.h>
#include <tbrBase/ProcessPlatform.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QTimer>

#include <cmath>
#include <ostream>

namespace
{

const QStringList ROTATION_COLUMNS = {"r00", "r01", "r02", "r10", "r11", "r12", "r20", "r21", "r22"};

void appendNothing(QJsonArray& row, int count)
{
    for (int i = 0; i < count; ++i)
        row.append(QJsonValue());
}

/// Whether the server still tracks, though there may be no poses for a while.
bool isServing(int status)
{
    return status >= 0 || status == CaToolServer::REFERENCE_NOT_IN_VIEW || status == CaToolServer::TOOL_SET_CHANGED;
}

} // namespace

QStringList poseColumns()
{
    return QStringList{"name", "x", "y", "z"} + ROTATION_COLUMNS + QStringList{"rms"};
}

void appendPose(QJsonArray& row, const Matrix3x3& rotation, const Vector3d& translation)
{
    for (int axis = 0; axis < 3; ++axis)
        row.append(translation[axis]);
    for (int i = 0; i < 9; ++i)
        row.append(rotation[i / 3][i % 3]);
}

Watch::Watch(const Options& options, CaToolList& toolList, const Reference& reference, std::ostream& out)
    : m_Options(options), m_ToolList(toolList), m_Reference(reference), m_Out(out), m_Samples(0),
      m_Status(CaToolServer::OK), m_LinesOnScreen(0)
{
}

int Watch::run()
{
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, this, [this] { takeSample(); });
    tbr::platform::onTerminationRequest([] { QCoreApplication::quit(); });
    timer.start(static_cast<int>(std::lround(1000.0 / m_Options.rateHz)));
    QTimer::singleShot(0, this, [this] { takeSample(); });
    QCoreApplication::exec();
    return m_Status;
}

void Watch::takeSample()
{
    if (m_Options.count > 0 && m_Samples >= m_Options.count)
        return;
    const int status = m_ToolList.updateAllTransforms(true);
    if (!isServing(status))
    {
        m_Status = status;
        return QCoreApplication::quit();
    }

    const Report report = poses();
    const double time = static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    switch (m_Options.format)
    {
    case Options::Format::TEXT:
        writeText(report);
        break;
    case Options::Format::CSV:
        m_Out << report.toCsv(m_Samples == 0).toStdString();
        break;
    case Options::Format::JSON:
        m_Out << jsonLine({{"sample", m_Samples},
                           {"time", time},
                           {"reference", m_Options.reference.isEmpty() ? QString("CAM") : m_Options.reference},
                           {"tools", report.toJson()}})
                     .toStdString();
        break;
    }
    m_Out.flush();
    ++m_Samples;
    if ((m_Options.count > 0 && m_Samples >= m_Options.count) || !m_Out)
        QCoreApplication::quit();
}

Report Watch::poses() const
{
    const bool isForPrograms = m_Options.format != Options::Format::TEXT;
    QStringList columns{"name", "visible", "x", "y", "z"};
    if (m_Options.format == Options::Format::CSV)
        columns.prepend("sample");
    if (isForPrograms)
        columns += ROTATION_COLUMNS;
    Report report(columns);
    for (int i = 0; i < m_ToolList.getNumberOfTools(); ++i)
    {
        const CaTool& tool = *m_ToolList.getTool(i);
        QJsonArray row;
        if (m_Options.format == Options::Format::CSV)
            row.append(m_Samples);
        row.append(tool.getName());
        const bool isVisible = tool.isTransformValid() && m_Reference.isSet();
        row.append(isVisible);
        if (isVisible)
            appendPose(row, tool.getRotation(), tool.getTranslation());
        else
            appendNothing(row, 12);
        while (row.size() > columns.size())
            row.removeLast();
        report.addRow(row);
    }
    return report;
}

/// On a terminal the table is drawn over the former one.
void Watch::writeText(const Report& report)
{
    const QString text = report.toText();
    if (!tbr::platform::isStandardOutputTerminal())
    {
        m_Out << text.toStdString() << "\n";
        return;
    }
    if (m_LinesOnScreen > 0)
        m_Out << "\x1b[" << m_LinesOnScreen << "A\x1b[J";
    m_Out << text.toStdString();
    m_LinesOnScreen = text.count('\n');
}
