#include <tbrNumerics/Vector3d.h>

#include <cmath>
#include <limits>

double Vector3d::length() const
{
    const double squared = dot(*this);
    const bool isExact = squared >= std::numeric_limits<double>::min() / std::numeric_limits<double>::epsilon() &&
                         squared <= std::numeric_limits<double>::max();
    return isExact ? std::sqrt(squared) : std::hypot(std::hypot(x, y), z);
}

double Vector3d::dot(const Vector3d& other) const
{
    return x * other.x + y * other.y + z * other.z;
}

void Vector3d::normalize(double newLength)
{
    *this = normalized(newLength);
}

Vector3d Vector3d::normalized(double newLength) const
{
    const double oldLength = length();
    return oldLength == 0.0 ? *this
                            : Vector3d(x / oldLength * newLength, y / oldLength * newLength, z / oldLength * newLength);
}

void Vector3d::setUndefined()
{
    x = y = z = std::numeric_limits<double>::quiet_NaN();
}

bool Vector3d::isUndefined() const
{
    return std::isnan(x) && std::isnan(y) && std::isnan(z);
}

Vector3d& Vector3d::operator+=(const Vector3d& other)
{
    return *this = *this + other;
}

Vector3d& Vector3d::operator-=(const Vector3d& other)
{
    return *this = *this - other;
}

Vector3d& Vector3d::operator*=(double factor)
{
    return *this = *this * factor;
}

Vector3d& Vector3d::operator/=(double divisor)
{
    return *this = *this / divisor;
}

Vector3d operator-(const Vector3d& a)
{
    return Vector3d(-a.x, -a.y, -a.z);
}

Vector3d operator*(const Vector3d& a, double factor)
{
    return Vector3d(a.x * factor, a.y * factor, a.z * factor);
}

Vector3d operator*(double factor, const Vector3d& a)
{
    return a * factor;
}

Vector3d operator/(const Vector3d& a, double divisor)
{
    return Vector3d(a.x / divisor, a.y / divisor, a.z / divisor);
}

bool operator==(const Vector3d& a, const Vector3d& b)
{
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

bool operator!=(const Vector3d& a, const Vector3d& b)
{
    return !(a == b);
}

Vector3d cross(const Vector3d& a, const Vector3d& b)
{
    return Vector3d(a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x);
}

double dot(const Vector3d& a, const Vector3d& b)
{
    return a.dot(b);
}

double angle(const Vector3d& a, const Vector3d& b)
{
    return std::atan2(cross(a, b).length(), dot(a, b));
}
