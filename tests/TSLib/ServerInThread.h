#pragma once

#include <TSLib/ToolServer.h>

#include <support/Eventually.h>

#include <gtest/gtest.h>

#include <QThread>

#include <functional>
#include <future>
#include <string>
#include <utility>
#include <vector>

/// How a server is made.
struct ServerSetup
{
    std::string directory = TBR_TEST_PLUGINS;
    std::string module = "TestCamera";
    std::string logFile = "";
    bool isReplay = false;
    bool isRepeating = false;
    std::function<void(ToolServer&)> configure = [](ToolServer&) {};
};

/// A tool server that runs on a thread with an event loop, as in an application, while the test goes on as its client.
/// Unless the setup says otherwise, it serves the TestCamera on a port of the system's choice.
class ServerInThread : public QThread
{
public:
    explicit ServerInThread(ServerSetup setup = {}) : m_Setup(std::move(setup))
    {
        start();
        m_Made.get_future().wait();
    }
    ~ServerInThread() override { stop(); }

    /// Where clients connect; waits until they can.
    int port()
    {
        EXPECT_TRUE(eventually([this] { return m_Port != 0; })) << "the server does not listen";
        return m_Port;
    }
    /// The address of the signal that the server listens.
    std::string address()
    {
        port();
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Address;
    }
    std::vector<std::string> failures()
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Failures;
    }

    /// Ends the server, and with it its thread. Returns what run() returned.
    int stop()
    {
        {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            if (m_Server)
                m_Server->terminateMainThread();
        }
        wait();
        return m_Result;
    }

    /// Runs `work` on the server's thread, and waits for its end.
    void call(const std::function<void(ToolServer&)>& work)
    {
        std::promise<void> done;
        QMetaObject::invokeMethod(
            m_Server,
            [&]
            {
                work(*m_Server);
                done.set_value();
            },
            Qt::QueuedConnection);
        done.get_future().wait();
    }

protected:
    void run() override
    {
        ToolServer server(m_Setup.directory, m_Setup.module, m_Setup.logFile, m_Setup.isReplay, m_Setup.isRepeating);
        server.setPort(0);
        m_Setup.configure(server);
        connect(&server, &ToolServer::listening,
                [this](const QString& address, int port)
                {
                    const std::lock_guard<std::mutex> lock(m_Mutex);
                    m_Address = address.toStdString();
                    m_Port = port;
                });
        connect(&server, &ToolServer::startFailed,
                [this](const QString& reason)
                {
                    const std::lock_guard<std::mutex> lock(m_Mutex);
                    m_Failures.push_back(reason.toStdString());
                });
        connect(&server, &ToolServer::finished,
                [this](int result)
                {
                    m_Result = result;
                    quit();
                });
        setServer(&server);
        m_Made.set_value();
        QMetaObject::invokeMethod(&server, "run", Qt::QueuedConnection); // before its own timer would
        exec();
        setServer(nullptr);
    }

private:
    void setServer(ToolServer* server)
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Server = server;
    }

    const ServerSetup m_Setup;
    std::promise<void> m_Made;
    std::atomic<int> m_Port{0};
    std::atomic<int> m_Result{-1};
    std::mutex m_Mutex; // guards all below
    ToolServer* m_Server = nullptr;
    std::string m_Address;
    std::vector<std::string> m_Failures;
};
