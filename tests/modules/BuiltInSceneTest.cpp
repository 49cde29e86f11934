#include <SimulatedCamera/BuiltInScene.h>

#include <SimulatedCamera/TrackerSimulation.h>

#include <TSBase/Tool.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <set>
#include <string>

using namespace simulation;

namespace
{

/// One round of the scene, as it is measured.
class Round
{
public:
    Round() : m_Scene(builtInScene().scene), m_Simulation(m_Scene) {}

    const Scene& scene() const { return *m_Scene; }
    double time() const { return m_Simulation.time(); }

    int indexOf(const std::string& name) const
    {
        const auto isNamed = [&](const SceneTool& tool) { return tool.name == name; };
        const auto found = std::find_if(scene().tools.begin(), scene().tools.end(), isNamed);
        return static_cast<int>(found - scene().tools.begin());
    }
    const SceneTool& tool(const std::string& name) const { return m_Simulation.tool(indexOf(name)); }
    ToolFrame measure(const std::string& name) const
    {
        return m_Simulation.measure(indexOf(name), tool(name).tracking);
    }
    Vector3d imaginary(const std::string& name, std::size_t i) const { return tool(name).imaginaries.at(i); }

    /// Calls `look` for every frame of one round.
    void run(const std::function<void()>& look)
    {
        for (; m_Simulation.time() < m_Scene->loop; m_Simulation.step())
            look();
    }

private:
    std::shared_ptr<const Scene> m_Scene;
    TrackerSimulation m_Simulation;
};

const std::vector<std::string> NAMES = {"DynamicReference", "Pointer",   "DrillGuide", "Drill",
                                        "BurrCalibrator",   "RoundBurr", "CArmBase"};

/// The stretches of time in which something holds.
class Stretches
{
public:
    void note(double time, bool holds)
    {
        if (holds && !m_Holds)
            m_Begins.push_back(time);
        if (!holds && m_Holds)
            m_Ends.push_back(time);
        m_Holds = holds;
    }
    std::size_t count() const { return m_Begins.size(); }
    double begin(std::size_t i) const { return m_Begins.at(i); }
    double end(std::size_t i) const { return m_Ends.at(i); }

private:
    std::vector<double> m_Begins, m_Ends;
    bool m_Holds = false;
};

} // namespace

TEST(BuiltInScene, CanBeRead)
{
    const SceneResult result = builtInScene();
    ASSERT_TRUE(result.scene) << result.error;
    EXPECT_EQ(result.scene->rate, 60.0);
    EXPECT_EQ(result.scene->loop, 60.0);
    EXPECT_EQ(result.scene->noise, 0.1);
    EXPECT_EQ(result.scene->numberOfSlots, 32);
    EXPECT_EQ(builtInSceneText().compare(0, 2, "# "), 0);
}

TEST(BuiltInScene, HasTheInstrumentsOfTheSurgicalLayer)
{
    const Round round;
    ASSERT_EQ(round.scene().tools.size(), NAMES.size());
    for (std::size_t i = 0; i < NAMES.size(); ++i)
        EXPECT_EQ(round.scene().tools[i].name, NAMES[i]);
    EXPECT_EQ(round.tool("Drill").markers.size(), 4u);
    for (const SceneTool& tool : round.scene().tools)
    {
        EXPECT_GE(tool.markers.size(), 3u);
        EXPECT_LE(tool.markers.size(), 6u);
        EXPECT_TRUE(tool.plugged.empty()) << "nothing comes or goes in it";
    }
}

TEST(BuiltInScene, GivesTypeCodesThatFitTheInstruments)
{
    const std::set<int> calibratable = {12, 13, 100, 101, 102, 103, 104, 105};
    const std::set<int> verifiable = {0, 12, 13, 14, 16, 17, 99, 100, 101, 102, 103, 104, 105};
    const Round round;
    std::set<int> types;
    for (const SceneTool& tool : round.scene().tools)
    {
        types.insert(tool.type);
        EXPECT_EQ(calibratable.count(tool.type) == 1, tool.name == "Drill" || tool.name == "RoundBurr") << tool.name;
        const bool isChecked = tool.name == "Pointer" || tool.name == "DrillGuide" || calibratable.count(tool.type);
        EXPECT_EQ(verifiable.count(tool.type) == 1, isChecked) << tool.name;
    }
    EXPECT_EQ(types.size(), NAMES.size());
}

