#include <SurgicalTools/CalibrationUnit.h>
#include <SurgicalTools/DrillTool.h>
#include <support/Instruments.h>

#include <QSignalSpy>

#include <limits>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const Line3d NOTHING = {};
/// Rear of the drill body at the origin, front 100 mm up; the tip is another 100 mm up by default.
const std::vector<Vector3d> DRILL_POINTS = {{0, 0, 100}, {0, 0, 0}};
const Line3d DRILL_AXIS = {{0, 0, 100}, {0, 0, 100}};
/// A channel of 50 mm that points up, entered at the guide's origin.
const std::vector<Vector3d> GUIDE_POINTS = {{0, 0, 50}, {0, 0, 0}};

class Unit : public CalibrationUnit
{
public:
    bool startCalibration(SurgicalTool&) override { return true; }
};

/// A tracked drill that is linked to a guide. The camera sees the drill at its own origin unless a test says otherwise.
struct DrillInGuide : testing::Test
{
    DrillInGuide()
    {
        bind(drill, drillBody.get());
        bind(guide, guideBody.get());
        drill.setDrillGuide(&guide);
    }

    /// Puts the guide's entry point to a place in the drill's frame and moves the drill.
    void moveWithGuideAt(const Vector3d& entryPoint, const Matrix3x3& guideRotation = {})
    {
        move(*guideBody, TransMatrix3d(guideRotation, entryPoint));
        log.forget();
        move(*drillBody, TransMatrix3d());
    }

    std::unique_ptr<CaTool> drillBody = bodyWith(DRILL_POINTS, nullptr, "Drill");
    std::unique_ptr<CaTool> guideBody = bodyWith(GUIDE_POINTS, nullptr, "Guide");
    DrillTool drill;
    DrillGuide guide;
    InstrumentLog log{drill};
};

using DrillToolTest = DrillInGuide;

} // namespace

TEST(DrillTool, StartsWithoutGeometry)
{
    DrillTool drill;
    EXPECT_EQ(drill.getBodyAxis(), NOTHING);
    EXPECT_EQ(drill.getDrillAxis(), NOTHING);
    EXPECT_EQ(drill.getCorrectedAxis(), NOTHING);
    EXPECT_EQ(drill.getDrillDiameter(), 2.0);
}

TEST(DrillTool, AddsNoSignalsAndSlots)
{
    const QMetaObject& meta = DrillTool::staticMetaObject;
    EXPECT_STREQ(meta.className(), "DrillTool");
    EXPECT_EQ(meta.methodCount(), SurgicalTool::staticMetaObject.methodCount());
    EXPECT_EQ(DrillGuide::staticMetaObject.methodCount(), SurgicalTool::staticMetaObject.methodCount());
}

TEST(DrillTool, TakesItsGeometryFromItsBody)
{
    const auto body = bodyWith({{1, 2, 30}, {4, 6, 8}, {9, 9, 9}}, nullptr, "A");
    DrillTool drill;
    const InstrumentLog log(drill);

    bind(drill, body.get());

    EXPECT_EQ(drill.getBodyAxis(), (Line3d{{4, 6, 8}, {-3, -4, 22}}));
    EXPECT_EQ(drill.getDrillAxis(), (Line3d{{1, 2, 30}, {-3, -4, 22}}));
    EXPECT_EQ(drill.getCorrectedAxis(), drill.getDrillAxis());
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "config", "plugged A"));
}

TEST(DrillTool, AnnouncesAnUnchangedGeometryOnce)
{
    const auto body = bodyWith(DRILL_POINTS, nullptr, "A");
    DrillTool drill;
    bind(drill, body.get());
    const InstrumentLog log(drill);
    bind(drill, body.get());
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "plugged A"));
}

TEST(DrillTool, LearnsNothingFromABodyWithFewerThanTwoPoints)
{
    const auto body = bodyWith({{1, 2, 30}}, nullptr, "A");
    DrillTool drill;
    const InstrumentLog log(drill);
    bind(drill, nullptr);
    bind(drill, body.get());
    EXPECT_EQ(drill.getDrillAxis(), NOTHING);
    EXPECT_EQ(drill.getCorrectedAxis(), NOTHING);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("plugged", "plugged A"));
}

TEST(DrillTool, AnnouncesANewDiameterOnly)
{
    DrillTool drill;
    const InstrumentLog log(drill);
    drill.setDrillDiameter(2.0);
    EXPECT_THAT(log.signalsSoFar(), IsEmpty());
    drill.setDrillDiameter(3.5);
    EXPECT_EQ(drill.getDrillDiameter(), 3.5);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "DrillTool::Diameter"));
}

TEST(DrillTool, CarriesThePropertyThroughQtsMetaTypes)
{
    DrillTool drill;
    QSignalSpy changes(&drill, SIGNAL(StateChangeSIG(const char*)));
    drill.setDrillDiameter(3.5);
    ASSERT_EQ(changes.count(), 1);
    EXPECT_STREQ(*static_cast<const char* const*>(changes.at(0).at(0).constData()), "DrillTool::Diameter");
}

