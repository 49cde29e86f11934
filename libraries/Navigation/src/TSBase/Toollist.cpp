#include <TSBase/Toollist.h>

#include <TSBase/LogFormat.h>
#include <TSBase/TimeOfDay.h>

#include <tbrBase/FilePlatform.h>
#include <tbrBase/WatchdogException.h>
#include <tbrCore/Log.h>

#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace
{

constexpr int LOGGING_PERIOD_MS = 50;

} // namespace

const char* const Toollist::SWITCH_STATE_CHANGED_NOTIFICATION = "Toollist::SWITCH_STATE_CHANGED_NOTIFICATION";

Toollist::ModuleCall::ModuleCall(Toollist& list) : m_List(list)
{
    const Lock lock(list.m_ModuleCallMutex);
    m_Number = list.m_NextModuleCall++;
    list.m_ModuleCalls.insert(m_Number);
}

Toollist::ModuleCall::~ModuleCall()
{
    std::vector<Tool*> unused;
    {
        const Lock lock(m_List.m_ModuleCallMutex);
        m_List.m_ModuleCalls.erase(m_Number);
        auto& removed = m_List.m_RemovedTools;
        while (!removed.empty() &&
               (m_List.m_ModuleCalls.empty() || removed.front().first <= *m_List.m_ModuleCalls.begin()))
        {
            unused.push_back(removed.front().second);
            removed.pop_front();
        }
    }
    for (Tool* tool : unused)
        delete tool;
}

Toollist::Toollist(int numberOfTools)
    : m_Status(0), m_ToolChangeCount(0), m_Table(nullptr), m_NextModuleCall(0), m_SwitchNumber(0), m_SwitchState(false),
      m_LoggingEnabled(true), m_LoggingRunning(false), m_LogFile(nullptr), m_LogSize(0), m_LogFailed(false),
      m_LastLoggedChangeCount(0), m_LoggingTimer(new QTimer(this))
{
    tbr::assertHolds(connect(m_LoggingTimer, SIGNAL(timeout()), SLOT(doLog())),
                     "connect(m_loggingTimer, SIGNAL(timeout()), SLOT(doLog()))", "TSBase/Toollist.cpp", 193);
    m_Table = new ToolTable(std::vector<Tool*>(static_cast<std::size_t>(std::max(1, numberOfTools)), nullptr));
    TBR_LOG("toolserver") << "Toollist constructor (number of tools: " << getMaxNumberOfTools() << ")." << std::endl;
}

Toollist::~Toollist()
{
    stopLogging();
    TBR_LOG("toolserver") << "Toollist destructor - cleaning up tool list." << std::endl;
    replaceTable({});
    for (const auto& removed : m_RemovedTools)
        delete removed.second;
    delete m_Table.load();
}

int Toollist::getStatus()
{
    return m_Status;
}

std::string& Toollist::getErrorMsg()
{
    thread_local std::string copy;
    const Lock lock(m_StatusMutex);
    copy = m_ErrorMsg;
    return copy;
}

float Toollist::getUpdateRate()
{
    return 0.0f;
}

bool Toollist::startReplay()
{
    return false;
}

void Toollist::stopReplay() {}

void Toollist::setStatus(int status, const std::string& errorMsg)
{
    const Lock lock(m_StatusMutex);
    m_ErrorMsg = errorMsg;
    m_Status = status;
}

void Toollist::toolSetChanged()
{
    ++m_ToolChangeCount;
}

unsigned int Toollist::getMaxNumberOfTools() const
{
    return Reading(*this).size();
}

int Toollist::getToolChangeCount() const
{
    return m_ToolChangeCount;
}

Tool* Toollist::getTool(unsigned int slot) const
{
    return Reading(*this).tool(slot);
}

Tool* Toollist::getTool(const std::string& name) const
{
    return Reading(*this).tool(name);
}

Tool* Toollist::_getTool(unsigned int slot) const
{
    return getTool(slot);
}

Tool* Toollist::createTool(int ID, int GID, const std::string& name, const std::string& secondName, int type,
                           int startCalibrationPoint, int reserved, std::vector<Vector3d> realMarkers,
                           std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, bool flag)
{
    return _createTool(ID, GID, name, secondName, type, startCalibrationPoint, reserved, std::move(realMarkers),
                       std::move(imaginaryMarkers), numberOfJacks, flag);
}

bool Toollist::initTool(unsigned int slot, Tool* tool)
{
    return _initTool(slot, tool);
}

bool Toollist::loadTool(Tool* tool)
{
    return _loadTool(tool);
}

bool Toollist::updateCalibration(Tool* tool)
{
    return _updateCalibration(tool);
}

void Toollist::requestSwitch(int& number, bool& state)
{
    _requestSwitch(number, state);
}

