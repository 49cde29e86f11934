#include <SimulatedCamera/NoiseSource.h>

#include <SimulatedCamera/Motion.h>

#include <cmath>

namespace simulation
{

namespace
{

/// SplitMix64: the output for a state.
std::uint64_t mixed(std::uint64_t state)
{
    state = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9u;
    state = (state ^ (state >> 27)) * 0x94D049BB133111EBu;
    return state ^ (state >> 31);
}

/// SplitMix64: the number at place `counter` of the sequence that `key` begins.
std::uint64_t numberAt(std::uint64_t key, std::uint64_t counter)
{
    return mixed(key + 0x9E3779B97F4A7C15u * (counter + 1));
}

/// Between 0 and 1, both excluded.
double uniformAt(std::uint64_t key, std::uint64_t counter)
{
    return (static_cast<double>(numberAt(key, counter) >> 11) + 0.5) * 0x1p-53;
}

} // namespace

NoiseSource::NoiseSource(std::uint64_t seed, std::uint64_t stream) : m_Key(numberAt(numberAt(seed, 0), stream)) {}

Vector3d NoiseSource::errorOf(std::uint64_t frame, unsigned marker) const
{
    const std::uint64_t counter = (frame * 64 + marker) * 4;
    const double firstRadius = std::sqrt(-2.0 * std::log(uniformAt(m_Key, counter)));
    const double firstAngle = 2.0 * PI * uniformAt(m_Key, counter + 1);
    const double secondRadius = std::sqrt(-2.0 * std::log(uniformAt(m_Key, counter + 2)));
    const double secondAngle = 2.0 * PI * uniformAt(m_Key, counter + 3);
    return {firstRadius * std::cos(firstAngle), firstRadius * std::sin(firstAngle),
            secondRadius * std::cos(secondAngle)};
}

} // namespace simulation
