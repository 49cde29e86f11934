#include <SurgicalTools/PointerTool.h>

PointerTool::PointerTool() = default;

PointerTool::~PointerTool() = default;

Vector3d PointerTool::getTipPosition(SurgicalTool* reference)
{
    if (!reference || !reference->getRigidBody())
        getRigidBody()->updateImags();
    else
        getRigidBody()->updateImags(reference->getRigidBody());
    return getRigidBody()->getImag(0);
}

bool PointerTool::getTipPosition(Vector3d* out, const SurgicalTool* reference)
{
    if (!getRigidBody())
        return false;

    if (!reference)
        getRigidBody()->updateImags();
    else if (reference->getRigidBody())
        getRigidBody()->updateImags(reference->getRigidBody());
    *out = getRigidBody()->getImag(0);
    return getRigidBody()->isImagsValid();
}

PointerToolFactory::PointerToolFactory() : SurgicalToolFactory("PointerTool") {}

SurgicalTool* PointerToolFactory::createInstance()
{
    return new PointerTool;
}

int createPointerToolFactory()
{
    return _tbr::createFactoryOnce<PointerToolFactory>();
}
