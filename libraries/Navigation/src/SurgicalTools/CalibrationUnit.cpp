#include <SurgicalTools/CalibrationUnit.h>

CalibrationUnit::CalibrationUnit() = default;

CalibrationUnit::~CalibrationUnit() = default;

void CalibrationUnit::addMonitoredTool(SurgicalTool& tool, Calibrator& calibrator)
{
    monitoredTools.emplace(&tool, &calibrator);
}

bool CalibrationUnit::isMonitored(SurgicalTool& tool)
{
    return monitoredTools.count(&tool) > 0;
}
