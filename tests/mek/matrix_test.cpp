// Products, inverses, transposes and elementary rotations.
#include "mek/Matrix.h"

#include "Random.h"
#include "mek/Values.h"
#include "support/Float.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

using kor_test::Random;
using kor_test::sameBits;
using kor_test::within;
using kor_test::withinUlp;

namespace {

using Matrix = std::vector<double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kMax = std::numeric_limits<double>::max();
constexpr double kGuard = 12345.678;

std::size_t size(int count)
{
    return static_cast<std::size_t>(count);
}

Matrix randomMatrix(Random& random, int rows, int columns, double low = -1, double high = 1)
{
    Matrix m(size(rows * columns));
    for (double& value : m) {
        value = random.between(low, high);
    }
    return m;
}

Matrix product(const Matrix& a, const Matrix& b, int r, int n, int c)
{
    Matrix out(size(r * c), kNaN);
    mek::MatrixMultiply(a.data(), b.data(), r, n, c, out.data());
    return out;
}

void expectSameBits(const Matrix& got, const Matrix& wanted)
{
    ASSERT_EQ(got.size(), wanted.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        EXPECT_TRUE(sameBits(got[i], wanted[i])) << "element " << i;
    }
}

bool identicalStorage(const Matrix& a, const Matrix& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

// Expects the inversion to be refused and the matrix to keep every bit.
void expectSingular(const Matrix& m, int n)
{
    Matrix copy = m;
    EXPECT_FALSE(mek::MatrixInverse(copy.data(), n));
    EXPECT_TRUE(identicalStorage(copy, m));
}

Matrix diagonal(const std::vector<double>& values)
{
    const std::size_t n = values.size();
    Matrix m(n * n, 0.0);
    for (std::size_t i = 0; i < n; ++i) {
        m[i * n + i] = values[i];
    }
    return m;
}

// The stated elimination, word for word: on [M | I], the pivot row divided by the pivot, then subtracted from all
// other rows.
template <typename Real>
std::vector<Real> eliminated(const Matrix& m, int count)
{
    const std::size_t n = size(count);
    const std::size_t w = 2 * n;
    std::vector<Real> work(n * w, Real(0));
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j) {
            work[i * w + j] = Real(m[i * n + j]);
        }
        work[i * w + n + i] = Real(1);
    }
    for (std::size_t k = 0; k < n; ++k) {
        std::size_t pivotRow = k;
        for (std::size_t i = k + 1; i < n; ++i) {
            if (std::abs(work[i * w + k]) > std::abs(work[pivotRow * w + k])) {
                pivotRow = i;
            }
        }
        for (std::size_t j = 0; j < w; ++j) {
            std::swap(work[k * w + j], work[pivotRow * w + j]);
        }
        const Real pivot = work[k * w + k];
        for (std::size_t j = 0; j < w; ++j) {
            work[k * w + j] /= pivot;
        }
        for (std::size_t i = 0; i < n; ++i) {
            const Real factor = work[i * w + k];
            for (std::size_t j = 0; i != k && j < w; ++j) {
                work[i * w + j] -= factor * work[k * w + j];
            }
        }
    }
    std::vector<Real> inverse(n * n);
    for (std::size_t i = 0; i < n; ++i) {
        std::copy_n(&work[i * w + n], n, &inverse[i * n]);
    }
    return inverse;
}

// ---------------------------------------------------------------------------------------------- MatrixMultiply

TEST(MatrixMultiply, smallIntegerProductsAreExact)
{
    expectSameBits(product({1, 2, 3, 4}, {5, 6, 7, 8}, 2, 2, 2), {19, 22, 43, 50});
    expectSameBits(product({7}, {-3}, 1, 1, 1), {-21});
}

