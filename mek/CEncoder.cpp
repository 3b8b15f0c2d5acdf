#include "mek/CEncoder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace mek {

namespace {

constexpr double kTurn = 360.0; // degrees

// A calibration table seen along one of its two scales: the readings, or the calibrated angles (reading plus
// correction). Linear pieces are linear along both, so one interpolation serves both directions.
class Scale {
public:
    Scale(const float* table, int count, bool calibrated) : m_table(table), m_count(count), m_calibrated(calibrated) {}

    // Correction at `position`, any number of turns away. Finite for a table in order; for any other table it may
    // be infinite or NaN, but nothing outside the table is read.
    double correction(double position) const
    {
        const double p = broughtIn(position);
        const std::ptrdiff_t row = rowBefore(p);
        const std::ptrdiff_t next = row + 1 < m_count ? row + 1 : 0;

        // Past the last row the rollover: the first row, one turn later.
        const double begin = key(row);
        const double width = (next == 0 ? key(0) + kTurn : key(next)) - begin;
        if (!(width > 0.0)) {
            return correctionOf(row);
        }
        const double part = std::clamp((p - begin) / width, 0.0, 1.0);
        return correctionOf(row) + (correctionOf(next) - correctionOf(row)) * part;
    }

private:
    double correctionOf(std::ptrdiff_t row) const { return static_cast<double>(m_table[2 * row + 1]); }

    double key(std::ptrdiff_t row) const
    {
        const double reading = static_cast<double>(m_table[2 * row]);
        return m_calibrated ? reading + correctionOf(row) : reading;
    }

    // `position` brought into [first key, first key + one turn) by whole turns.
    double broughtIn(double position) const
    {
        const double first = key(0);
        const double ahead = position - first;
        if (ahead >= 0.0 && ahead < kTurn) {
            return position;
        }
        // Turns are taken off before the difference, where that is exact however many they are.
        const double offset = std::fmod(std::fmod(position, kTurn) - first, kTurn);
        return first + (offset < 0.0 ? offset + kTurn : offset);
    }

    // The last row at or before p; the first row if p lies before it.
    std::ptrdiff_t rowBefore(double p) const
    {
        std::ptrdiff_t low = 0;
        std::ptrdiff_t high = m_count;
        while (high - low > 1) {
            const std::ptrdiff_t middle = low + (high - low) / 2;
            (key(middle) <= p ? low : high) = middle;
        }
        return low;
    }

    const float* m_table;
    std::ptrdiff_t m_count;
    bool m_calibrated;
};

// A table out of order can make corrections that no float holds; the argument itself then stands.
float finiteOr(double value, float argument)
{
    constexpr double kLargest = std::numeric_limits<float>::max();
    return std::fabs(value) <= kLargest ? static_cast<float>(value) : argument;
}

} // namespace

void CEncoder::setCalTable(const float* table, int count) noexcept
{
    m_table = table;
    m_count = table == nullptr ? 0 : count;
}

void CEncoder::setRawReading(float reading) noexcept
{
    m_reading = reading;
}

float CEncoder::encCalibration(float reading) const noexcept
{
    if (m_count < 1 || !std::isfinite(reading)) {
        return reading;
    }
    const double r = static_cast<double>(reading);
    return finiteOr(r + Scale(m_table, m_count, false).correction(r), reading);
}

float CEncoder::inverseEncCalibration(float angle) const noexcept
{
    if (m_count < 1 || !std::isfinite(angle)) {
        return angle;
    }
    const double a = static_cast<double>(angle);
    return finiteOr(a - Scale(m_table, m_count, true).correction(a), angle);
}

} // namespace mek
