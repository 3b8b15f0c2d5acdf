// Pendulum model: every branch against a flat reference to the bit, and the behaviour of each part by itself.
#include "KORInterface/CKorPendulum.h"
#include "Literal.h"
#include "Samples.h"
#include "support/Poses.h"
#include "support/Rounds.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using namespace kor_test;

constexpr double kDeadBand = 1.7444444444444444e-5;

Inputs sound()
{
    Inputs inputs;
    inputs.parameters.factors = {1.5F, 0.25F, 0.75F, -0.5F, 1.0F, 1.0F, 1.0F, 5.0F};
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
    const Vector p = random.position(60.0);
    inputs.sample.slots = {p[0],
                           p[1],
                           p[2],
                           random.uniform(-5, 5),
                           random.uniform(-5, 5),
                           random.uniform(-360, 360),
                           random.uniform(-60, 60),
                           random.uniform(0, 40),
                           random.uniform(0, 40)};
    inputs.sample.offset1 = random.uniform(-4, 4);
    inputs.sample.offset2 = random.uniform(-0.2, 0.2);
    for (const std::size_t i : {0U, 1U, 2U, 3U})
        inputs.parameters.factors[i] = static_cast<float>(random.uniform(-3, 3));
    for (const std::size_t i : {4U, 5U, 6U})
        inputs.parameters.factors[i] = static_cast<float>(random.uniform(0.8, 1.2));
    inputs.parameters.factors[7] = static_cast<float>(random.uniform(-3, 3));
    inputs.parameters.parity = std::array<int, 4>{0, 1, 2, 7}[static_cast<std::size_t>(random.uniform(0, 4)) % 4];
    return inputs;
}

Outcome pendulum(const Inputs& inputs)
{
    return run<CKorPendulum>(inputs.parameters, inputs.sample);
}

PendulumSearch searchOf(const Inputs& inputs)
{
    PendulumSearch search;
    literalPendulum(inputs.parameters, inputs.sample, &search);
    return search;
}

::testing::AssertionResult agrees(const Inputs& inputs)
{
    const ::testing::AssertionResult same =
        sameOutcome(pendulum(inputs), literalPendulum(inputs.parameters, inputs.sample));
    return same ? same
                : ::testing::AssertionFailure() << same.message() << "\n"
                                                << describe(inputs.parameters, inputs.sample);
}

std::vector<double> thresholds()
{
    std::vector<double> all = aroundBothSigns(kDeadBand, 2);
    for (const double value : aroundBothSigns(kDeadBand / kDegree, 3))
        all.push_back(value);
    return all;
}

// Straight levels, gains of one, pendulum along y: the tilt read is the elevation of the elevation axis.
Inputs plain()
{
    Inputs inputs;
    inputs.parameters.factors = {0, 0, 0, 0, 1, 1, 1, 0};
    inputs.sample.slots = {3000.0, -2000.0, 900.0, 0, 2.0, 0, 0, 0, 0};
    return inputs;
}

TEST(Pendulum, matchesTheReferenceToTheBitOnRandomInputsThroughEveryCase)
{
    PoseSource random(301);
    std::array<int, 5> cases{};
    int longest = 0;
    for (int i = 0; i < kor_test::rounds(20000); ++i) {
        const Inputs inputs = randomInputs(random);
        ASSERT_TRUE(agrees(inputs));
        const PendulumSearch search = searchOf(inputs);
        longest = std::max(longest, search.iterations);
        for (std::size_t c = 0; c < 5; ++c)
            cases[c] += search.cases[c];
    }
    for (std::size_t c = 1; c < 5; ++c)
        EXPECT_GT(cases[c], kor_test::rounds(1000)) << c;
    EXPECT_GT(longest, 5);
}