TEST(BuiltInScene, StaysInTheVolumeAndInViewExceptForItsOcclusions)
{
    Round round;
    round.run(
        [&]
        {
            for (const std::string& name : NAMES)
            {
                const ToolFrame frame = round.measure(name);
                const bool isAway = name == "CArmBase" && round.time() >= 50.0 && round.time() < 52.0;
                ASSERT_EQ(frame.isVisible, !isAway) << name << " at " << round.time();
                if (isAway)
                    continue;
                const Vector3d position = frame.cameraFromTool.getTranslation();
                EXPECT_LT(position.z, -1500.0) << name;
                EXPECT_GT(position.z, -2500.0) << name;
                EXPECT_LT(std::hypot(position.x, position.y), 700.0) << name;
            }
        });
}

TEST(BuiltInScene, MovesWithoutJumps)
{
    Round round;
    std::map<std::string, Vector3d> last;
    round.run(
        [&]
        {
            for (const std::string& name : NAMES)
            {
                const ToolFrame frame = round.measure(name);
                if (!frame.isVisible)
                {
                    last.erase(name);
                    continue;
                }
                const Vector3d position = frame.cameraFromTool.getTranslation();
                if (last.count(name))
                {
                    EXPECT_LT((position - last[name]).length(), 5.0) << name << " at " << round.time();
                }
                last[name] = position;
            }
        });
}

TEST(BuiltInScene, HidesSingleMarkersNowAndThen)
{
    Round round;
    Stretches hidden;
    round.run(
        [&]
        {
            const std::vector<Vector3d> markers = round.measure("Pointer").markers;
            hidden.note(round.time(), std::count(markers.begin(), markers.end(), Tool::invalidVector) == 1);
        });
    ASSERT_EQ(hidden.count(), 1u);
    EXPECT_NEAR(hidden.begin(0), 5.0, 0.02);
    EXPECT_NEAR(hidden.end(0), 6.0, 0.02);
}

TEST(BuiltInScene, TouchesTheMarkOnTheDynamicReferenceWithThePointer)
{
    Round round;
    Stretches touches;
    round.run(
        [&]
        {
            const TransMatrix3d referenceFromPointer =
                round.measure("DynamicReference").cameraFromTool.inverted() * round.measure("Pointer").cameraFromTool;
            const Vector3d tip = referenceFromPointer * round.imaginary("Pointer", 0);
            touches.note(round.time(), (tip - round.imaginary("DynamicReference", 0)).length() < 2.0);
        });
    ASSERT_EQ(touches.count(), 1u);
    EXPECT_LT(touches.begin(0), 4.0);
    EXPECT_GT(touches.end(0), 10.0);
    EXPECT_LT(touches.end(0), 13.0);
}

