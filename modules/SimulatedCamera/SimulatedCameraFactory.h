#pragma once

#include <TSBase/ToollistFactory.h>

/// What this plug-in exports: makes the simulated camera.
class SimulatedCameraFactory : public ToollistFactory
{
public:
    /// A camera that shows the configured scene; see SimulatedCamera. The caller owns it.
    Toollist* createInstance() override;
};
