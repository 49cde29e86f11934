#include <SimulatedCamera/SceneText.h>

#include <algorithm>
#include <sstream>

namespace simulation
{

namespace
{

const char* const BLANKS = " \t\r";
const std::string BYTE_ORDER_MARK = "\xEF\xBB\xBF";

std::string trimmed(const std::string& text)
{
    const auto begin = text.find_first_not_of(BLANKS);
    if (begin == std::string::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(BLANKS) - begin + 1);
}

/// Takes one line after the other; a line that is refused gives the reason.
class Parser
{
public:
    explicit Parser(std::vector<TextSection>& sections) : m_Sections(sections), m_Value(nullptr) {}

    /// Empty when the line is all right. `line` is without comment and not blank.
    std::string take(const std::string& line)
    {
        const std::string content = trimmed(line);
        const auto equals = content.find('=');
        if (content[0] == '[')
            return takeSection(content);
        if (equals != std::string::npos)
            return takeValue(trimmed(content.substr(0, equals)), trimmed(content.substr(equals + 1)));
        if (line[0] != ' ' && line[0] != '\t')
            return "is not of the form 'key = value'";
        if (!m_Value)
            return "continues no value";
        *m_Value += " " + content;
        return {};
    }

private:
    std::string takeSection(const std::string& content)
    {
        const std::string name = trimmed(content.substr(1, content.size() - 2));
        if (content.back() != ']' || name.empty())
            return "is not of the form '[section]'";
        const auto isSame = [&](const TextSection& section) { return section.name == name; };
        if (std::any_of(m_Sections.begin(), m_Sections.end(), isSame))
            return "has the section [" + name + "] for the second time";
        m_Sections.push_back({name, {}});
        m_Value = nullptr;
        return {};
    }

    std::string takeValue(const std::string& key, const std::string& value)
    {
        if (key.empty())
            return "is not of the form 'key = value'";
        if (m_Sections.empty())
            return "has the key '" + key + "' before the first section";
        const auto inserted = m_Sections.back().values.emplace(key, value);
        if (!inserted.second)
            return "has the key '" + key + "' for the second time in [" + m_Sections.back().name + "]";
        m_Value = &inserted.first->second;
        return {};
    }

    std::vector<TextSection>& m_Sections;
    std::string* m_Value; // what a continuation goes to; null at the beginning of a section
};

} // namespace

SceneText SceneText::parse(const std::string& text)
{
    SceneText result;
    Parser parser(result.sections);
    const bool hasMark = text.compare(0, BYTE_ORDER_MARK.size(), BYTE_ORDER_MARK) == 0;
    std::istringstream lines(hasMark ? text.substr(BYTE_ORDER_MARK.size()) : text);
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number)
    {
        line.erase(std::min(line.find_first_of("#;"), line.size()));
        if (line.find_first_not_of(BLANKS) == std::string::npos)
            continue;
        const std::string problem = parser.take(line);
        if (!problem.empty())
        {
            result.error = "line " + std::to_string(number) + " " + problem;
            return result;
        }
    }
    return result;
}

} // namespace simulation
