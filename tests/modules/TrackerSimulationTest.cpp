#include <SimulatedCamera/TrackerSimulation.h>

#include "SimulatedScenes.h"

#include <TSBase/Tool.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace simulation;

namespace
{

Motion inMotion()
{
    return {{}, Orbit{{30, -40, -1900}, rotationFromAngles({0.2, -0.3, 1.0}), {0, 1, 0}, 100, 7.3}};
}

void expectSamePose(const TransMatrix3d& actual, const TransMatrix3d& expected, double tolerance)
{
    for (int i = 0; i < 9; ++i)
        EXPECT_NEAR(actual.getRotation()[i / 3][i % 3], expected.getRotation()[i / 3][i % 3], tolerance);
    EXPECT_LT((actual.getTranslation() - expected.getTranslation()).length(), tolerance);
}

int seenMarkers(const ToolFrame& frame)
{
    int count = 0;
    for (const Vector3d& marker : frame.markers)
        count += marker != Tool::invalidVector ? 1 : 0;
    return count;
}

/// A simulation of one tool.
TrackerSimulation simulationOf(SceneTool tool, double rate = 60.0)
{
    return TrackerSimulation(scenes::shared(scenes::sceneOf({std::move(tool)}, rate)));
}

/// All that is measured in the first frames of a run, in one list.
std::vector<double> recording(const Scene& scene, int frames)
{
    TrackerSimulation simulation(scenes::shared(scene));
    std::vector<double> numbers;
    for (int i = 0; i < frames; ++i, simulation.step())
    {
        const ToolFrame frame = simulation.measure(0, scene.tools[0].tracking);
        for (const Vector3d& marker : frame.markers)
            numbers.insert(numbers.end(), {marker.x, marker.y, marker.z});
        const Vector3d position = frame.cameraFromTool.getTranslation();
        numbers.insert(numbers.end(), {position.x, position.y, position.z, frame.rms});
    }
    return numbers;
}

Scene noisyScene(std::uint64_t seed)
{
    SceneTool tool = scenes::tool("A");
    tool.noise = 0.25;
    tool.motion = inMotion();
    Scene scene = scenes::sceneOf({tool});
    scene.seed = seed;
    return scene;
}

} // namespace

TEST(TrackerSimulation, MeasuresTheTruePoseWhenThereIsNoNoise)
{
    SceneTool tool = scenes::tool("A");
    tool.motion = inMotion();
    TrackerSimulation simulation = simulationOf(tool);
    for (int i = 0; i < 200; ++i, simulation.step())
    {
        const ToolFrame frame = simulation.measure(0, tool.tracking);
        ASSERT_TRUE(frame.isVisible);
        expectSamePose(frame.cameraFromTool, poseAt(tool.motion, i / 60.0), 1e-9);
        EXPECT_NEAR(frame.rms, 0.0, 1e-9);
        EXPECT_EQ(frame.usedMarkers, 4);
        for (std::size_t m = 0; m < 4; ++m)
            EXPECT_LT((frame.markers[m] - simulation.cameraFromTool(0) * tool.markers[m]).length(), 1e-12);
    }
}

/// Mean squared RMS = (1 - 2/N) FLE^2 with FLE^2 = 3 sigma^2 (Fitzpatrick, West, Maurer, "Predicting Error in
/// Rigid-Body Point-Based Registration", IEEE Trans. Med. Imaging 17(5), 1998).
TEST(TrackerSimulation, HasTheFitErrorThatTheoryPredicts)
{
    const int frames = 20000;
    const struct
    {
        std::size_t markers;
        double sigma;
    } table[] = {{3, 0.1}, {4, 0.5}, {6, 0.1}};
    for (const auto& row : table)
    {
        SceneTool tool = scenes::tool("A", row.markers);
        tool.noise = row.sigma;
        tool.motion = inMotion();
        TrackerSimulation simulation = simulationOf(tool);
        double sum = 0.0;
        for (int i = 0; i < frames; ++i, simulation.step())
        {
            const ToolFrame frame = simulation.measure(0, tool.tracking);
            ASSERT_TRUE(frame.isVisible);
            sum += frame.rms * frame.rms;
        }
        const double predicted = (1.0 - 2.0 / static_cast<double>(row.markers)) * 3.0 * row.sigma * row.sigma;
        EXPECT_NEAR(sum / frames, predicted, 0.02 * predicted) << row.markers << " markers";
    }
}

