#include <tbrCore/IniReader.h>

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QTextCodec>

namespace tbr
{

namespace
{

bool isHexDigit(QChar c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// The character whose code is the hexadecimal number from `at` on, at most `mostDigits` long; moves `at` behind it.
QChar hexCharacter(const QString& text, int& at, int mostDigits)
{
    const int start = at;
    while (at < text.size() && at - start < mostDigits && isHexDigit(text[at]))
        ++at;
    return QChar(static_cast<ushort>(text.midRef(start, at - start).toUInt(nullptr, 16)));
}

/// A key or section name with its escapes resolved.
QString unescapedName(const QString& name)
{
    QString result;
    for (int at = 0; at < name.size();)
    {
        const bool isWide = name.midRef(at, 2) == QLatin1String("%U");
        const int digits = isWide ? 4 : 2;
        const int start = at + (isWide ? 2 : 1);
        int end = start;
        if (name[at] == '%')
        {
            const QChar decoded = hexCharacter(name, end, digits);
            if (end - start == digits)
            {
                result += decoded;
                at = end;
                continue;
            }
        }
        result += name[at] == '\\' ? QChar('/') : name[at];
        ++at;
    }
    return result;
}

/// Takes the escape sequence that begins with the backslash at `at`; moves `at` behind it.
QString escapedCharacter(const QString& text, int& at)
{
    static const QString letters = QStringLiteral("abfnrtv\"?'\\0");
    static const char characters[] = {'\a', '\b', '\f', '\n', '\r', '\t', '\v', '"', '?', '\'', '\\', '\0'};

    const QChar letter = at + 1 < text.size() ? text[at + 1] : QChar();
    const int known = letter.isNull() ? -1 : letters.indexOf(letter);
    if (known >= 0)
    {
        at += 2;
        return QString(QLatin1Char(characters[known]));
    }
    if (letter == 'x' && at + 2 < text.size() && isHexDigit(text[at + 2]))
    {
        at += 2;
        return QString(hexCharacter(text, at, text.size()));
    }
    ++at;
    return QStringLiteral("\\");
}

/// The value in `text`, the part of a line behind the equals sign; false when a quotation does not end.
bool unescapedValue(const QString& text, QString& value)
{
    bool isInQuotes = false;
    int kept = 0; // blanks at the end of `value` from here on are dropped
    value.clear();
    for (int at = 0; at < text.size();)
    {
        const QChar c = text[at];
        if (c == ';' && !isInQuotes)
            break;
        if (c == '"')
        {
            isInQuotes = !isInQuotes;
            kept = value.size();
            ++at;
        }
        else if (c == '\\')
        {
            value += escapedCharacter(text, at);
            kept = value.size();
        }
        else
        {
            if (isInQuotes || !c.isSpace() || !value.isEmpty())
                value += c;
            if (isInQuotes || !c.isSpace())
                kept = value.size();
            ++at;
        }
    }
    value.truncate(kept);
    if (value.startsWith(QLatin1String("@@")))
        value.remove(0, 1);
    return !isInQuotes;
}

} // namespace

bool IniReader::read(const QString& path)
{
    m_Values.clear();
    m_Problem.clear();
    m_Prefix.clear();

    QFile file(path);
    const bool isFile = QFileInfo(path).isFile(); // a pipe or a folder could be opened, too
    if (!isFile)
        m_Problem = QStringLiteral("there is no such file");
    else if (!file.open(QIODevice::ReadOnly))
        m_Problem = file.errorString();
    else
        readText(file.readAll());

    if (m_Problem.isEmpty() && file.error() != QFileDevice::NoError)
        m_Problem = file.errorString();
    if (!m_Problem.isEmpty())
        m_Values.clear();
    return m_Problem.isEmpty();
}

void IniReader::readText(const QByteArray& bytes)
{
    QTextCodec::ConverterState state; // its default skips a byte-order mark
    QString text = QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    if (state.invalidChars > 0 || state.remainingChars > 0)
    {
        m_Problem = QStringLiteral("it is not UTF-8 text");
        return;
    }
    text.replace(QLatin1String("\r\n"), QLatin1String("\n")).replace('\r', '\n');
    int number = 0;
    for (const QString& line : text.split('\n'))
    {
        ++number;
        readLine(line.trimmed());
        if (!m_Problem.isEmpty())
        {
            m_Problem = QStringLiteral("line %1 %2").arg(QString::number(number), m_Problem);
            return;
        }
    }
}

void IniReader::readLine(const QString& line)
{
    if (line.isEmpty() || line[0] == ';' || line[0] == '#')
        return;
    if (line[0] == '[')
    {
        readSection(line);
        return;
    }
    const int equals = line.indexOf('=');
    if (equals <= 0)
    {
        m_Problem = QStringLiteral("is not of the form key=value");
        return;
    }
    QString value;
    if (!unescapedValue(line.mid(equals + 1), value))
        m_Problem = QStringLiteral("has a quotation that does not end");
    m_Values.insert(m_Prefix + unescapedName(line.left(equals).trimmed()), value);
}

void IniReader::readSection(const QString& line)
{
    const int end = line.indexOf(']');
    const QString name = line.mid(1, end - 1).trimmed();
    const QString rest = line.mid(end + 1).trimmed();
    if (end < 0 || name.isEmpty() || !(rest.isEmpty() || rest[0] == ';'))
    {
        m_Problem = QStringLiteral("is not of the form [section]");
        return;
    }
    const bool isNoSection = name.compare(QLatin1String("general"), Qt::CaseInsensitive) == 0;
    const bool isNamedGeneral = name.compare(QLatin1String("%general"), Qt::CaseInsensitive) == 0;
    m_Prefix = isNoSection ? QString() : unescapedName(isNamedGeneral ? name.mid(1) : name) + '/';
}

} // namespace tbr
