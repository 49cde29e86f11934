#include "Options.h"

#include "CommandLineReader.h"

#include <TSClientInterface/SocketPlatform.h>
#include <TSLib/ToolServer.h>
#include <tbrCore/DLLManager.h>

#include <QCommandLineParser>

namespace
{

const char* const DESCRIPTION = R"(
Serves the tools of a tracking camera, or of a recording, to the clients of the tracking protocol.

Examples:
  toolserver                            the simulated camera on port 2222
  toolserver --log run.tslog            the same, recorded
  toolserver --replay run.tslog --repeat
  toolserver --bind 127.0.0.1 --port 0  this machine only, a free port (see the "listening on" line)

SIGINT (Ctrl-C) and SIGTERM end it cleanly. Exit status: 0 done, 1 failed, 2 wrong usage.)";

/// The options as the parser knows them.
struct Definitions
{
    QCommandLineOption moduleDir{"module-dir", "Folder of the camera modules.", "DIR"};
    QCommandLineOption module{"module", "Camera module to load (default: SimulatedCamera).", "NAME"};
    QCommandLineOption log{"log", "Record all tools to this tracking log.", "FILE"};
    QCommandLineOption replay{"replay", "Play this tracking log instead of a camera.", "FILE"};
    QCommandLineOption repeat{"repeat", "Start the replay over at its end."};
    QCommandLineOption port{"port", "TCP port to listen on (default: 2222; 0: any free one).", "N"};
    QCommandLineOption bind{"bind", "Address to listen on (default: 0.0.0.0, that is all).", "ADDR"};
    QCommandLineOption allow{"allow", "Let clients from this network in, and no others (may be repeated).", "CIDR"};
    QCommandLineOption maxClients{"max-clients", "Serve at most so many clients at a time.", "N"};
    QCommandLineOption listModules{"list-modules", "List the camera modules and end."};
    QCommandLineOption settings{"settings", "INI file to take the settings from.", "FILE"};
    QCommandLineOption quiet{"quiet", "Log errors only."};
    QCommandLineOption verbose{"verbose", "Log debugging detail, too."};
    QCommandLineOption version{"version", "Show the version and end."};
    QCommandLineOption help{QStringList{"h", "help"}, "Show this help and end."};

    void addTo(QCommandLineParser& parser) const
    {
        parser.addOptions({moduleDir, module, log, replay, repeat, port, bind, allow, maxClients, listModules, settings,
                           quiet, verbose, version, help});
    }
};

void readAddresses(const QCommandLineParser& parser, CommandLineReader& reader, Options& options)
{
    const Definitions d;
    reader.text(d.bind, options.bindAddress);
    tbr::platform::SocketAddress ignored;
    reader.require(tbr::platform::parseAddress(options.bindAddress.toStdString(), 0, ignored),
                   "--bind needs an IPv4 address, not \"" + options.bindAddress + "\"");
    for (const QString& network : parser.values(d.allow))
        reader.require(options.allowedClients.add(network.toStdString()),
                       "--allow needs an IPv4 network such as 192.168.7.0/24, not \"" + network + "\"");
}

void readValues(const QCommandLineParser& parser, CommandLineReader& reader, Options& options)
{
    const Definitions d;
    reader.text(d.moduleDir, options.moduleDirectory);
    reader.text(d.module, options.module);
    reader.text(d.log, options.logFile);
    reader.text(d.replay, options.replayFile);
    reader.text(d.settings, options.settingsFile);
    reader.number(d.port, 0, 65535, options.port);
    reader.number(d.maxClients, 1, 1000000, options.maximumClients);
    readAddresses(parser, reader, options);
    options.isRepeating = parser.isSet(d.repeat);
    if (parser.isSet(d.quiet))
        options.verbosity = tbr::Log::Verbosity::QUIET;
    if (parser.isSet(d.verbose))
        options.verbosity = tbr::Log::Verbosity::VERBOSE;
    if (parser.isSet(d.listModules))
        options.action = Options::Action::LIST_MODULES;

    reader.require(parser.positionalArguments().isEmpty(),
                   "unexpected argument \"" + parser.positionalArguments().value(0) + "\"");
    reader.require(!parser.isSet(d.repeat) || parser.isSet(d.replay), "--repeat needs --replay FILE");
    reader.exclude(d.log, d.replay);
    reader.exclude(d.quiet, d.verbose);
}

} // namespace

Options Options::parse(const QStringList& arguments, const QString& programFolder)
{
    Options options;
    options.port = ToolServer::DEFAULT_PORT;
    options.moduleDirectory = QString::fromStdString(DLLManager::GetModuleDirectory(programFolder.toStdString()));

    const Definitions definitions;
    QCommandLineParser parser;
    parser.setApplicationDescription(DESCRIPTION);
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    definitions.addTo(parser);
    const bool isParsed = parser.parse(arguments);
    if (isParsed && (parser.isSet(definitions.help) || parser.isSet(definitions.version)))
    {
        options.action = Action::SHOW_TEXT;
        options.text = parser.isSet(definitions.help) ? parser.helpText() : QString("toolserver " TBR_VERSION "\n");
        return options;
    }

    CommandLineReader reader(parser);
    reader.require(isParsed, parser.errorText());
    if (isParsed)
        readValues(parser, reader, options);
    if (!reader.error().isEmpty())
    {
        options.action = Action::FAIL;
        options.text = "toolserver: " + reader.error() + " (see toolserver --help)\n";
    }
    return options;
}
