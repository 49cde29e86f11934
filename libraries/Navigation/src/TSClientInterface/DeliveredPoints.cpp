#include <TSClientInterface/DeliveredPoints.h>

#include <algorithm>

namespace _tbr
{

std::vector<Vector3d> deliveredPoints(const Vector3d* buffer, int room, int count, int wanted)
{
    Vector3d undefined;
    undefined.setUndefined();
    std::vector<Vector3d> points(static_cast<std::size_t>(std::max(wanted, 0)), undefined);
    std::copy_n(buffer, std::max(0, std::min({count, room, wanted})), points.begin());
    return points;
}

} // namespace _tbr
