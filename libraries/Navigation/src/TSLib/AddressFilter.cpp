#include <TSLib/AddressFilter.h>

#include <algorithm>

namespace
{

/// Reads a number of one to `digits` decimal digits, at most `limit`; false when there is none at `position`. A leading
/// zero is refused: some programs take what follows it for octal, and would name another network than we let in.
bool readNumber(const std::string& text, std::size_t& position, unsigned digits, std::uint32_t limit,
                std::uint32_t& number)
{
    const std::size_t start = position;
    number = 0;
    while (position < text.size() && position - start < digits && text[position] >= '0' && text[position] <= '9')
        number = number * 10 + static_cast<std::uint32_t>(text[position++] - '0');
    const bool hasLeadingZero = position > start + 1 && text[start] == '0';
    return position > start && !hasLeadingZero && number <= limit;
}

bool readAddress(const std::string& text, std::size_t& position, std::uint32_t& address)
{
    address = 0;
    for (int part = 0; part < 4; ++part)
    {
        std::uint32_t number;
        if (part > 0 && (position >= text.size() || text[position++] != '.'))
            return false;
        if (!readNumber(text, position, 3, 255, number))
            return false;
        address = address << 8 | number;
    }
    return true;
}

} // namespace

bool AddressFilter::add(const std::string& network)
{
    std::size_t position = 0;
    std::uint32_t address;
    std::uint32_t bits = 32;
    if (!readAddress(network, position, address))
        return false;
    if (position < network.size() && (network[position++] != '/' || !readNumber(network, position, 2, 32, bits)))
        return false;
    if (position != network.size())
        return false;
    const std::uint32_t mask = bits == 0 ? 0 : ~std::uint32_t(0) << (32 - bits);
    m_Networks.push_back({address & mask, mask});
    return true;
}

bool AddressFilter::allows(const std::string& address) const
{
    if (m_Networks.empty())
        return true;
    std::size_t position = 0;
    std::uint32_t number;
    if (!readAddress(address, position, number) || position != address.size())
        return false;
    return std::any_of(m_Networks.begin(), m_Networks.end(),
                       [number](const Network& network) { return (number & network.mask) == network.address; });
}
