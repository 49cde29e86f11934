// What the camera's thread does for each frame and what sessions read from its tools, without any socket: pose fit,
// tool update, recording, the start of a replay, the reading of poses, and the look-up by name. Times per tool are
// processor time.

#include "BigReplay.h"
#include "CameraWork.h"
#include "ProcessMeasure.h"
#include "Statistics.h"

#include <tbrCore/Log.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <chrono>
#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>

namespace
{

constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_WRONG_USAGE = 2;

constexpr int TOOLS = 64;
constexpr double TICKS_PER_SECOND = 20.0;
constexpr qint64 BIG_LOG = qint64(1) << 30;
constexpr int PLAYED_BLOCKS = 2000;

/// One thing that is measured.
struct Measure
{
    QString name;
    QString unit;
    QString description;
    std::function<std::optional<double>(double seconds)> take; ///< empty: not on this system
};

/// What a measure found in each round.
struct Result
{
    const Measure* measure;
    std::vector<double> values;
};

/// Units of `now` that one turn takes, on average over as many turns as fit into `seconds`.
template <class Turn, class Now>
double perTurn(double seconds, Turn turn, Now now)
{
    using Clock = std::chrono::steady_clock;
    turn(); // warms up
    const Clock::time_point end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    const double begin = now();
    int turns = 0;
    do
    {
        turn();
        ++turns;
    } while (Clock::now() < end);
    return (now() - begin) / turns;
}

double wallSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Processor time of this process, which other work on the machine does not lengthen; where the system does not tell
/// it, the time of day.
double usedSeconds()
{
    const std::optional<double> used = processMeasure::processorSeconds(QCoreApplication::applicationPid());
    return used ? *used : wallSeconds();
}

/// A step of the work for so many tools, in nanoseconds for each of them.
Measure perTool(const QString& name, const QString& description, void (CameraWork::*step)(), int tools = TOOLS)
{
    return {name, "ns per tool", description,
            [=](double seconds) -> std::optional<double>
            {
                CameraWork work(tools);
                return perTurn(
                           seconds, [&] { (work.*step)(); }, usedSeconds) /
                       tools * 1e9;
            }};
}

/// Percent of one processor that the recording takes, by the time of its ticks.
std::optional<double> recordingShare(double seconds)
{
    CameraWork work(TOOLS);
    return perTurn(
               seconds, [&] { work.recordTick(); }, usedSeconds) *
           TICKS_PER_SECOND * 100.0;
}

std::optional<double> replayStart(double)
{
    const std::optional<BigReplay> log = BigReplay::make(BIG_LOG);
    return log ? std::optional<double>(log->startMilliseconds()) : std::nullopt;
}

std::optional<double> replayMemory(double)
{
    const std::optional<BigReplay> log = BigReplay::make(BIG_LOG);
    return log ? log->memoryGrowthKiB(PLAYED_BLOCKS) : std::nullopt;
}

/// The middle one of many ratios, each of a thousand look-ups of both kinds directly after one another, so that other
/// work on the machine does not count.
std::optional<double> lookUpRatio(double seconds)
{
    CameraWork few(10), many(1000);
    const auto time = [](CameraWork& work)
    {
        const double begin = wallSeconds();
        for (int lookUps = 0; lookUps < 1000; lookUps += work.tools())
            work.lookUpNames();
        return wallSeconds() - begin;
    };
    std::vector<double> ratios;
    for (const double begin = wallSeconds(); wallSeconds() - begin < seconds;)
        ratios.push_back(time(many) / time(few));
    return statistics::summarize(ratios).median;
}

std::vector<Measure> allMeasures()
{
    return {perTool("fit", "pose fit of four markers", &CameraWork::fitPoses),
            perTool("update", "Tool::updateFrame(), averages over 10 frames", &CameraWork::updateTools),
            perTool("record", "real-time record of the log", &CameraWork::makeRecords),
            perTool("tick", "one tick of the recording, with its write", &CameraWork::recordTick),
            {"recording", "% of a CPU", "recording 64 tools 20 times a second", recordingShare},
            {"replay-start", "ms", "start of the replay of a log of 1 GiB, until its tools are there", replayStart},
            {"replay-memory", "KiB", "growth while that replay starts and plays 2000 blocks", replayMemory},
            perTool("read", "pose, RMS and imaginary points in a tool's frame", &CameraWork::readTools),
            perTool("lookup-10", "look-up by name among 10 tools", &CameraWork::lookUpNames, 10),
            perTool("lookup-1000", "look-up by name among 1000 tools", &CameraWork::lookUpNames, 1000),
            {"lookup-ratio", "1000 to 10", "of the times of such look-ups", lookUpRatio}};
}

struct Options
{
    double seconds = 0.2;
    int rounds = 5;
    QStringList measures;
    bool isJson = false;
};

/// The results of the measures that were chosen, round by round, so that a busy moment spoils one value of each.
std::vector<Result> take(const std::vector<Measure>& measures, const Options& options)
{
    std::vector<Result> results;
    for (const Measure& measure : measures)
        if (options.measures.isEmpty() || options.measures.contains(measure.name))
            results.push_back({&measure, {}});
    // Tools announce themselves on standard output, which belongs to the figures here.
    std::streambuf* const output = std::cout.rdbuf(nullptr);
    for (int round = 0; round < options.rounds; ++round)
        for (Result& result : results)
            if (const std::optional<double> value = result.measure->take(options.seconds))
                result.values.push_back(*value);
    std::cout.rdbuf(output);
    std::cout.clear();
    return results;
}

void printTable(const std::vector<Result>& results, const Options& options, std::optional<int> processor)
{
    std::printf("64 tools with 4 markers each, %d rounds of %g s, build: " TBR_BUILD_KIND ", %s, load average %.2f\n\n",
                options.rounds, options.seconds, processor ? "on one processor" : "not pinned",
                processMeasure::loadAverage().value_or(-1.0));
    for (const Result& result : results)
    {
        const Measure& measure = *result.measure;
        if (result.values.empty())
        {
            std::printf("  %-14s cannot be measured here (%s)\n", qPrintable(measure.name),
                        qPrintable(measure.description));
            continue;
        }
        const statistics::Summary summary = statistics::summarize(result.values);
        std::printf("  %-14s %10.3f %-12s (%.3f to %.3f)  %s\n", qPrintable(measure.name), summary.median,
                    qPrintable(measure.unit), summary.lowest, summary.highest, qPrintable(measure.description));
    }
}

void printJson(const std::vector<Result>& results, const Options& options, std::optional<int> processor)
{
    QJsonArray measures;
    for (const Result& result : results)
    {
        QJsonObject measure{{"measure", result.measure->name},
                            {"unit", result.measure->unit},
                            {"description", result.measure->description}};
        if (!result.values.empty())
        {
            const statistics::Summary summary = statistics::summarize(result.values);
            measure["median"] = summary.median;
            measure["lowest"] = summary.lowest;
            measure["highest"] = summary.highest;
        }
        measures.append(measure);
    }
    const QJsonObject run{{"tools", TOOLS},
                          {"rounds", options.rounds},
                          {"seconds", options.seconds},
                          {"build", TBR_BUILD_KIND},
                          {"pinnedTo", processor ? QJsonValue(*processor) : QJsonValue()}};
    std::fputs(QJsonDocument(QJsonObject{{"run", run}, {"measures", measures}}).toJson().constData(), stdout);
}

/// The options, or a std::invalid_argument that says what is wrong with them.
Options read(const QCoreApplication& application, const std::vector<Measure>& known)
{
    const QCommandLineOption seconds("seconds", "Time that one measurement takes (default: 0.2).", "S", "0.2");
    const QCommandLineOption rounds("rounds", "Measurements of each kind (default: 5).", "N", "5");
    const QCommandLineOption measure("measure", "Take this measure only (may be repeated).", "NAME");
    const QCommandLineOption json("json", "Print JSON instead of a table.");
    QCommandLineParser parser;
    parser.setApplicationDescription("Measures the camera's side of the tool server, without any socket.");
    parser.addHelpOption();
    parser.addOptions({seconds, rounds, measure, json});
    parser.process(application);

    const Options options{parser.value(seconds).toDouble(), parser.value(rounds).toInt(), parser.values(measure),
                          parser.isSet(json)};
    if (!(options.seconds > 0.0) || options.rounds < 1)
        throw std::invalid_argument("--seconds and --rounds need positive numbers");
    for (const QString& name : options.measures)
        if (std::none_of(known.begin(), known.end(), [&](const Measure& candidate) { return candidate.name == name; }))
            throw std::invalid_argument("there is no measure \"" + name.toStdString() + "\"");
    return options;
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<int> processor = processMeasure::pinToOneProcessor(); // before the first thread
    QCoreApplication application(argc, argv);
    tbr::Log::setVerbosity(tbr::Log::Verbosity::QUIET);
    const std::vector<Measure> measures = allMeasures();
    try
    {
        const Options options = read(application, measures);
        const std::vector<Result> results = take(measures, options);
        (options.isJson ? printJson : printTable)(results, options, processor);
        return EXIT_DONE;
    }
    catch (const std::invalid_argument& error)
    {
        std::cerr << "camera_side: " << error.what() << std::endl;
        return EXIT_WRONG_USAGE;
    }
    catch (const std::exception& error)
    {
        std::cerr << "camera_side: " << error.what() << std::endl;
        return EXIT_FAILED;
    }
}
