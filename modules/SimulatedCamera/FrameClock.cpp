#include <SimulatedCamera/FrameClock.h>

#include <algorithm>
#include <cmath>

namespace simulation
{

FrameClock::FrameClock(double rate, Time start)
    : m_Rate(rate), m_MostAtOnce(std::max(1.0, std::floor(rate / 10.0))), m_Start(start), m_Taken(0.0)
{
}

double FrameClock::framesSinceStart(Time now) const
{
    return std::chrono::duration<double>(now - m_Start).count() * m_Rate;
}

int FrameClock::takeDueFrames(Time now)
{
    const double due = std::max(0.0, std::floor(framesSinceStart(now)) - m_Taken);
    m_Taken += due;
    return static_cast<int>(std::min(due, m_MostAtOnce));
}

int FrameClock::millisecondsToNext(Time now) const
{
    const double seconds = (m_Taken + 1.0 - framesSinceStart(now)) / m_Rate;
    return static_cast<int>(std::clamp(std::ceil(seconds * 1000.0), 1.0, 1000.0));
}

} // namespace simulation
