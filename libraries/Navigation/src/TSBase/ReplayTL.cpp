#include <TSBase/ReplayTL.h>

#include <TSBase/LogFormat.h>

#include <tbrBase/FilePlatform.h>
#include <tbrBase/WatchdogException.h>
#include <tbrCore/Log.h>

#include <QTimer>

#include <cstring>
#include <iostream>

namespace
{

constexpr int REPLAY_PERIOD_MS = 50;

} // namespace

ReplayTL::ReplayTL(const std::string& fileName, bool autoRepeat)
    : Toollist(1), m_AutoRepeat(autoRepeat), m_FileName(fileName), m_ReplayRunning(false), m_ReplayFile(nullptr),
      m_RestartPosition(0), m_ReplayTimer(new QTimer(this))
{
    tbr::assertHolds(connect(m_ReplayTimer, SIGNAL(timeout()), SLOT(doReplay())),
                     "connect(m_replayTimer, SIGNAL(timeout()), SLOT(doReplay()))", "TSBase/ReplayTL.cpp", 253);
    TBR_LOG("toolserver") << "ReplayTL constructor (filename: " << m_FileName << ") in "
                          << (m_AutoRepeat ? "auto repeat" : "single play") << " mode." << std::endl;
}

ReplayTL::~ReplayTL()
{
    ReplayTL::stopReplay();
    TBR_LOG("toolserver") << "~ReplayTL() finished" << std::endl;
}

bool ReplayTL::startReplay()
{
    std::cout << "ReplayTL::_startReplay()\n" << std::flush;
    const std::lock_guard<std::recursive_mutex> lock(m_ReplayMutex);
    if (m_ReplayRunning)
    {
        TBR_LOG("toolserver") << "Replay is already running.\n";
        return false;
    }
    m_ReplayFile = tbr::platform::openFile(m_FileName, "r");
    if (!m_ReplayFile)
    {
        TBR_LOG("toolserver") << "Error openening replay file name: " << m_FileName << ".\n";
        return false;
    }
    if (!readHeader())
    {
        TBR_LOG("toolserver") << "Replay error: reading header found in  " << m_FileName << ".\n";
        closeFile();
        return false;
    }
    m_ReplayRunning = true;
    if (!readFirstFrame())
    {
        TBR_LOG("toolserver") << "Replay error: not enough valid data frames found in  " << m_FileName << ".\n";
        closeFile();
        return false;
    }
    std::cout << "starting replay timer async... \n" << std::flush;
    runTimerWhile(m_ReplayRunning, m_ReplayTimer, REPLAY_PERIOD_MS, Qt::QueuedConnection);
    return true;
}

bool ReplayTL::readHeader()
{
    char header[LogFormat::HEADER_SIZE];
    return std::fread(header, 1, sizeof header, m_ReplayFile) == sizeof header &&
           std::memcmp(header, LogFormat::HEADER, sizeof header) == 0;
}

/// Reads the first tool list and the first pose, and remembers where the poses begin. The tags are not looked at.
bool ReplayTL::readFirstFrame()
{
    std::fgetc(m_ReplayFile);
    if (!refreshToollistContent())
        return false;
    m_RestartPosition = tbr::platform::tellFile(m_ReplayFile);
    std::fgetc(m_ReplayFile);
    return refreshToolPosContent();
}

void ReplayTL::stopReplay()
{
    const std::lock_guard<std::recursive_mutex> lock(m_ReplayMutex);
    if (!m_ReplayRunning)
        return;
    m_ReplayRunning = false;
    runTimerWhile(m_ReplayRunning, m_ReplayTimer, REPLAY_PERIOD_MS, Qt::AutoConnection);
    closeFile();
}

void ReplayTL::closeFile()
{
    if (m_ReplayFile)
        std::fclose(m_ReplayFile);
    m_ReplayFile = nullptr;
}

/// Reads how many slots follow; false when there is no count, or one that the rest of the file or a table cannot hold.
bool ReplayTL::readSlotCount(std::uint32_t& count)
{
    char bytes[4];
    if (!m_ReplayFile || std::fread(bytes, 1, sizeof bytes, m_ReplayFile) != sizeof bytes)
        return false;
    count = static_cast<std::uint32_t>(record::BigEndian::getInt(bytes));
    if (count <= LogFormat::MOST_SLOTS && std::int64_t(count) * LogFormat::SLOT_TAG_SIZE <= bytesLeft())
        return true;
    TBR_LOG("toolserver") << LogFormat::SHORT_RECORD_MESSAGE;
    return false;
}

