#pragma once

#include "Exchange.h"
#include "LoadClient.h"

#include <QtGlobal>

#include <optional>
#include <vector>

/// One stretch of load on one server: all clients ask at the same time, each on a thread of its own.
namespace loadRun
{

struct Load
{
    Exchange exchange;
    double seconds;
    double ratePerClient = 0.0; ///< exchanges per second that a client begins; 0: the next one as soon as it can
};

struct Outcome
{
    double requestsPerSecond;
    std::vector<double> latencies;             ///< microseconds for one exchange, sorted
    std::optional<double> processorPerRequest; ///< microseconds of the server's processor time
};

/// Lets the clients ask for a little while that does not count, and then for `load.seconds`. `serverProcess` is the
/// process whose processor time is told. An exchange that should have begun while the client still waited for the one
/// before counts from the moment it was due.
///
/// Errors: what LoadClient::perform() throws, also when the server leaves a client waiting.
Outcome drive(std::vector<LoadClient>& clients, const Load& load, qint64 serverProcess);

} // namespace loadRun
