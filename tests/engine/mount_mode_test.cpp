// Which model a mount mode creates, how it is primed, and what a later mode changes.
#include "engine/engine_pair.h"

#include <climits>

namespace kor_test {
namespace {

KOR_RAWINFO sample()
{
    KOR_RAWINFO raw = plainSample();
    raw.sensorVector[0] = 400.0F;
    raw.sensorVector[1] = 2100.0F;
    raw.sensorVector[2] = 333.0F;
    raw.azimuthRaw = 20.0F;
    raw.elevationRaw = 5.0F;
    raw.levelXRaw = 0.75F;
    raw.levelYRaw = 1.5F;
    return raw;
}

EnginePair& configured(EnginePair& pair)
{
    pair.scaleFactors({0.5F, 0.25F, 0.125F, 0.375F, 1, 1, 1, 0});
    pair.qvc({10, 20, 30, 0.5F, -0.5F, 0.25F});
    pair.level1({0, 0, 0, 0.5F, 0.25F, 0.125F, 1.25F});
    pair.level2({0, 0, 0, 40, 0.5F, 0.25F, 0.75F});
    pair.thermal({0, 1, 0, 1});
    pair.localMatrix(kIdentity);
    pair.machineMatrix(kIdentity);
    return pair;
}

TEST(MountMode, alwaysReturnsZero)
{
    for (const int mode : {INT_MIN, -5, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 100, INT_MAX}) {
        CKor engine;
        EXPECT_EQ(engine.setMountMode(mode), 0) << mode;
        EXPECT_EQ(engine.setMountMode(5), 0) << mode;
    }
}

TEST(MountMode, choosesTheModelAndItsParity)
{
    // The reference makes the model of each mode itself and sets the parity from the truncated remainder.
    for (const int mode : {1, 2, 3, 4, 5, 6, 7, 8, 0, -1, -2, -5, -6, -7, -8, 11, 12, 101, INT_MAX, INT_MIN}) {
        SCOPED_TRACE(mode);
        EnginePair pair;
        configured(pair).mountMode(mode);
        for (int i = 0; i < 3; ++i) {
            KOR_RAWINFO raw = sample();
            raw.azimuthRaw += 3.0F * static_cast<float>(i);
            pair.feedBoth(raw);
        }
    }
}

TEST(MountMode, unknownModesGiveThePendulum)
{
    const auto matrixOf = [](int mode) {
        EnginePair pair;
        configured(pair).mountMode(mode);
        pair.feedBoth(sample());
        pair.feedBoth(sample());
        return readMatrix(pair.engine);
    };
    EXPECT_TRUE(sameBitsThroughout(matrixOf(0), matrixOf(4)));
    EXPECT_TRUE(sameBitsThroughout(matrixOf(-2), matrixOf(4)));
    EXPECT_TRUE(sameBitsThroughout(matrixOf(-3), matrixOf(4))) << "a negative odd mode leaves the parity zero";
    EXPECT_FALSE(sameBitsThroughout(matrixOf(4), matrixOf(5)));
}

// Pins [parity-stays].
TEST(MountMode, theParityBelongsToTheModelsCreation)
{
    // Mode 4 makes an even pendulum; mode 3 afterwards does not make it odd.
    EnginePair pair;
    configured(pair).mountMode(4);
    pair.mountMode(3);
    pair.feedBoth(sample());
    pair.feedBoth(sample());
}

// Pins [kind-of-model-stays].
TEST(MountMode, aLaterModeKeepsTheKindOfTheModel)
{
    EnginePair pair;
    configured(pair).mountMode(5);
    pair.feedBoth(sample());
    pair.feedBoth(sample());
    const Matrix polarizer = readMatrix(pair.engine);
    for (const int mode : {1, 3, 8, 10, 2, 6}) {
        SCOPED_TRACE(mode);
        pair.mountMode(mode);
        pair.feedBoth(sample());
        EXPECT_TRUE(sameBitsThroughout(readMatrix(pair.engine), polarizer));
    }
}

TEST(MountMode, theStoredModeSteersTheSteps)
{
    // A pendulum taken down the path of mode 7: sensorOut comes from the model, which has no QVC values.
    EnginePair pair;
    configured(pair).mountMode(3);
    const KOR_INFO below = pair.feedBoth(sample());
    EXPECT_EQ(below.sensorOut[1], 2100.0F);
    pair.mountMode(7);
    const KOR_INFO above = pair.feedBoth(sample());
    EXPECT_EQ(above.sensorOut[0], 0.0F);
    EXPECT_EQ(above.sensorOut[1], 0.0F);
    EXPECT_EQ(above.sensorOut[2], 0.0F);
    EXPECT_EQ(above.levelX, 0.75F) << "this model reports no level values";
    pair.mountMode(3);
    EXPECT_EQ(pair.feedBoth(sample()).sensorOut[1], 2100.0F);
}

TEST(MountMode, theStoredModeDecidesAboutTheLevelRatio)
{
    EnginePair pair;
    configured(pair).mountMode(5);
    KOR_RAWINFO raw = sample();
    raw.levelXRaw = 1000.0F;
    raw.levelYRaw = 4000.0F;
    EXPECT_EQ(pair.feedBoth(raw).levelX, 0.25F);
    pair.mountMode(3);
    EXPECT_EQ(pair.feedBoth(raw).levelX, 1000.0F);
    pair.mountMode(6);
    EXPECT_EQ(pair.feedBoth(raw).levelX, 0.25F);
    pair.mountMode(7);
    EXPECT_EQ(pair.feedBoth(raw).levelX, 1000.0F);
}

TEST(MountMode, primesAgainOnEveryCall)
{
    EnginePair pair;
    configured(pair).mountMode(8);
    pair.feedBoth(sample());
    pair.feedBoth(sample());
    const Matrix before = readMatrix(pair.engine);
    pair.qvc({1, 2, 3, 5, 4, 3});
    pair.level1({0, 0, 0, 2, 1, 3, 1});
    pair.feedBoth(sample());
    EXPECT_TRUE(sameBitsThroughout(readMatrix(pair.engine), before));
    pair.mountMode(8);
    pair.feedBoth(sample());
    EXPECT_FALSE(sameBitsThroughout(readMatrix(pair.engine), before));
}

TEST(MountMode, beforeAnyParameterGroupPrimesWithZeros)
{
    for (const int mode : {5, 8, 1}) {
        EnginePair pair;
        pair.mountMode(mode);
        pair.thermal({0, 1, 0, 1});
        pair.machineMatrix(kIdentity);
        pair.feedBoth(sample());
        pair.feedBoth(sample());
    }
}

// Pins [reference-captured-once].
TEST(MountMode, aLaterModeDoesNotClearTheReference)
{
    EnginePair pair;
    configured(pair).mountMode(5);
    pair.feedBoth(sample());
    pair.mountMode(5);
    KOR_RAWINFO held = sample();
    held.referenceHold = 1;
    pair.feedBoth(held);
    EXPECT_FALSE(sameBitsThroughout(readMatrix(pair.engine), kIdentity));
}

} // namespace
} // namespace kor_test
