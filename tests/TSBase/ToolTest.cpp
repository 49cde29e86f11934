#include <TSBase/Tool.h>

#include <support/LogCapture.h>
#include <support/LogFileBytes.h>
#include <support/TestFolder.h>
#include <support/TestToollist.h>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <thread>

using logbytes::Bytes;

namespace
{

constexpr double INVALID = -2.999999950695069e28;
const char* const SHORT_RECORD =
    "ERROR during creation of the tool in replay mode - could not read enough bytes from logstream handle.\n";

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// A file that begins with `bytes`, to be read from its start.
Stream streamOf(const Bytes& bytes)
{
    Stream stream(std::tmpfile(), &std::fclose);
    std::fwrite(bytes.data(), 1, bytes.size(), stream.get());
    std::rewind(stream.get());
    return stream;
}

/// What `write` writes to a stream.
template <class Write>
Bytes written(Write write)
{
    const Stream stream = streamOf({});
    write(stream.get());
    std::rewind(stream.get());
    Bytes bytes(10000, '\0');
    bytes.resize(std::fread(&bytes[0], 1, bytes.size(), stream.get()));
    return bytes;
}

Bytes contentOf(Tool& tool)
{
    return written([&](std::FILE* stream) { tool.logToolContent(stream); });
}

Bytes realTimeOf(Tool& tool)
{
    return written([&](std::FILE* stream) { tool.logToolRTData(stream); });
}

Matrix3x3 quarterTurnAboutZ()
{
    Matrix3x3 rotation;
    rotation[0][0] = rotation[1][1] = 0.0;
    rotation[0][1] = -1.0;
    rotation[1][0] = 1.0;
    return rotation;
}

Matrix3x3 invalidRotation()
{
    Matrix3x3 rotation;
    rotation[0][0] = INVALID;
    return rotation;
}

void expectNear(const Matrix3x3& expected, const Matrix3x3& actual)
{
    for (int i = 0; i < 9; ++i)
        EXPECT_NEAR(expected[i / 3][i % 3], actual[i / 3][i % 3], 1e-6) << "element " << i;
}

/// A tool that counts how often its record is rebuilt.
class PrintingTool : public Tool
{
public:
    PrintingTool() : Tool(7, 1, "Drill", "", "", 14, 0, 0, {{1, 2, 3}, {4, 5, 6}}, {}, 0, 1) {}
    void printTo() override { ++printed; }

    int printed = 0;
};

class ToolWithTwoMarkers : public testing::Test
{
protected:
    void hide(Tool& tool) { tool.updateTransform(Tool::invalidVector, invalidRotation()); }

    Tool m_Tool{11, 22, "Drill", "D-2", "Surgeon", 14, 33, 44, {{1, 2, 3}, {4, 5, 6}}, {{7, 8, 9}}, 5u, 1u};
    Matrix3x3 m_Rotation;
    Vector3d m_Translation;
};

} // namespace

TEST(Tool, MarksTheInvalidWithAFloatWidenedToDouble)
{
    EXPECT_EQ(INVALID, Tool::invalidVector.x);
    EXPECT_EQ(INVALID, Tool::invalidVector.y);
    EXPECT_EQ(INVALID, Tool::invalidVector.z);
    EXPECT_EQ(-3.0e28f, static_cast<float>(Tool::invalidVector.x));
}

TEST(Tool, AnnouncesItselfOnStandardOutput)
{
    testing::internal::CaptureStdout();
    {
        const Tool tool(1, 2, "Drill", "", "", 14, 0, 0, {}, {}, 0, 25);
    }
    EXPECT_EQ("---------------------------------------------------------------------------------------\n"
              "Tool.cpp: avgBufferSize = 25\n",
              testing::internal::GetCapturedStdout());
}

TEST_F(ToolWithTwoMarkers, TellsWhatItWasMadeOf)
{
    EXPECT_EQ(11, m_Tool.getID());
    EXPECT_EQ(22, m_Tool.getGID());
    EXPECT_EQ("Drill", m_Tool.getName());
    EXPECT_EQ("D-2", m_Tool.getSecondName());
    EXPECT_EQ("Surgeon", m_Tool.getOwner());
    EXPECT_EQ(14, m_Tool.getType());
    EXPECT_EQ(33, m_Tool.getStartCalibrationPoint());
    EXPECT_EQ(5u, m_Tool.getNumberOfJacks());
    EXPECT_EQ(2u, m_Tool.getNumberOfRealMarkers());
    EXPECT_EQ(1u, m_Tool.getNumberOfImaginaryMarkers());
    EXPECT_EQ(0u, m_Tool.getNumberOfNormalVectors());
    EXPECT_EQ(Vector3d(4, 5, 6), m_Tool.getRealMarker(1));
    EXPECT_EQ(Vector3d(7, 8, 9), m_Tool.getImaginaryMarker(0));
}

TEST_F(ToolWithTwoMarkers, BeginsWithTheDefaultParameters)
{
    EXPECT_EQ(0, m_Tool.getStatus());
    EXPECT_EQ("", m_Tool.getErrorMsg());
    EXPECT_EQ(0, m_Tool.getStartMarker());
    EXPECT_EQ(0, m_Tool.getCalibrationDate());
    EXPECT_EQ(60, m_Tool.getMarkerAngleLimit());
    EXPECT_EQ(0.0f, m_Tool.getMax3D());
    EXPECT_EQ(0.0f, m_Tool.getMaxRMS());
    EXPECT_EQ(3, m_Tool.getMinMarkers());
    EXPECT_TRUE(m_Tool.toolCreationComplete());
}

TEST_F(ToolWithTwoMarkers, BeginsVisibleAtTheOriginWithoutMeasuredMarkers)
{
    m_Rotation = invalidRotation();
    m_Translation = Vector3d(1, 1, 1);
    EXPECT_TRUE(m_Tool.isVisible());
    EXPECT_EQ(1, m_Tool.getTransform(m_Rotation, m_Translation));
    EXPECT_EQ(Matrix3x3(), m_Rotation);
    EXPECT_EQ(Vector3d(), m_Translation);
    EXPECT_EQ(1, m_Tool.getStoredTransform(m_Rotation, m_Translation));
    EXPECT_EQ(Vector3d(), m_Translation);

    Vector3d position;
    for (unsigned int i = 0; i < 2; ++i)
    {
        m_Tool.getRealMarkerPosition(i, position);
        EXPECT_EQ(Tool::invalidVector, position);
    }
    float rms = 1.0f;
    m_Tool.getRms(rms);
    EXPECT_EQ(0.0f, rms);
}