TEST(TrackerSimulation, PredictsTheFitErrorFromTheVisibleMarkersAlone)
{
    SceneTool tool = scenes::tool("A", 6);
    tool.noise = 0.1;
    tool.occlusions = {{0, {0, 1e6}}, {3, {0, 1e6}}};
    TrackerSimulation simulation = simulationOf(tool);
    double sum = 0.0;
    for (int i = 0; i < 20000; ++i, simulation.step())
        sum += std::pow(simulation.measure(0, tool.tracking).rms, 2);
    const double predicted = (1.0 - 2.0 / 4.0) * 3.0 * 0.01;
    EXPECT_NEAR(sum / 20000, predicted, 0.02 * predicted);
}

TEST(TrackerSimulation, RunsTheSameWithTheSameSeed)
{
    EXPECT_EQ(recording(noisyScene(5), 300), recording(noisyScene(5), 300));
}

TEST(TrackerSimulation, RunsDifferentlyWithAnotherSeed)
{
    EXPECT_NE(recording(noisyScene(5), 1), recording(noisyScene(6), 1));
}

TEST(TrackerSimulation, RunsTheSameWhateverElseIsAsked)
{
    const Scene scene = noisyScene(5);
    TrackerSimulation quiet(scenes::shared(scene));
    TrackerSimulation busy(scenes::shared(scene));
    TrackingParameters strict = scene.tools[0].tracking;
    strict.minMarkers = 5;
    for (int i = 0; i < 100; ++i)
    {
        busy.measure(0, strict);
        busy.add(scenes::tool("B"));
        busy.measure(0, scene.tools[0].tracking);
        busy.step();
        quiet.step();
    }
    EXPECT_EQ(busy.measure(0, scene.tools[0].tracking).markers, quiet.measure(0, scene.tools[0].tracking).markers);
}

TEST(TrackerSimulation, GivesEachToolNoiseOfItsOwn)
{
    SceneTool tool = scenes::tool("A");
    tool.noise = 0.1;
    TrackerSimulation simulation(scenes::shared(scenes::sceneOf({tool, tool})));
    EXPECT_NE(simulation.measure(0, tool.tracking).markers[0], simulation.measure(1, tool.tracking).markers[0]);
}

TEST(TrackerSimulation, SeesAMarkerWhoseNormalIsWithinTheAngleLimit)
{
    // Straight before the camera the normal is off by the tilt, here 59 and 61 degrees.
    for (const double degrees : {59.0, 61.0})
    {
        SceneTool tool = scenes::tool("A");
        tool.markers = {{0, 0, 0}, {0.5, 0, 0}, {0, 0.5, 0}, {-0.5, 0.1, 0}}; // small: the directions hardly differ
        tool.motion.course = Still{{0, 0, -2000}, rotationFromAngles({0, degrees * PI / 180.0, 0})};
        const TrackerSimulation simulation = simulationOf(tool);

        EXPECT_EQ(simulation.measure(0, tool.tracking).isVisible, degrees < 60.0);
        EXPECT_EQ(seenMarkers(simulation.measure(0, tool.tracking)), degrees < 60.0 ? 4 : 0);
        tool.tracking.angleLimit = 62;
        EXPECT_TRUE(simulation.measure(0, tool.tracking).isVisible);
        tool.tracking.angleLimit = 58;
        EXPECT_FALSE(simulation.measure(0, tool.tracking).isVisible);
    }
}

TEST(TrackerSimulation, MeasuresTheAngleAtTheMarkerTowardsTheCamera)
{
    SceneTool tool = scenes::tool("A");
    tool.motion.course = Still{{2000, 0, -2000}, {}}; // 45 degrees off the camera's axis
    const TrackerSimulation simulation = simulationOf(tool);
    tool.tracking.angleLimit = 47;
    EXPECT_TRUE(simulation.measure(0, tool.tracking).isVisible);
    tool.tracking.angleLimit = 43;
    EXPECT_FALSE(simulation.measure(0, tool.tracking).isVisible);
}

TEST(TrackerSimulation, JudgesEachMarkerByItsOwnNormal)
{
    SceneTool tool = scenes::tool("A", 5);
    tool.tracking.normals[2] = {0, 0, -1};
    const ToolFrame frame = simulationOf(tool).measure(0, tool.tracking);
    EXPECT_TRUE(frame.isVisible);
    EXPECT_EQ(frame.usedMarkers, 4);
    EXPECT_EQ(frame.markers[2], Tool::invalidVector);
}

