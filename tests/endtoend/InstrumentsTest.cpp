#include <support/ClientModule.h>
#include <support/RigidMotions.h>
#include <support/ServerProcess.h>

#include <SurgicalTools/BurrCalibrator.h>
#include <SurgicalTools/CArmBase.h>
#include <SurgicalTools/DrillTool.h>
#include <SurgicalTools/PointerTool.h>
#include <SurgicalTools/RoundBurrTool.h>
#include <SurgicalTools/SurgicalToolBox.h>
#include <TSClientInterface/CaToolServer.h>

#include <QSignalSpy>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace
{

/// Reference and pointer stand still; everything else that the instruments tell changes every two seconds.
const char* const SCENE = R"([Scene]
rate = 500
seed = 7
loop = 4
noise = 0.1

[Tool DynamicReference]
type = 1
markers = -45 35 0, 50 30 0, 5 -5 12, 40 -40 10, -30 -45 0
imaginaries = 0 -70 5
position = 10 20 -1900
rotation = 0 0 90
noise = 0

[Tool Pointer]
type = 0
markers = -40 0 0, 40 0 0, 0 -30 0, 0 30 0
imaginaries = 0 -180 -20
point = 0 -180 -20
position = 0 -50 -2000

[Tool DrillGuide]
type = 14
markers = -40 0 0, 0 35 0, 10 -35 0
imaginaries = 60 -20 0, 60 20 0
position = 260 -60 -1950

[Tool Drill]
type = 12
markers = -30 40 0, 30 45 0, 35 -30 0, -25 -35 5
imaginaries = 0 -60 -40, 0 60 -40
movesIn = DrillGuide
point = 0 -60 -40
motion = path
waypoints = 0 62 60 0 3 0 -2, 1.5 62 60 0 3 0 2, 2 60 240 0 10 0 0, 3.5 60 240 0 10 0 0

[Tool BurrCalibrator]
type = 2
markers = -45 -50 0, 45 -50 0, 40 -95 0, -35 -90 5
imaginaries = -17.5 -40 -65, -17.5 -40 -20, 17.5 -40 -20
position = -250 -80 -1900
rotation = 5 -5 0

[Tool RoundBurr]
type = 13
markers = -25 45 0, 25 40 0, 20 -20 0, -30 -15 5
imaginaries = 0 -150 -30, 0 -50 -30
movesIn = BurrCalibrator
point = 0 -150 -30
motion = path
waypoints = 0 -15 -42.45 -30 0 0 0, 1.5 -15 -42.45 -30 5 0 8, 2 15 -42.45 -30 0 0 0, 3.5 15 -42.45 -30 5 0 -8

[Tool CArmBase]
type = 3
markers = -80 80 0, 0 95 0, 85 75 0, 80 -80 10, 5 -60 0, -75 -85 0
imaginaries = 0 0 -50
position = 350 250 -2300
occlusions = all 1.5 3.5
)";

constexpr double NOISE_MM = 0.1;

struct SettingsSlot
{
    const char* classId;
    const char* name;
    const char* rigidBody;
};

const std::vector<SettingsSlot> SLOTS = {{"DynamicReference", "Reference", "DynamicReference"},
                                         {"PointerTool", "Pointer", "Pointer"},
                                         {"DrillGuide", "Guide", "DrillGuide"},
                                         {"DrillTool", "Drill", "Drill"},
                                         {"BurrCalibrator", "Block", "BurrCalibrator"},
                                         {"RoundBurrTool", "Burr", "RoundBurr"},
                                         {"CArmBase", "C-arm", "CArmBase"}};

void useInstruments()
{
    for (std::size_t i = 0; i < SLOTS.size(); ++i)
    {
        const std::string slot = "Tobrel/Navigation/SurgicalToolBox/SurgicalTool." + std::to_string(i);
        tbr::Settings& settings = tbr::Settings::getInstance();
        settings.set(slot + ".ClassId", std::string(SLOTS[i].classId));
        settings.set(slot + ".Name", std::string(SLOTS[i].name));
        settings.set(slot + ".RigidBody", std::string(SLOTS[i].rigidBody));
    }
}

/// A server with the simulated camera and this test's scene.
class SceneServer
{
public:
    SceneServer() : m_Process(std::make_unique<ServerProcess>(arguments(m_Folder))) {}

