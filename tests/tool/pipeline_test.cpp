// Blocks through stages: order, how many at a time, and how a run ends.
#include "tools/kor/Pipeline.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using kor::tool::Pipeline;
using Result = Pipeline::Result;

constexpr std::size_t kThreads[] = {1, 2, 3, 8};

std::vector<int> countedTo(int count)
{
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

// A first stage that numbers the blocks it fills.
class Source {
public:
    Source(std::size_t blocks, int count) : m_numbers(blocks), m_count(count) {}

    Pipeline::Stage stage()
    {
        return {true, [this](std::size_t block) {
                    m_numbers[block] = m_next++;
                    return m_next == m_count ? Result::last : Result::goOn;
                }};
    }
    int operator[](std::size_t block) const { return m_numbers[block]; }
    int filled() const { return m_next; }

private:
    std::vector<int> m_numbers;
    std::atomic<int> m_next{0};
    int m_count;
};

// Holds up a number of blocks, each for another time, so that they end in another order.
void dawdle(int number)
{
    if (number % 7 == 3) {
        std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
}

TEST(PipelineTest, stagesInTurnGetTheBlocksInTheirOrder)
{
    for (const std::size_t threads : kThreads) {
        constexpr int kCount = 200;
        Source source(threads + 2, kCount);
        std::vector<int> second;
        std::vector<int> last;
        Pipeline pipeline(threads + 2, {source.stage(),
                                        {true,
                                         [&](std::size_t block) {
                                             second.push_back(source[block]);
                                             return Result::goOn;
                                         }},
                                        {false,
                                         [&](std::size_t block) {
                                             dawdle(source[block]);
                                             return Result::goOn;
                                         }},
                                        {true, [&](std::size_t block) {
                                             last.push_back(source[block]);
                                             return Result::goOn;
                                         }}});
        pipeline.run(threads);
        EXPECT_EQ(second, countedTo(kCount)) << threads;
        EXPECT_EQ(last, countedTo(kCount)) << threads;
    }
}

TEST(PipelineTest, onOneThreadABlockIsFinishedBeforeTheNextBegins)
{
    Source source(3, 4);
    std::string steps;
    const auto stage = [&](char name) {
        return [&steps, &source, name](std::size_t block) {
            steps += std::to_string(source[block]) + name + " ";
            return Result::goOn;
        };
    };
    Pipeline(3, {source.stage(), {true, stage('a')}, {false, stage('b')}}).run(1);
    EXPECT_EQ(steps, "0a 0b 1a 1b 2a 2b 3a 3b ");
}

TEST(PipelineTest, aFastStageWaitsForASlowOne)
{
    constexpr std::size_t kBlocks = 4;
    Source source(kBlocks, 100);
    std::atomic<int> finished{0};
    std::atomic<int> most{0};
    const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    Pipeline pipeline(kBlocks, {source.stage(), {true, [&](std::size_t) {
                                                     // However long the system takes to let the first stage run.
                                                     while (finished == 0 && source.filled() < 2 &&
                                                            std::chrono::steady_clock::now() < patience) {
                                                         std::this_thread::yield();
                                                     }
                                                     std::this_thread::sleep_for(std::chrono::microseconds(50));
                                                     most = std::max(most.load(), source.filled() - finished.load());
                                                     ++finished;
                                                     return Result::goOn;
                                                 }}});
    pipeline.run(3);
    EXPECT_EQ(finished, 100);
    EXPECT_GT(most, 1) << "the first stage works ahead";
    EXPECT_LE(most, static_cast<int>(kBlocks));
}

TEST(PipelineTest, onlyAStageOutOfTurnWorksOnSeveralBlocks)
{
    Source source(6, 50);
    std::atomic<int> inTurn{0};
    std::atomic<int> together{0};
    std::atomic<bool> met{false};
    bool alone = true;
    Pipeline pipeline(6, {source.stage(),
                          {false,
                           [&](std::size_t) {
                               // The first one waits until there is another: it never comes to a stage in turn.
                               ++together;
                               const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
                               while (!met && std::chrono::steady_clock::now() < deadline) {
                                   met = together > 1;
                                   std::this_thread::yield();
                               }
                               --together;
                               return Result::goOn;
                           }},
                          {true, [&](std::size_t) {
                               alone = alone && ++inTurn == 1;
                               std::this_thread::yield();
                               --inTurn;
                               return Result::goOn;
                           }}});
    pipeline.run(3);
    EXPECT_TRUE(met);
    EXPECT_TRUE(alone);
}

TEST(PipelineTest, aStopEndsTheRunAtOnce)
{
    for (const std::size_t threads : kThreads) {
        Source source(threads + 2, -1); // without an end
        int through = 0;
        Pipeline pipeline(threads + 2, {source.stage(), {true, [&](std::size_t) {
                                                             return ++through == 6 ? Result::stop : Result::goOn;
                                                         }}});
        pipeline.run(threads);
        EXPECT_EQ(through, 6) << threads;
        EXPECT_LE(source.filled(), 6 + static_cast<int>(threads) + 2);
    }
}

// What the last stage stops for comes before what an earlier stage has met in a later block.
TEST(PipelineTest, whatTheLastStageHasNotSeenDoesNotCount)
{
    for (const std::size_t threads : kThreads) {
        Source source(threads + 2, 8);
        std::vector<int> seen;
        Pipeline(threads + 2, {source.stage(),
                               {true,
                                [&](std::size_t block) {
                                    seen.push_back(source[block]);
                                    dawdle(source[block]);
                                    return source[block] == 3 ? Result::stop : Result::goOn;
                                }}})
            .run(threads);
        EXPECT_EQ(seen, countedTo(4)) << threads;
    }
}

TEST(PipelineTest, anExceptionOfAStageIsThrownToTheCaller)
{
    for (const std::size_t threads : kThreads) {
        Source source(threads + 2, -1);
        Pipeline pipeline(threads + 2, {source.stage(), {false, [&](std::size_t block) {
                                                             if (source[block] == 5) {
                                                                 throw std::runtime_error("the fifth");
                                                             }
                                                             return Result::goOn;
                                                         }}});
        try {
            pipeline.run(threads);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& thrown) {
            EXPECT_STREQ(thrown.what(), "the fifth");
        }
    }
}

TEST(PipelineTest, aStageCanBeKeptOnTheThreadThatCalls)
{
    Source source(5, 60);
    Pipeline::Stage first = source.stage();
    first.onFirstThread = true;
    bool kept = true;
    first.work = [&kept, work = first.work, caller = std::this_thread::get_id()](std::size_t block) {
        kept = kept && std::this_thread::get_id() == caller;
        return work(block);
    };
    std::vector<int> last;
    Pipeline(5, {first,
                 {true,
                  [&](std::size_t block) {
                      dawdle(source[block]);
                      last.push_back(source[block]);
                      return Result::goOn;
                  }}})
        .run(3);
    EXPECT_TRUE(kept);
    EXPECT_EQ(last, countedTo(60));
}

// One thread holds the first stage's last block until something else has begun, so that the other one alone chooses:
// the second block of the stage that comes first, or the first block of the stage behind it.
TEST(PipelineTest, aStageThatComesFirstIsBegunBeforeThoseBehindIt)
{
    for (const bool comesFirst : {true, false}) {
        std::atomic<int> filled{0};
        std::mutex lock;
        std::string begun;
        const auto note = [&](const std::string& what) {
            const std::lock_guard<std::mutex> guard(lock);
            begun += what;
        };
        const auto isChosen = [&] {
            const std::lock_guard<std::mutex> guard(lock);
            return begun.size() > 1;
        };
        const auto waitFor = [](const std::function<bool()>& holds) {
            while (!holds()) {
                std::this_thread::yield();
            }
        };
        Pipeline(4, {{.inTurn = true,
                      .work =
                          [&](std::size_t block) {
                              ++filled;
                              if (block < 2) {
                                  return Result::goOn;
                              }
                              waitFor(isChosen);
                              return Result::last;
                          }},
                     {.inTurn = true,
                      .work =
                          [&](std::size_t block) {
                              note("a");
                              waitFor([&] { return block > 0 || filled == 3; });
                              return Result::goOn;
                          },
                      .comesFirst = comesFirst},
                     {.inTurn = true,
                      .work =
                          [&](std::size_t) {
                              note("b");
                              return Result::goOn;
                          }}})
            .run(2);
        EXPECT_EQ(begun.substr(0, 2), comesFirst ? "aa" : "ab");
        EXPECT_EQ(begun.size(), 6U);
    }
}

} // namespace
