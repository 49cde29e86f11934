// A client's bytes against a session: whatever arrives, each request is answered as its kind allows, in order, by whole
// packets, and nothing but an error before the client has connected.
#include "Frames.h"
#include "MemorySockets.h"
#include "Target.h"

#include <SimulatedCamera/SceneReader.h>
#include <SimulatedCamera/SimulatedCamera.h>
#include <TSLib/ClientSocketInterface.h>
#include <support/TestToollist.h>

#include <QThread>

#include <chrono>
#include <map>
#include <stdexcept>
#include <utility>

namespace
{

using fuzz::Frames;
using fuzz::require;

constexpr int ACKNOWLEDGE = 20, CONNECT = 21, EXIT = 50, FAILURE = 99;
constexpr std::size_t BARE_SIZE = 4, ERROR_SIZE = 264;
constexpr int TOOL_NOT_IN_VIEW = 8, UNSUPPORTED = 11, NOT_CONNECTED = 17;

int kindOf(const std::string& payload)
{
    return static_cast<unsigned char>(payload[0]);
}

/// What a request of one kind may be answered with: one packet, or any number of `listed` ones and an acknowledgement;
/// in place of either, an error.
struct AnswerRule
{
    int kind; // of the one packet, or of the listed ones
    std::size_t size;
    bool isList = false;
    bool mayFail = true;
    bool listsErrors = false; // a tool that is not in view stands in the list as an error
};

const std::map<int, AnswerRule> RULES = {
    {21, {21, 12}},
    {22, {ACKNOWLEDGE, 4}},
    {23, {23, 560, true, false}},
    {24, {ACKNOWLEDGE, 4}},
    {25, {ACKNOWLEDGE, 428}},
    {26, {26, 428, true}},
    {27, {ACKNOWLEDGE, 140}},
    {28, {28, 140, true}},
    {29, {29, 88}},
    {30, {30, 88, true, true, true}},
    {31, {ACKNOWLEDGE, 140}},
    {32, {32, 12, false, false}},
    {33, {30, 88, true, true, true}},
    {34, {ACKNOWLEDGE, 4}},
    {35, {ACKNOWLEDGE, 4}},
    {36, {ACKNOWLEDGE, 4}},
    {37, {ACKNOWLEDGE, 4, false, false}},
    {38, {ACKNOWLEDGE, 440}},
    {50, {ACKNOWLEDGE, 4, false, false}},
};

/// Reads a session's answers next to the requests that they belong to.
class AnswerChecker
{
public:
    AnswerChecker(Frames requests, Frames answers) : m_Requests(std::move(requests)), m_Answers(std::move(answers)) {}

    /// `mayEndEarly`: the session was made to end before it had answered everything.
    void check(bool mayEndEarly)
    {
        for (const std::string& request : m_Requests.payloads)
        {
            if (mayEndEarly && m_Next == m_Answers.payloads.size())
                return;
            checkAnswersTo(request);
        }
        require(m_Next == m_Answers.payloads.size(), "nothing is answered that was not asked");
    }

private:
    const std::string& next()
    {
        require(m_Next < m_Answers.payloads.size(), "each request is answered, to the last packet");
        return m_Answers.payloads[m_Next++];
    }

    static bool isError(const std::string& answer) { return kindOf(answer) == FAILURE && answer.size() == ERROR_SIZE; }
    static int codeOf(const std::string& error) { return fuzz::networkInt(error, 4); }
    static bool isAcknowledgement(const std::string& answer)
    {
        return kindOf(answer) == ACKNOWLEDGE && answer.size() == BARE_SIZE;
    }

    void checkAnswersTo(const std::string& request)
    {
        const int kind = kindOf(request);
        const auto rule = RULES.find(kind);
        if (rule == RULES.end())
            checkError(next(), UNSUPPORTED);
        else if (!m_IsConnected && kind != CONNECT && kind != EXIT)
            checkError(next(), NOT_CONNECTED);
        else if (rule->second.isList)
            checkList(rule->second);
        else
            checkSingle(rule->second);
        m_IsConnected = m_IsConnected || kind == CONNECT; // a wrong version counts as connected, too
    }

    static void checkError(const std::string& answer, int code)
    {
        require(isError(answer) && codeOf(answer) == code, "a request that cannot be served gets its own error");
    }

    void checkSingle(const AnswerRule& rule)
    {
        const std::string& answer = next();
        const bool isGood = kindOf(answer) == rule.kind && answer.size() == rule.size;
        require(isGood || (rule.mayFail && isError(answer)), "an answer has the kind and the size of its request");
    }

    void checkList(const AnswerRule& rule)
    {
        bool isFirst = true;
        while (true)
        {
            const std::string& answer = next();
            if (isAcknowledgement(answer))
                return;
            const bool isListedError = rule.listsErrors && isError(answer) && codeOf(answer) == TOOL_NOT_IN_VIEW;
            if (isError(answer) && !isListedError)
                return require(rule.mayFail && isFirst, "a list that has begun does not fail");
            require(isListedError || (kindOf(answer) == rule.kind && answer.size() == rule.size),
                    "a list holds packets of its request's kind");
            isFirst = false;
        }
    }

    const Frames m_Requests;
    const Frames m_Answers;
    std::size_t m_Next = 0;
    bool m_IsConnected = false;
};

/// What a camera does while one input runs, seen from outside.
struct Course
{
    using Clock = std::chrono::steady_clock;

    ClientSocketInterface* session = nullptr;
    const Clock::time_point begin = Clock::now();
    int switchLooks = 0;
    bool isEnded = false; // before all was answered

