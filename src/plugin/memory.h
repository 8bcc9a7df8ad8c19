// Private memory of the library: zeroed blocks, size-prefixed handles, the random seed, and a
// scope guard for host references.
#pragma once

#include <cstdint>
#include <memory>
#include <new>

#include "plugin/host_types.h"

namespace zyl {

// AllocationFailureHook: asked before each allocation of private memory (AllocateClearMemory and
// the handles); true makes that allocation fail as a shortage of memory does. Tests set it to
// reach every failure path; nil (the default) asks nothing.
using AllocationFailureHook = bool (*)() noexcept;
void SetAllocationFailureHook(AllocationFailureHook hook) noexcept;

void ClearMemory(void* address, int64_t count);
// A zeroed block of size bytes, or nil when size is below 1 or memory is short. Never throws.
void* AllocateClearMemory(int64_t size);
void FreeMemoryNow(void* address);  // nil is allowed
// A block of size bytes whose contents are undefined, for buffers that are written before they
// are read; nil when size is below 1 or memory is short. Freed with FreeMemoryNow.
void* AllocateMemory(int64_t size);

// ClearedBytes (OwnedBytes): owns a block of AllocateClearBytes (AllocateBytes) and frees it with
// FreeMemoryNow at scope end.
struct FreeMemoryNowDeleter {
  void operator()(void* address) const noexcept { FreeMemoryNow(address); }
};
using ClearedBytes = std::unique_ptr<uint8_t[], FreeMemoryNowDeleter>;
using OwnedBytes = ClearedBytes;
// AllocateClearMemory as owned bytes; empty when size is below 1 or memory is short.
inline ClearedBytes AllocateClearBytes(int64_t size) {
  return ClearedBytes(static_cast<uint8_t*>(AllocateClearMemory(size)));
}
// AllocateMemory (contents undefined) as owned bytes; empty when size is below 1 or memory is short.
inline OwnedBytes AllocateBytes(int64_t size) { return OwnedBytes(static_cast<uint8_t*>(AllocateMemory(size))); }

// LocalBytes: private bytes for the work of one call, in an array of N bytes inside the object
// (on the caller's stack) when size fits and from the allocator otherwise (AllocateClearMemory
// when kCleared, AllocateMemory when not). Get() is nil when memory is short; a size below 1
// gives the array. Short texts, what most calls pass, never reach the allocator.
enum LocalContents { kUncleared, kCleared };
template <std::size_t N>
class LocalBytes {
 public:
  LocalBytes(int64_t size, LocalContents contents) {
    if (size <= static_cast<int64_t>(N)) {
      data_ = local_;
      if (contents == kCleared) ClearMemory(local_, size);
    } else {
      heap_.reset(static_cast<uint8_t*>(contents == kCleared ? AllocateClearMemory(size) : AllocateMemory(size)));
      data_ = heap_.get();
    }
  }
  LocalBytes(const LocalBytes&) = delete;
  LocalBytes& operator=(const LocalBytes&) = delete;

  uint8_t* Get() const { return data_; }
  // The bytes as units of a wider type (the array and the allocator's blocks are aligned for it).
  template <typename Unit>
  Unit* As() const {
    static_assert(alignof(Unit) <= 16);
    return reinterpret_cast<Unit*>(data_);
  }

 private:
  alignas(16) uint8_t local_[N];
  OwnedBytes heap_;
  uint8_t* data_ = nullptr;
};

// The array of LocalBytes for a result: room for what short texts give.
inline constexpr std::size_t kLocalResult = 512;

// ScratchBytes: uninitialised private bytes from operator new, freed at scope end.
// NewScratchBytes throws std::bad_alloc when memory is short. (Use it rather than an array new of
// a run-time size, which would tie the library to a newer C++ runtime than it promises to need.)
struct OperatorDeleteDeleter {
  void operator()(void* address) const noexcept { ::operator delete(address); }
};
using ScratchBytes = std::unique_ptr<uint8_t[], OperatorDeleteDeleter>;
inline ScratchBytes NewScratchBytes(int64_t size) {
  return ScratchBytes(static_cast<uint8_t*>(::operator new(static_cast<size_t>(size < 1 ? 1 : size))));
}

// A handle is a zeroed block whose first 8 bytes hold the usable size; the usable bytes follow.
using Handle = void*;
Handle allocateHandle(int64_t size);  // nil for a negative size; size 0 is allowed
// The same without clearing the usable bytes: for a reservation that is written before it is read.
Handle allocateUnclearedHandle(int64_t size);
void freeHandle(Handle handle);
int64_t getHandleSize(Handle handle);  // 0 for nil
void* lockHandle(Handle handle);       // the usable bytes; nil for nil
void unlockHandle(Handle handle);
// Reallocates to size usable bytes (grown bytes are not zeroed) and returns the possibly moved
// handle; nil on failure, leaving the old block as it was. A negative size frees the handle.
Handle resizeHandle(Handle handle, int64_t size);

// Seeds the C library's generator with process id x 17 + the time in seconds.
void InitRand();

// Gives back, at scope end, the host object and host string held by the two variables (either
// may be nil) and sets them to nil.
class rbFreeLater {
 public:
  rbFreeLater(REALobjectStruct** object, REALstringStruct** string) : object_(object), string_(string) {}
  ~rbFreeLater();
  rbFreeLater(const rbFreeLater&) = delete;
  rbFreeLater& operator=(const rbFreeLater&) = delete;

 private:
  REALobjectStruct** object_;
  REALstringStruct** string_;
};

}  // namespace zyl
