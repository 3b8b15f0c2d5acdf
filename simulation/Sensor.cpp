#include "simulation/Sensor.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "tools/kor/Exit.h"

namespace kor::tool {

using namespace portable;

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// The orientation models' own factor from degrees to radians: what is a degree is theirs to say.
constexpr double kModelDegree = 0.01745329251994;
constexpr double kGravity = 9800.0; // mm/s2, the models' own

double nearestTurn(double angle, double near)
{
    return angle + 2.0 * kPi * std::floor((near - angle) / (2.0 * kPi) + 0.5);
}

double level(const Vec3& axis, const Mat3& stage, const Vec3& vertical)
{
    return arcSine(dot(axis, transposed(stage) * vertical));
}

Vec3 levelAxis(const float (&parameters)[7])
{
    return unit({1.0, tangent(parameters[3] * kModelDegree), tangent(parameters[4] * kModelDegree)});
}

double levelReading(double angle, const float (&parameters)[7])
{
    return angle / kModelDegree / parameters[6] - parameters[5];
}

double turned(const SensorParameters& sensor, double angle, double gain)
{
    return (angle / gain + sensor.encoderOffset[0]) / kModelDegree;
}

// Both levels ride on the azimuth stage, one axis towards the line of sight, one along the elevation axis.
Forward dualLevel(const SensorParameters& sensor, const Pose& pose, double near)
{
    Forward out;
    const Vec3 b = transposed(pose.base) * unit(pose.position);
    out.azimuthTurn = nearestTurn(arcTangent(b[1], b[0]), near);
    const double elevation = -arcSine(b[2]);
    const Mat3 stage = pose.base * turnZ(out.azimuthTurn);
    const double open = sensor.factors[0] * kModelDegree;
    const Vec3 x = stage * Vec3{cosine(open), -sine(open), 0.0};
    out.readings.levelX = -arcSine(x[2]) / kModelDegree;
    out.readings.levelY = arcSine(stage[7]) / kModelDegree;
    out.readings.azimuth = turned(sensor, out.azimuthTurn, 1.0);
    out.readings.elevation = (sensor.encoderOffset[1] - elevation) / kModelDegree;
    out.heightTimesLevelY = pose.position[2] * out.readings.levelY;
    return out;
}

// The pendulum hangs on the azimuth stage; its direction rises over the horizon by what the sensor reads.
Forward pendulum(const SensorParameters& sensor, const Pose& pose, double near)
{
    Forward out;
    const float(&S)[8] = sensor.factors;
    const double sign = sensor.mode % 2 == 1 ? -1.0 : 1.0;
    const Vec3 u = unit(pose.position);
    const Vec3 b = transposed(pose.base) * u;
    const double a = S[0] * kModelDegree + kPi / 2.0;
    const double sightX = sine(a);
    const double sightY = cosine(a);
    const double up = S[2] * kModelDegree;
    const double aside = S[3] * kModelDegree;
    const Vec3 p = {sine(aside) * cosine(up), cosine(aside) * cosine(up), sine(up)};
    const double elevation = arcSine(-b[2] / sightX);
    out.azimuthTurn = nearestTurn(arcTangent(b[1], b[0]) - arcTangent(sightY, cosine(elevation) * sightX), near);
    const Mat3 stage = pose.base * turnZ(out.azimuthTurn);
    const double rise = arcSine((stage * p)[2]);
    out.pendulumRise = rise / kDegree;
    out.readings.levelX = -arcSine(stage[6]) / kModelDegree;
    out.readings.levelY = sign * rise / (kModelDegree * S[6]) - S[1];
    out.readings.azimuth = turned(sensor, sign * out.azimuthTurn, S[4]);
    out.readings.elevation = (sensor.encoderOffset[1] - sign * elevation / S[5]) / kModelDegree;
    out.heightTimesLevelY = pose.position[2] * out.readings.levelY;
    const Vec3 axis = stage * Vec3{0, 1, 0}; // of elevation
    out.rollMargin = cross(u, axis)[2];
    return out;
}

// Roll is measured about the line of sight; the axes hold for any orientation.
Forward polarizer(const SensorParameters& sensor, const Pose& pose, double near)
{
    Forward out;
    const float(&S)[8] = sensor.factors;
    const Vec3& P = pose.position;
    const Vec3 b = transposed(pose.base) * unit(P);
    const double s0 = S[0] * kModelDegree;
    const double elevation = arcSine(b[2] / cosine(s0));
    out.azimuthTurn = nearestTurn(arcTangent(b[1], b[0]) - arcTangent(cosine(elevation) * cosine(s0), sine(s0)), near);
    const Mat3 sight = turnZ(-arcTangent(P[0], P[1])) * turnX(arcSine(P[2] / length(P)));
    const Mat3 rest = transposed(sight) * pose.base * turnZ(out.azimuthTurn) * turnX(elevation) * turnZ(-s0);
    const double roll = arcTangent(rest[2], rest[8]);
    out.readings.levelX = kNan; // the ratio that the engine forms goes nowhere
    out.readings.levelY = roll / (kModelDegree * S[6]) - S[1];
    out.readings.azimuth = turned(sensor, out.azimuthTurn, S[4]);
    out.readings.elevation = (elevation / S[5] + sensor.encoderOffset[1]) / kModelDegree;
    return out;
}

// Line of sight, elevation axis and level axes as the QVC and level parameters place them in the azimuth stage.
Forward vectors(const SensorParameters& sensor, const Pose& pose, double near)
{
    Forward out;
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
    const double elevation = nearestTurn(arcSine((b[2] - along) / size) - arcTangent(levelPart, across[2]), 0.0);
    const double c = cosine(elevation);
    const double s = sine(elevation);
    Vec3 r{};
    for (std::size_t i = 0; i < 3; ++i) {
        r[i] = rest[i] * c + across[i] * s + a[i] * dot(a, rest) * (1.0 - c);
    }
    out.azimuthTurn = nearestTurn(arcTangent(b[1], b[0]) - arcTangent(r[1], r[0]), near);
    const Mat3 stage = pose.base * turnZ(out.azimuthTurn);
    out.readings.azimuth = turned(sensor, out.azimuthTurn, 1.0);
    out.readings.elevation = (elevation + sensor.encoderOffset[1]) / kModelDegree;

    const bool odd = sensor.mode % 2 == 1;
    const Vec3 axis1 = levelAxis(sensor.level1);
    if (modelOf(sensor.mode) == Model::threeVectors) {
        const Vec3 vertical = {0.0, 0.0, odd ? 1.0 : -1.0};
        out.readings.levelX = arcSine(stage[7]) / kModelDegree; // this model does not look at level X
        out.readings.levelY = levelReading(level(axis1, stage, vertical), sensor.level1);
        out.sightAlongLevel = dot(r, axis1);
        // Of the two directions that make both angles the model takes the one on the signed vertical's side.
        const Vec3 normal = cross(r, axis1);
        out.rollMargin = (odd ? 1.0 : -1.0) * normal[2] * dot(transposed(stage) * vertical, normal);
    } else {
        const Vec3 felt = {-pose.acceleration[0] / kGravity, -pose.acceleration[1] / kGravity,
                           -1.0 - pose.acceleration[2] / kGravity};
        const Vec3 axis2 = levelAxis(sensor.level2);
        out.readings.levelX = levelReading(level(axis1, stage, felt), sensor.level1);
        out.readings.levelY = levelReading(level(axis2, stage, felt), sensor.level2);
        const Vec3 down = transposed(stage) * Vec3{0.0, 0.0, -1.0};
        const double side = odd ? 1.0 : -1.0;
        double margin = std::numeric_limits<double>::infinity();
        for (const Vec3& axis : {axis1, axis2}) {
            const Vec3 normal = cross(r, axis);
            margin = std::min(margin, side * normal[2] * dot(down, normal));
        }
        out.rollMargin = margin;
        // The model averages the solutions of both levels by these angles.
        out.toHalfTurn =
            180.0 -
            std::max(std::fabs(arcTangent(-stage[5], stage[8])), std::fabs(arcTangent(-stage[1], stage[0]))) / kDegree;
    }
    return out;
}

} // namespace

