// How much the orientation turns when one of its inputs changes: the sensitivities behind an uncertainty statement.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulation/Sensor.h"

namespace kor::accuracy {

using simulation::Pose;
using simulation::SensorParameters;
using simulation::Vec3;

struct Sensitivity {
    std::string group; ///< reading, position, temperature, parameter
    std::string input;
    std::string unit;
    double value = 0.0;
    Vec3 turn{}; ///< arc-seconds about the tracker's x, y and z per unit
    /// Of the turn, arc-seconds per unit: the difference between two step widths plus the limit of the model's search.
    double uncertainty = 0.0;
};

struct Budget {
    int mode = 0;
    Pose pose;
    double off = 0.0; ///< degrees between the pose and the model's result, at which the sensitivities are taken
    std::vector<Sensitivity> inputs;
};

/// A pose that suits the mount mode: some metres from the tracker, a little tilted, and such that the model is exact.
Pose typicalPose(int mode);

/// Sensitivities of the base's orientation to every input of the engine and every number of the parameter file that the
/// orientation depends on, at a pose.
///
/// Notes  1  Central differences of the whole way from raw reading to matrix, in double precision through the library's
///           models. The step width is halved again and again from a coarse one; that pair of neighbours is taken that
///           agrees best.
///        2  Nothing if the sensor cannot look at the tracker in this pose.
///        3  An encoder or level table counts as shifted as a whole, by a degree of the corrected angle.
///        4  The machine and local matrices turn the result and are left out.
std::optional<Budget> budgetOf(const SensorParameters& sensor, const Pose& pose);

} // namespace kor::accuracy
