// One call from parameter set to configured engine, against the calls made one by one.
#include "KORInterface/Configure.h"
#include "KORInterface/ParameterStore.h"
#include "engine/RecordingModel.h"
#include "engine/engine_pair.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kor_test {
namespace {

// A parameter file in a directory of its own that goes away with the test.
class ConfigureEngine : public ::testing::Test {
protected:
    void SetUp() override
    {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_directory = std::filesystem::temp_directory_path() /
                      (std::string("kor-configure-") + test->name() +
                       std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
                       std::to_string(reinterpret_cast<std::uintptr_t>(this)));
        std::filesystem::create_directories(m_directory);
    }
    void TearDown() override { std::filesystem::remove_all(m_directory); }

    void load(CKorPrm& prm, int mode, bool tiltY)
    {
        std::ofstream file(m_directory / "Tg7.prm", std::ios::binary);
        file << "Serial Number\n7\nDevice Owner\nnobody\n";
        for (const char* title : {"AZ Position Gain", "EL Position Gain", "AZ Tracking Gain", "EL Tracking Gain"}) {
            file << title << "\n1\t2\t3\t4\t5\t6\n";
        }
        file << "Digital Damping\n1\t2\t3\t4\n"
                "Angle Offset\n10.5\t-3.25\n"
                "Transform Vector\n1\t2\t3\n"
                "Local Coordinate Tranform Matrix\n0\t-1\t0\n1\t0\t0\n0\t0\t1\n"
                "Machine Coordinate Tranform Matrix\n0\t0\t2\n4\t0\t0\n0\t8\t0\n"
                "Thermal Compensation Factor\n0.25\t1.5\t-0.125\t0.75\n"
                "Tilt Sensor Offset\n0.5\t-0.25\n"
                "ADM Offset\n1.25\n"
                "AZ Calibration Table\n3\n0\t0.5\n100\t-0.25\n200\t0.125\n"
                "EL Calibration Table\n2\n0\t0.25\n180\t-0.5\n"
                "Tilt X Calibration Table\n4\n-10\t-9\n-5\t-5.5\n0\t0.25\n10\t9.5\n-35\t35\t0\nend\n";
        if (tiltY) {
            file << "Tilt Y Calibration Table\n4\n-8\t-9\n-3\t-2.5\n1\t1.25\n9\t8.5\n-35\t35\t0\nend\n";
        }
        if (tiltY) {
            file << "Scale Factor\n0.5\t0.25\t0.125\t0.0625\t1.125\t0.875\t1.0625\t0\n"
                 << "Mounting Mode\n"
                 << mode << "\n";
        }
        if (mode >= 7) {
            file << "QVC\n10\t20\t30\t0.5\t-0.5\t0.25\n"
                    "Level_X\n0\t0\t0\t0.5\t0.25\t0.125\t1.25\n"
                    "Level_Y\n0\t0\t0\t40\t0.5\t-0.25\t0.75\n"
                    "Half Angle\n180\t60\n"
                    "PSDX\n0.25\t0.5\t0.75\nPSDY\n-0.25\t1.5\t0.125\n"
                    "DynamicParameters\n1\t2\t3\t4\t5\t6\t7\n";
        }
        file.close();
        ASSERT_EQ(prm.ReadCalibrationFile(m_directory.wstring().c_str(), 7), 0);
    }