    int port() { return m_Process->port(); }
    int stop() { return m_Process->stop(); }

private:
    static std::vector<std::string> arguments(const TestFolder& folder)
    {
        const std::string scene = folder.write("scene.ini", SCENE);
        std::vector<std::string> all = ServerProcess::loopback();
        all.insert(all.end(),
                   {"--settings",
                    folder.write("settings.ini", "[Tobrel]\nNavigation\\SimulatedCamera\\Scene=" + scene + "\n")});
        return all;
    }

    const TestFolder m_Folder;
    std::unique_ptr<ServerProcess> m_Process;
};

/// The instruments of the settings, bound to the tools of a server that runs as long as the suite. The box is the
/// process's only one and binds once.
class Instruments : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        useClientModule(TBR_MODULES);
        useInstruments();
        ourServer = std::make_unique<SceneServer>();
        ASSERT_EQ(box().connect("127.0.0.1", ourServer->port()), CaError::nullError);
    }
    static void TearDownTestSuite()
    {
        EXPECT_EQ(box().getToolList()->disconnect(), 0);
        EXPECT_EQ(ourServer->stop(), 0);
        ourServer.reset();
    }

    static SurgicalToolBox& box() { return *SurgicalToolBox::getInstance(); }

    template <class Instrument>
    static Instrument& get(const char* name)
    {
        auto* const found = qobject_cast<Instrument*>(box().getTool(std::string(name)));
        if (!found || !found->getRigidBody())
            throw std::runtime_error(std::string("there is no bound instrument ") + name);
        return *found;
    }

    static bool update() { return box().getToolList()->updateAllTransforms(true) == 0; }

    /// Whether `condition` comes true while the instruments follow the scene.
    template <class Condition>
    static bool comes(Condition condition)
    {
        return eventually([&] { return update() && condition(); });
    }

    SurgicalTool& reference = get<DynamicReference>("Reference");
    PointerTool& pointer = get<PointerTool>("Pointer");
    DrillGuide& guide = get<DrillGuide>("Guide");
    DrillTool& drill = get<DrillTool>("Drill");
    BurrCalibrator& block = get<BurrCalibrator>("Block");
    RoundBurrTool& burr = get<RoundBurrTool>("Burr");
    CArmBase& cArm = get<CArmBase>("C-arm");

    inline static std::unique_ptr<SceneServer> ourServer;
};

/// What comes from the wire has single precision.
MATCHER_P(IsSinglePreciselyAt, point, "")
{
    static_cast<void>(result_listener);
    return (arg - point).length() < 0.01;
}

TEST_F(Instruments, AreMadeAndBoundAsTheSettingsSay)
{
    EXPECT_EQ(box().getAllTools().size(), SLOTS.size());
    for (const SettingsSlot& slot : SLOTS)
    {
        SurgicalTool* const tool = box().getTool(std::string(slot.name));
        ASSERT_NE(tool, nullptr) << slot.name;
        EXPECT_STREQ(tool->metaObject()->className(), slot.classId);
        ASSERT_NE(tool->getRigidBody(), nullptr) << slot.name;
        EXPECT_STREQ(tool->getRigidBody()->getName(), slot.rigidBody);
    }
    EXPECT_TRUE(box().isConnected());
}

TEST_F(Instruments, MoveOnceForEachUpdateOfTheList)
{
    std::vector<std::unique_ptr<QSignalSpy>> moves;
    for (SurgicalTool* tool : box().getAllTools())
        moves.push_back(std::make_unique<QSignalSpy>(tool, &SurgicalTool::ToolMovedSIG));
    ASSERT_TRUE(update());
    ASSERT_TRUE(update());
    for (const auto& spy : moves)
        EXPECT_EQ(spy->count(), 2);
}

TEST_F(Instruments, TellWhenTheyGoOutOfView)
{
    QSignalSpy moves(&cArm, &SurgicalTool::ToolMovedSIG);
    EXPECT_TRUE(comes([&] { return moves.back()[1].toBool(); }));
    EXPECT_TRUE(cArm.getRigidBody()->isTransformValid());
    EXPECT_TRUE(comes([&] { return !moves.back()[1].toBool(); }));
    TransMatrix3d kept(turn(0, 1.0), Vector3d(1, 2, 3));
    EXPECT_FALSE(cArm.getToolTransformation(kept));
    EXPECT_EQ(kept.getTranslation(), Vector3d(1, 2, 3));
}

