#include <tbrCore/CaFactory.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace
{

class Instrument
{
public:
    virtual ~Instrument() = default;
    virtual std::string className() const = 0;
};

class Drill : public Instrument
{
public:
    std::string className() const override { return "Drill"; }
};

class DrillFactory : public CaProductFactory<Instrument>
{
public:
    explicit DrillFactory(bool& isGone) : m_IsGone(isGone) {}
    ~DrillFactory() override { m_IsGone = true; }
    Instrument* createInstance() override { return new Drill; }

private:
    bool& m_IsGone;
};

} // namespace

TEST(CaFactory, MakesAnObjectByItsClassName)
{
    bool isGone = false;
    DrillFactory drills(isGone);
    CaFactory<Instrument> factories;
    factories["Drill"] = &drills;

    const std::unique_ptr<Instrument> instrument(factories.at("Drill")->createInstance());

    EXPECT_EQ("Drill", instrument->className());
    EXPECT_EQ(0u, factories.count("drill"));
    EXPECT_EQ(0u, factories.count(""));
}

TEST(CaFactory, OrdersClassNamesByteByByte)
{
    CaFactory<Instrument> factories;
    for (const char* name : {"b", "a", "B", "aa", "\xc3\xa4"})
        factories[name] = nullptr;

    std::vector<std::string> names;
    for (const auto& entry : factories)
        names.push_back(entry.first);

    EXPECT_EQ((std::vector<std::string>{"B", "a", "aa", "b", "\xc3\xa4"}), names);
}

TEST(CaFactory, DoesNotOwnItsFactories)
{
    bool isGone = false;
    DrillFactory drills(isGone);
    {
        CaFactory<Instrument> factories;
        factories.insert({"Drill", &drills});
    }
    EXPECT_FALSE(isGone);
}

TEST(CaFactory, KeepsTheFirstFactoryThatIsInsertedUnderAName)
{
    bool isGone = false;
    DrillFactory first(isGone), second(isGone);
    CaFactory<Instrument> factories;
    factories.insert({"Drill", &first});
    factories.insert({"Drill", &second});
    EXPECT_EQ(&first, factories.at("Drill"));
}
