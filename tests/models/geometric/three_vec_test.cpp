// Three-vector model: every branch against a flat reference to the bit, and the behaviour of each part by itself.
#include "KORInterface/CKorThreeVec.h"
#include "Literal.h"
#include "Samples.h"
#include "support/Poses.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using namespace kor_test;

Inputs sound()
{
    Inputs inputs;
    inputs.parameters.factors = {1, 2, 3, 4, 5, 6, 7, 8};
    inputs.parameters.qvc = {12.5F, -7.25F, 3.5F, 0.5F, -0.25F, 0.75F};
    inputs.parameters.level1 = {1, 2, 3, 0.375F, -0.625F, 0.125F, 1.0625F};
    inputs.parameters.level2 = {7, 6, 5, 4, 3, 2, 1};
    inputs.sample.slots = {3000.0, -2000.0, 900.0, 1.25, 0.75, 33.0, -12.0, 20.5, 21.5};
    inputs.sample.offset1 = 0.125;
    inputs.sample.offset2 = -0.0625;
    return inputs;
}

Inputs randomInputs(PoseSource& random)
{
    Inputs inputs;
    const Vector p = random.position(70.0);
    inputs.sample.slots = {p[0],
                           p[1],
                           p[2],
                           random.uniform(-5, 5),
                           random.uniform(-30, 30),
                           random.uniform(-360, 360),
                           random.uniform(-60, 60),
                           random.uniform(0, 40),
                           random.uniform(0, 40)};
    inputs.sample.offset1 = random.uniform(-4, 4);
    inputs.sample.offset2 = random.uniform(-4, 4);
    for (const std::size_t i : {0U, 1U, 2U})
        inputs.parameters.qvc[i] = static_cast<float>(random.uniform(-50, 50));
    for (const std::size_t i : {3U, 4U, 5U}) {
        inputs.parameters.qvc[i] = static_cast<float>(random.uniform(-3, 3));
        inputs.parameters.level1[i] = static_cast<float>(random.uniform(-3, 3));
    }
    inputs.parameters.level1[6] = static_cast<float>(random.uniform(0.8, 1.2));
    inputs.parameters.parity = std::array<int, 4>{0, 1, 2, 7}[static_cast<std::size_t>(random.uniform(0, 4)) % 4];
    return inputs;
}

Outcome threeVec(const Inputs& inputs)
{
    return run<CKorThreeVec>(inputs.parameters, inputs.sample);
}

ThreeVecSolution solutionOf(const Inputs& inputs)
{
    ThreeVecSolution solution;
    literalThreeVec(inputs.parameters, inputs.sample, &solution);
    return solution;
}

::testing::AssertionResult agrees(const Inputs& inputs)
{
    const ::testing::AssertionResult same =
        sameOutcome(threeVec(inputs), literalThreeVec(inputs.parameters, inputs.sample));
    return same ? same
                : ::testing::AssertionFailure() << same.message() << "\n"
                                                << describe(inputs.parameters, inputs.sample);
}

// No offsets, gains of one: line of sight y, level axis x, elevation axis x.
Inputs plain()
{
    Inputs inputs;
    inputs.parameters.level1[6] = 1.0F;
    inputs.sample.slots = {0, 5000, 0, 0, 0, 0, 0, 0, 0};
    return inputs;
}

// The result array is part of the base that only a derived class can reach.
class WithOpenResult : public CKorThreeVec {
public:
    float* result() { return qvcMatrix; }
};

TEST(ThreeVec, matchesTheReferenceToTheBitOnRandomInputsWithAllSolutions)
{
    PoseSource random(501);
    int codes[3] = {};
    int sides[2][2] = {};
    for (int i = 0; i < 20000; ++i) {
        const Inputs inputs = randomInputs(random);
        ASSERT_TRUE(agrees(inputs));
        const ThreeVecSolution solution = solutionOf(inputs);
        ++codes[solution.code];
        if (solution.code == 0)
            ++sides[inputs.parameters.parity != 0 ? 1 : 0][solution.second ? 1 : 0];
    }
    EXPECT_GT(codes[0], 5000);
    EXPECT_GT(codes[1], 100); // no direction makes both angles: the nearest one
    EXPECT_GT(sides[0][0] + sides[0][1], 1000);
    EXPECT_GT(sides[1][0] + sides[1][1], 1000);
}

