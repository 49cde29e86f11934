#include <tbrNumerics/TransMatrix3d.h>

TransMatrix3d::TransMatrix3d() = default;

TransMatrix3d::TransMatrix3d(const Matrix3x3& rotation, const Vector3d& translation)
    : m_Rotation(rotation), m_Translation(translation)
{
}

void TransMatrix3d::identity()
{
    *this = TransMatrix3d();
}

TransMatrix3d& TransMatrix3d::operator*=(const TransMatrix3d& inner)
{
    return *this = *this * inner;
}

void TransMatrix3d::invert()
{
    *this = inverted();
}

TransMatrix3d TransMatrix3d::inverted() const
{
    const Matrix3x3 back = m_Rotation.transposed();
    return TransMatrix3d(back, -(back * m_Translation));
}

Matrix3x3 TransMatrix3d::getRotation() const
{
    return m_Rotation;
}

Vector3d TransMatrix3d::getTranslation() const
{
    return m_Translation;
}

void TransMatrix3d::setRotation(const Matrix3x3& rotation)
{
    m_Rotation = rotation;
}

void TransMatrix3d::setTranslation(const Vector3d& translation)
{
    m_Translation = translation;
}

Vector3d operator*(const TransMatrix3d& motion, const Vector3d& point)
{
    return motion.getRotation() * point + motion.getTranslation();
}

TransMatrix3d operator*(const TransMatrix3d& outer, const TransMatrix3d& inner)
{
    return TransMatrix3d(outer.getRotation() * inner.getRotation(), outer * inner.getTranslation());
}

bool operator==(const TransMatrix3d& a, const TransMatrix3d& b)
{
    return a.getRotation() == b.getRotation() && a.getTranslation() == b.getTranslation();
}

bool operator!=(const TransMatrix3d& a, const TransMatrix3d& b)
{
    return !(a == b);
}
