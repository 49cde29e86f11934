#pragma once

#include <vector>

namespace simulation
{

/// Aligned to its size, so that every compiler reads and writes a std::atomic of it in one access.
struct alignas(8) SwitchState
{
    int number = 0; // the switch that changed last
    bool isPressed = false;
};

inline bool operator==(const SwitchState& a, const SwitchState& b)
{
    return a.number == b.number && a.isPressed == b.isPressed;
}

inline bool operator!=(const SwitchState& a, const SwitchState& b)
{
    return !(a == b);
}

/// A pattern of presses of footswitches that repeats for ever. A plain value; times in seconds.
struct Footswitch
{
    struct Press
    {
        int number; // of the switch
        double pressed;
        double released;
    };

    double period = 0.0;        // above 0 when there are presses
    std::vector<Press> presses; // in order of time, one over before the next begins, all within the period

    /// The state at a time of 0 or more: a press holds from its time up to, not including, its release. Before the very
    /// first press it is the first switch, released; without presses the number is 0.
    SwitchState stateAt(double time) const;
};

} // namespace simulation
