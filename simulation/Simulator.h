// Raw samples of a simulated sensor, with their truth and the faults that were added.
#pragma once

#include <cstdint>
#include <string>

#include "KORInterface/Records.h"

#include "recordings/Columns.h"
#include "simulation/Faults.h"
#include "simulation/Labels.h"
#include "simulation/Motion.h"
#include "simulation/Sensor.h"

namespace kor::simulation {

struct SimulationPlan {
    SensorParameters sensor;
    std::uint64_t seed = 1;
    double rate = 100.0; ///< Hz
    std::uint32_t firstStamp = 0;
    std::uint64_t reference = 20; ///< from this sample on the reference may be captured
    Faults faults;
};

struct SimulatedSample {
    KOR_RAWINFO raw{};
    Pose pose;             ///< true
    Mat3 result{};         ///< what the engine should give with its MCS flag set
    const char* note = ""; ///< why the engine's result may differ
    bool valid = false;
    bool dropped = false; ///< never left the sensor
};

/// The row of a truth that belongs to a sample.
recordings::Truth truthOf(const SimulatedSample& sample);

/// The samples of a motion, one after the other.
///
/// Notes  1  The same plan and motion give the same samples on every platform.
///        2  Until the reference may be captured, gate and hold keep it back: both, then the gate alone, then the hold
///           alone.
class Simulator {
public:
    Simulator(const SimulationPlan& plan, const Motion& motion);

    /// The next sample. False when the sensor has no readings for its pose; problem() says why.
    bool next(SimulatedSample& sample);

    const std::string& problem() const { return m_problem; }

private:
    struct Outside {
        bool x = false;
        bool y = false;
    };
    bool look(SimulatedSample& sample);
    bool readLevels(KOR_RAWINFO& raw, Outside& outside);
    void readTemperatures(KOR_RAWINFO& raw);
    void setReference(KOR_RAWINFO& raw) const;
    std::uint32_t timeStamp();
    void label(SimulatedSample& sample, Damage damage, Outside outside);
    float levelReading(int which, double corrected, float temperature) const;
    double wave(std::size_t which, double period) const;
    double time() const { return static_cast<double>(m_index) / m_plan.rate; }
    bool refuse(const std::string& what);

    SimulationPlan m_plan;
    const Motion& m_motion;
    FaultMaker m_faults;
    double m_phase[5]; ///< of the climate's waves
    std::uint64_t m_index = 0;
    double m_turn = 0.0; ///< of the azimuth stage at the sample before
    Forward m_forward;
    FedSoFar m_fed;
    std::string m_problem;
};

} // namespace kor::simulation