TEST(Pendulum, matchesTheReferenceToTheBitWhenTheTiltIsInsideTheDeadBand)
{
    PoseSource random(302);
    for (int i = 0; i < 5000; ++i) {
        Inputs inputs = randomInputs(random);
        const double sum = random.uniform(-1.5, 1.5) * kDeadBand / kDegree;
        inputs.sample.slots[4] =
            sum / static_cast<double>(inputs.parameters.factors[6]) - static_cast<double>(inputs.parameters.factors[1]);
        ASSERT_TRUE(agrees(inputs));
    }
}

TEST(Pendulum, matchesTheReferenceToTheBitOnAwkwardInputs)
{
    const auto check = [](const Inputs& inputs) { ASSERT_TRUE(agrees(inputs)); };
    forAwkwardInputs(sound(), thresholds(), 303, kor_test::rounds(5000), check);
    forAwkwardInputs(plain(), thresholds(), 304, 5000, check);
    Inputs below = plain();
    below.sample.slots[2] = -900.0;
    below.sample.slots[4] = -2.0;
    forAwkwardInputs(below, thresholds(), 305, 5000, check);
    Inputs level = plain();
    level.sample.slots[4] = 0.0;
    forAwkwardInputs(level, thresholds(), 306, 5000, check);
}

TEST(Pendulum, deadBandOfTheTiltEndsJustBelowItsVeryValue)
{
    bool below = false;
    bool at = false;
    bool above = false;
    std::vector<Inputs> tried;
    for (const double tilt : aroundBothSigns(kDeadBand / kDegree, 4)) {
        for (const double z : {900.0, -900.0, 0.0}) {
            Inputs inputs = plain();
            inputs.sample.slots[2] = z;
            inputs.sample.slots[4] = tilt;
            tried.push_back(inputs);
        }
    }
    // Some gain brings the product onto the very value.
    for (const float gain : {2.0F, 3.0F, 5.0F, 7.0F, 11.0F, 13.0F}) {
        for (const double tilt : aroundBothSigns(kDeadBand / kDegree / static_cast<double>(gain), 4)) {
            Inputs inputs = plain();
            inputs.parameters.factors[6] = gain;
            inputs.sample.slots[4] = tilt;
            tried.push_back(inputs);
        }
    }
    for (const Inputs& inputs : tried) {
        const PendulumSearch search = searchOf(inputs);
        below = below || std::abs(search.target) < kDeadBand;
        at = at || std::abs(search.target) == kDeadBand;
        above = above || std::abs(search.target) > kDeadBand;
        ASSERT_TRUE(agrees(inputs));
        EXPECT_EQ(search.cases[0] > 0, std::abs(search.target) < kDeadBand);
    }
    EXPECT_TRUE(below && at && above);
}

TEST(Pendulum, azimuthDeadBandHoldsUpToItsVeryValueOnBothComponents)
{
    std::vector<double> components = aroundBothSigns(kDeadBand, 2);
    for (const double value : {0.0, -0.0, 0.00001, -0.00001, 1.0, -1.0, 1.745e-5, 1500.0, -1500.0})
        components.push_back(value);
    for (const double x : components) {
        for (const double y : components) {
            for (const double z : {900.0, -900.0, 0.0}) {
                for (const double tilt : {2.0, -2.0, 0.0}) {
                    Inputs inputs = plain();
                    inputs.sample.slots = {x, y, z, 0, tilt, 0, 0, 0, 0};
                    ASSERT_TRUE(agrees(inputs));
                }
            }
        }
    }
}

