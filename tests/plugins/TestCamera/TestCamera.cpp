#include "TestCamera.h"

#include <tbrCore/DLLFactory.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace
{

constexpr std::chrono::seconds PATIENCE(60);

/// The next word as a value of type T.
template <class T>
T take(std::istringstream& arguments)
{
    T value;
    if (!(arguments >> value))
        throw std::runtime_error("an argument is missing or no number");
    return value;
}

std::vector<Vector3d> pointsIn(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<Vector3d> points;
    Vector3d point;
    char separator;
    while (stream >> point.x >> separator >> point.y >> separator >> point.z)
    {
        points.push_back(point);
        stream >> separator;
    }
    return points;
}

std::string textOf(const std::vector<Vector3d>& points)
{
    std::ostringstream text;
    for (const Vector3d& point : points)
        text << (&point == points.data() ? "" : ";") << point.x << ',' << point.y << ',' << point.z;
    return text.str();
}

/// What `plug` says about a tool.
struct Description
{
    std::map<std::string, std::string> texts = {{"id", "0"},    {"gid", "0"},  {"second", ""},
                                                {"owner", ""},  {"type", "0"}, {"start", "0"},
                                                {"jacks", "0"}, {"real", ""},  {"imag", ""}};

    explicit Description(std::istringstream& arguments)
    {
        for (std::string word; arguments >> word;)
        {
            const auto equals = word.find('=');
            texts.at(word.substr(0, equals)) = word.substr(equals + 1);
        }
    }

    int number(const char* key) const { return std::stoi(texts.at(key)); }

    std::unique_ptr<Tool> make(const std::string& name) const
    {
        return std::make_unique<Tool>(number("id"), number("gid"), name, texts.at("second"), texts.at("owner"),
                                      number("type"), number("start"), 0, pointsIn(texts.at("real")),
                                      pointsIn(texts.at("imag")), static_cast<unsigned int>(number("jacks")), 1);
    }
};

/// An equal tool with another name, at the origin.
std::unique_ptr<Tool> copyOf(const Tool& tool, const std::string& name)
{
    record::PointList reals;
    record::PointList imaginaries;
    tool.copyRealMarkers(reals);
    tool.copyImaginaryMarkers(imaginaries);
    return std::make_unique<Tool>(
        tool.getID(), tool.getGID(), name, tool.getSecondName(), tool.getOwner(), tool.getType(),
        tool.getStartCalibrationPoint(), 0, std::vector<Vector3d>(reals.points, reals.points + reals.held()),
        std::vector<Vector3d>(imaginaries.points, imaginaries.points + imaginaries.held()), tool.getNumberOfJacks(), 1);
}

class TestCameraFactory : public ToollistFactory
{
public:
    Toollist* createInstance() override { return new TestCamera; }
};

} // namespace

TBR_EXPORT_FACTORY(ToollistFactory, TestCameraFactory)

const std::map<std::string, TestCamera::Command> TestCamera::ourCommands = {
    {"start", &TestCamera::start},     {"reset", &TestCamera::reset},      {"plug", &TestCamera::plug},
    {"unplug", &TestCamera::unplug},   {"rename", &TestCamera::rename},    {"churn", &TestCamera::churn},
    {"move", &TestCamera::move},       {"sweep", &TestCamera::sweep},      {"hide", &TestCamera::hide},
    {"markers", &TestCamera::markers}, {"switch", &TestCamera::setSwitch}, {"status", &TestCamera::status},
    {"refuse", &TestCamera::refuse},   {"accept", &TestCamera::accept},    {"block", &TestCamera::block},
    {"release", &TestCamera::release}, {"await", &TestCamera::await},      {"calls", &TestCamera::calls}};

TestCamera::TestCamera() : Toollist(SLOTS)
{
    const char* const port = std::getenv("TBR_TEST_CAMERA");
    if (!port)
        return;
    if (m_Control.open("127.0.0.1", std::atoi(port)) != 0)
        throw std::runtime_error("no test listens on port " + std::string(port));
    while (!m_IsStarted && obeyNext())
        continue;
    m_ControlThread = std::thread(
        [this]
        {
            while (obeyNext())
                continue;
        });
}

TestCamera::~TestCamera()
{
    m_Control.shutdown();
    if (m_ControlThread.joinable())
        m_ControlThread.join();
}

