#include "Options.h"

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

/// Checks and takes over the values of a parsed command line; the first mistake is kept in `error`.
class Reader
{
public:
    Reader(const QCommandLineParser& parser, Options& options) : m_Parser(parser), m_Options(options) {}

    void read()
    {
        const Definitions d;
        text(d.moduleDir, m_Options.moduleDirectory);
        text(d.module, m_Options.module);
        text(d.log, m_Options.logFile);
        text(d.replay, m_Options.replayFile);
        text(d.settings, m_Options.settingsFile);
        number(d.port, 0, 65535, m_Options.port);
        number(d.maxClients, 1, 1000000, m_Options.maximumClients);
        readAddresses(d);
        m_Options.isRepeating = m_Parser.isSet(d.repeat);
        if (m_Parser.isSet(d.quiet))
            m_Options.verbosity = tbr::Log::Verbosity::QUIET;
        if (m_Parser.isSet(d.verbose))
            m_Options.verbosity = tbr::Log::Verbosity::VERBOSE;

        require(m_Parser.positionalArguments().isEmpty(),
                "unexpected argument \"" + m_Parser.positionalArguments().value(0) + "\"");
        require(!m_Parser.isSet(d.repeat) || m_Parser.isSet(d.replay), "--repeat needs --replay FILE");
        require(!m_Parser.isSet(d.log) || !m_Parser.isSet(d.replay), "--log and --replay exclude each other");
        require(!m_Parser.isSet(d.quiet) || !m_Parser.isSet(d.verbose), "--quiet and --verbose exclude each other");
    }

    QString error;

private:
    void require(bool holds, const QString& otherwise)
    {
        if (!holds && error.isEmpty())
            error = otherwise;
    }

    void text(const QCommandLineOption& option, QString& value)
    {
        if (!m_Parser.isSet(option))
            return;
        value = m_Parser.value(option);
        require(!value.isEmpty(), "--" + option.names().first() + " needs a value");
    }

    void number(const QCommandLineOption& option, int least, int most, int& value)
    {
        if (!m_Parser.isSet(option))
            return;
        bool isNumber = false;
        value = m_Parser.value(option).toInt(&isNumber);
        require(isNumber && value >= least && value <= most, QString("--%1 needs a number from %2 to %3, not \"%4\"")
                                                                 .arg(option.names().first())
                                                                 .arg(least)
                                                                 .arg(most)
                                                                 .arg(m_Parser.value(option)));
    }

    void readAddresses(const Definitions& d)
    {
        text(d.bind, m_Options.bindAddress);
        tbr::platform::SocketAddress ignored;
        require(tbr::platform::parseAddress(m_Options.bindAddress.toStdString(), 0, ignored),
                "--bind needs an IPv4 address, not \"" + m_Options.bindAddress + "\"");
        for (const QString& network : m_Parser.values(d.allow))
            require(m_Options.allowedClients.add(network.toStdString()),
                    "--allow needs an IPv4 network such as 192.168.7.0/24, not \"" + network + "\"");
    }

    const QCommandLineParser& m_Parser;
    Options& m_Options;
};

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
    QString error = parser.parse(arguments) ? QString() : parser.errorText();
    if (error.isEmpty())
    {
        Reader reader(parser, options);
        reader.read();
        error = reader.error;
    }

    if (!error.isEmpty())
    {
        options.action = Action::FAIL;
        options.text = "toolserver: " + error + " (see toolserver --help)\n";
    }
    else if (parser.isSet(definitions.help))
    {
        options.action = Action::SHOW_TEXT;
        options.text = parser.helpText();
    }
    else if (parser.isSet(definitions.version))
    {
        options.action = Action::SHOW_TEXT;
        options.text = "toolserver " TBR_VERSION "\n";
    }
    else if (parser.isSet(definitions.listModules))
        options.action = Action::LIST_MODULES;
    return options;
}
