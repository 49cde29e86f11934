#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <utility>
#include <vector>

/// What a command found out, as a table with a name for each column. One report serves the three output formats.
class Report
{
public:
    explicit Report(QStringList columns) : m_Columns(std::move(columns)) {}

    /// Adds a row; the values stand under the columns in their order. Numbers, texts, booleans and null.
    void addRow(const QJsonArray& values);

    bool isEmpty() const { return m_Rows.empty(); }
    const QStringList& columns() const { return m_Columns; }

    /// Columns in line, with a header, for people.
    QString toText() const;
    /// Comma-separated values; texts with commas or quotes are quoted.
    QString toCsv(bool withHeader) const;
    /// An array with an object for each row.
    QJsonArray toJson() const;

private:
    QStringList m_Columns;
    std::vector<QJsonArray> m_Rows;
};

/// One JSON object on a line of its own.
QString jsonLine(const QJsonObject& object);