TEST(TrackerSimulation, SeesMarkersWithoutANormalFromAllSides)
{
    SceneTool tool = scenes::tool("A");
    tool.motion.course = Still{MIDDLE_OF_VOLUME, rotationFromAngles({0, PI, 0})};
    const TrackerSimulation simulation = simulationOf(tool);
    EXPECT_FALSE(simulation.measure(0, tool.tracking).isVisible);
    const double nan = std::nan("");
    for (const Vector3d& none : {Tool::invalidVector, Vector3d(0, 0, 0), Vector3d(nan, nan, nan)})
    {
        tool.tracking.normals.assign(4, none);
        EXPECT_TRUE(simulation.measure(0, tool.tracking).isVisible);
    }
    tool.tracking.normals.clear();
    EXPECT_TRUE(simulation.measure(0, tool.tracking).isVisible);
}

TEST(TrackerSimulation, NeedsTheMinimumNumberOfMarkers)
{
    SceneTool tool = scenes::tool("A", 5);
    tool.occlusions = {{4, {0, 10}}};
    const TrackerSimulation simulation = simulationOf(tool);
    tool.tracking.minMarkers = 4;
    EXPECT_TRUE(simulation.measure(0, tool.tracking).isVisible);
    tool.tracking.minMarkers = 5;
    const ToolFrame frame = simulation.measure(0, tool.tracking);
    EXPECT_FALSE(frame.isVisible);
    EXPECT_EQ(seenMarkers(frame), 4) << "what was seen is still told";
}

TEST(TrackerSimulation, NeedsThreeMarkersWhateverTheMinimum)
{
    SceneTool tool = scenes::tool("A", 4);
    tool.occlusions = {{1, {0, 10}}, {2, {0, 10}}};
    const TrackerSimulation simulation = simulationOf(tool);
    for (const int minimum : {2, 0, -5})
    {
        tool.tracking.minMarkers = minimum;
        EXPECT_FALSE(simulation.measure(0, tool.tracking).isVisible);
    }
}

TEST(TrackerSimulation, LeavesAMarkerBeyondMax3DOutOfTheFit)
{
    SceneTool tool = scenes::tool("A", 6);
    tool.noise = 0.3;
    tool.motion = inMotion();
    TrackerSimulation simulation = simulationOf(tool);
    TrackingParameters limited = tool.tracking;
    limited.max3D = 0.6f;
    int rejected = 0;
    for (int i = 0; i < 500; ++i, simulation.step())
    {
        const ToolFrame all = simulation.measure(0, tool.tracking);
        const ToolFrame some = simulation.measure(0, limited);
        double worst = 0.0;
        for (std::size_t m = 0; m < 6; ++m)
            worst = std::max(worst, (all.cameraFromTool * tool.markers[m] - all.markers[m]).length());
        ASSERT_EQ(worst > static_cast<double>(0.6f), some.usedMarkers < 6);
        EXPECT_EQ(seenMarkers(some), 6);
        if (some.usedMarkers == 6)
            continue;
        ++rejected;
        EXPECT_LT(some.rms, all.rms);
        int within = 0;
        for (std::size_t m = 0; m < 6; ++m)
            within += (some.cameraFromTool * tool.markers[m] - some.markers[m]).length() <= 0.6 + 1e-6 ? 1 : 0;
        EXPECT_GE(within, some.usedMarkers);
    }
    EXPECT_GT(rejected, 50);
    EXPECT_LT(rejected, 450);
}

TEST(TrackerSimulation, LosesAToolWhenMax3DLeavesTooFewMarkers)
{
    SceneTool tool = scenes::tool("A", 4);
    tool.noise = 0.3;
    TrackerSimulation simulation = simulationOf(tool);
    tool.tracking.max3D = 0.1f;
    tool.tracking.minMarkers = 4;
    int visible = 0;
    for (int i = 0; i < 300; ++i, simulation.step())
    {
        const ToolFrame frame = simulation.measure(0, tool.tracking);
        visible += frame.isVisible ? 1 : 0;
        EXPECT_TRUE(!frame.isVisible || frame.usedMarkers == 4);
    }
    EXPECT_LT(visible, 30);
}

