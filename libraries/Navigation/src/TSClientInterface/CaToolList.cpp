#include <TSClientInterface/CaToolList.h>

#include <TSClientInterface/CaInitializableTool.h>
#include <TSClientInterface/CaToolServer.h>
#include <TSClientInterface/DeliveredPoints.h>
#include <tbrCore/DLLManager.h>
#include <tbrCore/Log.h>
#include <tbrCore/Settings.h>

#include <QScopedValueRollback>

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

namespace
{

const char* const UNDEFINED_SETTING = "[NOT YET DEFINED]";

// What a server that never comes to an end is allowed; the header tells.
constexpr int MAX_FETCHES = 1024;
constexpr int MAX_READINGS = 16;
constexpr int MAX_READINGS_IN_A_SLOT = 1;
constexpr int MAX_OPEN_READINGS = 4;

bool contains(const std::vector<CaTool*>& tools, const CaTool* tool)
{
    return std::find(tools.begin(), tools.end(), tool) != tools.end();
}

/// A number of points from the server, brought into the range that its buffers have room for.
int checkedCount(int count, int room, const char* what, const std::string& toolName)
{
    const int checked = std::clamp(count, 0, room);
    if (checked != count)
        TBR_LOG("ERROR") << "Tool " << toolName << " was delivered with " << count << " " << what << ", expected 0 to "
                         << room << "." << std::endl;
    return checked;
}

void setPoints(CaTool& tool, const CaToolInfo& info)
{
    tool.setRigReals(
        _tbr::deliveredPoints(info.reals, _tbr::MAX_REALS, info.numberOfReals, tool.getNumberOfReals()).data());
    tool.setRigImags(
        _tbr::deliveredPoints(info.imags, _tbr::MAX_IMAGS, info.numberOfImags, tool.getNumberOfImags()).data());
}

bool mayFetchNextTool(int status)
{
    return status == CaToolServer::WAITING_FOR_PACKETS || status == CaToolServer::MISSING_PLUGS ||
           status == CaToolServer::TOOL_INFO_UNREADABLE;
}

void logEndlessSequence(const char* what)
{
    TBR_LOG("ERROR") << "The tool server's sequence of " << what << " was left after " << MAX_FETCHES << " fetches."
                     << std::endl;
}

} // namespace

/// The tools that a sequence of the server may update. Made once for a tool set, it serves update after update without
/// further memory.
class CaToolList::Updates
{
public:
    struct Update
    {
        CaTool* tool;
        std::string name; // the tool's, which no fetch changes
        bool isDone;
    };

    /// Gets ready for a sequence about the list's tools.
    void begin(const CaToolList& list);
    /// The first tool of exactly this name, null when there is none. Tools are mostly delivered in the list's order.
    Update* find(const std::string& name);

    const std::vector<Update>& all() const { return m_All; }

    // Buffers of what is fetched.
    std::string fetchedName;
    std::vector<Vector3d> fetchedPoints;
    std::vector<Vector3d> deliveredPoints;

private:
    bool areNamesDistinct() const;

    std::vector<Update> m_All;
    int m_ToolSetNumber = -1;
    bool m_AreNamesDistinct = true;
    std::size_t m_Next = 0; // behind the tool found last
};

void CaToolList::Updates::begin(const CaToolList& list)
{
    bool isChanged = m_ToolSetNumber != list.m_ToolSetNumber;
    if (isChanged)
    {
        m_All.clear();
        for (CaTool* tool : list.distinctTools())
            m_All.push_back({tool, {}, false});
        m_ToolSetNumber = list.m_ToolSetNumber;
    }
    for (Update& update : m_All)
    {
        update.isDone = false;
        const char* const name = update.tool->getName();
        if (update.name == name)
            continue;
        update.name = name;
        isChanged = true;
    }
    if (isChanged)
        m_AreNamesDistinct = areNamesDistinct();
    m_Next = 0;
}

bool CaToolList::Updates::areNamesDistinct() const
{
    std::set<std::string_view> names;
    for (const Update& update : m_All)
        names.insert(update.name);
    return names.size() == m_All.size();
}

CaToolList::Updates::Update* CaToolList::Updates::find(const std::string& name)
{
    const auto next = m_All.begin() + static_cast<std::ptrdiff_t>(std::min(m_Next, m_All.size()));
    const auto found =
        m_AreNamesDistinct && next != m_All.end() && next->name == name
            ? next
            : std::find_if(m_All.begin(), m_All.end(), [&](const Update& update) { return update.name == name; });
    if (found == m_All.end())
        return nullptr;
    m_Next = static_cast<std::size_t>(found - m_All.begin()) + 1;
    return &*found;
}

