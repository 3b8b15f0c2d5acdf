// A value of the process: set up once per freshness, by one of the threads that come first. Run under a thread
// sanitizer as well.
#include "models/ProcessValues.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

namespace kor_test {
namespace {

struct Large {
    std::array<int, 200> numbers{};
};

Large filledWith(int number)
{
    Large value;
    value.numbers.fill(number);
    return value;
}

constexpr int kThreads = 8;

TEST(ProcessValue, isSetUpByItsFirstUse)
{
    kor::ProcessValue<Large> value;
    EXPECT_EQ(value.get([] { return filledWith(3); }).numbers.back(), 3);
    EXPECT_EQ(value.get([] { return filledWith(4); }).numbers.back(), 3);
    value.get([] { return Large(); }).numbers[5] = 9;
    EXPECT_EQ(value.get([] { return Large(); }).numbers[5], 9) << "a reference to the value itself";
}

TEST(ProcessValue, isSetUpAnewAfterItWasMadeFresh)
{
    kor::ProcessValue<Large> value;
    value.makeFresh();
    EXPECT_EQ(value.get([] { return filledWith(3); }).numbers.back(), 3);
    value.makeFresh();
    value.makeFresh();
    EXPECT_EQ(value.get([] { return filledWith(4); }).numbers.front(), 4);
    EXPECT_EQ(value.get([] { return filledWith(5); }).numbers.back(), 4);
}

TEST(ProcessValue, isSetUpOnceHoweverManyThreadsComeFirst)
{
    for (int round = 0; round < 200; ++round) {
        kor::ProcessValue<Large> value;
        for (const int freshness : {1, 2}) {
            std::atomic<int> setUps{0};
            std::atomic<int> mixed{0};
            std::atomic<int> there{0};
            std::vector<std::thread> threads;
            for (int i = 0; i < kThreads; ++i) {
                threads.emplace_back([&, i] {
                    // Not a std::barrier: under Wine it has left a thread asleep, once in some ten thousand rounds.
                    ++there;
                    while (there != kThreads) {
                        std::this_thread::yield();
                    }
                    const Large& seen = value.get([&, i] {
                        ++setUps;
                        return filledWith(100 * freshness + i);
                    });
                    const int first = seen.numbers.front();
                    mixed += first / 100 == freshness && seen.numbers.back() == first ? 0 : 1;
                });
            }
            for (std::thread& thread : threads) {
                thread.join();
            }
            ASSERT_EQ(setUps.load(), 1);
            ASSERT_EQ(mixed.load(), 0);
            value.makeFresh();
        }
    }
}

} // namespace
} // namespace kor_test
