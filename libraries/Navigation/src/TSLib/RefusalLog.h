#pragma once

#include <TSBase/Export.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

/// Decides which of the clients that are sent away are worth a log line: one for each address and minute, so that
/// somebody who knocks without end fills no disk.
///
/// Its memory and its lines are bounded whatever number of addresses come: the first MAX_ADDRESSES of the last minute
/// are told apart, all others together count as one more address. Every refusal is counted: it has a line, or is in
/// the count of a later one.
///
/// A plain value without a clock of its own; use by one thread at a time.
class TBR_NAVIGATION_EXPORT RefusalLog
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::minutes PERIOD{1};
    static constexpr std::size_t MAX_ADDRESSES = 256;

    /// Counts a refusal. When it is worth a line, returns the line: "A client from ADDRESS REASON", and how many
    /// refusals have gone without one since the last line of the same address. `now` never goes back.
    std::optional<std::string> lineFor(const std::string& address, const std::string& reason, Clock::time_point now);

private:
    struct Address
    {
        std::optional<Clock::time_point> lastLine;
        std::uint64_t withoutLine = 0;

        bool isQuiet(Clock::time_point now) const { return !lastLine || now - *lastLine >= PERIOD; }
    };

    Address& entryOf(const std::string& address, Clock::time_point now);
    void makeRoom(Clock::time_point now);

    std::unordered_map<std::string, Address> m_Addresses; // MAX_ADDRESSES at most
    Address m_Others;                                     // all that found no room in m_Addresses
};
