// What one viewer of a replay is sent, message by message, as server-sent events.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "tools/kor/ViewHistory.h"

namespace kor::tool {

/// Events:
///   snapshot  JSON: run, rows, missed, rowsPerPoint, thinStep, and points, thinned and newest as base64 of doubles,
///   the
///             least significant byte first; everything that the viewer has is replaced by it
///   rows      base64 of whole rows, which follow those that it has
///   state     JSON: what ViewHistory::state tells
class ViewMessages {
public:
    using Clock = std::chrono::steady_clock;

    explicit ViewMessages(const ViewHistory& history) : m_history(history) {}

    /// The next message; empty if there is nothing to tell now.
    std::string next(Clock::time_point now = Clock::now());

    /// Whether the viewer has been told everything: the history has ended, and nothing is left.
    bool areOver() const { return m_areOver; }

private:
    std::string rows(Clock::time_point now, bool hasEnded);
    std::string snapshot();
    std::string state(bool isLast);

    const ViewHistory& m_history;
    std::uint64_t m_known = 0;  ///< rows that the viewer has
    std::uint64_t m_missed = 0; ///< of these, rows that it has in thinned form alone because it was too slow
    bool m_hasBegun = false;
    bool m_areOver = false;
    Clock::time_point m_lastSnapshot;
    Clock::time_point m_lastState;
    Clock::time_point m_lastMessage;
    std::uint64_t m_rowsOfState = 0;
};

} // namespace kor::tool
