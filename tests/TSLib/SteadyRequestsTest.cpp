#include "TestSession.h"

#include <support/AllocationCounter.h>

using namespace wire;

namespace
{

constexpr int ROUNDS = 100;

/// A session with 16 tools, the first of which bears a name that is longer than a string holds by itself.
class SteadyRequests : public testing::TestWithParam<Order>
{
protected:
    SteadyRequests()
    {
        AllocationCounter::exemptThisThread();
        for (unsigned int slot = 0; slot < 16; ++slot)
        {
            Tool* const tool = makeTool(nameOf(slot));
            place(*tool, quarterTurn(), Vector3d(1, 2, 3));
            tools.insertTool(slot, "", tool);
        }
    }

    static std::string nameOf(unsigned int slot) { return "A drill of the long kind " + std::to_string(slot); }

    /// What the session takes from the heap while it answers a request again and again, after it has done so before.
    long allocationsFor(const std::string& request, int packets)
    {
        TestSession session(tools);
        session.greet(GetParam());
        session.ask(packet(FRAME, nameOf(1)));
        exchange(session, request, packets);
        const AllocationCounter counter;
        for (int round = 0; round < ROUNDS; ++round)
            exchange(session, request, packets);
        return counter.count();
    }

    TestToollist tools{16};

private:
    static void exchange(TestSession& session, const std::string& request, int packets)
    {
        session.send(request);
        for (int i = 0; i < packets; ++i)
            EXPECT_FALSE(session.receive().empty());
    }
};

INSTANTIATE_TEST_SUITE_P(InEveryOrder, SteadyRequests, testing::Values(Order::HOST, Order::SWAPPED),
                         [](const auto& order) { return wire::nameOf(order); });

} // namespace

TEST_P(SteadyRequests, AnswersAPoseWithoutTheHeap)
{
    EXPECT_EQ(allocationsFor(packet(POSE, nameOf(0)), 1), 0);
}

TEST_P(SteadyRequests, AnswersAPoseThatIsOutOfViewWithoutTheHeap)
{
    hide(*tools.getTool(0U));
    EXPECT_EQ(allocationsFor(packet(POSE, nameOf(0)), 1), 0);
}

TEST_P(SteadyRequests, AnswersAPoseOfAnUnknownToolWithoutTheHeap)
{
    EXPECT_EQ(allocationsFor(packet(POSE, "A tool that nobody plugged in"), 1), 0);
}

TEST_P(SteadyRequests, AnswersAllPosesWithoutTheHeap)
{
    EXPECT_EQ(allocationsFor(packet(ALL_POSES), 17), 0);
}

TEST_P(SteadyRequests, AnswersMarkersAndPointsWithoutTheHeap)
{
    EXPECT_EQ(allocationsFor(packet(MARKER, nameOf(0)), 1), 0);
    EXPECT_EQ(allocationsFor(packet(ALL_MARKER), 17), 0);
    EXPECT_EQ(allocationsFor(packet(IMAGINARY, nameOf(0)), 1), 0);
    EXPECT_EQ(allocationsFor(packet(ALL_IMAGINARY), 17), 0);
}

TEST(AllocationCounter, CountsWhatOtherThreadsTakeFromTheHeap)
{
    AllocationCounter::exemptThisThread();
    const AllocationCounter counter;
    std::thread([] { ::operator delete(::operator new(5)); }).join();
    EXPECT_GE(counter.count(), 1);
}