TEST(ThreeVec, matchesTheReferenceToTheBitOnAwkwardInputs)
{
    const auto check = [](const Inputs& inputs) { ASSERT_TRUE(agrees(inputs)); };
    forAwkwardInputs(sound(), aroundBothSigns(90.0, 2), 502, 20000, check);
    forAwkwardInputs(plain(), aroundBothSigns(90.0, 2), 503, 20000, check);
    Inputs odd = sound();
    odd.parameters.parity = 1;
    forAwkwardInputs(odd, {}, 504, 20000, check);
}

TEST(ThreeVec, matchesTheReferenceToTheBitAroundALineOfSightAlongTheLevelAxis)
{
    // The determinant of the solve goes through its limit of 1e-12 about 1e-6 rad from parallel.
    int codes[3] = {};
    for (int i = -400; i <= 400; ++i) {
        Inputs inputs = sound();
        inputs.parameters.qvc = {1, 2, 3, 0, 0, 90.0F}; // elevation axis z: turns y towards -x
        inputs.parameters.level1 = {0, 0, 0, 0, 0, 0, 1};
        inputs.sample.offset2 = 0.0;
        inputs.sample.slots[4] = 90.0;
        inputs.sample.slots[2] = 0.0;
        inputs.sample.slots[6] = -90.0 + i * 1e-6;
        ASSERT_TRUE(agrees(inputs));
        ++codes[solutionOf(inputs).code];
    }
    EXPECT_GT(codes[2], 50);
    EXPECT_GT(codes[0] + codes[1], 50);
}

TEST(ThreeVec, matchesTheReferenceToTheBitWhereTheTwoConesJustTouch)
{
    // Level and elevation of the line of sight add up to a right angle: h2 passes through zero and -1e-9.
    int codes[3] = {};
    for (int i = -2000; i <= 2000; ++i) {
        Inputs inputs = plain();
        inputs.sample.slots[1] = 1000;
        inputs.sample.slots[2] = 1000;
        inputs.sample.slots[4] = 45.0 + i * 1e-10;
        inputs.parameters.parity = i & 1;
        ASSERT_TRUE(agrees(inputs));
        ++codes[solutionOf(inputs).code];
        inputs.sample.slots[4] = 45.0 + i * 1e-7;
        ASSERT_TRUE(agrees(inputs));
        ++codes[solutionOf(inputs).code];
    }
    EXPECT_GT(codes[0], 100);
    EXPECT_GT(codes[1], 100);
}

TEST(ThreeVec, levelAndLookingAlongYIsTheIdentityOfAnUprightBase)
{
    Inputs inputs = plain();
    EXPECT_TRUE(threeVec(inputs).ok);
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, kIdentity, 1e-12));
    inputs.parameters.parity = 1;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, kIdentity, 1e-12));
}

TEST(ThreeVec, azimuthOfTheTargetRunsFromYTowardsMinusX)
{
    Inputs inputs = plain();
    inputs.sample.slots[0] = -5000 * std::sin(0.5);
    inputs.sample.slots[1] = 5000 * std::cos(0.5);
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationZ(0.5), 1e-12));
}

TEST(ThreeVec, azimuthAxisIsTakenOutAboutZ)
{
    Inputs inputs = plain();
    inputs.sample.slots[5] = 30;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationZ(-30 * kDegree), 1e-12));
    inputs.sample.slots[5] = 0;
    inputs.sample.offset1 = 0.5;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationZ(0.5), 1e-12));
}

TEST(ThreeVec, elevationAxisAndItsOffsetTurnTheLineOfSight)
{
    // Target 20 degrees up, the axis turned up by as much: the base stays level.
    Inputs inputs = plain();
    inputs.sample.slots[1] = 5000 * std::cos(20 * kDegree);
    inputs.sample.slots[2] = 5000 * std::sin(20 * kDegree);
    inputs.sample.slots[6] = 20;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, kIdentity, 1e-11));
    inputs.sample.slots[6] = 0;
    inputs.sample.offset2 = -20 * kDegree;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, kIdentity, 1e-11));
    // A level base that looks up by the axis at a target that is not: pitched the other way.
    inputs = plain();
    inputs.sample.slots[6] = 20;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationX(-20 * kDegree), 1e-11));
}

