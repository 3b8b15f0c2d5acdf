// The level filters of the first two-level model: moving averages, acceleration estimate, compensation, setters.
#include "models/two_level/two_level.h"

#include <ostream>
#include <random>

namespace kor_test {
namespace {

using Average = int (CKorThreeVec2Level::*)(double&);
using Estimate = bool (CKorThreeVec2Level::*)(const double*, const double*, unsigned long, double, double&);

double averaged(OpenV1& model, Average average, double value)
{
    EXPECT_EQ((model.*average)(value), 0);
    return value;
}

TEST(TwoLevelDefaults, everythingIsZeroAndNoLevelIsExcluded)
{
    const OpenV1 model;
    for (int axis = 0; axis < 3; ++axis) {
        for (int i = 0; i < 102; ++i) {
            EXPECT_TRUE(sameBits(model.m_posHistL1[axis][i], 0.0));
            EXPECT_TRUE(sameBits(model.m_velHistL1[axis][i], 0.0));
            EXPECT_TRUE(sameBits(model.m_posHistL2[axis][i], 0.0));
            EXPECT_TRUE(sameBits(model.m_velHistL2[axis][i], 0.0));
        }
        EXPECT_TRUE(sameBits(model.m_accL1[axis], 0.0));
        EXPECT_TRUE(sameBits(model.m_accL2[axis], 0.0));
    }
    for (const double value :
         {model.m_accAlongL1, model.m_level1Filtered, model.m_accAlongL2, model.m_level2Filtered, model.m_timeL1,
          model.m_timeL2, model.m_filterReserve, model.m_lastLevel2Output, model.m_driftA, model.m_driftB}) {
        EXPECT_TRUE(sameBits(value, 0.0));
    }
    EXPECT_EQ(model.m_counterL1, 0u);
    EXPECT_EQ(model.m_counterL2, 0u);
    EXPECT_EQ(model.m_filterCountL1, 0u);
    EXPECT_EQ(model.m_filterCountL2, 0u);
    EXPECT_EQ(model.m_filterLength, 80);
    EXPECT_FALSE(model.m_level1Excluded);
    EXPECT_FALSE(model.m_level2Excluded);
    for (const float value : model.qvcMatrix) {
        EXPECT_TRUE(sameBits(value, 0.0F));
    }
}

TEST(TwoLevelDefaults, eachLevelHasAnAverageBufferOfItsOwn)
{
    const OpenV1 model;
    const OpenV1 other;
    ASSERT_NE(model.m_filterBufL1, nullptr);
    ASSERT_NE(model.m_filterBufL2, nullptr);
    EXPECT_NE(model.m_filterBufL1, model.m_filterBufL2);
    EXPECT_NE(model.m_filterBufL1, other.m_filterBufL1);
    EXPECT_NE(model.m_filterBufL2, other.m_filterBufL2);
}

class TwoLevelAverage : public ::testing::TestWithParam<Average> {};

TEST_P(TwoLevelAverage, leavesTheFirstSampleAsItIs)
{
    OpenV1 model;
    EXPECT_TRUE(sameBits(averaged(model, GetParam(), -0.0), -0.0));
    OpenV1 other;
    EXPECT_TRUE(sameBits(averaged(other, GetParam(), 1.25), 1.25));
}

// Pins [newest-left-out].
TEST_P(TwoLevelAverage, isTheMeanOfTheSamplesBeforeWhileItFills)
{
    OpenV1 model;
    EXPECT_EQ(averaged(model, GetParam(), 8.0), 8.0);
    EXPECT_EQ(averaged(model, GetParam(), 100.0), 8.0);
    EXPECT_EQ(averaged(model, GetParam(), -8.0), 54.0);
    EXPECT_EQ(averaged(model, GetParam(), 0.0), 100.0 / 3.0);
    // samples 4 to 79: zeros, the mean of what was there before each
    for (int n = 4; n < 80; ++n) {
        EXPECT_EQ(averaged(model, GetParam(), 0.0), 100.0 / n) << "sample " << n;
    }
}

TEST_P(TwoLevelAverage, is80SamplesLongFromThe81stOn)
{
    OpenV1 model;
    for (int n = 1; n <= 80; ++n) {
        averaged(model, GetParam(), n);
    }
    // 2 .. 81, the current one included: sums of integers are exact
    EXPECT_EQ(averaged(model, GetParam(), 81.0), 83.0 / 2.0);
    EXPECT_EQ(averaged(model, GetParam(), 82.0), 85.0 / 2.0);
}

TEST_P(TwoLevelAverage, matchesItsStepsToTheBit)
{
    std::mt19937 random(11);
    std::uniform_real_distribution<double> value(-5.0, 5.0);
    OpenV1 model;
    LiteralAverage literal;
    for (int n = 0; n < 500; ++n) {
        double wanted = value(random);
        const double got = averaged(model, GetParam(), wanted);
        literal.feed(wanted);
        ASSERT_TRUE(sameBits(got, wanted)) << "sample " << n;
    }
}

TEST_P(TwoLevelAverage, losesANotANumberAfter80Samples)
{
    OpenV1 model;
    averaged(model, GetParam(), kNan);
    for (int n = 1; n < 80; ++n) {
        EXPECT_TRUE(std::isnan(averaged(model, GetParam(), 2.0))) << "sample " << n;
    }
    EXPECT_EQ(averaged(model, GetParam(), 2.0), 2.0);
}

INSTANTIATE_TEST_SUITE_P(BothLevels, TwoLevelAverage,
                         ::testing::Values(static_cast<Average>(&CKorThreeVec2Level::MovingFilter),
                                           static_cast<Average>(&CKorThreeVec2Level::MovingFilterLevelY)),
                         [](const auto& chosen) { return chosen.index == 0 ? "level1" : "level2"; });

TEST(TwoLevelAverages, doNotDisturbEachOther)
{
    OpenV1 model;
    averaged(model, &CKorThreeVec2Level::MovingFilter, 3.0);
    EXPECT_EQ(model.m_filterCountL1, 1u);
    EXPECT_EQ(model.m_filterCountL2, 0u);
    EXPECT_EQ(averaged(model, &CKorThreeVec2Level::MovingFilterLevelY, 7.0), 7.0);
    EXPECT_EQ(averaged(model, &CKorThreeVec2Level::MovingFilter, 0.0), 3.0);
    EXPECT_EQ(averaged(model, &CKorThreeVec2Level::MovingFilterLevelY, 0.0), 7.0);
}

TEST(TwoLevelAverages, onlyTheSecondKeepsItsLastOutput)
{
    OpenV1 model;
    averaged(model, &CKorThreeVec2Level::MovingFilter, 3.0);
    EXPECT_EQ(model.m_lastLevel2Output, 0.0);
    averaged(model, &CKorThreeVec2Level::MovingFilterLevelY, 7.0);
    EXPECT_EQ(model.m_lastLevel2Output, 7.0); // the raw value of the first sample
    averaged(model, &CKorThreeVec2Level::MovingFilterLevelY, 9.0);
    EXPECT_EQ(model.m_lastLevel2Output, 7.0); // the output, not the sample
    averaged(model, &CKorThreeVec2Level::MovingFilterLevelY, 1.0);
    EXPECT_EQ(model.m_lastLevel2Output, 8.0);
}

TEST(TwoLevelAverages, countOnPastTheLengthAndStartAfreshAfter32Bits)
{
    OpenV1 model;
    for (int n = 0; n < 200; ++n) {
        averaged(model, &CKorThreeVec2Level::MovingFilter, 1.0);
        averaged(model, &CKorThreeVec2Level::MovingFilterLevelY, 2.0);
    }
    EXPECT_EQ(model.m_filterCountL1, 200u);
    EXPECT_EQ(model.m_filterCountL2, 200u);
    model.m_filterCountL1 = 0xFFFFFFFFu; // 15 modulo 80
    model.m_filterCountL2 = 0xFFFFFFFFu;
    EXPECT_EQ(averaged(model, &CKorThreeVec2Level::MovingFilter, 81.0), 2.0);
    EXPECT_EQ(averaged(model, &CKorThreeVec2Level::MovingFilterLevelY, 82.0), 3.0);
    EXPECT_EQ(model.m_filterBufL1[15], 81.0);
    EXPECT_EQ(model.m_filterBufL2[15], 82.0);
    EXPECT_EQ(averaged(model, &CKorThreeVec2Level::MovingFilter, 5.0), 5.0);
    EXPECT_EQ(averaged(model, &CKorThreeVec2Level::MovingFilterLevelY, 6.0), 6.0);
}

// ---- Acceleration

struct Estimator {
    Estimate operation;
    double (OpenV1::*position)[3][102];
    double (OpenV1::*velocity)[3][102];
    double (OpenV1::*acceleration)[3];
    double (OpenV1::*otherPosition)[3][102];
    const char* name;
};

void PrintTo(const Estimator& estimator, std::ostream* out)
{
    *out << estimator.name;
}

class TwoLevelAcceleration : public ::testing::TestWithParam<Estimator> {
protected:
    bool feed(const Vector& position, const Vector& axis, unsigned long counter, double time)
    {
        along = 4711.0;
        return (model.*GetParam().operation)(position.data(), axis.data(), counter, time, along);
    }

