#include <SurgicalTools/DrillTool.h>
#include <SurgicalTools/SurgicalToolFactory.h>

#include <gtest/gtest.h>

namespace
{

class Saw : public SurgicalTool
{
};

class SawFactory : public SurgicalToolFactory
{
public:
    explicit SawFactory(const char* className = "Saw") : SurgicalToolFactory(className) {}
    SurgicalTool* createInstance() override { return new Saw; }
};

} // namespace

TEST(SurgicalToolFactory, EntersAndLeavesTheRegistry)
{
    {
        SawFactory factory;
        EXPECT_EQ(SurgicalTool::getFactory().at("Saw"), &factory);
        EXPECT_NE(dynamic_cast<Saw*>(SurgicalTool::createTool("Saw").get()), nullptr);
    }
    EXPECT_EQ(SurgicalTool::createTool("Saw").get(), nullptr);
}

TEST(SurgicalToolFactory, LeavesANameToItsFirstFactory)
{
    SawFactory first;
    {
        SawFactory second;
        EXPECT_EQ(SurgicalTool::getFactory().at("Saw"), &first);
    }
    EXPECT_EQ(SurgicalTool::getFactory().at("Saw"), &first);

    const SawFactory impostor("DrillTool");
    EXPECT_NE(qobject_cast<DrillTool*>(SurgicalTool::createTool("DrillTool").get()), nullptr);
}

TEST(SurgicalToolFactory, IsNotRegisteredWithoutAName)
{
    const std::size_t before = SurgicalTool::getFactory().size();
    const SawFactory nameless("");
    EXPECT_EQ(SurgicalTool::getFactory().size(), before);
    EXPECT_EQ(SurgicalTool::createTool("").get(), nullptr);
}

TEST(SurgicalToolFactory, MakesANewInstrumentEachTime)
{
    DrillToolFactory factory;
    const std::unique_ptr<SurgicalTool> one(factory.createInstance());
    const std::unique_ptr<SurgicalTool> two(factory.createInstance());
    EXPECT_NE(one, two);
    EXPECT_NE(qobject_cast<DrillTool*>(one.get()), nullptr);
}
