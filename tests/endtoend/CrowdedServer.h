#pragma once

#include <support/LogFileBytes.h>
#include <support/ProcessStatus.h>
#include <support/ProtocolClient.h>
#include <support/ServerProcess.h>
#include <support/TestFolder.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool IS_MEMORY_MEASURABLE = false; // the sanitizer's own memory hides the server's
#else
constexpr bool IS_MEMORY_MEASURABLE = true;
#endif

/// A server process that plays a recording of many tools again and again, and what it costs the system.
class CrowdedServer
{
public:
    static constexpr int TOOLS = 16;
    /// One record for each tool and the acknowledgement, each with its header.
    static constexpr std::size_t ALL_POSES_SIZE = TOOLS * (2 + 88) + 2 + 4;

    CrowdedServer() : process(options()), status(process.processId()) { settle(); }
    explicit CrowdedServer(int descriptorLimit)
        : process(ServerProcess::withDescriptorLimit(descriptorLimit, options())), status(process.processId())
    {
        settle();
    }

    int port() { return process.port(); }
    int stop() { return process.stop(); }

    /// Waits until all sessions are gone: threads and descriptors are as many as without clients (but for those of Qt's
    /// thread pool, which stay for a while).
    ::testing::AssertionResult isEmptyAgain()
    {
        if (eventually(
                [this]
                { return status.threads() <= m_Threads + SPARE && status.descriptors() <= m_Descriptors + SPARE; }))
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << status.threads() << " threads instead of " << m_Threads << ", "
                                             << status.descriptors() << " descriptors instead of " << m_Descriptors;
    }

private:
    static constexpr int SPARE = 2;

    std::vector<std::string> options() const
    {
        std::vector<std::string> all = ServerProcess::loopback();
        all.insert(all.end(), {"--replay", m_Folder.write("replay.log", recording()), "--repeat"});
        return all;
    }
    static std::string recording()
    {
        std::vector<logbytes::Bytes> tools;
        for (int i = 0; i < TOOLS; ++i)
        {
            logbytes::Content content;
            content.name = "Tool" + std::to_string(i);
            tools.push_back(logbytes::filledSlot(logbytes::content(content)));
        }
        logbytes::Bytes log = logbytes::header() + logbytes::toolList(tools);
        for (int block = 0; block < 20; ++block)
            log += logbytes::positions(0, 0, {TOOLS, logbytes::realTime({}, {static_cast<float>(block), 2, 3})});
        return log;
    }
    /// Counts what there is without clients, after the first one: some of what it brings with it stays.
    void settle()
    {
        {
            ProtocolClient client(process.port(), wire::Order::HOST);
            m_Threads = status.threads() - 1;
        }
        EXPECT_TRUE(eventually([this] { return status.threads() == m_Threads; }));
        m_Descriptors = status.descriptors();
    }

    const TestFolder m_Folder;
    int m_Threads = 0;
    int m_Descriptors = 0;

public:
    ServerProcess process;
    const ProcessStatus status;
};