TEST(Pendulum, everySignOfRiseAndTiltHasItsOwnCase)
{
    const double signs[4][2] = {{1, 1}, {1, -1}, {-1, 1}, {-1, -1}};
    for (std::size_t i = 0; i < 4; ++i) {
        for (const double x : {3000.0, -3000.0}) {
            for (const double y : {2000.0, -2000.0}) {
                Inputs inputs = plain();
                inputs.sample.slots[0] = x;
                inputs.sample.slots[1] = y;
                inputs.sample.slots[2] *= signs[i][0];
                inputs.sample.slots[4] *= signs[i][1];
                EXPECT_GT(searchOf(inputs).cases[i + 1], 0);
                ASSERT_TRUE(agrees(inputs));
                // The elevation axis, second column of the base here, rises by the tilt read, left of the line of
                // sight; 1e-12 is the shortened degree.
                const Matrix base = pendulum(inputs).matrix;
                EXPECT_TRUE(within(std::asin(base[7]), inputs.sample.slots[4] * kDegree, 1e-12));
                const Vector u = literalNormalised({x, y, inputs.sample.slots[2]});
                EXPECT_GT(literalCross(u, {base[1], base[4], base[7]})[2], 0.0);
            }
        }
    }
}

TEST(Pendulum, tiltThatMeetsTheToleranceAtOnceRunsExactlyOneIteration)
{
    PoseSource random(307);
    int single = 0;
    for (int i = 0; i < 500; ++i) {
        Inputs inputs = plain();
        const Vector p = random.position(40);
        for (std::size_t c = 0; c < 3; ++c)
            inputs.sample.slots[c] = p[c];
        inputs.sample.slots[4] = random.uniform(-5, 5);
        inputs.sample.slots[6] = random.uniform(-30, 30);
        inputs.parameters.parity = i % 2;
        const PendulumSearch search = searchOf(inputs);
        if (search.iterations != 1)
            continue;
        ++single;
        EXPECT_EQ(search.rho, search.target);
        ASSERT_TRUE(sameOutcome(pendulum(inputs), literalPendulum(inputs.parameters, inputs.sample, nullptr, 1)));
    }
    EXPECT_EQ(single, 500);
}

// A pendulum a little above the horizontal, seen level: the rise scales its elevation finely enough to put the error
// of the first iteration on the tolerance itself.
TEST(Pendulum, anErrorOfExactlyTheToleranceGoesOnSearching)
{
    int seen[3] = {};
    for (int step = 1; step <= 40; ++step) {
        Inputs inputs = plain();
        inputs.sample.slots[4] = 0.0;
        inputs.parameters.factors[2] = static_cast<float>(kDeadBand / kDegree * (1 + 0.002 * step));
        const auto errorAt = [&inputs](double z) {
            inputs.sample.slots[2] = z;
            PendulumSearch search;
            literalPendulum(inputs.parameters, inputs.sample, &search, 1);
            return search.error;
        };
        double low = 1.0;
        double high = 3000.0;
        for (int i = 0; i < 80; ++i) {
            const double middle = 0.5 * (low + high);
            (errorAt(middle) > kDeadBand ? low : high) = middle;
        }
        double z = low;
        for (int i = 0; i < 6; ++i)
            z = std::nextafter(z, 0.0);
        for (int i = 0; i < 12; ++i) {
            z = std::nextafter(z, 4000.0);
            const double error = errorAt(z);
            const int iterations = searchOf(inputs).iterations;
            ++seen[error < kDeadBand ? 0 : (error == kDeadBand ? 1 : 2)];
            EXPECT_EQ(iterations == 1, error < kDeadBand);
            ASSERT_TRUE(agrees(inputs));
        }
    }
    EXPECT_GT(seen[0], 0);
    EXPECT_GT(seen[1], 0);
    EXPECT_GT(seen[2], 0);
}

// Pins [pendulum-search].
TEST(Pendulum, runsFiveHundredIterationsAndNoMoreWhenThePendulumPointsAway)
{
    int full = 0;
    for (const float azimuth : {120.0F, 150.0F, -130.0F, 179.0F}) {
        for (const double tilt : {2.0, -3.0}) {
            Inputs inputs = plain();
            inputs.parameters.factors[3] = azimuth;
            inputs.sample.slots[4] = tilt;
            const PendulumSearch search = searchOf(inputs);
            const Outcome outcome = pendulum(inputs);
            EXPECT_TRUE(outcome.ok); // not converging is not reported
            ASSERT_TRUE(agrees(inputs));
            if (search.iterations != 500)
                continue;
            ++full;
            if (allFinite(outcome.matrix)) {
                // One iteration less or more leaves another frame.
                EXPECT_FALSE(sameOutcome(outcome, literalPendulum(inputs.parameters, inputs.sample, nullptr, 499)));
                EXPECT_FALSE(sameOutcome(outcome, literalPendulum(inputs.parameters, inputs.sample, nullptr, 501)));
            }
        }
    }
    EXPECT_GT(full, 0);
}

