// Calibration of one encoder axis.
#pragma once

namespace mek {

/// Calibration table of one encoder axis: rows of (reading, correction), degrees, readings strictly ascending over
/// at most one turn. The calibrated angle is the reading plus the correction; between the rows the correction runs
/// straight, from the last row it runs on to the first one a turn later (the rollover), and it repeats with the turn.
/// Notes  1  A copy shares the table, which its owner keeps alive.
///        2  Nothing allocates; an application costs one binary search.
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
    const float* m_table = nullptr;
    int m_count = 0;
    float m_reading = 0.0F;
};

} // namespace mek
