// What the first two-level model does, one behaviour a test.
#include "mek/Vector.h"
#include "models/two_level/sensor.h"
#include "models/two_level/two_level.h"

namespace kor_test {
namespace {

// A sensor whose base is the azimuth stage: slot 5 is the azimuth offset, so the result is the stage's rotation.
class TwoLevelCalTranx : public OwnProcess {
protected:
    TwoLevelCalTranx() : source(51), prm(ordinarySensor(source, 0)), sensor(prm), model(prm) {}

    // The rotation that the model's own solve gives for one level value.
    Matrix solved(const Call& call, int level, double value)
    {
        double axis[3];
        double u[3];
        double dir[3];
        double spherical[3] = {call.io[0], call.io[1], call.io[2]};
        literal::elevationAxis(prm.qvc[5], axis);
        literal::sightAtZero(static_cast<double>(prm.qvc[3]), static_cast<double>(prm.qvc[4]), u);
        mek::mlaRotateAroundAxis(axis, call.io[6] - prm.elRef * literal::kDeg, u, dir);
        mek::ConvertCartesianToSphericalCoordinates(spherical);
        Matrix out{};
        model.GetF1(level == 1 ? prm.level1.data() : prm.level2.data(), value, dir, spherical[0], spherical[1], 3,
                    out.data());
        return out;
    }

    Call ordinary(const Pose& pose, int n) const
    {
        Call call = callAt(sensor.read(pose), n);
        call.io[5] = prm.azRef * literal::kDeg;
        return call;
    }

    bool feed(const Call& call) { return run(model, call, prm, io); }

    std::array<float, 6> residual()
    {
        std::array<float, 6> out{};
        model.GetQVCMatrix(out.data(), 6);
        return out;
    }

