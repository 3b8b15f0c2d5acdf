#include "tools/kor/Tally.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace kor::tool {

using recordings::Outcome;

Outcome outcomeOf(const SampleReport& report)
{
    switch (report.outcome) {
    case SampleOutcome::valid:
        return Outcome::ok;
    case SampleOutcome::beforeReference:
        return Outcome::beforeReference;
    case SampleOutcome::rejectedByStatus:
        return Outcome::rejectedStatus;
    case SampleOutcome::notFinite:
        return Outcome::notFinite;
    case SampleOutcome::neverFed:
    case SampleOutcome::noModel:
        return Outcome::noMatrixNoModel;
    case SampleOutcome::noMatrix:
        break;
    }
    switch (report.reason) {
    case NoMatrixReason::bothLevelsExcluded:
        return Outcome::noMatrixBothLevelsOutside;
    case NoMatrixReason::filtersFilling:
        return Outcome::noMatrixFiltersFilling;
    case NoMatrixReason::none:
    case NoMatrixReason::modelRefused:
        break;
    }
    return Outcome::noMatrixNoSolution;
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

void Tally::count(std::uint32_t stamp, const SampleReport& report)
{
    firstStamp = samples == 0 ? stamp : firstStamp;
    lastStamp = stamp;
    ++samples;
    switch (report.outcome) {
    case SampleOutcome::valid:
        ++valid;
        break;
    case SampleOutcome::beforeReference:
        ++beforeReference;
        break;
    case SampleOutcome::rejectedByStatus:
        ++rejectedByStatus;
        break;
    case SampleOutcome::notFinite:
        ++notFinite;
        break;
    case SampleOutcome::neverFed:
    case SampleOutcome::noModel:
    case SampleOutcome::noMatrix:
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
        {"before the reference", std::to_string(beforeReference)},
        {"rejected by status", std::to_string(rejectedByStatus)},
        {"without matrix", std::to_string(withoutMatrix)},
        {"not finite", std::to_string(notFinite)},
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
        text.append("  ").append(name).append(":").append(22 - name.size(), ' ').append(value).append("\n");
    }
    return text;
}

} // namespace kor::tool
