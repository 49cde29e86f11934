#include <SimulatedCamera/SimulatedCamera.h>

#include "SimulatedScenes.h"

#include <support/Eventually.h>
#include <support/LogCapture.h>
#include <support/TestFolder.h>

#include <tbrBase/safelyDeleteThreadedObject.h>
#include <tbrCore/CaObserver.h>
#include <tbrCore/Settings.h>

#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <map>
#include <thread>

using namespace simulation;

namespace
{

const char* const SCENE_KEY = "Tobrel/Navigation/SimulatedCamera/Scene";

Motion orbit(double period)
{
    return {{}, Orbit{MIDDLE_OF_VOLUME, {}, {0, 0, 1}, 100, period}};
}

Tool* create(Toollist& camera, const std::string& name, std::size_t markers = 4)
{
    return camera.createTool(17, 0, name, "Owner", 3, 5, 0, scenes::markers(markers), {{1, 2, 3}}, 2, true);
}

/// Reads a tool's place as a session does; false while it is not visible or there is none.
bool positionOf(const Toollist& camera, const std::string& name, Vector3d& position)
{
    const Toollist::Reading reading(camera);
    const Tool* const tool = reading.tool(name);
    Matrix3x3 rotation;
    return tool && tool->getTransform(rotation, position) == 1;
}

/// Whether the tool is seen at a place other than `from`.
bool hasMoved(const Toollist& camera, const std::string& name, const Vector3d& from)
{
    Vector3d now;
    return positionOf(camera, name, now) && (now - from).length() > 0.5;
}

std::vector<std::string> namesIn(const Toollist& camera)
{
    std::vector<std::string> names;
    const Toollist::Reading reading(camera);
    for (const Tool* tool : reading.table().tools())
        if (tool)
            names.push_back(tool->getName());
    return names;
}

/// The simulated camera in a thread of its own, as the tool server has it.
class RunningCamera
{
public:
    explicit RunningCamera(const Scene& scene) : m_Camera(new SimulatedCamera(scenes::resultOf(scene)))
    {
        m_Camera->moveToThread(&m_Thread);
        m_Thread.start();
    }
    ~RunningCamera()
    {
        tbr::safelyDeleteThreadedObject(m_Camera);
        m_Thread.quit();
        m_Thread.wait();
    }
    SimulatedCamera& operator*() { return *m_Camera; }
    SimulatedCamera* operator->() { return m_Camera; }

private:
    SimulatedCamera* m_Camera;
    QThread m_Thread;
};

/// Notes the footswitch and a tool's stored pose at each notification.
class SwitchObserver : public CaObserver
{
public:
    explicit SwitchObserver(Toollist& camera) : m_Camera(camera) { camera.addObserver(this); }
    ~SwitchObserver() override { m_Camera.removeObserver(this); }

    void notified(CaSubject& /*subject*/, const char* event, void* /*data*/) override
    {
        EXPECT_STREQ(event, Toollist::SWITCH_STATE_CHANGED_NOTIFICATION);
        SwitchState told, asked;
        m_Camera.getSwitch(told.number, told.isPressed);
        m_Camera.requestSwitch(asked.number, asked.isPressed);
        EXPECT_EQ(told, asked);
        states.push_back(told);
    }

    std::vector<SwitchState> states;

private:
    Toollist& m_Camera;
};

} // namespace

