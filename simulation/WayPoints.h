// A motion through given poses, and the file that gives them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "recordings/Problem.h"
#include "simulation/Motion.h"

namespace kor::simulation {

/// One way-point: where the sensor is at a time.
struct WayPoint {
    double time;             ///< seconds
    Vec3 position;           ///< mm, tracker frame
    double roll, pitch, yaw; ///< degrees; base to tracker is Rz(yaw) Ry(pitch) Rx(roll)
};

/// Natural cubic splines through the way-points: of each coordinate, and of each component of the unit quaternion,
/// which is scaled to unit length afterwards. At rest before the first and after the last one. Nothing if there is none
/// or the times do not ascend.
std::unique_ptr<Motion> wayPointMotion(const std::vector<WayPoint>& points);

/// Way-points read from a file, or the problem with that file.
struct WayPointFile {
    std::vector<WayPoint> points; ///< at least one, with ascending times
    recordings::Problem problem;
};

/// The way-points of a CSV file, with the columns of recordings::kWayPointColumns in any order.
WayPointFile readWayPoints(const std::string& path);

} // namespace kor::simulation
