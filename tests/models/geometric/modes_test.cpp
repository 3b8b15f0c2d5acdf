// Through the engine: which model each mount mode gives, and what the engine does with the model's matrix.
#include "Errors.h"
#include "KORInterface/CKor.h"
#include "KORInterface/CKorDualLevel.h"
#include "KORInterface/CKorPendulum.h"
#include "KORInterface/CKorPolarizer.h"
#include "KORInterface/CKorThreeVec.h"
#include "KORInterface/CKorThreeVec2Levelv2.h"
#include "KORInterface/ParameterStore.h"
#include "Literal.h"
#include "Samples.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using namespace kor_test;

enum class Kind { DualLevel, Pendulum, Polarizer, ThreeVec };

const Kind kKinds[] = {Kind::DualLevel, Kind::Pendulum, Kind::Polarizer, Kind::ThreeVec};

Kind kindOf(int mode)
{
    switch (mode) {
    case 1:
    case 2:
        return Kind::DualLevel;
    case 5:
    case 6:
        return Kind::Polarizer;
    case 7:
    case 8:
        return Kind::ThreeVec;
    default:
        return Kind::Pendulum;
    }
}

std::unique_ptr<CKorModel> make(Kind kind)
{
    switch (kind) {
    case Kind::DualLevel:
        return std::make_unique<CKorDualLevel>();
    case Kind::Polarizer:
        return std::make_unique<CKorPolarizer>();
    case Kind::ThreeVec:
        return std::make_unique<CKorThreeVec>();
    default:
        return std::make_unique<CKorPendulum>();
    }
}

// What an engine is given before its mount mode; the encoders have no table and the levels pass almost unchanged.
struct Configured {
    Parameters parameters;
    F_VECTOR2 offset{0.25F, -0.125F};
    Matrix local = kIdentity;
    Matrix machine = kIdentity;
    bool mcs = true;
};

Configured sound()
{
    Configured setup;
    setup.parameters.factors = {0.5F, 0.25F, 0.75F, -0.5F, 1.0F, 1.0F, 1.0F, 5.0F};
    setup.parameters.qvc = {12.5F, -7.25F, 3.5F, 0.5F, -0.25F, 0.75F};
    setup.parameters.level1 = {1, 2, 3, 0.375F, -0.625F, 0.125F, 1.0625F};
    setup.parameters.level2 = {7, 6, 5, 4, 3, 2, 1};
    return setup;
}

void configure(CKor& engine, const Configured& setup)
{
    const float knots[5] = {-60, 60, 0, 0, 0};
    const double coefficients[8] = {-60, 1, 0, 0, 60, 1, 0, 0};
    const double known[3] = {0, 0, 0};
    Matrix machine = setup.machine;
    ASSERT_EQ(engine.setScaleFactors(setup.parameters.factors.data(), 8), 0);
    ASSERT_EQ(engine.setQVCParameters(setup.parameters.qvc.data(), 6), 0);
    ASSERT_EQ(engine.setLevel1Parameters(setup.parameters.level1.data(), 7), 0);
    ASSERT_EQ(engine.setLevel2Parameters(setup.parameters.level2.data(), 7), 0);
    ASSERT_EQ(engine.setLevelXComp(2, knots, coefficients), 0);
    ASSERT_EQ(engine.setLevelYComp(2, knots, coefficients), 0);
    ASSERT_EQ(engine.setEncoderOffset(setup.offset), 0);
    ASSERT_EQ(engine.setTiltOffset({0, 0}), 0);
    ASSERT_EQ(engine.setThermalFactor({0, 1, 0, 1}), 0);
    ASSERT_EQ(engine.setKnownVector(known), 0);
    ASSERT_EQ(engine.setLocalMatrix(setup.local.data(), 3), 0);
    ASSERT_EQ(engine.setMachineMatrix(machine.data(), 3), 0);
    ASSERT_EQ(engine.setMcsFlag(setup.mcs), 0);
}

KOR_RAWINFO raw(double x, double y, double z, double azimuth, double elevation, double levelX, double levelY)
{
    KOR_RAWINFO sample{};
    sample.status = 2;
    sample.sensorVector[0] = static_cast<float>(x);
    sample.sensorVector[1] = static_cast<float>(y);
    sample.sensorVector[2] = static_cast<float>(z);
    sample.azimuthRaw = static_cast<float>(azimuth);
    sample.elevationRaw = static_cast<float>(elevation);
    sample.levelXRaw = static_cast<float>(levelX);
    sample.levelYRaw = static_cast<float>(levelY);
    sample.temperatureCount[0] = 41920 * 20;
    sample.temperatureCount[1] = 41920 * 21;
    sample.temperatureCount[2] = 41920 * 22;
    return sample;
}

KOR_RAWINFO ordinary()
{
    return raw(3000, -2000, 900, 33.0, -12.0, 1.25, 0.75);
}

KOR_RAWINFO randomRaw(PoseSource& random)
{
    const Vector p = random.position(40);
    return raw(p[0], p[1], p[2], random.uniform(-180, 180), random.uniform(-40, 40), random.uniform(-3, 3),
               random.uniform(-3, 3));
}

