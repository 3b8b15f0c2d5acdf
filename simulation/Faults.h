// What is done to the readings of a simulated sensor: noise, bias, quantisation, and samples that are wrong or missing.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "KORInterface/Records.h"

#include "recordings/Columns.h"
#include "simulation/Random.h"
#include "simulation/Sensor.h"

namespace kor::simulation {

/// The columns of a recording that noise, bias and quantisation apply to.
inline constexpr auto& kChannels = recordings::kMeasuredColumns;

/// The first ones are single-precision numbers, the others temperature counts.
constexpr std::size_t kRealChannels = kChannels.size() - 3;

std::optional<std::size_t> channelNamed(std::string_view name);

struct Faults {
    std::array<double, kChannels.size()> bias{};
    std::array<double, kChannels.size()> noise{};   ///< standard deviation
    std::array<double, kChannels.size()> quantum{}; ///< 0: none
    double dropped = 0.0;                           ///< probabilities per sample
    double badStatus = 0.0;
    double levelOut = 0.0;
    double nan = 0.0;
    std::vector<std::pair<std::uint64_t, std::int64_t>> jumps; ///< from this sample on the clock runs so many ms ahead
};

/// Faults of a sample that its result depends on.
struct Damage {
    bool nan = false;   ///< one of its values is nan
    bool level = false; ///< a level's reading was put beyond its table
};

/// Applies faults to the samples of a sensor, one after the other.
///
/// Notes  1  Each kind of fault and each channel's noise draws from a sequence of its own, so that adding one does not
///           change the others.
class FaultMaker {
public:
    FaultMaker(const Faults& faults, std::uint64_t seed);

    bool dropsNext() { return m_dropping.chance(m_faults.dropped); }

    /// The 24-bit count of a temperature channel after bias, noise and quantisation.
    std::int32_t temperatureCount(std::size_t which, double count);

    /// How many ms the clock runs ahead from this sample on. To be asked for every sample in turn.
    std::int64_t clockAhead(std::uint64_t sample);

    Damage apply(const SensorParameters& sensor, KOR_RAWINFO& raw);

private:
    double changed(std::size_t channel, double value);
    bool pushLevelOut(const SensorParameters& sensor, KOR_RAWINFO& raw);

    Faults m_faults;
    std::vector<Random> m_noise;
    Random m_dropping, m_spoiling, m_leaving, m_breaking;
    std::int64_t m_ahead = 0;
};

} // namespace kor::simulation
