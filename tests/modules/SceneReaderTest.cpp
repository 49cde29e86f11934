#include <SimulatedCamera/SceneReader.h>

#include <support/TestFolder.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>

using namespace simulation;

namespace
{

const std::string MARKERS = "markers = 0 0 0, 50 0 0, 0 50 0, 50 50 10\n";
const std::string TOOL = "[Tool A]\n" + MARKERS;

SceneResult read(const std::string& text)
{
    return SceneReader::readText(text, "scene.ini");
}

std::string manyPoints(int count)
{
    std::string list;
    for (int i = 0; i < count; ++i)
        list += (i == 0 ? "" : ", ") + std::to_string(i) + " " + std::to_string(i * i) + " 0";
    return list;
}

} // namespace

TEST(SceneReader, HasADefaultForEverythingButTheMarkers)
{
    const SceneResult result = read(TOOL);
    ASSERT_TRUE(result.scene) << result.error;
    const Scene& scene = *result.scene;
    EXPECT_EQ(scene.rate, 60.0);
    EXPECT_EQ(scene.seed, 1u);
    EXPECT_EQ(scene.loop, 0.0);
    EXPECT_EQ(scene.numberOfSlots, 32);
    EXPECT_TRUE(scene.footswitch.presses.empty());
    ASSERT_EQ(scene.tools.size(), 1u);
    const SceneTool& tool = scene.tools[0];
    EXPECT_EQ(tool.name, "A");
    EXPECT_EQ(tool.secondName + tool.owner, "");
    EXPECT_EQ(tool.id, 1);
    EXPECT_EQ(tool.groupId, 0);
    EXPECT_EQ(tool.type, 0);
    EXPECT_EQ(tool.numberOfPlugs, 1);
    EXPECT_EQ(tool.averaging, 1u);
    EXPECT_EQ(tool.markers.size(), 4u);
    EXPECT_TRUE(tool.imaginaries.empty());
    EXPECT_TRUE(tool.tracking.normals.empty());
    EXPECT_EQ(tool.tracking.angleLimit, 60);
    EXPECT_EQ(tool.tracking.minMarkers, 3);
    EXPECT_EQ(tool.tracking.max3D, 0.0f);
    EXPECT_EQ(tool.tracking.maxRMS, 0.0f);
    EXPECT_EQ(tool.noise, 0.1);
    EXPECT_EQ(tool.movesIn, CAMERA_FRAME);
    EXPECT_EQ(std::get<Still>(tool.motion.course).position, MIDDLE_OF_VOLUME);
    EXPECT_TRUE(tool.occlusions.empty());
    EXPECT_TRUE(tool.plugged.empty());
}

TEST(SceneReader, ReadsTheSceneAndTheFootswitch)
{
    const SceneResult result = read("[Footswitch]\nperiod = 20\npresses = 1 5 6, 3 8 9.5\n"
                                    "[Scene]\nrate = 1000\nseed = 9223372036854775807\nloop = 60\nnoise = 0.25\n"
                                    "slots = 5\n");
    ASSERT_TRUE(result.scene) << result.error;
    const Scene& scene = *result.scene;
    EXPECT_EQ(scene.rate, 1000.0);
    EXPECT_EQ(scene.seed, 9223372036854775807u);
    EXPECT_EQ(scene.loop, 60.0);
    EXPECT_EQ(scene.noise, 0.25);
    EXPECT_EQ(scene.numberOfSlots, 5);
    EXPECT_EQ(scene.footswitch.period, 20.0);
    ASSERT_EQ(scene.footswitch.presses.size(), 2u);
    EXPECT_EQ(scene.footswitch.presses[1].number, 3);
    EXPECT_EQ(scene.footswitch.presses[1].pressed, 8.0);
    EXPECT_EQ(scene.footswitch.presses[1].released, 9.5);
}