// What the engine hands to its model, taken from the corrected values that it reports.
Sample modelInput(const Configured& setup, const KOR_RAWINFO& sample, const KOR_INFO& info)
{
    Sample input;
    for (std::size_t i = 0; i < 3; ++i)
        input.slots[i] = static_cast<double>(sample.sensorVector[i]);
    input.slots[3] = static_cast<double>(info.levelX);
    input.slots[4] = static_cast<double>(info.levelY);
    input.slots[5] = static_cast<double>(info.azimuth);
    input.slots[6] = static_cast<double>(info.elevation);
    input.slots[7] = static_cast<double>(info.temperature[0]);
    input.slots[8] = static_cast<double>(info.temperature[2]);
    input.offset1 = static_cast<double>(setup.offset.x);
    input.offset2 = static_cast<double>(setup.offset.y);
    return input;
}

Outcome handMade(Kind kind, int parity, const Configured& setup, const Sample& input)
{
    Parameters parameters = setup.parameters;
    parameters.parity = parity;
    const std::unique_ptr<CKorModel> model = make(kind);
    prime(*model, parameters);
    return feed(*model, input);
}

struct Result {
    KOR_INFO info{};
    Matrix matrix{};
    int code = -1;
};

Result update(CKor& engine, const KOR_RAWINFO& sample)
{
    Result result;
    engine.updateKORData(sample, result.info);
    result.code = engine.ReadMatrix(result.matrix.data());
    return result;
}

// The engine's matrix for a model's matrix, machine coordinates (or modes from 7 on).
Matrix composed(int mode, const Configured& setup, const Matrix& fromModel)
{
    return mode >= 7 ? fromModel : multiply(setup.machine, fromModel);
}

// Every mode of the geometric and polarizer models: the wanted model with the wanted parity, and no other, explains
// what the engine returns.
void expectModel(int mode, int parity)
{
    SCOPED_TRACE("mode " + std::to_string(mode));
    const Configured setup = sound();
    CKor engine;
    configure(engine, setup);
    ASSERT_EQ(engine.setMountMode(mode), 0);
    KOR_RAWINFO sample = ordinary();
    if (mode == 5 || mode == 6) {
        sample.levelXRaw = 4500.0F;
        sample.levelYRaw = 3000.0F; // outside the table: continued by the straight line
    }
    update(engine, sample);
    sample.sensorVector[0] += 10.0F;
    const Result result = update(engine, sample);
    ASSERT_EQ(result.code, 0);
    const Sample input = modelInput(setup, sample, result.info);
    ASSERT_TRUE(
        sameBitsThroughout(result.matrix, composed(mode, setup, handMade(kindOf(mode), parity, setup, input).matrix)));
    for (const Kind kind : kKinds) {
        if (kind != kindOf(mode)) {
            EXPECT_FALSE(
                sameBitsThroughout(result.matrix, composed(mode, setup, handMade(kind, parity, setup, input).matrix)));
        }
    }
    if (kindOf(mode) == Kind::Pendulum || kindOf(mode) == Kind::ThreeVec) {
        EXPECT_FALSE(sameBitsThroughout(
            result.matrix, composed(mode, setup, handMade(kindOf(mode), 1 - parity, setup, input).matrix)));
    }
}

TEST(Modes, oneAndTwoAreDualLevel)
{
    expectModel(1, 1);
    expectModel(2, 0);
}

TEST(Modes, threeAndFourArePendulumWithTheParityOfTheMode)
{
    expectModel(3, 1);
    expectModel(4, 0);
}

TEST(Modes, fiveAndSixArePolarizer)
{
    expectModel(5, 1);
    expectModel(6, 0);
}

TEST(Modes, sevenAndEightAreThreeVectorsWithTheParityOfTheMode)
{
    expectModel(7, 1);
    expectModel(8, 0);
}

TEST(Modes, zeroAndModesAboveTenArePendulum)
{
    expectModel(0, 0);
    expectModel(11, 1);
    expectModel(12, 0);
    expectModel(2147483647, 1);
}

// Pins [parity-of-negative-mode]: a negative odd mode has a negative remainder, which leaves the parity zero.
TEST(Modes, negativeModesArePendulumOfEvenParity)
{
    expectModel(-1, 0);
    expectModel(-2, 0);
    expectModel(-3, 0);
    expectModel(-2147483647 - 1, 0);
}

TEST(Modes, unknownModesAboveTenReportLikeModeSeven)
{
    for (const int mode : {11, 12}) {
        CKor engine;
        const Configured setup = sound();
        configure(engine, setup);
        engine.setMountMode(mode);
        const Result result = update(engine, ordinary());
        // A pendulum has no QVC values: what it leaves untouched is zero.
        for (const float value : result.info.sensorOut)
            EXPECT_EQ(value, 0.0F);
    }
}

TEST(Modes, belowSevenTheSensorVectorIsEchoed)
{
    for (const int mode : {-3, -2, -1, 0, 1, 2, 3, 4, 5, 6}) {
        CKor engine;
        configure(engine, sound());
        engine.setMountMode(mode);
        const Result result = update(engine, ordinary());
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_EQ(result.info.sensorOut[i], ordinary().sensorVector[i]) << mode;
    }
}

TEST(Modes, sevenAndEightReportTheModelsQvcValuesAndKeepTheLevels)
{
    for (const int mode : {7, 8}) {
        CKor engine;
        const Configured setup = sound();
        configure(engine, setup);
        engine.setMountMode(mode);
        PoseSource random(701);
        for (int i = 0; i < 200; ++i) {
            const KOR_RAWINFO sample = randomRaw(random);
            const Result result = update(engine, sample);
            const Outcome outcome = handMade(Kind::ThreeVec, mode % 2, setup, modelInput(setup, sample, result.info));
            for (std::size_t j = 0; j < 3; ++j)
                ASSERT_TRUE(sameBits(result.info.sensorOut[j], outcome.qvc[j]));
            ASSERT_NEAR(result.info.levelX, sample.levelXRaw, 1e-5F);
            ASSERT_NEAR(result.info.levelY, sample.levelYRaw, 1e-5F);
        }
    }
}

