#include "Report.h"

#include <QJsonDocument>

#include <algorithm>
#include <cmath>

namespace
{

bool isWhole(const QJsonValue& value)
{
    return !value.isDouble() || value.toDouble() == std::floor(value.toDouble());
}

/// A value as people read it: numbers with `places` decimals.
QString textCell(const QJsonValue& value, int places)
{
    if (value.isDouble())
        return QString::number(value.toDouble(), 'f', places);
    if (value.isBool())
        return value.toBool() ? "yes" : "no";
    return value.isString() ? value.toString() : QString("-");
}

QString csvCell(const QJsonValue& value)
{
    if (value.isDouble())
        return QString::number(value.toDouble(), 'g', 9); // all that a single-precision number holds
    if (value.isBool())
        return value.toBool() ? "1" : "0";
    QString text = value.toString();
    if (text.contains(',') || text.contains('"') || text.contains('\n'))
        text = "\"" + text.replace("\"", "\"\"") + "\"";
    return text;
}

/// One column in text, its name first. Numbers that are not all whole get three decimals: micrometres.
QStringList textColumn(const QString& name, const std::vector<QJsonArray>& rows, int column)
{
    const int places =
        std::all_of(rows.begin(), rows.end(), [column](const QJsonArray& row) { return isWhole(row.at(column)); }) ? 0
                                                                                                                   : 3;
    QStringList cells{name};
    for (const QJsonArray& row : rows)
        cells << textCell(row.at(column), places);
    return cells;
}

} // namespace

void Report::addRow(const QJsonArray& values)
{
    m_Rows.push_back(values);
}

QString Report::toText() const
{
    QStringList lines;
    for (std::size_t line = 0; line <= m_Rows.size(); ++line)
        lines << QString();
    for (int column = 0; column < m_Columns.size(); ++column)
    {
        const QStringList cells = textColumn(m_Columns[column], m_Rows, column);
        int width = 0;
        for (const QString& cell : cells)
            width = std::max(width, cell.size());
        for (int line = 0; line < cells.size(); ++line)
            lines[line] += column == 0 ? cells[line].leftJustified(width) : "  " + cells[line].rightJustified(width);
    }
    return lines.join('\n') + "\n";
}

QString Report::toCsv(bool withHeader) const
{
    QString text = withHeader ? m_Columns.join(',') + "\n" : QString();
    for (const QJsonArray& row : m_Rows)
    {
        QStringList cells;
        for (const QJsonValue& value : row)
            cells << csvCell(value);
        text += cells.join(',') + "\n";
    }
    return text;
}

QJsonArray Report::toJson() const
{
    QJsonArray objects;
    for (const QJsonArray& row : m_Rows)
    {
        QJsonObject object;
        for (int column = 0; column < m_Columns.size(); ++column)
            object[m_Columns[column]] = row.at(column);
        objects.append(object);
    }
    return objects;
}

QString jsonLine(const QJsonObject& object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)) + "\n";
}
