#include <TSClientInterface/CaNormalInfo.h>

#include <gtest/gtest.h>

namespace
{

CaNormalInfo fourNormals()
{
    CaNormalInfo info(4);
    const Vector3d normals[] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}};
    info.setNormals(normals);
    info.setMarkerAngleLimit(60.5);
    info.setMinMarkerVisible(5);
    info.setMax3dError(0.25);
    info.setMaxRmsError(0.125);
    return info;
}

} // namespace

TEST(CaNormalInfo, StartsWithItsDefaults)
{
    const CaNormalInfo info(2);
    EXPECT_EQ(info.getNumberOfNormals(), 2);
    EXPECT_EQ(info.getNormal(0), Vector3d());
    EXPECT_EQ(info.getNormal(1), Vector3d());
    EXPECT_EQ(info.getMarkerAngleLimit(), 70.0);
    EXPECT_EQ(info.getMinMarkerVisible(), 3);
    EXPECT_EQ(info.getMax3dError(), 1.0);
    EXPECT_EQ(info.getMaxRmsError(), 1.0);
}

TEST(CaNormalInfo, TakesANegativeNumberAsNone)
{
    CaNormalInfo info(-3);
    EXPECT_EQ(info.getNumberOfNormals(), 0);
    info.setNumberOfNormals(-1);
    info.setNormals(nullptr);
}

TEST(CaNormalInfo, SetsSingleNormals)
{
    CaNormalInfo info(2);
    info.setNormal(1, Vector3d(0, 0, -1));
    EXPECT_EQ(info.getNormals()[0], Vector3d());
    EXPECT_EQ(info.getNormals()[1], Vector3d(0, 0, -1));
}

TEST(CaNormalInfo, CopiesDeeply)
{
    CaNormalInfo source = fourNormals();
    const CaNormalInfo copy(source);
    source.setNormal(0, Vector3d(9, 9, 9));

    EXPECT_EQ(copy.getNumberOfNormals(), 4);
    EXPECT_EQ(copy.getNormal(0), Vector3d(1, 0, 0));
    EXPECT_EQ(copy.getNormal(3), Vector3d(1, 1, 1));
    EXPECT_EQ(copy.getMarkerAngleLimit(), 60.5);
    EXPECT_EQ(copy.getMinMarkerVisible(), 5);
    EXPECT_EQ(copy.getMax3dError(), 0.25);
    EXPECT_EQ(copy.getMaxRmsError(), 0.125);
}

TEST(CaNormalInfo, AssignsDeeply)
{
    CaNormalInfo source = fourNormals();
    CaNormalInfo target(1);
    target = source;
    source.setNormal(0, Vector3d(9, 9, 9));

    EXPECT_EQ(target.getNumberOfNormals(), 4);
    EXPECT_EQ(target.getNormal(0), Vector3d(1, 0, 0));
    EXPECT_EQ(target.getNormal(3), Vector3d(1, 1, 1));
    EXPECT_EQ(target.getMarkerAngleLimit(), 60.5);
    EXPECT_EQ(target.getMinMarkerVisible(), 5);
    EXPECT_EQ(target.getMax3dError(), 0.25);
    EXPECT_EQ(target.getMaxRmsError(), 0.125);
}

TEST(CaNormalInfo, KeepsItsNormalsWhenAssignedToItself)
{
    CaNormalInfo info = fourNormals();
    const Vector3d* normals = info.getNormals();
    const CaNormalInfo& itself = info;
    info = itself;
    EXPECT_EQ(info.getNormals(), normals);
    EXPECT_EQ(info.getNormal(3), Vector3d(1, 1, 1));
}

TEST(CaNormalInfo, KeepsItsNumberWhenItIsGivenMoreRoom)
{
    CaNormalInfo info = fourNormals();
    info.setNumberOfNormals(6);

    EXPECT_EQ(info.getNumberOfNormals(), 4);
    EXPECT_EQ(info.getNormal(3), Vector3d(1, 1, 1));
    EXPECT_EQ(info.getNormal(5), Vector3d());
    info.setNormal(5, Vector3d(5, 5, 5));
    EXPECT_EQ(info.getNormal(5), Vector3d(5, 5, 5));

    CaNormalInfo target(0);
    target = info;
    EXPECT_EQ(target.getNumberOfNormals(), 4);
    EXPECT_EQ(target.getNormal(3), Vector3d(1, 1, 1));
}

TEST(CaNormalInfo, CopiesOnlyItsNumberWhenItIsResizedAgain)
{
    CaNormalInfo info = fourNormals();
    info.setNumberOfNormals(6);
    info.setNormal(5, Vector3d(5, 5, 5));
    info.setNumberOfNormals(8);

    EXPECT_EQ(info.getNormal(3), Vector3d(1, 1, 1));
    EXPECT_EQ(info.getNormal(5), Vector3d());
    EXPECT_EQ(info.getNormal(7), Vector3d());
}

TEST(CaNormalInfo, IgnoresItsOwnNumberEvenAfterAResize)
{
    CaNormalInfo info = fourNormals();
    info.setNumberOfNormals(6);
    const Vector3d* normals = info.getNormals();
    info.setNumberOfNormals(4);
    EXPECT_EQ(info.getNormals(), normals);
}

TEST(CaNormalInfo, NeverHasLessRoomThanItsNumber)
{
    CaNormalInfo info = fourNormals();
    info.setNumberOfNormals(2);

    EXPECT_EQ(info.getNumberOfNormals(), 4);
    EXPECT_EQ(info.getNormal(1), Vector3d(0, 1, 0));
    EXPECT_EQ(info.getNormal(2), Vector3d());
    const Vector3d normals[] = {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}};
    info.setNormals(normals);
    const CaNormalInfo copy(info);
    EXPECT_EQ(copy.getNormal(3), Vector3d(4, 0, 0));
}
