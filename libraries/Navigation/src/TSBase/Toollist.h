#pragma once

#include <TSBase/GracePeriod.h>
#include <TSBase/Tool.h>
#include <TSBase/ToolTable.h>
#include <TSBase/ToollistFactory.h>

#include <tbrCore/CaSubject.h>

#include <QObject>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class QTimer;

/// The tool server's list of tools: a table of slots, each empty or holding one Tool, the camera's status, its
/// footswitch, and the recording of the tracking log. A camera module implements it for one device.
///
/// Thread: the list lives in the camera's thread, where its timers run. Every public operation may be called from any
/// thread; so may the protected setStatus(), toolSetChanged(), insertTool() and removeTool(). The virtuals createTool()
/// to requestSwitch() forward to are called on the threads of the sessions, several at a time.
///
/// Lifetime of tools: the list owns the tools in its slots. A pointer from getTool() is good as long as the caller
/// knows that nobody removes the tool. Code on other threads looks tools up in a Reading, which keeps them alive:
/// removeTool() and insertTool() return when no Reading can still see what they took out of the table.
class TBR_NAVIGATION_EXPORT Toollist : public QObject, public CaSubject
{
    Q_OBJECT

public:
    /// Event name for observers: the footswitch has changed; read it with getSwitch().
    static const char* const SWITCH_STATE_CHANGED_NOTIFICATION;

    /// A look at the table from any thread: while it lives, none of its tools is deleted. Keep it short: copy what is
    /// needed, and never wait for anything, call a module or change the table while it lives.
    class Reading
    {
    public:
        explicit Reading(const Toollist& list) : m_Section(list.m_Grace), m_Table(*list.m_Table.load()) {}

        unsigned int size() const { return m_Table.size(); }
        Tool* tool(unsigned int slot) const { return m_Table.tool(slot); }
        Tool* tool(std::string_view name) const { return m_Table.tool(name); }
        const ToolTable& table() const { return m_Table; }

    private:
        GracePeriod::Section m_Section;
        const ToolTable& m_Table;
    };

    /// Keeps tools that are removed meanwhile from being deleted while a session hands one to the module, however long
    /// the module takes. A pointer found in a Reading stays good when the ModuleCall began before that Reading.
    class TBR_NAVIGATION_EXPORT ModuleCall
    {
    public:
        explicit ModuleCall(Toollist& list);
        ~ModuleCall();
        ModuleCall(const ModuleCall&) = delete;
        ModuleCall& operator=(const ModuleCall&) = delete;

    private:
        Toollist& m_List;
        std::uint64_t m_Number;
    };

    /// A list with `numberOfTools` empty slots, at least one.
    explicit Toollist(int numberOfTools);
    /// Ends a recording and deletes all tools.
    ~Toollist() override;

    /// 0 while the camera works; any other value is the module's own error code, explained by getErrorMsg().
    virtual int getStatus();
    /// The text for getStatus(). The reference is the calling thread's own copy, good until its next call.
    virtual std::string& getErrorMsg();
    /// Frames per second; 0 when unknown.
    virtual float getUpdateRate();
    /// Replay modules begin and end playing here; others return false and do nothing.
    virtual bool startReplay();
    virtual void stopReplay();
    /// Asks the module to call notifySwitchStateChanged() from now on.
    virtual void enableSwitchStateNotification() = 0;

    unsigned int getMaxNumberOfTools() const;
    /// Grows whenever the set of tools changes.
    int getToolChangeCount() const;
    /// The tool in a slot; null for an empty slot and beyond the table.
    Tool* getTool(unsigned int slot) const;
    /// The first tool, in slot order, with exactly this name; null if there is none.
    Tool* getTool(const std::string& name) const;

    /// Lets the module make a tool and put it into a slot; null when it refuses. `reserved` and `flag` are passed on.
    Tool* createTool(int ID, int GID, const std::string& name, const std::string& secondName, int type,
                     int startCalibrationPoint, int reserved, std::vector<Vector3d> realMarkers,
                     std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, bool flag);
    /// Each forwards to the module and returns its answer.
    bool initTool(unsigned int slot, Tool* tool);
    bool loadTool(Tool* tool);
    bool updateCalibration(Tool* tool);
    void requestSwitch(int& number, bool& state);

    /// The footswitch as of the last notification; the device is not asked.
    void getSwitch(int& number, bool& state) const;

