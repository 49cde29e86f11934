#pragma once

#include <TSBase/Toollist.h>
#include <TSClientInterface/CaServerStreamSocket.h>
#include <TSLib/AddressFilter.h>
#include <TSLib/ClientQueue.h>
#include <TSLib/RefusalLog.h>

#include <tbrCore/DLLFactory.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

class ClientSocketInterface;
class QThread;

/// The server end of the tracking protocol: loads a camera module, or replays a recording in its place, listens, and
/// gives every client a session of its own.
///
/// Constructed -> (500 ms) run() -> serving -> terminateMainThread() -> run() returns -> destructor.
///
/// Thread: construct it on a thread with an event loop; run() then occupies that thread, and lets its pending events
/// run, until the server is told to stop. Sessions are made and deleted there. The camera module lives in a thread of
/// its own, each session in another, and one thread of the global pool accepts clients as fast as they come.
/// terminateMainThread() may be called from any thread. Ownership: the server owns the tool list, the camera's thread
/// and the sessions.
///
/// Clients that are gone without a word are noticed within a minute. While the process is short of descriptors new
/// clients are sent away, and those that are served are served on.
class TBR_NAVIGATION_EXPORT ToolServer : public CaServerStreamSocket
{
    Q_OBJECT

public:
    static constexpr int DEFAULT_PORT = 2222;

    /// Prepares a server and schedules run(). The module is `moduleName` in `pluginDirectory`; with an empty directory
    /// it is looked up on the system's library path. With `replay` no module is loaded and `logFileName` is played,
    /// repeatedly with `replayOption`; otherwise a `logFileName` that is not empty is recorded to. Texts are UTF-8.
    ToolServer(const std::string& pluginDirectory, const std::string& moduleName, const std::string& logFileName,
               bool replay, bool replayOption);
    ~ToolServer() override;

    /// Before run(): the port to listen on (0 lets the system choose), the one address to listen on (default: all), the
    /// networks that clients may come from (default: all), the most clients at a time (default 0: no limit). A client
    /// that may not come in sees its connection closed; the log tells of it once for each address and minute.
    void setPort(int port);
    void setBindAddress(const std::string& address);
    void setAllowedClients(const AddressFilter& filter);
    void setMaximumClients(int count);

    /// The port that clients connect to: as set, or as chosen by the system once the server listens.
    int getPort() const;
    const std::string& getBindAddress() const;
    /// The tools that clients are served from; null before run() and when no module could be loaded.
    Toollist* getToollist() const;

    /// Makes run() return soon. Does not wait for that, but connects to the server's port on the way to wake it.
    void terminateMainThread();

    /// The replay list or the camera module's list; null, with the reason in the log, when the module cannot be loaded.
    Toollist* createToollist(const std::string& modulePath);
    /// Logs the names of the modules in a directory.
    void showModuleList(const std::string& directory);

public slots:
    /// The server's main loop. Returns 0 when it was told to stop, 1 when there is no tool list to serve. Scheduled by
    /// the constructor; a second call while it serves, or after it has served, returns 1.
    int run();
    /// Deletes the session that sent the signal.
    void clientSocketInterfaceExit();

signals:
    /// Clients can connect now.
    void listening(const QString& address, int port);
    /// Something that was asked for could not be had: the module, the replay or recording file, the port. run() goes on
    /// wherever it can, for an application that can do without; others call terminateMainThread().
    void startFailed(const QString& reason);
    /// run() is about to return `result`.
    void finished(int result);

private:
    int serve();
    void startCamera();
    void openPort();
    void acceptClients();
    void queueClients();
    bool waitForAnybody();
    bool sendOneAway();
    AcceptedClient waitForClient();
    void wakeAccept();
    bool mayComeIn(const AcceptedClient& client);
    bool refuse(const AcceptedClient& client, const char* category, const std::string& reason);
    void startSession(const AcceptedClient& client);
    void deleteEndedSessions();
    void endSession(const ClientSocketInterface* session);
    bool deleteSession(const ClientSocketInterface* session);
    void stopCamera();

    Toollist* m_Toollist;
    std::unique_ptr<QThread> m_CameraThread;
    std::atomic<int> m_Port;
    std::unique_ptr<DLLFactory<ToollistFactory>> m_Factory;
    std::vector<std::unique_ptr<ClientSocketInterface>> m_Sessions;       // in order of connection
    std::vector<std::unique_ptr<ClientSocketInterface>> m_EndingSessions; // told to stop, but busy in the camera module
    std::string m_ModulePath;
    const std::string m_LogFileName;
    const bool m_IsReplay;
    const bool m_ReplayOption;
    std::atomic<bool> m_StopRequested;

    ClientQueue m_Clients; // accepted, and not served yet
    std::atomic<bool> m_IsListening;
    std::atomic<bool> m_IsAccepting; // a thread of the pool waits for a client, or is about to
    int m_SpareSocket;               // used by that thread only: a descriptor to give up when there is no other
    std::atomic<bool> m_IsRunning;
    std::string m_BindAddress;
    AddressFilter m_AllowedClients;
    int m_MaximumClients;
    RefusalLog m_Refusals;
};