TEST(MatrixMultiply, nonSquareShapes)
{
    // 2 x 3 times 3 x 4.
    expectSameBits(product({1, 2, 3, 4, 5, 6}, {1, 0, 2, -1, 0, 1, 3, 1, 1, 1, 0, 2}, 2, 3, 4),
                   {4, 5, 8, 7, 10, 11, 23, 13});
    // A row times a column and a column times a row.
    expectSameBits(product({1, 2, 3}, {4, 5, 6}, 1, 3, 1), {32});
    expectSameBits(product({1, 2, 3}, {4, 5, 6}, 3, 1, 3), {4, 5, 6, 8, 10, 12, 12, 15, 18});
}

TEST(MatrixMultiply, writesOnlyTheProductAndReadsOnlyTheOperands)
{
    Matrix a{1, 2, 3, 4, 5, 6};
    Matrix b{7, 8, 9};
    Matrix out{kGuard, kGuard, kGuard, kGuard};
    mek::MatrixMultiply(a.data(), b.data(), 2, 3, 1, out.data() + 1);
    expectSameBits(out, {kGuard, 50, 122, kGuard});
    expectSameBits(a, {1, 2, 3, 4, 5, 6});
    expectSameBits(b, {7, 8, 9});
}

TEST(MatrixMultiply, ofNothingIsZero)
{
    expectSameBits(product({7, 7}, {8, 8}, 2, 0, 2), {0, 0, 0, 0});
}

TEST(MatrixMultiply, sumsFromTheFirstTermToTheLast)
{
    const Matrix ones{1, 1, 1};
    // 1e16 swallows a 1 that comes before it is cancelled and leaves one that comes after.
    expectSameBits(product({1, 1e16, -1e16}, ones, 1, 3, 1), {0});
    expectSameBits(product({1e16, -1e16, 1}, ones, 1, 3, 1), {1});
    expectSameBits(product({1e16, 1, -1e16}, ones, 1, 3, 1), {0});
    expectSameBits(product({1e16, -1e16, 1, 1e16, -1e16}, {1, 1, 1, 1, 1}, 1, 5, 1), {0});
    expectSameBits(product({1e16, -1e16, 1e16, -1e16, 1}, {1, 1, 1, 1, 1}, 1, 5, 1), {1});
}

TEST(MatrixMultiply, sumOrderHoldsInEveryElement)
{
    Random random(11);
    for (int round = 0; round < 200; ++round) {
        const int r = 1 + random.upTo(4);
        const int n = 1 + random.upTo(8);
        const int c = 1 + random.upTo(4);
        Matrix a = randomMatrix(random, r, n);
        Matrix b = randomMatrix(random, n, c);
        for (double& value : a) {
            value = std::ldexp(value, random.upTo(20));
        }
        Matrix wanted;
        for (int i = 0; i < r; ++i) {
            for (int j = 0; j < c; ++j) {
                double sum = a[size(i * n)] * b[size(j)];
                for (int t = 1; t < n; ++t) {
                    sum = sum + a[size(i * n + t)] * b[size(t * c + j)];
                }
                wanted.push_back(sum);
            }
        }
        expectSameBits(product(a, b, r, n, c), wanted);
    }
}

TEST(MatrixMultiply, startsFromTheFirstProductSoNegativeZeroSurvives)
{
    expectSameBits(product({-0.0}, {1}, 1, 1, 1), {-0.0});
    expectSameBits(product({-0.0, -0.0, 0.0}, {1, 1, -1}, 1, 3, 1), {-0.0});
    expectSameBits(product({-0.0, 0.0}, {1, 1}, 1, 2, 1), {0.0});
}

TEST(MatrixMultiply, productsAreRoundedBeforeTheyAreAdded)
{
    // (1 + e)(1 - e) = 1 - e^2 rounds to 1; a fused multiply-add would leave -e^2.
    const double e = 0x1p-30;
    expectSameBits(product({-1, 1 + e}, {1, 1 - e}, 1, 2, 1), {0});
}

TEST(MatrixMultiply, nanReachesOnlyItsOwnRow)
{
    const Matrix out = product({1, kNaN, 3, 4}, {1, 2, 3, 4}, 2, 2, 2);
    EXPECT_TRUE(std::isnan(out[0]) && std::isnan(out[1]));
    EXPECT_EQ(out[2], 15);
    EXPECT_EQ(out[3], 22);
}

