// The closed loop, measured: true poses through a simulated sensor and back through the library.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "KORInterface/CKorModel.h"

#include "simulation/Sensor.h"

namespace kor::accuracy {

using simulation::SensorParameters;

/// Where the poses of a stratum come from and which way they go.
enum class Route {
    model,  ///< double-precision readings into the orientation model
    engine, ///< single-precision raw readings into the engine
    noisy,  ///< the same with noise on the readings
    moving  ///< the engine while the sensor moves
};

struct Stratum {
    std::string name;
    std::string poses; ///< in words
    Route route = Route::model;
    std::string inherent; ///< why the model's formulas cause the error; empty if they do not

    /// How poses are drawn. Degrees; elevations with either sign, tilts about any level axis.
    double leastElevation = 0.0, mostElevation = 30.0;
    double leastTilt = 0.01, mostTilt = 5.0;
    double leastRoll = 0.0, mostRoll = 0.0;         ///< about the line of sight, on top, either sign
    double leastHeight = 0.0, mostHeight = 0.0;     ///< mm, in place of the elevation when not 0
    double leastBearing = 0.0, mostBearing = 360.0; ///< of the target point
    bool otherSideUp = false;                       ///< the base stands on the side that the mode does not expect
    bool oblique = false;                           ///< a sensor whose axes are not square
    /// dual level: +1 height and level Y of the same sign, -1 of different signs, 0 both; 2 both levels in the dead
    /// band. pendulum: 0 pendulum and target clearly off the horizon, 2 the pendulum level but for what counts as zero.
    /// two levels, with noise or motion: 0 clear of the half turn that breaks the blend, 2 on it.
    int side = 0;
    double swing = 0.0; ///< moving: 0 a steady path, otherwise a swing of so many mm/s2

    /// What has been found, with a margin: degrees.
    double median = 0.0;
    double worst = 0.0;
    double atLeast = 0.0;     ///< if the error is inherent, the worst one is at least this
    double mostWithout = 0.0; ///< share of samples without a matrix
};

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

/// What is measured in a mount mode, 1 to 10.
std::vector<Stratum> strataOf(int mode);

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