TEST_F(ToolWithTwoMarkers, AnswersIndexesBeyondItsPointsWithTheInvalidVector)
{
    for (const unsigned int i : {2u, 0xffffffffu})
    {
        EXPECT_EQ(&Tool::invalidVector, &m_Tool.getRealMarker(i));
        EXPECT_EQ(&Tool::invalidVector, &m_Tool.getImaginaryMarker(i));
        EXPECT_EQ(&Tool::invalidVector, &m_Tool.getNormalVector(i));
        Vector3d position;
        m_Tool.getRealMarkerPosition(i, position);
        EXPECT_EQ(Tool::invalidVector, position);
    }
    EXPECT_EQ(&Tool::invalidVector, &m_Tool.getImaginaryMarker(1));
    EXPECT_EQ(&Tool::invalidVector, &m_Tool.getNormalVector(0));
}

TEST_F(ToolWithTwoMarkers, KeepsErrorLimitsFrom0005To1275)
{
    const std::pair<float, float> limits[] = {
        {2.0f, 0.0f},     {0.001f, 0.0f},
        {1.275f, 1.275f}, {0.005f, 0.005f},
        {0.5f, 0.5f},     {std::nextafter(1.275f, 2.0f), 0.0f},
        {-0.5f, 0.0f},    {std::nextafter(0.005f, 0.0f), 0.0f},
        {0.0f, 0.0f},     {INFINITY, 0.0f},
    };
    for (const auto& limit : limits)
    {
        m_Tool.setMax3D(0.25f);
        m_Tool.setMax3D(limit.first);
        EXPECT_EQ(limit.second, m_Tool.getMax3D()) << limit.first;
        m_Tool.setMaxRMS(0.25f);
        m_Tool.setMaxRMS(limit.first);
        EXPECT_EQ(limit.second, m_Tool.getMaxRMS()) << limit.first;
    }
}

TEST_F(ToolWithTwoMarkers, StoresItsPlainParameters)
{
    m_Tool.setMarkerAngleLimit(45);
    m_Tool.setMinMarkers(4);
    m_Tool.setStartMarker(2);
    m_Tool.setStatus(-8);
    EXPECT_EQ(45, m_Tool.getMarkerAngleLimit());
    EXPECT_EQ(4, m_Tool.getMinMarkers());
    EXPECT_EQ(2, m_Tool.getStartMarker());
    EXPECT_EQ(-8, m_Tool.getStatus());
}

TEST_F(ToolWithTwoMarkers, GrowsItsNormalVectorsUpToItsMarkers)
{
    m_Tool.setNormalVector(1, Vector3d(0, 0, 1));
    EXPECT_EQ(2u, m_Tool.getNumberOfNormalVectors());
    EXPECT_EQ(Vector3d(), m_Tool.getNormalVector(0));
    EXPECT_EQ(Vector3d(0, 0, 1), m_Tool.getNormalVector(1));

    m_Tool.setNormalVector(0, Vector3d(1, 0, 0));
    EXPECT_EQ(2u, m_Tool.getNumberOfNormalVectors());
    EXPECT_EQ(Vector3d(1, 0, 0), m_Tool.getNormalVector(0));
}

TEST_F(ToolWithTwoMarkers, IgnoresANormalVectorThatBelongsToNoMarker)
{
    m_Tool.setNormalVector(2, Vector3d(0, 0, 1));
    m_Tool.setNormalVector(0xffffffffu, Vector3d(0, 0, 1));
    EXPECT_EQ(0u, m_Tool.getNumberOfNormalVectors());
}

TEST_F(ToolWithTwoMarkers, GrowsItsImaginaryPointsAsNeeded)
{
    m_Tool.setImaginaryMarker(3, Vector3d(1, 1, 1));
    EXPECT_EQ(4u, m_Tool.getNumberOfImaginaryMarkers());
    EXPECT_EQ(Vector3d(7, 8, 9), m_Tool.getImaginaryMarker(0));
    EXPECT_EQ(Vector3d(), m_Tool.getImaginaryMarker(2));
    EXPECT_EQ(Vector3d(1, 1, 1), m_Tool.getImaginaryMarker(3));

    m_Tool.setImaginaryMarker(0, Vector3d(2, 2, 2));
    EXPECT_EQ(4u, m_Tool.getNumberOfImaginaryMarkers());
    EXPECT_EQ(Vector3d(2, 2, 2), m_Tool.getImaginaryMarker(0));
}

TEST_F(ToolWithTwoMarkers, TakesAListOfPointsAndOneOfNormalVectors)
{
    record::PointList list;
    list.count = 2;
    list.points[0] = Vector3d(1, 0, 0);
    list.points[1] = Vector3d(0, 1, 0);
    m_Tool.setImaginaryMarkers(list);
    EXPECT_EQ(2u, m_Tool.getNumberOfImaginaryMarkers());
    EXPECT_EQ(Vector3d(1, 0, 0), m_Tool.getImaginaryMarker(0));
    EXPECT_EQ(Vector3d(0, 1, 0), m_Tool.getImaginaryMarker(1));
    list.count = 3; // one more than there are markers
    m_Tool.setNormalVectors(list);
    EXPECT_EQ(2u, m_Tool.getNumberOfNormalVectors());
    EXPECT_EQ(Vector3d(0, 1, 0), m_Tool.getNormalVector(1));
}

TEST_F(ToolWithTwoMarkers, ShowsNobodyAPartOfANewCalibration)
{
    record::PointList all;
    all.count = 8;
    m_Tool.setImaginaryMarkers(all);
    std::thread writer(
        [&]
        {
            for (int round = 1; round <= 20000; ++round)
            {
                std::fill_n(all.points, 8, Vector3d(round, round, round));
                m_Tool.setImaginaryMarkers(all);
            }
        });
    record::PointList seen;
    do
    {
        m_Tool.copyImaginaryMarkers(seen);
        for (int i = 1; i < 8; ++i)
            EXPECT_EQ(seen.points[0], seen.points[i]);
    } while (seen.points[0].x < 20000);
    writer.join();
}

TEST_F(ToolWithTwoMarkers, KeepsReferencesToItsPointsGoodWhileTheyGrow)
{
    const Vector3d& first = m_Tool.getImaginaryMarker(0);
    for (unsigned int i = 1; i < 1000; ++i)
        m_Tool.setImaginaryMarker(i, Vector3d(1, 1, 1));
    EXPECT_EQ(Vector3d(7, 8, 9), first);
    EXPECT_EQ(&first, &m_Tool.getImaginaryMarker(0));
}

