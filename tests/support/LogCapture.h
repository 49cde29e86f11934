#pragma once

#include <tbrCore/Log.h>

#include <mutex>
#include <string>
#include <vector>

/// Collects all log entries while it lives, in place of the default output. Any thread may log.
class LogCapture
{
public:
    struct Entry
    {
        std::string category;
        std::string message;
    };

    LogCapture()
    {
        tbr::Log::setSink([this](const std::string& category, const std::string& message) {
            const std::lock_guard<std::mutex> lock(m_Mutex);
            m_Entries.push_back({category, message});
        });
    }
    ~LogCapture() { tbr::Log::setSink({}); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<Entry> entries() const
    {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Entries;
    }

    /// How many entries of `category` have exactly this text.
    int count(const std::string& category, const std::string& message) const
    {
        int found = 0;
        for (const Entry& entry : entries())
            found += entry.category == category && entry.message == message ? 1 : 0;
        return found;
    }

    /// Whether an entry of `category` contains the text.
    bool contains(const std::string& category, const std::string& text) const
    {
        for (const Entry& entry : entries())
            if (entry.category == category && entry.message.find(text) != std::string::npos)
                return true;
        return false;
    }

private:
    mutable std::mutex m_Mutex; // guards m_Entries
    std::vector<Entry> m_Entries;
};
