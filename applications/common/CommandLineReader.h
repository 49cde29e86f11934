#pragma once

#include <QCommandLineParser>
#include <QString>

/// Checks and takes over the values of a parsed command line; the first mistake is kept.
class CommandLineReader
{
public:
    /// `parser` is borrowed.
    explicit CommandLineReader(const QCommandLineParser& parser);

    /// The first mistake, in words for the user; empty while there is none.
    const QString& error() const { return m_Error; }
    /// Notes a mistake unless `holds`.
    void require(bool holds, const QString& otherwise);

    /// Each replaces `value` when the option was given; anything out of range is a mistake.
    void text(const QCommandLineOption& option, QString& value);
    void number(const QCommandLineOption& option, int least, int most, int& value);
    void real(const QCommandLineOption& option, double least, double most, double& value);
    /// Not both of two options.
    void exclude(const QCommandLineOption& one, const QCommandLineOption& other);

private:
    const QCommandLineParser& m_Parser;
    QString m_Error;
};
