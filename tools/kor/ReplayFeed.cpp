#include "tools/kor/ReplayFeed.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "KORInterface/Records.h"
#include "KORInterface/Session.h"

#include "recordings/Writer.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"
#include "tools/kor/Pipeline.h"
#include "tools/kor/SampleFeed.h"
#include "tools/kor/ViewHistory.h"

namespace kor::tool {

using recordings::Problem;
using recordings::Step;

namespace {

constexpr std::size_t kRowsOfBlock = 1024;
constexpr std::uint64_t kBadRowsShown = 5; // of those left out
constexpr std::uint64_t kRepairsShown = 5;

constexpr std::chrono::milliseconds kBetweenLooks(500);

// Beyond so many the one engine, and what is read and written in turn, leave nothing to do.
constexpr std::size_t kUsefulThreads = 8;

// A stretch of the recording, from its bytes to those of its results. What one stage hands to another lies together: it
// may have to get from one core to another.
struct Block {
    std::vector<KOR_RAWINFO> raws = std::vector<KOR_RAWINFO>(kRowsOfBlock);
    std::vector<std::uint64_t> places = std::vector<std::uint64_t>(kRowsOfBlock); // in the recording
    std::vector<SampleResult> samples = std::vector<SampleResult>(kRowsOfBlock);
    std::size_t count = 0;             // rows to feed
    std::vector<std::size_t> repaired; // rows behind which --repair begins anew

    std::unique_ptr<char[]> text{
        new char[kRowsOfBlock * recordings::ResultRows::longest()]}; // pages nobody has touched
    std::size_t length = 0;

    // What reading has met besides.
    std::uint64_t outside = 0;
    Places bad;
    std::vector<Problem> badShown;
    Problem broken;
    std::uint64_t consumed = 0; // bytes of the recording
    bool pauses = false;        // the next row has yet to come

    void clear()
    {
        count = 0;
        repaired.clear();
        outside = 0;
        bad = {};
        badShown.clear();
        broken = {};
        pauses = false;
    }
};

StreamState stateOf(const Tally& tally, const KOR_INFO& last)
{
    StreamState state{.samples = tally.samples};
    for (std::size_t i = 0; i < tally.outcomes.size(); ++i) {
        state.outcomes.emplace_back(recordings::kOutcomeNames[i], tally.outcomes[i].count);
    }
    state.outcomes.emplace_back("bad", tally.bad.count);
    std::copy(std::begin(last.orientationAngles), std::end(last.orientationAngles), state.angles);
    return state;
}

// The stages that a block goes through. Each has members of its own, so that they can work side by side; whatever is
// told, counted or written is the last one's, in the order of the rows.
class Feed {
public:
    Feed(const FeedParts& parts, Tally& tally)
        : m_parts(parts), m_window(parts.window), m_feed(parts.engine, parts.newEngine), m_rows(parts.format),
          m_tally(tally), m_progress(parts.progress, parts.reader.title(), parts.reader.size(), "samples")
    {
    }

    Problem run()
    {
        const std::size_t threads = std::clamp<std::size_t>(m_parts.threads, 1, kUsefulThreads);
        m_blocks.resize(threads == 1 ? 1 : threads + 2);
        m_parts.reader.tellBeforeWaiting();
        m_parts.results.write(m_rows.header());
        const auto start = std::chrono::steady_clock::now();
        Pipeline(m_blocks.size(),
                 {{.inTurn = true,
                   .work = [this](std::size_t i) { return read(m_blocks[i]); },
                   .onFirstThread = m_parts.reader.isLive()},
                  {.inTurn = true, .work = [this](std::size_t i) { return process(m_blocks[i]); }, .comesFirst = true},
                  {.inTurn = false, .work = [this](std::size_t i) { return format(m_blocks[i]); }},
                  {.inTurn = true, .work = [this](std::size_t i) { return write(m_blocks[i]); }}})
            .run(threads);
        m_tally.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        return m_broken;
    }

private:
    using Result = Pipeline::Result;

    Result read(Block& block)
    {
        block.clear();
        Result result = Result::goOn;
        for (std::size_t steps = 0; steps < kRowsOfBlock && result == Result::goOn; ++steps) {
            const Step step = m_parts.reader.next(block.raws[block.count]);
            if (step == Step::pending) {
                pause(block);
                break;
            }
            m_paused = false;
            result = take(block, step);
        }
        block.consumed = m_parts.reader.consumed();
        return result;
    }

