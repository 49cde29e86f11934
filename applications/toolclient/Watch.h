#pragma once

#include "Options.h"
#include "Report.h"

#include <tbrNumerics/Matrix3x3.h>

#include <QObject>

#include <iosfwd>

class CaToolList;
class Reference;

/// The columns of a pose: name, visible or not told, position in millimetres, rotation row by row, RMS error.
QStringList poseColumns();
/// Appends position and rotation to a row.
void appendPose(QJsonArray& row, const Matrix3x3& rotation, const Vector3d& translation);

/// Shows the poses of all tools again and again: a table that is refreshed in place on a terminal, or a line for each
/// sample (JSON) or tool (CSV) for programs. While the reference is missing or out of view, no tool is visible.
class Watch : public QObject
{
public:
    /// All are borrowed.
    Watch(const Options& options, CaToolList& toolList, const Reference& reference, std::ostream& out);

    /// Runs the event loop until the count is reached, the user ends it, the output cannot be written any more (all OK)
    /// or the server is lost (the status code that tells so).
    int run();

private:
    void takeSample();
    void writeText(const Report& report);
    Report poses() const;

    const Options& m_Options;
    CaToolList& m_ToolList;
    const Reference& m_Reference;
    std::ostream& m_Out;
    int m_Samples;
    int m_Status;
    int m_LinesOnScreen;
};
