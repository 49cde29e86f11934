#include <tbrCore/CaError.h>

const CaError CaError::nullError;

CaError::CaError() : m_Line(0), m_Data(nullptr) {}

CaError::CaError(const std::string& name, const std::string& message, const std::string& file, int line, void* data)
    : m_Name(name), m_Message(message), m_File(file), m_Line(line), m_Data(data)
{
}

const std::string& CaError::getName() const
{
    return m_Name;
}

const std::string& CaError::getMessage() const
{
    return m_Message;
}

const std::string& CaError::getFile() const
{
    return m_File;
}

int CaError::getLine() const
{
    return m_Line;
}

void* CaError::getData() const
{
    return m_Data;
}

bool operator==(const CaError& a, const CaError& b)
{
    return a.getName() == b.getName();
}

bool operator!=(const CaError& a, const CaError& b)
{
    return !(a == b);
}
