#pragma once

#include <tbrNumerics/Vector3d.h>

/// A 3x3 matrix of doubles, mostly a rotation. A plain value, stored row by row.
class TBR_NUMERICS_EXPORT Matrix3x3
{
public:
    /// The identity.
    constexpr Matrix3x3() : m_Rows{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}} {}

    /// Row 0, 1 or 2, three elements long. Any other index is the caller's mistake.
    double* operator[](int row) { return m_Rows[row]; }
    const double* operator[](int row) const { return m_Rows[row]; }

    [[nodiscard]] static Matrix3x3 identity();

    Matrix3x3& operator*=(const Matrix3x3& right);

    void transpose() { *this = transposed(); }
    Matrix3x3 transposed() const
    {
        Matrix3x3 result;
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 3; ++column)
                result.m_Rows[row][column] = m_Rows[column][row];
        return result;
    }

    /// Replaces the matrix by the nearest rotation in the least-squares sense, always right-handed: with M = U S V^T,
    /// R = U diag(1, 1, det(U V^T)) V^T (Umeyama, IEEE Trans. Pattern Anal. Mach. Intell. 13(4), 1991). A matrix with
    /// an element that is not finite has no nearest rotation and is left as it is; of several nearest ones (a singular
    /// matrix, some reflections) the result is one.
    void orthonormalize();

private:
    double m_Rows[3][3];
};

// The products are inline: sessions compute several of them for each tool of an answer.
inline Matrix3x3 operator*(const Matrix3x3& a, const Matrix3x3& b)
{
    Matrix3x3 product;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
            product[row][column] = a[row][0] * b[0][column] + a[row][1] * b[1][column] + a[row][2] * b[2][column];
    return product;
}

inline Vector3d operator*(const Matrix3x3& m, const Vector3d& v)
{
    return Vector3d(m[0][0] * v.x + m[0][1] * v.y + m[0][2] * v.z, m[1][0] * v.x + m[1][1] * v.y + m[1][2] * v.z,
                    m[2][0] * v.x + m[2][1] * v.y + m[2][2] * v.z);
}

/// Exact comparison of the elements, without tolerance.
TBR_NUMERICS_EXPORT bool operator==(const Matrix3x3& a, const Matrix3x3& b);
TBR_NUMERICS_EXPORT bool operator!=(const Matrix3x3& a, const Matrix3x3& b);
