// How often a test repeats what it does with random inputs.
#pragma once

#include <algorithm>

namespace kor_test {

/// Under sanitizers, which look for wrong accesses and not for wrong numbers, a tenth; there everything takes longer.
template <typename Count>
constexpr Count rounds(Count usual)
{
    constexpr bool kUnderSanitizers = KOR_TESTS_SANITIZED;
    return kUnderSanitizers ? std::max(static_cast<Count>(1), static_cast<Count>(usual / 10)) : usual;
}

} // namespace kor_test