TEST(SimulatedCamera, ShowsTheToolsOfItsSceneFromTheStart)
{
    SceneTool tool = scenes::tool("Drill", 5);
    tool.type = 12;
    tool.id = 7;
    tool.imaginaries = {{0, -60, -40}, {0, 60, -40}};
    tool.tracking.minMarkers = 4;
    tool.tracking.angleLimit = 50;
    tool.tracking.max3D = 0.5f;
    tool.tracking.maxRMS = 0.25f;
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({scenes::tool("Reference"), tool}, 30)));

    EXPECT_EQ(camera.getStatus(), 0);
    EXPECT_EQ(camera.getUpdateRate(), 30.0f);
    EXPECT_EQ(camera.getMaxNumberOfTools(), 32u);
    EXPECT_FALSE(camera.startReplay());
    const Tool* const drill = camera.getTool(1);
    ASSERT_TRUE(drill);
    EXPECT_EQ(drill->getName(), "Drill");
    EXPECT_EQ(drill->getType(), 12);
    EXPECT_EQ(drill->getID(), 7);
    EXPECT_EQ(drill->getNumberOfImaginaryMarkers(), 2u);
    EXPECT_EQ(drill->getNormalVector(4), Vector3d(0, 0, 1));
    EXPECT_EQ(drill->getMinMarkers(), 4);
    EXPECT_EQ(drill->getMarkerAngleLimit(), 50);
    EXPECT_EQ(drill->getMax3D(), 0.5f);
    EXPECT_EQ(drill->getMaxRMS(), 0.25f);

    Vector3d position;
    ASSERT_TRUE(positionOf(camera, "Drill", position));
    EXPECT_LT((position - MIDDLE_OF_VOLUME).length(), 1e-3);
    drill->getRealMarkerPosition(0, position);
    EXPECT_LT((position - (MIDDLE_OF_VOLUME + scenes::markers(1)[0])).length(), 1e-3);
}

TEST(SimulatedCamera, MovesItsTools)
{
    SceneTool tool = scenes::tool("A");
    tool.motion = orbit(10);
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({tool})));
    Vector3d first;
    ASSERT_TRUE(positionOf(camera, "A", first));
    EXPECT_TRUE(eventually([&] { return hasMoved(camera, "A", first); }));
}

TEST(SimulatedCamera, GoesOnInAnotherThread)
{
    SceneTool tool = scenes::tool("A");
    tool.motion = orbit(10);
    RunningCamera camera(scenes::sceneOf({tool}));
    for (int i = 0; i < 3; ++i)
    {
        Vector3d before;
        ASSERT_TRUE(positionOf(*camera, "A", before));
        EXPECT_TRUE(eventually([&] { return hasMoved(*camera, "A", before); }));
    }
}

TEST(SimulatedCamera, ComputesAThousandFramesInASecondOfTheScene)
{
    // Unplugged after 1000 frames: what it shows until then are the places of single frames.
    SceneTool tool = scenes::tool("A");
    tool.motion = orbit(1);
    tool.plugged = {{0, 1}};
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({tool}, 1000)));
    EXPECT_EQ(camera.getUpdateRate(), 1000.0f);
    int wrong = 0;
    EXPECT_TRUE(eventually(
        [&]
        {
            Vector3d position;
            if (!positionOf(camera, "A", position))
                return true;
            const double frame = std::atan2(position.y, position.x) / (2 * PI) * 1000.0;
            wrong += std::abs(frame - std::round(frame)) > 0.01 ? 1 : 0;
            return false;
        }));
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(namesIn(camera).empty());
}

TEST(SimulatedCamera, MarksAHiddenToolInvisible)
{
    SceneTool tool = scenes::tool("A");
    tool.occlusions = {{1, {0, 1e6}}, {2, {0, 1e6}}};
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({tool})));
    const Tool* const shown = camera.getTool(0u);
    EXPECT_FALSE(shown->isVisible());
    Vector3d position;
    EXPECT_EQ(shown->getTranslationVector(position), 0);
    shown->getRealMarkerPosition(1, position);
    EXPECT_EQ(position, Tool::invalidVector);
    shown->getRealMarkerPosition(0, position);
    EXPECT_LT((position - (MIDDLE_OF_VOLUME + scenes::markers(1)[0])).length(), 1e-3);
}

TEST(SimulatedCamera, HeedsTheParametersThatClientsSet)
{
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({scenes::tool("A")})));
    Tool* const tool = camera.getTool(0u);
    const auto becomes = [&](bool isVisible) { return eventually([&] { return tool->isVisible() == isVisible; }); };

    tool->setMinMarkers(5);
    EXPECT_TRUE(camera.updateCalibration(tool));
    EXPECT_TRUE(becomes(false));
    tool->setMinMarkers(4);
    EXPECT_TRUE(becomes(true));
    tool->setNormalVector(2, {0, 0, -1});
    EXPECT_TRUE(becomes(false));
    tool->setMarkerAngleLimit(180);
    EXPECT_TRUE(becomes(true));
}

