#pragma once

#include <tbrBase/Export.h>

#include <functional>

/// What differs between operating systems in the life of a program.
namespace tbr
{
namespace platform
{

/// Lets writes to a closed pipe or socket fail instead of ending the process. Call it first in main().
TBR_BASE_EXPORT void survivePeersThatClose();

/// Calls `stop` on the main thread's event loop when the user or the system asks the program to end (SIGINT, SIGTERM;
/// Ctrl-C, Ctrl-Break and console close on Windows). A QCoreApplication must exist. Call once.
TBR_BASE_EXPORT void onTerminationRequest(std::function<void()> stop);

/// Whether standard output is a terminal that a person looks at.
TBR_BASE_EXPORT bool isStandardOutputTerminal();

} // namespace platform
} // namespace tbr
