#pragma once

#include <tbrNumerics/Vector3d.h>

#include <chrono>
#include <cstdint>

/// A time as a translation that survives the journey in single precision: the microseconds of the steady clock, which
/// all processes of a machine share, modulo 2^48. x holds the upper 24 bits and y the lower ones, each of which a float
/// holds exactly.
namespace timeStamp
{

using Clock = std::chrono::steady_clock;

constexpr int BITS = 24;
constexpr std::int64_t PART = std::int64_t(1) << BITS;

inline std::int64_t microsecondsOf(Clock::time_point time)
{
    return std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count() % (PART * PART);
}

inline Vector3d toTranslation(Clock::time_point time)
{
    const std::int64_t microseconds = microsecondsOf(time);
    return Vector3d(static_cast<double>(microseconds / PART), static_cast<double>(microseconds % PART), -2000.0);
}

inline std::int64_t toMicroseconds(float x, float y)
{
    return static_cast<std::int64_t>(x) * PART + static_cast<std::int64_t>(y);
}

} // namespace timeStamp
