#include <TSClientInterface/CaInitializableTool.h>
#include <support/LogCapture.h>
#include <support/ScriptedToolServer.h>

#include <gmock/gmock.h>

#include <limits>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

struct CaInitializableToolTest : testing::Test
{
    ScriptedToolServer server;
    CaInitializableTool tool{&server, "Drill", 12, 1, 2};
};

CaNormalInfo twoNormals()
{
    CaNormalInfo info(2);
    info.setNormal(0, Vector3d(1, 0, 0));
    info.setNormal(1, Vector3d(0, 1, 0));
    info.setMarkerAngleLimit(60.9);
    info.setMinMarkerVisible(4);
    info.setMax3dError(0.5);
    info.setMaxRmsError(0.25);
    return info;
}

} // namespace

TEST_F(CaInitializableToolTest, StartsWithItsDefaults)
{
    EXPECT_EQ(tool.getIdentifier(), 0);
    EXPECT_EQ(tool.getOwnerName(), nullptr);
    EXPECT_EQ(tool.getCalibrationStartIndex(), -1);
    EXPECT_EQ(tool.getCalibrationDate(), 0);
    EXPECT_EQ(tool.getNumberOfPlugs(), 0);
    EXPECT_EQ(tool.getNormalInfo(), nullptr);
    EXPECT_EQ(tool.getNumberOfImags(), 1);
    EXPECT_EQ(tool.getNumberOfReals(), 2);
    EXPECT_STREQ(tool.metaObject()->className(), "CaInitializableTool");
}

TEST_F(CaInitializableToolTest, StoresWhatDescribesIt)
{
    std::string owner = "Ward 3";
    tool.setIdentifier(1);
    tool.setOwnerName(owner.c_str());
    tool.setCalibrationStartIndex(2);
    tool.setCalibrationDate(3);
    tool.setNumberOfPlugs(4);
    owner = "changed";

    EXPECT_EQ(tool.getIdentifier(), 1);
    EXPECT_STREQ(tool.getOwnerName(), "Ward 3");
    EXPECT_EQ(tool.getCalibrationStartIndex(), 2);
    EXPECT_EQ(tool.getCalibrationDate(), 3);
    EXPECT_EQ(tool.getNumberOfPlugs(), 4);

    tool.setOwnerName(tool.getOwnerName());
    EXPECT_STREQ(tool.getOwnerName(), "Ward 3");
    tool.setOwnerName(nullptr);
    EXPECT_EQ(tool.getOwnerName(), nullptr);
}

TEST_F(CaInitializableToolTest, ChangesItsNumbersOfPoints)
{
    tool.setNumberOfReals(4);
    tool.setNumberOfImags(3);
    EXPECT_EQ(tool.getNumberOfReals(), 4);
    EXPECT_EQ(tool.getNumberOfImags(), 3);
    EXPECT_EQ(tool.getReal(3), Vector3d());
    EXPECT_EQ(tool.getImag(2), Vector3d());
}

TEST_F(CaInitializableToolTest, DescribesItselfToTheServer)
{
    const Vector3d reals[] = {{1, 2, 3}, {4, 5, 6}};
    tool.setRigReals(reals);
    tool.setRigImag(0, Vector3d(7, 8, 9));
    tool.setIdentifier(101);
    tool.setOwnerName("Ward");
    tool.setCalibrationStartIndex(1);
    tool.setCalibrationDate(20240102);
    tool.setNumberOfPlugs(2);
    tool.plug(5);
    server.initialization = {-22};

    EXPECT_EQ(tool.initialize(), -22);
    EXPECT_THAT(server.calls(), ElementsAre("initialize 5 Drill 12 (1,2,3)(4,5,6) (7,8,9) 101 Ward 1 20240102 2"));
}

TEST_F(CaInitializableToolTest, SendsAMissingOwnerAsAnEmptyText)
{
    tool.plug(5);
    server.initialization = {0};
    EXPECT_EQ(tool.initialize(), 0);
    EXPECT_THAT(server.calls(), ElementsAre("initialize 5 Drill 12 (0,0,0)(0,0,0) (0,0,0) 0  -1 0 0"));
}

TEST_F(CaInitializableToolTest, IsNotInitializedWithoutAPlug)
{
    const LogCapture log;
    EXPECT_EQ(tool.initialize(), -11);
    EXPECT_EQ(log.count("ERROR", "attempt to initialize a non-plugged tool.\n"), 1);
    EXPECT_THAT(server.calls(), IsEmpty());
}

TEST(CaInitializableTool, ReportsAMissingServer)
{
    const LogCapture log;
    CaInitializableTool tool(nullptr, "Drill", 12, 1, 2);
    EXPECT_EQ(tool.readNormalInfo(), -1);
    EXPECT_EQ(tool.initialize(), -11); // the plug is asked for first
    EXPECT_EQ(tool.writeNormalInfo(), -11);
    tool.plug(1);
    const CaNormalInfo info = twoNormals();
    tool.setNormalInfo(&info);
    EXPECT_EQ(tool.initialize(), -1);
    EXPECT_EQ(tool.writeNormalInfo(), -1);
}

