#include "Options.h"

#include "CommandLineReader.h"

#include <tbrCore/DLLManager.h>

#include <QCommandLineParser>
#include <QRegularExpression>

#include <cmath>

namespace
{

const char* const DESCRIPTION = R"(
Shows what a tool server tracks.

Commands:
  status                    whether the server and its camera work
  list                      all tools: name, type, slot, markers, imaginary points, visible
  watch                     the poses of all tools, again and again (Ctrl-C ends it)
  nearest                   the tool nearest to the reference tool (needs --reference TOOL)
  pose TOOL                 one tool's pose and RMS error
  markers TOOL              one tool's measured markers
  switch                    the footswitch
  calibrate TOOL X,Y,Z...   gives the tool new imaginary points, in its own frame, millimetres

Exit status: 0 done, 1 failed, 2 wrong usage.)";

/// The options as the parser knows them.
struct Definitions
{
    QCommandLineOption host{"host", "Host of the tool server (default: localhost).", "H"};
    QCommandLineOption port{"port", "Its TCP port (default: 2222).", "N"};
    QCommandLineOption moduleDir{"module-dir", "Folder of the client-interface module.", "DIR"};
    QCommandLineOption settings{"settings", "INI file to take the settings from.", "FILE"};
    QCommandLineOption json{"json", "One JSON object a line, for programs."};
    QCommandLineOption csv{"csv", "Comma-separated values with a header line, one tool a line."};
    QCommandLineOption reference{"reference", "Poses in this tool's frame instead of the camera's.", "TOOL"};
    QCommandLineOption rate{"rate", "watch: samples a second (default: 10).", "HZ"};
    QCommandLineOption count{"count", "watch: end after so many samples.", "N"};
    QCommandLineOption version{"version", "Show the version and end."};
    QCommandLineOption help{QStringList{"h", "help"}, "Show this help and end."};

    void addTo(QCommandLineParser& parser) const
    {
        parser.addOptions({host, port, moduleDir, settings, json, csv, reference, rate, count, version, help});
        parser.addPositionalArgument("COMMAND", "What to do.", "COMMAND");
    }
};

/// How many arguments a command takes behind its name.
struct CommandShape
{
    const char* name;
    int least;
    int most;
    const char* arguments;
};

constexpr int ANY_NUMBER = 1000;
constexpr CommandShape COMMANDS[] = {
    {"status", 0, 0, ""},   {"list", 0, 0, ""},
    {"watch", 0, 0, ""},    {"nearest", 0, 0, ""},
    {"pose", 1, 1, "TOOL"}, {"markers", 1, 1, "TOOL"},
    {"switch", 0, 0, ""},   {"calibrate", 2, ANY_NUMBER, "TOOL X,Y,Z..."},
};

bool parsePoint(const QString& text, Vector3d& point)
{
    const QStringList parts = text.split(',');
    bool isGood = parts.size() == 3;
    for (int axis = 0; isGood && axis < 3; ++axis)
    {
        point[axis] = parts[axis].toDouble(&isGood);
        isGood = isGood && std::isfinite(point[axis]);
    }
    return isGood;
}

void readCommand(const QStringList& words, CommandLineReader& reader, Options& options)
{
    reader.require(!words.isEmpty(), "a command is missing");
    options.command = words.value(0);
    options.tool = words.value(1);
    const CommandShape* shape = nullptr;
    for (const CommandShape& candidate : COMMANDS)
        if (options.command == candidate.name)
            shape = &candidate;
    reader.require(shape, "there is no command \"" + options.command + "\"");
    if (!shape)
        return;
    const int given = words.size() - 1;
    reader.require(given >= shape->least && given <= shape->most,
                   "usage: toolclient " + options.command + " " + shape->arguments);
    for (const QString& word : words.mid(2))
    {
        Vector3d point;
        reader.require(parsePoint(word, point), "\"" + word.trimmed() + "\" is no point X,Y,Z");
        options.points.push_back(point);
    }
}

void readValues(const QCommandLineParser& parser, CommandLineReader& reader, Options& options)
{
    const Definitions d;
    reader.text(d.host, options.host);
    reader.number(d.port, 1, 65535, options.port);
    reader.text(d.moduleDir, options.moduleDirectory);
    options.isModuleDirectoryGiven = parser.isSet(d.moduleDir);
    reader.text(d.settings, options.settingsFile);
    reader.text(d.reference, options.reference);
    reader.real(d.rate, 0.01, 1000.0, options.rateHz);
    reader.number(d.count, 1, 1000000000, options.count);
    reader.exclude(d.json, d.csv);
    if (parser.isSet(d.json))
        options.format = Options::Format::JSON;
    if (parser.isSet(d.csv))
        options.format = Options::Format::CSV;
    readCommand(parser.positionalArguments(), reader, options);
}

/// A point with a negative x begins like an option; a blank before it tells the parser that it is none.
QStringList withMarkedPoints(QStringList arguments)
{
    static const QRegularExpression point("^-[0-9.][^,]*,");
    for (QString& argument : arguments)
        if (point.match(argument).hasMatch())
            argument.prepend(' ');
    return arguments;
}

} // namespace

Options Options::parse(const QStringList& arguments, const QString& programFolder)
{
    Options options;
    options.moduleDirectory = QString::fromStdString(DLLManager::GetModuleDirectory(programFolder.toStdString()));

    const Definitions definitions;
    QCommandLineParser parser;
    parser.setApplicationDescription(DESCRIPTION);
    definitions.addTo(parser);
    const bool isParsed = parser.parse(withMarkedPoints(arguments));
    if (isParsed && (parser.isSet(definitions.help) || parser.isSet(definitions.version)))
    {
        options.action = Action::SHOW_TEXT;
        options.text = parser.isSet(definitions.help) ? parser.helpText() : QString("toolclient " TBR_VERSION "\n");
        return options;
    }

    CommandLineReader reader(parser);
    reader.require(isParsed, parser.errorText());
    if (isParsed)
        readValues(parser, reader, options);
    if (!reader.error().isEmpty())
    {
        options.action = Action::FAIL;
        options.text = "toolclient: " + reader.error() + " (see toolclient --help)\n";
    }
    return options;
}
