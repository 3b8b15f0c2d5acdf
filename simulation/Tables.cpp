#include "simulation/Tables.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kor::simulation {

double EncoderTable::calibrated(double reading) const
{
    const std::size_t count = rows.size() / 2;
    if (count == 0) {
        return reading;
    }
    const double first = rows[0];
    const double within = reading - 360.0 * std::floor((reading - first) / 360.0);
    std::size_t i = count - 1;
    while (i > 0 && within < rows[2 * i]) {
        --i;
    }
    const bool last = i + 1 == count;
    const double x0 = rows[2 * i];
    const double x1 = last ? first + 360.0 : rows[2 * i + 2];
    const double c0 = rows[2 * i + 1];
    const double c1 = last ? rows[1] : rows[2 * i + 3];
    return reading + (x1 > x0 ? c0 + (c1 - c0) * (within - x0) / (x1 - x0) : c0);
}

double EncoderTable::reading(double angle) const
{
    const std::size_t count = rows.size() / 2;
    if (count == 0) {
        return angle;
    }
    const double start = static_cast<double>(rows[0]) + rows[1];
    const double turns = 360.0 * std::floor((angle - start) / 360.0);
    const double within = angle - turns;
    std::size_t i = count - 1;
    while (i > 0 && within < static_cast<double>(rows[2 * i]) + rows[2 * i + 1]) {
        --i;
    }
    const bool last = i + 1 == count;
    const double x0 = rows[2 * i];
    const double x1 = last ? rows[0] + 360.0 : rows[2 * i + 2];
    const double y0 = x0 + rows[2 * i + 1];
    const double y1 = x1 + (last ? rows[1] : rows[2 * i + 3]);
    return y1 > y0 ? x0 + (x1 - x0) * (within - y0) / (y1 - y0) + turns : x0 + turns;
}

double LevelTable::value(std::size_t interval, double t) const
{
    const double* const c = &coefficients[4 * interval];
    return c[0] + t * (c[1] + t * (c[2] + t * c[3]));
}

double LevelTable::slope(std::size_t interval, double t) const
{
    const double* const c = &coefficients[4 * interval];
    return c[1] + t * (2.0 * c[2] + t * 3.0 * c[3]);
}

double LevelTable::angle(double reading) const
{
    if (!present()) {
        return reading;
    }
    const std::size_t last = knots.size() - 2; // interval
    const double direction = knots.back() > knots.front() ? 1.0 : -1.0;
    if ((reading - knots.front()) * direction < 0.0) {
        return coefficients[0] + slope(0, 0.0) * (reading - knots.front());
    }
    const double end = static_cast<double>(knots[last + 1]) - knots[last];
    if ((reading - knots.back()) * direction > 0.0) {
        return value(last, end) + slope(last, end) * (reading - knots.back());
    }
    std::size_t i = last;
    while (i > 0 && (reading - knots[i]) * direction < 0.0) {
        --i;
    }
    return value(i, reading - knots[i]);
}

double LevelTable::reading(double angle) const
{
    if (!present()) {
        return angle;
    }
    const std::size_t last = knots.size() - 2;
    const double end = static_cast<double>(knots[last + 1]) - knots[last];
    const double lowest = coefficients[0];
    const double highest = value(last, end);
    const double direction = highest > lowest ? 1.0 : -1.0;
    if ((angle - lowest) * direction < 0.0) {
        return knots.front() + (angle - lowest) / slope(0, 0.0);
    }
    if ((angle - highest) * direction > 0.0) {
        return knots.back() + (angle - highest) / slope(last, end);
    }
    for (std::size_t i = 0; i <= last; ++i) {
        double low = 0.0;
        double high = static_cast<double>(knots[i + 1]) - knots[i];
        if ((angle - value(i, low)) * (angle - value(i, high)) > 0.0) {
            continue;
        }
        const double rising = value(i, high) > value(i, low) ? 1.0 : -1.0;
        for (int steps = 0; steps < 100; ++steps) {
            const double middle = 0.5 * (low + high);
            ((value(i, middle) - angle) * rising < 0.0 ? low : high) = middle;
        }
        return knots[i] + 0.5 * (low + high);
    }
    return std::numeric_limits<double>::quiet_NaN();
}

bool LevelTable::outside(double reading) const
{
    return !present() ||
           !(reading >= std::min(knots.front(), knots.back()) && reading <= std::max(knots.front(), knots.back()));
}

} // namespace kor::simulation