// Pins [frames-below-mode-7].
TEST(Modes, sevenAndEightIgnoreMachineAndLocalMatrixAndTheMcsFlag)
{
    for (const int mode : {7, 8}) {
        for (const bool mcs : {true, false}) {
            Configured setup = sound();
            setup.mcs = mcs;
            setup.machine = rotationX(0.3);
            setup.local = rotationZ(0.7);
            CKor engine;
            configure(engine, setup);
            engine.setMountMode(mode);
            update(engine, ordinary());
            const KOR_RAWINFO sample = raw(1000, 4000, -500, 20, 10, 0.5, -1.5);
            const Result result = update(engine, sample);
            const Outcome outcome = handMade(Kind::ThreeVec, mode % 2, setup, modelInput(setup, sample, result.info));
            EXPECT_TRUE(sameBitsThroughout(result.matrix, outcome.matrix));
        }
    }
}

TEST(Modes, machineCoordinatesAreTheMachineMatrixTimesTheModelsMatrix)
{
    for (const int mode : {1, 2, 3, 4, 5, 6, 0, -3}) {
        Configured setup = sound();
        setup.machine = multiply(rotationX(0.3), rotationZ(-1.1));
        setup.local = {2, 0, 0, 0, 3, 0, 0, 0, 4}; // no effect
        CKor engine;
        configure(engine, setup);
        engine.setMountMode(mode);
        PoseSource random(702);
        update(engine, ordinary());
        for (int i = 0; i < 100; ++i) {
            const KOR_RAWINFO sample = randomRaw(random);
            const Result result = update(engine, sample);
            const Outcome outcome =
                handMade(kindOf(mode), mode > 0 ? mode % 2 : 0, setup, modelInput(setup, sample, result.info));
            ASSERT_TRUE(sameBitsThroughout(result.matrix, multiply(setup.machine, outcome.matrix))) << mode;
        }
    }
}

TEST(Modes, localCoordinatesCarryTheTurnSinceTheReferenceIntoTheLocalFrame)
{
    for (const int mode : {1, 2, 3, 4, 5, 6, 0, -3}) {
        Configured setup = sound();
        setup.mcs = false;
        setup.machine = {2, 0, 0, 0, 3, 0, 0, 0, 4}; // no effect
        setup.local = multiply(rotationX(0.3), rotationZ(-1.1));
        CKor engine;
        configure(engine, setup);
        engine.setMountMode(mode);
        const int parity = mode > 0 ? mode % 2 : 0;
        const Result first = update(engine, ordinary());
        Matrix reference = handMade(kindOf(mode), parity, setup, modelInput(setup, ordinary(), first.info)).matrix;
        ASSERT_TRUE(literalInverse(reference));
        Matrix localInverse = setup.local;
        ASSERT_TRUE(literalInverse(localInverse));
        PoseSource random(703);
        for (int i = 0; i < 100; ++i) {
            const KOR_RAWINFO sample = i == 0 ? ordinary() : randomRaw(random);
            const Result result = update(engine, sample);
            const Outcome outcome = handMade(kindOf(mode), parity, setup, modelInput(setup, sample, result.info));
            const Matrix wanted = multiply(setup.local, multiply(outcome.matrix, multiply(reference, localInverse)));
            ASSERT_TRUE(sameBitsThroughout(result.matrix, wanted)) << mode;
            if (i == 0) {
                // The reference itself: no turn.
                EXPECT_TRUE(closeTo(result.matrix, kIdentity, 1e-14));
                for (const float angle : result.info.orientationAngles)
                    EXPECT_NEAR(angle, 0.0F, 1e-10F);
            }
        }
    }
}

TEST(Modes, firstGoodSampleIsTheReferenceAndReportsNoAngles)
{
    for (const int mode : {1, 2, 3, 4, 5, 6, 7, 8}) {
        CKor engine;
        configure(engine, sound());
        engine.setMountMode(mode);
        // Gate too high, hold set, no number: no reference yet, nothing but zeros and the identity.
        for (int i = 0; i < 6; ++i) {
            KOR_RAWINFO sample = ordinary();
            if (i == 0 || i == 3)
                sample.referenceGate = std::nextafter(0.4F, 1.0F);
            if (i == 1 || i == 4)
                sample.referenceHold = i == 1 ? 1 : 255;
            if (i == 2 || i == 5)
                sample.referenceGate = std::numeric_limits<float>::quiet_NaN();
            const Result result = update(engine, sample);
            EXPECT_EQ(result.code, 0);
            EXPECT_TRUE(sameBitsThroughout(result.matrix, kIdentity)) << mode;
            for (const float angle : result.info.orientationAngles)
                EXPECT_EQ(angle, 0.0F);
        }
        KOR_RAWINFO rejected = ordinary();
        rejected.status = 1;
        EXPECT_EQ(update(engine, rejected).code, 554);
        KOR_RAWINFO sample = ordinary();
        sample.referenceGate = 0.4F;
        const Result captured = update(engine, sample);
        EXPECT_TRUE(sameBitsThroughout(captured.matrix, kIdentity));
        for (const float angle : captured.info.orientationAngles)
            EXPECT_EQ(angle, 0.0F);
        // From here on gate and hold have no say.
        sample.referenceGate = 5.0F;
        sample.referenceHold = 1;
        EXPECT_FALSE(sameBitsThroughout(update(engine, sample).matrix, kIdentity)) << mode;
    }
}

