#pragma once

#include "BareServer.h"
#include "Measure.h"
#include "MeasuredServer.h"

#include <memory>

/// Starts the servers that are measured. Errors: std::runtime_error.
namespace servers
{

/// The tool server, playing a tracking log of `numberOfTools` tools again and again.
std::unique_ptr<MeasuredServer> startReplay(const MeasureSettings& settings, int numberOfTools);

/// The tool server with a camera of that many frames per second whose tool's position tells the time of its frame.
std::unique_ptr<MeasuredServer> startStampedCamera(const MeasureSettings& settings, int framesPerSecond);

/// The server to compare with: this very program in another role.
std::unique_ptr<MeasuredServer> startBare(int numberOfTools, bareServer::Sends sends);

} // namespace servers
