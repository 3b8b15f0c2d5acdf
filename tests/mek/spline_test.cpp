// Natural cubic splines and their evaluation.
#include "mek/Spline.h"

#include "Random.h"
#include "support/Float.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

using kor_test::Random;
using kor_test::sameBits;
using kor_test::within;
using kor_test::withinUlp;

namespace {

using Floats = std::vector<float>;
using Doubles = std::vector<double>;
using Reals = std::vector<long double>;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr double kGuard = 12345.678;

Doubles splines(const Floats& x, const Floats& y)
{
    const int n = static_cast<int>(x.size()) - 1;
    Doubles out(static_cast<std::size_t>(4 * n) + 2, kGuard);
    mek::CubicSplines(x.data(), y.data(), n, out.data() + 1);
    EXPECT_EQ(out.front(), kGuard);
    EXPECT_EQ(out.back(), kGuard);
    return {out.begin() + 1, out.end() - 1};
}

struct Value {
    float value;
    bool outOfRange;
};

Value calc(const Floats& knots, const Doubles& coeffs, float x, bool checkRange = true)
{
    Value result{0, !checkRange};
    result.value = mek::CalcSpline(checkRange, knots.data(), coeffs.data(), static_cast<int>(knots.size()) - 1, x,
                                   &result.outOfRange);
    return result;
}

// Second derivatives at the knots of the natural spline, by the tridiagonal system in extended precision.
Reals curvatures(const Floats& x, const Floats& y)
{
    const std::size_t n = x.size() - 1;
    Reals diagonal(n + 1, 1);
    Reals upper(n + 1, 0);
    Reals right(n + 1, 0);
    const auto step = [&](std::size_t i) { return static_cast<long double>(x[i + 1]) - x[i]; };
    const auto slope = [&](std::size_t i) { return (static_cast<long double>(y[i + 1]) - y[i]) / step(i); };
    for (std::size_t i = 1; i < n; ++i) {
        const long double lower = step(i - 1);
        const long double factor = lower / diagonal[i - 1];
        diagonal[i] = 2 * (step(i - 1) + step(i)) - factor * upper[i - 1];
        upper[i] = step(i);
        right[i] = 6 * (slope(i) - slope(i - 1)) - factor * right[i - 1];
    }
    Reals second(n + 1, 0);
    for (std::size_t i = n; i-- > 1;) {
        second[i] = (right[i] - upper[i] * second[i + 1]) / diagonal[i];
    }
    return second;
}

Reals exactCoefficients(const Floats& x, const Floats& y)
{
    const Reals m = curvatures(x, y);
    Reals out;
    for (std::size_t i = 0; i + 1 < x.size(); ++i) {
        const long double h = static_cast<long double>(x[i + 1]) - x[i];
        const long double rise = static_cast<long double>(y[i + 1]) - y[i];
        out.insert(out.end(), {static_cast<long double>(y[i]), rise / h - h * (2 * m[i] + m[i + 1]) / 6, m[i] / 2,
                               (m[i + 1] - m[i]) / (6 * h)});
    }
    return out;
}

struct Table {
    Floats x;
    Floats y;
};

Table randomTable(Random& random, int count, bool descending)
{
    Table t;
    double at = random.between(-50, 50);
    for (int i = 0; i < count; ++i) {
        t.x.push_back(static_cast<float>(descending ? -at : at));
        t.y.push_back(random.floatBetween(-3, 3));
        at += random.between(0.25, 2);
    }
    return t;
}

// -------------------------------------------------------------------------------------------------- CubicSplines

TEST(CubicSplines, threePointsInClosedForm)
{
    // The middle curvature m solves 4 m = 6 (-1 - 1).
    EXPECT_EQ(splines({-1, 0, 1}, {0, 1, 0}), (Doubles{0, 1.5, 0, -0.5, 1, 0, -1.5, 0.5}));
    // Unequal steps 1 and 2, slopes 6 and 0: 6 m = 6 (0 - 6).
    const Doubles got = splines({2, 3, 5}, {0, 6, 6});
    const Doubles wanted{0, 7, 0, -1, 6, 4, -3, 0.5};
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_TRUE(within(got[i], wanted[i], 1e-14)); // a few roundings of size 36
    }
}

TEST(CubicSplines, threeDescendingPointsInClosedForm)
{
    EXPECT_EQ(splines({1, 0, -1}, {0, 1, 0}), (Doubles{0, -1.5, 0, 0.5, 1, 0, -1.5, -0.5}));
}

