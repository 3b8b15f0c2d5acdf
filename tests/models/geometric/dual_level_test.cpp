// Dual-level model: every branch against a flat reference to the bit, and the behaviour of each part by itself.
#include "KORInterface/CKorDualLevel.h"
#include "Literal.h"
#include "Samples.h"
#include "support/Poses.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace {

using namespace kor_test;

constexpr double kAzimuthDeadBand = 1.7444444444444444e-5;
constexpr double kLevelDeadBand = 1.745329251994e-5;

Inputs sound()
{
    Inputs inputs;
    inputs.parameters.factors = {0.5F, 0.25F, 1, 2, 3, 4, 5, 6};
    inputs.parameters.qvc = {1, 2, 3, 4, 5, 6};
    inputs.parameters.level1 = {1, 2, 3, 4, 5, 6, 7};
    inputs.parameters.level2 = {7, 6, 5, 4, 3, 2, 1};
    inputs.sample.slots = {3000.0, -2000.0, 900.0, 1.25, 0.75, 33.0, -12.0, 20.5, 21.5};
    inputs.sample.offset1 = 0.125;
    inputs.sample.offset2 = -0.0625;
    return inputs;
}

Inputs randomInputs(PoseSource& random)
{
    Inputs inputs;
    const double tilt = random.uniform(0, 1) < 0.3 ? 30.0 : 5.0;
    const Vector p = random.position(80.0);
    inputs.sample.slots = {p[0],
                           p[1],
                           p[2],
                           random.uniform(-tilt, tilt),
                           random.uniform(-tilt, tilt),
                           random.uniform(-360, 360),
                           random.uniform(-90, 90),
                           random.uniform(0, 40),
                           random.uniform(0, 40)};
    inputs.sample.offset1 = random.uniform(-4, 4);
    inputs.sample.offset2 = random.uniform(-4, 4);
    for (float& factor : inputs.parameters.factors)
        factor = static_cast<float>(random.uniform(-2, 2));
    return inputs;
}

::testing::AssertionResult agrees(const Inputs& inputs)
{
    const ::testing::AssertionResult same = sameOutcome(run<CKorDualLevel>(inputs.parameters, inputs.sample),
                                                        literalDualLevel(inputs.parameters, inputs.sample));
    return same ? same
                : ::testing::AssertionFailure() << same.message() << "\n"
                                                << describe(inputs.parameters, inputs.sample);
}

std::vector<double> thresholds()
{
    std::vector<double> all = aroundBothSigns(kAzimuthDeadBand, 2);
    for (const double value : aroundBothSigns(kLevelDeadBand / kDegree, 3))
        all.push_back(value);
    for (const double value : aroundBothSigns(kLevelDeadBand, 1))
        all.push_back(value);
    return all;
}

Outcome dualLevel(const Inputs& inputs)
{
    return run<CKorDualLevel>(inputs.parameters, inputs.sample);
}

// The frame that a gravity direction and a line of sight span, without any axis rotation.
Matrix frameOf(const Vector& g, const Vector& u)
{
    const Vector s1 = literalNormalised(literalCross(g, u));
    return literalColumns(u, s1, literalNormalised(literalCross(u, s1)));
}

TEST(DualLevel, referenceGivesTheStatedHorizontalAngles)
{
    EXPECT_EQ(literalHorizontalAngle(0.00001, -1), 4.7123889803850005);
    EXPECT_EQ(literalHorizontalAngle(0.00001, 1), 1.570796326795);
    EXPECT_EQ(literalHorizontalAngle(-1, 0), 3.14159265359);
    EXPECT_EQ(literalHorizontalAngle(1, 0), 0.0);
    EXPECT_EQ(literalHorizontalAngle(0, 0), 0.0);
    EXPECT_EQ(literalHorizontalAngle(1, 1), std::atan(1.0));
    EXPECT_EQ(literalHorizontalAngle(-1, 1), std::atan(-1.0) + 3.14159265359);
    EXPECT_EQ(literalHorizontalAngle(-1, -1), std::atan(1.0) + 3.14159265359);
    EXPECT_EQ(literalHorizontalAngle(1, -1), std::atan(-1.0) + 6.28318530718);
}