/// Carries out the next command and answers it; false when the test has gone.
bool TestCamera::obeyNext()
{
    int size = 0;
    if (m_Control.read(&size, -1) != 0)
        return false;
    const std::string answer = obey({static_cast<const char*>(m_Control.getReadBuffer()), static_cast<size_t>(size)});
    return m_Control.write(answer.data(), static_cast<int>(answer.size())) == 0;
}

std::string TestCamera::obey(const std::string& text)
{
    try
    {
        Arguments arguments(text);
        m_Result.clear();
        (this->*ourCommands.at(take<std::string>(arguments)))(arguments);
        return m_Result.empty() ? "ok" : "ok " + m_Result;
    }
    catch (const std::exception& error)
    {
        return std::string("error ") + error.what();
    }
}

void TestCamera::start(Arguments&)
{
    m_IsStarted = true;
}

void TestCamera::reset(Arguments& arguments)
{
    const Lock slotsLock(m_SlotsMutex);
    for (unsigned int slot = 0; slot < getMaxNumberOfTools(); ++slot)
        if (const Tool* tool = getTool(slot))
            removeTool(std::string(tool->getName()));
    toolSetChanged();
    setStatus(0, "");
    release(arguments);
    const Lock lock(m_Mutex);
    m_Refused.clear();
    m_CallCounts.clear();
    m_Calls.clear();
    m_SwitchNumber = 0;
    m_IsSwitchPressed = false;
}

void TestCamera::plug(Arguments& arguments)
{
    const auto slot = take<unsigned int>(arguments);
    const auto name = take<std::string>(arguments);
    std::unique_ptr<Tool> tool = Description(arguments).make(name);
    const Lock lock(m_SlotsMutex);
    if (const Tool* former = getTool(slot))
        removeTool(std::string(former->getName()));
    if (!insertTool(slot, name, tool.get()))
        throw std::runtime_error("there is no such slot");
    static_cast<void>(tool.release()); // the list's now
    toolSetChanged();
}

void TestCamera::unplug(Arguments& arguments)
{
    removeTool(std::string(toolIn(arguments).getName()));
    toolSetChanged();
}

void TestCamera::rename(Arguments& arguments)
{
    Tool& tool = toolIn(arguments);
    replaceTool(tool, take<std::string>(arguments));
}

void TestCamera::churn(Arguments& arguments)
{
    const std::string name = toolIn(arguments).getName();
    for (int count = take<int>(arguments); count > 0; --count)
        replaceTool(*getTool(name), name);
}

void TestCamera::move(Arguments& arguments)
{
    Tool& tool = toolIn(arguments);
    Matrix3x3 rotation;
    for (int i = 0; i < 9; ++i)
        rotation[i / 3][i % 3] = take<double>(arguments);
    Vector3d translation;
    for (int axis = 0; axis < 3; ++axis)
        translation[axis] = take<double>(arguments);
    tool.updateTransform(translation, rotation);
    tool.updateRms(take<float>(arguments));
}

void TestCamera::sweep(Arguments& arguments)
{
    Tool& tool = toolIn(arguments);
    const int count = take<int>(arguments);
    for (int i = 1; i <= count; ++i)
        tool.updateTransform(Vector3d(i, i, i), Matrix3x3::identity());
}

void TestCamera::hide(Arguments& arguments)
{
    Matrix3x3 invalid;
    invalid[0][0] = Tool::invalidVector.x;
    toolIn(arguments).updateTransform(Tool::invalidVector, invalid);
}

void TestCamera::markers(Arguments& arguments)
{
    Tool& tool = toolIn(arguments);
    const std::vector<Vector3d> points = pointsIn(take<std::string>(arguments));
    for (std::size_t i = 0; i < points.size(); ++i)
        tool.updateRealMarker(static_cast<unsigned int>(i), points[i]);
}

void TestCamera::setSwitch(Arguments& arguments)
{
    {
        const Lock lock(m_Mutex);
        m_SwitchNumber = take<int>(arguments);
        m_IsSwitchPressed = take<std::string>(arguments) == "on";
    }
    notifySwitchStateChanged();
}

void TestCamera::status(Arguments& arguments)
{
    const int code = take<int>(arguments);
    std::string text;
    std::getline(arguments >> std::ws, text);
    setStatus(code, text);
}

void TestCamera::refuse(Arguments& arguments)
{
    const Lock lock(m_Mutex);
    m_Refused.insert(take<std::string>(arguments));
}

void TestCamera::accept(Arguments& arguments)
{
    const Lock lock(m_Mutex);
    m_Refused.erase(take<std::string>(arguments));
}

