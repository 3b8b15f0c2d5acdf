#include "mek/Spline.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "mek/Search.h"

namespace mek {

namespace {

double difference(const float* values, std::ptrdiff_t i)
{
    return static_cast<double>(values[i + 1]) - static_cast<double>(values[i]);
}

// Tells of a knot whether it lies at or before x, in the direction of the table.
auto reachedBy(const float* knots, float x, bool ascending)
{
    return [=](std::ptrdiff_t knot) { return ascending ? knots[knot] <= x : knots[knot] >= x; };
}

bool isMonotone(const float* knots, std::ptrdiff_t segments)
{
    const bool ascending = knots[0] <= knots[segments];
    for (std::ptrdiff_t i = 0; i < segments; ++i) {
        if (!(ascending ? knots[i] < knots[i + 1] : knots[i] > knots[i + 1])) {
            return false;
        }
    }
    return true;
}

// Looks up the interval of an x within the range of a table that runs one way.
void lookUp(SplinePiece& piece, const float* knots, const double* coeffs, std::ptrdiff_t segments, float x)
{
    const bool ascending = knots[0] <= knots[segments];
    const std::ptrdiff_t i = lastReachedNear(piece.interval, segments, reachedBy(knots, x, ascending));
    piece.interval = i;
    piece.least = std::min(knots[i], knots[i + 1]);
    piece.most = std::max(knots[i], knots[i + 1]);
    piece.begin = static_cast<double>(knots[i]);
    std::copy_n(coeffs + 4 * i, 4, piece.c);
}

} // namespace

void CubicSplines(const float* x, const float* y, int n, double* coeffs) noexcept
{
    const std::ptrdiff_t segments = n;
    if (segments < 1) {
        return;
    }

    // Forward sweep of the tridiagonal system for c2 at the inner knots, the end values being zero:
    //   h[i-1] c2[i-1] + 2 (h[i-1] + h[i]) c2[i] + h[i] c2[i+1] = 3 (slope[i] - slope[i-1]).
    // The reduced equation c2[i] = c[2] - c[3] c2[i+1] waits in the places of its own interval, so no other memory
    // is needed.
    coeffs[2] = 0.0;
    coeffs[3] = 0.0;
    double hBefore = difference(x, 0);
    double slopeBefore = difference(y, 0) / hBefore;
    for (std::ptrdiff_t i = 1; i < segments; ++i) {
        const double h = difference(x, i);
        const double slope = difference(y, i) / h;
        double* const c = coeffs + 4 * i;
        const double diagonal = 2.0 * (hBefore + h) - hBefore * c[-1];
        c[2] = (3.0 * (slope - slopeBefore) - hBefore * c[-2]) / diagonal;
        c[3] = h / diagonal;
        hBefore = h;
        slopeBefore = slope;
    }

    // Back substitution, and the other coefficients from c2 at both ends of each interval.
    double c2Next = 0.0;
    for (std::ptrdiff_t i = segments - 1; i >= 0; --i) {
        const double h = difference(x, i);
        double* const c = coeffs + 4 * i;
        c[2] -= c[3] * c2Next;
        c[0] = static_cast<double>(y[i]);
        c[1] = difference(y, i) / h - h * (2.0 * c[2] + c2Next) / 3.0;
        c[3] = (c2Next - c[2]) / (3.0 * h);
        c2Next = c[2];
    }
}

float CalcSpline(bool checkRange, const float* knots, const double* coeffs, int segments, float x,
                 bool* outOfRange) noexcept
{
    if (knots == nullptr || coeffs == nullptr || segments < 1) {
        *outOfRange = checkRange;
        return x;
    }

    const float first = knots[0];
    const float last = knots[segments];
    const bool inside = (first <= x && x <= last) || (last <= x && x <= first);
    *outOfRange = checkRange && !inside;
    if (std::isnan(x)) {
        return x;
    }

    const bool ascending = first <= last;
    const bool before = ascending ? x < first : x > first;
    const bool past = ascending ? x > last : x < last;
    const std::ptrdiff_t i = before ? 0
                             : past ? segments - 1
                                    : lastReached(0, segments, reachedBy(knots, x, ascending));
    const double* const c = coeffs + 4 * i;
    const double t = static_cast<double>(x) - static_cast<double>(knots[i]);

    if (before) {
        return static_cast<float>(c[0] + c[1] * t);
    }
    if (past) {
        const double h = difference(knots, i);
        const double end = c[0] + h * (c[1] + h * (c[2] + h * c[3]));
        const double slope = c[1] + h * (2.0 * c[2] + h * (3.0 * c[3]));
        return static_cast<float>(end + slope * (t - h));
    }
    return static_cast<float>(c[0] + t * (c[1] + t * (c[2] + t * c[3])));
}

float findSplinePiece(SplinePiece& piece, const SplineTable& table, float x, bool* outOfRange) noexcept
{
    const auto [knots, coeffs, segments, revision] = table;
    if (knots == nullptr || coeffs == nullptr || segments < 1) {
        return CalcSpline(true, knots, coeffs, segments, x, outOfRange);
    }
    if (revision != piece.revision) {
        piece = {};
        piece.revision = revision;
        piece.isMonotone = isMonotone(knots, segments);
    }
    const float least = std::min(knots[0], knots[segments]);
    const float most = std::max(knots[0], knots[segments]);
    if (!piece.isMonotone || !(least <= x && x <= most)) {
        return CalcSpline(true, knots, coeffs, segments, x, outOfRange);
    }
    lookUp(piece, knots, coeffs, segments, x);
    *outOfRange = false;
    return piece.at(x);
}

} // namespace mek