TEST_F(ToolWithTwoMarkers, CopiesAllPointsOfAKindAtOnce)
{
    m_Tool.setNormalVector(0, Vector3d(0, 0, 1));
    m_Tool.updateRealMarker(1, Vector3d(50, 60, 70));
    m_Tool.updateRms(0.5f);

    record::PointList points;
    m_Tool.copyRealMarkers(points);
    EXPECT_EQ(2, points.count);
    EXPECT_EQ(Vector3d(4, 5, 6), points.points[1]);
    m_Tool.copyImaginaryMarkers(points);
    EXPECT_EQ(1, points.count);
    EXPECT_EQ(Vector3d(7, 8, 9), points.points[0]);
    m_Tool.copyNormalVectors(points);
    EXPECT_EQ(2, points.count);
    EXPECT_EQ(Vector3d(0, 0, 1), points.points[0]);
    EXPECT_EQ(Tool::invalidVector, points.points[1]);

    float rms = 0.0f;
    m_Tool.copyRealMarkerPositions(points, rms);
    EXPECT_EQ(2, points.count);
    EXPECT_EQ(Tool::invalidVector, points.points[0]);
    EXPECT_EQ(Vector3d(50, 60, 70), points.points[1]);
    EXPECT_EQ(0.5f, rms);
}

TEST(Tool, CopiesNoMorePointsThanAListHoldsButTellsTheTrueCount)
{
    const std::unique_ptr<Tool> tool(makeTool("Big", std::vector<Vector3d>(60, Vector3d(1, 1, 1))));
    record::PointList points;
    tool->copyRealMarkers(points);
    EXPECT_EQ(60, points.count);
    EXPECT_EQ(43, points.held());
    tool->copyNormalVectors(points);
    EXPECT_EQ(60, points.count);
}

TEST_F(ToolWithTwoMarkers, StoresAMarkersPosition)
{
    m_Tool.updateRealMarker(1, Vector3d(10, 20, 30));
    Vector3d position;
    m_Tool.getRealMarkerPosition(1, position);
    EXPECT_EQ(Vector3d(10, 20, 30), position);
    EXPECT_EQ(Vector3d(4, 5, 6), m_Tool.getRealMarker(1));
}

TEST_F(ToolWithTwoMarkers, ReportsAPositionOfAnUnknownMarkerAndChangesNothing)
{
    const LogCapture log;
    m_Tool.updateRealMarker(2, Vector3d(10, 20, 30));
    m_Tool.updateRealMarker(4294967295u, Vector3d(10, 20, 30));

    EXPECT_EQ(1, log.count("toolserver", "Update error - invalid real marker #2 for Drill\n"));
    EXPECT_EQ(1, log.count("toolserver", "Update error - invalid real marker #4294967295 for Drill\n"));
    Vector3d position;
    for (unsigned int i = 0; i < 2; ++i)
    {
        m_Tool.getRealMarkerPosition(i, position);
        EXPECT_EQ(Tool::invalidVector, position);
    }
}

TEST_F(ToolWithTwoMarkers, TakesTheNearestRotationToWhatItIsGiven)
{
    Matrix3x3 scaled = quarterTurnAboutZ();
    scaled[0][1] = -2.0;
    scaled[1][0] = 2.0;
    scaled[2][2] = 2.0;
    m_Tool.updateRotation(scaled);
    ASSERT_EQ(1, m_Tool.getRotationMatrix(m_Rotation));
    expectNear(quarterTurnAboutZ(), m_Rotation);

    const float identity[3][3] = {{3, 0, 0}, {0, 3, 0}, {0, 0, 3}};
    m_Tool.updateRotation(identity);
    ASSERT_EQ(1, m_Tool.getRotationMatrix(m_Rotation));
    expectNear(Matrix3x3(), m_Rotation);
}

TEST_F(ToolWithTwoMarkers, PassesValuesThroughAnAverageOfOne)
{
    m_Tool.updateTranslation(Vector3d(1, 2, 3));
    m_Tool.updateTranslation(Vector3d(100.25, -2, 0.5));
    ASSERT_EQ(1, m_Tool.getTranslationVector(m_Translation));
    EXPECT_EQ(Vector3d(100.25, -2, 0.5), m_Translation);
}

TEST(Tool, AveragesTranslationsOverItsLastFrames)
{
    Tool tool(1, 1, "Drill", "", "", 14, 0, 0, {}, {}, 0, 2);
    Vector3d translation;
    tool.updateTranslation(Vector3d(1, 10, 100));
    tool.getTranslationVector(translation);
    EXPECT_EQ(Vector3d(1, 10, 100), translation);
    tool.updateTranslation(Vector3d(2, 20, 200));
    tool.getTranslationVector(translation);
    EXPECT_EQ(Vector3d(1.5, 15, 150), translation);
    tool.updateTranslation(Vector3d(4, 40, 400));
    tool.getTranslationVector(translation);
    EXPECT_EQ(Vector3d(3, 30, 300), translation);
}

TEST(Tool, AveragesRotationsElementByElementAndTakesTheNearestRotation)
{
    Matrix3x3 eighthTurn; // halfway between none and a quarter turn
    eighthTurn[0][0] = eighthTurn[1][1] = eighthTurn[1][0] = std::sqrt(0.5);
    eighthTurn[0][1] = -std::sqrt(0.5);

    Matrix3x3 rotation;
    Tool tool(1, 1, "Drill", "", "", 14, 0, 0, {}, {}, 0, 2);
    tool.updateRotation(Matrix3x3());
    tool.updateRotation(quarterTurnAboutZ());
    ASSERT_EQ(1, tool.getRotationMatrix(rotation));
    expectNear(eighthTurn, rotation);

    const float quarterTurn[3][3] = {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}};
    tool.updateRotation(quarterTurn);
    ASSERT_EQ(1, tool.getRotationMatrix(rotation));
    expectNear(quarterTurnAboutZ(), rotation);
}

TEST(Tool, KeepsAWholePoseUnaveraged)
{
    Tool tool(1, 1, "Drill", "", "", 14, 0, 0, {}, {}, 0, 10);
    tool.updateTransform(Vector3d(1, 2, 3), Matrix3x3());
    Matrix3x3 skewed;
    skewed[0][1] = 0.123456789;
    tool.updateTransform(Vector3d(0.1, 20, 30), skewed);

    Matrix3x3 rotation;
    Vector3d translation;
    ASSERT_EQ(1, tool.getTransform(rotation, translation));
    EXPECT_EQ(skewed, rotation);
    EXPECT_EQ(Vector3d(0.1, 20, 30), translation);
}

