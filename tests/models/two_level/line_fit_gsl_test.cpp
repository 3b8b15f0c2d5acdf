// The acceleration estimate against line fits of another library.
#include "models/two_level/two_level.h"

#include <gsl/gsl_fit.h>

#include <cmath>
#include <random>

namespace kor_test {
namespace {

double slope(const double* pairs)
{
    double intercept = 0.0;
    double result = 0.0;
    double unused[4];
    gsl_fit_linear(pairs, 2, pairs + 1, 2, 51, &intercept, &result, &unused[0], &unused[1], &unused[2], &unused[3]);
    return result;
}

// A swing of 30 mm with noise of 0.01 mm: what a hand-held sensor does.
TEST(TwoLevelAccelerationFits, agreeWithAnotherLibrarysLineFits)
{
    std::mt19937 random(21);
    std::normal_distribution<double> noise(0.0, 0.01);
    OpenV1 model;
    double positions[3][102] = {};
    double velocities[3][102] = {};
    double worst = 0.0;
    for (unsigned int n = 0; n < 600; ++n) {
        const double t = 0.01 * n;
        const double position[3] = {4000.0 + 30.0 * std::sin(3.0 * t) + noise(random),
                                    -2500.0 + 30.0 * std::cos(2.0 * t) + noise(random), 700.0 + 50.0 * t};
        const double axis[3] = {0.36, -0.48, 0.8};
        const unsigned int pair = n % 51;
        double wanted = 0.0;
        for (int i = 0; i < 3; ++i) {
            const double v = n >= 51 ? slope(positions[i]) : 0.0;
            wanted += n >= 102 ? slope(velocities[i]) * axis[i] : 0.0;
            positions[i][2 * pair] = t;
            positions[i][2 * pair + 1] = position[i];
            velocities[i][2 * pair] = t;
            velocities[i][2 * pair + 1] = v;
        }
        double along1 = 0.0;
        double along2 = 0.0;
        ASSERT_EQ(model.GetAccLx(position, axis, n, t, along1), n >= 102);
        ASSERT_EQ(model.GetAccLy(position, axis, n, t, along2), n >= 102);
        worst = std::max({worst, std::abs(along1 - wanted), std::abs(along2 - wanted)});
    }
    // Each fit divides rounding of 4000 mm (5e-13) by half a second, twice; the accelerations are about 270 mm/s^2.
    EXPECT_LT(worst, 1e-9);
    EXPECT_GT(worst, 0.0); // two libraries that round alike throughout would mean that one was compared with itself
}

} // namespace
} // namespace kor_test
