// Sets of byte values and a left-to-right search for their members, shared by the byte searches
// and the line-ending replacement of this folder.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "text/vector16.h"

namespace zyl {

// ByteSet: up to all 256 byte values. Add and AddRange never fail; a range is inclusive, may use
// any 64-bit bounds (only 0-255 can match) and matches nothing when its start is above its end.
class ByteSet {
 public:
  void Add(uint8_t byte) {
    count_ += member_[byte] ? 0 : 1;
    member_[byte] = 1;
  }
  void AddBytes(const uint8_t* bytes, int64_t count) {
    for (int64_t i = 0; i < count; ++i) Add(bytes[i]);
  }
  void AddRange(int64_t first, int64_t last) {
    for (int64_t b = std::max<int64_t>(first, 0); b <= std::min<int64_t>(last, 255); ++b) Add(static_cast<uint8_t>(b));
  }
  bool Contains(uint8_t byte) const { return member_[byte] != 0; }
  int Count() const { return count_; }
  const uint8_t* Table() const { return member_; }

 private:
  uint8_t member_[256] = {};
  int count_ = 0;
};

// ByteSetScanner: finds the members of a set in one buffer, left to right. Sets of up to
// kFewMembers values run the C library's memchr once per value and remember where each value
// occurs next, so a sequence of Next calls with growing offsets reads every byte at most once
// per value; sets of up to kVectorMembers values compare 16 bytes at a time with each value;
// larger sets walk the membership table eight bytes at a time.
class ByteSetScanner {
 public:
  static constexpr int kFewMembers = 4;
  static constexpr int kVectorMembers = 16;

  ByteSetScanner(const ByteSet& set, const uint8_t* data, int64_t size) : set_(set), data_(data), size_(size) {
    if (set.Count() > kVectorMembers) return;
    for (int b = 0; b < 256 && few_ < set.Count(); ++b) {
      if (!set.Contains(static_cast<uint8_t>(b))) continue;
      if (set.Count() > kFewMembers) {
        splats_[few_++] = vec16::Splat(static_cast<uint8_t>(b));
      } else {
        values_[few_] = static_cast<uint8_t>(b);
        next_[few_++] = -1;  // not searched yet
      }
    }
  }

  // Next: the offset of the first member at or after from, or size when there is none. Offsets
  // of successive calls must not decrease (0 <= from <= size).
  int64_t Next(int64_t from) {
    if (set_.Count() > kVectorMembers) return NextByTable(from);
    if (set_.Count() > kFewMembers) return NextByVector(from);
    int64_t best = size_;
    for (int k = 0; k < few_; ++k) {
      if (next_[k] < from) next_[k] = Find(values_[k], from);
      best = std::min(best, next_[k]);
    }
    return best;
  }

 private:
  int64_t Find(uint8_t value, int64_t from) const {
    if (from >= size_) return size_;
    const void* hit = memchr(data_ + from, value, static_cast<size_t>(size_ - from));
    return hit != nullptr ? static_cast<const uint8_t*>(hit) - data_ : size_;
  }

  vec16::S8 Hits(const uint8_t* p) const {
    const vec16::V8 v = vec16::Load16(p);
    vec16::S8 hit = v == splats_[0];
    for (int k = 1; k < few_; ++k) hit |= v == splats_[k];
    return hit;
  }

  // 64 bytes a test while nothing is found.
  int64_t NextByVector(int64_t from) const {
    int64_t i = from;
    for (; size_ - i >= 64; i += 64) {
      const uint8_t* p = data_ + i;
      if (vec16::AnyLane(Hits(p) | Hits(p + 16) | Hits(p + 32) | Hits(p + 48))) break;
    }
    for (; size_ - i >= 16; i += 16) {
      const vec16::S8 hit = Hits(data_ + i);
      if (vec16::AnyLane(hit)) return i + vec16::FirstLane(hit);
    }
    return NextByTable(i);
  }

  int64_t NextByTable(int64_t from) const {
    const uint8_t* table = set_.Table();
    int64_t i = from;
    for (; size_ - i >= 8; i += 8) {
      const uint8_t* p = data_ + i;
      if (table[p[0]] | table[p[1]] | table[p[2]] | table[p[3]] | table[p[4]] | table[p[5]] | table[p[6]] | table[p[7]]) break;
    }
    for (; i < size_ && !table[data_[i]]; ++i) {
    }
    return i;
  }

  const ByteSet& set_;
  const uint8_t* data_;
  int64_t size_;
  vec16::V8 splats_[kVectorMembers] = {};
  uint8_t values_[kFewMembers] = {};
  int64_t next_[kFewMembers] = {};
  int few_ = 0;
};

}  // namespace zyl
