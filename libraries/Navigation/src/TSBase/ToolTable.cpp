#include <TSBase/ToolTable.h>

#include <algorithm>
#include <functional>
#include <utility>

namespace
{

std::uint32_t hashOf(std::string_view name)
{
    return static_cast<std::uint32_t>(std::hash<std::string_view>()(name));
}

} // namespace

ToolTable::ToolTable(std::vector<Tool*> tools) : m_Tools(std::move(tools))
{
    const auto emptySlots = std::count(m_Tools.begin(), m_Tools.end(), nullptr);
    const std::size_t enoughPlaces = 2 * (m_Tools.size() - static_cast<std::size_t>(emptySlots)) + 1;
    std::size_t places = 1;
    while (places < enoughPlaces)
        places *= 2;
    m_Places.resize(places);

    m_NameEnds.reserve(m_Tools.size());
    for (std::uint32_t slot = 0; slot < m_Tools.size(); ++slot)
    {
        if (m_Tools[slot])
            m_Names += m_Tools[slot]->getName();
        m_NameEnds.push_back(static_cast<std::uint32_t>(m_Names.size()));
        if (m_Tools[slot])
            enter(slot);
    }
}

void ToolTable::enter(std::uint32_t slot)
{
    const std::string_view name = nameIn(slot);
    Place& place = m_Places[placeOf(name)];
    if (place.slot == Place::FREE) // a name that is there already keeps its first tool
        place = {hashOf(name), slot};
}

std::string_view ToolTable::nameIn(std::uint32_t slot) const
{
    const std::uint32_t begin = slot == 0 ? 0 : m_NameEnds[slot - 1];
    return std::string_view(m_Names).substr(begin, m_NameEnds[slot] - begin);
}

/// The place with this name, or the free one where it belongs. More than half of the places are free, so one is soon
/// found.
std::size_t ToolTable::placeOf(std::string_view name) const
{
    const std::uint32_t hash = hashOf(name);
    const std::size_t last = m_Places.size() - 1;
    std::size_t i = hash & last;
    while (m_Places[i].slot != Place::FREE && (m_Places[i].hash != hash || nameIn(m_Places[i].slot) != name))
        i = (i + 1) & last;
    return i;
}

Tool* ToolTable::tool(std::string_view name) const
{
    const std::uint32_t slot = m_Places[placeOf(name)].slot;
    return slot == Place::FREE ? nullptr : m_Tools[slot];
}
