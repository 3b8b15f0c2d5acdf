// What an engine asks of its orientation model: which operations, in which order, with which arguments.
#include "engine/RecordingModel.h"
#include "engine/engine_pair.h"

#include <cfloat>
#include <climits>

namespace kor_test {
namespace {

using Calls = std::vector<ModelCall>;

const std::array<float, 8> kFactors = {0.1F, 0.2F, 0.3F, 0.4F, 1.5F, 1.6F, 1.7F, 0.8F};
const std::array<float, 6> kQvc = {10.1F, 20.2F, 30.3F, 0.5F, -0.5F, 0.25F};
const std::array<float, 7> kLevel1 = {0.01F, 0.02F, 0.03F, 0.04F, 0.05F, 0.06F, 1.07F};
const std::array<float, 7> kLevel2 = {1.01F, 1.02F, 1.03F, 1.04F, 1.05F, 1.06F, 2.07F};
const std::array<float, 7> kDynamic = {0.2F, 0.4F, 0.6F, 0.7F, 3, 2, 1};
const std::array<float, 3> kA = {0.3F, 1.7F, -0.9F};
const std::array<float, 3> kB = {-0.4F, 2.3F, 1.1F};

const std::array<int, 9> kModesBelow7 = {1, 2, 3, 4, 5, 6, 0, -1, INT_MIN};
const std::array<int, 7> kModesFrom7 = {7, 8, 9, 10, 11, 1000, INT_MAX};

// A rotation that is not the identity and not its own inverse, in exact doubles.
const Matrix kTurned = {0, -1, 0, 0, 0, -1, 1, 0, 0};

template <typename Array>
std::vector<double> widened(const Array& values)
{
    return std::vector<double>(values.begin(), values.end());
}

// An engine with a recording model whose corrections are exact in binary: level X becomes (x + 1 - 0.5) * 2, level Y
// (y + 2 - 0.25) * 4, azimuth a + 1, elevation e + 3.
class ModelCalls : public ::testing::Test {
protected:
    ModelCalls()
    {
        const std::array<float, 7> knots = {-10, -5, 0, 5, -10, 5, 0};
        EXPECT_EQ(m_engine.setLevelXComp(4, knots.data(), shifted(knots, 1).data()), 0);
        EXPECT_EQ(m_engine.setLevelYComp(4, knots.data(), shifted(knots, 2).data()), 0);
        EXPECT_EQ(m_engine.setTiltOffset(F_VECTOR2{0.5F, 0.25F}), 0);
        EXPECT_EQ(m_engine.setThermalFactor(F_VECTOR4{0.5F, 1, 1, 2}), 0);
        const std::array<float, 4> azimuth = {0, 1, 180, 1};
        const std::array<float, 4> elevation = {0, 3, 180, 3};
        EXPECT_EQ(m_engine.setAzimuthComp(2, azimuth.data()), 0);
        EXPECT_EQ(m_engine.setElevationComp(2, elevation.data()), 0);
        EXPECT_EQ(m_engine.setEncoderOffset(F_VECTOR2{0.1F, -0.7F}), 0);
        EXPECT_EQ(m_engine.setScaleFactors(kFactors.data(), 8), 0);
        EXPECT_EQ(m_engine.setQVCParameters(kQvc.data(), 6), 0);
        EXPECT_EQ(m_engine.setLevel1Parameters(kLevel1.data(), 7), 0);
        EXPECT_EQ(m_engine.setLevel2Parameters(kLevel2.data(), 7), 0);
        Matrix identity = kIdentity;
        EXPECT_EQ(m_engine.setLocalMatrix(identity.data(), 3), 0);
        EXPECT_EQ(m_engine.setMachineMatrix(identity.data(), 3), 0);
        m_model = recordModelCalls(m_engine);
    }

    static std::vector<double> shifted(const std::array<float, 7>& knots, double shift)
    {
        std::vector<double> coefficients;
        for (std::size_t i = 0; i < 4; ++i) {
            coefficients.insert(coefficients.end(), {static_cast<double>(knots[i]) + shift, 1.0, 0.0, 0.0});
        }
        return coefficients;
    }

