// Inputs of which there are few enough to try them all.
#include "engine/State.h"
#include "engine/engine_pair.h"
#include "exhaustive/LevelPatterns.h"
#include "support/Rounds.h"

#include "KORInterface/CKorModel.h"
#include "KORInterface/OrientationModel.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <memory>

namespace kor_test {
namespace {

// ---- temperatures ------------------------------------------------------------------------------------------

// Two's complement of 24 bits, but for the smallest number, which stays positive.
float temperatureOf(std::int32_t count)
{
    const std::int32_t value = count == 0x800000 ? count : (count ^ 0x800000) - 0x800000;
    return static_cast<float>(value) / 41920.0F;
}

TEST(EveryValue, ofATemperatureCount)
{
    CKor engine;
    configurePlainly(engine, 1);
    KOR_RAWINFO raw = plainSample();
    raw.status = 0;
    KOR_INFO info{};
    constexpr std::int32_t kStep = (1 << 24) / kor_test::rounds(1 << 24);
    int wrong = 0;
    for (std::int32_t count = 0; count < 1 << 24; count += 3 * kStep) {
        for (std::int32_t i = 0; i < 3; ++i) {
            raw.temperatureCount[i] = (count + i * kStep) % (1 << 24);
        }
        engine.updateKORData(raw, info);
        for (std::int32_t i = 0; i < 3; ++i) {
            wrong += info.temperature[i] == temperatureOf(raw.temperatureCount[i]) ? 0 : 1;
        }
    }
    EXPECT_EQ(wrong, 0);
}

// ---- mount modes -------------------------------------------------------------------------------------------

using kor::OrientationModel;

OrientationModel modelOf(int mode)
{
    constexpr OrientationModel kModels[] = {
        OrientationModel::pendulum,  OrientationModel::dualLevel,    OrientationModel::dualLevel,
        OrientationModel::pendulum,  OrientationModel::pendulum,     OrientationModel::polarizer,
        OrientationModel::polarizer, OrientationModel::threeVectors, OrientationModel::threeVectors,
        OrientationModel::twoLevels, OrientationModel::twoLevels};
    return mode >= 0 && mode <= 10 ? kModels[mode] : OrientationModel::pendulum;
}

TEST(EveryValue, ofAMountModeNearZero)
{
    KOR_RAWINFO raw = plainSample();
    raw.sensorVector[0] = 400.0F;
    raw.sensorVector[1] = 2100.0F;
    raw.sensorVector[2] = 333.0F;
    raw.levelXRaw = 0.75F;
    raw.levelYRaw = 1.5F;
    for (int mode = -1000; mode <= 1000; ++mode) {
        SCOPED_TRACE(mode);
        ASSERT_EQ(kor::ModelOf(mode), modelOf(mode));
        EnginePair pair;
        pair.scaleFactors({0.5F, 0.25F, 0.125F, 0.375F, 1, 1, 1, 0});
        pair.qvc({10, 20, 30, 0.5F, -0.5F, 0.25F});
        pair.level1({0, 0, 0, 0.5F, 0.25F, 0.125F, 1.25F});
        pair.level2({0, 0, 0, 40, 0.5F, 0.25F, 0.75F});
        pair.thermal({0, 1, 0, 1});
        pair.localMatrix(kIdentity);
        pair.machineMatrix(kIdentity);
        pair.mountMode(mode);
        ASSERT_EQ(CKorAccess::state(pair.engine).modelKind, modelOf(mode));
        // What the two-level model keeps is the whole process's; its own tests feed it.
        for (int i = 0; i < 3 && modelOf(mode) != OrientationModel::twoLevels; ++i) {
            raw.azimuthRaw = 20.0F + 3.0F * static_cast<float>(i);
            raw.elevationRaw = 5.0F;
            pair.feedBoth(raw);
        }
        ASSERT_FALSE(HasFailure());
    }
}

// ---- time stamps -------------------------------------------------------------------------------------------

// Notes the time and the count of the last sample.
class Clock : public CKorModel {
public:
    double seconds[2] = {};
    unsigned long samples[2] = {};

    bool CalTranxMatrix(double* const /*buffer*/, double /*angle1*/, double /*angle2*/, int /*size*/) override
    {
        return false;
    }
    void SetCounter(unsigned long first, unsigned long second) override
    {
        samples[0] = first;
        samples[1] = second;
    }
    void SetTimeInterval(double first, double second) override
    {
        seconds[0] = first;
        seconds[1] = second;
    }
};

TEST(EveryValue, ofATimeStampAroundTheWrap)
{
    CKor engine;
    configurePlainly(engine, 1);
    // A level without a table is outside of it, and has no run.
    const float knots[] = {-10, 10, 0, 0, 0};
    const double coefficients[8] = {};
    engine.setLevelXComp(2, knots, coefficients);
    engine.setLevelYComp(2, knots, coefficients);
    const auto clock = std::make_shared<Clock>();
    CKorAccess::state(engine).model = clock;
    KOR_RAWINFO raw = plainSample();
    KOR_INFO info{};
    constexpr std::int64_t kWrap = std::int64_t{1} << 32;
    int wrong = 0;
    for (std::int64_t start = kWrap - 300; start < kWrap + 300; ++start) {
        for (std::int64_t step = -300; step <= 600; ++step) {
            raw.status = 0; // ends the run before
            engine.updateKORData(raw, info);
            raw.status = 2;
            raw.timeStampMs = static_cast<std::uint32_t>(start);
            engine.updateKORData(raw, info);
            wrong +=
                clock->samples[0] == 1 && clock->samples[1] == 1 && clock->seconds[0] == 0.0 && clock->seconds[1] == 0.0
                    ? 0
                    : 1;
            raw.timeStampMs = static_cast<std::uint32_t>(start + step);
            engine.updateKORData(raw, info);
            const double wanted = static_cast<double>(step < 0 ? kWrap + step : step) / 1000.0;
            wrong += clock->samples[0] == 2 && clock->samples[1] == 2 && clock->seconds[0] == wanted &&
                             clock->seconds[1] == wanted
                         ? 0
                         : 1;
        }
    }
    EXPECT_EQ(wrong, 0);
}

// ---- level readings ----------------------------------------------------------------------------------------

// The nightly run takes all 2^32; here are a few of each sign, exponent and upper part of the mantissa, and those
// around the knots.
TEST(EveryValue, ofALevelReadingInItsUpperBits)
{
    for (const std::vector<float>& table : levelTables()) {
        LevelPatterns level(table);
        int wrong = 0;
        for (std::uint32_t upper = 0; upper < 1U << 16; upper += (1U << 16) / kor_test::rounds(1U << 16)) {
            for (const std::uint32_t lower : {0U, 1U, 0x7FFFU, 0xFFFFU}) {
                wrong += level.agreesAt(upper << 16 | lower) ? 0 : 1;
            }
        }
        for (const float knot : table) {
            const auto pattern = std::bit_cast<std::uint32_t>(knot);
            for (std::uint32_t neighbour = pattern - 500; neighbour != pattern + 500; ++neighbour) {
                wrong += level.agreesAt(neighbour) ? 0 : 1;
            }
        }
        EXPECT_EQ(wrong, 0);
    }
}

} // namespace
} // namespace kor_test
