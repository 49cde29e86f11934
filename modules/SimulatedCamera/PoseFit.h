#pragma once

#include <tbrNumerics/TransMatrix3d.h>
#include <tbrNumerics/Vector3d.h>

#include <optional>
#include <vector>

namespace simulation
{

/// The rigid motion that takes one list of points to another with the least sum of squared distances.
struct PoseFit
{
    TransMatrix3d pose;
    std::vector<double> residuals; // the distance that is left at each point, in the points' unit
    double rms;                    // root of the mean of the squared residuals

    /// Takes the points `from` to the points `to`, pair by pair, by singular value decomposition (Arun, Huang,
    /// Blostein, IEEE Trans. Pattern Anal. Mach. Intell. 9(5), 1987, with the reflection excluded as by Umeyama, 13(4),
    /// 1991). Nothing when there are fewer than three pairs or the points of a list lie on one line, so that no pose is
    /// the best one. Both lists are equally long and finite.
    static std::optional<PoseFit> fit(const std::vector<Vector3d>& from, const std::vector<Vector3d>& to);
};

} // namespace simulation
