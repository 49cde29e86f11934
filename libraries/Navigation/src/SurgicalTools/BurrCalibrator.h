#pragma once

#include <SurgicalTools/SurgicalToolFactory.h>

/// A tracked calibration block with holes for burrs. Its geometry hangs on imaginary points 0 to 2 of its rigid body;
/// the frame of a result is that of the measurement. Millimetres. With fewer than three imaginary points all positions
/// are undefined and no burr is in a hole.
///
/// With u = from point 1 to 2, v = from point 1 to 0 and n = u x v, each of unit length:
///
///     calibration point 0   point 0 + 17 u - 2.5 v + 10.5 n
///     calibration point 1   point 1 + 17 u + 10.5 n
///     5 mm hole             point 0 + 2.5 u - 35 v - 2.45 n
///     8 mm hole             point 0 + 32.5 u - 35 v - 2.45 n
class TBR_NAVIGATION_EXPORT BurrCalibrator : public SurgicalTool
{
    Q_OBJECT
public:
    BurrCalibrator();
    ~BurrCalibrator() override;

    /// A calibration point in the frame of `reference`, or in the camera's frame when `reference` is null; the tool
    /// server is asked. Undefined, without a log line, when it cannot be measured: the block or a non-null reference
    /// has no rigid body or is out of view.
    Vector3d getCalibrationPoint0(SurgicalTool* reference);
    Vector3d getCalibrationPoint1(SurgicalTool* reference);

    /// Whether the instrument's imaginary point 0 (burr centre or tip) lies within 10 of the hole's position in each
    /// coordinate of the instrument's frame, bounds included: a box, not a sphere. The tool server is asked. False
    /// without a log line when `tool` is null; false with an "ERROR" log line when the block or the instrument has no
    /// rigid body or the block's points are not valid.
    bool isIn5mmHole(SurgicalTool* tool) const;
    bool isIn8mmHole(SurgicalTool* tool) const;
};

/// Makes instruments of class "BurrCalibrator".
class TBR_NAVIGATION_EXPORT BurrCalibratorFactory : public SurgicalToolFactory
{
public:
    BurrCalibratorFactory();
    SurgicalTool* createInstance() override;
};

/// Registers the class; further calls do nothing. Returns 1.
TBR_NAVIGATION_EXPORT int createBurrCalibratorFactory();