/// What tells imaginary points from real markers.
struct CaToolList::PointKind
{
    int room;
    int (CaToolServer::*start)();
    int (CaToolServer::*next)(std::string& name, Vector3d* points, int* count);
    int (CaRigidBody::*number)() const;
    void (CaTool::*set)(const Vector3d* points);
    void (CaTool::*setInvalid)();
};

CaToolList* CaToolList::ourDefaultToolListPointer = nullptr;
CaRigidBody* CaToolList::ourTracker = nullptr;

CaToolList::CaToolList() : CaToolList(std::string()) {}

CaToolList::CaToolList(const std::string& name)
    : m_Tools(), m_NumberOfTools(0), m_ReadsToolSet(false), m_OpenReadings(0), m_ToolSetNumber(0)
{
    init(name);
}

CaToolList::~CaToolList()
{
    if (ourDefaultToolListPointer == this)
        ourDefaultToolListPointer = nullptr;

    std::vector<CaTool*> owned = distinctTools();
    owned.insert(owned.end(), m_Unpluggeds.begin(), m_Unpluggeds.end());
    m_NumberOfTools = 0; // whoever hears of a tool's end finds none of them here
    m_Unpluggeds.clear();
    for (const CaTool* tool : owned)
        delete tool;
}

void CaToolList::init(const std::string& name)
{
    m_Mutex = std::make_unique<std::mutex>();
    setObjectName(QString::fromStdString(name));

    const tbr::Settings& settings = tbr::Settings::getInstance();
    const std::string keys = "Tobrel/Navigation/CaToolList/";
    std::string moduleFile = settings.get(keys + "ClientInterfaceModulePath", std::string(UNDEFINED_SETTING)) + "/" +
                             settings.get(keys + "ClientInterfaceModule", std::string(UNDEFINED_SETTING)) +
                             DLLManager::GetDLLExtension();
    m_ToolServer.reset(createToolServerInterface(moduleFile));

    if (!ourTracker)
        ourTracker = new CaRigidBody("CAM", 0, 0);
}

CaToolList* CaToolList::getTheToolList()
{
    if (!ourDefaultToolListPointer)
        ourDefaultToolListPointer = new CaToolList;
    return ourDefaultToolListPointer;
}

CaRigidBody* CaToolList::getTracker()
{
    return ourTracker;
}

CaToolServer* CaToolList::createToolServerInterface(std::string& moduleFile)
{
    auto module = std::make_unique<DLLFactory<CaToolServerFactory>>(moduleFile.c_str());
    CaToolServerFactory* factory = module->getFactory();
    if (!factory)
    {
        TBR_LOG("ERROR") << "Error opening DLL!" << std::endl;
        if (!module->getErrorMessage().empty())
            TBR_LOG("ERROR") << "DLL Error: " << module->getErrorMessage() << std::endl;
        return nullptr;
    }

    m_Factory = std::move(module);
    return factory->createInstance();
}

CaToolServer* CaToolList::getToolServer() const
{
    return m_ToolServer.get();
}

int CaToolList::connect(CaToolServer* other)
{
    if (!other || !m_ToolServer)
        return CaToolServer::NO_CONNECTION;

    const int status = m_ToolServer->connect(other);
    if (status == CaToolServer::OK)
        readToolSetAgain();
    return status;
}

int CaToolList::connect(const char* host, int port)
{
    if (!m_ToolServer)
        return CaToolServer::NO_CONNECTION;

    const int status = m_ToolServer->connect(host, port);
    if (status == CaToolServer::OK)
        readToolSetAgain();
    return status;
}

int CaToolList::disconnect()
{
    return m_ToolServer ? m_ToolServer->disconnect() : static_cast<int>(CaToolServer::NO_CONNECTION);
}

bool CaToolList::isConnected() const
{
    return m_ToolServer && m_ToolServer->isConnected();
}

int CaToolList::getStatus()
{
    if (!m_ToolServer)
        return CaToolServer::NO_CONNECTION;

    const int status = m_ToolServer->getStatus();
    if (status == CaToolServer::TOOL_SET_CHANGED)
        readToolSetAgain();
    return status;
}

int CaToolList::getNumberOfTools() const
{
    const std::lock_guard<std::mutex> lock(*m_Mutex);
    return m_NumberOfTools;
}

int CaToolList::setReference(CaRigidBody* body)
{
    if (!m_ToolServer)
        return CaToolServer::NO_CONNECTION;
    if (!body)
        return CaToolServer::UNKNOWN_TOOL;

    const int status = m_ToolServer->setReference(body->getName());
    if (status >= 0)
    {
        m_Reference = body;
        emit ReferenceChangedSIG();
    }
    return status;
}

