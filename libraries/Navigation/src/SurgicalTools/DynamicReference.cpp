#include <SurgicalTools/DynamicReference.h>

DynamicReference::DynamicReference() = default;

DynamicReference::~DynamicReference() = default;

DynamicReferenceFactory::DynamicReferenceFactory() : SurgicalToolFactory("DynamicReference") {}

SurgicalTool* DynamicReferenceFactory::createInstance()
{
    return new DynamicReference;
}

int createDynamicReferenceFactory()
{
    return _tbr::createFactoryOnce<DynamicReferenceFactory>();
}
