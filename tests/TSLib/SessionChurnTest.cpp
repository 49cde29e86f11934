#include "ChurnClient.h"
#include "ChurningCamera.h"

#include <support/Effort.h>
#include <support/LogCapture.h>
#include <support/LogFileBytes.h>
#include <support/MutedOutput.h>
#include <support/TestFolder.h>

#include <cstring>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

using namespace wire;

namespace
{

/// Threads that go round until they have done so often enough.
class Rounds
{
public:
    template <class Round>
    void start(int count, Round round)
    {
        ++m_AtWork;
        m_Threads.emplace_back(
            [this, count, round]
            {
                for (int i = 0; i < count && !testing::Test::HasFailure(); ++i)
                    round();
                --m_AtWork;
            });
    }
    bool areOver() const { return m_AtWork == 0; }
    ~Rounds()
    {
        for (std::thread& thread : m_Threads)
            thread.join();
    }

private:
    std::atomic<int> m_AtWork{0};
    std::vector<std::thread> m_Threads;
};

/// A request whose answers are many and long.
std::string toolChecks(int count)
{
    std::string requests;
    for (int i = 0; i < count; ++i)
        requests += framed(packet(TOOL_CHECK));
    return requests;
}

/// A client that asks for more than the connection holds and never reads.
std::unique_ptr<TestSession> lazyClient(Toollist& list)
{
    auto session = std::make_unique<TestSession>(list);
    (*session)->setWriteBufferSize(4096);
    session->greet();
    session->socket().send(toolChecks(4000));
    EXPECT_TRUE(session->socket().waitForInput(PlainSocket::PATIENCE));
    return session;
}

/// A request for all poses once this switch is pressed; no other than 1 ever is.
std::string switchRequest(std::uint32_t number)
{
    return packet(POSES_ON_SWITCH) + integer(Order::HOST, number) + integer(Order::HOST, 1);
}

/// Reads a tracking log of a ChurningCamera block by block and expects each pose, with its markers, to be of one frame.
class RecordCheck
{
public:
    explicit RecordCheck(const logbytes::Bytes& log) : m_Log(log) {}

    /// Returns how many poses there are.
    int run()
    {
        EXPECT_EQ(m_Log.substr(0, m_Offset), logbytes::header());
        while (m_Offset < m_Log.size() && !testing::Test::HasFailure())
        {
            const char tag = m_Log[m_Offset++];
            EXPECT_TRUE(tag == 'T' || tag == 'P') << "at byte " << m_Offset;
            if (tag == 'T')
                readToolList();
            else
                readPositions();
        }
        EXPECT_EQ(m_Offset, m_Log.size());
        return m_Poses;
    }

private:
    static constexpr int MARKERS = ChurningCamera::MARKERS;

    void readToolList()
    {
        m_Tools = 0;
        m_Offset += 4;
        for (int slot = 0; slot < ChurningCamera::SLOTS; ++slot)
        {
            const bool isFilled = m_Log.compare(m_Offset, 3, "TL1") == 0;
            m_Offset += isFilled ? 4 + 972 : 4;
            m_Tools += isFilled ? 1 : 0;
        }
    }
    void readPositions()
    {
        m_Offset += 8; // the time
        for (int tool = 0; tool < m_Tools; ++tool)
            readPose();
    }
    void readPose()
    {
        std::vector<float> numbers;
        for (int i = 0; i < 3 * (MARKERS + 4); ++i, m_Offset += 4)
            numbers.push_back(number());
        const auto point = [&numbers](int i)
        {
            const auto at = static_cast<std::size_t>(3 * i);
            return Vector3d(numbers[at], numbers[at + 1], numbers[at + 2]);
        };
        framecode::Pose pose;
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 3; ++column)
                pose.rotation[row][column] = point(MARKERS + row)[column];
        pose.translation = point(MARKERS + 3);
        if (pose.translation == Tool::invalidVector)
            return;
        const int frame = framecode::frameOf(pose);
        EXPECT_GE(frame, 0) << "at byte " << m_Offset;
        for (int i = 0; i < MARKERS; ++i)
            EXPECT_EQ(point(i), framecode::marker(frame, static_cast<unsigned int>(i))) << "at byte " << m_Offset;
        ++m_Poses;
    }
    float number() const
    {
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 4; ++i)
            bits = bits << 8 | static_cast<unsigned char>(m_Log.at(m_Offset + i));
        float value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    const logbytes::Bytes m_Log;
    std::size_t m_Offset = logbytes::header().size();
    int m_Tools = 0;
    int m_Poses = 0;
};

/// The camera ticks on the test's own thread: what happens on a thread of Qt is hidden from the thread sanitizer,
/// because it cannot see what Qt's locks order.
class SessionChurn : public testing::Test
{
protected:
    /// Lets the camera tick, and the recording after each second tick, as often as needed and at least so often.
    template <class Condition>
    void tickUntil(Condition isOver, int ticks = 0)
    {
        while (!isOver() || camera.ticks() < ticks)
        {
            camera.tick();
            camera.tick();
            tools.tick();
        }
    }

    void expectNoErrors() const
    {
        for (const LogCapture::Entry& entry : log.entries())
            EXPECT_NE(entry.category, "ERROR") << entry.message;
    }