CaRigidBody* CaToolList::getReference() const
{
    return m_Reference;
}

int CaToolList::updateAllImags()
{
    static const PointKind imags = {_tbr::MAX_IMAGS,          &CaToolServer::startImags,
                                    &CaToolServer::nextImags, &CaRigidBody::getNumberOfImags,
                                    &CaTool::setImags,        &CaTool::setImagsInvalid};
    return updateAllPoints(imags);
}

int CaToolList::updateAllReals()
{
    static const PointKind reals = {_tbr::MAX_REALS,          &CaToolServer::startReals,
                                    &CaToolServer::nextReals, &CaRigidBody::getNumberOfReals,
                                    &CaTool::setReals,        &CaTool::setRealsInvalid};
    return updateAllPoints(reals);
}

int CaToolList::updateAllPoints(const PointKind& kind)
{
    if (!m_ToolServer)
        return CaToolServer::NO_CONNECTION;

    std::unique_ptr<Updates> updates = takeUpdates();
    std::vector<Vector3d>& points = updates->fetchedPoints;
    int count = 0;
    const auto fetch = [&](std::string& name)
    {
        points.assign(static_cast<std::size_t>(kind.room), Vector3d());
        count = kind.room;
        return (m_ToolServer.get()->*kind.next)(name, points.data(), &count);
    };
    const auto deliver = [&](CaTool& tool)
    {
        _tbr::deliverPoints(points.data(), kind.room, count, (tool.*kind.number)(), updates->deliveredPoints);
        (tool.*kind.set)(updates->deliveredPoints.data());
    };

    const int status = repeatWhileToolSetChanges(
        [&]
        {
            (m_ToolServer.get()->*kind.start)();
            return fetchAll(*updates, fetch, deliver);
        });

    for (const Updates::Update& update : updates->all())
        if (!update.isDone)
            (update.tool->*kind.setInvalid)();
    m_SpareUpdates = std::move(updates);
    return status;
}

int CaToolList::updateAllTransforms(bool notify)
{
    if (!m_ToolServer)
        return CaToolServer::NO_CONNECTION;

    std::unique_ptr<Updates> updates = takeUpdates();
    Matrix3x3 rotation;
    Vector3d translation;
    const auto fetch = [&](std::string& name) { return m_ToolServer->nextTransform(name, rotation, translation); };
    const auto deliver = [&](CaTool& tool) { tool.setTransform(rotation, translation, false); };

    bool isRepeated = false;
    const int status = repeatWhileToolSetChanges(
        [&]
        {
            notify = notify || isRepeated; // new tools are to be announced
            isRepeated = true;
            m_ToolServer->startTransforms(notify);
            return fetchAll(*updates, fetch, deliver);
        });

    if (notify)
    {
        for (const Updates::Update& update : updates->all())
            if (!update.isDone)
                update.tool->setTransformInvalid();
        for (const Updates::Update& update : updates->all())
            update.tool->notifyAboutNewTransformation();
    }
    m_SpareUpdates = std::move(updates);
    return status;
}

int CaToolList::updateAllTransformsAndImags()
{
    const int status = updateAllTransforms(true);
    std::vector<Vector3d> imags;
    for (CaTool* tool : distinctTools())
    {
        TransMatrix3d pose;
        if (!tool->getTransform(pose))
        {
            tool->setImagsInvalid();
            continue;
        }

        imags.assign(tool->getRigImags(), tool->getRigImags() + tool->getNumberOfImags());
        for (Vector3d& point : imags)
            point = pose * point;
        tool->setImags(imags.data());
    }
    return status;
}

int CaToolList::setNearestTypes(const unsigned char* types, int count)
{
    if (!m_ToolServer)
        return CaToolServer::NO_CONNECTION;

    std::array<bool, 256> mask{};
    for (int i = 0; types && i < count; ++i)
        mask[types[i]] = true;
    return m_ToolServer->setNearestTypes(mask.data());
}

int CaToolList::getNearestTool(CaTool*& tool)
{
    if (!m_ToolServer)
        return CaToolServer::NO_CONNECTION;

    tool = nullptr;
    std::string name;
    std::array<Vector3d, _tbr::MAX_IMAGS> imags;
    int count = _tbr::MAX_IMAGS;
    const int status =
        repeatWhileToolSetChanges([&] { return m_ToolServer->getNearestTool(name, imags.data(), &count); });
    if (status < 0)
        return status;

    tool = getTool(name);
    if (!tool)
    {
        TBR_LOG("ERROR") << "Tool not in list: name=\"" << name << "\"" << std::endl;
        return CaToolServer::UNKNOWN_TOOL;
    }
    tool->setImags(_tbr::deliveredPoints(imags.data(), _tbr::MAX_IMAGS, count, tool->getNumberOfImags()).data());
    return CaToolServer::OK;
}