// ----------------------------------------------------------------------------------------------- MatrixInverse

TEST(MatrixInverse, identityInvertsToExactlyTheIdentity)
{
    for (int n = 1; n <= 8; ++n) {
        const Matrix identity = diagonal(std::vector<double>(size(n), 1.0));
        Matrix m = identity;
        EXPECT_TRUE(mek::MatrixInverse(m.data(), n));
        EXPECT_TRUE(identicalStorage(m, identity)) << "n = " << n;
    }
}

TEST(MatrixInverse, oneByOneIsTheReciprocal)
{
    for (const double value : {4.0, 3.0, -7.0, 0.1, 1e-300, 1e300}) {
        double m = value;
        EXPECT_TRUE(mek::MatrixInverse(&m, 1));
        EXPECT_TRUE(sameBits(m, 1.0 / value));
    }
}

TEST(MatrixInverse, closedFormsInExactArithmetic)
{
    // Powers of two and small integers throughout: no step rounds.
    Matrix a{1, 2, 0, 1};
    EXPECT_TRUE(mek::MatrixInverse(a.data(), 2));
    EXPECT_EQ(a, (Matrix{1, -2, 0, 1}));

    Matrix b{2, 0, 0, 0, -4, 0, 0, 0, 0.125};
    EXPECT_TRUE(mek::MatrixInverse(b.data(), 3));
    EXPECT_EQ(b, (Matrix{0.5, 0, 0, 0, -0.25, 0, 0, 0, 8}));

    Matrix c{4, 2, 1, 1}; // determinant 2
    EXPECT_TRUE(mek::MatrixInverse(c.data(), 2));
    EXPECT_EQ(c, (Matrix{0.5, -1, -0.5, 2}));

    Matrix d{1, 2, 3, 0, 1, 4, 0, 0, 1};
    EXPECT_TRUE(mek::MatrixInverse(d.data(), 3));
    EXPECT_EQ(d, (Matrix{1, -2, 5, 0, 1, -4, 0, 0, 1}));
}

TEST(MatrixInverse, zeroOnTheDiagonalOnlyNeedsARowExchange)
{
    Matrix swap{0, 1, 1, 0};
    EXPECT_TRUE(mek::MatrixInverse(swap.data(), 2));
    EXPECT_EQ(swap, (Matrix{0, 1, 1, 0}));

    // A cyclic permutation inverts to its transpose.
    Matrix cycle{0, 1, 0, 0, 0, 1, 1, 0, 0};
    EXPECT_TRUE(mek::MatrixInverse(cycle.data(), 3));
    EXPECT_EQ(cycle, (Matrix{0, 0, 1, 1, 0, 0, 0, 1, 0}));
}

TEST(MatrixInverse, tinyLeadingElementIsNotThePivot)
{
    // Without the exchange the 1e-20 would wipe out the second row. Exact inverse ((-1, 1), (1, -1e-20))/(1 - 1e-20).
    Matrix m{1e-20, 1, 1, 1};
    EXPECT_TRUE(mek::MatrixInverse(m.data(), 2));
    EXPECT_EQ(m[0], -1);
    EXPECT_EQ(m[1], 1);
    EXPECT_EQ(m[2], 1);
    EXPECT_TRUE(within(m[3], -1e-20, 2e-16)); // one rounding of 1 - 1
}

TEST(MatrixInverse, followsTheStatedEliminationToTheBit)
{
    Random random(21);
    for (int round = 0; round < 300; ++round) {
        const int n = 1 + random.upTo(5);
        const Matrix m = randomMatrix(random, n, n);
        Matrix got = m;
        ASSERT_TRUE(mek::MatrixInverse(got.data(), n));
        const std::vector<double> wanted = eliminated<double>(m, n);
        for (std::size_t i = 0; i < got.size(); ++i) {
            EXPECT_EQ(got[i], wanted[i]) << "n = " << n << ", element " << i;
        }
    }
}

