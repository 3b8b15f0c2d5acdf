// Pendulum model in a closed loop with a perfect sensor: its accuracy, the bias of its tolerance, where it must fail.
#include "Errors.h"
#include "KORInterface/CKorPendulum.h"
#include "Literal.h"
#include "Samples.h"

#include <gtest/gtest.h>

namespace {

using namespace kor_test;

constexpr int kPoses = 10000;
constexpr double kDeadBand = 1.7444444444444444e-5;

Parameters plain(int parity)
{
    Parameters parameters;
    parameters.factors = {0, 0, 0, 0, 1, 1, 1, 0};
    parameters.parity = parity;
    return parameters;
}

Parameters skewed(PoseSource& random, int parity)
{
    Parameters parameters = plain(parity);
    const auto either = [&random](double low, double high) {
        const double size = random.uniform(low, high);
        return static_cast<float>(random.uniform(-1, 1) < 0 ? -size : size);
    };
    parameters.factors[0] = either(0.1, 2.0);
    parameters.factors[1] = either(0.1, 2.0);
    parameters.factors[2] = either(0.3, 3.0);
    parameters.factors[3] = either(0.3, 3.0);
    parameters.factors[4] = static_cast<float>(random.uniform(0.9, 1.1));
    parameters.factors[5] = static_cast<float>(random.uniform(0.9, 1.1));
    parameters.factors[6] = static_cast<float>(random.uniform(0.9, 1.1));
    return parameters;
}

// Elevation axis in the tracker frame: the second axis of the azimuth stage.
Vector elevationAxis(const Reading& reading)
{
    return {reading.stage[1], reading.stage[4], reading.stage[7]};
}

TEST(PendulumLoop, isExactWithThePendulumAlongTheElevationAxis)
{
    for (const int parity : {0, 1}) {
        PoseSource random(401);
        Errors outside;
        Errors inside;
        while (outside.count() < kPoses) {
            const Pose pose = random.tilted(0, 5, 30);
            const Parameters parameters = plain(parity);
            const Reading reading = readPendulum(pose, parameters, random.uniform(-3, 3), random.uniform(-3, 3));
            const Outcome outcome = run<CKorPendulum>(parameters, reading.sample);
            ASSERT_TRUE(outcome.ok);
            const double error = angleBetween(outcome.matrix, pose.base);
            (std::abs(reading.sample.slots[4] * kDegree) < kDeadBand ? inside : outside).add(error);
        }
        // Measured: median 1.2e-11; the worst ones come with little rise.
        EXPECT_LT(outside.median(), 3e-11);
        EXPECT_LT(outside.quantile(0.99), 1e-7);
        EXPECT_LT(outside.worst(), 1e-3);
        EXPECT_LT(inside.worst(), 1.3e-3);
    }
}

TEST(PendulumLoop, aTiltInsideTheDeadBandIsLost)
{
    for (const int parity : {0, 1}) {
        PoseSource random(402);
        Errors errors;
        for (int i = 0; i < 2000; ++i) {
            Pose pose = random.tilted(0.0004, 0.0009, 30);
            const Parameters parameters = plain(parity);
            const Reading reading = readPendulum(pose, parameters, 0.5, -0.5);
            const double tilt = std::abs(reading.sample.slots[4]);
            const Outcome outcome = run<CKorPendulum>(parameters, reading.sample);
            const double error = angleBetween(outcome.matrix, pose.base);
            const double length = std::sqrt(dot(pose.position, pose.position));
            const double cosine = std::sqrt(1 - std::pow(pose.position[2] / length, 2));
            // Level axis instead of one that rises by the tilt: a roll about the line of sight.
            ASSERT_NEAR(error, tilt / cosine, 1e-8);
            errors.add(error);
        }
        EXPECT_GT(errors.worst(), 5e-4);
    }
}

TEST(PendulumLoop, reachesTheToleranceWithASkewedPendulum)
{
    for (const int parity : {0, 1}) {
        PoseSource random(403);
        Errors errors;
        while (errors.count() < kPoses) {
            const Pose pose = random.tilted(0, 5, 30);
            const Parameters parameters = skewed(random, parity);
            const Reading reading = readPendulum(pose, parameters, random.uniform(-3, 3), random.uniform(-3, 3));
            const Outcome outcome = run<CKorPendulum>(parameters, reading.sample);
            errors.add(angleBetween(outcome.matrix, pose.base));
        }
        EXPECT_NEAR(errors.median() / 7.7e-4, 1.0, 0.2);
        EXPECT_GT(errors.worst(), 9e-4);
        EXPECT_LT(errors.worst(), 1.4e-3);
    }
}

TEST(PendulumLoop, reachesTheToleranceAtLargeTiltAndElevation)
{
    for (const int parity : {0, 1}) {
        PoseSource random(404);
        Errors errors;
        while (errors.count() < kPoses) {
            const Pose pose = random.tilted(0, 20, 60);
            const Parameters parameters = skewed(random, parity);
            const Reading reading = readPendulum(pose, parameters, random.uniform(-3, 3), random.uniform(-3, 3));
            if (!reading.reachable || cross(pose.position, elevationAxis(reading))[2] <= 0)
                continue;
            errors.add(angleBetween(run<CKorPendulum>(parameters, reading.sample).matrix, pose.base));
        }
        EXPECT_NEAR(errors.median() / 9.5e-4, 1.0, 0.25);
        EXPECT_GT(errors.worst(), 1.2e-3);
        EXPECT_LT(errors.worst(), 5e-3);
    }
}

// Pins [pendulum-one-sided]: the search stops as soon as the pendulum's elevation is within the dead-band of the tilt
// read, coming from one side, so what is left lies between 1 - 1 / 2.7 of the dead-band and the whole of it.
TEST(PendulumLoop, leavesAOneSidedBiasOfMostOfTheTolerance)
{
    PoseSource random(405);
    Errors left;
    while (left.count() < kPoses) {
        const Pose pose = random.tilted(0, 5, 30);
        const Parameters parameters = skewed(random, 0);
        const Reading reading = readPendulum(pose, parameters, 0, 0);
        PendulumSearch search;
        literalPendulum(parameters, reading.sample, &search);
        if (search.iterations < 3)
            continue;
        const Matrix base = run<CKorPendulum>(parameters, reading.sample).matrix;
        const double e1 = reading.sample.slots[5] * kDegree * static_cast<double>(parameters.factors[4]);
        const double s2 = static_cast<double>(parameters.factors[2]) * kDegree;
        const double s3 = static_cast<double>(parameters.factors[3]) * kDegree;
        const Vector p = {std::sin(s3) * std::cos(s2), std::cos(s3) * std::cos(s2), std::sin(s2)};
        const double rise = std::asin(multiply(multiply(base, rotationZ(e1)), p)[2]);
        left.add(std::abs(rise - search.target) / kDeadBand);
    }
    EXPECT_GT(left.quantile(0.005), 0.6);
    EXPECT_LT(left.worst(), 1.0 + 1e-6);
    EXPECT_GT(left.median(), 0.7);
}

TEST(PendulumLoop, sixteenSignCombinationsAreAllExact)
{
    PoseSource random(406);
    int seen[16] = {};
    for (int i = 0; i < kPoses; ++i) {
        const Pose pose = random.tilted(1, 5, 30);
        if (std::abs(pose.position[2]) < 10)
            continue;
        const Reading reading = readPendulum(pose, plain(0), 0.5, -0.5);
        const std::array<double, 9>& slots = reading.sample.slots;
        if (std::abs(slots[4]) < 0.01)
            continue;
        const int which = (slots[0] > 0) + 2 * (slots[1] > 0) + 4 * (slots[2] > 0) + 8 * (slots[4] > 0);
        ++seen[which];
        ASSERT_LT(angleBetween(run<CKorPendulum>(plain(0), reading.sample).matrix, pose.base), 1e-8) << which;
    }
    for (const int count : seen)
        EXPECT_GT(count, 100);
}

TEST(PendulumLoop, isRightExactlyWhileTheElevationAxisLiesLeftOfTheLineOfSight)
{
    PoseSource random(407);
    int left = 0;
    int right = 0;
    for (int i = 0; i < 5 * kPoses; ++i) {
        const Pose pose = random.tilted(0, 60, 45);
        const Reading reading = readPendulum(pose, plain(0), 0, 0);
        const Vector direction = unit(pose.position);
        const double side = cross(direction, elevationAxis(reading))[2];
        // Near the turn-over and at little rise the formula loses its digits either way.
        if (std::abs(side) < 1e-3 || std::abs(direction[2]) < 1e-3 || std::abs(reading.sample.slots[4]) < 0.01)
            continue;
        const double error = angleBetween(run<CKorPendulum>(plain(0), reading.sample).matrix, pose.base);
        if (side > 0) {
            ++left;
            ASSERT_LT(error, 1e-4);
        } else {
            ++right;
            ASSERT_GT(error, 0.05);
        }
    }
    EXPECT_GT(left, 30000);
    EXPECT_GT(right, 300);
}

TEST(PendulumLoop, anUpsideDownBaseIsHalfATurnOff)
{
    PoseSource random(408);
    for (int i = 0; i < 1000; ++i) {
        Pose pose = random.tilted(0.5, 5, 30);
        pose.base = multiply(pose.base, rotationX(kExactPi));
        const Reading reading = readPendulum(pose, plain(0), 0, 0);
        ASSERT_GT(angleBetween(run<CKorPendulum>(plain(0), reading.sample).matrix, pose.base), 150.0);
    }
}

// A sensor that hangs upside down is described upright: parity one, offset of the other sign, pendulum turned over.
TEST(PendulumLoop, anInvertedSensorIsRecoveredWithTheOddParity)
{
    PoseSource random(409);
    Errors errors;
    for (int i = 0; i < 2000; ++i) {
        const Pose upright = random.tilted(0.5, 5, 30);
        Parameters returned = plain(1);
        returned.factors[0] = static_cast<float>(random.uniform(-2, 2));
        Pose inverted = upright;
        inverted.base = multiply(upright.base, rotationX(kExactPi));
        // The inverted sensor's own readings: even equations, offset of the other sign, pendulum along -y.
        Parameters physical = plain(0);
        physical.factors[0] = -returned.factors[0];
        const double a = static_cast<double>(physical.factors[0]) * kDegree + kExactPi / 2;
        const Vector b = directionInBase(inverted);
        const double e2 = std::asin(-b[2] / std::sin(a));
        const double e1 = std::atan2(b[1], b[0]) - std::atan2(std::cos(a), std::cos(e2) * std::sin(a));
        const Vector turnedOver = {0, -1, 0};
        const double rise = std::asin(multiply(multiply(inverted.base, rotationZ(e1)), turnedOver)[2]);
        Sample sample = sampleAt(inverted, 0, 0);
        sample.slots[4] = -rise / kDegree;
        sample.slots[5] = e1 / kDegree;
        sample.slots[6] = -e2 / kDegree;
        if (std::abs(sample.slots[4]) < 0.01)
            continue;
        const Matrix base = multiply(run<CKorPendulum>(returned, sample).matrix, rotationX(kExactPi));
        errors.add(angleBetween(base, inverted.base));
    }
    EXPECT_GT(errors.count(), 1500U);
    EXPECT_LT(errors.median(), 1e-10);
    EXPECT_LT(errors.quantile(0.99), 1e-6);
}

// Pins [pendulum-height-0]: the arm's foot is found from the rise divided by the tilt, so a vanishing rise takes the
// digits with it.
TEST(PendulumLoop, losesDigitsWithTheRise)
{
    const auto worstAt = [](double rise, int* nans) {
        PoseSource random(410);
        Errors errors;
        for (int i = 0; i < 2000; ++i) {
            Pose pose = random.tilted(0.5, 5, 0);
            pose.position[2] = random.uniform(-1, 1) < 0 ? rise : -rise;
            const Reading reading = readPendulum(pose, plain(0), 0, 0);
            if (std::abs(reading.sample.slots[4]) < 0.01)
                continue;
            const Matrix base = run<CKorPendulum>(plain(0), reading.sample).matrix;
            if (anyNan(base))
                ++*nans;
            else
                errors.add(angleBetween(base, pose.base));
        }
        return errors;
    };
    int nans = 0;
    const Errors tenth = worstAt(0.1, &nans);
    const Errors thousandth = worstAt(0.001, &nans);
    EXPECT_EQ(nans, 0);
    EXPECT_GT(tenth.worst(), 1e-8); // measured 1.5e-7
    EXPECT_LT(tenth.worst(), 2e-6);
    EXPECT_GT(thousandth.worst(), 1e-4); // measured 1e-3
    EXPECT_LT(thousandth.worst(), 1e-2);
    // A millionth of a millimetre: the foot vanishes, and the frame is arbitrary or no number.
    const Errors millionth = worstAt(1e-6, &nans);
    EXPECT_GT(nans, 10);
    EXPECT_GT(millionth.median(), 10.0);
}

TEST(PendulumLoop, searchLengthGrowsWithTheSkewOfThePendulum)
{
    const auto searchAt = [](float azimuth, double* error) {
        Parameters parameters = plain(0);
        parameters.factors[3] = azimuth;
        PoseSource random(411);
        const Pose pose = random.tilted(2, 2, 20);
        const Reading reading = readPendulum(pose, parameters, 0, 0);
        PendulumSearch search;
        const Outcome wanted = literalPendulum(parameters, reading.sample, &search);
        const Outcome outcome = run<CKorPendulum>(parameters, reading.sample);
        EXPECT_TRUE(sameOutcome(outcome, wanted));
        *error = anyNan(outcome.matrix) ? 1e9 : angleBetween(outcome.matrix, pose.base);
        return search.iterations;
    };
    double error = 0;
    EXPECT_LT(searchAt(10.0F, &error), 40);
    EXPECT_LT(error, 2e-3);
    const int steep = searchAt(80.0F, &error);
    EXPECT_GT(steep, 50);
    EXPECT_LT(steep, 130); // measured 82
    EXPECT_GT(error, 2e-3);
    EXPECT_LT(error, 3e-2); // measured 9e-3
    EXPECT_EQ(searchAt(100.0F, &error), 500);
    EXPECT_GT(error, 1.0);
}

} // namespace