TEST_F(ToolWithTwoMarkers, IsHiddenByAnInvalidRotation)
{
    hide(m_Tool);
    m_Rotation = quarterTurnAboutZ();
    m_Translation = Vector3d(1, 2, 3);
    float rms = 7.0f;

    EXPECT_FALSE(m_Tool.isVisible());
    EXPECT_EQ(0, m_Tool.getRotationMatrix(m_Rotation));
    EXPECT_EQ(0, m_Tool.getTranslationVector(m_Translation));
    EXPECT_EQ(0, m_Tool.getTransform(m_Rotation, m_Translation));
    EXPECT_EQ(0, m_Tool.getTransform(m_Rotation, m_Translation, rms));
    EXPECT_EQ(quarterTurnAboutZ(), m_Rotation);
    EXPECT_EQ(Vector3d(1, 2, 3), m_Translation);
    EXPECT_EQ(7.0f, rms);

    m_Tool.updateTransform(Vector3d(1, 2, 3), Matrix3x3());
    EXPECT_TRUE(m_Tool.isVisible());
}

TEST_F(ToolWithTwoMarkers, TellsRotationAndTranslationApartWhenOneIsInvalid)
{
    m_Tool.updateTransform(Vector3d(1, 2, 3), invalidRotation());
    EXPECT_EQ(1, m_Tool.getTranslationVector(m_Translation));
    EXPECT_EQ(Vector3d(1, 2, 3), m_Translation);
    EXPECT_EQ(0, m_Tool.getTransform(m_Rotation, m_Translation));

    m_Tool.updateTransform(Tool::invalidVector, quarterTurnAboutZ());
    EXPECT_EQ(0, m_Tool.getTranslationVector(m_Translation));
    EXPECT_EQ(1, m_Tool.getRotationMatrix(m_Rotation));
    EXPECT_EQ(1, m_Tool.getTransform(m_Rotation, m_Translation));
    EXPECT_EQ(Tool::invalidVector, m_Translation);
}

TEST_F(ToolWithTwoMarkers, KeepsTheRms)
{
    m_Tool.updateRms(0.75f);
    float rms = 0.0f;
    m_Tool.getRms(rms);
    EXPECT_EQ(0.75f, rms);
    rms = 0.0f;
    EXPECT_EQ(1, m_Tool.getTransform(m_Rotation, m_Translation, rms));
    EXPECT_EQ(0.75f, rms);
}

TEST(Tool, TakesAWholeFrameAtOnce)
{
    Tool tool(1, 1, "Drill", "", "", 14, 0, 0, {{1, 2, 3}, {4, 5, 6}}, {}, 0, 2);
    const Vector3d positions[] = {{10, 20, 30}, {40, 50, 60}, {70, 80, 90}};
    tool.updateFrame(positions, 3, Matrix3x3(), Vector3d(1, 2, 3), 0.25f);
    tool.updateFrame(positions + 2, 1, Matrix3x3(), Vector3d(3, 4, 5), 0.5f);

    record::PointList points;
    float rms;
    tool.copyRealMarkerPositions(points, rms);
    EXPECT_EQ(2, points.count);
    EXPECT_EQ(Vector3d(70, 80, 90), points.points[0]);
    EXPECT_EQ(Vector3d(40, 50, 60), points.points[1]);
    EXPECT_EQ(0.5f, rms);
    Vector3d translation;
    tool.getTranslationVector(translation);
    EXPECT_EQ(Vector3d(2, 3, 4), translation);
}

TEST_F(ToolWithTwoMarkers, KeepsThePoseOfAFootswitchEvent)
{
    m_Tool.updateTransform(Vector3d(1, 2, 3), quarterTurnAboutZ());
    m_Tool.storeCurrentRigidTransform();
    hide(m_Tool);

    EXPECT_EQ(1, m_Tool.getStoredTransform(m_Rotation, m_Translation));
    EXPECT_EQ(quarterTurnAboutZ(), m_Rotation);
    EXPECT_EQ(Vector3d(1, 2, 3), m_Translation);

    m_Tool.storeCurrentRigidTransform();
    EXPECT_EQ(0, m_Tool.getStoredTransform(m_Rotation, m_Translation));
    EXPECT_EQ(Vector3d(1, 2, 3), m_Translation);
}

TEST_F(ToolWithTwoMarkers, GivesItsPoseInAReferencesFrame)
{
    m_Tool.updateTransform(Vector3d(10, 5, 7), Matrix3x3());
    m_Rotation = quarterTurnAboutZ();
    m_Translation = Vector3d(10, 0, 0);
    EXPECT_EQ(1, m_Tool.calculateTransformationToReference(m_Rotation, m_Translation));

    EXPECT_EQ(quarterTurnAboutZ().transposed(), m_Rotation);
    EXPECT_EQ(Vector3d(5, 0, 7), m_Translation);
}

TEST_F(ToolWithTwoMarkers, GivesItsPoseInAnotherToolsFrame)
{
    const std::unique_ptr<Tool> reference(makeTool("Reference"));
    reference->updateTransform(Vector3d(10, 0, 0), quarterTurnAboutZ());
    m_Tool.updateTransform(Vector3d(10, 5, 7), Matrix3x3());
    EXPECT_EQ(1, m_Tool.calculateTransformationToReference(reference.get(), m_Rotation, m_Translation));

    EXPECT_EQ(quarterTurnAboutZ().transposed(), m_Rotation);
    EXPECT_EQ(Vector3d(5, 0, 7), m_Translation);
}

TEST_F(ToolWithTwoMarkers, GivesItsRmsWithItsPoseInAReferencesFrame)
{
    const std::unique_ptr<Tool> reference(makeTool("Reference"));
    reference->updateTransform(Vector3d(10, 0, 0), quarterTurnAboutZ());
    reference->updateRms(9.0f);
    m_Tool.updateTransform(Vector3d(10, 5, 7), Matrix3x3());
    m_Tool.updateRms(0.75f);
    float rms = 0.0f;
    EXPECT_EQ(1, m_Tool.calculateTransformationToReference(reference.get(), m_Rotation, m_Translation, rms));
    EXPECT_EQ(quarterTurnAboutZ().transposed(), m_Rotation);
    EXPECT_EQ(Vector3d(5, 0, 7), m_Translation);
    EXPECT_EQ(0.75f, rms);

    m_Rotation = quarterTurnAboutZ();
    m_Translation = Vector3d(10, 0, 0);
    rms = 0.0f;
    EXPECT_EQ(1, m_Tool.calculateTransformationToReference(m_Rotation, m_Translation, rms));
    EXPECT_EQ(quarterTurnAboutZ().transposed(), m_Rotation);
    EXPECT_EQ(Vector3d(5, 0, 7), m_Translation);
    EXPECT_EQ(0.75f, rms);
}