/// Makes a new table visible to all and returns the old one, which readers may still see. m_TableMutex must be held.
std::unique_ptr<const ToolTable> Toollist::publish(std::vector<Tool*> tools)
{
    return std::unique_ptr<const ToolTable>(m_Table.exchange(new ToolTable(std::move(tools))));
}

bool Toollist::insertTool(unsigned int slot, const std::string& /*name*/, Tool* tool)
{
    std::unique_ptr<const ToolTable> old;
    {
        const Lock lock(m_TableMutex);
        std::vector<Tool*> tools = m_Table.load()->tools();
        if (slot >= tools.size())
            return false;
        tools[slot] = tool;
        old = publish(std::move(tools));
    }
    m_Grace.waitForReaders();
    return true;
}

bool Toollist::removeTool(const std::string& name)
{
    std::unique_ptr<const ToolTable> old;
    Tool* tool = nullptr;
    {
        const Lock lock(m_TableMutex);
        tool = m_Table.load()->tool(name);
        if (!tool)
            return false;
        std::vector<Tool*> tools = m_Table.load()->tools();
        std::replace(tools.begin(), tools.end(), tool, static_cast<Tool*>(nullptr));
        old = publish(std::move(tools));
    }
    m_Grace.waitForReaders();
    deleteWhenUnused(tool);
    return true;
}

void Toollist::replaceTable(std::vector<Tool*> tools)
{
    const std::set<Tool*> kept(tools.begin(), tools.end());
    std::unique_ptr<const ToolTable> old;
    {
        const Lock lock(m_TableMutex);
        old = publish(std::move(tools));
    }
    m_Grace.waitForReaders();
    const std::vector<Tool*>& former = old->tools();
    for (auto tool = former.begin(); tool != former.end(); ++tool)
        if (*tool && kept.count(*tool) == 0 && std::find(former.begin(), tool, *tool) == tool)
            deleteWhenUnused(*tool);
}

void Toollist::deleteWhenUnused(Tool* tool)
{
    {
        const Lock lock(m_ModuleCallMutex);
        if (!m_ModuleCalls.empty())
        {
            m_RemovedTools.emplace_back(m_NextModuleCall, tool);
            return;
        }
    }
    delete tool;
}

void Toollist::createUniqueRuntimeToolName(std::string& name) const
{
    const Reading reading(*this);
    const std::string base = name;
    for (int counter = 1; reading.tool(name); ++counter)
        name = base + "_" + std::to_string(counter);
}

void Toollist::getSwitch(int& number, bool& state) const
{
    const Lock lock(m_SwitchMutex);
    number = m_SwitchNumber;
    state = m_SwitchState;
}

void Toollist::notifySwitchStateChanged()
{
    {
        const Reading reading(*this);
        for (Tool* tool : reading.table().tools())
            if (tool)
                tool->storeCurrentRigidTransform();
    }

    int number;
    bool state;
    getSwitch(number, state);
    _getSwitchState(number, state);
    {
        const Lock lock(m_SwitchMutex);
        m_SwitchNumber = number;
        m_SwitchState = state;
    }
    notify(SWITCH_STATE_CHANGED_NOTIFICATION, nullptr);
}

bool Toollist::startLogging(const std::string& fileName)
{
    TBR_LOG("toolserver") << "HAB ICH MAL GEAENDERT\n";
    const Lock lock(m_LogMutex);
    if (m_LoggingRunning)
    {
        TBR_LOG("toolserver") << "logging is already running\n";
        return false;
    }
    m_LogFile = tbr::platform::openFile(fileName, "w+");
    if (!m_LogFile || !beginLog())
    {
        closeLog();
        TBR_LOG("toolserver") << "error openening log file name: " << fileName << std::endl;
        return false;
    }
    m_LoggingRunning = true;
    runTimerWhile(m_LoggingRunning, m_LoggingTimer, LOGGING_PERIOD_MS, Qt::AutoConnection);
    return true;
}

/// Writes the header and the first tool list to the new file.
bool Toollist::beginLog()
{
    // Blocks are put together in memory and leave in one write, so that a crash cuts at most the last one short.
    std::setvbuf(m_LogFile, nullptr, _IONBF, 0);
    m_LogSize = 0;
    m_LogFailed = false;
    m_LogBlock.assign(LogFormat::HEADER, LogFormat::HEADER + LogFormat::HEADER_SIZE);
    m_LastLoggedChangeCount = m_ToolChangeCount; // before the table is read: see doLog()
    appendToollistBlock(Reading(*this).table());
    return writeLogBlock() == 0;
}