TEST(Modes, aRejectedSampleIsZeroWithTheIdentityAndTheNextOneIsGoodAgain)
{
    for (const int mode : {1, 3, 5, 7}) {
        CKor engine;
        configure(engine, sound());
        engine.setMountMode(mode);
        update(engine, ordinary());
        const Result before = update(engine, ordinary());
        KOR_RAWINFO sample = ordinary();
        sample.status = 3;
        const Result rejected = update(engine, sample);
        EXPECT_EQ(rejected.code, 554);
        EXPECT_TRUE(sameBitsThroughout(rejected.matrix, kIdentity));
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(rejected.info.orientationAngles[i], 0.0F);
            EXPECT_EQ(rejected.info.sensorOut[i], 0.0F);
        }
        EXPECT_EQ(rejected.info.azimuth, before.info.azimuth);
        const Result after = update(engine, ordinary());
        EXPECT_EQ(after.code, 0);
        EXPECT_TRUE(sameBitsThroughout(after.matrix, before.matrix));
    }
}

TEST(Modes, aModelThatCannotInvertGivesZerosButAValidMatrixFlag)
{
    for (const int mode : {1, 2, 3, 4}) {
        CKor engine;
        configure(engine, sound());
        engine.setMountMode(mode);
        update(engine, ordinary());
        KOR_RAWINFO sample = ordinary();
        sample.azimuthRaw = std::numeric_limits<float>::quiet_NaN();
        const Result result = update(engine, sample);
        EXPECT_EQ(result.code, 0) << mode;
        EXPECT_TRUE(sameBitsThroughout(result.matrix, kIdentity));
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(result.info.orientationAngles[i], 0.0F);
            EXPECT_EQ(result.info.sensorOut[i], 0.0F);
        }
    }
}

TEST(Modes, laterSamplesNeverChangeEarlierResultsAndStampsAndLimitsNeverMatter)
{
    for (const int mode : {1, 2, 3, 4, 7, 8}) {
        CKor stamped;
        CKor plain;
        configure(stamped, sound());
        configure(plain, sound());
        stamped.setMountMode(mode);
        plain.setMountMode(mode);
        PoseSource random(704);
        for (int i = 0; i < 200; ++i) {
            KOR_RAWINFO sample = randomRaw(random);
            if (i % 10 == 7)
                sample.levelXRaw = 70.0F; // outside the table, which these models do not mind
            const Result a = update(plain, sample);
            if (i % 5 == 3) {
                KOR_RAWINFO bad = sample;
                bad.status = 0;
                update(stamped, bad);
            }
            sample.timeStampMs = 4294967000U + static_cast<std::uint32_t>(i) * 10U;
            const Result b = update(stamped, sample);
            ASSERT_TRUE(sameBitsThroughout(a.matrix, b.matrix)) << mode;
            for (std::size_t j = 0; j < 3; ++j) {
                ASSERT_TRUE(sameBits(a.info.orientationAngles[j], b.info.orientationAngles[j]));
                ASSERT_TRUE(sameBits(a.info.sensorOut[j], b.info.sensorOut[j]));
            }
        }
    }
}

// Pins [kind-of-model-stays]: the kind of the model is fixed by the first mount mode; a later one only changes the
// steps around it.
TEST(Modes, threeThenSevenKeepsThePendulumButReportsLikeModeSeven)
{
    Configured setup = sound();
    setup.machine = rotationX(0.3);
    CKor engine;
    configure(engine, setup);
    engine.setMountMode(3);
    engine.setMountMode(7);
    update(engine, ordinary());
    PoseSource random(705);
    for (int i = 0; i < 100; ++i) {
        const KOR_RAWINFO sample = randomRaw(random);
        const Result result = update(engine, sample);
        const Outcome outcome = handMade(Kind::Pendulum, 1, setup, modelInput(setup, sample, result.info));
        ASSERT_TRUE(sameBitsThroughout(result.matrix, outcome.matrix)); // no machine matrix
        for (const float value : result.info.sensorOut)
            ASSERT_EQ(value, 0.0F);
    }
    // Back below seven the machine matrix and the echo return.
    engine.setMountMode(4);
    const Result result = update(engine, ordinary());
    const Outcome outcome = handMade(Kind::Pendulum, 1, setup, modelInput(setup, ordinary(), result.info));
    EXPECT_TRUE(sameBitsThroughout(result.matrix, multiply(setup.machine, outcome.matrix)));
    EXPECT_EQ(result.info.sensorOut[0], ordinary().sensorVector[0]);
}

// Pins [parity-stays].
TEST(Modes, parityStaysThatOfTheFirstMode)
{
    for (const int first : {3, 4, 7, 8}) {
        const int second = first % 2 == 1 ? first + 1 : first - 1;
        const Configured setup = sound();
        CKor engine;
        configure(engine, setup);
        engine.setMountMode(first);
        engine.setMountMode(second);
        update(engine, ordinary());
        const Result result = update(engine, ordinary());
        const Outcome outcome = handMade(kindOf(first), first % 2, setup, modelInput(setup, ordinary(), result.info));
        EXPECT_TRUE(sameBitsThroughout(result.matrix, composed(second, setup, outcome.matrix))) << first;
    }
}