TEST(CubicSplines, twoPointsGiveTheStraightLine)
{
    EXPECT_EQ(splines({1, 3}, {5, 4}), (Doubles{5, -0.5, 0, 0}));
    EXPECT_EQ(splines({3, 1}, {4, 5}), (Doubles{4, -0.5, 0, 0}));
    // In double: 0.1f / 3 has more digits than a float.
    EXPECT_TRUE(sameBits(splines({0, 3}, {0, 0.1F})[1], static_cast<double>(0.1F) / 3));
}

TEST(CubicSplines, fewerThanTwoPointsWriteNothing)
{
    const Floats x{1, 2};
    for (const int n : {0, -1, -7, INT_MIN}) {
        Doubles out(4, kGuard);
        mek::CubicSplines(x.data(), x.data(), n, out.data());
        EXPECT_EQ(out, Doubles(4, kGuard));
    }
}

TEST(CubicSplines, agreesWithExtendedPrecision)
{
    Random random(81);
    for (int round = 0; round < 200; ++round) {
        const Table t = randomTable(random, 2 + random.upTo(40), round % 2 == 1);
        const Doubles got = splines(t.x, t.y);
        const Reals wanted = exactCoefficients(t.x, t.y);
        for (std::size_t i = 0; i < got.size(); ++i) {
            // Slopes up to 24, curvatures up to 500 from a diagonally dominant system: some ten roundings each.
            EXPECT_TRUE(within(got[i], static_cast<double>(wanted[i]), 1e-12)) << "coefficient " << i;
        }
    }
}

TEST(CubicSplines, meetsThePointsWithTwoContinuousDerivativesAndNaturalEnds)
{
    Random random(82);
    for (int round = 0; round < 100; ++round) {
        const Table t = randomTable(random, 3 + random.upTo(30), round % 2 == 1);
        const Doubles c = splines(t.x, t.y);
        const std::size_t n = t.x.size() - 1;
        EXPECT_TRUE(within(c[2], 0.0, 1e-14));
        for (std::size_t i = 0; i < n; ++i) {
            const double h = static_cast<double>(t.x[i + 1]) - t.x[i];
            const double* k = &c[4 * i];
            const double value = k[0] + h * (k[1] + h * (k[2] + h * k[3]));
            const double slope = k[1] + h * (2 * k[2] + h * 3 * k[3]);
            const double curvature = 2 * k[2] + 6 * h * k[3];
            EXPECT_EQ(k[0], t.y[i]);
            // Terms up to a few hundred cancel.
            EXPECT_TRUE(within(value, static_cast<double>(t.y[i + 1]), 1e-12));
            EXPECT_TRUE(within(curvature, i + 1 < n ? 2 * k[6] : 0.0, 1e-12));
            if (i + 1 < n) {
                EXPECT_TRUE(within(slope, k[5], 1e-12));
            }
        }
    }
}

TEST(CubicSplines, longTablesFollowTheSameRules)
{
    Random random(87);
    for (const bool descending : {false, true}) {
        const Table t = randomTable(random, 2000, descending);
        const Doubles got = splines(t.x, t.y);
        const Reals wanted = exactCoefficients(t.x, t.y);
        for (std::size_t i = 0; i < got.size(); ++i) {
            ASSERT_TRUE(within(got[i], static_cast<double>(wanted[i]), 1e-12)) << "coefficient " << i;
        }
        for (std::size_t i = 0; i < t.x.size() - 1; ++i) {
            ASSERT_TRUE(sameBits(calc(t.x, got, t.x[i]).value, t.y[i])) << "knot " << i;
        }
    }
}

TEST(CubicSplines, pointsOnALineGiveTheLine)
{
    const Doubles c = splines({-2, -1, 0.5F, 3, 7}, {-5, -3, 0, 5, 13});
    for (std::size_t i = 0; i < c.size(); i += 4) {
        EXPECT_TRUE(within(c[i + 1], 2.0, 1e-15));
        EXPECT_TRUE(within(c[i + 2], 0.0, 1e-15));
        EXPECT_TRUE(within(c[i + 3], 0.0, 1e-15));
    }
}

TEST(CubicSplines, repeatedAbscissaeStayInsideTheArrays)
{
    // No useful curve: only the guards around the coefficients matter (checked by the helper).
    EXPECT_EQ(splines({1, 1, 1, 1}, {1, 2, 3, 4}).size(), 12U);
    EXPECT_EQ(splines({1, 3, 2, kNaN, 5}, {1, 2, 3, 4, 5}).size(), 16U);
}