    static KOR_RAWINFO sample(float levelX, float levelY, std::uint32_t timeStampMs = 1000)
    {
        KOR_RAWINFO raw = plainSample();
        raw.sensorVector[0] = 0.1F;
        raw.sensorVector[1] = 2000.3F;
        raw.sensorVector[2] = -0.7F;
        raw.azimuthRaw = 40;
        raw.elevationRaw = 20;
        raw.levelXRaw = levelX;
        raw.levelYRaw = levelY;
        raw.levelTemperature = 2;
        raw.temperatureCount[0] = 41920;
        raw.temperatureCount[1] = 2 * 41920;
        raw.temperatureCount[2] = 3 * 41920;
        raw.timeStampMs = timeStampMs;
        return raw;
    }

    void fillStore() { EXPECT_EQ(LoadParameterStore(m_engine, kDynamic.data(), kA.data(), kB.data()), 0); }

    void chooseMode(int mode)
    {
        EXPECT_EQ(m_engine.setMountMode(mode), 0);
        m_model->calls.clear();
    }

    Calls callsOf(const KOR_RAWINFO& raw)
    {
        m_info = feed(m_engine, raw);
        return m_model->takeCalls();
    }

    // The calls of one valid sample up to CalTranxMatrix, without the parameter store.
    static Calls upToMatrix(double levelX, double levelY, double samples, double seconds)
    {
        return {{"SetLevelLimits", {0, 0}},
                {"SetCounter", {samples, samples}},
                {"SetTimeInterval", {seconds, seconds}},
                {"CalTranxMatrix", inputs(levelX, levelY)}};
    }

    // The nine inputs, the two encoder offsets and the size.
    static std::vector<double> inputs(double levelX, double levelY)
    {
        return {static_cast<double>(0.1F),
                static_cast<double>(2000.3F),
                static_cast<double>(-0.7F),
                levelX,
                levelY,
                41,
                23,
                1,
                3,
                static_cast<double>(0.1F),
                static_cast<double>(-0.7F),
                3};
    }

    static Calls followedBy(Calls calls, const Calls& more)
    {
        calls.insert(calls.end(), more.begin(), more.end());
        return calls;
    }

    static Calls readBack(double levelX, double levelY)
    {
        return {{"GetQVCMatrix", {6}}, {"GetLevelValues", {levelX, levelY}}};
    }

