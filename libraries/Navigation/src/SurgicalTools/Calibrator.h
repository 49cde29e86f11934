#pragma once

#include <SurgicalTools/CalibrationUnit.h>

#include <deque>

/// Base of the calibration procedures of an application. It pairs a calibration unit with an instrument and keeps the
/// latest poses of both.
///
/// Units and frame: poses as the instruments report them: millimetres, in the frame of the tool server's reference.
/// Ownership: unit and instrument are borrowed; when one dies, its poses stop coming.
/// Thread: use it on the thread where unit and instrument live.
class TBR_NAVIGATION_EXPORT Calibrator : public QObject
{
    Q_OBJECT
public:
    /// Follows both from now on. The last poses are identities until then.
    Calibrator(CalibrationUnit& unit, SurgicalTool& tool);
    ~Calibrator() override;

protected:
    /// For subclasses: evaluates the poses. Called at every move of the instrument; a move of the unit is only
    /// recorded.
    virtual void updateCalibration(const TransMatrix3d& calUnitTransform, const TransMatrix3d& toolTransform) = 0;

    CalibrationUnit* calibrationUnit;
    SurgicalTool* tool;
    /// The latest poses, the newest at the back, ten at the most. Poses that are not valid are among them, with the
    /// value that they had last, and cannot be told apart: a subclass that must know connects the instruments'
    /// ToolMovedSIG itself.
    std::deque<TransMatrix3d> calUnitShield;
    std::size_t calUnitShieldLength;
    std::deque<TransMatrix3d> toolShield;
    std::size_t toolShieldLength;
    TransMatrix3d lastCalUnitTransform;
    TransMatrix3d lastToolTransform;

private slots:
    void sltUpdateCalUnitShield(TransMatrix3d transform, bool isValid);
    void sltUpdateToolShield(TransMatrix3d transform, bool isValid);
};
