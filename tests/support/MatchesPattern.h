#pragma once

#include <gmock/gmock.h>

#include <regex>
#include <string>

/// Whether a whole text follows a regular expression. (GoogleTest's own expressions have no [...] on Windows.)
MATCHER_P(MatchesPattern, pattern, "follows the pattern \"" + std::string(pattern) + "\"")
{
    return std::regex_match(std::string(arg), std::regex(std::string(pattern)));
}
