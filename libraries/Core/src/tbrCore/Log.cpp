#include <tbrCore/Log.h>

#include <spdlog/logger.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <cstring>
#include <iostream>
#include <mutex>
#include <sstream>

namespace tbr
{

struct Log::Entry
{
    const char* category;
    const char* sourceFile;
    int line;
    bool begun;
    std::ostringstream text;
};

namespace
{

/// The process-wide output. Never destroyed: plug-ins log until the process has ended.
class Output
{
public:
    static Output& instance()
    {
        static Output* const output = new Output;
        return *output;
    }

    void setSink(Log::Sink sink)
    {
        const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
        m_Sink = std::move(sink);
    }

    void setVerbosity(Log::Verbosity verbosity)
    {
        const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
        m_Verbosity = verbosity;
    }

    bool setFile(const std::string& path)
    {
        std::shared_ptr<spdlog::sinks::sink> file;
        try
        {
            if (!path.empty())
                file = std::make_shared<spdlog::sinks::basic_file_sink_mt>(path);
        }
        catch (const spdlog::spdlog_ex&)
        {
            return false;
        }
        const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
        auto& sinks = m_Logger.sinks();
        sinks.resize(1);
        if (file)
            sinks.push_back(std::move(file));
        m_Logger.set_pattern(PATTERN);
        return true;
    }

    void commit(const char* category, const char* sourceFile, int line, const std::string& text)
    {
        const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
        if (m_Sink)
        {
            const Log::Sink sink = m_Sink; // a sink may replace itself while it runs
            sink(category, text);
        }
        else if (isShown(category))
            writeLines(category, sourceFile, line, text);
    }

private:
    Output() : m_Logger("tbr", std::make_shared<spdlog::sinks::stderr_sink_mt>())
    {
        m_Logger.set_pattern(PATTERN);
        m_Logger.flush_on(spdlog::level::info);
    }

    bool isShown(const char* category) const
    {
        if (m_Verbosity == Log::Verbosity::VERBOSE || std::strcmp(category, "ERROR") == 0)
            return true;
        return m_Verbosity == Log::Verbosity::NORMAL && std::strcmp(category, "DEBUG") != 0;
    }

    void writeLines(const char* category, const char* sourceFile, int line, const std::string& text)
    {
        std::istringstream lines(text);
        for (std::string one; std::getline(lines, one);)
        {
            const auto start = one.find_first_not_of(" \t\r");
            if (start != std::string::npos)
                m_Logger.info("{} {}:{}: {}", category, baseName(sourceFile), line, one.substr(start));
        }
    }

    static const char* baseName(const char* path)
    {
        const char* name = path;
        for (const char* c = path; *c; ++c)
            if (*c == '/' || *c == '\\')
                name = c + 1;
        return name;
    }

    static constexpr const char* PATTERN = "%Y-%m-%d %H:%M:%S.%e %v";

    std::recursive_mutex m_Mutex; // guards all below; the sink is called while it is held, and may log in turn
    Log::Sink m_Sink;
    Log::Verbosity m_Verbosity = Log::Verbosity::NORMAL;
    spdlog::logger m_Logger;
};

constexpr const char* Output::PATTERN;

} // namespace

Log Log::getInstance(const char* category, const char* sourceFile, int line)
{
    return Log(category, sourceFile, line);
}

Log::Log(const char* category, const char* sourceFile, int line)
    : m_Entry(new Entry{category, sourceFile, line, false, std::ostringstream()})
{
}

Log::~Log()
{
    if (!m_Entry->begun)
        return;
    try
    {
        Output::instance().commit(m_Entry->category, m_Entry->sourceFile, m_Entry->line, m_Entry->text.str());
    }
    catch (const std::exception& error)
    {
        std::cerr << std::string("log sink failed: ") + error.what() + "\n";
    }
    catch (...)
    {
        std::cerr << "log sink failed\n";
    }
}

std::ostream& Log::printPrefix()
{
    m_Entry->begun = true;
    return m_Entry->text;
}

void Log::setSink(Sink sink)
{
    Output::instance().setSink(std::move(sink));
}

void Log::setVerbosity(Verbosity verbosity)
{
    Output::instance().setVerbosity(verbosity);
}

bool Log::setFile(const std::string& path)
{
    return Output::instance().setFile(path);
}

} // namespace tbr
