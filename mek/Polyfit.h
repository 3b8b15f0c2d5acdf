// Least-squares polynomials.
#pragma once

namespace mek {

/// Polynomial of least squares through points.
/// Given     count   points
///           xy      count interleaved pairs (x, y)
///           order   of the polynomial
/// Returned  coeffs  order + 1 of them; coeffs[j] multiplies x^j, so coeffs[1] of order 1 is the slope
///           code    0 fitted; 1 no fit: coeffs are zero but for coeffs[0], the mean of y (zero without points)
/// Accuracy  the slope of 51 points 0.02 apart, x up to 1e5, to 1e-13 for slopes up to 3; the coefficients of exact
///           polynomials of order 2 to 5 on [-3, 3] to 1e-12 (tests/mek/polyfit_test.cpp)
/// Notes  1  No fit: count <= order, order < 0 (nothing is written then), x values that cannot carry the order, or no
///           memory for the scratch of a large order. Order 1 needs two x that differ as values; a higher order needs
///           a triangle whose diagonal is not mere rounding, which a NaN x does not give either.
///        2  Order 0 is the mean. Order 1 is taken about the means: slope = sum (x - mx)(y - my) / sum (x - mx)^2,
///           intercept = my - slope mx.
///        3  Higher orders: QR decomposition by Givens rotations, point by point (Golub & Van Loan, Matrix
///           Computations, 5.2), on x shifted and scaled to [-1, 1]; the coefficients are mapped back by a Taylor
///           shift, which loses digits when the x lie far from zero for their range.
///        4  Orders up to 15 do not allocate, however many points.
int JPolyfit(int count, const double* xy, int order, double* coeffs) noexcept;

} // namespace mek
