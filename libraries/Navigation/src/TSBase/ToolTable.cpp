#include <TSBase/ToolTable.h>

#include <utility>

ToolTable::ToolTable(std::vector<Tool*> tools) : m_Tools(std::move(tools))
{
    for (Tool* tool : m_Tools)
        if (tool)
            m_FirstByName.emplace(tool->getName(), tool); // a name that is there already keeps its first tool
}

Tool* ToolTable::tool(std::string_view name) const
{
    const auto found = m_FirstByName.find(name);
    return found == m_FirstByName.end() ? nullptr : found->second;
}
