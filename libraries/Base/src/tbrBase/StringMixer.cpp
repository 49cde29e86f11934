#include <tbrBase/StringMixer.h>

#include <locale>

namespace _tbr
{

StringMixer::StringMixer() : StringMixer(std::string()) {}

StringMixer::StringMixer(const std::string& text) : m_Stream(text, std::ios_base::ate)
{
    m_Stream.imbue(std::locale::classic());
}

StringMixer::StringMixer(const StringMixer& other) : StringMixer(other.str())
{
    m_Stream.copyfmt(other.m_Stream);
}

StringMixer& StringMixer::operator=(const StringMixer& other)
{
    m_Stream = std::ostringstream(other.str(), std::ios_base::ate);
    m_Stream.copyfmt(other.m_Stream);
    return *this;
}

StringMixer::~StringMixer() = default;

StringMixer& StringMixer::operator<<(std::ostream& (*manipulator)(std::ostream&))
{
    manipulator(m_Stream);
    return *this;
}

std::string StringMixer::str() const
{
    return m_Stream.str();
}

StringMixer::operator std::string() const
{
    return str();
}

} // namespace _tbr