TEST(DualLevel, matchesTheReferenceToTheBitOnRandomInputsThroughEveryBranch)
{
    PoseSource random(101);
    int gammas[5] = {};
    int acute[2] = {};
    for (int i = 0; i < 20000; ++i) {
        const Inputs inputs = randomInputs(random);
        DualLevelBranches taken;
        literalDualLevel(inputs.parameters, inputs.sample, &taken);
        ASSERT_TRUE(agrees(inputs));
        ++gammas[taken.gamma];
        ++acute[taken.acute ? 1 : 0];
    }
    // The fifth way of gamma needs psi exactly zero, which no finite input gives: the cosine is never exactly zero.
    for (int way = 0; way < 4; ++way)
        EXPECT_GT(gammas[way], 1000) << "gamma " << way;
    EXPECT_GT(acute[0], 20); // rare: only the offset of the level frame makes p obtuse
    EXPECT_GT(acute[1], 1000);
}

TEST(DualLevel, matchesTheReferenceToTheBitWhenOneLevelIsZeroOrBothAreSmall)
{
    PoseSource random(102);
    int limited = 0;
    const double levels[] = {0.0,   -0.0,   1e-300,  -1e-300, 1e-10,  -1e-10, 1e-5,
                             -1e-5, 0.0009, -0.0009, 0.002,   -0.002, 3,      -3};
    for (int i = 0; i < 200; ++i) {
        Inputs inputs = randomInputs(random);
        for (const double x : levels) {
            for (const double y : levels) {
                for (const float offset : {0.0F, 1.5F, -1.5F}) {
                    inputs.sample.slots[3] = x;
                    inputs.sample.slots[4] = y;
                    inputs.parameters.factors[0] = i % 2 == 0 ? 0.0F : inputs.parameters.factors[0];
                    inputs.parameters.factors[1] = offset;
                    DualLevelBranches taken;
                    literalDualLevel(inputs.parameters, inputs.sample, &taken);
                    limited += taken.limited ? 1 : 0;
                    ASSERT_TRUE(agrees(inputs));
                }
            }
        }
    }
    EXPECT_GT(limited, 1000);
}

TEST(DualLevel, matchesTheReferenceToTheBitOnAwkwardInputs)
{
    forAwkwardInputs(sound(), thresholds(), 103, 20000, [](const Inputs& inputs) { ASSERT_TRUE(agrees(inputs)); });
    Inputs level = sound();
    level.sample.slots[3] = 0.0;
    level.sample.slots[4] = 0.0;
    forAwkwardInputs(level, thresholds(), 104, 20000, [](const Inputs& inputs) { ASSERT_TRUE(agrees(inputs)); });
}

TEST(DualLevel, azimuthDeadBandHoldsUpToItsVeryValueOnBothComponents)
{
    std::vector<double> components = aroundBothSigns(kAzimuthDeadBand, 2);
    for (const double value : aroundBothSigns(kLevelDeadBand, 1))
        components.push_back(value);
    for (const double value : {0.0, -0.0, 0.00001, -0.00001, 1.0, -1.0, 1e-300, 1500.0, -1500.0})
        components.push_back(value);
    Inputs inputs = sound();
    for (const double x : components) {
        for (const double y : components) {
            for (const double z : {0.5, -0.5, 2e-5, -2e-5, 0.0, -0.0}) {
                inputs.sample.slots[0] = x;
                inputs.sample.slots[1] = y;
                inputs.sample.slots[2] = z;
                ASSERT_TRUE(agrees(inputs));
            }
        }
    }
}

