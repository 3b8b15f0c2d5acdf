// Two series of orientations held against each other, row by row where their time stamps agree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "accuracy/Statistics.h"
#include "simulation/Rotation.h"

namespace kor::accuracy {

using simulation::Mat3;

/// One of the two series: its rows in the order of the file. All vectors but the reasons have a value for each row.
struct Series {
    std::vector<std::uint32_t> stamps;
    std::vector<std::uint8_t> formed; ///< whether there is an orientation at all
    std::vector<std::uint8_t> states; ///< 0: to be compared; otherwise 1 + the place of the reason against it
    std::vector<std::string> reasons;
    std::vector<Mat3> orientations;
    std::vector<std::vector<double>> columns; ///< the columns that both series have, in the same order in both

    /// The state that stands for a reason.
    std::uint8_t stateOf(const std::string& reason);
};

/// A column of both series.
struct ComparedColumn {
    std::string name;
    std::string unit;
    bool angle = false; ///< of degrees: 359 and 1 differ by 2
};

/// A row of the first series and its counterpart in the second.
struct Pair {
    std::size_t first;
    std::size_t second;
};

/// Rows whose time stamps agree.
struct Pairing {
    std::vector<Pair> pairs; ///< in the order of the first series
    std::size_t onlyFirst = 0;
    std::size_t onlySecond = 0;
    /// Rows whose stamp stands in both series, but not as many times: which of them belong together is open.
    std::size_t openFirst = 0;
    std::size_t openSecond = 0;
};

/// Pairs the rows of two series by their time stamps. A stamp that occurs several times, because the clock was set
/// back or has wrapped, is paired occurrence by occurrence if both series hold it the same number of times.
/// Notes  1  The order of the stamps is of no importance, so neither a wrap nor a jump nor a missing row disturbs it.
Pairing paired(const std::vector<std::uint32_t>& first, const std::vector<std::uint32_t>& second);

/// How far a quantity differs over the rows that were compared.
struct Difference {
    Spread spread;        ///< of the magnitudes of the differences
    Pair worst{};         ///< the rows of the largest one
    std::size_t lone = 0; ///< rows in which the values are not both finite and not the same; not part of the spread
    Pair firstLone{};
};

struct Comparison {
    Pairing rows;
    std::size_t compared = 0;
    std::size_t onlyFirstUsable = 0;  ///< rows of the pairing that may be compared in the first series alone
    std::size_t onlySecondUsable = 0; ///< the same of the second
    std::size_t neitherUsable = 0;
    std::size_t withoutEarlier = 0; ///< the lag leads to before the first row of the second series
    Difference orientation;         ///< the angle of the rotation between both, degrees
    std::vector<Difference> columns;
};

/// Compares each row of the first series with the row of the second that stands so many rows before its counterpart.
/// A row is compared if it and its counterpart are to be compared and both orientations are there.
Comparison compared(const Series& first, const Series& second, const std::vector<ComparedColumn>& columns,
                    std::int64_t lag = 0);

/// The rows of both series that `compared` compares.
/// Returned  counts  what became of the others: everything but the differences
std::vector<Pair> comparedRows(const Series& first, const Series& second, std::int64_t lag, Comparison& counts);

/// How far an orientation is off: the rotation that takes the second of a pair to the first.
struct Turn {
    double angle = 0.0;       ///< degrees, as the difference of the orientations in a comparison
    simulation::Vec3 about{}; ///< degrees about the axes of the frame that both lead to; their length is the angle
};
Turn turnOf(const Mat3& first, const Mat3& second);

/// By how much a matrix misses being a rotation: the largest of |M M' - I| in its elements and |det M - 1|; nan if an
/// element is not finite.
double offRotation(const Mat3& matrix);

/// Beyond this, six digits, a matrix is not taken for a rotation.
constexpr double kMostOffRotation = 1e-6;

} // namespace kor::accuracy
