#include "tools/kor/ViewMessages.h"

#include <bit>
#include <optional>
#include <span>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/kor/ReportPage.h"

namespace kor::tool {

namespace {

// A message is soon on its way; a viewer that is behind gets one after the other.
constexpr std::size_t kMostRows = 1024;
// A snapshot has some megabytes.
constexpr std::chrono::milliseconds kBetweenSnapshots(1000);
constexpr std::chrono::milliseconds kBetweenStates(500);
// What looks alive, although nothing comes.
constexpr std::chrono::milliseconds kLongestSilence(10'000);

std::string textOf(std::span<const double> numbers)
{
    std::string bytes;
    bytes.reserve(numbers.size() * sizeof(double));
    for (const double number : numbers) {
        const auto word = std::bit_cast<std::uint64_t>(number);
        for (unsigned shift = 0; shift < 64; shift += 8) {
            bytes += static_cast<char>(word >> shift & 0xffu);
        }
    }
    return base64Of(bytes);
}

std::string event(std::string_view name, std::string_view data)
{
    return fmt::format("event: {}\ndata: {}\n\n", name, data);
}

} // namespace

std::string ViewMessages::next(Clock::time_point now)
{
    const bool hasEnded = m_history.hasEnded(); // looked at before the rows: then none follows
    std::string message = rows(now, hasEnded);
    const std::uint64_t there = m_history.rows();
    if (hasEnded && m_known == there) {
        m_areOver = true;
        return message + state(true);
    }
    const bool isNew = there != m_rowsOfState || m_lastState == Clock::time_point();
    if (isNew && now - m_lastState >= kBetweenStates) {
        m_lastState = now;
        message += state(false);
    } else if (now - m_lastMessage >= kLongestSilence) {
        message += ":\n\n";
    }
    if (!message.empty()) {
        m_lastMessage = now;
    }
    return message;
}

std::string ViewMessages::rows(Clock::time_point now, bool hasEnded)
{
    if (m_hasBegun) {
        const std::optional<std::vector<double>> behind = m_history.rowsBehind(m_known, kMostRows);
        if (behind) {
            m_known += behind->size() / m_history.numbersOfRow();
            return behind->empty() ? std::string() : event("rows", textOf(*behind));
        }
        if (!hasEnded && now - m_lastSnapshot < kBetweenSnapshots) {
            return {};
        }
    }
    m_lastSnapshot = now;
    return snapshot();
}

std::string ViewMessages::snapshot()
{
    const ViewSnapshot all = m_history.snapshot();
    if (m_hasBegun) {
        const std::uint64_t newest = all.newest.size() / m_history.numbersOfRow();
        m_missed += all.rows - newest - m_known;
    }
    m_hasBegun = true;
    m_known = all.rows;
    const nlohmann::ordered_json json = {{"run", m_history.run()},
                                         {"rows", all.rows},
                                         {"missed", m_missed},
                                         {"rowsPerPoint", all.rowsPerPoint},
                                         {"thinStep", all.thinStep}};
    std::string text = json.dump();
    // Megabytes of digits, in which there is nothing to be escaped.
    text.back() = ',';
    text += fmt::format(R"("points":"{}","thinned":"{}","newest":"{}"}})", textOf(all.points), textOf(all.thinned),
                        textOf(all.newest));
    return event("snapshot", text);
}

std::string ViewMessages::state(bool isLast)
{
    nlohmann::ordered_json json = m_history.state();
    m_rowsOfState = json["rows"].get<std::uint64_t>();
    json["ended"] = isLast;
    // One line, whatever the texts hold.
    return event("state", json.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace));
}

} // namespace kor::tool
