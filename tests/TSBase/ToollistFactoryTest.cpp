#include <TSBase/ToollistFactory.h>

#include <support/LogCapture.h>
#include <support/TestToollist.h>

#include <gtest/gtest.h>

#include <memory>

namespace
{

class TestFactory : public ToollistFactory
{
public:
    Toollist* createInstance() override { return new TestToollist(3); }
};

} // namespace

TEST(ToollistFactory, LogsItsConstruction)
{
    const LogCapture log;
    const TestFactory factory;
    EXPECT_EQ(1, log.count("toolserver", "ToollistFactory constructor\n"));
    EXPECT_EQ(1u, log.entries().size());
}

TEST(ToollistFactory, LogsItsDestruction)
{
    auto factory = std::make_unique<TestFactory>();
    const LogCapture log;
    factory.reset();
    EXPECT_EQ(1, log.count("toolserver", "ToollistFactory destructor\n"));
    EXPECT_EQ(1u, log.entries().size());
}

TEST(ToollistFactory, IsDestroyedThroughItsBase)
{
    std::unique_ptr<ToollistFactory> factory = std::make_unique<TestFactory>();
    const LogCapture log;
    factory.reset();
    EXPECT_EQ(1, log.count("toolserver", "ToollistFactory destructor\n"));
}

TEST(ToollistFactory, CanBeCopiedAndAssigned)
{
    TestFactory factory;
    TestFactory copy(factory);
    copy = factory;
    const std::unique_ptr<Toollist> list(copy.createInstance());
    EXPECT_EQ(3u, list->getMaxNumberOfTools());
}

TEST(ToollistFactory, MakesAListThatTheCallerOwns)
{
    TestFactory factory;
    ToollistFactory& module = factory;
    const std::unique_ptr<Toollist> first(module.createInstance());
    const std::unique_ptr<Toollist> second(module.createInstance());
    EXPECT_NE(first.get(), second.get());
}
