// Copies of the two-level models.
#include "models/two_level/sensor.h"
#include "models/two_level/two_level.h"

#include <filesystem>

namespace kor_test {
namespace {

OpenV1 usedV1()
{
    OpenV1 model;
    PoseSource source(31);
    prime(model, ordinarySensor(source, 1));
    for (int n = 0; n < 120; ++n) {
        const double position[3] = {1.0 * n * n, 2.0 * n, 3.0};
        const double axis[3] = {0.6, 0.0, 0.8};
        model.GetAccLx(position, axis, static_cast<unsigned long>(n), 0.01 * n, model.m_accAlongL1);
        model.GetAccLy(position, axis, static_cast<unsigned long>(n), 0.02 * n, model.m_accAlongL2);
        double value = n;
        model.MovingFilter(value);
        model.MovingFilterLevelY(value);
    }
    model.m_level1Filtered = 1.25;
    model.m_level2Filtered = 2.25;
    model.m_filterReserve = 3.25;
    model.m_driftA = 4.25;
    model.m_driftB = 5.25;
    model.SetCounter(120, 121);
    model.SetTimeInterval(6.25, 7.25);
    model.SetLevelLimits(true, false);
    model.qvcMatrix[2] = 8.25F;
    return model;
}

void expectSameFields(const OpenV1& got, const OpenV1& wanted)
{
    EXPECT_TRUE(sameBitsIn("posHistL1", got.m_posHistL1[0], wanted.m_posHistL1[0], 306));
    EXPECT_TRUE(sameBitsIn("velHistL1", got.m_velHistL1[0], wanted.m_velHistL1[0], 306));
    EXPECT_TRUE(sameBitsIn("accL1", got.m_accL1, wanted.m_accL1, 3));
    EXPECT_TRUE(sameBitsIn("posHistL2", got.m_posHistL2[0], wanted.m_posHistL2[0], 306));
    EXPECT_TRUE(sameBitsIn("velHistL2", got.m_velHistL2[0], wanted.m_velHistL2[0], 306));
    EXPECT_TRUE(sameBitsIn("accL2", got.m_accL2, wanted.m_accL2, 3));
    EXPECT_TRUE(sameBits(got.m_accAlongL1, wanted.m_accAlongL1));
    EXPECT_TRUE(sameBits(got.m_accAlongL2, wanted.m_accAlongL2));
    EXPECT_EQ(got.m_level1Filtered, 1.25);
    EXPECT_EQ(got.m_level2Filtered, 2.25);
    EXPECT_EQ(got.m_filterReserve, 3.25);
    EXPECT_EQ(got.m_driftA, 4.25);
    EXPECT_EQ(got.m_driftB, 5.25);
    EXPECT_EQ(got.m_counterL1, 120u);
    EXPECT_EQ(got.m_counterL2, 121u);
    EXPECT_EQ(got.m_timeL1, 6.25);
    EXPECT_EQ(got.m_timeL2, 7.25);
    EXPECT_TRUE(got.m_level1Excluded);
    EXPECT_FALSE(got.m_level2Excluded);
    EXPECT_EQ(got.m_filterLength, 80);
    EXPECT_EQ(got.m_filterCountL1, 120u);
    EXPECT_EQ(got.m_filterCountL2, 120u);
    EXPECT_TRUE(sameBits(got.m_lastLevel2Output, wanted.m_lastLevel2Output));
    EXPECT_TRUE(sameBitsIn("qvcMatrix", got.qvcMatrix, wanted.qvcMatrix, 6));
    EXPECT_EQ(got.m_filterBufL1, wanted.m_filterBufL1);
    EXPECT_EQ(got.m_filterBufL2, wanted.m_filterBufL2);
}

TEST(TwoLevelCopy, carriesEveryField)
{
    const OpenV1 source = usedV1();
    const OpenV1 copy(source);
    expectSameFields(copy, source);
    OpenV1 assigned;
    assigned = source;
    expectSameFields(assigned, source);
}

// Both feed one ring, each with a count of its own.
// Pins [rings-stay-allocated].
TEST(TwoLevelCopy, sharesTheAverageBuffersWithItsSource)
{
    OpenV1 source;
    double value = 10.0;
    source.MovingFilter(value);
    value = 20.0;
    source.MovingFilterLevelY(value);
    OpenV1 copy(source);
    value = 30.0;
    EXPECT_EQ(copy.MovingFilter(value), 0);
    EXPECT_EQ(value, 10.0);
    value = 50.0;
    copy.MovingFilter(value);
    EXPECT_EQ(value, 20.0);
    value = 70.0; // overwrites the copy's 30 at index 1
    source.MovingFilter(value);
    EXPECT_EQ(value, 10.0);
    value = 0.0;
    copy.MovingFilter(value); // 10, 70, 50
    EXPECT_EQ(value, 130.0 / 3.0);
    value = 90.0;
    copy.MovingFilterLevelY(value);
    value = 0.0;
    source.MovingFilterLevelY(value); // writes index 1, over the copy's 90
    EXPECT_EQ(value, 20.0);
    value = 0.0;
    copy.MovingFilterLevelY(value);
    EXPECT_EQ(value, 10.0);
}

// Pins [rings-stay-allocated].
TEST(TwoLevelCopy, outlivesItsSourceWithBuffersThatAreNeverFreed)
{
    auto* source = new OpenV1;
    double value = 10.0;
    source->MovingFilter(value);
    value = 4.0;
    source->MovingFilterLevelY(value);
    OpenV1 copy(*source);
    OpenV1 assigned;
    assigned = *source;
    delete source;
    value = 0.0;
    copy.MovingFilter(value);
    EXPECT_EQ(value, 10.0);
    value = 0.0;
    assigned.MovingFilterLevelY(value);
    EXPECT_EQ(value, 4.0);
}

TEST(TwoLevelCopy, ofItselfChangesNothing)
{
    OpenV1 model = usedV1();
    const OpenV1 before(model);
    const OpenV1& self = model;
    model = self;
    expectSameFields(model, before);
}

class TwoLevelV2Copy : public OwnProcess {};

// Pins [closed-stream].
TEST_F(TwoLevelV2Copy, carriesEveryFieldButHasAClosedStreamOfItsOwn)
{
    PoseSource poses(32);
    Priming prm = ordinarySensor(poses, 0);
    prm.dynamic = {0.5F, 0.1F, 0.2F, 0.3F, 1.0F, 2.0F, 3.0F};
    const TwoLevelSensor sensor(prm);
    OpenV2 source(prm);
    std::array<double, 9> io;
    for (int n = 0; n < 70; ++n) {
        run(source, callAt(sensor.read(poses.tilted(1, 2, 30)), n + 1), prm, io);
    }
    source.SetLevelLimits(false, true);
    source.SetCounter(7, 8);
    double value = 3.0;
    source.MovingFilter(value);
    const std::filesystem::path file = std::filesystem::path(::testing::TempDir()) / "kor_two_level_stream.txt";
    source.m_logStream.open(file.string());
    ASSERT_TRUE(source.m_logStream.is_open());

    const auto expectSame = [&](const OpenV2& copy) {
        EXPECT_EQ(copy.m_ringIndex, source.m_ringIndex);
        EXPECT_TRUE(sameBitsIn("rawRing", copy.m_rawRing[0], source.m_rawRing[0], 459));
        EXPECT_TRUE(sameBitsIn("filteredRing", copy.m_filteredRing[0], source.m_filteredRing[0], 459));
        EXPECT_TRUE(sameBitsIn("psdRing", copy.m_psdRing[0], source.m_psdRing[0], 102));
        EXPECT_TRUE(sameBitsIn("psdFilteredRing", copy.m_psdFilteredRing[0], source.m_psdFilteredRing[0], 102));
        EXPECT_TRUE(sameBitsIn("axisZRing", copy.m_axisZRing[0], source.m_axisZRing[0], 102));
        EXPECT_TRUE(sameBits(copy.m_accAlongL1v2, source.m_accAlongL1v2));
        EXPECT_TRUE(sameBits(copy.m_accAlongL2v2, source.m_accAlongL2v2));
        EXPECT_TRUE(sameBits(copy.m_level1Value, source.m_level1Value));
        EXPECT_TRUE(sameBits(copy.m_level2Value, source.m_level2Value));
        EXPECT_TRUE(sameBitsIn("accVectorV2", copy.m_accVectorV2, source.m_accVectorV2, 3));
        EXPECT_EQ(copy.m_counterL1v2, 7u);
        EXPECT_EQ(copy.m_counterL2v2, 8u);
        EXPECT_FALSE(copy.m_level1ExcludedV2);
        EXPECT_TRUE(copy.m_level2ExcludedV2);
        EXPECT_TRUE(sameBits(copy.m_timeL1v2, source.m_timeL1v2));
        EXPECT_TRUE(sameBits(copy.m_timeL2v2, source.m_timeL2v2));
        EXPECT_EQ(copy.m_shortLength, 5);
        EXPECT_TRUE(sameBitsIn("dynamicParams", copy.m_dynamicParams, source.m_dynamicParams, 7));
        EXPECT_TRUE(sameBitsIn("qvcMatrix", copy.qvcMatrix, source.qvcMatrix, 6));
        EXPECT_EQ(copy.m_filterBufL1, source.m_filterBufL1);
        EXPECT_EQ(copy.m_filterBufL2, source.m_filterBufL2);
        EXPECT_FALSE(copy.m_logStream.is_open());
    };
    const OpenV2 copy(source);
    expectSame(copy);
    OpenV2 assigned;
    assigned = source;
    expectSame(assigned);
    const OpenV2& itself = assigned;
    assigned = itself;
    expectSame(assigned);
    EXPECT_TRUE(source.m_logStream.is_open());
    source.m_logStream.close();
    std::filesystem::remove(file);
}

// The same object as far as any result shows: fed the sample that its source would have got next.
TEST_F(TwoLevelV2Copy, goesOnWhereItsSourceStood)
{
    PoseSource poses(33);
    Priming prm = ordinarySensor(poses, 0);
    prm.dynamic = {1.0F, 0.0F, 0.0F, 0.0F, 1.0F, 1.0F, 1.0F};
    const TwoLevelSensor sensor(prm);
    LiteralV2Process process;
    PairV2 pair(process, prm);
    const Pose pose = poses.tilted(1, 2, 30);
    for (int n = 1; n <= 40; ++n) {
        ASSERT_TRUE(pair.feed(callAt(sensor.read(pose), n)));
    }
    OpenV2 copy(pair.model);
    const Call next = callAt(sensor.read(poses.tilted(1, 2, 30)), 41);
    std::array<double, 9> wanted = next.io;
    std::array<double, 9> got{};
    ASSERT_TRUE(pair.literal.run(next, wanted.data()));
    ASSERT_TRUE(run(copy, next, prm, got));
    EXPECT_TRUE(sameBitsThroughout(got, wanted));
}

} // namespace
} // namespace kor_test
