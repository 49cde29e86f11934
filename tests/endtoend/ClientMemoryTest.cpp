// An update that is done hundreds of times a second takes no memory: every operator new of this process is counted.

#include <support/AllocationCounter.h>
#include <support/ClientModule.h>
#include <support/HostileServer.h>

#include <TSClientInterface/CaTool.h>
#include <TSClientInterface/CaToolList.h>
#include <TSClientInterface/CaToolServer.h>

#include <gtest/gtest.h>

#include <memory>

namespace
{

constexpr int UPDATES = 100;

/// A list that has been updated a few times, and knows what it needs.
class ClientMemoryTest : public testing::Test
{
protected:
    ClientMemoryTest()
    {
        server.react(
            [](HostileServer& s, const std::string& request)
            {
                AllocationCounter::exemptThisThread();
                s.connection.trySend(longNames().streamFor(request));
            });
        useClientModule(TBR_MODULES);
        list = std::make_unique<CaToolList>();
        EXPECT_EQ(list->connect("127.0.0.1", server.port()), 0);
    }

    template <class Update>
    long allocationsOf(Update update)
    {
        constexpr int WARM_UP = 3;
        for (int i = 0; i < WARM_UP; ++i)
            EXPECT_EQ(update(), 0);
        const AllocationCounter counter;
        for (int i = 0; i < UPDATES; ++i)
            update();
        return counter.count();
    }

    /// Too long to be kept inside a string.
    static ServerWords longNames()
    {
        ServerWords words;
        words.firstName = "A tool with quite a long name";
        words.secondName = "And another with a long name";
        return words;
    }

    HostileServer server;
    std::unique_ptr<CaToolList> list;
};

TEST_F(ClientMemoryTest, IsCountedInTheLibraryAndInTheModule)
{
    if (!AllocationCounter::countsLibraries())
        GTEST_SKIP() << "this compiler gives every library operators of its own";
    const AllocationCounter counter;
    const CaRigidBody body("in the library", 1, 1);
    const long inTheLibrary = counter.count();
    EXPECT_GT(inTheLibrary, 0);
    EXPECT_GT(list->getToolServer()->getServerDescription().size(), 20U); // more than a string holds by itself
    EXPECT_GT(counter.count(), inTheLibrary);
}

TEST_F(ClientMemoryTest, IsNotTakenByAnUpdateOfAllPoses)
{
    EXPECT_EQ(allocationsOf([this] { return list->updateAllTransforms(true); }), 0);
    EXPECT_EQ(allocationsOf([this] { return list->updateAllTransforms(false); }), 0);
}

TEST_F(ClientMemoryTest, IsNotTakenByAnUpdateOfAllPosesThatIsFollowed)
{
    int moves = 0;
    for (int i = 0; i < list->getNumberOfTools(); ++i)
        QObject::connect(list->getTool(i), &CaTool::TransformationUpdatedSIG, [&] { ++moves; });
    EXPECT_EQ(allocationsOf([this] { return list->updateAllTransforms(true); }), 0);
    EXPECT_GE(moves, UPDATES * list->getNumberOfTools());
}

TEST_F(ClientMemoryTest, IsNotTakenByAnUpdateOfAllPoints)
{
    EXPECT_EQ(allocationsOf([this] { return list->updateAllImags(); }), 0);
    EXPECT_EQ(allocationsOf([this] { return list->updateAllReals(); }), 0);
}

TEST_F(ClientMemoryTest, IsTakenTwiceAtMostByAnUpdateThatDerivesPoints)
{
    EXPECT_LE(allocationsOf([this] { return list->updateAllTransformsAndImags(); }), 2 * UPDATES); // not for each tool
}

TEST_F(ClientMemoryTest, IsNotTakenByAnUpdateOfOnePose)
{
    CaTool* const tool = list->getTool(0);
    EXPECT_EQ(allocationsOf([tool] { return tool->updateTransform(); }), 0);
}

} // namespace
