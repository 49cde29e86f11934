#include <SurgicalTools/ToolListUpdateThread.h>
#include <support/ScriptedToolServer.h>
#include <tbrCore/Settings.h>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>

namespace
{

/// A tool list on a scripted server.
struct ToolListUpdateThreadTest : testing::Test
{
    struct ScriptedModule
    {
        ScriptedModule()
        {
            tbr::Settings::getInstance().set(QString("Tobrel/Navigation/CaToolList/ClientInterfaceModulePath"),
                                             QCoreApplication::applicationDirPath() + "/plugins");
            tbr::Settings::getInstance().set("Tobrel/Navigation/CaToolList/ClientInterfaceModule",
                                             "ScriptedClientInterface");
        }
    } module;

    ScriptedToolServer& server() { return *static_cast<ScriptedToolServer*>(list->getToolServer()); }

    /// Returns when the server is asked for all poses.
    void waitForUpdate()
    {
        QEventLoop loop;
        server().onCall = [&](const std::string& call)
        {
            if (call == "startTransforms notify")
                loop.quit();
        };
        loop.exec();
        server().onCall = {};
    }

    std::unique_ptr<CaToolList> list = std::make_unique<CaToolList>();
    _tbr::ToolListUpdateThread thread{nullptr};
};

} // namespace

TEST_F(ToolListUpdateThreadTest, StartsWithoutTimerAndList)
{
    EXPECT_EQ(thread.timerId, 0);
    EXPECT_EQ(thread.toolList, nullptr);
    EXPECT_FALSE(thread.isRunning());
}

TEST_F(ToolListUpdateThreadTest, UpdatesItsListAtEveryTick)
{
    thread.setToolList(list.get());
    thread.timerId = thread.startTimer(1);
    waitForUpdate();
    waitForUpdate();
}

TEST_F(ToolListUpdateThreadTest, DoesNothingAtATickWithoutAList)
{
    QTimerEvent tick(1);
    QCoreApplication::sendEvent(&thread, &tick);

    thread.setToolList(list.get());
    list.reset();
    EXPECT_EQ(thread.toolList, nullptr);
    QCoreApplication::sendEvent(&thread, &tick);
}

TEST_F(ToolListUpdateThreadTest, StopsItsTimerWhenTheListIsTakenAway)
{
    thread.setToolList(list.get());
    thread.timerId = thread.startTimer(1);
    thread.setToolList(nullptr);
    EXPECT_EQ(thread.timerId, 0);
    EXPECT_EQ(thread.toolList, nullptr);
}

TEST_F(ToolListUpdateThreadTest, KeepsItsTimerWithANewList)
{
    const int timerId = thread.startTimer(1000);
    thread.timerId = timerId;
    thread.setToolList(list.get());
    EXPECT_EQ(thread.timerId, timerId);
}

TEST(ToolListUpdateThread, EndsItsThreadWhenItDies)
{
    _tbr::ToolListUpdateThread thread(nullptr);
    thread.start(QThread::InheritPriority);
    EXPECT_TRUE(thread.isRunning());
    thread.timerId = thread.startTimer(1000);
}
