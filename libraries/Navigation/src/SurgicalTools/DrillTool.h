#pragma once

#include <SurgicalTools/DrillGuide.h>
#include <tbrNumerics/Line3d.h>

class CalibrationUnit;

/// A tracked surgical drill. While it is linked to a tracked drill guide and sits in it, its axis snaps to the guide's.
///
/// Units and frame: all geometry is in the drill's rigid-body frame, millimetres; it is zero until a rigid body with at
/// least two imaginary points is bound. Imaginary point 1 is the rear of the drill body, point 0 its front.
/// Signals: ConfigUpdateSIG whenever the geometry may have changed, StateChangeSIG with the property that was set.
class TBR_NAVIGATION_EXPORT DrillTool : public SurgicalTool
{
    Q_OBJECT
public:
    DrillTool();
    ~DrillTool() override;

    /// From the rear of the drill body (imaginary point 1) to its front.
    const Line3d& getBodyAxis() const;
    /// The drill as it was taught: from the front of the body to the tip. After binding, the tip is one body length
    /// away from the front.
    const Line3d& getDrillAxis() const;
    /// The axis to use: the drill axis, or while the drill sits in its guide, the same length along the guide's
    /// channel. Before it is used, mind that setDrillLength() does not renew it.
    const Line3d& getCorrectedAxis();

    /// 2 at first.
    double getDrillDiameter() const;
    /// Emits ConfigUpdateSIG and StateChangeSIG("DrillTool::Diameter"). The current diameter changes and tells nothing.
    void setDrillDiameter(double d);
    /// Gives the drill axis this length along the body axis, writes a line to standard output, and emits
    /// ConfigUpdateSIG and StateChangeSIG("DrillTool::Length"). The corrected axis deliberately stays as it was until
    /// the next move, binding or setTip(). To see the length at once, call setTip() with the front of the body plus
    /// the new drill axis instead. Without a body axis the drill axis gets no length.
    void setDrillLength(double length);
    /// Lets the drill axis end at `tip`, renews the corrected axis, and emits ConfigUpdateSIG and
    /// StateChangeSIG("DrillTool::Tip"). When the corrected axis changes, ConfigUpdateSIG comes twice.
    void setTip(Vector3d tip);
    /// Emits StateChangeSIG("DrillTool::Calibrating"), nothing else.
    void calibrating(CalibrationUnit& unit);
    /// Links a guide, which is borrowed; null unlinks. Takes effect at the next move.
    void setDrillGuide(DrillGuide* guide);

protected:
    /// Makes the drill axis the corrected one; emits ConfigUpdateSIG if that is a change.
    void correctAxis();

    /// Takes the geometry anew (a length or tip set before is lost) and emits ConfigUpdateSIG, twice if the corrected
    /// axis changes. A body with fewer than two imaginary points changes and tells nothing.
    void rigidBodyAttached(CaTool* rigidBody) override;
    /// Renews the corrected axis at every valid move, then emits ToolMovedSIG. The axis snaps, and ConfigUpdateSIG is
    /// emitted whether it changed or not, when the guide has a channel and is in view, its entry point is closer to the
    /// front of the drill body than the tip is, and its channel deviates from the drill axis by less than 0.35 rad.
    /// There is no other limit on the distance. Otherwise the drill axis is used. An invalid move keeps the corrected
    /// axis.
    void rigidBodyMovedSLT(TransMatrix3d transform, bool isValid) override;

private:
    bool snapToGuide(const TransMatrix3d& cameraFromDrill);

    Line3d correctedAxis;
    Line3d bodyAxis;
    Line3d drillAxis;
    double drillDiameter;
    QPointer<DrillGuide> drillGuide;
};

/// Makes instruments of class "DrillTool".
class TBR_NAVIGATION_EXPORT DrillToolFactory : public SurgicalToolFactory
{
public:
    DrillToolFactory();
    SurgicalTool* createInstance() override;
};

/// Registers the class; further calls do nothing. Returns 1.
TBR_NAVIGATION_EXPORT int createDrillToolFactory();
