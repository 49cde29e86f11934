#include "Exchange.h"
#include "LoadClient.h"
#include "ProcessMeasure.h"
#include "ReplayLog.h"
#include "Servers.h"
#include "Statistics.h"

#include <SurgicalTools/SurgicalToolBox.h>
#include <tbrBase/ProcessPlatform.h>
#include <tbrCore/DLLManager.h>
#include <tbrCore/Settings.h>

#include <QCommandLineParser>
#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>

// How long it takes until every instrument of a tool box has told its new pose: the request, the server's answer about
// all tools, their rigid bodies, and one ToolMovedSIG from each instrument. Measured in turn with the bare exchange of
// the same packets with the same server.

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int MOST_TOOLS = 32; // that a tool list holds
constexpr double WARM_UP_SHARE = 0.2;

struct Options
{
    int tools = 0;
    int pairs = 0;
    double seconds = 0.0;
};

/// Microseconds that one turn takes, on average over as many as fit into `seconds`.
template <class Turn>
double microsecondsPerTurn(double seconds, Turn turn)
{
    const auto runFor = [&](double duration)
    {
        const Clock::time_point begin = Clock::now();
        const auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
        int turns = 0;
        do
        {
            turn();
            ++turns;
        } while (elapsed() < duration);
        return elapsed() / turns * 1e6;
    };
    runFor(WARM_UP_SHARE * seconds);
    return runFor(seconds);
}

/// The process's tool box with one instrument for each tool of the server.
class Instruments
{
public:
    Instruments(int tools, int port) : m_Tools(tools), m_Moves(0)
    {
        configure();
        SurgicalToolBox& box = *SurgicalToolBox::getInstance();
        if (box.connect("127.0.0.1", port) != CaError::nullError)
            throw std::runtime_error("the tool box cannot connect");
        m_List = box.getToolList();
        for (SurgicalTool* tool : box.getAllTools())
            QObject::connect(tool, &SurgicalTool::ToolMovedSIG,
                             [this](TransMatrix3d, bool isValid) { m_Moves += isValid; });
    }
    ~Instruments() { m_List->disconnect(); }
    Instruments(const Instruments&) = delete;
    Instruments& operator=(const Instruments&) = delete;

    /// Updates the tool list; each instrument must tell one valid pose.
    void moveAll()
    {
        m_Moves = 0;
        const int status = m_List->updateAllTransforms(true);
        if (status < 0 || m_Moves != m_Tools)
            throw std::runtime_error("an update with status " + std::to_string(status) + " moved " +
                                     std::to_string(m_Moves) + " of " + std::to_string(m_Tools) + " instruments");
    }

private:
    void configure() const
    {
        tbr::Settings& settings = tbr::Settings::getInstance();
        const std::string list = "Tobrel/Navigation/CaToolList/";
        settings.set(list + "ClientInterfaceModulePath",
                     DLLManager::GetModuleDirectory(QCoreApplication::applicationDirPath().toStdString()));
        settings.set(list + "ClientInterfaceModule", std::string("TSClient"));
        for (int i = 0; i < m_Tools; ++i)
        {
            const std::string slot = "Tobrel/Navigation/SurgicalToolBox/SurgicalTool." + std::to_string(i);
            settings.set(slot + ".ClassId", std::string("PointerTool"));
            settings.set(slot + ".RigidBody", replayLog::toolName(i));
        }
    }

    const int m_Tools;
    int m_Moves;
    CaToolList* m_List;
};

struct Times
{
    std::vector<double> instruments; ///< microseconds per tool
    std::vector<double> exchange;    ///< likewise
};

Times measure(const Options& options)
{
    MeasureSettings settings;
    settings.toolserver = QCoreApplication::applicationDirPath() + "/toolserver";
    const auto server = servers::startReplay(settings, options.tools);
    Instruments instruments(options.tools, server->port());
    LoadClient client(server->port());
    const Exchange exchange = Exchange::allPoses(options.tools);

    Times times;
    for (int pair = 0; pair < options.pairs; ++pair)
    {
        times.instruments.push_back(microsecondsPerTurn(options.seconds, [&] { instruments.moveAll(); }) /
                                    options.tools);
        times.exchange.push_back(microsecondsPerTurn(options.seconds, [&] { client.perform(exchange); }) /
                                 options.tools);
    }
    return times;
}

void print(const Options& options, const Times& times, std::optional<int> processor, std::FILE* out)
{
    const double instruments = statistics::summarize(times.instruments).median;
    const double exchange = statistics::summarize(times.exchange).median;
    const statistics::Summary ratio = statistics::summarize(statistics::ratios(times.instruments, times.exchange));
    const std::string place = processor ? "all on processor " + std::to_string(*processor) : "not pinned";
    std::fprintf(out,
                 "%d instruments, %d pairs of %g s, %s, load average %.2f at the end\n"
                 "  moves                        %10.0f 1/s\n"
                 "  server packet to signal      %10.3f us per tool\n"
                 "  bare exchange of the packets %10.3f us per tool\n"
                 "  ratio                        %10.3f (%.3f to %.3f)\n",
                 options.tools, options.pairs, options.seconds, place.c_str(),
                 processMeasure::loadAverage().value_or(-1.0), 1e6 / instruments, instruments, exchange, ratio.median,
                 ratio.lowest, ratio.highest);
}

/// A number of the command line; a std::runtime_error for anything else or out of range.
double number(const QCommandLineParser& parser, const QCommandLineOption& option, double least, double most)
{
    bool isNumber = false;
    const double value = parser.value(option).toDouble(&isNumber);
    if (!isNumber || !(value >= least && value <= most))
        throw std::runtime_error("--" + option.names().first().toStdString() + " needs a number from " +
                                 QString::number(least).toStdString() + " to " + QString::number(most).toStdString());
    return value;
}

Options read(const QCoreApplication& application)
{
    const QCommandLineOption tools("tools", "Instruments, one for each tool of the server (default: 7).", "N", "7");
    const QCommandLineOption pairs("pairs", "Measurements of each kind, in turn (default: 5).", "N", "5");
    const QCommandLineOption seconds("seconds", "Time that one measurement takes (default: 0.5).", "S", "0.5");
    QCommandLineParser parser;
    parser.setApplicationDescription("Measures how fast the instruments of a tool box move.");
    parser.addOptions({tools, pairs, seconds});
    parser.addHelpOption();
    parser.process(application);
    return {static_cast<int>(number(parser, tools, 1, MOST_TOOLS)), static_cast<int>(number(parser, pairs, 1, 1000)),
            number(parser, seconds, 0.01, 3600.0)};
}

} // namespace

int main(int argc, char** argv)
{
    tbr::platform::survivePeersThatClose();
    const std::optional<int> processor = processMeasure::pinToOneProcessor(); // before the first thread
    QCoreApplication application(argc, argv);
    try
    {
        const Options options = read(application);
        print(options, measure(options), processor, stdout);
    }
    catch (const std::exception& error)
    {
        std::cerr << "instrument_moves: " << error.what() << std::endl;
        return 1;
    }
    return 0;
}
