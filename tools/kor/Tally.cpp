#include "tools/kor/Tally.h"

#include <algorithm>
#include <cstring>
#include <utility>

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
    case SampleOutcome::spoiled:
        return Outcome::spoiled;
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

namespace {

constexpr bool isReading(const recordings::Column& column)
{
    return column.type == recordings::Type::float32;
}

bool isFinite(const KOR_RAWINFO& raw, const recordings::Column& column)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, reinterpret_cast<const char*>(&raw) + column.offset, sizeof bits);
    constexpr std::uint32_t kLargestExponent = 0x7f800000;
    return (bits & kLargestExponent) != kLargestExponent;
}

// Without a branch for each reading: hardly a sample has one that is not finite.
template <std::size_t... i>
bool isFinite(const KOR_RAWINFO& raw, std::index_sequence<i...>)
{
    using recordings::kRawColumns;
    return (static_cast<unsigned>(!isReading(kRawColumns[i]) || isFinite(raw, kRawColumns[i])) & ...) != 0;
}

} // namespace

bool readingsAreFinite(const KOR_RAWINFO& raw)
{
    return isFinite(raw, std::make_index_sequence<recordings::kRawColumns.size()>());
}

namespace {

// The first column of a sample whose reading is not finite; empty if there is none.
std::string_view columnNotFinite(const KOR_RAWINFO& raw)
{
    if (readingsAreFinite(raw)) {
        return {};
    }
    const auto* const column =
        std::find_if(recordings::kRawColumns.begin(), recordings::kRawColumns.end(),
                     [&raw](const recordings::Column& each) { return isReading(each) && !isFinite(raw, each); });
    return column->name;
}

} // namespace

void Tally::count(const KOR_RAWINFO& raw, const SampleReport& report, std::uint64_t place)
{
    if (samples == 0) {
        firstStamp = raw.timeStampMs;
    } else {
        steps.add(raw.timeStampMs - lastStamp, place);
    }
    lastStamp = raw.timeStampMs;
    ++samples;

    const Outcome outcome = outcomeOf(report);
    outcomes[static_cast<std::size_t>(outcome)].add(place);
    if (outcome == Outcome::noMatrixFiltersFilling && ok() == 0) {
        ++fillingAtStart;
    }
    if (report.capturedReference) {
        referenceStamp = reference.count == 0 ? raw.timeStampMs : referenceStamp;
        reference.add(place);
    }
    if (report.levelXOutside) {
        levelXOut.add(place);
    }
    if (report.levelYOutside) {
        levelYOut.add(place);
    }

    const std::string_view column = columnNotFinite(raw);
    if (!column.empty()) {
        badReading = badReadings.count == 0 ? column : badReading;
        badReadings.add(place);
    }
    if (report.spoiledBy != SpoiledBy::nothing && spoiledFrom == 0) {
        spoiledFrom = place;
        spoiledBy = report.spoiledBy;
    }
    if (outcome == Outcome::notFinite || outcome == Outcome::spoiled) {
        m_notFinite.add(place);
        m_unprovoked = m_unprovoked || column.empty();
    } else if (outcome == Outcome::ok || outcome == Outcome::beforeReference) {
        m_notFinite = {};
        m_unprovoked = false;
    }
}

void Tally::countRepair(std::uint64_t place)
{
    repaired.add(place);
    if (spoiledBy == SpoiledBy::reference) {
        reference = {}; // another one takes its place
    }
    spoiledFrom = 0;
}

std::uint64_t Tally::unusable() const
{
    return samples - ok() - of(Outcome::beforeReference).count - fillingAtStart;
}

} // namespace kor::tool
