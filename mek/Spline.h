// Natural cubic splines.
#pragma once

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

} // namespace mek
