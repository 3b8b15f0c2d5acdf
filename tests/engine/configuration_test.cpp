// The set operations: what they check, what they store, what a failing call leaves alone.
#include "engine/engine_pair.h"
#include "mek/CEncoder.h"

#include <climits>
#include <functional>
#include <memory>
#include <string>

namespace kor_test {
namespace {

using SetFloats = int (CKor::*)(const float*, int);
using SetLevelTable = int (CKor::*)(int, const float*, const double*);
using SetEncoderTable = int (CKor::*)(int, const float*);

KOR_RAWINFO sampleWithLevels(float x, float y)
{
    KOR_RAWINFO raw = plainSample();
    raw.sensorVector[0] = 250.0F;
    raw.sensorVector[1] = 1300.0F;
    raw.sensorVector[2] = 120.0F;
    raw.levelXRaw = x;
    raw.levelYRaw = y;
    raw.azimuthRaw = 20.0F;
    raw.elevationRaw = 5.0F;
    return raw;
}

// Parameter groups -----------------------------------------------------------------------------------------------

struct Group {
    const char* name;
    SetFloats set;
    std::size_t size;
};

const std::array<Group, 4> kGroups = {{{"scale factors", &CKor::setScaleFactors, 8},
                                       {"QVC", &CKor::setQVCParameters, 6},
                                       {"level 1", &CKor::setLevel1Parameters, 7},
                                       {"level 2", &CKor::setLevel2Parameters, 7}}};

std::vector<float> ramp(std::size_t size, float start)
{
    std::vector<float> values(size);
    for (std::size_t i = 0; i < size; ++i) {
        values[i] = start + 0.125F * static_cast<float>(i);
    }
    return values;
}

TEST(ParameterGroups, aNullPointerGives20AndStoresNothing)
{
    for (const int mode : {5, 8, 3}) {
        EnginePair pair;
        pair.scaleFactors({1, 2, 3, 1, 1, 1, 1, 1});
        pair.qvc({1, 2, 3, 0.5F, 0.25F, 0.125F});
        pair.level1({0, 0, 0, 1, 2, 3, 1});
        pair.level2({0, 0, 0, 4, 5, 6, 1});
        pair.thermal({0, 1, 0, 1});
        for (const Group& group : kGroups) {
            EXPECT_EQ((pair.engine.*group.set)(nullptr, static_cast<int>(group.size)), 20) << group.name;
            EXPECT_EQ((pair.engine.*group.set)(nullptr, 0), 20) << group.name;
            EXPECT_EQ((pair.engine.*group.set)(nullptr, -1), 20) << group.name;
        }
        pair.mountMode(mode);
        pair.feedBoth(sampleWithLevels(1, 2));
        pair.feedBoth(sampleWithLevels(2, 1));
    }
}

// Pins [counts-unchecked, values-beyond-group].
TEST(ParameterGroups, aCountBeyondTheGroupCopiesTheGroupOnly)
{
    // The arrays end where the group ends, so that an address sanitizer sees any reading beyond.
    for (const int mode : {5, 8}) {
        EnginePair pair(mode);
        for (const int count : {9, 100, INT_MAX}) {
            for (const Group& group : kGroups) {
                const std::vector<float> values = ramp(group.size, 0.5F);
                EXPECT_EQ((pair.engine.*group.set)(values.data(), count), 0) << group.name;
            }
        }
        pair.literal.setScaleFactors(ramp(8, 0.5F).data(), 8);
        pair.literal.setQVCParameters(ramp(6, 0.5F).data(), 6);
        pair.literal.setLevel1Parameters(ramp(7, 0.5F).data(), 7);
        pair.literal.setLevel2Parameters(ramp(7, 0.5F).data(), 7);
        pair.mountMode(mode);
        pair.feedBoth(sampleWithLevels(1, 2));
        pair.feedBoth(sampleWithLevels(1, 2));
    }
}

TEST(ParameterGroups, aShorterCountKeepsTheRest)
{
    EnginePair pair(5);
    const float first = 45.0F;
    EXPECT_EQ(pair.engine.setScaleFactors(&first, 1), 0);
    pair.literal.scaleFactors[0] = first;
    pair.mountMode(5);
    pair.feedBoth(sampleWithLevels(1, 2));
    pair.feedBoth(sampleWithLevels(1, 2));
}

TEST(ParameterGroups, aCountOfZeroOrLessCopiesNothing)
{
    EnginePair pair(5);
    const std::vector<float> values = ramp(8, 9.0F);
    for (const int count : {0, -1, INT_MIN}) {
        for (const Group& group : kGroups) {
            EXPECT_EQ((pair.engine.*group.set)(values.data(), count), 0) << group.name;
        }
    }
    pair.mountMode(5);
    pair.feedBoth(sampleWithLevels(1, 2));
    pair.feedBoth(sampleWithLevels(1, 2));
}

TEST(ParameterGroups, reachTheModelOnlyThroughTheNextMountMode)
{
    EnginePair pair(5);
    pair.scaleFactors({30, 2, 0, 0, 1.5F, 0.5F, -1, 0});
    pair.feedBoth(sampleWithLevels(1, 2));
    pair.feedBoth(sampleWithLevels(1, 2));
    const Matrix before = readMatrix(pair.engine);
    pair.mountMode(5);
    pair.feedBoth(sampleWithLevels(1, 2));
    EXPECT_FALSE(sameBitsThroughout(readMatrix(pair.engine), before));
}

TEST(ParameterGroups, areCopiedOutOfTheCallersArray)
{
    EnginePair pair(5);
    std::array<float, 8> values = {30, 2, 0, 0, 1.5F, 0.5F, -1, 0};
    pair.scaleFactors(values);
    values.fill(77.0F);
    pair.mountMode(5);
    pair.feedBoth(sampleWithLevels(1, 2));
    pair.feedBoth(sampleWithLevels(1, 2));
}

// Level tables ---------------------------------------------------------------------------------------------------

std::vector<double> lineWithShift(const std::vector<float>& knots, int count, double shift)
{
    std::vector<double> coefficients;
    for (int i = 0; i < count; ++i) {
        coefficients.insert(coefficients.end(),
                            {static_cast<double>(knots[static_cast<std::size_t>(i)]) + shift, 1.0, 0.0, 0.0});
    }
    return coefficients;
}

const std::vector<float> kKnots = {-10, -5, 0, 5, -10, 5, 0};

class LevelTables : public ::testing::TestWithParam<bool> {
protected:
    LevelTables() { configurePlainly(m_engine, 1); }

