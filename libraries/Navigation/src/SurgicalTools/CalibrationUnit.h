#pragma once

#include <SurgicalTools/SurgicalTool.h>

#include <map>

class Calibrator;

/// Base of the tracked objects against which an application calibrates instruments. It records which instruments it is
/// monitoring, and through which calibrator.
///
/// Ownership: instruments and calibrators are borrowed and not followed: whoever deletes one takes the entry out of
/// monitoredTools first.
class TBR_NAVIGATION_EXPORT CalibrationUnit : public SurgicalTool
{
    Q_OBJECT
public:
    CalibrationUnit();
    ~CalibrationUnit() override;

    /// For subclasses: begins to calibrate an instrument. Returns whether it could begin. Nothing here calls it.
    virtual bool startCalibration(SurgicalTool& tool) = 0;

protected:
    /// Enters an instrument. One that is monitored already keeps its first calibrator.
    void addMonitoredTool(SurgicalTool& tool, Calibrator& calibrator);
    bool isMonitored(SurgicalTool& tool);

    std::map<SurgicalTool*, Calibrator*> monitoredTools;
};
