#include <tbrBase/WatchdogException.h>

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

namespace
{

/// Collects what is written to std::cout while it lives.
class StandardOutput
{
public:
    StandardOutput() : m_Original(std::cout.rdbuf(m_Text.rdbuf())) {}
    ~StandardOutput() { std::cout.rdbuf(m_Original); }
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    std::string text() const { return m_Text.str(); }

private:
    std::ostringstream m_Text;
    std::streambuf* const m_Original;
};

} // namespace

TEST(WatchdogException, IsAnExceptionOfThisSystem)
{
    const tbr::WatchdogException error("Assertion x failed");
    const tbr::Exception& base = error;
    EXPECT_STREQ("Assertion x failed", base.what());
}

TEST(WatchdogException, IsNotThrownForAnAssertionThatHolds)
{
    StandardOutput output;
    EXPECT_NO_THROW(tbr::assertHolds(true, "connect( a, b )", "Toollist.cpp", 12));
    EXPECT_EQ("", output.text());
}

TEST(WatchdogException, CarriesTheTextThatTheFailedAssertionPrints)
{
    const std::string expected = "Assertion disconnect( rigidBody, 0, this, 0 ) failed in SurgicalTool.cpp at line 129";
    StandardOutput output;
    try
    {
        tbr::assertHolds(false, "disconnect( rigidBody, 0, this, 0 )", "SurgicalTool.cpp", 129);
        FAIL() << "nothing was thrown";
    }
    catch (const tbr::WatchdogException& error)
    {
        EXPECT_EQ(expected, error.what());
        EXPECT_EQ(expected, output.text());
    }
}