    int set(int count, const float* knots, const double* coefficients)
    {
        const SetLevelTable operation = GetParam() ? &CKor::setLevelXComp : &CKor::setLevelYComp;
        return (m_engine.*operation)(count, knots, coefficients);
    }

    float corrected(float raw)
    {
        KOR_RAWINFO sample = plainSample();
        (GetParam() ? sample.levelXRaw : sample.levelYRaw) = raw;
        const KOR_INFO info = feed(m_engine, sample);
        EXPECT_EQ(GetParam() ? info.levelY : info.levelX, 0.0F) << "the other level has no table";
        return GetParam() ? info.levelX : info.levelY;
    }

    CKor m_engine;
};

TEST_P(LevelTables, withoutATableTheReadingPasses)
{
    EXPECT_EQ(corrected(3.0F), 3.0F);
}

TEST_P(LevelTables, aTableCorrectsTheReading)
{
    EXPECT_EQ(set(4, kKnots.data(), lineWithShift(kKnots, 4, 1).data()), 0);
    EXPECT_EQ(corrected(3.0F), 4.0F);
    EXPECT_EQ(corrected(-7.0F), -6.0F);
}

TEST_P(LevelTables, nullPointersAndCountsBelowOneGive20AndChangeNothing)
{
    const std::vector<double> coefficients = lineWithShift(kKnots, 4, 1);
    const auto failAll = [&] {
        EXPECT_EQ(set(4, nullptr, coefficients.data()), 20);
        EXPECT_EQ(set(4, kKnots.data(), nullptr), 20);
        EXPECT_EQ(set(4, nullptr, nullptr), 20);
        EXPECT_EQ(set(0, kKnots.data(), coefficients.data()), 20);
        EXPECT_EQ(set(-1, kKnots.data(), coefficients.data()), 20);
        EXPECT_EQ(set(INT_MIN, kKnots.data(), coefficients.data()), 20);
    };
    failAll();
    EXPECT_EQ(corrected(3.0F), 3.0F);
    EXPECT_EQ(set(4, kKnots.data(), lineWithShift(kKnots, 4, 2).data()), 0) << "a failed call allocates nothing";
    failAll();
    EXPECT_EQ(corrected(3.0F), 5.0F);
}

// Pins [unfit-table-refused].
TEST_P(LevelTables, aLaterLargerCountGives20AndChangesNothing)
{
    EXPECT_EQ(set(2, kKnots.data(), lineWithShift(kKnots, 2, 1).data()), 0);
    const float before = corrected(-7.0F);
    EXPECT_EQ(set(3, kKnots.data(), lineWithShift(kKnots, 3, 50).data()), 20);
    EXPECT_EQ(set(INT_MAX, kKnots.data(), lineWithShift(kKnots, 4, 50).data()), 20);
    EXPECT_EQ(corrected(-7.0F), before);
}

// Pins [tables-allocated-once].
TEST_P(LevelTables, aLaterSmallerCountIsStoredInPlace)
{
    EXPECT_EQ(set(4, kKnots.data(), lineWithShift(kKnots, 4, 1).data()), 0);
    const std::vector<float> fewer = {-10, -5, 0, 0, 0};
    EXPECT_EQ(set(2, fewer.data(), lineWithShift(fewer, 2, 2).data()), 0);
    EXPECT_EQ(corrected(-7.0F), -5.0F);
    EXPECT_EQ(set(4, kKnots.data(), lineWithShift(kKnots, 4, 3).data()), 0) << "the first call's size still fits";
    EXPECT_EQ(corrected(3.0F), 6.0F);
}

TEST_P(LevelTables, aTableOfOneKnotPassesTheReading)
{
    const std::array<float, 4> knots = {1, 0, 0, 0};
    const std::array<double, 4> coefficients = {50, 1, 0, 0};
    EXPECT_EQ(set(1, knots.data(), coefficients.data()), 0);
    EXPECT_EQ(corrected(3.0F), 3.0F);
}

TEST_P(LevelTables, theCallersArraysAreCopiedCompletelyAndNotBeyond)
{
    auto knots = std::make_unique<float[]>(7); // exactly count + 3
    auto coefficients = std::make_unique<double[]>(16);
    std::copy(kKnots.begin(), kKnots.end(), knots.get());
    const std::vector<double> line = lineWithShift(kKnots, 4, 1);
    std::copy(line.begin(), line.end(), coefficients.get());
    EXPECT_EQ(set(4, knots.get(), coefficients.get()), 0);
    std::fill_n(knots.get(), 7, 99.0F);
    std::fill_n(coefficients.get(), 16, 99.0);
    knots.reset();
    coefficients.reset();
    EXPECT_EQ(corrected(3.0F), 4.0F);
}

INSTANTIATE_TEST_SUITE_P(XAndY, LevelTables, ::testing::Bool(),
                         [](const auto& param) { return param.param ? std::string("X") : std::string("Y"); });

// Encoder tables -------------------------------------------------------------------------------------------------

class EncoderTables : public ::testing::TestWithParam<bool> {
protected:
    EncoderTables() { configurePlainly(m_engine, 5); }

