#include "tools/kor/Tally.h"

#include <algorithm>
#include <bit>
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

void Places::add(const Places& other)
{
    if (other.count == 0) {
        return;
    }
    first = count == 0 ? other.first : std::min(first, other.first);
    last = std::max(last, other.last);
    count += other.count;
}

namespace {

// Steps forward by length: each of the short ones by itself, then so many of every octave up to 2^31.
constexpr std::uint32_t kShortSteps = 1024;
constexpr std::uint32_t kOctaves = 21;
constexpr std::uint32_t kPartsOfOctave = 32;
constexpr int kBitsOfShort = 10;
constexpr int kBitsOfPart = 5;

std::size_t bucketOf(std::uint32_t step)
{
    if (step < kShortSteps) {
        return step;
    }
    const int octave = static_cast<int>(std::bit_width(step)) - 1 - kBitsOfShort;
    const std::uint32_t part = (step >> (octave + kBitsOfShort - kBitsOfPart)) - kPartsOfOctave;
    return kShortSteps + static_cast<std::size_t>(octave) * kPartsOfOctave + part;
}

// The shortest step of a bucket.
std::uint32_t stepOf(std::size_t bucket)
{
    if (bucket < kShortSteps) {
        return static_cast<std::uint32_t>(bucket);
    }
    const std::size_t octave = (bucket - kShortSteps) / kPartsOfOctave;
    const std::size_t part = (bucket - kShortSteps) % kPartsOfOctave;
    return static_cast<std::uint32_t>((kPartsOfOctave + part) << (octave + kBitsOfShort - kBitsOfPart));
}

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

void StampSteps::add(std::uint32_t step, std::uint64_t place)
{
    constexpr std::uint32_t kHalf = 0x80000000u;
    if (step >= kHalf) {
        m_backward.add(place);
        m_longestBackward = std::max(m_longestBackward, 0u - step);
        return;
    }
    if (m_forward.empty()) {
        m_forward.resize(kShortSteps + std::size_t{kOctaves} * kPartsOfOctave);
    }
    m_forward[bucketOf(step)].add(place);
    m_longest = std::max(m_longest, step);
    ++m_count;
}

std::uint32_t StampSteps::median() const
{
    std::uint64_t below = 0;
    for (std::size_t i = 0; i < m_forward.size(); ++i) {
        below += m_forward[i].count;
        if (2 * below >= m_count) {
            return stepOf(i);
        }
    }
    return 0;
}

Places StampSteps::gaps() const
{
    const std::uint64_t usual = median();
    Places found;
    for (std::size_t i = 0; i < m_forward.size(); ++i) {
        if (std::uint64_t{2} * stepOf(i) > 3 * usual + 2) {
            found.add(m_forward[i]);
        }
    }
    return found;
}

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
