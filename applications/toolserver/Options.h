#pragma once

#include <TSLib/AddressFilter.h>
#include <tbrCore/Log.h>

#include <QString>
#include <QStringList>

/// What the command line of the tool server asks for.
struct Options
{
    enum class Action
    {
        SERVE,
        LIST_MODULES,
        SHOW_TEXT, ///< help or version: print `text` and end with success
        FAIL       ///< wrong usage: print `text` and end with status 2
    };

    Action action = Action::SERVE;
    QString text;
    QString moduleDirectory;
    QString module = "SimulatedCamera";
    QString logFile;
    QString replayFile;
    bool isRepeating = false;
    int port = 2222;
    QString bindAddress = "0.0.0.0";
    AddressFilter allowedClients;
    int maximumClients = 0;
    QString settingsFile;
    tbr::Log::Verbosity verbosity = tbr::Log::Verbosity::NORMAL;

    /// Reads a command line, program name included. `programFolder` is where the program itself stands.
    static Options parse(const QStringList& arguments, const QString& programFolder);
};