    int set(int count, const float* table)
    {
        const SetEncoderTable operation = GetParam() ? &CKor::setAzimuthComp : &CKor::setElevationComp;
        return (m_engine.*operation)(count, table);
    }

    float calibrated(float reading)
    {
        KOR_RAWINFO raw = plainSample();
        (GetParam() ? raw.azimuthRaw : raw.elevationRaw) = reading;
        const KOR_INFO info = feed(m_engine, raw);
        EXPECT_EQ(GetParam() ? info.elevation : info.azimuth, 0.0F) << "the other axis has no table";
        return GetParam() ? info.azimuth : info.elevation;
    }

    float inverse(float angle)
    {
        return GetParam() ? m_engine.getInverseAzCalib(angle) : m_engine.getInverseElCalib(angle);
    }

    CKor m_engine;
};

TEST_P(EncoderTables, withoutATableNothingIsCorrected)
{
    EXPECT_EQ(calibrated(12.5F), 12.5F);
    EXPECT_EQ(inverse(12.5F), 12.5F);
}

TEST_P(EncoderTables, theCalibrationAndItsInverseAreTheEncoders)
{
    const std::array<float, 8> table = {0, 0.5F, 90, -0.25F, 180, 0.125F, 300, 0.75F};
    EXPECT_EQ(set(4, table.data()), 0);
    mek::CEncoder encoder;
    encoder.setCalTable(table.data(), 4);
    for (const float reading : {-400.0F, -1.0F, 0.0F, 33.25F, 90.0F, 179.0F, 299.5F, 355.0F, 719.0F, kInfinite}) {
        EXPECT_TRUE(sameBits(calibrated(reading), encoder.encCalibration(reading))) << reading;
        EXPECT_TRUE(sameBits(inverse(reading), encoder.inverseEncCalibration(reading))) << reading;
    }
    EXPECT_TRUE(std::isnan(inverse(kNoNumber)));
}

TEST_P(EncoderTables, aNullTableGives20AndChangesNothing)
{
    EXPECT_EQ(set(2, nullptr), 20);
    EXPECT_EQ(set(0, nullptr), 20);
    EXPECT_EQ(calibrated(10.0F), 10.0F);
    const std::array<float, 2> table = {0, 1};
    EXPECT_EQ(set(1, table.data()), 0);
    EXPECT_EQ(set(1, nullptr), 20);
    EXPECT_EQ(calibrated(10.0F), 11.0F);
}

// Pins [unfit-table-refused].
TEST_P(EncoderTables, aLaterLargerCountGives20AndChangesNothing)
{
    const std::array<float, 4> table = {0, 1, 180, 1};
    const std::array<float, 6> larger = {0, 2, 100, 2, 200, 2};
    EXPECT_EQ(set(2, table.data()), 0);
    EXPECT_EQ(set(3, larger.data()), 20);
    EXPECT_EQ(set(INT_MAX, larger.data()), 20);
    EXPECT_EQ(calibrated(10.0F), 11.0F);
    EXPECT_EQ(inverse(11.0F), 10.0F);
}

// Pins [tables-allocated-once].
TEST_P(EncoderTables, aLaterSmallerCountIsStoredInPlace)
{
    const std::array<float, 4> table = {0, 1, 180, 1};
    const std::array<float, 2> fewer = {0, 3};
    EXPECT_EQ(set(2, table.data()), 0);
    EXPECT_EQ(set(1, fewer.data()), 0);
    EXPECT_EQ(calibrated(10.0F), 13.0F);
    EXPECT_EQ(inverse(13.0F), 10.0F);
    EXPECT_EQ(set(2, table.data()), 0);
    EXPECT_EQ(calibrated(10.0F), 11.0F);
}

TEST_P(EncoderTables, aCountOfZeroMeansNoCorrection)
{
    const std::array<float, 2> table = {0, 3};
    EXPECT_EQ(set(1, table.data()), 0);
    EXPECT_EQ(set(0, table.data()), 0);
    EXPECT_EQ(calibrated(10.0F), 10.0F);
    EXPECT_EQ(set(1, table.data()), 0);
    EXPECT_EQ(calibrated(10.0F), 13.0F);
}

TEST_P(EncoderTables, aNegativeCountDoesNoHarm)
{
    const std::array<float, 2> table = {0, 3};
    set(-1, table.data());
    EXPECT_EQ(calibrated(10.0F), 10.0F);
    set(INT_MIN, table.data());
    EXPECT_EQ(calibrated(10.0F), 10.0F);
}

TEST_P(EncoderTables, theCallersArrayIsCopied)
{
    auto table = std::make_unique<float[]>(4);
    table[0] = 0.0F;
    table[1] = 1.0F;
    table[2] = 180.0F;
    table[3] = 1.0F;
    EXPECT_EQ(set(2, table.get()), 0);
    std::fill_n(table.get(), 4, 77.0F);
    table.reset();
    EXPECT_EQ(calibrated(10.0F), 11.0F);
    EXPECT_EQ(inverse(11.0F), 10.0F);
}

INSTANTIATE_TEST_SUITE_P(AzimuthAndElevation, EncoderTables, ::testing::Bool(), [](const auto& param) {
    return param.param ? std::string("Azimuth") : std::string("Elevation");
});

// Single values --------------------------------------------------------------------------------------------------

TEST(SingleValues, theTiltOffsetsAreSubtractedFromTheirOwnLevel)
{
    EnginePair pair(1);
    pair.tiltOffset({0.25F, 4.0F});
    const KOR_INFO info = pair.feedBoth(sampleWithLevels(1, 2));
    EXPECT_EQ(info.levelX, 0.75F);
    EXPECT_EQ(info.levelY, -2.0F);
}

TEST(SingleValues, theEncoderOffsetsAreRadiansAndEnterTheModelAsDoubles)
{
    EnginePair pair(5);
    pair.encoderOffset({0.1F, 0.2F});
    pair.feedBoth(plainSample());
    pair.feedBoth(plainSample());
    const Matrix wanted = multiply(rotationX(static_cast<double>(0.2F)), rotationZ(static_cast<double>(0.1F)));
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_TRUE(within(readMatrix(pair.engine)[i], wanted[i], 1e-15)) << i;
    }
}

TEST(SingleValues, theKnownVectorIsStoredWithoutEffect)
{
    EnginePair pair(5);
    const std::array<double, 3> vector = {1, 2, 3};
    EXPECT_EQ(pair.engine.setKnownVector(vector.data()), 0);
    EXPECT_EQ(pair.engine.setKnownVector(nullptr), 20);
    pair.feedBoth(sampleWithLevels(1, 2));
    pair.feedBoth(sampleWithLevels(1, 2));
}

TEST(SingleValues, theDetectorReadingHasNoEffectWhileTheStoreIsEmpty)
{
    for (const int mode : {5, 8}) {
        EnginePair pair(mode);
        EXPECT_EQ(pair.engine.setPSDParameters(INT_MAX, INT_MIN, 1), 0);
        pair.feedBoth(sampleWithLevels(1, 2));
        pair.feedBoth(sampleWithLevels(1, 2));
    }
}

// Matrices -------------------------------------------------------------------------------------------------------

const Matrix kSkewed = {2, 0.5, 0.25, -1, 3, 0.125, 0.75, -0.5, 4};

TEST(Matrices, aNullPointerGives20AndChangesNothing)
{
    EnginePair pair(5);
    pair.machineMatrix(kSkewed);
    pair.localMatrix(kSkewed);
    EXPECT_EQ(pair.engine.setMachineMatrix(nullptr, 3), 20);
    EXPECT_EQ(pair.engine.setLocalMatrix(nullptr, 3), 20);
    EXPECT_EQ(pair.engine.setMachineMatrix(nullptr, 0), 20);
    EXPECT_EQ(pair.engine.setLocalMatrix(nullptr, 0), 20);
    pair.feedBoth(sampleWithLevels(1, 2));
    pair.feedBoth(sampleWithLevels(2, 1));
    pair.mcs(false);
    pair.feedBoth(sampleWithLevels(2, 1));
}

TEST(Matrices, theLocalMatrixAndItsInverseStandSideBySide)
{
    EnginePair pair(5);
    pair.mcs(false);
    pair.localMatrix(kSkewed);
    pair.feedBoth(sampleWithLevels(1, 2));
    pair.feedBoth(sampleWithLevels(1, 2));
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_TRUE(within(readMatrix(pair.engine)[i], kIdentity[i], 1e-14)) << "L I L^-1, element " << i;
    }
    pair.feedBoth(sampleWithLevels(3, 9));
    pair.localMatrix(rotationY(0.5));
    pair.feedBoth(sampleWithLevels(3, 9));
}