    OpenV1 model;
    double along = 0.0;
};

TEST_P(TwoLevelAcceleration, storesOnlyPositionsBelowCounter51)
{
    EXPECT_FALSE(feed({1, 2, 3}, {1, 0, 0}, 50, 0.5));
    EXPECT_TRUE(sameBits(along, 0.0));
    for (int axis = 0; axis < 3; ++axis) {
        for (int i = 0; i < 102; ++i) {
            const double wanted = i == 100 ? 0.5 : i == 101 ? axis + 1.0 : 0.0;
            EXPECT_TRUE(sameBits((model.*GetParam().position)[axis][i], wanted)) << axis << ", " << i;
            EXPECT_TRUE(sameBits((model.*GetParam().velocity)[axis][i], 0.0)) << axis << ", " << i;
        }
    }
}

TEST_P(TwoLevelAcceleration, storesVelocitiesFromCounter51On)
{
    for (int n = 0; n < 51; ++n) {
        EXPECT_FALSE(feed({2.0 * n, -3.0 * n, 0.5 * n}, {1, 0, 0}, static_cast<unsigned long>(n), n));
    }
    EXPECT_FALSE(feed({1e6, 1e6, 1e6}, {1, 0, 0}, 51, 51.0));
    EXPECT_TRUE(sameBits(along, 0.0));
    // the velocity is that of the 51 samples before: the jump of the last position is not in it
    const double velocity[3] = {2.0, -3.0, 0.5};
    for (int axis = 0; axis < 3; ++axis) {
        const auto& positions = (model.*GetParam().position)[axis];
        const auto& velocities = (model.*GetParam().velocity)[axis];
        EXPECT_EQ(positions[0], 51.0);
        EXPECT_EQ(positions[1], 1e6);
        EXPECT_EQ(positions[2], 1.0);
        EXPECT_EQ(velocities[0], 51.0);
        EXPECT_TRUE(within(velocities[1], velocity[axis], 1e-13)); // a line through exact points, 51 terms
        for (int i = 2; i < 102; ++i) {
            EXPECT_TRUE(sameBits(velocities[i], 0.0)) << axis << ", " << i;
        }
    }
}

TEST_P(TwoLevelAcceleration, isThereFromCounter102On)
{
    for (int n = 0; n < 102; ++n) {
        ASSERT_FALSE(feed({1.0, 2.0, 3.0}, {1, 0, 0}, static_cast<unsigned long>(n), 0.01 * n));
        ASSERT_TRUE(sameBits(along, 0.0));
    }
    for (int n = 102; n < 300; ++n) {
        ASSERT_TRUE(feed({1.0, 2.0, 3.0}, {1, 0, 0}, static_cast<unsigned long>(n), 0.01 * n));
    }
    EXPECT_FALSE(feed({1.0, 2.0, 3.0}, {1, 0, 0}, 0, 3.0)); // the host starts a new run
}

// Both fits look at steady motion: a parabola has the same acceleration wherever it is fitted.
TEST_P(TwoLevelAcceleration, isThatOfAParabola)
{
    const Vector acceleration = {100.0, -250.0, 40.0};
    for (int n = 0; n < 160; ++n) {
        const double t = 0.01 * n;
        Vector position{};
        for (std::size_t i = 0; i < 3; ++i) {
            position[i] = 1000.0 + 20.0 * t + 0.5 * acceleration[i] * t * t;
        }
        if (feed(position, {0.6, 0.0, 0.8}, static_cast<unsigned long>(n), t)) {
            // two fits over half a second: position rounding of 1e-13 over the squared time, with room
            ASSERT_TRUE(within(along, 0.6 * 100.0 + 0.8 * 40.0, 1e-8)) << "sample " << n;
            for (std::size_t i = 0; i < 3; ++i) {
                ASSERT_TRUE(within((model.*GetParam().acceleration)[i], acceleration[i], 1e-8)) << "sample " << n;
            }
        }
    }
}

TEST_P(TwoLevelAcceleration, matchesTwoStagesOfLineFitsToTheBit)
{
    std::mt19937 random(12);
    std::uniform_real_distribution<double> place(-1000.0, 1000.0);
    std::uniform_real_distribution<double> step(0.005, 0.02);
    LiteralEstimator literal;
    std::uint32_t counter = 0;
    double time = 0.0;
    for (int n = 0; n < 900; ++n) {
        if (n == 260) {
            counter = 0; // the host starts a new run; the rings keep what they hold
        } else if (n == 420) {
            counter = 77;
        } else if (n == 500) {
            counter = 0x7FFFFFF0u; // twice that leaves 32 bits on the way
        } else if (n == 650) {
            counter = 0xFFFFFFF0u; // and here the counter itself does
        }
        time += step(random);
        const Vector position = {place(random), place(random), place(random)};
        const Vector axis = {place(random), place(random), place(random)};
        double wantedAlong = 4711.0;
        const bool wanted = literal.feed(position.data(), axis.data(), counter, time, wantedAlong);
        ASSERT_EQ(feed(position, axis, counter, time), wanted) << "sample " << n;
        ASSERT_TRUE(sameBits(along, wantedAlong)) << "sample " << n;
        ASSERT_TRUE(sameBitsIn("position", (model.*GetParam().position)[0], literal.position[0], 306)) << n;
        ASSERT_TRUE(sameBitsIn("velocity", (model.*GetParam().velocity)[0], literal.velocity[0], 306)) << n;
        ASSERT_TRUE(sameBitsIn("acceleration", (model.*GetParam().acceleration), literal.acceleration, 3)) << n;
        ++counter;
    }
}

TEST_P(TwoLevelAcceleration, leavesTheOtherLevelsHistoriesAlone)
{
    for (int n = 0; n < 110; ++n) {
        feed({1.0 * n, 2.0, 3.0}, {1, 0, 0}, static_cast<unsigned long>(n), 0.01 * n);
    }
    for (int axis = 0; axis < 3; ++axis) {
        for (int i = 0; i < 102; ++i) {
            EXPECT_TRUE(sameBits((model.*GetParam().otherPosition)[axis][i], 0.0));
        }
    }
}

TEST_P(TwoLevelAcceleration, reducesTheCounterTo32Bits)
{
    if constexpr (sizeof(unsigned long) > 4) {
        const auto beyond = static_cast<unsigned long>(0x100000000ULL);
        EXPECT_FALSE(feed({1, 2, 3}, {1, 0, 0}, beyond + 7, 0.5));
        EXPECT_EQ((model.*GetParam().position)[0][14], 0.5);
        EXPECT_EQ((model.*GetParam().position)[0][15], 1.0);
    } else {
        EXPECT_FALSE(feed({1, 2, 3}, {1, 0, 0}, 7, 0.5));
        EXPECT_EQ((model.*GetParam().position)[0][14], 0.5);
    }
}

// Without a spread of times no line can be fitted: the slopes are zero, and that counts as a result.
TEST_P(TwoLevelAcceleration, isZeroWhenTheTimeStandsStill)
{
    for (int n = 0; n < 102; ++n) {
        feed({1.0 * n * n, 2.0, 3.0}, {1, 1, 1}, static_cast<unsigned long>(n), 5.0);
    }
    EXPECT_TRUE(feed({1.0, 2.0, 3.0}, {1, 1, 1}, 102, 5.0));
    EXPECT_EQ(along, 0.0);
}

INSTANTIATE_TEST_SUITE_P(
    BothLevels, TwoLevelAcceleration,
    ::testing::Values(Estimator{&CKorThreeVec2Level::GetAccLx, &OpenV1::m_posHistL1, &OpenV1::m_velHistL1,
                                &OpenV1::m_accL1, &OpenV1::m_posHistL2, "level1"},
                      Estimator{&CKorThreeVec2Level::GetAccLy, &OpenV1::m_posHistL2, &OpenV1::m_velHistL2,
                                &OpenV1::m_accL2, &OpenV1::m_posHistL1, "level2"}),
    [](const auto& chosen) { return std::string(chosen.param.name); });

// ---- Compensation

double compensated(double level, double acceleration)
{
    OpenV1 model;
    model.GetLevelAfterAccComp(level, acceleration);
    return level;
}

TEST(TwoLevelCompensation, ofOneGravityStandsALevelUpright)
{
    // a quarter turn in shortened degrees: 90 (1 - 4.1e-14)
    EXPECT_TRUE(within(compensated(0.0, 9800.0), 90.0, 1e-11));
    EXPECT_TRUE(within(compensated(0.0, -9800.0), -90.0, 1e-11));
}

TEST(TwoLevelCompensation, leavesALevelWhoseSineWouldPassOne)
{
    EXPECT_EQ(compensated(10.0, 9800.0), 10.0);
    EXPECT_EQ(compensated(-10.0, -9800.0), -10.0);
    EXPECT_EQ(compensated(10.0, kInfinity), 10.0);
    EXPECT_EQ(compensated(10.0, -kInfinity), 10.0);
    EXPECT_EQ(compensated(0.0, 9800.000000001), 0.0);
}

TEST(TwoLevelCompensation, passesNotANumberOn)
{
    EXPECT_TRUE(std::isnan(compensated(10.0, kNan)));
    EXPECT_TRUE(std::isnan(compensated(kNan, 0.0)));
    EXPECT_TRUE(std::isnan(compensated(kInfinity, 0.0)));
}

TEST(TwoLevelCompensation, addsTheAccelerationInUnitsOfGravityToTheSine)
{
    EXPECT_TRUE(sameBits(compensated(10.0, 0.0), std::asin(std::sin(10.0 * 0.01745329251994)) * 57.29577951308));
    EXPECT_TRUE(sameBits(compensated(-3.0, 123.0),
                         std::asin(std::sin(-3.0 * 0.01745329251994) + 123.0 / 9800.0) * 57.29577951308));
    EXPECT_TRUE(within(compensated(0.0, 4900.0), 30.0, 1e-11)); // shortened degrees
    std::mt19937 random(13);
    std::uniform_real_distribution<double> level(-100.0, 100.0);
    std::uniform_real_distribution<double> acceleration(-12000.0, 12000.0);
    for (int n = 0; n < 10000; ++n) {
        const double l = level(random);
        const double a = acceleration(random);
        double wanted = l;
        literal::compensate(l, a, wanted);
        ASSERT_TRUE(sameBits(compensated(l, a), wanted)) << l << ", " << a;
    }
}

// ---- What the engine hands in and reads back

TEST(TwoLevelSetters, storeWhatTheyAreGiven)
{
    OpenV1 model;
    model.SetLevelLimits(true, false);
    EXPECT_TRUE(model.m_level1Excluded);
    EXPECT_FALSE(model.m_level2Excluded);
    model.SetLevelLimits(false, true);
    EXPECT_FALSE(model.m_level1Excluded);
    EXPECT_TRUE(model.m_level2Excluded);
    model.SetCounter(17, 4294967295UL);
    EXPECT_EQ(model.m_counterL1, 17u);
    EXPECT_EQ(model.m_counterL2, 4294967295u);
    model.SetTimeInterval(1.5, -2.5);
    EXPECT_EQ(model.m_timeL1, 1.5);
    EXPECT_EQ(model.m_timeL2, -2.5);
}

// Pins [counters-modulo-32].
TEST(TwoLevelSetters, reduceCountersTo32Bits)
{
    OpenV1 model;
    model.SetCounter(~0UL, ~0UL);
    EXPECT_EQ(model.m_counterL1, 0xFFFFFFFFu);
    EXPECT_EQ(model.m_counterL2, 0xFFFFFFFFu);
}

TEST(TwoLevelGetter, narrowsTheFilteredLevels)
{
    OpenV1 model;
    model.m_level1Filtered = 1.0 / 3.0;
    model.m_level2Filtered = -1e300;
    float level1 = 0.0F;
    float level2 = 0.0F;
    model.GetLevelValues(level1, level2);
    EXPECT_TRUE(sameBits(level1, 0.3333333432674407958984375F));
    EXPECT_TRUE(sameBits(level2, -std::numeric_limits<float>::infinity()));
}

TEST(TwoLevelDynamicParameters, areIgnoredByTheFirstVersion)
{
    OpenV1 model;
    float values[7] = {1, 2, 3, 4, 5, 6, 7};
    model.SetDynamicParameters(values);
    model.SetDynamicParameters(nullptr);
    EXPECT_EQ(model.m_timeL1, 0.0);
    EXPECT_EQ(model.m_filterLength, 80);
    EXPECT_EQ(values[6], 7.0F);
}

} // namespace
} // namespace kor_test
