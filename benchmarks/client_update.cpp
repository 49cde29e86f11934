// How much of a client's time the client itself takes: updates of a tool list (client-interface module, tool list and
// tools) in turn with the bare exchange of the same packets, both with the same server, in one run; and what signals to
// many slots add.

#include "LoadClient.h"
#include "ProcessMeasure.h"
#include "ReplayLog.h"
#include "Servers.h"
#include "Statistics.h"

#include <TSClientInterface/CaTool.h>
#include <TSClientInterface/CaToolList.h>
#include <TSClientInterface/CaToolServer.h>
#include <tbrCore/Settings.h>

#include <QCommandLineParser>
#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <stdexcept>

namespace
{

constexpr int NUMBER_OF_TOOLS = 16;
constexpr int NUMBER_OF_SLOTS = 100;

struct Run
{
    double seconds = 0.5; // that one measurement takes
    int pairs = 5;        // measurements of each kind, in turn
};

/// A list that is connected to the server and knows all its tools.
class Client
{
public:
    Client(int port, const QString& moduleDirectory)
    {
        const QString keys = "Tobrel/Navigation/CaToolList/";
        tbr::Settings::getInstance().set(keys + "ClientInterfaceModulePath", moduleDirectory);
        tbr::Settings::getInstance().set(keys + "ClientInterfaceModule", QString("TSClient"));
        m_List = std::make_unique<CaToolList>();
        const int status = m_List->connect("127.0.0.1", port);
        if (status != CaToolServer::OK)
            throw std::runtime_error(CaToolServer::getMessage(status));
        update();
        for (int i = 0; i < NUMBER_OF_TOOLS; ++i)
            if (!m_List->getTool(replayLog::toolName(i)) ||
                !m_List->getTool(replayLog::toolName(i))->isTransformValid())
                throw std::runtime_error("the list does not know the pose of " + replayLog::toolName(i));
    }

    void update()
    {
        const int status = m_List->updateAllTransforms(true);
        if (status != CaToolServer::OK)
            throw std::runtime_error(CaToolServer::getMessage(status));
    }

    /// Lets many slots follow the first tool, as long as the returned object lives.
    std::unique_ptr<QObject> follow(int numberOfSlots, long& moves) const
    {
        auto follower = std::make_unique<QObject>();
        for (int i = 0; i < numberOfSlots; ++i)
            QObject::connect(m_List->getTool(0), &CaTool::TransformationUpdatedSIG, follower.get(), [&] { ++moves; });
        return follower;
    }

private:
    std::unique_ptr<CaToolList> m_List;
};

/// How often a second `action` can be done.
template <class Action>
double rateOf(double seconds, Action action)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    const auto elapsed = [begin] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
    int count = 0;
    for (; elapsed() < seconds; ++count)
        action();
    return count / elapsed();
}

/// What one slot more costs an update, from rates that were measured in turn.
double nanosecondsPerSlot(const std::vector<double>& updates, const std::vector<double>& followedUpdates)
{
    std::vector<double> costs;
    for (std::size_t i = 0; i < updates.size(); ++i)
        costs.push_back(1e9 * (1 / followedUpdates[i] - 1 / updates[i]) / NUMBER_OF_SLOTS);
    return statistics::summarize(costs).median;
}

/// How often a second the list can be updated while many slots follow its first tool.
double rateOfFollowed(double seconds, Client& client)
{
    long moves = 0;
    long updates = 0;
    const auto follower = client.follow(NUMBER_OF_SLOTS, moves);
    const double rate = rateOf(seconds,
                               [&]
                               {
                                   client.update();
                                   ++updates;
                               });
    if (moves != updates * NUMBER_OF_SLOTS)
        throw std::runtime_error("a slot was not told of every update");
    return rate;
}

void measure(const Run& run, const QString& toolserver, const QString& moduleDirectory)
{
    const auto processor = processMeasure::pinToOneProcessor();
    MeasureSettings settings;
    settings.toolserver = toolserver;
    const auto server = servers::startReplay(settings, NUMBER_OF_TOOLS);
    Client client(server->port(), moduleDirectory);
    LoadClient bare(server->port());
    const Exchange exchange = Exchange::allPoses(NUMBER_OF_TOOLS);

    std::vector<double> updates;
    std::vector<double> followedUpdates;
    std::vector<double> exchanges;
    for (int pair = 0; pair <= run.pairs; ++pair)
    {
        const double followedRate = rateOfFollowed(run.seconds, client);
        const double updateRate = rateOf(run.seconds, [&] { client.update(); });
        const double exchangeRate = rateOf(run.seconds, [&] { bare.perform(exchange); });
        if (pair == 0) // warms up
            continue;
        updates.push_back(updateRate);
        followedUpdates.push_back(followedRate);
        exchanges.push_back(exchangeRate);
    }
    const statistics::Summary ratio = statistics::summarize(statistics::ratios(updates, exchanges));
    std::printf("%d tools, %s, build: " TBR_BUILD_KIND "\n", NUMBER_OF_TOOLS,
                processor ? "all on one processor" : "not pinned");
    std::printf("updateAllTransforms through module and list  %8.0f 1/s\n", statistics::summarize(updates).median);
    std::printf("the same with %d slots at one of the tools  %8.0f 1/s\n", NUMBER_OF_SLOTS,
                statistics::summarize(followedUpdates).median);
    std::printf("bare exchange of the same packets            %8.0f 1/s\n", statistics::summarize(exchanges).median);
    std::printf("ratio                                        %8.3f (%.3f to %.3f)\n", ratio.median, ratio.lowest,
                ratio.highest);
    std::printf("one signal to one of many slots              %8.1f ns\n",
                nanosecondsPerSlot(updates, followedUpdates));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QString folder = QCoreApplication::applicationDirPath();
    const QCommandLineOption seconds("seconds", "Length of one measurement (default: 0.5).", "S", "0.5");
    const QCommandLineOption pairs("pairs", "Measurements of each kind, in turn (default: 5).", "N", "5");
    const QCommandLineOption toolserver("toolserver", "The server's program file.", "FILE", folder + "/toolserver");
    const QCommandLineOption modules("module-dir", "Folder of the client module.", "DIR", folder + "/../modules");
    QCommandLineParser parser;
    parser.setApplicationDescription("Measures a client's update of 16 tools beside the bare exchange of packets.");
    parser.addHelpOption();
    parser.addOptions({seconds, pairs, toolserver, modules});
    parser.process(application);

    const Run run{parser.value(seconds).toDouble(), parser.value(pairs).toInt()};
    if (!(run.seconds > 0.0) || run.pairs < 1)
    {
        std::cerr << "client_update: --seconds and --pairs need positive numbers" << std::endl;
        return 2;
    }
    try
    {
        measure(run, parser.value(toolserver), parser.value(modules));
        return 0;
    }
    catch (const std::exception& error)
    {
        std::cerr << "client_update: " << error.what() << std::endl;
        return 1;
    }
}
