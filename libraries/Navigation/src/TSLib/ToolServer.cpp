#include <TSLib/ToolServer.h>

#include <TSBase/ReplayTL.h>
#include <TSClientInterface/CaClientStreamSocket.h>
#include <TSClientInterface/SocketPlatform.h>
#include <TSClientInterface/SocketResult.h>
#include <TSLib/ClientSocketInterface.h>

#include <tbrBase/FilePlatform.h>
#include <tbrBase/WatchdogException.h>
#include <tbrBase/msleep.h>
#include <tbrBase/safelyDeleteThreadedObject.h>
#include <tbrCore/DLLManager.h>
#include <tbrCore/Log.h>

#include <QCoreApplication>
#include <QThread>
#include <QThreadPool>
#include <QTimer>
#include <QtConcurrent>

#include <algorithm>
#include <chrono>
#include <exception>
#include <iostream>
#include <sstream>

namespace
{

constexpr int START_DELAY_MS = 500;
constexpr std::chrono::milliseconds POLL_PERIOD(50);
constexpr int WAITING_CLIENTS = 1024; // whom the system has no room for tries again after a whole second
constexpr long ACCEPT_LOOK_MS = 250;  // a wait for clients notices the end after this time even if it cannot be woken

/// A client is sent away while there are fewer: some are taken meanwhile by the thread that accepts clients, the rest
/// is for the camera module and the recording.
constexpr int DESCRIPTORS_NEEDED = static_cast<int>(ClientQueue::CAPACITY) + 12;

/// A silent client is asked for a sign of life after 20 s, every 10 s; without any for 50 s it counts as gone.
constexpr tbr::platform::KeepAlive KEEP_ALIVE{20, 10, 3};

const char* const EVERY_ADDRESS = "0.0.0.0";

const void* currentThread()
{
    return QThread::currentThread();
}

/// Whether this process may open so many more descriptors now.
bool canOpenDescriptors(int count)
{
    if (count == 0)
        return true;
    const int descriptor = tbr::platform::createSocket(false);
    if (descriptor < 0)
        return false;
    const bool canOpenTheRest = canOpenDescriptors(count - 1);
    tbr::platform::closeSocket(descriptor);
    return canOpenTheRest;
}

/// The module's tool list; null, with the reason in the log, when the module throws instead.
Toollist* createInstance(ToollistFactory& factory)
{
    try
    {
        return factory.createInstance();
    }
    catch (const std::exception& error)
    {
        TBR_LOG("ERROR") << "The camera module failed to make its tool list: " << error.what() << std::endl;
    }
    catch (...)
    {
        TBR_LOG("ERROR") << "The camera module failed to make its tool list." << std::endl;
    }
    return nullptr;
}

} // namespace

ToolServer::ToolServer(const std::string& pluginDirectory, const std::string& moduleName,
                       const std::string& logFileName, bool replay, bool replayOption)
    : m_Toollist(nullptr), m_Port(DEFAULT_PORT), m_LogFileName(logFileName), m_IsReplay(replay),
      m_ReplayOption(replayOption), m_StopRequested(false), m_IsListening(false), m_IsAccepting(false),
      m_SpareSocket(-1), m_IsRunning(false), m_BindAddress(EVERY_ADDRESS), m_MaximumClients(0)
{
    if (m_IsReplay)
        TBR_LOG("toolserver") << "Using replay module as camera plugin.\n";
    else
    {
        if (!pluginDirectory.empty())
        {
            TBR_LOG("toolserver") << "Using \"" << pluginDirectory << "\" as directory for TS plugins.\n";
            showModuleList(pluginDirectory);
            m_ModulePath = pluginDirectory + "/";
        }
        else
            TBR_LOG("toolserver") << "Using library path provided by the system as directory for TS plugins.\n";
        m_ModulePath += moduleName + DLLManager::GetDLLExtension();
        TBR_LOG("toolserver") << "Trying to load \"" << m_ModulePath << "\" as camera plugin.\n";
    }
    QTimer::singleShot(START_DELAY_MS, this, SLOT(run()));
}

ToolServer::~ToolServer()
{
    TBR_LOG("toolserver") << "\n\nTS 3.0 - SHUTDOWN REQUESTED ...\n\n";
    // All are told first, so that together they take no longer than the slowest.
    for (const auto& session : m_Sessions)
        session->requestStop();
    m_Sessions.clear();
    m_EndingSessions.clear();
    stopCamera();
    m_Factory.reset();
    TBR_LOG("toolserver") << "\n... SHUTDOWN COMPLETED!\n\n";
}