TEST(Modes, sevenThenThreeKeepsTheThreeVectorModelInMachineCoordinates)
{
    Configured setup = sound();
    setup.machine = rotationX(0.3);
    CKor engine;
    configure(engine, setup);
    engine.setMountMode(7);
    engine.setMountMode(3);
    update(engine, ordinary());
    const Result result = update(engine, ordinary());
    const Outcome outcome = handMade(Kind::ThreeVec, 1, setup, modelInput(setup, ordinary(), result.info));
    EXPECT_TRUE(sameBitsThroughout(result.matrix, multiply(setup.machine, outcome.matrix)));
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(result.info.sensorOut[i], ordinary().sensorVector[i]);
}

TEST(Modes, aModeChangeToFiveMakesLevelXTheRatioForTheOldModel)
{
    const Configured setup = sound();
    CKor engine;
    configure(engine, setup);
    engine.setMountMode(1);
    engine.setMountMode(5);
    KOR_RAWINFO sample = ordinary();
    sample.levelXRaw = 3000.0F;
    sample.levelYRaw = 2000.5F;
    EXPECT_NEAR(update(engine, sample).info.levelX, 3000.0F / 2000.5F, 1e-5F);
    sample.levelYRaw = 2000.0F;
    EXPECT_NEAR(update(engine, sample).info.levelX, 0.0F, 1e-5F);
    sample.levelYRaw = 1.0F;
    const Result result = update(engine, sample);
    EXPECT_NEAR(result.info.levelX, 0.0F, 1e-5F);
    const Outcome outcome = handMade(Kind::DualLevel, 1, setup, modelInput(setup, sample, result.info));
    EXPECT_TRUE(sameBitsThroughout(result.matrix, multiply(kIdentity, outcome.matrix)));
}

TEST(Modes, parametersReachTheModelWithTheNextMountModeOnly)
{
    for (const int mode : {1, 3, 7}) {
        Configured setup = sound();
        CKor engine;
        configure(engine, setup);
        engine.setMountMode(mode);
        update(engine, ordinary());
        const Result before = update(engine, ordinary());
        Configured changed = setup;
        changed.parameters.factors[0] = 1.25F;
        changed.parameters.factors[3] = 1.5F;
        changed.parameters.qvc[4] = 2.5F;
        changed.parameters.level1[5] = -1.0F;
        engine.setScaleFactors(changed.parameters.factors.data(), 8);
        engine.setQVCParameters(changed.parameters.qvc.data(), 6);
        engine.setLevel1Parameters(changed.parameters.level1.data(), 7);
        EXPECT_TRUE(sameBitsThroughout(update(engine, ordinary()).matrix, before.matrix)) << mode;
        engine.setMountMode(mode);
        const Result after = update(engine, ordinary());
        const Outcome outcome = handMade(kindOf(mode), mode % 2, changed, modelInput(changed, ordinary(), after.info));
        EXPECT_TRUE(sameBitsThroughout(after.matrix, composed(mode, changed, outcome.matrix))) << mode;
    }
}

TEST(Modes, groupsNeverSetPrimeTheModelWithZeros)
{
    Configured setup = sound();
    CKor engine;
    configure(engine, setup);
    CKor bare;
    const float knots[5] = {-60, 60, 0, 0, 0};
    const double coefficients[8] = {-60, 1, 0, 0, 60, 1, 0, 0};
    bare.setLevelXComp(2, knots, coefficients);
    bare.setLevelYComp(2, knots, coefficients);
    bare.setEncoderOffset(setup.offset);
    bare.setTiltOffset({0, 0});
    bare.setThermalFactor({0, 1, 0, 1});
    bare.setScaleFactors(setup.parameters.factors.data(), 8);
    bare.setMountMode(8);
    update(bare, ordinary());
    const Result result = update(bare, ordinary());
    setup.parameters.qvc = {};
    setup.parameters.level1 = {};
    const Outcome outcome = handMade(Kind::ThreeVec, 0, setup, modelInput(setup, ordinary(), result.info));
    EXPECT_TRUE(sameBitsThroughout(result.matrix, outcome.matrix));
}

// Rotation from the reported angles, first about x, second about z, third about y.
Matrix rebuilt(const KOR_INFO& info, bool local)
{
    const double k = kExactPi / 180.0;
    const Matrix x = rotationX(static_cast<double>(info.orientationAngles[0]) * k);
    const Matrix z = rotationZ(static_cast<double>(info.orientationAngles[1]) * k);
    const Matrix y = rotationY(static_cast<double>(info.orientationAngles[2]) * k);
    return local ? multiply(multiply(z, y), x) : multiply(multiply(x, y), z);
}

TEST(Modes, reportedAnglesRebuildTheMatrixOfEveryMode)
{
    for (const int mode : {1, 2, 3, 4, 5, 6, 7, 8}) {
        for (const bool mcs : {true, false}) {
            Configured setup = sound();
            setup.mcs = mcs;
            setup.machine = multiply(rotationX(0.2), rotationZ(1.1));
            setup.local = multiply(rotationZ(0.4), rotationY(0.3));
            CKor engine;
            configure(engine, setup);
            engine.setMountMode(mode);
            PoseSource random(706);
            update(engine, ordinary());
            Errors errors;
            for (int i = 0; i < 2000; ++i) {
                const Result result = update(engine, randomRaw(random));
                if (anyNan(result.matrix))
                    continue;
                errors.add(angleBetween(rebuilt(result.info, mode < 7 && !mcs), result.matrix));
                const float a0 = result.info.orientationAngles[0];
                const float a2 = result.info.orientationAngles[2];
                if (mode >= 7) {
                    ASSERT_LE(std::abs(a0), 90.0001F);
                } else {
                    ASSERT_LE(std::abs(a2), mcs ? 90.0001F : 180.0F);
                }
            }
            EXPECT_GT(errors.count(), 1500U);
            EXPECT_LT(errors.median(), 5e-6) << mode;
            EXPECT_LT(errors.worst(), 6e-5) << mode;
        }
    }
}

