#include "failing_allocator.h"

#include <memhost.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "plugin/memory.h"

namespace hardening {

namespace {

std::atomic<bool> gArmed{false};
std::atomic<uint64_t> gCounted{0};
std::atomic<uint64_t> gFailAt{0};

bool AllocationFails() noexcept {
  if (!gArmed.load(std::memory_order_relaxed) || memhost::InsideHost()) return false;
  const uint64_t n = gCounted.fetch_add(1, std::memory_order_relaxed) + 1;
  return n == gFailAt.load(std::memory_order_relaxed);
}

void* Allocate(std::size_t size) {
  if (AllocationFails()) throw std::bad_alloc();
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

void* AllocateNoThrow(std::size_t size) noexcept {
  if (AllocationFails()) return nullptr;
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

void ArmAllocationFailure(uint64_t failAt) {
  gCounted.store(0);
  gFailAt.store(failAt);
  zyl::SetAllocationFailureHook(&AllocationFails);
  gArmed.store(true);
}

uint64_t DisarmAllocationFailure() {
  gArmed.store(false);
  zyl::SetAllocationFailureHook(nullptr);
  return gCounted.load();
}

}  // namespace hardening

// The program's operator new and delete: plain malloc and free, failing when armed.
void* operator new(std::size_t size) { return hardening::Allocate(size); }
void* operator new[](std::size_t size) { return hardening::Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return hardening::AllocateNoThrow(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return hardening::AllocateNoThrow(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
