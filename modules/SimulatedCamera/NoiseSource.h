#pragma once

#include <tbrNumerics/Vector3d.h>

#include <cstdint>

namespace simulation
{

/// Normally distributed measuring errors that depend only on the seed, the stream, the frame and the marker: whatever
/// else a run does, its frame n has the same errors.
///
/// Uniform numbers come from the counter-based generator SplitMix64 (Steele, Lea, Flood, "Fast Splittable Pseudorandom
/// Number Generators", OOPSLA 2014), normal ones from them by the transform of Box and Muller (Ann. Math. Statist.
/// 29(2), 1958). A plain value; use by any thread.
class NoiseSource
{
public:
    /// Streams of the same seed are independent of each other.
    NoiseSource(std::uint64_t seed, std::uint64_t stream);

    /// Three independent errors of standard deviation 1. `marker` is below 64.
    Vector3d errorOf(std::uint64_t frame, unsigned marker) const;

private:
    std::uint64_t m_Key;
};

} // namespace simulation
