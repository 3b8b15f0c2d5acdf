#include "tools/kor/ViewHistory.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/kor/ReportWords.h"

namespace kor::tool {

namespace {

using Json = nlohmann::ordered_json;
using recordings::kOutcomeNames;
using recordings::Outcome;
using recordings::Result;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// Where the numbers of a whole row stand.
constexpr std::size_t kTime = 2;
constexpr std::size_t kOutcome = 3;

std::string_view nameOf(Outcome outcome)
{
    return kOutcomeNames[static_cast<std::size_t>(outcome)];
}

double smaller(double a, double b)
{
    return b < a || std::isnan(a) ? b : a;
}

double larger(double a, double b)
{
    return b > a || std::isnan(a) ? b : a;
}

template <typename Item>
void keepLast(std::deque<Item>& items, Item item)
{
    items.push_back(std::move(item));
    if (items.size() > ViewHistory::kMostListed) {
        items.pop_front();
    }
}

std::string listedText(std::uint64_t all, std::string_view what)
{
    return all > ViewHistory::kMostListed
               ? fmt::format(" Listed and drawn are the last {} of {} {}.", ViewHistory::kMostListed, all, what)
               : std::string();
}

} // namespace

ViewHistory::ViewHistory(ViewLayout layout, std::string run) : m_layout(std::move(layout)), m_run(std::move(run))
{
    for (const recordings::Column& column : recordings::kResultColumns) {
        if (column.type == recordings::Type::float64) {
            m_matrix.push_back(&column);
        }
    }
    m_newest.resize(kNewest * numbersOfRow());
    m_points.reserve((kMostPoints + 1) * numbersOfPoint());
    m_thinned.reserve((kMostThinned + 1) * numbersOfRow());
}

void ViewHistory::add(std::span<const Result> rows)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    if (m_rows > 0) {
        m_usualStep = m_steps.median();
    }
    for (const Result& row : rows) {
        addRow(row);
    }
}

void ViewHistory::end(const std::string& level, const std::string& text)
{
    const std::lock_guard<std::mutex> guard(m_lock);
    m_ended = true;
    m_endLevel = level;
    m_endText = text;
}

std::uint64_t ViewHistory::rows() const
{
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_rows;
}

bool ViewHistory::hasEnded() const
{
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_ended;
}

void ViewHistory::addRow(const Result& row)
{
    m_time = timeOf(row.timeStampMs);
    ++m_rows;
    addToNewest(row, m_time);
    const double* const whole = &m_newest[(m_rows - 1) % kNewest * numbersOfRow()];
    addToPoints(whole);
    addToThinned(whole);
    m_outcomes[static_cast<std::size_t>(row.outcome)].add(m_rows);
    addToStretches(row.outcome, m_time);
    if (row.levelXOut) {
        m_levelOut[0].add(m_rows);
    }
    if (row.levelYOut) {
        m_levelOut[1].add(m_rows);
    }
}

// Counts the step to this stamp as well.
double ViewHistory::timeOf(std::uint32_t stamp)
{
    const std::uint32_t last = std::exchange(m_lastStamp, stamp);
    if (m_rows == 0) {
        return 0.0;
    }
    const std::uint32_t step = stamp - last;
    m_steps.add(step, m_rows + 1);
    if (m_usualStep == 0) { // of the first rows each one counts
        m_usualStep = m_steps.median();
    }
    const bool isBackward = static_cast<std::int32_t>(step) < 0;
    m_milliseconds += isBackward ? m_usualStep : step; // sums of seconds would drift
    const double time = static_cast<double>(m_milliseconds) / 1000.0;
    if (series::StampSteps::isGap(step, m_usualStep)) {
        ++m_gapCount;
        keepLast(m_gaps, Gap{m_rows + 1, time, step / 1000.0});
    }
    return time;
}

void ViewHistory::addToNewest(const Result& row, double time)
{
    double* at = &m_newest[(m_rows - 1) % kNewest * numbersOfRow()];
    *at++ = static_cast<double>(m_rows);
    *at++ = static_cast<double>(row.timeStampMs);
    *at++ = time;
    *at++ = static_cast<double>(row.outcome);
    for (const recordings::Column* const column : m_matrix) {
        *at++ = recordings::valueAt(&row, *column);
    }
    for (const recordings::Column* const column : m_layout.values) {
        *at++ = recordings::valueAt(&row, *column);
    }
}

