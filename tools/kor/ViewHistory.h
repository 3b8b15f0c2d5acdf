// What viewers of a running replay are shown, in bounded memory: the newest rows whole, all rows thinned out, and what
// became of them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "recordings/Columns.h"
#include "series/Stamps.h"

namespace kor::tool {

/// The columns that a viewer gets.
struct ViewLayout {
    struct Charted {
        std::size_t value;     ///< place among the values
        bool needsOrientation; ///< means nothing in a row without an orientation
    };
    std::vector<const recordings::Column*> values; ///< told at the cursor
    std::vector<Charted> charted;                  ///< drawn over time
};

/// Numbers of a whole row in front of its values: number from 1, stamp (ms), time since the first row (s), outcome, and
/// the nine elements of the matrix, row by row.
inline constexpr std::size_t kViewRowHead = 13;

/// All that is kept of the rows at one moment.
struct ViewSnapshot {
    std::uint64_t rows = 0;         ///< so far
    std::uint64_t rowsPerPoint = 1; ///< of each point but the last one, which may hold fewer
    std::vector<double> points;     ///< for each: time (s) of its first row, smallest and largest value of each charted
    std::uint64_t thinStep = 1;     ///< the thinned rows are those whose number less 1 is a multiple of it
    std::vector<double> thinned;    ///< whole rows
    std::vector<double> newest;     ///< whole rows without a break up to the last one
};

/// Rows of a replay for its viewers. One thread adds, another one reads.
/// Notes  1  Times begin at 0 and never go back: behind a backward step of the stamps they go on with the usual step.
///        2  When there are too many points or thinned rows, two become one: points keep the smallest and the largest
///           value, of the thinned rows every second one goes.
class ViewHistory {
public:
    /// Rows that wait for a viewer: one that takes longer than these need to come gets a snapshot in their place.
    static constexpr std::size_t kNewest = 8192;
    static constexpr std::size_t kMostPoints = 4096;
    static constexpr std::size_t kMostThinned = 2048;
    /// Stretches and gaps that are listed, the last ones; all are counted.
    static constexpr std::size_t kMostListed = 500;

    /// Given  run  tells this replay from others
    ViewHistory(ViewLayout layout, std::string run);

    const std::string& run() const { return m_run; }

    void add(std::span<const recordings::Result> rows);

    /// Nothing is added any more. Given  level  of the finding that tells why: "good", "note" or "error"
    void end(const std::string& level, const std::string& text);

    std::uint64_t rows() const;
    bool hasEnded() const;

    /// Whole rows behind the first `known` ones, at most so many; nothing if the first of them is no longer kept.
    std::optional<std::vector<double>> rowsBehind(std::uint64_t known, std::size_t most) const;
    ViewSnapshot snapshot() const;

    /// Findings, outcomes, stretches and gaps so far, in the form of the page's manifest.
    nlohmann::ordered_json state() const;

    std::size_t numbersOfRow() const { return kViewRowHead + m_layout.values.size(); }
    std::size_t numbersOfPoint() const { return 1 + 2 * m_layout.charted.size(); }

private:
    /// Rows one behind the other with the same outcome, none of them usable.
    struct Stretch {
        recordings::Outcome outcome;
        bool known; ///< every recording begins so
        std::uint64_t first;
        std::uint64_t last;
        double from;
        double to;
    };
    struct Gap {
        std::uint64_t row;
        double time;
        double length;
    };

    void addRow(const recordings::Result& row);
    double timeOf(std::uint32_t stamp);
    void addToNewest(const recordings::Result& row, double time);
    void addToPoints(const double* whole);
    void addToThinned(const double* whole);
    void addToStretches(recordings::Outcome outcome, double time);
    void joinPoints();
    struct Findings;
    nlohmann::ordered_json findings() const;
    void addOutcomes(Findings& told) const;
    void addTimes(Findings& told) const;

    const ViewLayout m_layout;
    const std::string m_run;
    std::vector<const recordings::Column*> m_matrix;
    mutable std::mutex m_lock;

    std::uint64_t m_rows = 0;
    std::vector<double> m_newest; ///< used in turn: row n stands at n - 1 modulo kNewest
    std::uint64_t m_rowsPerPoint = 1;
    std::uint64_t m_rowsInLast = 0;
    std::vector<double> m_points;
    std::uint64_t m_thinStep = 1;
    std::vector<double> m_thinned;

    std::uint32_t m_lastStamp = 0;
    std::int64_t m_milliseconds = 0; ///< from the first row to the last one
    double m_time = 0;               ///< the same, s
    series::StampSteps m_steps;
    std::uint32_t m_usualStep = 0;
    std::uint64_t m_gapCount = 0;
    std::deque<Gap> m_gaps;

    std::array<series::Places, recordings::kOutcomeNames.size()> m_outcomes{};
    std::uint64_t m_unusable = 0; ///< beside those that every recording begins with
    std::uint64_t m_stretchCount = 0;
    std::deque<Stretch> m_stretches;
    std::optional<recordings::Outcome> m_lastOutcome;
    std::uint64_t m_waiting = 0; ///< the last row so far that had no reference; 0: none
    double m_waitingTime = 0;
    std::uint64_t m_referenceCount = 0;
    std::uint64_t m_reference = 0; ///< the first row that became one
    double m_referenceTime = 0;
    std::array<series::Places, 2> m_levelOut{};

    bool m_ended = false;
    std::string m_endLevel;
    std::string m_endText;
};

} // namespace kor::tool
