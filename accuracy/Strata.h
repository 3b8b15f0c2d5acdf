// Strata: kinds of poses whose errors are measured together, and the bounds of these errors.
#pragma once

#include <string_view>
#include <vector>

namespace kor::accuracy {

/// Where the poses of a stratum come from and which way they go.
enum class Route {
    model,  ///< double-precision readings into the orientation model
    engine, ///< single-precision raw readings into the engine
    noisy,  ///< the same with noise on the readings
    moving  ///< the engine while the sensor moves
};

struct Range {
    double least;
    double most;
};

/// What has been found, with a margin: degrees.
struct Bounds {
    double median = 0.0;
    double worst = 0.0;
    double atLeast = 0.0;     ///< if the error is inherent, the worst one is at least this
    double mostWithout = 0.0; ///< share of samples without a matrix
};

struct Stratum {
    std::string_view name{};
    std::string_view poses{}; ///< in words

    /// How poses are drawn. Degrees; elevations and rolls with either sign, tilts about any level axis.
    Range elevation = {0.0, 30.0};
    Range tilt = {0.01, 5.0};
    Range roll = {0.0, 0.0};      ///< about the line of sight, on top
    Range height = {0.0, 0.0};    ///< mm, in place of the elevation when not 0
    Range bearing = {0.0, 360.0}; ///< of the target point

    Route route = Route::model;
    bool otherSideUp = false; ///< the base stands on the side that the mode does not expect
    bool oblique = false;     ///< a sensor whose axes are not square
    bool oddModeOnly = false; ///< the even mode of the model does not show it
    /// dual level: +1 height and level Y of the same sign, -1 of different signs, 0 both; 2 both levels in the dead
    /// band. pendulum: 0 pendulum and target clearly off the horizon, 2 the pendulum level but for what counts as zero.
    /// two levels, with noise or motion: 0 clear of the half turn that breaks the blend, 2 on it.
    int side = 0;
    double swing = 0.0; ///< moving: 0 a steady path, otherwise a swing of so many mm/s2

    Bounds bounds{};
    std::string_view inherent{}; ///< why the model's formulas cause the error; empty if they do not
};

/// What is measured in a mount mode, 1 to 10.
std::vector<Stratum> strataOf(int mode);

} // namespace kor::accuracy
