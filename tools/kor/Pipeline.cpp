#include "tools/kor/Pipeline.h"

#include <algorithm>
#include <exception>
#include <numeric>
#include <thread>
#include <utility>

#include "platform/Process.h"

namespace kor::tool {

Pipeline::Pipeline(std::size_t blocks, std::vector<Stage> stages)
    : m_stages(std::move(stages)), m_order(m_stages.size()), m_blocks(blocks), m_turns(m_stages.size())
{
    // What is furthest on goes first: blocks become free as soon as can be.
    std::iota(m_order.rbegin(), m_order.rend(), std::size_t{0});
    std::stable_partition(m_order.begin(), m_order.end(),
                          [this](std::size_t stage) { return m_stages[stage].comesFirst; });
}

void Pipeline::run(std::size_t threads)
{
    {
        std::vector<std::jthread> helpers; // waited for at the end of this block
        try {
            while (helpers.size() + 1 < threads) {
                helpers.emplace_back([this] {
                    // The thread that waits for a live recording has to hear of a signal.
                    const platform::EndingSignalsWait signalsAreTheFirstThreads;
                    work(false);
                });
            }
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
            // There are too many threads, or no memory for one more: those that have started do its work.
        }
        work(true);
    }
    if (m_failure) {
        std::rethrow_exception(m_failure);
    }
}

void Pipeline::work(bool first)
{
    std::unique_lock<std::mutex> guard(m_lock);
    while (!isOver()) {
        const std::optional<Task> task = begin(first);
        if (!task) {
            m_changed.wait(guard);
            continue;
        }
        guard.unlock();
        const Result result = done(*task);
        guard.lock();
        end(*task, result);
    }
}

bool Pipeline::mayBegin(std::size_t stage, bool first) const
{
    const Turn& turn = m_turns[stage];
    const Place& place = m_blocks[turn.begun % m_blocks.size()];
    const bool mayWork = (!m_stages[stage].inTurn || !turn.busy) && (!m_stages[stage].onFirstThread || first);
    return mayWork && !place.busy && place.stage == stage && (!m_last || turn.begun <= *m_last);
}

std::optional<Pipeline::Task> Pipeline::begin(bool first)
{
    const auto next =
        std::find_if(m_order.begin(), m_order.end(), [=, this](std::size_t stage) { return mayBegin(stage, first); });
    if (next == m_order.end()) {
        return std::nullopt;
    }
    Turn& turn = m_turns[*next];
    m_blocks[turn.begun % m_blocks.size()].busy = true;
    turn.busy = true;
    return Task{*next, turn.begun++};
}

Pipeline::Result Pipeline::done(const Task& task)
{
    try {
        return m_stages[task.stage].work(task.number % m_blocks.size());
    } catch (...) {
        const std::lock_guard<std::mutex> guard(m_lock);
        if (!m_stopped) {
            m_failure = std::current_exception();
        }
        m_stopped = true;
        return Result::stop;
    }
}

void Pipeline::end(const Task& task, Result result)
{
    Place& place = m_blocks[task.number % m_blocks.size()];
    place.busy = false;
    place.stage = (task.stage + 1) % m_stages.size();
    m_turns[task.stage].busy = false;
    if (place.stage == 0) {
        ++m_finished;
    }
    if (result == Result::last) {
        m_last = task.number;
    }
    m_stopped = m_stopped || result == Result::stop;
    m_changed.notify_all();
}

} // namespace kor::tool
