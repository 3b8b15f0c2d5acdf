// Least-squares polynomials.
#include "mek/Polyfit.h"

#include "Random.h"
#include "support/Float.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

using kor_test::Random;
using kor_test::sameBits;
using kor_test::within;

namespace {

using Pairs = std::vector<double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kGuard = 12345.678;

struct Fit {
    int code;
    std::vector<double> coeffs;
};

// Fits and makes sure that exactly order + 1 coefficients were written.
Fit fit(const Pairs& xy, int order)
{
    std::vector<double> out(static_cast<std::size_t>(order) + 3, kGuard);
    Fit result{mek::JPolyfit(static_cast<int>(xy.size() / 2), xy.data(), order, out.data() + 1), {}};
    EXPECT_EQ(out.front(), kGuard);
    EXPECT_EQ(out.back(), kGuard);
    result.coeffs.assign(out.begin() + 1, out.end() - 1);
    return result;
}

Pairs pairs(const std::vector<double>& x, const std::vector<double>& y)
{
    Pairs xy;
    for (std::size_t i = 0; i < x.size(); ++i) {
        xy.push_back(x[i]);
        xy.push_back(y[i]);
    }
    return xy;
}

template <typename Real>
Real evaluate(const std::vector<Real>& coeffs, Real x)
{
    Real sum = 0;
    for (std::size_t j = coeffs.size(); j-- > 0;) {
        sum = sum * x + coeffs[j];
    }
    return sum;
}

// The line about the means in extended precision: (intercept, slope).
std::pair<long double, long double> exactLine(const Pairs& xy)
{
    const auto n = static_cast<long double>(xy.size() / 2);
    long double xMean = 0;
    long double yMean = 0;
    for (std::size_t i = 0; i < xy.size(); i += 2) {
        xMean += xy[i] / n;
        yMean += xy[i + 1] / n;
    }
    long double across = 0;
    long double square = 0;
    for (std::size_t i = 0; i < xy.size(); i += 2) {
        across += (xy[i] - xMean) * (xy[i + 1] - yMean);
        square += (xy[i] - xMean) * (xy[i] - xMean);
    }
    return {yMean - across / square * xMean, across / square};
}

void expectRefused(const Fit& got, double firstCoefficient)
{
    EXPECT_EQ(got.code, 1);
    for (std::size_t j = 0; j < got.coeffs.size(); ++j) {
        EXPECT_TRUE(sameBits(got.coeffs[j], j == 0 ? firstCoefficient : 0.0)) << "coefficient " << j;
    }
}

// ------------------------------------------------------------------------------------------------------- lines

TEST(PolyfitLine, exactDataGiveTheExactLine)
{
    const Fit got = fit({0, 3, 1, 5, 2, 7, 3, 9, 4, 11}, 1);
    EXPECT_EQ(got.code, 0);
    EXPECT_EQ(got.coeffs[0], 3);
    EXPECT_EQ(got.coeffs[1], 2);
}

TEST(PolyfitLine, scatteredDataInClosedForm)
{
    // Means 1.5 and 2; sum of products 3, of squares 5.
    const Fit got = fit({0, 1, 1, 2, 2, 2, 3, 3}, 1);
    EXPECT_EQ(got.code, 0);
    EXPECT_TRUE(sameBits(got.coeffs[1], 3.0 / 5.0));
    EXPECT_TRUE(sameBits(got.coeffs[0], 2 - 3.0 / 5.0 * 1.5));
}

TEST(PolyfitLine, twoPointsAreEnough)
{
    const Fit got = fit({1, 10, 3, 4}, 1);
    EXPECT_EQ(got.code, 0);
    EXPECT_EQ(got.coeffs[1], -3);
    EXPECT_EQ(got.coeffs[0], 13);
}

TEST(PolyfitLine, agreesWithExtendedPrecision)
{
    Random random(71);
    for (int round = 0; round < 200; ++round) {
        Pairs xy;
        const int count = 2 + random.upTo(60);
        for (int i = 0; i < count; ++i) {
            xy.push_back(i + random.between(0, 0.5));
            xy.push_back(random.between(-1, 1));
        }
        const auto [intercept, slope] = exactLine(xy);
        const Fit got = fit(xy, 1);
        EXPECT_EQ(got.code, 0);
        EXPECT_TRUE(within(got.coeffs[1], static_cast<double>(slope), 1e-14));     // slope at most 4, sums of 60 terms
        EXPECT_TRUE(within(got.coeffs[0], static_cast<double>(intercept), 1e-13)); // slope's error times the mean of x
    }
}

TEST(PolyfitLine, slopeKeepsItsDigitsFarFromTheOrigin)
{
    // A history of 51 positions 4 ms apart after a day: sums of squares about zero would lose every digit.
    Random random(72);
    for (const double start : {86400.0, 1e6, 1e9}) {
        Pairs xy;
        for (int i = 0; i < 51; ++i) {
            xy.push_back(start + 0.00390625 * i);
            xy.push_back(5000 + 250 * 0.00390625 * i + random.between(-0.01, 0.01));
        }
        const auto [intercept, slope] = exactLine(xy);
        const Fit got = fit(xy, 1);
        EXPECT_EQ(got.code, 0);
        // The y values, 5000 with last digit 9e-13, over deviations of 0.1: some 1e-12 in a slope of 250.
        EXPECT_TRUE(within(got.coeffs[1], static_cast<double>(slope), 1e-10));
        EXPECT_TRUE(within(got.coeffs[0], static_cast<double>(intercept), 1e-10 * start));
    }
}

TEST(PolyfitLine, orderOfThePointsDoesNotMatter)
{
    const Fit forward = fit({1, 2, 2, 3, 4, 4, 8, 9}, 1);
    const Fit shuffled = fit({8, 9, 2, 3, 1, 2, 4, 4}, 1);
    EXPECT_TRUE(within(forward.coeffs[0], shuffled.coeffs[0], 1e-14)); // sums below 100 in another order
    EXPECT_TRUE(within(forward.coeffs[1], shuffled.coeffs[1], 1e-15));
}

TEST(PolyfitLine, equalXGiveTheMeanAndCodeOne)
{
    expectRefused(fit({2, 1, 2, 2, 2, 6}, 1), 3);
    expectRefused(fit({2, 4, 2, 5}, 1), 4.5);
}

TEST(PolyfitLine, equalityOfXIsTestedOnTheValuesThemselves)
{
    // The mean of three times 0.1 is not 0.1, so a test on the deviations would see a spread.
    ASSERT_NE((0.1 + 0.1 + 0.1) / 3, 0.1);
    expectRefused(fit({0.1, 1, 0.1, 2, 0.1, 6}, 1), 3);
    // Signed zeros are equal.
    expectRefused(fit({0.0, 1, -0.0, 3}, 1), 2);
    // Neighbours are not.
    const Fit neighbours = fit({1, 0, 1, 0, std::nextafter(1.0, 2), 1}, 1);
    EXPECT_EQ(neighbours.code, 0);
    EXPECT_GT(neighbours.coeffs[1], 1e15);
}

TEST(PolyfitLine, nanInTheDataGivesNaN)
{
    const Fit badY = fit({0, 1, 1, kNaN, 2, 3}, 1);
    EXPECT_EQ(badY.code, 0);
    EXPECT_TRUE(std::isnan(badY.coeffs[0]) && std::isnan(badY.coeffs[1]));
    for (const Pairs& xy : {Pairs{kNaN, 1, 1, 2, 2, 3}, Pairs{0, 1, kNaN, 2, 2, 3}}) {
        const Fit badX = fit(xy, 1);
        EXPECT_EQ(badX.code, 0);
        EXPECT_TRUE(std::isnan(badX.coeffs[0]) && std::isnan(badX.coeffs[1]));
    }
}

// -------------------------------------------------------------------------------------------------- all orders

TEST(Polyfit, recoversExactPolynomials)
{
    Random random(73);
    for (int order = 1; order <= 5; ++order) {
        for (int round = 0; round < 30; ++round) {
            std::vector<double> truth;
            for (int j = 0; j <= order; ++j) {
                truth.push_back(random.between(-2, 2));
            }
            Pairs xy;
            for (int i = 0; i < 31; ++i) {
                const double x = -1.5 + 0.1 * i;
                xy.push_back(x);
                xy.push_back(evaluate(truth, x));
            }
            const Fit got = fit(xy, order);
            EXPECT_EQ(got.code, 0);
            for (std::size_t j = 0; j < truth.size(); ++j) {
                EXPECT_TRUE(within(got.coeffs[j], truth[j], 3e-13)); // y to 1e-15 times a condition below 100
            }
        }
    }
}

TEST(Polyfit, integerCoefficientsStandAtTheirPowers)
{
    Pairs xy;
    for (const double x : {-2.0, -1.0, 0.0, 1.0, 2.0, 3.0}) {
        xy.push_back(x);
        xy.push_back(7 - 3 * x + 2 * x * x - x * x * x);
    }
    const Fit got = fit(xy, 3);
    EXPECT_EQ(got.code, 0);
    const std::vector<double> wanted{7, -3, 2, -1};
    for (std::size_t j = 0; j < 4; ++j) {
        EXPECT_TRUE(within(got.coeffs[j], wanted[j], 1e-13)); // y up to 35, condition about 10
    }
}

TEST(Polyfit, asManyPointsAsCoefficientsAreMetExactly)
{
    const std::vector<double> x{0, 1, 3, 4};
    const std::vector<double> y{2, -1, 5, 0.5};
    const Fit got = fit(pairs(x, y), 3);
    EXPECT_EQ(got.code, 0);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_TRUE(within(evaluate(got.coeffs, x[i]), y[i], 1e-12)); // terms up to 100 cancel
    }
}

