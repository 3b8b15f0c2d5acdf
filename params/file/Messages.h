// The module's string table: messages of parameter-file failures.
#pragma once

#include <string_view>

namespace kor::params {

inline constexpr unsigned kFirstMessage = 601;
inline constexpr unsigned kLastMessage = 624;
inline constexpr unsigned kIdMismatch = 602;

/// Text of a message, empty for an identifier that has none.
std::string_view messageText(unsigned id) noexcept;

/// Caption above every message.
std::string_view messageCaption() noexcept;

} // namespace kor::params
