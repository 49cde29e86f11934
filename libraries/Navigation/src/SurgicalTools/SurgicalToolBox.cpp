#include <SurgicalTools/SurgicalToolBox.h>

#include <SurgicalTools/BurrCalibrator.h>
#include <SurgicalTools/CArmBase.h>
#include <SurgicalTools/DrillTool.h>
#include <SurgicalTools/PointerTool.h>
#include <SurgicalTools/RoundBurrTool.h>
#include <tbrCore/Log.h>
#include <tbrCore/Settings.h>

namespace
{

constexpr int NUMBER_OF_SLOTS = 99;

/// An error that is told by its name alone.
CaError plainError(const char* name)
{
    return CaError(name, "", "", 0, nullptr);
}

/// Returns when the thread's event loop runs. A thread that got there only while the process ends would use parts of Qt
/// that are gone by then; one that waits in its loop can be ended.
void waitForEventLoop(QThread& thread)
{
    QObject probe;
    probe.moveToThread(&thread);
    QMetaObject::invokeMethod(
        &probe, [] {}, Qt::BlockingQueuedConnection);
}

/// Instruments and tool list live on when the box dies: objects of the application may still use them while the process
/// ends. They stay reachable, so that leak checkers do not count them.
struct Survivors
{
    std::map<SurgicalTool*, std::string> tools;
    CaToolList* toolList;
};
Survivors* volatile survivors = nullptr; // volatile, because nothing reads it

} // namespace

const CaError SurgicalToolBox::NoToolListERR("SurgicalToolBox::NoToolListERR",
                                             "This surgical tool box is not connected to a CaToolList object", "", 0,
                                             nullptr);
const CaError SurgicalToolBox::ToolNotManagedERR("SurgicalToolBox::ToolNotManagedERR",
                                                 "This requested surgical tool box is not managed by this tool box", "",
                                                 0, nullptr);

TBR_AUTO_PTR_BEGIN
std::auto_ptr<SurgicalToolBox> SurgicalToolBox::m_instance;
TBR_AUTO_PTR_END

SurgicalToolBox* SurgicalToolBox::getInstance()
{
    if (!m_instance.get())
        m_instance.reset(new SurgicalToolBox);
    return m_instance.get();
}

SurgicalToolBox::SurgicalToolBox() : currentTool(nullptr), updateThread(nullptr)
{
    createDynamicReferenceFactory();
    createPointerToolFactory();
    createDrillToolFactory();
    createCArmBaseFactory();
    createBurrCalibratorFactory();
    createRoundBurrToolFactory();

    for (int i = 0; i < NUMBER_OF_SLOTS; ++i)
        readSlot("Tobrel/Navigation/SurgicalToolBox/" + QString("SurgicalTool.%1").arg(i).toStdString());

    updateThread = new _tbr::ToolListUpdateThread(this);
    updateThread->start(QThread::InheritPriority);
    waitForEventLoop(*updateThread);
}

SurgicalToolBox::~SurgicalToolBox()
{
    survivors = new Survivors{std::move(tools), toolList};
}

void SurgicalToolBox::readSlot(const std::string& key)
{
    const tbr::Settings& settings = tbr::Settings::getInstance();
    if (!settings.isKey(key + ".ClassId"))
        return;

    const std::string classId = settings.get(key + ".ClassId", std::string());
    SurgicalTool* tool = addTool(classId);
    if (!tool)
        return;

    tool->setName(settings.get(key + ".Name", classId));
    attachTool(*tool, settings.get(key + ".RigidBody", std::string()));
}

const CaError SurgicalToolBox::connect(const std::string& host, int port)
{
    if (!toolList)
    {
        toolList = new CaToolList;
        initNewToolList();
    }
    if (!toolList->isConnected())
    {
        toolList->connect(host.c_str(), port);
        if (!isConnected())
            return plainError("SurgicalToolBox::connectionFailed");
    }

    updateToolConnections();
    emit ConnectToolserverSIG();
    updateThread->setToolList(toolList);
    return CaError::nullError;
}

const CaError SurgicalToolBox::setToolList(CaToolList* list)
{
    if (list)
    {
        toolList = list;
        initNewToolList();
        updateThread->setToolList(toolList);
    }
    return CaError::nullError;
}

