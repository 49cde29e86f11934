#pragma once

#include <TSBase/Toollist.h>
#include <TSClientInterface/CaClientStreamSocket.h>

#include <atomic>
#include <condition_variable>
#include <iosfwd>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

/// A camera module that does what a test tells it, while the server runs in a process of its own.
///
/// The test listens on the loopback port that the environment variable TBR_TEST_CAMERA names; the camera connects to it
/// and obeys one command after the other, each a framed text that is answered, once it is carried out, with "ok", "ok "
/// and a result, or "error " and the reason. Without that variable it is a camera without tools.
///
/// The constructor obeys, too, and returns at the command `start`: what is commanded before it is there before the
/// server listens or records. Lists of points are written like "1,2,3;4,5,6", names without blanks.
///
///     start                                     let the server go on starting
///     reset                                     as it was at the beginning: no tools, status 0, nothing refused
///     plug SLOT NAME [KEY=VALUE]...             a new tool, visible at the origin, instead of the one in the slot;
///     keys
///                                               id gid second owner type start jacks (numbers, texts) real imag
///                                               (points)
///     unplug NAME                               take it away
///     rename NAME NEWNAME                       replace it by an equal tool of another name
///     churn NAME COUNT                          replace it COUNT times by an equal one
///     move NAME R11 R12 ... R33 X Y Z RMS       its pose from now on, exactly (no averaging)
///     sweep NAME COUNT                          COUNT poses without rotation; the n-th has the translation n, n, n
///     hide NAME                                 out of view
///     markers NAME POINTS                       its measured marker positions
///     switch NUMBER on|off                      the footswitch, with notification
///     status CODE [TEXT]                        the camera's status
///     refuse|accept createTool|initTool|updateCalibration
///     block createTool|initTool|updateCalibration    keep the session that calls it next, until `release`
///     release
///     await CALL                                done when CALL, or requestSwitch, was called since the last `await`
///     for
///                                               it
///     calls                                     the calls so far with their arguments, one a line; forgets them
///
/// Thread: commands after `start` run on a thread of the camera, sessions call the rest.
class TestCamera : public Toollist
{
public:
    static constexpr int SLOTS = 8;

    TestCamera();
    ~TestCamera() override;

    void enableSwitchStateNotification() override {}

protected:
    Tool* _createTool(int ID, int GID, const std::string& name, const std::string& secondName, int type,
                      int startCalibrationPoint, int reserved, std::vector<Vector3d> realMarkers,
                      std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, bool flag) override;
    bool _initTool(unsigned int slot, Tool* tool) override;
    bool _loadTool(Tool* tool) override;
    bool _updateCalibration(Tool* tool) override;
    void _requestSwitch(int& number, bool& state) override;
    void _getSwitchState(int& number, bool& state) override;

private:
    using Arguments = std::istringstream;
    using Command = void (TestCamera::*)(Arguments&);
    using Lock = std::unique_lock<std::mutex>;

    /// Ends its own reading from another thread.
    class ControlSocket : public CaClientStreamSocket
    {
    public:
        using CaClientStreamSocket::shutdown;
    };

    static const std::map<std::string, Command> ourCommands;

    bool obeyNext();
    std::string obey(const std::string& text);

    void start(Arguments& arguments);
    void reset(Arguments& arguments);
    void plug(Arguments& arguments);
    void unplug(Arguments& arguments);
    void rename(Arguments& arguments);
    void churn(Arguments& arguments);
    void move(Arguments& arguments);
    void sweep(Arguments& arguments);
    void hide(Arguments& arguments);
    void markers(Arguments& arguments);
    void setSwitch(Arguments& arguments);
    void status(Arguments& arguments);
    void refuse(Arguments& arguments);
    void accept(Arguments& arguments);
    void block(Arguments& arguments);
    void release(Arguments& arguments);
    void await(Arguments& arguments);
    void calls(Arguments& arguments);

    Tool& toolIn(Arguments& arguments);
    void replaceTool(Tool& tool, const std::string& name);
    void note(const std::string& call, const std::string& arguments);
    bool isAccepted(const std::string& call);

    ControlSocket m_Control;
    std::thread m_ControlThread;
    bool m_IsStarted = false; // these two: the thread that obeys
    std::string m_Result;

    std::mutex m_SlotsMutex; // one thread at a time changes what stands in the slots

    std::mutex m_Mutex; // guards all below; nothing is called while it is held
    std::condition_variable m_Changed;
    std::set<std::string> m_Refused;
    std::string m_Blocked;
    std::map<std::string, int> m_CallCounts;
    std::string m_Calls;
    int m_SwitchNumber = 0;
    bool m_IsSwitchPressed = false;
};
