#pragma once

#include <SurgicalTools/SurgicalToolFactory.h>

/// A tracked pointing stylus. Its tip is imaginary point 0 of its rigid body.
class TBR_NAVIGATION_EXPORT PointerTool : public SurgicalTool
{
    Q_OBJECT
public:
    PointerTool();
    ~PointerTool() override;

    /// The tip in the frame of `reference`, or in the camera's frame when `reference` is null or has no rigid body;
    /// the tool server is asked. A rigid body must be bound, it is not checked. The result does not tell whether the
    /// tip was in view: when it was not, it is the tip of the last measurement. To know, use the other overload.
    Vector3d getTipPosition(SurgicalTool* reference);
    /// Stores the tip in `*out` and returns whether it is valid. It is in the frame of `reference`, or in the camera's
    /// frame when `reference` is null. Mind the difference: with a `reference` that has no rigid body nothing is asked,
    /// and the tip of the last measurement is stored, in the frame that this had; pass null for the camera's frame.
    /// Without an own rigid body, returns false and leaves `*out` alone.
    bool getTipPosition(Vector3d* out, const SurgicalTool* reference);
};

/// Makes instruments of class "PointerTool".
class TBR_NAVIGATION_EXPORT PointerToolFactory : public SurgicalToolFactory
{
public:
    PointerToolFactory();
    SurgicalTool* createInstance() override;
};

/// Registers the class; further calls do nothing. Returns 1.
TBR_NAVIGATION_EXPORT int createPointerToolFactory();
