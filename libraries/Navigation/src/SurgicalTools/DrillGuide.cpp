#include <SurgicalTools/DrillGuide.h>

DrillGuide::DrillGuide() = default;

DrillGuide::~DrillGuide() = default;

const Vector3d& DrillGuide::getDrillAxis() const
{
    return drillAxis;
}

const Vector3d& DrillGuide::getEntryPoint() const
{
    return entryPoint;
}

void DrillGuide::rigidBodyAttached(CaTool* rigidBody)
{
    if (!rigidBody || rigidBody->getNumberOfImags() < 2)
        return;

    entryPoint = rigidBody->getRigImag(1);
    drillAxis = rigidBody->getRigImag(0) - rigidBody->getRigImag(1);
    emit ConfigUpdateSIG();
}

DrillGuideFactory::DrillGuideFactory() : SurgicalToolFactory("DrillGuide") {}

SurgicalTool* DrillGuideFactory::createInstance()
{
    return new DrillGuide;
}

int createDrillGuideFactory()
{
    return _tbr::createFactoryOnce<DrillGuideFactory>();
}