TEST_F(DrillToolTest, SetsItsLengthAlongTheBodyAxis)
{
    log.forget();
    testing::internal::CaptureStdout();
    drill.setDrillLength(62.5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "DrillTool->length: 62.5\n");
    EXPECT_EQ(drill.getDrillAxis(), (Line3d{{0, 0, 100}, {0, 0, 62.5}}));
    EXPECT_EQ(drill.getCorrectedAxis(), DRILL_AXIS); // not yet
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "DrillTool::Length"));

    log.forget();
    move(*drillBody, TransMatrix3d());
    EXPECT_EQ(drill.getCorrectedAxis(), drill.getDrillAxis());
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "moved"));
}

TEST(DrillTool, GetsNoLengthWithoutABodyAxis)
{
    DrillTool drill;
    testing::internal::CaptureStdout();
    drill.setDrillLength(50);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(drill.getDrillAxis(), NOTHING);
}

TEST_F(DrillToolTest, EndsAtItsTip)
{
    log.forget();
    drill.setTip(Vector3d(3, 4, 150));
    EXPECT_EQ(drill.getDrillAxis(), (Line3d{{0, 0, 100}, {3, 4, 50}}));
    EXPECT_EQ(drill.getCorrectedAxis(), drill.getDrillAxis());
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "config", "DrillTool::Tip"));

    log.forget();
    drill.setTip(Vector3d(3, 4, 150)); // no change for the corrected axis
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "DrillTool::Tip"));

    bind(drill, drillBody.get()); // binding teaches anew
    EXPECT_EQ(drill.getDrillAxis(), DRILL_AXIS);
}

TEST_F(DrillToolTest, OnlyAnnouncesThatItIsBeingCalibrated)
{
    Unit unit;
    log.forget();
    drill.calibrating(unit);
    EXPECT_EQ(drill.getDrillAxis(), DRILL_AXIS);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("DrillTool::Calibrating"));
}

TEST_F(DrillToolTest, KeepsItsAxisWhenItIsLost)
{
    moveWithGuideAt(Vector3d(30, 40, 100));
    const Line3d snapped = drill.getCorrectedAxis();
    EXPECT_NE(snapped, DRILL_AXIS);
    log.forget();

    hide(*drillBody);

    EXPECT_EQ(drill.getCorrectedAxis(), snapped);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("lost"));
}

TEST_F(DrillToolTest, SnapsBehindTheEntryPoint)
{
    // From the front at (0, 0, 100) to the entry point: D = (30, 40, 0), 50 long. A = (0, 0, 50), |A + D| > |A|.
    moveWithGuideAt(Vector3d(30, 40, 100));
    EXPECT_EQ(drill.getCorrectedAxis(), (Line3d{{30, 40, 50}, {0, 0, 100}}));
    EXPECT_EQ(drill.getDrillAxis(), DRILL_AXIS);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "moved"));
}

TEST_F(DrillToolTest, SnapsBeyondTheEntryPointWhenTheFrontHasPassedIt)
{
    // D = (0, 0, -60): |A + D| = 10 is less than |A| = 50, so the point lies 60 up the channel from (0, 0, 40).
    moveWithGuideAt(Vector3d(0, 0, 40));
    EXPECT_EQ(drill.getCorrectedAxis(), (Line3d{{0, 0, 100}, {0, 0, 100}}));
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "moved"));
}

TEST_F(DrillToolTest, SnapsBeyondTheEntryPointWhenBothLengthsAreEqual)
{
    // D = (0, 0, -100) is twice A, so |A + D| = |A|; the drill is made longer, or the entry point would be too far.
    drill.setTip(Vector3d(0, 0, 220));
    moveWithGuideAt(Vector3d(0, 0, 0));
    EXPECT_EQ(drill.getCorrectedAxis(), (Line3d{{0, 0, 100}, {0, 0, 120}}));
}

TEST_F(DrillToolTest, AnnouncesEverySnappedMove)
{
    moveWithGuideAt(Vector3d(30, 40, 100));
    moveWithGuideAt(Vector3d(30, 40, 100));
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "moved"));
}

TEST_F(DrillToolTest, SnapsOnlyWhileTheEntryPointIsCloserThanTheTip)
{
    moveWithGuideAt(Vector3d(60, 80, 100)); // exactly as far as the drill is long
    EXPECT_EQ(drill.getCorrectedAxis(), DRILL_AXIS);
    moveWithGuideAt(Vector3d(59.999, 80, 100));
    EXPECT_NE(drill.getCorrectedAxis(), DRILL_AXIS);
    moveWithGuideAt(Vector3d(0, 0, 210));
    EXPECT_EQ(drill.getCorrectedAxis(), DRILL_AXIS);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "moved")); // it fell back to the own axis
    moveWithGuideAt(Vector3d(0, 0, 210));
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("moved"));
}