void ToolServer::stopCamera()
{
    if (m_Toollist)
        m_Toollist->stopLogging();
    tbr::safelyDeleteThreadedObject(m_Toollist);
    m_Toollist = nullptr;
    if (!m_CameraThread)
        return;
    m_CameraThread->quit();
    m_CameraThread->wait();
}

void ToolServer::setPort(int port)
{
    m_Port = port;
}

void ToolServer::setBindAddress(const std::string& address)
{
    m_BindAddress = address;
}

void ToolServer::setAllowedClients(const AddressFilter& filter)
{
    m_AllowedClients = filter;
}

void ToolServer::setMaximumClients(int count)
{
    m_MaximumClients = count;
}

int ToolServer::getPort() const
{
    return m_Port;
}

const std::string& ToolServer::getBindAddress() const
{
    return m_BindAddress;
}

Toollist* ToolServer::getToollist() const
{
    return m_Toollist;
}

void ToolServer::terminateMainThread()
{
    m_StopRequested = true;
    wakeAccept();
}

/// Ends a wait for clients by connecting to ourselves. While it runs without anybody who takes clients from its port,
/// connecting could block for want of room in the queue of clients, or reach another server.
void ToolServer::wakeAccept()
{
    if (m_IsRunning && !(m_IsListening && m_IsAccepting))
        return;
    CaClientStreamSocket waker;
    waker.open(m_BindAddress == EVERY_ADDRESS ? "localhost" : m_BindAddress.c_str(), m_Port);
}

int ToolServer::run()
{
    if (m_IsRunning || m_CameraThread) // serves, or has served: the camera runs on until this object goes
        return 1;
    m_IsRunning = true;
    const int result = serve();
    m_IsRunning = false;
    emit finished(result);
    return result;
}

int ToolServer::serve()
{
    TBR_LOG("toolserver") << "     - TS main thread (" << currentThread() << ") started\n";
    if (!m_Toollist)
        m_Toollist = createToollist(m_ModulePath);
    if (!m_Toollist)
    {
        emit startFailed(QString::fromStdString(m_Factory->getErrorMessage().empty()
                                                    ? "The camera module \"" + m_ModulePath + "\" made no tool list"
                                                    : m_Factory->getErrorMessage()));
        return 1;
    }
    startCamera();
    openPort();
    TBR_LOG("toolserver") << "Main thread (" << currentThread() << ") running.\n\n";
    acceptClients();
    std::cout << "finished\n" << std::flush;
    return 0;
}

/// Reports the camera's status, begins to replay or record, and gives the camera its thread.
void ToolServer::startCamera()
{
    if (m_Toollist->getStatus() != 0)
    {
        TBR_LOG("toolserver") << "\n\nError starting up TS 3.0!\n";
        TBR_LOG("toolserver") << "Waiting for clients to request error status ...\n";
    }
    else
        TBR_LOG("toolserver") << "\n\nTS 3.0 successfully started ...\n\n";

    if (!m_LogFileName.empty())
    {
        if (m_IsReplay && !m_Toollist->startReplay())
            emit startFailed("The tracking log \"" + QString::fromStdString(m_LogFileName) +
                             "\" cannot be replayed: it is missing, unreadable or not a complete tracking log");
        else if (!m_IsReplay && !m_Toollist->startLogging(m_LogFileName))
            emit startFailed("The tracking log \"" + QString::fromStdString(m_LogFileName) + "\" cannot be written");
    }

    m_CameraThread = std::make_unique<QThread>();
    m_Toollist->moveToThread(m_CameraThread.get());
    m_CameraThread->start(QThread::InheritPriority);
    m_CameraThread->setPriority(QThread::HighPriority);
}

void ToolServer::openPort()
{
    setBacklog(WAITING_CLIENTS);
    const bool isOpen = m_BindAddress == EVERY_ADDRESS ? open(m_Port) == 0 : open(m_BindAddress, m_Port) == 0;
    if (!isOpen || listen() != 0)
    {
        TBR_LOG("toolserver") << "Error on main socket - while opening the socket.\n";
        emit startFailed("Port " + QString::number(m_Port) + " on " + QString::fromStdString(m_BindAddress) +
                         " cannot be opened: it is in use, not permitted, or the address is not this machine's");
        return;
    }
    m_Port = getPortNumber();
    m_IsListening = true;
    emit listening(QString::fromStdString(m_BindAddress), m_Port);
}

