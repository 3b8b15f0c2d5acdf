// Numbers as text: the shortest one that reads back as the same number.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kor::recordings {

/// What a call of appendNumber may write over at most; the text itself is shorter.
inline constexpr std::size_t kNumberRoom = 64;

/// Appends a number to a text as std::to_chars without a format writes it, byte for byte, but several times as fast.
/// Given     at      kNumberRoom bytes that may be written over
///           value   a nan has no sign in its text, because that depends on the processor
/// Returned  result  the end of the text
char* appendNumber(char* at, float value);
char* appendNumber(char* at, double value);
char* appendNumber(char* at, std::uint32_t value);
char* appendNumber(char* at, std::int32_t value);

} // namespace kor::recordings