    const MutedOutput muted;
    const LogCapture log;
    TestToollist tools{ChurningCamera::SLOTS};
    ChurningCamera camera{tools};
};

} // namespace

TEST_F(SessionChurn, GivesEveryAnswerFromOneFrameWhateverHappensToTheTools)
{
    using Reference = ChurnClient::Reference;
    std::vector<std::unique_ptr<ChurnClient>> clients;
    for (const Reference reference : {Reference::CAMERA, Reference::BASE, Reference::REF})
        for (const Order order : {Order::HOST, Order::HOST, Order::SWAPPED})
            clients.push_back(std::make_unique<ChurnClient>(tools, order, reference));
    {
        Rounds rounds;
        for (const auto& client : clients)
            rounds.start(withEffort(100), [&client] { client->askEverything(); });
        tickUntil([&] { return rounds.areOver(); });
    }
    for (const auto& client : clients)
        EXPECT_GT(client->checkedPoses(), 0);
    expectNoErrors();
}

TEST_F(SessionChurn, NeverMakesTheCameraWaitForAClient)
{
    std::vector<std::unique_ptr<TestSession>> clients;
    for (int i = 0; i < 4; ++i)
        clients.push_back(lazyClient(tools));
    for (const std::string& begun : {bytes("00"), bytes("0004 16"), framed(switchRequest(9))})
    {
        clients.push_back(std::make_unique<TestSession>(tools));
        clients.back()->greet();
        clients.back()->socket().send(begun);
    }
    const int ticks = withEffort(3000);
    tickUntil([] { return true; }, ticks);
    EXPECT_GE(camera.ticks(), ticks) << "with clients that never take their answers";
}

TEST_F(SessionChurn, EndsEverySessionWhateverItIsDoing)
{
    using Deed = std::function<void(TestSession&)>;
    const Deed deeds[] = {
        [](TestSession&) {},
        [](TestSession& session) { session.socket().send(bytes("00")); },
        [](TestSession& session) { session.socket().send(bytes("0230 17000000")); },
        [](TestSession& session) { session.send(packet(EXIT)); },
        [](TestSession& session) { session.send(switchRequest(9)); },
        [](TestSession& session) { session.send(switchRequest(1)); },
        [](TestSession& session) { session.socket().send(toolChecks(100)); },
        [](TestSession& session) { session.send(packet(TOOL_INIT) + zeros(4) + nameField("New")); },
        [](TestSession& session) { session.send(packet(CALIBRATE, "Probe")); },
    };
    const Deed ends[] = {
        [](TestSession&) {},
        [](TestSession& session) { session.socket().endSending(); },
        [](TestSession& session) { session.socket().close(); },
        [](TestSession& session) { session.socket().abort(); },
    };
    Rounds rounds;
    for (const Deed& end : ends)
        rounds.start(withEffort(50),
                     [&, end]
                     {
                         for (const Deed& deed : deeds)
                         {
                             TestSession session(tools);
                             session.greet();
                             deed(session);
                             end(session);
                             session.remove();
                         }
                     });
    tickUntil([&] { return rounds.areOver(); });
    EXPECT_FALSE(log.contains("ERROR", " before it can end."));
}

TEST_F(SessionChurn, EndsASessionInTheMiddleOfAVeryLongAnswer)
{
    TestToollist many(1);
    std::vector<Tool*> all;
    for (int i = 0; i < 10000; ++i) // 5.6 MB of descriptions: more than the connection holds
        all.push_back(makeTool(std::to_string(i)));
    many.replaceTable(all);
    for (int round = 0; round < withEffort(5); ++round)
    {
        TestSession session(many);
        session->setWriteBufferSize(4096);
        session.greet();
        session.send(packet(TOOL_CHECK));
        EXPECT_EQ(session.receive().size(), 560u);
        if (round % 2 == 1)
            session.socket().abort();
        session.remove();
    }
    EXPECT_TRUE(many.removeTool("0"));
}

TEST_F(SessionChurn, RecordsEveryToolAsItStoodInOneFrame)
{
    const TestFolder folder;
    ChurnClient client(tools, Order::HOST, ChurnClient::Reference::CAMERA);
    int recordings = 0;
    {
        Rounds rounds;
        rounds.start(withEffort(100), [&] { client.askEverything(); });
        while (!rounds.areOver() || recordings < 2)
        {
            const std::string name = "tracking" + std::to_string(recordings % 2) + ".log";
            EXPECT_TRUE(tools.startLogging(folder.path(name)));
            tickUntil([] { return true; }, camera.ticks() + 500);
            tools.stopLogging();
            EXPECT_GT(RecordCheck(folder.read(name)).run(), 0);
            ++recordings;
        }
    }
}

TEST_F(SessionChurn, KeepsPosesOfOneFrameAtTheFootswitch)
{
    Rounds rounds;
    std::atomic<int> checked{0};
    rounds.start(withEffort(4000),
                 [&]
                 {
                     const Toollist::Reading reading(tools);
                     framecode::Pose pose;
                     for (const Tool* tool : reading.table().tools())
                         if (tool && tool->getStoredTransform(pose.rotation, pose.translation) == 1)
                         {
                             EXPECT_GE(framecode::frameOf(pose), 0) << tool->getName();
                             ++checked;
                         }
                     std::this_thread::yield();
                 });
    tickUntil([&] { return rounds.areOver(); });
    EXPECT_GT(checked, 0);
}