    /// A session that waits for the footswitch looks every 50 ms whether its client, which has sent all it had to say,
    /// is still there. On a busy machine that may come before the switch's turn; then nothing is answered.
    bool mayHaveGivenUp() const
    {
        constexpr std::chrono::milliseconds LOOK_PERIOD(50);
        return switchLooks > 0 && Clock::now() - begin >= LOOK_PERIOD;
    }

    /// Nobody steps on a footswitch here: a session that waits for it is ended, as by a server that stops.
    void lookAtSwitch(int looks)
    {
        constexpr int PATIENCE = 8;
        switchLooks = looks;
        if (switchLooks % PATIENCE != 0)
            return;
        isEnded = true;
        session->requestStop();
    }
};

/// A list that makes tools for clients and shows what a camera may show: tools with more points than a packet has room
/// for, names that are too long, the same name twice, tools out of view, a module that refuses or throws.
class OddToollist : public TestToollist
{
public:
    explicit OddToollist(Course& course) : TestToollist(12), m_Course(course)
    {
        const auto points = [](int count) {
            return std::vector<Vector3d>(static_cast<std::size_t>(count), {1, -2, 3e30});
        };
        insert(0, makeTool("Probe", points(4), points(2)));
        insert(1, makeTool("Full", points(32), points(8)));
        insert(3, makeTool("TooFull", points(50), points(60)));
        insert(4, makeTool(std::string(40, 'L'), points(3)));
        insert(5, makeTool("Probe"));
        insert(6, new Tool(1, 2, "Refused", "", std::string(20, 'O'), 15, -1, 0, points(3), points(1), 2, 1));
        insert(7, makeTool("Throws", points(3), points(1)));
        insert(8, makeTool("Hidden", points(3), points(1)));
        Matrix3x3 invalid;
        invalid[0][0] = Tool::invalidVector.x;
        getTool(8)->updateTransform(Tool::invalidVector, invalid);
        getTool(0)->updateTransform({5, 6, 7}, Matrix3x3());

        onCreateTool = [this](const Creation& wish) { return create(wish); };
        onInitTool = [this](unsigned int slot, Tool*) { return slot < getMaxNumberOfTools(); };
        onUpdateCalibration = [this](const Tool* tool) { return update(*tool); };
        onRequestSwitch = [this](int& number, bool& state)
        {
            m_Course.lookAtSwitch(m_Course.switchLooks + 1);
            number = m_Course.switchLooks / 2 % 4;
            state = m_Course.switchLooks % 2 == 0;
        };
    }

private:
    void insert(unsigned int slot, Tool* tool) { insertTool(slot, tool->getName(), tool); }

    /// In one of the last slots, while there are free ones.
    Tool* create(const Creation& wish)
    {
        constexpr unsigned int FIRST_FREE = 9;
        for (unsigned int slot = FIRST_FREE; slot < getMaxNumberOfTools(); ++slot)
        {
            if (getTool(slot))
                continue;
            Tool* tool = new Tool(wish.ID, wish.GID, wish.name, wish.secondName, wish.secondName, wish.type,
                                  wish.startCalibrationPoint, wish.reserved, wish.realMarkers, wish.imaginaryMarkers,
                                  wish.numberOfJacks, 1);
            insert(slot, tool);
            toolSetChanged();
            return tool;
        }
        setStatus(TOOL_NOT_IN_VIEW, std::string(300, 'x'));
        return nullptr;
    }

    bool update(const Tool& tool)
    {
        if (tool.getName() != "Throws")
            return tool.getName() != "Refused";
        m_Course.isEnded = true;
        throw std::runtime_error("the camera does not answer");
    }

    Course& m_Course;
};

/// The camera module as it is, which makes clients' tools and moves them between its slots; few of them, so that a
/// frame takes little time.
class StillCamera : public SimulatedCamera
{
public:
    explicit StillCamera(Course& course) : SimulatedCamera(ourScene()), m_Course(course) {}

protected:
    void _requestSwitch(int& number, bool& state) override
    {
        m_Course.lookAtSwitch(m_Course.switchLooks + 1);
        SimulatedCamera::_requestSwitch(number, state);
    }

private:
    static const simulation::SceneResult& ourScene()
    {
        static const simulation::SceneResult scene = simulation::SceneReader::readText(
            "[Scene]\nslots = 4\n[Tool Probe]\nmarkers = 0 0 0, 50 0 0, 0 80 0\nimaginaries = 0 -100 0\n",
            "the target's scene");
        require(scene.scene != nullptr, "the target has a scene");
        return scene;
    }

    Course& m_Course;
};

/// One session from its first byte to its last, on its own thread as in the server.
template <class Camera>
void runSession(const std::string& stream)
{
    const fuzz::ThreadsEnd threadsEnd; // a thread gives its last memory back after QThread::wait()
    Course course;
    Camera camera(course);
    fuzz::MemoryPeer client;
    {
        ClientSocketInterface session(client.descriptor(), &camera);
        course.session = &session;
        client.send(stream);
        client.finish();
        session.thread()->quit(); // once evaluateClientMessage() has returned
        session.thread()->wait();
        require(session.hasTerminated(), "a session whose client has gone says so");
    }
    const Frames answers = fuzz::takeApart(client.received());
    require(answers.rest.empty(), "a session sends whole packets only");
    if (!course.mayHaveGivenUp())
        AnswerChecker(fuzz::takeApart(stream), answers).check(course.isEnded);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string stream = fuzz::textOf(data, size);
    runSession<OddToollist>(stream);
    runSession<StillCamera>(stream);
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed)
{
    return fuzz::mutateFrames(data, size, maxSize, seed, 0);
}