// Pins [level-y-with-level-1].
TEST(ThreeVec, levelReadingIsARollAboutTheLineOfSight)
{
    Inputs inputs = plain();
    inputs.sample.slots[4] = 3.0;
    // Even: the level is referred to the direction down, a positive reading has its axis x dip.
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationY(3 * kDegree), 1e-12));
    inputs.parameters.parity = 1;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationY(-3 * kDegree), 1e-12));
    // Offset and gain: (3 + 1) x 0.5.
    inputs.parameters.parity = 0;
    inputs.parameters.level1[5] = 1.0F;
    inputs.parameters.level1[6] = 0.5F;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationY(2 * kDegree), 1e-12));
}

// Pins [place-of-the-1]: the one stands first in the level axis and second in the line of sight.
TEST(ThreeVec, tiltAnglesOfLevelAxisAndLineOfSightBelongToDifferentComponents)
{
    // The line of sight turned about z by its first angle, towards +x: the base turns back.
    Inputs inputs = plain();
    inputs.parameters.qvc[3] = 2.0F;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationZ(2 * kDegree), 1e-11));
    // By its second angle, upwards.
    inputs = plain();
    inputs.parameters.qvc[4] = 2.0F;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationX(-2 * kDegree), 1e-11));
    // The level axis turned about z at zero elevation still reads the same roll, but for the cosine.
    inputs = plain();
    inputs.parameters.level1[4] = 2.0F; // rises by two degrees, reads level: the base is rolled
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationY(2 * kDegree), 1e-11));
    inputs = plain();
    inputs.parameters.level1[3] = 30.0F;
    inputs.sample.slots[4] = 3.0;
    const double roll = std::asin(std::sin(3 * kDegree) / std::cos(30 * kDegree));
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationY(roll), 1e-11));
}

TEST(ThreeVec, rotationAxisOfTheElevationTurnsInTheXzPlane)
{
    // Axis z: the elevation reading turns the line of sight about z like an azimuth.
    Inputs inputs = plain();
    inputs.parameters.qvc[5] = 90.0F;
    inputs.sample.slots[6] = 10;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, rotationZ(-10 * kDegree), 1e-11));
}

TEST(ThreeVec, anyNonZeroParityMeansTheVerticalUp)
{
    PoseSource random(505);
    for (int i = 0; i < 300; ++i) {
        Inputs inputs = randomInputs(random);
        inputs.parameters.parity = 1;
        const Outcome odd = threeVec(inputs);
        for (const int parity : {2, 7, 1000000}) {
            inputs.parameters.parity = parity;
            ASSERT_TRUE(sameOutcome(threeVec(inputs), odd)) << parity;
        }
        inputs.parameters.parity = 0;
        ASSERT_FALSE(sameOutcome(threeVec(inputs), odd));
    }
}

TEST(ThreeVec, aParityFlipOnALivingModelTakesEffectAtOnce)
{
    Inputs inputs = sound();
    CKorThreeVec model;
    prime(model, inputs.parameters);
    for (const int parity : {0, 1, 0, 7}) {
        model.set_iMMode(parity);
        inputs.parameters.parity = parity;
        EXPECT_TRUE(sameOutcome(feed(model, inputs.sample), literalThreeVec(inputs.parameters, inputs.sample)));
    }
    EXPECT_EQ(model.set_iMMode(-1), 7);
}

// Pins [offset-components]: second and third component change places on the way in and on the way out.
TEST(ThreeVec, qvcComponentsAreSwappedGoingInAndComingOut)
{
    Inputs inputs = plain();
    inputs.parameters.qvc[0] = 10.0F;
    inputs.parameters.qvc[1] = 20.0F;
    inputs.parameters.qvc[2] = 30.0F;
    std::array<float, 6> got = threeVec(inputs).qvc;
    // At the identity the two swaps cancel.
    EXPECT_NEAR(got[0], 10.0F, 1e-5F);
    EXPECT_NEAR(got[1], 20.0F, 1e-5F);
    EXPECT_NEAR(got[2], 30.0F, 1e-5F);

    // A quarter turn about z acts on the first and third parameter: (Q0, Q2, Q1) is the vector.
    inputs.sample.slots[0] = -5000;
    inputs.sample.slots[1] = 0;
    got = threeVec(inputs).qvc;
    EXPECT_NEAR(got[0], -30.0F, 1e-5F);
    EXPECT_NEAR(got[1], 20.0F, 1e-5F);
    EXPECT_NEAR(got[2], 10.0F, 1e-5F);
}

