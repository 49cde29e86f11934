#pragma once

#include <chrono>

namespace simulation
{

/// Tells how many frames are due. A late caller gets the frames that it has missed, but at most a tenth of a second's
/// worth (at least one): what is beyond that is put off, so a computer that is too slow gives a slower run, never a
/// different one. Use by one thread at a time.
class FrameClock
{
public:
    using Time = std::chrono::steady_clock::time_point;

    /// `rate` in frames per second, above 0; the first frame is due one period after `start`.
    FrameClock(double rate, Time start);

    /// How many frames to compute now. Each frame is counted out once. `now` never goes back.
    int takeDueFrames(Time now);

    /// Milliseconds until the next frame is due, rounded up, at least 1.
    int millisecondsToNext(Time now) const;

private:
    double framesSinceStart(Time now) const;

    double m_Rate;
    double m_MostAtOnce;
    Time m_Start;
    double m_Taken; // frames counted out or put off so far; a whole number
};

} // namespace simulation
