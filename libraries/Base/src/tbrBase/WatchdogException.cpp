#include <tbrBase/WatchdogException.h>

#include <tbrBase/StringMixer.h>

#include <iostream>

namespace tbr
{

WatchdogException::WatchdogException(const std::string& text) : Exception(text) {}

WatchdogException::~WatchdogException() = default;

void assertHolds(bool holds, const char* expression, const char* sourceFile, int line)
{
    if (holds)
        return;

    const std::string text = _tbr::StringMixer()
                             << "Assertion " << expression << " failed in " << sourceFile << " at line " << line;
    std::cout << text << std::flush;
    throw WatchdogException(text);
}

} // namespace tbr