// ---------------------------------------------------------------------------------------------------- CalcSpline

TEST(CalcSpline, givesTheTableAtItsKnotsUpwardsAndDownwards)
{
    Random random(83);
    for (int round = 0; round < 100; ++round) {
        const Table t = randomTable(random, 2 + random.upTo(20), round % 2 == 1);
        const Doubles c = splines(t.x, t.y);
        for (std::size_t i = 0; i < t.x.size(); ++i) {
            const Value got = calc(t.x, c, t.x[i]);
            EXPECT_FALSE(got.outOfRange);
            if (i + 1 < t.x.size()) {
                EXPECT_TRUE(sameBits(got.value, t.y[i]));
            } else {
                // The last knot is reached through the last cubic: 1e-14 off before the narrowing.
                EXPECT_TRUE(within(got.value, t.y[i], std::abs(t.y[i]) * 0x1p-23F + 1e-12F));
            }
        }
    }
}

TEST(CalcSpline, evaluatesTheCubicOfTheIntervalInDouble)
{
    Random random(84);
    for (int round = 0; round < 100; ++round) {
        const Table t = randomTable(random, 2 + random.upTo(20), round % 2 == 1);
        const Doubles c = splines(t.x, t.y);
        const std::size_t n = t.x.size() - 1;
        for (int probe = 0; probe < 50; ++probe) {
            const float x = random.floatBetween(std::min(t.x[0], t.x[n]), std::max(t.x[0], t.x[n]));
            std::size_t i = 0;
            while (i + 1 < n && (t.x[0] < t.x[n] ? x >= t.x[i + 1] : x <= t.x[i + 1])) {
                ++i;
            }
            const long double d = static_cast<long double>(x) - t.x[i];
            const long double wanted = c[4 * i] + d * (c[4 * i + 1] + d * (c[4 * i + 2] + d * c[4 * i + 3]));
            const Value got = calc(t.x, c, x);
            EXPECT_FALSE(got.outOfRange);
            // One narrowing; near zero the double terms of size 100 show.
            EXPECT_TRUE(within(static_cast<double>(got.value), static_cast<double>(wanted),
                               std::abs(static_cast<double>(wanted)) * 0x1.001p-24 + 1e-13));
        }
    }
}

TEST(CalcSpline, narrowsOnlyTheResult)
{
    // 2^24 + 1 - 2^24: single precision would lose the 1.
    EXPECT_EQ(calc({0, 2}, {16777217, -16777216, 0, 0}, 1).value, 1.0F);
    EXPECT_EQ(calc({0, 2}, {0, 16777217, -16777216, 0}, 1).value, 1.0F);
    EXPECT_TRUE(sameBits(calc({0, 2}, {0.1, 0, 0, 0}, 1).value, 0.1F));
}

TEST(CalcSpline, distanceIsMeasuredFromTheBeginningKnot)
{
    EXPECT_EQ(calc({10, 12, 16}, {0, 1, 0, 0, 100, 1, 0, 0}, 11.5F).value, 1.5F);
    EXPECT_EQ(calc({10, 12, 16}, {0, 1, 0, 0, 100, 1, 0, 0}, 13).value, 101.0F);
    // Downwards it is negative.
    EXPECT_EQ(calc({16, 12, 10}, {0, 1, 0, 0, 100, 1, 0, 0}, 15).value, -1.0F);
    EXPECT_EQ(calc({16, 12, 10}, {0, 1, 0, 0, 100, 1, 0, 0}, 10.5F).value, 98.5F);
}

TEST(CalcSpline, usesAllFourCoefficients)
{
    EXPECT_EQ(calc({1, 9}, {1, 10, 100, 1000}, 3).value, 1.0F + 20 + 400 + 8000);
}

TEST(CalcSpline, knotBelongsToTheIntervalThatBeginsThere)
{
    const Doubles steps{10, 0, 0, 0, 20, 0, 0, 0, 30, 0, 0, 0};
    const Floats up{0, 1, 2, 3};
    EXPECT_EQ(calc(up, steps, 0).value, 10);
    EXPECT_EQ(calc(up, steps, std::nextafter(1.0F, 0.0F)).value, 10);
    EXPECT_EQ(calc(up, steps, 1).value, 20);
    EXPECT_EQ(calc(up, steps, std::nextafter(2.0F, 0.0F)).value, 20);
    EXPECT_EQ(calc(up, steps, 2).value, 30);
    EXPECT_EQ(calc(up, steps, 3).value, 30);
}

