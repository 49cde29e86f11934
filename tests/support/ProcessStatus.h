#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>

#include <sys/resource.h>
#include <unistd.h>

/// What the system knows of a running process of the same user. Linux only.
class ProcessStatus
{
public:
    explicit ProcessStatus(long long processId) : m_Folder("/proc/" + std::to_string(processId)) {}

    int threads() const { return static_cast<int>(statusField("Threads:")); }
    /// 0 when the process has ended.
    int descriptors() const
    {
        std::error_code error;
        const std::filesystem::directory_iterator all(m_Folder + "/fd", error);
        return static_cast<int>(std::distance(begin(all), end(all)));
    }
    /// Memory that is in use and not on disk, in KiB.
    double residentKiB() const { return static_cast<double>(statusField("VmRSS:")); }
    /// Processor time used so far, user and system together.
    double processorSeconds() const
    {
        std::ifstream file(m_Folder + "/stat");
        std::string text((std::istreambuf_iterator<char>(file)), {});
        std::istringstream fields(text.substr(text.rfind(')') + 1)); // behind the name, which may have blanks
        std::string skipped;
        for (int i = 0; i < 11; ++i)
            fields >> skipped;
        double user = 0;
        double system = 0;
        fields >> user >> system;
        return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
    }

    /// Lets this process hold so many descriptors; false when the system does not allow it.
    static bool allowDescriptors(rlim_t count)
    {
        rlimit limit = {};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        if (limit.rlim_cur >= count)
            return true;
        limit.rlim_cur = count;
        return limit.rlim_max >= count && ::setrlimit(RLIMIT_NOFILE, &limit) == 0;
    }

private:
    long statusField(const std::string& name) const
    {
        std::ifstream file(m_Folder + "/status");
        for (std::string word; file >> word;)
            if (word == name)
            {
                long value = 0;
                file >> value;
                return value;
            }
        return 0;
    }

    const std::string m_Folder;
};
