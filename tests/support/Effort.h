#pragma once

#include <algorithm>
#include <cstdlib>

/// How often a test that hunts for races goes round: `rounds` in the quick check, and TBR_TEST_EFFORT times as often
/// where that variable is set (tbr_long_variant() in cmake/TbrTargets.cmake).
inline int withEffort(int rounds)
{
    const char* const effort = std::getenv("TBR_TEST_EFFORT");
    return rounds * std::max(1, effort ? std::atoi(effort) : 1);
}
