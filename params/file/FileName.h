// The names of parameter files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kor::params {

/// Longest directory of a parameter file, in characters of wide text.
inline constexpr std::size_t kLongestDirectory = 254;

/// "Tg<id>.prm", the ID in signed decimal.
std::string fileNameOf(std::int32_t id);

/// The ID in the name of a parameter file, letters in any case; nothing when the name does not have that form.
std::optional<std::int32_t> idOfFileName(std::string_view name);

} // namespace kor::params