TEST_F(ToolWithTwoMarkers, GivesItsRmsWhileThereIsNoPose)
{
    const std::unique_ptr<Tool> reference(makeTool("Reference"));
    m_Tool.updateRms(0.75f);
    m_Translation = Vector3d(1, 2, 3);
    hide(m_Tool);
    float own = 0.0f, relative = 0.0f, hidden = 0.0f;
    EXPECT_EQ(0, m_Tool.calculateTransformationToReference(m_Rotation, m_Translation, own));
    EXPECT_EQ(0, m_Tool.calculateTransformationToReference(reference.get(), m_Rotation, m_Translation, relative));
    hide(*reference);
    EXPECT_EQ(-1, m_Tool.calculateTransformationToReference(reference.get(), m_Rotation, m_Translation, hidden));
    EXPECT_EQ(0.75f, own);
    EXPECT_EQ(0.75f, relative);
    EXPECT_EQ(0.75f, hidden);
    EXPECT_EQ(Vector3d(1, 2, 3), m_Translation);
}

TEST_F(ToolWithTwoMarkers, IsAtTheOriginOfItsOwnFrame)
{
    m_Tool.updateTransform(Vector3d(10, 5, 7), quarterTurnAboutZ());
    EXPECT_EQ(1, m_Tool.calculateTransformationToReference(&m_Tool, m_Rotation, m_Translation));
    EXPECT_EQ(Matrix3x3(), m_Rotation);
    EXPECT_EQ(Vector3d(), m_Translation);
}

TEST_F(ToolWithTwoMarkers, TakesItsRotationBackOutOfTheRelativePose)
{
    Matrix3x3 twice; // not a rotation, so the product R * R_tool^T * t_tool shows: it is 4 t_tool
    for (int i = 0; i < 3; ++i)
        twice[i][i] = 2.0;
    m_Tool.updateTransform(Vector3d(1, 2, 3), twice);
    m_Translation = Vector3d(1, 1, 1);
    EXPECT_EQ(1, m_Tool.calculateTransformationToReference(m_Rotation, m_Translation));
    EXPECT_EQ(twice, m_Rotation);
    EXPECT_EQ(Vector3d(3, 7, 11), m_Translation);
}

TEST_F(ToolWithTwoMarkers, HasNoRelativePoseWhileItIsHidden)
{
    const std::unique_ptr<Tool> reference(makeTool("Reference"));
    hide(m_Tool);
    m_Rotation = quarterTurnAboutZ();
    m_Translation = Vector3d(1, 2, 3);

    EXPECT_EQ(0, m_Tool.calculateTransformationToReference(m_Rotation, m_Translation));
    EXPECT_EQ(0, m_Tool.calculateTransformationToReference(reference.get(), m_Rotation, m_Translation));
    EXPECT_EQ(quarterTurnAboutZ(), m_Rotation);
    EXPECT_EQ(Vector3d(1, 2, 3), m_Translation);
}

TEST_F(ToolWithTwoMarkers, HasNoRelativePoseWhileTheReferenceIsHidden)
{
    const std::unique_ptr<Tool> reference(makeTool("Reference"));
    hide(*reference);
    m_Rotation = quarterTurnAboutZ();
    m_Translation = Vector3d(1, 2, 3);

    EXPECT_EQ(-1, m_Tool.calculateTransformationToReference(reference.get(), m_Rotation, m_Translation));
    EXPECT_EQ(quarterTurnAboutZ(), m_Rotation);
    EXPECT_EQ(Vector3d(1, 2, 3), m_Translation);

    hide(m_Tool); // the reference counts first
    EXPECT_EQ(-1, m_Tool.calculateTransformationToReference(reference.get(), m_Rotation, m_Translation));
}

TEST_F(ToolWithTwoMarkers, GivesRelativePosesOfTheFootswitchEventToo)
{
    const std::unique_ptr<Tool> reference(makeTool("Reference"));
    reference->updateTransform(Vector3d(10, 0, 0), quarterTurnAboutZ());
    reference->storeCurrentRigidTransform();
    hide(*reference);
    m_Tool.updateTransform(Vector3d(10, 5, 7), Matrix3x3());
    m_Tool.storeCurrentRigidTransform();
    hide(m_Tool);

    EXPECT_EQ(1, m_Tool.calculateStoredTransformationToReference(reference.get(), m_Rotation, m_Translation));
    EXPECT_EQ(quarterTurnAboutZ().transposed(), m_Rotation);
    EXPECT_EQ(Vector3d(5, 0, 7), m_Translation);

    m_Rotation = quarterTurnAboutZ();
    m_Translation = Vector3d(10, 0, 0);
    EXPECT_EQ(1, m_Tool.calculateStoredTransformationToReference(m_Rotation, m_Translation));
    EXPECT_EQ(Vector3d(5, 0, 7), m_Translation);
}

TEST_F(ToolWithTwoMarkers, HasNoStoredRelativePoseWhenOneWasHidden)
{
    const std::unique_ptr<Tool> reference(makeTool("Reference"));
    hide(m_Tool);
    m_Tool.storeCurrentRigidTransform();
    EXPECT_EQ(0, m_Tool.calculateStoredTransformationToReference(m_Rotation, m_Translation));
    EXPECT_EQ(0, m_Tool.calculateStoredTransformationToReference(reference.get(), m_Rotation, m_Translation));

    hide(*reference);
    reference->storeCurrentRigidTransform();
    EXPECT_EQ(-1, m_Tool.calculateStoredTransformationToReference(reference.get(), m_Rotation, m_Translation));
    EXPECT_EQ(Matrix3x3(), m_Rotation);
    EXPECT_EQ(Vector3d(), m_Translation);
}

TEST(Tool, RebuildsItsRecordWithEveryParameter)
{
    PrintingTool tool;
    EXPECT_EQ(0, tool.printed); // while the base is constructed, its own description counts
    tool.setMarkerAngleLimit(45);
    tool.setMinMarkers(4);
    tool.setMax3D(0.5f);
    tool.setMaxRMS(0.5f);
    tool.setNormalVector(0, Vector3d(0, 0, 1));
    tool.setImaginaryMarker(0, Vector3d(0, 0, 1));
    EXPECT_EQ(6, tool.printed);
    tool.setNormalVector(2, Vector3d(0, 0, 1)); // ignored, but the record is rebuilt
    EXPECT_EQ(7, tool.printed);
    tool.setMax3D(2.0f);
    EXPECT_EQ(8, tool.printed);
}

