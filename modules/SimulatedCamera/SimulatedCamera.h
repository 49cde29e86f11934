#pragma once

#include <SimulatedCamera/FrameClock.h>
#include <SimulatedCamera/TrackerSimulation.h>

#include <TSBase/Toollist.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

class QTimer;

/// A camera module without a camera: it shows the tools of a scene as an optical tracker would see them, with noise,
/// hidden markers, tools that are plugged and unplugged, and a footswitch. Clients can make tools of their own in it.
///
/// When the scene cannot be read the status is SCENE_ERROR with a text that names file, section and key; the list is
/// empty then, no frames are computed and tools cannot be made.
///
/// Thread: frames are computed where the list lives; the list may be moved to another thread at any time. Sessions
/// call the operations of a Toollist from theirs. Poses, visibility and the footswitch depend on the number of the
/// frame alone, not on how punctual the frames are.
/// Ownership: as with any Toollist, the list owns its tools.
class SimulatedCamera : public Toollist
{
    Q_OBJECT

public:
    static constexpr int SCENE_ERROR = 1;

    /// Shows the scene in the file that the settings key "Tobrel/Navigation/SimulatedCamera/Scene" names; the built-in
    /// one when there is no such key or it is empty. Begins at once: frame 0 is computed here.
    SimulatedCamera();
    explicit SimulatedCamera(const simulation::SceneResult& scene);

    /// The scene's frame rate; 0 when there is no scene.
    float getUpdateRate() override;
    void enableSwitchStateNotification() override;

protected:
    /// Makes a tool that stands still in the middle of the volume, in the first free slot, under the next free name
    /// ("Probe", "Probe_1", ...). Null, with a line in the log, when the name is empty, the name or the second name
    /// exceeds 31 bytes, the type is not an 8-bit code, the markers are not 3 to 32 or the imaginary points more than
    /// 8, a coordinate is not finite, or no slot is free. The second name becomes the owner's, too.
    Tool* _createTool(int ID, int GID, const std::string& name, const std::string& secondName, int type,
                      int startCalibrationPoint, int reserved, std::vector<Vector3d> realMarkers,
                      std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, bool flag) override;
    /// Moves the tool to a slot. A tool that stood there is unplugged, and deleted as soon as nobody uses it; but one
    /// that a client has made and not initialised yet is put where the new tool was. False when the tool is none of
    /// this list, and when there is no such slot: a client's tool is then removed again.
    bool _initTool(unsigned int slot, Tool* tool) override;
    /// True.
    bool _loadTool(Tool* tool) override;
    /// True for the tools of this list; new points and normals take part from the next frame on.
    bool _updateCalibration(Tool* tool) override;
    /// The footswitch in the current frame. Takes no lock: sessions ask in a busy loop.
    void _requestSwitch(int& number, bool& state) override;
    void _getSwitchState(int& number, bool& state) override;

private:
    using Lock = std::lock_guard<std::mutex>;

    void computeDueFrames();
    void computeFrame();
    void followScenePlugs();
    void deliver();
    void setFootswitch(const simulation::SwitchState& state);

    std::vector<Tool*> slotContents() const;
    Tool* plug(int number, std::size_t wantedSlot);
    void unplug(int number);
    void forget(int number);
    int numberOf(const Tool* tool) const;
    bool isOfScene(int number) const;

    const std::shared_ptr<const simulation::Scene> m_Scene; // an empty one when it could not be read
    const bool m_IsWorking;

    /// Guards the four below and every change of the slots: frames meet the sessions' requests here. Held for
    /// computing and while the slots are replaced; no observer is called and no socket waited for.
    std::mutex m_Mutex;
    simulation::TrackerSimulation m_Simulation;
    std::vector<bool> m_WasPlugged; // scene tools: whether the scene had them plugged in the last frame
    std::map<int, Tool*> m_Tools;   // what stands in the slots, by its number in the simulation
    std::set<int> m_NewTools;       // those of clients that are not initialised yet

    std::atomic<simulation::SwitchState> m_Footswitch;
    std::atomic<bool> m_IsSwitchWatched;

    simulation::FrameClock m_Clock; // these two: the constructor's thread, then the list's
    QTimer* m_Timer;                // single shots, from frame to frame
};