TEST(SimulatedCamera, ShowsTheSceneThatTheSettingsName)
{
    const TestFolder folder;
    const std::string path =
        folder.write("own.ini", "[Scene]\nslots = 3\n[Tool Mine]\nmarkers = 0 0 0, 50 0 0, 0 50 0\n");
    tbr::Settings::getInstance().set(SCENE_KEY, path.c_str());
    const SimulatedCamera camera;
    tbr::Settings::getInstance().set(SCENE_KEY, "");

    EXPECT_EQ(camera.getMaxNumberOfTools(), 3u);
    EXPECT_EQ(namesIn(camera), std::vector<std::string>{"Mine"});
}

TEST(SimulatedCamera, ShowsTheBuiltInSceneWhenNoneIsNamed)
{
    const SimulatedCamera camera;
    EXPECT_EQ(namesIn(camera).size(), 7u);
    EXPECT_TRUE(camera.getTool("DynamicReference"));
}

TEST(SimulatedCamera, ReportsASceneThatCannotBeRead)
{
    const TestFolder folder;
    const std::string path = folder.write("bad.ini", "[Scene]\nrate = fast\n");
    tbr::Settings::getInstance().set(SCENE_KEY, path.c_str());
    const LogCapture log;
    SimulatedCamera camera;
    tbr::Settings::getInstance().set(SCENE_KEY, "");

    EXPECT_EQ(camera.getStatus(), SimulatedCamera::SCENE_ERROR);
    EXPECT_EQ(camera.getErrorMsg(), path + ": [Scene] rate: 'fast' is not a number");
    EXPECT_TRUE(log.contains("ERROR", camera.getErrorMsg()));
    EXPECT_EQ(camera.getUpdateRate(), 0.0f);
    EXPECT_TRUE(namesIn(camera).empty());
    EXPECT_EQ(create(camera, "A"), nullptr);
    int number = 9;
    bool isPressed = true;
    camera.requestSwitch(number, isPressed);
    EXPECT_FALSE(isPressed);
}

TEST(SimulatedCamera, MakesToolsForClients)
{
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({scenes::tool("Probe")})));
    const int before = camera.getToolChangeCount();
    Tool* const tool = create(camera, "Probe");
    ASSERT_TRUE(tool);
    EXPECT_EQ(camera.getToolChangeCount(), before + 1);
    EXPECT_EQ(tool->getName(), "Probe_1");
    EXPECT_EQ(tool->getID(), 17);
    EXPECT_EQ(tool->getType(), 3);
    EXPECT_EQ(tool->getSecondName(), "Owner");
    EXPECT_EQ(tool->getOwner(), "Owner");
    EXPECT_EQ(tool->getStartCalibrationPoint(), 5);
    EXPECT_EQ(tool->getNumberOfJacks(), 2u);
    EXPECT_EQ(tool->getNumberOfRealMarkers(), 4u);
    EXPECT_EQ(tool->getImaginaryMarker(0), Vector3d(1, 2, 3));
    EXPECT_EQ(camera.getTool(1), tool) << "the first free slot";
    EXPECT_FALSE(tool->isVisible()) << "not before its first frame";

    Vector3d position;
    EXPECT_TRUE(eventually([&] { return positionOf(camera, "Probe_1", position); }));
    EXPECT_LT((position - MIDDLE_OF_VOLUME).length(), 5.0);
    EXPECT_EQ(create(camera, "Probe")->getName(), "Probe_2");
}

TEST(SimulatedCamera, GivesClientsToolsTheNoiseOfTheScene)
{
    Scene scene = scenes::sceneOf({}, 1000);
    scene.noise = 0.2;
    SimulatedCamera camera(scenes::resultOf(scene));
    const Tool* const tool = create(camera, "A");
    float rms = 0.0f;
    EXPECT_TRUE(eventually(
        [&]
        {
            tool->getRms(rms);
            return rms > 0.01f;
        }));
    EXPECT_LT(rms, 2.0f);
}