TEST(CalcSpline, knotBelongsToTheIntervalThatBeginsThereOnDescendingTablesToo)
{
    const Doubles steps{10, 0, 0, 0, 20, 0, 0, 0, 30, 0, 0, 0};
    const Floats down{3, 2, 1, 0};
    EXPECT_EQ(calc(down, steps, 3).value, 10);
    EXPECT_EQ(calc(down, steps, std::nextafter(2.0F, 3.0F)).value, 10);
    EXPECT_EQ(calc(down, steps, 2).value, 20);
    EXPECT_EQ(calc(down, steps, std::nextafter(1.0F, 2.0F)).value, 20);
    EXPECT_EQ(calc(down, steps, 1).value, 30);
    EXPECT_EQ(calc(down, steps, 0).value, 30);
}

TEST(CalcSpline, lastKnotIsReachedThroughTheLastInterval)
{
    EXPECT_EQ(calc({0, 2}, {1, 0, 0, 1}, 2).value, 9);
    EXPECT_EQ(calc({2, 0}, {1, 0, 0, 1}, 0).value, -7);
}

TEST(CalcSpline, continuesStraightBeforeTheFirstKnot)
{
    // Slope 5 at the first knot, whatever the curvature there.
    const Doubles c{3, 5, 7, 11};
    EXPECT_EQ(calc({0, 2}, c, -1).value, -2);
    EXPECT_EQ(calc({0, 2}, c, -100).value, -497);
    EXPECT_EQ(calc({2, 0}, c, 3).value, 8);
    EXPECT_EQ(calc({2, 0}, c, 102).value, 503);
}

TEST(CalcSpline, continuesStraightBehindTheLastKnot)
{
    const Doubles c{3, 5, 7, 11};
    // At t = 2: value 3 + 10 + 28 + 88 = 129, slope 5 + 28 + 132 = 165.
    EXPECT_EQ(calc({0, 2}, c, 3).value, 294);
    EXPECT_EQ(calc({0, 2}, c, 102).value, 16629);
    // At t = -2: value 3 - 10 + 28 - 88 = -67, slope 5 - 28 + 132 = 109.
    EXPECT_EQ(calc({2, 0}, c, -1).value, -176);
    EXPECT_EQ(calc({2, 0}, c, -100).value, -10967);
}

TEST(CalcSpline, continuationOfANaturalSplineIsItsEndTangent)
{
    Random random(85);
    for (int round = 0; round < 100; ++round) {
        const Table t = randomTable(random, 2 + random.upTo(10), round % 2 == 1);
        const Doubles c = splines(t.x, t.y);
        const Reals exact = exactCoefficients(t.x, t.y);
        const std::size_t n = t.x.size() - 1;
        const long double h = static_cast<long double>(t.x[n]) - t.x[n - 1];
        const long double* last = &exact[4 * (n - 1)];
        const long double endSlope = last[1] + h * (2 * last[2] + h * 3 * last[3]);
        const float outward = t.x[0] < t.x[n] ? 5.0F : -5.0F;
        const float before = t.x[0] - outward;
        const float behind = t.x[n] + outward;
        const long double wantedBefore = t.y[0] + exact[1] * (static_cast<long double>(before) - t.x[0]);
        const long double wantedBehind = t.y[n] + endSlope * (static_cast<long double>(behind) - t.x[n]);
        // One narrowing of values up to a few hundred, slopes to 1e-12.
        EXPECT_TRUE(within(calc(t.x, c, before).value, static_cast<float>(wantedBefore),
                           static_cast<float>(std::abs(wantedBefore)) * 0x1p-23F + 1e-10F));
        EXPECT_TRUE(within(calc(t.x, c, behind).value, static_cast<float>(wantedBehind),
                           static_cast<float>(std::abs(wantedBehind)) * 0x1p-23F + 1e-10F));
    }
}