TEST(SceneReader, ReadsAllOfATool)
{
    const SceneResult result =
        read(TOOL + "name = Probe\nsecondName = Second\nowner = Owner\nid = 77\ngroupId = 5\ntype = 255\nplugs = 2\n"
                    "startCalibrationPoint = 1\naveraging = 10\nimaginaries = 1 2 3\nnormals = 0 0 1\n"
                    "angleLimit = 45\nminMarkers = 4\nmax3D = 1.275\nmaxRMS = 0.005\nnoise = 0\n"
                    "occlusions = 3 1 2, all 4 5.5\nplugged = 0 20, 30\n");
    ASSERT_TRUE(result.scene) << result.error;
    const SceneTool& tool = result.scene->tools.at(0);
    EXPECT_EQ(tool.name, "Probe");
    EXPECT_EQ(tool.secondName, "Second");
    EXPECT_EQ(tool.owner, "Owner");
    EXPECT_EQ(tool.id, 77);
    EXPECT_EQ(tool.groupId, 5);
    EXPECT_EQ(tool.type, 255);
    EXPECT_EQ(tool.numberOfPlugs, 2);
    EXPECT_EQ(tool.startCalibrationPoint, 1);
    EXPECT_EQ(tool.averaging, 10u);
    EXPECT_EQ(tool.imaginaries, std::vector<Vector3d>({{1, 2, 3}}));
    EXPECT_EQ(tool.tracking.normals, std::vector<Vector3d>(4, {0, 0, 1})) << "one normal for all markers";
    EXPECT_EQ(tool.tracking.angleLimit, 45);
    EXPECT_EQ(tool.tracking.minMarkers, 4);
    EXPECT_EQ(tool.tracking.max3D, 1.275f);
    EXPECT_EQ(tool.tracking.maxRMS, 0.005f);
    EXPECT_EQ(tool.noise, 0.0);
    ASSERT_EQ(tool.occlusions.size(), 2u);
    EXPECT_EQ(tool.occlusions[0].marker, 3);
    EXPECT_EQ(tool.occlusions[1].marker, Occlusion::ALL_MARKERS);
    EXPECT_EQ(tool.occlusions[1].when.to, 5.5);
    ASSERT_EQ(tool.plugged.size(), 2u);
    EXPECT_EQ(tool.plugged[0].to, 20.0);
    EXPECT_EQ(tool.plugged[1].from, 30.0);
    EXPECT_EQ(tool.plugged[1].to, std::numeric_limits<double>::infinity());
}

TEST(SceneReader, ReadsEveryMotion)
{
    const SceneResult result =
        read("[Scene]\nloop = 30\n" + TOOL + "point = 1 2 3\nposition = 4 5 6\nrotation = 0 0 90\n" +
             "[Tool B]\nmovesIn = A\nmotion = orbit\nposition = 1 1 1\nradius = 20\nperiod = 4\naxis = 0 3 4\n" +
             MARKERS + "[Tool C]\nmotion = pivot\ntilt = 180\nperiod = 2\n" + MARKERS +
             "[Tool D]\nmotion = path\nwaypoints = 0 1 2 3 0 0 0, 5 4 5 6 0 0 180\n" + MARKERS);
    ASSERT_TRUE(result.scene) << result.error;
    const std::vector<SceneTool>& tools = result.scene->tools;
    EXPECT_EQ(tools[0].motion.point, Vector3d(1, 2, 3));
    EXPECT_EQ(std::get<Still>(tools[0].motion.course).position, Vector3d(4, 5, 6));
    EXPECT_LT((std::get<Still>(tools[0].motion.course).rotation * Vector3d(1, 0, 0) - Vector3d(0, 1, 0)).length(),
              1e-12);
    EXPECT_EQ(tools[1].movesIn, 0);
    EXPECT_EQ(std::get<Orbit>(tools[1].motion.course).centre, Vector3d(1, 1, 1));
    EXPECT_EQ(std::get<Orbit>(tools[1].motion.course).radius, 20.0);
    EXPECT_EQ(std::get<Orbit>(tools[1].motion.course).period, 4.0);
    EXPECT_LT((std::get<Orbit>(tools[1].motion.course).axis - Vector3d(0, 0.6, 0.8)).length(), 1e-12);
    EXPECT_NEAR(std::get<Pivot>(tools[2].motion.course).tilt, PI, 1e-12);
    EXPECT_EQ(std::get<Path>(tools[3].motion.course).loop, 30.0);
    EXPECT_EQ(std::get<Path>(tools[3].motion.course).waypoints.at(1).position, Vector3d(4, 5, 6));
}

TEST(SceneReader, TakesTheLargestSizes)
{
    const std::string name(31, 'n');
    const SceneResult result = read("[Tool " + name + "]\nmarkers = " + manyPoints(32) +
                                    "\nimaginaries = " + manyPoints(8) + "\nnormals = " + manyPoints(32) + "\n");
    ASSERT_TRUE(result.scene) << result.error;
    EXPECT_EQ(result.scene->tools.at(0).name, name);
    EXPECT_EQ(result.scene->tools.at(0).markers.size(), 32u);
}