    CKor m_engine;
    std::shared_ptr<RecordingModel> m_model;
    KOR_INFO m_info{};
};

// Sequence -------------------------------------------------------------------------------------------------------

TEST_F(ModelCalls, belowMode7ASampleMakesFourCalls)
{
    for (const int mode : kModesBelow7) {
        if (mode == 5 || mode == 6) {
            continue; // their level X is a ratio
        }
        SCOPED_TRACE(mode);
        chooseMode(mode);
        KOR_RAWINFO rejected = sample(3, 1);
        rejected.status = 0;
        feed(m_engine, rejected); // restarts the counts
        m_model->calls.clear();
        EXPECT_TRUE(sameCalls(callsOf(sample(3, 1, 5000)), upToMatrix(7, 11, 1, 0)));
        EXPECT_TRUE(sameCalls(callsOf(sample(-4, -2, 5250)), upToMatrix(-7, -1, 2, 0.25)))
            << "with a reference the same";
    }
}

TEST_F(ModelCalls, inModes5And6LevelXIsTheRatioOfTheReadings)
{
    for (const int mode : {5, 6}) {
        SCOPED_TRACE(mode);
        chooseMode(mode);
        // 1024 / 4096 = 0.25 goes through the table of level X; 4096 lies outside the table of level Y.
        Calls calls = callsOf(sample(1024, 4096));
        ASSERT_EQ(calls.size(), 4U);
        EXPECT_TRUE(sameCalls({calls[0]}, {{"SetLevelLimits", {0, 1}}}));
        EXPECT_EQ(calls[3].arguments[3], (0.25 + 1 - 0.5) * 2);
        // At 2000 and below the input is 0.
        calls = callsOf(sample(1024, 2000));
        EXPECT_EQ(calls[3].arguments[3], (0.0 + 1 - 0.5) * 2);
        // 98304 / 4096 = 24 lies outside.
        EXPECT_TRUE(sameCalls({callsOf(sample(98304, 4096))[0]}, {{"SetLevelLimits", {1, 1}}}));
        EXPECT_TRUE(sameCalls({callsOf(sample(98304, 5))[0]}, {{"SetLevelLimits", {0, 0}}}));
    }
}

TEST_F(ModelCalls, fromMode7OnQvcAndLevelsAreReadAfterTheMatrix)
{
    for (const int mode : kModesFrom7) {
        SCOPED_TRACE(mode);
        chooseMode(mode);
        KOR_RAWINFO rejected = sample(3, 1);
        rejected.status = 0;
        feed(m_engine, rejected);
        m_model->calls.clear();
        EXPECT_TRUE(sameCalls(callsOf(sample(3, 1, 5000)), followedBy(upToMatrix(7, 11, 1, 0), readBack(7, 11))));
        EXPECT_TRUE(
            sameCalls(callsOf(sample(-4, -2, 5250)), followedBy(upToMatrix(-7, -1, 2, 0.25), readBack(-7, -1))));
    }
}

TEST_F(ModelCalls, fromMode7OnAFilledStoreHandsOverAdjustedQvcParametersBeforeTheMatrix)
{
    fillStore();
    EXPECT_EQ(m_engine.setPSDParameters(300, -400, 1000), 0);
    const float a = 300.0F / 1000.0F;
    const float b = -400.0F / 1000.0F;
    std::array<float, 6> adjusted = kQvc;
    adjusted[3] = ((kA[1] * kA[2]) * b + (kA[1] * a + kA[0])) + kQvc[3];
    adjusted[4] = kQvc[4] - ((kB[1] * kB[2]) * a + (kB[1] * b + kB[0]));
    for (const int mode : kModesFrom7) {
        SCOPED_TRACE(mode);
        chooseMode(mode);
        KOR_RAWINFO rejected = sample(3, 1);
        rejected.status = 0;
        feed(m_engine, rejected);
        m_model->calls.clear();
        for (const double samples : {1.0, 2.0, 3.0}) {
            Calls wanted = followedBy(upToMatrix(7, 11, samples, 0), readBack(7, 11));
            wanted.insert(wanted.begin() + 3, ModelCall{"UpdateQVCParameters", widened(adjusted)});
            EXPECT_TRUE(sameCalls(callsOf(sample(3, 1)), wanted));
        }
    }
}

TEST_F(ModelCalls, belowMode7AFilledStoreChangesNothing)
{
    fillStore();
    EXPECT_EQ(m_engine.setPSDParameters(300, -400, 1000), 0);
    for (const int mode : {3, 1, 0}) {
        SCOPED_TRACE(mode);
        chooseMode(mode);
        KOR_RAWINFO rejected = sample(3, 1);
        rejected.status = 0;
        feed(m_engine, rejected);
        m_model->calls.clear();
        EXPECT_TRUE(sameCalls(callsOf(sample(3, 1)), upToMatrix(7, 11, 1, 0)));
    }
}

TEST_F(ModelCalls, aModelThatSaysNoIsAskedNothingMore)
{
    for (const int mode : {5, 3, 8, 10}) {
        SCOPED_TRACE(mode);
        chooseMode(mode);
        m_model->givesMatrix = false;
        m_model->matrix = kTurned;
        const Calls calls = callsOf(sample(3, 1));
        ASSERT_EQ(calls.size(), 4U);
        EXPECT_EQ(calls.back().operation, "CalTranxMatrix");
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(m_info.orientationAngles[i], 0.0F);
            EXPECT_EQ(m_info.sensorOut[i], 0.0F);
        }
        Matrix matrix{};
        EXPECT_EQ(m_engine.ReadMatrix(matrix.data()), 0) << "a valid status is enough";
        EXPECT_TRUE(sameBitsThroughout(matrix, kIdentity));
    }
    // No such sample has become the reference: the next one does, and so has no angles yet.
    chooseMode(8);
    m_model->givesMatrix = true;
    EXPECT_EQ(callsOf(sample(3, 1)).size(), 6U);
    EXPECT_EQ(m_info.orientationAngles[0], 0.0F);
    EXPECT_TRUE(sameBitsThroughout(readMatrix(m_engine), kIdentity));
    callsOf(sample(3, 1));
    EXPECT_NE(m_info.orientationAngles[1], 0.0F);
    EXPECT_TRUE(sameBitsThroughout(readMatrix(m_engine), kTurned));
}

// Pins [limits-at-every-status].
TEST_F(ModelCalls, samplesOfOtherStatusTellTheLimitsAndNothingElse)
{
    for (const bool filled : {false, true}) {
        if (filled) {
            fillStore();
        }
        for (const int mode : {1, 3, 5, 7, 8, 10}) {
            SCOPED_TRACE(mode);
            chooseMode(mode);
            for (const int status : {0, 1, 3, -2, INT_MIN, INT_MAX}) {
                KOR_RAWINFO raw = sample(3, 1);
                raw.status = status;
                EXPECT_TRUE(sameCalls(callsOf(raw), {{"SetLevelLimits", {0, 0}}}));
                raw.levelYRaw = 6;
                EXPECT_TRUE(sameCalls(callsOf(raw), {{"SetLevelLimits", {0, 1}}}));
            }
        }
    }
}

// Arguments ------------------------------------------------------------------------------------------------------

TEST_F(ModelCalls, theLimitsAreLevelXThenLevelY)
{
    chooseMode(3);
    const auto limits = [&](float x, float y) { return callsOf(sample(x, y))[0]; };
    EXPECT_TRUE(sameCalls({limits(5, -10)}, {{"SetLevelLimits", {0, 0}}})) << "the ends belong to the table";
    EXPECT_TRUE(sameCalls({limits(5.5F, 5)}, {{"SetLevelLimits", {1, 0}}}));
    EXPECT_TRUE(sameCalls({limits(5, -10.5F)}, {{"SetLevelLimits", {0, 1}}}));
    EXPECT_TRUE(sameCalls({limits(-11, 6)}, {{"SetLevelLimits", {1, 1}}}));
    EXPECT_TRUE(sameCalls({limits(kNoNumber, 0)}, {{"SetLevelLimits", {1, 0}}}));
}

TEST_F(ModelCalls, aLevelWithoutATableIsOutOfRange)
{
    CKor bare;
    const auto model = recordModelCalls(bare);
    EXPECT_EQ(bare.setMountMode(3), 0);
    model->calls.clear();
    feed(bare, sample(0, 0));
    EXPECT_TRUE(sameCalls({model->calls[0]}, {{"SetLevelLimits", {1, 1}}}));
}

TEST_F(ModelCalls, theNineInputsPassBitForBit)
{
    // Values that any detour, through another type or an addition, would change.
    chooseMode(8);
    KOR_RAWINFO raw = sample(3, 1);
    for (const float value : {-0.0F, FLT_MIN / 8, -FLT_MAX, kInfinite, kNoNumber, 16777217.0F, 1.0F / 3.0F}) {
        for (std::size_t slot = 0; slot < 3; ++slot) {
            raw.sensorVector[slot] = value;
            std::vector<double> wanted = inputs(7, 11);
            for (std::size_t i = 0; i < 3; ++i) {
                wanted[i] = static_cast<double>(raw.sensorVector[i]);
            }
            EXPECT_TRUE(sameCalls({callsOf(raw)[3]}, {{"CalTranxMatrix", wanted}}));
        }
    }
}

// Pins [second-temperature].
TEST_F(ModelCalls, theInputsAreTheCorrectedReadingsOfTheRecord)
{
    // Corrections that are not exact in binary: the buffer holds the record's floats, not the numbers before rounding.
    EXPECT_EQ(m_engine.setTiltOffset(F_VECTOR2{0.1F, 0.2F}), 0);
    EXPECT_EQ(m_engine.setThermalFactor(F_VECTOR4{0.013F, 0.9F, -0.017F, 1.1F}), 0);
    const std::array<float, 4> azimuth = {0, 0.013F, 120, -0.021F};
    chooseMode(3);
    KOR_RAWINFO raw = sample(1.7F, -2.9F);
    raw.levelTemperature = 21.3F;
    raw.azimuthRaw = 217.77F;
    raw.elevationRaw = -12.34F;
    raw.temperatureCount[0] = 16777215; // -1 in 24 bits
    raw.temperatureCount[2] = 1234567;
    EXPECT_EQ(m_engine.setAzimuthComp(2, azimuth.data()), 0);
    const std::vector<double> got = callsOf(raw)[3].arguments;
    const std::array<float, 6> fields = {m_info.levelX,    m_info.levelY,         m_info.azimuth,
                                         m_info.elevation, m_info.temperature[0], m_info.temperature[2]};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        EXPECT_TRUE(sameBits(got[3 + i], static_cast<double>(fields[i]))) << "slot " << 3 + i;
    }
    EXPECT_TRUE(sameBits(got[7], static_cast<double>(-1.0F / 41920.0F)));
    EXPECT_TRUE(sameBits(got[8], static_cast<double>(1234567.0F / 41920.0F)));
}