void ViewHistory::addToPoints(const double* whole)
{
    const std::size_t width = numbersOfPoint();
    if (m_rowsInLast == m_rowsPerPoint && m_points.size() == kMostPoints * width) {
        joinPoints();
    }
    const bool isFirst = m_points.empty() || m_rowsInLast == m_rowsPerPoint;
    if (isFirst) {
        m_points.push_back(whole[kTime]);
        m_points.resize(m_points.size() + width - 1, kNone);
        m_rowsInLast = 0;
    }
    ++m_rowsInLast;
    double* point = &m_points[m_points.size() - width + 1];
    const bool isUsable = whole[kOutcome] == 0.0;
    for (const ViewLayout::Charted& each : m_layout.charted) {
        const double value = whole[kViewRowHead + each.value];
        if (std::isfinite(value) && (isUsable || !each.needsOrientation)) {
            point[0] = smaller(point[0], value);
            point[1] = larger(point[1], value);
        }
        point += 2;
    }
}

void ViewHistory::joinPoints()
{
    const std::size_t width = numbersOfPoint();
    const std::size_t count = m_points.size() / width / 2;
    for (std::size_t i = 0; i < count; ++i) {
        const double* const a = &m_points[2 * i * width];
        const double* const b = a + width;
        double* const into = &m_points[i * width];
        into[0] = a[0];
        for (std::size_t j = 1; j < width; j += 2) {
            into[j] = smaller(a[j], b[j]);
            into[j + 1] = larger(a[j + 1], b[j + 1]);
        }
    }
    m_points.resize(count * width);
    m_rowsPerPoint *= 2;
    m_rowsInLast = m_rowsPerPoint;
}

void ViewHistory::addToThinned(const double* whole)
{
    if ((m_rows - 1) % m_thinStep != 0) {
        return;
    }
    const std::size_t width = numbersOfRow();
    m_thinned.insert(m_thinned.end(), whole, whole + width);
    if (m_thinned.size() <= kMostThinned * width) {
        return;
    }
    const std::size_t count = (m_thinned.size() / width + 1) / 2;
    for (std::size_t i = 1; i < count; ++i) {
        std::copy_n(&m_thinned[2 * i * width], width, &m_thinned[i * width]);
    }
    m_thinned.resize(count * width);
    m_thinStep *= 2;
}

void ViewHistory::addToStretches(Outcome outcome, double time)
{
    if (outcome == Outcome::beforeReference) {
        m_waiting = m_rows;
        m_waitingTime = time;
    } else if (outcome == Outcome::ok && m_waiting > 0) {
        // The last row without a reference is the one that became it.
        if (m_referenceCount++ == 0) {
            m_reference = m_waiting;
            m_referenceTime = m_waitingTime;
        }
        m_waiting = 0;
    }
    const bool goesOn = m_lastOutcome == outcome;
    m_lastOutcome = outcome;
    if (outcome == Outcome::ok) {
        return;
    }
    const bool hasBegun = m_outcomes[static_cast<std::size_t>(Outcome::ok)].count > 0;
    const bool known = outcome == Outcome::beforeReference || (outcome == Outcome::noMatrixFiltersFilling && !hasBegun);
    m_unusable += known ? 0 : 1;
    if (goesOn) {
        m_stretches.back().last = m_rows;
        m_stretches.back().to = time;
    } else {
        ++m_stretchCount;
        keepLast(m_stretches, Stretch{outcome, known, m_rows, m_rows, time, time});
    }
}

std::optional<std::vector<double>> ViewHistory::rowsBehind(std::uint64_t known, std::size_t most) const
{
    const std::lock_guard<std::mutex> guard(m_lock);
    if (m_rows - known > kNewest) {
        return std::nullopt;
    }
    const std::size_t width = numbersOfRow();
    const std::size_t count = std::min<std::size_t>(most, m_rows - known);
    std::vector<double> rows;
    rows.reserve(count * width);
    for (std::size_t i = 0; i < count; ++i) {
        const double* const at = &m_newest[(known + i) % kNewest * width];
        rows.insert(rows.end(), at, at + width);
    }
    return rows;
}

ViewSnapshot ViewHistory::snapshot() const
{
    const std::lock_guard<std::mutex> guard(m_lock);
    const std::size_t width = numbersOfRow();
    ViewSnapshot snapshot;
    snapshot.rows = m_rows;
    snapshot.rowsPerPoint = m_rowsPerPoint;
    snapshot.points = m_points;
    snapshot.thinStep = m_thinStep;
    snapshot.thinned = m_thinned;
    const auto newest = static_cast<std::size_t>(std::min<std::uint64_t>(m_rows, kNewest));
    snapshot.newest.reserve(newest * width);
    for (std::uint64_t row = m_rows - newest; row < m_rows; ++row) {
        const double* const at = &m_newest[row % kNewest * width];
        snapshot.newest.insert(snapshot.newest.end(), at, at + width);
    }
    return snapshot;
}

