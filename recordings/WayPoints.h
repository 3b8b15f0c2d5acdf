// A file of way-points: poses at given times, for a motion through all of them.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "recordings/Problem.h"

namespace kor::recordings {

/// One way-point: where the sensor is at a time.
struct WayPoint {
    double time;                    ///< seconds
    std::array<double, 3> position; ///< mm, tracker frame
    double roll, pitch, yaw;        ///< degrees; base to tracker is Rz(yaw) Ry(pitch) Rx(roll)
};

/// Way-points read from a file, or the problem with that file.
struct WayPointFile {
    std::vector<WayPoint> points; ///< at least one, with ascending times
    Problem problem;
};

/// The way-points of a CSV file, with the columns of kWayPointColumns in any order.
WayPointFile readWayPoints(const std::string& path);

} // namespace kor::recordings
