#include <SimulatedCamera/Footswitch.h>

#include <gtest/gtest.h>

#include <ostream>

using simulation::Footswitch;
using simulation::SwitchState;

namespace simulation
{

void PrintTo(const SwitchState& state, std::ostream* out)
{
    *out << state.number << (state.isPressed ? " pressed" : " released");
}

} // namespace simulation

TEST(Footswitch, FollowsItsPattern)
{
    const Footswitch footswitch{10, {{1, 2, 3}, {4, 5, 7.5}}};
    EXPECT_EQ(footswitch.stateAt(0), (SwitchState{1, false})) << "nothing was pressed yet";
    EXPECT_EQ(footswitch.stateAt(1.999), (SwitchState{1, false}));
    EXPECT_EQ(footswitch.stateAt(2), (SwitchState{1, true}));
    EXPECT_EQ(footswitch.stateAt(2.999), (SwitchState{1, true}));
    EXPECT_EQ(footswitch.stateAt(3), (SwitchState{1, false}));
    EXPECT_EQ(footswitch.stateAt(5), (SwitchState{4, true}));
    EXPECT_EQ(footswitch.stateAt(7.5), (SwitchState{4, false}));
    EXPECT_EQ(footswitch.stateAt(9.999), (SwitchState{4, false}));
}

TEST(Footswitch, RepeatsItsPattern)
{
    const Footswitch footswitch{10, {{1, 2, 3}, {4, 5, 7.5}}};
    EXPECT_EQ(footswitch.stateAt(10), (SwitchState{4, false})) << "the last one pressed in the round before";
    EXPECT_EQ(footswitch.stateAt(12.5), (SwitchState{1, true}));
    EXPECT_EQ(footswitch.stateAt(10006), (SwitchState{4, true}));
}

TEST(Footswitch, IsReleasedWithoutPresses)
{
    EXPECT_EQ(Footswitch().stateAt(5), (SwitchState{0, false}));
}