// Pins [pendulum-search].
TEST(Pendulum, aSearchThatSwingsForEverStopsOnTheFiveHundredthFrame)
{
    // A tilt gain that the pendulum cannot follow keeps the error from shrinking.
    PoseSource random(308);
    int told = 0;
    for (int i = 0; i < 4000 && told < kor_test::rounds(10); ++i) {
        Inputs inputs = randomInputs(random);
        inputs.parameters.factors[2] = static_cast<float>(random.uniform(-90, 90));
        inputs.parameters.factors[3] = static_cast<float>(random.uniform(80, 280));
        const PendulumSearch search = searchOf(inputs);
        const Outcome outcome = pendulum(inputs);
        ASSERT_TRUE(agrees(inputs));
        if (search.iterations == 500 && allFinite(outcome.matrix)) {
            const Outcome shorter = literalPendulum(inputs.parameters, inputs.sample, nullptr, 499);
            const Outcome longer = literalPendulum(inputs.parameters, inputs.sample, nullptr, 501);
            told += !sameOutcome(outcome, shorter) && !sameOutcome(outcome, longer) ? 1 : 0;
        }
    }
    EXPECT_GT(told, 0);
}

// Pins [pendulum-parity].
TEST(Pendulum, parityOfExactlyOneFlipsTheThreeAnglesAndNoOtherDoes)
{
    PoseSource random(309);
    for (int i = 0; i < 300; ++i) {
        Inputs inputs = randomInputs(random);
        inputs.parameters.parity = 0;
        const Outcome even = pendulum(inputs);
        for (const int parity : {2, 3, 7, 1000001}) {
            inputs.parameters.parity = parity;
            ASSERT_TRUE(sameOutcome(pendulum(inputs), even)) << parity;
        }
        inputs.parameters.parity = 1;
        const Outcome odd = pendulum(inputs);
        ASSERT_TRUE(agrees(inputs));
        if (allFinite(even.matrix) && allFinite(odd.matrix)) {
            ASSERT_GT(angleBetween(even.matrix, odd.matrix), 1e-3);
        }

        // The same angles with the signs changed by hand; sums change sign without rounding.
        Inputs turned = inputs;
        turned.parameters.parity = 0;
        turned.sample.slots[5] = -inputs.sample.slots[5];
        turned.sample.slots[6] = -inputs.sample.slots[6];
        turned.sample.offset1 = -inputs.sample.offset1;
        turned.sample.offset2 = -inputs.sample.offset2;
        turned.sample.slots[4] = -inputs.sample.slots[4];
        turned.parameters.factors[1] = -inputs.parameters.factors[1];
        ASSERT_TRUE(sameOutcome(pendulum(turned), odd));
    }
}

