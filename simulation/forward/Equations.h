// The forward equations, one function for each orientation model: which angles does a sensor read in a pose?
//
// Each is the inverse of its model. The axes are not free: they turn so that the sensor looks at the tracker, and the
// levels read the tilt of the stage that azimuth turns.
#pragma once

#include <cmath>

#include "simulation/Sensor.h"

namespace kor::simulation {

/// What stands in for a degree in the orientation models, and gravity in mm/s2: both are theirs to say.
constexpr double kModelDegree = 0.01745329251994;
constexpr double kGravity = 9800.0;

Forward dualLevel(const SensorParameters& sensor, const Pose& pose, double near);
Forward pendulum(const SensorParameters& sensor, const Pose& pose, double near);
Forward polarizer(const SensorParameters& sensor, const Pose& pose, double near);
Forward threeVectors(const SensorParameters& sensor, const Pose& pose, double near);
Forward twoLevels(const SensorParameters& sensor, const Pose& pose, double near);

/// The angle plus the whole turns that bring it nearest to another one, radians.
inline double nearestTurn(double angle, double near)
{
    return angle + 2.0 * portable::kPi * std::floor((near - angle) / (2.0 * portable::kPi) + 0.5);
}

/// The reading, degrees, of an encoder that has turned by an angle, radians. which: 0 azimuth, 1 elevation.
inline double encoderReading(const SensorParameters& sensor, int which, double angle, double gain)
{
    return (angle / gain + sensor.encoderOffset[which]) / kModelDegree;
}

} // namespace kor::simulation