// A component just inside the dead-band and one just outside give different quadrant values, so the results differ by
// far more than the step between the two inputs.
TEST(DualLevel, crossingTheAzimuthDeadBandIsAJump)
{
    Inputs inputs = sound();
    const double outside = std::nextafter(kAzimuthDeadBand, 1.0);
    const auto jump = [&inputs](std::size_t slot, double from, double to) {
        inputs.sample.slots[slot] = from;
        const Matrix a = dualLevel(inputs).matrix;
        inputs.sample.slots[slot] = to;
        return angleBetween(a, dualLevel(inputs).matrix);
    };
    inputs.sample.slots = {0, 1, 0.5, 1.25, -3.75, 0, 0, 0, 0};
    EXPECT_GT(jump(0, kAzimuthDeadBand, outside), 1e-6);
    EXPECT_LT(jump(0, std::nextafter(kAzimuthDeadBand, 0.0), kAzimuthDeadBand), 1e-9);
    inputs.sample.slots = {1, 0, 0.5, 1.25, -3.75, 0, 0, 0, 0};
    EXPECT_GT(jump(1, kAzimuthDeadBand, outside), 1e-6);
    EXPECT_LT(jump(1, std::nextafter(kAzimuthDeadBand, 0.0), kAzimuthDeadBand), 1e-9);
}

TEST(DualLevel, levelDeadBandHoldsUpToItsVeryValue)
{
    std::vector<double> levels = aroundBothSigns(kLevelDeadBand / kDegree, 3);
    int inside = 0;
    int outside = 0;
    for (const double level : levels) {
        (std::abs(level * kDegree) <= kLevelDeadBand ? inside : outside) += 1;
        Inputs inputs = sound();
        for (const std::size_t slot : {std::size_t{3}, std::size_t{4}}) {
            inputs.sample.slots[3] = 0.0;
            inputs.sample.slots[4] = 0.0;
            const Outcome upright = dualLevel(inputs);
            inputs.sample.slots[slot] = level;
            ASSERT_TRUE(agrees(inputs));
            const bool same = static_cast<bool>(sameOutcome(dualLevel(inputs), upright));
            EXPECT_EQ(same, std::abs(level * kDegree) <= kLevelDeadBand) << describe(level) << " in slot " << slot;
        }
        for (const double other : levels) {
            inputs.sample.slots[3] = level;
            inputs.sample.slots[4] = other;
            ASSERT_TRUE(agrees(inputs));
        }
    }
    EXPECT_GE(inside, 2);
    EXPECT_GE(outside, 2);
}

// Pins [dead-zones-differ].
TEST(DualLevel, theTwoDeadBandsDiffer)
{
    // 1.7448e-5 lies between them: no dead-band for a direction, but one for the levels.
    const double between = 1.7448e-5;
    Inputs inputs = sound();
    inputs.sample.slots[3] = between / kDegree;
    inputs.sample.slots[4] = 0.0;
    const Outcome small = dualLevel(inputs);
    inputs.sample.slots[3] = 0.0;
    EXPECT_TRUE(sameOutcome(small, dualLevel(inputs)));

    inputs = sound();
    inputs.sample.slots = {between, 1, 0.5, 1.25, -3.75, 0, 0, 0, 0};
    const Matrix outside = dualLevel(inputs).matrix;
    inputs.sample.slots[0] = kAzimuthDeadBand;
    EXPECT_GT(angleBetween(outside, dualLevel(inputs).matrix), 1e-6);
}