void TestCamera::block(Arguments& arguments)
{
    const Lock lock(m_Mutex);
    m_Blocked = take<std::string>(arguments);
}

void TestCamera::release(Arguments&)
{
    const Lock lock(m_Mutex);
    m_Blocked.clear();
    m_Changed.notify_all();
}

void TestCamera::await(Arguments& arguments)
{
    const auto call = take<std::string>(arguments);
    Lock lock(m_Mutex);
    m_CallCounts.emplace(call, 0);
    if (!m_Changed.wait_for(lock, PATIENCE, [&] { return m_CallCounts[call] > 0; }))
        throw std::runtime_error("nobody called " + call);
    m_CallCounts[call] = 0;
}

void TestCamera::calls(Arguments&)
{
    const Lock lock(m_Mutex);
    m_Result.swap(m_Calls);
    m_Calls.clear();
}

Tool& TestCamera::toolIn(Arguments& arguments)
{
    const auto name = take<std::string>(arguments);
    Tool* const tool = getTool(name);
    if (!tool)
        throw std::runtime_error("there is no tool " + name);
    return *tool;
}

void TestCamera::replaceTool(Tool& tool, const std::string& name)
{
    const Lock lock(m_SlotsMutex);
    unsigned int slot = 0;
    while (getTool(slot) != &tool)
        ++slot;
    std::unique_ptr<Tool> successor = copyOf(tool, name);
    removeTool(std::string(tool.getName()));
    insertTool(slot, name, successor.release());
    toolSetChanged();
}

/// Keeps a call for `await` and `calls`, and its session while the call is blocked.
void TestCamera::note(const std::string& call, const std::string& arguments)
{
    Lock lock(m_Mutex);
    ++m_CallCounts[call];
    m_Calls += call + " " + arguments + "\n";
    m_Changed.notify_all();
    m_Changed.wait(lock, [&] { return m_Blocked != call; });
}

bool TestCamera::isAccepted(const std::string& call)
{
    const Lock lock(m_Mutex);
    return m_Refused.count(call) == 0;
}

Tool* TestCamera::_createTool(int ID, int GID, const std::string& name, const std::string& secondName, int type,
                              int startCalibrationPoint, int reserved, std::vector<Vector3d> realMarkers,
                              std::vector<Vector3d> imaginaryMarkers, unsigned int numberOfJacks, bool flag)
{
    std::ostringstream text;
    text << ID << ' ' << GID << ' ' << name << ' ' << secondName << ' ' << type << ' ' << startCalibrationPoint << ' '
         << reserved << " [" << textOf(realMarkers) << "] [" << textOf(imaginaryMarkers) << "] " << numberOfJacks << ' '
         << (flag ? "true" : "false");
    note("createTool", text.str());
    if (!isAccepted("createTool"))
        return nullptr;

    auto tool = std::make_unique<Tool>(ID, GID, name, secondName, "client", type, startCalibrationPoint, reserved,
                                       std::move(realMarkers), std::move(imaginaryMarkers), numberOfJacks, 1);
    const Lock lock(m_SlotsMutex);
    for (unsigned int slot = 0; slot < getMaxNumberOfTools(); ++slot)
        if (!getTool(slot) && insertTool(slot, name, tool.get()))
        {
            toolSetChanged();
            return tool.release();
        }
    return nullptr;
}

bool TestCamera::_initTool(unsigned int slot, Tool* tool)
{
    note("initTool", std::to_string(slot) + " " + tool->getName());
    return isAccepted("initTool");
}

bool TestCamera::_loadTool(Tool*)
{
    return true;
}

bool TestCamera::_updateCalibration(Tool* tool)
{
    record::PointList imaginaries;
    tool->copyImaginaryMarkers(imaginaries);
    note("updateCalibration",
         tool->getName() + " [" + textOf({imaginaries.points, imaginaries.points + imaginaries.held()}) + "]");
    return isAccepted("updateCalibration");
}

void TestCamera::_requestSwitch(int& number, bool& state)
{
    const Lock lock(m_Mutex);
    number = m_SwitchNumber;
    state = m_IsSwitchPressed;
    ++m_CallCounts["requestSwitch"];
    m_Changed.notify_all();
}

void TestCamera::_getSwitchState(int& number, bool& state)
{
    const Lock lock(m_Mutex);
    number = m_SwitchNumber;
    state = m_IsSwitchPressed;
}