// Each gain multiplies its own angle, after the offset.
TEST(Pendulum, gainsMultiplyTheirOwnAngles)
{
    PoseSource random(310);
    for (int i = 0; i < 300; ++i) {
        Inputs inputs = plain();
        const Vector p = random.position(40);
        for (std::size_t c = 0; c < 3; ++c)
            inputs.sample.slots[c] = p[c];
        inputs.sample.slots[4] = random.uniform(-5, 5);
        inputs.sample.slots[5] = random.uniform(-90, 90);
        inputs.sample.slots[6] = random.uniform(-20, 20);
        inputs.sample.offset1 = random.uniform(-1, 1);
        inputs.sample.offset2 = random.uniform(-0.2, 0.2);
        inputs.parameters.factors[1] = 0.5F;
        const std::size_t slotOf[3] = {5, 6, 4};
        for (std::size_t gain = 4; gain < 7; ++gain) {
            // A gain of two is exactly the doubled angle and doubled offset.
            Inputs gained = inputs;
            gained.parameters.factors[gain] = 2.0F;
            Inputs doubled = inputs;
            doubled.sample.slots[slotOf[gain - 4]] *= 2.0;
            if (gain == 4)
                doubled.sample.offset1 *= 2.0;
            if (gain == 5)
                doubled.sample.offset2 *= 2.0;
            if (gain == 6)
                doubled.parameters.factors[1] *= 2.0F;
            ASSERT_TRUE(sameOutcome(pendulum(gained), pendulum(doubled))) << gain;
            ASSERT_FALSE(sameOutcome(pendulum(gained), pendulum(inputs))) << gain;
        }
    }
}

TEST(Pendulum, axisAnglesTurnTheResultAboutTheAxes)
{
    // Pendulum along the elevation axis: the frame does not depend on the axis angles, so they show by themselves.
    Inputs inputs = plain();
    const Matrix frame = pendulum(inputs).matrix;
    const auto left = [&frame](const Inputs& changed) { return multiply(transposed(frame), pendulum(changed).matrix); };
    Inputs changed = inputs;
    changed.sample.slots[5] = 30;
    EXPECT_TRUE(closeTo(left(changed), rotationZ(-30 * kDegree), 1e-14));
    changed = inputs;
    changed.sample.offset1 = 0.5;
    EXPECT_TRUE(closeTo(left(changed), rotationZ(0.5), 1e-14));
    changed = inputs;
    changed.sample.slots[6] = 20;
    EXPECT_TRUE(closeTo(left(changed), rotationY(20 * kDegree), 1e-11)); // p is level only to the literals
    changed = inputs;
    changed.sample.offset2 = 0.25;
    EXPECT_TRUE(closeTo(left(changed), rotationY(-0.25), 1e-11));
}

// Twice the same arm square is added and taken away, so it shows only in the rounding.
TEST(Pendulum, armOfAThousandShowsOnlyInTheRoundingOfTheLevelCase)
{
    Inputs inputs = plain();
    inputs.sample.slots[4] = 0.0;
    const Matrix base = pendulum(inputs).matrix;
    EXPECT_EQ(searchOf(inputs).cases[0], 1);
    EXPECT_TRUE(within(base[7], 0.0, 0.0)); // the foot lies exactly level
    for (std::size_t c = 0; c < 3; ++c)
        inputs.sample.slots[c] *= 3.0;
    EXPECT_TRUE(closeTo(pendulum(inputs).matrix, base, 1e-12));
}