float degreesOf(float radians)
{
    return static_cast<float>(static_cast<double>(radians) * 57.29577951308);
}

TEST(Modes, sevenAndEightTakeTheirAnglesWithTheFirstWithinARightAngle)
{
    int flipped = 0;
    for (const int mode : {7, 8}) {
        CKor engine;
        configure(engine, sound());
        engine.setMountMode(mode);
        PoseSource random(707);
        update(engine, ordinary());
        for (int i = 0; i < 2000; ++i) {
            KOR_RAWINFO sample = randomRaw(random);
            sample.elevationRaw = static_cast<float>(random.uniform(-180, 180));
            const Result result = update(engine, sample);
            const Matrix& R = result.matrix;
            const auto third = [&R](float first) {
                return static_cast<float>(std::atan2(R[2], static_cast<double>(std::cos(first)) * R[8] -
                                                               static_cast<double>(std::sin(first)) * R[5]));
            };
            float first = static_cast<float>(std::atan2(-R[5], R[8]));
            float second = static_cast<float>(std::atan2(-R[1], R[0]));
            float last = third(first);
            if (static_cast<double>(first) > 1.570796326795 || static_cast<double>(first) < -1.570796326795) {
                ++flipped;
                first = static_cast<float>(std::atan2(R[5], -R[8]));
                second = static_cast<float>(std::atan2(R[1], -R[0]));
                last = third(first);
            }
            ASSERT_TRUE(sameBits(result.info.orientationAngles[0], degreesOf(first)));
            ASSERT_TRUE(sameBits(result.info.orientationAngles[1], degreesOf(second)));
            ASSERT_TRUE(sameBits(result.info.orientationAngles[2], degreesOf(last)));
        }
    }
    EXPECT_GT(flipped, 100);
}

// A sensor at a pose, its readings rounded to the record's floats, through the whole engine.
Errors loopErrors(int mode, unsigned int seed)
{
    Configured setup;
    setup.parameters = Parameters{};
    setup.parameters.parity = mode % 2;
    setup.parameters.factors = {0, 0, 0, 0, 1, 1, 1, 0};
    setup.parameters.level1[6] = 1.0F;
    if (kindOf(mode) == Kind::Pendulum)
        setup.parameters.factors = {0.5F, 0.25F, 1.5F, -2.0F, 1, 1, 1, 0};
    setup.machine = multiply(rotationX(0.3), rotationZ(-1.1));
    CKor engine;
    configure(engine, setup);
    engine.setMountMode(mode);
    PoseSource random(seed);
    Errors errors;
    while (errors.count() < 2000) {
        Pose pose = random.tilted(0.05, 5, 30);
        for (double& component : pose.position)
            component = static_cast<double>(static_cast<float>(component));
        const double o1 = static_cast<double>(setup.offset.x);
        const double o2 = static_cast<double>(setup.offset.y);
        const Reading reading = kindOf(mode) == Kind::DualLevel ? readDualLevel(pose, setup.parameters, o1, o2)
                                : kindOf(mode) == Kind::Pendulum
                                    ? readPendulum(pose, setup.parameters, o1, o2)
                                    : readThreeVec(pose, setup.parameters, o1, o2, {0, 0, mode == 7 ? 1.0 : -1.0});
        const std::array<double, 9>& s = reading.sample.slots;
        if (kindOf(mode) == Kind::DualLevel && s[2] * s[4] < 0)
            continue;
        const Result result = update(engine, raw(s[0], s[1], s[2], s[5], s[6], s[3], s[4]));
        if (result.info.orientationAngles[0] == 0.0F)
            continue; // the reference
        if (!anyNan(result.matrix))
            errors.add(angleBetween(result.matrix, composed(mode, setup, pose.base)));
    }
    return errors;
}

TEST(Modes, wholeEngineRecoversTheBaseToThePrecisionOfTheRecord)
{
    for (const int mode : {1, 2, 7, 8}) {
        const Errors errors = loopErrors(mode, 708);
        // Single-precision degrees up to 180 round by 7.6e-6.
        EXPECT_LT(errors.median(), 6e-6) << mode;
        EXPECT_GT(errors.median(), 1e-7) << mode;
        EXPECT_LT(errors.worst(), 4e-5) << mode;
    }
}

TEST(Modes, wholeEngineRecoversThePendulumsBaseToItsTolerance)
{
    for (const int mode : {3, 4, 0, 12}) {
        const Errors errors = loopErrors(mode, 709);
        EXPECT_LT(errors.median(), 1e-3) << mode;
        EXPECT_LT(errors.worst(), 1.3e-3) << mode;
    }
}

// Detector readings move the two tilt angles of the line of sight.
class Detector {
public:
    Detector(int first, int second, int divisor, const float* a, const float* b)
    {
        m_first = divisor == 0 ? 0.0F : static_cast<float>(first) / static_cast<float>(divisor);
        m_second = divisor == 0 ? 0.0F : static_cast<float>(second) / static_cast<float>(divisor);
        m_a = a;
        m_b = b;
    }
    std::array<float, 6> adjusted(std::array<float, 6> qvc) const
    {
        qvc[3] = ((m_a[1] * m_a[2]) * m_second + (m_a[1] * m_first + m_a[0])) + qvc[3];
        qvc[4] = qvc[4] - ((m_b[1] * m_b[2]) * m_first + (m_b[1] * m_second + m_b[0]));
        return qvc;
    }

private:
    float m_first;
    float m_second;
    const float* m_a;
    const float* m_b;
};