TEST(Tool, LeavesItsRecordAloneForAllElse)
{
    PrintingTool tool;
    tool.setStartMarker(1);
    tool.setStatus(5);
    tool.updateRealMarker(0, Vector3d());
    tool.updateTransform(Vector3d(), Matrix3x3());
    tool.updateRms(1.0f);
    tool.storeCurrentRigidTransform();
    contentOf(tool);
    realTimeOf(tool);
    EXPECT_EQ(0, tool.printed);
}

TEST_F(ToolWithTwoMarkers, WritesItsDescription)
{
    m_Tool.setNormalVector(1, Vector3d(0, 0, 1));
    m_Tool.setMarkerAngleLimit(45);
    m_Tool.setMax3D(0.5f);
    m_Tool.setMaxRMS(0.25f);
    m_Tool.setMinMarkers(4);

    logbytes::Content expected;
    expected.name = "Drill";
    expected.secondName = "D-2";
    expected.type = 14;
    expected.reals = {{1, 2, 3}, {4, 5, 6}};
    expected.normals = {{0, 0, 0}, {0, 0, 1}};
    expected.imaginaries = {{7, 8, 9}};
    expected.id = 11;
    expected.jacks = 5;
    expected.angleLimit = 45;
    expected.max3D = 0.5f;
    expected.maxRMS = 0.25f;
    expected.gid = 22;
    expected.minMarkers = 4;
    EXPECT_EQ(logbytes::content(expected, '\0'), contentOf(m_Tool));
}

TEST(Tool, WritesNoMoreThan32MarkersAnd8ImaginaryPointsIntoItsDescription)
{
    const std::unique_ptr<Tool> tool(
        makeTool("Probe", std::vector<Vector3d>(40, Vector3d(1, 2, 3)), std::vector<Vector3d>(9, Vector3d(4, 5, 6))));
    for (unsigned int i = 0; i < 40; ++i)
        tool->setNormalVector(i, Vector3d(0, 0, 1));

    logbytes::Content expected;
    expected.reals.assign(32, {1, 2, 3});
    expected.normals.assign(32, {0, 0, 1});
    expected.imaginaries.assign(8, {4, 5, 6});
    EXPECT_EQ(logbytes::content(expected, '\0'), contentOf(*tool));
    EXPECT_EQ(40u, tool->getNumberOfNormalVectors());
    EXPECT_EQ(9u, tool->getNumberOfImaginaryMarkers());
}

TEST(Tool, LetsALongNameRunOnUnderTheNextField)
{
    Tool tool(1, 2, std::string(50, 'n'), "s", "", 14, 0, 0, {}, {}, 0, 1);
    const Bytes record = contentOf(tool);
    EXPECT_EQ(std::string(32, 'n') + Bytes("s\0", 2) + std::string(16, 'n') + '\0', record.substr(0, 51));
    EXPECT_EQ(logbytes::i32(14), record.substr(64, 4));
}

TEST(Tool, LetsALongSecondNameRunOnUnderTheNextFields)
{
    Tool tool(1, 2, "n", std::string(50, 's'), "", 14, 0, 0, {}, {}, 0, 1);
    const Bytes record = contentOf(tool);
    EXPECT_EQ(std::string(32, 's') + logbytes::i32(14) + logbytes::i32(0) + std::string(10, 's') + '\0',
              record.substr(32, 51));
}

TEST(Tool, NeverLetsANameLeaveItsDescription)
{
    Tool tool(1, 2, std::string(5000, 'n'), std::string(5000, 's'), "", 14, 0, 0, {}, {}, 0, 1);
    const Bytes record = contentOf(tool);
    EXPECT_EQ(972u, record.size());
    EXPECT_EQ(logbytes::i32(3), record.substr(968));
    EXPECT_EQ(5000u, tool.getName().size());
}

TEST(Tool, WritesARealTimeRecordOf96BytesForFourMarkers)
{
    const std::unique_ptr<Tool> tool(makeTool("Probe", std::vector<Vector3d>(4)));
    tool->updateRealMarker(0, Vector3d(1, 2, 3));
    tool->updateRealMarker(3, Vector3d(100.25, -2, 0.5));
    tool->updateTransform(Vector3d(10, 20, 30), quarterTurnAboutZ());

    const float no = -3.0e28f;
    const Bytes expected = logbytes::realTime({{1, 2, 3}, {no, no, no}, {no, no, no}, {100.25f, -2, 0.5f}},
                                              {10, 20, 30}, {0, -1, 0, 1, 0, 0, 0, 0, 1});
    EXPECT_EQ(96u, expected.size());
    EXPECT_EQ(expected, realTimeOf(*tool));
}

TEST(Tool, WritesAllPositionsOfMoreMarkersThanItsDescriptionHolds)
{
    const std::unique_ptr<Tool> tool(makeTool("Probe", std::vector<Vector3d>(40)));
    for (unsigned int i = 0; i < 40; ++i)
        tool->updateRealMarker(i, Vector3d(1, 2, 3));
    EXPECT_EQ(logbytes::realTime(std::vector<logbytes::Point>(40, {1, 2, 3}), {0, 0, 0}), realTimeOf(*tool));
}

TEST_F(ToolWithTwoMarkers, AppendsTheSameRecordsToABlockInMemory)
{
    std::vector<char> block = {'x'};
    m_Tool.appendToolContent(block);
    m_Tool.appendToolRTData(block);
    EXPECT_EQ("x" + contentOf(m_Tool) + realTimeOf(m_Tool), Bytes(block.begin(), block.end()));
}

TEST_F(ToolWithTwoMarkers, ReportsARecordThatCannotBeWritten)
{
    const TestFolder folder;
    const Stream unwritable(std::fopen(folder.write("record", "").c_str(), "r"), &std::fclose);
    ASSERT_TRUE(unwritable);
    const LogCapture log;
    m_Tool.logToolContent(unwritable.get());
    m_Tool.logToolRTData(unwritable.get());
    EXPECT_EQ(2, log.count("ERROR", "A record could not be written to the tracking log.\n"));
}

