// What the models of modes 7 and above share: skew axes and levels in the azimuth stage.
#pragma once

#include "simulation/forward/Equations.h"

namespace kor::simulation {

/// The axes of a sensor that looks at the tracker, as the QVC parameters place them in the azimuth stage.
struct VectorAxes {
    double azimuthTurn; ///< radians
    double elevation;   ///< radians
    Vec3 sight;         ///< line of sight, azimuth stage
    Mat3 stage;         ///< azimuth stage to tracker frame
};

VectorAxes vectorAxes(const SensorParameters& sensor, const Pose& pose, double near);

/// Sensitive axis of a level, azimuth stage, from its group of parameters.
Vec3 levelAxis(const float (&parameters)[7]);

/// Reading, degrees, of the level along an axis for a vertical in the tracker frame. The vertical is longer or shorter
/// than 1 if the level feels an acceleration.
double levelReading(const Vec3& axis, const Mat3& stage, const Vec3& vertical, const float (&parameters)[7]);

} // namespace kor::simulation
