#pragma once

#include <tbrCore/Export.h>

#include <string>

/// An error as a value: compare it with CaError::nullError, which means success.
class TBR_CORE_EXPORT CaError
{
public:
    /// Success.
    CaError();
    /// `name` identifies the kind of error ("SurgicalToolBox::NoToolListERR"), `message` explains it to a person,
    /// `file` and `line` tell where it arose, `data` is the caller's and only carried along.
    CaError(const std::string& name, const std::string& message, const std::string& file, int line, void* data);

    const std::string& getName() const;
    const std::string& getMessage() const;
    const std::string& getFile() const;
    int getLine() const;
    void* getData() const;

    static const CaError nullError;

private:
    std::string m_Name;
    std::string m_Message;
    std::string m_File;
    int m_Line;
    void* m_Data;
};

/// Errors are equal when they are of the same kind, that is, when their names are equal.
TBR_CORE_EXPORT bool operator==(const CaError& a, const CaError& b);
TBR_CORE_EXPORT bool operator!=(const CaError& a, const CaError& b);
