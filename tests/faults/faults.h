// Memory that runs out and system calls that go wrong, on demand.
#pragma once

namespace kor_faults {

/// Allocations of this process from now on: the one with this number fails, counted from 1, and with `andAfter` every
/// one behind it as well. 0: none fails.
void failAllocation(long number, bool andAfter);

/// Allocations since that call.
long allocations();

} // namespace kor_faults
