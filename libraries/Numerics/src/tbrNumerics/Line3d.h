#pragma once

#include <tbrNumerics/Vector3d.h>

/// A line in space: a point on it and its direction, which need not have unit length. A plain value.
struct TBR_NUMERICS_EXPORT Line3d
{
    Vector3d point;
    Vector3d direction;
};

/// Exact comparison of point and direction, without tolerance.
TBR_NUMERICS_EXPORT bool operator==(const Line3d& a, const Line3d& b);
TBR_NUMERICS_EXPORT bool operator!=(const Line3d& a, const Line3d& b);
