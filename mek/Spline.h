// Natural cubic splines.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mek {

/// Natural cubic spline: second derivative zero at both ends.
/// Given     x, y    n + 1 points, x strictly ascending or strictly descending
///           n       intervals; below 1 nothing is read or written
/// Returned  coeffs  4 n: interval i has c0, c1, c2, c3 of c0 + c1 t + c2 t^2 + c3 t^3 at coeffs[4 i], t = X - x[i]
/// Accuracy  values between the ends to 1e-14 of the largest of them, up to 41 points (tests/mek/spline_test.cpp)
/// Notes  1  The tridiagonal system for the second derivatives (Press et al., Numerical Recipes, 3.3), in double and
///           inside coeffs: nothing allocates.
///        2  n = 1 gives the straight line.
///        3  Knots that repeat, turn back or are not numbers give coefficients of no meaning, NaN among them.
void CubicSplines(const float* x, const float* y, int n, double* coeffs) noexcept;

/// Value of a natural cubic spline.
/// Given     checkRange  whether x is to be checked against the table
///           knots       segments + 1, strictly ascending or strictly descending
///           coeffs      as CubicSplines writes them
///           segments    intervals
///           x           where
/// Returned  value       evaluated in double, narrowed
///           outOfRange  checkRange, and x outside the closed range of the first and the last knot (a NaN is outside)
/// Accuracy  half a float ulp of the exact spline of the coefficients, but for double roundings
///           (tests/mek/spline_test.cpp)
/// Notes  1  Beyond the ends runs the straight line through the end knot with the end slope, which is how a natural
///           spline continues.
///        2  A knot belongs to the interval that begins there in index order, the last knot to the last interval.
///        3  Without a table (a null pointer, or segments < 1) the value is x unchanged and outOfRange is checkRange:
///           a level without a table is not trusted.
///        4  A NaN x comes back unchanged.
///        5  Nothing allocates; a table out of order costs its meaning, but nothing outside it is read.
float CalcSpline(bool checkRange, const float* knots, const double* coeffs, int segments, float x,
                 bool* outOfRange) noexcept;

/// The interval of a spline that a value came from, for whoever evaluates the spline again and again.
struct SplinePiece {
    std::uint64_t revision = 0; ///< of the table that all of this belongs to; 0 for none
    std::ptrdiff_t interval = 0;
    float least = 0.0F; ///< its knots, the smaller one first; both 0 if there is none
    float most = 0.0F;
    double begin = 0.0;      ///< its knot
    double c[4] = {};        ///< its coefficients
    bool isMonotone = false; ///< whether the knots run one way

    /// Whether it is of that table, and x lies in it. A knot belongs to one of two intervals: it is looked up every
    /// time.
    bool holds(std::uint64_t wanted, float x) const noexcept { return revision == wanted && x > least && x < most; }

    /// Value of the cubic.
    float at(float x) const noexcept
    {
        const double t = static_cast<double>(x) - begin;
        return static_cast<float>(c[0] + t * (c[1] + t * (c[2] + t * c[3])));
    }
};

/// A level's table whose changes are counted.
struct SplineTable {
    const float* knots;
    const double* coeffs;
    int segments;
    std::uint64_t revision; ///< number of the content, above 0: another one whenever a value has been written
};

/// CalcSpline with a range check.
/// Returned  piece       holds x, if x lies in the table's range and the knots run one way: until a value leaves it,
///                       that is the value, in range
/// Notes  1  The search begins at the piece. Knots out of order are searched as above every time; whether they
///           are, is looked at once for a revision.
float findSplinePiece(SplinePiece& piece, const SplineTable& table, float x, bool* outOfRange) noexcept;

} // namespace mek
