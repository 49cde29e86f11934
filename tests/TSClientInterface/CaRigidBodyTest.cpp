#include <TSClientInterface/CaRigidBody.h>
#include <support/EventLog.h>

#include <gmock/gmock.h>

#include <cmath>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char* const IMAGS_CHANGED = "CaRigidBody::RIGIMAGS_CHANGED";
const char* const REALS_CHANGED = "CaRigidBody::RIGREALS_CHANGED";

/// A body whose counts the test may change.
class Body : public CaRigidBody
{
public:
    using CaRigidBody::CaRigidBody;
    using CaRigidBody::setNumberOfImags;
    using CaRigidBody::setNumberOfReals;
};

} // namespace

TEST(CaRigidBody, StartsWithDefaultPointsAndNoSignature)
{
    const CaRigidBody body("Drill", 2, 3);

    EXPECT_STREQ(body.getName(), "Drill");
    EXPECT_EQ(body.objectName(), QString("Drill"));
    EXPECT_EQ(body.parent(), nullptr);
    EXPECT_EQ(body.getNumberOfImags(), 2);
    EXPECT_EQ(body.getNumberOfReals(), 3);
    EXPECT_EQ(body.getRigImag(1), Vector3d());
    EXPECT_EQ(body.getRigReal(2), Vector3d());
    EXPECT_EQ(body.getSignature(), 0.0);
}

TEST(CaRigidBody, TakesNegativeCountsAsNone)
{
    Body body("Drill", -1, -5);
    EXPECT_EQ(body.getNumberOfImags(), 0);
    EXPECT_EQ(body.getNumberOfReals(), 0);

    const EventLog log(body);
    body.setNumberOfImags(-2);
    body.setNumberOfReals(-2);
    EXPECT_THAT(log.events(), IsEmpty());
}

TEST(CaRigidBody, NamesItsEvents)
{
    EXPECT_STREQ(CaRigidBody::RIGIMAGS_CHANGED, IMAGS_CHANGED);
    EXPECT_STREQ(CaRigidBody::RIGREALS_CHANGED, REALS_CHANGED);
}

TEST(CaRigidBody, CopiesItsNameIntoTheObjectName)
{
    CaRigidBody body("Drill", 0, 0);
    body.setName("Pointer");
    EXPECT_STREQ(body.getName(), "Pointer");
    EXPECT_EQ(body.objectName(), QString("Pointer"));

    body.setName(body.getName() + 2);
    EXPECT_STREQ(body.getName(), "inter");
}

TEST(CaRigidBody, SetsOneImaginaryPoint)
{
    CaRigidBody body("Drill", 2, 0);
    const EventLog log(body);

    body.setRigImag(1, Vector3d(1, 2, 3));

    EXPECT_EQ(body.getRigImag(0), Vector3d());
    EXPECT_EQ(body.getRigImags()[1], Vector3d(1, 2, 3));
    EXPECT_THAT(log.events(), ElementsAre(IMAGS_CHANGED));
}

TEST(CaRigidBody, IgnoresAnImaginaryPointOutsideTheBody)
{
    CaRigidBody body("Drill", 1, 0);
    const EventLog log(body);

    body.setRigImag(1, Vector3d(1, 2, 3));
    body.setRigImag(-1, Vector3d(1, 2, 3));

    EXPECT_EQ(body.getRigImag(0), Vector3d());
    EXPECT_THAT(log.events(), IsEmpty());
}

TEST(CaRigidBody, GivesUndefinedPointsOutsideTheBody)
{
    const CaRigidBody body("Drill", 1, 1);
    EXPECT_TRUE(body.getRigImag(1).isUndefined());
    EXPECT_TRUE(body.getRigImag(-1).isUndefined());
    EXPECT_TRUE(body.getRigReal(1).isUndefined());
}

TEST(CaRigidBody, SetsAllImaginaryPoints)
{
    CaRigidBody body("Drill", 2, 0);
    const EventLog log(body);
    const Vector3d points[] = {{1, 2, 3}, {4, 5, 6}};

    body.setRigImags(points);

    EXPECT_EQ(body.getRigImag(0), Vector3d(1, 2, 3));
    EXPECT_EQ(body.getRigImag(1), Vector3d(4, 5, 6));
    EXPECT_EQ(body.getSignature(), 0.0);
    EXPECT_THAT(log.events(), ElementsAre(IMAGS_CHANGED));
}

TEST(CaRigidBody, NotifiesAboutNoPointsToo)
{
    CaRigidBody body("Drill", 0, 0);
    const EventLog log(body);

    body.setRigImags(nullptr);
    body.setRigReals(nullptr);

    EXPECT_EQ(body.getSignature(), 0.0);
    EXPECT_THAT(log.events(), ElementsAre(IMAGS_CHANGED, REALS_CHANGED));
}

