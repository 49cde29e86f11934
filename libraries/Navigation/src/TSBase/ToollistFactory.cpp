#include <TSBase/ToollistFactory.h>

#include <tbrCore/Log.h>

ToollistFactory::ToollistFactory()
{
    TBR_LOG("toolserver") << "ToollistFactory constructor" << std::endl;
}

ToollistFactory::ToollistFactory(const ToollistFactory&) = default;

ToollistFactory& ToollistFactory::operator=(const ToollistFactory&) = default;

ToollistFactory::~ToollistFactory()
{
    TBR_LOG("toolserver") << "ToollistFactory destructor" << std::endl;
}
