// Blocks of work through stages, on one thread or on several.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace kor::tool {

/// Takes a few blocks, which are used again and again, through stages.
/// Notes  1  A stage begins the blocks in their order. A stage in turn works on one at a time, so that its blocks end
///           in that order too; any other stage may work on several.
///        2  The first stage is asked to fill a block only when that block has left the last stage: if one stage is
///           slow, those before it wait, and memory is that of the blocks.
class Pipeline {
public:
    enum class Result {
        goOn,
        last, ///< of the first stage: no block comes after this one
        stop  ///< nothing more is done, by any stage
    };

    struct Stage {
        bool inTurn;
        std::function<Result(std::size_t block)> work; ///< given the number of the block, below that of all blocks
        bool onFirstThread = false;                    ///< only on the thread that calls run
        bool comesFirst = false; ///< of all stages that have a block: for the one that takes longest of those in turn
    };

    Pipeline(std::size_t blocks, std::vector<Stage> stages);

    /// Returns when the last block has left the last stage, or after a stop. The calling thread works too. If some
    /// threads cannot be started, the others do their work. The first exception of a stage stops the work and is thrown
    /// here.
    void run(std::size_t threads);

private:
    /// What a block is waiting for or in.
    struct Place {
        std::size_t stage = 0;
        bool busy = false;
    };
    /// How far a stage has come.
    struct Turn {
        std::uint64_t begun = 0;
        bool busy = false;
    };
    struct Task {
        std::size_t stage;
        std::uint64_t number; ///< of the block in their order, from 0
    };

    void work(bool first);
    std::optional<Task> begin(bool first);
    bool mayBegin(std::size_t stage, bool first) const;
    Result done(const Task& task);
    void end(const Task& task, Result result);
    bool isOver() const { return m_stopped || (m_last && m_finished > *m_last); }

    std::vector<Stage> m_stages;
    std::vector<std::size_t> m_order; ///< of the stages, the one to look at first in front
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<Place> m_blocks;
    std::vector<Turn> m_turns;
    std::optional<std::uint64_t> m_last; ///< number of the last block, when it is known
    std::uint64_t m_finished = 0;        ///< blocks that have left the last stage
    bool m_stopped = false;
    std::exception_ptr m_failure;
};

} // namespace kor::tool
