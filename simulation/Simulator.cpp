#include "simulation/Simulator.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "tools/kor/Exit.h"

namespace kor::tool {

namespace {

using portable::kPi;

constexpr float kOpenGate = 0.05f;
constexpr float kClosedGate = 1.0f;
constexpr float kGateLimit = 0.4f;

// Samples that a pose has to be held in modes 9 and 10 until filters, lags and a level's return have left the one
// before.
constexpr std::uint64_t kSettling = 24;
// Their model forms no matrix before this sample and none that holds before the other.
constexpr std::uint64_t kFirstMatrix = 6;
constexpr std::uint64_t kFirstSoundMatrix = 16;

// g++ 12 at -O3 drops the rounding of neighbouring numbers that go to single precision and straight back. The
// volatile keeps it.
double inSinglePrecision(double value)
{
    const volatile float rounded = static_cast<float>(value);
    return rounded;
}

float* realChannel(KOR_RAWINFO& raw, std::size_t channel)
{
    float* const channels[kRealChannels] = {&raw.sensorVector[0], &raw.sensorVector[1],  &raw.sensorVector[2],
                                            &raw.azimuthRaw,      &raw.elevationRaw,     &raw.levelXRaw,
                                            &raw.levelYRaw,       &raw.levelTemperature, &raw.referenceGate};
    return channels[channel];
}

bool changes(const Faults& faults, std::size_t channel)
{
    return faults.bias[channel] != 0.0 || faults.noise[channel] > 0.0 || faults.quantum[channel] > 0.0;
}

double changed(const Faults& faults, std::size_t channel, double value, Random& random)
{
    value += faults.bias[channel];
    if (faults.noise[channel] > 0.0) {
        value += faults.noise[channel] * random.normal();
    }
    const double quantum = faults.quantum[channel];
    if (quantum == 0.0) {
        return value;
    }
    // Steps beyond number are finer than the value is.
    const double steps = std::floor(value / quantum + 0.5);
    return std::isfinite(steps) ? steps * quantum : value;
}

std::int32_t temperatureCount(double count)
{
    constexpr std::int64_t kTurn = std::int64_t{1} << 24;
    const auto whole = static_cast<std::int64_t>(std::floor(count + 0.5));
    return static_cast<std::int32_t>((whole % kTurn + kTurn) % kTurn);
}

bool finite(const Readings& readings, bool withLevelX)
{
    return std::isfinite(readings.levelY) && std::isfinite(readings.azimuth) && std::isfinite(readings.elevation) &&
           (!withLevelX || std::isfinite(readings.levelX));
}

} // namespace

std::optional<std::size_t> channelNamed(std::string_view name)
{
    const auto at = std::find(kChannels.begin(), kChannels.end(), name);
    return at == kChannels.end() ? std::nullopt : std::optional<std::size_t>(at - kChannels.begin());
}

Simulator::Simulator(const SimulationPlan& plan, const Motion& motion)
    : m_plan(plan), m_motion(motion), m_dropping(plan.seed, "dropped"), m_spoiling(plan.seed, "status"),
      m_leaving(plan.seed, "level out"), m_breaking(plan.seed, "nan")
{
    for (const std::string_view channel : kChannels) {
        m_noise.emplace_back(plan.seed, channel);
    }
    Random climate(plan.seed, "climate");
    for (double& phase : m_phase) {
        phase = climate.uniform(0.0, 2.0 * kPi);
    }
}

Simulator::Level Simulator::levelReading(int which, double corrected, float temperature) const
{
    const LevelTable& table = which == 0 ? m_plan.sensor.levelXTable : m_plan.sensor.levelYTable;
    const double gain = thermalGain(m_plan.sensor, which, temperature);
    const auto reading = static_cast<float>(table.reading(corrected / gain + m_plan.sensor.tiltOffset[which]));
    return {reading, table.outside(reading)};
}

// From the pose to a raw record without any fault.
void Simulator::readOut(SimulatedSample& sample, bool& outsideX, bool& outsideY)
{
    const double time = static_cast<double>(m_index) / m_plan.rate;
    const SensorParameters& sensor = m_plan.sensor;
    const bool ratio = formsRatio(sensor.mode);
    KOR_RAWINFO& raw = sample.raw;
    raw.status = 2;

    sample.pose = poseAt(m_motion, time);
    for (std::size_t i = 0; i < 3; ++i) {
        sample.pose.position[i] = inSinglePrecision(sample.pose.position[i]); // the truth is what the record can hold
        raw.sensorVector[i] = static_cast<float>(sample.pose.position[i]);
    }
    m_forward = forwardReadings(sensor, sample.pose, m_motion.held() ? 0.0 : m_turn);
    if (!finite(m_forward.readings, !ratio)) {
        throw Failure(kExitDataError,
                      "sample " + std::to_string(m_index) + ": the sensor cannot look at the tracker in this pose");
    }
    m_turn = m_forward.azimuthTurn;
    raw.azimuthRaw = static_cast<float>(sensor.azimuthTable.reading(m_forward.readings.azimuth));
    raw.elevationRaw = static_cast<float>(sensor.elevationTable.reading(m_forward.readings.elevation));

    const auto wave = [this, time](std::size_t i, double period) {
        return portable::sine(2.0 * kPi * withinPeriod(time, period) / period + m_phase[i]);
    };
    raw.levelTemperature = static_cast<float>(21.5 + 1.2 * wave(0, 53.0));
    const Level y = levelReading(1, m_forward.readings.levelY, raw.levelTemperature);
    raw.levelYRaw = y.reading;
    outsideY = y.outside;
    if (ratio) {
        // Level X is a numerator, the ratio wanders about the middle of its table.
        const LevelTable& table = sensor.levelXTable;
        const double middle =
            table.present() ? 0.5 * (static_cast<double>(table.knots.front()) + table.knots.back()) : 0.0;
        const double reach =
            table.present() ? 0.4 * (static_cast<double>(table.knots.back()) - table.knots.front()) : 0.5;
        raw.levelXRaw = static_cast<float>((middle + reach * wave(1, 12.0)) * y.reading);
        const bool formed = std::fabs(raw.levelYRaw) > kRatioThreshold;
        outsideX = table.outside(formed ? raw.levelXRaw / raw.levelYRaw : 0.0f);
    } else {
        const Level x = levelReading(0, m_forward.readings.levelX, raw.levelTemperature);
        raw.levelXRaw = x.reading;
        outsideX = x.outside;
    }
    if (!std::isfinite(raw.levelXRaw) || !std::isfinite(raw.levelYRaw)) {
        throw Failure(kExitDataError, "sample " + std::to_string(m_index) +
                                          ": no reading of the level's table gives the level's angle");
    }

    const bool waiting = m_index < m_plan.reference;
    raw.referenceGate = waiting ? kClosedGate : kOpenGate;
    raw.referenceHold = waiting ? 1 : 0;
    const double degrees[3] = {21.9 + 1.2 * wave(2, 53.0), 0.3 + 1.1 * wave(3, 43.0), 27.0 + 0.8 * wave(4, 59.0)};
    for (std::size_t i = 0; i < 3; ++i) {
        raw.temperatureCount[i] = temperatureCount(changed(
            m_plan.faults, kRealChannels + i, std::floor(degrees[i] * 41920.0 + 0.5), m_noise[kRealChannels + i]));
    }
    const double milliseconds = std::floor(static_cast<double>(m_index) * 1000.0 / m_plan.rate + 0.5);
    for (const auto& [from, by] : m_plan.faults.jumps) {
        m_ahead += from == m_index ? by : 0;
    }
    raw.timeStampMs = static_cast<std::uint32_t>(m_plan.firstStamp + static_cast<std::uint64_t>(milliseconds) +
                                                 static_cast<std::uint64_t>(m_ahead));
}

void Simulator::disturb(KOR_RAWINFO& raw, bool& nan, bool& levelFault)
{
    const Faults& faults = m_plan.faults;
    for (std::size_t i = 0; i < kRealChannels; ++i) {
        if (changes(faults, i)) {
            float* const value = realChannel(raw, i);
            *value = static_cast<float>(changed(faults, i, *value, m_noise[i]));
        }
    }
    if (m_leaving.chance(faults.levelOut)) {
        // A ratio that the engine does not form cannot leave its table.
        const bool ratios = formsRatio(m_plan.sensor.mode);
        const bool x = m_leaving.chance(0.5) && !(ratios && !(std::fabs(raw.levelYRaw) > kRatioThreshold));
        const LevelTable& table = x ? m_plan.sensor.levelXTable : m_plan.sensor.levelYTable;
        if (table.present()) {
            const double beyond = 1.25 * static_cast<double>(table.knots.back()) - 0.25 * table.knots.front();
            (x ? raw.levelXRaw : raw.levelYRaw) = static_cast<float>(x && ratios ? beyond * raw.levelYRaw : beyond);
            levelFault = true;
        }
    }
    if (m_breaking.chance(faults.nan)) {
        const auto channel = static_cast<std::size_t>(m_breaking.uniform() * static_cast<double>(kRealChannels));
        *realChannel(raw, channel) = std::numeric_limits<float>::quiet_NaN();
        nan = true;
    }
    if (m_spoiling.chance(faults.badStatus)) {
        constexpr std::int32_t kBad[3] = {0, 1, 3};
        raw.status = kBad[static_cast<std::size_t>(m_spoiling.uniform() * 3.0)];
    }
}

// Why the engine's result may differ from the truth.
void Simulator::judge(SimulatedSample& sample, const Forward& forward, bool outsideX, bool outsideY, bool nan,
                      bool levelFault)
{
    const int mode = m_plan.sensor.mode;
    const Model model = modelOf(mode);
    const bool twoLevels = model == Model::twoLevels;
    const bool excluded = twoLevels && outsideX && outsideY;
    const bool fed = sample.raw.status == 2;

    const bool captured = m_captured;
    if (fed && !excluded) {
        m_settled =
            m_fed > 0 && !levelFault && m_last.base == sample.pose.base && m_last.position == sample.pose.position
                ? m_settled + 1
                : 0;
        m_last = sample.pose;
        ++m_fed;
        m_poisoned = m_poisoned || (nan && twoLevels);
        const bool matrix = !twoLevels || m_fed >= kFirstMatrix;
        m_captured = m_captured || (matrix && sample.raw.referenceGate <= kGateLimit && sample.raw.referenceHold == 0);
    }
    sample.result = kIdentity;
    if (captured && fed) {
        Mat3 machine{};
        std::copy_n(m_plan.sensor.machine, 9, machine.begin());
        sample.result = mode < 7 ? machine * sample.pose.base : sample.pose.base;
    }

    const double z = sample.pose.position[2];
    const double rise = std::fabs(z) / std::sqrt(sample.pose.position[0] * sample.pose.position[0] +
                                                 sample.pose.position[1] * sample.pose.position[1]);
    const Readings& readings = forward.readings;
    const auto note = [&]() -> const char* {
        if (!fed) {
            return "status";
        }
        if (nan || m_poisoned) {
            return "nan";
        }
        if (!captured) {
            return "reference";
        }
        if (levelFault || excluded) {
            return "level";
        }
        if (twoLevels && (m_settled < kSettling || m_fed < kFirstSoundMatrix)) {
            return "moving";
        }
        if (model == Model::dualLevel && (forward.heightTimesLevelY < 0.0 ||
                                          std::min(std::fabs(readings.levelX), std::fabs(readings.levelY)) < 0.001)) {
            return "side";
        }
        if (model == Model::pendulum && (std::fabs(z) < 1.0 || forward.rollMargin < 0.02)) {
            return "side";
        }
        if ((model == Model::threeVectors || twoLevels) && forward.rollMargin < 0.02) {
            return "side";
        }
        // With the odd parity the three-vector model is off by this much when sight and level are not square.
        if (mode == 7 && 2.0 * rise * std::fabs(forward.sightAlongLevel) > 1e-7) {
            return "side";
        }
        return outsideX || outsideY ? "range" : "ok";
    };
    sample.note = note();
    const std::string_view reason = sample.note;
    sample.valid = reason == "ok" || reason == "range";
}

SimulatedSample Simulator::next()
{
    SimulatedSample sample;
    bool outsideX = false;
    bool outsideY = false;
    bool nan = false;
    bool levelFault = false;
    readOut(sample, outsideX, outsideY);
    disturb(sample.raw, nan, levelFault);
    sample.dropped = m_dropping.chance(m_plan.faults.dropped);
    if (!sample.dropped) {
        judge(sample, m_forward, outsideX, outsideY, nan, levelFault);
    }
    ++m_index;
    return sample;
}

} // namespace kor::tool
