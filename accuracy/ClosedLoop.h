// The closed loop, measured: true poses through a simulated sensor and back through the library.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "KORInterface/CKorModel.h"

#include "accuracy/Strata.h"
#include "simulation/Sensor.h"

namespace kor::accuracy {

using simulation::SensorParameters;

struct Finding {
    int mode = 0;
    Stratum stratum;
    std::uint64_t samples = 0;
    std::uint64_t without = 0; ///< without a matrix, or with one that is not finite
    double median = 0.0;
    double high = 0.0; ///< 99.9 % lie at or below
    double worst = 0.0;

    double shareWithout() const
    {
        return samples == 0 ? 0.0 : static_cast<double>(without) / static_cast<double>(samples);
    }
    std::string exceeded() const; ///< the figures beyond their bounds, in words; empty if there are none
};

/// Runs so many poses of a stratum. The drawing depends on mode, stratum and seed only. advance is told how many
/// samples have been measured since it was told last.
Finding measure(int mode, const Stratum& stratum, std::uint64_t poses, std::uint64_t seed,
                const std::function<void(std::uint64_t)>& advance);

/// A sensor with plausible parameters and tables.
SensorParameters typicalSensor(int mode, bool oblique);

/// The model of a mount mode, primed with a sensor's parameters.
std::unique_ptr<CKorModel> primedModel(const SensorParameters& sensor);

/// Calls of the two-level model after which a held pose alone decides its result.
constexpr int kRefill = 80;

/// A moving stratum is one path of at most so many samples.
constexpr std::uint64_t kLongestPath = 1000;

/// With fewer samples the median and the least error are not compared with their bounds.
constexpr std::uint64_t kEnoughForMedian = 100;

/// The noise of the noisy strata: standard deviations.
constexpr double kEncoderNoise = 0.0002; ///< degrees
constexpr double kLevelNoise = 0.0005;   ///< degrees
constexpr double kPositionNoise = 0.01;  ///< mm

} // namespace kor::accuracy
