// OutputBuffer: the growing output of the functions that build a result in private memory.
#pragma once

#include <cstdint>
#include <cstring>
#include <new>

#include "plugin/memory.h"

namespace zyl {

// Units of private memory written through a cursor. The capacity given at construction is only
// the first reservation, not cleared (nothing is read before it is written): Room() grows the
// buffer (by at least half) whenever a write needs more. A first reservation of up to
// kLocalBytes is an array inside the object (on the caller's stack), so that the short texts
// most calls pass never reach the allocator; growing moves what was written to the heap.
// Throws std::bad_alloc when memory is short or a size would overflow; the guard of the
// registered function turns that into a host exception.
template <typename Unit>
class OutputBuffer {
 public:
  explicit OutputBuffer(int64_t capacity) {
    if (capacity < 1) capacity = 1;
    if (capacity > kMaxUnits) throw std::bad_alloc();
    if (capacity <= kLocalUnits) {
      begin_ = reinterpret_cast<Unit*>(local_);
      capacity = kLocalUnits;
    } else {
      handle_ = allocateUnclearedHandle(capacity * kUnit);
      if (handle_ == nullptr) throw std::bad_alloc();
      begin_ = static_cast<Unit*>(lockHandle(handle_));
    }
    cursor_ = begin_;
    end_ = begin_ + capacity;
  }
  ~OutputBuffer() {
    if (handle_ != nullptr) freeHandle(handle_);
  }
  OutputBuffer(const OutputBuffer&) = delete;
  OutputBuffer& operator=(const OutputBuffer&) = delete;

  // The cursor, with room for at least count more units behind it. Write there, then Advance().
  Unit* Room(int64_t count) {
    if (end_ - cursor_ < count) Grow(count);
    return cursor_;
  }
  void Advance(int64_t count) { cursor_ += count; }
  // The cursor as it is, for writes into room already made (by Room() or the first reservation).
  Unit* Cursor() { return cursor_; }
  // The units that fit behind the cursor without growing.
  int64_t Spare() const { return end_ - cursor_; }
  // Moves the cursor to a position returned by Room() plus what was written there.
  void SetCursor(Unit* cursor) { cursor_ = cursor; }

  void Push(Unit unit) { *Room(1) = unit, ++cursor_; }
  // AppendInRoom: a few units into room that an earlier Room() call already made (no check).
  void AppendInRoom(const Unit* units, int count) {
    for (int k = 0; k < count; ++k) cursor_[k] = units[k];
    cursor_ += count;
  }
  void Append(const Unit* units, int64_t count) {
    if (count < 1) return;
    memcpy(Room(count), units, static_cast<size_t>(count) * kUnit);
    cursor_ += count;
  }

  Unit* Data() { return begin_; }
  const Unit* Data() const { return begin_; }
  int64_t Length() const { return cursor_ - begin_; }

 private:
  static constexpr int64_t kUnit = static_cast<int64_t>(sizeof(Unit));
  static constexpr int64_t kMaxUnits = INT64_MAX / 4 / kUnit;
  static constexpr int64_t kLocalBytes = 2048;
  static constexpr int64_t kLocalUnits = kLocalBytes / kUnit;

  void Grow(int64_t count) {
    const int64_t length = Length();
    const int64_t capacity = end_ - begin_;
    if (count > kMaxUnits - length) throw std::bad_alloc();
    int64_t grown = capacity + capacity / 2;
    if (grown < length + count) grown = length + count;
    if (grown > kMaxUnits) grown = kMaxUnits;
    Handle moved = handle_ != nullptr ? resizeHandle(handle_, grown * kUnit) : allocateUnclearedHandle(grown * kUnit);
    if (moved == nullptr) throw std::bad_alloc();
    if (handle_ == nullptr) memcpy(lockHandle(moved), local_, static_cast<size_t>(length * kUnit));
    handle_ = moved;
    begin_ = static_cast<Unit*>(lockHandle(handle_));
    cursor_ = begin_ + length;
    end_ = begin_ + grown;
  }

  Handle handle_ = nullptr;  // nil while the units are in local_
  alignas(16) unsigned char local_[kLocalBytes];
  Unit* begin_ = nullptr;
  Unit* cursor_ = nullptr;
  Unit* end_ = nullptr;
};

}  // namespace zyl
