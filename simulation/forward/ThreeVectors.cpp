#include "simulation/forward/VectorAxes.h"

namespace kor::simulation {

using namespace portable;

// One level on the azimuth stage; the parity says which way the vertical that it reads against points.
Forward threeVectors(const SensorParameters& sensor, const Pose& pose, double near)
{
    Forward out;
    const VectorAxes axes = vectorAxes(sensor, pose, near);
    out.azimuthTurn = axes.azimuthTurn;
    out.readings.azimuth = encoderReading(sensor, 0, axes.azimuthTurn, 1.0);
    out.readings.elevation = encoderReading(sensor, 1, axes.elevation, 1.0);

    const bool odd = sensor.mode % 2 == 1;
    const Vec3 vertical = {0.0, 0.0, odd ? 1.0 : -1.0};
    const Vec3 axis = levelAxis(sensor.level1);
    out.readings.levelX = arcSine(axes.stage[7]) / kModelDegree; // this model does not look at level X
    out.readings.levelY = levelReading(axis, axes.stage, vertical, sensor.level1);
    out.sightAlongLevel = dot(axes.sight, axis);

    // Of the two directions that make both angles the model takes the one on the signed vertical's side.
    const Vec3 normal = cross(axes.sight, axis);
    out.rollMargin = (odd ? 1.0 : -1.0) * normal[2] * dot(transposed(axes.stage) * vertical, normal);
    return out;
}

} // namespace kor::simulation
