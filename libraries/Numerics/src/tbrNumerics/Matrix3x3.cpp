#include <tbrNumerics/Matrix3x3.h>

#include <Eigen/Dense>

#include <algorithm>

namespace
{

using RowMajor = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

/// How far the columns are from being orthonormal, in every pair of them.
RowMajor defectOf(const RowMajor& m)
{
    return RowMajor::Identity() - m.transpose() * m;
}

/// Brings a matrix that is close to a rotation to the nearest one. A Newton-Schulz step leaves the rotation of the
/// polar decomposition as it is and squares the defect; so one below the square root of the last digits is the last
/// (Higham, "Functions of Matrices", SIAM 2008, section 8.3).
void approachRotation(RowMajor& m)
{
    constexpr double LAST = 1e-9;
    double size;
    do
    {
        const RowMajor defect = defectOf(m);
        size = defect.cwiseAbs().maxCoeff();
        m += 0.5 * (m * defect);
    } while (size > LAST);
}

/// Whether the steps converge, and to a rotation rather than to a reflection. Not so when an element is not finite.
bool isCloseToRotation(const RowMajor& m)
{
    constexpr double CLOSE = 0.1;
    return (defectOf(m).array().abs() < CLOSE).all() && m.determinant() > 0.0;
}

} // namespace

Matrix3x3 Matrix3x3::identity()
{
    return Matrix3x3();
}

Matrix3x3& Matrix3x3::operator*=(const Matrix3x3& right)
{
    return *this = *this * right;
}

void Matrix3x3::orthonormalize()
{
    Eigen::Map<RowMajor> self(&m_Rows[0][0]);
    RowMajor m = self;
    if (!m.allFinite())
        return;

    if (!isCloseToRotation(m)) // measured poses are
    {
        const Eigen::JacobiSVD<Eigen::Matrix3d> svd(m, Eigen::ComputeFullU | Eigen::ComputeFullV);
        const double handedness = (svd.matrixU() * svd.matrixV().transpose()).determinant() < 0.0 ? -1.0 : 1.0;
        m = svd.matrixU() * Eigen::Vector3d(1.0, 1.0, handedness).asDiagonal() * svd.matrixV().transpose();
    }
    approachRotation(m); // U and V are orthonormal to some roundings only
    self = m;
}

bool operator==(const Matrix3x3& a, const Matrix3x3& b)
{
    return std::equal(a[0], a[0] + 3, b[0]) && std::equal(a[1], a[1] + 3, b[1]) && std::equal(a[2], a[2] + 3, b[2]);
}

bool operator!=(const Matrix3x3& a, const Matrix3x3& b)
{
    return !(a == b);
}