namespace
{

logbytes::Content fullContent()
{
    logbytes::Content content;
    content.name = "Pointer";
    content.secondName = "P-01";
    content.type = 13;
    content.reals = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
    content.normals = {{0, 0, 1}, {0, 1, 0}};
    content.imaginaries = {{0, -120.5f, 0}};
    content.id = -5;
    content.jacks = 2;
    content.angleLimit = 45;
    content.max3D = 0.5f;
    content.maxRMS = 2.5f; // read as it is, whatever setMaxRMS() would make of it
    content.gid = 6;
    content.minMarkers = 4;
    return content;
}

class ReadTool : public testing::Test
{
protected:
    std::unique_ptr<Tool> read(const Bytes& bytes, unsigned int avgBufferSize = 1)
    {
        testing::internal::CaptureStdout();
        auto tool = std::make_unique<Tool>(streamOf(bytes).get(), avgBufferSize);
        m_Printed = testing::internal::GetCapturedStdout();
        return tool;
    }

    void expectUnreadable(const Bytes& bytes)
    {
        const LogCapture log;
        const std::unique_ptr<Tool> tool = read(bytes);
        EXPECT_EQ(-8, tool->getStatus());
        EXPECT_EQ(1, log.count("toolserver", SHORT_RECORD));
        EXPECT_EQ(1u, log.entries().size());
        EXPECT_EQ("", m_Printed);
        EXPECT_EQ(0u, tool->getNumberOfRealMarkers());
        EXPECT_EQ(0u, tool->getNumberOfImaginaryMarkers());
        EXPECT_EQ(0u, tool->getNumberOfNormalVectors());
    }

    std::string m_Printed;
};

} // namespace

TEST_F(ReadTool, HasAllThatTheRecordSays)
{
    const std::unique_ptr<Tool> tool = read(logbytes::content(fullContent()));
    EXPECT_EQ(0, tool->getStatus());
    EXPECT_EQ(-5, tool->getID());
    EXPECT_EQ(6, tool->getGID());
    EXPECT_EQ("Pointer", tool->getName());
    EXPECT_EQ("P-01", tool->getSecondName());
    EXPECT_EQ(13, tool->getType());
    EXPECT_EQ(2u, tool->getNumberOfJacks());
    EXPECT_EQ(45, tool->getMarkerAngleLimit());
    EXPECT_EQ(0.5f, tool->getMax3D());
    EXPECT_EQ(2.5f, tool->getMaxRMS());
    EXPECT_EQ(4, tool->getMinMarkers());
    EXPECT_EQ(3u, tool->getNumberOfRealMarkers());
    EXPECT_EQ(Vector3d(7, 8, 9), tool->getRealMarker(2));
    EXPECT_EQ(2u, tool->getNumberOfNormalVectors());
    EXPECT_EQ(Vector3d(0, 1, 0), tool->getNormalVector(1));
    EXPECT_EQ(1u, tool->getNumberOfImaginaryMarkers());
    EXPECT_EQ(Vector3d(0, -120.5, 0), tool->getImaginaryMarker(0));
}

TEST_F(ReadTool, HasDefaultsForWhatIsNotRecorded)
{
    const std::unique_ptr<Tool> tool = read(logbytes::content(fullContent()));
    EXPECT_EQ("", tool->getOwner());
    EXPECT_EQ("", tool->getErrorMsg());
    EXPECT_EQ(0, tool->getStartCalibrationPoint());
    EXPECT_EQ(0, tool->getCalibrationDate());
    EXPECT_EQ(0, tool->getStartMarker());
    EXPECT_TRUE(tool->isVisible());
    Vector3d position;
    tool->getRealMarkerPosition(2, position);
    EXPECT_EQ(Tool::invalidVector, position);
}

TEST_F(ReadTool, ReportsItsMarkersAndItsEnd)
{
    const LogCapture log;
    read(logbytes::content(fullContent()));
    EXPECT_EQ(1, log.count("toolserver", "nR:3\n"));
    EXPECT_EQ(1u, log.entries().size());
    EXPECT_EQ("done.\n", m_Printed);
}

TEST_F(ReadTool, KeepsItsRecordAsItWasRead)
{
    const Bytes record = logbytes::content(fullContent(), '\x5c');
    EXPECT_EQ(record, contentOf(*read(record)));
}

TEST_F(ReadTool, TakesNamesUpToTheirFieldsEnd)
{
    logbytes::Content content;
    content.name = std::string(32, 'n');
    content.secondName = std::string(32, 's');
    const std::unique_ptr<Tool> tool = read(logbytes::content(content));
    EXPECT_EQ(std::string(32, 'n'), tool->getName());
    EXPECT_EQ(std::string(32, 's'), tool->getSecondName());
    EXPECT_EQ(14, tool->getType());
}

TEST_F(ReadTool, TakesAFullRecord)
{
    logbytes::Content content;
    content.reals.assign(32, {1, 2, 3});
    content.normals.assign(32, {4, 5, 6});
    content.imaginaries.assign(8, {7, 8, 9});
    const std::unique_ptr<Tool> tool = read(logbytes::content(content));
    EXPECT_EQ(0, tool->getStatus());
    EXPECT_EQ(Vector3d(1, 2, 3), tool->getRealMarker(31));
    EXPECT_EQ(Vector3d(4, 5, 6), tool->getNormalVector(31));
    EXPECT_EQ(Vector3d(7, 8, 9), tool->getImaginaryMarker(7));
}

TEST_F(ReadTool, ReadsItsRecordAndNoByteMore)
{
    const Stream stream = streamOf(logbytes::content(fullContent()) + "next");
    const Tool tool(stream.get(), 1);
    EXPECT_EQ('n', std::fgetc(stream.get()));
}

TEST_F(ReadTool, IsUnreadableWhenTheRecordIsCutShortAnywhere)
{
    const Bytes record = logbytes::content(fullContent());
    for (std::size_t length = 0; length < record.size(); length += length < 100 || length > 900 ? 1 : 13)
        expectUnreadable(record.substr(0, length));
}

TEST_F(ReadTool, IsUnreadableWhenItAnnouncesMoreThanARecordHolds)
{
    const Bytes record = logbytes::content(fullContent());
    for (const int count : {33, -1, 0x7fffffff, -0x7fffffff - 1})
    {
        expectUnreadable(logbytes::patched(record, 68, logbytes::i32(count)));
        expectUnreadable(logbytes::patched(record, 456, logbytes::i32(count)));
    }
    for (const int count : {9, -1, 0x7fffffff, -0x7fffffff - 1})
        expectUnreadable(logbytes::patched(record, 844, logbytes::i32(count)));
}