TEST(CaRigidBody, SumsTheSignatureOfItsMarkers)
{
    CaRigidBody body("Drill", 0, 2);
    const EventLog log(body);
    const Vector3d markers[] = {{1, 20, 300}, {-2, 0.5, 1000}};

    body.setRigReals(markers);

    EXPECT_EQ(body.getRigReals()[1], Vector3d(-2, 0.5, 1000));
    EXPECT_EQ(body.getSignature(), 321.0 + 998.5);
    EXPECT_THAT(log.events(), ElementsAre(REALS_CHANGED));

    body.setRigReals(markers); // the sum starts anew
    EXPECT_EQ(body.getSignature(), 1319.5);
}

TEST(CaRigidBody, AddsYAndXBeforeZ)
{
    CaRigidBody body("Drill", 0, 1);
    const Vector3d marker(1e17, -1e17, 1.0);

    body.setRigReals(&marker);

    EXPECT_EQ(body.getSignature(), 1.0); // x + (y + z) would give 0
}

TEST(CaRigidBody, AddsMarkerByMarker)
{
    CaRigidBody body("Drill", 0, 2);
    const Vector3d markers[] = {{1e17, 0, 0}, {-1e17, 1.0, 0}};

    body.setRigReals(markers);

    EXPECT_EQ(body.getSignature(), 0.0); // 1.0 is lost within the second marker: (1.0 - 1e17) + 0
}

TEST(CaRigidBody, KeepsMarkersWhenItGrowsAndSumsTheKeptOnes)
{
    Body body("Drill", 0, 2);
    const Vector3d markers[] = {{1, 2, 3}, {4, 5, 6}};
    body.setRigReals(markers);
    const EventLog log(body);

    body.setNumberOfReals(4);

    EXPECT_EQ(body.getNumberOfReals(), 4);
    EXPECT_EQ(body.getRigReal(0), Vector3d(1, 2, 3));
    EXPECT_EQ(body.getRigReal(1), Vector3d(4, 5, 6));
    EXPECT_EQ(body.getRigReal(2), Vector3d());
    EXPECT_EQ(body.getRigReal(3), Vector3d());
    EXPECT_EQ(body.getSignature(), 21.0);
    EXPECT_THAT(log.events(), ElementsAre(REALS_CHANGED));
}

TEST(CaRigidBody, KeepsTheFirstMarkersWhenItShrinks)
{
    Body body("Drill", 0, 4);
    const Vector3d markers[] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}};
    body.setRigReals(markers);

    body.setNumberOfReals(1);

    EXPECT_EQ(body.getNumberOfReals(), 1);
    EXPECT_EQ(body.getRigReal(0), Vector3d(1, 2, 3));
    EXPECT_EQ(body.getSignature(), 6.0);

    body.setNumberOfReals(0);
    EXPECT_EQ(body.getSignature(), 0.0);
}

TEST(CaRigidBody, DoesNothingForTheCurrentNumbers)
{
    Body body("Drill", 2, 2);
    const Vector3d markers[] = {{1, 2, 3}, {4, 5, 6}};
    body.setRigReals(markers);
    const Vector3d* reals = body.getRigReals();
    const Vector3d* imags = body.getRigImags();
    const EventLog log(body);

    body.setNumberOfReals(2);
    body.setNumberOfImags(2);

    EXPECT_EQ(body.getRigReals(), reals);
    EXPECT_EQ(body.getRigImags(), imags);
    EXPECT_EQ(body.getSignature(), 21.0);
    EXPECT_THAT(log.events(), IsEmpty());
}

TEST(CaRigidBody, KeepsImaginaryPointsWhenTheirNumberChanges)
{
    Body body("Drill", 2, 1);
    const Vector3d marker(1, 2, 3);
    body.setRigReals(&marker);
    body.setRigImag(0, Vector3d(4, 5, 6));
    const EventLog log(body);

    body.setNumberOfImags(3);
    EXPECT_EQ(body.getRigImag(0), Vector3d(4, 5, 6));
    EXPECT_EQ(body.getRigImag(2), Vector3d());

    body.setNumberOfImags(1);
    EXPECT_EQ(body.getNumberOfImags(), 1);
    EXPECT_EQ(body.getRigImag(0), Vector3d(4, 5, 6));
    EXPECT_EQ(body.getSignature(), 6.0);
    EXPECT_THAT(log.events(), ElementsAre(IMAGS_CHANGED, IMAGS_CHANGED));
}

TEST(CaRigidBody, IsKnownByItsClassName)
{
    const CaRigidBody body("Drill", 0, 0);
    EXPECT_STREQ(body.metaObject()->className(), "CaRigidBody");
    EXPECT_EQ(CaRigidBody::tr("text", nullptr, -1), QString("text"));
}
