#include <SurgicalTools/SurgicalToolFactory.h>

SurgicalToolFactory::SurgicalToolFactory(const std::string& className) : m_ClassName(className)
{
    if (!m_ClassName.empty())
        SurgicalTool::getFactory().emplace(m_ClassName, this);
}

SurgicalToolFactory::~SurgicalToolFactory()
{
    const auto entry = SurgicalTool::getFactory().find(m_ClassName);
    if (entry != SurgicalTool::getFactory().end() && entry->second == this)
        SurgicalTool::getFactory().erase(entry);
}
