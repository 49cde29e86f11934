#include <TSClientInterface/DeliveredPoints.h>

#include <algorithm>

namespace _tbr
{

std::vector<Vector3d> deliveredPoints(const Vector3d* buffer, int room, int count, int wanted)
{
    std::vector<Vector3d> points;
    deliverPoints(buffer, room, count, wanted, points);
    return points;
}

void deliverPoints(const Vector3d* buffer, int room, int count, int wanted, std::vector<Vector3d>& points)
{
    Vector3d undefined;
    undefined.setUndefined();
    points.assign(static_cast<std::size_t>(std::max(wanted, 0)), undefined);
    std::copy_n(buffer, std::max(0, std::min({count, room, wanted})), points.begin());
}

} // namespace _tbr