TEST(TrackerSimulation, LosesAToolWhoseFitIsWorseThanMaxRms)
{
    SceneTool tool = scenes::tool("A", 5);
    tool.noise = 0.3;
    TrackerSimulation simulation = simulationOf(tool);
    TrackingParameters limited = tool.tracking;
    limited.maxRMS = 0.4f;
    int lost = 0;
    for (int i = 0; i < 300; ++i, simulation.step())
    {
        const bool isGood = simulation.measure(0, tool.tracking).rms <= static_cast<double>(0.4f);
        EXPECT_EQ(simulation.measure(0, limited).isVisible, isGood);
        lost += isGood ? 0 : 1;
    }
    EXPECT_GT(lost, 30);
    EXPECT_LT(lost, 270);
}

TEST(TrackerSimulation, HidesMarkersForTheTimesOfTheScene)
{
    SceneTool tool = scenes::tool("A", 4);
    tool.occlusions = {{2, {0.1, 0.2}}, {Occlusion::ALL_MARKERS, {0.3, 0.4}}};
    TrackerSimulation simulation = simulationOf(tool, 100.0);
    for (int i = 0; i < 50; ++i, simulation.step())
    {
        const ToolFrame frame = simulation.measure(0, tool.tracking);
        const bool isOneHidden = i >= 10 && i < 20;
        const bool isHidden = i >= 30 && i < 40;
        EXPECT_EQ(frame.isVisible, !isHidden) << "frame " << i;
        EXPECT_EQ(seenMarkers(frame), isHidden ? 0 : (isOneHidden ? 3 : 4)) << "frame " << i;
        EXPECT_EQ(frame.markers[2] == Tool::invalidVector, isOneHidden || isHidden);
    }
}

TEST(TrackerSimulation, PlugsAndRepeatsWithTheLoop)
{
    SceneTool tool = scenes::tool("A");
    tool.plugged = {{0, 0.2}, {0.5, 0.6}};
    tool.occlusions = {{Occlusion::ALL_MARKERS, {0.1, 0.15}}};
    Scene scene = scenes::sceneOf({tool, scenes::tool("B")}, 100.0);
    scene.loop = 1.0;
    TrackerSimulation simulation(scenes::shared(scene));
    for (int i = 0; i < 300; ++i, simulation.step())
    {
        const int phase = i % 100;
        EXPECT_EQ(simulation.isPlugged(0), phase < 20 || (phase >= 50 && phase < 60)) << "frame " << i;
        EXPECT_EQ(simulation.measure(0, tool.tracking).isVisible, phase < 10 || phase >= 15) << "frame " << i;
        EXPECT_TRUE(simulation.isPlugged(1));
    }
}

TEST(TrackerSimulation, MovesAToolInAnotherOnesFrame)
{
    SceneTool base = scenes::tool("Base");
    base.motion = inMotion();
    SceneTool rider = scenes::tool("Rider");
    rider.movesIn = 0;
    rider.motion.course = Still{{10, 20, 30}, rotationFromAngles({0, 0, 0.5})};
    TrackerSimulation simulation(scenes::shared(scenes::sceneOf({base, rider})));
    for (int i = 0; i < 50; ++i, simulation.step())
        expectSamePose(simulation.cameraFromTool(0).inverted() * simulation.cameraFromTool(1),
                       TransMatrix3d(rotationFromAngles({0, 0, 0.5}), {10, 20, 30}), 1e-9);
}

TEST(TrackerSimulation, AddsAndRemovesTools)
{
    TrackerSimulation simulation(scenes::shared(scenes::sceneOf({scenes::tool("A")})));
    const int first = simulation.add(scenes::tool("B"));
    EXPECT_EQ(first, 1);
    EXPECT_EQ(simulation.tool(first).name, "B");
    EXPECT_TRUE(simulation.measure(first, {}).isVisible);
    simulation.remove(first);
    simulation.step();
    EXPECT_EQ(simulation.add(scenes::tool("C")), 2) << "a number is not used again";
}

TEST(TrackerSimulation, NeverSeesAToolWhoseMarkersLieOnOneLine)
{
    SceneTool tool = scenes::tool("A", 3);
    tool.markers = {{0, 0, 0}, {50, 0, 0}, {100, 0, 0}};
    const ToolFrame frame = simulationOf(tool).measure(0, tool.tracking);
    EXPECT_FALSE(frame.isVisible);
    EXPECT_EQ(seenMarkers(frame), 3);
}