TEST(Polyfit, residualsAreOrthogonalToEveryPower)
{
    Random random(74);
    for (int order = 0; order <= 6; ++order) {
        Pairs xy;
        for (int i = 0; i < 40; ++i) {
            xy.push_back(-1 + i / 20.0);
            xy.push_back(random.between(-1, 1));
        }
        const Fit got = fit(xy, order);
        EXPECT_EQ(got.code, 0);
        for (int power = 0; power <= order; ++power) {
            long double sum = 0;
            for (std::size_t i = 0; i < xy.size(); i += 2) {
                const std::vector<long double> c(got.coeffs.begin(), got.coeffs.end());
                const auto x = static_cast<long double>(xy[i]);
                sum += (xy[i + 1] - evaluate(c, x)) * std::pow(x, power);
            }
            EXPECT_TRUE(within(static_cast<double>(sum), 0.0, 1e-12)); // 40 residuals, coefficients up to about 30
        }
    }
}

TEST(Polyfit, orderZeroIsTheMean)
{
    const Fit got = fit({5, 1, 6, 2, 7, 6}, 0);
    EXPECT_EQ(got.code, 0);
    EXPECT_TRUE(within(got.coeffs[0], 3.0, 2e-15)); // through an orthogonal decomposition
    const Fit single = fit({5, -4}, 0);
    EXPECT_EQ(single.code, 0);
    EXPECT_TRUE(within(single.coeffs[0], -4.0, 2e-15));
}

