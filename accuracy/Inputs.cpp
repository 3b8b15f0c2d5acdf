#include "accuracy/Inputs.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <utility>

#include "KORInterface/Session.h"

#include "accuracy/ClosedLoop.h"
#include "accuracy/Statistics.h"

namespace kor::accuracy {

using namespace simulation;

namespace {

using portable::kDegree;

// As in the simulated recordings.
constexpr double kLevelTemperature = 21.5;
constexpr double kTemperatures[2] = {21.9, 27.0};

// Samples after which the two-level model has nothing left of its start: its levels count from the 16th on, and its
// filters look back 13 from there.
constexpr int kSettled = 40;

double correctedLevel(const State& s, std::size_t which)
{
    const LevelTable& table = which == 0 ? s.sensor.levelXTable : s.sensor.levelYTable;
    double reading = which == 0 ? s.sample.levelXRaw : s.sample.levelYRaw;
    if (which == 0 && formsRatio(s.sensor.mode)) {
        reading = std::fabs(s.sample.levelYRaw) > kRatioThreshold ? reading / s.sample.levelYRaw : 0.0;
    }
    return (table.angle(reading) + s.tableShift[2 + which] - s.tiltOffset[which]) *
           (s.thermal[2 * which] * s.sample.levelTemperature + s.thermal[2 * which + 1]);
}

template <typename Select>
Input realInput(const char* group, std::string name, const char* unit, double step, State& at, Select select,
                double stored = 1.0)
{
    return {group,
            std::move(name),
            unit,
            step,
            [select, stored](State& s, double by) {
                select(s) += by * stored;
                return by;
            },
            static_cast<double>(select(at)) / stored};
}

template <typename Select>
Input floatInput(std::string name, const char* unit, double step, State& at, Select select)
{
    return {"parameter",
            std::move(name),
            unit,
            step,
            [select](State& s, double by) {
                float& value = select(s);
                const double before = value;
                value = static_cast<float>(before + by);
                return value - before;
            },
            static_cast<double>(select(at))};
}

constexpr double kDegreeStep = 0.05;

void addReadings(std::vector<Input>& inputs, State& at)
{
    const bool ratio = formsRatio(at.sensor.mode);
    const char* const levelUnit = ratio ? "count" : "table unit";
    const auto stepOf = [](const LevelTable& table) {
        return 0.01 * std::fabs(table.reading(1.0) - table.reading(0.0));
    };
    const double ratioStep = 0.01 * std::max(1.0, std::fabs(at.sample.levelXRaw));
    const auto add = [&](const char* group, const char* name, const char* unit, double step, auto select) {
        inputs.push_back(realInput(group, name, unit, step, at, select));
    };
    add("reading", "azimuth encoder", "deg", kDegreeStep, [](State& s) -> double& { return s.sample.azimuthRaw; });
    add("reading", "elevation encoder", "deg", kDegreeStep, [](State& s) -> double& { return s.sample.elevationRaw; });
    add("reading", "level X", levelUnit, ratio ? ratioStep : stepOf(at.sensor.levelXTable),
        [](State& s) -> double& { return s.sample.levelXRaw; });
    add("reading", "level Y", levelUnit, stepOf(at.sensor.levelYTable),
        [](State& s) -> double& { return s.sample.levelYRaw; });
    add("position", "x", "mm", 2.0, [](State& s) -> double& { return s.sample.position[0]; });
    add("position", "y", "mm", 2.0, [](State& s) -> double& { return s.sample.position[1]; });
    add("position", "z", "mm", 2.0, [](State& s) -> double& { return s.sample.position[2]; });
    add("temperature", "levelTemperature", "deg C", 10.0,
        [](State& s) -> double& { return s.sample.levelTemperature; });
    add("temperature", "temperature 0", "deg C", 10.0, [](State& s) -> double& { return s.sample.temperature[0]; });
    add("temperature", "temperature 2", "deg C", 10.0, [](State& s) -> double& { return s.sample.temperature[1]; });
}

// Parameters of the engine, which every mount mode uses.
void addCorrections(std::vector<Input>& inputs, State& at)
{
    const auto add = [&](std::string name, const char* unit, double step, auto select, double stored = 1.0) {
        inputs.push_back(realInput("parameter", std::move(name), unit, step, at, select, stored));
    };
    const char* const tables[4] = {"AZ Calibration Table", "EL Calibration Table", "Tilt X Calibration Table",
                                   "Tilt Y Calibration Table"};
    for (std::size_t i = 0; i < 4; ++i) {
        add(tables[i], "deg", kDegreeStep, [i](State& s) -> double& { return s.tableShift[i]; });
    }
    const char* const offsets[2] = {"Angle Offset 1", "Angle Offset 2"};
    const char* const tilts[2] = {"Tilt Sensor Offset 1", "Tilt Sensor Offset 2"};
    for (std::size_t i = 0; i < 2; ++i) {
        const auto encoderOffset = [i](State& s) -> double& { return s.encoderOffset[i]; };
        add(offsets[i], "deg", kDegreeStep, encoderOffset, kDegree);
        add(tilts[i], "deg", kDegreeStep, [i](State& s) -> double& { return s.tiltOffset[i]; });
    }
    for (std::size_t i = 0; i < 4; ++i) {
        add("Thermal Compensation Factor " + std::to_string(i + 1), "1", i % 2 == 0 ? 1e-4 : 1e-2,
            [i](State& s) -> double& { return s.thermal[i]; });
    }
}

// The numbers of the parameter groups that the mount mode's model uses; angles and gains have steps of their own.
void addModelParameters(std::vector<Input>& inputs, State& at)
{
    const auto add = [&](const char* title, std::vector<int> used, auto select, auto unitOf) {
        for (const int i : used) {
            const char* const unit = unitOf(i);
            const double step = std::string(unit) == "1" ? 1e-2 : std::string(unit) == "mm" ? 2.0 : kDegreeStep;
            inputs.push_back(floatInput(std::string(title) + " " + std::to_string(i + 1), unit, step, at,
                                        [select, i](State& s) -> float& { return select(s)[i]; }));
        }
    };
    const auto factors = [](State& s) -> float* { return s.sensor.factors; };
    const auto factorUnit = [](int i) { return i >= 4 && i <= 6 ? "1" : "deg"; };
    const auto qvc = [](State& s) -> float* { return s.sensor.qvc; };
    const auto qvcUnit = [](int i) { return i < 3 ? "mm" : "deg"; };
    const auto level1 = [](State& s) -> float* { return s.sensor.level1; };
    const auto level2 = [](State& s) -> float* { return s.sensor.level2; };
    const auto levelUnits = [](int i) { return i == 6 ? "1" : "deg"; };
    switch (ModelOf(at.sensor.mode)) {
    case Model::dualLevel:
        add("Scale Factor", {0, 1}, factors, factorUnit);
        break;
    case Model::pendulum:
        add("Scale Factor", {0, 1, 2, 3, 4, 5, 6}, factors, factorUnit);
        break;
    case Model::polarizer:
        add("Scale Factor", {0, 1, 4, 5, 6}, factors, factorUnit);
        break;
    case Model::threeVectors:
        add("QVC", {0, 1, 2, 3, 4, 5}, qvc, qvcUnit);
        add("Level_X", {3, 4, 5, 6}, level1, levelUnits);
        break;
    case Model::twoLevels:
        add("QVC", {0, 1, 2, 3, 4, 5}, qvc, qvcUnit);
        add("Level_X", {3, 4, 5, 6}, level1, levelUnits);
        add("Level_Y", {3, 4, 5, 6}, level2, levelUnits);
        break;
    case Model::none:
        break;
    }
}

// The pendulum's search stops within 0.001 degrees; only a pendulum along the axis is hit at once.
void widenStepsOfSearch(std::vector<Input>& inputs, const State& at)
{
    const bool oblique = at.sensor.factors[2] != 0.0f || at.sensor.factors[3] != 0.0f;
    for (Input& input : inputs) {
        const bool direction = input.name == "Scale Factor 3" || input.name == "Scale Factor 4";
        if (oblique || direction) {
            input.resolution = 3.6;
            input.step *= direction ? 40.0 : 1.0;
        }
    }
}

// How far a level's angle goes with a unit of its reading, at the reading.
double arcSecondsOfReading(const State& at, std::size_t which, const Input& input)
{
    State up = at;
    State down = at;
    const double width = input.shift(up, 0.01 * input.step) - input.shift(down, -0.01 * input.step);
    return std::fabs((correctedLevel(up, which) - correctedLevel(down, which)) / width) * kArcSecondsOfDegree;
}

void addArcSeconds(std::vector<Input>& inputs, const State& at)
{
    for (Input& input : inputs) {
        if (input.name == "level X" || input.name == "level Y") {
            input.arcSeconds = arcSecondsOfReading(at, input.name == "level X" ? 0 : 1, input);
        } else if (std::string(input.unit) == "deg") {
            input.arcSeconds = kArcSecondsOfDegree;
        }
    }
}

} // namespace

std::vector<Input> inputsOf(State& at)
{
    std::vector<Input> inputs;
    addReadings(inputs, at);
    addCorrections(inputs, at);
    addModelParameters(inputs, at);
    addArcSeconds(inputs, at);
    if (ModelOf(at.sensor.mode) == Model::pendulum) {
        widenStepsOfSearch(inputs, at);
    }
    return inputs;
}

std::optional<State> stateOf(const SensorParameters& sensor, const Pose& pose)
{
    const Readings r = forwardReadings(sensor, pose, 0.0).readings;
    if (!std::isfinite(r.levelY) || !std::isfinite(r.azimuth) || !std::isfinite(r.elevation)) {
        return std::nullopt;
    }
    State at;
    at.sensor = sensor;
    std::copy_n(sensor.thermal, 4, at.thermal);
    std::copy_n(sensor.encoderOffset, 2, at.encoderOffset);
    std::copy_n(sensor.tiltOffset, 2, at.tiltOffset);
    SampleInputs& sample = at.sample;
    sample.position = pose.position;
    sample.levelTemperature = kLevelTemperature;
    std::copy_n(kTemperatures, 2, sample.temperature);
    sample.azimuthRaw = sensor.azimuthTable.reading(r.azimuth);
    sample.elevationRaw = sensor.elevationTable.reading(r.elevation);
    const auto raw = [&at](const LevelTable& table, double angle, std::size_t which) {
        const double gain = at.thermal[2 * which] * at.sample.levelTemperature + at.thermal[2 * which + 1];
        return table.reading(angle / gain + at.tiltOffset[which]);
    };
    sample.levelYRaw = raw(sensor.levelYTable, r.levelY, 1);
    sample.levelXRaw = std::isfinite(r.levelX) ? raw(sensor.levelXTable, r.levelX, 0) : 0.1 * sample.levelYRaw;
    return at;
}

Mat3 orientationOf(const State& state, const std::function<void()>& beforeEachSample)
{
    const bool twoLevels = ModelOf(state.sensor.mode) == Model::twoLevels;
    if (twoLevels) {
        FreshProcessValues();
    }
    const std::unique_ptr<CKorModel> model = primedModel(state.sensor);
    const SampleInputs& sample = state.sample;
    Mat3 out{};
    for (unsigned long fed = 1; fed <= (twoLevels ? kSettled : 1); ++fed) {
        beforeEachSample();
        out = {sample.position[0],
               sample.position[1],
               sample.position[2],
               correctedLevel(state, 0),
               correctedLevel(state, 1),
               state.sensor.azimuthTable.calibrated(sample.azimuthRaw) + state.tableShift[0],
               state.sensor.elevationTable.calibrated(sample.elevationRaw) + state.tableShift[1],
               sample.temperature[0],
               sample.temperature[1]};
        model->SetLevelLimits(false, false);
        model->SetCounter(fed, fed);
        model->SetTimeInterval(0.01 * static_cast<double>(fed), 0.01 * static_cast<double>(fed));
        if (!model->CalTranxMatrix(out.data(), state.encoderOffset[0], state.encoderOffset[1], 3)) {
            out.fill(std::numeric_limits<double>::quiet_NaN());
        }
    }
    return out;
}

Mat3 orientationOf(const State& state)
{
    return orientationOf(state, [] {});
}

Pose typicalPose(int mode)
{
    Pose pose;
    pose.position = {3000.0, 2000.0, 900.0};
    const double bearing = 33.690067525979787;
    const bool alongY = ModelOf(mode) != Model::dualLevel && ModelOf(mode) != Model::pendulum;
    const double sight = alongY ? 90.0 : 0.0;
    const Mat3 tilt = turnY(-3.0 * kDegree) * turnX(4.0 * kDegree);
    // In mode 9 a heading that keeps the stage clear of the half turn.
    pose.base = mode == 9 ? turnZ((bearing + 30.0 + sight) * kDegree) * tilt * kUpsideDown
                          : turnZ((bearing - 5.0 - sight) * kDegree) * tilt;
    return pose;
}

} // namespace kor::accuracy
