#include "simulation/Faults.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kor::simulation {

namespace {

static_assert(std::all_of(kChannels.begin(), kChannels.begin() + kRealChannels,
                          [](const recordings::Column& column) { return column.type == recordings::Type::float32; }) &&
              std::all_of(kChannels.begin() + kRealChannels, kChannels.end(),
                          [](const recordings::Column& column) { return column.type == recordings::Type::int32; }));

float* realChannel(KOR_RAWINFO& raw, std::size_t channel)
{
    return reinterpret_cast<float*>(reinterpret_cast<char*>(&raw) + kChannels[channel].offset);
}

bool touches(const Faults& faults, std::size_t channel)
{
    return faults.bias[channel] != 0.0 || faults.noise[channel] > 0.0 || faults.quantum[channel] > 0.0;
}

} // namespace

std::optional<std::size_t> channelNamed(std::string_view name)
{
    const auto at = std::find_if(kChannels.begin(), kChannels.end(),
                                 [name](const recordings::Column& column) { return column.name == name; });
    return at == kChannels.end() ? std::nullopt : std::optional<std::size_t>(at - kChannels.begin());
}

FaultMaker::FaultMaker(const Faults& faults, std::uint64_t seed)
    : m_faults(faults), m_dropping(seed, "dropped"), m_spoiling(seed, "status"), m_leaving(seed, "level out"),
      m_breaking(seed, "nan")
{
    for (const recordings::Column& channel : kChannels) {
        m_noise.emplace_back(seed, channel.name);
    }
}

double FaultMaker::changed(std::size_t channel, double value)
{
    value += m_faults.bias[channel];
    if (m_faults.noise[channel] > 0.0) {
        value += m_faults.noise[channel] * m_noise[channel].normal();
    }
    const double quantum = m_faults.quantum[channel];
    if (quantum == 0.0) {
        return value;
    }
    // A quantum so small that the number of steps overflows is finer than the value is.
    const double steps = std::floor(value / quantum + 0.5);
    return std::isfinite(steps) ? steps * quantum : value;
}

std::int32_t FaultMaker::temperatureCount(std::size_t which, double count)
{
    constexpr std::int64_t kTurn = std::int64_t{1} << 24;
    const auto whole = static_cast<std::int64_t>(std::floor(changed(kRealChannels + which, count) + 0.5));
    return static_cast<std::int32_t>((whole % kTurn + kTurn) % kTurn);
}

std::int64_t FaultMaker::clockAhead(std::uint64_t sample)
{
    for (const auto& [from, by] : m_faults.jumps) {
        m_ahead += from == sample ? by : 0;
    }
    return m_ahead;
}

bool FaultMaker::pushLevelOut(const SensorParameters& sensor, KOR_RAWINFO& raw)
{
    // A ratio that the engine does not form cannot leave its table.
    const bool ratios = formsRatio(sensor.mode);
    const bool x = m_leaving.chance(0.5) && !(ratios && !(std::fabs(raw.levelYRaw) > kRatioThreshold));
    const LevelTable& table = x ? sensor.levelXTable : sensor.levelYTable;
    if (!table.present()) {
        return false;
    }
    const double beyond = 1.25 * static_cast<double>(table.knots.back()) - 0.25 * table.knots.front();
    (x ? raw.levelXRaw : raw.levelYRaw) = static_cast<float>(x && ratios ? beyond * raw.levelYRaw : beyond);
    return true;
}

Damage FaultMaker::apply(const SensorParameters& sensor, KOR_RAWINFO& raw)
{
    Damage damage;
    for (std::size_t i = 0; i < kRealChannels; ++i) {
        if (touches(m_faults, i)) {
            float* const value = realChannel(raw, i);
            *value = static_cast<float>(changed(i, *value));
        }
    }
    if (m_leaving.chance(m_faults.levelOut)) {
        damage.level = pushLevelOut(sensor, raw);
    }
    if (m_breaking.chance(m_faults.nan)) {
        const auto channel = static_cast<std::size_t>(m_breaking.uniform() * static_cast<double>(kRealChannels));
        *realChannel(raw, channel) = std::numeric_limits<float>::quiet_NaN();
        damage.nan = true;
    }
    if (m_spoiling.chance(m_faults.badStatus)) {
        constexpr std::int32_t kBad[3] = {0, 1, 3};
        raw.status = kBad[static_cast<std::size_t>(m_spoiling.uniform() * 3.0)];
    }
    return damage;
}

} // namespace kor::simulation
