// Places in tables that run one way.
#pragma once

#include <cstddef>

namespace mek {

/// The last place that is reached, or 0 if none is: `reached(place)` holds up to some place and not behind it.
/// Given     low, high  places 0 <= low < high: the search is for the last one reached in [low, high)
/// Notes  1  Halves the range at each step. Where `reached` is out of order, the result still lies in the range.
template <class Reached>
constexpr std::ptrdiff_t lastReached(std::ptrdiff_t low, std::ptrdiff_t high, const Reached& reached)
{
    while (high - low > 1) {
        const std::ptrdiff_t middle = low + (high - low) / 2;
        (reached(middle) ? low : high) = middle;
    }
    return low;
}

/// The same for a `reached` that is in order. The last few places are counted: none of those looks waits for the one
/// before it, and a processor has no turn to foresee.
template <class Reached>
constexpr std::ptrdiff_t lastReachedInOrder(std::ptrdiff_t low, std::ptrdiff_t high, const Reached& reached)
{
    constexpr std::ptrdiff_t kFew = 16;
    while (high - low > kFew) {
        const std::ptrdiff_t middle = low + (high - low) / 2;
        (reached(middle) ? low : high) = middle;
    }
    std::ptrdiff_t count = 0;
    for (std::ptrdiff_t place = low + 1; place < high; ++place) {
        count += reached(place) ? 1 : 0;
    }
    return low + count;
}

/// The same among `count` places, where the result is thought to be `near` or a neighbour of it: those take up to four
/// looks in a table of any length, any other place takes two and the search of the whole.
/// Given     near     0 <= near < count
///           reached  in order
/// Notes  1  A jump searches the whole and not one side of it: a processor cannot foresee which side that is.
template <class Reached>
constexpr std::ptrdiff_t lastReachedNear(std::ptrdiff_t near, std::ptrdiff_t count, const Reached& reached)
{
    const std::ptrdiff_t low = near > 0 ? near - 1 : 0;
    const std::ptrdiff_t high = near + 2 < count ? near + 2 : count;
    const bool notBefore = low == 0 || reached(low);
    const bool notBehind = high == count || !reached(high);
    const bool isNear = static_cast<int>(notBefore) + static_cast<int>(notBehind) == 2;
    return isNear ? lastReached(low, high, reached) : lastReachedInOrder(0, count, reached);
}

} // namespace mek
