// Failing the library's own allocations in tests: the N-th allocation from the moment of arming,
// counting operator new (replaced for this test program) and the library's private memory (its
// allocation hook). Allocations the in-memory host makes for itself are never counted.
#pragma once

#include <cstdint>

namespace hardening {

// Arm: from now on count allocations; the failAt-th fails (0: count only).
void ArmAllocationFailure(uint64_t failAt);
// Disarm: stop counting; returns how many allocations were counted.
uint64_t DisarmAllocationFailure();

}  // namespace hardening
