// What the arithmetic of the whole library rests on.
#pragma once

#include <cfloat>

#if defined(__FAST_MATH__)
#error "results are defined to the bit: build without fast-math"
#endif
#if FLT_EVAL_METHOD != 0
#error "float and double operations must round to their own type"
#endif

namespace mek {

/// Whether a product is rounded before it is added to something, in the library's own compiled code.
/// Returned  result  false when the compiler fused multiplication and addition into one rounding
bool productsAreRounded() noexcept;

/// Whether neighbouring doubles that are rounded to float and widened again stay rounded.
/// Returned  result  false when the compiler dropped the rounding, as some do when they pack the two into one vector
bool floatsAreNarrowed() noexcept;

} // namespace mek