TEST_F(CaInitializableToolTest, KeepsACopyOfItsNormalInfo)
{
    CaNormalInfo info = twoNormals();
    tool.setNormalInfo(&info);
    CaNormalInfo* own = tool.getNormalInfo();
    ASSERT_NE(own, nullptr);
    EXPECT_NE(own, &info);
    EXPECT_EQ(own->getNormal(1), Vector3d(0, 1, 0));

    tool.setNormalInfo(own); // the same object: nothing changes
    EXPECT_EQ(tool.getNormalInfo(), own);
    EXPECT_EQ(own->getNormal(1), Vector3d(0, 1, 0));

    info.setNormal(1, Vector3d(0, 0, 1));
    tool.setNormalInfo(&info); // assigned to the tool's own
    EXPECT_EQ(tool.getNormalInfo(), own);
    EXPECT_EQ(own->getNormal(1), Vector3d(0, 0, 1));

    tool.setNormalInfo(nullptr);
    EXPECT_EQ(tool.getNormalInfo(), nullptr);
    tool.setNormalInfo(nullptr);
}

TEST_F(CaInitializableToolTest, ReadsItsNormalInfoFromTheServer)
{
    server.normals = {{0, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, 45, 6, 0.5, 0.25}};

    EXPECT_EQ(tool.readNormalInfo(), 0);

    EXPECT_THAT(server.calls(), ElementsAre("readNormalInfo Drill"));
    const CaNormalInfo* info = tool.getNormalInfo();
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->getNumberOfNormals(), 2); // as many as real markers
    EXPECT_EQ(info->getNormal(0), Vector3d(1, 0, 0));
    EXPECT_EQ(info->getNormal(1), Vector3d(0, 1, 0));
    EXPECT_EQ(info->getMarkerAngleLimit(), 45.0);
    EXPECT_EQ(info->getMinMarkerVisible(), 6);
    EXPECT_EQ(info->getMax3dError(), 0.5);
    EXPECT_EQ(info->getMaxRmsError(), 0.25);
}

TEST_F(CaInitializableToolTest, ReadsIntoTheNormalInfoThatItHas)
{
    const CaNormalInfo three(3);
    tool.setNormalInfo(&three);
    const CaNormalInfo* own = tool.getNormalInfo();
    server.normals = {{2, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, 45, 6, 0.5, 0.25}};

    EXPECT_EQ(tool.readNormalInfo(), 2);

    EXPECT_EQ(tool.getNormalInfo(), own);
    EXPECT_EQ(own->getNumberOfNormals(), 3);
    EXPECT_EQ(own->getNormal(2), Vector3d(0, 0, 1));
}

TEST_F(CaInitializableToolTest, ChangesNothingWhenReadingFails)
{
    server.normals = {{-23, {{1, 0, 0}}, 45, 6, 0.5, 0.25}};
    EXPECT_EQ(tool.readNormalInfo(), -23);
    EXPECT_EQ(tool.getNormalInfo(), nullptr);

    const CaNormalInfo info = twoNormals();
    tool.setNormalInfo(&info);
    EXPECT_EQ(tool.readNormalInfo(), -23);
    EXPECT_EQ(tool.getNormalInfo()->getMarkerAngleLimit(), 60.9);
}

TEST(CaInitializableTool, MayHaveMoreNormalsThanAServerDelivers)
{
    ScriptedToolServer server;
    CaInitializableTool tool(&server, "Drill", 12, 0, 40);
    server.normals = {{0, std::vector<Vector3d>(32, Vector3d(1, 0, 0)), 45, 6, 0.5, 0.25}};

    EXPECT_EQ(tool.readNormalInfo(), 0);

    EXPECT_EQ(tool.getNormalInfo()->getNumberOfNormals(), 40);
    EXPECT_EQ(tool.getNormalInfo()->getNormal(31), Vector3d(1, 0, 0));
    EXPECT_EQ(tool.getNormalInfo()->getNormal(39), Vector3d());
}

TEST_F(CaInitializableToolTest, WritesItsNormalInfoToTheServer)
{
    const CaNormalInfo info = twoNormals();
    tool.setNormalInfo(&info);
    tool.plug(0);
    server.normalsWritten = {-18};

    EXPECT_EQ(tool.writeNormalInfo(), -18);
    EXPECT_THAT(server.calls(), ElementsAre("writeNormalInfo Drill (1,0,0)(0,1,0) 60 4 0.5 0.25"));
}

TEST_F(CaInitializableToolTest, TruncatesTheAngleLimitItWrites)
{
    const std::pair<double, const char*> limits[] = {
        {-1.9, "-1"}, {1e20, "2147483647"}, {-1e20, "-2147483648"}, {std::numeric_limits<double>::quiet_NaN(), "0"}};
    tool.plug(0);
    server.normalsWritten = {0};
    for (const auto& [limit, text] : limits)
    {
        CaNormalInfo info(0);
        info.setMarkerAngleLimit(limit);
        tool.setNormalInfo(&info);
        server.forgetCalls();
        EXPECT_EQ(tool.writeNormalInfo(), 0);
        EXPECT_THAT(server.calls(), ElementsAre(std::string("writeNormalInfo Drill  ") + text + " 3 1 1"));
    }
}

TEST_F(CaInitializableToolTest, WritesNothingWithoutNormalInfoOrPlug)
{
    const LogCapture log;
    EXPECT_EQ(tool.writeNormalInfo(), -11);
    EXPECT_EQ(log.count("ERROR", "writeNormalInfo(): no normal info defined.\n"), 1);

    const CaNormalInfo info = twoNormals();
    tool.setNormalInfo(&info);
    EXPECT_EQ(tool.writeNormalInfo(), -11);
    EXPECT_EQ(log.count("ERROR", "writeNormalInfo(): attempt to add normals vectors to a non-plugged tool.\n"), 1);
    EXPECT_EQ(log.entries().size(), 2U);
    EXPECT_THAT(server.calls(), IsEmpty());
}