// Pins [upright-in-dead-zone].
TEST(DualLevel, smallLevelsMeanAnUprightBaseWhateverTheOffsetOfTheLevelFrame)
{
    PoseSource random(105);
    for (int i = 0; i < 200; ++i) {
        Inputs inputs = randomInputs(random);
        inputs.sample.slots[3] = 0.0005;
        inputs.sample.slots[4] = 0.0;
        const Outcome first = dualLevel(inputs);
        inputs.parameters.factors[1] = static_cast<float>(random.uniform(-180, 180));
        ASSERT_TRUE(sameOutcome(dualLevel(inputs), first));
        inputs.sample.slots[3] = 0.0;
        ASSERT_TRUE(sameOutcome(dualLevel(inputs), first));

        // Undoing the axis rotations leaves the frame of line of sight and (0, 0, 1).
        const std::array<double, 9>& m = inputs.sample.slots;
        const Matrix axes = multiply(rotationZ(m[5] * kDegree - inputs.sample.offset1),
                                     rotationY(inputs.sample.offset2 - m[6] * kDegree));
        const Vector u = literalNormalised({m[0], m[1], m[2]});
        // 1e-14: some tens of roundings of numbers up to one, amplified by 1 / cos 80 degrees.
        ASSERT_TRUE(closeTo(multiply(first.matrix, axes), frameOf({0, 0, 1}, u), 1e-14));
    }
}

TEST(DualLevel, levelZeroLookingAlongXAtTheReferenceAnglesIsTheIdentity)
{
    Inputs inputs;
    inputs.sample.slots = {1, 0, 0, 0, 0, 33.0, -12.0, 0, 0};
    inputs.sample.offset1 = 33.0 * kDegree;
    inputs.sample.offset2 = -12.0 * kDegree;
    const Outcome outcome = dualLevel(inputs);
    EXPECT_TRUE(outcome.ok);
    for (std::size_t i = 0; i < 9; ++i)
        EXPECT_EQ(outcome.matrix[i], kIdentity[i]) << i;
}

TEST(DualLevel, secondComponentAloneTurnsTheFrameByAQuarter)
{
    Inputs inputs;
    inputs.sample.slots = {0.00001, -1, 0, 0, 0, 0, 0, 0, 0};
    const Outcome outcome = dualLevel(inputs);
    EXPECT_TRUE(outcome.ok);
    const Matrix wanted = {0, 1, 0, -1, 0, 0, 0, 0, 1};
    EXPECT_TRUE(closeTo(outcome.matrix, wanted, 1.0001e-5)); // the tiny x stays in the line of sight
    inputs.sample.slots[0] = -1;
    inputs.sample.slots[1] = 0;
    EXPECT_TRUE(closeTo(dualLevel(inputs).matrix, {-1, 0, 0, 0, -1, 0, 0, 0, 1}, 0.0));
}

TEST(DualLevel, axisAnglesTurnTheResultAboutTheAxes)
{
    // At level zero and line of sight x the frame is the identity and only the inverse axis rotations remain.
    Inputs inputs;
    inputs.sample.slots = {1, 0, 0, 0, 0, 30, 0, 0, 0};
    EXPECT_TRUE(closeTo(dualLevel(inputs).matrix, rotationZ(-30 * kDegree), 1e-15));
    inputs.sample.slots[5] = 0;
    inputs.sample.offset1 = 0.5;
    EXPECT_TRUE(closeTo(dualLevel(inputs).matrix, rotationZ(0.5), 1e-15));
    inputs.sample.offset1 = 0;
    inputs.sample.slots[6] = 20;
    EXPECT_TRUE(closeTo(dualLevel(inputs).matrix, rotationY(20 * kDegree), 1e-15));
    inputs.sample.slots[6] = 0;
    inputs.sample.offset2 = 0.25;
    EXPECT_TRUE(closeTo(dualLevel(inputs).matrix, rotationY(-0.25), 1e-15));
}

