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

/// The same among `count` places, searched outwards from a place that is thought to be near: the steps depend on the
/// distance, not on the count.
/// Given     near  0 <= near < count
template <class Reached>
constexpr std::ptrdiff_t lastReachedNear(std::ptrdiff_t near, std::ptrdiff_t count, const Reached& reached)
{
    std::ptrdiff_t step = 1;
    if (reached(near)) {
        while (near + step < count && reached(near + step)) {
            near += step;
            step *= 2;
        }
        return lastReached(near, near + step < count ? near + step : count, reached);
    }
    while (near - step > 0 && !reached(near - step)) {
        near -= step;
        step *= 2;
    }
    return lastReached(near - step > 0 ? near - step : 0, near, reached);
}

} // namespace mek
