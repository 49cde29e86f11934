#include "LoadOptions.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>

namespace
{

const char* const DESCRIPTION = R"(
Measures the tool server under load, in turn with a bare socket server that receives and sends as much and does nothing
else, with the same clients. All run on one processor, so that the ratio tells what the work of the tool server costs.

Examples:
  toolserver_load                              the quick set, about a minute
  toolserver_load --all --seconds 2
  toolserver_load --measure pose-1 --measure pose-64 --pairs 9
  toolserver_load --all --json > load.json

Exit status: 0 done, 1 failed, 2 wrong usage.)";

struct Definitions
{
    QCommandLineOption measure{"measure", "Take this measure (may be repeated; see --list).", "NAME"};
    QCommandLineOption all{"all", "Take all measures."};
    QCommandLineOption list{"list", "List the measures and end; those of the quick set have a star."};
    QCommandLineOption seconds{"seconds", "Time that one measurement takes (default: 0.5).", "S"};
    QCommandLineOption pairs{"pairs", "Measurements of each server, in turn (default: 5).", "N"};
    QCommandLineOption sessions{"sessions", "Idle sessions to measure memory with (default: 500).", "N"};
    QCommandLineOption unpinned{"unpinned", "Let the system choose processors. A single client's rate then depends "
                                            "on the choice, so every measure has 8 clients or more."};
    QCommandLineOption json{"json", "Print JSON instead of tables."};
    QCommandLineOption toolserver{"toolserver", "The server program (default: beside this one).", "FILE"};
    QCommandLineOption moduleDir{"module-dir", "Folder of the StampedCamera module.", "DIR"};
    QCommandLineOption bareServer{"bare-server", "Be the bare server: send an answer as a whole or by packets.",
                                  "one|each"};
    QCommandLineOption tools{"tools", "Tools that the bare server tells of (default: 1).", "N"};
    QCommandLineOption help{QStringList{"h", "help"}, "Show this help and end."};

    void addTo(QCommandLineParser& parser) const
    {
        parser.addOptions({measure, all, list, seconds, pairs, sessions, unpinned, json, toolserver, moduleDir,
                           bareServer, tools, help});
    }
};

/// Checks and takes over the values of a parsed command line; the first mistake is kept in `error`.
class Reader
{
public:
    Reader(const QCommandLineParser& parser, const Measures& known, LoadOptions& options)
        : m_Parser(parser), m_Known(known), m_Options(options)
    {
    }

    void read()
    {
        const Definitions d;
        MeasureSettings& settings = m_Options.settings;
        number(d.pairs, 1, 1000, settings.pairs);
        number(d.sessions, 1, 10000, settings.sessions);
        number(d.tools, 0, 1000, m_Options.tools);
        readSeconds(d);
        text(d.toolserver, settings.toolserver);
        text(d.moduleDir, settings.moduleDirectory);
        settings.isPinned = !m_Parser.isSet(d.unpinned);
        m_Options.isJson = m_Parser.isSet(d.json);
        readSends(d);
        readMeasures(d);
        require(m_Parser.positionalArguments().isEmpty(),
                "unexpected argument \"" + m_Parser.positionalArguments().value(0) + "\"");
        require(!m_Parser.isSet(d.all) || !m_Parser.isSet(d.measure), "--all and --measure exclude each other");
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
        if (m_Parser.isSet(option))
            value = m_Parser.value(option);
    }

    void number(const QCommandLineOption& option, int least, int most, int& value)
    {
        if (!m_Parser.isSet(option))
            return;
        bool isNumber = false;
        value = m_Parser.value(option).toInt(&isNumber);
        require(isNumber && value >= least && value <= most,
                QString("--%1 needs a number from %2 to %3").arg(option.names().first()).arg(least).arg(most));
    }

    void readSeconds(const Definitions& d)
    {
        if (!m_Parser.isSet(d.seconds))
            return;
        bool isNumber = false;
        double& seconds = m_Options.settings.seconds;
        seconds = m_Parser.value(d.seconds).toDouble(&isNumber);
        require(isNumber && seconds >= 0.01 && seconds <= 3600.0, "--seconds needs a number from 0.01 to 3600");
    }

    void readSends(const Definitions& d)
    {
        const QString sends = m_Parser.value(d.bareServer);
        require(!m_Parser.isSet(d.bareServer) || sends == "one" || sends == "each", "--bare-server is one or each");
        m_Options.sends = sends == "each" ? bareServer::Sends::EACH : bareServer::Sends::ONE;
    }

    void readMeasures(const Definitions& d)
    {
        const bool isPinned = m_Options.settings.isPinned;
        const QStringList chosen = m_Parser.values(d.measure);
        for (const auto& measure : m_Known)
        {
            const bool isChosen = chosen.contains(measure->name());
            require(!isChosen || isPinned || measure->isSteadyUnpinned(),
                    "--unpinned: the figures of \"" + measure->name() + "\" would depend on chance");
            const bool isOfTheSet = chosen.isEmpty() && (measure->isQuick() || m_Parser.isSet(d.all)) &&
                                    (isPinned || measure->isSteadyUnpinned());
            if (isChosen || isOfTheSet)
                m_Options.measures << measure->name();
        }
        for (const QString& name : chosen)
            require(m_Options.measures.contains(name), "there is no measure \"" + name + "\"");
    }

    const QCommandLineParser& m_Parser;
    const Measures& m_Known;
    LoadOptions& m_Options;
};

LoadOptions::Action actionOf(const QCommandLineParser& parser, const Definitions& d)
{
    using Action = LoadOptions::Action;
    if (parser.isSet(d.help))
        return Action::SHOW_TEXT;
    if (parser.isSet(d.list))
        return Action::LIST_MEASURES;
    return parser.isSet(d.bareServer) ? Action::SERVE_BARE : Action::MEASURE;
}

QString toolserverBeside(const QString& programFolder)
{
    const QString suffix = QFileInfo(QCoreApplication::applicationFilePath()).suffix(); // "exe" or nothing
    return programFolder + "/toolserver" + (suffix.isEmpty() ? QString() : "." + suffix);
}

} // namespace

LoadOptions LoadOptions::parse(const QStringList& arguments, const QString& programFolder, const Measures& known)
{
    LoadOptions options;
    options.settings.toolserver = toolserverBeside(programFolder);
    options.settings.moduleDirectory = programFolder + "/../benchmarks/modules";

    const Definitions definitions;
    QCommandLineParser parser;
    parser.setApplicationDescription(DESCRIPTION);
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    definitions.addTo(parser);
    QString error = parser.parse(arguments) ? QString() : parser.errorText();
    if (error.isEmpty())
    {
        Reader reader(parser, known, options);
        reader.read();
        error = reader.error;
    }
    options.action = error.isEmpty() ? actionOf(parser, definitions) : Action::FAIL;
    if (options.action == Action::FAIL)
        options.text = "toolserver_load: " + error + " (see toolserver_load --help)\n";
    if (options.action == Action::SHOW_TEXT)
        options.text = parser.helpText();
    return options;
}
