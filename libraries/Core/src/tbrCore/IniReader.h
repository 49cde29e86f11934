#pragma once

#include <tbrCore/Export.h>

#include <QHash>
#include <QString>

class QByteArray;

namespace tbr
{

/// Reads an INI file, as written by hand or by QSettings, and keeps every value as it is written: a comma does not make
/// a list of it.
///
/// - The text is UTF-8, with or without byte-order mark. Blank lines and lines that begin with ';' or '#' are skipped.
/// - [Section] is the first part of the keys below it, except [General], which stands for no section; [%General] is a
///   section of that name. A key's further parts are joined by '\' or '/'. %XX and %UXXXX in either are characters.
/// - Blanks around a value are dropped, blanks in double quotes are kept; ';' outside quotes begins a comment. In a
///   value \\ \" \n \t and the other escapes of C stand for their characters, \x is followed by hexadecimal digits; any
///   other backslash is itself. A value that begins with "@@" begins with one '@'.
/// - Of a repeated key the last one counts.
///
/// Use by one thread at a time.
class TBR_CORE_EXPORT IniReader
{
public:
    /// Reads a file in place of what was read before. Returns false, with no values, when it is not a readable,
    /// well-formed file: then problem() says what is wrong, and in which line.
    bool read(const QString& path);

    /// The values by key: [Tobrel] with Navigation\Name=x has "Tobrel/Navigation/Name".
    const QHash<QString, QString>& values() const { return m_Values; }

    /// Empty after success.
    const QString& problem() const { return m_Problem; }

private:
    void readText(const QByteArray& bytes);
    void readLine(const QString& line);
    void readSection(const QString& line);

    QHash<QString, QString> m_Values;
    QString m_Problem;
    QString m_Prefix; // the section with a slash behind it; empty outside sections
};

} // namespace tbr
