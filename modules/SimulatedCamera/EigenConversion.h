#pragma once

#include <tbrNumerics/Matrix3x3.h>
#include <tbrNumerics/Vector3d.h>

#include <Eigen/Core>

namespace simulation
{

inline Eigen::Vector3d toEigen(const Vector3d& v)
{
    return {v.x, v.y, v.z};
}

inline Eigen::Matrix3d toEigen(const Matrix3x3& m)
{
    Eigen::Matrix3d result;
    for (int i = 0; i < 9; ++i)
        result(i / 3, i % 3) = m[i / 3][i % 3];
    return result;
}

inline Vector3d fromEigen(const Eigen::Vector3d& v)
{
    return {v.x(), v.y(), v.z()};
}

inline Matrix3x3 fromEigen(const Eigen::Matrix3d& m)
{
    Matrix3x3 result;
    for (int i = 0; i < 9; ++i)
        result[i / 3][i % 3] = m(i / 3, i % 3);
    return result;
}

} // namespace simulation
