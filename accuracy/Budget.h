// How much the orientation turns when one of its inputs changes: the sensitivities behind an uncertainty statement.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "accuracy/Inputs.h"

namespace kor::accuracy {

struct Sensitivity {
    std::string group; ///< reading, position, temperature, parameter
    std::string input;
    std::string unit;
    double value = 0.0;
    std::optional<double> arcSeconds{}; ///< what a unit of an angle, or of a level's table at the reading, is worth
    Vec3 turn{};                        ///< arc-seconds about the tracker's x, y and z per unit
    /// Of the turn, arc-seconds per unit: the difference between two step widths plus the limit of the model's search.
    double uncertainty = 0.0;
};

struct Budget {
    int mode = 0;
    Pose pose;
    double off = 0.0; ///< degrees between the pose and the model's result, at which the sensitivities are taken
    std::vector<Sensitivity> inputs;
};

/// Sensitivities of the base's orientation to every input of the engine and every number of the parameter file that the
/// orientation depends on, at a pose.
///
/// Notes  1  Central differences of the whole way from raw reading to matrix, in double precision through the library's
///           models. The step width is halved again and again from a coarse one; that pair of neighbours is taken that
///           agrees best.
///        2  Nothing if the sensor cannot look at the tracker in this pose.
///        3  A sensitivity is that to a value which is off in the same way in all samples.
std::optional<Budget> budgetOf(const SensorParameters& sensor, const Pose& pose);

/// The sensitivity to one input, at a state where the matrix is the reference.
Sensitivity sensitivityTo(const Input& input, const State& at, const Mat3& reference);

} // namespace kor::accuracy
