#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

/// How a program ended, and what it said.
struct Ended
{
    int status;
    QString output;
    QString errors;
};

/// Runs the program under test, PROGRAM, to its end.
inline Ended run(const QStringList& arguments)
{
    constexpr int PATIENCE_MS = 240000;
    QProcess process;
    process.start(PROGRAM, arguments);
    EXPECT_TRUE(process.waitForFinished(PATIENCE_MS)) << PROGRAM;
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()).remove('\r'),
            QString::fromUtf8(process.readAllStandardError()).remove('\r')};
}
