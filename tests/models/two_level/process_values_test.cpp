// The values that the two-level models keep for the whole process, made fresh: what follows is what a new process
// gives.
#include "models/two_level/motion.h"
#include "models/two_level/two_level.h"

#include "KORInterface/KORInterface.h"
#include "KORInterface/Session.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

namespace kor_test {
namespace {

using Scenario = OwnProcess;

// Everything that a host sees of one call.
struct Seen {
    bool ok = false;
    std::array<double, 9> io{};
    std::array<float, 6> qvc{};
    std::array<float, 2> levels{};
};

Priming withDynamics(Priming prm)
{
    prm.dynamic = {0.5F, 1.5F, -2.0F, 0.25F, 3, 2, 1};
    return prm;
}

constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

// A number that replaces one of a call's nine inputs.
struct Wrong {
    int sample = 0; // 0: none
    std::size_t input = 0;
    double value = kNoNumber;
};

// A new object of the model along a sequence, as for one recording.
template <typename Model>
std::vector<Seen> recording(unsigned int seed, Motion motion, int samples, const Wrong& wrong = {})
{
    Sequence sequence(seed, static_cast<int>(seed % 2), motion);
    const Priming prm = withDynamics(sequence.priming());
    Model model(prm);
    std::vector<Seen> all;
    for (int n = 0; n < samples; ++n) {
        Seen seen;
        Call call = sequence.at(n + 1);
        call.io[7] += seed; // every sensor has temperatures of its own
        call.io[8] += 0.5 * seed;
        if (n + 1 == wrong.sample) {
            call.io[wrong.input] = wrong.value;
        }
        seen.ok = run(model, call, prm, seen.io);
        model.GetQVCMatrix(seen.qvc.data(), 6);
        model.GetLevelValues(seen.levels[0], seen.levels[1]);
        all.push_back(seen);
    }
    return all;
}

::testing::AssertionResult same(const std::vector<Seen>& got, const std::vector<Seen>& wanted)
{
    for (std::size_t n = 0; n < wanted.size(); ++n) {
        const ::testing::AssertionResult one = allOf(
            {sameCount("result", got[n].ok, wanted[n].ok), sameBitsIn("io", got[n].io.data(), wanted[n].io.data(), 9),
             sameBitsIn("qvc", got[n].qvc.data(), wanted[n].qvc.data(), 6),
             sameBitsIn("levels", got[n].levels.data(), wanted[n].levels.data(), 2)});
        if (!one) {
            return ::testing::AssertionFailure() << "sample " << n << ": " << one.message();
        }
    }
    return ::testing::AssertionSuccess();
}

int successes(const std::vector<Seen>& all)
{
    return static_cast<int>(std::count_if(all.begin(), all.end(), [](const Seen& one) { return one.ok; }));
}

// Beyond the first version's 102 samples and the second version's warm-up of 400.
constexpr int kSamples = 450;

template <typename Model>
class FreshProcessValues : public OwnProcess {
};

using BothVersions = ::testing::Types<OpenV1, OpenV2>;
TYPED_TEST_SUITE(FreshProcessValues, BothVersions);

TYPED_TEST(FreshProcessValues, giveALaterRecordingTheResultsOfANewProcess)
{
    const std::vector<Seen> first = recording<TypeParam>(11, Motion::kMoving, kSamples);
    ASSERT_GT(successes(first), 300);
    // Recordings of other sensors leave other values behind.
    for (const Motion motion : {Motion::kNoise, Motion::kSwing, Motion::kStatic}) {
        kor::FreshProcessValues();
        recording<TypeParam>(12, motion, kSamples);
        kor::FreshProcessValues();
        EXPECT_TRUE(same(recording<TypeParam>(11, Motion::kMoving, kSamples), first)) << nameOf(motion);
    }
}

// Values that another sensor left behind do show.
TYPED_TEST(FreshProcessValues, areNeededForThat)
{
    recording<TypeParam>(12, Motion::kSwing, kSamples);
    const std::vector<Seen> disturbed = recording<TypeParam>(11, Motion::kMoving, kSamples);
    kor::FreshProcessValues();
    EXPECT_FALSE(same(recording<TypeParam>(11, Motion::kMoving, kSamples), disturbed));
}

TYPED_TEST(FreshProcessValues, beforeAnyUseAndTwiceChangeNothing)
{
    kor::FreshProcessValues();
    const std::vector<Seen> first = recording<TypeParam>(11, Motion::kSwing, kSamples);
    kor::FreshProcessValues();
    kor::FreshProcessValues();
    EXPECT_TRUE(same(recording<TypeParam>(11, Motion::kSwing, kSamples), first));
}

// An object that lives on keeps its own members and meets values that its next sample sets up.
TEST_F(Scenario, freshProcessValuesReachAnObjectOfTheFirstVersionThatLivesOn)
{
    Sequence sequence(21, 1, Motion::kMoving);
    LiteralV1Process process;
    PairV1 pair(process, sequence.priming());
    for (int n = 1; n <= 400; ++n) {
        if (n % 130 == 0) {
            kor::FreshProcessValues();
            process = LiteralV1Process{};
        }
        ASSERT_TRUE(pair.feed(sequence.at(n))) << n;
    }
}

TEST_F(Scenario, freshProcessValuesReachAnObjectOfTheSecondVersionThatLivesOn)
{
    Sequence sequence(22, 0, Motion::kSwing);
    LiteralV2Process process;
    PairV2 pair(process, withDynamics(sequence.priming()));
    for (int n = 1; n <= 1000; ++n) {
        if (n % 450 == 0 || n == 20) {
            kor::FreshProcessValues();
            process = LiteralV2Process{};
        }
        ASSERT_TRUE(pair.feed(sequence.at(n))) << n;
    }
}

// The first call of the second version after it returns the matrix of a sample that never was.
TEST_F(Scenario, freshProcessValuesMakeTheSecondVersionBeginWithAZeroMatrix)
{
    recording<OpenV2>(31, Motion::kStatic, 100);
    EXPECT_NE(recording<OpenV2>(31, Motion::kStatic, 1)[0].io, (std::array<double, 9>{}));
    kor::FreshProcessValues();
    const std::vector<Seen> first = recording<OpenV2>(31, Motion::kStatic, 1);
    EXPECT_TRUE(first[0].ok);
    EXPECT_EQ(first[0].io, (std::array<double, 9>{}));
}

int notFinite(const std::vector<Seen>& all)
{
    return static_cast<int>(
        std::count_if(all.begin(), all.end(), [](const Seen& one) { return one.ok && !std::isfinite(one.io[0]); }));
}

// One number that is not finite stays in the smoothing until the values are made fresh. For objects that come later
// that holds of the second version; those of the first set the smoothing up anew while their histories fill.
// Pins [not-finite-stays].
TYPED_TEST(FreshProcessValues, repairWhatOneSampleHasSpoiled)
{
    const std::vector<Seen> first = recording<TypeParam>(11, Motion::kMoving, kSamples);
    ASSERT_EQ(notFinite(first), 0);
    constexpr double kInfinite = std::numeric_limits<double>::infinity();
    for (const Wrong& wrong :
         {Wrong{300, 0, kNoNumber}, {300, 3, kInfinite}, {300, 4, -kInfinite}, {1, 3, kNoNumber}}) {
        kor::FreshProcessValues();
        const int spoiled = notFinite(recording<TypeParam>(12, Motion::kSwing, kSamples, wrong));
        EXPECT_GT(spoiled, kSamples - std::max(wrong.sample, 103) - 10) << "nearly all behind it";
        const int inherited = notFinite(recording<TypeParam>(11, Motion::kMoving, kSamples));
        constexpr bool kIsFirst = std::is_same_v<TypeParam, OpenV1>;
        EXPECT_TRUE(kIsFirst ? inherited == 0 : inherited > kSamples - 30) << inherited << " of a new object";
        kor::FreshProcessValues();
        EXPECT_TRUE(same(recording<TypeParam>(11, Motion::kMoving, kSamples), first)) << wrong.input;
    }
}

// Through engines, as a host processes one recording after the other.
class EngineRecording {
public:
    EngineRecording(int mode, unsigned int seed) : m_seed(seed), m_sequence(seed, mode % 2, Motion::kMoving)
    {
        configure(engine, mode);
    }

