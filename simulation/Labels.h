// What a sample's result should be, and whether there is a reason that it may not be so.
#pragma once

#include <cstdint>

#include "KORInterface/Records.h"

#include "simulation/Faults.h"
#include "simulation/Sensor.h"

namespace kor::simulation {

/// A sample as the labels need it.
struct Evidence {
    const KOR_RAWINFO& raw;
    const Pose& pose;
    const Forward& forward;
    Damage damage;
    bool outsideX; ///< the level's reading lies beyond its table
    bool outsideY;
};

/// State of the engine and its model after the samples that they were given.
class FedSoFar {
public:
    /// Takes the next sample that reaches the engine.
    void add(const SensorParameters& sensor, const Evidence& sample);

    bool captured() const { return m_captured; }
    bool poisoned() const { return m_poisoned; } ///< a nan has entered the filters of modes 9 and 10
    bool settled() const;                        ///< the filters of modes 9 and 10 hold the present pose alone

private:
    std::uint64_t m_fed = 0;
    std::uint64_t m_held = 0; ///< samples since the pose changed
    Pose m_last;
    bool m_poisoned = false;
    bool m_captured = false;
};

/// Why the result of a sample may differ from the truth: status, nan, reference, level, moving or side. It does not
/// where this is "ok" or "range".
///
/// capturedBefore: the reference was captured by a sample before this one. so: after this sample was added.
const char* noteOf(const SensorParameters& sensor, const Evidence& sample, const FedSoFar& so, bool capturedBefore);

} // namespace kor::simulation