// Pins [singular-is-own-inverse].
TEST(Matrices, aSingularLocalMatrixIsItsOwnInverse)
{
    // The inversion fails and leaves what was copied; nobody looks at its result.
    const Matrix singular = {1, 2, 3, 2, 4, 6, 1, 0, 1};
    EnginePair pair(5);
    pair.mcs(false);
    pair.localMatrix(singular);
    pair.feedBoth(plainSample());
    pair.feedBoth(plainSample());
    EXPECT_TRUE(sameBitsThroughout(readMatrix(pair.engine), multiply(singular, singular)));
}

// The array ends with the nine values, so that an address sanitizer sees any reading beyond.
void expectTheFirstNineValues(int n)
{
    SCOPED_TRACE(n);
    EnginePair pair(5);
    std::vector<double> larger(kSkewed.begin(), kSkewed.end());
    EXPECT_EQ(pair.engine.setMachineMatrix(larger.data(), n), 0);
    EXPECT_EQ(pair.engine.setLocalMatrix(larger.data(), n), 0);
    pair.literal.setMachineMatrix(kSkewed.data(), 3);
    pair.literal.setLocalMatrix(kSkewed.data(), 3);
    pair.feedBoth(sampleWithLevels(1, 2));
    pair.feedBoth(sampleWithLevels(2, 1));
    pair.mcs(false);
    pair.feedBoth(sampleWithLevels(2, 1));
}

