#include "simulation/forward/Equations.h"

namespace kor::simulation {

using namespace portable;

// The pendulum hangs on the azimuth stage; the sensor reads its rise over the horizon.
Forward pendulum(const SensorParameters& sensor, const Pose& pose, double near)
{
    Forward out;
    const float(&S)[8] = sensor.factors;
    const double sign = sensor.mode % 2 == 1 ? -1.0 : 1.0;
    const Vec3 u = unit(pose.position);
    const Vec3 b = transposed(pose.base) * u;
    const double a = S[0] * kModelDegree + kPi / 2.0;
    const double sightX = sine(a);
    const double sightY = cosine(a);
    const double up = S[2] * kModelDegree;
    const double aside = S[3] * kModelDegree;
    const Vec3 p = {sine(aside) * cosine(up), cosine(aside) * cosine(up), sine(up)};
    const double elevation = arcSine(-b[2] / sightX);
    out.azimuthTurn = nearestTurn(arcTangent(b[1], b[0]) - arcTangent(sightY, cosine(elevation) * sightX), near);
    const Mat3 stage = pose.base * turnZ(out.azimuthTurn);
    const double rise = arcSine((stage * p)[2]);
    out.pendulumRise = rise / kDegree;
    out.readings.levelX = -arcSine(stage[6]) / kModelDegree;
    out.readings.levelY = sign * rise / (kModelDegree * S[6]) - S[1];
    out.readings.azimuth = encoderReading(sensor, 0, sign * out.azimuthTurn, S[4]);
    out.readings.elevation = (sensor.encoderOffset[1] - sign * elevation / S[5]) / kModelDegree;
    out.heightTimesLevelY = pose.position[2] * out.readings.levelY;
    const Vec3 axis = stage * Vec3{0, 1, 0}; // of elevation
    out.rollMargin = cross(u, axis)[2];
    return out;
}

} // namespace kor::simulation
