#pragma once

#include <limits>

namespace _tbr
{

/// The value without its fraction. Where an int has no room for it, the nearest int; 0 for what is not a number.
inline int truncateToInt(double value)
{
    using Limits = std::numeric_limits<int>;
    if (value >= static_cast<double>(Limits::max()))
        return Limits::max();
    if (value <= static_cast<double>(Limits::min()))
        return Limits::min();
    return value == value ? static_cast<int>(value) : 0;
}

} // namespace _tbr
