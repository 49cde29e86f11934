#include <SurgicalTools/RoundBurrTool.h>
#include <TSClientInterface/TruncateToInt.h>
#include <tbrCore/Log.h>

namespace
{

constexpr double UNKNOWN_RADIUS = -1.0;

} // namespace

RoundBurrTool::RoundBurrTool() : radius(UNKNOWN_RADIUS) {}

RoundBurrTool::~RoundBurrTool() = default;

Vector3d RoundBurrTool::getBurrPosition(SurgicalTool* reference)
{
    Vector3d position;
    position.setUndefined();
    if (!reference || !reference->getRigidBody())
        return position;

    getRigidBody()->updateImags(reference->getRigidBody());
    return getRigidBody()->getImag(0);
}

double RoundBurrTool::getRadius() const
{
    return radius;
}

void RoundBurrTool::setRadius(const double& newRadius)
{
    if (!(newRadius > 0.0)) // neither is what is not a number
    {
        radius = UNKNOWN_RADIUS;
        return;
    }

    radius = newRadius;
    const Vector3d tip = getRigidBody()->getRigImag(0);
    const Vector3d axis = (tip - getRigidBody()->getRigImag(1)).normalized();
    getRigidBody()->setRigImag(0, tip - radius * axis);
    emit burrRadiusChangedSIG(_tbr::truncateToInt(radius));
}

bool RoundBurrTool::setAxis(const Vector3d& p0, const Vector3d& p1)
{
    CaTool* body = getRigidBody();
    if (!body)
    {
        TBR_LOG("ERROR") << "Rigid body is not defined." << std::endl;
        return false;
    }
    if (body->getNumberOfImags() < 2)
    {
        TBR_LOG("ERROR") << "Rigid body has only one imaginary." << std::endl;
        return false;
    }

    std::vector<Vector3d> imags(body->getRigImags(), body->getRigImags() + body->getNumberOfImags());
    imags[0] = p0;
    imags[1] = p1;
    body->setRigImags(imags.data());
    emit toolRecalibratedSIG();
    return true;
}

RoundBurrToolFactory::RoundBurrToolFactory() : SurgicalToolFactory("RoundBurrTool") {}

SurgicalTool* RoundBurrToolFactory::createInstance()
{
    return new RoundBurrTool;
}

int createRoundBurrToolFactory()
{
    return _tbr::createFactoryOnce<RoundBurrToolFactory>();
}