// The elimination of 3 x 3 does not carry the identity along: rows exchanged in every way, zeros of both signs wherever
// they may stand, tiny and huge elements.
TEST(MatrixInverse, ofThreeByThreeKeepsTheSignsOfItsZeros)
{
    Random random(29);
    int inverted = 0;
    for (int round = 0; round < 20000; ++round) {
        Matrix m = randomMatrix(random, 3, 3);
        const double scale = std::ldexp(1.0, 300 * (random.upTo(4) - 2));
        for (double& element : m) {
            const int kind = random.upTo(4);
            element = kind == 0 ? 0.0 : kind == 1 ? -0.0 : kind == 2 ? std::copysign(scale, element) : element * scale;
        }
        Matrix got = m;
        const bool ok = mek::MatrixInverse(got.data(), 3);
        inverted += ok ? 1 : 0;
        const Matrix wanted = ok ? eliminated<double>(m, 3) : m;
        for (std::size_t i = 0; i < 9; ++i) {
            ASSERT_TRUE(sameBits(got[i], wanted[i])) << "element " << i << ", round " << round;
        }
    }
    EXPECT_GT(inverted, 2000);
}

TEST(MatrixInverse, agreesWithExtendedPrecision)
{
    Random random(22);
    for (int round = 0; round < 200; ++round) {
        const int n = 2 + random.upTo(8);
        Matrix m = randomMatrix(random, n, n);
        for (int i = 0; i < n; ++i) {
            m[size(i * n + i)] += n; // diagonally dominant: condition of a few units
        }
        Matrix got = m;
        ASSERT_TRUE(mek::MatrixInverse(got.data(), n));
        const std::vector<long double> wanted = eliminated<long double>(m, n);
        for (std::size_t i = 0; i < got.size(); ++i) {
            // Entries below 1, n eliminations of one rounding each at a condition below 10.
            EXPECT_TRUE(within(got[i], static_cast<double>(wanted[i]), n * 10 * 0x1p-53));
        }
    }
}

TEST(MatrixInverse, scalingByAPowerOfTwoScalesTheInverseExactly)
{
    Random random(23);
    for (const int exponent : {-900, -30, 30, 900}) {
        const Matrix m = randomMatrix(random, 3, 3);
        Matrix inverse = m;
        Matrix scaled = m;
        for (double& value : scaled) {
            value = std::ldexp(value, exponent);
        }
        ASSERT_TRUE(mek::MatrixInverse(inverse.data(), 3));
        ASSERT_TRUE(mek::MatrixInverse(scaled.data(), 3));
        for (std::size_t i = 0; i < 9; ++i) {
            EXPECT_EQ(scaled[i], std::ldexp(inverse[i], -exponent));
        }
    }
}

TEST(MatrixInverse, exactlySingularMatricesAreRefusedAndKept)
{
    expectSingular({0}, 1);
    expectSingular({-0.0}, 1);
    expectSingular({0, 0, 0, 0}, 2);
    expectSingular({1, 2, 2, 4}, 2);
    expectSingular({1, 2, 3, 4, 5, 6, 7, 8, 9}, 3);    // up to rounding
    expectSingular({1, 0, 0, 0, 0, 0, 0, 0, 1}, 3);    // a zero row and column
    expectSingular({1, 1, 1, 1, 1, 1, 2, -0.0, 1}, 3); // two equal rows
    expectSingular({0, 1, 5, 0, 2, 6, 0, 3, 7}, 3);    // a zero first column
}

TEST(MatrixInverse, pivotAtTheThresholdIsSingularAndTheNextDoubleAboveIsNot)
{
    for (int n = 2; n <= 7; ++n) {
        for (const double largest : {1.0, 3.0, 0.1, 1e-200, 1e200}) {
            const double threshold = n * 0x1p-52 * largest;
            std::vector<double> values(size(n), largest);
            for (int place = 0; place < n; ++place) {
                std::vector<double> pivots = values;
                pivots[size(place)] = threshold;
                expectSingular(diagonal(pivots), n);
                pivots[size(place)] = -threshold;
                expectSingular(diagonal(pivots), n);
                pivots[size(place)] = std::nextafter(threshold, 0);
                expectSingular(diagonal(pivots), n);

                pivots[size(place)] = std::nextafter(threshold, kMax);
                Matrix above = diagonal(pivots);
                EXPECT_TRUE(mek::MatrixInverse(above.data(), n)) << "n = " << n << ", largest " << largest;
                EXPECT_EQ(above[size(place * n + place)], 1 / pivots[size(place)]);
            }
        }
    }
}