// Pins [larger-engine-matrix].
TEST(Matrices, ofALargerMatrixTheFirstNineValuesAreTaken)
{
    for (const int n : {4, 5, 9, 1000, 46340}) {
        expectTheFirstNineValues(n);
    }
}

TEST(Matrices, aSizeWhoseSquareOverflowsIsALargerMatrixToo)
{
    for (const int n : {46341, 65536, INT_MAX}) {
        expectTheFirstNineValues(n);
    }
}

TEST(Matrices, aSmallerMatrixReplacesTheFirstValuesOnly)
{
    for (const int n : {1, 2}) {
        EnginePair pair(5);
        pair.machineMatrix(kSkewed);
        pair.localMatrix(kSkewed);
        const std::size_t count = static_cast<std::size_t>(n * n);
        std::vector<double> smaller = {7, 1, 2, 9};
        smaller.resize(count);
        EXPECT_EQ(pair.engine.setMachineMatrix(smaller.data(), n), 0);
        EXPECT_EQ(pair.engine.setLocalMatrix(smaller.data(), n), 0);
        pair.literal.setMachineMatrix(smaller.data(), n);
        pair.literal.setLocalMatrix(smaller.data(), n);
        pair.feedBoth(sampleWithLevels(1, 2));
        pair.feedBoth(sampleWithLevels(2, 1));
        pair.mcs(false);
        pair.feedBoth(sampleWithLevels(2, 1));
    }
}