const float kDynamic[7] = {0.5F, 0.1F, 0.2F, 0.3F, 1, 2, 3};

TEST(Modes, filledStoreMovesTheLineOfSightByTheDetectorInSinglePrecision)
{
    PoseSource random(710);
    for (int i = 0; i < 400; ++i) {
        const int mode = 7 + i % 2;
        Configured setup = sound();
        float a[3];
        float b[3];
        for (std::size_t j = 0; j < 3; ++j) {
            a[j] = static_cast<float>(random.uniform(-1.5, 1.5));
            b[j] = static_cast<float>(random.uniform(-1.5, 1.5));
        }
        const int first = static_cast<int>(random.uniform(-100000, 100000));
        const int second = static_cast<int>(random.uniform(-100000, 100000));
        const int divisor = i % 5 == 0 ? 0 : static_cast<int>(random.uniform(50000, 100000));
        CKor engine;
        configure(engine, setup);
        ASSERT_EQ(LoadParameterStore(engine, kDynamic, a, b), 0);
        engine.setMountMode(mode);
        ASSERT_EQ(engine.setPSDParameters(first, second, divisor), 0);
        update(engine, ordinary());
        // Several samples: the parameters themselves are not moved, so nothing adds up.
        for (int again = 0; again < 3; ++again) {
            const Result result = update(engine, ordinary());
            Configured moved = setup;
            moved.parameters.qvc = Detector(first, second, divisor, a, b).adjusted(setup.parameters.qvc);
            const Outcome outcome =
                handMade(Kind::ThreeVec, mode % 2, moved, modelInput(setup, ordinary(), result.info));
            ASSERT_TRUE(sameBitsThroughout(result.matrix, outcome.matrix));
            for (std::size_t j = 0; j < 3; ++j)
                ASSERT_TRUE(sameBits(result.info.sensorOut[j], outcome.qvc[j]));
        }
    }
}

TEST(Modes, detectorCountsAreNarrowedToSinglePrecisionBeforeTheyAreDivided)
{
    const float a[3] = {0.0F, 1.0F, 0.0F};
    const float b[3] = {0.0F, 1.0F, 0.0F};
    Configured setup = sound();
    CKor engine;
    configure(engine, setup);
    LoadParameterStore(engine, kDynamic, a, b);
    engine.setMountMode(8);
    for (const int divisor : {16777217, 33554435, 100000007, -16777219, 1, -2147483647 - 1}) {
        const int first = divisor > 1 ? 16777219 : 2;
        const int second = divisor > 1 ? -33554433 : 1;
        engine.setPSDParameters(first, second, divisor);
        update(engine, ordinary());
        const Result result = update(engine, ordinary());
        Configured moved = setup;
        moved.parameters.qvc = Detector(first, second, divisor, a, b).adjusted(setup.parameters.qvc);
        const Outcome outcome = handMade(Kind::ThreeVec, 0, moved, modelInput(setup, ordinary(), result.info));
        EXPECT_TRUE(sameBitsThroughout(result.matrix, outcome.matrix)) << divisor;
    }
}

TEST(Modes, aDetectorDivisorOfZeroLeavesOnlyTheConstantTerms)
{
    const float a[3] = {0.5F, 7.0F, 9.0F};
    const float b[3] = {0.25F, 7.0F, 9.0F};
    Configured setup = sound();
    CKor engine;
    configure(engine, setup);
    LoadParameterStore(engine, kDynamic, a, b);
    engine.setMountMode(8);
    engine.setPSDParameters(1234, 5678, 0);
    update(engine, ordinary());
    const Result result = update(engine, ordinary());
    Configured moved = setup;
    moved.parameters.qvc[3] += 0.5F;
    moved.parameters.qvc[4] -= 0.25F;
    const Outcome outcome = handMade(Kind::ThreeVec, 0, moved, modelInput(setup, ordinary(), result.info));
    EXPECT_TRUE(sameBitsThroughout(result.matrix, outcome.matrix));
}

TEST(Modes, anEmptyStoreLeavesTheLineOfSightAlone)
{
    const Configured setup = sound();
    CKor engine;
    configure(engine, setup);
    engine.setMountMode(7);
    engine.setPSDParameters(1234, 5678, 100);
    update(engine, ordinary());
    const Result result = update(engine, ordinary());
    const Outcome outcome = handMade(Kind::ThreeVec, 1, setup, modelInput(setup, ordinary(), result.info));
    EXPECT_TRUE(sameBitsThroughout(result.matrix, outcome.matrix));
}

TEST(Modes, belowSevenTheDetectorNeverReachesAThreeVectorModel)
{
    const float a[3] = {0.5F, 1.0F, 1.0F};
    const float b[3] = {0.25F, 1.0F, 1.0F};
    const Configured setup = sound();
    CKor engine;
    configure(engine, setup);
    LoadParameterStore(engine, kDynamic, a, b);
    engine.setMountMode(7);
    engine.setMountMode(1);
    engine.setPSDParameters(10, 20, 30);
    update(engine, ordinary());
    const Result result = update(engine, ordinary());
    const Outcome outcome = handMade(Kind::ThreeVec, 1, setup, modelInput(setup, ordinary(), result.info));
    EXPECT_TRUE(sameBitsThroughout(result.matrix, multiply(kIdentity, outcome.matrix)));
}