    /// Begins to record all tools to a new file, every 50 ms. False, with a line in the log, when a recording runs
    /// already or the file cannot be written.
    bool startLogging(const std::string& fileName);
    void stopLogging();

protected:
    virtual Tool* _createTool(int ID, int GID, const std::string& name, const std::string& secondName, int type,
                              int startCalibrationPoint, int reserved, std::vector<Vector3d> realMarkers,
                              std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, bool flag) = 0;
    virtual bool _initTool(unsigned int slot, Tool* tool) = 0;
    virtual bool _loadTool(Tool* tool) = 0;
    virtual bool _updateCalibration(Tool* tool) = 0;
    virtual void _requestSwitch(int& number, bool& state) = 0;
    virtual void _getSwitchState(int& number, bool& state) = 0;
    /// To be called by the module when the footswitch has changed: keeps every tool's pose of this moment, refreshes
    /// the switch through _getSwitchState(), and notifies the observers.
    virtual void notifySwitchStateChanged();

    /// The content of a slot; null beyond the table.
    Tool* _getTool(unsigned int slot) const;
    /// Puts a tool into a slot; false when there is no such slot. A tool that stood there is the module's again, to
    /// delete or to insert elsewhere. `name` is accepted and not used.
    bool insertTool(unsigned int slot, const std::string& name, Tool* tool);
    /// Takes the first tool with this name out of its slot and deletes it (once no session is handing it to the
    /// module); false when there is none.
    bool removeTool(const std::string& name);
    /// Appends "_1", "_2", ... to `name` until no tool has it; leaves it alone when it is free.
    void createUniqueRuntimeToolName(std::string& name) const;

    /// Sets what getStatus() and getErrorMsg() report.
    void setStatus(int status, const std::string& errorMsg);
    /// Adds one to the change count. To be called after each change of the set of tools, not before it.
    void toolSetChanged();

    /// Each appends one block to the recording; nothing happens when none runs.
    void logToollistContent();
    void logToolPositions();

    /// Replaces the whole table and deletes the tools of the old one that are not in the new one.
    void replaceTable(std::vector<Tool*> tools);

    /// Makes `timer`, a child of the list, run exactly while the flag is set, on the thread where it lives. To be
    /// called after each change of the flag, from any thread. `how`: at once if that is this thread, or always queued.
    static void runTimerWhile(const std::atomic<bool>& isRunning, QTimer* timer, int periodMs, Qt::ConnectionType how);

private slots:
    void doLog();

private:
    using Lock = std::lock_guard<std::mutex>;

    std::unique_ptr<const ToolTable> publish(std::vector<Tool*> tools);
    void deleteWhenUnused(Tool* tool);
    void appendToollistBlock(const ToolTable& table);
    void appendPositionBlock(const ToolTable& table);
    bool beginLog();
    bool recordLogBlock();
    int writeLogBlock();
    void closeLog();

    std::atomic<int> m_Status;
    std::string m_ErrorMsg;
    mutable std::mutex m_StatusMutex; // guards m_ErrorMsg, and m_Status against it
    std::atomic<int> m_ToolChangeCount;

    std::mutex
        m_TableMutex; // one thread at a time replaces the table; nothing is called or waited for while it is held
    std::atomic<const ToolTable*> m_Table;
    mutable GracePeriod m_Grace; // readers of m_Table and of the tools in it

    std::mutex m_ModuleCallMutex; // guards the three below; nothing is called while it is held
    std::uint64_t m_NextModuleCall;
    std::set<std::uint64_t> m_ModuleCalls;
    std::deque<std::pair<std::uint64_t, Tool*>> m_RemovedTools; // each waits for the calls that began before its number

    mutable std::mutex m_SwitchMutex; // guards the two below
    int m_SwitchNumber;
    bool m_SwitchState;

    std::mutex m_LogMutex; // guards all below; held while a block is written, by the camera's thread only
    bool m_LoggingEnabled;
    std::atomic<bool> m_LoggingRunning; // atomic for the timer, which looks at it without the mutex
    std::FILE* m_LogFile;
    std::int64_t m_LogSize; // up to the end of the last complete block
    bool m_LogFailed;
    int m_LastLoggedChangeCount;
    std::vector<char> m_LogBlock;
    QTimer* m_LoggingTimer; // set once, by the constructor
};
