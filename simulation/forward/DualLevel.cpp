#include "simulation/forward/Equations.h"

namespace kor::simulation {

using namespace portable;

// Both levels ride on the azimuth stage, one axis towards the line of sight, one along the elevation axis.
Forward dualLevel(const SensorParameters& sensor, const Pose& pose, double near)
{
    Forward out;
    const Vec3 b = transposed(pose.base) * unit(pose.position);
    out.azimuthTurn = nearestTurn(arcTangent(b[1], b[0]), near);
    const double elevation = -arcSine(b[2]);
    const Mat3 stage = pose.base * turnZ(out.azimuthTurn);
    const double open = sensor.factors[0] * kModelDegree;
    const Vec3 x = stage * Vec3{cosine(open), -sine(open), 0.0};
    out.readings.levelX = -arcSine(x[2]) / kModelDegree;
    out.readings.levelY = arcSine(stage[7]) / kModelDegree;
    out.readings.azimuth = encoderReading(sensor, 0, out.azimuthTurn, 1.0);
    out.readings.elevation = (sensor.encoderOffset[1] - elevation) / kModelDegree;
    out.heightTimesLevelY = pose.position[2] * out.readings.levelY;
    return out;
}

} // namespace kor::simulation