TEST(Modes, qvcParametersSetWhileRunningTakeEffectWithAFilledStoreOnly)
{
    const float zero[3] = {0, 0, 0};
    for (const bool filled : {true, false}) {
        Configured setup = sound();
        CKor engine;
        configure(engine, setup);
        if (filled) {
            LoadParameterStore(engine, kDynamic, zero, zero);
        }
        engine.setMountMode(8);
        update(engine, ordinary());
        Configured changed = setup;
        changed.parameters.qvc = {1, 2, 3, 4, 5, 6};
        engine.setQVCParameters(changed.parameters.qvc.data(), 6);
        const Result result = update(engine, ordinary());
        const Outcome outcome =
            handMade(Kind::ThreeVec, 0, filled ? changed : setup, modelInput(setup, ordinary(), result.info));
        EXPECT_TRUE(sameBitsThroughout(result.matrix, outcome.matrix)) << filled;
    }
}

// The two-level model keeps values for the whole process: each of these tests has a process of its own.

TEST(ModesTwoLevel, firstCallSucceedsWithAZeroMatrix)
{
    CKorThreeVec2Levelv2 model;
    prime(model, sound().parameters);
    model.SetLevelLimits(false, false);
    model.SetCounter(1, 1);
    model.SetTimeInterval(0.0, 0.0);
    Sample sample;
    sample.slots = {3000.0, -2000.0, 900.0, 1.25, 0.75, 33.0, -12.0, 20.5, 21.5};
    const Outcome outcome = feed(model, sample);
    EXPECT_TRUE(outcome.ok);
    for (const double element : outcome.matrix)
        EXPECT_EQ(element, 0.0);
}

// With both levels in range the first call of an engine is the reference, a repeated time stamp returns the zero
// matrix again, and a new one waits for the filters: no other model does so.
void expectTwoLevel(int mode)
{
    CKor engine;
    configure(engine, sound());
    ASSERT_EQ(engine.setMountMode(mode), 0);
    KOR_RAWINFO sample = ordinary();
    sample.timeStampMs = 5000;
    const Result first = update(engine, sample);
    EXPECT_EQ(first.code, 0);
    EXPECT_TRUE(sameBitsThroughout(first.matrix, kIdentity));
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(first.info.orientationAngles[i], 0.0F);

    const Result repeated = update(engine, sample);
    EXPECT_EQ(repeated.code, 0);
    for (const double element : repeated.matrix)
        EXPECT_EQ(element, 0.0);

    // Ten milliseconds on: elapsed seconds differ, a sample is due, and the gate is closed.
    sample.timeStampMs += 10;
    const Result gated = update(engine, sample);
    EXPECT_EQ(gated.code, 0);
    EXPECT_TRUE(sameBitsThroughout(gated.matrix, kIdentity));
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(gated.info.orientationAngles[i], 0.0F);
        EXPECT_EQ(gated.info.sensorOut[i], 0.0F);
    }
}

TEST(ModesTwoLevel, nineIsTheSecondTwoLevelModel)
{
    expectTwoLevel(9);
}

TEST(ModesTwoLevel, tenIsTheSecondTwoLevelModel)
{
    expectTwoLevel(10);
}

TEST(ModesTwoLevel, aRejectedSampleRestartsTheRunClock)
{
    CKor engine;
    configure(engine, sound());
    engine.setMountMode(10);
    KOR_RAWINFO sample = ordinary();
    sample.timeStampMs = 5000;
    update(engine, sample);
    sample.status = 1;
    sample.timeStampMs = 7000;
    EXPECT_EQ(update(engine, sample).code, 554);
    // A later stamp, but zero seconds into its own run: not a new sample for the model.
    sample.status = 2;
    sample.timeStampMs = 9000;
    const Result result = update(engine, sample);
    EXPECT_EQ(result.code, 0);
    for (const double element : result.matrix)
        EXPECT_EQ(element, 0.0);
}

TEST(ModesTwoLevel, aRunClockSurvivesTheWrapOfTheStamp)
{
    CKor engine;
    configure(engine, sound());
    engine.setMountMode(10);
    KOR_RAWINFO sample = ordinary();
    sample.timeStampMs = 4294967291U; // five before the wrap
    update(engine, sample);
    const Result repeated = update(engine, sample);
    for (const double element : repeated.matrix)
        EXPECT_EQ(element, 0.0);
    sample.timeStampMs = 5U; // ten milliseconds on
    EXPECT_TRUE(sameBitsThroughout(update(engine, sample).matrix, kIdentity));
}

TEST(ModesTwoLevel, bothLevelsOutOfRangeGiveNoMatrixButAValidFlag)
{
    CKor engine;
    configure(engine, sound());
    engine.setMountMode(9);
    KOR_RAWINFO sample = ordinary();
    sample.levelXRaw = 70.0F;
    sample.levelYRaw = -70.0F;
    for (int i = 0; i < 3; ++i) {
        const Result result = update(engine, sample);
        EXPECT_EQ(result.code, 0);
        EXPECT_TRUE(sameBitsThroughout(result.matrix, kIdentity));
        for (std::size_t j = 0; j < 3; ++j)
            EXPECT_EQ(result.info.sensorOut[j], 0.0F);
    }
}

} // namespace
