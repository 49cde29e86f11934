#include <SimulatedCamera/Motion.h>

#include <SimulatedCamera/EigenConversion.h>

#include <Eigen/Geometry>

#include <algorithm>
#include <cmath>

namespace simulation
{

namespace
{

Matrix3x3 rotationAbout(const Vector3d& axis, double angle)
{
    return fromEigen(Eigen::AngleAxisd(angle, toEigen(axis)).toRotationMatrix());
}

/// The unit vector that turns once a period in the plane perpendicular to the axis.
Vector3d turningDirection(const Vector3d& axis, double period, double time)
{
    const double angle = 2.0 * PI * std::fmod(time, period) / period;
    const Vector3d first = perpendicularTo(axis);
    return std::cos(angle) * first + std::sin(angle) * cross(axis, first);
}

/// Where between two waypoints, 0 to 1: the polynomial 3u^2 - 2u^3 leaves and arrives without a jerk.
double eased(double u)
{
    return u * u * (3.0 - 2.0 * u);
}

TransMatrix3d between(const Waypoint& from, const Waypoint& to, double time)
{
    const double share = eased((time - from.time) / (to.time - from.time));
    const Eigen::Quaterniond start(toEigen(from.rotation));
    const Eigen::Quaterniond end(toEigen(to.rotation));
    return {fromEigen(start.slerp(share, end).toRotationMatrix()),
            from.position + share * (to.position - from.position)};
}

TransMatrix3d placeAt(const Still& still, double /*time*/)
{
    return {still.rotation, still.position};
}

TransMatrix3d placeAt(const Orbit& orbit, double time)
{
    return {orbit.rotation, orbit.centre + orbit.radius * turningDirection(orbit.axis, orbit.period, time)};
}

TransMatrix3d placeAt(const Pivot& pivot, double time)
{
    const Vector3d tiltAxis = turningDirection(pivot.axis, pivot.period, time);
    return {rotationAbout(tiltAxis, pivot.tilt) * pivot.rotation, pivot.position};
}

TransMatrix3d placeAt(const Path& path, double time)
{
    const Waypoint& first = path.waypoints.front();
    const Waypoint& last = path.waypoints.back();
    if (path.loop > 0.0)
    {
        time = std::fmod(time, path.loop);
        Waypoint again = first;
        again.time += path.loop;
        if (time < first.time)
            time += path.loop;
        if (time >= last.time)
            return between(last, again, time);
    }
    if (time <= first.time)
        return {first.rotation, first.position};
    if (time >= last.time)
        return {last.rotation, last.position};
    const auto isLater = [](double value, const Waypoint& waypoint) { return value < waypoint.time; };
    const auto next = std::upper_bound(path.waypoints.begin(), path.waypoints.end(), time, isLater);
    return between(*(next - 1), *next, time);
}

} // namespace

TransMatrix3d poseAt(const Motion& motion, double time)
{
    const TransMatrix3d place = std::visit([&](const auto& course) { return placeAt(course, time); }, motion.course);
    return {place.getRotation(), place.getTranslation() - place.getRotation() * motion.point};
}

Matrix3x3 rotationFromAngles(const Vector3d& radians)
{
    return rotationAbout({0, 0, 1}, radians.z) * rotationAbout({0, 1, 0}, radians.y) *
           rotationAbout({1, 0, 0}, radians.x);
}

Vector3d perpendicularTo(const Vector3d& axis)
{
    const Vector3d helper = std::abs(axis.y) < 0.9 ? Vector3d(0, 1, 0) : Vector3d(0, 0, 1);
    return cross(helper, axis).normalized();
}

} // namespace simulation