TEST_F(Instruments, TakeTheDrillsGeometryFromItsImaginaryPoints)
{
    EXPECT_EQ(drill.getBodyAxis().point, Vector3d(0, 60, -40));
    EXPECT_EQ(drill.getBodyAxis().direction, Vector3d(0, -120, 0));
    EXPECT_EQ(drill.getDrillAxis().point, Vector3d(0, -60, -40));
    EXPECT_EQ(drill.getDrillAxis().direction, Vector3d(0, -120, 0));
    EXPECT_EQ(guide.getEntryPoint(), Vector3d(60, 20, 0));
    EXPECT_EQ(guide.getDrillAxis(), Vector3d(0, -40, 0));
}

TEST_F(Instruments, SnapTheDrillToTheGuideWhileItIsInIt)
{
    const auto isSnapped = [&] { return drill.getCorrectedAxis() != drill.getDrillAxis(); };
    drill.setDrillGuide(&guide);
    ASSERT_TRUE(comes([&] { return !isSnapped(); }));
    ASSERT_TRUE(comes(isSnapped));

    TransMatrix3d cameraFromDrill;
    TransMatrix3d cameraFromGuide;
    ASSERT_TRUE(drill.getToolTransformation(cameraFromDrill));
    ASSERT_TRUE(guide.getToolTransformation(cameraFromGuide));
    const TransMatrix3d guideFromDrill = cameraFromGuide.inverted() * cameraFromDrill;
    const Vector3d point = guideFromDrill * drill.getCorrectedAxis().point;
    const Vector3d direction = guideFromDrill.getRotation() * drill.getCorrectedAxis().direction;
    EXPECT_THAT(direction, IsSinglePreciselyAt(Vector3d(0, -120, 0))); // the drill's length along the channel
    EXPECT_NEAR(point.x, 60.0, 0.01);                                  // on the channel's axis
    EXPECT_NEAR(point.z, 0.0, 0.01);
    EXPECT_GT(point.y, 20.0); // on the side where the drill goes in

    EXPECT_TRUE(comes([&] { return !isSnapped(); }));
    drill.setDrillGuide(nullptr);
}

TEST_F(Instruments, FindTheBurrInBothHolesOfTheBlock)
{
    EXPECT_TRUE(comes([&] { return block.isIn5mmHole(&burr) && !block.isIn8mmHole(&burr); }));
    EXPECT_TRUE(comes([&] { return block.isIn8mmHole(&burr) && !block.isIn5mmHole(&burr); }));
    EXPECT_FALSE(block.isIn5mmHole(&pointer));
}

TEST_F(Instruments, MeasureTheBlocksCalibrationPoints)
{
    // u = (1, 0, 0), v = (0, 0, -1), n = (0, 1, 0) in the block's own frame
    EXPECT_THAT(block.getCalibrationPoint0(&block), IsSinglePreciselyAt(Vector3d(-0.5, -29.5, -62.5)));
    EXPECT_THAT(block.getCalibrationPoint1(&block), IsSinglePreciselyAt(Vector3d(-0.5, -29.5, -20.0)));
}

TEST_F(Instruments, LearnTheBurrsRadiusFromItsTip)
{
    const Vector3d tip = burr.getRigidBody()->getRigImag(0);
    const Vector3d shaft = burr.getRigidBody()->getRigImag(1);
    EXPECT_EQ(tip, Vector3d(0, -150, -30));
    for (const double radius : {2.5, 4.0})
    {
        ASSERT_TRUE(burr.setAxis(tip, shaft));
        burr.setRadius(radius);
        EXPECT_EQ(burr.getRadius(), radius);
        EXPECT_THAT(burr.getBurrPosition(&burr), IsSinglePreciselyAt(Vector3d(0, -150 + radius, -30)));
    }
    burr.setAxis(tip, shaft);
    burr.setRadius(-1.0);
}

// --- accuracy

/// Expected squared error of a target, with d its distances from the principal axes of N markers and f the root mean
/// square distances of the markers from them:
///
///     TRE^2(r) = (FLE^2 / N) (1 + 1/3 sum_k d_k^2 / f_k^2)
///
/// (Fitzpatrick, West, Maurer, "Predicting error in rigid-body point-based registration", IEEE Trans. Med. Imaging
/// 17(5), 1998). FLE^2 is the expected squared error of a marker, 3 sigma^2.
double expectedSquaredError(double sigma, int markers, const Vector3d& dSquared, const Vector3d& fSquared)
{
    const double sum = dSquared.x / fSquared.x + dSquared.y / fSquared.y + dSquared.z / fSquared.z;
    return 3.0 * sigma * sigma / markers * (1.0 + sum / 3.0);
}

