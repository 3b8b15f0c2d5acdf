// Copying between a caller's values and a model's parameter arrays.
#pragma once

#include <algorithm>
#include <cstddef>

namespace kor {

/// Copies count values into the array, unchanged; nothing for 0 or less, nothing beyond the array, nothing from a
/// null pointer.
template <std::size_t N>
void copyIn(float (&array)[N], const float* values, int count)
{
    if (values != nullptr && count > 0) {
        std::copy_n(values, std::min(static_cast<std::size_t>(count), N), array);
    }
}

/// Copies count values of the array to out; same bounds.
template <std::size_t N>
void copyOut(float* out, int count, const float (&array)[N])
{
    if (out != nullptr && count > 0) {
        std::copy_n(array, std::min(static_cast<std::size_t>(count), N), out);
    }
}

} // namespace kor