CaToolList* SurgicalToolBox::getToolList()
{
    return toolList;
}

bool SurgicalToolBox::isConnected() const
{
    return toolList && toolList->isConnected();
}

const CaError SurgicalToolBox::startTracking() const
{
    return CaError::nullError;
}

void SurgicalToolBox::stopTracking() {}

TBR_AUTO_PTR_BEGIN
const CaError SurgicalToolBox::plugSurgicalTool(std::auto_ptr<SurgicalTool> tool)
{
    SurgicalTool* plugged = tool.release(); // from here on the box has it; one that it has already is not to be deleted
    if (!plugged || tools.count(plugged) > 0)
        return plainError("SurgicalToolBox::GenericError");

    tools.emplace(plugged, std::string());
    QObject::connect(plugged, &QObject::destroyed, this, [this, plugged] { forgetTool(plugged); });
    emit ToolPluggedSIG(plugged);
    return CaError::nullError;
}

SurgicalTool* SurgicalToolBox::addTool(const std::string& className)
{
    std::auto_ptr<SurgicalTool> made = SurgicalTool::createTool(className);
    SurgicalTool* tool = made.get();
    return plugSurgicalTool(made) != CaError::nullError ? nullptr : tool;
}
TBR_AUTO_PTR_END

const CaError SurgicalToolBox::attachTool(SurgicalTool& tool, const std::string& rigidBodyName)
{
    const auto attached = tools.find(&tool);
    if (attached == tools.end())
        return ToolNotManagedERR;
    if (attached->second == rigidBodyName)
        return CaError::nullError;

    for (auto& entry : tools)
        if (entry.second == rigidBodyName)
            entry.second.clear();
    attached->second = rigidBodyName;
    updateToolConnections();
    return CaError::nullError;
}

SurgicalTool* SurgicalToolBox::getTool(const std::string& name)
{
    for (const auto& entry : tools)
        if (entry.first->getName() == name)
            return entry.first;
    return nullptr;
}

SurgicalTool* SurgicalToolBox::getTool(const QString& name)
{
    return getTool(name.toStdString());
}

std::vector<SurgicalTool*> SurgicalToolBox::getAllTools()
{
    return getAllToolsOfType(SurgicalTool::staticMetaObject.className(), false);
}

std::vector<SurgicalTool*> SurgicalToolBox::getAllToolsOfType(const std::string& type, bool exactType)
{
    std::vector<SurgicalTool*> found;
    for (const auto& entry : tools)
    {
        SurgicalTool* tool = entry.first;
        if (exactType ? type == tool->metaObject()->className() : tool->inherits(type.c_str()))
            found.push_back(tool);
    }
    return found;
}

DynamicReference* SurgicalToolBox::getDynamicReference(QString name)
{
    return qobject_cast<DynamicReference*>(getTool(name));
}

bool SurgicalToolBox::setCurrentTool(SurgicalTool* tool)
{
    if (tool == currentTool)
        return false;

    TBR_LOG("INFO") << "CurrentToolSet " << std::endl;
    if (tools.count(tool) == 0)
        return false;

    SurgicalTool* oldTool = currentTool;
    currentTool = tool;
    emit currentToolChangedSig(tool, oldTool);
    return true;
}

SurgicalTool* SurgicalToolBox::getCurrentTool()
{
    return currentTool;
}

void SurgicalToolBox::updateToolConnections()
{
    for (SurgicalTool* tool : getAllTools())
    {
        const auto entry = tools.find(tool); // a slot of an earlier one may have taken it out
        if (!toolList || entry == tools.end())
            continue;

        CaTool* rigidBody = toolList->getTool(entry->second);
        if (entry->second.empty())
            tool->setRigidBody(nullptr);
        else if (rigidBody)
            tool->setRigidBody(rigidBody);
    }
}

void SurgicalToolBox::initNewToolList()
{
    updateToolConnections();
}

void SurgicalToolBox::forgetTool(SurgicalTool* tool)
{
    tools.erase(tool);
    if (currentTool == tool)
        currentTool = nullptr;
}