CaTool* CaToolList::createTool(const char* name, unsigned char type, int, int numberOfImags, int numberOfReals)
{
    return new CaTool(m_ToolServer.get(), name, type, numberOfImags, numberOfReals);
}

int CaToolList::toolChange()
{
    if (!m_ToolServer)
        return CaToolServer::NO_CONNECTION;
    if (m_ReadsToolSet)
        return CaToolServer::TOOL_SET_CHANGED;

    int status = CaToolServer::OK;
    {
        const QScopedValueRollback<bool> reading(m_ReadsToolSet, true);
        std::vector<CaTool*> toolSet;
        status = readToolSet(toolSet);
        replaceToolSet(toolSet);
    }
    emit ToolSetChangedSIG();
    return status;
}

int CaToolList::readToolSet(std::vector<CaTool*>& toolSet)
{
    int status = m_ToolServer->getNumberOfTools();
    if (status < 0)
        return status;

    int fetches = 0;
    int leftOut = 0;
    do
    {
        CaToolInfo info;
        status = m_ToolServer->getToolInfo(info);
        if (status == CaToolServer::WAITING_FOR_PACKETS && toolSet.size() == MAX_TOOLS)
            ++leftOut;
        else if (CaTool* tool = status == CaToolServer::WAITING_FOR_PACKETS ? toolFor(info) : nullptr)
            toolSet.push_back(tool);
    } while (mayFetchNextTool(status) && ++fetches < MAX_FETCHES);

    if (fetches == MAX_FETCHES)
        logEndlessSequence("tools");
    if (leftOut > 0)
        TBR_LOG("ERROR") << leftOut << " tools beyond " << MAX_TOOLS << " were left out of the tool list." << std::endl;
    return status;
}

CaTool* CaToolList::toolFor(const CaToolInfo& delivered)
{
    CaToolInfo info = delivered;
    info.numberOfReals = checkedCount(info.numberOfReals, _tbr::MAX_REALS, "real markers", info.name);
    info.numberOfImags = checkedCount(info.numberOfImags, _tbr::MAX_IMAGS, "imaginary points", info.name);
    CaTool pattern(m_ToolServer.get(), info.name.c_str(), info.type, info.numberOfImags, info.numberOfReals);
    setPoints(pattern, info);

    const int index = findTool(m_Tools, m_NumberOfTools, pattern);
    CaTool* revived = index < 0 ? takeUnplugged(pattern) : nullptr;
    CaTool* known = index < 0 ? revived : m_Tools[index];
    if (!known)
        return makeTool(info);

    const CaTool::Lock lock(*known); // name and points change together
    setPoints(*known, info);
    known->setName(info.name.c_str());
    if (revived)
        revived->plug(info.port);
    return known;
}

CaTool* CaToolList::takeUnplugged(const CaTool& pattern)
{
    const int index = findTool(m_Unpluggeds, pattern);
    if (index < 0)
        return nullptr;

    CaTool* tool = m_Unpluggeds[static_cast<std::size_t>(index)];
    const std::lock_guard<std::mutex> lock(*m_Mutex);
    m_Unpluggeds.erase(m_Unpluggeds.begin() + index);
    return tool;
}

CaTool* CaToolList::makeTool(const CaToolInfo& info)
{
    CaTool* tool = createTool(info.name.c_str(), info.type, info.port, info.numberOfImags, info.numberOfReals);
    if (!tool)
        return nullptr;

    setPoints(*tool, info);
    if (auto* initializable = qobject_cast<CaInitializableTool*>(tool))
    {
        initializable->setIdentifier(info.identifier);
        initializable->setOwnerName(info.ownerName.c_str());
        initializable->setCalibrationStartIndex(info.calibrationStartIndex);
        initializable->setCalibrationDate(info.calibrationDate);
        initializable->setNumberOfPlugs(info.numberOfPlugs);
    }
    tool->plug(info.port);
    return tool;
}