// Pins [elapsed-time-stays].
TEST_F(ModelCalls, countersAndTimesFollowTheRunOfEachLevel)
{
    chooseMode(3);
    const auto runs = [&](const KOR_RAWINFO& raw) {
        const Calls calls = callsOf(raw);
        EXPECT_EQ(calls.size(), 4U);
        EXPECT_EQ(calls[1].operation, "SetCounter");
        EXPECT_EQ(calls[2].operation, "SetTimeInterval");
        std::vector<double> numbers = calls[1].arguments;
        numbers.insert(numbers.end(), calls[2].arguments.begin(), calls[2].arguments.end());
        return numbers;
    };
    using Numbers = std::vector<double>;
    const float outside = 6;
    EXPECT_EQ(runs(sample(0, 0, 1000)), (Numbers{1, 1, 0, 0}));
    EXPECT_EQ(runs(sample(0, 0, 1500)), (Numbers{2, 2, 0.5, 0.5}));
    EXPECT_EQ(runs(sample(outside, 0, 1750)), (Numbers{0, 3, 0.5, 0.75})) << "the time of the last run stays";
    EXPECT_EQ(runs(sample(outside, outside, 2000)), (Numbers{0, 0, 0.5, 0.75}));
    EXPECT_EQ(runs(sample(0, outside, 2250)), (Numbers{1, 0, 0, 0.75})) << "a new run starts at its own stamp";
    EXPECT_EQ(runs(sample(0, 0, 2750)), (Numbers{2, 1, 0.5, 0}));

    KOR_RAWINFO rejected = sample(0, 0, 3000);
    rejected.status = 1;
    feed(m_engine, rejected);
    m_model->calls.clear();
    EXPECT_EQ(runs(sample(outside, 0, 4000)), (Numbers{0, 1, 0.5, 0})) << "a rejected sample ends both runs";
    EXPECT_EQ(runs(sample(0, 0, 4250)), (Numbers{1, 2, 0, 0.25}));

    // A model that says no does not stop the counts.
    m_model->givesMatrix = false;
    EXPECT_EQ(runs(sample(0, 0, 4500)), (Numbers{2, 3, 0.25, 0.5}));
}

