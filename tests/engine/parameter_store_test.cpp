// The parameter store: filling it, and what the engine does with a filled one.
#include "engine/ParameterStore.h"

#include "engine/engine_pair.h"

#include <cmath>

namespace kor_test {
namespace {

const std::array<float, 7> kDynamic = {0.25F, 0.5F, 0.75F, 0.875F, 3, 2, 1};
const std::array<float, 3> kA = {0.3F, 1.7F, -0.9F};
const std::array<float, 3> kB = {-0.4F, 2.3F, 1.1F};

KOR_RAWINFO sample()
{
    KOR_RAWINFO raw = plainSample();
    raw.sensorVector[0] = 2000.0F;
    raw.sensorVector[1] = 3000.0F;
    raw.sensorVector[2] = 500.0F;
    raw.azimuthRaw = 12.0F;
    raw.elevationRaw = 7.0F;
    raw.levelYRaw = 1.5F;
    return raw;
}

void configure(EnginePair& pair)
{
    pair.scaleFactors({0, 0, 0, 0, 1, 1, 1, 0});
    pair.qvc({10, 20, 30, 0.5F, -0.5F, 0.25F});
    pair.level1({0, 0, 0, 0.5F, 0.25F, 0.125F, 1.25F});
    pair.thermal({0, 1, 0, 1});
    pair.localMatrix(kIdentity);
    pair.machineMatrix(kIdentity);
}

TEST(ParameterStore, nullPointersGive20AndFillNothing)
{
    EnginePair pair;
    configure(pair);
    EXPECT_EQ(LoadParameterStore(pair.engine, nullptr, kA.data(), kB.data()), 20);
    EXPECT_EQ(LoadParameterStore(pair.engine, kDynamic.data(), nullptr, kB.data()), 20);
    EXPECT_EQ(LoadParameterStore(pair.engine, kDynamic.data(), kA.data(), nullptr), 20);
    pair.psd(300, 400, 1000);
    pair.mountMode(8);
    pair.feedBoth(sample());
    pair.feedBoth(sample());
}

TEST(ParameterStore, aFetchAnswersNotLoadedBeforeItLooksAtThePointers)
{
    kor::ParameterStore store;
    std::array<float, 7> dynamic{};
    std::array<float, 3> a{};
    std::array<float, 3> b{};
    EXPECT_EQ(store.fetchDynamicParameters(nullptr), 551);
    EXPECT_EQ(store.fetchDynamicParameters(dynamic.data()), 551);
    EXPECT_EQ(store.fetchCoefficients(nullptr, nullptr), 551);
    EXPECT_EQ(store.fetchCoefficients(a.data(), nullptr), 551);
    EXPECT_EQ(store.fetchCoefficients(nullptr, b.data()), 551);
    EXPECT_EQ(store.fetchCoefficients(a.data(), b.data()), 551);

    store.fill(kDynamic.data(), kA.data(), kB.data());
    EXPECT_EQ(store.fetchDynamicParameters(nullptr), 20);
    EXPECT_EQ(store.fetchCoefficients(nullptr, nullptr), 20);
    EXPECT_EQ(store.fetchCoefficients(a.data(), nullptr), 20);
    EXPECT_EQ(store.fetchCoefficients(nullptr, b.data()), 20);
    EXPECT_TRUE(sameBitsThroughout(a, std::array<float, 3>{})) << "a refused fetch copies nothing";
    EXPECT_TRUE(sameBitsThroughout(b, std::array<float, 3>{}));

    EXPECT_EQ(store.fetchDynamicParameters(dynamic.data()), 0);
    EXPECT_EQ(store.fetchCoefficients(a.data(), b.data()), 0);
    EXPECT_TRUE(sameBitsThroughout(dynamic, kDynamic));
    EXPECT_TRUE(sameBitsThroughout(a, kA));
    EXPECT_TRUE(sameBitsThroughout(b, kB));
}

TEST(ParameterStore, anUnloadedParameterSetGives551)
{
    CKor engine;
    const CKorPrm prm;
    EXPECT_EQ(LoadParameterStore(engine, prm), 551);
}

TEST(ParameterStore, movesTheDetectorDirectionByTheReading)
{
    EnginePair pair;
    configure(pair);
    pair.store(kDynamic, kA, kB);
    pair.psd(300, -400, 1000);
    pair.mountMode(8);
    const KOR_INFO adjusted = pair.feedBoth(sample());

    // The same model primed by hand with the two adjusted values.
    const float a = 0.3F;
    const float b = -0.4F;
    EnginePair byHand;
    configure(byHand);
    byHand.qvc({10, 20, 30, ((kA[1] * kA[2]) * b + (kA[1] * a + kA[0])) + 0.5F,
                -0.5F - ((kB[1] * kB[2]) * a + (kB[1] * b + kB[0])), 0.25F});
    byHand.mountMode(8);
    EXPECT_TRUE(sameResult(byHand.feedBoth(sample()), adjusted));
}

TEST(ParameterStore, aDivisorOfZeroLeavesTheConstantTerms)
{
    EnginePair pair;
    configure(pair);
    pair.store(kDynamic, kA, kB);
    pair.psd(300, -400, 0);
    pair.mountMode(8);
    const KOR_INFO adjusted = pair.feedBoth(sample());
    EnginePair byHand;
    configure(byHand);
    byHand.qvc({10, 20, 30, kA[0] + 0.5F, -0.5F - kB[0], 0.25F});
    byHand.mountMode(8);
    EXPECT_TRUE(sameResult(byHand.feedBoth(sample()), adjusted));
}

TEST(ParameterStore, theDivisorStartsAtZero)
{
    EnginePair pair;
    configure(pair);
    pair.store(kDynamic, kA, kB);
    pair.mountMode(8);
    pair.feedBoth(sample());
    pair.feedBoth(sample());
}

TEST(ParameterStore, theDetectorReadingCountsFromSampleToSample)
{
    EnginePair pair;
    configure(pair);
    pair.store(kDynamic, kA, kB);
    pair.mountMode(7);
    for (const int divisor : {1000, 3, -7, 0, 2147483647, 1}) {
        pair.psd(123456789, -2147483647 - 1, divisor);
        pair.feedBoth(sample());
    }
}

TEST(ParameterStore, theAdjustmentStartsFromTheEnginesParametersEveryTime)
{
    EnginePair pair;
    configure(pair);
    pair.store(kDynamic, kA, kB);
    pair.psd(300, -400, 1000);
    pair.mountMode(8);
    pair.feedBoth(sample()); // the reference: its angles are zero, its sensorOut is not
    const KOR_INFO second = pair.feedBoth(sample());
    EXPECT_TRUE(sameResult(pair.feedBoth(sample()), second)) << "it does not accumulate";
    pair.qvc({11, 22, 33, 0.25F, -0.25F, 0.125F}); // no setMountMode: the sample itself hands them over
    const KOR_INFO third = pair.feedBoth(sample());
    EXPECT_NE(third.sensorOut[0], second.sensorOut[0]);
}

TEST(ParameterStore, hasNoEffectBelowMode7)
{
    for (const int mode : {5, 1, 3}) {
        EnginePair with;
        EnginePair without;
        configure(with);
        configure(without);
        with.store(kDynamic, kA, kB);
        for (EnginePair* pair : {&with, &without}) {
            pair->psd(300, -400, 1000);
            pair->mountMode(mode);
            pair->feedBoth(sample());
        }
        EXPECT_TRUE(sameResult(with.feedBoth(sample()), without.feedBoth(sample()))) << mode;
    }
}

TEST(ParameterStore, mayBeFilledAgain)
{
    EnginePair pair;
    configure(pair);
    pair.store(kDynamic, kA, kB);
    pair.psd(300, -400, 1000);
    pair.mountMode(8);
    const KOR_INFO before = pair.feedBoth(sample());
    pair.store(kDynamic, kB, kA);
    EXPECT_NE(pair.feedBoth(sample()).sensorOut[0], before.sensorOut[0]);
}

} // namespace
} // namespace kor_test
