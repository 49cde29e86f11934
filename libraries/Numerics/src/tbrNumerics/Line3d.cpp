#include <tbrNumerics/Line3d.h>

bool operator==(const Line3d& a, const Line3d& b)
{
    return a.point == b.point && a.direction == b.direction;
}

bool operator!=(const Line3d& a, const Line3d& b)
{
    return !(a == b);
}