TEST(ThreeVec, qvcVectorTurnsWithTheAzimuthStageNotWithTheBase)
{
    Inputs inputs = sound();
    const std::array<float, 6> before = threeVec(inputs).qvc;
    inputs.sample.slots[5] += 77.0;
    inputs.sample.offset1 -= 0.5;
    EXPECT_TRUE(sameBitsThroughout(threeVec(inputs).qvc, before));
    inputs.sample.slots[6] += 1.0;
    EXPECT_FALSE(sameBitsThroughout(threeVec(inputs).qvc, before));
}

TEST(ThreeVec, qvcVectorIsTheStageTimesTheSwappedParameters)
{
    PoseSource random(506);
    for (int i = 0; i < 500; ++i) {
        const Inputs inputs = randomInputs(random);
        const Outcome outcome = threeVec(inputs);
        if (!allFinite(outcome.matrix))
            continue;
        const double f1 = inputs.sample.slots[5] * kDegree - inputs.sample.offset1;
        const std::array<float, 6>& Q = inputs.parameters.qvc;
        const Vector p =
            multiply(multiply(outcome.matrix, rotationZ(f1)),
                     Vector{static_cast<double>(Q[0]), static_cast<double>(Q[2]), static_cast<double>(Q[1])});
        // Up to 87 long, single precision: half an ulp is 4e-6.
        EXPECT_NEAR(static_cast<double>(outcome.qvc[0]), p[0], 5e-6);
        EXPECT_NEAR(static_cast<double>(outcome.qvc[1]), p[2], 5e-6);
        EXPECT_NEAR(static_cast<double>(outcome.qvc[2]), p[1], 5e-6);
    }
}

TEST(ThreeVec, lastThreeQvcResultsAreNeverWritten)
{
    WithOpenResult model;
    const Inputs inputs = sound();
    prime(model, inputs.parameters);
    for (int i = 0; i < 6; ++i)
        model.result()[i] = 100.0F + static_cast<float>(i);
    const Outcome outcome = feed(model, inputs.sample);
    const Outcome wanted = literalThreeVec(inputs.parameters, inputs.sample);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(sameBits(outcome.qvc[i], wanted.qvc[i]));
        EXPECT_EQ(outcome.qvc[i + 3], 103.0F + static_cast<float>(i));
    }
    // Also when the sample is degenerate: the first three are written, as no numbers.
    Sample vertical = inputs.sample;
    vertical.slots[0] = vertical.slots[1] = std::numeric_limits<double>::quiet_NaN();
    const Outcome degenerate = feed(model, vertical);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_TRUE(std::isnan(degenerate.qvc[i]));
        EXPECT_EQ(degenerate.qvc[i + 3], 103.0F + static_cast<float>(i));
    }
}

