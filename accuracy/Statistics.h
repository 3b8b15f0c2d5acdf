// The figures that a set of errors is summed up in.
#pragma once

#include <cstddef>
#include <vector>

namespace kor::accuracy {

constexpr double kArcSecondsOfDegree = 3600.0;

struct Spread {
    std::size_t count = 0;
    double median = 0.0; ///< of an even number the larger one of the two in the middle
    double rms = 0.0;
    double high = 0.0; ///< 99.9 % lie at or below
    double worst = 0.0;
};

/// Figures of a set of errors, each at least 0. The order of the errors is lost.
/// Notes  1  The root mean square neither overflows nor underflows where its result does not.
Spread spreadOf(std::vector<double>& errors);

} // namespace kor::accuracy
