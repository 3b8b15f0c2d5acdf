// Corrections and bookkeeping of one sample: levels, encoders, temperatures, status, reference.
#include "engine/engine_pair.h"

#include "mek/Spline.h"

#include <climits>
#include <cmath>

namespace kor_test {
namespace {

float above(float value)
{
    return std::nextafter(value, kInfinite);
}
float below(float value)
{
    return std::nextafter(value, -kInfinite);
}

// Result record --------------------------------------------------------------------------------------------------

TEST(ResultRecord, everyReservedByteIsZeroOnEveryCall)
{
    EnginePair pair(5);
    for (const int status : {2, 1, 2, 2}) {
        KOR_RAWINFO raw = plainSample();
        raw.status = status;
        raw.reserved0 = -1;
        raw.reserved44 = -1;
        const KOR_INFO info = feed(pair.engine, raw);
        EXPECT_EQ(info.reserved0, 0);
        EXPECT_EQ(info.reserved32, 0);
    }
}

TEST(ResultRecord, aRejectedSampleOfZerosIsZeroThroughout)
{
    CKor engine;
    configurePlainly(engine, 5);
    KOR_RAWINFO raw = plainSample();
    raw.status = 0;
    EXPECT_TRUE(isAllZero(feed(engine, raw)));
}

TEST(RawRecord, spareFieldsAreNotRead)
{
    EnginePair pair(5);
    pair.machineMatrix(rotationX(0.5));
    KOR_RAWINFO raw = plainSample();
    raw.levelXRaw = 2.0F;
    raw.azimuthRaw = 15.0F;
    pair.feedBoth(raw);
    const KOR_INFO wanted = pair.feedBoth(raw);
    raw.reserved0 = 0x7FC00000;
    raw.reserved44 = -5;
    raw.reserved49[0] = 1;
    raw.reserved49[1] = 2;
    raw.reserved49[2] = 255;
    EXPECT_TRUE(sameResult(feed(pair.engine, raw), wanted));

    CKor fresh;
    configurePlainly(fresh, 5);
    fresh.setMachineMatrix(pair.literal.machine.data(), 3);
    feed(fresh, raw); // the padding behind the hold flag does not hold the reference back
    EXPECT_TRUE(sameResult(feed(fresh, raw), wanted));
}

// Levels ---------------------------------------------------------------------------------------------------------

KOR_RAWINFO levels(float x, float y)
{
    KOR_RAWINFO raw = plainSample();
    raw.levelXRaw = x;
    raw.levelYRaw = y;
    return raw;
}

// Pins [level-ratio].
TEST(LevelRatio, atExactly2000TheInputIsZero)
{
    for (const int mode : {5, 6}) {
        EnginePair pair(mode);
        EXPECT_EQ(pair.feedBoth(levels(500.0F, 2000.0F)).levelX, 0.0F);
        EXPECT_EQ(pair.feedBoth(levels(500.0F, -2000.0F)).levelX, 0.0F);
        EXPECT_EQ(pair.feedBoth(levels(500.0F, below(2000.0F))).levelX, 0.0F);
        EXPECT_EQ(pair.feedBoth(levels(500.0F, above(2000.0F))).levelX, 500.0F / above(2000.0F));
        EXPECT_EQ(pair.feedBoth(levels(500.0F, below(-2000.0F))).levelX, 500.0F / below(-2000.0F));
    }
}

TEST(LevelRatio, aDenominatorThatIsNoNumberGivesZero)
{
    EnginePair pair(5);
    EXPECT_EQ(pair.feedBoth(levels(500.0F, kNoNumber)).levelX, 0.0F);
    EXPECT_EQ(pair.feedBoth(levels(500.0F, kInfinite)).levelX, 0.0F);
    EXPECT_TRUE(std::isnan(pair.feedBoth(levels(kInfinite, kInfinite)).levelX));
    EXPECT_EQ(pair.feedBoth(levels(kNoNumber, 1.0F)).levelX, 0.0F);
}

TEST(LevelRatio, isDividedInSinglePrecision)
{
    EnginePair pair(6);
    EXPECT_EQ(pair.feedBoth(levels(1.0F, 3000.0F)).levelX, 1.0F / 3000.0F);
}

TEST(LevelRatio, isFormedInModes5And6Only)
{
    for (const int mode : {1, 2, 3, 4, 7, 8, 0, -5, -6, 11, 15}) {
        EnginePair pair(mode);
        EXPECT_EQ(pair.feedBoth(levels(500.0F, 4000.0F)).levelX, 500.0F) << mode;
    }
}

// Pins [level-ratio].
TEST(LevelRatio, levelYPassesRawInEveryMode)
{
    for (const int mode : {1, 3, 5, 6, 8}) {
        EnginePair pair(mode);
        EXPECT_EQ(pair.feedBoth(levels(500.0F, 4000.0F)).levelY, 4000.0F) << mode;
    }
}

TEST(LevelCorrection, isTheSplineMinusTheOffsetTimesTheThermalFactor)
{
    EnginePair pair(1);
    std::vector<float> knots = {-8, -3, 1, 6, -8, 6, 0};
    const std::array<float, 4> corrections = {-7.5F, -3.25F, 1.5F, 5.75F};
    std::vector<double> coefficients(16, 0.0);
    mek::CubicSplines(knots.data(), corrections.data(), 3, coefficients.data());
    pair.levelX(knots, coefficients);
    pair.levelY(knots, coefficients);
    pair.tiltOffset({0.3F, -0.7F});
    pair.thermal({0.011F, 0.9F, -0.013F, 1.1F});
    for (const float x : {-20.0F, -8.0F, below(-8.0F), -5.5F, -3.0F, 0.1F, 1.0F, 5.9F, 6.0F, above(6.0F), 30.0F}) {
        for (const float t : {0.0F, 21.7F, -40.3F}) {
            KOR_RAWINFO raw = levels(x, x / 2);
            raw.levelTemperature = t;
            const KOR_INFO info = pair.feedBoth(raw);
            bool out = false;
            const float spline = mek::CalcSpline(true, knots.data(), coefficients.data(), 3, x, &out);
            const float gain = static_cast<float>(0.011F * t) + 0.9F;
            EXPECT_TRUE(sameBits(info.levelX, (spline - 0.3F) * gain));
        }
    }
}

TEST(LevelCorrection, theLevelsUseTablesOffsetsAndFactorsOfTheirOwn)
{
    EnginePair pair(1);
    pair.levelX({-8, 6, -8, 6, 0}, {-7, 1, 0, 0, 7, 1, 0, 0});
    pair.levelY({-8, 6, -8, 6, 0}, {-6, 1, 0, 0, 8, 1, 0, 0});
    pair.tiltOffset({10, 20});
    pair.thermal({1, 2, 3, 4});
    KOR_RAWINFO raw = levels(1, 2);
    raw.levelTemperature = 5;
    const KOR_INFO info = pair.feedBoth(raw);
    EXPECT_EQ(info.levelX, (1.0F + 1 - 10) * (1 * 5 + 2));
    EXPECT_EQ(info.levelY, (2.0F + 2 - 20) * (3 * 5 + 4));
}

// Encoders -------------------------------------------------------------------------------------------------------

TEST(Encoders, eachAxisUsesItsOwnTable)
{
    EnginePair pair(5);
    pair.azimuth({0, 1, 180, 1});
    pair.elevation({0, 2, 180, 2});
    KOR_RAWINFO raw = plainSample();
    raw.azimuthRaw = 30.0F;
    raw.elevationRaw = 40.0F;
    const KOR_INFO info = pair.feedBoth(raw);
    EXPECT_EQ(info.azimuth, 31.0F);
    EXPECT_EQ(info.elevation, 42.0F);
}

TEST(Encoders, theCalibratedAnglesReachTheModel)
{
    EnginePair pair(5);
    pair.azimuth({0, 30, 180, 30});
    pair.elevation({0, 0.5F, 180, 0.5F});
    pair.feedBoth(plainSample());
    pair.feedBoth(plainSample());
    EXPECT_TRUE(within(readMatrix(pair.engine)[0], std::cos(30.0 * 0.01745329251994), 1e-15));
    EXPECT_TRUE(within(readMatrix(pair.engine)[8], std::cos(0.5 * 0.01745329251994), 1e-15));
}

// Temperatures ---------------------------------------------------------------------------------------------------

float temperatureOf(std::int32_t count)
{
    EnginePair pair(5);
    KOR_RAWINFO raw = plainSample();
    for (std::int32_t& c : raw.temperatureCount) {
        c = count;
    }
    const KOR_INFO info = pair.feedBoth(raw);
    EXPECT_EQ(info.temperature[0], info.temperature[1]);
    EXPECT_EQ(info.temperature[0], info.temperature[2]);
    return info.temperature[0];
}

// Pins [temperature-sign].
TEST(Temperatures, countsUpToTwoToThe23StayPositive)
{
    EXPECT_EQ(temperatureOf(0), 0.0F);
    EXPECT_EQ(temperatureOf(41920), 1.0F);
    EXPECT_EQ(temperatureOf(8388607), 8388607.0F / 41920.0F);
    EXPECT_EQ(temperatureOf(8388608), 8388608.0F / 41920.0F);
}

TEST(Temperatures, countsAboveTwoToThe23AreNegative)
{
    EXPECT_EQ(temperatureOf(8388609), -8388607.0F / 41920.0F);
    EXPECT_EQ(temperatureOf(16777215), -1.0F / 41920.0F);
    EXPECT_EQ(temperatureOf(16777216), 0.0F);
}

TEST(Temperatures, theExtremesOf32BitsStayWhatTheyAre)
{
    EXPECT_EQ(temperatureOf(-1), -1.0F / 41920.0F);
    EXPECT_EQ(temperatureOf(INT32_MIN), -2147483648.0F / 41920.0F);
    EXPECT_EQ(temperatureOf(INT32_MAX), static_cast<float>(2147483647.0 - 16777216.0) / 41920.0F);
}

TEST(Temperatures, areDividedInSinglePrecisionAndReportedInOrder)
{
    EnginePair pair(5);
    KOR_RAWINFO raw = plainSample();
    raw.temperatureCount[0] = 1000001;
    raw.temperatureCount[1] = 2000003;
    raw.temperatureCount[2] = 16000007;
    const KOR_INFO info = pair.feedBoth(raw);
    EXPECT_EQ(info.temperature[0], 1000001.0F / 41920.0F);
    EXPECT_EQ(info.temperature[1], 2000003.0F / 41920.0F);
    EXPECT_EQ(info.temperature[2], -777209.0F / 41920.0F);
}

// Status ---------------------------------------------------------------------------------------------------------

TEST(Status, onlyTwoIsValid)
{
    EnginePair pair(5);
    pair.machineMatrix(rotationX(0.5));
    pair.feedBoth(plainSample());
    for (const int status : {0, 1, 3, -1, -2, 4, 0x102, 0x20000, INT_MIN, INT_MAX}) {
        KOR_RAWINFO raw = plainSample();
        raw.status = status;
        raw.levelXRaw = 1.0F;
        raw.levelYRaw = 2500.0F;
        raw.azimuthRaw = 3.0F;
        raw.elevationRaw = 4.0F;
        raw.temperatureCount[1] = 41920;
        const KOR_INFO info = pair.feedBoth(raw);
        EXPECT_EQ(info.orientationAngles[0], 0.0F) << status;
        EXPECT_EQ(info.sensorOut[1], 0.0F) << status;
        EXPECT_EQ(info.levelX, 1.0F / 2500.0F) << "corrected all the same";
        EXPECT_EQ(info.levelY, 2500.0F);
        EXPECT_EQ(info.azimuth, 3.0F);
        EXPECT_EQ(info.elevation, 4.0F);
        EXPECT_EQ(info.temperature[1], 1.0F);
        Matrix matrix{};
        EXPECT_EQ(pair.engine.ReadMatrix(matrix.data()), 554);
        EXPECT_TRUE(sameBitsThroughout(matrix, kIdentity)) << "a rejected sample resets the matrix";
    }
    const KOR_INFO info = pair.feedBoth(plainSample());
    EXPECT_NE(info.orientationAngles[0], 0.0F) << "the reference outlives rejected samples";
}

// Pins [matrix-of-valid-status].
TEST(Status, theRefusalByTheModelZeroesAnglesAndSensorOutButKeepsTheMatrixValid)
{
    // Without tables both levels are out of range, and the two-level model has nothing to work with.
    CKor engine;
    configurePlainly(engine, 10);
    KOR_RAWINFO raw = plainSample();
    raw.levelXRaw = 1.0F;
    raw.azimuthRaw = 3.0F;
    raw.temperatureCount[2] = 41920;
    for (int i = 0; i < 3; ++i) {
        const KOR_INFO info = feed(engine, raw);
        EXPECT_EQ(info.levelX, 1.0F);
        EXPECT_EQ(info.azimuth, 3.0F);
        EXPECT_EQ(info.temperature[2], 1.0F);
        for (int j = 0; j < 3; ++j) {
            EXPECT_EQ(info.sensorOut[j], 0.0F);
            EXPECT_EQ(info.orientationAngles[j], 0.0F);
        }
        Matrix matrix{};
        EXPECT_EQ(engine.ReadMatrix(matrix.data()), 0) << "valid although the model returned false";
        EXPECT_TRUE(sameBitsThroughout(matrix, kIdentity));
    }
}

// Reference ------------------------------------------------------------------------------------------------------

// Feeds one sample and tells whether it became the reference: a further sample then reports angles.
bool captures(const KOR_RAWINFO& raw)
{
    EnginePair pair(5);
    pair.machineMatrix(rotationX(0.5));
    const KOR_INFO own = pair.feedBoth(raw);
    EXPECT_EQ(own.orientationAngles[0], 0.0F) << "the reference itself reports no angles";
    EXPECT_TRUE(sameBitsThroughout(readMatrix(pair.engine), kIdentity));
    KOR_RAWINFO later = plainSample();
    later.referenceHold = 1; // so that the later sample cannot become the reference itself
    return pair.feedBoth(later).orientationAngles[0] != 0.0F;
}

KOR_RAWINFO gated(float gate)
{
    KOR_RAWINFO raw = plainSample();
    raw.referenceGate = gate;
    return raw;
}

TEST(Reference, theGateOpensUpToFourTenthsInSinglePrecision)
{
    EXPECT_TRUE(captures(gated(0.0F)));
    EXPECT_TRUE(captures(gated(below(0.4F))));
    EXPECT_TRUE(captures(gated(0.4F)));
    EXPECT_FALSE(captures(gated(above(0.4F))));
    EXPECT_FALSE(captures(gated(1.0F)));
    EXPECT_TRUE(captures(gated(-1.0F)));
    EXPECT_TRUE(captures(gated(-kInfinite)));
    EXPECT_FALSE(captures(gated(kInfinite)));
}

TEST(Reference, aGateThatIsNoNumberStaysShut)
{
    EXPECT_FALSE(captures(gated(kNoNumber)));
    EXPECT_FALSE(captures(gated(-kNoNumber)));
}

TEST(Reference, anyHoldBlocksTheCapture)
{
    for (const int hold : {1, 2, 128, 255}) {
        KOR_RAWINFO raw = plainSample();
        raw.referenceHold = static_cast<std::uint8_t>(hold);
        EXPECT_FALSE(captures(raw)) << hold;
    }
}

TEST(Reference, aRejectedSampleIsNotCaptured)
{
    KOR_RAWINFO raw = plainSample();
    raw.status = 1;
    EXPECT_FALSE(captures(raw));
}

TEST(Reference, aSampleThatTheModelRefusesIsNotCaptured)
{
    CKor engine;
    configurePlainly(engine, 10);
    feed(engine, plainSample());
    // Below mode 7 the composed matrix would now show a captured reference; the refusal comes before it.
    Matrix matrix{};
    EXPECT_EQ(engine.ReadMatrix(matrix.data()), 0);
    EXPECT_TRUE(sameBitsThroughout(matrix, kIdentity));
}

TEST(Reference, samplesBeforeTheCaptureStillReportTheirPosition)
{
    EnginePair pair(5);
    KOR_RAWINFO raw = gated(1.0F);
    raw.sensorVector[0] = 5.0F;
    raw.sensorVector[2] = -7.0F;
    const KOR_INFO info = pair.feedBoth(raw);
    EXPECT_EQ(info.sensorOut[0], 5.0F);
    EXPECT_EQ(info.sensorOut[1], 1.0F);
    EXPECT_EQ(info.sensorOut[2], -7.0F);
    Matrix matrix{};
    EXPECT_EQ(pair.engine.ReadMatrix(matrix.data()), 0) << "valid, though there is no reference yet";
    EXPECT_TRUE(sameBitsThroughout(matrix, kIdentity));
}

// Pins [reference-captured-once].
TEST(Reference, theFirstGoodSampleFixesItForGood)
{
    EnginePair pair(5);
    pair.mcs(false);
    KOR_RAWINFO first = plainSample();
    first.azimuthRaw = 10.0F;
    pair.feedBoth(first);
    KOR_RAWINFO second = plainSample();
    second.azimuthRaw = 25.0F;
    for (int i = 0; i < 3; ++i) {
        const KOR_INFO info = pair.feedBoth(second);
        EXPECT_TRUE(within(info.orientationAngles[1], -15.0F, 1e-5F)) << "relative to the first, every time";
    }
    KOR_RAWINFO rejected = plainSample();
    rejected.status = 0;
    pair.feedBoth(rejected);
    EXPECT_TRUE(within(pair.feedBoth(second).orientationAngles[1], -15.0F, 1e-5F));
    EXPECT_TRUE(within(pair.feedBoth(first).orientationAngles[1], 0.0F, 1e-5F));
}

// Pins [singular-is-own-inverse].
TEST(Reference, aReferenceThatCannotBeInvertedIsCapturedAllTheSame)
{
    EnginePair pair(5);
    pair.mcs(false);
    KOR_RAWINFO broken = plainSample();
    broken.sensorVector[1] = 0.0F; // a zero position: not a number throughout
    pair.feedBoth(broken);
    const KOR_INFO info = pair.feedBoth(plainSample());
    EXPECT_TRUE(std::isnan(info.orientationAngles[0]));
}

// ReadMatrix -----------------------------------------------------------------------------------------------------

TEST(ReadMatrix, aNullPointerGives20)
{
    CKor engine;
    EXPECT_EQ(engine.ReadMatrix(nullptr), 20);
    configurePlainly(engine, 5);
    feed(engine, plainSample());
    EXPECT_EQ(engine.ReadMatrix(nullptr), 20);
    engine.Destroy();
    EXPECT_EQ(engine.ReadMatrix(nullptr), 20);
}

// Pins [identity-with-554].
TEST(ReadMatrix, theCodeFollowsTheLastSample)
{
    CKor engine;
    configurePlainly(engine, 5);
    Matrix matrix{};
    EXPECT_EQ(engine.ReadMatrix(matrix.data()), 554);
    feed(engine, plainSample());
    EXPECT_EQ(engine.ReadMatrix(matrix.data()), 0);
    EXPECT_EQ(engine.ReadMatrix(matrix.data()), 0) << "reading consumes nothing";
    KOR_RAWINFO rejected = plainSample();
    rejected.status = 1;
    feed(engine, rejected);
    matrix.fill(7);
    EXPECT_EQ(engine.ReadMatrix(matrix.data()), 554);
    EXPECT_TRUE(sameBitsThroughout(matrix, kIdentity)) << "the matrix is copied even so";
    feed(engine, plainSample());
    EXPECT_EQ(engine.ReadMatrix(matrix.data()), 0);
}

TEST(ReadMatrix, deliversTheComposedMatrixRowByRow)
{
    CKor engine;
    configurePlainly(engine, 5);
    Matrix numbered = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    engine.setMachineMatrix(numbered.data(), 3);
    feed(engine, plainSample());
    feed(engine, plainSample());
    std::array<double, 11> guarded{};
    guarded.fill(-1);
    EXPECT_EQ(engine.ReadMatrix(guarded.data() + 1), 0);
    EXPECT_EQ(guarded[0], -1.0);
    EXPECT_EQ(guarded[10], -1.0);
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_EQ(guarded[i + 1], numbered[i]);
    }
}

} // namespace
} // namespace kor_test
