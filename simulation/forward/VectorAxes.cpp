#include "simulation/forward/VectorAxes.h"

#include <cmath>

namespace kor::simulation {

using namespace portable;

VectorAxes vectorAxes(const SensorParameters& sensor, const Pose& pose, double near)
{
    const Vec3 b = transposed(pose.base) * unit(pose.position);
    const float(&Q)[6] = sensor.qvc;
    const double skew = Q[5] * kModelDegree;
    const Vec3 a = {cosine(skew), 0.0, sine(skew)};
    const Vec3 rest = unit({tangent(Q[3] * kModelDegree), 1.0, tangent(Q[4] * kModelDegree)});

    // Height of the turned line of sight: along + level cos(f) + rising sin(f), solved for f.
    const double along = a[2] * dot(a, rest);
    const double levelPart = rest[2] - along;
    const Vec3 across = cross(a, rest);
    const double size = std::sqrt(levelPart * levelPart + across[2] * across[2]);
    VectorAxes axes{};
    axes.elevation = nearestTurn(arcSine((b[2] - along) / size) - arcTangent(levelPart, across[2]), 0.0);

    // The line of sight turned by the elevation, and the azimuth that brings it to the target.
    const double c = cosine(axes.elevation);
    const double s = sine(axes.elevation);
    for (std::size_t i = 0; i < 3; ++i) {
        axes.sight[i] = rest[i] * c + across[i] * s + a[i] * dot(a, rest) * (1.0 - c);
    }
    axes.azimuthTurn = nearestTurn(arcTangent(b[1], b[0]) - arcTangent(axes.sight[1], axes.sight[0]), near);
    axes.stage = pose.base * turnZ(axes.azimuthTurn);
    return axes;
}

Vec3 levelAxis(const float (&parameters)[7])
{
    return unit({1.0, tangent(parameters[3] * kModelDegree), tangent(parameters[4] * kModelDegree)});
}

double levelReading(const Vec3& axis, const Mat3& stage, const Vec3& vertical, const float (&parameters)[7])
{
    const double angle = arcSine(dot(axis, transposed(stage) * vertical));
    return angle / kModelDegree / parameters[6] - parameters[5];
}

} // namespace kor::simulation
