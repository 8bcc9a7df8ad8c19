// Bitwise combination of a string with a repeating mask: AND, OR, XOR, and XOR with the byte
// index as well. Everything runs a 64-bit word at a time; the last bytes of each stretch are
// done one by one, so nothing is read past the end of either string.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "plugin/builders.h"
#include "plugin/guard.h"
#include "plugin/memory.h"
#include "strings/strings.h"
#include "text/words.h"
#include "text/text.h"

namespace zyl {

namespace {

struct And {
  template <typename T>
  static T Apply(T x, T y) { return static_cast<T>(x & y); }
};
struct Or {
  template <typename T>
  static T Apply(T x, T y) { return static_cast<T>(x | y); }
};
struct Xor {
  template <typename T>
  static T Apply(T x, T y) { return static_cast<T>(x ^ y); }
};

// The low 8 bits of every index, twice over: the eight index bytes of position p are the word at
// kIndexBytes + (p & 0xFF).
constexpr std::array<uint8_t, 512> kIndexBytes = [] {
  std::array<uint8_t, 512> bytes{};
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i);
  return bytes;
}();

// A stretch of the input and the mask bytes that lie over it. start is the stretch's index in the
// whole input (for the index bytes).
template <typename Op, bool kWithIndex>
void CombineStretch(uint8_t* out, const uint8_t* in, const uint8_t* mask, int64_t length, int64_t start) {
  int64_t i = 0;
  for (; i + 8 <= length; i += 8) {
    uint64_t word = Op::Apply(Load8(in + i), Load8(mask + i));
    if constexpr (kWithIndex) word ^= Load8(kIndexBytes.data() + ((start + i) & 0xFF));
    Store8(out + i, word);
  }
  for (; i < length; ++i) {
    uint8_t byte = Op::Apply(in[i], mask[i]);
    if constexpr (kWithIndex) byte ^= static_cast<uint8_t>(start + i);
    out[i] = byte;
  }
}

// The whole input under a mask whose period divides eight: one mask word for every position.
template <typename Op, bool kWithIndex>
void CombinePattern(uint8_t* out, const uint8_t* in, int64_t length, const uint8_t (&pattern)[8]) {
  const uint64_t maskWord = Load8(pattern);
  int64_t i = 0;
  for (; i + 8 <= length; i += 8) {
    uint64_t word = Op::Apply(Load8(in + i), maskWord);
    if constexpr (kWithIndex) word ^= Load8(kIndexBytes.data() + (i & 0xFF));
    Store8(out + i, word);
  }
  for (; i < length; ++i) {
    uint8_t byte = Op::Apply(in[i], pattern[i & 7]);
    if constexpr (kWithIndex) byte ^= static_cast<uint8_t>(i);
    out[i] = byte;
  }
}

// out[i] = in[i] op mask[(offset + i) mod maskSize] (op the index byte of i), i below length.
// offset lies in 0 to maskSize - 1.
template <typename Op, bool kWithIndex>
void CombineRepeating(uint8_t* out, const uint8_t* in, int64_t length, const uint8_t* mask, int64_t maskSize,
                      int64_t offset) {
  // A mask of 1, 2 or 4 bytes is widened to one word.
  if (maskSize == 1 || maskSize == 2 || maskSize == 4) {
    uint8_t pattern[8];
    for (int64_t k = 0; k < 8; ++k) pattern[k] = mask[(offset + k) % maskSize];
    CombinePattern<Op, kWithIndex>(out, in, length, pattern);
    return;
  }
  // The mask covers the input: one stretch.
  if (length <= maskSize - offset) {
    CombineStretch<Op, kWithIndex>(out, in, mask + offset, length, 0);
    return;
  }
  // The mask repeats. A short one is first laid out several times over, from offset on, so that
  // each stretch is at least 64 bytes long.
  uint8_t widened[128];
  const uint8_t* period = mask;
  int64_t periodSize = maskSize;
  int64_t i = 0;
  if (maskSize < 64) {
    periodSize = maskSize * ((64 + maskSize - 1) / maskSize);
    // widened[k] = mask[(offset + k) mod maskSize]: one turn of the mask, then doubled.
    std::memcpy(widened, mask + offset, static_cast<size_t>(maskSize - offset));
    std::memcpy(widened + (maskSize - offset), mask, static_cast<size_t>(offset));
    for (int64_t filled = maskSize; filled < periodSize;) {
      const int64_t n = std::min(filled, periodSize - filled);
      std::memcpy(widened + filled, widened, static_cast<size_t>(n));
      filled += n;
    }
    period = widened;
  } else {
    i = maskSize - offset;
    CombineStretch<Op, kWithIndex>(out, in, mask + offset, i, 0);
  }
  while (i < length) {
    const int64_t stretch = length - i < periodSize ? length - i : periodSize;
    CombineStretch<Op, kWithIndex>(out + i, in + i, period, stretch, i);
    i += stretch;
  }
}

// The registered functions' shared body. Nil or empty data or mask give nil; for XOR a bad
// MaskOffset raises "OutOfBoundsException" after those checks.
template <typename Op, bool kWithIndex>
REALstringStruct* CombineWithMask(REALstringStruct* data, REALstringStruct* maskString, int64_t offset) {
  if (data == nullptr || maskString == nullptr) return nullptr;
  const rbData mask(maskString);
  if (mask.Empty()) return nullptr;
  if (offset < 0 || offset >= mask.Size()) {
    char message[160];
    snprintf(message, sizeof message, "MaskOffset %lld is outside the mask (0 to %lld).",
             static_cast<long long>(offset), static_cast<long long>(mask.Size() - 1));
    RaiseException("OutOfBoundsException", message, kEncodingASCII, 0);
    return nullptr;
  }
  const rbData in(data);
  const int64_t length = in.Size();
  if (length == 0 || length > kMaxHostLength) return nullptr;
  LocalBytes<kLocalResult> out(length, kCleared);
  if (out.Get() == nullptr) return nullptr;
  CombineRepeating<Op, kWithIndex>(out.Get(), in.Data(), length, mask.Data(), mask.Size(), offset);
  return REALBuildUnicodeString(out.Get(), length, kEncodingNone);
}

}  // namespace

REALstringStruct* StringAND(REALstringStruct* a, REALstringStruct* b) { return CombineWithMask<And, false>(a, b, 0); }

REALstringStruct* StringOR(REALstringStruct* a, REALstringStruct* b) { return CombineWithMask<Or, false>(a, b, 0); }

REALstringStruct* StringXOR(REALstringStruct* data, REALstringStruct* xorMask, int64_t maskOffset) {
  return CombineWithMask<Xor, false>(data, xorMask, maskOffset);
}

REALstringStruct* StringXOR2(REALstringStruct* data, REALstringStruct* xorMask, int64_t maskOffset) {
  return CombineWithMask<Xor, true>(data, xorMask, maskOffset);
}

}  // namespace zyl