// With p near half pi the sign of psi depends on which of the two formulas is taken.
TEST(DualLevel, obtuseFormulaStartsAtTheRoundedHalfPi)
{
    const double halfPi = 1.570796326795;
    bool below = false;
    bool at = false;
    bool above = false;
    for (const double target : {std::nextafter(halfPi, 0.0), halfPi, std::nextafter(halfPi, 2.0)}) {
        const auto offset = static_cast<float>((target - std::acos(0.0)) / kDegree);
        const double p = std::acos(0.0) + static_cast<double>(offset) * kDegree;
        below = below || p < halfPi;
        at = at || p == halfPi;
        above = above || p > halfPi;
        for (const double level : {3.0, -3.0}) {
            for (const double rise : {900.0, -900.0}) {
                Inputs inputs = sound();
                inputs.parameters.factors[0] = 0.0F;
                inputs.parameters.factors[1] = offset;
                inputs.sample.slots[2] = rise;
                inputs.sample.slots[3] = level;
                inputs.sample.slots[4] = 0.0; // the arc cosine of zero is the exact half pi
                DualLevelBranches taken;
                EXPECT_TRUE(allFinite(literalDualLevel(inputs.parameters, inputs.sample, &taken).matrix));
                EXPECT_EQ(taken.acute, p < halfPi);
                EXPECT_TRUE(agrees(inputs));
            }
        }
    }
    EXPECT_TRUE(below && at && above);
}

// A steep second level alone: the tilt found may fall an ulp short of it, which the tangents show and the sines do not.
TEST(DualLevel, aCosineBeyondOneByRoundingIsTakenAsOne)
{
    PoseSource random(111);
    int beyond = 0;
    for (int i = 0; i < 20000; ++i) {
        Inputs inputs = randomInputs(random);
        inputs.parameters.factors[0] = 0.0F;
        inputs.parameters.factors[1] = 0.0F;
        inputs.sample.slots[2] = (i % 2 == 0 ? 0.01 : -0.01) * inputs.sample.slots[0];
        inputs.sample.slots[3] = i % 4 < 2 ? 0.0 : 1e-9;
        inputs.sample.slots[4] = (i % 8 < 4 ? 1.0 : -1.0) * random.uniform(20, 85);
        DualLevelBranches taken;
        const Outcome wanted = literalDualLevel(inputs.parameters, inputs.sample, &taken);
        ASSERT_TRUE(agrees(inputs));
        beyond += taken.beyond && allFinite(wanted.matrix) ? 1 : 0;
    }
    EXPECT_GT(beyond, 10);
}

TEST(DualLevel, flatLineOfSightWithATiltIsNotANumberAndStillSucceeds)
{
    for (const double z : {0.0, -0.0}) {
        Inputs inputs = sound();
        inputs.sample.slots[2] = z;
        const Outcome outcome = dualLevel(inputs);
        EXPECT_TRUE(outcome.ok);
        for (const double element : outcome.matrix)
            EXPECT_TRUE(std::isnan(element));
        inputs.sample.slots[3] = 0.0;
        inputs.sample.slots[4] = 0.0;
        EXPECT_TRUE(allFinite(dualLevel(inputs).matrix));
    }
}

TEST(DualLevel, lineOfSightAlongTheVerticalIsNotANumberAndStillSucceeds)
{
    for (const double z : {1.0, -1.0, 5000.0}) {
        Inputs inputs = sound();
        inputs.sample.slots = {0, 0, z, 0, 0, 10, 20, 0, 0};
        const Outcome outcome = dualLevel(inputs);
        EXPECT_TRUE(outcome.ok);
        EXPECT_TRUE(anyNan(outcome.matrix));
        EXPECT_TRUE(agrees(inputs));
    }
}

TEST(DualLevel, zeroDirectionIsNotANumberAndStillSucceeds)
{
    for (const double zero : {0.0, -0.0, 1e-300}) { // the square of the last one is zero too
        Inputs inputs = sound();
        inputs.sample.slots[0] = inputs.sample.slots[1] = inputs.sample.slots[2] = zero;
        const Outcome outcome = dualLevel(inputs);
        EXPECT_TRUE(outcome.ok);
        for (const double element : outcome.matrix)
            EXPECT_TRUE(std::isnan(element));
    }
}

TEST(DualLevel, levelsThatNoTiltCanGiveAreNotANumberAndStillSucceed)
{
    Inputs inputs = sound();
    inputs.sample.slots[3] = 70.0;
    inputs.sample.slots[4] = 60.0;
    const Outcome outcome = dualLevel(inputs);
    EXPECT_TRUE(outcome.ok);
    EXPECT_TRUE(anyNan(outcome.matrix));
    EXPECT_TRUE(agrees(inputs));
}

