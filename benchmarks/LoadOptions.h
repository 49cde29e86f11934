#pragma once

#include "BareServer.h"
#include "Measure.h"

#include <QString>
#include <QStringList>

/// The command line of toolserver_load.
struct LoadOptions
{
    enum class Action
    {
        MEASURE,
        LIST_MEASURES,
        SERVE_BARE,
        SHOW_TEXT, ///< `text`, for standard output
        FAIL       ///< `text`, for standard error
    };

    Action action = Action::MEASURE;
    QString text;
    MeasureSettings settings;
    QStringList measures; ///< names of those to take
    bool isJson = false;
    bareServer::Sends sends = bareServer::Sends::ONE;
    int tools = 1; ///< of the bare server

    /// Reads the arguments (with the program's name as the first); without other choice the tool server and its module
    /// are taken from the build tree that `programFolder` is in.
    static LoadOptions parse(const QStringList& arguments, const QString& programFolder, const Measures& known);
};