TEST_F(ReadTool, TakesPosesFromItsRecordsWithoutAveraging)
{
    const std::unique_ptr<Tool> tool = read(logbytes::content(fullContent()), 10);
    const Bytes records =
        logbytes::realTime({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}, {10, 20, 30}) +
        logbytes::realTime({{9, 8, 7}, {6, 5, 4}, {3, 2, 0.5f}}, {100.25f, -2, 0.5f}, {0, -2, 0, 1, 0, 0, 0, 0, 1});
    const Stream stream = streamOf(records);
    EXPECT_TRUE(tool->replayToolRTData(stream.get()));
    EXPECT_TRUE(tool->replayToolRTData(stream.get()));

    Matrix3x3 rotation, expected = quarterTurnAboutZ();
    expected[0][1] = -2.0;
    Vector3d translation, position;
    ASSERT_EQ(1, tool->getTransform(rotation, translation));
    EXPECT_EQ(expected, rotation);
    EXPECT_EQ(Vector3d(100.25, -2, 0.5), translation);
    tool->getRealMarkerPosition(2, position);
    EXPECT_EQ(Vector3d(3, 2, 0.5), position);
    EXPECT_FALSE(tool->replayToolRTData(stream.get()));
}

TEST_F(ReadTool, IsHiddenByARecordedInvalidRotation)
{
    const std::unique_ptr<Tool> tool = read(logbytes::content({}));
    const float no = -3.0e28f;
    EXPECT_TRUE(tool->replayToolRTData(
        streamOf(logbytes::realTime({}, {no, no, no}, {no, no, no, no, no, no, no, no, no})).get()));
    EXPECT_FALSE(tool->isVisible());
    Vector3d translation;
    EXPECT_EQ(0, tool->getTranslationVector(translation));

    EXPECT_TRUE(tool->replayToolRTData(streamOf(logbytes::realTime({}, {1, 2, 3})).get()));
    EXPECT_TRUE(tool->isVisible());
}

TEST_F(ReadTool, KeepsItsPoseWhenARecordIsCutShortAnywhere)
{
    const std::unique_ptr<Tool> tool = read(logbytes::content(fullContent()));
    tool->updateTransform(Vector3d(1, 2, 3), quarterTurnAboutZ());
    tool->updateRealMarker(0, Vector3d(4, 5, 6));
    const Bytes before = realTimeOf(*tool);

    const Bytes record = logbytes::realTime({{9, 8, 7}, {6, 5, 4}, {3, 2, 1}}, {10, 20, 30});
    ASSERT_EQ(84u, record.size());
    for (std::size_t length = 0; length < record.size(); ++length)
    {
        EXPECT_FALSE(tool->replayToolRTData(streamOf(record.substr(0, length)).get())) << length;
        EXPECT_EQ(before, realTimeOf(*tool)) << length;
    }
    EXPECT_TRUE(tool->replayToolRTData(streamOf(record).get()));
    EXPECT_EQ(record, realTimeOf(*tool));
}

TEST_F(ReadTool, TakesNoPosesWhenItIsUnreadable)
{
    const std::unique_ptr<Tool> tool = read("");
    const Stream stream = streamOf(logbytes::realTime({}, {1, 2, 3}));
    EXPECT_FALSE(tool->replayToolRTData(stream.get()));
    EXPECT_EQ(0, std::ftell(stream.get()));
}

TEST(Tool, IsReadFromWhatItWrote)
{
    const std::unique_ptr<Tool> original(makeTool("Drill", {{1, 2, 3}}, {{4, 5, 6}}));
    original->updateTransform(Vector3d(7, 8, 9), quarterTurnAboutZ());
    const Stream stream = streamOf(contentOf(*original) + realTimeOf(*original));
    Tool copy(stream.get(), 1);
    EXPECT_TRUE(copy.replayToolRTData(stream.get()));
    EXPECT_EQ(contentOf(*original), contentOf(copy));
    EXPECT_EQ(realTimeOf(*original), realTimeOf(copy));
}

TEST(Tool, GivesEveryReaderAPoseOfOneFrame)
{
    const std::unique_ptr<Tool> tool(makeTool("Drill", {{1, 2, 3}}));
    tool->updateTransform(Vector3d(1, 1, 1), Matrix3x3());
    std::atomic<bool> isOver{false};
    std::atomic<int> torn{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i)
        readers.emplace_back(
            [&]
            {
                Matrix3x3 rotation;
                Vector3d translation;
                std::vector<char> block;
                while (!isOver)
                {
                    tool->getTransform(rotation, translation);
                    torn += translation.x != translation.z || rotation[2][2] != translation.x ? 1 : 0;
                    tool->isVisible();
                    block.clear();
                    tool->appendToolContent(block);
                    tool->appendToolRTData(block);
                    tool->getMaxRMS();
                    tool->getImaginaryMarker(0);
                }
            });
    for (int frame = 1; frame < 3000; ++frame)
    {
        Matrix3x3 rotation;
        rotation[2][2] = frame;
        tool->updateTransform(Vector3d(frame, frame, frame), rotation);
        tool->updateRms(static_cast<float>(frame));
        tool->updateRealMarker(0, Vector3d(frame, frame, frame));
        tool->storeCurrentRigidTransform();
        tool->setMaxRMS(0.5f);
        tool->setImaginaryMarker(1, Vector3d(frame, frame, frame));
    }
    isOver = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(0, torn);
}

TEST(Tool, GivesEveryReaderThePoseAndTheRmsOfOneFrame)
{
    const std::unique_ptr<Tool> tool(makeTool("Drill", {{1, 2, 3}})), reference(makeTool("Reference"));
    std::atomic<bool> isOver{false};
    std::atomic<int> torn{0};
    const auto isTorn = [](const Vector3d& translation, float rms)
    { return translation != Vector3d(double(rms), double(rms), double(rms)); };
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i)
        readers.emplace_back(
            [&]
            {
                while (!isOver)
                {
                    Matrix3x3 rotation;
                    Vector3d camera, origin, relative;
                    float rms[3] = {};
                    tool->getTransform(rotation, camera, rms[0]);
                    rotation = Matrix3x3();
                    tool->calculateTransformationToReference(rotation, origin, rms[1]);
                    tool->calculateTransformationToReference(reference.get(), rotation, relative, rms[2]);
                    torn += isTorn(camera, rms[0]) + isTorn(origin, rms[1]) + isTorn(relative, rms[2]);
                }
            });
    for (int frame = 1; frame < 3000; ++frame)
    {
        const Vector3d position(frame, frame, frame);
        tool->updateFrame(&position, 1, Matrix3x3(), position, static_cast<float>(frame));
    }
    isOver = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(0, torn);
}
