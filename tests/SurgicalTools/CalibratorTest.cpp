#include <SurgicalTools/Calibrator.h>
#include <support/Instruments.h>

#include <QMetaMethod>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class Unit : public CalibrationUnit
{
public:
    bool startCalibration(SurgicalTool&) override { return true; }
};

/// A pose by which it is recognised.
TransMatrix3d at(int x)
{
    return TransMatrix3d(Matrix3x3(), Vector3d(x, 0, 0));
}

int place(const TransMatrix3d& pose)
{
    return static_cast<int>(pose.getTranslation().x);
}

/// Shows what a concrete calibrator sees.
class OpenCalibrator : public Calibrator
{
public:
    using Calibrator::Calibrator;

    using Calibrator::calibrationUnit;
    using Calibrator::lastCalUnitTransform;
    using Calibrator::lastToolTransform;
    using Calibrator::tool;

    static std::vector<int> places(const std::deque<TransMatrix3d>& shield)
    {
        std::vector<int> all;
        for (const TransMatrix3d& pose : shield)
            all.push_back(place(pose));
        return all;
    }
    std::vector<int> unitPlaces() const { return places(calUnitShield); }
    std::vector<int> toolPlaces() const { return places(toolShield); }

    std::vector<std::pair<int, int>> evaluations;

protected:
    void updateCalibration(const TransMatrix3d& unitPose, const TransMatrix3d& toolPose) override
    {
        evaluations.emplace_back(place(unitPose), place(toolPose));
    }
};

struct CalibratorTest : testing::Test
{
    Unit unit;
    SurgicalTool drill;
    OpenCalibrator calibrator{unit, drill};
};

} // namespace

TEST_F(CalibratorTest, StartsWithoutPoses)
{
    EXPECT_EQ(calibrator.calibrationUnit, &unit);
    EXPECT_EQ(calibrator.tool, &drill);
    EXPECT_EQ(calibrator.lastCalUnitTransform, TransMatrix3d());
    EXPECT_EQ(calibrator.lastToolTransform, TransMatrix3d());
    EXPECT_THAT(calibrator.unitPlaces(), IsEmpty());
    EXPECT_THAT(calibrator.toolPlaces(), IsEmpty());
}

TEST_F(CalibratorTest, OnlyRecordsMovesOfTheUnit)
{
    emit unit.ToolMovedSIG(at(1), true);
    emit unit.ToolMovedSIG(at(2), true);
    EXPECT_THAT(calibrator.unitPlaces(), ElementsAre(1, 2));
    EXPECT_EQ(calibrator.lastCalUnitTransform, at(2));
    EXPECT_EQ(calibrator.lastToolTransform, TransMatrix3d());
    EXPECT_THAT(calibrator.evaluations, IsEmpty());
}

TEST_F(CalibratorTest, EvaluatesEveryMoveOfTheInstrument)
{
    emit drill.ToolMovedSIG(at(5), true); // the unit has not moved yet
    emit unit.ToolMovedSIG(at(1), true);
    emit drill.ToolMovedSIG(at(6), true);
    EXPECT_THAT(calibrator.toolPlaces(), ElementsAre(5, 6));
    EXPECT_EQ(calibrator.lastToolTransform, at(6));
    EXPECT_THAT(calibrator.evaluations, ElementsAre(std::make_pair(0, 5), std::make_pair(1, 6)));
}

TEST_F(CalibratorTest, FollowsBothByConnectionsThatOthersCanName)
{
    const char* const moved = SIGNAL(ToolMovedSIG(TransMatrix3d, bool));
    EXPECT_TRUE(QObject::disconnect(&unit, moved, &calibrator, SLOT(sltUpdateCalUnitShield(TransMatrix3d, bool))));
    EXPECT_TRUE(QObject::disconnect(&drill, moved, &calibrator, SLOT(sltUpdateToolShield(TransMatrix3d, bool))));
    emit unit.ToolMovedSIG(at(1), true);
    emit drill.ToolMovedSIG(at(2), true);
    EXPECT_THAT(calibrator.unitPlaces(), IsEmpty());
    EXPECT_THAT(calibrator.toolPlaces(), IsEmpty());
}

TEST_F(CalibratorTest, KeepsTheLastTenPoses)
{
    for (int i = 1; i <= 11; ++i)
    {
        emit unit.ToolMovedSIG(at(100 + i), true);
        emit drill.ToolMovedSIG(at(i), true);
    }
    EXPECT_THAT(calibrator.toolPlaces(), ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
    EXPECT_THAT(calibrator.unitPlaces(), ElementsAre(102, 103, 104, 105, 106, 107, 108, 109, 110, 111));
    EXPECT_EQ(calibrator.evaluations.size(), 11U);
}

TEST_F(CalibratorTest, RecordsAndEvaluatesPosesThatAreNotValid)
{
    emit unit.ToolMovedSIG(at(1), false);
    emit drill.ToolMovedSIG(at(2), false);
    EXPECT_THAT(calibrator.unitPlaces(), ElementsAre(1));
    EXPECT_THAT(calibrator.toolPlaces(), ElementsAre(2));
    EXPECT_THAT(calibrator.evaluations, ElementsAre(std::make_pair(1, 2)));
}

TEST(Calibrator, FollowsTrackedBodies)
{
    const auto unitBody = bodyWith({});
    const auto drillBody = bodyWith({});
    Unit unit;
    SurgicalTool drill;
    bind(unit, unitBody.get());
    bind(drill, drillBody.get());
    const OpenCalibrator calibrator(unit, drill);

    move(*unitBody, at(3));
    move(*drillBody, at(4));
    hide(*drillBody);

    EXPECT_THAT(calibrator.evaluations, ElementsAre(std::make_pair(3, 4), std::make_pair(3, 4)));
}

TEST(Calibrator, DeclaresItsSlotsInThisOrder)
{
    const QMetaObject& meta = Calibrator::staticMetaObject;
    std::vector<std::string> methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.push_back(meta.method(i).methodSignature().toStdString());
    EXPECT_THAT(methods,
                ElementsAre("sltUpdateCalUnitShield(TransMatrix3d,bool)", "sltUpdateToolShield(TransMatrix3d,bool)"));
}
