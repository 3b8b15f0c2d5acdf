#include "mek/Polyfit.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "mek/Scratch.h"

namespace mek {

namespace {

constexpr double kEpsilon = 0x1p-52;     // spacing of the doubles at 1
constexpr std::uint64_t kNearTerms = 16; // fits of up to this many coefficients run on the stack

// Interleaved (x, y) pairs.
struct Pairs {
    const double* xy;
    std::ptrdiff_t count;

    double x(std::ptrdiff_t i) const { return xy[2 * i]; }
    double y(std::ptrdiff_t i) const { return xy[2 * i + 1]; }
};

double meanX(const Pairs& pairs)
{
    double sum = 0.0;
    for (std::ptrdiff_t i = 0; i < pairs.count; ++i) {
        sum += pairs.x(i);
    }
    return sum / static_cast<double>(pairs.count);
}

double meanY(const Pairs& pairs)
{
    double sum = 0.0;
    for (std::ptrdiff_t i = 0; i < pairs.count; ++i) {
        sum += pairs.y(i);
    }
    return sum / static_cast<double>(pairs.count);
}

// What is left where no fit can be made: the mean, and no dependence on x.
int noFit(const Pairs& pairs, std::ptrdiff_t order, double* coeffs)
{
    for (std::ptrdiff_t j = 0; j <= order; ++j) {
        coeffs[j] = 0.0;
    }
    if (order >= 0 && pairs.count > 0) {
        coeffs[0] = meanY(pairs);
    }
    return 1;
}

bool allEqual(const Pairs& pairs)
{
    for (std::ptrdiff_t i = 1; i < pairs.count; ++i) {
        if (pairs.x(i) != pairs.x(0)) {
            return false;
        }
    }
    return true;
}

int fitLine(const Pairs& pairs, double* coeffs)
{
    if (allEqual(pairs)) {
        return noFit(pairs, 1, coeffs);
    }

    const double xMean = meanX(pairs);
    const double yMean = meanY(pairs);
    double covariance = 0.0;
    double variance = 0.0;
    for (std::ptrdiff_t i = 0; i < pairs.count; ++i) {
        const double dx = pairs.x(i) - xMean;
        covariance += dx * (pairs.y(i) - yMean);
        variance += dx * dx;
    }
    const double slope = covariance / variance;
    coeffs[0] = yMean - slope * xMean;
    coeffs[1] = slope;
    return 0;
}

// Turns the equation `row` (terms, then right-hand side) into the triangle above it, one Givens rotation per column.
void rotateIn(double* triangle, double* row, std::ptrdiff_t terms)
{
    for (std::ptrdiff_t k = 0; k < terms; ++k) {
        double* const above = triangle + k * (terms + 1);
        const double r = std::hypot(above[k], row[k]);
        if (r == 0.0) {
            continue;
        }
        const double c = above[k] / r;
        const double s = row[k] / r;
        for (std::ptrdiff_t j = k; j <= terms; ++j) {
            const double upper = above[j];
            const double lower = row[j];
            above[j] = c * upper + s * lower;
            row[j] = c * lower - s * upper;
        }
    }
}

int fitPolynomial(const Pairs& pairs, std::ptrdiff_t order, double* coeffs)
{
    // The pairs are taken one by one, so the memory depends on the order only: a triangle of `terms` rows with its
    // right-hand side, and one row more for the pair at hand.
    const std::ptrdiff_t terms = order + 1;
    const auto size = static_cast<std::uint64_t>(terms) + 1;
    Scratch<(kNearTerms + 1) * (kNearTerms + 1)> scratch(size * size);
    double* const triangle = scratch.data();
    if (triangle == nullptr) {
        return noFit(pairs, order, coeffs);
    }
    std::fill_n(triangle, terms * (terms + 1), 0.0);
    double* const row = triangle + terms * (terms + 1);

    // x shifted and scaled to t in [-1, 1]; halves are taken first so that no range overflows.
    double low = pairs.x(0);
    double high = pairs.x(0);
    for (std::ptrdiff_t i = 1; i < pairs.count; ++i) {
        low = std::min(low, pairs.x(i));
        high = std::max(high, pairs.x(i));
    }
    const double centre = 0.5 * low + 0.5 * high;
    const double half = 0.5 * high - 0.5 * low;

    for (std::ptrdiff_t i = 0; i < pairs.count; ++i) {
        const double t = (pairs.x(i) - centre) / half;
        row[0] = 1.0;
        for (std::ptrdiff_t j = 1; j < terms; ++j) {
            row[j] = row[j - 1] * t;
        }
        row[terms] = pairs.y(i);
        rotateIn(triangle, row, terms);
    }

    // A diagonal element that rounding could have made, or a NaN, means too few different x.
    const double threshold = static_cast<double>(pairs.count) * static_cast<double>(terms) * kEpsilon * triangle[0];
    for (std::ptrdiff_t k = 0; k < terms; ++k) {
        if (!(std::fabs(triangle[k * (terms + 1) + k]) > threshold)) {
            return noFit(pairs, order, coeffs);
        }
    }

    // Back substitution: coefficients in t.
    for (std::ptrdiff_t k = order; k >= 0; --k) {
        const double* const equation = triangle + k * (terms + 1);
        double value = equation[terms];
        for (std::ptrdiff_t j = k + 1; j < terms; ++j) {
            value -= equation[j] * coeffs[j];
        }
        coeffs[k] = value / equation[k];
    }

    // From t to x - centre, then the Taylor shift to x by repeated synthetic division.
    double scale = 1.0;
    for (std::ptrdiff_t j = 1; j < terms; ++j) {
        scale *= half;
        coeffs[j] /= scale;
    }
    for (std::ptrdiff_t i = 0; i < order; ++i) {
        for (std::ptrdiff_t j = order - 1; j >= i; --j) {
            coeffs[j] -= centre * coeffs[j + 1];
        }
    }
    return 0;
}

} // namespace

int JPolyfit(int count, const double* xy, int order, double* coeffs) noexcept
{
    const Pairs pairs{xy, count};
    if (order < 0 || count <= order) {
        return noFit(pairs, order, coeffs);
    }
    if (order == 0) {
        coeffs[0] = meanY(pairs);
        return 0;
    }
    if (order == 1) {
        return fitLine(pairs, coeffs);
    }
    return fitPolynomial(pairs, order, coeffs);
}

} // namespace mek
