// A settings file of whatever bytes: it is read whole or refused with a reason, and reading is exact - line ends and
// comments that are added change nothing, and the settings give back what the reader found.
#include "InputFile.h"
#include "Target.h"

#include <tbrCore/IniReader.h>
#include <tbrCore/Settings.h>

#include <QHash>

namespace
{

using fuzz::require;

using Values = QHash<QString, QString>;

/// Whether the text is well-formed; its values in `values`, empty when it is not.
bool read(const std::string& text, Values& values)
{
    const fuzz::InputFile file(text);
    tbr::IniReader reader;
    const bool isGood = reader.read(QString::fromStdString(file.path()));
    require(isGood == reader.problem().isEmpty(), "a file that is refused has a reason, and no other");
    require(isGood || reader.values().isEmpty(), "a file that is refused has no values");
    values = reader.values();
    return isGood;
}

std::string withWindowsLineEnds(const std::string& text)
{
    std::string result;
    for (const char c : text)
        result += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return result;
}

void checkSameWhen(const std::string& changed, bool isGood, const Values& values)
{
    Values changedValues;
    require(read(changed, changedValues) == isGood && changedValues == values, "line ends and comments change nothing");
}

void checkSettings(const std::string& text, const Values& values)
{
    const fuzz::InputFile file(text);
    tbr::Settings& settings = tbr::Settings::getInstance();
    require(settings.load(file.path()), "what can be read can be loaded");
    for (auto value = values.begin(); value != values.end(); ++value)
    {
        require(settings.isKey(value.key()), "each key that was read is set");
        require(settings.get(value.key(), QString("?")) == value.value(), "each value is the one that was read");
        settings.get(value.key().toStdString(), std::string("?"));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = fuzz::textOf(data, size);
    Values values;
    const bool isGood = read(text, values);
    if (text.find('\r') == std::string::npos)
        checkSameWhen(withWindowsLineEnds(text), isGood, values);
    if (isGood)
    {
        checkSameWhen(text + "\n; a comment = none\n[Empty]\n", isGood, values);
        checkSettings(text, values);
    }
    return 0;
}
