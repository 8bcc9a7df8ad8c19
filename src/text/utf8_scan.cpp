// UTF-8 scanning, decoding and encoding, 16 bytes at a time where the text allows.
#include "text/utf8_scan.h"

#include <array>
#include <cstring>

#include "text/vector16.h"
#include "text/words.h"

namespace zyl {

namespace {

using namespace vec16;

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

// BadLanes for blocks where neither the 16 bytes nor the three before them hold a byte from 0xE0
// up (ASCII and two-byte sequences only, as in Latin, Greek or Cyrillic text): only a lead byte
// just before can make a continuation byte due, and only C0 and C1 cannot lead.
inline S8 BadLanesTwoByte(const uint8_t* p, V8 v) {
  const V8 p1 = Load16(p - 1);
  const S8 continuation = reinterpret_cast<S8>(v) < reinterpret_cast<S8>(Splat(0xC0));
  const S8 due = p1 >= Splat(0xC0);
  return (continuation ^ due) | ((v & Splat(0xFE)) == Splat(0xC0));
}

// BadLanes for blocks where neither the 16 bytes nor the three before them hold a lead byte of a
// two- or four-byte sequence (ASCII and three-byte sequences only, as in CJK text): a lead byte
// one or two bytes before makes a continuation byte due, and only E0 and ED narrow the second.
inline S8 BadLanesThreeByte(const uint8_t* p, V8 v) {
  const V8 p1 = Load16(p - 1), p2 = Load16(p - 2);
  const S8 continuation = reinterpret_cast<S8>(v) < reinterpret_cast<S8>(Splat(0xC0));
  const S8 due = (p1 >= Splat(0xE0)) | (p2 >= Splat(0xE0));
  S8 bad = continuation ^ due;
  bad |= ((p1 == Splat(0xE0)) & (v < Splat(0xA0))) | ((p1 == Splat(0xED)) & (v > Splat(0x9F)));
  return bad;
}

// Lanes holding a lead byte of a two-byte sequence (C0 to DF).
inline S8 TwoByteLeads(V8 v) { return (v & Splat(0xE0)) == Splat(0xC0); }

inline V8 Max(V8 a, V8 b) { return a > b ? a : b; }

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
      // ASCII eight bytes a step while a whole word of it lies before until.
      ++i;
      while (i + 8 <= until && (Load8(p + i) & kHighBits) == 0) i += 8;
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

// Runs of ASCII go 16 bytes at a time; runs of sequences of one length (Cyrillic, Greek, CJK)
// stay in a loop of their own, so that the length is guessed right for all but the first of a
// run.
template <typename Unit>
int64_t DecodeWellFormedPlain(const uint8_t* in, int64_t n, Unit* out, int64_t i, int64_t w);

template <typename Unit>
int64_t DecodeWellFormed(const uint8_t* in, int64_t n, Unit* out) {
  int64_t i = 0, w = 0;
  while (i + 16 <= n) {
    uint8_t b = in[i];
    if (b < 0x80) {
      if (in[i + 1] < 0x80) {
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
    } else if (b < 0xE0) {
      do {
        out[w++] = static_cast<Unit>(((b & 0x1Fu) << 6) | (in[i + 1] & 0x3Fu));
        i += 2;
      } while (i < n && ((b = in[i]) & 0xE0) == 0xC0);
    } else if (b < 0xF0) {
      // Two characters a step while two three-byte sequences follow each other (CJK text).
      while (i + 6 <= n && (in[i + 3] & 0xF0) == 0xE0) {
        const uint32_t c = ((b & 0x0Fu) << 12) | ((in[i + 1] & 0x3Fu) << 6) | (in[i + 2] & 0x3Fu);
        const uint32_t d = ((in[i + 3] & 0x0Fu) << 12) | ((in[i + 4] & 0x3Fu) << 6) | (in[i + 5] & 0x3Fu);
        out[w] = static_cast<Unit>(c);
        // Only lead byte EF starts a byte-order mark: any other pair goes out as it is, without
        // the test on the decoded value that each write's place would otherwise wait for.
        if (__builtin_expect(b == 0xEF || in[i + 3] == 0xEF, 0)) {
          w += IsByteOrderMark(c) ? 0 : 1;
          out[w] = static_cast<Unit>(d);
          w += IsByteOrderMark(d) ? 0 : 1;
        } else {
          out[w + 1] = static_cast<Unit>(d);
          w += 2;
        }
        i += 6;
        if (i >= n || ((b = in[i]) & 0xF0) != 0xE0) break;
      }
      if (i < n && (in[i] & 0xF0) == 0xE0) {
        b = in[i];
        const uint32_t c = ((b & 0x0Fu) << 12) | ((in[i + 1] & 0x3Fu) << 6) | (in[i + 2] & 0x3Fu);
        out[w] = static_cast<Unit>(c);
        w += IsByteOrderMark(c) ? 0 : 1;
        i += 3;
      }
    } else {
      int length = 0;
      const uint32_t c = DecodeWellFormedSequence(in + i, &length);
      i += length;
      w = PutCodePoint(out, w, c);
    }
  }
  return DecodeWellFormedPlain(in, n, out, i, w);
}

template <typename Unit>
int64_t DecodeWellFormedPlain(const uint8_t* in, int64_t n, Unit* out, int64_t i, int64_t w) {
  while (i < n) {
    const uint8_t b = in[i];
    if (b < 0x80) {
      out[w++] = b;
      ++i;
      continue;
    }
    int length = 0;
    const uint32_t c = DecodeWellFormedSequence(in + i, &length);
    i += length;
    w = PutCodePoint(out, w, c);
  }
  return w;
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
  // 32 bytes a step: one branch for the ASCII test and one for the result of the full test, so
  // that text mixing ASCII with other scripts does not leave the processor guessing per block.
  while (i + 32 <= n) {
    const V8 a = Load16(p + i), b = Load16(p + i + 16);
    if (!AnyHighBit(a | b) && !SequenceOpenAt(p, i)) {
      // After ASCII no sequence is open: runs of it go 64 bytes a step.
      i += 32;
      while (i + 64 <= n && !AnyHighBit(Load16(p + i) | Load16(p + i + 16) | Load16(p + i + 32) | Load16(p + i + 48))) {
        i += 64;
      }
      continue;
    }
    const V8 before = Load16(p + i - 3);
    const V8 top = Max(Max(a, b), before);
    S8 bad;
    if (!AnyLane(top >= Splat(0xE0))) {
      bad = BadLanesTwoByte(p + i, a) | BadLanesTwoByte(p + i + 16, b);
    } else if (!AnyLane((top >= Splat(0xF0)) | TwoByteLeads(a) | TwoByteLeads(b) | TwoByteLeads(before))) {
      bad = BadLanesThreeByte(p + i, a) | BadLanesThreeByte(p + i + 16, b);
    } else {
      bad = BadLanes(p + i, a) | BadLanes(p + i + 16, b);
    }
    if (AnyLane(bad)) {
      // The walk finds the sequence at fault; it starts at most three bytes back.
      i = Walk(p, BoundaryAtOrBefore(p, i), i + 32, n, &rejected);
      if (rejected) return i;
      continue;
    }
    i += 32;
  }
  // The last 32 bytes, overlapping bytes checked already (their lanes pass again); what is left
  // for the walk is at most a sequence cut off by the end.
  if (i < n && n >= 35) {
    const V8 a = Load16(p + n - 32), b = Load16(p + n - 16);
    // ASCII to the end with nothing open at i: valid to the end, as in the loop.
    if (!AnyHighBit(a | b) && !SequenceOpenAt(p, i)) return n;
    if (!AnyLane(BadLanes(p + n - 32, a) | BadLanes(p + n - 16, b))) i = BoundaryAtOrBefore(p, n);
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
  return DecodeWellFormedPlain(in, n, out, 0, 0);
}
int64_t DecodeWellFormedUTF8ToUTF32Plain(const uint8_t* in, int64_t n, uint32_t* out) {
  return DecodeWellFormedPlain(in, n, out, 0, 0);
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
    // Two units below 0x80 start a run: eight go out at once, the run's length counts. The
    // output holds 3 bytes per unit, so 8 more always fit.
    if (in[i] < 0x80 && i + 8 <= count && in[i + 1] < 0x80) {
      const int ascii = Narrow8(in + i, o);
      o += ascii;
      i += ascii;
      continue;
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