TEST(ThreeVec, qvcCopyOutWritesExactlyWhatIsAskedFor)
{
    WithOpenResult model;
    for (int i = 0; i < 6; ++i)
        model.result()[i] = 100.0F + static_cast<float>(i);
    for (int count = -2; count <= 6; ++count) {
        float out[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        model.GetQVCMatrix(out, count);
        for (int i = 0; i < 8; ++i)
            EXPECT_EQ(out[i], i < count ? 100.0F + static_cast<float>(i) : static_cast<float>(i + 1)) << count;
    }
}

TEST(ThreeVec, countsOfZeroOrLessCopyNothingIn)
{
    const Inputs inputs = sound();
    CKorThreeVec model;
    prime(model, inputs.parameters);
    float other[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    for (const int count : {0, -1}) {
        model.UpdateSFactors(other, count);
        model.UpdateQVCParameters(other, count);
        model.UpdateLevel1Parameters(other, count);
        model.UpdateLevel2Parameters(other, count);
    }
    EXPECT_TRUE(sameOutcome(feed(model, inputs.sample), literalThreeVec(inputs.parameters, inputs.sample)));
    // One value replaces the first element only.
    model.UpdateQVCParameters(other, 1);
    Parameters changed = inputs.parameters;
    changed.qvc[0] = 9.0F;
    EXPECT_TRUE(sameOutcome(feed(model, inputs.sample), literalThreeVec(changed, inputs.sample)));
}

TEST(ThreeVec, alwaysSucceeds)
{
    for (std::size_t place = 0; place < Inputs::kDoubles; ++place) {
        Inputs inputs = sound();
        inputs.doubleAt(place) = std::numeric_limits<double>::quiet_NaN();
        EXPECT_TRUE(threeVec(inputs).ok) << place;
        EXPECT_TRUE(agrees(inputs)) << place;
    }
}

TEST(ThreeVec, directionAlongTheVerticalIsCaughtByNothing)
{
    // The cosine of the rounded right angle is not zero, so the cross product keeps a trace; only the reference tells.
    for (const double z : {1.0, -1.0, 5000.0}) {
        for (const double zero : {0.0, -0.0}) {
            for (const int parity : {0, 1}) {
                Inputs inputs = sound();
                inputs.parameters.parity = parity;
                inputs.sample.slots[0] = inputs.sample.slots[1] = zero;
                inputs.sample.slots[2] = z;
                EXPECT_TRUE(threeVec(inputs).ok);
                EXPECT_TRUE(agrees(inputs));
            }
        }
    }
}

TEST(ThreeVec, zeroDirectionCountsAsAzimuthAndElevationZero)
{
    Inputs inputs = sound();
    inputs.sample.slots[0] = inputs.sample.slots[1] = inputs.sample.slots[2] = 0.0;
    const Outcome zero = threeVec(inputs);
    inputs.sample.slots[1] = 5000.0;
    EXPECT_TRUE(closeTo(threeVec(inputs).matrix, zero.matrix, 1e-15));
    EXPECT_TRUE(allFinite(zero.matrix));
}

TEST(ThreeVec, lineOfSightAlongTheLevelAxisIsNotANumberAndStillSucceeds)
{
    Inputs inputs = plain();
    inputs.parameters.qvc[5] = 90.0F;
    inputs.sample.slots[6] = -90.0 / (kDegree / (kExactPi / 180.0));
    EXPECT_EQ(solutionOf(inputs).code, 2);
    const Outcome outcome = threeVec(inputs);
    EXPECT_TRUE(outcome.ok);
    for (const double element : outcome.matrix)
        EXPECT_TRUE(std::isnan(element));
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_TRUE(std::isnan(outcome.qvc[i]));
}

// A rotation wherever it is finite: the axis, the line of sight and the direction are unit vectors to an ulp.
TEST(ThreeVec, finiteResultsAreProperRotations)
{
    PoseSource random(507);
    int finite = 0;
    for (int i = 0; i < 20000; ++i) {
        const Outcome outcome = threeVec(randomInputs(random));
        if (!allFinite(outcome.matrix))
            continue;
        ++finite;
        ASSERT_LT(departureFromRotation(outcome.matrix), 1e-12);
    }
    EXPECT_EQ(finite, 20000);
}

TEST(ThreeVec, scalingTheDirectionByAPowerOfTwoChangesNoBit)
{
    PoseSource random(508);
    for (int i = 0; i < 2000; ++i) {
        const Inputs inputs = randomInputs(random);
        const Outcome outcome = threeVec(inputs);
        for (const double scale : {0.5, 1024.0, std::ldexp(1.0, -40), std::ldexp(1.0, 200)}) {
            Inputs scaled = inputs;
            for (std::size_t c = 0; c < 3; ++c)
                scaled.sample.slots[c] *= scale;
            ASSERT_TRUE(sameOutcome(threeVec(scaled), outcome));
        }
    }
}

TEST(ThreeVec, readsNeitherTheUnusedSlotsNorTheUnusedParameters)
{
    PoseSource random(509);
    const std::vector<float> numbers = awkwardNumbers<float>();
    for (int i = 0; i < 50; ++i) {
        const Inputs inputs = randomInputs(random);
        const Outcome outcome = threeVec(inputs);
        for (const float number : numbers) {
            for (std::size_t place = 0; place < Inputs::kFloats; ++place) {
                const bool read = (place >= 8 && place < 14) || (place >= 17 && place < 21);
                if (read)
                    continue;
                Inputs changed = inputs;
                changed.floatAt(place) = number;
                ASSERT_TRUE(sameOutcome(threeVec(changed), outcome)) << place;
            }
            for (const std::size_t slot : {3U, 7U, 8U}) {
                Inputs changed = inputs;
                changed.sample.slots[slot] = static_cast<double>(number);
                ASSERT_TRUE(sameOutcome(threeVec(changed), outcome)) << slot;
            }
        }
    }
}

TEST(ThreeVec, everyParameterAndSlotThatItReadsMatters)
{
    const Inputs inputs = sound();
    const Outcome outcome = threeVec(inputs);
    for (const std::size_t place : {8U, 9U, 10U, 11U, 12U, 13U, 17U, 18U, 19U, 20U}) {
        Inputs changed = inputs;
        changed.floatAt(place) += 0.5F;
        EXPECT_FALSE(sameOutcome(threeVec(changed), outcome)) << place;
    }
    for (const std::size_t place : {0U, 1U, 2U, 4U, 5U, 6U, 9U, 10U}) {
        Inputs changed = inputs;
        changed.doubleAt(place) += 0.5;
        EXPECT_FALSE(sameOutcome(threeVec(changed), outcome)) << place;
    }
}

TEST(ThreeVec, copiesAndMovesGiveTheSameBitsAndCarryTheResult)
{
    PoseSource random(510);
    for (int i = 0; i < 100; ++i) {
        const Inputs inputs = randomInputs(random);
        const Outcome outcome = threeVec(inputs);
        WithOpenResult model;
        prime(model, inputs.parameters);
        for (int j = 0; j < 6; ++j)
            model.result()[j] = 100.0F + static_cast<float>(j);
        WithOpenResult copy(model);
        EXPECT_EQ(copy.result()[0], 100.0F);
        EXPECT_EQ(copy.result()[5], 105.0F);
        const auto sameAsOriginal = [&outcome, &inputs](CKorThreeVec& other) {
            const Outcome got = feed(other, inputs.sample);
            EXPECT_TRUE(sameBitsThroughout(got.matrix, outcome.matrix));
            for (std::size_t j = 0; j < 3; ++j) {
                EXPECT_TRUE(sameBits(got.qvc[j], outcome.qvc[j]));
                EXPECT_EQ(got.qvc[j + 3], 103.0F + static_cast<float>(j));
            }
        };
        sameAsOriginal(copy);
        WithOpenResult moved(std::move(copy));
        sameAsOriginal(moved);
        WithOpenResult assigned;
        assigned = model;
        sameAsOriginal(assigned);
        WithOpenResult moveAssigned;
        moveAssigned = std::move(assigned);
        sameAsOriginal(moveAssigned);
        sameAsOriginal(model);
    }
}

TEST(ThreeVec, remembersNothingFromOneSampleToTheNext)
{
    PoseSource random(511);
    CKorThreeVec model;
    const Parameters parameters = sound().parameters;
    prime(model, parameters);
    for (int i = 0; i < 500; ++i) {
        Inputs inputs = randomInputs(random);
        if (i % 7 == 0)
            inputs.sample.slots[static_cast<std::size_t>(i % 9)] = std::numeric_limits<double>::quiet_NaN();
        ASSERT_TRUE(sameOutcome(feed(model, inputs.sample), run<CKorThreeVec>(parameters, inputs.sample)));
    }
}

TEST(ThreeVec, ignoresLimitsCountersTimesAndDynamicParameters)
{
    const Inputs inputs = sound();
    CKorThreeVec model;
    prime(model, inputs.parameters);
    float dynamic[7] = {9, 9, 9, 9, 9, 9, 9};
    model.SetLevelLimits(true, true);
    model.SetCounter(77, 78);
    model.SetTimeInterval(1.5, 2.5);
    model.SetDynamicParameters(dynamic);
    EXPECT_TRUE(sameOutcome(feed(model, inputs.sample), literalThreeVec(inputs.parameters, inputs.sample)));
    float level1 = 11.0F;
    float level2 = 12.0F;
    model.GetLevelValues(level1, level2);
    EXPECT_EQ(level1, 11.0F);
    EXPECT_EQ(level2, 12.0F);
}

// Pins [size-argument-unused].
TEST(ThreeVec, writesNineElementsAndNoMoreWhateverTheSize)
{
    for (const int size : {3, 0, -1, 1, 2, 4, 16, 1000}) {
        CKorThreeVec model;
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
        }
    }
}

TEST(ThreeVec, addsNoFieldsToTheBase)
{
    EXPECT_EQ(sizeof(CKorThreeVec), sizeof(CKorModel));
    EXPECT_TRUE((std::is_base_of_v<CKorModel, CKorThreeVec>));
}

} // namespace
