// Terminated wide text in a fixed array.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace kor {

/// Copies a terminated text and clears the units behind it.
/// Given     from  text with its terminator within N units
/// Returned  to    the text; empty when from has no terminator, as the bounded copies of the C library leave it
template <std::size_t N>
void copyText(wchar_t (&to)[N], const wchar_t (&from)[N])
{
    const auto end = std::find(std::begin(from), std::end(from), L'\0');
    const std::size_t length = end == std::end(from) ? 0 : static_cast<std::size_t>(end - std::begin(from));
    std::fill(std::copy_n(from, length, to), std::end(to), L'\0');
}

} // namespace kor
