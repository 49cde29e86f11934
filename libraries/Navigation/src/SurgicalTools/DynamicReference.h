#pragma once

#include <SurgicalTools/SurgicalToolFactory.h>

/// The tracked reference that is fixed to the patient. It adds nothing to SurgicalTool but its type, by which it is
/// found.
class TBR_NAVIGATION_EXPORT DynamicReference : public SurgicalTool
{
    Q_OBJECT
public:
    DynamicReference();
    ~DynamicReference() override;
};

/// Makes instruments of class "DynamicReference".
class TBR_NAVIGATION_EXPORT DynamicReferenceFactory : public SurgicalToolFactory
{
public:
    DynamicReferenceFactory();
    SurgicalTool* createInstance() override;
};

/// Registers the class; further calls do nothing. Returns 1.
TBR_NAVIGATION_EXPORT int createDynamicReferenceFactory();
