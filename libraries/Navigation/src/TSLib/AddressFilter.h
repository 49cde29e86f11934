#pragma once

#include <TSBase/Export.h>

#include <cstdint>
#include <string>
#include <vector>

/// Which client addresses may come in: those of the networks that were added, or every address while there are none.
/// A plain value; use by one thread at a time.
class TBR_NAVIGATION_EXPORT AddressFilter
{
public:
    /// Adds a network in CIDR form ("192.168.7.0/24") or a single address. Returns false, and adds nothing, when the
    /// text is anything else, numbers with leading zeros included.
    bool add(const std::string& network);

    /// Whether an address of four decimal numbers with dots may come in. Anything else may not, once there is a
    /// network.
    bool allows(const std::string& address) const;

private:
    struct Network
    {
        std::uint32_t address;
        std::uint32_t mask;
    };
    std::vector<Network> m_Networks;
};
