#include <SurgicalTools/Calibrator.h>

#include <tbrBase/WatchdogException.h>

namespace
{

constexpr std::size_t SHIELD_LENGTH = 10;

void append(std::deque<TransMatrix3d>& shield, std::size_t length, const TransMatrix3d& transform)
{
    while (shield.size() >= length)
        shield.pop_front();
    shield.push_back(transform);
}

} // namespace

Calibrator::Calibrator(CalibrationUnit& unit, SurgicalTool& calibratedTool)
    : calibrationUnit(&unit), tool(&calibratedTool), calUnitShieldLength(SHIELD_LENGTH), toolShieldLength(SHIELD_LENGTH)
{
    // By text, so that others can name these connections, too: the slots are not theirs to take the address of.
    const bool followsUnit = connect(&unit, SIGNAL(ToolMovedSIG(TransMatrix3d, bool)), this,
                                     SLOT(sltUpdateCalUnitShield(TransMatrix3d, bool)));
    tbr::assertHolds(followsUnit, "connect( unit, ToolMovedSIG, this, sltUpdateCalUnitShield )", __FILE__, __LINE__);
    const bool followsTool =
        connect(tool, SIGNAL(ToolMovedSIG(TransMatrix3d, bool)), this, SLOT(sltUpdateToolShield(TransMatrix3d, bool)));
    tbr::assertHolds(followsTool, "connect( tool, ToolMovedSIG, this, sltUpdateToolShield )", __FILE__, __LINE__);
}

Calibrator::~Calibrator() = default;

void Calibrator::sltUpdateCalUnitShield(TransMatrix3d transform, bool)
{
    lastCalUnitTransform = transform;
    append(calUnitShield, calUnitShieldLength, transform);
}

void Calibrator::sltUpdateToolShield(TransMatrix3d transform, bool)
{
    lastToolTransform = transform;
    append(toolShield, toolShieldLength, transform);
    updateCalibration(lastCalUnitTransform, lastToolTransform);
}
