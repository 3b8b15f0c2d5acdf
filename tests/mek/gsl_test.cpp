// Splines and fits against the GNU Scientific Library.
#include "mek/Polyfit.h"
#include "mek/Spline.h"

#include "Random.h"
#include "support/Float.h"

#include <gsl/gsl_errno.h>
#include <gsl/gsl_fit.h>
#include <gsl/gsl_interp.h>
#include <gsl/gsl_multifit.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

using kor_test::Random;
using kor_test::within;

namespace {

TEST(AgainstGsl, naturalSplineValues)
{
    Random random(91);
    for (int round = 0; round < 50; ++round) {
        const std::size_t count = 3 + static_cast<std::size_t>(random.upTo(30));
        std::vector<float> x;
        std::vector<float> y;
        double at = random.between(-20, 20);
        for (std::size_t i = 0; i < count; ++i) {
            x.push_back(static_cast<float>(at));
            y.push_back(random.floatBetween(-3, 3));
            at += random.between(0.25, 2);
        }
        const std::vector<double> wideX(x.begin(), x.end());
        const std::vector<double> wideY(y.begin(), y.end());
        const std::unique_ptr<gsl_interp, decltype(&gsl_interp_free)> wanted(
            gsl_interp_alloc(gsl_interp_cspline, count), &gsl_interp_free);
        ASSERT_EQ(gsl_interp_init(wanted.get(), wideX.data(), wideY.data(), count), GSL_SUCCESS);

        const int segments = static_cast<int>(count) - 1;
        std::vector<double> coeffs(4 * (count - 1));
        mek::CubicSplines(x.data(), y.data(), segments, coeffs.data());
        for (int probe = 0; probe < 100; ++probe) {
            const float place = random.floatBetween(x.front(), x.back());
            bool outside = true;
            const float got = mek::CalcSpline(true, x.data(), coeffs.data(), segments, place, &outside);
            const double value = gsl_interp_eval(wanted.get(), wideX.data(), wideY.data(), place, nullptr);
            EXPECT_FALSE(outside);
            // One narrowing, and doubles of size 100 that cancel.
            EXPECT_TRUE(within(static_cast<double>(got), value, std::abs(value) * 0x1p-24 + 1e-12));
        }
    }
}

TEST(AgainstGsl, lines)
{
    Random random(92);
    for (int round = 0; round < 100; ++round) {
        const int count = 2 + random.upTo(60);
        std::vector<double> xy;
        for (int i = 0; i < count; ++i) {
            xy.push_back(10 + i + random.between(0, 0.5));
            xy.push_back(random.between(-5, 5));
        }
        double intercept = 0;
        double slope = 0;
        double unused[4];
        gsl_fit_linear(xy.data(), 2, xy.data() + 1, 2, static_cast<std::size_t>(count), &intercept, &slope, &unused[0],
                       &unused[1], &unused[2], &unused[3]);
        double got[2];
        EXPECT_EQ(mek::JPolyfit(count, xy.data(), 1, got), 0);
        EXPECT_TRUE(within(got[1], slope, 1e-13));     // slopes up to 20, running means on the other side
        EXPECT_TRUE(within(got[0], intercept, 5e-12)); // slope's error times the mean of x
    }
}

TEST(AgainstGsl, polynomials)
{
    Random random(93);
    for (int order = 0; order <= 5; ++order) {
        for (int round = 0; round < 20; ++round) {
            const std::size_t count = 20 + static_cast<std::size_t>(random.upTo(31));
            const std::size_t terms = static_cast<std::size_t>(order) + 1;
            const std::unique_ptr<gsl_matrix, decltype(&gsl_matrix_free)> design(gsl_matrix_alloc(count, terms),
                                                                                 &gsl_matrix_free);
            const std::unique_ptr<gsl_matrix, decltype(&gsl_matrix_free)> covariance(gsl_matrix_alloc(terms, terms),
                                                                                     &gsl_matrix_free);
            const std::unique_ptr<gsl_vector, decltype(&gsl_vector_free)> y(gsl_vector_alloc(count), &gsl_vector_free);
            const std::unique_ptr<gsl_vector, decltype(&gsl_vector_free)> wanted(gsl_vector_alloc(terms),
                                                                                 &gsl_vector_free);
            std::vector<double> xy;
            for (std::size_t i = 0; i < count; ++i) {
                const double x =
                    -1 + 3.0 * static_cast<double>(i) / static_cast<double>(count) + random.between(0, 0.01);
                xy.push_back(x);
                xy.push_back(random.between(-1, 1));
                gsl_vector_set(y.get(), i, xy.back());
                for (std::size_t j = 0; j < terms; ++j) {
                    gsl_matrix_set(design.get(), i, j, std::pow(x, static_cast<double>(j)));
                }
            }
            double chiSquare = 0;
            const std::unique_ptr<gsl_multifit_linear_workspace, decltype(&gsl_multifit_linear_free)> work(
                gsl_multifit_linear_alloc(count, terms), &gsl_multifit_linear_free);
            ASSERT_EQ(
                gsl_multifit_linear(design.get(), y.get(), wanted.get(), covariance.get(), &chiSquare, work.get()),
                GSL_SUCCESS);
            std::vector<double> got(terms);
            EXPECT_EQ(mek::JPolyfit(static_cast<int>(count), xy.data(), order, got.data()), 0);
            for (std::size_t j = 0; j < terms; ++j) {
                EXPECT_TRUE(
                    within(got[j], gsl_vector_get(wanted.get(), j), 1e-12)); // condition of the powers below 1e3
            }
        }
    }
}

} // namespace
