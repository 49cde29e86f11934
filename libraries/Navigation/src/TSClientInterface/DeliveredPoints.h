#pragma once

#include <tbrNumerics/Vector3d.h>

#include <vector>

namespace _tbr
{

/// How many points of a tool fit the buffers of a tool server's operations.
constexpr int MAX_REALS = 32;
constexpr int MAX_IMAGS = 8;

/// The `wanted` points of a tool from a server's buffer that has room for `room` of them, of which the server says that
/// it delivered `count`: what it did not deliver is undefined, and nothing beyond the buffer is read, whatever the
/// numbers are. Any thread.
std::vector<Vector3d> deliveredPoints(const Vector3d* buffer, int room, int count, int wanted);
/// The same into `points`, whose memory is used again.
void deliverPoints(const Vector3d* buffer, int room, int count, int wanted, std::vector<Vector3d>& points);

} // namespace _tbr
