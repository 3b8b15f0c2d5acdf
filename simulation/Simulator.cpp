#include "simulation/Simulator.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace kor::simulation {

namespace {

using portable::kPi;

constexpr float kOpenGate = 0.05f;
constexpr float kClosedGate = 1.0f;

// g++ 12 at -O3 drops the rounding of neighbouring numbers that go to single precision and straight back. The
// volatile keeps it.
double inSinglePrecision(double value)
{
    const volatile float rounded = static_cast<float>(value);
    return rounded;
}

bool finite(const Readings& readings, bool withLevelX)
{
    return std::isfinite(readings.levelY) && std::isfinite(readings.azimuth) && std::isfinite(readings.elevation) &&
           (!withLevelX || std::isfinite(readings.levelX));
}

} // namespace

Simulator::Simulator(const SimulationPlan& plan, const Motion& motion)
    : m_plan(plan), m_motion(motion), m_faults(plan.faults, plan.seed)
{
    Random climate(plan.seed, "climate");
    for (double& phase : m_phase) {
        phase = climate.uniform(0.0, 2.0 * kPi);
    }
}

double Simulator::wave(std::size_t which, double period) const
{
    return portable::sine(2.0 * kPi * withinPeriod(time(), period) / period + m_phase[which]);
}

bool Simulator::refuse(const std::string& what)
{
    m_problem = "sample " + std::to_string(m_index) + ": " + what;
    return false;
}

// Target point and encoders of a sensor that looks at the tracker.
bool Simulator::look(SimulatedSample& sample)
{
    const SensorParameters& sensor = m_plan.sensor;
    sample.pose = poseAt(m_motion, time());
    for (std::size_t i = 0; i < 3; ++i) {
        sample.pose.position[i] = inSinglePrecision(sample.pose.position[i]); // the truth is what the record can hold
        sample.raw.sensorVector[i] = static_cast<float>(sample.pose.position[i]);
    }
    m_forward = forwardReadings(sensor, sample.pose, m_motion.held() ? 0.0 : m_turn);
    if (!finite(m_forward.readings, !formsRatio(sensor.mode))) {
        return refuse(
            "the sensor cannot look at the tracker in this pose; move the target point, or tilt the base, so that "
            "the tracker is off its azimuth axis");
    }
    m_turn = m_forward.azimuthTurn;
    sample.raw.azimuthRaw = static_cast<float>(sensor.azimuthTable.reading(m_forward.readings.azimuth));
    sample.raw.elevationRaw = static_cast<float>(sensor.elevationTable.reading(m_forward.readings.elevation));
    return true;
}

float Simulator::levelReading(int which, double corrected, float temperature) const
{
    const LevelTable& table = which == 0 ? m_plan.sensor.levelXTable : m_plan.sensor.levelYTable;
    const double gain = thermalGain(m_plan.sensor, which, temperature);
    return static_cast<float>(table.reading(corrected / gain + m_plan.sensor.tiltOffset[which]));
}

bool Simulator::readLevels(KOR_RAWINFO& raw, Outside& outside)
{
    const SensorParameters& sensor = m_plan.sensor;
    raw.levelTemperature = static_cast<float>(21.5 + 1.2 * wave(0, 53.0));
    raw.levelYRaw = levelReading(1, m_forward.readings.levelY, raw.levelTemperature);
    outside.y = sensor.levelYTable.outside(raw.levelYRaw);

    const LevelTable& table = sensor.levelXTable;
    if (formsRatio(sensor.mode)) {
        // Level X is a numerator, the ratio wanders about the middle of its table.
        const double middle =
            table.present() ? 0.5 * (static_cast<double>(table.knots.front()) + table.knots.back()) : 0.0;
        const double reach =
            table.present() ? 0.4 * (static_cast<double>(table.knots.back()) - table.knots.front()) : 0.5;
        raw.levelXRaw = static_cast<float>((middle + reach * wave(1, 12.0)) * raw.levelYRaw);
        const bool formed = std::fabs(raw.levelYRaw) > kRatioThreshold;
        outside.x = table.outside(formed ? raw.levelXRaw / raw.levelYRaw : 0.0f);
    } else {
        raw.levelXRaw = levelReading(0, m_forward.readings.levelX, raw.levelTemperature);
        outside.x = table.outside(raw.levelXRaw);
    }
    return (std::isfinite(raw.levelXRaw) && std::isfinite(raw.levelYRaw)) ||
           refuse("no reading of the level's table gives the level's angle");
}

void Simulator::readTemperatures(KOR_RAWINFO& raw)
{
    const double degrees[3] = {21.9 + 1.2 * wave(2, 53.0), 0.3 + 1.1 * wave(3, 43.0), 27.0 + 0.8 * wave(4, 59.0)};
    for (std::size_t i = 0; i < 3; ++i) {
        raw.temperatureCount[i] = m_faults.temperatureCount(i, std::floor(degrees[i] * 41920.0 + 0.5));
    }
}

void Simulator::setReference(KOR_RAWINFO& raw) const
{
    const std::uint64_t last = m_plan.reference;
    const std::uint64_t gateOpens = last - last / 4;
    raw.referenceGate = m_index < gateOpens ? kClosedGate : kOpenGate;
    raw.referenceHold = m_index < last / 2 || (m_index >= gateOpens && m_index < last) ? 1 : 0;
}

std::uint32_t Simulator::timeStamp()
{
    const double milliseconds = std::floor(static_cast<double>(m_index) * 1000.0 / m_plan.rate + 0.5);
    return static_cast<std::uint32_t>(m_plan.firstStamp + static_cast<std::uint64_t>(milliseconds) +
                                      static_cast<std::uint64_t>(m_faults.clockAhead(m_index)));
}

void Simulator::label(SimulatedSample& sample, Damage damage, Outside outside)
{
    const SensorParameters& sensor = m_plan.sensor;
    const Evidence evidence = {sample.raw, sample.pose, m_forward, damage, outside.x, outside.y};
    const bool captured = m_fed.captured();
    m_fed.add(sensor, evidence);
    sample.result = kIdentity;
    if (captured && sample.raw.status == 2) {
        Mat3 machine{};
        std::copy_n(sensor.machine, 9, machine.begin());
        sample.result = sensor.mode < 7 ? machine * sample.pose.base : sample.pose.base;
    }
    sample.note = noteOf(sensor, evidence, m_fed, captured);
    const std::string_view note = sample.note;
    sample.valid = note == "ok" || note == "range";
}

bool Simulator::next(SimulatedSample& sample)
{
    sample = {};
    sample.raw.status = 2;
    Outside outside;
    if (!look(sample) || !readLevels(sample.raw, outside)) {
        return false;
    }
    readTemperatures(sample.raw);
    setReference(sample.raw);
    sample.raw.timeStampMs = timeStamp();
    const Damage damage = m_faults.apply(m_plan.sensor, sample.raw);
    sample.dropped = m_faults.dropsNext();
    if (!sample.dropped) {
        label(sample, damage, outside);
    }
    ++m_index;
    return true;
}

recordings::Truth truthOf(const SimulatedSample& sample)
{
    recordings::Truth truth{};
    truth.timeStampMs = sample.raw.timeStampMs;
    truth.valid = sample.valid;
    truth.note = sample.note;
    std::copy(sample.pose.base.begin(), sample.pose.base.end(), truth.base);
    for (std::size_t i = 0; i < 3; ++i) {
        truth.position[i] = static_cast<float>(sample.pose.position[i]);
    }
    std::copy(sample.result.begin(), sample.result.end(), truth.result);
    return truth;
}

} // namespace kor::simulation
