// What the second two-level model does, one behaviour a test.
#include "mek/Vector.h"
#include "models/two_level/motion.h"
#include "models/two_level/two_level.h"

#include <ostream>
#include <string>
#include <vector>

namespace kor_test {
namespace {

class TwoLevelV2CalTranx : public OwnProcess {
protected:
    TwoLevelV2CalTranx() : TwoLevelV2CalTranx(0) {}
    explicit TwoLevelV2CalTranx(int parity)
        : source(61), prm(ordinarySensor(source, parity)), sensor(prm), pose(mounted(source.tilted(1, 3, 25), parity)),
          pair(process, prm)
    {
    }

    // One sample of the standing sensor; a new one for every n.
    Call standing(int n) const { return callAt(sensor.read(pose), n); }

    // The rotation of the stage that one level gives for an angle, at the standing sensor's pose.
    Matrix solved(int level, double angle)
    {
        const std::array<double, 9> sample = sensor.read(pose);
        double axis[3];
        double u[3];
        double dir[3];
        double levelAxis[3];
        double spherical[3] = {sample[0], sample[1], sample[2]};
        literal::elevationAxis(prm.qvc[5], axis);
        literal::sightAtZero(static_cast<double>(prm.qvc[3]), static_cast<double>(prm.qvc[4]), u);
        literal::levelAxis(level == 1 ? prm.level1.data() : prm.level2.data(), levelAxis);
        mek::mlaRotateAroundAxis(axis, sample[6] - prm.elRef * literal::kDeg, u, dir);
        mek::ConvertCartesianToSphericalCoordinates(spherical);
        Matrix out{};
        EXPECT_TRUE(pair.model.GetF1(levelAxis, angle, dir, spherical[0], spherical[1], 3, out.data()));
        return out;
    }

    double angleOf(int level, double reading) const
    {
        const std::array<float, 7>& l = level == 1 ? prm.level1 : prm.level2;
        return (static_cast<double>(l[5]) + reading) * static_cast<double>(l[6]);
    }

    // The stage's rotation behind the last result.
    Matrix stage() const
    {
        return multiply(pair.io, rotationZ((sensor.read(pose)[5] - prm.azRef * literal::kDeg) * literal::kRad));
    }