TEST_F(Instruments, LocateThePointersTipAsWellAsTheMarkersNoiseAllows)
{
    // The markers (+-40, 0, 0) and (0, +-30, 0) have their centroid at the origin and the coordinate axes as principal
    // axes: f^2 = (2 * 900 / 4, 2 * 1600 / 4, both), and d^2 is that of the tip (0, -180, -20).
    const double expected = expectedSquaredError(NOISE_MM, 4, {32400 + 400, 400, 32400}, {450, 800, 1250});
    EXPECT_NEAR(expected, 0.25577, 1e-5);

    // The tip is at (0, -50, -2000) for the camera and the reference, a quarter turn about z, at (10, 20, -1900).
    const Vector3d truth(-70, 10, -100);

    // Frames are independent of each other, so the mean of 2000 squared errors has a standard deviation of 2.4 % of
    // itself: the covariance of the tip has eigenvalues in the ratio 74 : 27 : 1.
    constexpr int FRAMES = 2000;
    Vector3d sum;
    double sumOfSquares = 0.0;
    Vector3d last;
    for (int frames = 0; frames < FRAMES;)
    {
        Vector3d tip;
        ASSERT_TRUE(pointer.getTipPosition(&tip, &reference));
        if (tip == last) // the same frame once more
            continue;
        last = tip;
        ++frames;
        const Vector3d error = tip - truth;
        sum += error;
        sumOfSquares += error.dot(error);
    }
    RecordProperty("meanSquaredErrorMm2", std::to_string(sumOfSquares / FRAMES));
    EXPECT_NEAR(sumOfSquares / FRAMES, expected, 0.15 * expected);
    EXPECT_LT((sum / FRAMES).length(), 0.1); // 9 standard deviations: the error has no direction of its own
}

// --- the example

#ifdef TBR_NAVIGATION_EXAMPLE
struct Ended
{
    int status;
    std::string output;
    std::string errors;
};

Ended runExample(const QStringList& arguments)
{
    constexpr int PATIENCE_MS = 60000;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("TBR_SETTINGS", TBR_NAVIGATION_SETTINGS);
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(TBR_NAVIGATION_EXAMPLE, arguments);
    EXPECT_TRUE(process.waitForFinished(PATIENCE_MS));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    return {process.exitCode(), process.readAllStandardOutput().replace("\r", "").toStdString(),
            process.readAllStandardError().replace("\r", "").toStdString()};
}

TEST(NavigationExample, TellsEverythingThatChangesInTheSceneAndEnds)
{
    SceneServer server;
    const Ended run = runExample({"127.0.0.1", QString::number(server.port()), "--seconds", "9"});
    EXPECT_EQ(run.status, 0) << run.errors;
    for (const char* line : {": drill snapped to the guide\n", ": drill free\n", ": burr in the 5 mm hole\n",
                             ": burr in the 8 mm hole\n", ": C-arm base in view\n", ": C-arm base out of view\n"})
        EXPECT_THAT(run.output, testing::HasSubstr(line));
    for (const char* part : {"pointer tip (", "burr centre (", " radius 2.5,", " radius 4,", "drill body (", ", bit (",
                             ", corrected (", " snapped\n", " free\n"})
        EXPECT_THAT(run.output, testing::HasSubstr(part));
    EXPECT_EQ(server.stop(), 0);
}

TEST(NavigationExample, SaysThatNoServerAnswers)
{
    int port = 0;
    {
        SceneServer server; // whose port is free afterwards
        port = server.port();
        EXPECT_EQ(server.stop(), 0);
    }
    const Ended run = runExample({"127.0.0.1", QString::number(port), "--seconds", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.errors, testing::HasSubstr("No tool server answers at 127.0.0.1:" + std::to_string(port)));
}

TEST(NavigationExample, RefusesATimeThatIsNoNumber)
{
    EXPECT_EQ(runExample({"--seconds", "soon"}).status, 2);
}
#endif

} // namespace