Model modelOf(int mountMode)
{
    switch (mountMode) {
    case 1:
    case 2:
        return Model::dualLevel;
    case 5:
    case 6:
        return Model::polarizer;
    case 7:
    case 8:
        return Model::threeVectors;
    case 9:
    case 10:
        return Model::twoLevels;
    default:
        return Model::pendulum;
    }
}

std::string modelName(int mountMode)
{
    switch (modelOf(mountMode)) {
    case Model::dualLevel:
        return "dual level";
    case Model::polarizer:
        return "polarizer";
    case Model::threeVectors:
        return "three vectors";
    case Model::twoLevels:
        return "two levels";
    default:
        return "pendulum";
    }
}

double EncoderTable::calibrated(double reading) const
{
    const std::size_t count = rows.size() / 2;
    if (count == 0) {
        return reading;
    }
    const double first = rows[0];
    const double within = reading - 360.0 * std::floor((reading - first) / 360.0);
    std::size_t i = count - 1;
    while (i > 0 && within < rows[2 * i]) {
        --i;
    }
    const bool last = i + 1 == count;
    const double x0 = rows[2 * i];
    const double x1 = last ? first + 360.0 : rows[2 * i + 2];
    const double c0 = rows[2 * i + 1];
    const double c1 = last ? rows[1] : rows[2 * i + 3];
    return reading + (x1 > x0 ? c0 + (c1 - c0) * (within - x0) / (x1 - x0) : c0);
}