    PoseSource source;
    Priming prm;
    TwoLevelSensor sensor;
    OpenV1 model;
    std::array<double, 9> io{};
};

TEST_F(TwoLevelCalTranx, returnsFalseBeforeAnythingChangesWhenBothLevelsAreExcluded)
{
    const Pose pose = source.tilted(1, 3, 25);
    LiteralV1Process process;
    PairV1 pair(process, prm);
    for (int n = 0; n < 150; ++n) {
        ASSERT_TRUE(pair.feed(callAt(sensor.read(pose), n)));
    }
    Call call = callAt(sensor.read(source.tilted(1, 3, 25)), 150);
    call.excluded1 = call.excluded2 = true;
    call.io[7] = 1000.0;
    call.io[8] = 1000.0;
    ASSERT_TRUE(pair.feed(call)); // every field is compared
    EXPECT_FALSE(pair.ok);
    EXPECT_TRUE(sameBitsThroughout(pair.io, call.io));
    EXPECT_EQ(pair.model.m_driftA, 0.0);
    EXPECT_EQ(pair.model.m_driftB, 0.0);
}

// A first call with both levels excluded does not begin the process-wide values either.
TEST_F(TwoLevelCalTranx, takesItsReferencesFromTheFirstCallThatIsNotRefused)
{
    Call call = ordinary(source.tilted(1, 3, 25), 0);
    call.excluded1 = call.excluded2 = true;
    call.io[8] = 500.0;
    ASSERT_FALSE(feed(call));
    call.excluded1 = call.excluded2 = false;
    call.io[8] = 22.0;
    ASSERT_FALSE(feed(call));
    EXPECT_EQ(model.m_driftB, 0.0);
    call.io[7] += 3.0;
    call.io[8] += 2.0;
    ASSERT_FALSE(feed(call));
    EXPECT_EQ(model.m_driftA, 0.003);
    EXPECT_EQ(model.m_driftB, 0.002);
    ASSERT_FALSE(feed(call));
    EXPECT_EQ(model.m_driftB, 0.004); // it accumulates on every call
}

TEST_F(TwoLevelCalTranx, hasNoResultForThe102FirstSamplesOfARun)
{
    const Pose pose = source.tilted(1, 3, 25);
    for (int n = 0; n < 102; ++n) {
        const Call call = ordinary(pose, n);
        ASSERT_FALSE(feed(call)) << n;
        ASSERT_TRUE(sameBitsThroughout(io, call.io));
        for (const float value : residual()) {
            ASSERT_TRUE(sameBits(value, 0.0F));
        }
    }
    EXPECT_TRUE(feed(ordinary(pose, 102)));
    EXPECT_TRUE(feed(ordinary(pose, 103)));
    const std::array<float, 6> before = residual();
    const Call restarted = ordinary(pose, 0);
    EXPECT_FALSE(feed(restarted)); // the host starts a new run
    EXPECT_TRUE(sameBitsThroughout(io, restarted.io));
    EXPECT_TRUE(sameBitsThroughout(residual(), before));
}

TEST_F(TwoLevelCalTranx, usesTheOtherLevelAloneWhenOneIsExcluded)
{
    const Pose pose = source.tilted(1, 3, 25);
    for (int n = 0; n < 102; ++n) {
        ASSERT_FALSE(feed(ordinary(pose, n)));
    }
    // the excluded level reads nonsense
    Call call = ordinary(pose, 102);
    const double level2 = call.io[4];
    call.excluded1 = true;
    call.io[3] = 77.0;
    ASSERT_TRUE(feed(call));
    EXPECT_LT(angleBetween(io, solved(call, 2, level2)), 1e-9); // the way through sine and arc sine
    const std::array<float, 6> got = residual();
    const Vector offset = multiply(io, Vector{prm.qvc[0], prm.qvc[2], prm.qvc[1]});
    for (std::size_t i = 0; i < 3; ++i) {
        // of the final rotation; QVC[1] and QVC[2] change places
        EXPECT_TRUE(withinUlp(got[i], static_cast<float>(call.io[i] - offset[i]), 1));
    }

    call = ordinary(pose, 103);
    const double level1 = call.io[3];
    call.excluded2 = true;
    call.io[4] = 77.0;
    ASSERT_TRUE(feed(call));
    EXPECT_LT(angleBetween(io, solved(call, 1, level1)), 1e-9);
}

TEST_F(TwoLevelCalTranx, averagesEulerAnglesIntoARotationWhenTheLevelsDisagree)
{
    Call call = ordinary(source.tilted(1, 3, 25), 0);
    call.io[4] += 2.0; // level 2 two degrees off
    for (int n = 0; n < 102; ++n) {
        call.counter1 = call.counter2 = static_cast<std::uint32_t>(n);
        call.time1 = call.time2 = 0.01 * n;
        ASSERT_FALSE(feed(call));
    }
    call.counter1 = call.counter2 = 102;
    call.time1 = call.time2 = 1.02;
    ASSERT_TRUE(feed(call));
    EXPECT_LT(distanceFromRotation(io), 1e-14);
    EXPECT_TRUE(within(determinant(io), 1.0, 1e-14));
    const literal::Euler one = literal::euler(solved(call, 1, call.io[3]).data());
    const literal::Euler two = literal::euler(solved(call, 2, call.io[4]).data());
    const literal::Euler both = literal::euler(io.data());
    EXPECT_GT(std::abs(one.x - two.x) + std::abs(one.y - two.y), 0.01);
    EXPECT_TRUE(within(both.x, 0.5 * (one.x + two.x), 1e-11));
    EXPECT_TRUE(within(both.y, 0.5 * (one.y + two.y), 1e-11));
    EXPECT_TRUE(within(both.z, 0.5 * (one.z + two.z), 1e-11));
}

// Both levels usable, one of them without an estimate yet: its partner's solve, and the residual of the first solve.
// Pins [centre-of-first-solve].
TEST_F(TwoLevelCalTranx, takesTheResidualOfTheFirstSolveWhenOnlyOneOfTwoUsablePathsIsReady)
{
    const Pose pose = source.tilted(1, 3, 25);
    Call call;
    for (int n = 0; n < 160; ++n) {
        call = ordinary(pose, n);
        if (n < 40) {
            call.io[3] += 5.0; // the smoothing hangs behind, so first and final solve differ
        }
        call.counter2 = 5;
        ASSERT_EQ(feed(call), n >= 102);
    }
    const Matrix raw = solved(call, 1, call.io[3]);
    EXPECT_LT(angleBetween(io, raw), 1.0);
    call.io[3] += 10.0;
    call.counter1 = 160;
    call.time1 = 1.6;
    ASSERT_TRUE(feed(call));
    const Matrix first = solved(call, 1, call.io[3]);
    EXPECT_GT(angleBetween(io, first), 5.0);
    const std::array<float, 6> got = residual();
    const Vector offset = multiply(first, Vector{prm.qvc[0], prm.qvc[2], prm.qvc[1]});
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(sameBits(got[i], static_cast<float>(call.io[i] - offset[i])));
    }
}

// While both usable paths fill, the smoothing starts over from the raw levels.
TEST_F(TwoLevelCalTranx, resetsTheSmoothingWhenNeitherOfTwoUsablePathsHasAResult)
{
    const Pose pose = source.tilted(1, 3, 25);
    for (int n = 0; n < 102; ++n) {
        Call call = ordinary(pose, n);
        call.io[3] = 0.1 * n;
        call.io[4] = -0.05 * n;
        ASSERT_FALSE(feed(call));
    }
    Call call = ordinary(pose, 102);
    call.io[3] = 3.0;
    call.excluded2 = true;
    ASSERT_TRUE(feed(call));
    // from the reading of sample 101, six thousandths of the way
    EXPECT_LT(angleBetween(io, solved(call, 1, 10.1 + (3.0 - 10.1) * 0.006)), 1e-3);
    call = ordinary(pose, 103);
    call.io[4] = 1.0;
    call.excluded1 = true;
    ASSERT_TRUE(feed(call));
    EXPECT_LT(angleBetween(io, solved(call, 2, -5.05 + (1.0 + 5.05) * 0.006)), 1e-3);
}

TEST_F(TwoLevelCalTranx, keepsTheSmoothingWhileTheOnlyUsablePathFills)
{
    const Pose pose = source.tilted(1, 3, 25);
    for (int n = 0; n < 102; ++n) {
        Call call = ordinary(pose, n);
        call.io[3] = 4.0 + 0.05 * n;
        call.excluded2 = true;
        ASSERT_FALSE(feed(call));
    }
    Call call = ordinary(pose, 102);
    call.io[3] = 5.0;
    call.excluded2 = true;
    ASSERT_TRUE(feed(call));
    EXPECT_LT(angleBetween(io, solved(call, 1, 4.0 + 0.006)), 1e-3); // from the first sample of the process
}

// Pins [second-drift-for-both].
TEST_F(TwoLevelCalTranx, addsTheSecondDriftToBothLevels)
{
    const Pose pose = source.tilted(1, 3, 25);
    for (int n = 0; n < 102; ++n) {
        Call call = ordinary(pose, n);
        if (n > 0 && n <= 100) {
            call.io[7] = 2000.0; // never used
            call.io[8] += 10.0;  // a hundred times 0.01 degree
        }
        ASSERT_FALSE(feed(call));
    }
    Call call = ordinary(pose, 102);
    call.excluded2 = true;
    ASSERT_TRUE(feed(call));
    EXPECT_TRUE(within(model.m_driftB, 1.0, 1e-13));
    EXPECT_TRUE(within(model.m_driftA, 198.0, 1e-10));
    EXPECT_LT(angleBetween(io, solved(call, 1, call.io[3] + 1.0)), 1e-9);
    call = ordinary(pose, 103);
    call.excluded1 = true;
    ASSERT_TRUE(feed(call));
    EXPECT_LT(angleBetween(io, solved(call, 2, call.io[4] + 1.0)), 1e-9);
}

// Pins [average-then-compensation].
TEST_F(TwoLevelCalTranx, reportsTheAveragedLevelsBeforeCompensation)
{
    const Pose pose = source.tilted(1, 3, 25);
    float level1 = 0.0F;
    float level2 = 0.0F;
    for (int n = 0; n < 110; ++n) {
        Call call = ordinary(pose, n);
        call.io[3] = n;
        call.io[4] = -2.0 * n;
        const bool ok = feed(call);
        model.GetLevelValues(level1, level2);
        ASSERT_EQ(ok, n >= 102);
        // samples 102, 103, ... enter the averages; each result is the mean of those before
        const float wanted = n < 102 ? 0.0F : n == 102 ? 102.0F : static_cast<float>(102 + n - 1) / 2.0F;
        ASSERT_EQ(level1, wanted) << n;
        ASSERT_EQ(level2, -2.0F * wanted) << n;
    }
}

TEST_F(TwoLevelCalTranx, takesTheAzimuthAngleOutOfTheResult)
{
    const Pose pose = source.tilted(1, 3, 25);
    for (int n = 0; n < 102; ++n) {
        ASSERT_FALSE(feed(ordinary(pose, n)));
    }
    ASSERT_TRUE(feed(ordinary(pose, 102)));
    const Matrix stage = io;
    Call call = ordinary(pose, 103);
    call.io[5] += 30.0;
    ASSERT_TRUE(feed(call));
    EXPECT_LT(angleBetween(io, multiply(stage, rotationZ(-30.0 * kTruePi / 180.0))), 1e-9);
}

// Pins [offset-components].
TEST_F(TwoLevelCalTranx, writesThreeResidualsAndLeavesTheOthersZero)
{
    const Pose pose = source.tilted(1, 3, 25);
    for (int n = 0; n < 103; ++n) {
        feed(ordinary(pose, n));
    }
    const std::array<float, 6> got = residual();
    const Vector offset = multiply(io, Vector{prm.qvc[0], prm.qvc[2], prm.qvc[1]});
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(within(static_cast<double>(got[i]), pose.position[i] - offset[i], 1e-3)); // a float of 20 m
        EXPECT_TRUE(sameBits(got[i + 3], 0.0F));
    }
}

// The smoothing is the process's: what one instance is fed shows in the other's result.
// Pins [state-of-process].
TEST_F(TwoLevelCalTranx, isDisturbedByAnotherInstanceInTheSameProcess)
{
    const Pose pose = source.tilted(1, 3, 25);
    OpenV1 other(prm);
    std::array<double, 9> unused{};
    for (int n = 0; n < 102; ++n) {
        ASSERT_FALSE(feed(ordinary(pose, n)));
    }
    ASSERT_TRUE(feed(ordinary(pose, 102)));
    const Matrix alone = io;
    Call foreign = ordinary(pose, 0); // the other one fills its history: the smoothing starts over from its levels
    foreign.io[3] += 20.0;
    foreign.io[4] += 20.0;
    ASSERT_FALSE(run(other, foreign, prm, unused));
    ASSERT_TRUE(feed(ordinary(pose, 103)));
    EXPECT_GT(angleBetween(io, alone), 10.0);
}

} // namespace
} // namespace kor_test