void Toollist::stopLogging()
{
    const Lock lock(m_LogMutex);
    if (!m_LoggingRunning)
        return;
    m_LoggingRunning = false;
    runTimerWhile(m_LoggingRunning, m_LoggingTimer, LOGGING_PERIOD_MS, Qt::AutoConnection);
    closeLog();
}

/// The flag is looked at on the timer's thread, so that the last change counts, whichever threads ask in which order.
void Toollist::runTimerWhile(const std::atomic<bool>& isRunning, QTimer* timer, int periodMs, Qt::ConnectionType how)
{
    const auto follow = [&isRunning, timer, periodMs]
    {
        if (!isRunning)
            timer->stop();
        else if (!timer->isActive())
            timer->start(periodMs);
    };
    QMetaObject::invokeMethod(timer, follow, how);
}

void Toollist::closeLog()
{
    if (m_LogFile)
        std::fclose(m_LogFile);
    m_LogFile = nullptr;
}

void Toollist::doLog()
{
    const Lock lock(m_LogMutex);
    if (!m_LoggingEnabled || !m_LogFile)
        return;

    // A module counts a change after it has made it. So a count that is read before the table never claims a tool list
    // that is newer than the one recorded: at worst the next tick records it once more.
    const int changeCount = m_ToolChangeCount;
    m_LogBlock.clear();
    {
        const Reading reading(*this); // one table for both blocks: the second is read with the help of the first
        if (m_LastLoggedChangeCount != changeCount)
            appendToollistBlock(reading.table());
        appendPositionBlock(reading.table());
    }
    if (recordLogBlock())
        m_LastLoggedChangeCount = changeCount; // a list that was not written is due again at the next tick
}

void Toollist::logToollistContent()
{
    const Lock lock(m_LogMutex);
    m_LogBlock.clear();
    appendToollistBlock(Reading(*this).table());
    recordLogBlock();
}

void Toollist::logToolPositions()
{
    const Lock lock(m_LogMutex);
    m_LogBlock.clear();
    appendPositionBlock(Reading(*this).table());
    recordLogBlock();
}

void Toollist::appendToollistBlock(const ToolTable& table)
{
    m_LogBlock.push_back(LogFormat::TOOL_LIST_TAG);
    char count[4];
    record::BigEndian::putInt(count, static_cast<std::int32_t>(table.size()));
    m_LogBlock.insert(m_LogBlock.end(), count, count + sizeof count);
    for (const Tool* tool : table.tools())
    {
        const char* tag = tool ? LogFormat::FILLED_SLOT : LogFormat::EMPTY_SLOT;
        m_LogBlock.insert(m_LogBlock.end(), tag, tag + LogFormat::SLOT_TAG_SIZE);
        if (tool)
            tool->appendToolContent(m_LogBlock);
    }
}

void Toollist::appendPositionBlock(const ToolTable& table)
{
    timeval now = {};
    gettimeofday(&now, nullptr);
    char stamp[LogFormat::TimeStamp::SIZE];
    record::Writer<record::BigEndian> write(stamp, sizeof stamp);
    write(LogFormat::TimeStamp::SECONDS, static_cast<std::int32_t>(now.tv_sec));
    write(LogFormat::TimeStamp::MICROSECONDS, static_cast<std::int32_t>(now.tv_usec));

    m_LogBlock.push_back(LogFormat::POSITIONS_TAG);
    m_LogBlock.insert(m_LogBlock.end(), stamp, stamp + sizeof stamp);
    for (const Tool* tool : table.tools())
        if (tool)
            tool->appendToolRTData(m_LogBlock);
}

/// Writes m_LogBlock when a recording runs. A block that cannot be written is left out; the first of several is logged.
bool Toollist::recordLogBlock()
{
    if (!m_LogFile)
        return false;
    const int error = writeLogBlock();
    if (error != 0 && !m_LogFailed)
        TBR_LOG("ERROR") << "The tracking log cannot be written (" << std::generic_category().message(error)
                         << "); poses are not recorded until it can." << std::endl;
    m_LogFailed = error != 0;
    return error == 0;
}

/// Appends m_LogBlock to the file and returns 0, or the error number: what was written of the block is then taken back,
/// so that the file always ends with a complete one.
int Toollist::writeLogBlock()
{
    errno = 0;
    const std::size_t written = std::fwrite(m_LogBlock.data(), 1, m_LogBlock.size(), m_LogFile);
    if (written == m_LogBlock.size())
    {
        m_LogSize += static_cast<std::int64_t>(written);
        return 0;
    }
    const int error = errno != 0 ? errno : EIO;
    std::clearerr(m_LogFile);
    tbr::platform::truncateFile(m_LogFile, m_LogSize);
    tbr::platform::seekFile(m_LogFile, m_LogSize, SEEK_SET);
    return error;
}
