#include <TSBase/ToolTable.h>

#include <support/TestToollist.h>

#include <gtest/gtest.h>

#include <memory>

namespace
{

/// Four slots: Drill, an empty one, drill, and a second Drill.
class ToolTableOfFour : public testing::Test
{
protected:
    const std::unique_ptr<Tool> m_Drill{makeTool("Drill")};
    const std::unique_ptr<Tool> m_SmallDrill{makeTool("drill")};
    const std::unique_ptr<Tool> m_SecondDrill{makeTool("Drill")};
    const ToolTable m_Table{{m_Drill.get(), nullptr, m_SmallDrill.get(), m_SecondDrill.get()}};
};

} // namespace

TEST_F(ToolTableOfFour, CountsEmptySlotsToo)
{
    EXPECT_EQ(4u, m_Table.size());
    EXPECT_EQ(4u, m_Table.tools().size());
}

TEST_F(ToolTableOfFour, FindsToolsBySlot)
{
    EXPECT_EQ(m_Drill.get(), m_Table.tool(0u));
    EXPECT_EQ(nullptr, m_Table.tool(1u));
    EXPECT_EQ(m_SecondDrill.get(), m_Table.tool(3u));
}

TEST_F(ToolTableOfFour, HasNothingBeyondItsEnd)
{
    EXPECT_EQ(nullptr, m_Table.tool(4u));
    EXPECT_EQ(nullptr, m_Table.tool(0xffffffffu));
}

TEST_F(ToolTableOfFour, FindsTheFirstToolOfAName)
{
    EXPECT_EQ(m_Drill.get(), m_Table.tool("Drill"));
}

TEST_F(ToolTableOfFour, TellsNamesApartByEveryByte)
{
    EXPECT_EQ(m_SmallDrill.get(), m_Table.tool("drill"));
    EXPECT_EQ(nullptr, m_Table.tool("Dril"));
    EXPECT_EQ(nullptr, m_Table.tool("Drill "));
    EXPECT_EQ(nullptr, m_Table.tool(""));
    EXPECT_EQ(nullptr, m_Table.tool(std::string_view("Drill\0", 6)));
}

TEST_F(ToolTableOfFour, LooksUpNamesThatAreNotTerminated)
{
    EXPECT_EQ(m_Drill.get(), m_Table.tool(std::string_view("DrillGuide").substr(0, 5)));
}

TEST(ToolTable, FindsTheFirstOfEachNameAmongManyTools)
{
    std::vector<std::unique_ptr<Tool>> owned;
    std::vector<Tool*> tools;
    for (int i = 0; i < 2000; ++i) // each name twice, and gaps between the tools
    {
        owned.emplace_back(makeTool("Tool" + std::to_string(i % 1000)));
        tools.insert(tools.end(), {owned.back().get(), nullptr});
    }
    const ToolTable table(tools);
    for (std::size_t i = 0; i < 1000; ++i)
        ASSERT_EQ(owned[i].get(), table.tool("Tool" + std::to_string(i))) << i;
    EXPECT_EQ(nullptr, table.tool("Tool1000"));
    EXPECT_EQ(nullptr, table.tool("Tool"));
    EXPECT_EQ(nullptr, table.tool(""));
}

TEST(ToolTable, FindsAToolWithoutAName)
{
    const std::unique_ptr<Tool> nameless(makeTool(""));
    const ToolTable table({nullptr, nameless.get()});
    EXPECT_EQ(nameless.get(), table.tool(""));
}

TEST(ToolTable, MayBeEmpty)
{
    const ToolTable table({});
    EXPECT_EQ(0u, table.size());
    EXPECT_EQ(nullptr, table.tool(0u));
    EXPECT_EQ(nullptr, table.tool(""));
}

TEST(ToolTable, DoesNotOwnTheTools)
{
    std::atomic<bool> isDeleted{false};
    {
        const auto tool = std::make_unique<MortalTool>("Drill", isDeleted);
        {
            const ToolTable table({tool.get()});
        }
        EXPECT_FALSE(isDeleted);
    }
    EXPECT_TRUE(isDeleted);
}