TEST(Pendulum, zeroDirectionTakesTheSpaceDiagonal)
{
    for (const double zero : {0.0, -0.0, 1e-300}) {
        for (const double tilt : {0.0, 2.0, -2.0}) {
            Inputs inputs = plain();
            inputs.sample.slots = {zero, zero, zero, 0, tilt, 0, 0, 0, 0};
            EXPECT_TRUE(pendulum(inputs).ok);
            EXPECT_TRUE(agrees(inputs));
        }
    }
    // No horizontal distance: the quotient of the arc cosine is zero by zero.
    Inputs inputs = plain();
    inputs.sample.slots = {0, 0, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_TRUE(anyNan(pendulum(inputs).matrix));
}

TEST(Pendulum, directionAlongTheVerticalIsNotANumberAndStillSucceeds)
{
    for (const double z : {900.0, -900.0}) {
        for (const double tilt : {0.0, 2.0, -2.0}) {
            Inputs inputs = plain();
            inputs.sample.slots = {0, 0, z, 0, tilt, 0, 0, 0, 0};
            const Outcome outcome = pendulum(inputs);
            EXPECT_TRUE(outcome.ok);
            EXPECT_TRUE(anyNan(outcome.matrix));
            EXPECT_TRUE(agrees(inputs));
        }
    }
}

// Pins [pendulum-height-0].
TEST(Pendulum, flatDirectionWithATiltHasNoSoundFrameAndStillSucceeds)
{
    PoseSource random(311);
    int unsound = 0;
    for (int i = 0; i < 200; ++i) {
        Inputs inputs = plain();
        const Vector p = random.position(0);
        inputs.sample.slots[0] = p[0];
        inputs.sample.slots[1] = p[1];
        inputs.sample.slots[2] = i % 2 == 0 ? 0.0 : -0.0;
        inputs.sample.slots[4] = i % 4 < 2 ? 2.0 : -2.0;
        const Outcome outcome = pendulum(inputs);
        EXPECT_TRUE(outcome.ok);
        ASSERT_TRUE(agrees(inputs));
        unsound +=
            anyNan(outcome.matrix) || std::abs(std::asin(outcome.matrix[7]) - inputs.sample.slots[4] * kDegree) > 1e-6;
    }
    EXPECT_EQ(unsound, 200);
}

TEST(Pendulum, axisAnglesThatAreNoNumbersFailButThePlainProductIsWritten)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (const double bad : {nan, inf, -inf}) {
        for (const std::size_t place : {5U, 6U, 9U, 10U}) {
            Inputs inputs = sound();
            inputs.doubleAt(place) = bad;
            EXPECT_FALSE(pendulum(inputs).ok);
            EXPECT_TRUE(agrees(inputs));
        }
    }
    Inputs inputs = plain();
    inputs.sample.slots[5] = 30;
    inputs.sample.slots[6] = nan;
    const Outcome outcome = pendulum(inputs);
    EXPECT_TRUE(std::isnan(outcome.matrix[0]));
    EXPECT_TRUE(agrees(inputs));
}

// Also where the search does not converge: the frame is built from normalised vectors in every iteration.
TEST(Pendulum, finiteResultsAreProperRotations)
{
    PoseSource random(312);
    int finite = 0;
    for (int i = 0; i < 5000; ++i) {
        Inputs inputs = randomInputs(random);
        if (i % 10 == 0)
            inputs.parameters.factors[3] = static_cast<float>(random.uniform(-180, 180));
        const Outcome outcome = pendulum(inputs);
        EXPECT_TRUE(outcome.ok);
        if (!allFinite(outcome.matrix))
            continue;
        ++finite;
        ASSERT_LT(departureFromRotation(outcome.matrix), 1e-12);
    }
    EXPECT_GT(finite, 4000);
}

TEST(Pendulum, scalingTheDirectionByAPowerOfTwoChangesNoBitWhileTheTiltStaysOutsideTheDeadBand)
{
    PoseSource random(313);
    int compared = 0;
    for (int i = 0; i < 1000; ++i) {
        const Inputs inputs = randomInputs(random);
        if (searchOf(inputs).cases[0] > 0)
            continue;
        const Outcome outcome = pendulum(inputs);
        for (const double scale : {0.5, 1024.0, std::ldexp(1.0, -12), std::ldexp(1.0, 200)}) {
            Inputs scaled = inputs;
            for (std::size_t c = 0; c < 3; ++c)
                scaled.sample.slots[c] *= scale;
            if (std::min(std::abs(scaled.sample.slots[0]), std::abs(scaled.sample.slots[1])) < 2e-5)
                continue;
            ASSERT_TRUE(sameOutcome(pendulum(scaled), outcome));
            ++compared;
        }
    }
    EXPECT_GT(compared, 2000);
}

