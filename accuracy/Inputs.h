// What the orientation is computed from, input by input, and the whole way from there to the matrix.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "simulation/Sensor.h"

namespace kor::accuracy {

using simulation::Mat3;
using simulation::Pose;
using simulation::SensorParameters;
using simulation::Vec3;

/// What one sample brings: double precision, where a record has single precision.
struct SampleInputs {
    double azimuthRaw = 0.0, elevationRaw = 0.0, levelXRaw = 0.0, levelYRaw = 0.0;
    Vec3 position{};
    double levelTemperature = 0.0;
    double temperature[2] = {0, 0}; ///< first and third
};

/// Everything that the orientation is computed from. Model parameters are single precision by their interface.
struct State {
    SensorParameters sensor;
    SampleInputs sample;
    double tableShift[4] = {0, 0, 0, 0}; ///< azimuth, elevation, level X, level Y
    double encoderOffset[2] = {0, 0};
    double tiltOffset[2] = {0, 0};
    double thermal[4] = {0, 0, 0, 0};
};

/// The resolution of an input that the matrix follows as far as its digits go, arc-seconds.
constexpr double kFollowed = 1e-9;

/// A number that an uncertainty can be stated for.
struct Input {
    const char* group; ///< reading, position, temperature, parameter
    std::string name;
    const char* unit;
    double step;                                 ///< coarsest of a differentiation, units
    std::function<double(State&, double)> shift; ///< by so many units; returns by how many in fact
    double value;
    double resolution = kFollowed;      ///< arc-seconds: the matrix does not follow smaller changes
    std::optional<double> arcSeconds{}; ///< what a unit of an angle, or of a level's table, is worth

    /// Parameters are the same in all samples; all others can vary from one sample to the next.
    bool isParameter() const { return std::string(group) == "parameter"; }
};

/// What a perfect sensor delivers in a pose. Nothing if the sensor cannot look at the tracker.
std::optional<State> stateOf(const SensorParameters& sensor, const Pose& pose);

/// All inputs of a sensor's mount mode, at a state.
/// Notes  1  An encoder or level table counts as shifted as a whole, by a degree of the corrected angle.
///        2  The machine and local matrices turn the result and are left out.
std::vector<Input> inputsOf(State& at);

/// The engine's way from raw readings to the matrix, in double precision through the library's models, with as many
/// samples as their filters need. Not finite where the model forms no matrix.
/// Given     beforeEachSample   may change what the next sample brings; parameters stay as they are
/// Notes  1  The two-level models' values belong to the process; each time they begin anew.
Mat3 orientationOf(const State& state, const std::function<void()>& beforeEachSample);
Mat3 orientationOf(const State& state);

/// A pose that suits the mount mode: some metres from the tracker, a little tilted, and such that the model is exact.
Pose typicalPose(int mode);

constexpr double kArcSecondsPerRadian = 3600.0 / simulation::portable::kDegree;

} // namespace kor::accuracy
