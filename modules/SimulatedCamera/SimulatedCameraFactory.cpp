#include <SimulatedCamera/SimulatedCameraFactory.h>

#include <SimulatedCamera/SimulatedCamera.h>

#include <tbrCore/DLLFactory.h>

Toollist* SimulatedCameraFactory::createInstance()
{
    return new SimulatedCamera;
}

TBR_EXPORT_FACTORY(ToollistFactory, SimulatedCameraFactory)
