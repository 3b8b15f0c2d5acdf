// A motion through given poses.
#pragma once

#include <memory>
#include <vector>

#include "recordings/WayPoints.h"
#include "simulation/Motion.h"

namespace kor::simulation {

using recordings::WayPoint;

/// Natural cubic splines through the way-points: of each coordinate, and of each component of the unit quaternion,
/// which is scaled to unit length afterwards. At rest before the first and after the last one. Nothing if there is none
/// or the times do not ascend.
std::unique_ptr<Motion> wayPointMotion(const std::vector<WayPoint>& points);

} // namespace kor::simulation
