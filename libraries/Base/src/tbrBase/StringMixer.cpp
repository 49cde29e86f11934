#include <tbrBase/StringMixer.h>

namespace _tbr
{

StringMixer::StringMixer() = default;

StringMixer::StringMixer(const std::string& text) : m_Text(text) {}

StringMixer::~StringMixer() = default;

const std::string& StringMixer::str() const
{
    return m_Text;
}

StringMixer::operator std::string() const
{
    return m_Text;
}

} // namespace _tbr
