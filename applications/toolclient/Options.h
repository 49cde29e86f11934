#pragma once

#include <tbrNumerics/Vector3d.h>

#include <QString>
#include <QStringList>

#include <vector>

/// What the command line of the tool client asks for.
struct Options
{
    enum class Action
    {
        RUN_COMMAND,
        SHOW_TEXT, ///< help or version: print `text` and end with success
        FAIL       ///< wrong usage: print `text` and end with status 2
    };
    enum class Format
    {
        TEXT,
        CSV,
        JSON
    };

    Action action = Action::RUN_COMMAND;
    QString text;
    QString host = "localhost";
    int port = 2222;
    QString moduleDirectory;
    bool isModuleDirectoryGiven = false;
    QString settingsFile;
    Format format = Format::TEXT;
    QString reference;
    double rateHz = 10.0;
    int count = 0; ///< 0: until the user ends it
    QString command;
    QString tool;
    std::vector<Vector3d> points;

    /// Reads a command line, program name included. `programFolder` is where the program itself stands.
    static Options parse(const QStringList& arguments, const QString& programFolder);
};
