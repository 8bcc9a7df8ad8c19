#include "plugin/memory.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "plugin/host_api.h"

namespace zyl {

void ClearMemory(void* address, int64_t count) {
  if (address != nullptr && count > 0) memset(address, 0, static_cast<size_t>(count));
}

namespace {
std::atomic<AllocationFailureHook> gAllocationFailureHook{nullptr};

bool AllocationFailsForTests() noexcept {
  const AllocationFailureHook hook = gAllocationFailureHook.load(std::memory_order_relaxed);
  return hook != nullptr && hook();
}
}  // namespace

void SetAllocationFailureHook(AllocationFailureHook hook) noexcept {
  gAllocationFailureHook.store(hook, std::memory_order_relaxed);
}

void* AllocateClearMemory(int64_t size) {
  if (size < 1 || AllocationFailsForTests()) return nullptr;
  return calloc(1, static_cast<size_t>(size));
}

void FreeMemoryNow(void* address) { free(address); }

void* AllocateMemory(int64_t size) {
  if (size < 1 || AllocationFailsForTests()) return nullptr;
  return malloc(static_cast<size_t>(size));
}

namespace {
constexpr int64_t kHandleHeader = 8;
}

namespace {
Handle NewHandle(int64_t size, void* (*allocate)(int64_t)) {
  if (size < 0 || size > INT64_MAX - kHandleHeader) return nullptr;
  void* block = allocate(size + kHandleHeader);
  if (block != nullptr) memcpy(block, &size, sizeof size);
  return block;
}
}  // namespace

Handle allocateHandle(int64_t size) { return NewHandle(size, AllocateClearMemory); }

Handle allocateUnclearedHandle(int64_t size) { return NewHandle(size, AllocateMemory); }

void freeHandle(Handle handle) { FreeMemoryNow(handle); }

int64_t getHandleSize(Handle handle) {
  if (handle == nullptr) return 0;
  int64_t size = 0;
  memcpy(&size, handle, sizeof size);
  return size;
}

void* lockHandle(Handle handle) {
  return handle == nullptr ? nullptr : static_cast<char*>(handle) + kHandleHeader;
}

void unlockHandle(Handle) {}

Handle resizeHandle(Handle handle, int64_t size) {
  if (size < 0) {
    freeHandle(handle);
    return nullptr;
  }
  if (size > INT64_MAX - kHandleHeader || AllocationFailsForTests()) return nullptr;
  void* block = realloc(handle, static_cast<size_t>(size + kHandleHeader));
  if (block == nullptr) return nullptr;
  memcpy(block, &size, sizeof size);
  return block;
}

void InitRand() {
  const uint32_t seed = static_cast<uint32_t>(getpid()) * 17u + static_cast<uint32_t>(time(nullptr));
  srand(seed);
}

rbFreeLater::~rbFreeLater() {
  if (object_ != nullptr && *object_ != nullptr) {
    REALUnlockObject(*object_);
    *object_ = nullptr;
  }
  object_ = nullptr;
  if (string_ != nullptr && *string_ != nullptr) {
    REALUnlockString(*string_);
    *string_ = nullptr;
  }
}

}  // namespace zyl