/// How many bytes of the file are still to be read; -1 when that cannot be told.
std::int64_t ReplayTL::bytesLeft()
{
    const std::int64_t position = tbr::platform::tellFile(m_ReplayFile);
    if (position < 0 || !tbr::platform::seekFile(m_ReplayFile, 0, SEEK_END))
        return -1;
    const std::int64_t size = tbr::platform::tellFile(m_ReplayFile);
    return tbr::platform::seekFile(m_ReplayFile, position, SEEK_SET) ? size - position : -1;
}

bool ReplayTL::refreshToollistContent()
{
    std::uint32_t slotCount = 0;
    if (!readSlotCount(slotCount))
    {
        replaceTable(std::vector<Tool*>(getMaxNumberOfTools(), nullptr));
        return false;
    }
    std::vector<Tool*> tools;
    bool isComplete = false;
    for (std::uint32_t slot = 0; slot < slotCount; ++slot)
    {
        tools.push_back(nullptr);
        char tag[LogFormat::SLOT_TAG_SIZE] = {};
        const bool isTagRead = std::fread(tag, 1, sizeof tag, m_ReplayFile) == sizeof tag;
        if (!isTagRead || std::memcmp(tag, LogFormat::FILLED_SLOT, sizeof tag) != 0)
            continue;
        tools.back() = new Tool(m_ReplayFile, 1); // recorded poses are averaged already
        isComplete = tools.back()->getStatus() == 0;
        if (isComplete)
            tools.back()->printTo();
    }
    replaceTable(std::move(tools));
    return isComplete;
}

bool ReplayTL::refreshToolPosContent()
{
    char stamp[LogFormat::TimeStamp::SIZE]; // replay is paced by its timer, not by the recorded times
    if (!m_ReplayFile || std::fread(stamp, 1, sizeof stamp, m_ReplayFile) != sizeof stamp)
        return false;

    bool isComplete = false;
    const Reading reading(*this);
    for (Tool* tool : reading.table().tools())
        if (tool)
            isComplete = tool->replayToolRTData(m_ReplayFile);
    return isComplete;
}

void ReplayTL::doReplay()
{
    const std::lock_guard<std::recursive_mutex> lock(m_ReplayMutex);
    if (!m_ReplayFile)
    {
        TBR_LOG("toolserver") << "Invalid replay handle.\n";
        handleFileEnd();
        return;
    }
    const bool isToolList = std::fgetc(m_ReplayFile) == LogFormat::TOOL_LIST_TAG;
    if (isToolList && !refreshToollistContent())
        handleFileEnd();
    // A position block follows in every case, unless that was the end of the replay. Where the file was gone back in,
    // its tag has not been read: it stands for the first byte of the time stamp.
    if (m_ReplayFile && !refreshToolPosContent())
        handleFileEnd();
}

void ReplayTL::handleFileEnd()
{
    if (!m_AutoRepeat)
    {
        TBR_LOG("toolserver") << "Replay log stream - done.\n";
        stopReplay();
        return;
    }
    TBR_LOG("toolserver") << "Replay log stream from the beginning.\n";
    if (m_ReplayFile)
        tbr::platform::seekFile(m_ReplayFile, m_RestartPosition, SEEK_SET);
}

void ReplayTL::enableSwitchStateNotification() {}

Tool* ReplayTL::_createTool(int, int, const std::string&, const std::string&, int, int, int, std::vector<Vector3d>,
                            std::vector<Vector3d>, unsigned int, bool)
{
    return nullptr;
}

bool ReplayTL::_initTool(unsigned int, Tool*)
{
    return true;
}

bool ReplayTL::_loadTool(Tool*)
{
    return true;
}

bool ReplayTL::_updateCalibration(Tool*)
{
    return true;
}

void ReplayTL::_requestSwitch(int&, bool&) {}

void ReplayTL::_getSwitchState(int&, bool&) {}
