#include "strings/occurrences.h"

#include <cstring>

#include "text/vector16.h"
#include "text/words.h"

namespace zyl {

namespace {

// How many of the size bytes equal value: eight bytes at a time, each lane of a counter word
// collecting its hits for at most 255 words before the lanes are summed.
int64_t CountByte(const uint8_t* data, int64_t size, uint8_t value) {
  const uint64_t pattern = kOnes * value, low7 = ~kHighBits;
  int64_t count = 0, i = 0;
  while (size - i >= 8) {
    uint64_t lanes = 0;
    for (int words = 0; words < 255 && size - i >= 8; ++words, i += 8) {
      const uint64_t diff = Load8(data + i) ^ pattern;         // zero lanes are hits
      const uint64_t nonZero = ((diff & low7) + low7) | diff;  // high bit set in non-zero lanes
      lanes += (~nonZero & kHighBits) >> 7;
    }
    const uint64_t pairs = (lanes & 0x00FF00FF00FF00FF) + ((lanes >> 8) & 0x00FF00FF00FF00FF);
    count += static_cast<int64_t>((pairs * 0x0001000100010001) >> 48);
  }
  for (; i < size; ++i) count += data[i] == value ? 1 : 0;
  return count;
}

// The memmem loop from offset at on, each search behind the previous hit.
int64_t CountFrom(const uint8_t* data, int64_t size, int64_t at, const uint8_t* find, int64_t findSize) {
  int64_t count = 0;
  while (size - at >= findSize) {
    const void* hit = memmem(data + at, static_cast<size_t>(size - at), find, static_cast<size_t>(findSize));
    if (hit == nullptr) break;
    ++count;
    at = static_cast<const uint8_t*>(hit) - data + findSize;
  }
  return count;
}

// Finds longer than this go to memmem, whose time stays linear whatever the bytes; up to here the
// comparison of a candidate costs no more than reading its bytes.
constexpr int64_t kLongestFiltered = 16;

}  // namespace

int64_t CountOccurrencesPlain(const uint8_t* data, int64_t size, const uint8_t* find, int64_t findSize) {
  return CountFrom(data, size, 0, find, findSize);
}

int64_t CountOccurrences(const uint8_t* data, int64_t size, const uint8_t* find, int64_t findSize) {
  if (findSize > size) return 0;
  if (findSize == 1) return CountByte(data, size, find[0]);
  if (findSize > kLongestFiltered) return CountFrom(data, size, 0, find, findSize);
  using namespace vec16;
  const V8 first = Splat(find[0]), last = Splat(find[findSize - 1]);
  const int64_t middle = findSize - 2;
  int64_t count = 0;
  int64_t next = 0;  // the first position a hit may start at (behind the previous hit)
  int64_t i = 0;
  // Positions i to i + 15, while the last byte of a find at i + 15 is inside the data.
  for (; i + 15 + findSize <= size; i += 16) {
    const S8 both = (Load16(data + i) == first) & (Load16(data + i + findSize - 1) == last);
    for (uint32_t lanes = LaneMask(both); lanes != 0; lanes &= lanes - 1) {
      const int64_t at = i + __builtin_ctz(lanes);
      if (at < next || memcmp(data + at + 1, find + 1, static_cast<size_t>(middle)) != 0) continue;
      ++count;
      next = at + findSize;
    }
  }
  return count + CountFrom(data, size, i > next ? i : next, find, findSize);
}

}  // namespace zyl
