// Waiting.
#pragma once

#include <cstdint>

namespace kor::platform {

/// Holds up the calling thread for at least that long.
void sleepMs(std::uint32_t milliseconds);

} // namespace kor::platform