TEST(Matrices, aSizeOfZeroChangesNothing)
{
    EnginePair pair(5);
    pair.machineMatrix(kSkewed);
    pair.localMatrix(kSkewed);
    Matrix other = kIdentity;
    EXPECT_EQ(pair.engine.setMachineMatrix(other.data(), 0), 0);
    EXPECT_EQ(pair.engine.setLocalMatrix(other.data(), 0), 0);
    pair.feedBoth(sampleWithLevels(1, 2));
    pair.feedBoth(sampleWithLevels(2, 1));
    pair.mcs(false);
    pair.feedBoth(sampleWithLevels(2, 1));
}

TEST(Matrices, aNegativeSizeStaysInsideTheArrays)
{
    for (const int n : {-1, -2, -3, -4, -46341, INT_MIN}) {
        EnginePair pair(5);
        std::vector<double> matrix(9, 2.0);
        EXPECT_EQ(pair.engine.setMachineMatrix(matrix.data(), n), 0);
        EXPECT_EQ(pair.engine.setLocalMatrix(matrix.data(), n), 0);
        const KOR_INFO info = feed(pair.engine, sampleWithLevels(1, 2));
        EXPECT_EQ(info.azimuth, 20.0F);
    }
}

TEST(Matrices, areCopiedOutOfTheCallersArray)
{
    EnginePair pair(5);
    Matrix matrix = kSkewed;
    pair.machineMatrix(matrix);
    EXPECT_EQ(pair.engine.setMachineMatrix(matrix.data(), 3), 0);
    matrix.fill(5);
    pair.feedBoth(sampleWithLevels(1, 2));
    pair.feedBoth(sampleWithLevels(1, 2));
}

} // namespace
} // namespace kor_test
