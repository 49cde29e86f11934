#include "ServerThread.h"

#include <TSLib/ToolServer.h>

ServerThread::ServerThread(const Options& options) : m_Options(options) {}

ServerThread::~ServerThread()
{
    requestEnd();
    wait();
}

void ServerThread::requestEnd()
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
    if (m_Server)
        m_Server->terminateMainThread();
    quit(); // in case that the server has not begun to run
}

void ServerThread::run()
{
    const bool isReplay = !m_Options.replayFile.isEmpty();
    ToolServer server(m_Options.moduleDirectory.toStdString(), m_Options.module.toStdString(),
                      (isReplay ? m_Options.replayFile : m_Options.logFile).toStdString(), isReplay,
                      m_Options.isRepeating);
    configure(server);
    setServer(&server);
    exec();
    setServer(nullptr);
}

void ServerThread::configure(ToolServer& server)
{
    server.setPort(m_Options.port);
    server.setBindAddress(m_Options.bindAddress.toStdString());
    server.setAllowedClients(m_Options.allowedClients);
    server.setMaximumClients(m_Options.maximumClients);

    connect(&server, &ToolServer::startFailed,
            [this, &server](const QString& reason)
            {
                if (!m_HasFailed)
                    emit failed(reason);
                m_HasFailed = true;
                server.terminateMainThread();
            });
    connect(&server, &ToolServer::listening,
            [this, &server](const QString& address, int port)
            {
                if (!m_HasFailed)
                    emit listening(address, port, describe(server));
            });
    connect(&server, &ToolServer::finished, [this](int) { quit(); });
}

void ServerThread::setServer(ToolServer* server)
{
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Server = server;
}

QString ServerThread::describe(const ToolServer& server) const
{
    const Toollist& toollist = *server.getToollist();
    int tools = 0;
    for (unsigned int slot = 0; slot < toollist.getMaxNumberOfTools(); ++slot)
        tools += toollist.getTool(slot) ? 1 : 0;
    const QString source =
        m_Options.replayFile.isEmpty() ? "module " + m_Options.module : "replay of " + m_Options.replayFile;
    return QString("%1, %2 tools").arg(source).arg(tools);
}
