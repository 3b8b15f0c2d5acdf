// The first two-level model against its own steps, to the bit, every field after every call.
#include "models/two_level/motion.h"
#include "models/two_level/two_level.h"

#include <string>
#include <tuple>

namespace kor_test {
namespace {

class TwoLevelLiteral : public OwnProcess {};

class TwoLevelLiteralMotion : public OwnProcess, public ::testing::WithParamInterface<std::tuple<Motion, int>> {};

std::string motionName(const ::testing::TestParamInfo<std::tuple<Motion, int>>& chosen)
{
    return std::string(nameOf(std::get<0>(chosen.param))) + (std::get<1>(chosen.param) != 0 ? "Odd" : "Even");
}

// Pins [average-then-compensation].
TEST_P(TwoLevelLiteralMotion, isTheSameOver400Samples)
{
    const auto [motion, parity] = GetParam();
    Sequence sequence(101, parity, motion);
    LiteralV1Process process;
    PairV1 pair(process, sequence.priming());
    int results = 0;
    for (int n = 0; n < 400; ++n) {
        ASSERT_TRUE(pair.feed(sequence.at(n)));
        ASSERT_EQ(pair.ok, n >= 102);
        results += pair.ok ? 1 : 0;
    }
    EXPECT_EQ(results, 298);
}

TEST_P(TwoLevelLiteralMotion, isTheSameWhileLevelsAreExcludedAndIncludedAgain)
{
    const auto [motion, parity] = GetParam();
    Sequence sequence(102, parity, motion);
    LiteralV1Process process;
    PairV1 pair(process, sequence.priming());
    std::array<int, 4> seen{};
    for (int n = 0; n < 900; ++n) {
        Call call = sequence.at(n);
        const auto which = static_cast<unsigned int>((n < 450 ? n / 60 : n / 7) % 4);
        call.excluded1 = (which & 1u) != 0;
        call.excluded2 = (which & 2u) != 0;
        ASSERT_TRUE(pair.feed(call));
        seen[which] += pair.ok ? 1 : 0;
    }
    EXPECT_GT(seen[0], 50);
    EXPECT_GT(seen[1], 50);
    EXPECT_GT(seen[2], 50);
    EXPECT_EQ(seen[3], 0);
}

// One level's counter starts anew while the other's runs on: one path gives a result, the other none.
TEST_P(TwoLevelLiteralMotion, isTheSameWhenTheCountersStartAnew)
{
    const auto [motion, parity] = GetParam();
    Sequence sequence(103, parity, motion);
    LiteralV1Process process;
    PairV1 pair(process, sequence.priming());
    std::uint32_t counter1 = 0;
    std::uint32_t counter2 = 40;
    int onlyOne = 0;
    for (int n = 0; n < 900; ++n) {
        Call call = sequence.at(n);
        counter1 = n == 250 || n == 600 ? 0 : counter1 + 1;
        counter2 = n == 400 || n == 600 ? 0 : counter2 + 1;
        call.counter1 = counter1;
        call.counter2 = counter2;
        call.time1 -= 1.0;
        ASSERT_TRUE(pair.feed(call));
        ASSERT_EQ(pair.ok, counter1 >= 102 || counter2 >= 102);
        onlyOne += (counter1 >= 102) != (counter2 >= 102) ? 1 : 0;
    }
    EXPECT_GT(onlyOne, 200);
}

INSTANTIATE_TEST_SUITE_P(All, TwoLevelLiteralMotion,
                         ::testing::Combine(::testing::ValuesIn(kMotions), ::testing::Values(0, 1)), motionName);

TEST_F(TwoLevelLiteral, isTheSameWithTwoInstancesFedInTurn)
{
    Sequence first(104, 0, Motion::kSwing);
    Sequence second(105, 1, Motion::kMoving);
    LiteralV1Process process;
    PairV1 a(process, first.priming());
    PairV1 b(process, second.priming());
    for (int n = 0; n < 400; ++n) {
        ASSERT_TRUE(a.feed(first.at(n)));
        if (n % 3 != 0) {
            ASSERT_TRUE(b.feed(second.at(n)));
        }
    }
}

TEST_F(TwoLevelLiteral, isTheSameWhileTheParametersChange)
{
    Sequence sequence(106, 0, Motion::kSwing);
    LiteralV1Process process;
    PairV1 pair(process, sequence.priming());
    for (int n = 0; n < 500; ++n) {
        if (n % 50 == 49) {
            Priming prm = ordinarySensor(sequence.source(), n / 50 % 2);
            prm.parity = n / 50 % 3;
            pair.set(prm);
        }
        ASSERT_TRUE(pair.feed(sequence.at(n)));
    }
}

class TwoLevelLiteralSlot : public OwnProcess, public ::testing::WithParamInterface<int> {};

// Slots 0 to 8 of the sample, and the two time stamps.
TEST_P(TwoLevelLiteralSlot, isTheSameWithStrangeNumbersIn)
{
    const int slot = GetParam();
    Sequence sequence(107, 1, Motion::kSwing);
    LiteralV1Process process;
    PairV1 pair(process, sequence.priming());
    for (int n = 0; n < 1400; ++n) {
        Call call = sequence.at(n);
        if (n >= 110 && n % 130 == 3) {
            const double strange = strangeNumbers()[static_cast<std::size_t>(n / 130 - 1) % 9];
            if (slot < 9) {
                call.io[static_cast<std::size_t>(slot)] = strange;
            } else {
                (slot == 9 ? call.time1 : call.time2) = strange;
            }
        }
        ASSERT_TRUE(pair.feed(call));
        ASSERT_EQ(pair.ok, n >= 102); // no input is checked
    }
}

// The very first sample of the process, whose values the smoothing and the drift keep.
TEST_P(TwoLevelLiteralSlot, isTheSameWithANotANumberInTheFirstSample)
{
    const int slot = GetParam();
    Sequence sequence(108, 0, Motion::kStatic);
    LiteralV1Process process;
    PairV1 pair(process, sequence.priming());
    for (int n = 0; n < 300; ++n) {
        Call call = sequence.at(n);
        if (n == 0) {
            if (slot < 9) {
                call.io[static_cast<std::size_t>(slot)] = kNan;
            } else {
                (slot == 9 ? call.time1 : call.time2) = kNan;
            }
        }
        ASSERT_TRUE(pair.feed(call));
    }
}

INSTANTIATE_TEST_SUITE_P(All, TwoLevelLiteralSlot, ::testing::Range(0, 11));

class TwoLevelLiteralParameter : public OwnProcess, public ::testing::WithParamInterface<int> {};

// 6 QVC parameters, 7 of each level, the two encoder offsets.
TEST_P(TwoLevelLiteralParameter, isTheSameWithStrangeNumbersIn)
{
    const auto which = static_cast<std::size_t>(GetParam());
    Sequence sequence(109, 0, Motion::kMoving);
    LiteralV1Process process;
    PairV1 pair(process, sequence.priming());
    for (int n = 0; n < 700; ++n) {
        if (n >= 110 && n % 20 == 0) {
            Priming prm = sequence.priming();
            const double strange = strangeNumbers()[static_cast<std::size_t>(n / 20) % 9];
            // beyond the floats' range the conversion is not defined: the largest float stands for it
            const float narrow = std::abs(strange) == 1e300
                                     ? std::copysign(3e38F, static_cast<float>(strange > 0 ? 1 : -1))
                                     : static_cast<float>(strange);
            if (which < 6) {
                prm.qvc[which] = narrow;
            } else if (which < 13) {
                prm.level1[which - 6] = narrow;
            } else if (which < 20) {
                prm.level2[which - 13] = narrow;
            } else {
                (which == 20 ? prm.azRef : prm.elRef) = strange;
            }
            pair.set(prm);
        }
        ASSERT_TRUE(pair.feed(sequence.at(n)));
    }
}

INSTANTIATE_TEST_SUITE_P(All, TwoLevelLiteralParameter, ::testing::Range(0, 22));

} // namespace
} // namespace kor_test
