#pragma once

#include <tbrNumerics/Line3d.h>
#include <tbrNumerics/TransMatrix3d.h>

#include <gmock/gmock.h>

#include <cmath>
#include <ostream>
#include <random>

/// A turn about one axis (0 x, 1 y, 2 z) by an angle in radians, right-handed.
inline Matrix3x3 turn(int axis, double angle)
{
    const int first = (axis + 1) % 3;
    const int second = (axis + 2) % 3;
    Matrix3x3 rotation;
    rotation[first][first] = std::cos(angle);
    rotation[first][second] = -std::sin(angle);
    rotation[second][first] = std::sin(angle);
    rotation[second][second] = std::cos(angle);
    return rotation;
}

/// Exactly 90 degrees about z: (x, y, z) becomes (-y, x, z).
inline Matrix3x3 quarterTurnAboutZ()
{
    Matrix3x3 rotation;
    rotation[0][0] = 0.0;
    rotation[0][1] = -1.0;
    rotation[1][0] = 1.0;
    rotation[1][1] = 0.0;
    return rotation;
}

/// Rigid motions all over a tracking volume, the same ones in every run.
class RandomMotions
{
public:
    TransMatrix3d next()
    {
        return TransMatrix3d(turn(0, angle()) * turn(1, angle()) * turn(2, angle()), point(1000.0));
    }
    Vector3d point(double range)
    {
        std::uniform_real_distribution<double> coordinate(-range, range);
        return Vector3d(coordinate(m_Generator), coordinate(m_Generator), coordinate(m_Generator));
    }

private:
    double angle() { return std::uniform_real_distribution<double>(-3.14, 3.14)(m_Generator); }

    std::mt19937 m_Generator{20240102};
};

/// Points agree to one part in 1e9 of the tracking volume's size (a metre).
MATCHER_P(IsCloseTo, point, "")
{
    static_cast<void>(result_listener);
    return (arg - point).length() <= 1e-9 * 1000.0;
}

inline std::ostream& operator<<(std::ostream& stream, const Vector3d& v)
{
    return stream << "(" << v.x << ", " << v.y << ", " << v.z << ")";
}

inline std::ostream& operator<<(std::ostream& stream, const Line3d& line)
{
    return stream << line.point << " -> " << line.direction;
}
