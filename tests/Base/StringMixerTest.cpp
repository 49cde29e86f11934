#include <tbrBase/Exception.h>
#include <tbrBase/StringMixer.h>

#include <gtest/gtest.h>

#include <iomanip>
#include <locale>

using _tbr::StringMixer;

TEST(StringMixer, PutsPiecesOfAnyTypeTogether)
{
    const std::string text = StringMixer() << "tool " << std::string("Drill") << ' ' << 7 << " rms " << 0.5 << true;
    EXPECT_EQ("tool Drill 7 rms 0.51", text);
}

TEST(StringMixer, GoesOnBehindTheTextItBeginsWith)
{
    EXPECT_EQ("port 2222", (StringMixer("port ") << 2222).str());
    EXPECT_EQ("", StringMixer().str());
}

TEST(StringMixer, CarriesATextIntoAnException)
{
    try
    {
        throw tbr::Exception(StringMixer() << "slot " << 98);
    }
    catch (const tbr::Exception& error)
    {
        EXPECT_STREQ("slot 98", error.what());
    }
}

TEST(StringMixer, LetsManipulatorsWorkOnTheFollowingPieces)
{
    EXPECT_EQ("0x1d 1d 29\n",
              (StringMixer("0x") << std::hex << 29 << ' ' << 29 << std::dec << ' ' << 29 << std::endl).str());
    EXPECT_EQ("007", (StringMixer() << std::setw(3) << std::setfill('0') << 7).str());
}

TEST(StringMixer, WritesNumbersAlikeInEveryLocale)
{
    struct Grouping : std::numpunct<char>
    {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
        char do_decimal_point() const override { return ','; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    const std::string text = StringMixer() << 2222 << ' ' << 0.5;
    std::locale::global(before);
    EXPECT_EQ("2222 0.5", text);
}

TEST(StringMixer, IsCopiedWithItsText)
{
    StringMixer original = StringMixer() << "a" << 1;
    StringMixer copy = original;
    copy << "b";
    EXPECT_EQ("a1", original.str());
    EXPECT_EQ("a1b", copy.str());

    original = copy;
    original << "c";
    EXPECT_EQ("a1bc", original.str());
    EXPECT_EQ("a1b", copy.str());
}
