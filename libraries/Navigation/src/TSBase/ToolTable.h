#pragma once

#include <TSBase/Tool.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The slots of a tool list at one moment, with an index of the names. Immutable once it is published, so it may be
/// read by any thread. It does not own the tools.
class TBR_NAVIGATION_EXPORT ToolTable
{
public:
    explicit ToolTable(std::vector<Tool*> tools);

    const std::vector<Tool*>& tools() const { return m_Tools; }
    unsigned int size() const { return static_cast<unsigned int>(m_Tools.size()); }

    /// The tool in a slot; null for an empty slot and beyond the table.
    Tool* tool(unsigned int slot) const { return slot < m_Tools.size() ? m_Tools[slot] : nullptr; }
    /// The first tool, in slot order, with exactly this name; null if there is none. Takes as long among many tools as
    /// among few.
    Tool* tool(std::string_view name) const;

private:
    /// A place of the index: free, or the first slot with a name.
    struct Place
    {
        static constexpr std::uint32_t FREE = 0xffffffff;

        std::uint32_t hash = 0;
        std::uint32_t slot = FREE;
    };

    void enter(std::uint32_t slot);
    std::string_view nameIn(std::uint32_t slot) const;
    std::size_t placeOf(std::string_view name) const;

    std::vector<Tool*> m_Tools;

    // Small and close together, so that a look-up among many tools finds them in the processor's cache; the tools
    // themselves are not touched.
    std::string m_Names;                   // of all tools, one behind the other
    std::vector<std::uint32_t> m_NameEnds; // by slot; a name begins where the one before it ends
    std::vector<Place> m_Places;           // a power of two, more than twice as many as tools
};
