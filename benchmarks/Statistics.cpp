#include "Statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <iterator>

namespace statistics
{

Summary summarize(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    const double median = values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2.0;
    return {median, values.front(), values.back()};
}

double percentile(const std::vector<double>& sorted, double share)
{
    const double rank = std::ceil(share * static_cast<double>(sorted.size()));
    const auto index = static_cast<std::size_t>(std::max(1.0, rank)) - 1;
    return sorted[std::min(index, sorted.size() - 1)];
}

std::vector<double> ratios(const std::vector<double>& numerators, const std::vector<double>& denominators)
{
    std::vector<double> result;
    std::transform(numerators.begin(), numerators.end(), denominators.begin(), std::back_inserter(result),
                   std::divides<>());
    return result;
}

} // namespace statistics
