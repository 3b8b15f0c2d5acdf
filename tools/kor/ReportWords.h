// Sentences of findings that a report and the view of a running replay have in common.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kor::tool {

/// "1 row", "2 rows".
std::string plural(std::uint64_t count, std::string_view one, std::string_view many);

/// A share in per cent; what is there is never 0.00 %.
std::string share(std::uint64_t count, std::uint64_t all);

/// The end of a sentence about the usable rows.
std::string unusableText(std::uint64_t count);

/// Given  usualStep  ms; 0 if most rows have the time stamp of the row before
std::string noGapText(std::uint32_t usualStep);

std::string backwardText(std::uint64_t count, std::uint64_t firstRow);

/// Given  place  of the first row, in words
std::string levelOutText(char axis, std::uint64_t count, std::uint64_t all, std::string_view place);

/// Given  without  rows without a usable orientation
///        listed   what is to be said of a list that does not hold all stretches
std::string stretchesText(std::uint64_t without, std::uint64_t all, std::uint64_t stretches, std::string_view listed);

} // namespace kor::tool
