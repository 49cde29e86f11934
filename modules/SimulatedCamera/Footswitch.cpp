#include <SimulatedCamera/Footswitch.h>

#include <cmath>

namespace simulation
{

SwitchState Footswitch::stateAt(double time) const
{
    if (presses.empty())
        return {};

    const double phase = std::fmod(time, period);
    SwitchState state{time < period ? presses.front().number : presses.back().number, false};
    for (const Press& press : presses)
        if (press.pressed <= phase)
            state = {press.number, phase < press.released};
    return state;
}

} // namespace simulation
