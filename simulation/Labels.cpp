#include "simulation/Labels.h"

#include <algorithm>
#include <cmath>

namespace kor::simulation {

namespace {

constexpr float kGateLimit = 0.4f;

// Samples that a pose has to be held in modes 9 and 10 until filters, lags and a level's return have left the one
// before.
constexpr std::uint64_t kSettling = 24;
// Their model forms no matrix before this sample and none that holds before the other.
constexpr std::uint64_t kFirstMatrix = 6;
constexpr std::uint64_t kFirstSoundMatrix = 16;

// Closer than this to the border between two solutions the model may take the wrong one.
constexpr double kLeastRollMargin = 0.02;

// Degrees over the horizon; the pendulum model takes less than 0.001 as zero.
constexpr double kLevelPendulum = 0.002;

bool twoLevelMode(const SensorParameters& sensor)
{
    return ModelOf(sensor.mode) == Model::twoLevels;
}

// Without any level the model of modes 9 and 10 is not asked.
bool excluded(const SensorParameters& sensor, const Evidence& sample)
{
    return twoLevelMode(sensor) && sample.outsideX && sample.outsideY;
}

// Whether the model's formulas do not find this pose.
bool beyondTheFormulas(const SensorParameters& sensor, const Evidence& sample)
{
    const Forward& forward = sample.forward;
    const Vec3& P = sample.pose.position;
    switch (ModelOf(sensor.mode)) {
    case Model::dualLevel:
        return forward.heightTimesLevelY < 0.0 ||
               std::min(std::fabs(forward.readings.levelX), std::fabs(forward.readings.levelY)) < 0.001;
    case Model::pendulum:
        return std::fabs(P[2]) < 1.0 || forward.rollMargin < kLeastRollMargin ||
               std::fabs(forward.pendulumRise) < kLevelPendulum;
    case Model::threeVectors: {
        // With the odd parity the model is off by this much when sight and level are not square.
        const double rise = std::fabs(P[2]) / std::sqrt(P[0] * P[0] + P[1] * P[1]);
        return forward.rollMargin < kLeastRollMargin ||
               (sensor.mode == 7 && 2.0 * rise * std::fabs(forward.sightAlongLevel) > 1e-7);
    }
    case Model::twoLevels:
        return forward.rollMargin < kLeastRollMargin;
    default:
        return false;
    }
}

} // namespace

void FedSoFar::add(const SensorParameters& sensor, const Evidence& sample)
{
    if (sample.raw.status != 2 || excluded(sensor, sample)) {
        return;
    }
    const bool samePose = m_fed > 0 && m_last.base == sample.pose.base && m_last.position == sample.pose.position;
    m_held = samePose && !sample.damage.level ? m_held + 1 : 0;
    m_last = sample.pose;
    ++m_fed;
    const bool two = twoLevelMode(sensor);
    m_poisoned = m_poisoned || (sample.damage.nan && two);
    const bool matrix = !two || m_fed >= kFirstMatrix;
    m_captured = m_captured || (matrix && sample.raw.referenceGate <= kGateLimit && sample.raw.referenceHold == 0);
}

bool FedSoFar::settled() const
{
    return m_held >= kSettling && m_fed >= kFirstSoundMatrix;
}

const char* noteOf(const SensorParameters& sensor, const Evidence& sample, const FedSoFar& so, bool capturedBefore)
{
    if (sample.raw.status != 2) {
        return "status";
    }
    if (sample.damage.nan || so.poisoned()) {
        return "nan";
    }
    if (!capturedBefore) {
        return "reference";
    }
    if (sample.damage.level || excluded(sensor, sample)) {
        return "level";
    }
    if (twoLevelMode(sensor) && !so.settled()) {
        return "moving";
    }
    if (beyondTheFormulas(sensor, sample)) {
        return "side";
    }
    return sample.outsideX || sample.outsideY ? "range" : "ok";
}

} // namespace kor::simulation
