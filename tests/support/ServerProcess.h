#pragma once

#include <support/Eventually.h>
#include <support/ProgramProcess.h>

#include <cstdlib>

/// The toolserver program in a process of its own. TBR_TOOLSERVER is the program; link tbrServerTestSupport for it.
class ServerProcess : public ProgramProcess
{
public:
    /// Options for a server of this test alone.
    static std::vector<std::string> loopback() { return {"--port", "0", "--bind", "127.0.0.1"}; }

    /// `program` is one that becomes the toolserver, if it is not the toolserver itself.
    explicit ServerProcess(const std::vector<std::string>& arguments, const Environment& environment = {},
                           QProcess* reader = nullptr, const std::string& program = TBR_TOOLSERVER)
        : ProgramProcess(program, arguments, environment, reader)
    {
    }

#ifndef _WIN32
    /// One that may hold no more than so many descriptors, and cannot raise that limit itself.
    static ServerProcess withDescriptorLimit(int limit, std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(),
                         {"-c", "ulimit -n " + std::to_string(limit) + " && exec \"$0\" \"$@\"", TBR_TOOLSERVER});
        return ServerProcess("/bin/sh", arguments);
    }
#endif

    /// The line that begins with "listening on", as soon as it is there; empty when the program ends before.
    std::string listeningLine()
    {
        std::string line;
        EXPECT_TRUE(eventually(
            [&]
            {
                line = completeLine(standardOutput(), "listening on ");
                return !line.empty() || !isRunning();
            }));
        EXPECT_FALSE(line.empty()) << standardError();
        return line;
    }

    /// The port on which it listens, as soon as it does.
    int port()
    {
        if (m_Port < 0)
            m_Port = portIn(listeningLine());
        return m_Port;
    }

    /// N of a line "listening on ADDR:N, ...", -1 when it is no such line.
    static int portIn(const std::string& line)
    {
        const auto colon = line.find(':');
        return colon == std::string::npos ? -1 : std::atoi(line.c_str() + colon + 1);
    }

    /// Whether all sessions and the camera were ended in good order, rather than by the end of the process.
    bool wasShutDownCompletely() const
    {
        return standardError().find("... SHUTDOWN COMPLETED!") != std::string::npos;
    }

private:
    ServerProcess(const char* program, const std::vector<std::string>& arguments) : ProgramProcess(program, arguments)
    {
    }

    static std::string completeLine(const std::string& text, const std::string& beginning)
    {
        const auto begin = ("\n" + text).find("\n" + beginning);
        const auto end = begin == std::string::npos ? begin : text.find('\n', begin);
        return end == std::string::npos ? std::string() : text.substr(begin, end - begin);
    }

    int m_Port = -1;
};
