#include "accuracy/Budget.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <utility>

#include "accuracy/ClosedLoop.h"

namespace kor::accuracy {

using namespace simulation;

namespace {

using portable::kDegree;

constexpr double kArcSecondsPerRadian = 3600.0 / kDegree;
constexpr double kTemperature = 21.5; // as in the simulated recordings

// Everything that the orientation is computed from. Model parameters are single precision by their interface.
struct State {
    SensorParameters sensor;
    double azimuthRaw = 0.0, elevationRaw = 0.0, levelXRaw = 0.0, levelYRaw = 0.0;
    Vec3 position{};
    double levelTemperature = kTemperature;
    double temperature[2] = {21.9, 27.0}; // first and third
    double tableShift[4] = {0, 0, 0, 0};  // azimuth, elevation, level X, level Y
    double encoderOffset[2] = {0, 0};
    double tiltOffset[2] = {0, 0};
    double thermal[4] = {0, 0, 0, 0};
};

// The engine's way from raw readings to the matrix, in double precision.
Mat3 orientation(const State& s)
{
    const bool ratio = formsRatio(s.sensor.mode);
    const double x = !ratio ? s.levelXRaw : std::fabs(s.levelYRaw) > kRatioThreshold ? s.levelXRaw / s.levelYRaw : 0.0;
    const auto corrected = [&s](const LevelTable& table, double reading, std::size_t which) {
        return (table.angle(reading) + s.tableShift[2 + which] - s.tiltOffset[which]) *
               (s.thermal[2 * which] * s.levelTemperature + s.thermal[2 * which + 1]);
    };
    const double inputs[9] = {s.position[0],
                              s.position[1],
                              s.position[2],
                              corrected(s.sensor.levelXTable, x, 0),
                              corrected(s.sensor.levelYTable, s.levelYRaw, 1),
                              s.sensor.azimuthTable.calibrated(s.azimuthRaw) + s.tableShift[0],
                              s.sensor.elevationTable.calibrated(s.elevationRaw) + s.tableShift[1],
                              s.temperature[0],
                              s.temperature[1]};
    static unsigned long fed = 0; // the two-level model's time goes on whichever object is called
    const std::unique_ptr<CKorModel> model = primedModel(s.sensor);
    Mat3 out{};
    for (int call = 0; call < (ModelOf(s.sensor.mode) == Model::twoLevels ? kRefill : 1); ++call) {
        std::copy_n(inputs, 9, out.begin());
        ++fed;
        model->SetLevelLimits(false, false);
        model->SetCounter(fed, fed);
        model->SetTimeInterval(0.01 * static_cast<double>(fed), 0.01 * static_cast<double>(fed));
        if (!model->CalTranxMatrix(out.data(), s.encoderOffset[0], s.encoderOffset[1], 3)) {
            out.fill(std::numeric_limits<double>::quiet_NaN());
        }
    }
    return out;
}

struct Input {
    const char* group;
    std::string name;
    const char* unit;
    double step;                                 // coarsest, units
    std::function<double(State&, double)> shift; // by so many units; returns by how many in fact
    double value;
    double resolution = 1e-9; // arc-seconds: the matrix does not follow smaller changes
};

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
    const double ratioStep = 0.01 * std::max(1.0, std::fabs(at.levelXRaw));
    const auto add = [&](const char* group, const char* name, const char* unit, double step, auto select) {
        inputs.push_back(realInput(group, name, unit, step, at, select));
    };
    add("reading", "azimuth encoder", "deg", kDegreeStep, [](State& s) -> double& { return s.azimuthRaw; });
    add("reading", "elevation encoder", "deg", kDegreeStep, [](State& s) -> double& { return s.elevationRaw; });
    add("reading", "level X", levelUnit, ratio ? ratioStep : stepOf(at.sensor.levelXTable),
        [](State& s) -> double& { return s.levelXRaw; });
    add("reading", "level Y", levelUnit, stepOf(at.sensor.levelYTable),
        [](State& s) -> double& { return s.levelYRaw; });
    add("position", "x", "mm", 2.0, [](State& s) -> double& { return s.position[0]; });
    add("position", "y", "mm", 2.0, [](State& s) -> double& { return s.position[1]; });
    add("position", "z", "mm", 2.0, [](State& s) -> double& { return s.position[2]; });
    add("temperature", "levelTemperature", "1", 10.0, [](State& s) -> double& { return s.levelTemperature; });
    add("temperature", "temperature 0", "1", 10.0, [](State& s) -> double& { return s.temperature[0]; });
    add("temperature", "temperature 2", "1", 10.0, [](State& s) -> double& { return s.temperature[1]; });
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

std::vector<Input> inputsOf(State& at)
{
    std::vector<Input> inputs;
    addReadings(inputs, at);
    addCorrections(inputs, at);
    addModelParameters(inputs, at);
    if (ModelOf(at.sensor.mode) == Model::pendulum) {
        widenStepsOfSearch(inputs, at);
    }
    return inputs;
}

double largest(const Vec3& v)
{
    return std::max({std::fabs(v[0]), std::fabs(v[1]), std::fabs(v[2])});
}

Sensitivity differentiated(const State& at, const Mat3& reference, const Input& input)
{
    constexpr int kSteps = 10;
    Sensitivity result{input.group, input.name, input.unit, input.value, {}, std::numeric_limits<double>::infinity()};
    Vec3 previous{};
    double step = input.step;
    for (int i = 0; i < kSteps; ++i, step *= 0.5) {
        State up = at;
        State down = at;
        const double width = input.shift(up, step) - input.shift(down, -step);
        const Vec3 high = turnBetween(orientation(up), reference);
        const Vec3 low = turnBetween(orientation(down), reference);
        Vec3 slope{};
        for (std::size_t k = 0; k < 3; ++k) {
            slope[k] = (high[k] - low[k]) / width * kArcSecondsPerRadian;
        }
        if (i > 0) {
            const double difference = input.resolution / step +
                                      largest({slope[0] - previous[0], slope[1] - previous[1], slope[2] - previous[2]});
            if (difference < result.uncertainty) {
                result.uncertainty = difference;
                result.turn = slope;
            }
        }
        previous = slope;
    }
    return result;
}

} // namespace

Pose typicalPose(int mode)
{
    Pose pose;
    pose.position = {3000.0, 2000.0, 900.0};
    const double bearing = 33.690067525979787;
    const bool alongY = ModelOf(mode) != Model::dualLevel && ModelOf(mode) != Model::pendulum;
    const double sight = alongY ? 90.0 : 0.0;
    const Mat3 tilt = turnY(-3.0 * kDegree) * turnX(4.0 * kDegree);
    pose.base = mode == 9 ? turnZ((bearing + 5.0 + sight) * kDegree) * tilt * kUpsideDown
                          : turnZ((bearing - 5.0 - sight) * kDegree) * tilt;
    return pose;
}

std::optional<Budget> budgetOf(const SensorParameters& sensor, const Pose& pose)
{
    const Forward forward = forwardReadings(sensor, pose, 0.0);
    const Readings& r = forward.readings;
    if (!std::isfinite(r.levelY) || !std::isfinite(r.azimuth) || !std::isfinite(r.elevation)) {
        return std::nullopt;
    }
    State at;
    at.sensor = sensor;
    at.position = pose.position;
    for (std::size_t i = 0; i < 4; ++i) {
        at.thermal[i] = sensor.thermal[i];
    }
    for (std::size_t i = 0; i < 2; ++i) {
        at.encoderOffset[i] = sensor.encoderOffset[i];
        at.tiltOffset[i] = sensor.tiltOffset[i];
    }
    at.azimuthRaw = sensor.azimuthTable.reading(r.azimuth);
    at.elevationRaw = sensor.elevationTable.reading(r.elevation);
    const auto raw = [&at](const LevelTable& table, double angle, std::size_t which) {
        const double gain = at.thermal[2 * which] * at.levelTemperature + at.thermal[2 * which + 1];
        return table.reading(angle / gain + at.tiltOffset[which]);
    };
    at.levelYRaw = raw(sensor.levelYTable, r.levelY, 1);
    at.levelXRaw = std::isfinite(r.levelX) ? raw(sensor.levelXTable, r.levelX, 0) : 0.1 * at.levelYRaw;

    Budget budget;
    budget.mode = sensor.mode;
    budget.pose = pose;
    const Mat3 reference = orientation(at);
    budget.off = angleBetween(reference, pose.base);
    for (const Input& input : inputsOf(at)) {
        budget.inputs.push_back(differentiated(at, reference, input));
    }
    return budget;
}

} // namespace kor::accuracy
