#include <SimulatedCamera/SectionReader.h>

#include <gtest/gtest.h>

#include <string>

using simulation::SectionReader;
using simulation::TextSection;

namespace
{

class SectionReaderTest : public testing::Test
{
protected:
    TextSection section{"Tool A", {}};
    std::string error;
    SectionReader values{section, error};
};

} // namespace

TEST_F(SectionReaderTest, GivesTheDefaultWhereAKeyIsMissing)
{
    EXPECT_EQ(values.number("rate", 60.0, {1, 1000}), 60.0);
    EXPECT_EQ(values.integer("seed", 5, 0, 9), 5);
    EXPECT_EQ(values.text("name", "A", 31), "A");
    EXPECT_EQ(values.point("axis", {0, 0, 1}), Vector3d(0, 0, 1));
    EXPECT_TRUE(values.rows("list", 1, 3).empty());
    EXPECT_FALSE(values.has("rate"));
    EXPECT_EQ(error, "");
}

TEST_F(SectionReaderTest, ReadsNumbersInAnyUsualForm)
{
    section.values = {{"a", "1.5"}, {"b", "-2e3"}, {"c", "+4"}, {"d", ".25"}, {"e", "1000"}};
    EXPECT_EQ(values.number("a", 0, {-9999, 9999}), 1.5);
    EXPECT_EQ(values.number("b", 0, {-9999, 9999}), -2000.0);
    EXPECT_EQ(values.number("c", 0, {-9999, 9999}), 4.0);
    EXPECT_EQ(values.number("d", 0, {-9999, 9999}), 0.25);
    EXPECT_EQ(values.number("e", 0, {1, 1000}), 1000.0) << "both ends are included";
    EXPECT_EQ(values.integer("e", 0, 1, 1000), 1000);
    EXPECT_EQ(error, "");
}

TEST_F(SectionReaderTest, RefusesWhatIsNoNumberOrOutOfRange)
{
    const struct
    {
        const char* value;
        const char* error;
    } table[] = {
        {"", "[Tool A] key: '' is not a number"},
        {"one", "[Tool A] key: 'one' is not a number"},
        {"1x", "[Tool A] key: '1x' is not a number"},
        {"1 2", "[Tool A] key: '1 2' is not a number"},
        {"nan", "[Tool A] key: 'nan' is not a number"},
        {"NaN", "[Tool A] key: 'NaN' is not a number"},
        {"inf", "[Tool A] key: 'inf' is not a number"},
        {"1e999", "[Tool A] key: '1e999' is not a number"},
        {"+-1", "[Tool A] key: '+-1' is not a number"},
        {"0.999", "[Tool A] key: 0.999 is not between 1 and 1000"},
        {"1000.001", "[Tool A] key: 1000.001 is not between 1 and 1000"},
    };
    for (const auto& row : table)
    {
        section.values["key"] = row.value;
        error.clear();
        values.number("key", 5.0, {1, 1000});
        EXPECT_EQ(error, row.error);
    }
    section.values["key"] = "1.5";
    error.clear();
    values.integer("key", 1, 0, 9);
    EXPECT_EQ(error, "[Tool A] key: '1.5' is not a whole number");
}

TEST_F(SectionReaderTest, ReadsListsOfPoints)
{
    section.values = {{"markers", "1 2 3,4 5 6"}};
    const std::vector<Vector3d> points = values.points("markers", 2, 2);
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(points[1], Vector3d(4, 5, 6));
    EXPECT_EQ(error, "");

    values.points("markers", 3, 32);
    EXPECT_EQ(error, "[Tool A] markers: 2 points, but there must be 3 to 32");
}

TEST_F(SectionReaderTest, RefusesEntriesOfTheWrongLength)
{
    section.values = {{"markers", "1 2 3, 4 5"}, {"presses", "1 2 3,"}};
    values.points("markers", 1, 32);
    EXPECT_EQ(error, "[Tool A] markers: entry 2 has 2 values, but there must be 3");

    error.clear();
    values.rows("presses", 1, 3);
    EXPECT_EQ(error, "[Tool A] presses: entry 2 has 0 values, but there must be 1 to 3");
}

TEST_F(SectionReaderTest, RefusesATextThatIsTooLong)
{
    section.values = {{"name", std::string(31, 'x')}};
    EXPECT_EQ(values.text("name", "", 31), std::string(31, 'x'));
    EXPECT_EQ(error, "");
    section.values["name"] += 'x';
    values.text("name", "", 31);
    EXPECT_EQ(error, "[Tool A] name: '" + std::string(32, 'x') + "' is longer than 31 bytes");
}

TEST_F(SectionReaderTest, RefusesKeysThatNobodyAskedFor)
{
    section.values = {{"known", "1"}, {"markres", "1"}};
    values.number("known", 0, {0, 1});
    values.refuseOtherKeys();
    EXPECT_EQ(error, "[Tool A] markres: there is no such key here");
}

TEST_F(SectionReaderTest, KeepsTheFirstError)
{
    values.fail("a", "first");
    values.fail("b", "second");
    EXPECT_EQ(error, "[Tool A] a: first");
}
