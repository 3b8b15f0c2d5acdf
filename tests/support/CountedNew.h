// A replaced operator new that counts and can fail. Linking CountedNew.cpp replaces it for the whole program.
#pragma once

namespace kor_test {

/// Allocations through operator new since the program started, of all threads.
long allocationCount();

/// Lets that many allocations succeed and the ones after them fail; negative: none fails.
void failAllocationsAfter(long successes);

} // namespace kor_test
