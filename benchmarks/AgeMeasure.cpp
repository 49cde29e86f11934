#include "AgeMeasure.h"

#include "LoadClient.h"
#include "ReplayLog.h"
#include "Servers.h"
#include "StampedCamera/TimeStamp.h"
#include "Statistics.h"

#include <TSLib/Packets.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace
{

/// On a machine that is busy otherwise, the camera may be late.
constexpr std::chrono::seconds PATIENCE(20);

/// Ages in microseconds.
struct Ages
{
    std::vector<double> all;        ///< of every answer
    std::vector<double> firstSight; ///< of the first answer that has a new frame
};

/// The time of the frame that the client's last answer tells.
std::int64_t frameTime(const LoadClient& client)
{
    float position[2];
    std::memcpy(position, client.answer() + Exchange::HEADER_SIZE + packets::TransformRecord::TRANSLATION.offset,
                sizeof position);
    return timeStamp::toMicroseconds(position[0], position[1]);
}

Ages collectAges(LoadClient& client, double seconds)
{
    using Clock = timeStamp::Clock;
    const Exchange exchange = Exchange::pose(replayLog::toolName(0), 1);
    client.perform(exchange);
    std::int64_t newest = frameTime(client);
    Ages ages;
    const Clock::time_point end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    for (Clock::time_point now = Clock::now(); now < end || (ages.firstSight.empty() && now < end + PATIENCE);)
    {
        client.perform(exchange);
        now = Clock::now();
        const std::int64_t frame = frameTime(client);
        ages.all.push_back(static_cast<double>(timeStamp::microsecondsOf(now) - frame));
        if (frame != newest)
            ages.firstSight.push_back(ages.all.back());
        newest = frame;
    }
    if (ages.firstSight.empty())
        throw std::runtime_error("the camera delivers no frames");
    std::sort(ages.all.begin(), ages.all.end());
    std::sort(ages.firstSight.begin(), ages.firstSight.end());
    return ages;
}

} // namespace

AgeMeasure::AgeMeasure(int framesPerSecond, bool isQuick) : m_FramesPerSecond(framesPerSecond), m_IsQuick(isQuick) {}

QString AgeMeasure::name() const
{
    return QString("age-%1").arg(m_FramesPerSecond);
}

QString AgeMeasure::description(const MeasureSettings&) const
{
    return QString("1 client: age of the pose of a camera at %1 Hz; of every answer, and of the first with a new frame")
        .arg(m_FramesPerSecond);
}

bool AgeMeasure::isQuick() const
{
    return m_IsQuick;
}

std::vector<Figure> AgeMeasure::run(const MeasureSettings& settings) const
{
    const auto server = servers::startStampedCamera(settings, m_FramesPerSecond);
    LoadClient client(server->port());
    std::vector<Figure> figures = {
        {"age p50", "us", {}, {}}, {"age p99", "us", {}, {}}, {"first p50", "us", {}, {}}, {"first p99", "us", {}, {}}};
    for (int repetition = 0; repetition < settings.pairs; ++repetition)
    {
        const Ages ages = collectAges(client, settings.seconds);
        const double values[] = {statistics::percentile(ages.all, 0.5), statistics::percentile(ages.all, 0.99),
                                 statistics::percentile(ages.firstSight, 0.5),
                                 statistics::percentile(ages.firstSight, 0.99)};
        for (std::size_t i = 0; i < figures.size(); ++i)
            figures[i].toolserver.push_back(values[i]);
    }
    return figures;
}