TEST(MatrixInverse, thresholdMeasuresAgainstTheLargestMagnitudeAnywhereInTheMatrix)
{
    const double threshold = 2 * 0x1p-52 * 8; // n = 2, the -8 off the diagonal
    expectSingular({1, -8, 0, threshold}, 2);
    Matrix above{1, -8, 0, std::nextafter(threshold, 1)};
    EXPECT_TRUE(mek::MatrixInverse(above.data(), 2));
}

TEST(MatrixInverse, thresholdMeasuresAgainstTheInputNotTheEliminatedMatrix)
{
    // Dividing the first row by its pivot makes its second element 2^20; the input's largest stays 1.
    const double small = 4 * 0x1p-52;
    Matrix m{0x1p-20, 1, 0, 0, 1, 0, 0, 0, small};
    EXPECT_TRUE(mek::MatrixInverse(m.data(), 3));
    EXPECT_EQ(m[8], 1 / small);
    m = {0x1p-20, 1, 0, 0, 1, 0, 0, 0, 3 * 0x1p-52};
    expectSingular(m, 3);
}

TEST(MatrixInverse, thresholdAppliesToTheEliminatedPivot)
{
    // (1, 1; 1, 1 + d) leaves the pivot d, exactly.
    const double ulp = 0x1p-52;
    expectSingular({1, 1, 1, 1 + ulp}, 2);
    expectSingular({1, 1, 1, 1 + 2 * ulp}, 2); // below 2 ulp of the largest, 1 + 2 ulp
    Matrix m{1, 1, 1, 1 + 3 * ulp};
    EXPECT_TRUE(mek::MatrixInverse(m.data(), 2));
    EXPECT_EQ(m[3], 1 / (3 * ulp));
}

TEST(MatrixInverse, thresholdOfHugeMatricesDoesNotOverflow)
{
    Matrix m = diagonal({1.5e308, 1.5e308, 1.5e308});
    EXPECT_TRUE(mek::MatrixInverse(m.data(), 3));
    EXPECT_EQ(m[0], 1 / 1.5e308);
}

TEST(MatrixInverse, nanAnywhereMeansSingular)
{
    Random random(24);
    for (int n = 1; n <= 4; ++n) {
        const Matrix dense = randomMatrix(random, n, n);
        const Matrix identity = diagonal(std::vector<double>(size(n), 1.0));
        for (int place = 0; place < n * n; ++place) {
            // In the upper triangle of the identity the NaN only reaches the pivots through 0 x NaN.
            for (Matrix m : {dense, identity}) {
                m[size(place)] = std::copysign(kNaN, place % 2 == 0 ? 1.0 : -1.0);
                expectSingular(m, n);
            }
        }
        expectSingular(Matrix(size(n * n), kNaN), n);
    }
}

TEST(MatrixInverse, infinityAnywhereMeansSingular)
{
    // No pivot is above an infinite threshold.
    Random random(25);
    for (int n = 1; n <= 4; ++n) {
        for (int place = 0; place < n * n; ++place) {
            Matrix m = randomMatrix(random, n, n);
            m[size(place)] = kInf;
            expectSingular(m, n);
            m[size(place)] = -kInf;
            expectSingular(m, n);
        }
    }
}