TEST(SimulatedCamera, RefusesToMakeAToolThatIsNotSound)
{
    const std::vector<Vector3d> good = scenes::markers(4);
    const double nan = std::nan(""), infinity = std::numeric_limits<double>::infinity();
    const struct
    {
        std::string name;
        std::string secondName;
        int type;
        std::vector<Vector3d> markers;
        std::vector<Vector3d> imaginaries;
        const char* problem;
    } table[] = {
        {"", "", 0, good, {}, "it has no name"},
        {std::string(32, 'n'), "", 0, good, {}, "its name is longer than 31 bytes"},
        {"A", std::string(32, 'n'), 0, good, {}, "its name is longer than 31 bytes"},
        {"A", "", 256, good, {}, "its type is not between 0 and 255"},
        {"A", "", -1, good, {}, "its type is not between 0 and 255"},
        {"A", "", 0, scenes::markers(2), {}, "it has not 3 to 32 markers"},
        {"A", "", 0, std::vector<Vector3d>(33), {}, "it has not 3 to 32 markers"},
        {"A", "", 0, good, std::vector<Vector3d>(9), "it has more than 8 imaginary points"},
        {"A", "", 0, {{0, 0, nan}, {1, 0, 0}, {0, 1, 0}}, {}, "it has a coordinate that is not finite"},
        {"A", "", 0, good, {{infinity, 0, 0}}, "it has a coordinate that is not finite"},
    };
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({})));
    for (const auto& row : table)
    {
        const LogCapture log;
        EXPECT_EQ(
            camera.createTool(1, 0, row.name, row.secondName, row.type, 0, 0, row.markers, row.imaginaries, 1, true),
            nullptr);
        EXPECT_TRUE(log.contains("ERROR", row.problem)) << row.problem;
    }
    EXPECT_TRUE(namesIn(camera).empty());
    EXPECT_EQ(camera.getToolChangeCount(), 0);
    EXPECT_TRUE(create(camera, std::string(31, 'n')));
    EXPECT_EQ(create(camera, std::string(31, 'n')), nullptr) << "made unique, the name would be too long";
}

TEST(SimulatedCamera, RefusesAToolWhenNoSlotIsFree)
{
    Scene scene = scenes::sceneOf({scenes::tool("A")});
    scene.numberOfSlots = 2;
    SimulatedCamera camera(scenes::resultOf(scene));
    EXPECT_TRUE(create(camera, "B"));
    const LogCapture log;
    EXPECT_EQ(create(camera, "C"), nullptr);
    EXPECT_TRUE(log.contains("ERROR", "The tool C cannot be plugged: no slot is free."));
}

TEST(SimulatedCamera, MovesAToolToTheSlotThatItsClientWants)
{
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({scenes::tool("A")})));
    Tool* const tool = create(camera, "B");
    EXPECT_TRUE(camera.initTool(1, tool)) << "there already";
    const int count = camera.getToolChangeCount();
    EXPECT_TRUE(camera.initTool(20, tool));
    EXPECT_EQ(camera.getTool(20), tool);
    EXPECT_EQ(camera.getTool(1), nullptr);
    EXPECT_EQ(camera.getToolChangeCount(), count + 1);
    EXPECT_TRUE(eventually([&] { return tool->isVisible(); })) << "it is still tracked";
}

TEST(SimulatedCamera, ReplacesAToolThatStandsInTheWantedSlot)
{
    SceneTool other = scenes::tool("Other");
    other.motion = orbit(1);
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({scenes::tool("A"), other})));
    {
        const Toollist::ModuleCall session(camera); // another one, in which the tool is still used
        Tool* const displaced = camera.getTool(0u);
        Tool* const tool = create(camera, "B");
        EXPECT_TRUE(camera.initTool(0, tool));
        EXPECT_EQ(camera.getTool(0u), tool);
        EXPECT_EQ(displaced->getName(), "A");
        EXPECT_FALSE(camera.updateCalibration(displaced));
    }
    EXPECT_EQ(namesIn(camera), (std::vector<std::string>{"B", "Other"}));

    Vector3d before;
    positionOf(camera, "Other", before);
    EXPECT_TRUE(eventually([&] { return hasMoved(camera, "Other", before); }));
    EXPECT_EQ(namesIn(camera), (std::vector<std::string>{"B", "Other"})) << "the scene does not plug it again";
}

