// The values that the two-level models keep for the whole process, made fresh: what follows is what a new process
// gives.
#include "models/two_level/motion.h"
#include "models/two_level/two_level.h"

#include "KORInterface/Session.h"

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

// A new object of the model along a sequence, as for one recording.
template <typename Model>
std::vector<Seen> recording(unsigned int seed, Motion motion, int samples)
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

} // namespace
} // namespace kor_test