TEST(MatrixInverse, largeMatricesFollowTheSameRules)
{
    Random random(26);
    for (const int n : {16, 17, 40}) {
        const Matrix identity = diagonal(std::vector<double>(size(n), 1.0));
        Matrix m = identity;
        EXPECT_TRUE(mek::MatrixInverse(m.data(), n));
        EXPECT_TRUE(identicalStorage(m, identity));

        const Matrix dense = randomMatrix(random, n, n);
        m = dense;
        ASSERT_TRUE(mek::MatrixInverse(m.data(), n));
        EXPECT_EQ(m, eliminated<double>(dense, n));

        std::vector<double> pivots(size(n), 1.0);
        pivots.back() = n * 0x1p-52;
        expectSingular(diagonal(pivots), n);
        pivots.back() = std::nextafter(pivots.back(), 1);
        m = diagonal(pivots);
        EXPECT_TRUE(mek::MatrixInverse(m.data(), n));

        m = dense;
        m[size(n + 1)] = kNaN;
        expectSingular(m, n);
    }
}

TEST(MatrixInverse, sizeBelowOneIsRefused)
{
    for (const int n : {0, -1, -3, INT_MIN}) {
        expectSingular({1, 2, 3, 4}, n);
    }
}

// The elimination works on twice the square of the size: 2^61 numbers, or nearly 2^63, are more than can be addressed.
TEST(MatrixInverse, sizeBeyondAllMemoryIsRefused)
{
    for (const int n : {1 << 30, INT_MAX}) {
        expectSingular({1, 2, 3, 4}, n);
    }
}

TEST(MatrixInverse, touchesNothingBesideTheMatrix)
{
    Matrix m{kGuard, 2, 1, 1, 1, kGuard};
    EXPECT_TRUE(mek::MatrixInverse(m.data() + 1, 2));
    EXPECT_EQ(m, (Matrix{kGuard, 1, -1, -1, 2, kGuard}));
}

// --------------------------------------------------------------------------------- MatrixTransform, EyeMatrix

TEST(MatrixTransform, squareMatrixIsTransposedInPlace)
{
    Matrix m{1, 2, 3, 4, 5, 6, 7, 8, 9};
    mek::MatrixTransform(m.data(), 3, 3);
    expectSameBits(m, {1, 4, 7, 2, 5, 8, 3, 6, 9});
}

TEST(MatrixTransform, nonSquareMatrixChangesItsShapeInTheSameStorage)
{
    Matrix wide{1, 2, 3, 4, 5, 6};
    mek::MatrixTransform(wide.data(), 2, 3);
    expectSameBits(wide, {1, 4, 2, 5, 3, 6});

    Matrix tall{1, 2, 3, 4, 5, 6};
    mek::MatrixTransform(tall.data(), 3, 2);
    expectSameBits(tall, {1, 3, 5, 2, 4, 6});

    Matrix line{1, -0.0, 3};
    mek::MatrixTransform(line.data(), 1, 3);
    expectSameBits(line, {1, -0.0, 3});
    mek::MatrixTransform(line.data(), 3, 1);
    expectSameBits(line, {1, -0.0, 3});
}

TEST(MatrixTransform, shapesWithoutElementsMoveNothing)
{
    for (const auto& [r, c] :
         {std::pair(0, 2), std::pair(2, 0), std::pair(-1, 2), std::pair(2, -1), std::pair(-2, -2)}) {
        Matrix m{1, 2, 3, 4};
        mek::MatrixTransform(m.data(), r, c);
        EXPECT_EQ(m, (Matrix{1, 2, 3, 4})) << r << " x " << c;
    }
}

TEST(MatrixTransform, everyShapeMovesEveryElementAndNothingBeside)
{
    for (int r = 1; r <= 7; ++r) {
        for (int c = 1; c <= 7; ++c) {
            Matrix m(size(r * c + 2), kGuard);
            for (int i = 0; i < r * c; ++i) {
                m[size(i + 1)] = i;
            }
            mek::MatrixTransform(m.data() + 1, r, c);
            for (int i = 0; i < r; ++i) {
                for (int j = 0; j < c; ++j) {
                    EXPECT_EQ(m[size(1 + j * r + i)], i * c + j);
                }
            }
            EXPECT_EQ(m.front(), kGuard);
            EXPECT_EQ(m.back(), kGuard);
        }
    }
}

