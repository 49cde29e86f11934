#include <SurgicalTools/CArmBase.h>

CArmBase::CArmBase() = default;

CArmBase::~CArmBase() = default;

CArmBaseFactory::CArmBaseFactory() : SurgicalToolFactory("CArmBase") {}

SurgicalTool* CArmBaseFactory::createInstance()
{
    return new CArmBase;
}

int createCArmBaseFactory()
{
    return _tbr::createFactoryOnce<CArmBaseFactory>();
}