TEST(SimulatedCamera, SparesAToolThatItsClientIsStillInitialising)
{
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({})));
    Tool* const first = create(camera, "First");
    Tool* const second = create(camera, "Second");
    EXPECT_TRUE(camera.initTool(0, second)); // where the first one waits
    EXPECT_EQ(camera.getTool(0u), second);
    EXPECT_EQ(camera.getTool(1), first);
    EXPECT_TRUE(camera.initTool(9, first));
    EXPECT_EQ(camera.getTool(9), first);
    EXPECT_EQ(namesIn(camera).size(), 2u);
}

TEST(SimulatedCamera, ReplacesAClientsToolOnceItIsInitialised)
{
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({})));
    EXPECT_TRUE(camera.initTool(0, create(camera, "First")));
    EXPECT_TRUE(camera.initTool(0, create(camera, "Second")));
    EXPECT_EQ(namesIn(camera), std::vector<std::string>{"Second"});
}

TEST(SimulatedCamera, RemovesAClientsToolThatWantsASlotThereIsNot)
{
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({scenes::tool("A")})));
    Tool* const tool = create(camera, "B");
    EXPECT_FALSE(camera.initTool(32, tool));
    EXPECT_EQ(namesIn(camera), std::vector<std::string>{"A"});
    EXPECT_FALSE(camera.initTool(static_cast<unsigned int>(-1), camera.getTool(0u)));
    EXPECT_EQ(namesIn(camera), std::vector<std::string>{"A"}) << "the scene's tools stay";
}

TEST(SimulatedCamera, KnowsOnlyItsOwnTools)
{
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({scenes::tool("A")})));
    Tool stranger(1, 0, "A", "", "", 0, 0, 0, scenes::markers(3), {}, 1, 1);
    EXPECT_TRUE(camera.updateCalibration(camera.getTool(0u)));
    EXPECT_TRUE(camera.loadTool(camera.getTool(0u)));
    EXPECT_FALSE(camera.updateCalibration(&stranger));
    EXPECT_FALSE(camera.updateCalibration(nullptr));
    EXPECT_FALSE(camera.initTool(5, &stranger));
    EXPECT_FALSE(camera.initTool(5, nullptr));
}

TEST(SimulatedCamera, PlugsAndUnplugsTools)
{
    SceneTool comesAndGoes = scenes::tool("Probe");
    comesAndGoes.plugged = {{0, 0.3}, {0.6, 0.9}};
    const Scene scene = scenes::sceneOf({scenes::tool("Probe"), comesAndGoes}, 200);
    SimulatedCamera camera(scenes::resultOf(scene));
    EXPECT_EQ(namesIn(camera), (std::vector<std::string>{"Probe", "Probe_1"})) << "names are unique";
    int count = camera.getToolChangeCount();
    EXPECT_EQ(count, 2);

    for (const bool isPlugged : {false, true, false})
    {
        ASSERT_TRUE(eventually([&] { return camera.getToolChangeCount() != count; }));
        EXPECT_EQ(camera.getToolChangeCount(), ++count);
        EXPECT_EQ(camera.getTool("Probe_1") != nullptr, isPlugged);
        EXPECT_EQ(camera.getTool(1) != nullptr, isPlugged) << "its slot is its own again";
        EXPECT_TRUE(camera.getTool("Probe"));
    }
}

TEST(SimulatedCamera, PlugsAToolElsewhereWhenAClientHasItsSlotAndName)
{
    SceneTool late = scenes::tool("Late");
    late.plugged = {{0.1, 1e6}};
    SimulatedCamera camera(scenes::resultOf(scenes::sceneOf({late}, 1000)));
    Tool* const tool = create(camera, "Late");
    EXPECT_EQ(camera.getTool(0u), tool);
    EXPECT_TRUE(eventually([&] { return camera.getTool("Late_1") != nullptr; }));
    EXPECT_EQ(camera.getTool(0u), tool);
    EXPECT_EQ(camera.getTool(1)->getName(), "Late_1");
}

