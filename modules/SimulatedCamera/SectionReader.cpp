#include <SimulatedCamera/SectionReader.h>

#include <charconv>
#include <cmath>
#include <sstream>

namespace simulation
{

namespace
{

/// A number as people write it for a message: without needless digits.
template <class Number>
std::string asText(Number value)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.precision(12);
    text << value;
    return text.str();
}

/// The whole word as a number, whatever the language set on this computer.
template <class Number>
bool parseWhole(const std::string& word, Number& value)
{
    const char* const begin = word.data() + (word[0] == '+' && word.size() > 1 && word[1] != '-' ? 1 : 0);
    const char* const end = word.data() + word.size();
    const auto [stop, problem] = std::from_chars(begin, end, value);
    return problem == std::errc() && stop == end;
}

std::vector<std::string> wordsOf(const std::string& text)
{
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

} // namespace

SectionReader::SectionReader(const TextSection& section, std::string& error) : m_Section(section), m_Error(error) {}

void SectionReader::fail(const std::string& key, const std::string& problem)
{
    if (m_Error.empty())
        m_Error = "[" + m_Section.name + "] " + key + ": " + problem;
}

void SectionReader::refuseOtherKeys()
{
    for (const auto& [key, value] : m_Section.values)
        if (m_KnownKeys.count(key) == 0)
            fail(key, "there is no such key here");
}

bool SectionReader::has(const std::string& key) const
{
    return m_Section.values.count(key) != 0;
}

const std::string* SectionReader::find(const std::string& key)
{
    m_KnownKeys.insert(key);
    const auto found = m_Section.values.find(key);
    return found == m_Section.values.end() ? nullptr : &found->second;
}

std::string SectionReader::text(const std::string& key, const std::string& defaultValue, std::size_t longest)
{
    const std::string* const value = find(key);
    const std::string& result = value ? *value : defaultValue;
    if (result.size() > longest)
        fail(key, "'" + result + "' is longer than " + asText(longest) + " bytes");
    return result;
}

double SectionReader::numberFrom(const std::string& key, const std::string& word, Range range)
{
    double value = 0.0;
    if (!parseWhole(word, value) || !std::isfinite(value))
        fail(key, "'" + word + "' is not a number");
    else if (value < range.least || value > range.most)
        fail(key, word + " is not between " + asText(range.least) + " and " + asText(range.most));
    else
        return value;
    return range.least;
}

std::int64_t SectionReader::integerFrom(const std::string& key, const std::string& word, std::int64_t least,
                                        std::int64_t most)
{
    std::int64_t value = 0;
    if (!parseWhole(word, value))
        fail(key, "'" + word + "' is not a whole number");
    else if (value < least || value > most)
        fail(key, word + " is not between " + asText(least) + " and " + asText(most));
    else
        return value;
    return least;
}

double SectionReader::number(const std::string& key, double defaultValue, Range range)
{
    const std::string* const value = find(key);
    return value ? numberFrom(key, *value, range) : defaultValue;
}

std::int64_t SectionReader::integer(const std::string& key, std::int64_t defaultValue, std::int64_t least,
                                    std::int64_t most)
{
    const std::string* const value = find(key);
    return value ? integerFrom(key, *value, least, most) : defaultValue;
}

Vector3d SectionReader::pointFrom(const std::string& key, const Words& words, std::size_t first, Range range)
{
    return {numberFrom(key, words[first], range), numberFrom(key, words[first + 1], range),
            numberFrom(key, words[first + 2], range)};
}

Vector3d SectionReader::point(const std::string& key, const Vector3d& defaultValue)
{
    if (!find(key))
        return defaultValue;
    const std::vector<Vector3d> list = points(key, 1, 1);
    return list.empty() ? defaultValue : list.front();
}

std::vector<Vector3d> SectionReader::points(const std::string& key, std::size_t fewest, std::size_t most)
{
    std::vector<Vector3d> list;
    for (const Words& words : rows(key, 3, 3))
        list.push_back(pointFrom(key, words, 0));
    if (list.size() < fewest || list.size() > most)
        fail(key, asText(list.size()) + " points, but there must be " + asText(fewest) +
                      (fewest == most ? "" : " to " + asText(most)));
    return list;
}

std::vector<SectionReader::Words> SectionReader::rows(const std::string& key, std::size_t fewest, std::size_t most)
{
    std::vector<Words> list;
    const std::string* const value = find(key);
    if (!value)
        return list;
    std::istringstream entries(*value + ',');
    for (std::string entry; std::getline(entries, entry, ',');)
    {
        list.push_back(wordsOf(entry));
        if (list.back().size() >= fewest && list.back().size() <= most)
            continue;
        fail(key, "entry " + asText(list.size()) + " has " + asText(list.back().size()) +
                      " values, but there must be " + asText(fewest) + (fewest == most ? "" : " to " + asText(most)));
        return {};
    }
    return list;
}

} // namespace simulation
