// Row-major matrices of doubles. Their 3 x 3 faces, as values, are in Values.h.
#pragma once

namespace mek {

/// Product of two matrices.
/// Given     a, b  r x n and n x c
/// Returned  out   r x c, a b; must not overlap a or b
/// Accuracy  the very bits of sum over t = 0 .. n-1, in that order, of a[i,t] b[t,j] (tests/mek/matrix_test.cpp)
/// Notes  1  The sum starts from the first product, not from zero: signed zeros survive. With n < 1 it is zero.
///        2  Mat3 * Mat3 and Mat3 * Vec3 give the same bits.
void MatrixMultiply(const double* a, const double* b, int r, int n, int c, double* out) noexcept;

/// Inverse in place.
/// Given     m   n x n
/// Returned  m   the inverse; exactly as it was when the result is false
///           ok  false: singular, n < 1, or no memory for the scratch of a large matrix
/// Accuracy  |error| < cond(m) 2^-52 |inverse|, Frobenius norms, random elements, n up to 100; a rotation's inverse
///           is its transpose to 2e-15; the identity's is exactly the identity (tests/mek/matrix_test.cpp)
/// Notes  1  Gauss-Jordan elimination of [m | I] with partial pivoting (Press et al., Numerical Recipes, 2.1; Golub &
///           Van Loan, Matrix Computations, 3.4): the pivot row is divided by the pivot, then subtracted from all
///           other rows.
///        2  Singular: in some column the largest candidate is not above n 2^-52 times the largest magnitude in m,
///           or a candidate is NaN. NaNs do not count in that magnitude. A NaN or an infinity in m always ends there.
///        3  Matrices up to 16 x 16 are inverted without allocating.
bool MatrixInverse(double* m, int n) noexcept;

/// Transpose in place.
/// Given     m  r x c
/// Returned  m  c x r, in the same storage
/// Notes  1  Without scratch, cycle by cycle of the permutation (Knuth, The Art of Computer Programming, 1.3.3).
///           For the small matrices of this system; the search for cycles is not linear in their size.
///        2  With r or c below 1 nothing is done.
void MatrixTransform(double* m, int r, int c) noexcept;

/// Identity.
/// Given     n  size; below 1 nothing is written
/// Returned  m  n x n
void EyeMatrix(double* m, int n) noexcept;

/// Elementary rotations, right-handed.
/// Given     angle  radians
/// Returned  m      3 x 3, with c and s the cosine and sine of the angle:
///                  x ((1, 0, 0), (0, c, -s), (0, s, c))
///                  y ((c, 0, s), (0, 1, 0), (-s, 0, c))
///                  z ((c, -s, 0), (s, c, 0), (0, 0, 1))
///           code   always 0
/// Accuracy  that of the platform's sine and cosine
/// Notes  1  Same code as rotationX, rotationY and rotationZ.
int rotation_x(double* m, double angle) noexcept;
int rotation_y(double* m, double angle) noexcept;
int rotation_z(double* m, double angle) noexcept;

} // namespace mek
