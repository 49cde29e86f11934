#pragma once

#include <tbrBase/Export.h>

#include <exception>
#include <string>

namespace tbr
{

/// Base of every exception that this system throws.
class TBR_BASE_EXPORT Exception : public std::exception
{
public:
    explicit Exception(std::string text);
    ~Exception() override;

    /// The whole text; it lives as long as the exception.
    const char* what() const noexcept override;

private:
    std::string m_Text;
};

} // namespace tbr
