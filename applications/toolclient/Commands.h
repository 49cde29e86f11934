#pragma once

#include "Options.h"
#include "Reference.h"
#include "Report.h"

#include <iosfwd>

class CaTool;
class CaToolList;

/// Runs one command on a connected tool list and writes what it finds out.
///
/// Every command returns a status code of the tool server; negative ones are failures that the caller reports.
class Commands
{
public:
    /// All are borrowed.
    Commands(const Options& options, CaToolList& toolList, std::ostream& out);

    /// Runs the command that the options name.
    int run();

private:
    int showStatus();
    int listTools();
    int watch();
    int showNearest();
    int showPose();
    int showMarkers();
    int showSwitch();
    int calibrate();

    CaTool* findTool(const QString& name) const;
    void write(const QString& listName, const Report& report);
    void write(const QStringList& columns, const QJsonArray& row);

    const Options& m_Options;
    CaToolList& m_ToolList;
    std::ostream& m_Out;
    Reference m_Reference;
};
