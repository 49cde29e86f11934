#pragma once

#include <tbrBase/Exception.h>

namespace tbr
{

/// Thrown when a connection between two of our own objects cannot be made or undone: the program is wired wrongly and
/// cannot go on in this place.
class TBR_BASE_EXPORT WatchdogException : public Exception
{
public:
    explicit WatchdogException(const std::string& text);
    ~WatchdogException() override;
};

/// If `holds` is false, prints "Assertion " + `expression` + " failed in " + `sourceFile` + " at line " + `line` to
/// standard output, without a line end, and throws a WatchdogException that carries the same text. Any thread.
TBR_BASE_EXPORT void assertHolds(bool holds, const char* expression, const char* sourceFile, int line);

} // namespace tbr
