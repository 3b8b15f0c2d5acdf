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

/// The same among `count` places, where the result is thought to be `near` or a neighbour of it: those take up to three
/// looks, any other place the halving of the rest.
/// Given     near  0 <= near < count
template <class Reached>
constexpr std::ptrdiff_t lastReachedNear(std::ptrdiff_t near, std::ptrdiff_t count, const Reached& reached)
{
    if (reached(near)) {
        const std::ptrdiff_t behind = near + 2;
        if (behind > count || !reached(near + 1)) {
            return near;
        }
        return behind < count && reached(behind) ? lastReached(behind, count, reached) : near + 1;
    }
    const std::ptrdiff_t before = near - 1;
    return before < 1 || reached(before) ? (before < 0 ? 0 : before) : lastReached(0, before, reached);
}

} // namespace mek
