#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

/// Runs a part of a test in a process of its own, which must end cleanly: for what exists once in a process. What fails
/// there is reported here. Only one such part in a test.
template <class Part>
void inOwnProcess(Part part)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe"; // starts the program anew instead of copying a running one
    EXPECT_EXIT(
        {
            part();
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}
