#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
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
            const testing::TestResult& result = *testing::UnitTest::GetInstance()->current_test_info()->result();
            for (int i = 0; i < result.total_part_count(); ++i) // the standard output does not arrive on every system
                std::cerr << result.GetTestPartResult(i).line_number() << ": " << result.GetTestPartResult(i).message()
                          << std::endl;
            std::exit(result.Failed() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}
