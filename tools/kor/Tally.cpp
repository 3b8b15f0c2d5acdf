#include "tools/kor/Tally.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace kor::tool {

namespace {

bool allZero(const float (&values)[3])
{
    return values[0] == 0.0f && values[1] == 0.0f && values[2] == 0.0f;
}

bool isIdentity(const double (&matrix)[9])
{
    for (int i = 0; i < 9; ++i) {
        if (matrix[i] != (i % 4 == 0 ? 1.0 : 0.0)) {
            return false;
        }
    }
    return true;
}

bool isZero(const double (&matrix)[9])
{
    return std::all_of(matrix, matrix + 9, [](double element) { return element == 0.0; });
}

} // namespace

Outcome Judge::judge(const KOR_RAWINFO& raw, const Result& result)
{
    if (raw.status != 2) {
        return Outcome::rejectedByStatus;
    }
    const bool lagging = m_mode == 9 || m_mode == 10;
    const bool silent = allZero(result.info.sensorOut);
    const bool trace = !silent || !isIdentity(result.matrix);
    if (trace) {
        m_captured = m_captured || (raw.referenceGate <= 0.4f && raw.referenceHold == 0);
        return lagging && silent && isZero(result.matrix) ? Outcome::withoutMatrix : Outcome::valid;
    }
    if (lagging) {
        return Outcome::withoutMatrix;
    }
    if (m_mode == 7 || m_mode == 8) {
        return Outcome::valid;
    }
    const bool wouldShow = m_captured || (m_mode < 7 && !allZero(raw.sensorVector));
    return wouldShow ? Outcome::withoutMatrix : Outcome::valid;
}

bool Window::contains(std::uint32_t stamp)
{
    if (!m_started) {
        m_started = true;
        m_first = stamp;
    }
    if (m_hasFrom && m_hasTo) {
        return stamp - m_from <= m_to - m_from;
    }
    const auto before = [this](std::uint32_t bound) { return bound < m_first && m_first - bound < 0x80000000u; };
    if (m_hasFrom) {
        return before(m_from) || stamp - m_first >= m_from - m_first;
    }
    return !m_hasTo || (!before(m_to) && stamp - m_first <= m_to - m_first);
}

void Tally::count(std::uint32_t stamp, Outcome outcome)
{
    firstStamp = samples == 0 ? stamp : firstStamp;
    lastStamp = stamp;
    ++samples;
    switch (outcome) {
    case Outcome::valid:
        ++valid;
        break;
    case Outcome::rejectedByStatus:
        ++rejectedByStatus;
        break;
    case Outcome::withoutMatrix:
        ++withoutMatrix;
        break;
    }
}

std::string Tally::summary(const std::string& title, bool withOutside, bool withBad) const
{
    const double rate = seconds > 0 ? static_cast<double>(samples) / seconds : 0;
    const std::string none = "none";
    std::vector<std::pair<std::string, std::string>> lines = {
        {"samples", std::to_string(samples)},
        {"valid", std::to_string(valid)},
        {"rejected by status", std::to_string(rejectedByStatus)},
        {"without matrix", std::to_string(withoutMatrix)},
    };
    if (withOutside) {
        lines.emplace_back("outside the window", std::to_string(outside));
    }
    if (withBad) {
        lines.emplace_back("bad, left out", std::to_string(bad));
    }
    lines.emplace_back("first time stamp", samples == 0 ? none : std::to_string(firstStamp) + " ms");
    lines.emplace_back("last time stamp", samples == 0 ? none : std::to_string(lastStamp) + " ms");
    lines.emplace_back("samples per second", std::to_string(static_cast<std::uint64_t>(rate)));

    std::string text = title + "\n";
    for (const auto& [name, value] : lines) {
        text += "  " + name + ":" + std::string(20 - name.size(), ' ') + value + "\n";
    }
    return text;
}

} // namespace kor::tool
