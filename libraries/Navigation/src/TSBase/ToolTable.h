#pragma once

#include <TSBase/Tool.h>

#include <string_view>
#include <unordered_map>
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
    /// The first tool, in slot order, with exactly this name; null if there is none.
    Tool* tool(std::string_view name) const;

private:
    std::vector<Tool*> m_Tools;
    std::unordered_map<std::string_view, Tool*> m_FirstByName; // the keys are the tools' own names
};