TEST(Polyfit, orderZeroNeedsNoSpreadOfX)
{
    const Fit got = fit({2, 1, 2, 2, 2, 6}, 0);
    EXPECT_EQ(got.code, 0);
    EXPECT_TRUE(within(got.coeffs[0], 3.0, 2e-15));
}

TEST(Polyfit, higherOrdersStayAccurateFarFromTheOrigin)
{
    // Powers of x around 1000 are all alike: without the shift a cubic's condition is 1e18.
    const auto truth = [](long double x) {
        const long double t = x - 1000.5L;
        return 1 + 2 * t - 3 * t * t + 0.5L * t * t * t;
    };
    Pairs xy;
    for (int i = 0; i <= 32; ++i) {
        const double x = 1000 + i / 32.0;
        xy.push_back(x);
        xy.push_back(static_cast<double>(truth(x)));
    }
    const Fit got = fit(xy, 3);
    EXPECT_EQ(got.code, 0);
    EXPECT_TRUE(within(got.coeffs[3], 0.5, 1e-13));                          // on [-1, 1] an error of 1e-15, times 2^3
    EXPECT_TRUE(within(got.coeffs[2], -3 - 1.5 * 1000.5, 1e-13 * 3 * 1000)); // carried by coefficient 3
    const std::vector<long double> c(got.coeffs.begin(), got.coeffs.end());
    for (std::size_t i = 0; i < xy.size(); i += 2) {
        // Coefficient 0 is 5e8: its last digit alone is 6e-8.
        EXPECT_TRUE(within(static_cast<double>(evaluate(c, static_cast<long double>(xy[i]))), xy[i + 1], 1e-6));
    }
}

TEST(Polyfit, tooFewPointsGiveTheMeanAndCodeOne)
{
    expectRefused(fit({1, 5}, 1), 5);
    expectRefused(fit({1, 5, 2, 6}, 2), 5.5);
    expectRefused(fit({1, 5, 2, 6, 3, 10}, 3), 7);
    expectRefused(fit({1, 5, 2, 6, 3, 10}, 7), 7);
}