    PoseSource source;
    Priming prm;
    TwoLevelSensor sensor;
    Pose pose;
    LiteralV2Process process;
    PairV2 pair;
};

// Pins [first-call].
TEST_F(TwoLevelV2CalTranx, returnsAZeroMatrixForTheFirstCallOfTheProcess)
{
    ASSERT_TRUE(pair.feed(standing(1)));
    EXPECT_TRUE(pair.ok);
    for (const double element : pair.io) {
        EXPECT_TRUE(sameBits(element, 0.0));
    }
    EXPECT_EQ(pair.model.m_ringIndex, 0); // the filters did not run
    for (const float value : pair.model.qvcMatrix) {
        EXPECT_TRUE(sameBits(value, 0.0F));
    }
}

// Pins [zero-in-fifth-row, buffer-after-false].
TEST_F(TwoLevelV2CalTranx, holdsBackFourNewSamplesAndLetsTheFifthPass)
{
    ASSERT_TRUE(pair.feed(standing(1)));
    for (int n = 2; n <= 5; ++n) {
        const Call call = standing(n);
        ASSERT_TRUE(pair.feed(call));
        EXPECT_FALSE(pair.ok);
        EXPECT_TRUE(sameBitsThroughout(pair.io, call.io));
        EXPECT_EQ(pair.model.m_ringIndex, n - 1);
    }
    ASSERT_TRUE(pair.feed(standing(6)));
    EXPECT_TRUE(pair.ok);
    EXPECT_LT(distanceFromRotation(pair.io), 1e-14);
}

// A sample that the gate held back counts as seen: its time stamps are remembered.
TEST_F(TwoLevelV2CalTranx, returnsTheLastMatrixForARepeatedSampleThatTheGateHeldBack)
{
    ASSERT_TRUE(pair.feed(standing(1)));
    ASSERT_TRUE(pair.feed(standing(2)));
    EXPECT_FALSE(pair.ok);
    ASSERT_TRUE(pair.feed(standing(2)));
    EXPECT_TRUE(pair.ok);
    EXPECT_EQ(pair.io, Matrix{});
}

TEST_F(TwoLevelV2CalTranx, refusesUntilTheLimitsAreSet)
{
    OpenV2 fresh(prm);
    std::array<double, 9> io = sensor.read(pose);
    const std::array<double, 9> before = io;
    EXPECT_FALSE(fresh.CalTranxMatrix(io.data(), prm.azRef, prm.elRef, 3));
    EXPECT_TRUE(sameBitsThroughout(io, before));
    fresh.SetLevelLimits(false, true);
    EXPECT_TRUE(fresh.CalTranxMatrix(io.data(), prm.azRef, prm.elRef, 3)); // the first call's zero matrix
}

TEST_F(TwoLevelV2CalTranx, changesNothingWhenBothLevelsAreExcluded)
{
    for (int n = 1; n <= 30; ++n) {
        ASSERT_TRUE(pair.feed(standing(n)));
    }
    for (int n = 31; n <= 33; ++n) {
        Call call = standing(n);
        call.excluded1 = call.excluded2 = true;
        call.io[0] = 1.0;
        ASSERT_TRUE(pair.feed(call)); // every field is compared
        EXPECT_FALSE(pair.ok);
        EXPECT_TRUE(sameBitsThroughout(pair.io, call.io));
    }
    EXPECT_EQ(process.level[0].usable, 25);
    ASSERT_TRUE(pair.feed(standing(33))); // its stamp was not remembered: a new sample
    EXPECT_EQ(process.level[0].usable, 26);
    EXPECT_EQ(pair.model.m_ringIndex, 30);
}

TEST_F(TwoLevelV2CalTranx, doesNotBeginTheProcessWithARefusedCall)
{
    Call call = standing(7);
    call.excluded1 = call.excluded2 = true;
    ASSERT_TRUE(pair.feed(call));
    EXPECT_FALSE(pair.ok);
    ASSERT_TRUE(pair.feed(standing(8)));
    EXPECT_TRUE(pair.ok); // this one is the first, with the zero matrix
    EXPECT_EQ(pair.io, Matrix{});
}

TEST_F(TwoLevelV2CalTranx, returnsTheSameMatrixForTheSameTimeStampsWithoutTouchingTheRings)
{
    for (int n = 1; n <= 40; ++n) {
        ASSERT_TRUE(pair.feed(standing(n)));
    }
    const Matrix last = pair.io;
    const int index = pair.model.m_ringIndex;
    Call repeated = standing(40);
    repeated.io = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    for (int n = 0; n < 3; ++n) {
        ASSERT_TRUE(pair.feed(repeated));
        EXPECT_TRUE(pair.ok);
        EXPECT_TRUE(sameBitsThroughout(pair.io, last));
        EXPECT_EQ(pair.model.m_ringIndex, index);
    }
    // nothing of them shows later: a standing sensor's matrix stays what it was
    for (int n = 41; n <= 60; ++n) {
        ASSERT_TRUE(pair.feed(standing(n)));
        EXPECT_LT(angleBetween(pair.io, last), 1e-9);
    }
}

TEST_F(TwoLevelV2CalTranx, takesASampleAsNewWhenEitherTimeStampMoves)
{
    for (int n = 1; n <= 40; ++n) {
        ASSERT_TRUE(pair.feed(standing(n)));
    }
    const int index = pair.model.m_ringIndex;
    Call call = standing(40);
    call.time1 += 0.01;
    ASSERT_TRUE(pair.feed(call));
    EXPECT_EQ(pair.model.m_ringIndex, index + 1);
    call.time2 -= 0.01;
    ASSERT_TRUE(pair.feed(call));
    EXPECT_EQ(pair.model.m_ringIndex, index + 2);
    ASSERT_TRUE(pair.feed(call));
    EXPECT_EQ(pair.model.m_ringIndex, index + 2);
}

// Pins [zero-in-fifth-row].
TEST_F(TwoLevelV2CalTranx, isHeldBackForAWholeLapWhenLevel1IsExactlyZeroInRow4)
{
    const auto level1Zero = [&](int n) {
        Call call = standing(n);
        call.io[3] = 0.0;
        return call;
    };
    int held = 0;
    for (int n = 1; n <= 150; ++n) {
        // rows 0 to 4 of the second lap: calls 53 to 57 are filtered to a mean of zero in row 4
        ASSERT_TRUE(pair.feed(n >= 53 && n <= 57 ? level1Zero(n) : standing(n)));
        if (n >= 57 && n < 108) {
            EXPECT_FALSE(pair.ok) << n;
            held += pair.ok ? 0 : 1;
        } else if (n >= 6) {
            EXPECT_TRUE(pair.ok) << n;
        }
    }
    EXPECT_EQ(held, 51);
}

// The eleventh sample that a level is usable for is the first whose reading counts.
// Pins [first-ten-samples].
TEST_F(TwoLevelV2CalTranx, usesNoReadingOfALevelForItsFirstTenUsableSamples)
{
    for (int n = 1; n <= 40; ++n) {
        ASSERT_TRUE(pair.feed(standing(n)));
        if (n >= 6 && n <= 15) { // both angles are zero
            const literal::Euler one = literal::euler(solved(1, 0.0).data());
            const literal::Euler two = literal::euler(solved(2, 0.0).data());
            const literal::Euler got = literal::euler(stage().data());
            EXPECT_TRUE(within(got.x, 0.5 * (one.x + two.x), 1e-10)) << n;
            EXPECT_TRUE(within(got.y, 0.5 * (one.y + two.y), 1e-10)) << n;
        } else if (n >= 16) {
            EXPECT_LT(angleBetween(pair.io, pose.base), 1e-9) << n;
        }
    }
}

struct Weight {
    int usable1;
    int usable2;
    double weight;
};

void PrintTo(const Weight& weight, std::ostream* out)
{
    *out << weight.usable1 << " and " << weight.usable2;
}

// How many samples each level has been usable for, and the weight of level 1 then.
class TwoLevelV2Weight : public TwoLevelV2CalTranx, public ::testing::WithParamInterface<Weight> {};

// Pins [squared-weight].
TEST_P(TwoLevelV2Weight, followsHowLongEachLevelHasBeenUsable)
{
    const auto [usable1, usable2, weight] = GetParam();
    const int samples = std::max(usable1, usable2);
    // level 2 reads two degrees too much, so that the blend shows
    const double wrong = 2.0;
    const auto sample = [&](int n) {
        Call call = standing(n);
        call.io[4] += wrong;
        return call;
    };
    // Both counts run from the start; then a level that is to have fewer is excluded until it may begin.
    for (int n = 1; n <= 5; ++n) {
        ASSERT_TRUE(pair.feed(sample(n)));
    }
    for (int n = 1; n <= samples; ++n) {
        Call call = sample(5 + n);
        call.excluded1 = n <= samples - usable1;
        call.excluded2 = n <= samples - usable2;
        ASSERT_TRUE(pair.feed(call));
    }
    EXPECT_EQ(process.level[0].usable, usable1);
    EXPECT_EQ(process.level[1].usable, usable2);
    EXPECT_TRUE(within(process.weight, weight, 1e-15));

    // The angles that the two levels hand to their solves: the reading once it counts (or while it is excluded),
    // otherwise the last one handed in.
    const double angle1 = process.level[0].out;
    const double angle2 = process.level[1].out;
    const literal::Euler one = literal::euler(solved(1, angle1).data());
    const literal::Euler two = literal::euler(solved(2, angle2).data());
    const literal::Euler got = literal::euler(stage().data());
    EXPECT_GT(std::abs(one.x - two.x) + std::abs(one.y - two.y), 0.001);
    EXPECT_TRUE(within(got.x, weight * one.x + (1 - weight) * two.x, 1e-10));
    EXPECT_TRUE(within(got.y, weight * one.y + (1 - weight) * two.y, 1e-10));
    EXPECT_TRUE(within(got.z, weight * one.z + (1 - weight) * two.z, 1e-10));
}

INSTANTIATE_TEST_SUITE_P(Table, TwoLevelV2Weight,
                         ::testing::Values(Weight{1, 1, 0.5}, Weight{10, 10, 0.5}, Weight{11, 11, 0.25},
                                           Weight{30, 30, 0.25}, Weight{300, 300, 0.25}, Weight{15, 0, 1.0},
                                           Weight{11, 0, 1.0}, Weight{11, 8, 1.0}, Weight{40, 0, 1.0},
                                           Weight{0, 11, 0.0}, Weight{0, 20, 0.0}, Weight{8, 12, 0.0},
                                           Weight{10, 11, 0.0}, Weight{9, 12, 1.0}, Weight{5, 16, 1.0},
                                           Weight{5, 30, 1.0 / 9.0}, Weight{0, 21, 1.0}, Weight{0, 30, 1.0},
                                           Weight{0, 40, 0.25}, Weight{0, 60, 0.0625}, Weight{30, 12, 400.0 / 484.0},
                                           Weight{12, 30, 4.0 / 484.0}, Weight{11, 10, 1.0}, Weight{30, 5, 1.0},
                                           Weight{0, 9, 0.5}, Weight{10, 0, 0.5}),
                         [](const auto& chosen) {
                             return std::to_string(chosen.param.usable1) + "and" + std::to_string(chosen.param.usable2);
                         });

TEST_F(TwoLevelV2CalTranx, countsALevelFromOneAgainAfterAnExclusion)
{
    for (int n = 1; n <= 50; ++n) {
        Call call = standing(n);
        call.excluded2 = n == 30;
        ASSERT_TRUE(pair.feed(call));
        if (n == 30) {
            EXPECT_EQ(process.level[1].usable, 0);
        }
    }
    EXPECT_EQ(process.level[0].usable, 45);
    EXPECT_EQ(process.level[1].usable, 20);
}

// Samples 201 to 400 of those that carry a first temperature give the references.
TEST_F(TwoLevelV2CalTranx, replacesTheTemperatureReferencesOnceByTheMeanOf200Samples)
{
    prm.dynamic = {1.0F, 1.0F, 1.0F, 0.0F, 0.0F, 0.0F, 0.0F};
    pair.set(prm);
    double sum7 = 0.0;
    double sum8 = 0.0;
    int counted = 0;
    std::vector<std::array<double, 2>> sent;
    for (int n = 1; n <= 700; ++n) {
        Call call = standing(n);
        call.io[7] = n % 10 == 0 ? 0.0 : 20.0 + 0.01 * n;
        call.io[8] = 30.0 - 0.02 * n;
        sent.push_back({call.io[7], call.io[8]});
        ASSERT_TRUE(pair.feed(call));
        // the filter hands on the sample of two calls before; the first call and the gate count nothing
        if (n >= 6 && sent[static_cast<std::size_t>(n - 3)][0] != 0.0 && counted < 400) {
            ++counted;
            if (counted > 200) {
                sum7 += sent[static_cast<std::size_t>(n - 3)][0];
                sum8 += sent[static_cast<std::size_t>(n - 3)][1];
            }
        }
        if (counted < 400) {
            EXPECT_TRUE(sameBits(process.ref7, 20.01));
            EXPECT_TRUE(sameBits(process.ref8, 29.98));
        }
    }
    EXPECT_EQ(counted, 400);
    EXPECT_TRUE(sameBits(process.ref7, sum7 / 200.0));
    EXPECT_TRUE(sameBits(process.ref8, sum8 / 200.0));
    EXPECT_TRUE(process.warmDone);
}

TEST_F(TwoLevelV2CalTranx, correctsTheLevelsByTheTemperaturesTimesTheirGains)
{
    // without gains the temperatures are nothing to it
    for (int n = 1; n <= 60; ++n) {
        Call call = standing(n);
        call.io[7] += n;
        call.io[8] -= n;
        ASSERT_TRUE(pair.feed(call));
    }
    EXPECT_LT(angleBetween(pair.io, pose.base), 1e-9);
    prm.dynamic = {0.0F, 1.0F, 0.0F, 0.5F, 0.0F, 0.0F, 0.0F};
    pair.set(prm);
    for (int n = 61; n <= 100; ++n) {
        Call call = standing(n);
        call.io[7] += 50.0;
        ASSERT_TRUE(pair.feed(call));
    }
    EXPECT_GT(angleBetween(pair.io, pose.base), 1e-2);
    EXPECT_EQ(process.level[0].t, 0.0);
    EXPECT_NE(process.level[0].s, 0.0);
}

TEST_F(TwoLevelV2CalTranx, reportsTheInterpolatedLevelsNarrowed)
{
    float level1 = 0.0F;
    float level2 = 0.0F;
    for (int n = 1; n <= 60; ++n) {
        Call call = standing(n);
        call.io[3] = n;
        call.io[4] = -0.5 * n;
        if (n == 30) {
            prm.dynamic[0] = 1.0F;
            pair.set(prm);
        } else if (n == 40) {
            prm.dynamic[0] = 0.25F;
            pair.set(prm);
        } else if (n == 50) {
            prm.dynamic[5] = 4.0F; // the levels' lag
            prm.dynamic[4] = 9.0F; // not theirs
            prm.dynamic[6] = 7.0F; // nor this
            pair.set(prm);
        }
        ASSERT_TRUE(pair.feed(call));
        pair.model.GetLevelValues(level1, level2);
        if (n >= 10) {
            // the mean of five lies two samples back, the older of two rows one more
            const double wanted = n - 2 - (n < 30 ? 1.0 : n < 40 ? 0.0 : n < 50 ? 0.75 : 4.75);
            EXPECT_TRUE(sameBits(level1, static_cast<float>(wanted))) << n;
            EXPECT_TRUE(sameBits(level2, static_cast<float>(-0.5 * wanted))) << n;
        }
    }
}

// Pins [offset-components].
TEST_F(TwoLevelV2CalTranx, writesThreeResidualsWithTheSwappedOffset)
{
    for (int n = 1; n <= 30; ++n) {
        ASSERT_TRUE(pair.feed(standing(n)));
    }
    float got[6] = {9, 9, 9, 9, 9, 9};
    pair.model.GetQVCMatrix(got, 6);
    const Vector centre = sensor.centre(pose); // offset (QVC[0], QVC[2], QVC[1])
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(within(static_cast<double>(got[i]), centre[i], 1e-3)); // a float of 20 m
        EXPECT_TRUE(sameBits(got[i + 3], 0.0F));
    }
}

TEST_F(TwoLevelV2CalTranx, takesTheLineOfSightFromTheDetectorOfEverySample)
{
    for (int n = 1; n <= 30; ++n) {
        ASSERT_TRUE(pair.feed(standing(n)));
    }
    prm.qvc[3] += 1.0F;
    pair.set(prm);
    Matrix before = pair.io;
    for (int n = 31; n <= 35; ++n) { // a fifth of the change arrives with each sample
        ASSERT_TRUE(pair.feed(standing(n)));
        EXPECT_NEAR(angleBetween(pair.io, before), 0.2, 0.03) << n;
        before = pair.io;
    }
    ASSERT_TRUE(pair.feed(standing(36)));
    EXPECT_LT(angleBetween(pair.io, before), 1e-9);
}

// All solve state is the process's: another instance gets the matrix of this one.
// Pins [state-of-process].
TEST_F(TwoLevelV2CalTranx, givesItsMatrixToAnotherInstanceThatRepeatsTheTimeStamps)
{
    for (int n = 1; n <= 30; ++n) {
        ASSERT_TRUE(pair.feed(standing(n)));
    }
    OpenV2 other(prm);
    std::array<double, 9> io{};
    Call call = standing(30);
    call.io = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    ASSERT_TRUE(run(other, call, prm, io));
    EXPECT_TRUE(sameBitsThroughout(io, pair.io));
    EXPECT_EQ(other.m_ringIndex, 0);
}

// Pins [state-of-process].
TEST_F(TwoLevelV2CalTranx, isDisturbedByAnotherInstanceInTheSameProcess)
{
    for (int n = 1; n <= 30; ++n) {
        ASSERT_TRUE(pair.feed(standing(n)));
    }
    EXPECT_LT(angleBetween(pair.io, pose.base), 1e-9);
    PairV2 other(process, prm);
    for (int n = 31; n <= 40; ++n) {
        Call call = standing(n);
        call.io[0] += 300.0; // elsewhere: the shared positions seem to jump
        ASSERT_TRUE(other.feed(call));
    }
    ASSERT_TRUE(pair.feed(standing(41)));
    EXPECT_NE(pair.model.m_accVectorV2[0], 0.0);
    EXPECT_GT(std::abs(pair.model.m_accVectorV2[0]), 1000.0);
}

// A level without a solution leaves what its solve wrote last: level 2 its own matrix, level 1 the last blend.
// Pins [failing-solve].
TEST_F(TwoLevelV2CalTranx, keepsALevelsMatrixWhenItsSolveFails)
{
    for (int n = 1; n <= 30; ++n) {
        ASSERT_TRUE(pair.feed(standing(n)));
    }
    EXPECT_LT(angleBetween(pair.io, pose.base), 1e-9);
    const Matrix before = pair.io;
    const std::array<float, 7> sound1 = prm.level1;
    const std::array<float, 7> sound2 = prm.level2;
    prm.level2[5] += 89.0F; // as good as upright: no direction makes both angles
    pair.set(prm);
    ASSERT_TRUE(pair.feed(standing(31)));
    EXPECT_LT(angleBetween(pair.io, before), 1e-9);
    prm.level1[5] += 89.0F;
    pair.set(prm);
    ASSERT_TRUE(pair.feed(standing(32)));
    EXPECT_LT(angleBetween(pair.io, before), 1e-9);
    prm.level1 = sound1;
    prm.level2 = sound2;
    pair.set(prm);
    ASSERT_TRUE(pair.feed(standing(33)));
    EXPECT_LT(angleBetween(pair.io, before), 1e-9);
}

TEST_F(TwoLevelV2CalTranx, countsAMatrixThatWasNeverSolvedAsZeros)
{
    prm.level2[3] = 90.0F; // level 2 along the line of sight
    prm.qvc[3] = prm.qvc[4] = prm.qvc[5] = 0.0F;
    prm.level2[4] = 0.0F;
    pair.set(prm);
    for (int n = 1; n <= 40; ++n) {
        Call call = standing(n);
        call.io[6] = prm.elRef * literal::kDeg;
        ASSERT_TRUE(pair.feed(call));
        if (n >= 6) {
            ASSERT_TRUE(isFinite(pair.io));
        }
    }
    for (const double element : process.second) {
        EXPECT_EQ(element, 0.0);
    }
}

// Every field of the state stays sound, only the rotation becomes not a number: level 1, excluded, hands its reading
// straight to the solve, and gravity falls exactly on the line of sight.
TEST_F(TwoLevelV2CalTranx, startsTheRotationAtZeroAfterANotANumber)
{
    prm.qvc = {10.0F, 20.0F, 30.0F, 0.0F, 0.0F, 0.0F};
    prm.level1 = {0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 1.0F};
    prm.level2 = {0.0F, 0.0F, 0.0F, 40.0F, 0.0F, 0.0F, 1.0F};
    prm.elRef = 0.0;
    prm.dynamic = {1.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F};

    // Search an axis and a reading whose angles meet to the last bit. Short readings survive the mean of five.
    double dir[3] = {0.0, 1.0, 0.0};
    double reading = 0.0;
    for (int i = 0; i < 4000 && reading == 0.0; ++i) {
        prm.level1[3] = 20.0F + 0.005F * static_cast<float>(i);
        double axis[3];
        literal::levelAxis(prm.level1.data(), axis);
        const double nearest = 90.0 - std::acos(axis[1]) / literal::kRad;
        for (int step = -40; step <= 40; ++step) {
            const double unit = std::ldexp(1.0, -44);
            const double candidate = (std::round(nearest / unit) + step) * unit;
            double g[3] = {0.0, 0.0, -1.0};
            double s[3];
            double c[3];
            if (mek::solveVectorsRelAng(g, dir, axis, -90.0 * literal::kRad * literal::kDeg + 90.0, 90.0 - candidate,
                                        s) != 0) {
                continue;
            }
            mek::CrossMultiply(s, dir, c);
            if (c[0] == 0.0 && c[1] == 0.0 && c[2] == 0.0) {
                reading = candidate;
                break;
            }
        }
    }
    ASSERT_NE(reading, 0.0);
    pair.set(prm);

    const auto below = [&](int n) { // the sensor stands below the tracker
        Call call = callAt({-0.0, 0.0, -5000.0, reading, 3.0, 10.0, 0.0, 20.0, 22.0}, n);
        call.excluded1 = true;
        return call;
    };
    for (int n = 1; n <= 30; ++n) {
        ASSERT_TRUE(pair.feed(below(n)));
    }
    ASSERT_TRUE(pair.ok);
    ASSERT_FALSE(isFinite(pair.io)) << "the scene makes no NaN here";
    ASSERT_TRUE(std::isfinite(process.level[0].reference) && std::isfinite(process.level[1].reference));

    // away from the vertical again: with the rotation at zero no acceleration is projected, and nothing is poisoned
    for (int n = 31; n <= 60; ++n) {
        Call call = below(n);
        call.io[0] = 3000.0;
        call.io[1] = 4000.0;
        call.io[2] = 500.0;
        call.io[3] = 1.0;
        ASSERT_TRUE(pair.feed(call));
        if (n >= 36) {
            EXPECT_TRUE(isFinite(pair.io)) << n;
            EXPECT_TRUE(std::isfinite(pair.model.m_accAlongL1v2)) << n;
        }
    }
}

TEST_F(TwoLevelV2CalTranx, smoothsTheLevelsByTheFourthDynamicParameter)
{
    for (int n = 1; n <= 40; ++n) {
        ASSERT_TRUE(pair.feed(standing(n)));
    }
    prm.dynamic[3] = 0.75F;
    pair.set(prm);
    const double before = process.level[0].out;
    for (int n = 41; n <= 50; ++n) { // the filters settle on two degrees more with call 45, the older row with 46
        Call call = standing(n);
        call.io[3] += 2.0;
        ASSERT_TRUE(pair.feed(call));
    }
    const double step = 2.0 * static_cast<double>(prm.level1[6]);
    const double settled = before + step;
    const double left = settled - process.level[0].out;
    Call call = standing(51);
    call.io[3] += 2.0;
    ASSERT_TRUE(pair.feed(call));
    EXPECT_TRUE(within(settled - process.level[0].out, 0.75 * left, 1e-9));
    // the result is the solve of that angle: weight by then
    const literal::Euler one = literal::euler(solved(1, process.level[0].out).data());
    const literal::Euler two = literal::euler(solved(2, process.level[1].out).data());
    const literal::Euler got = literal::euler(stage().data());
    EXPECT_TRUE(within(got.x, 0.25 * one.x + 0.75 * two.x, 1e-10));
    EXPECT_TRUE(within(got.y, 0.25 * one.y + 0.75 * two.y, 1e-10));
}

} // namespace
} // namespace kor_test
