#include <SimulatedCamera/SceneText.h>

#include <gtest/gtest.h>

#include <string>

using simulation::SceneText;

TEST(SceneText, KeepsTheOrderOfTheSections)
{
    const SceneText text = SceneText::parse("[Zebra]\nb=2\na = 1\n[Ape]\n");

    EXPECT_EQ(text.error, "");
    ASSERT_EQ(text.sections.size(), 2u);
    EXPECT_EQ(text.sections[0].name, "Zebra");
    EXPECT_EQ(text.sections[0].values.at("a"), "1");
    EXPECT_EQ(text.sections[0].values.at("b"), "2");
    EXPECT_EQ(text.sections[1].name, "Ape");
    EXPECT_TRUE(text.sections[1].values.empty());
}

TEST(SceneText, ContinuesAValueOnLinesThatBeginWithABlank)
{
    const SceneText text = SceneText::parse("[A]\nlist =\n  1 2,\n\n\t# in between\n\t3 4\nnext = 5\n");

    EXPECT_EQ(text.error, "");
    EXPECT_EQ(text.sections.at(0).values.at("list"), " 1 2, 3 4");
    EXPECT_EQ(text.sections.at(0).values.at("next"), "5");
}

TEST(SceneText, DropsCommentsAndBlanks)
{
    const SceneText text = SceneText::parse("; first\n# second\n [ A ] # third\n  key =  two words ; fourth\n");

    EXPECT_EQ(text.error, "");
    EXPECT_EQ(text.sections.at(0).name, "A");
    EXPECT_EQ(text.sections.at(0).values.at("key"), "two words");
}

TEST(SceneText, AcceptsAByteOrderMarkAndLineEndsOfWindows)
{
    const SceneText text = SceneText::parse("\xEF\xBB\xBF[A]\r\nkey = 1\r\n");

    EXPECT_EQ(text.error, "");
    EXPECT_EQ(text.sections.at(0).values.at("key"), "1");
}

TEST(SceneText, NamesTheLineOfWhatIsMalformed)
{
    const struct
    {
        const char* text;
        const char* error;
    } table[] = {
        {"[A\n", "line 1 is not of the form '[section]'"},
        {"\n[]\n", "line 2 is not of the form '[section]'"},
        {"[", "line 1 is not of the form '[section]'"},
        {"[A] b\n", "line 1 is not of the form '[section]'"},
        {"[A]\n[B]\n[A]\n", "line 3 has the section [A] for the second time"},
        {"key = 1\n", "line 1 has the key 'key' before the first section"},
        {"[A]\nkey = 1\nkey = 2\n", "line 3 has the key 'key' for the second time in [A]"},
        {"[A]\nkey\n", "line 2 is not of the form 'key = value'"},
        {"[A]\n= 1\n", "line 2 is not of the form 'key = value'"},
        {"[A]\n  1 2 3\n", "line 2 continues no value"},
    };
    for (const auto& row : table)
        EXPECT_EQ(SceneText::parse(row.text).error, row.error) << row.text;
}

TEST(SceneText, TakesBytesThatAreNoTextAtAll)
{
    std::string bytes;
    for (int i = 0; i < 1024; ++i)
        bytes += static_cast<char>(i * 37);
    EXPECT_NE(SceneText::parse(bytes).error, "");
    EXPECT_TRUE(SceneText::parse("").sections.empty());
}
