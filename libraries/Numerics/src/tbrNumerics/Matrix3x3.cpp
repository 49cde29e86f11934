#include <tbrNumerics/Matrix3x3.h>

#include <Eigen/Dense>

#include <algorithm>
#include <utility>

namespace
{

using RowMajor = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

} // namespace

Matrix3x3 Matrix3x3::identity()
{
    return Matrix3x3();
}

Matrix3x3& Matrix3x3::operator*=(const Matrix3x3& right)
{
    return *this = *this * right;
}

void Matrix3x3::transpose()
{
    std::swap(m_Rows[0][1], m_Rows[1][0]);
    std::swap(m_Rows[0][2], m_Rows[2][0]);
    std::swap(m_Rows[1][2], m_Rows[2][1]);
}

Matrix3x3 Matrix3x3::transposed() const
{
    Matrix3x3 result = *this;
    result.transpose();
    return result;
}

void Matrix3x3::orthonormalize()
{
    Eigen::Map<RowMajor> self(&m_Rows[0][0]);
    if (!self.allFinite())
        return;

    const Eigen::JacobiSVD<Eigen::Matrix3d> svd(self, Eigen::ComputeFullU | Eigen::ComputeFullV);
    const double handedness = (svd.matrixU() * svd.matrixV().transpose()).determinant() < 0.0 ? -1.0 : 1.0;
    const Eigen::Matrix3d rotation =
        svd.matrixU() * Eigen::Vector3d(1.0, 1.0, handedness).asDiagonal() * svd.matrixV().transpose();
    // U and V are orthonormal to some roundings only: one Newton-Schulz step brings their product to the last digits.
    self = 0.5 * rotation * (3.0 * Eigen::Matrix3d::Identity() - rotation.transpose() * rotation);
}

Matrix3x3 operator*(const Matrix3x3& a, const Matrix3x3& b)
{
    Matrix3x3 product;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column)
            product[row][column] = a[row][0] * b[0][column] + a[row][1] * b[1][column] + a[row][2] * b[2][column];
    return product;
}

Vector3d operator*(const Matrix3x3& m, const Vector3d& v)
{
    return Vector3d(m[0][0] * v.x + m[0][1] * v.y + m[0][2] * v.z, m[1][0] * v.x + m[1][1] * v.y + m[1][2] * v.z,
                    m[2][0] * v.x + m[2][1] * v.y + m[2][2] * v.z);
}

bool operator==(const Matrix3x3& a, const Matrix3x3& b)
{
    return std::equal(a[0], a[0] + 3, b[0]) && std::equal(a[1], a[1] + 3, b[1]) && std::equal(a[2], a[2] + 3, b[2]);
}

bool operator!=(const Matrix3x3& a, const Matrix3x3& b)
{
    return !(a == b);
}