TEST(SceneReader, NamesSourceSectionAndKeyOfAnError)
{
    const std::string path = TOOL + "motion = path\nwaypoints = ";
    const std::string longName(32, 'n');
    const struct
    {
        std::string text;
        std::string error;
    } table[] = {
        {"[Scene]\nrate = 0.5\n", "[Scene] rate: 0.5 is not between 1 and 1000"},
        {"[Scene]\nrate = 1001\n", "[Scene] rate: 1001 is not between 1 and 1000"},
        {"[Scene]\nrate = nan\n", "[Scene] rate: 'nan' is not a number"},
        {"[Scene]\nseed = -1\n", "[Scene] seed: -1 is not between 0 and 9223372036854775807"},
        {"[Scene]\nloop = -1\n", "[Scene] loop: -1 is not between 0 and 1000000"},
        {"[Scene]\nnoise = 101\n", "[Scene] noise: 101 is not between 0 and 100"},
        {"[Scene]\nslots = 0\n", "[Scene] slots: 0 is not between 1 and 256"},
        {"[Scene]\nslots = 257\n", "[Scene] slots: 257 is not between 1 and 256"},
        {"[Scene]\nslots = 1\n" + TOOL + "[Tool B]\n" + MARKERS, "[Scene] slots: there are more tools than slots"},
        {"[Scene]\nfps = 60\n", "[Scene] fps: there is no such key here"},
        {"[Camera]\n", "[Camera]: there is no such section"},
        {"rate = 60\n", "line 1 has the key 'rate' before the first section"},
        {"[Footswitch]\nperiod = 0\n", "[Footswitch] period: 0 is not between 0.001 and 1000000"},
        {"[Footswitch]\npresses = 1 5\n", "[Footswitch] presses: entry 1 has 2 values, but there must be 3"},
        {"[Footswitch]\npresses = 1 5 5\n", "[Footswitch] presses: it ends at 5, which is not after its beginning"},
        {"[Footswitch]\npresses = 1 5 10.5\n", "[Footswitch] presses: the one at 5 ends after the period"},
        {"[Footswitch]\npresses = 1 5 7, 2 6 8\n",
         "[Footswitch] presses: the one at 6 begins before the one above is over"},
        {"[Footswitch]\npresses = 256 5 7\n", "[Footswitch] presses: 256 is not between 0 and 255"},
        {"[Tool A]\n", "[Tool A] markers: 0 points, but there must be 3 to 32"},
        {"[Tool A]\nmarkers = 0 0 0, 1 1 1\n", "[Tool A] markers: 2 points, but there must be 3 to 32"},
        {"[Tool A]\nmarkers = " + manyPoints(33) + "\n", "[Tool A] markers: 33 points, but there must be 3 to 32"},
        {"[Tool A]\nmarkers = 0 0 0, 1 1 nan, 2 0 0\n", "[Tool A] markers: 'nan' is not a number"},
        {"[Tool A]\nmarkers = 0 0 0, 1 1 1e9, 2 0 0\n", "[Tool A] markers: 1e9 is not between -100000 and 100000"},
        {"[Tool A]\nmarkers = 0 0 0, 1 1 1, 2 2 2\n",
         "[Tool A] markers: they lie on one line, so that no pose follows from them"},
        {TOOL + "imaginaries = " + manyPoints(9) + "\n", "[Tool A] imaginaries: 9 points, but there must be 0 to 8"},
        {TOOL + "normals = 0 0 1, 0 0 1\n", "[Tool A] normals: there must be one for each marker, or one for all"},
        {"[Tool " + longName + "]\n" + MARKERS,
         "[Tool " + longName + "] name: '" + longName + "' is longer than 31 bytes"},
        {TOOL + "name =\n", "[Tool A] name: it is empty"},
        {TOOL + "type = 256\n", "[Tool A] type: 256 is not between 0 and 255"},
        {TOOL + "averaging = 0\n", "[Tool A] averaging: 0 is not between 1 and 1000"},
        {TOOL + "angleLimit = 181\n", "[Tool A] angleLimit: 181 is not between 0 and 180"},
        {TOOL + "minMarkers = 2\n", "[Tool A] minMarkers: 2 is not between 3 and 4"},
        {TOOL + "minMarkers = 5\n", "[Tool A] minMarkers: 5 is not between 3 and 4"},
        {TOOL + "max3D = 0.004\n", "[Tool A] max3D: it is neither 0 nor between 0.005 and 1.275"},
        {TOOL + "maxRMS = 1.3\n", "[Tool A] maxRMS: 1.3 is not between 0 and 1.275"},
        {TOOL + "movesIn = B\n[Tool B]\n" + MARKERS, "[Tool A] movesIn: there is no tool 'B' above this one"},
        {TOOL + "movesIn = A\n", "[Tool A] movesIn: there is no tool 'A' above this one"},
        {TOOL + "motion = fly\n", "[Tool A] motion: 'fly' is none of still, orbit, pivot and path"},
        {TOOL + "motion = still\nradius = 5\n", "[Tool A] radius: there is no such key here"},
        {TOOL + "motion = orbit\naxis = 0 0 0\n", "[Tool A] axis: it has no length"},
        {TOOL + "motion = orbit\nperiod = 0\n", "[Tool A] period: 0 is not between 0.001 and 1000000"},
        {TOOL + "motion = pivot\ntilt = -1\n", "[Tool A] tilt: -1 is not between 0 and 180"},
        {TOOL + "motion = path\n", "[Tool A] waypoints: a path needs at least one"},
        {path + "0 0 0 0\n", "[Tool A] waypoints: entry 1 has 4 values, but there must be 7"},
        {path + "0 0 0 0 0 0 0, 0 1 1 1 0 0 0\n", "[Tool A] waypoints: the one at 0 is not after the one above"},
        {path + "0 0 0 0 0 0 0, 60 0 0 0 0 0 0\n[Scene]\nloop = 60\n",
         "[Tool A] waypoints: the last one must be before the scene's loop ends"},
        {TOOL + "occlusions = 4 1 2\n", "[Tool A] occlusions: 4 is not between 0 and 3"},
        {TOOL + "occlusions = some 1 2\n", "[Tool A] occlusions: 'some' is not a whole number"},
        {TOOL + "occlusions = 0 2 1\n", "[Tool A] occlusions: it ends at 1, which is not after its beginning"},
        {TOOL + "plugged = 1 2 3\n", "[Tool A] plugged: entry 1 has 3 values, but there must be 1 to 2"},
        {TOOL + "plugged = -1 2\n", "[Tool A] plugged: -1 is not between 0 and 1000000"},
    };
    for (const auto& row : table)
    {
        const SceneResult result = read(row.text);
        EXPECT_EQ(result.error, "scene.ini: " + row.error);
        EXPECT_FALSE(result.scene) << row.text;
    }
}

