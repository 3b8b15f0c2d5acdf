// The rings of the second two-level model.
#pragma once

#include <cstdint>

namespace kor {

inline constexpr std::int32_t kRingRows = 51;

/// Row that lies a number of samples back.
/// Given     row   current row, 0..50
///           back  samples, 0..51
constexpr std::int32_t ringRow(std::int32_t row, std::int32_t back)
{
    return row >= back ? row - back : row - back + kRingRows;
}

} // namespace kor
