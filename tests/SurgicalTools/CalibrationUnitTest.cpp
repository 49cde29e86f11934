#include <SurgicalTools/CalibrationUnit.h>
#include <SurgicalTools/Calibrator.h>

#include <gtest/gtest.h>

namespace
{

class Unit : public CalibrationUnit
{
public:
    using CalibrationUnit::addMonitoredTool;
    using CalibrationUnit::isMonitored;
    using CalibrationUnit::monitoredTools;
    bool startCalibration(SurgicalTool&) override { return true; }
};

class IdleCalibrator : public Calibrator
{
public:
    using Calibrator::Calibrator;

protected:
    void updateCalibration(const TransMatrix3d&, const TransMatrix3d&) override {}
};

} // namespace

TEST(CalibrationUnit, MonitorsToolsThroughTheirFirstCalibrator)
{
    Unit unit;
    SurgicalTool drill, pointer;
    IdleCalibrator first(unit, drill), second(unit, drill);
    EXPECT_FALSE(unit.isMonitored(drill));

    unit.addMonitoredTool(drill, first);
    unit.addMonitoredTool(drill, second);

    EXPECT_TRUE(unit.isMonitored(drill));
    EXPECT_FALSE(unit.isMonitored(pointer));
    EXPECT_EQ(unit.monitoredTools.size(), 1U);
    EXPECT_EQ(unit.monitoredTools.at(&drill), &first);
}

TEST(CalibrationUnit, OwnsNeitherToolsNorCalibrators)
{
    SurgicalTool drill;
    auto unit = std::make_unique<Unit>();
    IdleCalibrator calibrator(*unit, drill);
    unit->addMonitoredTool(drill, calibrator);
    unit.reset();
    EXPECT_EQ(drill.getName(), "<no name>");
    EXPECT_EQ(calibrator.parent(), nullptr);
}

TEST(CalibrationUnit, IsASurgicalTool)
{
    Unit unit;
    EXPECT_TRUE(unit.inherits("CalibrationUnit"));
    EXPECT_TRUE(unit.inherits("SurgicalTool"));
    EXPECT_EQ(unit.getName(), "<no name>");
}
