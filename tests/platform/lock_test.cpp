#include "platform/Lock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using kor::platform::RecursiveLock;
using Guard = std::lock_guard<RecursiveLock>;

TEST(RecursiveLock, isTakenAgainByTheThreadThatHoldsIt)
{
    RecursiveLock lock;
    int depth = 0;
    const Guard outer(lock);
    ++depth;
    {
        const Guard middle(lock);
        ++depth;
        const Guard inner(lock);
        ++depth;
    }
    EXPECT_EQ(depth, 3);
}

TEST(RecursiveLock, keepsOthersOutUntilEveryHoldIsReleased)
{
    RecursiveLock lock;
    std::atomic<bool> entered{false};
    lock.lock();
    lock.lock();
    std::thread other([&] {
        const Guard guard(lock);
        entered = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered) << "entered while held twice";
    lock.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered) << "entered while held once";
    lock.unlock();
    other.join();
    EXPECT_TRUE(entered);
}

TEST(RecursiveLock, makesReadModifyWriteSafe)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 20000;
    RecursiveLock lock;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const Guard guard(lock);
                counter = counter + 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(counter, kThreads * kRounds);
}

TEST(RecursiveLock, isNeitherCopiedNorMoved)
{
    EXPECT_FALSE(std::is_copy_constructible_v<RecursiveLock>);
    EXPECT_FALSE(std::is_move_constructible_v<RecursiveLock>);
    EXPECT_FALSE(std::is_copy_assignable_v<RecursiveLock>);
}

} // namespace
