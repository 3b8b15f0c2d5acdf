#include "mek/CEncoder.h"

#include <cmath>
#include <cstddef>
#include <limits>

#include "mek/Search.h"

namespace mek {

namespace {

// What is left of an angle when whole turns are taken off; exact, with the angle's sign.
double withinOneTurn(double angle)
{
    return std::fabs(angle) < kTurn ? angle : std::fmod(angle, kTurn);
}

// A calibration table seen along one of its two scales: the readings, or the calibrated angles (reading plus
// correction). Linear pieces are linear along both, so one interpolation serves both directions.
class Scale {
public:
    Scale(const float* table, int count, bool calibrated) : m_table(table), m_count(count), m_calibrated(calibrated) {}

    // Tells of a row whether it lies at or before p.
    auto reachedBy(double p) const
    {
        return [this, p](std::ptrdiff_t row) { return key(row) <= p; };
    }

    // Correction at `position`, any number of turns away. Finite for a table in order; for any other table it may
    // be infinite or NaN, but nothing outside the table is read.
    double correction(double position) const
    {
        const double p = broughtIn(position);
        return piece(lastReached(0, m_count, reachedBy(p))).correctionAt(p);
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
        const double offset = withinOneTurn(withinOneTurn(position) - first);
        return first + (offset < 0.0 ? offset + kTurn : offset);
    }

    // From a row to the next one.
    EncoderPiece piece(std::ptrdiff_t row) const
    {
        const std::ptrdiff_t next = row + 1 < m_count ? row + 1 : 0;

        // Past the last row the rollover: the first row, one turn later.
        const double begin = key(row);
        const double width = (next == 0 ? key(0) + kTurn : key(next)) - begin;
        return {begin, width, correctionOf(row), correctionOf(next) - correctionOf(row)};
    }

    double key(std::ptrdiff_t row) const
    {
        const double reading = static_cast<double>(m_table[2 * row]);
        return m_calibrated ? reading + correctionOf(row) : reading;
    }

    bool isOrdered() const
    {
        for (std::ptrdiff_t row = 1; row < m_count; ++row) {
            if (!(key(row - 1) < key(row))) {
                return false;
            }
        }
        return true;
    }

private:
    double correctionOf(std::ptrdiff_t row) const { return static_cast<double>(m_table[2 * row + 1]); }

    const float* m_table;
    std::ptrdiff_t m_count;
    bool m_calibrated;
};

} // namespace

void CEncoder::setCalTable(const float* table, int count) noexcept
{
    m_table = table;
    m_count = table == nullptr ? 0 : count;
    m_last = {};
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

float CEncoder::searchedCalibration(float reading, std::uint64_t revision) noexcept
{
    if (m_count < 1 || !std::isfinite(reading)) {
        return reading;
    }
    const Scale readings(m_table, m_count, false);
    if (revision != m_last.revision) {
        m_last = {};
        m_last.revision = revision;
        m_last.isOrdered = readings.isOrdered();
        m_last.first = readings.key(0);
    }
    if (!m_last.isOrdered) {
        return encCalibration(reading);
    }
    const double r = static_cast<double>(reading);
    const double p = readings.broughtIn(r);
    const std::ptrdiff_t row = lastReachedNear(m_last.row, m_count, readings.reachedBy(p));
    m_last.row = row;
    m_last.piece = readings.piece(row);
    m_last.end = row + 1 < m_count ? readings.key(row + 1) : std::numeric_limits<double>::infinity();
    return finiteOr(r + m_last.piece.correctionAt(p), reading);
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