double EncoderTable::reading(double angle) const
{
    const std::size_t count = rows.size() / 2;
    if (count == 0) {
        return angle;
    }
    const double start = static_cast<double>(rows[0]) + rows[1];
    const double turns = 360.0 * std::floor((angle - start) / 360.0);
    const double within = angle - turns;
    std::size_t i = count - 1;
    while (i > 0 && within < static_cast<double>(rows[2 * i]) + rows[2 * i + 1]) {
        --i;
    }
    const bool last = i + 1 == count;
    const double x0 = rows[2 * i];
    const double x1 = last ? rows[0] + 360.0 : rows[2 * i + 2];
    const double y0 = x0 + rows[2 * i + 1];
    const double y1 = x1 + (last ? rows[1] : rows[2 * i + 3]);
    return y1 > y0 ? x0 + (x1 - x0) * (within - y0) / (y1 - y0) + turns : x0 + turns;
}

double LevelTable::value(std::size_t interval, double t) const
{
    const double* const c = &coefficients[4 * interval];
    return c[0] + t * (c[1] + t * (c[2] + t * c[3]));
}

double LevelTable::slope(std::size_t interval, double t) const
{
    const double* const c = &coefficients[4 * interval];
    return c[1] + t * (2.0 * c[2] + t * 3.0 * c[3]);
}

double LevelTable::angle(double reading) const
{
    if (!present()) {
        return reading;
    }
    const std::size_t last = knots.size() - 2; // interval
    const double direction = knots.back() > knots.front() ? 1.0 : -1.0;
    if ((reading - knots.front()) * direction < 0.0) {
        return coefficients[0] + slope(0, 0.0) * (reading - knots.front());
    }
    const double end = static_cast<double>(knots[last + 1]) - knots[last];
    if ((reading - knots.back()) * direction > 0.0) {
        return value(last, end) + slope(last, end) * (reading - knots.back());
    }
    std::size_t i = last;
    while (i > 0 && (reading - knots[i]) * direction < 0.0) {
        --i;
    }
    return value(i, reading - knots[i]);
}

double LevelTable::reading(double angle) const
{
    if (!present()) {
        return angle;
    }
    const std::size_t last = knots.size() - 2;
    const double end = static_cast<double>(knots[last + 1]) - knots[last];
    const double lowest = coefficients[0];
    const double highest = value(last, end);
    const double direction = highest > lowest ? 1.0 : -1.0;
    if ((angle - lowest) * direction < 0.0) {
        return knots.front() + (angle - lowest) / slope(0, 0.0);
    }
    if ((angle - highest) * direction > 0.0) {
        return knots.back() + (angle - highest) / slope(last, end);
    }
    for (std::size_t i = 0; i <= last; ++i) {
        double low = 0.0;
        double high = static_cast<double>(knots[i + 1]) - knots[i];
        if ((angle - value(i, low)) * (angle - value(i, high)) > 0.0) {
            continue;
        }
        const double rising = value(i, high) > value(i, low) ? 1.0 : -1.0;
        for (int steps = 0; steps < 100; ++steps) {
            const double middle = 0.5 * (low + high);
            ((value(i, middle) - angle) * rising < 0.0 ? low : high) = middle;
        }
        return knots[i] + 0.5 * (low + high);
    }
    return kNan;
}

bool LevelTable::outside(double reading) const
{
    return !present() ||
           !(reading >= std::min(knots.front(), knots.back()) && reading <= std::max(knots.front(), knots.back()));
}

float thermalGain(const SensorParameters& sensor, int which, float temperature)
{
    const float product = sensor.thermal[2 * which] * temperature;
    return product + sensor.thermal[2 * which + 1];
}