TEST(DualLevel, axisAnglesThatAreNoNumbersFailButThePlainProductIsWritten)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (const double bad : {nan, inf, -inf}) {
        for (const int place : {5, 6, 9, 10}) {
            Inputs inputs = sound();
            inputs.doubleAt(static_cast<std::size_t>(place)) = bad;
            const Outcome outcome = dualLevel(inputs);
            EXPECT_FALSE(outcome.ok);
            EXPECT_TRUE(agrees(inputs));
        }
    }
    // The elevation axis spoils only two columns; the middle one is the product with the axes not inverted.
    Inputs inputs = sound();
    inputs.sample.slots = {1, 0, 0, 0, 0, 30, nan, 0, 0};
    inputs.sample.offset1 = 0;
    const Outcome outcome = dualLevel(inputs);
    EXPECT_TRUE(within(outcome.matrix[1], -std::sin(30 * kDegree), 1e-15));
    EXPECT_TRUE(within(outcome.matrix[4], std::cos(30 * kDegree), 1e-15));
    EXPECT_TRUE(std::isnan(outcome.matrix[0]) && std::isnan(outcome.matrix[8]));
}

// A rotation wherever it is finite and the line of sight is 1e-3 degrees or more away from the found vertical.
TEST(DualLevel, finiteResultsAreProperRotations)
{
    PoseSource random(106);
    int finite = 0;
    for (int i = 0; i < 20000; ++i) {
        const Outcome outcome = dualLevel(randomInputs(random));
        EXPECT_TRUE(outcome.ok);
        if (!allFinite(outcome.matrix))
            continue;
        ++finite;
        ASSERT_LT(departureFromRotation(outcome.matrix), 1e-12);
    }
    EXPECT_GT(finite, 15000);
}

TEST(DualLevel, scalingTheDirectionByAPowerOfTwoChangesNoBit)
{
    PoseSource random(107);
    for (int i = 0; i < 2000; ++i) {
        Inputs inputs = randomInputs(random);
        const Outcome outcome = dualLevel(inputs);
        for (const double scale : {0.5, 1024.0, std::ldexp(1.0, -12), std::ldexp(1.0, 200)}) {
            Inputs scaled = inputs;
            for (std::size_t c = 0; c < 3; ++c)
                scaled.sample.slots[c] *= scale;
            if (std::min(std::abs(scaled.sample.slots[0]), std::abs(scaled.sample.slots[1])) > 2e-5) {
                ASSERT_TRUE(sameOutcome(dualLevel(scaled), outcome));
            }
        }
    }
}

TEST(DualLevel, theAzimuthDeadBandDoesNotScaleWithTheDirection)
{
    Inputs inputs = sound();
    inputs.sample.slots = {4e-5, 8e-5, 6e-5, 1.25, -3.75, 0, 0, 0, 0};
    const Matrix outside = dualLevel(inputs).matrix;
    for (std::size_t c = 0; c < 3; ++c)
        inputs.sample.slots[c] /= 4.0;
    EXPECT_GT(angleBetween(dualLevel(inputs).matrix, outside), 1e-3);
}

TEST(DualLevel, readsNeitherTheTemperaturesNorTheOtherParametersNorTheParity)
{
    PoseSource random(108);
    std::vector<float> numbers = awkwardNumbers<float>();
    for (int i = 0; i < 100; ++i) {
        const Inputs inputs = randomInputs(random);
        const Outcome outcome = dualLevel(inputs);
        for (const float number : numbers) {
            for (std::size_t place = 2; place < Inputs::kFloats; ++place) {
                Inputs changed = inputs;
                changed.floatAt(place) = number;
                ASSERT_TRUE(sameOutcome(dualLevel(changed), outcome)) << place;
            }
            for (const std::size_t slot : {std::size_t{7}, std::size_t{8}}) {
                Inputs changed = inputs;
                changed.sample.slots[slot] = static_cast<double>(number);
                ASSERT_TRUE(sameOutcome(dualLevel(changed), outcome)) << slot;
            }
        }
        for (const int parity : {1, 2, 7}) {
            Inputs changed = inputs;
            changed.parameters.parity = parity;
            ASSERT_TRUE(sameOutcome(dualLevel(changed), outcome)) << parity;
        }
    }
}

