// Calibration of one encoder axis.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace mek {

/// One turn, degrees.
inline constexpr double kTurn = 360.0;

/// A piece of a calibration table along which the correction runs straight.
struct EncoderPiece {
    double begin;      ///< where it begins
    double width;      ///< above 0; a piece without width has the correction of its begin
    double correction; ///< at the begin
    double rise;       ///< of the correction over the width

    double correctionAt(double place) const noexcept
    {
        return width > 0.0 ? correction + rise * std::clamp((place - begin) / width, 0.0, 1.0) : correction;
    }
};

/// `value` narrowed, or `argument` if no float holds it: a table out of order can make such corrections.
inline float finiteOr(double value, float argument) noexcept
{
    constexpr double kLargest = std::numeric_limits<float>::max();
    return std::fabs(value) <= kLargest ? static_cast<float>(value) : argument;
}

/// Calibration table of one encoder axis: rows of (reading, correction), degrees, readings strictly ascending over
/// at most one turn. The calibrated angle is the reading plus the correction; between the rows the correction runs
/// straight, from the last row it runs on to the first one a turn later (the rollover), and it repeats with the turn.
/// Notes  1  A copy shares the table, which its owner keeps alive.
///        2  Nothing allocates; an application costs one binary search, or none when the table is known to be the one
///        of
///           the application before and the reading has not left its piece.
///        3  A table that is not as described gives finite results of no meaning, and nothing outside it is read.
class CEncoder {
public:
    /// The table to apply from now on.
    /// Given  table  2 x count floats: reading, correction, reading, ...; kept as a pointer
    ///        count  rows
    /// Notes  1  A null table or a count below 1 means no correction: angles then pass unchanged.
    void setCalTable(const float* table, int count) noexcept;

    /// Remembers the encoder's reading, degrees. No result depends on it.
    void setRawReading(float reading) noexcept;

    /// Calibrated angle of a reading.
    /// Given     reading  degrees, any number of turns
    /// Returned  angle    degrees: the reading itself plus its correction, summed in double and narrowed
    /// Accuracy  half a float ulp of the exact piecewise-linear curve within 1000 turns, but for double roundings
    ///           (tests/mek/encoder_test.cpp)
    /// Notes  1  One row is a constant correction.
    ///        2  A NaN or infinite reading comes back unchanged.
    float encCalibration(float reading) const noexcept;

    /// The same, for a table whose changes are counted: the piece that the reading lay in is kept for the next one.
    /// Given     revision  number of the table's content, above 0: another one whenever a row has been written
    /// Notes  1  When the reading leaves its piece the search goes outwards from there. A table out of order is
    /// searched
    ///           as above every time; whether it is, is looked at once for a revision.
    float encCalibration(float reading, std::uint64_t revision) noexcept
    {
        const double place = static_cast<double>(reading);
        const double ahead = place - m_last.first;
        const EncoderPiece& piece = m_last.piece;
        if (revision == m_last.revision && ahead >= 0.0 && ahead < kTurn && place >= piece.begin &&
            place < m_last.end) {
            return finiteOr(place + piece.correctionAt(place), reading);
        }
        return searchedCalibration(reading, revision);
    }

    /// Reading of a calibrated angle.
    /// Given     angle    degrees, any number of turns
    /// Returned  reading  degrees: encCalibration of it is the angle
    /// Accuracy  the exact solution on the piecewise-linear curve, narrowed: forward after inverse meets the angle
    ///           to one ulp of the larger of angle and reading, within 1000 turns (tests/mek/encoder_test.cpp)
    /// Notes  1  For curves that ascend (every correction slope above -1); other curves give some finite result.
    ///        2  A NaN or infinite angle comes back unchanged.
    ///        3  A piece that is straight over the readings is straight over the calibrated angles too, so the
    ///           correction is interpolated between its calibrated ends and taken off the angle; nothing iterates.
    float inverseEncCalibration(float angle) const noexcept;

private:
    float searchedCalibration(float reading, std::uint64_t revision) noexcept;

    const float* m_table = nullptr;
    int m_count = 0;
    float m_reading = 0.0F;

    // What the last application found out about the content of a revision; nothing about revision 0.
    struct Last {
        std::uint64_t revision = 0;
        bool isOrdered = false;
        double first = 0.0; // reading of the table
        std::ptrdiff_t row = 0;
        EncoderPiece piece = {};
        double end = 0.0; // of the piece; not above its begin if there is none
    };
    Last m_last;
};

} // namespace mek
