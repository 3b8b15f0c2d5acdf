// Copying between a caller's values and a model's parameter arrays.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace kor {

/// Copies count floats. Kept [parameter-array-bounds]: N at most; nothing for 0 or less, or where a pointer is null.
template <std::size_t N>
void copyAtMost(const float* from, int count, float* to)
{
    if (from == nullptr || to == nullptr || count <= 0) {
        return;
    }
    // All of them is the copy of every sample: of constant size, and by way of values of its own, because the two sides
    // may overlap and a compiler then calls a function for it.
    if (static_cast<std::size_t>(count) >= N) {
        float values[N];
        std::memcpy(values, from, sizeof values);
        std::memcpy(to, values, sizeof values);
    } else {
        std::copy_n(from, static_cast<std::size_t>(count), to);
    }
}

/// Copies count values into the array, unchanged; nothing for 0 or less, nothing beyond the array, nothing from a
/// null pointer.
template <std::size_t N>
void copyIn(float (&array)[N], const float* values, int count)
{
    copyAtMost<N>(values, count, array);
}

/// Copies count values of the array to out; same bounds.
template <std::size_t N>
void copyOut(float* out, int count, const float (&array)[N])
{
    copyAtMost<N>(array, count, out);
}

} // namespace kor