TEST_F(ModelCalls, theTimeIsADifferenceOfStampsModulo2To32)
{
    chooseMode(3);
    feed(m_engine, sample(0, 0, 0xFFFFFF00U));
    m_model->calls.clear();
    EXPECT_EQ(callsOf(sample(0, 0, 244))[2].arguments, (std::vector<double>{0.5, 0.5}));
    EXPECT_EQ(callsOf(sample(0, 0, 0xFFFFFEFFU))[2].arguments, (std::vector<double>{4294967.295, 4294967.295}));
}

TEST_F(ModelCalls, countersStayBelow2To32)
{
    chooseMode(3);
    feed(m_engine, sample(0, 0));
    CKorAccess::state(m_engine).levelXRun.samples = 0x7FFFFFFEU;
    CKorAccess::state(m_engine).levelYRun.samples = 0xFFFFFFFEU;
    m_model->calls.clear();
    EXPECT_EQ(callsOf(sample(0, 0))[1].arguments, (std::vector<double>{2147483647.0, 4294967295.0}));
    EXPECT_EQ(callsOf(sample(0, 0))[1].arguments, (std::vector<double>{2147483648.0, 0.0}));
}

// Answers --------------------------------------------------------------------------------------------------------

TEST_F(ModelCalls, theMatrixComesBackInTheBuffer)
{
    m_model->matrix = kTurned;
    chooseMode(7);
    feed(m_engine, sample(3, 1)); // the reference
    feed(m_engine, sample(3, 1));
    EXPECT_TRUE(sameBitsThroughout(readMatrix(m_engine), kTurned));
    chooseMode(3);
    Matrix machine = rotationZ(0.25);
    EXPECT_EQ(m_engine.setMachineMatrix(machine.data(), 3), 0);
    feed(m_engine, sample(3, 1));
    EXPECT_TRUE(sameBitsThroughout(readMatrix(m_engine), multiply(machine, kTurned)));
}