Json ViewHistory::state() const
{
    const std::lock_guard<std::mutex> guard(m_lock);
    Json state = {{"rows", m_rows}, {"duration", m_time}, {"ended", m_ended}};
    state["subtitle"] = fmt::format("{}, {:.3f} s, {}", plural(m_rows, "row", "rows"), m_time,
                                    m_ended ? "ended" : "live results of kor replay");
    state["reference"] = m_referenceCount == 0 ? Json() : Json{{"row", m_reference}, {"time", m_referenceTime}};
    state["findings"] = findings();
    state["outcomes"] = Json::array();
    for (std::size_t i = 0; i < m_outcomes.size(); ++i) {
        if (const series::Places& places = m_outcomes[i]; places.count > 0) {
            state["outcomes"].push_back({{"name", kOutcomeNames[i]},
                                         {"count", places.count},
                                         {"share", share(places.count, m_rows)},
                                         {"first", places.first},
                                         {"last", places.last}});
        }
    }
    Json stretches = Json::array();
    for (const Stretch& each : m_stretches) {
        stretches.push_back({{"outcome", nameOf(each.outcome)},
                             {"first", each.first},
                             {"last", each.last},
                             {"from", each.from},
                             {"to", each.to},
                             {"known", each.known}});
    }
    const std::uint64_t without = m_rows - m_outcomes[static_cast<std::size_t>(Outcome::ok)].count;
    state["stretches"] = {
        {"list", std::move(stretches)},
        {"total", m_stretchCount},
        {"text", stretchesText(without, m_rows, m_stretchCount, listedText(m_stretchCount, "stretches"))}};
    Json gaps = Json::array();
    for (const Gap& each : m_gaps) {
        gaps.push_back({{"row", each.row}, {"time", each.time}, {"length", each.length}});
    }
    state["gaps"] = {{"list", std::move(gaps)},
                     {"text", fmt::format("{} between two time stamps longer than one and a half times the step that "
                                          "was usual until then and 1 ms.{}",
                                          plural(m_gapCount, "step", "steps"), listedText(m_gapCount, "gaps"))}};
    return state;
}

// Findings by their level.
struct ViewHistory::Findings {
    Json errors = Json::array();
    Json warnings = Json::array();
    Json good = Json::array();

    void error(const std::string& text) { tell(errors, "error", text); }
    void warning(const std::string& text) { tell(warnings, "warning", text); }
    void note(const std::string& text) { tell(good, "note", text); }
    void fine(const std::string& text) { tell(good, "good", text); }

    static void tell(Json& list, const std::string& level, const std::string& text)
    {
        list.push_back({{"level", level}, {"text", text}});
    }
};

// The worst first. Under the lock.
Json ViewHistory::findings() const
{
    Findings told;
    if (m_ended) {
        Findings::tell(m_endLevel == "error" ? told.errors : told.good, m_endLevel, m_endText);
    }
    addOutcomes(told);
    addTimes(told);
    for (std::size_t i = 0; i < m_levelOut.size(); ++i) {
        if (const series::Places& out = m_levelOut[i]; out.count > 0) {
            told.warning(levelOutText("XY"[i], out.count, m_rows, fmt::format("row {}", out.first)));
        }
    }
    told.errors.insert(told.errors.end(), told.warnings.begin(), told.warnings.end());
    told.errors.insert(told.errors.end(), told.good.begin(), told.good.end());
    return told.errors;
}

void ViewHistory::addOutcomes(Findings& told) const
{
    const std::uint64_t usable = m_outcomes[static_cast<std::size_t>(Outcome::ok)].count;
    const std::string use = fmt::format("{} of {} {} a usable orientation, {}.", usable, plural(m_rows, "row", "rows"),
                                        m_rows == 1 ? "holds" : "hold", share(usable, m_rows));
    if (m_rows == 0) {
        told.note(m_ended ? "The recording holds no rows." : "No row has come yet.");
    } else if (m_unusable > 0) {
        told.warning(use + unusableText(m_unusable));
    } else if (usable == 0) {
        told.note(use);
    } else {
        told.fine(use);
    }
    const std::string none = "No reference has been captured: all angles are 0.";
    if (m_referenceCount > 0) {
        told.fine(fmt::format("The reference was captured in row {} at {:.3f} s{}.", m_reference, m_referenceTime,
                              m_referenceCount == 1 ? "" : fmt::format(", and {} times since", m_referenceCount - 1)));
    } else if (m_waiting > 0 && m_ended) {
        told.error(none);
    } else if (m_waiting > 0) {
        told.warning(none);
    }
}

void ViewHistory::addTimes(Findings& told) const
{
    if (m_gapCount > 0) {
        told.warning(fmt::format("The time stamps have {}.", plural(m_gapCount, "gap", "gaps")));
    } else if (m_rows > 1 && m_usualStep == 0) {
        told.warning(noGapText(m_usualStep));
    } else if (m_rows > 1) {
        told.fine(noGapText(m_usualStep));
    }
    if (m_steps.backward().count > 0) {
        told.warning(backwardText(m_steps.backward().count, m_steps.backward().first));
    }
}

} // namespace kor::tool
