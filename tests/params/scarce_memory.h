// Memory that runs out on demand.
#pragma once

namespace prm_test {

/// Allocations of this program that still succeed; negative: all.
extern long g_allocationsLeft;

} // namespace prm_test
