// Construction, Destroy, copies.
#include "engine/State.h"
#include "engine/engine_pair.h"

#include <memory>
#include <type_traits>

namespace kor_test {
namespace {

const std::vector<float> kFlatKnots = {-10, 0, 10, -10, 10, 0};

// A level table that adds a constant: c0 = x[i] + shift, c1 = 1.
std::vector<double> shiftedLine(double shift)
{
    return {-10 + shift, 1, 0, 0, shift, 1, 0, 0, 0, 0, 0, 0};
}

KOR_RAWINFO tiltedSample()
{
    KOR_RAWINFO raw = plainSample();
    raw.sensorVector[0] = 300.0F;
    raw.sensorVector[1] = 1700.0F;
    raw.sensorVector[2] = -200.0F;
    raw.azimuthRaw = 31.0F;
    raw.elevationRaw = -12.0F;
    raw.levelXRaw = 1.25F;
    raw.levelYRaw = -2.5F;
    raw.temperatureCount[0] = 838400;
    return raw;
}

TEST(EngineConstruction, initializationDoesNothingAndReturnsZero)
{
    EnginePair pair(5);
    const KOR_INFO before = pair.feedBoth(tiltedSample());
    EXPECT_EQ(pair.engine.Initialization(), 0);
    KOR_INFO again = pair.feedBoth(tiltedSample());
    EXPECT_EQ(again.levelX, before.levelX);
    CKor fresh;
    EXPECT_EQ(fresh.Initialization(), 0);
}

TEST(EngineConstruction, aFreshEngineHasNoMatrix)
{
    CKor engine;
    Matrix matrix{};
    EXPECT_EQ(engine.ReadMatrix(matrix.data()), 554);
}

// Pins [sample-without-model].
TEST(EngineConstruction, samplesBeforeTheMountModeAreRefusedWithAZeroedRecord)
{
    CKor engine;
    engine.setThermalFactor(F_VECTOR4{0, 1, 0, 1});
    for (const int status : {2, 1, 0}) {
        KOR_RAWINFO raw = tiltedSample();
        raw.status = status;
        EXPECT_TRUE(isAllZero(feed(engine, raw)));
        Matrix matrix{};
        EXPECT_EQ(engine.ReadMatrix(matrix.data()), 554);
    }
}

// Pins [identity-with-554].
TEST(EngineConstruction, aSampleRefusedForWantOfAModelLeavesTheIdentity)
{
    for (const int status : {2, 1}) {
        CKor engine;
        KOR_RAWINFO raw = tiltedSample();
        raw.status = status;
        feed(engine, raw);
        Matrix matrix{};
        EXPECT_EQ(engine.ReadMatrix(matrix.data()), 554);
        EXPECT_TRUE(sameBitsThroughout(matrix, kIdentity));
    }
}

TEST(EngineConstruction, aRefusedSampleIsNoReference)
{
    EnginePair pair;
    pair.scaleFactors({0, 0, 0, 0, 1, 1, 1, 0});
    pair.thermal({0, 1, 0, 1});
    pair.localMatrix(kIdentity);
    pair.machineMatrix(rotationZ(0.5));
    feed(pair.engine, tiltedSample());
    pair.mountMode(5);
    const KOR_INFO first = pair.feedBoth(tiltedSample());
    EXPECT_EQ(first.orientationAngles[1], 0.0F);
    const KOR_INFO second = pair.feedBoth(tiltedSample());
    EXPECT_NE(second.orientationAngles[1], 0.0F);
}

TEST(EngineConstruction, theMcsFlagStartsTrue)
{
    EnginePair pair(5);
    pair.machineMatrix(rotationZ(0.25));
    pair.localMatrix(rotationX(0.5));
    pair.feedBoth(plainSample());
    pair.feedBoth(plainSample());
    EXPECT_TRUE(sameBitsThroughout(readMatrix(pair.engine), rotationZ(0.25)));
}

TEST(EngineConstruction, theParameterStoreStartsEmpty)
{
    EnginePair pair;
    pair.scaleFactors({0, 0, 0, 0, 1, 1, 1, 0});
    pair.qvc({1, 2, 3, 0.5F, -0.5F, 0});
    pair.thermal({0, 1, 0, 1});
    pair.psd(300, 400, 1000);
    pair.mountMode(8);
    pair.feedBoth(tiltedSample());
    pair.feedBoth(tiltedSample());
}

// Pins [open-fields-0].
TEST(EngineConstruction, everythingUnsetIsZero)
{
    // Thermal factors of zero wipe out the levels; matrices of zero compose to zero, whose columns have no direction.
    EnginePair pair;
    pair.mountMode(5);
    const KOR_INFO first = pair.feedBoth(tiltedSample());
    EXPECT_EQ(std::fabs(first.levelX), 0.0F);
    const KOR_INFO second = pair.feedBoth(tiltedSample());
    EXPECT_TRUE(std::isnan(second.orientationAngles[0]));
    EXPECT_TRUE(sameBitsThroughout(readMatrix(pair.engine), Matrix{}));
    pair.mcs(false);
    pair.feedBoth(tiltedSample());
}

TEST(EngineDestroy, isHarmlessWithoutTablesAndWhenRepeated)
{
    CKor engine;
    engine.Destroy();
    engine.Destroy();
    EXPECT_TRUE(isAllZero(feed(engine, tiltedSample())));
}

TEST(EngineDestroy, releasesTablesAndModelOnceAndForAll)
{
    EnginePair pair(5);
    pair.levelX(kFlatKnots, shiftedLine(1));
    pair.levelY(kFlatKnots, shiftedLine(2));
    pair.azimuth({0, 1, 180, 2});
    pair.elevation({0, 1, 180, 2});
    pair.feedBoth(tiltedSample());
    pair.engine.Destroy();
    pair.engine.Destroy();
}

// Pins [sample-without-model].
TEST(EngineDestroy, samplesAreRefusedAfterwards)
{
    EnginePair pair(5);
    pair.levelX(kFlatKnots, shiftedLine(1));
    pair.azimuth({0, 1, 180, 2});
    pair.feedBoth(tiltedSample());
    pair.engine.Destroy();
    for (const int status : {2, 0}) {
        KOR_RAWINFO raw = tiltedSample();
        raw.status = status;
        EXPECT_TRUE(isAllZero(feed(pair.engine, raw)));
        Matrix matrix{};
        EXPECT_EQ(pair.engine.ReadMatrix(matrix.data()), 554);
    }
}

// Pins [identity-with-554].
TEST(EngineDestroy, leavesTheIdentityInPlaceOfTheLastMatrix)
{
    EnginePair pair(5);
    pair.machineMatrix(rotationX(0.3));
    pair.feedBoth(tiltedSample());
    pair.feedBoth(tiltedSample());
    ASSERT_FALSE(sameBitsThroughout(readMatrix(pair.engine), kIdentity));
    CKor copy(pair.engine);
    pair.engine.Destroy();
    Matrix matrix{};
    EXPECT_EQ(pair.engine.ReadMatrix(matrix.data()), 554);
    EXPECT_TRUE(sameBitsThroughout(matrix, kIdentity));
    for (const int status : {2, 0}) {
        KOR_RAWINFO raw = tiltedSample();
        raw.status = status;
        feed(pair.engine, raw);
        EXPECT_EQ(pair.engine.ReadMatrix(matrix.data()), 554);
        EXPECT_TRUE(sameBitsThroughout(matrix, kIdentity));
    }
    EXPECT_EQ(copy.ReadMatrix(matrix.data()), 0) << "a copy has a matrix of its own";
    EXPECT_FALSE(sameBitsThroughout(matrix, kIdentity));
}

// Pins [state-after-destroy].
TEST(EngineDestroy, keepsReferenceModeCountsAndRuns)
{
    CKor engine;
    const kor::EngineFields& state = CKorAccess::state(engine);
    configurePlainly(engine, 5);
    const std::array<float, 4> table = {0, 1, 180, 1};
    engine.setLevelXComp(3, kFlatKnots.data(), shiftedLine(1).data());
    engine.setAzimuthComp(2, table.data());
    feed(engine, tiltedSample());
    feed(engine, tiltedSample());
    engine.Destroy();
    EXPECT_TRUE(state.referenceCaptured);
    EXPECT_EQ(state.mountMode, 5);
    EXPECT_EQ(state.levelX.count, 3);
    EXPECT_EQ(state.azimuthCompCount, 2);
    EXPECT_EQ(state.levelXRun.samples, 2U);

    engine.setLevelXComp(3, kFlatKnots.data(), shiftedLine(1).data());
    engine.setMountMode(5);
    EXPECT_NE(feed(engine, tiltedSample()).orientationAngles[1], 0.0F) << "the reference is there";
    EXPECT_EQ(state.levelXRun.samples, 3U) << "the run goes on";
}

// Pins [encoders-without-table].
TEST(EngineDestroy, leavesTheInverseCalibrationsWithoutATable)
{
    CKor engine;
    const std::array<float, 4> table = {0, 1, 180, 1};
    engine.setAzimuthComp(2, table.data());
    engine.setElevationComp(2, table.data());
    EXPECT_EQ(engine.getInverseAzCalib(11.0F), 10.0F);
    engine.Destroy();
    EXPECT_EQ(engine.getInverseAzCalib(11.0F), 11.0F);
    EXPECT_EQ(engine.getInverseElCalib(11.0F), 11.0F);
}

TEST(EngineDestroy, theParameterStoreAnswersNotLoadedAfterwards)
{
    CKor engine;
    engine.Destroy();
    const std::array<float, 7> dynamic{};
    const std::array<float, 3> coefficients{};
    EXPECT_EQ(LoadParameterStore(engine, dynamic.data(), coefficients.data(), coefficients.data()), 551);
}

TEST(EngineDestroy, configuringADestroyedEngineDoesNoHarm)
{
    EnginePair pair(5);
    pair.levelX(kFlatKnots, shiftedLine(1));
    pair.azimuth({0, 1, 180, 2});
    pair.engine.Destroy();
    EXPECT_EQ(pair.engine.setLevelXComp(3, kFlatKnots.data(), shiftedLine(1).data()), 0);
    const std::array<float, 6> longer = {0, 1, 100, 2, 200, 3};
    EXPECT_EQ(pair.engine.setAzimuthComp(3, longer.data()), 0) << "the table is absent again";
    EXPECT_EQ(pair.engine.setMountMode(5), 0);
    feed(pair.engine, tiltedSample());
    pair.engine.Destroy();
}

TEST(EngineDestroy, isTheVirtualOperationBehindTheDestructor)
{
    static_assert(std::has_virtual_destructor_v<CKor>);
    class Counting : public CKor {
    public:
        explicit Counting(int& calls) : m_calls(calls) {}
        void Destroy() override
        {
            ++m_calls;
            CKor::Destroy();
        }

    private:
        int& m_calls;
    };
    int calls = 0;
    {
        Counting engine(calls);
        CKor& base = engine;
        base.Destroy();
        EXPECT_EQ(calls, 1);
    }
    EXPECT_EQ(calls, 1) << "inside the destructor the override is gone already";
}

#if defined(__GXX_ABI_VERSION)
TEST(EngineVirtualTable, destroyFollowsTheDestructor)
{
    class Counting : public CKor {
    public:
        void Destroy() override { ++calls; }
        int calls = 0;
    };
    Counting engine;
    // Slots 0 and 1 are the two forms of the destructor.
    void** table = nullptr;
    const void* object = static_cast<CKor*>(&engine);
    std::memcpy(&table, object, sizeof(table));
    reinterpret_cast<void (*)(CKor*)>(table[2])(&engine);
    EXPECT_EQ(engine.calls, 1);
}
#endif

// Copies: the plain values are each copy's own, the tables, the model and the parameter store are shared.

TEST(EngineCopy, carriesTheWholeConfigurationAndState)
{
    EnginePair pair(5);
    pair.levelX(kFlatKnots, shiftedLine(1));
    pair.levelY(kFlatKnots, shiftedLine(2));
    pair.azimuth({0, 1, 180, 2});
    pair.elevation({0, 3, 180, 4});
    pair.tiltOffset({0.5F, 0.25F});
    pair.encoderOffset({0.125F, -0.25F});
    pair.thermal({0.5F, 2, 0.25F, 3});
    pair.machineMatrix(rotationX(0.3));
    pair.feedBoth(plainSample());
    const KOR_INFO wanted = pair.feedBoth(tiltedSample());

    CKor copy(pair.engine);
    EXPECT_TRUE(sameBitsThroughout(readMatrix(copy), readMatrix(pair.engine)));
    EXPECT_TRUE(sameResult(feed(copy, tiltedSample()), wanted)) << "the reference is carried too";

    CKor assigned;
    assigned = pair.engine;
    EXPECT_TRUE(sameBitsThroughout(readMatrix(assigned), readMatrix(pair.engine)));
    EXPECT_TRUE(sameResult(feed(assigned, tiltedSample()), wanted));
    EXPECT_EQ(assigned.getInverseAzCalib(40.0F), pair.engine.getInverseAzCalib(40.0F));
    EXPECT_EQ(copy.getInverseElCalib(40.0F), pair.engine.getInverseElCalib(40.0F));
}

TEST(EngineCopy, keepsPlainValuesOfItsOwn)
{
    EnginePair pair(5);
    const KOR_INFO wanted = pair.feedBoth(tiltedSample());
    CKor copy(pair.engine);
    copy.setTiltOffset(F_VECTOR2{9, 9});
    copy.setThermalFactor(F_VECTOR4{9, 9, 9, 9});
    copy.setEncoderOffset(F_VECTOR2{9, 9});
    copy.setMcsFlag(false);
    const KOR_INFO again = feed(pair.engine, tiltedSample());
    EXPECT_EQ(again.levelX, wanted.levelX);
    EXPECT_EQ(again.levelY, wanted.levelY);
    EXPECT_EQ(feed(copy, tiltedSample()).levelX, (0.0F - 9.0F) * 9.0F);
}

// Pins [copies-share].
TEST(EngineCopy, sharesTheTables)
{
    CKor engine;
    configurePlainly(engine, 1);
    engine.setLevelXComp(3, kFlatKnots.data(), shiftedLine(1).data());
    engine.setLevelYComp(3, kFlatKnots.data(), shiftedLine(2).data());
    const std::array<float, 4> table = {0, 1, 180, 1};
    const std::array<float, 4> other = {0, 5, 180, 5};
    engine.setAzimuthComp(2, table.data());
    engine.setElevationComp(2, table.data());
    KOR_RAWINFO raw = plainSample();
    raw.levelXRaw = 1.0F;
    raw.levelYRaw = 1.0F;
    raw.azimuthRaw = 10.0F;
    raw.elevationRaw = 10.0F;
    feed(engine, raw); // which now knows where in its tables the readings lie
    CKor copy(engine);
    CKor assigned;
    assigned = engine;
    EXPECT_EQ(copy.setLevelXComp(3, kFlatKnots.data(), shiftedLine(3).data()), 0);
    EXPECT_EQ(copy.setLevelYComp(3, kFlatKnots.data(), shiftedLine(4).data()), 0);
    EXPECT_EQ(copy.setAzimuthComp(2, other.data()), 0);
    EXPECT_EQ(assigned.setElevationComp(2, other.data()), 0);
    const KOR_INFO info = feed(engine, raw);
    EXPECT_EQ(info.levelX, 4.0F);
    EXPECT_EQ(info.levelY, 5.0F);
    EXPECT_EQ(info.azimuth, 15.0F);
    EXPECT_EQ(info.elevation, 15.0F);
    const KOR_INFO ofTheCopy = feed(copy, raw);
    EXPECT_EQ(ofTheCopy.levelX, 4.0F);
    EXPECT_EQ(ofTheCopy.elevation, 15.0F);
}

// Pins [copies-share].
TEST(EngineCopy, sharesTheModel)
{
    CKor engine;
    configurePlainly(engine, 5);
    feed(engine, plainSample());
    feed(engine, plainSample());
    EXPECT_TRUE(sameBitsThroughout(readMatrix(engine), kIdentity));

    CKor copy(engine);
    const std::array<float, 8> turned = {90, 0, 0, 0, 1, 1, 1, 0};
    copy.setScaleFactors(turned.data(), 8);
    copy.setMountMode(5); // primes the one model of both
    feed(engine, plainSample());
    EXPECT_FALSE(sameBitsThroughout(readMatrix(engine), kIdentity));
    EXPECT_TRUE(within(readMatrix(engine)[3], 1.0, 1e-12));
}

// Pins [copies-share].
TEST(EngineCopy, sharesTheParameterStore)
{
    EnginePair pair;
    pair.scaleFactors({0, 0, 0, 0, 1, 1, 1, 0});
    pair.qvc({10, 20, 30, 0.5F, -0.5F, 0.25F});
    pair.thermal({0, 1, 0, 1});
    pair.psd(300, 400, 1000);
    pair.mountMode(8);
    const KOR_INFO without = pair.feedBoth(tiltedSample());
    CKor copy(pair.engine);
    const std::array<float, 7> dynamic{};
    const std::array<float, 3> a = {1, 2, 3};
    const std::array<float, 3> b = {4, 5, 6};
    EXPECT_EQ(LoadParameterStore(copy, dynamic.data(), a.data(), b.data()), 0);
    pair.literal.loadParameterStore(dynamic.data(), a.data(), b.data());
    const KOR_INFO with = pair.feedBoth(tiltedSample());
    EXPECT_NE(with.sensorOut[0], without.sensorOut[0]);
}

// Pins [counted-references].
TEST(EngineCopy, destroyingBothIsHarmlessInEitherOrder)
{
    for (const bool copyFirst : {true, false}) {
        auto engine = std::make_unique<CKor>();
        configurePlainly(*engine, 5);
        engine->setLevelXComp(3, kFlatKnots.data(), shiftedLine(1).data());
        const std::array<float, 4> table = {0, 1, 180, 1};
        engine->setAzimuthComp(2, table.data());
        auto copy = std::make_unique<CKor>(*engine);
        auto assigned = std::make_unique<CKor>();
        *assigned = *engine;
        if (copyFirst) {
            copy.reset();
            assigned->Destroy();
            assigned.reset();
            EXPECT_EQ(feed(*engine, tiltedSample()).azimuth, 32.0F);
        } else {
            engine->Destroy();
            engine.reset();
            assigned.reset();
            EXPECT_EQ(feed(*copy, tiltedSample()).azimuth, 32.0F);
            copy->Destroy();
            copy->Destroy();
        }
    }
}

TEST(EngineCopy, assignmentReplacesWhatTheTargetHeld)
{
    EnginePair pair(5);
    pair.levelX(kFlatKnots, shiftedLine(1));
    CKor target;
    configurePlainly(target, 3);
    target.setLevelXComp(3, kFlatKnots.data(), shiftedLine(7).data());
    const std::array<float, 4> table = {0, 1, 180, 1};
    target.setAzimuthComp(2, table.data());
    target = pair.engine;
    EXPECT_TRUE(sameResult(feed(target, tiltedSample()), pair.feedBoth(tiltedSample())));
}

TEST(EngineCopy, assignmentToItselfChangesNothing)
{
    EnginePair pair(5);
    pair.levelX(kFlatKnots, shiftedLine(1));
    const CKor& self = pair.engine;
    pair.engine = self;
    pair.feedBoth(tiltedSample());
    pair.feedBoth(tiltedSample());
}

TEST(EngineCopy, aCopyOfAnEmptyOrDestroyedEngineIsRefusedToo)
{
    CKor fresh;
    CKor copyOfFresh(fresh);
    EXPECT_TRUE(isAllZero(feed(copyOfFresh, tiltedSample())));
    CKor destroyed;
    configurePlainly(destroyed, 5);
    destroyed.Destroy();
    CKor copyOfDestroyed(destroyed);
    EXPECT_TRUE(isAllZero(feed(copyOfDestroyed, tiltedSample())));
    copyOfDestroyed = fresh;
    EXPECT_TRUE(isAllZero(feed(copyOfDestroyed, tiltedSample())));
}

} // namespace
} // namespace kor_test
