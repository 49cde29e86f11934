#pragma once

#include <tbrNumerics/Matrix3x3.h>

/// A rigid motion: a rotation followed by a translation. Applied to a point p it gives R p + t. A plain value; the
/// translation is in the caller's unit.
class TBR_NUMERICS_EXPORT TransMatrix3d
{
public:
    /// The identity.
    TransMatrix3d();
    TransMatrix3d(const Matrix3x3& rotation, const Vector3d& translation);

    /// Makes this the identity.
    void identity();

    /// Applies `inner` before this motion: this = this * inner.
    TransMatrix3d& operator*=(const TransMatrix3d& inner);

    /// The inverse of a rigid motion: (R^T, -R^T t). The rotation must be orthonormal.
    void invert();
    TransMatrix3d inverted() const;

    Matrix3x3 getRotation() const;
    Vector3d getTranslation() const;
    void setRotation(const Matrix3x3& rotation);
    void setTranslation(const Vector3d& translation);

private:
    Matrix3x3 m_Rotation;
    Vector3d m_Translation;
};

/// R p + t.
TBR_NUMERICS_EXPORT Vector3d operator*(const TransMatrix3d& motion, const Vector3d& point);
/// The motion that applies `inner` first and `outer` after it.
TBR_NUMERICS_EXPORT TransMatrix3d operator*(const TransMatrix3d& outer, const TransMatrix3d& inner);
/// Exact comparison, without tolerance.
TBR_NUMERICS_EXPORT bool operator==(const TransMatrix3d& a, const TransMatrix3d& b);
TBR_NUMERICS_EXPORT bool operator!=(const TransMatrix3d& a, const TransMatrix3d& b);
