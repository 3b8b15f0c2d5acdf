#include "mek/Matrix.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "mek/Scratch.h"
#include "mek/Values.h"

namespace mek {

namespace {

constexpr double kEpsilon = 0x1p-52;    // spacing of the doubles at 1
constexpr std::uint64_t kNearSize = 16; // matrices up to this size are inverted on the stack
constexpr std::ptrdiff_t kNoPivot = -1;

// The largest magnitude in the matrix; NaNs do not count.
double largestMagnitude(const double* m, std::ptrdiff_t count)
{
    double largest = 0.0;
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        if (std::fabs(m[i]) > largest) {
            largest = std::fabs(m[i]);
        }
    }
    return largest;
}

// Row of the largest candidate of column k, or kNoPivot where a candidate is NaN or none is above the threshold.
std::ptrdiff_t pivotRow(const double* work, std::ptrdiff_t n, std::ptrdiff_t k, double threshold)
{
    std::ptrdiff_t best = kNoPivot;
    double largest = threshold;
    for (std::ptrdiff_t i = k; i < n; ++i) {
        const double magnitude = std::fabs(work[i * 2 * n + k]);
        if (std::isnan(magnitude)) {
            return kNoPivot;
        }
        if (magnitude > largest) {
            largest = magnitude;
            best = i;
        }
    }
    return best;
}

// Gauss-Jordan elimination of [m | I], held in `work` as n rows of 2 n. Columns left of k are finished and no longer
// read, so each step starts at column k. The size of the per-sample path, 3, has an elimination of its own: invert.
bool eliminate(double* m, std::ptrdiff_t n, double* work)
{
    const std::ptrdiff_t width = 2 * n;
    const double threshold = static_cast<double>(n) * kEpsilon * largestMagnitude(m, n * n);

    for (std::ptrdiff_t i = 0; i < n; ++i) {
        double* const row = work + i * width;
        std::copy_n(m + i * n, n, row);
        std::fill_n(row + n, n, 0.0);
        row[n + i] = 1.0;
    }

    for (std::ptrdiff_t k = 0; k < n; ++k) {
        const std::ptrdiff_t best = pivotRow(work, n, k, threshold);
        if (best == kNoPivot) {
            return false;
        }

        double* const pivoted = work + k * width;
        if (best != k) {
            std::swap_ranges(pivoted + k, pivoted + width, work + best * width + k);
        }

        const double pivot = pivoted[k];
        for (std::ptrdiff_t j = k; j < width; ++j) {
            pivoted[j] /= pivot;
        }

        for (std::ptrdiff_t i = 0; i < n; ++i) {
            if (i == k) {
                continue;
            }
            double* const row = work + i * width;
            const double factor = row[k];
            for (std::ptrdiff_t j = k; j < width; ++j) {
                row[j] -= factor * pivoted[j];
            }
        }
    }

    for (std::ptrdiff_t i = 0; i < n; ++i) {
        std::copy_n(work + i * width + n, n, m + i * n);
    }
    return true;
}

} // namespace

Mat3 denseProduct(const Mat3& first, std::initializer_list<Turn> turns) noexcept
{
    Mat3 product = first;
    for (const Turn& turn : turns) {
        switch (turn.axis) {
        case 'x':
            product = product * matrixOf(AboutX{turn.c, turn.s});
            break;
        case 'y':
            product = product * matrixOf(AboutY{turn.c, turn.s});
            break;
        default:
            product = product * matrixOf(AboutZ{turn.c, turn.s});
            break;
        }
    }
    return product;
}

void MatrixMultiply(const double* a, const double* b, int r, int n, int c, double* out) noexcept
{
    if (r == 3 && n == 3 && c == 3) {
        store(loadMat3(a) * loadMat3(b), out);
    } else {
        multiplyInto(a, b, r, n, c, out);
    }
}

bool MatrixInverse(double* m, int n) noexcept
{
    if (n < 1) {
        return false;
    }
    if (n == 3) {
        Mat3 inverse = loadMat3(m);
        if (!invert(inverse)) {
            return false;
        }
        store(inverse, m);
        return true;
    }
    const auto size = static_cast<std::uint64_t>(n);
    Scratch<2 * kNearSize * kNearSize> work(2 * size * size);
    if (work.data() == nullptr) {
        return false;
    }
    return eliminate(m, static_cast<std::ptrdiff_t>(n), work.data());
}

void MatrixTransform(double* m, int r, int c) noexcept
{
    const std::int64_t rows = r;
    const std::int64_t cols = c;
    if (rows < 1 || cols < 1) {
        return;
    }

    // Where the element comes from that belongs at p in the transposed matrix.
    const auto source = [rows, cols](std::int64_t p) { return p % rows * cols + p / rows; };

    // The permutation falls into cycles; each is turned once, from its smallest place.
    for (std::int64_t start = 0; start < rows * cols; ++start) {
        std::int64_t p = source(start);
        while (p > start) {
            p = source(p);
        }
        if (p < start) {
            continue;
        }

        const double first = m[start];
        for (std::int64_t from = source(p); from != start; from = source(p)) {
            m[p] = m[from];
            p = from;
        }
        m[p] = first;
    }
}

void EyeMatrix(double* m, int n) noexcept
{
    const std::ptrdiff_t size = n;
    for (std::ptrdiff_t i = 0; i < size; ++i) {
        for (std::ptrdiff_t j = 0; j < size; ++j) {
            m[i * size + j] = i == j ? 1.0 : 0.0;
        }
    }
}

int rotation_x(double* m, double angle) noexcept
{
    store(rotationX(angle), m);
    return 0;
}

int rotation_y(double* m, double angle) noexcept
{
    store(rotationY(angle), m);
    return 0;
}

int rotation_z(double* m, double angle) noexcept
{
    store(rotationZ(angle), m);
    return 0;
}

} // namespace mek
