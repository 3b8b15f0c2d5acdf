#include <algorithm>
#include <cmath>
#include <limits>

#include "simulation/forward/VectorAxes.h"

namespace kor::simulation {

using namespace portable;

// Two levels on the azimuth stage, which feel the acceleration of the target point as well as gravity.
Forward twoLevels(const SensorParameters& sensor, const Pose& pose, double near)
{
    Forward out;
    const VectorAxes axes = vectorAxes(sensor, pose, near);
    out.azimuthTurn = axes.azimuthTurn;
    out.readings.azimuth = encoderReading(sensor, 0, axes.azimuthTurn, 1.0);
    out.readings.elevation = encoderReading(sensor, 1, axes.elevation, 1.0);

    const Vec3 felt = {-pose.acceleration[0] / kGravity, -pose.acceleration[1] / kGravity,
                       -1.0 - pose.acceleration[2] / kGravity};
    const Vec3 axis1 = levelAxis(sensor.level1);
    const Vec3 axis2 = levelAxis(sensor.level2);
    out.readings.levelX = levelReading(axis1, axes.stage, felt, sensor.level1);
    out.readings.levelY = levelReading(axis2, axes.stage, felt, sensor.level2);

    // Of the two directions that make both angles the model takes the one on the side that the parity says.
    const double side = sensor.mode % 2 == 1 ? 1.0 : -1.0;
    const Vec3 down = transposed(axes.stage) * Vec3{0.0, 0.0, -1.0};
    out.rollMargin = std::numeric_limits<double>::infinity();
    for (const Vec3& axis : {axis1, axis2}) {
        const Vec3 normal = cross(axes.sight, axis);
        out.rollMargin = std::min(out.rollMargin, side * normal[2] * dot(down, normal));
    }

    // The model averages the solutions of both levels by these angles.
    const Mat3& stage = axes.stage;
    out.toHalfTurn =
        180.0 -
        std::max(std::fabs(arcTangent(-stage[5], stage[8])), std::fabs(arcTangent(-stage[1], stage[0]))) / kDegree;
    return out;
}

} // namespace kor::simulation
