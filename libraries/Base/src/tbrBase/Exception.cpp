#include <tbrBase/Exception.h>

#include <utility>

namespace tbr
{

Exception::Exception(std::string text) : m_Text(std::move(text)) {}

Exception::~Exception() = default;

const char* Exception::what() const noexcept
{
    return m_Text.c_str();
}

} // namespace tbr
