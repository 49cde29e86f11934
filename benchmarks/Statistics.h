#pragma once

#include <vector>

/// What is told of repeated measurements.
namespace statistics
{

/// The middle of some values and how far they spread.
struct Summary
{
    double median;
    double lowest;
    double highest;
};

/// The summary of at least one value; the median of an even number of values is the mean of the two in the middle.
Summary summarize(std::vector<double> values);

/// The smallest of the `sorted` values that `share` (0 to 1) of them do not exceed (the nearest-rank percentile). There
/// must be at least one value.
double percentile(const std::vector<double>& sorted, double share);

/// numerators[i] / denominators[i]; both are of the same length.
std::vector<double> ratios(const std::vector<double>& numerators, const std::vector<double>& denominators);

} // namespace statistics