TEST(EyeMatrix, writesTheIdentityOverWhateverWasThere)
{
    for (int n = 1; n <= 6; ++n) {
        Matrix m(size(n * n + 1), kNaN);
        m.back() = kGuard;
        mek::EyeMatrix(m.data(), n);
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                EXPECT_TRUE(sameBits(m[size(i * n + j)], i == j ? 1.0 : 0.0));
            }
        }
        EXPECT_EQ(m.back(), kGuard);
    }
}

TEST(EyeMatrix, sizeBelowOneWritesNothing)
{
    for (const int n : {0, -1}) {
        Matrix m{kGuard, kGuard};
        mek::EyeMatrix(m.data(), n);
        expectSameBits(m, {kGuard, kGuard});
    }
}

// --------------------------------------------------------------------------------------- elementary rotations

enum class Axis { X, Y, Z };

Matrix rotation(Axis axis, double angle)
{
    Matrix m(9, kNaN);
    const int code = axis == Axis::X   ? mek::rotation_x(m.data(), angle)
                     : axis == Axis::Y ? mek::rotation_y(m.data(), angle)
                                       : mek::rotation_z(m.data(), angle);
    EXPECT_EQ(code, 0);
    return m;
}

TEST(Rotations, elementsStandWhereTheRightHandedConventionPutsThem)
{
    Random random(31);
    for (int round = 0; round < 100; ++round) {
        const double angle = random.between(-7, 7);
        const double c = std::cos(angle);
        const double s = std::sin(angle);
        const Matrix wantedX{1, 0, 0, 0, c, -s, 0, s, c};
        const Matrix wantedY{c, 0, s, 0, 1, 0, -s, 0, c};
        const Matrix wantedZ{c, -s, 0, s, c, 0, 0, 0, 1};
        const Matrix x = rotation(Axis::X, angle);
        const Matrix y = rotation(Axis::Y, angle);
        const Matrix z = rotation(Axis::Z, angle);
        for (std::size_t i = 0; i < 9; ++i) {
            // One ulp: a compiler may join the two calls into one sincos, which some libraries round differently.
            EXPECT_TRUE(withinUlp(x[i], wantedX[i], 1));
            EXPECT_TRUE(withinUlp(y[i], wantedY[i], 1));
            EXPECT_TRUE(withinUlp(z[i], wantedZ[i], 1));
        }
    }
}

TEST(Rotations, positiveQuarterTurnTakesEachAxisToTheNext)
{
    const double quarter = 1.5707963267948966;
    struct Case {
        Axis axis;
        Matrix from;
        Matrix to;
    };
    for (const Case& c : {Case{Axis::X, {0, 1, 0}, {0, 0, 1}}, Case{Axis::Y, {0, 0, 1}, {1, 0, 0}},
                          Case{Axis::Z, {1, 0, 0}, {0, 1, 0}}}) {
        const Matrix turned = product(rotation(c.axis, quarter), c.from, 3, 3, 1);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_TRUE(within(turned[i], c.to[i], 1e-16)); // cos of the rounded pi/2 is 6e-17
        }
    }
}

TEST(Rotations, angleIsInRadians)
{
    EXPECT_TRUE(within(rotation(Axis::Z, 1.0)[3], 0.8414709848078965, 2e-16));
}

TEST(Rotations, zeroAngleIsTheIdentity)
{
    const Matrix identity{1, 0, 0, 0, 1, 0, 0, 0, 1};
    EXPECT_EQ(rotation(Axis::X, 0), identity);
    EXPECT_EQ(rotation(Axis::Y, 0), identity);
    EXPECT_EQ(rotation(Axis::Z, 0), identity);
}