TEST_F(DrillToolTest, SnapsBelow35HundredthsOfARadian)
{
    for (const double outside : {0.36, 0.3501, -0.36, -0.3501})
    {
        moveWithGuideAt(Vector3d(0, 0, 150), turn(0, outside));
        EXPECT_EQ(drill.getCorrectedAxis(), DRILL_AXIS) << outside;
    }
    for (const double inside : {0.34, 0.3499, -0.34, -0.3499})
    {
        moveWithGuideAt(Vector3d(0, 0, 150), turn(0, inside));
        EXPECT_NEAR(angle(drill.getCorrectedAxis().direction, DRILL_AXIS.direction), std::abs(inside), 1e-12);
    }
}

TEST_F(DrillToolTest, DoesNotSnapToAGuideThatPointsTheOtherWay)
{
    moveWithGuideAt(Vector3d(0, 0, 150), turn(0, 3.14159));
    EXPECT_EQ(drill.getCorrectedAxis(), DRILL_AXIS);
}

TEST_F(DrillToolTest, UsesItsOwnAxisWhileTheGuideIsOutOfView)
{
    moveWithGuideAt(Vector3d(30, 40, 100));
    hide(*guideBody);
    log.forget();
    move(*drillBody, TransMatrix3d());
    EXPECT_EQ(drill.getCorrectedAxis(), DRILL_AXIS);
    EXPECT_THAT(log.signalsSoFar(), ElementsAre("config", "moved"));
}

TEST_F(DrillToolTest, UsesItsOwnAxisWithoutAUsableGuide)
{
    const auto use = [&](DrillGuide* other)
    {
        moveWithGuideAt(Vector3d(30, 40, 100));
        drill.setDrillGuide(other);
        EXPECT_NE(drill.getCorrectedAxis(), DRILL_AXIS); // the link alone changes nothing
        move(*drillBody, TransMatrix3d());
        EXPECT_EQ(drill.getCorrectedAxis(), DRILL_AXIS);
        drill.setDrillGuide(&guide);
    };
    DrillGuide unbound;
    DrillGuide untaught;
    const auto body = bodyWith({}, nullptr, "Untaught");
    bind(untaught, body.get());
    move(*body, TransMatrix3d(Matrix3x3(), Vector3d(0, 0, 100)));

    use(nullptr);
    use(&unbound);
    use(&untaught);
}

TEST_F(DrillToolTest, ForgetsAGuideThatDies)
{
    {
        DrillGuide shortLived;
        drill.setDrillGuide(&shortLived);
    }
    move(*drillBody, TransMatrix3d());
    EXPECT_EQ(drill.getCorrectedAxis(), DRILL_AXIS);
}

TEST_F(DrillToolTest, SnapsInItsOwnFrame)
{
    // The drill stands at (10, 20, 30), turned by 90 degrees about z. In the camera's frame the guide's entry point
    // (30, 40, 100) of the drill's frame is at (-40, 30, 100) + (10, 20, 30).
    move(*guideBody, TransMatrix3d(Matrix3x3(), Vector3d(-30, 50, 130)));
    move(*drillBody, TransMatrix3d(quarterTurnAboutZ(), Vector3d(10, 20, 30)));
    EXPECT_EQ(drill.getCorrectedAxis(), (Line3d{{30, 40, 50}, {0, 0, 100}}));
}

TEST_F(DrillToolTest, SnapsTheSameWhereverTheCameraStands)
{
    RandomMotions motions;
    for (int i = 0; i < 100; ++i)
    {
        const TransMatrix3d drillFromGuide(turn(0, 0.1) * turn(1, -0.2), motions.point(50.0) + Vector3d(0, 0, 100));
        move(*guideBody, drillFromGuide);
        move(*drillBody, TransMatrix3d());
        const Line3d expected = drill.getCorrectedAxis();

        const TransMatrix3d cameraMotion = motions.next();
        move(*guideBody, cameraMotion * drillFromGuide);
        move(*drillBody, cameraMotion);

        ASSERT_NE(expected, DRILL_AXIS);
        EXPECT_THAT(drill.getCorrectedAxis().point, IsCloseTo(expected.point));
        EXPECT_THAT(drill.getCorrectedAxis().direction, IsCloseTo(expected.direction));
    }
}

TEST_F(DrillToolTest, SnapsOntoTheAxisOfTheGuide)
{
    RandomMotions motions;
    for (int i = 0; i < 100; ++i)
    {
        const TransMatrix3d drillPose = motions.next();
        const TransMatrix3d guidePose = drillPose * TransMatrix3d(turn(0, 0.2) * turn(1, 0.1), //
                                                                  motions.point(50.0) + Vector3d(0, 0, 100));
        move(*guideBody, guidePose);
        move(*drillBody, drillPose);

        const Line3d axis = drill.getCorrectedAxis();
        const Vector3d direction = drillPose.getRotation() * axis.direction;
        const Vector3d point = drillPose * axis.point;
        const Vector3d channel = (guidePose.getRotation() * guide.getDrillAxis()).normalized();
        EXPECT_THAT(cross(direction, channel), IsCloseTo(Vector3d())); // parallel,
        EXPECT_THAT(direction, IsCloseTo(100.0 * channel));            // of the drill's length,
        EXPECT_THAT(cross(point - guidePose * guide.getEntryPoint(), channel), IsCloseTo(Vector3d())); // and on it
    }
}
