#include "series/Stamps.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace kor::series {

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

// A step of so much and more leads backwards.
constexpr std::uint32_t kBackward = 0x80000000u;

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

bool isLong(std::size_t bucket, std::uint32_t median)
{
    return std::uint64_t{2} * stepOf(bucket) > std::uint64_t{3} * median + 2;
}

} // namespace

void StampSteps::add(std::uint32_t step, std::uint64_t place)
{
    if (step >= kBackward) {
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
    const std::uint32_t usual = median();
    Places found;
    for (std::size_t i = 0; i < m_forward.size(); ++i) {
        if (isLong(i, usual)) {
            found.add(m_forward[i]);
        }
    }
    return found;
}

bool StampSteps::isGap(std::uint32_t step, std::uint32_t median)
{
    return step < kBackward && isLong(bucketOf(step), median);
}

} // namespace kor::series
