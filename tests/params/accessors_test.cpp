// The accessors of CKorPrm: result codes, what each one writes, and what the object shares with its copies.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "params/prm_file.h"
#include "support/Float.h"

namespace {

using namespace prm_test;
using kor_test::sameBits;

class Accessors : public ParamsTest {
protected:
    void SetUp() override { load(m_prm, firstSensor(9)); }

    void load(CKorPrm& prm, const PrmValues& values)
    {
        ASSERT_EQ(read(prm, PrmFile(values).text()), kSuccess);
        ASSERT_FALSE(modifiedFlag(prm));
    }

    CKorPrm m_prm;
};

constexpr float kMark = -777.0F;

TEST(AccessorsOfNewObject, everyCheckingAccessorReturns551AndWritesNothing)
{
    CKorPrm prm;
    ASSERT_FALSE(loadedFlag(prm));

    std::array<float, 16> floats{};
    std::array<double, 16> doubles{};
    floats.fill(kMark);
    doubles.fill(-777.0);
    const auto untouchedFloats = floats;
    const auto untouchedDoubles = doubles;
    unsigned int count = 4711;
    float first = kMark;
    float last = kMark;

    EXPECT_EQ(prm.getAzimuthComp(count, floats.data()), kNotLoaded);
    EXPECT_EQ(prm.getElevationComp(count, floats.data()), kNotLoaded);
    EXPECT_EQ(prm.getAzimuthCompRollover(first, last), kNotLoaded);
    EXPECT_EQ(prm.getElevationCompRollover(first, last), kNotLoaded);
    EXPECT_EQ(prm.getLevelXComp(count, floats.data(), doubles.data()), kNotLoaded);
    EXPECT_EQ(prm.getLevelYComp(count, floats.data(), doubles.data()), kNotLoaded);
    EXPECT_EQ(prm.getLevel1Parameters(floats.data(), count), kNotLoaded);
    EXPECT_EQ(prm.getLevel2Parameters(floats.data(), count), kNotLoaded);
    EXPECT_EQ(prm.getQVCParameters(floats.data(), count), kNotLoaded);
    EXPECT_EQ(prm.getScaleFactors(floats.data(), count), kNotLoaded);
    EXPECT_EQ(prm.setScaleFactors(floats.data(), 8), kNotLoaded);
    EXPECT_EQ(prm.getDynamicKORParameters(floats.data()), kNotLoaded);
    EXPECT_EQ(prm.getPSDParameters(floats.data(), floats.data() + 3), kNotLoaded);
    EXPECT_EQ(prm.getKnownVector(doubles.data()), kNotLoaded);
    EXPECT_EQ(prm.setKnownVector(doubles.data()), kNotLoaded);
    EXPECT_EQ(prm.getLocalMatrix(doubles.data(), 3), kNotLoaded);
    EXPECT_EQ(prm.setLocalMatrix(doubles.data(), 3), kNotLoaded);
    EXPECT_EQ(prm.getMachineMatrix(doubles.data(), 3), kNotLoaded);
    EXPECT_EQ(prm.setMachineMatrix(doubles.data(), 3), kNotLoaded);
    EXPECT_EQ(floats, untouchedFloats);
    EXPECT_EQ(doubles, untouchedDoubles);
    EXPECT_EQ(count, 4711U);
    EXPECT_EQ(first, kMark);
    EXPECT_EQ(last, kMark);

    F_VECTOR2 two{kMark, kMark};
    F_VECTOR4 four{kMark, kMark, kMark, kMark};
    EXPECT_EQ(prm.getEncoderOffset(two), kNotLoaded);
    EXPECT_EQ(prm.setEncoderOffset(two), kNotLoaded);
    EXPECT_EQ(prm.getTiltOffset(two), kNotLoaded);
    EXPECT_EQ(prm.setTiltOffset(two), kNotLoaded);
    EXPECT_EQ(prm.getEncoderLimit(four), kNotLoaded);
    EXPECT_EQ(prm.getThermalFactor(four), kNotLoaded);
    EXPECT_EQ(prm.setThermalFactor(four), kNotLoaded);
    EXPECT_EQ(prm.GetKORLevelLimits(four), kNotLoaded);
    EXPECT_EQ(prm.SetKORLevelLimits(four), kNotLoaded);
    EXPECT_EQ(two.x, kMark);
    EXPECT_EQ(two.y, kMark);
    EXPECT_EQ(four.x, kMark);
    EXPECT_EQ(four.y, kMark);
    EXPECT_EQ(four.z, kMark);
    EXPECT_EQ(four.w, kMark);

    int mode = 4711;
    float adm = kMark;
    EXPECT_EQ(prm.getMountMode(mode), kNotLoaded);
    EXPECT_EQ(prm.getADMOffset(adm), kNotLoaded);
    EXPECT_EQ(mode, 4711);
    EXPECT_EQ(adm, kMark);
    EXPECT_FALSE(modifiedFlag(prm));
}

TEST(AccessorsOfNewObject, notLoadedComesBeforeNullPointersAndCounts)
{
    CKorPrm prm;
    unsigned int count = 4711;
    EXPECT_EQ(prm.getAzimuthComp(count, nullptr), kNotLoaded);
    EXPECT_EQ(prm.getElevationComp(count, nullptr), kNotLoaded);
    EXPECT_EQ(prm.getLevelXComp(count, nullptr, nullptr), kNotLoaded);
    EXPECT_EQ(prm.getLevelYComp(count, nullptr, nullptr), kNotLoaded);
    EXPECT_EQ(prm.getLevel1Parameters(nullptr, count), kNotLoaded);
    EXPECT_EQ(prm.getLevel2Parameters(nullptr, count), kNotLoaded);
    EXPECT_EQ(prm.getQVCParameters(nullptr, count), kNotLoaded);
    EXPECT_EQ(prm.getScaleFactors(nullptr, count), kNotLoaded);
    EXPECT_EQ(prm.setScaleFactors(nullptr, 0), kNotLoaded);
    EXPECT_EQ(prm.getDynamicKORParameters(nullptr), kNotLoaded);
    EXPECT_EQ(prm.getPSDParameters(nullptr, nullptr), kNotLoaded);
    EXPECT_EQ(prm.getKnownVector(nullptr), kNotLoaded);
    EXPECT_EQ(prm.setKnownVector(nullptr), kNotLoaded);
    EXPECT_EQ(prm.getLocalMatrix(nullptr, 3), kNotLoaded);
    EXPECT_EQ(prm.setLocalMatrix(nullptr, 3), kNotLoaded);
    EXPECT_EQ(prm.getMachineMatrix(nullptr, 3), kNotLoaded);
    EXPECT_EQ(prm.setMachineMatrix(nullptr, 3), kNotLoaded);
    EXPECT_EQ(count, 4711U);
}

TEST(AccessorsOfNewObject, destroyIsHarmlessAtAnyTime)
{
    CKorPrm prm;
    prm.Destroy();
    prm.Destroy();
    unsigned int count = 4711;
    EXPECT_EQ(prm.getAzimuthComp(count, nullptr), kNotLoaded);
    EXPECT_EQ(count, 4711U);
}

TEST(AccessorsOfNewObject, copiesOfUnloadedObjectsAreUnloaded)
{
    const CKorPrm source;
    CKorPrm copy(source);
    CKorPrm assigned;
    assigned = source;
    int mode = 4711;
    EXPECT_EQ(copy.getMountMode(mode), kNotLoaded);
    EXPECT_EQ(assigned.getMountMode(mode), kNotLoaded);
    EXPECT_EQ(mode, 4711);
}

// Pins [count-before-pointer].
TEST_F(Accessors, tableGettersWithoutATableReturn20AndTellTheCount)
{
    unsigned int count = 4711;
    EXPECT_EQ(m_prm.getAzimuthComp(count, nullptr), kBadArgument);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(m_prm.getElevationComp(count, nullptr), kBadArgument);
    EXPECT_EQ(count, 3U);

    std::array<float, 7> table{};
    std::array<double, 16> spline{};
    table.fill(kMark);
    spline.fill(-777.0);
    const auto untouchedTable = table;
    const auto untouchedSpline = spline;
    for (const auto getter : {&CKorPrm::getLevelXComp, &CKorPrm::getLevelYComp}) {
        count = 4711;
        EXPECT_EQ((m_prm.*getter)(count, nullptr, nullptr), kBadArgument);
        EXPECT_EQ(count, 4U);
        count = 4711;
        EXPECT_EQ((m_prm.*getter)(count, table.data(), nullptr), kBadArgument);
        EXPECT_EQ(count, 4U);
        count = 4711;
        EXPECT_EQ((m_prm.*getter)(count, nullptr, spline.data()), kBadArgument);
        EXPECT_EQ(count, 4U);
    }
    EXPECT_EQ(table, untouchedTable);
    EXPECT_EQ(spline, untouchedSpline);
}

TEST_F(Accessors, tableGettersWriteExactlyTheirRows)
{
    // Buffers of exactly the size of the group: an address sanitizer sees one value too many.
    std::vector<float> azimuth(8);
    std::vector<float> elevation(6);
    std::vector<float> table(7);
    std::vector<double> spline(16);
    unsigned int count = 0;
    EXPECT_EQ(m_prm.getAzimuthComp(count, azimuth.data()), kSuccess);
    EXPECT_EQ(azimuth, (std::vector{1.25F, 0.5F, 90.0F, -0.25F, 180.0F, 0.125F, 359.0F, 0.75F}));
    EXPECT_EQ(m_prm.getElevationComp(count, elevation.data()), kSuccess);
    EXPECT_EQ(elevation, (std::vector{-45.0F, 0.25F, 10.0F, -0.5F, 60.5F, 0.375F}));
    EXPECT_EQ(m_prm.getLevelXComp(count, table.data(), spline.data()), kSuccess);
    EXPECT_EQ(table, (std::vector{-30.0F, -5.0F, 4.0F, 30.0F, -28.0F, 27.0F, 6.5F}));
    EXPECT_EQ(m_prm.getLevelYComp(count, table.data(), spline.data()), kSuccess);
    EXPECT_EQ(table, (std::vector{-25.0F, -4.0F, 6.0F, 26.0F, -23.0F, 24.0F, 5.5F}));
}

// Pins [pointer-before-count].
TEST_F(Accessors, parameterGettersWithoutAPointerReturn20AndLeaveTheCount)
{
    unsigned int count = 4711;
    EXPECT_EQ(m_prm.getLevel1Parameters(nullptr, count), kBadArgument);
    EXPECT_EQ(m_prm.getLevel2Parameters(nullptr, count), kBadArgument);
    EXPECT_EQ(m_prm.getQVCParameters(nullptr, count), kBadArgument);
    EXPECT_EQ(m_prm.getScaleFactors(nullptr, count), kBadArgument);
    EXPECT_EQ(count, 4711U);
    EXPECT_EQ(m_prm.getDynamicKORParameters(nullptr), kBadArgument);
    EXPECT_EQ(m_prm.getKnownVector(nullptr), kBadArgument);
    EXPECT_EQ(m_prm.getLocalMatrix(nullptr, 3), kBadArgument);
    EXPECT_EQ(m_prm.getMachineMatrix(nullptr, 3), kBadArgument);
    EXPECT_EQ(m_prm.setKnownVector(nullptr), kBadArgument);
    EXPECT_EQ(m_prm.setLocalMatrix(nullptr, 3), kBadArgument);
    EXPECT_EQ(m_prm.setMachineMatrix(nullptr, 3), kBadArgument);
    EXPECT_EQ(m_prm.setScaleFactors(nullptr, 3), kBadArgument);

    std::array<float, 3> psd = {kMark, kMark, kMark};
    const auto untouched = psd;
    EXPECT_EQ(m_prm.getPSDParameters(nullptr, psd.data()), kBadArgument);
    EXPECT_EQ(m_prm.getPSDParameters(psd.data(), nullptr), kBadArgument);
    EXPECT_EQ(psd, untouched);

    EXPECT_FALSE(modifiedFlag(m_prm));
    expectSame(snapshot(m_prm), expected(firstSensor(9)));
}

TEST_F(Accessors, parameterGettersTellTheirSizes)
{
    std::vector<float> seven(7);
    std::vector<float> six(6);
    std::vector<float> eight(8);
    unsigned int count = 0;
    EXPECT_EQ(m_prm.getLevel1Parameters(seven.data(), count), kSuccess);
    EXPECT_EQ(count, 7U);
    EXPECT_EQ(seven, (std::vector{21.0F, 22.0F, 23.0F, 24.0F, 25.0F, 26.0F, 27.0F}));
    count = 0;
    EXPECT_EQ(m_prm.getLevel2Parameters(seven.data(), count), kSuccess);
    EXPECT_EQ(count, 7U);
    EXPECT_EQ(seven, (std::vector{31.0F, 32.0F, 33.0F, 34.0F, 35.0F, 36.0F, 37.0F}));
    EXPECT_EQ(m_prm.getQVCParameters(six.data(), count), kSuccess);
    EXPECT_EQ(count, 6U);
    EXPECT_EQ(m_prm.getScaleFactors(eight.data(), count), kSuccess);
    EXPECT_EQ(count, 8U);
    EXPECT_EQ(m_prm.getDynamicKORParameters(seven.data()), kSuccess);
    EXPECT_EQ(seven, (std::vector{61.0F, 62.0F, 63.0F, 64.0F, 65.0F, 66.0F, 67.0F}));
}

// Pins [modification-mark].
TEST_F(Accessors, setScaleFactorsTakesOneToEight)
{
    const std::array<float, 8> values = {-1.0F, -2.0F, -3.0F, -4.0F, -5.0F, -6.0F, -7.0F, -8.0F};
    PrmValues wanted = firstSensor(9);
    for (const unsigned int count : {0U, 9U, 1000U, 0x7fffffffU, 0x80000000U, 0x80000003U, 0xffffffffU}) {
        EXPECT_EQ(m_prm.setScaleFactors(values.data(), count), kBadArgument) << count;
    }
    expectSame(snapshot(m_prm), expected(wanted));

    EXPECT_EQ(m_prm.setScaleFactors(values.data(), 3), kSuccess);
    wanted.scaleFactors = {-1.0F, -2.0F, -3.0F, 4.0F, 5.0F, 6.0F, 7.0F, 8.0F};
    expectSame(snapshot(m_prm), expected(wanted));

    EXPECT_EQ(m_prm.setScaleFactors(values.data() + 4, 1), kSuccess);
    wanted.scaleFactors[0] = -5.0F;
    expectSame(snapshot(m_prm), expected(wanted));

    EXPECT_EQ(m_prm.setScaleFactors(values.data(), 8), kSuccess);
    wanted.scaleFactors = values;
    expectSame(snapshot(m_prm), expected(wanted));
    EXPECT_FALSE(modifiedFlag(m_prm)) << "replacing scale factors does not count as a modification";
}

// Pins [vector-spread].
TEST_F(Accessors, setVectorSpreadsTheFirstComponentOverAllThree)
{
    m_prm.SetVector({1.0, 2.0, 3.0});
    std::array<double, 3> vector{};
    EXPECT_EQ(m_prm.getKnownVector(vector.data()), kSuccess);
    EXPECT_EQ(vector, (std::array{1.0, 1.0, 1.0}));
    EXPECT_FALSE(modifiedFlag(m_prm));
}

// Pins [vector-spread].
TEST_F(Accessors, setVectorNeedsNoLoadedObject)
{
    CKorPrm prm;
    prm.SetVector({2.5, 0.0, 0.0});
    EXPECT_FALSE(loadedFlag(prm));
    // A file without the three numbers leaves them as they are.
    PrmFile file(firstSensor(5));
    file[9].body = "";
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    std::array<double, 3> vector{};
    EXPECT_EQ(prm.getKnownVector(vector.data()), kSuccess);
    EXPECT_EQ(vector, (std::array{2.5, 2.5, 2.5}));
}

TEST_F(Accessors, knownVectorIsStoredInDouble)
{
    const std::array<double, 3> values = {0.1, -1e300, 1.0 / 3.0};
    EXPECT_EQ(m_prm.setKnownVector(values.data()), kSuccess);
    std::array<double, 3> got{};
    EXPECT_EQ(m_prm.getKnownVector(got.data()), kSuccess);
    EXPECT_EQ(got, values);
    EXPECT_TRUE(modifiedFlag(m_prm));
}

TEST_F(Accessors, encoderOffsetsAreWidenedAndNarrowed)
{
    EXPECT_EQ(m_prm.setEncoderOffset({0.1F, -0.7F}), kSuccess);
    EXPECT_TRUE(modifiedFlag(m_prm));
    F_VECTOR2 offset{};
    EXPECT_EQ(m_prm.getEncoderOffset(offset), kSuccess);
    EXPECT_TRUE(sameBits(offset.x, 0.1F));
    EXPECT_TRUE(sameBits(offset.y, -0.7F));
}

TEST_F(Accessors, settersReplaceTheirGroupAndNothingElse)
{
    PrmValues wanted = firstSensor(9);

    EXPECT_EQ(m_prm.setTiltOffset({5.0F, 6.0F}), kSuccess);
    wanted.tiltOffset = {5.0F, 6.0F};
    expectSame(snapshot(m_prm), expected(wanted));

    EXPECT_EQ(m_prm.setThermalFactor({1.0F, 2.0F, 3.0F, 4.0F}), kSuccess);
    wanted.thermalFactor = {1.0F, 2.0F, 3.0F, 4.0F};
    expectSame(snapshot(m_prm), expected(wanted));

    EXPECT_EQ(m_prm.SetKORLevelLimits({-1.0F, 1.0F, -2.0F, 2.0F}), kSuccess);
    wanted.limits = {-1.0F, 1.0F, -2.0F, 2.0F};
    expectSame(snapshot(m_prm), expected(wanted));
}

// Pins [modification-mark].
TEST_F(Accessors, sixSettersMarkTheObjectAsModifiedAndNoReadClearsIt)
{
    std::array<double, 9> matrix{};
    const std::array<double, 3> vector{};
    using Change = void (*)(CKorPrm&, double*, const double*);
    const std::array<Change, 6> changes = {
        [](CKorPrm& prm, double*, const double*) { EXPECT_EQ(prm.setEncoderOffset({}), kSuccess); },
        [](CKorPrm& prm, double*, const double* v) { EXPECT_EQ(prm.setKnownVector(v), kSuccess); },
        [](CKorPrm& prm, double* m, const double*) { EXPECT_EQ(prm.setLocalMatrix(m, 3), kSuccess); },
        [](CKorPrm& prm, double* m, const double*) { EXPECT_EQ(prm.setMachineMatrix(m, 3), kSuccess); },
        [](CKorPrm& prm, double*, const double*) { EXPECT_EQ(prm.setThermalFactor({}), kSuccess); },
        [](CKorPrm& prm, double*, const double*) { EXPECT_EQ(prm.setTiltOffset({}), kSuccess); },
    };
    for (const Change change : changes) {
        CKorPrm prm;
        load(prm, firstSensor(9));
        change(prm, matrix.data(), vector.data());
        EXPECT_TRUE(modifiedFlag(prm));
        EXPECT_EQ(read(prm, PrmFile(firstSensor(9)).text()), kSuccess);
        EXPECT_TRUE(modifiedFlag(prm));
        EXPECT_TRUE(loadedFlag(prm));
    }
}

// Pins [modification-mark].
TEST_F(Accessors, otherChangesDoNotMarkTheObjectAsModified)
{
    std::array<float, 3> temperatures = {1.0F, 2.0F, 3.0F};
    EXPECT_EQ(m_prm.SetKORLevelLimits({}), kSuccess);
    m_prm.TgUpdateThermal(0.5F, temperatures.data(), 0);
    m_prm.TgUpdateThermal(0.5F, temperatures.data(), 1);
    m_prm.SetVector({});
    m_prm.DisplayErrMsg(601);
    m_prm.Destroy();
    EXPECT_FALSE(modifiedFlag(m_prm));
}

TEST_F(Accessors, matrixOperationsCopyNTimesNValues)
{
    std::array<double, 10> m{};
    m.fill(-777.0);
    EXPECT_EQ(m_prm.getLocalMatrix(m.data(), 2), kSuccess);
    EXPECT_EQ(m, (std::array{1.0, 2.0, 3.0, 4.0, -777.0, -777.0, -777.0, -777.0, -777.0, -777.0}));
    m.fill(-777.0);
    EXPECT_EQ(m_prm.getMachineMatrix(m.data(), 1), kSuccess);
    EXPECT_EQ(m[0], 0.0);
    EXPECT_EQ(m[1], -777.0);

    std::array<double, 9> values = {-1.0, -2.0, -3.0, -4.0, -5.0, -6.0, -7.0, -8.0, -9.0};
    EXPECT_EQ(m_prm.setLocalMatrix(values.data(), 2), kSuccess);
    EXPECT_TRUE(modifiedFlag(m_prm));
    Snapshot wanted = expected(firstSensor(9));
    wanted["local matrix"] = {-1.0, -2.0, -3.0, -4.0, 5.0, 6.0, 7.0, 8.0, 10.0};
    expectSame(snapshot(m_prm), wanted);

    EXPECT_EQ(m_prm.setMachineMatrix(values.data(), 3), kSuccess);
    wanted["machine matrix"] = std::vector<double>(values.begin(), values.end());
    expectSame(snapshot(m_prm), wanted);
}

// Pins [wrapping-product].
TEST_F(Accessors, matrixOperationsTakeNegativeNAsASignedProduct)
{
    std::array<double, 10> m{};
    m.fill(-777.0);
    EXPECT_EQ(m_prm.getLocalMatrix(m.data(), -2), kSuccess);
    EXPECT_EQ(m, (std::array{1.0, 2.0, 3.0, 4.0, -777.0, -777.0, -777.0, -777.0, -777.0, -777.0}));
    EXPECT_EQ(m_prm.getMachineMatrix(m.data(), -3), kSuccess);
    EXPECT_EQ(m, (std::array{0.0, 0.0, 0.125, 0.5, 0.0, 0.0, 0.0, 0.25, 0.0, -777.0}));

    const std::array<double, 9> values = {-1.0, -2.0, -3.0, -4.0, -5.0, -6.0, -7.0, -8.0, -9.0};
    EXPECT_EQ(m_prm.setLocalMatrix(values.data(), -3), kSuccess);
    Snapshot wanted = expected(firstSensor(9));
    wanted["local matrix"] = std::vector<double>(values.begin(), values.end());
    expectSame(snapshot(m_prm), wanted);
}

// Pins [wrapping-product].
TEST_F(Accessors, matrixOperationsCopyNothingWhenTheProductIsNotPositive)
{
    // 46341 squared is the first product beyond 31 bits, so it is negative; the others leave zero in 32 bits.
    for (const int n : {0, 46341, -46341, 65536, std::numeric_limits<int>::min()}) {
        double untouched = -777.0;
        EXPECT_EQ(m_prm.getLocalMatrix(&untouched, n), kSuccess) << n;
        EXPECT_EQ(m_prm.getMachineMatrix(&untouched, n), kSuccess) << n;
        EXPECT_EQ(untouched, -777.0) << n;
        EXPECT_EQ(m_prm.setLocalMatrix(&untouched, n), kSuccess) << n;
        EXPECT_EQ(m_prm.setMachineMatrix(&untouched, n), kSuccess) << n;
    }
    EXPECT_TRUE(modifiedFlag(m_prm));
    expectSame(snapshot(m_prm), expected(firstSensor(9)));
}

// Pins [larger-local-matrix].
TEST_F(Accessors, localMatrixWithLargerNRunsOnIntoTheMachineMatrix)
{
    std::vector<double> m(16);
    EXPECT_EQ(m_prm.getLocalMatrix(m.data(), 4), kSuccess);
    EXPECT_EQ(m, (std::vector{1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 10.0, 0.0, 0.0, 0.125, 0.5, 0.0, 0.0, 0.0}));

    for (std::size_t i = 0; i < m.size(); ++i) {
        m[i] = 100.0 + static_cast<double>(i);
    }
    EXPECT_EQ(m_prm.setLocalMatrix(m.data(), 4), kSuccess);
    Snapshot wanted = expected(firstSensor(9));
    wanted["local matrix"] = {100.0, 101.0, 102.0, 103.0, 104.0, 105.0, 106.0, 107.0, 108.0};
    wanted["machine matrix"] = {109.0, 110.0, 111.0, 112.0, 113.0, 114.0, 115.0, 0.25, 0.0};
    expectSame(snapshot(m_prm), wanted);
}

// Pins [larger-matrix-read].
TEST_F(Accessors, machineMatrixWithLargerNRunsOnIntoTheFieldsBehindIt)
{
    std::vector<double> m(16);
    EXPECT_EQ(m_prm.getMachineMatrix(m.data(), 4), kSuccess);
    EXPECT_EQ(std::vector<double>(m.begin(), m.begin() + 9),
              (std::vector{0.0, 0.0, 0.125, 0.5, 0.0, 0.0, 0.0, 0.25, 0.0}));
    std::array<float, 6> behind{};
    std::memcpy(behind.data(), m.data() + 9, sizeof behind);
    EXPECT_EQ(behind, (std::array{0.0625F, -0.125F, 0.5F, 0.125F, 0.75F, -0.25F}));
}

// Pins [larger-matrix-read].
TEST_F(Accessors, matrixGettersNeverReadBeyondTheObject)
{
    constexpr std::size_t kObject = sizeof(CKorPrm) / sizeof(double);
    const std::vector<double> untouched(1000 * 1000, -777.0);
    // The object alone on the heap: an address sanitizer sees any read past its end.
    const auto prm = std::make_unique<CKorPrm>(m_prm);
    std::vector<double> m = untouched;
    EXPECT_EQ(prm->getLocalMatrix(m.data(), 1000), kSuccess);
    EXPECT_EQ(m[0], 1.0);
    EXPECT_TRUE(std::equal(m.begin() + kObject, m.end(), untouched.begin() + kObject));
    m = untouched;
    EXPECT_EQ(prm->getMachineMatrix(m.data(), 1000), kSuccess);
    EXPECT_EQ(m[2], 0.125);
    EXPECT_TRUE(std::equal(m.begin() + kObject, m.end(), untouched.begin() + kObject));
}

// Pins [larger-local-matrix, larger-machine-matrix].
TEST_F(Accessors, matrixSettersNeverWriteBeyondTheTwoMatrices)
{
    for (const int n : {5, 7, 100, 1000}) {
        CKorPrm prm;
        load(prm, firstSensor(9));
        std::vector<double> m(static_cast<std::size_t>(n) * static_cast<std::size_t>(n), 3.0);
        Snapshot wanted = expected(firstSensor(9));
        EXPECT_EQ(prm.setMachineMatrix(m.data(), n), kSuccess);
        wanted["machine matrix"] = std::vector<double>(9, 3.0);
        expectSame(snapshot(prm), wanted);
        std::fill(m.begin(), m.end(), 4.0);
        EXPECT_EQ(prm.setLocalMatrix(m.data(), n), kSuccess);
        wanted["local matrix"] = std::vector<double>(9, 4.0);
        wanted["machine matrix"] = std::vector<double>(9, 4.0);
        expectSame(snapshot(prm), wanted);
        EXPECT_TRUE(loadedFlag(prm));
    }
}

// Pins [larger-machine-matrix].
TEST_F(Accessors, setMachineMatrixWithLargerNStoresNineValues)
{
    std::vector<double> m(16);
    for (std::size_t i = 0; i < m.size(); ++i) {
        m[i] = 100.0 + static_cast<double>(i);
    }
    EXPECT_EQ(m_prm.setMachineMatrix(m.data(), 4), kSuccess);
    Snapshot wanted = expected(firstSensor(9));
    wanted["machine matrix"] = std::vector<double>(m.begin(), m.begin() + 9);
    expectSame(snapshot(m_prm), wanted);
}

TEST_F(Accessors, encoderLimitOfFullRangesIsTheRangeItself)
{
    PrmValues values = firstSensor(9);
    values.angleOffset = {0.0F, 0.0F};
    values.halfAngle = {180.0F, 60.0F};
    CKorPrm prm;
    load(prm, values);
    F_VECTOR4 limit{};
    EXPECT_EQ(prm.getEncoderLimit(limit), kSuccess);
    // To radians and back: one narrowing each way.
    EXPECT_TRUE(kor_test::withinUlp(limit.x, -180.0F, 1));
    EXPECT_TRUE(kor_test::withinUlp(limit.y, 180.0F, 1));
    EXPECT_TRUE(kor_test::withinUlp(limit.z, -60.0F, 1));
    EXPECT_TRUE(kor_test::withinUlp(limit.w, 60.0F, 1));
}

TEST_F(Accessors, encoderLimitSubtractsInFloatAndScalesInDouble)
{
    const auto half = static_cast<float>(180.0 * kRadPerDegree);
    const auto halfElevation = static_cast<float>(60.0 * kRadPerDegree);
    for (int i = -50; i <= 50; ++i) {
        const F_VECTOR2 offset = {0.0371F * static_cast<float>(i), -0.0173F * static_cast<float>(i)};
        ASSERT_EQ(m_prm.setEncoderOffset(offset), kSuccess);
        F_VECTOR4 limit{};
        ASSERT_EQ(m_prm.getEncoderLimit(limit), kSuccess);
        const float azimuthLow = offset.x - half;
        const float azimuthHigh = offset.x + half;
        const float elevationLow = offset.y - halfElevation;
        const float elevationHigh = offset.y + halfElevation;
        EXPECT_TRUE(sameBits(limit.x, static_cast<float>(static_cast<double>(azimuthLow) * 57.29577951308)));
        EXPECT_TRUE(sameBits(limit.y, static_cast<float>(static_cast<double>(azimuthHigh) * 57.29577951308)));
        EXPECT_TRUE(sameBits(limit.z, static_cast<float>(static_cast<double>(elevationLow) * 57.29577951308)));
        EXPECT_TRUE(sameBits(limit.w, static_cast<float>(static_cast<double>(elevationHigh) * 57.29577951308)));
    }
}

TEST_F(Accessors, encoderLimitNarrowsTheDoubleOffsetsOfTheFileFirst)
{
    for (const float degrees : {0.1F, 33.3F, -12.345678F, 179.99F, 1e-7F}) {
        PrmFile file(firstSensor(9));
        std::array<char, 64> text{};
        std::snprintf(text.data(), text.size(), "%.9g %.9g\n", static_cast<double>(degrees),
                      static_cast<double>(-degrees));
        file[8].body = text.data();
        CKorPrm prm;
        ASSERT_EQ(read(prm, file.text()), kSuccess);
        F_VECTOR4 limit{};
        ASSERT_EQ(prm.getEncoderLimit(limit), kSuccess);
        const double offset = static_cast<double>(degrees) * 0.01745329251994;
        const auto wanted = encoderLimit({offset, -offset}, {static_cast<float>(180.0 * 0.01745329251994),
                                                             static_cast<float>(60.0 * 0.01745329251994)});
        EXPECT_TRUE(sameBits(limit.x, wanted[0]));
        EXPECT_TRUE(sameBits(limit.y, wanted[1]));
        EXPECT_TRUE(sameBits(limit.z, wanted[2]));
        EXPECT_TRUE(sameBits(limit.w, wanted[3]));
    }
}

// These radians are among the few whose degrees show in float which literal was taken.
TEST_F(Accessors, encoderLimitIsScaledWithTheShortenedLiteral)
{
    PrmValues values = firstSensor(9);
    values.halfAngle = {0.0F, 0.0F};
    CKorPrm prm;
    load(prm, values);
    constexpr F_VECTOR2 kOffset = {0x1.62183cp-7F, 0x1.64917ep-7F};
    ASSERT_NE(static_cast<float>(static_cast<double>(kOffset.x) * 57.29577951308),
              static_cast<float>(static_cast<double>(kOffset.x) * 57.29577951308232));
    ASSERT_NE(static_cast<float>(static_cast<double>(kOffset.y) * 57.29577951308),
              static_cast<float>(static_cast<double>(kOffset.y) * 57.29577951308232));
    ASSERT_EQ(prm.setEncoderOffset(kOffset), kSuccess);
    F_VECTOR4 limit{};
    ASSERT_EQ(prm.getEncoderLimit(limit), kSuccess);
    EXPECT_TRUE(sameBits(limit.x, static_cast<float>(static_cast<double>(kOffset.x) * 57.29577951308)));
    EXPECT_TRUE(sameBits(limit.y, limit.x));
    EXPECT_TRUE(sameBits(limit.z, static_cast<float>(static_cast<double>(kOffset.y) * 57.29577951308)));
    EXPECT_TRUE(sameBits(limit.w, limit.z));
}

// Pins [raw-half-ranges].
TEST_F(Accessors, halfRangesThatNoFileGaveAreRawNumbers)
{
    // 180 and 60 stand for radians here, so the limits lie thousands of degrees out.
    PrmValues values = firstSensor(5);
    values.angleOffset = {0.0F, 0.0F};
    CKorPrm prm;
    load(prm, values);
    F_VECTOR4 limit{};
    EXPECT_EQ(prm.getEncoderLimit(limit), kSuccess);
    EXPECT_TRUE(sameBits(limit.x, static_cast<float>(-180.0 * 57.29577951308)));
    EXPECT_TRUE(sameBits(limit.y, static_cast<float>(180.0 * 57.29577951308)));
    EXPECT_TRUE(sameBits(limit.z, static_cast<float>(-60.0 * 57.29577951308)));
    EXPECT_TRUE(sameBits(limit.w, static_cast<float>(60.0 * 57.29577951308)));
}

// One thermal step, operation by operation in single precision.
float thermalStep(float gain, float offset, float factor, const std::array<float, 3>& temps)
{
    const float pair = temps[1] + temps[0];
    const float sum = pair + temps[2];
    const float mean = sum / 3.0F;
    const float product = mean * gain;
    const float shifted = product + offset;
    const float scaled = shifted * factor;
    return scaled - product;
}

TEST_F(Accessors, thermalStepIsComputedInFloatInTheStatedOrder)
{
    float x = 0.3F;
    float y = -0.7F;
    ASSERT_EQ(m_prm.setThermalFactor({0.0123F, x, -0.0456F, y}), kSuccess);
    for (int i = 0; i < 200; ++i) {
        const float t = static_cast<float>(i);
        // Three very different magnitudes, so that another order of the sum shows.
        std::array<float, 3> temps = {20.1F + 0.37F * t, 1e7F + 3.0F * t, -9999999.0F + 0.73F * t};
        const auto given = temps;
        const float factor = 0.9F + 0.001F * t;
        m_prm.TgUpdateThermal(factor, temps.data(), 0);
        x = thermalStep(0.0123F, x, factor, temps);
        m_prm.TgUpdateThermal(-factor, temps.data(), i % 2 == 0 ? 1 : -3);
        y = thermalStep(-0.0456F, y, -factor, temps);
        F_VECTOR4 got{};
        ASSERT_EQ(m_prm.getThermalFactor(got), kSuccess);
        ASSERT_TRUE(sameBits(got.x, 0.0123F));
        ASSERT_TRUE(sameBits(got.y, x)) << i;
        ASSERT_TRUE(sameBits(got.z, -0.0456F));
        ASSERT_TRUE(sameBits(got.w, y)) << i;
        ASSERT_EQ(temps, given);
    }
}

TEST_F(Accessors, thermalMeanAddsTheMiddleTemperatureFirst)
{
    ASSERT_EQ(m_prm.setThermalFactor({1.0F, 0.0F, 1.0F, 0.0F}), kSuccess);
    // The first two together swallow the 1; with the last two added first it would survive.
    std::array<float, 3> temps = {1.0F, 1e8F, -1e8F};
    m_prm.TgUpdateThermal(0.0F, temps.data(), 0);
    F_VECTOR4 got{};
    ASSERT_EQ(m_prm.getThermalFactor(got), kSuccess);
    EXPECT_EQ(got.y, 0.0F);
    temps = {1e8F, -1e8F, 3.0F};
    m_prm.TgUpdateThermal(0.0F, temps.data(), 0);
    ASSERT_EQ(m_prm.getThermalFactor(got), kSuccess);
    EXPECT_EQ(got.y, -1.0F);
}

TEST_F(Accessors, thermalStepWithFactorOneChangesNothing)
{
    std::array<float, 3> temps = {20.0F, 22.0F, 24.0F};
    m_prm.TgUpdateThermal(1.0F, temps.data(), 0);
    m_prm.TgUpdateThermal(1.0F, temps.data(), 1);
    expectSame(snapshot(m_prm), expected(firstSensor(9)));
}

TEST_F(Accessors, thermalStepWithFactorZeroLeavesMinusMeanTimesGain)
{
    std::array<float, 3> temps = {20.0F, 22.0F, 24.0F};
    m_prm.TgUpdateThermal(0.0F, temps.data(), 0);
    PrmValues wanted = firstSensor(9);
    wanted.thermalFactor[1] = -11.0F;
    expectSame(snapshot(m_prm), expected(wanted));
    m_prm.TgUpdateThermal(0.0F, temps.data(), 2);
    wanted.thermalFactor[3] = -16.5F;
    expectSame(snapshot(m_prm), expected(wanted));
}

TEST_F(Accessors, thermalStepWithoutTemperaturesEndsSilentlyAndChangesNothing)
{
    for (const int which : {0, 1, 2, -1}) {
        for (const float factor : {0.0F, 0.5F, 1.0F, std::numeric_limits<float>::infinity()}) {
            m_prm.TgUpdateThermal(factor, nullptr, which);
        }
    }
    expectSame(snapshot(m_prm), expected(firstSensor(9)));
    EXPECT_FALSE(modifiedFlag(m_prm));
    EXPECT_TRUE(loadedFlag(m_prm));
    CKorPrm empty;
    empty.TgUpdateThermal(0.5F, nullptr, 0);
    EXPECT_FALSE(loadedFlag(empty));
    EXPECT_FALSE(modifiedFlag(empty));
}

TEST_F(Accessors, thermalStepNeedsNoLoadedObject)
{
    CKorPrm prm;
    std::array<float, 3> temps = {1.0F, 2.0F, 3.0F};
    // Gain and offset start at zero, so only an infinite factor leaves a trace: zero times infinity.
    prm.TgUpdateThermal(std::numeric_limits<float>::infinity(), temps.data(), 0);
    PrmFile file(firstSensor(5));
    file[12].body = "";
    ASSERT_EQ(read(prm, file.text()), kSuccess);
    F_VECTOR4 got{};
    ASSERT_EQ(prm.getThermalFactor(got), kSuccess);
    EXPECT_TRUE(sameBits(got.x, 0.0F));
    EXPECT_TRUE(std::isnan(got.y));
    EXPECT_TRUE(sameBits(got.z, 0.0F));
    EXPECT_TRUE(sameBits(got.w, 0.0F));
}

// Pins [table-gone].
TEST_F(Accessors, afterDestroyTheTablesAreGoneAndTheRestStays)
{
    m_prm.Destroy();
    m_prm.Destroy();
    std::vector<float> table(16, kMark);
    std::vector<double> spline(16, -777.0);
    const auto untouchedTable = table;
    const auto untouchedSpline = spline;

    unsigned int count = 0;
    EXPECT_EQ(m_prm.getAzimuthComp(count, table.data()), kNotLoaded);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(m_prm.getElevationComp(count, table.data()), kNotLoaded);
    EXPECT_EQ(count, 3U);
    count = 0;
    EXPECT_EQ(m_prm.getLevelXComp(count, table.data(), spline.data()), kNotLoaded);
    EXPECT_EQ(count, 4U);
    count = 0;
    EXPECT_EQ(m_prm.getLevelYComp(count, table.data(), spline.data()), kNotLoaded);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(table, untouchedTable);
    EXPECT_EQ(spline, untouchedSpline);

    count = 0;
    EXPECT_EQ(m_prm.getAzimuthComp(count, nullptr), kBadArgument);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(m_prm.getElevationComp(count, nullptr), kBadArgument);
    EXPECT_EQ(m_prm.getLevelXComp(count, nullptr, spline.data()), kBadArgument);
    EXPECT_EQ(m_prm.getLevelYComp(count, table.data(), nullptr), kBadArgument);

    int mode = 0;
    EXPECT_EQ(m_prm.getMountMode(mode), kSuccess);
    EXPECT_EQ(mode, 9);
    float first = 0.0F;
    float last = 0.0F;
    EXPECT_EQ(m_prm.getAzimuthCompRollover(first, last), kSuccess);
    EXPECT_EQ(first, 1.25F);
    EXPECT_EQ(last, 359.0F);
    EXPECT_TRUE(loadedFlag(m_prm));
}

TEST_F(Accessors, afterDestroyATableWithoutRowsIsStillEmpty)
{
    PrmFile file(firstSensor(9));
    file[15].body = "0\n";
    ASSERT_EQ(read(m_prm, file.text()), kSuccess);
    m_prm.Destroy();
    unsigned int count = 77;
    float cell = -1.0F;
    EXPECT_EQ(m_prm.getAzimuthComp(count, &cell), kSuccess);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(cell, -1.0F);
}

TEST_F(Accessors, afterDestroyAFileCanBeReadAgain)
{
    CKorPrm prm;
    load(prm, secondSensor(9));
    prm.Destroy();
    // More azimuth rows than the released table had: a new one is made.
    load(prm, firstSensor(9));
    expectSame(snapshot(prm), expected(firstSensor(9)));
}

TEST_F(Accessors, levelYTableThatWasNeverReadIsEmpty)
{
    CKorPrm prm;
    ASSERT_EQ(read(prm, PrmFile(firstSensor(5)).text(1, 17)), kSuccess);
    std::array<float, 3> table = {kMark, kMark, kMark};
    const auto untouched = table;
    double spline = -777.0;
    unsigned int count = 4711;
    EXPECT_EQ(prm.getLevelYComp(count, table.data(), &spline), kSuccess);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(table, untouched);
    EXPECT_EQ(spline, -777.0);
    count = 4711;
    EXPECT_EQ(prm.getLevelYComp(count, nullptr, nullptr), kBadArgument);
    EXPECT_EQ(count, 0U);
}

TEST_F(Accessors, copiesHoldEveryValue)
{
    ASSERT_EQ(m_prm.setTiltOffset({5.0F, 6.0F}), kSuccess);
    PrmValues wanted = firstSensor(9);
    wanted.tiltOffset = {5.0F, 6.0F};
    CKorPrm copy(m_prm);
    expectSame(snapshot(copy), expected(wanted));
    EXPECT_TRUE(modifiedFlag(copy));
    EXPECT_STREQ(copy.prmDirectory, m_prm.prmDirectory);

    CKorPrm assigned;
    load(assigned, secondSensor(5));
    CKorPrm& result = (assigned = m_prm);
    EXPECT_EQ(&result, &assigned);
    expectSame(snapshot(assigned), expected(wanted));
    EXPECT_TRUE(modifiedFlag(assigned));
    EXPECT_STREQ(assigned.prmDirectory, m_prm.prmDirectory);
}

// Pins [azimuth-array-stays].
TEST_F(Accessors, copiesShareTheAzimuthTable)
{
    CKorPrm copy(m_prm);
    CKorPrm assigned;
    assigned = m_prm;
    // The kept table is filled again in place: what the copies return changes with it, row count aside.
    load(m_prm, secondSensor(9));
    Snapshot wanted = expected(firstSensor(9));
    wanted["azimuth table"] = {2.0, 1.5, 100.0, -1.25, 350.0, 1.125, 359.0, 0.75};
    expectSame(snapshot(copy), wanted);
    expectSame(snapshot(assigned), wanted);
    expectSame(snapshot(m_prm), expected(secondSensor(9)));
}

// Pins [copies-share-tables].
TEST_F(Accessors, releasedTablesStayWithTheOtherCopies)
{
    CKorPrm copy(m_prm);
    {
        const CKorPrm another(copy);
        m_prm.Destroy();
    }
    expectSame(snapshot(copy), expected(firstSensor(9)));
    copy.Destroy();
    m_prm.Destroy();
    load(copy, firstSensor(9));
    expectSame(snapshot(copy), expected(firstSensor(9)));
}

TEST_F(Accessors, replacedTablesStayWithTheOtherCopies)
{
    PrmValues second = secondSensor(9);
    second.azimuth = firstSensor(9).azimuth;
    CKorPrm copy(m_prm);
    load(m_prm, second);
    expectSame(snapshot(m_prm), expected(second));
    expectSame(snapshot(copy), expected(firstSensor(9)));
}

TEST_F(Accessors, assignmentToItselfChangesNothing)
{
    CKorPrm& same = m_prm;
    m_prm = same;
    expectSame(snapshot(m_prm), expected(firstSensor(9)));
}

TEST_F(Accessors, assignmentReleasesTheTablesOfTheTarget)
{
    // A leak detector sees the tables that an assignment forgets, an address sanitizer those released twice.
    CKorPrm target;
    load(target, secondSensor(9));
    CKorPrm keeper(target);
    target = m_prm;
    m_prm = CKorPrm();
    expectSame(snapshot(target), expected(firstSensor(9)));
    expectSame(snapshot(keeper), expected(secondSensor(9)));
    target = CKorPrm();
    keeper = CKorPrm();
    int mode = 0;
    EXPECT_EQ(target.getMountMode(mode), kNotLoaded);
}

} // namespace
