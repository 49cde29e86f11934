#include <SurgicalTools/DrillTool.h>

#include <iostream>

namespace
{

constexpr double CAPTURE_ANGLE = 0.35; // radians; about 20 degrees

} // namespace

DrillTool::DrillTool() : drillDiameter(2.0) {}

DrillTool::~DrillTool() = default;

const Line3d& DrillTool::getBodyAxis() const
{
    return bodyAxis;
}

const Line3d& DrillTool::getDrillAxis() const
{
    return drillAxis;
}

const Line3d& DrillTool::getCorrectedAxis()
{
    return correctedAxis;
}

double DrillTool::getDrillDiameter() const
{
    return drillDiameter;
}

void DrillTool::setDrillDiameter(double d)
{
    if (d == drillDiameter)
        return;

    drillDiameter = d;
    emit ConfigUpdateSIG();
    emit StateChangeSIG("DrillTool::Diameter");
}

void DrillTool::setDrillLength(double length)
{
    drillAxis.direction = length * bodyAxis.direction.normalized();
    std::cout << "DrillTool->length: " << length << std::endl;
    emit ConfigUpdateSIG();
    emit StateChangeSIG("DrillTool::Length");
}

void DrillTool::setTip(Vector3d tip)
{
    drillAxis.direction = tip - bodyAxis.point - bodyAxis.direction;
    correctAxis();
    emit ConfigUpdateSIG();
    emit StateChangeSIG("DrillTool::Tip");
}

void DrillTool::calibrating(CalibrationUnit&)
{
    emit StateChangeSIG("DrillTool::Calibrating");
}

void DrillTool::setDrillGuide(DrillGuide* guide)
{
    drillGuide = guide;
}

void DrillTool::correctAxis()
{
    if (correctedAxis == drillAxis)
        return;

    correctedAxis = drillAxis;
    emit ConfigUpdateSIG();
}

void DrillTool::rigidBodyAttached(CaTool* rigidBody)
{
    if (!rigidBody || rigidBody->getNumberOfImags() < 2)
        return;

    bodyAxis.point = rigidBody->getRigImag(1);
    bodyAxis.direction = rigidBody->getRigImag(0) - rigidBody->getRigImag(1);
    drillAxis.point = bodyAxis.point + bodyAxis.direction;
    drillAxis.direction = bodyAxis.direction;
    correctAxis();
    emit ConfigUpdateSIG();
}

void DrillTool::rigidBodyMovedSLT(TransMatrix3d transform, bool isValid)
{
    if (isValid)
    {
        if (snapToGuide(transform))
            emit ConfigUpdateSIG();
        else
            correctAxis();
    }
    SurgicalTool::rigidBodyMovedSLT(transform, isValid);
}

bool DrillTool::snapToGuide(const TransMatrix3d& cameraFromDrill)
{
    TransMatrix3d cameraFromGuide;
    if (!drillGuide || !drillGuide->getRigidBody() || !drillGuide->getToolTransformation(cameraFromGuide))
        return false;

    const TransMatrix3d drillFromCamera = cameraFromDrill.inverted();
    const Vector3d entryPoint = drillFromCamera * (cameraFromGuide * drillGuide->getEntryPoint());
    const Vector3d frontToEntry = entryPoint - drillAxis.point;
    const double distance = frontToEntry.length();
    const double drillLength = drillAxis.direction.length();
    if (!(drillLength > distance))
        return false;

    const Vector3d channel =
        drillFromCamera.getRotation() * (cameraFromGuide.getRotation() * drillGuide->getDrillAxis());
    const bool isTaught = channel.length() > 0.0; // a guide without a channel leads nowhere
    if (!isTaught || !(angle(channel, drillAxis.direction) < CAPTURE_ANGLE))
        return false;

    const Vector3d direction = channel.normalized();
    const bool isBehindEntry = (channel + frontToEntry).length() > channel.length();
    correctedAxis.point = isBehindEntry ? entryPoint - distance * direction : entryPoint + distance * direction;
    correctedAxis.direction = drillLength * direction;
    return true;
}

DrillToolFactory::DrillToolFactory() : SurgicalToolFactory("DrillTool") {}

SurgicalTool* DrillToolFactory::createInstance()
{
    return new DrillTool;
}

int createDrillToolFactory()
{
    return _tbr::createFactoryOnce<DrillToolFactory>();
}
