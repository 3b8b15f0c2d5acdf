// Raw samples of a simulated sensor, with what is true of them and what is done to them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "KORInterface/Records.h"

#include "simulation/Motion.h"
#include "simulation/Random.h"
#include "simulation/Sensor.h"

namespace kor::tool {

// The columns of a recording that noise, bias and quantisation apply to.
constexpr std::array<std::string_view, 12> kChannels = {
    "sensorVector_x", "sensorVector_y",     "sensorVector_z",     "azimuthRaw",
    "elevationRaw",   "levelXRaw",          "levelYRaw",          "levelTemperature",
    "referenceGate",  "temperatureCount_0", "temperatureCount_1", "temperatureCount_2"};
constexpr std::size_t kRealChannels = 9; // the first ones are single-precision numbers, the others whole ones

std::optional<std::size_t> channelNamed(std::string_view name);

struct Faults {
    std::array<double, kChannels.size()> bias{};
    std::array<double, kChannels.size()> noise{};   // standard deviation
    std::array<double, kChannels.size()> quantum{}; // 0: none
    double dropped = 0.0;                           // probabilities per sample
    double badStatus = 0.0;
    double levelOut = 0.0;
    double nan = 0.0;
    std::vector<std::pair<std::uint64_t, std::int64_t>> jumps; // from this sample on the clock runs so many ms ahead
};

struct SimulationPlan {
    SensorParameters sensor;
    std::uint64_t seed = 1;
    double rate = 100.0; // Hz
    std::uint32_t firstStamp = 0;
    std::uint64_t reference = 20; // from this sample on the reference may be captured
    Faults faults;
};

struct SimulatedSample {
    KOR_RAWINFO raw{};
    Pose pose;             // true
    Mat3 result{};         // what the engine should hand out, MCS flag set
    const char* note = ""; // why that may not be so
    bool valid = false;
    bool dropped = false; // never left the sensor
};

/// The samples of a motion, one after the other.
///
/// Notes  1  Throws Failure (65) when the sensor cannot look at the tracker in a pose.
///        2  The same plan and motion give the same samples on every platform. Each kind of fault draws from a
///           sequence of its own, so that adding one leaves the others where they were.
class Simulator {
public:
    Simulator(const SimulationPlan& plan, const Motion& motion);

    SimulatedSample next();

private:
    struct Level {
        float reading;
        bool outside;
    };
    Level levelReading(int which, double corrected, float temperature) const;
    void readOut(SimulatedSample& sample, bool& outsideX, bool& outsideY);
    void disturb(KOR_RAWINFO& raw, bool& nan, bool& levelFault);
    void judge(SimulatedSample& sample, const Forward& forward, bool outsideX, bool outsideY, bool nan,
               bool levelFault);

    SimulationPlan m_plan;
    const Motion& m_motion;
    std::uint64_t m_index = 0;
    double m_turn = 0.0; // of the azimuth stage at the sample before
    Forward m_forward;
    std::int64_t m_ahead = 0;
    std::vector<Random> m_noise;
    Random m_dropping, m_spoiling, m_leaving, m_breaking;
    double m_phase[5];

    // What the model knows of the samples it was given.
    std::uint64_t m_fed = 0;
    std::uint64_t m_settled = 0;
    Pose m_last;
    bool m_poisoned = false;
    bool m_captured = false;
};

} // namespace kor::tool
