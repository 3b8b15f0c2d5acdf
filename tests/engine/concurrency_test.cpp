// One thread feeds samples while others configure and read. Run under a thread sanitizer as well: it sees a
// missing lock even when the values happen to come out whole.
#include "engine/engine_pair.h"

#include <atomic>
#include <thread>

namespace kor_test {
namespace {

constexpr int kSamples = 3000;

// Runs one operation over and over, on a thread of its own, for as long as the samples are fed.
class Meanwhile {
public:
    template <typename Operation>
    explicit Meanwhile(Operation operation)
        : m_thread([this, operation] {
              for (int i = 0; !m_stop.load(std::memory_order_relaxed) || i < 2; ++i) {
                  operation(i);
              }
          })
    {
    }
    ~Meanwhile()
    {
        m_stop.store(true, std::memory_order_relaxed);
        m_thread.join();
    }

private:
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

TEST(EngineConcurrency, aTiltOffsetArrivesAsAPair)
{
    CKor engine;
    configurePlainly(engine, 1);
    int mixed = 0;
    const Meanwhile setter([&](int i) {
        const auto value = static_cast<float>(i % 100);
        engine.setTiltOffset(F_VECTOR2{value, value});
    });
    for (int i = 0; i < kSamples; ++i) {
        const KOR_INFO info = feed(engine, plainSample());
        mixed += info.levelX == info.levelY ? 0 : 1;
    }
    EXPECT_EQ(mixed, 0);
}

TEST(EngineConcurrency, anEncoderTableArrivesWhole)
{
    CKor engine;
    configurePlainly(engine, 5);
    const std::array<float, 4> first = {0, 1, 180, 1};
    engine.setAzimuthComp(2, first.data());
    engine.setElevationComp(2, first.data());
    int mixed = 0;
    const Meanwhile setter([&](int i) {
        const auto shift = static_cast<float>(1 + i % 3);
        const std::array<float, 4> table = {0, shift, 180, shift};
        engine.setAzimuthComp(2, table.data());
        engine.setElevationComp(2, table.data());
    });
    KOR_RAWINFO raw = plainSample();
    raw.azimuthRaw = 90.0F;
    raw.elevationRaw = 90.0F;
    for (int i = 0; i < kSamples; ++i) {
        const KOR_INFO info = feed(engine, raw);
        const auto whole = [](float angle) { return angle == 91.0F || angle == 92.0F || angle == 93.0F; };
        mixed += whole(info.azimuth) && whole(info.elevation) ? 0 : 1;
    }
    EXPECT_EQ(mixed, 0);
}

TEST(EngineConcurrency, levelTablesArriveWhole)
{
    CKor engine;
    configurePlainly(engine, 1);
    const auto set = [&](double shift) {
        const std::array<float, 6> knots = {-10, 0, 10, 0, 0, 0};
        const std::array<double, 12> lines = {-10 + shift, 1, 0, 0, shift, 1, 0, 0, 10 + shift, 1, 0, 0};
        engine.setLevelXComp(3, knots.data(), lines.data());
        engine.setLevelYComp(3, knots.data(), lines.data());
    };
    set(1);
    int wrong = 0;
    const Meanwhile setter([&](int i) { set(1 + i % 3); });
    for (int i = 0; i < kSamples; ++i) {
        const float x = feed(engine, plainSample()).levelX;
        wrong += x == 1.0F || x == 2.0F || x == 3.0F ? 0 : 1;
    }
    EXPECT_EQ(wrong, 0);
}

TEST(EngineConcurrency, aReaderSeesOnlyMatricesOfWholeSamples)
{
    CKor engine;
    configurePlainly(engine, 5);
    KOR_RAWINFO straight = plainSample();
    KOR_RAWINFO turned = plainSample();
    turned.azimuthRaw = 37.0F;
    turned.elevationRaw = -12.0F;
    turned.levelYRaw = 3.0F;
    feed(engine, straight);
    feed(engine, turned);
    const Matrix turnedMatrix = readMatrix(engine);
    feed(engine, straight);
    const Matrix straightMatrix = readMatrix(engine);
    std::atomic<int> torn{0};
    {
        const Meanwhile reader([&](int) {
            Matrix seen{};
            const int code = engine.ReadMatrix(seen.data());
            if (code != 0 || (seen != turnedMatrix && seen != straightMatrix)) {
                ++torn;
            }
        });
        for (int i = 0; i < kSamples; ++i) {
            feed(engine, i % 2 == 0 ? turned : straight);
        }
    }
    EXPECT_EQ(torn.load(), 0);
}

TEST(EngineConcurrency, matricesAndTheFlagMayChangeBetweenSamples)
{
    CKor engine;
    configurePlainly(engine, 5);
    const Meanwhile setter([&](int i) {
        Matrix matrix = rotationZ(static_cast<double>(i % 7) / 10);
        engine.setLocalMatrix(matrix.data(), 3);
        engine.setMachineMatrix(matrix.data(), 3);
        engine.setMcsFlag(i % 2 == 0);
        engine.setEncoderOffset(F_VECTOR2{0, 0});
        engine.setKnownVector(matrix.data());
        engine.setPSDParameters(i, i, 1);
    });
    KOR_RAWINFO raw = plainSample();
    raw.azimuthRaw = 37.0F;
    feed(engine, raw);
    float worst = 0;
    for (int i = 0; i < kSamples; ++i) {
        const KOR_INFO info = feed(engine, raw);
        worst = std::max(worst, std::fabs(info.orientationAngles[0]) + std::fabs(info.orientationAngles[2]));
    }
    EXPECT_LT(worst, 1e-4F) << "every matrix in play turns about z only";
}

TEST(EngineConcurrency, parameterGroupsAndTheStoreMayChangeBetweenSamples)
{
    CKor engine;
    configurePlainly(engine, 8);
    int wrong = 0;
    const Meanwhile setter([&](int i) {
        std::array<float, 8> values{};
        values.fill(static_cast<float>(i % 5) / 10);
        engine.setScaleFactors(values.data(), 8);
        engine.setQVCParameters(values.data(), 6);
        engine.setLevel1Parameters(values.data(), 7);
        engine.setLevel2Parameters(values.data(), 7);
        LoadParameterStore(engine, values.data(), values.data(), values.data());
    });
    for (int i = 0; i < kSamples; ++i) {
        const KOR_INFO info = feed(engine, plainSample());
        wrong += info.azimuth == 0.0F ? 0 : 1;
    }
    EXPECT_EQ(wrong, 0);
}

TEST(EngineConcurrency, aCopyHasAWorkingLockOfItsOwn)
{
    CKor engine;
    configurePlainly(engine, 5);
    feed(engine, plainSample());
    CKor copy(engine);
    CKor assigned;
    assigned = engine;
    int wrong = 0;
    const Meanwhile onTheCopy([&](int i) {
        const auto value = static_cast<float>(i % 9);
        copy.setTiltOffset(F_VECTOR2{value, value});
        Matrix seen{};
        copy.ReadMatrix(seen.data());
    });
    const Meanwhile onTheCopyToo([&](int i) {
        const auto value = static_cast<float>(i % 9);
        copy.setTiltOffset(F_VECTOR2{value, value});
        Matrix seen{};
        copy.ReadMatrix(seen.data());
    });
    const Meanwhile onTheAssigned([&](int) {
        Matrix seen{};
        assigned.ReadMatrix(seen.data());
        assigned.setMcsFlag(true);
    });
    for (int i = 0; i < kSamples; ++i) {
        wrong += feed(engine, plainSample()).levelX == 0.0F ? 0 : 1;
    }
    EXPECT_EQ(wrong, 0) << "the copies' offsets are their own";
}

TEST(EngineConcurrency, twoEnginesNeedNoLockBetweenThem)
{
    CKor one;
    CKor other;
    configurePlainly(one, 5);
    configurePlainly(other, 3);
    const Meanwhile second([&](int) { feed(other, plainSample()); });
    for (int i = 0; i < kSamples; ++i) {
        feed(one, plainSample());
    }
    EXPECT_TRUE(sameBitsThroughout(readMatrix(one), kIdentity));
}

} // namespace
} // namespace kor_test
