#pragma once

#include <SurgicalTools/SurgicalToolFactory.h>

/// A tracked drill guide: a sleeve through which a drill passes.
///
/// Its geometry is taught by the first two imaginary points of its rigid body when the body is bound; all is in the
/// rigid body's own frame, millimetres, and zero before. A body with fewer than two imaginary points teaches nothing.
class TBR_NAVIGATION_EXPORT DrillGuide : public SurgicalTool
{
    Q_OBJECT
public:
    DrillGuide();
    ~DrillGuide() override;

    /// The direction of the channel, from imaginary point 1 to 0; not of unit length.
    const Vector3d& getDrillAxis() const;
    /// Where the drill enters: imaginary point 1.
    const Vector3d& getEntryPoint() const;

protected:
    /// Takes the geometry and emits ConfigUpdateSIG.
    void rigidBodyAttached(CaTool* rigidBody) override;

private:
    Vector3d drillAxis;
    Vector3d entryPoint;
};

/// Makes instruments of class "DrillGuide".
class TBR_NAVIGATION_EXPORT DrillGuideFactory : public SurgicalToolFactory
{
public:
    DrillGuideFactory();
    SurgicalTool* createInstance() override;
};

/// Registers the class; further calls do nothing. Returns 1.
TBR_NAVIGATION_EXPORT int createDrillGuideFactory();
