#pragma once

#include <tbrNumerics/Export.h>

/// A point or a direction in space: three doubles in the caller's unit and frame. A plain value.
struct TBR_NUMERICS_EXPORT Vector3d
{
    double x, y, z;

    /// (0, 0, 0).
    constexpr Vector3d() : x(0.0), y(0.0), z(0.0) {}
    constexpr Vector3d(double x_, double y_, double z_) : x(x_), y(y_), z(z_) {}

    /// Component 0, 1 or 2. Any other index is the caller's mistake.
    double& operator[](int i) { return i == 0 ? x : (i == 1 ? y : z); }
    double operator[](int i) const { return i == 0 ? x : (i == 1 ? y : z); }

    /// Never overflows or vanishes on the way: right for every length that a double can hold.
    double length() const;
    double dot(const Vector3d& other) const;

    /// Scales the vector to `length`, keeping its direction. A zero vector stays zero.
    void normalize(double length = 1.0);
    Vector3d normalized(double length = 1.0) const;

    /// Marks the vector as having no value: NaN in every component.
    void setUndefined();
    /// Whether every component is NaN.
    bool isUndefined() const;

    Vector3d& operator+=(const Vector3d& other);
    Vector3d& operator-=(const Vector3d& other);
    Vector3d& operator*=(double factor);
    Vector3d& operator/=(double divisor);
};

inline Vector3d operator+(const Vector3d& a, const Vector3d& b)
{
    return Vector3d(a.x + b.x, a.y + b.y, a.z + b.z);
}

inline Vector3d operator-(const Vector3d& a, const Vector3d& b)
{
    return Vector3d(a.x - b.x, a.y - b.y, a.z - b.z);
}

TBR_NUMERICS_EXPORT Vector3d operator-(const Vector3d& a);
TBR_NUMERICS_EXPORT Vector3d operator*(const Vector3d& a, double factor);
TBR_NUMERICS_EXPORT Vector3d operator*(double factor, const Vector3d& a);
TBR_NUMERICS_EXPORT Vector3d operator/(const Vector3d& a, double divisor);
/// Exact comparison of the components, without tolerance; an undefined vector equals nothing.
TBR_NUMERICS_EXPORT bool operator==(const Vector3d& a, const Vector3d& b);
TBR_NUMERICS_EXPORT bool operator!=(const Vector3d& a, const Vector3d& b);

/// The vector product, right-handed.
TBR_NUMERICS_EXPORT Vector3d cross(const Vector3d& a, const Vector3d& b);
/// The scalar product.
TBR_NUMERICS_EXPORT double dot(const Vector3d& a, const Vector3d& b);
/// The angle between two directions, 0 to pi radians; 0 when either has no length. Computed as atan2(|a x b|, a . b),
/// which keeps its accuracy for nearly parallel directions (Kahan, "How Futile are Mindless Assessments of Roundoff in
/// Floating-Point Computation?", 2006, section 12).
TBR_NUMERICS_EXPORT double angle(const Vector3d& a, const Vector3d& b);
