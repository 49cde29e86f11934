#pragma once

#include <tbrNumerics/Matrix3x3.h>

#include <algorithm>
#include <cmath>

/// A matrix written down row by row.
inline Matrix3x3 matrix(const double (&rows)[3][3])
{
    Matrix3x3 result;
    for (int row = 0; row < 3; ++row)
        std::copy_n(rows[row], 3, result[row]);
    return result;
}

inline Matrix3x3 scaled(double factor, Matrix3x3 m)
{
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
            m[row][column] *= factor;
    return m;
}

/// The largest difference between two elements in the same place.
inline double largestDifference(const Matrix3x3& a, const Matrix3x3& b)
{
    double largest = 0.0;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
            largest = std::fmax(largest, std::fabs(a[row][column] - b[row][column]));
    return largest;
}

/// The square of the Frobenius norm of a - b.
inline double squaredDistance(const Matrix3x3& a, const Matrix3x3& b)
{
    double sum = 0.0;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
            sum += (a[row][column] - b[row][column]) * (a[row][column] - b[row][column]);
    return sum;
}

inline double determinant(const Matrix3x3& m)
{
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}
