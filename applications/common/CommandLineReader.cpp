#include "CommandLineReader.h"

namespace
{

QString nameOf(const QCommandLineOption& option)
{
    return "--" + option.names().last();
}

} // namespace

CommandLineReader::CommandLineReader(const QCommandLineParser& parser) : m_Parser(parser) {}

void CommandLineReader::require(bool holds, const QString& otherwise)
{
    if (!holds && m_Error.isEmpty())
        m_Error = otherwise;
}

void CommandLineReader::text(const QCommandLineOption& option, QString& value)
{
    if (!m_Parser.isSet(option))
        return;
    value = m_Parser.value(option);
    require(!value.isEmpty(), nameOf(option) + " needs a value");
}

void CommandLineReader::number(const QCommandLineOption& option, int least, int most, int& value)
{
    if (!m_Parser.isSet(option))
        return;
    bool isNumber = false;
    value = m_Parser.value(option).toInt(&isNumber);
    require(isNumber && value >= least && value <= most, QString("%1 needs a number from %2 to %3, not \"%4\"")
                                                             .arg(nameOf(option))
                                                             .arg(least)
                                                             .arg(most)
                                                             .arg(m_Parser.value(option)));
}

void CommandLineReader::real(const QCommandLineOption& option, double least, double most, double& value)
{
    if (!m_Parser.isSet(option))
        return;
    bool isNumber = false;
    value = m_Parser.value(option).toDouble(&isNumber);
    require(isNumber && value >= least && value <= most, QString("%1 needs a number from %2 to %3, not \"%4\"")
                                                             .arg(nameOf(option))
                                                             .arg(least)
                                                             .arg(most)
                                                             .arg(m_Parser.value(option)));
}

void CommandLineReader::exclude(const QCommandLineOption& one, const QCommandLineOption& other)
{
    require(!m_Parser.isSet(one) || !m_Parser.isSet(other),
            nameOf(one) + " and " + nameOf(other) + " exclude each other");
}
