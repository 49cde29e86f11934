#include <SimulatedCamera/PoseFit.h>

#include <SimulatedCamera/EigenConversion.h>

#include <Eigen/LU>
#include <Eigen/SVD>

#include <cmath>

namespace simulation
{

namespace
{

using Points = Eigen::Matrix3Xd;

Points asColumns(const std::vector<Vector3d>& points)
{
    Points columns(3, static_cast<Eigen::Index>(points.size()));
    for (std::size_t i = 0; i < points.size(); ++i)
        columns.col(static_cast<Eigen::Index>(i)) = toEigen(points[i]);
    return columns;
}

/// Below this share of the largest singular value the second one is rounding error: the points lie on one line.
constexpr double LINE_TOLERANCE = 1e-10;

} // namespace

std::optional<PoseFit> PoseFit::fit(const std::vector<Vector3d>& from, const std::vector<Vector3d>& to)
{
    if (from.size() < 3)
        return std::nullopt;

    const Points source = asColumns(from);
    const Points target = asColumns(to);
    const Eigen::Vector3d sourceMean = source.rowwise().mean();
    const Eigen::Vector3d targetMean = target.rowwise().mean();
    const Eigen::Matrix3d covariance = (target.colwise() - targetMean) * (source.colwise() - sourceMean).transpose();

    const Eigen::JacobiSVD<Eigen::Matrix3d> svd(covariance, Eigen::ComputeFullU | Eigen::ComputeFullV);
    const Eigen::Vector3d values = svd.singularValues();
    if (!(values[1] > LINE_TOLERANCE * values[0]))
        return std::nullopt;

    Eigen::Vector3d handedness(1.0, 1.0, 1.0);
    handedness[2] = (svd.matrixU() * svd.matrixV().transpose()).determinant() < 0.0 ? -1.0 : 1.0;
    const Eigen::Matrix3d rotation = svd.matrixU() * handedness.asDiagonal() * svd.matrixV().transpose();
    const Eigen::Vector3d translation = targetMean - rotation * sourceMean;

    PoseFit result;
    result.pose = TransMatrix3d(fromEigen(rotation), fromEigen(translation));
    const Points error = ((rotation * source).colwise() + translation) - target;
    for (Eigen::Index i = 0; i < error.cols(); ++i)
        result.residuals.push_back(error.col(i).norm());
    result.rms = std::sqrt(error.squaredNorm() / static_cast<double>(error.cols()));
    return result;
}

} // namespace simulation
