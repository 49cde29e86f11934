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

    void transpose();
    Matrix3x3 transposed() const;

    /// Replaces the matrix by the nearest rotation in the least-squares sense, always right-handed: with M = U S V^T,
    /// R = U diag(1, 1, det(U V^T)) V^T (Umeyama, IEEE Trans. Pattern Anal. Mach. Intell. 13(4), 1991). A matrix with
    /// an element that is not finite has no nearest rotation and is left as it is; of several nearest ones (a singular
    /// matrix, some reflections) the result is one.
    void orthonormalize();

private:
    double m_Rows[3][3];
};

TBR_NUMERICS_EXPORT Matrix3x3 operator*(const Matrix3x3& a, const Matrix3x3& b);
TBR_NUMERICS_EXPORT Vector3d operator*(const Matrix3x3& m, const Vector3d& v);
/// Exact comparison of the elements, without tolerance.
TBR_NUMERICS_EXPORT bool operator==(const Matrix3x3& a, const Matrix3x3& b);
TBR_NUMERICS_EXPORT bool operator!=(const Matrix3x3& a, const Matrix3x3& b);
