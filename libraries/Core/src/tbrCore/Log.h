#pragma once

#include <tbrCore/Export.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>

namespace tbr
{

/// One log entry. It collects what is streamed into it and commits it whole when it goes out of scope, so entries of
/// many threads never mix:
///
///     tbr::Log::getInstance("toolserver", __FILE__, __LINE__).printPrefix() << "Tool " << name << " plugged." <<
///     std::endl;
///
/// Where entries go: to the sink of setSink() if there is one; otherwise every line of the entry to standard error (and
/// to the file of setFile()) behind a prefix of time, category, source file and line. There, blank lines and leading
/// blanks are left out and control characters, which may come from a client, show as \xNN. Categories in use:
/// "toolserver", "INFO", "ERROR", and "DEBUG", which shows only with Verbosity::VERBOSE. Numbers are written as in the
/// source code, whatever the process's locale.
///
/// Thread: the static functions may be called from any thread; one entry belongs to one thread.
class TBR_CORE_EXPORT Log
{
public:
    /// Receives the category and the text as it was streamed, without prefix.
    using Sink = std::function<void(const std::string& category, const std::string& message)>;

    enum class Verbosity
    {
        QUIET,  ///< only "ERROR"
        NORMAL, ///< all but "DEBUG"
        VERBOSE ///< everything
    };

    /// Begins an entry. A null `category` or `sourceFile` counts as empty.
    static Log getInstance(const char* category, const char* sourceFile, int line);

    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;
    /// Commits the entry. Nothing is written when printPrefix() was never called.
    ~Log();

    /// The stream that takes the entry's text; it lives as long as the entry.
    std::ostream& printPrefix();

    /// Sends every entry to `sink` instead of the default output, whatever the verbosity; an empty function restores
    /// the default. Sinks are called one entry at a time, on the thread that logs. What a sink logs itself goes to the
    /// default output, and so does an entry whose sink throws. A sink must not wait for another thread that logs. When
    /// setSink returns, the former sink is not running any more (unless it is itself the caller).
    static void setSink(Sink sink);

    /// What the default output shows. NORMAL at start.
    static void setVerbosity(Verbosity verbosity);

    /// Lets the default output also append to a text file (UTF-8 path), in place of an earlier one; an empty path ends
    /// that. Returns false, and changes nothing, when the file cannot be opened.
    static bool setFile(const std::string& path);

private:
    Log(const char* category, const char* sourceFile, int line);

    struct Entry;
    std::unique_ptr<Entry> m_Entry;
};

} // namespace tbr

/// The usual way to log: `TBR_LOG("ERROR") << "bind(): failed" << std::endl;`
#define TBR_LOG(category) tbr::Log::getInstance(category, __FILE__, __LINE__).printPrefix()
