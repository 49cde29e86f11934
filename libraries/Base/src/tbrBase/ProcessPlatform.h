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

/// Lets a write beyond the size that the system allows this process's files fail, like one to a full disk, instead of
/// ending the process. Call it first in main().
TBR_BASE_EXPORT void surviveFileSizeLimits();

/// Calls `stop` on the main thread's event loop each time the user or the system asks the program to end (SIGINT,
/// SIGTERM; Ctrl-C, Ctrl-Break and console close on Windows); requests that arrive together may be one call. A request
/// that arrives before the event loop runs is not lost. Call it once, on the main thread, while a QCoreApplication
/// exists. Returns false when the system has no means left; such a request then ends the process at once, as before.
TBR_BASE_EXPORT bool onTerminationRequest(std::function<void()> stop);

/// Whether standard output is a terminal that a person looks at.
TBR_BASE_EXPORT bool isStandardOutputTerminal();

} // namespace platform
} // namespace tbr
