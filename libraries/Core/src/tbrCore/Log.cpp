#include <tbrCore/Log.h>

#include <tbrBase/FilePlatform.h>

#include <spdlog/details/null_mutex.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <locale>
#include <mutex>
#include <sstream>
#include <utility>

namespace tbr
{

struct Log::Entry
{
    std::string category;
    std::string sourceFile;
    int line;
    bool begun;
    std::ostringstream text;
};

namespace
{

/// Appends to a file that no child process inherits. The output's mutex guards it.
class FileSink : public spdlog::sinks::base_sink<spdlog::details::null_mutex>
{
public:
    /// Takes over an open file.
    explicit FileSink(std::FILE* file) : m_File(file, &std::fclose) {}

protected:
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        if (std::fwrite(line.data(), 1, line.size(), m_File.get()) != line.size())
            throw spdlog::spdlog_ex("The log file cannot be written", errno); // the logger reports it on standard error
    }
    void flush_() override { std::fflush(m_File.get()); }

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_File;
};

std::string baseName(const std::string& path)
{
    return path.substr(path.find_last_of("/\\") + 1);
}

/// The text without its leading blanks, and with control characters made visible.
std::string printable(const std::string& line)
{
    static const char digits[] = "0123456789abcdef";
    std::string result;
    for (const char c : line)
    {
        const auto code = static_cast<unsigned char>(c);
        const bool isControl = (code < 0x20 && c != '\t') || code == 0x7f;
        if (isControl)
            result += {'\\', 'x', digits[code / 16], digits[code % 16]};
        else if (!result.empty() || (c != ' ' && c != '\t'))
            result += c;
    }
    return result;
}

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
        std::swap(m_Sink, sink);
    }

    void setVerbosity(Log::Verbosity verbosity)
    {
        const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
        m_Verbosity = verbosity;
    }

    bool setFile(const std::string& path)
    {
        std::shared_ptr<spdlog::sinks::sink> fileSink;
        if (!path.empty())
        {
            std::FILE* file = platform::openFile(path, "a");
            if (!file)
                return false;
            fileSink = std::make_shared<FileSink>(file);
        }
        const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
        auto& sinks = m_Logger.sinks();
        sinks.resize(1);
        if (fileSink)
            sinks.push_back(std::move(fileSink));
        m_Logger.set_pattern(PATTERN);
        return true;
    }

    void commit(const std::string& category, const std::string& sourceFile, int line, const std::string& text)
    {
        const std::lock_guard<std::recursive_mutex> lock(m_Mutex);
        if (m_Sink && !m_IsInSink && callSink(category, text))
            return;
        if (isShown(category))
            writeLines(category, sourceFile, line, text);
    }

private:
    Output() : m_Logger("tbr", std::make_shared<spdlog::sinks::stderr_sink_mt>())
    {
        m_Logger.set_pattern(PATTERN);
        m_Logger.flush_on(spdlog::level::info);
    }

    /// False when the sink failed, which is reported.
    bool callSink(const std::string& category, const std::string& text)
    {
        const Log::Sink sink = m_Sink; // a sink may replace itself while it runs
        std::string failure = "an exception of unknown type";
        bool isDone = false;
        m_IsInSink = true;
        try
        {
            sink(category, text);
            isDone = true;
        }
        catch (const std::exception& error)
        {
            failure = error.what();
        }
        catch (...)
        {
            // The text above says it.
        }
        m_IsInSink = false;
        if (!isDone)
            writeLines("ERROR", __FILE__, __LINE__, "The log sink failed: " + failure);
        return isDone;
    }

    bool isShown(const std::string& category) const
    {
        if (m_Verbosity == Log::Verbosity::VERBOSE || category == "ERROR")
            return true;
        return m_Verbosity == Log::Verbosity::NORMAL && category != "DEBUG";
    }

    void writeLines(const std::string& category, const std::string& sourceFile, int line, const std::string& text)
    {
        std::istringstream lines(text);
        for (std::string one; std::getline(lines, one);)
        {
            const std::string shown = printable(one);
            if (!shown.empty())
                m_Logger.info("{} {}:{}: {}", category, baseName(sourceFile), line, shown);
        }
    }

    static constexpr const char* PATTERN = "%Y-%m-%d %H:%M:%S.%e %v";

    std::recursive_mutex m_Mutex; // guards all below; the sink is called while it is held, and may log in turn
    Log::Sink m_Sink;
    bool m_IsInSink = false;
    Log::Verbosity m_Verbosity = Log::Verbosity::NORMAL;
    spdlog::logger m_Logger;
};

} // namespace

Log Log::getInstance(const char* category, const char* sourceFile, int line)
{
    return Log(category, sourceFile, line);
}

Log::Log(const char* category, const char* sourceFile, int line)
    : m_Entry(new Entry{category ? category : "", sourceFile ? sourceFile : "", line, false, std::ostringstream()})
{
    m_Entry->text.imbue(std::locale::classic());
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
        std::cerr << std::string("A log entry was lost: ") + error.what() + "\n";
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
