#pragma once

#include <TSBase/Toollist.h>

#include <QThread>

#include <atomic>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// A tool that answers to a name; what else it is does not matter. The caller owns it until it is inserted.
inline Tool* makeTool(const std::string& name, std::vector<Vector3d> realMarkers = {},
                      std::vector<Vector3d> imaginaryMarkers = {})
{
    return new Tool(7, 1, name, "Second", "Owner", 14, 0, 0, std::move(realMarkers), std::move(imaginaryMarkers), 0, 1);
}

/// A tool that says when it is deleted.
class MortalTool : public Tool
{
public:
    MortalTool(const std::string& name, std::atomic<bool>& isDeleted)
        : Tool(7, 1, name, "Second", "Owner", 14, 0, 0, {}, {}, 0, 1), m_IsDeleted(isDeleted)
    {
    }
    ~MortalTool() override { m_IsDeleted = true; }

private:
    std::atomic<bool>& m_IsDeleted;
};

/// A tool list without a device. What the module is asked is recorded, what it answers is scripted (set the scripts
/// before other threads come in), and the helpers that a module uses are open to the test.
class TestToollist : public Toollist
{
public:
    struct Creation
    {
        int ID;
        int GID;
        std::string name;
        std::string secondName;
        int type;
        int startCalibrationPoint;
        int reserved;
        std::vector<Vector3d> realMarkers;
        std::vector<Vector3d> imaginaryMarkers;
        unsigned int numberOfJacks;
        bool flag;
    };
    /// One request of a session about a tool: the operation's name, the slot (0 when it has none), the tool.
    struct Request
    {
        std::string operation;
        unsigned int slot;
        Tool* tool;

        bool operator==(const Request& other) const
        {
            return operation == other.operation && slot == other.slot && tool == other.tool;
        }
    };

    explicit TestToollist(int numberOfTools) : Toollist(numberOfTools) {}

    std::function<Tool*(const Creation&)> onCreateTool = [](const Creation&) { return nullptr; };
    std::function<bool(unsigned int, Tool*)> onInitTool = [](unsigned int, Tool*) { return true; };
    std::function<bool(Tool*)> onLoadTool = [](Tool*) { return true; };
    std::function<bool(Tool*)> onUpdateCalibration = [](Tool*) { return true; };
    std::function<void(int&, bool&)> onRequestSwitch = [](int&, bool&) {};
    std::function<void(int&, bool&)> onGetSwitchState = [](int&, bool&) {};
    std::atomic<int> switchNotificationsEnabled{0};

    std::vector<Creation> creations() const
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Creations;
    }
    std::vector<Request> requests() const
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Requests;
    }

    /// One step of the recording timer, on the calling thread.
    void tick() { QMetaObject::invokeMethod(this, "doLog", Qt::DirectConnection); }

    void enableSwitchStateNotification() override { ++switchNotificationsEnabled; }

    using Toollist::_getTool;
    using Toollist::createUniqueRuntimeToolName;
    using Toollist::insertTool;
    using Toollist::logToollistContent;
    using Toollist::logToolPositions;
    using Toollist::notifySwitchStateChanged;
    using Toollist::removeTool;
    using Toollist::replaceTable;
    using Toollist::setStatus;
    using Toollist::toolSetChanged;

protected:
    Tool* _createTool(int ID, int GID, const std::string& name, const std::string& secondName, int type,
                      int startCalibrationPoint, int reserved, std::vector<Vector3d> realMarkers,
                      std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, bool flag) override
    {
        const Creation creation = {ID,
                                   GID,
                                   name,
                                   secondName,
                                   type,
                                   startCalibrationPoint,
                                   reserved,
                                   realMarkers,
                                   imaginaryMarkers,
                                   numberOfJacks,
                                   flag};
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_Creations.push_back(creation);
        }
        return onCreateTool(creation);
    }
    bool _initTool(unsigned int slot, Tool* tool) override
    {
        record("_initTool", slot, tool);
        return onInitTool(slot, tool);
    }
    bool _loadTool(Tool* tool) override
    {
        record("_loadTool", 0, tool);
        return onLoadTool(tool);
    }
    bool _updateCalibration(Tool* tool) override
    {
        record("_updateCalibration", 0, tool);
        return onUpdateCalibration(tool);
    }
    void _requestSwitch(int& number, bool& state) override { onRequestSwitch(number, state); }
    void _getSwitchState(int& number, bool& state) override { onGetSwitchState(number, state); }

private:
    void record(const std::string& operation, unsigned int slot, Tool* tool)
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Requests.push_back({operation, slot, tool});
    }

    mutable std::mutex m_Mutex; // guards the two below
    std::vector<Creation> m_Creations;
    std::vector<Request> m_Requests;
};

/// A camera's thread with an event loop. The list that lives there comes back to the thread that made this, before the
/// thread ends.
class CameraThread
{
public:
    explicit CameraThread(Toollist& list) : m_List(list), m_Home(QThread::currentThread())
    {
        m_List.moveToThread(&m_Thread);
        m_Thread.start();
    }
    ~CameraThread()
    {
        call([this] { m_List.moveToThread(m_Home); });
        m_Thread.quit();
        m_Thread.wait();
    }
    CameraThread(const CameraThread&) = delete;
    CameraThread& operator=(const CameraThread&) = delete;

    /// Runs `work` on the camera's thread and waits for its end.
    void call(const std::function<void()>& work)
    {
        std::promise<void> done;
        QMetaObject::invokeMethod(
            &m_List,
            [&]
            {
                work();
                done.set_value();
            },
            Qt::QueuedConnection);
        done.get_future().wait();
    }

private:
    Toollist& m_List;
    QThread* m_Home;
    QThread m_Thread;
};
