// Dual-level model in a closed loop with a perfect sensor: where it recovers the base, and where its formulas cannot.
#include "Errors.h"
#include "KORInterface/CKorDualLevel.h"
#include "Samples.h"

#include <gtest/gtest.h>

namespace {

using namespace kor_test;

constexpr int kPoses = 10000;

enum class Half { Exact, Inexact }; // z * slot 4 >= 0 or below

struct Loop {
    double minTilt;
    double maxTilt;
    double maxElevation;
    float axisDeviation = 0.0F;
    float frameOffset = 0.0F;
    int parity = 1;
};

double radians(double degrees)
{
    return degrees * kExactPi / 180.0;
}

// Errors in degrees over the poses of one half; ratios to the predicted leading order when asked for.
Errors measure(const Loop& loop, Half half, unsigned int seed, Errors* ratios = nullptr)
{
    PoseSource random(seed);
    Errors errors;
    Parameters parameters;
    parameters.factors[0] = loop.axisDeviation;
    parameters.factors[1] = loop.frameOffset;
    parameters.parity = loop.parity;
    while (errors.count() < kPoses) {
        const Pose pose = random.tilted(loop.minTilt, loop.maxTilt, loop.maxElevation);
        const Reading reading = readDualLevel(pose, parameters, random.uniform(-3, 3), random.uniform(-3, 3));
        const double level4 = reading.sample.slots[4];
        if ((pose.position[2] * level4 >= 0) != (half == Half::Exact))
            continue;
        const Outcome outcome = run<CKorDualLevel>(parameters, reading.sample);
        EXPECT_TRUE(outcome.ok);
        if (anyNan(outcome.matrix))
            continue;
        const double error = angleBetween(outcome.matrix, pose.base);
        errors.add(error);
        if (ratios != nullptr) {
            const double length = std::sqrt(dot(pose.position, pose.position));
            const double elevation = std::asin(pose.position[2] / length);
            const double predicted = 2 * std::abs(radians(reading.sample.slots[3]) * radians(level4)) *
                                     std::tan(std::abs(elevation)) / std::cos(elevation);
            ratios->add(radians(error) / predicted);
        }
    }
    return errors;
}

// Pins [second-level-negated].
TEST(DualLevelLoop, isExactWhereRiseAndSecondLevelHaveTheSameSign)
{
    for (const int parity : {0, 1}) {
        const Errors errors = measure({0.01, 5, 30, 0, 0, parity}, Half::Exact, 201);
        // Measured 4e-13 and 5e-12; the worst one depends on the smallest tilts drawn.
        EXPECT_LT(errors.median(), 1e-12);
        EXPECT_LT(errors.worst(), 2e-11);
    }
}

TEST(DualLevelLoop, isExactWithLevelAxesThatAreNotAtRightAngles)
{
    for (const float deviation : {1.0F, -1.0F}) {
        EXPECT_LT(measure({0.01, 5, 30, deviation}, Half::Exact, 202).worst(), 3e-11);
        EXPECT_LT(measure({0.01, 20, 45, deviation}, Half::Exact, 203).worst(), 1e-10);
    }
    EXPECT_LT(measure({0.01, 20, 45}, Half::Exact, 204).worst(), 1e-10);
}

// Pins [height-without-sign]: the angle between line of sight and level azimuth takes the size of the rise, not its
// sign, so half of all poses are only right to second order.
TEST(DualLevelLoop, errsToSecondOrderWhereRiseAndSecondLevelDiffer)
{
    struct Row {
        Loop loop;
        double median;
        double worst;
    };
    const Row rows[] = {{{0.01, 1, 30}, 4e-4, 1.0e-2}, {{0.01, 5, 30}, 1.0e-2, 0.29}, {{0.01, 20, 45}, 0.28, 9.2}};
    for (const Row& row : rows) {
        Errors ratios;
        const Errors errors = measure(row.loop, Half::Inexact, 205, &ratios);
        // The median of ten thousand poses repeats to a few per cent, the worst one to a third.
        EXPECT_NEAR(errors.median() / row.median, 1.0, 0.15);
        EXPECT_GT(errors.worst(), row.worst / 1.5);
        EXPECT_LT(errors.worst(), row.worst * 1.5);
        EXPECT_NEAR(ratios.median(), 1.0, row.loop.maxTilt < 10 ? 2e-3 : 2e-2);
        if (row.loop.maxTilt <= 1) { // the next order is tilt times elevation: some per cent
            EXPECT_GT(ratios.quantile(0.01), 0.85);
            EXPECT_LT(ratios.quantile(0.99), 1.2);
        }
    }
}

// Pins [upright-in-dead-zone]: two levels within their dead-band mean an upright base.
TEST(DualLevelLoop, dropsTheTiltInsideTheLevelDeadBand)
{
    PoseSource random(206);
    Errors errors;
    while (errors.count() < kPoses) {
        const Pose pose = random.tilted(0.0, 0.00142, 30);
        const Reading reading = readDualLevel(pose, {}, 0.5, -0.5);
        if (std::abs(reading.sample.slots[3]) > 0.000999 || std::abs(reading.sample.slots[4]) > 0.000999)
            continue;
        const Outcome outcome = run<CKorDualLevel>({}, reading.sample);
        errors.add(angleBetween(outcome.matrix, pose.base));
        Sample flat = reading.sample;
        flat.slots[3] = flat.slots[4] = 0.0;
        ASSERT_TRUE(sameOutcome(outcome, run<CKorDualLevel>({}, flat)));
    }
    EXPECT_GT(errors.median(), 0.5e-4);
    EXPECT_LT(errors.median(), 6e-4);
    EXPECT_GT(errors.worst(), 3e-4);
    EXPECT_LT(errors.worst(), 1.7e-3); // the tilt itself, carried into the heading by tan 30 degrees
}

// Pins [height-without-sign]: in the exact half any level X gives the same base.
TEST(DualLevelLoop, firstLevelHasNoInfluenceInTheExactHalf)
{
    PoseSource random(207);
    Errors exact;
    Errors inexact;
    while (exact.count() < kPoses) {
        const Pose pose = random.tilted(0.01, 5, 30);
        Reading reading = readDualLevel(pose, {}, 0.5, -0.5);
        const bool sameSign = pose.position[2] * reading.sample.slots[4] >= 0;
        reading.sample.slots[3] = random.uniform(-5, 5);
        const Outcome outcome = run<CKorDualLevel>({}, reading.sample);
        if (anyNan(outcome.matrix))
            continue;
        (sameSign ? exact : inexact).add(angleBetween(outcome.matrix, pose.base));
    }
    EXPECT_LT(exact.worst(), 2e-11);
    EXPECT_GT(inexact.median(), 1e-3);
}

TEST(DualLevelLoop, firstLevelMattersInTheOtherHalf)
{
    PoseSource random(208);
    Errors moved;
    while (moved.count() < 1000) {
        const Pose pose = random.tilted(0.5, 5, 30);
        Reading reading = readDualLevel(pose, {}, 0.5, -0.5);
        if (pose.position[2] * reading.sample.slots[4] >= 0)
            continue;
        const Outcome before = run<CKorDualLevel>({}, reading.sample);
        reading.sample.slots[3] += 1.0;
        const Outcome after = run<CKorDualLevel>({}, reading.sample);
        if (!anyNan(before.matrix) && !anyNan(after.matrix))
            moved.add(angleBetween(before.matrix, after.matrix));
    }
    EXPECT_GT(moved.median(), 1e-3);
}

// Pins [offset-turns-place-only]: the offset of the level frame moves the level's azimuth but enters its tilt through
// another angle, so a non-zero one is never exact.
TEST(DualLevelLoop, levelFrameOffsetIsNeverExact)
{
    const auto errorsOf = [](float offset, bool jumped) {
        PoseSource random(209);
        Parameters parameters;
        parameters.factors[1] = offset;
        Errors errors;
        for (int i = 0; i < 2 * kPoses; ++i) {
            const Pose pose = random.tilted(0.01, 5, 30);
            const Reading reading = readDualLevel(pose, parameters, 0.5, -0.5);
            const std::array<double, 9>& slots = reading.sample.slots;
            const Outcome outcome = run<CKorDualLevel>(parameters, reading.sample);
            const bool flips = std::abs(slots[4]) < std::tan(radians(static_cast<double>(offset))) * std::abs(slots[3]);
            if (pose.position[2] * slots[4] >= 0 && flips == jumped && !anyNan(outcome.matrix))
                errors.add(angleBetween(outcome.matrix, pose.base));
        }
        return errors;
    };
    const Errors sound = errorsOf(0.5F, false);
    EXPECT_NEAR(sound.median() / 6.5e-5, 1.0, 0.5);
    EXPECT_GT(sound.worst(), 2.4e-3 / 3);
    EXPECT_LT(sound.worst(), 2.4e-3 * 3);
    const Errors half = errorsOf(0.5F, true);
    EXPECT_GT(half.worst(), 0.04);
    EXPECT_LT(half.worst(), 0.16);
    const Errors two = errorsOf(2.0F, true);
    EXPECT_GT(two.worst(), 0.16);
    EXPECT_LT(two.worst(), 0.66);
}

TEST(DualLevelLoop, turningTheLevelAxesByTheOffsetErrsToFirstOrder)
{
    for (const double turn : {1.0, -1.0}) {
        PoseSource random(210);
        Parameters parameters;
        parameters.factors[1] = 1.0F;
        Errors ratios;
        for (int i = 0; i < kPoses; ++i) {
            const Pose pose = random.tilted(2, 5, 30);
            const Reading reading = readDualLevel(pose, parameters, 0.5, -0.5, turn);
            const Outcome outcome = run<CKorDualLevel>(parameters, reading.sample);
            const double tilt = std::acos(pose.base[8]);
            if (pose.position[2] * reading.sample.slots[4] >= 0 && !anyNan(outcome.matrix))
                ratios.add(radians(angleBetween(outcome.matrix, pose.base)) / (radians(1.0) * tilt));
        }
        EXPECT_GT(ratios.median(), 0.1);
        EXPECT_LT(ratios.median(), 3.0);
    }
}

TEST(DualLevelLoop, flatLineOfSightIsNotANumber)
{
    PoseSource random(211);
    for (int i = 0; i < 200; ++i) {
        Pose pose = random.tilted(0.01, 5, 0);
        pose.position[2] = 0.0;
        const Reading reading = readDualLevel(pose, {}, 0.5, -0.5);
        EXPECT_TRUE(anyNan(run<CKorDualLevel>({}, reading.sample).matrix));
    }
}

TEST(DualLevelLoop, upsideDownBaseIsNeverRecovered)
{
    PoseSource random(212);
    for (int i = 0; i < 1000; ++i) {
        Pose pose = random.tilted(0.01, 5, 30);
        pose.base = multiply(pose.base, rotationX(kExactPi));
        const Outcome outcome = run<CKorDualLevel>({}, readDualLevel(pose, {}, 0.5, -0.5).sample);
        if (!anyNan(outcome.matrix)) {
            ASSERT_GT(angleBetween(outcome.matrix, pose.base), 90.0);
        }
    }
}

TEST(DualLevelLoop, rarelyRoundsAFirstLevelOfZeroIntoNoNumber)
{
    PoseSource random(213);
    int nans = 0;
    for (int i = 0; i < 50000; ++i) {
        Sample sample;
        const Vector p = random.position(30);
        sample.slots = {p[0], p[1], p[2], 0.0, random.uniform(-5, 5), 0, 0, 0, 0};
        nans += anyNan(run<CKorDualLevel>({}, sample).matrix) ? 1 : 0;
    }
    // Measured 0.2 %: the arc cosine of one and an ulp. With the sines and arc sines of MinGW's run-time libraries,
    // which round otherwise, the quotient passes one far more rarely: once in these 50000.
#if defined(__MINGW32__)
    EXPECT_GE(nans, 1);
#else
    EXPECT_GT(nans, 10);
#endif
    EXPECT_LT(nans, 500);
}

} // namespace