TEST_F(ModelCalls, fromMode7OnSensorOutAndLevelsAreTheModels)
{
    m_model->givesLevels = true;
    m_model->level1 = 0.375F;
    m_model->level2 = -0.625F;
    chooseMode(7);
    callsOf(sample(3, 1));
    EXPECT_EQ(m_info.sensorOut[0], 101.0F);
    EXPECT_EQ(m_info.sensorOut[1], 102.0F);
    EXPECT_EQ(m_info.sensorOut[2], 103.0F);
    EXPECT_EQ(m_info.levelX, 0.375F);
    EXPECT_EQ(m_info.levelY, -0.625F);
    chooseMode(6);
    callsOf(sample(3, 1));
    EXPECT_EQ(m_info.sensorOut[1], 2000.3F);
    EXPECT_EQ(m_info.levelY, 11.0F);
}

TEST_F(ModelCalls, aModelWithoutLevelValuesLeavesTheCorrectedOnes)
{
    chooseMode(8);
    callsOf(sample(3, 1));
    EXPECT_EQ(m_info.levelX, 7.0F);
    EXPECT_EQ(m_info.levelY, 11.0F);
}

// Priming --------------------------------------------------------------------------------------------------------

Calls priming()
{
    return {{"UpdateSFactors", widened(kFactors)},
            {"UpdateQVCParameters", widened(kQvc)},
            {"UpdateLevel1Parameters", widened(kLevel1)},
            {"UpdateLevel2Parameters", widened(kLevel2)}};
}

TEST_F(ModelCalls, theMountModePrimesInOrderOnEveryCall)
{
    for (const int mode : {1, 2, 3, 5, 7, 8, 9, 10, 0, -3, 11, 1}) {
        SCOPED_TRACE(mode);
        EXPECT_EQ(m_engine.setMountMode(mode), 0);
        EXPECT_TRUE(sameCalls(m_model->takeCalls(), priming()));
    }
}

TEST_F(ModelCalls, aFilledStoreEndsThePrimingWithTheDynamicParametersInEveryMode)
{
    fillStore();
    for (const int mode : {1, 3, 5, 8, 10, 0}) {
        SCOPED_TRACE(mode);
        EXPECT_EQ(m_engine.setMountMode(mode), 0);
        EXPECT_TRUE(
            sameCalls(m_model->takeCalls(), followedBy(priming(), {{"SetDynamicParameters", widened(kDynamic)}})));
    }
}

TEST_F(ModelCalls, thePrimingLeavesTheParityOfAPresentModel)
{
    EXPECT_EQ(m_model->set_iMMode(1), 1);
    EXPECT_EQ(m_engine.setMountMode(4), 0);
    EXPECT_EQ(m_model->set_iMMode(-1), 1);
    EXPECT_EQ(m_model->set_iMMode(0), 0);
    EXPECT_EQ(m_engine.setMountMode(9), 0);
    EXPECT_EQ(m_model->set_iMMode(-1), 0);
}

// Pins [parity-of-negative-mode].
TEST(ModelCreation, theParityIsTheModeModulo2AndZeroForNegativeModes)
{
    for (int mode = -5; mode <= 12; ++mode) {
        CKor engine;
        EXPECT_EQ(engine.setMountMode(mode), 0);
        EXPECT_EQ(CKorAccess::state(engine).model->set_iMMode(-1), mode > 0 ? mode % 2 : 0) << mode;
    }
}

TEST_F(ModelCalls, noOperationButSamplesAndMountModeReachesTheModel)
{
    EXPECT_TRUE(m_model->takeCalls().empty()) << "the whole configuration";
    fillStore();
    EXPECT_EQ(m_engine.setMcsFlag(false), 0);
    EXPECT_EQ(m_engine.setPSDParameters(1, 2, 3), 0);
    EXPECT_EQ(m_engine.setQVCParameters(kQvc.data(), 6), 0);
    EXPECT_EQ(m_engine.Initialization(), 0);
    readMatrix(m_engine);
    m_engine.getInverseAzCalib(1.0F);
    const CKor copy(m_engine);
    m_engine.Destroy();
    EXPECT_TRUE(m_model->takeCalls().empty());
}

} // namespace
} // namespace kor_test