    // Replaced by another one, configured in the same way.
    CKor engine;

    void configure(CKor& other, int mode);

    // Samples from one number to another, both inclusive; in one of them a position is not a number.
    std::vector<kor::SampleResult> feed(int from, int to, int wrong = 0);

private:
    unsigned int m_seed;
    Sequence m_sequence;
};

void EngineRecording::configure(CKor& other, int mode)
{
    Priming prm = m_sequence.priming();
    const std::array<float, 5> knots = {-90, 90, -90, 90, 0};
    const std::array<double, 8> passing = {-90, 1, 0, 0, 90, 0, 0, 0};
    other.setLevelXComp(2, knots.data(), passing.data());
    other.setLevelYComp(2, knots.data(), passing.data());
    other.setThermalFactor(F_VECTOR4{0, 1, 0, 1});
    other.setEncoderOffset(F_VECTOR2{static_cast<float>(prm.azRef), static_cast<float>(prm.elRef)});
    other.setQVCParameters(prm.qvc.data(), 6);
    other.setLevel1Parameters(prm.level1.data(), 7);
    other.setLevel2Parameters(prm.level2.data(), 7);
    other.setMountMode(mode);
}

std::vector<kor::SampleResult> EngineRecording::feed(int from, int to, int wrong)
{
    std::vector<kor::SampleResult> all;
    for (int n = from; n <= to; ++n) {
        const std::array<double, 9> io = m_sequence.at(n).io;
        KOR_RAWINFO raw = {};
        raw.status = n % 97 == 0 ? 1 : 2;
        for (std::size_t i = 0; i < 3; ++i) {
            raw.sensorVector[i] = static_cast<float>(io[i]);
        }
        if (n == wrong) {
            raw.sensorVector[1] = std::numeric_limits<float>::quiet_NaN();
        }
        raw.levelXRaw = static_cast<float>(io[3]);
        raw.levelYRaw = static_cast<float>(io[4]);
        raw.azimuthRaw = static_cast<float>(io[5]);
        raw.elevationRaw = static_cast<float>(io[6]);
        raw.temperatureCount[0] = static_cast<std::int32_t>(41920 * (io[7] + m_seed));
        raw.temperatureCount[2] = static_cast<std::int32_t>(41920 * io[8]);
        raw.timeStampMs = static_cast<std::uint32_t>(10 * n);
        kor::SampleResult result;
        kor::ProcessSample(engine, raw, result);
        all.push_back(result);
    }
    return all;
}

std::vector<kor::SampleResult> engineRecording(int mode, unsigned int seed)
{
    return EngineRecording(mode, seed).feed(1, kSamples);
}

::testing::AssertionResult same(const std::vector<kor::SampleResult>& got, const std::vector<kor::SampleResult>& wanted)
{
    for (std::size_t n = 0; n < wanted.size(); ++n) {
        const kor::SampleReport& a = got[n].report;
        const kor::SampleReport& b = wanted[n].report;
        if (std::memcmp(&got[n].info, &wanted[n].info, sizeof(KOR_INFO)) != 0 ||
            got[n].matrixCode != wanted[n].matrixCode || a.outcome != b.outcome || a.reason != b.reason ||
            a.model != b.model || a.capturedReference != b.capturedReference) {
            return ::testing::AssertionFailure() << "sample " << n;
        }
        const ::testing::AssertionResult matrix = sameBitsIn("matrix", got[n].matrix, wanted[n].matrix, 9);
        if (!matrix) {
            return ::testing::AssertionFailure() << "sample " << n << ": " << matrix.message();
        }
    }
    return ::testing::AssertionSuccess();
}

TEST_F(Scenario, freshProcessValuesLetOneProcessWorkOnSeveralRecordings)
{
    const std::vector<kor::SampleResult> first = engineRecording(10, 41);
    const auto valid = std::count_if(first.begin(), first.end(), [](const kor::SampleResult& one) {
        return one.report.outcome == kor::SampleOutcome::valid;
    });
    ASSERT_GT(valid, kSamples * 3 / 4);
    const std::vector<kor::SampleResult> disturbed = engineRecording(10, 41);
    EXPECT_FALSE(same(disturbed, first)) << "without it the second one begins with what the first one left";
    for (const int mode : {9, 10, 8, 5}) {
        engineRecording(mode, 42);
        kor::FreshProcessValues();
        EXPECT_TRUE(same(engineRecording(10, 41), first)) << "after mode " << mode;
    }
}

// Pins [not-finite-stays].
TEST_F(Scenario, anEngineSaysSinceWhichSampleItIsSpoiled)
{
    EngineRecording recording(9, 41);
    const std::vector<kor::SampleResult> all = recording.feed(1, 200, 150);
    EXPECT_EQ(all[148].report.outcome, kor::SampleOutcome::valid);
    EXPECT_EQ(all[148].report.spoiledBy, kor::SpoiledBy::nothing);
    EXPECT_EQ(all[148].report.spoiledSince, 0U);
    EXPECT_EQ(all[149].report.outcome, kor::SampleOutcome::notFinite) << "its own reading";
    for (std::size_t n = 149; n < all.size(); ++n) {
        const bool asked = (n + 1) % 97 != 0; // otherwise rejected by its status
        EXPECT_EQ(all[n].report.spoiledBy, asked ? kor::SpoiledBy::processValues : kor::SpoiledBy::nothing) << n;
        EXPECT_EQ(all[n].report.spoiledSince, asked ? 150U : 0U) << n;
        if (n > 149 && asked) {
            EXPECT_EQ(all[n].report.outcome, kor::SampleOutcome::spoiled) << n;
        }
    }
    // Every later engine, and after Destroy and another mount mode too.
    EngineRecording later(10, 42);
    const std::vector<kor::SampleResult> disturbed = later.feed(1, 40);
    EXPECT_EQ(disturbed[39].report.outcome, kor::SampleOutcome::spoiled);
    EXPECT_EQ(disturbed[39].report.spoiledSince, 1U);
    recording.engine.Destroy();
    EXPECT_EQ(kor::LastSample(recording.engine).spoiledBy, kor::SpoiledBy::nothing);
    recording.configure(recording.engine, 9);
    EXPECT_EQ(recording.feed(201, 240).back().report.outcome, kor::SampleOutcome::spoiled);
    // An engine of another model has nothing to do with it.
    EXPECT_EQ(EngineRecording(8, 43).feed(1, 40).back().report.outcome, kor::SampleOutcome::valid);
}

// What an engine gives that goes on after the values were made fresh, and what a new one gives in their place. From
// the second sample on nothing differs: the first one finds the filters empty and becomes the reference of a new
// engine.
TEST_F(Scenario, freshProcessValuesRepairAnEngineThatGoesOn)
{
    for (const int mode : {9, 10}) {
        for (const int wrong : {200, 198, 150}) { // in the last row of the filters, further back, out of them
            kor::FreshProcessValues();
            EngineRecording recording(mode, 41);
            recording.feed(1, 200, wrong);
            kor::FreshProcessValues();
            std::vector<kor::SampleResult> repaired = recording.feed(201, 400);
            kor::FreshProcessValues();
            std::vector<kor::SampleResult> wanted = EngineRecording(mode, 41).feed(201, 400);
            EXPECT_EQ(repaired[0].report.outcome, wanted[0].report.outcome);
            EXPECT_EQ(wanted[0].report.reason, kor::NoMatrixReason::filtersFilling);
            repaired.erase(repaired.begin());
            wanted.erase(wanted.begin());
            EXPECT_TRUE(same(repaired, wanted)) << mode << ", " << wrong;
            EXPECT_EQ(wanted.back().report.outcome, kor::SampleOutcome::valid);
            EXPECT_EQ(repaired.back().report.spoiledBy, kor::SpoiledBy::nothing);
            // With a new engine nothing differs at all.
            recording.feed(401, 430, 410);
            kor::FreshProcessValues();
            const std::vector<kor::SampleResult> again = EngineRecording(mode, 41).feed(201, 400);
            EXPECT_TRUE(same({again.begin() + 1, again.end()}, wanted));
        }
    }
}

} // namespace
} // namespace kor_test