TEST(CalcSpline, rangeIsClosedAndTheNextFloatIsOutside)
{
    const Doubles c{0, 1, 0, 0, 0, 1, 0, 0};
    for (const Floats& knots : {Floats{-3, 1, 5}, Floats{5, 1, -3}}) {
        EXPECT_FALSE(calc(knots, c, -3).outOfRange);
        EXPECT_FALSE(calc(knots, c, 5).outOfRange);
        EXPECT_FALSE(calc(knots, c, 1).outOfRange);
        EXPECT_FALSE(calc(knots, c, std::nextafter(-3.0F, 0.0F)).outOfRange);
        EXPECT_FALSE(calc(knots, c, std::nextafter(5.0F, 0.0F)).outOfRange);
        EXPECT_TRUE(calc(knots, c, std::nextafter(-3.0F, -9.0F)).outOfRange);
        EXPECT_TRUE(calc(knots, c, std::nextafter(5.0F, 9.0F)).outOfRange);
        EXPECT_TRUE(calc(knots, c, kInf).outOfRange);
        EXPECT_TRUE(calc(knots, c, -kInf).outOfRange);
    }
}

TEST(CalcSpline, flagStaysDownWithoutARangeCheck)
{
    const Floats knots{-3, 5};
    const Doubles c{0, 1, 0, 0};
    for (const float x : {-100.0F, -3.0F, 0.0F, 5.0F, 6.0F, kInf, -kInf, kNaN}) {
        EXPECT_FALSE(calc(knots, c, x, false).outOfRange);
    }
    EXPECT_EQ(calc(knots, c, 7, false).value, 10); // the value is the same as with the check
    EXPECT_EQ(calc(knots, c, 7, true).value, 10);
}

TEST(CalcSpline, nanIsOutsideAndGivesNaN)
{
    for (const Floats& knots : {Floats{-3, 1, 5}, Floats{5, 1, -3}}) {
        const Value got = calc(knots, {0, 1, 1, 1, 0, 1, 1, 1}, kNaN);
        EXPECT_TRUE(got.outOfRange);
        EXPECT_TRUE(std::isnan(got.value));
    }
}

TEST(CalcSpline, withoutATableTheArgumentComesBackAndIsOutsideWhenChecked)
{
    const Floats knots{0, 1};
    const Doubles c{5, 1, 0, 0};
    for (const float x : {0.5F, -0.0F, 1e30F, kInf, kNaN}) {
        for (const bool check : {true, false}) {
            for (const int segments : {0, -1, INT_MIN}) {
                bool outside = !check;
                EXPECT_TRUE(sameBits(mek::CalcSpline(check, knots.data(), c.data(), segments, x, &outside), x));
                EXPECT_EQ(outside, check);
            }
            bool outside = !check;
            EXPECT_TRUE(sameBits(mek::CalcSpline(check, nullptr, c.data(), 1, x, &outside), x));
            EXPECT_EQ(outside, check);
            outside = !check;
            EXPECT_TRUE(sameBits(mek::CalcSpline(check, knots.data(), nullptr, 1, x, &outside), x));
            EXPECT_EQ(outside, check);
            outside = !check;
            EXPECT_TRUE(sameBits(mek::CalcSpline(check, nullptr, nullptr, 0, x, &outside), x));
            EXPECT_EQ(outside, check);
        }
    }
}

TEST(CalcSpline, descendingTableIsTheSameCurveAsItsReverse)
{
    Random random(86);
    for (int round = 0; round < 50; ++round) {
        const Table up = randomTable(random, 3 + random.upTo(10), false);
        const Table down{{up.x.rbegin(), up.x.rend()}, {up.y.rbegin(), up.y.rend()}};
        const Doubles upCoeffs = splines(up.x, up.y);
        const Doubles downCoeffs = splines(down.x, down.y);
        for (int probe = 0; probe < 30; ++probe) {
            const float x = random.floatBetween(up.x.front() - 2.0, up.x.back() + 2.0);
            const Value a = calc(up.x, upCoeffs, x);
            const Value b = calc(down.x, downCoeffs, x);
            EXPECT_EQ(a.outOfRange, b.outOfRange);
            EXPECT_TRUE(within(a.value, b.value, std::abs(a.value) * 0x1p-23F + 1e-11F)); // one narrowing each
        }
    }
}

TEST(CalcSpline, tablesThatRunNowhereNeverReadOutside)
{
    // Vectors of the exact size: an address sanitizer would notice a step beside them.
    const Doubles c(12, 1.0);
    for (const Floats& knots : {Floats{1, 1, 1, 1}, Floats{2, 5, 1, 3}, Floats{kNaN, 1, 2, kNaN},
                                Floats{1, kNaN, kNaN, 2}, Floats{kInf, 0, 1, -kInf}}) {
        for (const float x : {-10.0F, 1.0F, 2.5F, 10.0F, kNaN, kInf}) {
            EXPECT_EQ(calc(knots, c, x, false).outOfRange, false);
        }
    }
}

