#pragma once

#include <SurgicalTools/SurgicalToolFactory.h>

/// A tracked burr with a spherical head. Its centre is imaginary point 0 of its rigid body, and imaginary point 1 lies
/// behind it on the axis. Millimetres.
class TBR_NAVIGATION_EXPORT RoundBurrTool : public SurgicalTool
{
    Q_OBJECT
public:
    RoundBurrTool();
    ~RoundBurrTool() override;

    /// The burr's centre in the frame of `reference`; the tool server is asked. Undefined, and nothing is asked, when
    /// `reference` is null or has no rigid body. An own rigid body must be bound, it is not checked. When the burr or
    /// the reference is out of view, it is the centre of the last measurement; the rigid body's isImagsValid() tells.
    Vector3d getBurrPosition(SurgicalTool* reference);

    /// -1 while not set.
    double getRadius() const;
    /// Sets the radius and moves imaginary point 0 of the rigid body back along the axis by it, from the tip of the
    /// head to its centre; emits burrRadiusChangedSIG. The point moves at every call: to change a radius, first teach
    /// the tip again with setAxis(). A rigid body with two imaginary points must be bound, it is not checked; with
    /// fewer the point becomes undefined. A radius that is not positive only sets -1, quietly.
    void setRadius(const double& newRadius);

    /// Teaches the axis in the rigid body's frame: imaginary point 0 becomes `p0` (the tip), point 1 `p1`. Emits
    /// toolRecalibratedSIG and returns true. The radius is not applied: call setRadius() afterwards. Without a rigid
    /// body, or with fewer than two imaginary points, returns false with an "ERROR" log line.
    bool setAxis(const Vector3d& p0, const Vector3d& p1);

signals:
    /// After setAxis().
    void toolRecalibratedSIG();
    /// After setRadius(); the radius without its fraction.
    void burrRadiusChangedSIG(int radius);

private:
    double radius;
};

/// Makes instruments of class "RoundBurrTool".
class TBR_NAVIGATION_EXPORT RoundBurrToolFactory : public SurgicalToolFactory
{
public:
    RoundBurrToolFactory();
    SurgicalTool* createInstance() override;
};

/// Registers the class; further calls do nothing. Returns 1.
TBR_NAVIGATION_EXPORT int createRoundBurrToolFactory();