void CaToolList::replaceToolSet(const std::vector<CaTool*>& toolSet)
{
    // By object, not by place: one object may stand in the old and in the new set more than once.
    std::vector<CaTool*> unplugged = m_Unpluggeds;
    unplugged.erase(
        std::remove_if(unplugged.begin(), unplugged.end(), [&](const CaTool* tool) { return contains(toolSet, tool); }),
        unplugged.end());
    for (CaTool* tool : distinctTools())
    {
        if (contains(toolSet, tool))
            continue;
        unplugged.push_back(tool);
        tool->unplug();
    }

    const std::lock_guard<std::mutex> lock(*m_Mutex);
    m_Unpluggeds = unplugged;
    std::copy(toolSet.begin(), toolSet.end(), m_Tools);
    m_NumberOfTools = static_cast<int>(toolSet.size());
    ++m_ToolSetNumber;
}

bool CaToolList::readToolSetAgain()
{
    if (m_OpenReadings >= MAX_OPEN_READINGS)
        return false;

    const QScopedValueRollback<int> open(m_OpenReadings, m_OpenReadings + 1);
    toolChange();
    return true;
}

template <class Request>
int CaToolList::repeatWhileToolSetChanges(Request request)
{
    const int limit = m_OpenReadings == 0 ? MAX_READINGS : MAX_READINGS_IN_A_SLOT;
    int status = request();
    for (int i = 0; i < limit && status == CaToolServer::TOOL_SET_CHANGED && readToolSetAgain(); ++i)
        status = request();
    return status;
}

std::unique_ptr<CaToolList::Updates> CaToolList::takeUpdates()
{
    return m_SpareUpdates ? std::move(m_SpareUpdates) : std::make_unique<Updates>();
}

template <class Fetch, class Deliver>
int CaToolList::fetchAll(Updates& updates, Fetch fetch, Deliver deliver)
{
    updates.begin(*this);
    int status = CaToolServer::OK;
    for (int fetches = 0; fetches < MAX_FETCHES; ++fetches)
    {
        status = fetch(updates.fetchedName);
        if (status == CaToolServer::TOOL_NOT_IN_VIEW)
            continue;
        if (status != CaToolServer::WAITING_FOR_PACKETS)
            return status;

        Updates::Update* const update = updates.find(updates.fetchedName);
        if (!update)
            continue;
        deliver(*update->tool);
        update->isDone = true;
    }
    logEndlessSequence("measurements");
    return status;
}

CaTool* CaToolList::getTool(int index) const
{
    const std::lock_guard<std::mutex> lock(*m_Mutex);
    return index >= 0 && index < m_NumberOfTools ? m_Tools[index] : nullptr;
}

CaTool* CaToolList::getTool(const char* name) const
{
    return getTool(getToolIndex(name));
}

CaTool* CaToolList::getTool(const std::string& name) const
{
    const auto end = m_Tools + m_NumberOfTools;
    const auto found = std::find_if(m_Tools, end, [&](const CaTool* tool) { return name == tool->getName(); });
    return found == end ? nullptr : *found;
}

CaTool* CaToolList::getToolByType(unsigned char type) const
{
    const auto end = m_Tools + m_NumberOfTools;
    const auto found = std::find_if(m_Tools, end, [&](const CaTool* tool) { return type == tool->getType(); });
    return found == end ? nullptr : *found;
}

int CaToolList::getToolIndex(const char* name) const
{
    const auto end = m_Tools + m_NumberOfTools;
    const auto found =
        name ? std::find_if(m_Tools, end, [&](const CaTool* tool) { return std::string(name) == tool->getName(); })
             : end;
    return found == end ? -1 : static_cast<int>(found - m_Tools);
}

int CaToolList::findTool(CaTool* const* tools, int count, const CaTool& tool)
{
    for (int i = 0; i < count; ++i)
        if (tools[i]->equals(tool))
            return i;
    return -1;
}

int CaToolList::findTool(std::vector<CaTool*> tools, const CaTool& tool)
{
    return findTool(tools.data(), static_cast<int>(tools.size()), tool);
}

std::vector<CaTool*> CaToolList::distinctTools() const
{
    std::vector<CaTool*> tools;
    tools.reserve(MAX_TOOLS);
    for (int i = 0; i < m_NumberOfTools; ++i)
        if (!contains(tools, m_Tools[i]))
            tools.push_back(m_Tools[i]);
    return tools;
}

int CaToolList::getNumberOfUnpluggeds() const
{
    const std::lock_guard<std::mutex> lock(*m_Mutex);
    return static_cast<int>(m_Unpluggeds.size());
}

CaTool* CaToolList::getUnplugged(int index) const
{
    const std::lock_guard<std::mutex> lock(*m_Mutex);
    const auto i = static_cast<std::size_t>(index);
    return index >= 0 && i < m_Unpluggeds.size() ? m_Unpluggeds[i] : nullptr;
}