// -------------------------------------------------------------------------------------------------- kept interval

TEST(SplinePiece, givesWhatCalcSplineGivesWhateverTheTableAndTheX)
{
    Random random(78);
    for (int round = 0; round < 2000; ++round) {
        const int segments = 1 + random.upTo(8);
        const int kind = random.upTo(5);
        Floats knots;
        Doubles coeffs;
        const auto fill = [&] {
            knots.clear();
            coeffs.clear();
            for (int i = 0; i <= segments; ++i) {
                const float knot = static_cast<float>(10 * i + random.between(0, 9));
                knots.push_back(kind == 1 ? -knot : kind == 2 ? static_cast<float>(random.between(0, 90)) : knot);
                for (int j = 0; j < 4; ++j) {
                    coeffs.push_back(random.between(-1, 1));
                }
            }
            if (kind == 3) {
                const std::array<float, 4> odd = {kNaN, kInf, -kInf, 5.0F};
                knots[static_cast<std::size_t>(random.upTo(segments))] = odd[static_cast<std::size_t>(random.upTo(3))];
            }
        };
        fill();
        mek::SplinePiece piece;
        std::uint64_t revision = 1;
        float x = 0.0F;
        for (int i = 0; i < 40; ++i) {
            if (random.upTo(19) == 0) {
                fill();
                ++revision;
            }
            const float knot = knots[static_cast<std::size_t>(random.upTo(segments))];
            const std::array<float, 6> places = {knot,
                                                 std::nextafter(knot, kInf),
                                                 std::nextafter(knot, -kInf),
                                                 static_cast<float>(random.between(-120, 120)),
                                                 x + static_cast<float>(random.between(-2, 2)),
                                                 kNaN};
            x = places[static_cast<std::size_t>(random.upTo(5))];
            const Value wanted = calc(knots, coeffs, x);
            Value got{0, !wanted.outOfRange};
            if (piece.holds(revision, x)) {
                got = {piece.at(x), false};
            } else {
                got.value =
                    mek::findSplinePiece(piece, {knots.data(), coeffs.data(), segments, revision}, x, &got.outOfRange);
            }
            ASSERT_EQ(got.outOfRange, wanted.outOfRange) << x << ", round " << round;
            ASSERT_TRUE(sameBits(got.value, wanted.value)) << x << ", round " << round;
        }
    }
}

TEST(SplinePiece, holdsTheRestOfItsIntervalAndNothingOfAnotherRevision)
{
    const Floats knots{0, 10, 20};
    const Doubles coeffs{0, 1, 0, 0, 10, 2, 0, 0};
    bool outside = true;
    mek::SplinePiece piece;
    EXPECT_FALSE(piece.holds(0, 0.0F));
    EXPECT_EQ(mek::findSplinePiece(piece, {knots.data(), coeffs.data(), 2, 3}, 4.0F, &outside), 4);
    EXPECT_FALSE(outside);
    EXPECT_FALSE(piece.holds(3, 0.0F)) << "knots are looked up";
    EXPECT_TRUE(piece.holds(3, std::nextafter(0.0F, 1.0F)));
    EXPECT_TRUE(piece.holds(3, std::nextafter(10.0F, 0.0F)));
    EXPECT_FALSE(piece.holds(3, 10.0F));
    EXPECT_FALSE(piece.holds(3, -1e-20F));
    EXPECT_FALSE(piece.holds(3, kNaN));
    EXPECT_FALSE(piece.holds(4, 4.0F));
}

TEST(SplinePiece, ofATableThatIsNotThereIsNotKept)
{
    const Floats knots{0, 10, 20};
    const Doubles coeffs{0, 1, 0, 0, 10, 2, 0, 0};
    const mek::SplineTable tables[] = {
        {nullptr, coeffs.data(), 2, 3}, {knots.data(), nullptr, 2, 3}, {knots.data(), coeffs.data(), 0, 3}};
    for (const mek::SplineTable& table : tables) {
        mek::SplinePiece piece;
        bool outside = false;
        bool wantedOutside = false;
        const float got = mek::findSplinePiece(piece, table, 4.0F, &outside);
        const auto [at, by, segments, revision] = table;
        EXPECT_TRUE(sameBits(got, mek::CalcSpline(true, at, by, segments, 4.0F, &wantedOutside)));
        EXPECT_EQ(outside, wantedOutside);
        EXPECT_FALSE(piece.holds(3, 4.0F));
    }
}

} // namespace
