#include "simulation/Sensor.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>
#include <vector>

#include "KORInterface/Session.h"
#include "KORInterface/Status.h"

#include "simulation/forward/Equations.h"

namespace kor::simulation {

namespace {

bool fetch(CKorPrm& prm, int (CKorPrm::*get)(unsigned int&, float*) const, EncoderTable& table)
{
    unsigned int count = 0;
    (prm.*get)(count, nullptr);
    table.rows.resize(2 * std::size_t{count});
    return count == 0 || (prm.*get)(count, table.rows.data()) == 0;
}

bool fetch(CKorPrm& prm, int (CKorPrm::*get)(unsigned int&, float*, double*) const, LevelTable& table)
{
    unsigned int count = 0;
    (prm.*get)(count, nullptr, nullptr);
    if (count == 0) {
        return true;
    }
    table.knots.resize(std::size_t{count} + 3);
    table.coefficients.resize(4 * std::size_t{count});
    const bool fetched = (prm.*get)(count, table.knots.data(), table.coefficients.data()) == 0;
    table.limits.assign(table.knots.end() - 3, table.knots.end());
    table.knots.resize(count);
    return fetched;
}

// The first divisor of a reading that is 0 or not finite, in words; empty if all are usable.
std::string unusableGain(const SensorParameters& sensor)
{
    const auto usable = [](float value) { return value != 0.0f && std::isfinite(value); };
    const Model model = ModelOf(sensor.mode);
    if (model == Model::pendulum || model == Model::polarizer) {
        for (const int i : {4, 5, 6}) {
            if (!usable(sensor.factors[i])) {
                return "scale factor " + std::to_string(i + 1) + " is a gain and must not be 0";
            }
        }
    }
    if ((model == Model::threeVectors || model == Model::twoLevels) && !usable(sensor.level1[6])) {
        return "the last number of Level_X is a gain and must not be 0";
    }
    if (model == Model::twoLevels && !usable(sensor.level2[6])) {
        return "the last number of Level_Y is a gain and must not be 0";
    }
    if (sensor.thermal[0] == 0.0f && sensor.thermal[1] == 0.0f) {
        return "the thermal factor of level X is always 0";
    }
    if (sensor.thermal[2] == 0.0f && sensor.thermal[3] == 0.0f) {
        return "the thermal factor of level Y is always 0";
    }
    return {};
}

// The first table that has no inverse, in words; empty if all have one.
std::string unusableTable(const SensorParameters& sensor)
{
    for (const LevelTable* table : {&sensor.levelXTable, &sensor.levelYTable}) {
        for (std::size_t i = 0; i + 1 < table->knots.size(); ++i) {
            if ((table->knots[i + 1] > table->knots[i]) != (table->knots.back() > table->knots.front())) {
                return "the readings of a level's table do not run in one direction";
            }
        }
    }
    for (const EncoderTable* table : {&sensor.azimuthTable, &sensor.elevationTable}) {
        for (std::size_t i = 0; i + 3 < table->rows.size(); i += 2) {
            if (!(table->rows[i + 2] > table->rows[i])) {
                return "the readings of an encoder's table do not ascend";
            }
        }
    }
    return {};
}

} // namespace

float thermalGain(const SensorParameters& sensor, int which, float temperature)
{
    const float product = sensor.thermal[2 * which] * temperature;
    return product + sensor.thermal[2 * which + 1];
}

Forward forwardReadings(const SensorParameters& sensor, const Pose& pose, double azimuthNear)
{
    switch (ModelOf(sensor.mode)) {
    case Model::dualLevel:
        return dualLevel(sensor, pose, azimuthNear);
    case Model::polarizer:
        return polarizer(sensor, pose, azimuthNear);
    case Model::pendulum:
        return pendulum(sensor, pose, azimuthNear);
    case Model::threeVectors:
        return threeVectors(sensor, pose, azimuthNear);
    default:
        return twoLevels(sensor, pose, azimuthNear);
    }
}

std::optional<SensorParameters> parametersOf(CKorPrm& prm, int mode)
{
    SensorParameters sensor;
    sensor.mode = mode;
    unsigned int count = 0;
    F_VECTOR2 pair{};
    F_VECTOR4 four{};
    bool sound = prm.getEncoderOffset(pair) == 0;
    sensor.encoderOffset[0] = pair.x;
    sensor.encoderOffset[1] = pair.y;
    sound = sound && prm.getTiltOffset(pair) == 0;
    sensor.tiltOffset[0] = pair.x;
    sensor.tiltOffset[1] = pair.y;
    sound = sound && prm.getThermalFactor(four) == 0;
    const float thermal[4] = {four.x, four.y, four.z, four.w};
    std::copy_n(thermal, 4, sensor.thermal);
    sound = sound && prm.getScaleFactors(sensor.factors, count) == 0 && prm.getQVCParameters(sensor.qvc, count) == 0 &&
            prm.getLevel1Parameters(sensor.level1, count) == 0 && prm.getLevel2Parameters(sensor.level2, count) == 0 &&
            prm.getMachineMatrix(sensor.machine, 3) == 0 && prm.getLocalMatrix(sensor.local, 3) == 0 &&
            fetch(prm, &CKorPrm::getAzimuthComp, sensor.azimuthTable) &&
            fetch(prm, &CKorPrm::getElevationComp, sensor.elevationTable) &&
            fetch(prm, &CKorPrm::getLevelXComp, sensor.levelXTable) &&
            fetch(prm, &CKorPrm::getLevelYComp, sensor.levelYTable);
    return sound ? std::optional(std::move(sensor)) : std::nullopt;
}

std::string SensorParameters::unusable() const
{
    for (const std::string& what : {unusableGain(*this), unusableTable(*this)}) {
        if (!what.empty()) {
            return what;
        }
    }
    return {};
}

void SensorParameters::configure(CKor& engine) const
{
    // A set operation with sound arguments fails for want of memory alone.
    const auto need = [](bool done) {
        if (!done) {
            throw std::bad_alloc();
        }
    };
    const auto setLevel = [&engine, need](const LevelTable& table, int (CKor::*set)(int, const float*, const double*)) {
        if (table.knots.empty()) {
            return;
        }
        std::vector<float> knots = table.knots;
        knots.insert(knots.end(), table.limits.begin(), table.limits.end());
        knots.resize(table.knots.size() + 3);
        need((engine.*set)(static_cast<int>(table.knots.size()), knots.data(), table.coefficients.data()) == kSuccess);
    };
    if (!azimuthTable.rows.empty()) {
        const auto rows = static_cast<int>(azimuthTable.rows.size() / 2);
        need(engine.setAzimuthComp(rows, azimuthTable.rows.data()) == kSuccess);
    }
    if (!elevationTable.rows.empty()) {
        const auto rows = static_cast<int>(elevationTable.rows.size() / 2);
        need(engine.setElevationComp(rows, elevationTable.rows.data()) == kSuccess);
    }
    setLevel(levelXTable, &CKor::setLevelXComp);
    setLevel(levelYTable, &CKor::setLevelYComp);
    engine.setEncoderOffset({encoderOffset[0], encoderOffset[1]});
    engine.setTiltOffset({tiltOffset[0], tiltOffset[1]});
    engine.setThermalFactor({thermal[0], thermal[1], thermal[2], thermal[3]});
    engine.setLocalMatrix(local, 3);
    double matrix[9];
    std::copy_n(machine, 9, matrix);
    engine.setMachineMatrix(matrix, 3);
    engine.setScaleFactors(factors, 8);
    engine.setQVCParameters(qvc, 6);
    engine.setLevel1Parameters(level1, 7);
    engine.setLevel2Parameters(level2, 7);
    engine.setMountMode(mode);
    need(LastSample(engine).model != OrientationModel::none);
}

} // namespace kor::simulation