TEST(Pendulum, readsNeitherLevelXNorTheTemperaturesNorTheOtherParameters)
{
    PoseSource random(314);
    const std::vector<float> numbers = awkwardNumbers<float>();
    for (int i = 0; i < 30; ++i) {
        const Inputs inputs = randomInputs(random);
        const Outcome outcome = pendulum(inputs);
        for (const float number : numbers) {
            for (std::size_t place = 7; place < Inputs::kFloats; ++place) {
                Inputs changed = inputs;
                changed.floatAt(place) = number;
                ASSERT_TRUE(sameOutcome(pendulum(changed), outcome)) << place;
            }
            for (const std::size_t slot : {3U, 7U, 8U}) {
                Inputs changed = inputs;
                changed.sample.slots[slot] = static_cast<double>(number);
                ASSERT_TRUE(sameOutcome(pendulum(changed), outcome)) << slot;
            }
        }
    }
}

TEST(Pendulum, everyParameterAndSlotThatItReadsMatters)
{
    const Inputs inputs = sound();
    const Outcome outcome = pendulum(inputs);
    for (std::size_t place = 0; place < 7; ++place) {
        Inputs changed = inputs;
        changed.floatAt(place) += 0.5F;
        EXPECT_FALSE(sameOutcome(pendulum(changed), outcome)) << place;
    }
    for (const std::size_t place : {0U, 1U, 2U, 4U, 5U, 6U, 9U, 10U}) {
        Inputs changed = inputs;
        changed.doubleAt(place) += 0.5;
        EXPECT_FALSE(sameOutcome(pendulum(changed), outcome)) << place;
    }
}

TEST(Pendulum, leavesTheQvcBufferOfTheCallerAlone)
{
    CKorPendulum model;
    prime(model, sound().parameters);
    Sample sample = sound().sample;
    model.CalTranxMatrix(sample.slots.data(), 0, 0, 3);
    float out[6] = {1, 2, 3, 4, 5, 6};
    model.GetQVCMatrix(out, 6);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(out[i], static_cast<float>(i + 1));
}

TEST(Pendulum, copiesAndMovesGiveTheSameBits)
{
    PoseSource random(315);
    for (int i = 0; i < 100; ++i) {
        const Inputs inputs = randomInputs(random);
        const Outcome outcome = pendulum(inputs);
        CKorPendulum model;
        prime(model, inputs.parameters);
        CKorPendulum copy(model);
        EXPECT_TRUE(sameOutcome(feed(copy, inputs.sample), outcome));
        CKorPendulum moved(std::move(copy));
        EXPECT_TRUE(sameOutcome(feed(moved, inputs.sample), outcome));
        CKorPendulum assigned;
        assigned = model;
        EXPECT_TRUE(sameOutcome(feed(assigned, inputs.sample), outcome));
        CKorPendulum moveAssigned;
        moveAssigned = std::move(assigned);
        EXPECT_TRUE(sameOutcome(feed(moveAssigned, inputs.sample), outcome));
        EXPECT_TRUE(sameOutcome(feed(model, inputs.sample), outcome));
    }
}

TEST(Pendulum, remembersNothingFromOneSampleToTheNext)
{
    PoseSource random(316);
    CKorPendulum model;
    const Parameters parameters = sound().parameters;
    prime(model, parameters);
    for (int i = 0; i < 500; ++i) {
        Inputs inputs = randomInputs(random);
        if (i % 7 == 0)
            inputs.sample.slots[static_cast<std::size_t>(i % 9)] = std::numeric_limits<double>::quiet_NaN();
        ASSERT_TRUE(sameOutcome(feed(model, inputs.sample), run<CKorPendulum>(parameters, inputs.sample)));
    }
}

// Pins [size-argument-unused].
TEST(Pendulum, writesNineElementsAndNoMoreWhateverTheSize)
{
    for (const int size : {3, 0, -1, 1, 2, 4, 16, 1000}) {
        CKorPendulum model;
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

TEST(Pendulum, addsNoFieldsToTheBase)
{
    EXPECT_EQ(sizeof(CKorPendulum), sizeof(CKorModel));
    EXPECT_TRUE((std::is_base_of_v<CKorModel, CKorPendulum>));
}

} // namespace
