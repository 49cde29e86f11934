#include "MeasureCatalogue.h"

#include "AgeMeasure.h"
#include "MemoryMeasure.h"
#include "RoundTripMeasure.h"

Measures allMeasures()
{
    using Request = RoundTripMeasure::Request;
    using bareServer::Sends;
    const RoundTripMeasure::Setup roundTrips[] = {
        // name, quick, request, clients, tools, sends of the bare server, rate of each client
        {"pose-1", true, Request::POSE, 1, 1, Sends::ONE, 0.0},
        {"pose-8", true, Request::POSE, 8, 1, Sends::ONE, 0.0},
        {"pose-64", true, Request::POSE, 64, 1, Sends::ONE, 0.0},
        {"pose-256", false, Request::POSE, 256, 1, Sends::ONE, 0.0},
        {"all-tools-1", false, Request::ALL_POSES, 1, 1, Sends::ONE, 0.0},
        {"all-tools-16", true, Request::ALL_POSES, 1, 16, Sends::ONE, 0.0},
        {"all-tools-64", false, Request::ALL_POSES, 1, 64, Sends::ONE, 0.0},
        {"all-tools-1-each", false, Request::ALL_POSES, 1, 1, Sends::EACH, 0.0},
        {"all-tools-16-each", true, Request::ALL_POSES, 1, 16, Sends::EACH, 0.0},
        {"all-tools-64-each", false, Request::ALL_POSES, 1, 64, Sends::EACH, 0.0},
        {"pipelined", true, Request::POSE_BATCH, 1, 1, Sends::EACH, 0.0},
        {"paced", true, Request::POSE, 8, 1, Sends::ONE, 400.0},
    };

    Measures measures;
    for (const RoundTripMeasure::Setup& setup : roundTrips)
        measures.push_back(std::make_unique<RoundTripMeasure>(setup));
    measures.push_back(std::make_unique<MemoryMeasure>());
    measures.push_back(std::make_unique<AgeMeasure>(60, false));
    measures.push_back(std::make_unique<AgeMeasure>(250, true));
    measures.push_back(std::make_unique<AgeMeasure>(1000, false));
    return measures;
}