/// When the drill counts as being in the guide: the channel's direction (imaginary 0 - imaginary 1) is within 0.35 rad
/// of the drill's, and its entry (imaginary 1) is nearer to the front of the body (imaginary 0) than the drill is long;
/// a drill nobody has measured is as long as its body.
TEST(BuiltInScene, TakesTheDrillIntoTheGuideAndOutAgain)
{
    Round round;
    const Vector3d front = round.imaginary("Drill", 0);
    const Vector3d drillAxis = front - round.imaginary("Drill", 1);
    const Vector3d entry = round.imaginary("DrillGuide", 1);
    const Vector3d channel = round.imaginary("DrillGuide", 0) - entry;
    Stretches inside;
    double greatestAngle = 0.0, leastAngle = 1.0;
    round.run(
        [&]
        {
            const TransMatrix3d drillFromGuide =
                round.measure("Drill").cameraFromTool.inverted() * round.measure("DrillGuide").cameraFromTool;
            const double distance = (drillFromGuide * entry - front).length();
            const double tilt = angle(drillFromGuide.getRotation() * channel, drillAxis);
            const bool isInside = drillAxis.length() > distance && tilt < 0.35;
            inside.note(round.time(), isInside);
            if (!isInside)
                return;
            greatestAngle = std::max(greatestAngle, tilt);
            leastAngle = std::min(leastAngle, tilt);
            const Vector3d offset = drillFromGuide * entry - front;
            EXPECT_LT(angle(offset, drillAxis), 0.35) << "the drill goes in through the entry";
        });
    ASSERT_EQ(inside.count(), 1u);
    EXPECT_GT(inside.begin(0), 15.0);
    EXPECT_LT(inside.begin(0), 20.0);
    EXPECT_GT(inside.end(0), 24.0);
    EXPECT_LT(inside.end(0), 28.0);
    EXPECT_GT(greatestAngle - leastAngle, 0.02) << "there is something to be corrected";
}

/// The holes of the block, from its imaginary points in the burr's frame; the burr is in one when its own imaginary
/// point 0 is within 10 mm of it on each axis.
TEST(BuiltInScene, TakesTheBurrToBothHolesOfTheBlock)
{
    Round round;
    const Vector3d tip = round.imaginary("RoundBurr", 0);
    Stretches inFive, inEight;
    const auto isWithin = [&](const Vector3d& hole) {
        return std::abs(tip.x - hole.x) <= 10.0 && std::abs(tip.y - hole.y) <= 10.0 && std::abs(tip.z - hole.z) <= 10.0;
    };
    double nearestFive = 1e9, nearestEight = 1e9;
    round.run(
        [&]
        {
            const TransMatrix3d burrFromBlock =
                round.measure("RoundBurr").cameraFromTool.inverted() * round.measure("BurrCalibrator").cameraFromTool;
            const Vector3d i0 = burrFromBlock * round.imaginary("BurrCalibrator", 0);
            const Vector3d i1 = burrFromBlock * round.imaginary("BurrCalibrator", 1);
            const Vector3d i2 = burrFromBlock * round.imaginary("BurrCalibrator", 2);
            const Vector3d u = (i2 - i1).normalized();
            const Vector3d v = (i0 - i1).normalized();
            const Vector3d n = cross(u, v).normalized();
            const Vector3d five = i0 + 2.5 * u - 35.0 * v - 2.45 * n;
            const Vector3d eight = i0 + 32.5 * u - 35.0 * v - 2.45 * n;
            inFive.note(round.time(), isWithin(five));
            inEight.note(round.time(), isWithin(eight));
            nearestFive = std::min(nearestFive, (tip - five).length());
            nearestEight = std::min(nearestEight, (tip - eight).length());
        });
    ASSERT_EQ(inFive.count(), 1u);
    EXPECT_GT(inFive.begin(0), 31.0);
    EXPECT_LT(inFive.begin(0), 32.0);
    EXPECT_GT(inFive.end(0), 36.0);
    EXPECT_LT(inFive.end(0), 37.0);
    ASSERT_EQ(inEight.count(), 1u);
    EXPECT_GT(inEight.begin(0), 39.0);
    EXPECT_LT(inEight.begin(0), 40.0);
    EXPECT_GT(inEight.end(0), 44.0);
    EXPECT_LT(inEight.end(0), 45.0);
    EXPECT_LT(nearestFive, 1.0);
    EXPECT_LT(nearestEight, 1.0);
}

TEST(BuiltInScene, HasItsFootswitchPressedForASecondEveryTenSeconds)
{
    const Footswitch footswitch = builtInScene().scene->footswitch;
    for (int tenth = 0; tenth < 300; ++tenth)
    {
        const int phase = tenth % 100;
        EXPECT_EQ(footswitch.stateAt(tenth / 10.0 + 0.001).isPressed, phase >= 45 && phase < 55) << tenth;
        EXPECT_EQ(footswitch.stateAt(tenth / 10.0).number, 1);
    }
}