    std::filesystem::path m_directory;
};

void configureByHand(CKor& engine, CKorPrm& prm, int mode)
{
    unsigned int count = 0;
    std::array<float, 64> table{};
    std::array<double, 64> coefficients{};
    F_VECTOR2 two{};
    F_VECTOR4 four{};
    Matrix matrix{};
    prm.getAzimuthComp(count, table.data());
    engine.setAzimuthComp(static_cast<int>(count), table.data());
    prm.getElevationComp(count, table.data());
    engine.setElevationComp(static_cast<int>(count), table.data());
    prm.getEncoderOffset(two);
    engine.setEncoderOffset(two);
    prm.getKnownVector(matrix.data());
    engine.setKnownVector(matrix.data());
    prm.getLocalMatrix(matrix.data(), 3);
    engine.setLocalMatrix(matrix.data(), 3);
    prm.getMachineMatrix(matrix.data(), 3);
    engine.setMachineMatrix(matrix.data(), 3);
    prm.getLevelXComp(count, table.data(), coefficients.data());
    engine.setLevelXComp(static_cast<int>(count), table.data(), coefficients.data());
    count = 0;
    prm.getLevelYComp(count, table.data(), coefficients.data());
    if (count > 0) {
        engine.setLevelYComp(static_cast<int>(count), table.data(), coefficients.data());
    }
    prm.getLevel1Parameters(table.data(), count);
    engine.setLevel1Parameters(table.data(), 7);
    prm.getLevel2Parameters(table.data(), count);
    engine.setLevel2Parameters(table.data(), 7);
    prm.getQVCParameters(table.data(), count);
    engine.setQVCParameters(table.data(), 6);
    prm.getScaleFactors(table.data(), count);
    engine.setScaleFactors(table.data(), 8);
    prm.getThermalFactor(four);
    engine.setThermalFactor(four);
    prm.getTiltOffset(two);
    engine.setTiltOffset(two);
    engine.setMountMode(mode);
}

void expectAlike(CKor& one, CKor& other)
{
    for (int i = 0; i < 30; ++i) {
        KOR_RAWINFO raw = plainSample();
        const auto step = static_cast<float>(i);
        raw.sensorVector[0] = 100.0F * step - 700.0F;
        raw.sensorVector[1] = 4000.0F;
        raw.sensorVector[2] = 50.0F * step;
        raw.azimuthRaw = 11.0F * step;
        raw.elevationRaw = 3.0F * step - 40.0F;
        raw.levelXRaw = step / 4 - 3;
        raw.levelYRaw = i % 3 == 0 ? 3000.0F : 2 - step / 4;
        raw.levelTemperature = step;
        const KOR_INFO a = feed(one, raw);
        const KOR_INFO b = feed(other, raw);
        ASSERT_TRUE(sameResult(a, b)) << i;
        ASSERT_TRUE(sameBitsThroughout(readMatrix(one), readMatrix(other))) << i;
        if (i == 12) {
            one.setMcsFlag(false);
            other.setMcsFlag(false);
        }
    }
}

TEST_F(ConfigureEngine, anUnloadedParameterSetGives551AndConfiguresNothing)
{
    CKor engine;
    CKorPrm prm;
    EXPECT_EQ(kor::ConfigureEngine(engine, prm), 551);
    EXPECT_EQ(kor::ConfigureEngine(engine, prm, 5), 551);
    EXPECT_TRUE(isAllZero(feed(engine, plainSample()))) << "no mount mode has been chosen";
}

TEST_F(ConfigureEngine, doesWhatTheHandWrittenSequenceDoes)
{
    for (const int mode : {1, 3, 5, 6, 7, 8}) {
        SCOPED_TRACE(mode);
        CKorPrm prm;
        load(prm, mode, true);
        CKor byCall;
        CKor byHand;
        EXPECT_EQ(kor::ConfigureEngine(byCall, prm), 0);
        configureByHand(byHand, prm, mode);
        expectAlike(byCall, byHand);
    }
}

TEST_F(ConfigureEngine, aModeOfTheHostsTakesThePlaceOfTheFiles)
{
    CKorPrm prm;
    load(prm, 1, true);
    CKor byCall;
    CKor byHand;
    EXPECT_EQ(kor::ConfigureEngine(byCall, prm, 5), 0);
    configureByHand(byHand, prm, 5);
    expectAlike(byCall, byHand);
}

TEST_F(ConfigureEngine, aFileWithoutATiltYTableLeavesThatLevelWithoutOne)
{
    CKorPrm prm;
    load(prm, 0, false);
    CKor byCall;
    CKor byHand;
    EXPECT_EQ(kor::ConfigureEngine(byCall, prm), 0);
    configureByHand(byHand, prm, 0);
    expectAlike(byCall, byHand);
}

TEST_F(ConfigureEngine, theParameterStoreTakesTheDetectorBlocksAndTheDynamicParameters)
{
    CKorPrm prm;
    load(prm, 8, true);
    CKor fromSet;
    CKor fromArrays;
    const std::array<float, 7> dynamic = {1, 2, 3, 4, 5, 6, 7};
    const std::array<float, 3> a = {0.25F, 0.5F, 0.75F};
    const std::array<float, 3> b = {-0.25F, 1.5F, 0.125F};
    EXPECT_EQ(LoadParameterStore(fromSet, prm), 0);
    EXPECT_EQ(LoadParameterStore(fromArrays, dynamic.data(), a.data(), b.data()), 0);
    for (CKor* engine : {&fromSet, &fromArrays}) {
        engine->setPSDParameters(300, -200, 1000);
        EXPECT_EQ(kor::ConfigureEngine(*engine, prm), 0);
    }
    expectAlike(fromSet, fromArrays);
}

// The dynamic parameters reach a model when the mount mode is chosen, so a store that is filled later has no effect on
// it. One call cannot get that wrong.
TEST_F(ConfigureEngine, configureFillsTheStoreBeforeItChoosesTheMountMode)
{
    CKorPrm prm;
    load(prm, 10, true);
    for (const bool filled : {true, false}) {
        CKor engine;
        const std::shared_ptr<RecordingModel> model = recordModelCalls(engine);
        EXPECT_EQ(kor::Configure(engine, prm, kor::ConfigureOptions().parameterStore(filled)), 0);
        const std::vector<ModelCall> calls = model->takeCalls();
        ASSERT_EQ(calls.size(), filled ? 5U : 4U);
        EXPECT_EQ(calls.front().operation, "UpdateSFactors");
        if (filled) {
            EXPECT_EQ(calls.back().operation, "SetDynamicParameters");
            EXPECT_EQ(calls.back().arguments, (std::vector<double>{1, 2, 3, 4, 5, 6, 7}));
        }
    }
}

TEST_F(ConfigureEngine, configureDoesWhatTheSingleCallsDo)
{
    for (const bool flag : {true, false}) {
        CKorPrm prm;
        load(prm, 8, true);
        CKor byCall;
        CKor byHand;
        EXPECT_EQ(kor::Configure(
                      byCall, prm,
                      kor::ConfigureOptions().mountMode(6).mcsFlag(flag).detector(300, -200, 1000).parameterStore()),
                  0);
        EXPECT_EQ(LoadParameterStore(byHand, prm), 0);
        configureByHand(byHand, prm, 6);
        byHand.setMcsFlag(flag);
        byHand.setPSDParameters(300, -200, 1000);
        expectAlike(byCall, byHand);
    }
}

TEST_F(ConfigureEngine, configureMovesTheSightByTheDetectorReading)
{
    CKorPrm prm;
    load(prm, 8, true);
    CKor byCall;
    CKor byHand;
    EXPECT_EQ(kor::Configure(byCall, prm, kor::ConfigureOptions().detector(300, -200, 1000).parameterStore()), 0);
    EXPECT_EQ(LoadParameterStore(byHand, prm), 0);
    byHand.setPSDParameters(300, -200, 1000);
    configureByHand(byHand, prm, 8);
    expectAlike(byCall, byHand);
}

TEST_F(ConfigureEngine, configureWithoutOptionsIsTheFileAlone)
{
    CKorPrm prm;
    load(prm, 7, true);
    CKor byCall;
    CKor byHand;
    EXPECT_EQ(kor::Configure(byCall, prm), 0);
    configureByHand(byHand, prm, 7);
    expectAlike(byCall, byHand);
    CKor coordinates;
    coordinates.setMcsFlag(false);
    EXPECT_EQ(kor::Configure(coordinates, prm), 0);
    EXPECT_FALSE(CKorAccess::state(coordinates).mcsFlag) << "what is not asked for stays";
}

TEST_F(ConfigureEngine, configureTellsWhatCannotBeDone)
{
    CKorPrm prm;
    CKor engine;
    EXPECT_EQ(kor::Configure(engine, prm), 551) << "nothing has been loaded";
    load(prm, 8, true);
    CKor destroyed;
    destroyed.Destroy();
    EXPECT_EQ(kor::Configure(destroyed, prm, kor::ConfigureOptions().parameterStore()), 551) << "its store is gone";
    CKor small;
    const std::array<float, 2> oneRow = {0, 0};
    small.setAzimuthComp(1, oneRow.data());
    EXPECT_EQ(kor::Configure(small, prm), 20) << "its table holds one row only";
    prm.Destroy();
    EXPECT_EQ(kor::Configure(engine, prm), 551) << "the tables are gone";
}

// An empty table would fix the size of the engine's at none.
TEST_F(ConfigureEngine, aFileWithoutEncoderRowsLeavesTheEncodersUncorrected)
{
    CKorPrm prm;
    load(prm, 8, true);
    std::ifstream in(m_directory / "Tg7.prm", std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    const std::size_t azimuth = text.find("AZ Calibration Table");
    text.replace(azimuth, text.find("Tilt X Calibration Table") - azimuth,
                 "AZ Calibration Table\n0\nEL Calibration Table\n0\n");
    std::ofstream(m_directory / "Tg7.prm", std::ios::binary) << text;
    ASSERT_EQ(prm.ReadCalibrationFile(m_directory.wstring().c_str(), 7), 0);
    CKor engine;
    EXPECT_EQ(kor::Configure(engine, prm), 0);
    const std::array<float, 6> table = {0, 0.5F, 100, -0.25F, 200, 0.125F};
    EXPECT_EQ(engine.setAzimuthComp(3, table.data()), 0) << "the engine has no table yet";
    EXPECT_EQ(engine.setElevationComp(3, table.data()), 0);
    prm.Destroy();
    CKor other;
    EXPECT_EQ(kor::Configure(other, prm), 551) << "the tables of the levels are gone";
}

} // namespace
} // namespace kor_test
