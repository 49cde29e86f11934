#include "RoundTripMeasure.h"

#include "LoadRun.h"
#include "ReplayLog.h"
#include "Servers.h"
#include "Statistics.h"

#include <algorithm>
#include <iterator>

namespace
{

/// With fewer clients the scheduler's choice of processors decides the figures when nothing is pinned.
constexpr int FEWEST_CLIENTS_UNPINNED = 8;

Exchange exchangeOf(const RoundTripMeasure::Setup& setup)
{
    switch (setup.request)
    {
    case RoundTripMeasure::Request::ALL_POSES:
        return Exchange::allPoses(setup.tools);
    case RoundTripMeasure::Request::POSE_BATCH:
        return Exchange::pose(replayLog::toolName(0), RoundTripMeasure::BATCH_SIZE);
    case RoundTripMeasure::Request::POSE:
        break;
    }
    return Exchange::pose(replayLog::toolName(0), 1);
}

/// A server and the clients that are connected to it.
struct Side
{
    Side(std::unique_ptr<MeasuredServer> process, int numberOfClients) : server(std::move(process))
    {
        for (int i = 0; i < numberOfClients; ++i)
            clients.emplace_back(server->port());
    }

    loadRun::Outcome drive(const loadRun::Load& load) { return loadRun::drive(clients, load, server->processId()); }

    std::unique_ptr<MeasuredServer> server;
    std::vector<LoadClient> clients;
};

double rateOf(const loadRun::Outcome& outcome)
{
    return outcome.requestsPerSecond;
}

template <int PER_MILLE>
double latencyOf(const loadRun::Outcome& outcome)
{
    return statistics::percentile(outcome.latencies, PER_MILLE / 1000.0);
}

double processorTimeOf(const loadRun::Outcome& outcome)
{
    return outcome.processorPerRequest.value_or(0.0);
}

/// A figure and how it is taken from a stretch of load.
struct FigureSource
{
    const char* name;
    const char* unit;
    double (*valueOf)(const loadRun::Outcome&);
};

constexpr FigureSource RATE = {"rate", "1/s", &rateOf};
constexpr FigureSource LATENCIES[] = {
    {"p50", "us", &latencyOf<500>}, {"p99", "us", &latencyOf<990>}, {"p99.9", "us", &latencyOf<999>}};
constexpr FigureSource PROCESSOR_TIME = {"server CPU", "us/request", &processorTimeOf};

/// All figures of stretches of load that the two servers were put under in turn.
std::vector<Figure> figuresOf(const std::vector<loadRun::Outcome>& toolserver,
                              const std::vector<loadRun::Outcome>& bare, bool isPaced)
{
    std::vector<FigureSource> sources(std::begin(LATENCIES), std::end(LATENCIES));
    if (!isPaced)
        sources.insert(sources.begin(), RATE);
    if (toolserver.front().processorPerRequest)
        sources.push_back(PROCESSOR_TIME);

    std::vector<Figure> figures;
    for (const FigureSource& source : sources)
    {
        figures.push_back({source.name, source.unit, {}, {}});
        std::transform(toolserver.begin(), toolserver.end(), std::back_inserter(figures.back().toolserver),
                       source.valueOf);
        std::transform(bare.begin(), bare.end(), std::back_inserter(figures.back().bare), source.valueOf);
    }
    return figures;
}

} // namespace

RoundTripMeasure::RoundTripMeasure(const Setup& setup) : m_Setup(setup) {}

QString RoundTripMeasure::name() const
{
    return m_Setup.name;
}

int RoundTripMeasure::numberOfClients(const MeasureSettings& settings) const
{
    return settings.isPinned ? m_Setup.clients : std::max(m_Setup.clients, FEWEST_CLIENTS_UNPINNED);
}

bool RoundTripMeasure::isQuick() const
{
    return m_Setup.isQuick;
}

bool RoundTripMeasure::isSteadyUnpinned() const
{
    return m_Setup.request != Request::POSE || m_Setup.clients >= FEWEST_CLIENTS_UNPINNED;
}

QString RoundTripMeasure::description(const MeasureSettings& settings) const
{
    QString what = "the pose of one tool";
    if (m_Setup.request == Request::ALL_POSES)
        what = QString("the poses of all tools (%1)").arg(m_Setup.tools);
    if (m_Setup.request == Request::POSE_BATCH)
        what += QString(", %1 requests in a send; latencies are those of a whole batch").arg(BATCH_SIZE);
    if (m_Setup.ratePerClient > 0.0)
        what += QString(" at %1 Hz").arg(m_Setup.ratePerClient);
    if (m_Setup.bareSends == bareServer::Sends::EACH && m_Setup.request == Request::ALL_POSES)
        what += "; bare sends each packet by itself";
    const int clients = numberOfClients(settings);
    return QString("%1 %2: %3").arg(clients).arg(clients == 1 ? "client" : "clients", what);
}

std::vector<Figure> RoundTripMeasure::run(const MeasureSettings& settings) const
{
    const loadRun::Load load{exchangeOf(m_Setup), settings.seconds, m_Setup.ratePerClient};
    Side toolserver(servers::startReplay(settings, m_Setup.tools), numberOfClients(settings));
    Side bare(servers::startBare(m_Setup.tools, m_Setup.bareSends), numberOfClients(settings));
    std::vector<loadRun::Outcome> outcomes;
    std::vector<loadRun::Outcome> bareOutcomes;
    for (int pair = 0; pair < settings.pairs; ++pair)
    {
        outcomes.push_back(toolserver.drive(load));
        bareOutcomes.push_back(bare.drive(load));
    }
    return figuresOf(outcomes, bareOutcomes, m_Setup.ratePerClient > 0.0);
}