void ToolServer::acceptClients()
{
    m_Clients.open();
    QFuture<void> acceptance = QtConcurrent::run([this] { queueClients(); });
    while (!m_StopRequested)
    {
        const AcceptedClient client = waitForClient();
        std::cout << "new client connection\n" << std::flush;
        if (client.result < 0)
            continue;
        if (m_StopRequested || !mayComeIn(client))
        {
            tbr::platform::closeSocket(client.socket);
            continue;
        }
        TBR_LOG("toolserver") << "\t\tMain thread (" << currentThread() << ") request on main socket (" << m_Port
                              << std::endl;
        TBR_LOG("toolserver") << ") from client: " << client.address << std::endl;
        startSession(client);
        QCoreApplication::processEvents();
    }
    m_Clients.close();
    while (!acceptance.isFinished())
    {
        shutdown(); // the port; again, because the accept that is about to begin would open it again
        tbr::msleep(1);
    }
    for (AcceptedClient client; m_Clients.take(client, std::chrono::milliseconds(0));)
        if (client.result == SocketResult::SUCCESS)
            tbr::platform::closeSocket(client.socket);
}

/// Accepts clients until the server is told to stop. Runs on a thread of the pool. Before each accept it waits for
/// somebody to come: unlike the accept, that takes no descriptor and so does not fail for the want of one.
void ToolServer::queueClients()
{
    m_SpareSocket = tbr::platform::createSocket(false);
    while (!m_StopRequested)
    {
        m_IsAccepting = true;
        const bool isAnybodyThere = waitForAnybody() && !m_StopRequested;
        AcceptedClient client;
        if (isAnybodyThere)
            client.result = waitForClientRequest2(&client.socket, &client.address);
        m_IsAccepting = false;
        if (!isAnybodyThere)
            continue;
        if (!m_Clients.put(client) && client.result == SocketResult::SUCCESS)
            tbr::platform::closeSocket(client.socket);
        if (client.result < 0 && !sendOneAway())
            tbr::msleep(static_cast<int>(POLL_PERIOD.count())); // what is lacking may come back
    }
    m_Clients.close();
    tbr::platform::closeSocket(m_SpareSocket);
}

/// False when there is nobody to accept for some time. Without a port nothing is waited for: the accept says so.
bool ToolServer::waitForAnybody()
{
    return !m_IsListening || waitForInput(ACCEPT_LOOK_MS) != SocketResult::NOTHING_YET;
}

/// After an accept that failed: if a client waits, accepts it in place of the spare descriptor and closes its
/// connection, so that it knows. False when there is no such client.
bool ToolServer::sendOneAway()
{
    if (!m_IsListening || m_StopRequested || waitForInput(0) != SocketResult::SUCCESS)
        return false;
    tbr::platform::closeSocket(m_SpareSocket);
    tbr::platform::SocketAddress address;
    const int client = tbr::platform::acceptConnection(m_Descriptor, address);
    if (client > 0)
        tbr::platform::closeSocket(client);
    m_SpareSocket = tbr::platform::createSocket(false);
    return client > 0;
}

/// Waits for the next client, while this thread goes on with its pending events.
AcceptedClient ToolServer::waitForClient()
{
    AcceptedClient client;
    while (!m_Clients.take(client, POLL_PERIOD) && !m_Clients.isClosed())
    {
        QCoreApplication::processEvents();
        deleteEndedSessions();
        if (m_StopRequested)
            wakeAccept(); // again: the first wake may have come before the wait had begun
    }
    QCoreApplication::processEvents(); // sessions that ended before make room for this client
    deleteEndedSessions();
    return client;
}

bool ToolServer::mayComeIn(const AcceptedClient& client)
{
    if (!m_AllowedClients.allows(client.address))
        return refuse(client, "toolserver", "is not allowed and was sent away.");
    const std::size_t count = m_Sessions.size() + m_EndingSessions.size();
    if (m_MaximumClients > 0 && count >= static_cast<std::size_t>(m_MaximumClients))
        return refuse(client, "toolserver", "was sent away: there are " + std::to_string(count) + " clients already.");
    if (!canOpenDescriptors(DESCRIPTORS_NEEDED))
        return refuse(client, "ERROR", "was sent away: this process may not open more descriptors.");
    return true;
}

