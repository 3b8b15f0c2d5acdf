// The second two-level model against its own steps, to the bit, every field after every call.
#include "models/two_level/motion.h"
#include "models/two_level/two_level.h"

#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace kor_test {
namespace {

class TwoLevelV2Literal : public OwnProcess {};

class TwoLevelV2LiteralMotion : public OwnProcess, public ::testing::WithParamInterface<std::tuple<Motion, int>> {
protected:
    // Dynamic parameters that all do something.
    static Priming dynamic(const Sequence& sequence)
    {
        Priming prm = sequence.priming();
        prm.dynamic = {0.3F, 0.7F, -0.4F, 0.2F, 3.0F, 2.0F, 5.0F};
        return prm;
    }
};

std::string motionName(const ::testing::TestParamInfo<std::tuple<Motion, int>>& chosen)
{
    return std::string(nameOf(std::get<0>(chosen.param))) + (std::get<1>(chosen.param) != 0 ? "Odd" : "Even");
}

TEST_P(TwoLevelV2LiteralMotion, isTheSameOver600SamplesWithoutDynamicParameters)
{
    const auto [motion, parity] = GetParam();
    Sequence sequence(201, parity, motion);
    LiteralV2Process process;
    PairV2 pair(process, sequence.priming());
    for (int n = 1; n <= 600; ++n) {
        ASSERT_TRUE(pair.feed(sequence.at(n)));
        ASSERT_EQ(pair.ok, n == 1 || n >= 6);
    }
    EXPECT_TRUE(process.warmDone);
}

TEST_P(TwoLevelV2LiteralMotion, isTheSameOver600SamplesWithDynamicParameters)
{
    const auto [motion, parity] = GetParam();
    Sequence sequence(202, parity, motion);
    LiteralV2Process process;
    PairV2 pair(process, dynamic(sequence));
    for (int n = 1; n <= 600; ++n) {
        ASSERT_TRUE(pair.feed(sequence.at(n)));
    }
    EXPECT_TRUE(process.warmDone);
    EXPECT_NE(process.level[0].s, 0.0);
    EXPECT_NE(process.level[0].t, 0.0);
    EXPECT_NE(process.level[1].s, 0.0);
    EXPECT_NE(process.level[1].t, 0.0);
}

// Long spells, then spells shorter than the eleven samples that a level needs to be trusted.
TEST_P(TwoLevelV2LiteralMotion, isTheSameWhileLevelsAreExcludedAndIncludedAgain)
{
    const auto [motion, parity] = GetParam();
    Sequence sequence(203, parity, motion);
    LiteralV2Process process;
    PairV2 pair(process, dynamic(sequence));
    std::array<int, 4> seen{};
    for (int n = 1; n <= 900; ++n) {
        Call call = sequence.at(n);
        const auto which = static_cast<unsigned int>((n < 500 ? n / 30 : n / 7) % 4);
        call.excluded1 = (which & 1u) != 0;
        call.excluded2 = (which & 2u) != 0;
        ASSERT_TRUE(pair.feed(call));
        seen[which] += pair.ok ? 1 : 0;
    }
    EXPECT_GT(seen[0], 100);
    EXPECT_GT(seen[1], 100);
    EXPECT_GT(seen[2], 100);
    EXPECT_EQ(seen[3], 0);
}

// The detector values change with every sample; QVC[0] to [2] and [5] now and then.
TEST_P(TwoLevelV2LiteralMotion, isTheSameWhileTheParametersChange)
{
    const auto [motion, parity] = GetParam();
    Sequence sequence(204, parity, motion);
    LiteralV2Process process;
    PairV2 pair(process, dynamic(sequence));
    for (int n = 1; n <= 500; ++n) {
        Priming prm = pair.literal.prm;
        if (n % 40 == 0) {
            const Priming other = ordinarySensor(sequence.source(), n / 40 % 2);
            prm = other;
            for (float& value : prm.dynamic) {
                value = static_cast<float>(sequence.source().uniform(-2, 2));
            }
        }
        prm.qvc[3] = static_cast<float>(sequence.source().uniform(-1, 1));
        prm.qvc[4] = static_cast<float>(sequence.source().uniform(-1, 1));
        pair.set(prm);
        ASSERT_TRUE(pair.feed(sequence.at(n)));
    }
}

INSTANTIATE_TEST_SUITE_P(All, TwoLevelV2LiteralMotion,
                         ::testing::Combine(::testing::ValuesIn(kMotions), ::testing::Values(0, 1)), motionName);

TEST_F(TwoLevelV2Literal, isTheSameWithTwoInstancesFedInTurn)
{
    Sequence first(205, 0, Motion::kSwing);
    Sequence second(206, 1, Motion::kMoving);
    LiteralV2Process process;
    Priming prm = first.priming();
    prm.dynamic = {1.0F, 0.5F, 0.5F, 0.1F, 1.0F, 1.0F, 1.0F};
    PairV2 a(process, prm);
    PairV2 b(process, second.priming());
    for (int n = 1; n <= 300; ++n) {
        ASSERT_TRUE(a.feed(first.at(2 * n)));
        // now and then both send the same time stamps: the second one gets the first one's matrix
        ASSERT_TRUE(b.feed(second.at(n % 5 == 0 ? 2 * n : 2 * n + 1)));
    }
}

TEST_F(TwoLevelV2Literal, isTheSameWhenTimeStampsRepeatOrOnlyOneOfThemMoves)
{
    Sequence sequence(207, 0, Motion::kSwing);
    LiteralV2Process process;
    PairV2 pair(process, sequence.priming());
    for (int n = 1; n <= 400; ++n) {
        Call call = sequence.at(n);
        call.time1 = n / 3;
        call.time2 = n / 5;
        if (n == 100) {
            call.time1 = kNan; // equals nothing, so the next sample is new as well
        }
        ASSERT_TRUE(pair.feed(call));
    }
}

// Samples without the first temperature do not count in the warm-up.
TEST_F(TwoLevelV2Literal, isTheSameWithSamplesThatHaveNoFirstTemperature)
{
    Sequence sequence(208, 0, Motion::kMoving);
    LiteralV2Process process;
    Priming prm = sequence.priming();
    prm.dynamic = {1.0F, 0.5F, 0.5F, 0.1F, 0.0F, 1.0F, 0.0F};
    PairV2 pair(process, prm);
    int doneAt = 0;
    for (int n = 1; n <= 900; ++n) {
        Call call = sequence.at(n);
        if (n % 4 == 0) {
            call.io[7] = n % 8 == 0 ? 0.0 : -0.0;
        }
        ASSERT_TRUE(pair.feed(call));
        doneAt = doneAt == 0 && process.warmDone ? n : doneAt;
    }
    // three of four samples count, from the sixth call on, two samples late: 400 / (3/4) = 533
    EXPECT_NEAR(doneAt, 538, 3);
}

class TwoLevelV2LiteralWarmUp : public OwnProcess, public ::testing::WithParamInterface<int> {};

// A level that has not been usable for eleven samples when the warm-up ends is handed the reading of its own row.
TEST_P(TwoLevelV2LiteralWarmUp, isTheSameWhenItEndsWhileALevelIsNotTrustedYet)
{
    Sequence sequence(214, 0, Motion::kMoving);
    LiteralV2Process process;
    Priming prm = sequence.priming();
    prm.dynamic = {1.0F, 0.0F, 0.0F, 0.0F, 3.0F, 7.0F, 1.0F};
    PairV2 pair(process, prm);
    for (int n = 1; n <= 440; ++n) {
        Call call = sequence.at(n);
        (GetParam() == 1 ? call.excluded1 : call.excluded2) = n == 400;
        const double before = process.level[GetParam() - 1].out;
        ASSERT_TRUE(pair.feed(call));
        ASSERT_EQ(process.warmDone, n >= 405);
        if (n == 405) {
            EXPECT_NE(process.level[GetParam() - 1].out, before);
        } else if (n > 400 && n <= 410) {
            EXPECT_TRUE(within(process.level[GetParam() - 1].out, before, 1e-12)); // no reading counts
        }
    }
}

INSTANTIATE_TEST_SUITE_P(BothLevels, TwoLevelV2LiteralWarmUp, ::testing::Values(1, 2));

class TwoLevelV2LiteralLag : public OwnProcess, public ::testing::WithParamInterface<float> {};

// Pins [third-lag-unused, lag-of-minus-1].
TEST_P(TwoLevelV2LiteralLag, isTruncatedAndReducedToTheRing)
{
    const float lag = GetParam();
    Sequence sequence(209, 0, Motion::kMoving);
    Priming prm = sequence.priming();
    LiteralV2Process process;
    PairV2 pair(process, prm);
    for (int n = 1; n <= 300; ++n) {
        if (n % 60 == 1) { // geometry alone, levels alone, temperatures alone, all three, none
            const int which = n / 60;
            prm.dynamic = {0.6F, 0.2F, 0.3F, 0.1F, 0.0F, 0.0F, 0.0F};
            prm.dynamic[4] = which == 0 || which == 3 ? lag : 1.0F;
            prm.dynamic[5] = which == 1 || which == 3 ? lag : 2.0F;
            prm.dynamic[6] = which == 2 || which == 3 ? lag : 3.0F;
            pair.set(prm);
        }
        ASSERT_TRUE(pair.feed(sequence.at(n)));
    }
}

INSTANTIATE_TEST_SUITE_P(All, TwoLevelV2LiteralLag,
                         ::testing::Values(0.0F, 1.0F, 2.7F, 4.999999F, 50.0F, 51.0F, 52.0F, 60.0F, 101.0F, 102.0F,
                                           1000.0F, 1e9F, 2e9F, -0.5F, -0.999F, -1.0F, -2.7F, -51.0F, -52.0F, -60.0F,
                                           -1e9F, -2e9F, 1e-40F));

// No integer for these: some row of the ring, the same one in the rest of the run.
class TwoLevelV2StrangeLag : public OwnProcess, public ::testing::WithParamInterface<float> {};

// Pins [lags-reduced].
TEST_P(TwoLevelV2StrangeLag, readsSomeRowOfTheRing)
{
    Sequence sequence(210, 1, Motion::kMoving);
    Priming prm = sequence.priming();
    prm.dynamic = {0.6F, 0.2F, 0.3F, 0.1F, GetParam(), GetParam(), GetParam()};
    OpenV2 model(prm);

    struct Candidate {
        LiteralV2Process process;
        std::unique_ptr<LiteralV2> literal;
        bool possible = true;
    };
    std::vector<std::unique_ptr<Candidate>> candidates;
    for (int lag = 0; lag < 51; ++lag) {
        candidates.push_back(std::make_unique<Candidate>());
        Priming sane = prm;
        sane.dynamic[4] = sane.dynamic[5] = sane.dynamic[6] = static_cast<float>(lag);
        candidates.back()->literal = std::make_unique<LiteralV2>(candidates.back()->process, sane);
    }
    for (int n = 1; n <= 200; ++n) {
        const Call call = sequence.at(n);
        std::array<double, 9> got{};
        const bool ok = run(model, call, prm, got);
        for (const auto& candidate : candidates) {
            std::array<double, 9> wanted = call.io;
            candidate->possible = candidate->literal->run(call, wanted.data()) == ok && candidate->possible &&
                                  sameBitsThroughout(got, wanted) && model.holdsWhat(*candidate->literal);
        }
    }
    int possible = 0;
    for (const auto& candidate : candidates) {
        possible += candidate->possible ? 1 : 0;
    }
    EXPECT_EQ(possible, 1);
}

INSTANTIATE_TEST_SUITE_P(All, TwoLevelV2StrangeLag,
                         ::testing::Values(std::numeric_limits<float>::quiet_NaN(),
                                           std::numeric_limits<float>::infinity(),
                                           -std::numeric_limits<float>::infinity(), 1e20F, -1e20F, 3e9F, -3e9F));

class TwoLevelV2LiteralSlot : public OwnProcess, public ::testing::WithParamInterface<int> {};

// Slots 0 to 8 of the sample, and the two time stamps.
TEST_P(TwoLevelV2LiteralSlot, isTheSameWithStrangeNumbersIn)
{
    const int slot = GetParam();
    Sequence sequence(211, 0, Motion::kSwing);
    Priming prm = sequence.priming();
    prm.dynamic = {0.6F, 0.2F, 0.3F, 0.1F, 2.0F, 1.0F, 3.0F};
    LiteralV2Process process;
    PairV2 pair(process, prm);
    // the harmless ones first: a not-a-number stays in the smoothing for good
    const std::array<double, 9> order = {0.0, -0.0, 5e-324, 90.0, 1e300, -1e300, INFINITY, -INFINITY, kNan};
    for (int n = 1; n <= 900; ++n) {
        Call call = sequence.at(n);
        if (n % 90 == 25) {
            const double strange = order[static_cast<std::size_t>(n / 90) % 9];
            if (slot < 9) {
                call.io[static_cast<std::size_t>(slot)] = strange;
            } else {
                (slot == 9 ? call.time1 : call.time2) = strange;
            }
        }
        ASSERT_TRUE(pair.feed(call));
    }
}

TEST_P(TwoLevelV2LiteralSlot, isTheSameWithANotANumberInTheFirstSample)
{
    const int slot = GetParam();
    Sequence sequence(212, 1, Motion::kMoving);
    Priming prm = sequence.priming();
    prm.dynamic = {1.0F, 0.2F, 0.3F, 0.1F, 0.0F, 0.0F, 0.0F};
    LiteralV2Process process;
    PairV2 pair(process, prm);
    for (int n = 1; n <= 60; ++n) {
        Call call = sequence.at(n);
        if (n == 1) {
            if (slot < 9) {
                call.io[static_cast<std::size_t>(slot)] = kNan;
            } else {
                (slot == 9 ? call.time1 : call.time2) = kNan;
            }
        }
        ASSERT_TRUE(pair.feed(call));
    }
}

INSTANTIATE_TEST_SUITE_P(All, TwoLevelV2LiteralSlot, ::testing::Range(0, 11));

class TwoLevelV2LiteralParameter : public OwnProcess, public ::testing::WithParamInterface<int> {};

// 6 QVC parameters, 7 of each level, the first four dynamic ones, the two encoder offsets.
TEST_P(TwoLevelV2LiteralParameter, isTheSameWithStrangeNumbersIn)
{
    const auto which = static_cast<std::size_t>(GetParam());
    Sequence sequence(213, 0, Motion::kMoving);
    Priming ordinary = sequence.priming();
    ordinary.dynamic = {0.6F, 0.2F, 0.3F, 0.1F, 2.0F, 1.0F, 3.0F};
    LiteralV2Process process;
    PairV2 pair(process, ordinary);
    const std::array<double, 8> order = {0.0, -0.0, 1e-40, 90.0, 3e38, -3e38, INFINITY, kNan};
    for (int n = 1; n <= 700; ++n) {
        Priming prm = ordinary;
        if (n % 80 == 25) {
            const double strange = order[static_cast<std::size_t>(n / 80) % 8];
            const auto narrow = static_cast<float>(strange);
            if (which < 6) {
                prm.qvc[which] = narrow;
            } else if (which < 13) {
                prm.level1[which - 6] = narrow;
            } else if (which < 20) {
                prm.level2[which - 13] = narrow;
            } else if (which < 24) {
                prm.dynamic[which - 20] = narrow;
            } else {
                (which == 24 ? prm.azRef : prm.elRef) = strange;
            }
        }
        pair.set(prm);
        ASSERT_TRUE(pair.feed(sequence.at(n)));
    }
}

INSTANTIATE_TEST_SUITE_P(All, TwoLevelV2LiteralParameter, ::testing::Range(0, 26));

} // namespace
} // namespace kor_test
