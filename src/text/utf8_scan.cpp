// UTF-8 scanning, decoding and encoding, 16 bytes at a time where the text allows.
#include "text/utf8_scan.h"

#include <cstring>

#include "text/words.h"

namespace zyl {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the lane arithmetic below reads bytes little-endian");

namespace {

// Generic vectors: the compiler maps them onto the platform's baseline vector unit.
using V8 = uint8_t __attribute__((vector_size(16)));
using S8 = int8_t __attribute__((vector_size(16)));
using W64 = uint64_t __attribute__((vector_size(16)));
using Half8 = uint8_t __attribute__((vector_size(8)));
using Units16x8 = uint16_t __attribute__((vector_size(16)));
using Quarter8 = uint8_t __attribute__((vector_size(4)));
using Units32x4 = uint32_t __attribute__((vector_size(16)));

inline V8 Load16(const uint8_t* p) {
  V8 v;
  memcpy(&v, p, sizeof v);
  return v;
}

inline V8 Splat(uint8_t b) { return V8{} + b; }

inline bool AnyLane(S8 mask) {
  const W64 w = reinterpret_cast<W64>(mask);
  return (w[0] | w[1]) != 0;
}

inline bool AnyHighBit(V8 v) {
  const W64 w = reinterpret_cast<W64>(v);
  return ((w[0] | w[1]) & kHighBits) != 0;
}

// The number of bytes before the first one with its high bit set (16 when there is none).
inline int AsciiPrefix(V8 v) {
  const W64 w = reinterpret_cast<W64>(v);
  const uint64_t low = w[0] & kHighBits;
  if (low != 0) return __builtin_ctzll(low) >> 3;
  const uint64_t high = w[1] & kHighBits;
  return high != 0 ? 8 + (__builtin_ctzll(high) >> 3) : 16;
}

// Lanes of the 16 bytes at p (v) that break the well-formed sequence table, given that the
// three bytes before p belong to sequences checked already: a continuation byte where none is
// due or a missing one where one is due, a byte that never leads (C0, C1, F5-FF), or a second
// byte outside the narrower ranges after E0, ED, F0 and F4.
inline S8 BadLanes(const uint8_t* p, V8 v) {
  const V8 p1 = Load16(p - 1), p2 = Load16(p - 2), p3 = Load16(p - 3);
  const S8 continuation = reinterpret_cast<S8>(v) < reinterpret_cast<S8>(Splat(0xC0));  // 0x80-0xBF
  const S8 due = (p1 >= Splat(0xC0)) | (p2 >= Splat(0xE0)) | (p3 >= Splat(0xF0));
  S8 bad = continuation ^ due;
  bad |= (v >= Splat(0xF5)) | ((v & Splat(0xFE)) == Splat(0xC0));
  bad |= ((p1 == Splat(0xE0)) & (v < Splat(0xA0))) | ((p1 == Splat(0xED)) & (v > Splat(0x9F)));
  bad |= ((p1 == Splat(0xF0)) & (v < Splat(0x90))) | ((p1 == Splat(0xF4)) & (v > Splat(0x8F)));
  return bad;
}

// Whether a sequence that starts in the three bytes before i continues at i (those bytes were
// checked already, so a lead byte there is a real one).
inline bool SequenceOpenAt(const uint8_t* p, int64_t i) {
  return p[i - 1] >= 0xC0 || p[i - 2] >= 0xE0 || p[i - 3] >= 0xF0;
}

// Where the sequence that is open at i started, or i when none is.
inline int64_t BoundaryAtOrBefore(const uint8_t* p, int64_t i) {
  if (p[i - 1] >= 0xC0) return i - 1;
  if (p[i - 2] >= 0xE0) return i - 2;
  if (p[i - 3] >= 0xF0) return i - 3;
  return i;
}

// The reference walk from the sequence boundary i: stops at the first rejected byte (*rejected
// set) or at the first boundary at or after until.
inline int64_t Walk(const uint8_t* p, int64_t i, int64_t until, int64_t n, bool* rejected) {
  while (i < until) {
    if (p[i] < 0x80) {
      ++i;
      continue;
    }
    const int length = WellFormedLength(p + i, n - i);
    if (length == 0) {
      *rejected = true;
      return i;
    }
    i += length;
  }
  return i;
}

inline void Widen16(V8 v, uint16_t* out) {
  Half8 low, high;
  memcpy(&low, &v, 8);
  memcpy(&high, reinterpret_cast<const uint8_t*>(&v) + 8, 8);
  const Units16x8 a = __builtin_convertvector(low, Units16x8);
  const Units16x8 b = __builtin_convertvector(high, Units16x8);
  memcpy(out, &a, sizeof a);
  memcpy(out + 8, &b, sizeof b);
}

inline void Widen16(V8 v, uint32_t* out) {
  for (int q = 0; q < 4; ++q) {
    Quarter8 part;
    memcpy(&part, reinterpret_cast<const uint8_t*>(&v) + 4 * q, 4);
    const Units32x4 units = __builtin_convertvector(part, Units32x4);
    memcpy(out + 4 * q, &units, sizeof units);
  }
}

// One well-formed multi-byte sequence at in[i] (lead byte b): its code point and length.
inline uint32_t DecodeSequence(const uint8_t* in, uint8_t b, int* length) {
  if (b < 0xE0) {
    *length = 2;
    return ((b & 0x1Fu) << 6) | (in[1] & 0x3Fu);
  }
  if (b < 0xF0) {
    *length = 3;
    return ((b & 0x0Fu) << 12) | ((in[1] & 0x3Fu) << 6) | (in[2] & 0x3Fu);
  }
  *length = 4;
  return ((b & 0x07u) << 18) | ((in[1] & 0x3Fu) << 12) | ((in[2] & 0x3Fu) << 6) | (in[3] & 0x3Fu);
}

inline bool IsByteOrderMark(uint32_t c) { return c == 0xFEFF || c == 0xFFFE; }

template <typename Unit>
inline int64_t PutCodePoint(Unit* out, int64_t w, uint32_t c) {
  if (IsByteOrderMark(c)) return w;
  if constexpr (sizeof(Unit) == 2) {
    if (c >= 0x10000) {
      out[w] = static_cast<uint16_t>(0xD800 + ((c - 0x10000) >> 10));
      out[w + 1] = static_cast<uint16_t>(0xDC00 + (c & 0x3FF));
      return w + 2;
    }
  }
  out[w] = static_cast<Unit>(c);
  return w + 1;
}

template <typename Unit>
int64_t DecodeWellFormed(const uint8_t* in, int64_t n, Unit* out) {
  int64_t i = 0, w = 0;
  while (i < n) {
    const uint8_t b = in[i];
    if (b < 0x80) {
      if (i + 16 <= n) {
        // Every sequence gives at most as many units as it has bytes, so out has room for 16.
        const V8 v = Load16(in + i);
        Widen16(v, out + w);
        const int k = AsciiPrefix(v);
        i += k;
        w += k;
      } else {
        out[w++] = b;
        ++i;
      }
      continue;
    }
    int length = 0;
    const uint32_t c = DecodeSequence(in + i, b, &length);
    i += length;
    w = PutCodePoint(out, w, c);
  }
  return w;
}

template <typename Unit>
int64_t DecodeWellFormedPlain(const uint8_t* in, int64_t n, Unit* out) {
  int64_t i = 0, w = 0;
  while (i < n) {
    const uint8_t b = in[i];
    if (b < 0x80) {
      out[w++] = b;
      ++i;
      continue;
    }
    int length = 0;
    const uint32_t c = DecodeSequence(in + i, b, &length);
    i += length;
    w = PutCodePoint(out, w, c);
  }
  return w;
}

inline uint8_t* PutUTF8(uint8_t* out, uint32_t c) {
  if (c < 0x80) {
    *out++ = static_cast<uint8_t>(c);
  } else if (c < 0x800) {
    *out++ = static_cast<uint8_t>(0xC0 | (c >> 6));
    *out++ = static_cast<uint8_t>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    *out++ = static_cast<uint8_t>(0xE0 | (c >> 12));
    *out++ = static_cast<uint8_t>(0x80 | ((c >> 6) & 0x3F));
    *out++ = static_cast<uint8_t>(0x80 | (c & 0x3F));
  } else {
    *out++ = static_cast<uint8_t>(0xF0 | (c >> 18));
    *out++ = static_cast<uint8_t>(0x80 | ((c >> 12) & 0x3F));
    *out++ = static_cast<uint8_t>(0x80 | ((c >> 6) & 0x3F));
    *out++ = static_cast<uint8_t>(0x80 | (c & 0x3F));
  }
  return out;
}

// One UTF-16 character at in[i] as UTF-8; false for a surrogate that is not part of a pair.
inline bool PutUTF16Character(const uint16_t* in, int64_t count, int64_t& i, uint8_t*& o) {
  const uint32_t c = in[i];
  if (c >= 0xD800 && c <= 0xDFFF) {
    if (c > 0xDBFF || i + 1 >= count || in[i + 1] < 0xDC00 || in[i + 1] > 0xDFFF) return false;
    o = PutUTF8(o, 0x10000 + ((c - 0xD800) << 10) + (in[i + 1] - 0xDC00u));
    i += 2;
    return true;
  }
  o = PutUTF8(o, c);
  ++i;
  return true;
}

}  // namespace

int WellFormedLength(const uint8_t* p, int64_t available) {
  const uint8_t lead = p[0];
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const auto continuation = [](uint8_t b) { return b >= 0x80 && b <= 0xBF; };
  if (lead < 0xE0) return available >= 2 && continuation(p[1]) ? 2 : 0;
  const uint8_t low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const uint8_t high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (lead < 0xF0) return available >= 3 && p[1] >= low && p[1] <= high && continuation(p[2]) ? 3 : 0;
  return available >= 4 && p[1] >= low && p[1] <= high && continuation(p[2]) && continuation(p[3]) ? 4 : 0;
}

int64_t WellFormedPrefixPlain(const uint8_t* p, int64_t n) {
  bool rejected = false;
  return Walk(p, 0, n, n, &rejected);
}

int64_t WellFormedPrefix(const uint8_t* p, int64_t n) {
  if (p == nullptr || n < 1) return 0;
  bool rejected = false;
  // The block test reads the three bytes before each block: start three bytes in.
  int64_t i = Walk(p, 0, n < 3 ? n : 3, n, &rejected);
  if (rejected || i >= n) return i;
  while (i + 16 <= n) {
    const V8 v = Load16(p + i);
    if (!AnyHighBit(v) && !SequenceOpenAt(p, i)) {
      i += 16;
      while (i + 32 <= n && !AnyHighBit(Load16(p + i) | Load16(p + i + 16))) i += 32;
      continue;
    }
    if (AnyLane(BadLanes(p + i, v))) {
      // The walk finds the sequence at fault; it starts at most three bytes back.
      i = Walk(p, BoundaryAtOrBefore(p, i), i + 16, n, &rejected);
      if (rejected) return i;
      continue;
    }
    i += 16;
  }
  return Walk(p, BoundaryAtOrBefore(p, i), n, n, &rejected);
}

int64_t DecodeWellFormedUTF8ToUTF16(const uint8_t* in, int64_t n, uint16_t* out) {
  return DecodeWellFormed(in, n, out);
}
int64_t DecodeWellFormedUTF8ToUTF32(const uint8_t* in, int64_t n, uint32_t* out) {
  return DecodeWellFormed(in, n, out);
}
int64_t DecodeWellFormedUTF8ToUTF16Plain(const uint8_t* in, int64_t n, uint16_t* out) {
  return DecodeWellFormedPlain(in, n, out);
}
int64_t DecodeWellFormedUTF8ToUTF32Plain(const uint8_t* in, int64_t n, uint32_t* out) {
  return DecodeWellFormedPlain(in, n, out);
}

void WidenBytes(const uint8_t* in, int64_t n, uint16_t* out) {
  int64_t i = 0;
  for (; i + 16 <= n; i += 16) Widen16(Load16(in + i), out + i);
  for (; i < n; ++i) out[i] = in[i];
}

void WidenBytes(const uint8_t* in, int64_t n, uint32_t* out) {
  int64_t i = 0;
  for (; i + 16 <= n; i += 16) Widen16(Load16(in + i), out + i);
  for (; i < n; ++i) out[i] = in[i];
}

int64_t EncodeValidUTF16AsUTF8(const uint16_t* in, int64_t count, uint8_t* out) {
  uint8_t* o = out;
  int64_t i = 0;
  while (i < count) {
    if (in[i] < 0x80 && i + 8 <= count) {
      // Eight units below 0x80 become eight bytes.
      Units16x8 units;
      memcpy(&units, in + i, sizeof units);
      const W64 w = reinterpret_cast<W64>(units);
      if (((w[0] | w[1]) & 0xFF80FF80FF80FF80ull) == 0) {
        const Half8 bytes = __builtin_convertvector(units, Half8);
        memcpy(o, &bytes, sizeof bytes);
        o += 8;
        i += 8;
        continue;
      }
    }
    if (!PutUTF16Character(in, count, i, o)) return -1;
  }
  return o - out;
}

int64_t EncodeValidUTF16AsUTF8Plain(const uint16_t* in, int64_t count, uint8_t* out) {
  uint8_t* o = out;
  for (int64_t i = 0; i < count;) {
    if (!PutUTF16Character(in, count, i, o)) return -1;
  }
  return o - out;
}

int64_t EncodeValidUTF32AsUTF8(const uint32_t* in, int64_t count, uint8_t* out) {
  uint8_t* o = out;
  for (int64_t i = 0; i < count; ++i) {
    const uint32_t c = in[i];
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return -1;
    o = PutUTF8(o, c);
  }
  return o - out;
}

}  // namespace zyl