TEST(SceneReader, SurvivesEveryTruncationOfAScene)
{
    const std::string text = "[Scene]\nloop = 30\n[Footswitch]\npresses = 1 5 6\n" + TOOL +
                             "normals = 0 0 1\nmotion = path\nwaypoints = 0 1 2 3 0 0 0,\n 5 4 5 6 0 0 180\n" +
                             "occlusions = 3 1 2, all 4 5.5\nplugged = 0 20, 30\n";
    for (std::size_t length = 0; length <= text.size(); ++length)
    {
        const SceneResult result = read(text.substr(0, length));
        EXPECT_EQ(result.scene == nullptr, !result.error.empty()) << length;
    }
    EXPECT_TRUE(read(text).scene);
}

TEST(SceneReader, ReadsAFile)
{
    const TestFolder folder;
    const SceneResult result = SceneReader::readFile(folder.write("sc\xC3\xA8ne.ini", TOOL));
    ASSERT_TRUE(result.scene) << result.error;
    EXPECT_EQ(result.scene->tools.size(), 1u);
}

TEST(SceneReader, NamesAFileThatItCannotRead)
{
    const TestFolder folder;
    for (const std::string& path : {folder.path("missing.ini"), folder.path("")}) // the second is the folder itself
        EXPECT_EQ(SceneReader::readFile(path).error, path + ": there is no such file");

    const std::string large = folder.write("large.ini", std::string((1 << 20) + 1, '\n'));
    EXPECT_EQ(SceneReader::readFile(large).error, large + ": it is too large for a scene");
}

TEST(SceneReader, ReadsTheSampleSceneWithPlugging)
{
    const SceneResult result = SceneReader::readFile(SAMPLE_SCENES "/plugging.ini");
    ASSERT_TRUE(result.scene) << result.error;
    EXPECT_EQ(result.scene->tools.size(), 4u);
}
