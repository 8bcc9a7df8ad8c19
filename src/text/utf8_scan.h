// The text model's UTF-8 and UTF-16 scanners: how much of a buffer is well-formed, decoding of
// text known to be well-formed, and re-encoding of valid UTF-16 or UTF-32 as UTF-8.
//
// Each fast scanner has a plain byte-at-a-time twin (the ...Plain functions) that gives the same
// answer; the tests hold the two against each other. The fast ones read 16 bytes at a time
// (text/vector16.h).
#pragma once

#include <cstdint>

namespace zyl {

// WellFormedPrefix: the length of the longest prefix of the n bytes at p that is made of whole
// well-formed UTF-8 sequences (any byte below 0x80, zero included, is one). The byte there is
// the one the reference walk rejects: a stray continuation byte, a lead byte that cannot start a
// sequence, or a sequence that is malformed or cut off by the end.
// WellFormedPrefix("A\xC3\xA9\xC3", 4) is 3.
int64_t WellFormedPrefix(const uint8_t* p, int64_t n);
int64_t WellFormedPrefixPlain(const uint8_t* p, int64_t n);

// WellFormedLength: the length (2 to 4) of the well-formed multi-byte sequence at p within the
// available bytes, 0 when there is none there.
int WellFormedLength(const uint8_t* p, int64_t available);

// WellFormedLengthAt: WellFormedLength of the multi-byte sequence at in[i] (n bytes readable at
// in), with two- and three-byte sequences, the common ones, told inline. Walking a text with it
// from its start finds the end of WellFormedPrefix at the first 0.
inline int WellFormedLengthAt(const uint8_t* in, int64_t i, int64_t n) {
  const uint8_t b = in[i];
  const auto continues = [](uint8_t c) { return (c & 0xC0) == 0x80; };
  if (b >= 0xC2 && b <= 0xDF && n - i >= 2 && continues(in[i + 1])) return 2;
  if (b >= 0xE0 && b <= 0xEF && n - i >= 3 && continues(in[i + 2])) {
    // The second byte's range: no overlong form after E0, no surrogate after ED.
    const uint8_t second = in[i + 1];
    if (second >= (b == 0xE0 ? 0xA0 : 0x80) && second <= (b == 0xED ? 0x9F : 0xBF)) return 3;
  }
  return WellFormedLength(in + i, n - i);
}

// DecodeWellFormedSequence: the code point of the well-formed multi-byte sequence at p (lead byte
// 0xC2 or above) and its length.
inline uint32_t DecodeWellFormedSequence(const uint8_t* p, int* length) {
  const uint8_t b = p[0];
  if (b < 0xE0) {
    *length = 2;
    return ((b & 0x1Fu) << 6) | (p[1] & 0x3Fu);
  }
  if (b < 0xF0) {
    *length = 3;
    return ((b & 0x0Fu) << 12) | ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu);
  }
  *length = 4;
  return ((b & 0x07u) << 18) | ((p[1] & 0x3Fu) << 12) | ((p[2] & 0x3Fu) << 6) | (p[3] & 0x3Fu);
}

// PutUTF8: writes the UTF-8 of code point c (1 to 4 bytes, c at most U+10FFFF and no surrogate)
// at out and returns the end of what it wrote.
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

// DecodeWellFormedUTF8ToUTF16 / ...ToUTF32: n bytes known to be well-formed (WellFormedPrefix
// gave n) as UTF-16 units or code points, leaving out U+FEFF and U+FFFE wherever they stand.
// out must hold n units. Returns the units written.
int64_t DecodeWellFormedUTF8ToUTF16(const uint8_t* in, int64_t n, uint16_t* out);
int64_t DecodeWellFormedUTF8ToUTF32(const uint8_t* in, int64_t n, uint32_t* out);
int64_t DecodeWellFormedUTF8ToUTF16Plain(const uint8_t* in, int64_t n, uint16_t* out);
int64_t DecodeWellFormedUTF8ToUTF32Plain(const uint8_t* in, int64_t n, uint32_t* out);

// Widens n ASCII (or ISO 8859-1) bytes to as many units.
void WidenBytes(const uint8_t* in, int64_t n, uint16_t* out);
void WidenBytes(const uint8_t* in, int64_t n, uint32_t* out);

// UTF-8 of valid Unicode text: the UTF-8 bytes of count UTF-16 units or code points, written to
// out (which holds 3 bytes per unit or 4 per code point), or -1 when the text holds a surrogate
// that is not part of a pair (UTF-16), a surrogate value or a value above U+10FFFF (UTF-32).
int64_t EncodeValidUTF16AsUTF8(const uint16_t* in, int64_t count, uint8_t* out);
int64_t EncodeValidUTF32AsUTF8(const uint32_t* in, int64_t count, uint8_t* out);
int64_t EncodeValidUTF16AsUTF8Plain(const uint16_t* in, int64_t count, uint8_t* out);

}  // namespace zyl