TEST(DualLevel, leavesTheQvcBufferOfTheCallerAlone)
{
    CKorDualLevel model;
    prime(model, sound().parameters);
    Sample sample = sound().sample;
    model.CalTranxMatrix(sample.slots.data(), 0, 0, 3);
    float out[6] = {1, 2, 3, 4, 5, 6};
    model.GetQVCMatrix(out, 6);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(out[i], static_cast<float>(i + 1));
}

TEST(DualLevel, copiesAndMovesGiveTheSameBits)
{
    PoseSource random(109);
    for (int i = 0; i < 100; ++i) {
        const Inputs inputs = randomInputs(random);
        const Outcome outcome = dualLevel(inputs);
        CKorDualLevel model;
        prime(model, inputs.parameters);
        CKorDualLevel copy(model);
        EXPECT_TRUE(sameOutcome(feed(copy, inputs.sample), outcome));
        CKorDualLevel moved(std::move(copy));
        EXPECT_TRUE(sameOutcome(feed(moved, inputs.sample), outcome));
        CKorDualLevel assigned;
        assigned = model;
        EXPECT_TRUE(sameOutcome(feed(assigned, inputs.sample), outcome));
        CKorDualLevel moveAssigned;
        moveAssigned = std::move(assigned);
        EXPECT_TRUE(sameOutcome(feed(moveAssigned, inputs.sample), outcome));
        EXPECT_TRUE(sameOutcome(feed(model, inputs.sample), outcome));
    }
}

TEST(DualLevel, remembersNothingFromOneSampleToTheNext)
{
    PoseSource random(110);
    CKorDualLevel model;
    const Parameters parameters = sound().parameters;
    prime(model, parameters);
    for (int i = 0; i < 500; ++i) {
        Inputs inputs = randomInputs(random);
        if (i % 7 == 0)
            inputs.sample.slots[static_cast<std::size_t>(i % 9)] = std::numeric_limits<double>::quiet_NaN();
        ASSERT_TRUE(sameOutcome(feed(model, inputs.sample), run<CKorDualLevel>(parameters, inputs.sample)));
    }
}

// Pins [size-argument-unused].
TEST(DualLevel, writesNineElementsAndNoMoreWhateverTheSize)
{
    for (const int size : {3, 0, -1, 1, 2, 4, 16, 1000}) {
        CKorDualLevel model;
        prime(model, sound().parameters);
        std::array<double, 24> buffer;
        buffer.fill(77.0);
        for (std::size_t i = 0; i < 9; ++i)
            buffer[i] = sound().sample.slots[i];
        const bool ok = model.CalTranxMatrix(buffer.data(), sound().sample.offset1, sound().sample.offset2, size);
        for (std::size_t i = 9; i < buffer.size(); ++i)
            EXPECT_EQ(buffer[i], 77.0) << size;
        if (size == 3) {
            EXPECT_TRUE(ok);
            const Outcome wanted = literalDualLevel(sound().parameters, sound().sample);
            for (std::size_t i = 0; i < 9; ++i)
                EXPECT_TRUE(sameBits(buffer[i], wanted.matrix[i]));
        }
    }
}

TEST(DualLevel, addsNoFieldsToTheBase)
{
    EXPECT_EQ(sizeof(CKorDualLevel), sizeof(CKorModel));
    EXPECT_TRUE((std::is_base_of_v<CKorModel, CKorDualLevel>));
}

} // namespace
