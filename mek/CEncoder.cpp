#include "mek/CEncoder.h"

#include <algorithm>
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
        return correction(piece(lastReached(0, m_count, reachedBy(p))), p);
    }

    static double correction(const EncoderPiece& piece, double p)
    {
        return piece.width > 0.0 ? piece.correctionAt(std::clamp(piece.shareAt(p), 0.0, 1.0)) : piece.correction;
    }

    // End of the readings at and behind the begin of a row's piece that need no turns taken off, their share not
    // bounded, and the result not looked at: rounding is monotonous, so what holds for the end holds for all before it.
    // The begin if that is not sure.
    double plainEnd(std::ptrdiff_t row, const EncoderPiece& piece) const
    {
        constexpr double kMargin = 1e-6; // degrees, many times the rounding of a full turn
        constexpr double kHuge = 1e30;   // sums of a few such values still are floats
        const double turn = key(0) + (kTurn - kMargin);
        const double end = row + 1 < m_count ? std::min(key(row + 1), turn) : turn;
        const bool isPlain = end - key(0) < kTurn && piece.shareAt(end) <= 1.0;
        const bool isSmall =
            std::fabs(key(0)) < kHuge && std::fabs(piece.correction) < kHuge && std::fabs(piece.rise) < kHuge;
        return isPlain && isSmall ? end : piece.begin;
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
    m_last = {};
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
    }
    if (!m_last.isOrdered) {
        return encCalibration(reading);
    }
    const double r = static_cast<double>(reading);
    const double p = readings.broughtIn(r);
    const std::ptrdiff_t row = lastReachedNear(m_last.row, m_count, readings.reachedBy(p));
    m_last.row = row;
    m_last.piece = readings.piece(row);
    m_last.end = readings.plainEnd(row, m_last.piece);
    return finiteOr(r + Scale::correction(m_last.piece, p), reading);
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
