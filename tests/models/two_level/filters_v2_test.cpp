// The filters, setters and diagnostics of the second two-level model.
#include "models/two_level/sensor.h"
#include "models/two_level/two_level.h"

#include <random>

namespace kor_test {
namespace {

TEST(TwoLevelV2Defaults, everythingIsZeroBothLevelsAreExcludedAndTheStreamIsClosed)
{
    const OpenV2 model;
    EXPECT_EQ(model.m_ringIndex, 0);
    for (int row = 0; row < 51; ++row) {
        for (int channel = 0; channel < 9; ++channel) {
            EXPECT_TRUE(sameBits(model.m_rawRing[row][channel], 0.0));
            EXPECT_TRUE(sameBits(model.m_filteredRing[row][channel], 0.0));
        }
        for (int channel = 0; channel < 2; ++channel) {
            EXPECT_TRUE(sameBits(model.m_psdRing[row][channel], 0.0));
            EXPECT_TRUE(sameBits(model.m_psdFilteredRing[row][channel], 0.0));
            EXPECT_TRUE(sameBits(model.m_axisZRing[row][channel], 0.0));
        }
    }
    for (const double value :
         {model.m_accAlongL1v2, model.m_level1Value, model.m_accVectorV2[0], model.m_accVectorV2[1],
          model.m_accVectorV2[2], model.m_accAlongL2v2, model.m_level2Value, model.m_timeL1v2, model.m_timeL2v2}) {
        EXPECT_TRUE(sameBits(value, 0.0));
    }
    for (const float value : model.m_dynamicParams) {
        EXPECT_TRUE(sameBits(value, 0.0F));
    }
    for (const float value : model.qvcMatrix) {
        EXPECT_TRUE(sameBits(value, 0.0F));
    }
    EXPECT_EQ(model.m_counterL1v2, 0u);
    EXPECT_EQ(model.m_counterL2v2, 0u);
    EXPECT_TRUE(model.m_level1ExcludedV2);
    EXPECT_TRUE(model.m_level2ExcludedV2);
    EXPECT_EQ(model.m_shortLength, 5);
    EXPECT_FALSE(model.m_logStream.is_open());
}

// ---- Nine channels

// Pins [unwritten-rows, two-samples-back].
TEST(TwoLevelV2MovingFilter, givesAFifthOfTheFirstSampleAndZeroAngles)
{
    OpenV2 model;
    double ring[51][9] = {};
    double sample[9] = {5, 10, -15, 20, 25, 6, 7, 8, 9};
    EXPECT_EQ(model.MovingFilter(ring, sample), 0);
    const double wanted[9] = {1, 2, -3, 4, 5, 0, 0, 0, 0};
    EXPECT_TRUE(sameBitsIn("sample", sample, wanted, 9));
    const double stored[9] = {5, 10, -15, 20, 25, 6, 7, 8, 9};
    EXPECT_TRUE(sameBitsIn("row 0", ring[0], stored, 9));
    for (int row = 1; row < 51; ++row) {
        for (int channel = 0; channel < 9; ++channel) {
            EXPECT_TRUE(sameBits(ring[row][channel], 0.0));
        }
    }
    EXPECT_EQ(model.m_ringIndex, 0); // the filters never move the index
}

TEST(TwoLevelV2MovingFilter, settlesOnConstantInputs)
{
    OpenV2 model;
    double ring[51][9] = {};
    for (int n = 0; n < 5; ++n) {
        double sample[9] = {1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5, 9.5};
        model.MovingFilter(ring, sample);
        for (int channel = 0; channel < 5; ++channel) {
            // zeros of rows never written count in the mean
            EXPECT_EQ(sample[channel], (channel + 1.5) * (n + 1) / 5.0) << n << ", " << channel;
        }
        for (int channel = 5; channel < 9; ++channel) {
            EXPECT_EQ(sample[channel], n < 2 ? 0.0 : channel + 1.5) << n << ", " << channel;
        }
        model.m_ringIndex = (model.m_ringIndex + 1) % 51;
    }
}

TEST(TwoLevelV2MovingFilter, looksBackAcrossTheEndOfTheRing)
{
    OpenV2 model; // index 0: the rows are 0, 50, 49, 48, 47
    double ring[51][9] = {};
    for (int row = 0; row < 51; ++row) {
        for (int channel = 0; channel < 9; ++channel) {
            ring[row][channel] = 1000.0 * row + channel;
        }
    }
    double sample[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    model.MovingFilter(ring, sample);
    for (int channel = 0; channel < 5; ++channel) {
        EXPECT_EQ(sample[channel], (1.0 + 194000.0 + 4.0 * channel) / 5.0);
    }
    for (int channel = 5; channel < 9; ++channel) {
        EXPECT_EQ(sample[channel], 49000.0 + channel);
    }
}

TEST(TwoLevelV2MovingFilter, touchesNothingBehindTheNineChannels)
{
    constexpr double kGuard = 4711.0;
    double ring[52][9];
    for (const int row : {0, 2, 49, 50}) {
        OpenV2 model;
        model.m_ringIndex = row;
        for (auto& channels : ring) {
            for (double& channel : channels) {
                channel = kGuard;
            }
        }
        double sample[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, kGuard + 1};
        model.MovingFilter(ring, sample);
        EXPECT_EQ(sample[9], kGuard + 1) << row;
        for (int other = 0; other < 52; ++other) {
            for (int channel = 0; channel < 9; ++channel) {
                EXPECT_EQ(ring[other][channel], other == row ? channel + 1 : kGuard) << other << ", " << channel;
            }
        }
    }
}

TEST(TwoLevelV2MovingFilter, matchesItsStepsToTheBit)
{
    std::mt19937 random(41);
    std::uniform_real_distribution<double> value(-100.0, 100.0);
    OpenV2 model;
    LiteralV2Process process;
    LiteralV2 literal(process, {});
    double ring[51][9] = {};
    for (int n = 0; n < 200; ++n) {
        double got[9];
        double wanted[9];
        for (int channel = 0; channel < 9; ++channel) {
            got[channel] = wanted[channel] = n % 50 == 7 ? -0.0 : value(random);
        }
        if (n == 90) {
            got[n % 9] = wanted[n % 9] = kNan;
        }
        model.MovingFilter(ring, got);
        literal.filter(wanted);
        ASSERT_TRUE(sameBitsIn("sample", got, wanted, 9)) << "sample " << n;
        ASSERT_TRUE(sameBitsIn("ring", ring[0], literal.rawRing[0], 459)) << "sample " << n;
        model.m_ringIndex = (model.m_ringIndex + 1) % 51;
        literal.ringIndex = model.m_ringIndex;
    }
}

TEST(TwoLevelV2MovingFilter, addsFromZeroSoThatNegativeZerosBecomePositive)
{
    OpenV2 model;
    double ring[51][9];
    for (auto& row : ring) {
        for (double& element : row) {
            element = -0.0;
        }
    }
    double sample[9] = {-0.0, -0.0, -0.0, -0.0, -0.0, -0.0, -0.0, -0.0, -0.0};
    model.MovingFilter(ring, sample);
    for (int channel = 0; channel < 5; ++channel) {
        EXPECT_TRUE(sameBits(sample[channel], 0.0));
    }
    for (int channel = 5; channel < 9; ++channel) {
        EXPECT_TRUE(sameBits(sample[channel], -0.0)); // these are only delayed
    }
}

// ---- Detector

TEST(TwoLevelV2PsdMovingFilter, isAMeanOfFiveWithoutDelayedChannels)
{
    OpenV2 model;
    double ring[51][2] = {};
    const double first[5] = {5, 10, 20, 40, 80};
    const double wanted[5] = {1, 3, 7, 15, 31};
    for (int n = 0; n < 5; ++n) {
        double pair[2] = {first[n], -first[n]};
        EXPECT_EQ(model.PsdMovingFilter(ring, pair), 0);
        EXPECT_EQ(pair[0], wanted[n]);
        EXPECT_EQ(pair[1], -wanted[n]);
        EXPECT_EQ(ring[n][0], first[n]);
        EXPECT_EQ(ring[n][1], -first[n]);
        ++model.m_ringIndex;
    }
}

TEST(TwoLevelV2PsdMovingFilter, touchesNothingBehindThePair)
{
    constexpr double kGuard = 4711.0;
    double ring[52][2];
    for (const int row : {0, 2, 50}) {
        OpenV2 model;
        model.m_ringIndex = row;
        for (auto& channels : ring) {
            channels[0] = channels[1] = kGuard;
        }
        double pair[3] = {1, 2, kGuard + 1};
        model.PsdMovingFilter(ring, pair);
        EXPECT_EQ(pair[2], kGuard + 1) << row;
        for (int other = 0; other < 52; ++other) {
            for (int channel = 0; channel < 2; ++channel) {
                EXPECT_EQ(ring[other][channel], other == row ? channel + 1 : kGuard) << other << ", " << channel;
            }
        }
    }
}

TEST(TwoLevelV2PsdMovingFilter, looksBackAcrossTheEndOfTheRing)
{
    OpenV2 model;
    double ring[51][2] = {};
    for (int row = 0; row < 51; ++row) {
        ring[row][0] = 100.0 * row;
        ring[row][1] = 100.0 * row + 5.0;
    }
    model.m_ringIndex = 1; // the rows are 1, 0, 50, 49, 48
    double pair[2] = {3.0, 8.0};
    model.PsdMovingFilter(ring, pair);
    EXPECT_EQ(pair[0], 14703.0 / 5.0);
    EXPECT_EQ(pair[1], 14728.0 / 5.0);
}

TEST(TwoLevelV2PsdMovingFilter, matchesItsStepsToTheBit)
{
    std::mt19937 random(42);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    OpenV2 model;
    LiteralV2Process process;
    LiteralV2 literal(process, {});
    double ring[51][2] = {};
    for (int n = 0; n < 200; ++n) {
        double got[2] = {value(random), value(random)};
        double wanted[2] = {got[0], got[1]};
        model.PsdMovingFilter(ring, got);
        literal.filterPair(wanted);
        ASSERT_TRUE(sameBitsIn("pair", got, wanted, 2)) << "sample " << n;
        model.m_ringIndex = (model.m_ringIndex + 1) % 51;
        literal.ringIndex = model.m_ringIndex;
    }
}

// ---- The filter that nothing calls

// Pins [first-five-entries].
TEST(TwoLevelV2AccMovingFilter, averagesTheFirstFiveEntriesWhereverItWrites)
{
    OpenV2 model;
    double buffer[51] = {10, 20, 30, 40, 50, 60};
    double value = 35.0;
    EXPECT_EQ(model.AccMovingFilter(buffer, value), 0);
    EXPECT_EQ(buffer[0], 35.0);
    EXPECT_EQ(value, 35.0); // 35 20 30 40 50
    model.m_ringIndex = 4;
    value = 0.0;
    model.AccMovingFilter(buffer, value);
    EXPECT_EQ(buffer[4], 0.0);
    EXPECT_EQ(value, 25.0);
    model.m_ringIndex = 50;
    value = 1000.0;
    model.AccMovingFilter(buffer, value);
    EXPECT_EQ(buffer[50], 1000.0);
    EXPECT_EQ(value, 25.0); // the value written is not among the first five
    EXPECT_EQ(model.m_ringIndex, 50);
}

// ---- Setters and getter

TEST(TwoLevelV2Setters, writeOnlyTheSecondVersionsMembers)
{
    OpenV2 model;
    model.SetLevelLimits(true, false);
    EXPECT_TRUE(model.m_level1ExcludedV2);
    EXPECT_FALSE(model.m_level2ExcludedV2);
    model.SetLevelLimits(false, true);
    EXPECT_FALSE(model.m_level1ExcludedV2);
    EXPECT_TRUE(model.m_level2ExcludedV2);
    model.SetCounter(17, 4294967295UL);
    EXPECT_EQ(model.m_counterL1v2, 17u);
    EXPECT_EQ(model.m_counterL2v2, 4294967295u);
    model.SetTimeInterval(1.5, -2.5);
    EXPECT_EQ(model.m_timeL1v2, 1.5);
    EXPECT_EQ(model.m_timeL2v2, -2.5);

    EXPECT_FALSE(model.m_level1Excluded);
    EXPECT_FALSE(model.m_level2Excluded);
    EXPECT_EQ(model.m_counterL1, 0u);
    EXPECT_EQ(model.m_counterL2, 0u);
    EXPECT_EQ(model.m_timeL1, 0.0);
    EXPECT_EQ(model.m_timeL2, 0.0);
}

// Pins [counters-modulo-32].
TEST(TwoLevelV2Setters, reduceCountersTo32Bits)
{
    OpenV2 model;
    model.SetCounter(~0UL, ~0UL);
    EXPECT_EQ(model.m_counterL1v2, 0xFFFFFFFFu);
    EXPECT_EQ(model.m_counterL2v2, 0xFFFFFFFFu);
}

TEST(TwoLevelV2Getter, narrowsTheSecondVersionsLevels)
{
    OpenV2 model;
    model.m_level1Filtered = 7.0;
    model.m_level2Filtered = 8.0;
    model.m_level1Value = 1.0 / 3.0;
    model.m_level2Value = -2.0 / 3.0;
    float level1 = 0.0F;
    float level2 = 0.0F;
    model.GetLevelValues(level1, level2);
    EXPECT_TRUE(sameBits(level1, 0.3333333432674407958984375F));
    EXPECT_TRUE(sameBits(level2, -0.666666686534881591796875F));
}

TEST(TwoLevelV2DynamicParameters, areSevenAndANullPointerLeavesThem)
{
    OpenV2 model;
    float values[8] = {1.5F, 2.5F, 3.5F, 4.5F, 5.5F, -0.0F, 7.5F, 8.5F};
    model.SetDynamicParameters(values);
    EXPECT_TRUE(sameBitsIn("dynamicParams", model.m_dynamicParams, values, 7));
    model.SetDynamicParameters(nullptr);
    EXPECT_TRUE(sameBitsIn("dynamicParams", model.m_dynamicParams, values, 7));
    values[0] = 99.0F;
    EXPECT_EQ(model.m_dynamicParams[0], 1.5F); // copied, not referred to
}

// ---- Compensation out of place

TEST(TwoLevelV2Compensation, writesTheResultBesideTheLevel)
{
    OpenV2 model;
    double level = 10.0;
    double out = 3.0;
    model.GetLevelAfterAccComp(level, 123.0, out);
    EXPECT_EQ(level, 10.0);
    EXPECT_TRUE(sameBits(out, std::asin(std::sin(10.0 * 0.01745329251994) + 123.0 / 9800.0) * 57.29577951308));
    level = 0.0;
    model.GetLevelAfterAccComp(level, 9800.0, out);
    EXPECT_EQ(level, 0.0);
    EXPECT_TRUE(within(out, 90.0, 1e-11)); // shortened degrees
}

TEST(TwoLevelV2Compensation, keepsThePreviousResultWhenTheSineWouldPassOne)
{
    OpenV2 model;
    double level = 10.0;
    double out = 3.0;
    model.GetLevelAfterAccComp(level, 9800.0, out);
    EXPECT_EQ(out, 3.0);
    EXPECT_EQ(level, 10.0);
    model.GetLevelAfterAccComp(level, -kInfinity, out);
    EXPECT_EQ(out, 3.0);
    model.GetLevelAfterAccComp(level, kNan, out);
    EXPECT_TRUE(std::isnan(out)); // a NaN passes the test
    EXPECT_EQ(level, 10.0);
}

TEST(TwoLevelV2Overloads, hideNoneOfTheFirstVersion)
{
    CKorThreeVec2Levelv2 model;
    double level = 10.0;
    model.GetLevelAfterAccComp(level, 123.0);
    EXPECT_TRUE(sameBits(level, std::asin(std::sin(10.0 * 0.01745329251994) + 123.0 / 9800.0) * 57.29577951308));
    double value = 3.0;
    model.MovingFilter(value);
    value = 9.0;
    model.MovingFilter(value);
    EXPECT_EQ(value, 3.0);
    value = 4.0;
    model.MovingFilterLevelY(value);
    value = 9.0;
    model.MovingFilterLevelY(value);
    EXPECT_EQ(value, 4.0);

    CKorThreeVec2Level& base = model;
    value = 9.0;
    base.MovingFilter(value);
    EXPECT_EQ(value, 6.0);
}

// ---- Acceleration of the second version

class TwoLevelV2Acceleration : public OwnProcess {};

TEST_F(TwoLevelV2Acceleration, weighsTheLastSevenPositions)
{
    OpenV2 model;
    // one position of 1 in a run of zeros walks through the seven weights
    const double weights[8] = {1, 2, -1, -4, -1, 2, 1, 0};
    for (int n = 0; n < 8; ++n) {
        const double position[3] = {n == 0 ? 1.0 : 0.0, n == 0 ? -2.0 : 0.0, n == 0 ? 4.0 : 0.0};
        EXPECT_TRUE(model.GetAccO1(position, 0, 0.0));
        EXPECT_EQ(model.m_accVectorV2[0], 625.0 * weights[n]) << n;
        EXPECT_EQ(model.m_accVectorV2[1], -1250.0 * weights[n]) << n;
        EXPECT_EQ(model.m_accVectorV2[2], 2500.0 * weights[n]) << n;
    }
}

// Pins [hundredth-of-a-second].
TEST_F(TwoLevelV2Acceleration, isTheSecondDerivativeOfSamplesTenMillisecondsApart)
{
    OpenV2 model;
    for (int n = 0; n < 40; ++n) {
        const double t = 0.01 * n;
        const double position[3] = {50.0 * t * t, 3.0 - 40.0 * t, -125.0 * t * t + 7.0 * t};
        model.GetAccO1(position, static_cast<unsigned long>(n), 1000.0 * t); // neither is used
        if (n >= 6) {
            // 625 times a dozen roundings of numbers up to 20
            EXPECT_TRUE(within(model.m_accVectorV2[0], 100.0, 2e-11)) << n;
            EXPECT_TRUE(within(model.m_accVectorV2[1], 0.0, 2e-11)) << n;
            EXPECT_TRUE(within(model.m_accVectorV2[2], -250.0, 2e-11)) << n;
        }
    }
}

TEST_F(TwoLevelV2Acceleration, sharesItsPositionsWithEveryInstanceOfTheProcess)
{
    OpenV2 first;
    OpenV2 second;
    const double one[3] = {1.0, 1.0, 1.0};
    const double zero[3] = {0.0, 0.0, 0.0};
    first.GetAccO1(one, 0, 0.0);
    second.GetAccO1(zero, 0, 0.0);
    EXPECT_EQ(second.m_accVectorV2[0], 1250.0); // the first one's position, one sample back
    EXPECT_EQ(first.m_accVectorV2[0], 625.0);
    first.GetAccO1(zero, 0, 0.0);
    EXPECT_EQ(first.m_accVectorV2[0], -625.0);
}

TEST_F(TwoLevelV2Acceleration, matchesItsFormulaToTheBit)
{
    std::mt19937 random(43);
    std::uniform_real_distribution<double> value(-20000.0, 20000.0);
    OpenV2 model;
    LiteralV2Process process;
    for (int n = 0; n < 1000; ++n) {
        const double position[3] = {value(random), n % 20 == 3 ? -0.0 : value(random),
                                    n == 500   ? kInfinity
                                    : n == 600 ? kNan
                                               : value(random)};
        double wanted[3];
        process.accelerate(position, wanted);
        EXPECT_TRUE(model.GetAccO1(position, static_cast<unsigned long>(n), value(random)));
        ASSERT_TRUE(sameBitsIn("acceleration", model.m_accVectorV2, wanted, 3)) << "sample " << n;
    }
}

// ---- The solve for one level

struct SolveInput {
    std::array<float, 7> level;
    double axis[3];
    double reading;
    double dir[3];
    double horizontal;
    double vertical;
};

SolveInput randomInput(PoseSource& source)
{
    SolveInput input{};
    for (float& value : input.level) {
        value = static_cast<float>(source.uniform(-40, 40));
    }
    input.level[6] = static_cast<float>(source.uniform(0.5, 1.5));
    literal::levelAxis(input.level.data(), input.axis);
    input.reading = source.uniform(-60, 60);
    for (double& value : input.dir) {
        value = source.uniform(-1, 1);
    }
    literal::normalise(input.dir);
    input.horizontal = source.uniform(-180, 180);
    input.vertical = source.uniform(-60, 60);
    return input;
}

TEST(TwoLevelSolve, matchesItsStepsToTheBitAndIsAlwaysTrue)
{
    PoseSource source(44);
    OpenV1 model;
    for (int n = 0; n < 4000; ++n) {
        SolveInput in = randomInput(source);
        const int parity = n % 3; // any non-zero parity is the odd side
        model.set_iMMode(parity);
        double wanted[9];
        double got[9];
        literal::getF1(parity, in.level.data(), in.reading, in.dir, in.horizontal, in.vertical, wanted);
        ASSERT_TRUE(model.GetF1(in.level.data(), in.reading, in.dir, in.horizontal, in.vertical, 3, got));
        ASSERT_TRUE(sameBitsIn("out", got, wanted, 9)) << n;
    }
}

TEST(TwoLevelSolve, ofTheSecondVersionMatchesItsStepsToTheBitAndTellsWhenThereIsNoSolution)
{
    PoseSource source(45);
    OpenV2 model;
    int solved = 0;
    for (int n = 0; n < 4000; ++n) {
        SolveInput in = randomInput(source);
        const int parity = n % 2;
        model.set_iMMode(parity);
        double wanted[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
        double got[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
        const bool possible = literal::getF1v2(parity, in.axis, in.reading, in.dir, in.horizontal, in.vertical, wanted);
        ASSERT_EQ(model.GetF1(in.axis, in.reading, in.dir, in.horizontal, in.vertical, 3, got), possible);
        ASSERT_TRUE(sameBitsIn("out", got, wanted, 9)) << n;
        solved += possible ? 1 : 0;
    }
    EXPECT_GT(solved, 1000);
    EXPECT_LT(solved, 3900);
}

// Pins [down-for-both-parities].
TEST(TwoLevelSolve, takesTheLineOfSightToTheMeasuredDirectionOnBothMountSides)
{
    PoseSource source(46);
    OpenV2 model;
    int different = 0;
    for (int n = 0; n < 500; ++n) {
        SolveInput in = randomInput(source);
        in.reading *= 0.2;
        in.vertical *= 0.2;
        Matrix out[2];
        bool ok = true;
        for (const int parity : {0, 1}) {
            model.set_iMMode(parity);
            ok = model.GetF1(in.axis, in.reading, in.dir, in.horizontal, in.vertical, 3, out[parity].data()) && ok;
        }
        if (!ok) {
            continue;
        }
        const double k = 0.01745329251994;
        const Vector direction = {-std::cos(in.vertical * k) * std::sin(in.horizontal * k),
                                  std::cos(in.horizontal * k) * std::cos(in.vertical * k), std::sin(in.vertical * k)};
        for (const Matrix& m : out) {
            const Vector turned = multiply(m, Vector{in.dir[0], in.dir[1], in.dir[2]});
            for (std::size_t i = 0; i < 3; ++i) {
                ASSERT_TRUE(within(turned[i], direction[i], 1e-12)); // a few roundings of unit vectors
            }
            ASSERT_LT(distanceFromRotation(m), 1e-12);
            ASSERT_TRUE(within(determinant(m), 1.0, 1e-12));
            // the level's axis rises by its reading: downward vertical on both sides
            const Vector axis = multiply(m, Vector{in.axis[0], in.axis[1], in.axis[2]});
            ASSERT_TRUE(within(-axis[2], std::sin(in.reading * k), 1e-10)); // the shortened degrees
        }
        different += angleBetween(out[0], out[1]) > 0.01 ? 1 : 0;
    }
    EXPECT_GT(different, 300); // the mount side picks the other mirror solution
}

TEST(TwoLevelSolve, ofTheSecondVersionLeavesItsOutputWhenNoDirectionMakesBothAngles)
{
    OpenV2 model;
    model.set_iMMode(0);
    double axis[3] = {1, 0, 0};
    double dir[3] = {0, 1, 0};
    double out[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const double before[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_FALSE(model.GetF1(axis, 60.0, dir, 10.0, 60.0, 3, out)); // 30 degrees to each of two axes at right angles
    EXPECT_TRUE(sameBitsIn("out", out, before, 9));
    EXPECT_TRUE(model.GetF1(axis, 20.0, dir, 10.0, 60.0, 3, out));
    EXPECT_TRUE(within(out[1], -std::cos(1.0471975511964) * std::sin(0.1745329251994), 1e-12)); // dir onto the sight
}

TEST(TwoLevelSolve, ofTheSecondVersionLeavesItsOutputWhenTheSightLiesAlongTheLevel)
{
    OpenV2 model;
    model.set_iMMode(1);
    double axis[3] = {1, 0, 0};
    double sight[3] = {1, 0, 0};
    double strange[3] = {kNan, 0, 0};
    double out[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    const double before[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_FALSE(model.GetF1(axis, 0.0, sight, 0.0, 0.0, 3, out));
    EXPECT_TRUE(sameBitsIn("out", out, before, 9));
    EXPECT_FALSE(model.GetF1(axis, 0.0, strange, 0.0, 0.0, 3, out));
    EXPECT_TRUE(sameBitsIn("out", out, before, 9));
}

// What the second version refuses, the first one computes without looking at the code.
TEST(TwoLevelSolve, ofTheFirstVersionIgnoresThatThereIsNoSolution)
{
    OpenV2 model;
    model.set_iMMode(0);
    const float level[7] = {0, 0, 0, 0, 0, 0, 1};
    double dir[3] = {0, 1, 0};
    double out[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_TRUE(model.GetF1(level, 60.0, dir, 10.0, 60.0, 3, out));
    double wanted[9];
    literal::getF1(0, level, 60.0, dir, 10.0, 60.0, wanted);
    EXPECT_TRUE(sameBitsIn("out", out, wanted, 9));
    double sight[3] = {1, 0, 0};
    EXPECT_TRUE(model.GetF1(level, 0.0, sight, 0.0, 0.0, 3, out));
    EXPECT_TRUE(std::isnan(out[0]));
}

// Offset and gain are the first version's: an angle of (L5 + reading) L6 for both.
TEST(TwoLevelSolve, ofTheFirstVersionScalesTheReading)
{
    OpenV2 model;
    model.set_iMMode(0);
    const float level[7] = {1, 2, 3, 10, -5, 1.5F, 2.0F};
    double axis[3];
    literal::levelAxis(level, axis);
    double dir[3] = {0.1, 0.9, 0.2};
    literal::normalise(dir);
    double first[9];
    double second[9];
    ASSERT_TRUE(model.GetF1(level, 3.25, dir, 10.0, 5.0, 3, first));
    ASSERT_TRUE(model.GetF1(axis, 9.5, dir, 10.0, 5.0, 3, second));
    EXPECT_TRUE(sameBitsIn("out", first, second, 9));
}

} // namespace
} // namespace kor_test
