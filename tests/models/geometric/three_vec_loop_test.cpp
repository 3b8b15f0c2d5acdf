// Three-vector model in a closed loop with a perfect sensor: its accuracy, its mirror solution, its odd parity.
#include "Errors.h"
#include "KORInterface/CKorThreeVec.h"
#include "Samples.h"

#include <gtest/gtest.h>

namespace {

using namespace kor_test;

constexpr int kPoses = 10000;

const Vector kUp = {0, 0, 1};
const Vector kDown = {0, 0, -1};

Parameters aligned(int parity)
{
    Parameters parameters;
    parameters.qvc = {40.0F, 15.0F, -25.0F, 0, 0, 0};
    parameters.level1 = {0, 0, 0, 0, 0, 0.5F, 1.01F};
    parameters.parity = parity;
    return parameters;
}

// Every skew angle of 0.2 to 0.5 degrees, of either sign or all of the same.
Parameters skewed(PoseSource& random, int parity, bool eitherSign = true)
{
    Parameters parameters = aligned(parity);
    const auto either = [&random, eitherSign] {
        const double size = random.uniform(0.2, 0.5);
        return static_cast<float>(eitherSign && random.uniform(-1, 1) < 0 ? -size : size);
    };
    for (const std::size_t i : {3U, 4U, 5U}) {
        parameters.qvc[i] = either();
        parameters.level1[i] = either();
    }
    parameters.level1[6] = static_cast<float>(random.uniform(0.95, 1.05));
    return parameters;
}

double elevationOf(const Pose& pose)
{
    return std::asin(unit(pose.position)[2]);
}

// Whether the mirror solution on the side of the model's vertical is the true one.
bool rightSide(const Reading& reading, int parity, const Vector& vertical)
{
    const Vector n = cross(reading.sight, reading.level);
    const Vector seen = multiply(transposed(reading.stage), vertical);
    return dot(parity != 0 ? kUp : kDown, n) * dot(seen, n) > 0;
}

TEST(ThreeVecLoop, evenParityIsExact)
{
    struct Row {
        double tilt;
        double elevation;
        double worst;
    };
    for (const Row& row : {Row{5, 30, 5.8e-11}, Row{30, 45, 7.8e-11}}) {
        PoseSource random(601);
        Errors errors;
        while (errors.count() < kPoses) {
            const Pose pose = random.tilted(0, row.tilt, row.elevation);
            const Parameters parameters = skewed(random, 0);
            const Reading reading = readThreeVec(pose, parameters, random.uniform(-3, 3), random.uniform(-3, 3), kDown);
            if (!reading.reachable || !rightSide(reading, 0, kDown))
                continue;
            const Outcome outcome = run<CKorThreeVec>(parameters, reading.sample);
            ASSERT_TRUE(outcome.ok);
            errors.add(angleBetween(outcome.matrix, pose.base));
        }
        // The shortened degree and radian, 360 degrees of axis at most: a few 1e-11 degrees.
        EXPECT_LT(errors.median(), 5.4e-11);
        EXPECT_LT(errors.worst(), 3 * row.worst);
    }
}

TEST(ThreeVecLoop, oddParityIsExactWhileLineOfSightAndLevelAxisAreAtRightAngles)
{
    PoseSource random(602);
    Errors errors;
    while (errors.count() < kPoses) {
        const Pose pose = random.tilted(0, 5, 30);
        const Reading reading = readThreeVec(pose, aligned(1), random.uniform(-3, 3), random.uniform(-3, 3), kUp);
        errors.add(angleBetween(run<CKorThreeVec>(aligned(1), reading.sample).matrix, pose.base));
    }
    EXPECT_LT(errors.median(), 5.4e-11);
    EXPECT_LT(errors.worst(), 2e-10);
}

// Pins [one-polar-angle]: with the odd parity the polar angle still counts from below, so a line of sight that is not
// at right angles to the level axis leaves an error that grows with the elevation.
TEST(ThreeVecLoop, oddParityErrsByTheElevationTimesTheSkewOfTheLevelAxis)
{
    PoseSource random(603);
    Errors errors;
    Errors ratios;
    while (errors.count() < kPoses) {
        const Pose pose = random.tilted(0, 5, 30);
        const Parameters parameters = skewed(random, 1, false);
        const Reading reading = readThreeVec(pose, parameters, random.uniform(-3, 3), random.uniform(-3, 3), kUp);
        const double error = angleBetween(run<CKorThreeVec>(parameters, reading.sample).matrix, pose.base);
        errors.add(error);
        const double predicted =
            2 * std::tan(std::abs(elevationOf(pose))) * std::abs(dot(reading.sight, reading.level));
        if (predicted > 1e-5)
            ratios.add(error * kExactPi / 180.0 / predicted);
    }
    EXPECT_NEAR(errors.median() / 0.44, 1.0, 0.25);
    EXPECT_GT(errors.worst(), 1.0);
    EXPECT_LT(errors.worst(), 1.8);
    EXPECT_NEAR(ratios.median(), 1.0, 5e-3);
    EXPECT_GT(ratios.quantile(0.01), 0.95);
    EXPECT_LT(ratios.quantile(0.99), 1.05);
}

// Pins [one-polar-angle]: a base that hangs upside down, its level referred to the direction down, comes back turned by
// half a turn about the line of sight.
TEST(ThreeVecLoop, oddParityTurnsAnInvertedBaseAboutTheLineOfSight)
{
    PoseSource random(604);
    Errors fromTurned;
    Errors fromTruth;
    for (int i = 0; i < kPoses; ++i) {
        Pose pose = random.tilted(0, 5, 30);
        pose.base = multiply(pose.base, rotationX(kExactPi));
        const Parameters parameters = skewed(random, 1);
        const Reading reading = readThreeVec(pose, parameters, 0, 0, kDown);
        const Matrix got = run<CKorThreeVec>(parameters, reading.sample).matrix;
        const double f1 = reading.sample.slots[5] * kDegree;
        const Vector& r = reading.sight;
        Matrix half{};
        for (std::size_t row = 0; row < 3; ++row) {
            for (std::size_t column = 0; column < 3; ++column)
                half[3 * row + column] = 2 * r[row] * r[column] - (row == column ? 1.0 : 0.0);
        }
        const Matrix turned = multiply(multiply(multiply(pose.base, rotationZ(f1)), half), rotationZ(-f1));
        fromTurned.add(angleBetween(got, turned));
        fromTruth.add(angleBetween(got, pose.base));
    }
    EXPECT_LT(fromTurned.worst(), 3e-10);
    EXPECT_GT(fromTruth.least(), 179.0);
}

TEST(ThreeVecLoop, mirrorSolutionIsRightExactlyOnTheSideOfTheVertical)
{
    for (const int parity : {0, 1}) {
        const Vector& vertical = parity == 0 ? kDown : kUp;
        PoseSource random(605);
        int right = 0;
        int wrong = 0;
        for (int i = 0; i < 20000; ++i) {
            const Pose pose = random.anyOrientation(70);
            const Parameters parameters = aligned(parity);
            const Reading reading = readThreeVec(pose, parameters, 0, 0, vertical);
            const Vector n = cross(reading.sight, reading.level);
            const Vector seen = multiply(transposed(reading.stage), vertical);
            const double side = dot(parity != 0 ? kUp : kDown, n) * dot(seen, n);
            // Next to the turn-over both solutions are nearly the same.
            if (!reading.reachable || std::abs(dot(seen, n)) < 0.02 || std::abs(side) < 1e-6)
                continue;
            const double error = angleBetween(run<CKorThreeVec>(parameters, reading.sample).matrix, pose.base);
            if (side > 0) {
                ++right;
                ASSERT_LT(error, 1e-7);
            } else {
                ++wrong;
                ASSERT_GT(error, 1.0);
            }
        }
        EXPECT_GT(right, 3000);
        EXPECT_GT(wrong, 3000);
    }
}

TEST(ThreeVecLoop, digitsGoOnlyCloseToNinetyDegreesOfRoll)
{
    const auto worstAt = [](double roll) {
        PoseSource random(606);
        Errors errors;
        for (int i = 0; i < 2000; ++i) {
            // A level base at y from the tracker, rolled about the line of sight.
            Pose pose = random.tilted(0, 0, 0);
            const Vector u = unit(pose.position);
            const double s = std::sin(roll * kExactPi / 180.0);
            const double c = std::cos(roll * kExactPi / 180.0);
            const Matrix across = {0, -u[2], u[1], u[2], 0, -u[0], -u[1], u[0], 0};
            Matrix turn{};
            for (std::size_t j = 0; j < 9; ++j)
                turn[j] = kIdentity[j] * c + across[j] * s + (1 - c) * u[j / 3] * u[j % 3];
            pose.base = multiply(turn, pose.base);
            const Reading reading = readThreeVec(pose, aligned(0), 0, 0, kDown);
            if (rightSide(reading, 0, kDown))
                errors.add(angleBetween(run<CKorThreeVec>(aligned(0), reading.sample).matrix, pose.base));
        }
        EXPECT_GT(errors.count(), 1000U);
        return errors.worst();
    };
    EXPECT_LT(worstAt(80), 1e-9); // measured 2.3e-10
    EXPECT_LT(worstAt(89), 0.4);
    EXPECT_GT(worstAt(89), worstAt(80));
}

TEST(ThreeVecLoop, largeTiltPutsSomePosesOnTheWrongSide)
{
    PoseSource random(607);
    int wrong = 0;
    int all = 0;
    for (int i = 0; i < kPoses; ++i) {
        const Pose pose = random.tilted(0, 80, 70);
        const Reading reading = readThreeVec(pose, aligned(0), 0, 0, kDown);
        if (!reading.reachable)
            continue;
        ++all;
        wrong += angleBetween(run<CKorThreeVec>(aligned(0), reading.sample).matrix, pose.base) > 1.0 ? 1 : 0;
    }
    const double part = static_cast<double>(wrong) / all;
    EXPECT_GT(part, 0.05);
    EXPECT_LT(part, 0.2);
}

TEST(ThreeVecLoop, targetOnTheVerticalOnlyLeavesTheHeadingOpen)
{
    PoseSource random(608);
    for (int i = 0; i < 200; ++i) {
        Pose pose = random.tilted(0, 0.0, 0);
        pose.position = {0, 0, 5000};
        Parameters parameters = aligned(0);
        Sample sample = sampleAt(pose, 0, 0);
        sample.slots[4] = -0.5;
        sample.slots[5] = random.uniform(-180, 180);
        sample.slots[6] = 90.0;
        const Matrix base = run<CKorThreeVec>(parameters, sample).matrix;
        ASSERT_TRUE(allFinite(base));
        ASSERT_LT(std::acos(std::min(1.0, base[8])), 1e-5);
    }
}

TEST(ThreeVecLoop, qvcVectorIsTheOffsetInTheTrackerFrame)
{
    PoseSource random(609);
    for (int i = 0; i < 2000; ++i) {
        const Pose pose = random.tilted(0, 5, 30);
        const Parameters parameters = skewed(random, 0);
        const Reading reading = readThreeVec(pose, parameters, 0.5, -0.5, kDown);
        const Outcome outcome = run<CKorThreeVec>(parameters, reading.sample);
        const Vector p = multiply(reading.stage, Vector{40.0, -25.0, 15.0}); // parameters (40, 15, -25)
        // Single precision at up to 50 long.
        ASSERT_NEAR(static_cast<double>(outcome.qvc[0]), p[0], 4e-6);
        ASSERT_NEAR(static_cast<double>(outcome.qvc[1]), p[2], 4e-6);
        ASSERT_NEAR(static_cast<double>(outcome.qvc[2]), p[1], 4e-6);
    }
}

} // namespace