TEST(Rotations, areOrthonormalWithDeterminantPlusOne)
{
    Random random(32);
    for (int round = 0; round < 100; ++round) {
        for (const Axis axis : {Axis::X, Axis::Y, Axis::Z}) {
            const Matrix m = rotation(axis, random.between(-100, 100));
            Matrix transposed = m;
            mek::MatrixTransform(transposed.data(), 3, 3);
            const Matrix unit = product(m, transposed, 3, 3, 3);
            for (std::size_t i = 0; i < 9; ++i) {
                EXPECT_TRUE(
                    within(unit[i], i % 4 == 0 ? 1.0 : 0.0, 5e-16)); // two roundings of c and s, two of c c + s s
            }
            const double determinant = m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
                                       m[2] * (m[3] * m[7] - m[4] * m[6]);
            EXPECT_TRUE(within(determinant, 1.0, 5e-16));
        }
    }
}

TEST(Rotations, eulerExtractionInvertsTheProductXYZ)
{
    Random random(33);
    for (int round = 0; round < 200; ++round) {
        const double a = random.between(-3, 3);
        const double b = random.between(-1.4, 1.4);
        const double c = random.between(-3, 3);
        const Matrix xy = product(rotation(Axis::X, a), rotation(Axis::Y, b), 3, 3, 3);
        const Matrix m = product(xy, rotation(Axis::Z, c), 3, 3, 3);
        // cos b is at least 0.17, so a few 1e-16 in the elements are below 2e-14 in the angles.
        EXPECT_TRUE(within(std::atan2(-m[5], m[8]), a, 2e-14));
        EXPECT_TRUE(within(std::asin(m[2]), b, 2e-14));
        EXPECT_TRUE(within(std::atan2(-m[1], m[0]), c, 2e-14));
    }
}

// Products without the terms that are zero by their form.
TEST(RotationProduct, hasTheBitsOfTheMatrixProduct)
{
    using namespace mek;
    Random random(30);
    const auto angle = [&random] {
        const std::array<double, 8> odd = {0.0,          -0.0, 1e-300, -1e-170, std::numeric_limits<double>::infinity(),
                                           std::nan(""), 1e22, 5e-324};
        return random.upTo(9) == 0 ? odd[static_cast<std::size_t>(random.upTo(7))] : random.between(-7, 7);
    };
    const auto same = [](const Mat3& a, const Mat3& b) {
        for (std::size_t i = 0; i < 9; ++i) {
            if (!sameBits(a.m[i], b.m[i])) {
                return false;
            }
        }
        return true;
    };
    for (int round = 0; round < 20000; ++round) {
        const double a = angle();
        const double b = angle();
        const double c = angle();
        const AboutX x = by<AboutX>(a);
        const AboutY y = by<AboutY>(b);
        const AboutZ z = by<AboutZ>(c);
        EXPECT_TRUE(same(product(x, y, z), rotationX(a) * rotationY(b) * rotationZ(c)));
        EXPECT_TRUE(
            same(product(z, x, y, z, x), rotationZ(c) * rotationX(a) * rotationY(b) * rotationZ(c) * rotationX(a)));
        EXPECT_TRUE(same(product(z, y), rotationZ(c) * rotationY(b)));
        Mat3 any{};
        for (double& element : any.m) {
            element = angle() * std::ldexp(1.0, 200 * (random.upTo(4) - 2));
        }
        EXPECT_TRUE(same(product(any, reversed(z)), any * rotationZ(-c)));
        EXPECT_TRUE(same(product(any, y, x), any * rotationY(b) * rotationX(a)));
    }
}

TEST(RotationProduct, reversedIsTheRotationByTheOppositeAngle)
{
    Random random(31);
    for (int round = 0; round < 20000; ++round) {
        // The compiler may not see the sign: it knows the symmetry itself and would not ask the library.
        volatile double angle = random.between(-400, 400) * std::ldexp(1.0, random.upTo(60) - 50);
        volatile double opposite = -angle;
        const auto there = mek::by<mek::AboutZ>(angle);
        const auto back = mek::by<mek::AboutZ>(opposite);
        EXPECT_TRUE(sameBits(mek::reversed(there).c, back.c) && sameBits(mek::reversed(there).s, back.s)) << angle;
    }
}

} // namespace