TEST(SimulatedCamera, ReportsItsFootswitch)
{
    Scene scene = scenes::sceneOf({scenes::tool("A")}, 1000);
    scene.footswitch = {1e6, {{3, 0.1, 0.2}, {4, 0.3, 1e6}}};
    SimulatedCamera camera(scenes::resultOf(scene));
    SwitchState now{77, true};
    camera.requestSwitch(now.number, now.isPressed);
    EXPECT_EQ(now, (SwitchState{3, false}));
    EXPECT_TRUE(eventually(
        [&]
        {
            camera.requestSwitch(now.number, now.isPressed);
            return now == SwitchState{4, true};
        }));

    SwitchState told{77, true};
    camera.getSwitch(told.number, told.isPressed);
    EXPECT_EQ(told, SwitchState()) << "nobody asked for notifications";
}

TEST(SimulatedCamera, NotifiesOfEveryChangeOfTheFootswitch)
{
    Scene scene = scenes::sceneOf({scenes::tool("A")}, 1000);
    scene.footswitch = {1e6, {{3, 0.1, 0.2}, {4, 0.3, 0.4}}};
    SimulatedCamera camera(scenes::resultOf(scene));
    SwitchObserver observer(camera);
    camera.enableSwitchStateNotification();
    EXPECT_TRUE(eventually([&] { return observer.states.size() >= 4; }));
    ASSERT_EQ(observer.states.size(), 4u);
    EXPECT_EQ(observer.states[0], (SwitchState{3, true}));
    EXPECT_EQ(observer.states[1], (SwitchState{3, false}));
    EXPECT_EQ(observer.states[2], (SwitchState{4, true}));
    EXPECT_EQ(observer.states[3], (SwitchState{4, false}));

    Matrix3x3 rotation;
    Vector3d stored;
    EXPECT_EQ(camera.getTool(0u)->getStoredTransform(rotation, stored), 1);
    EXPECT_LT((stored - MIDDLE_OF_VOLUME).length(), 1e-3) << "the poses of that moment are kept";
}

TEST(SimulatedCamera, ServesManySessionsWhileFramesAreComputed)
{
    SceneTool comesAndGoes = scenes::tool("Comes");
    comesAndGoes.plugged = {{0, 0.01}};
    SceneTool moving = scenes::tool("Moving");
    moving.motion = orbit(1);
    moving.noise = 0.1;
    Scene scene = scenes::sceneOf({moving, comesAndGoes}, 1000);
    scene.loop = 0.02;
    scene.numberOfSlots = 16;
    scene.footswitch = {0.01, {{1, 0.002, 0.005}}};
    RunningCamera camera(scene);
    camera->enableSwitchStateNotification();

    std::atomic<int> made{0};
    const auto session = [&](unsigned int number)
    {
        for (int i = 0; i < 60; ++i)
        {
            const Toollist::ModuleCall call(*camera);
            Tool* const tool = create(*camera, "Client");
            const unsigned int slot = i % 3 == 2 ? 16 : 2 + number; // there is no slot 16: that tool goes again
            if (tool && camera->initTool(slot, tool))
            {
                tool->setNormalVector(0, {0, 0, 1});
                tool->setImaginaryMarker(0, {1, 2, static_cast<double>(i)});
                made += camera->updateCalibration(tool) ? 1 : 0;
            }
            int switchNumber;
            bool isPressed;
            camera->requestSwitch(switchNumber, isPressed);
            namesIn(*camera);
            Vector3d position;
            positionOf(*camera, "Moving", position);
        }
    };
    std::vector<std::thread> sessions;
    for (unsigned int number = 0; number < 4; ++number)
        sessions.emplace_back(session, number);
    for (std::thread& thread : sessions)
        thread.join();

    EXPECT_EQ(made, 4 * 40);
    std::map<std::string, int> occurrences;
    for (const std::string& name : namesIn(*camera))
        EXPECT_EQ(++occurrences[name], 1) << name;
}
