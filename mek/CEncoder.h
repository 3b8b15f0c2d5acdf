// Calibration of one encoder axis.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mek {

/// One turn, degrees.
inline constexpr double kTurn = 360.0;

/// A piece of a calibration table along which the correction runs straight.
struct EncoderPiece {
    double begin;      ///< where it begins
    double width;      ///< of a table in order: above 0
    double correction; ///< at the begin
    double rise;       ///< of the correction over the width

    /// Share of the width that a place lies behind the begin.
    double shareAt(double place) const noexcept { return (place - begin) / width; }
    double correctionAt(double share) const noexcept { return correction + rise * share; }
};

/// Calibration table of one encoder axis: rows of (reading, correction), degrees, readings strictly ascending over
/// at most one turn. The calibrated angle is the reading plus the correction; between the rows the correction runs
/// straight, from the last row it runs on to the first one a turn later (the rollover), and it repeats with the turn.
/// Notes  1  A copy shares the table, which its owner keeps alive.
///        2  Nothing allocates; an application costs one binary search, or none when the table is known to be the one
///           of the application before and the reading has not left its piece.
///        3  A table that is not as described gives finite results of no meaning, and nothing outside it is read.
class CEncoder {
public:
    /// The table to apply from now on.
    /// Given  table  2 x count floats: reading, correction, reading, ...; kept as a pointer
    ///        count  rows
    /// Notes  1  A null table or a count below 1 means no correction: angles then pass unchanged.
    void setCalTable(const float* table, int count) noexcept;

    /// Remembers the encoder's reading, degrees. No result depends on it.
    void setRawReading(float reading) noexcept { m_reading = reading; }

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
    /// Notes  1  When the reading leaves its piece the search begins there. A table out of order is
    ///           searched as above every time; whether it is, is looked at once for a revision.
    float encCalibration(float reading, std::uint64_t revision) noexcept
    {
        const double place = static_cast<double>(reading);
        const EncoderPiece& piece = m_last.piece;
        if (revision == m_last.revision && place >= piece.begin && place < m_last.end) [[likely]] {
            return static_cast<float>(place + piece.correctionAt(piece.shareAt(place)));
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

    /// What the last application found out about the content of a revision; nothing about revision 0.
    struct Last {
        std::uint64_t revision = 0;
        bool isOrdered = false;
        std::ptrdiff_t row = 0;
        EncoderPiece piece = {};
        /// Readings from the piece's begin up to here lie in it as they are, without turns taken off, at a share from 0
        /// to 1, and every result is finite; not above the begin if there are none.
        double end = 0.0;
    };
    Last m_last;
};

} // namespace mek