Forward forwardReadings(const SensorParameters& sensor, const Pose& pose, double azimuthNear)
{
    switch (modelOf(sensor.mode)) {
    case Model::dualLevel:
        return dualLevel(sensor, pose, azimuthNear);
    case Model::polarizer:
        return polarizer(sensor, pose, azimuthNear);
    case Model::pendulum:
        return pendulum(sensor, pose, azimuthNear);
    default:
        return vectors(sensor, pose, azimuthNear);
    }
}

SensorParameters parametersOf(CKorPrm& prm, int mode)
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
            prm.getMachineMatrix(sensor.machine, 3) == 0 && prm.getLocalMatrix(sensor.local, 3) == 0;

    for (const bool azimuth : {true, false}) {
        const auto get = azimuth ? &CKorPrm::getAzimuthComp : &CKorPrm::getElevationComp;
        std::vector<float>& rows = (azimuth ? sensor.azimuthTable : sensor.elevationTable).rows;
        (prm.*get)(count, nullptr);
        rows.resize(2 * std::size_t{count});
        sound = sound && (count == 0 || (prm.*get)(count, rows.data()) == 0);
    }
    for (const bool x : {true, false}) {
        const auto get = x ? &CKorPrm::getLevelXComp : &CKorPrm::getLevelYComp;
        LevelTable& table = x ? sensor.levelXTable : sensor.levelYTable;
        (prm.*get)(count, nullptr, nullptr);
        if (count == 0) {
            continue;
        }
        table.knots.resize(std::size_t{count} + 3);
        table.coefficients.resize(4 * std::size_t{count});
        sound = sound && (prm.*get)(count, table.knots.data(), table.coefficients.data()) == 0;
        table.limits.assign(table.knots.end() - 3, table.knots.end());
        table.knots.resize(count);
    }
    if (!sound) {
        throw Failure(kExitSoftware, "the parameter set does not hand out what it has read");
    }
    sensor.check();
    return sensor;
}

void SensorParameters::check() const
{
    const auto refuse = [](const std::string& what) {
        throw Failure(kExitDataError, "the parameters cannot be simulated: " + what);
    };
    const auto usable = [](float value) { return value != 0.0f && std::isfinite(value); };
    const Model model = modelOf(mode);
    if (model == Model::pendulum || model == Model::polarizer) {
        for (const int i : {4, 5, 6}) {
            if (!usable(factors[i])) {
                refuse("scale factor " + std::to_string(i + 1) + " is a gain and must not be 0");
            }
        }
    }
    if ((model == Model::threeVectors || model == Model::twoLevels) && !usable(level1[6])) {
        refuse("the last number of Level_X is a gain and must not be 0");
    }
    if (model == Model::twoLevels && !usable(level2[6])) {
        refuse("the last number of Level_Y is a gain and must not be 0");
    }
    if (thermal[0] == 0.0f && thermal[1] == 0.0f) {
        refuse("the thermal factor of level X is always 0");
    }
    if (thermal[2] == 0.0f && thermal[3] == 0.0f) {
        refuse("the thermal factor of level Y is always 0");
    }
    for (const LevelTable* table : {&levelXTable, &levelYTable}) {
        for (std::size_t i = 0; i + 1 < table->knots.size(); ++i) {
            if ((table->knots[i + 1] > table->knots[i]) != (table->knots.back() > table->knots.front())) {
                refuse("the readings of a level's table do not run in one direction");
            }
        }
    }
    for (const EncoderTable* table : {&azimuthTable, &elevationTable}) {
        for (std::size_t i = 0; i + 3 < table->rows.size(); i += 2) {
            if (!(table->rows[i + 2] > table->rows[i])) {
                refuse("the readings of an encoder's table do not ascend");
            }
        }
    }
}

void SensorParameters::configure(CKor& engine) const
{
    const auto setLevel = [&engine](const LevelTable& table, int (CKor::*set)(int, const float*, const double*)) {
        if (table.knots.empty()) {
            return;
        }
        std::vector<float> knots = table.knots;
        knots.insert(knots.end(), table.limits.begin(), table.limits.end());
        knots.resize(table.knots.size() + 3);
        (engine.*set)(static_cast<int>(table.knots.size()), knots.data(), table.coefficients.data());
    };
    if (!azimuthTable.rows.empty()) {
        engine.setAzimuthComp(static_cast<int>(azimuthTable.rows.size() / 2), azimuthTable.rows.data());
    }
    if (!elevationTable.rows.empty()) {
        engine.setElevationComp(static_cast<int>(elevationTable.rows.size() / 2), elevationTable.rows.data());
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
}

} // namespace kor::tool
