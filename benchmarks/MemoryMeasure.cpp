#include "MemoryMeasure.h"

#include "LoadClient.h"
#include "ProcessMeasure.h"
#include "ReplayLog.h"
#include "Servers.h"

#include <optional>

namespace
{

constexpr double BYTES_PER_KIBIBYTE = 1024.0;

/// Bytes per session, counted from the second one on: the first one also brings in what all share.
std::optional<double> residentPerSession(const MeasuredServer& server, int sessions)
{
    const Exchange exchange = Exchange::pose(replayLog::toolName(0), 1);
    std::vector<LoadClient> clients;
    const auto connectOne = [&]
    {
        clients.emplace_back(server.port());
        clients.back().perform(exchange);
    };
    connectOne();
    const std::optional<double> before = processMeasure::residentBytes(server.processId());
    for (int i = 0; i < sessions; ++i)
        connectOne();
    const std::optional<double> after = processMeasure::residentBytes(server.processId());
    if (!before || !after)
        return {};
    return (*after - *before) / sessions;
}

} // namespace

QString MemoryMeasure::name() const
{
    return "memory";
}

QString MemoryMeasure::description(const MeasureSettings& settings) const
{
    return QString("%1 idle sessions").arg(settings.sessions);
}

bool MemoryMeasure::isQuick() const
{
    return true;
}

std::vector<Figure> MemoryMeasure::run(const MeasureSettings& settings) const
{
    Figure figure{"resident", "KiB/session", {}, {}};
    for (int pair = 0; pair < settings.pairs; ++pair)
    {
        const auto toolserver = residentPerSession(*servers::startReplay(settings, 1), settings.sessions);
        const auto bare = residentPerSession(*servers::startBare(1, bareServer::Sends::ONE), settings.sessions);
        if (!toolserver || !bare)
            return {};
        figure.toolserver.push_back(*toolserver / BYTES_PER_KIBIBYTE);
        figure.bare.push_back(*bare / BYTES_PER_KIBIBYTE);
    }
    return {figure};
}