/// Logs why a client is sent away, unless its address has had a line just before; returns false.
bool ToolServer::refuse(const AcceptedClient& client, const char* category, const std::string& reason)
{
    const auto line = m_Refusals.lineFor(client.address, reason, RefusalLog::Clock::now());
    if (line)
        TBR_LOG(category) << *line << std::endl;
    return false;
}

void ToolServer::startSession(const AcceptedClient& client)
{
    if (!tbr::platform::setKeepAlive(client.socket, KEEP_ALIVE))
        TBR_LOG("ERROR") << "A client from " << client.address << " will not be missed if it goes without a word."
                         << std::endl;
    m_Sessions.push_back(std::make_unique<ClientSocketInterface>(client.socket, m_Toollist));
    ClientSocketInterface* clientSocketInterface = m_Sessions.back().get();
    tbr::assertHolds(
        connect(clientSocketInterface, SIGNAL(connectionTerminated()), this, SLOT(clientSocketInterfaceExit())),
        "connect(clientSocketInterface, SIGNAL(connectionTerminated()), this, SLOT(clientSocketInterfaceExit()))",
        "TSLib/ToolServer.cpp", 283);
    if (clientSocketInterface->hasTerminated()) // before its signal was connected
        endSession(clientSocketInterface);
}

void ToolServer::clientSocketInterfaceExit()
{
    // A session signals once for an exit and once for the end of its connection. The second signal may be handled when
    // the session is gone and a new one stands at its address: only one that has terminated can be the sender.
    const auto* session = qobject_cast<const ClientSocketInterface*>(sender());
    endSession(session && session->hasTerminated() ? session : nullptr);
}

void ToolServer::endSession(const ClientSocketInterface* session)
{
    if (!deleteSession(session))
        TBR_LOG("toolserver") << "Suiciding thread " << currentThread() << " doesn't belong to a client server.\n";
    TBR_LOG("toolserver") << "\t\tTerminating client thread " << currentThread() << std::endl;
}

/// Deletes a session and takes it off the list; false when it is not on the list.
bool ToolServer::deleteSession(const ClientSocketInterface* session)
{
    const auto found = std::find_if(m_Sessions.begin(), m_Sessions.end(),
                                    [session](const auto& candidate) { return candidate.get() == session; });
    if (!session || found == m_Sessions.end())
        return false;
    std::ostringstream line;
    line << "current thread " << currentThread();
    std::cout << line.str() << std::flush;
    TBR_LOG("toolserver") << "\t\tClient interface at socket " << session->getSocketNumber() << std::endl;
    std::unique_ptr<ClientSocketInterface> ended = std::move(*found);
    m_Sessions.erase(found);
    ended->requestStop();
    if (!ended->waitForEnd(POLL_PERIOD)) // the camera module holds it up: nobody else is to wait for that
        m_EndingSessions.push_back(std::move(ended));
    return true;
}

void ToolServer::deleteEndedSessions()
{
    const auto hasEnded = [](const auto& session) { return session->waitForEnd(std::chrono::milliseconds(0)); };
    m_EndingSessions.erase(std::remove_if(m_EndingSessions.begin(), m_EndingSessions.end(), hasEnded),
                           m_EndingSessions.end());
}

Toollist* ToolServer::createToollist(const std::string& modulePath)
{
    if (m_IsReplay)
        return new ReplayTL(m_LogFileName, m_ReplayOption);

    m_Factory = std::make_unique<DLLFactory<ToollistFactory>>(modulePath.c_str());
    if (m_Factory->getFactory())
        return createInstance(*m_Factory->getFactory());
    TBR_LOG("toolserver") << "Error opening DLL!" << std::endl;
    if (!m_Factory->getErrorMessage().empty())
        TBR_LOG("toolserver") << "DLL Error: " << m_Factory->getErrorMessage() << std::endl;
    return nullptr;
}

void ToolServer::showModuleList(const std::string& directory)
{
    const std::vector<std::string> names = tbr::platform::listFiles(directory, DLLManager::GetDLLExtension());
    if (names.empty())
        TBR_LOG("toolserver") << "Error finding file.\n";
    for (const std::string& name : names)
        TBR_LOG("toolserver") << name << std::endl;
}
