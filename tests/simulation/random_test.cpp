#include <cmath>
#include <cstdint>

#include <gtest/gtest.h>

#include "simulation/Random.h"

using namespace kor::simulation;

TEST(RandomNumbers, areThoseOfTheSeedAndPurpose)
{
    Random first(1, "motion");
    Random again(1, "motion");
    Random other(2, "motion");
    Random elsewhere(1, "noise");
    const std::uint64_t value = first.bits();
    EXPECT_EQ(value, again.bits());
    EXPECT_NE(value, other.bits());
    EXPECT_NE(value, elsewhere.bits());
    EXPECT_EQ(value, 18158636067634545542u);
}

TEST(RandomNumbers, areUniformInTheUnitInterval)
{
    Random random(3, "");
    constexpr int kCount = 200000;
    int tenths[10] = {};
    for (int i = 0; i < kCount; ++i) {
        const double value = random.uniform();
        ASSERT_GE(value, 0.0);
        ASSERT_LT(value, 1.0);
        ++tenths[static_cast<int>(10.0 * value)];
    }
    for (const int count : tenths) {
        EXPECT_NEAR(count, kCount / 10, 670); // five standard deviations
    }
}

TEST(RandomNumbers, normalDeviatesHaveTheirMoments)
{
    Random random(4, "");
    constexpr int kCount = 200000;
    double sum = 0.0;
    double squares = 0.0;
    double fourths = 0.0;
    int beyondTwo = 0;
    for (int i = 0; i < kCount; ++i) {
        const double value = random.normal();
        sum += value;
        squares += value * value;
        fourths += value * value * value * value;
        beyondTwo += std::fabs(value) > 2.0 ? 1 : 0;
    }
    // Five standard deviations of each estimate.
    EXPECT_NEAR(sum / kCount, 0.0, 5.0 / std::sqrt(kCount));
    EXPECT_NEAR(squares / kCount, 1.0, 5.0 * std::sqrt(2.0 / kCount));
    EXPECT_NEAR(fourths / kCount, 3.0, 5.0 * std::sqrt(96.0 / kCount));
    EXPECT_NEAR(static_cast<double>(beyondTwo) / kCount, 0.0455, 5.0 * std::sqrt(0.0455 / kCount));
}