    Result take(Block& block, Step step)
    {
        if (step == Step::sample) {
            block.places[block.count] = m_parts.reader.place();
            const bool inside = m_window.contains(block.raws[block.count].timeStampMs);
            block.count += inside ? 1 : 0;
            block.outside += inside ? 0 : 1;
            return Result::goOn;
        }
        if (step == Step::bad && m_parts.skipBad) {
            block.bad.add(m_parts.reader.place());
            if (m_badShown < kBadRowsShown) {
                ++m_badShown;
                block.badShown.push_back(m_parts.reader.problem());
            }
            return Result::goOn;
        }
        if (step != Step::end) {
            block.broken = m_parts.reader.problem();
        }
        return Result::last;
    }

    // What has come is sent on first, to be written out; when the next row is asked for again, it is waited for.
    void pause(Block& block)
    {
        if (m_paused) {
            m_parts.reader.await(kBetweenLooks);
        }
        block.pauses = !m_paused;
        m_paused = true;
    }

    Result process(Block& block)
    {
        for (std::size_t i = 0; i < block.count; ++i) {
            if (m_feed.feed(block.raws[i], block.samples[i])) {
                block.repaired.push_back(i);
            }
        }
        return Result::goOn;
    }

    Result format(Block& block)
    {
        char* at = block.text.get();
        for (std::size_t i = 0; i < block.count; ++i) {
            at = m_rows.append(at, resultOf(block.raws[i], block.samples[i]));
        }
        block.length = static_cast<std::size_t>(at - block.text.get());
        return Result::goOn;
    }

    Result write(Block& block)
    {
        count(block);
        m_parts.results.write({block.text.get(), block.length});
        if (block.pauses) {
            m_parts.results.flush();
        }
        if (m_parts.viewed != nullptr) {
            show(block);
        }
        if (m_parts.reader.isLive()) {
            m_progress.updateStream([this] { return stateOf(m_tally, m_last); });
        } else {
            m_progress.update(block.consumed, m_tally.samples);
        }
        m_broken = block.broken;
        return m_parts.results.problem() ? Result::stop : Result::goOn;
    }

    void show(const Block& block)
    {
        m_shown.clear();
        for (std::size_t i = 0; i < block.count; ++i) {
            m_shown.push_back(resultOf(block.raws[i], block.samples[i]));
        }
        m_parts.viewed->add(m_shown);
    }

    void count(const Block& block)
    {
        for (const Problem& problem : block.badShown) {
            m_progress.clear();
            warn(messageOf(problem) + ": left out");
        }
        m_tally.bad.add(block.bad);
        m_tally.outside += block.outside;
        auto repaired = block.repaired.begin();
        for (std::size_t i = 0; i < block.count; ++i) {
            m_tally.count(block.raws[i], block.samples[i].report, block.places[i]);
            if (repaired != block.repaired.end() && *repaired == i) {
                m_tally.countRepair(block.places[i]);
                tellRepair(block.samples[i].report.spoiledBy, block.places[i]);
                ++repaired;
            }
        }
        if (block.count > 0) {
            m_last = block.samples[block.count - 1].info;
        }
    }

    void tellRepair(SpoiledBy by, std::uint64_t place)
    {
        if (m_tally.repaired.count > kRepairsShown) {
            return;
        }
        m_progress.clear();
        warn(m_parts.reader.title() + ": " + m_parts.reader.placeName() + " " + std::to_string(place) + ": " +
             SpoiledText(by) + "; repaired: from the next sample on, the results are those of a new process");
    }

    const FeedParts& m_parts;
    std::vector<Block> m_blocks;

    // Reading.
    Window m_window;
    std::uint64_t m_badShown = 0;
    bool m_paused = false; // what has come is written out, or will be before anything else is

    // Processing.
    SampleFeed m_feed;

    // Formatting.
    const recordings::ResultRows m_rows;

    // Writing.
    Tally& m_tally;
    Progress m_progress;
    KOR_INFO m_last{};
    std::vector<recordings::Result> m_shown;
    Problem m_broken;
};

} // namespace

Problem feed(const FeedParts& parts, Tally& tally)
{
    return Feed(parts, tally).run();
}

} // namespace kor::tool
