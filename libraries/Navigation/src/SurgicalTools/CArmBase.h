#pragma once

#include <SurgicalTools/SurgicalToolFactory.h>

/// The tracked base of a C-arm. It adds nothing to SurgicalTool but its type, by which it is found.
class TBR_NAVIGATION_EXPORT CArmBase : public SurgicalTool
{
    Q_OBJECT
public:
    CArmBase();
    ~CArmBase() override;
};

/// Makes instruments of class "CArmBase".
class TBR_NAVIGATION_EXPORT CArmBaseFactory : public SurgicalToolFactory
{
public:
    CArmBaseFactory();
    SurgicalTool* createInstance() override;
};

/// Registers the class; further calls do nothing. Returns 1.
TBR_NAVIGATION_EXPORT int createCArmBaseFactory();