TEST(Polyfit, noPointsGiveZerosAndCodeOne)
{
    for (int order = 0; order <= 3; ++order) {
        expectRefused(fit({}, order), 0);
    }
    std::vector<double> out(3, kGuard);
    const double xy[2] = {1, 5};
    for (const int count : {-1, INT_MIN}) {
        EXPECT_EQ(mek::JPolyfit(count, xy, 1, out.data()), 1);
        EXPECT_EQ(out, (std::vector<double>{0, 0, kGuard}));
        out.assign(3, kGuard);
    }
}

TEST(Polyfit, negativeOrderIsRefused)
{
    // There is no coefficient beyond the first one to write.
    const double xy[4] = {1, 5, 2, 6};
    for (const int order : {-1, -2, INT_MIN}) {
        std::vector<double> out(3, kGuard);
        EXPECT_EQ(mek::JPolyfit(2, xy, order, out.data() + 1), 1);
        EXPECT_EQ(out[0], kGuard);
        EXPECT_EQ(out[2], kGuard);
    }
}

TEST(Polyfit, xValuesThatCannotCarryTheOrderGiveTheMeanAndCodeOne)
{
    expectRefused(fit({1, 1, 1, 3, 2, 5, 2, 7}, 2), 4);         // two places for a parabola
    expectRefused(fit({1, 1, 2, 3, 3, 5, 3, 7, 2, 9}, 3), 5);   // three for a cubic
    expectRefused(fit({4, 1, 4, 2, 4, 6, 4, 7}, 2), 4);         // one
    expectRefused(fit({0.1, 1, 0.1, 2, 0.1, 6, 0.1, 7}, 2), 4); // one, of inexact mean
    expectRefused(fit({1e6, 1, 1e6, 3, 1e6 + 1, 5, 1e6 + 1, 7}, 2), 4);
    EXPECT_EQ(fit({1, 1, 1, 3, 2, 5, 3, 7}, 2).code, 0); // three places carry a parabola
}

TEST(Polyfit, manyPointsAtTooFewPlacesAreRefusedAndAtEnoughPlacesAreNot)
{
    Random random(75);
    for (int round = 0; round < 300; ++round) {
        const int order = 2 + random.upTo(3);
        const double origin = round % 2 == 0 ? 0.0 : random.between(-1000, 1000);
        std::vector<double> places;
        for (int i = 0; i <= order; ++i) {
            places.push_back(origin + i + random.between(0, 0.9));
        }
        const int count = 50 + random.upTo(400);
        Pairs few;
        Pairs enough;
        for (int i = 0; i < count; ++i) {
            few.push_back(places[static_cast<std::size_t>(i % order)]);
            few.push_back(1 + i % 2);
            enough.push_back(places[static_cast<std::size_t>(i % (order + 1))]);
            enough.push_back(1 + i % 2);
        }
        double mean = 0;
        for (std::size_t i = 1; i < few.size(); i += 2) {
            mean += few[i]; // small integers: exact
        }
        expectRefused(fit(few, order), mean / count);
        EXPECT_EQ(fit(enough, order).code, 0);
    }
}

TEST(Polyfit, highOrdersFollowASmoothFunction)
{
    for (const int order : {12, 16, 17, 20}) {
        Pairs xy;
        for (int i = 0; i <= 60; ++i) {
            const double x = -1 + i / 30.0;
            xy.push_back(x);
            xy.push_back(std::exp(x));
        }
        const Fit got = fit(xy, order);
        EXPECT_EQ(got.code, 0);
        for (std::size_t i = 0; i < xy.size(); i += 2) {
            // exp leaves a remainder below 1e-13 at order 12; the powers' condition hardly shows in the values.
            EXPECT_TRUE(within(evaluate(got.coeffs, xy[i]), xy[i + 1], 1e-12));
        }
    }
}

TEST(Polyfit, nanInHigherOrdersNeverPassesForAFit)
{
    for (const Pairs& xy : {Pairs{0, 1, 1, kNaN, 2, 3, 3, 5}, Pairs{0, 1, kNaN, 2, 2, 3, 3, 5}}) {
        const Fit got = fit(xy, 2);
        if (got.code == 0) {
            for (const double value : got.coeffs) {
                EXPECT_TRUE(std::isnan(value));
            }
        } else {
            EXPECT_EQ(got.code, 1);
            EXPECT_EQ(got.coeffs[1], 0);
            EXPECT_EQ(got.coeffs[2], 0);
        }
    }
}

TEST(Polyfit, leavesTheDataAlone)
{
    Pairs xy{3, 1, 1, 2, 2, 5, 7, 4};
    const Pairs before = xy;
    EXPECT_EQ(fit(xy, 2).code, 0);
    EXPECT_EQ(xy, before);
}

} // namespace
