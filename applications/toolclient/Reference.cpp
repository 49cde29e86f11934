#include "Reference.h"

#include <TSClientInterface/CaTool.h>
#include <TSClientInterface/CaToolList.h>
#include <TSClientInterface/CaToolServer.h>

Reference::Reference(const QString& toolName, CaToolList& toolList)
    : m_ToolName(toolName), m_ToolList(toolList), m_IsSet(toolName.isEmpty())
{
    connect(&toolList, &CaToolList::ToolSetChangedSIG, this, &Reference::set);
}

int Reference::set()
{
    if (m_ToolName.isEmpty())
        return CaToolServer::OK;
    CaTool* tool = m_ToolList.getTool(m_ToolName.toStdString());
    const int status = tool ? m_ToolList.setReference(tool) : static_cast<int>(CaToolServer::UNKNOWN_TOOL);
    m_IsSet = status >= 0;
    return status;
}
