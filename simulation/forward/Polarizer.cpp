#include <limits>

#include "simulation/forward/Equations.h"

namespace kor::simulation {

using namespace portable;

// Roll is measured about the line of sight; the axes hold for any orientation.
Forward polarizer(const SensorParameters& sensor, const Pose& pose, double near)
{
    Forward out;
    const float(&S)[8] = sensor.factors;
    const Vec3& P = pose.position;
    const Vec3 b = transposed(pose.base) * unit(P);
    const double s0 = S[0] * kModelDegree;
    const double elevation = arcSine(b[2] / cosine(s0));
    out.azimuthTurn = nearestTurn(arcTangent(b[1], b[0]) - arcTangent(cosine(elevation) * cosine(s0), sine(s0)), near);
    const Mat3 sight = turnZ(-arcTangent(P[0], P[1])) * turnX(arcSine(P[2] / length(P)));
    const Mat3 rest = transposed(sight) * pose.base * turnZ(out.azimuthTurn) * turnX(elevation) * turnZ(-s0);
    const double roll = arcTangent(rest[2], rest[8]);
    out.readings.levelX = std::numeric_limits<double>::quiet_NaN(); // the ratio that the engine forms goes nowhere
    out.readings.levelY = roll / (kModelDegree * S[6]) - S[1];
    out.readings.azimuth = encoderReading(sensor, 0, out.azimuthTurn, S[4]);
    out.readings.elevation = (elevation / S[5] + sensor.encoderOffset[1]) / kModelDegree;
    return out;
}

} // namespace kor::simulation
