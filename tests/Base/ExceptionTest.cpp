#include <tbrBase/Exception.h>

#include <gtest/gtest.h>

#include <memory>

TEST(Exception, TellsTheTextItWasMadeWith)
{
    EXPECT_STREQ("port 2222 is taken", tbr::Exception("port 2222 is taken").what());
}

TEST(Exception, IsCaughtAsAStandardException)
{
    try
    {
        throw tbr::Exception("wired wrongly");
    }
    catch (const std::exception& error)
    {
        EXPECT_STREQ("wired wrongly", error.what());
        return;
    }
    FAIL() << "nothing was caught";
}

TEST(Exception, KeepsItsTextWhenTheOneItWasCopiedFromIsGone)
{
    auto first = std::make_unique<tbr::Exception>("a text too long to be kept inside a string object itself");
    const tbr::Exception copy(*first);
    first.reset();
    EXPECT_STREQ("a text too long to be kept inside a string object itself", copy.what());
}
