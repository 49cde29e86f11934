#include <SurgicalTools/BurrCalibrator.h>
#include <tbrCore/Log.h>

namespace
{

constexpr double HOLE_TOLERANCE = 10.0; // in each coordinate

/// The calibration block as its imaginary points were last measured.
struct Block
{
    explicit Block(const CaTool& body)
        : i0(body.getImag(0)), i1(body.getImag(1)), u((body.getImag(2) - i1).normalized()), v((i0 - i1).normalized()),
          n(cross(u, v).normalized())
    {
    }

    /// A hole, `along` the u axis from imaginary point 0.
    Vector3d hole(double along) const { return i0 + along * u - 35.0 * v - 2.45 * n; }

    Vector3d i0, i1, u, v, n;
};

Vector3d undefinedPoint()
{
    Vector3d point;
    point.setUndefined();
    return point;
}

/// Measures the block in the frame of `reference`, or of the camera when that is null.
bool updateBlock(CaTool* block, const SurgicalTool* reference)
{
    if (!block || (reference && !reference->getRigidBody()))
        return false;

    if (reference)
        block->updateImags(reference->getRigidBody());
    else
        block->updateImags();
    return block->isImagsValid();
}

bool isWithinTolerance(double coordinate, double centre)
{
    return centre - HOLE_TOLERANCE <= coordinate && coordinate <= centre + HOLE_TOLERANCE;
}

bool isInHole(CaTool* block, const SurgicalTool* tool, double alongU)
{
    if (!tool)
        return false;
    if (!block || !tool->getRigidBody())
    {
        TBR_LOG("ERROR") << "Rigid body is not defined." << std::endl;
        return false;
    }
    if (!updateBlock(block, tool))
    {
        TBR_LOG("ERROR") << "Imags are not valid." << std::endl;
        return false;
    }

    const Vector3d point = tool->getRigidBody()->getRigImag(0);
    const Vector3d hole = Block(*block).hole(alongU);
    return isWithinTolerance(point.x, hole.x) && isWithinTolerance(point.y, hole.y) &&
           isWithinTolerance(point.z, hole.z);
}

} // namespace

BurrCalibrator::BurrCalibrator() = default;

BurrCalibrator::~BurrCalibrator() = default;

Vector3d BurrCalibrator::getCalibrationPoint0(SurgicalTool* reference)
{
    if (!updateBlock(getRigidBody(), reference))
        return undefinedPoint();

    const Block block(*getRigidBody());
    return block.i0 + 17.0 * block.u - 2.5 * block.v + 10.5 * block.n;
}

Vector3d BurrCalibrator::getCalibrationPoint1(SurgicalTool* reference)
{
    if (!updateBlock(getRigidBody(), reference))
        return undefinedPoint();

    const Block block(*getRigidBody());
    return block.i1 + 17.0 * block.u + 10.5 * block.n;
}

bool BurrCalibrator::isIn5mmHole(SurgicalTool* tool) const
{
    return isInHole(getRigidBody(), tool, 2.5);
}

bool BurrCalibrator::isIn8mmHole(SurgicalTool* tool) const
{
    return isInHole(getRigidBody(), tool, 32.5);
}

BurrCalibratorFactory::BurrCalibratorFactory() : SurgicalToolFactory("BurrCalibrator") {}

SurgicalTool* BurrCalibratorFactory::createInstance()
{
    return new BurrCalibrator;
}

int createBurrCalibratorFactory()
{
    return _tbr::createFactoryOnce<BurrCalibratorFactory>();
}
