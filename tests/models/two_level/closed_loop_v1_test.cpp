// From a true pose to the readings of a perfect sensor and back through the first two-level model.
#include "models/two_level/sensor.h"
#include "models/two_level/two_level.h"
#include "support/Rounds.h"

#include <algorithm>
#include <tuple>
#include <vector>

namespace kor_test {
namespace {

// One standing pose after another, each with a model of its own: the averages begin afresh, and the samples without
// a result put the process-wide smoothing back. Returns the errors of both levels, of level 2 and of level 1 alone.
std::array<double, 3> errorsAtRest(const TwoLevelSensor& sensor, const Pose& pose)
{
    OpenV1 model(sensor.prm);
    const std::array<double, 9> readings = sensor.read(pose);
    std::array<double, 9> io{};
    std::array<double, 3> errors{};
    for (int n = 0; n < 105; ++n) {
        Call call = callAt(readings, n);
        call.excluded1 = n == 103;
        call.excluded2 = n == 104;
        const bool ok = run(model, call, sensor.prm, io);
        EXPECT_EQ(ok, n >= 102);
        if (n >= 102) {
            errors[static_cast<std::size_t>(n - 102)] = angleBetween(io, pose.base);
        }
    }
    return errors;
}

class TwoLevelClosedLoop : public OwnProcess {};

class TwoLevelClosedLoopAtRest : public OwnProcess, public ::testing::WithParamInterface<std::tuple<int, double>> {};

TEST_P(TwoLevelClosedLoopAtRest, recoversTheBaseWithBothLevelsOrEitherAlone)
{
    const auto [parity, tilt] = GetParam();
    PoseSource source(static_cast<unsigned int>(70 + parity) + static_cast<unsigned int>(tilt));
    std::vector<double> errors[3];
    for (int n = 0; n < kor_test::rounds(5000); ++n) {
        const TwoLevelSensor sensor(ordinarySensor(source, parity));
        const Pose pose = mounted(source.tilted(0.01, tilt, 30), parity);
        const std::array<double, 3> error = errorsAtRest(sensor, pose);
        for (std::size_t i = 0; i < 3; ++i) {
            errors[i].push_back(error[i]);
        }
    }
    for (std::vector<double>& all : errors) {
        std::sort(all.begin(), all.end());
        // The pair of shortened literals: 2.5e-11 in the middle, 7e-11 at the worst of 10 000 poses; twice that.
        EXPECT_LT(all[all.size() / 2], 5e-11);
        EXPECT_LT(all.back(), 1.4e-10);
    }
}

INSTANTIATE_TEST_SUITE_P(All, TwoLevelClosedLoopAtRest,
                         ::testing::Combine(::testing::Values(0, 1), ::testing::Values(5.0, 30.0)),
                         [](const auto& chosen) {
                             return std::string(std::get<0>(chosen.param) != 0 ? "odd" : "even") + "Tilt" +
                                    std::to_string(static_cast<int>(std::get<1>(chosen.param)));
                         });

TEST_F(TwoLevelClosedLoop, leavesTheRotationCentreAsItsResidual)
{
    PoseSource source(75);
    for (int n = 0; n < 50; ++n) {
        const TwoLevelSensor sensor(ordinarySensor(source, n % 2));
        const Pose pose = mounted(source.tilted(0.01, 5, 30), n % 2);
        OpenV1 model(sensor.prm);
        std::array<double, 9> io{};
        for (int sample = 0; sample < 103; ++sample) {
            run(model, callAt(sensor.read(pose), sample), sensor.prm, io);
        }
        float centre[6] = {};
        model.GetQVCMatrix(centre, 6);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_TRUE(within(static_cast<double>(centre[i]), sensor.centre(pose)[i], 1e-3)); // a float of 20 m
        }
    }
}

// A base on the side that the parity does not expect: level 1 alone gives about the opposite rotation, and what level 2
// gives differs from that, so that the two together give anything.
TEST_F(TwoLevelClosedLoop, failsOnTheWrongMountSide)
{
    PoseSource source(76);
    for (int n = 0; n < 40; ++n) {
        const TwoLevelSensor sensor(ordinarySensor(source, n % 2));
        const Pose pose = mounted(source.tilted(0.01, 5, 10), 1 - n % 2);
        const std::array<double, 3> errors = errorsAtRest(sensor, pose);
        EXPECT_GT(errors[0], 5.0);
        EXPECT_GT(errors[1], 100.0);
        EXPECT_GT(errors[2], 150.0);
    }
}

// Averaging Euler angles as numbers has a cut at half a turn: two levels that agree to a tenth of a degree give
// headings on both sides of it, and the mean points the other way.
// Pins [euler-angle-blend].
TEST_F(TwoLevelClosedLoop, pointsTheOtherWayWhenTheHeadingsLieOnBothSidesOfHalfATurn)
{
    PoseSource source(74);
    TwoLevelSensor sensor(ordinarySensor(source, 0));
    sensor.prm.qvc[3] = sensor.prm.qvc[4] = sensor.prm.qvc[5] = 0.0F;
    int across = 0;
    for (const double wrong : {-0.1, 0.1}) {
        const Pose pose = {kIdentity, {0.5, -5000.0, 2000.0}};
        OpenV1 model(sensor.prm);
        std::array<double, 9> io{};
        for (int n = 0; n < 103; ++n) {
            Call call = callAt(sensor.read(pose), n);
            call.io[4] += wrong;
            run(model, call, sensor.prm, io);
        }
        const double error = angleBetween(io, pose.base);
        EXPECT_TRUE(error < 0.2 || error > 170.0) << error;
        across += error > 170.0 ? 1 : 0;
    }
    EXPECT_EQ(across, 1);
}

// Two solutions mirror each other; more than a quarter turn about the line of sight makes the model take the other.
TEST_F(TwoLevelClosedLoop, isRightUpToAQuarterTurnAboutTheLineOfSight)
{
    PoseSource source(77);
    const Pose level = {kIdentity, {0.0, 5000.0, 0.0}};
    for (const double roll : {-80.0, -60.0, -30.0, 30.0, 60.0, 80.0}) {
        Priming prm = ordinarySensor(source, 0);
        prm.qvc[3] = prm.qvc[4] = prm.qvc[5] = 0.0F;
        prm.level1[3] = prm.level1[4] = 0.0F;
        const Pose pose = {rotationY(roll * kTruePi / 180.0), level.position};
        // 80 degrees cost an order of magnitude: the square root of what the level leaves over
        EXPECT_LT(errorsAtRest(TwoLevelSensor(prm), pose)[2], 5e-10) << roll;
    }
    for (const double roll : {-170.0, -120.0, 120.0, 170.0}) {
        Priming prm = ordinarySensor(source, 0);
        prm.qvc[3] = prm.qvc[4] = prm.qvc[5] = 0.0F;
        prm.level1[3] = prm.level1[4] = 0.0F;
        const Pose pose = {rotationY(roll * kTruePi / 180.0), level.position};
        EXPECT_GT(errorsAtRest(TwoLevelSensor(prm), pose)[2], 10.0) << roll;
    }
}

// Level readings of a steady tilting are 40 samples old after the average and 167 more after the smoothing.
TEST_F(TwoLevelClosedLoop, hangsMoreThanTwoSecondsBehindATiltingBase)
{
    PoseSource source(78);
    const TwoLevelSensor sensor(ordinarySensor(source, 0));
    OpenV1 model(sensor.prm);
    const double rate = 0.25; // degrees a second, about the line of sight
    std::array<double, 9> io{};
    double error = 0.0;
    for (int n = 0; n < 1600; ++n) {
        const Pose pose = {rotationY((rate * 0.01 * n - 2.0) * kTruePi / 180.0), {0.0, 5000.0, 0.0}};
        ASSERT_EQ(run(model, callAt(sensor.read(pose), n), sensor.prm, io), n >= 102);
        error = angleBetween(io, pose.base) / rate;
    }
    EXPECT_GT(error, 2.0);
    EXPECT_LT(error, 3.0);
}

// Levels that feel an acceleration as accelerometers do: with unit gain and no offset it is taken out again.
TEST_F(TwoLevelClosedLoop, takesASteadyAccelerationOutOfTheLevels)
{
    PoseSource source(79);
    for (int n = 0; n < 40; ++n) {
        Priming prm = ordinarySensor(source, 0);
        prm.level1[5] = prm.level2[5] = 0.0F;
        prm.level1[6] = prm.level2[6] = 1.0F;
        prm.qvc[0] = prm.qvc[1] = prm.qvc[2] = 0.0F;
        const TwoLevelSensor sensor(prm);
        const Pose pose = source.tilted(0.01, 5, 30);
        Vector acceleration{};
        for (double& value : acceleration) {
            value = source.uniform(-20, 20);
        }
        OpenV1 model(prm);
        std::array<double, 9> io{};
        Pose moved = pose;
        for (int sample = 0; sample <= 102; ++sample) {
            const double t = 0.01 * (sample - 102);
            for (std::size_t i = 0; i < 3; ++i) {
                moved.position[i] = pose.position[i] + 0.5 * acceleration[i] * t * t;
            }
            // the smoothing starts from the reading of sample 101: let that one stand still
            const Vector felt = sample < 102 ? Vector{0, 0, 0} : acceleration;
            run(model, callAt(sensor.read(moved, felt), sample), prm, io);
        }
        // six thousandths of the way to a reading that is right but for the motion since sample 101
        EXPECT_LT(angleBetween(io, pose.base), 2e-3);
        float level1 = 0.0F;
        float level2 = 0.0F;
        model.GetLevelValues(level1, level2);
        double compensated1 = static_cast<double>(level1);
        double compensated2 = static_cast<double>(level2);
        const std::array<double, 9> still = sensor.read(pose);
        EXPECT_GT(std::abs(compensated1 - still[3]) + std::abs(compensated2 - still[4]), 2e-3);
        model.GetLevelAfterAccComp(compensated1, model.m_accAlongL1);
        model.GetLevelAfterAccComp(compensated2, model.m_accAlongL2);
        // the axis that the acceleration is projected on is itself tilted by it: (20 * sqrt(3) / 9800)^2 rad
        EXPECT_TRUE(within(compensated1, still[3], 7e-4));
        EXPECT_TRUE(within(compensated2, still[4], 7e-4));
    }
}

} // namespace
} // namespace kor_test
