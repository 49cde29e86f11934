#pragma once

#include "Options.h"

#include <QThread>

#include <mutex>

class ToolServer;

/// Runs a tool server on a thread of its own, so that the program's main thread hears that it is to end whatever the
/// server or its camera module waits for just then.
///
/// start() -> listening() -> requestEnd() -> finished(), or start() -> failed() -> finished().
///
/// Thread: lives in the main thread; the signals of its own are emitted on the server's.
class ServerThread : public QThread
{
    Q_OBJECT

public:
    explicit ServerThread(const Options& options);
    /// Waits for the server's end.
    ~ServerThread() override;

    /// Makes the server end soon; does not wait for that. Any thread may call it, at any time.
    void requestEnd();

signals:
    /// Clients can connect to address and port now; "module SimulatedCamera, 7 tools" tells what is served.
    void listening(const QString& address, int port, const QString& source);
    /// Something that was asked for could not be had; the server ends. Emitted once at most, and instead of
    /// listening().
    void failed(const QString& reason);

protected:
    void run() override;

private:
    void configure(ToolServer& server);
    void setServer(ToolServer* server);
    QString describe(const ToolServer& server) const;

    const Options m_Options;
    bool m_HasFailed = false; // the server's thread

    std::mutex m_Mutex; // guards m_Server
    ToolServer* m_Server = nullptr;
};
