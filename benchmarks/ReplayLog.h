#pragma once

#include <string>

/// A tracking log for the tool server to play: tools that are always in view and move a little.
namespace replayLog
{

/// The name of tool number `index`, counted from 0.
std::string toolName(int index);

/// The bytes of a log of `numberOfTools` tools with 4 markers each.
std::string make(int numberOfTools);

} // namespace replayLog
