#include <TSLib/RefusalLog.h>

#include <utility>

std::optional<std::string> RefusalLog::lineFor(const std::string& address, const std::string& reason,
                                               Clock::time_point now)
{
    Address& entry = entryOf(address, now);
    if (!entry.isQuiet(now))
    {
        ++entry.withoutLine;
        return std::nullopt;
    }
    entry.lastLine = now;
    const std::uint64_t withoutLine = std::exchange(entry.withoutLine, 0);
    const std::string line = "A client from " + address + " " + reason;
    return withoutLine == 0 ? line : line + " Refusals before it without a line: " + std::to_string(withoutLine) + ".";
}

/// The address's own entry, made if there is room for it; otherwise the one of all others.
RefusalLog::Address& RefusalLog::entryOf(const std::string& address, Clock::time_point now)
{
    const auto known = m_Addresses.find(address);
    if (known != m_Addresses.end())
        return known->second;
    if (m_Addresses.size() >= MAX_ADDRESSES)
        makeRoom(now);
    return m_Addresses.size() < MAX_ADDRESSES ? m_Addresses[address] : m_Others;
}

/// Forgets the addresses whose minute is over. What they have not told yet is told by the line of the others.
void RefusalLog::makeRoom(Clock::time_point now)
{
    for (auto entry = m_Addresses.begin(); entry != m_Addresses.end();)
    {
        if (!entry->second.isQuiet(now))
        {
            ++entry;
            continue;
        }
        m_Others.withoutLine += entry->second.withoutLine;
        entry = m_Addresses.erase(entry);
    }
}
