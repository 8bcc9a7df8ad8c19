// Sixteen bytes (or eight 16-bit units) at a time with the compiler's generic vectors, which
// become SSE2 on x86-64 and Advanced SIMD on aarch64 (both part of the platform's baseline) and
// plain word arithmetic elsewhere. For the text model's loops over runs of ASCII.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

#include "text/words.h"

namespace zyl::vec16 {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the lane arithmetic below reads bytes little-endian");

using V8 = uint8_t __attribute__((vector_size(16)));
using S8 = int8_t __attribute__((vector_size(16)));
using W64 = uint64_t __attribute__((vector_size(16)));
using Half8 = uint8_t __attribute__((vector_size(8)));
using Units16x8 = uint16_t __attribute__((vector_size(16)));
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

// The lanes of a mask as one bit each, lane k at bit k. SSE2 has the instruction; elsewhere each
// half's eight lanes (0x00 or 0xFF) keep one bit each at distinct places, and a multiply adds
// them up in the top byte (the path the aarch64 build runs and tests).
inline uint32_t LaneMask(S8 mask) {
#if defined(__SSE2__)
  using Chars = char __attribute__((vector_size(16)));
  return static_cast<uint32_t>(__builtin_ia32_pmovmskb128(reinterpret_cast<Chars>(mask)));
#endif
  constexpr uint64_t kLaneBit = 0x8040201008040201ull, kSum = 0x0101010101010101ull;
  const W64 w = reinterpret_cast<W64>(mask);
  return static_cast<uint32_t>(((w[0] & kLaneBit) * kSum) >> 56) |
         static_cast<uint32_t>(((w[1] & kLaneBit) * kSum) >> 56) << 8;
}

// The index of the first lane set in a mask (16 when none is).
inline int FirstLane(S8 mask) {
  const W64 w = reinterpret_cast<W64>(mask);
  if (w[0] != 0) return __builtin_ctzll(w[0]) >> 3;
  return w[1] != 0 ? 8 + (__builtin_ctzll(w[1]) >> 3) : 16;
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

// The 16 bytes as 16 units. GCC makes scalar code of generic conversions of bytes to wider
// units on aarch64 (and of four bytes to four words on x86-64), so the widening is written with
// each platform's own unpacking: SSE2's unpacks with zero, Advanced SIMD's lengthening moves;
// other targets go a byte at a time.
inline void Widen16(V8 v, uint16_t* out) {
#if defined(__SSE2__)
  const __m128i bytes = reinterpret_cast<__m128i>(v), zero = _mm_setzero_si128();
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(bytes, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(bytes, zero));
#elif defined(__ARM_NEON)
  const uint8x16_t bytes = vld1q_u8(reinterpret_cast<const uint8_t*>(&v));
  vst1q_u16(out, vmovl_u8(vget_low_u8(bytes)));
  vst1q_u16(out + 8, vmovl_high_u8(bytes));
#else
  for (int k = 0; k < 16; ++k) out[k] = v[k];
#endif
}

inline void Widen16(V8 v, uint32_t* out) {
#if defined(__SSE2__)
  const __m128i bytes = reinterpret_cast<__m128i>(v), zero = _mm_setzero_si128();
  const __m128i low = _mm_unpacklo_epi8(bytes, zero), high = _mm_unpackhi_epi8(bytes, zero);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi16(low, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4), _mm_unpackhi_epi16(low, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpacklo_epi16(high, zero));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 12), _mm_unpackhi_epi16(high, zero));
#elif defined(__ARM_NEON)
  const uint8x16_t bytes = vld1q_u8(reinterpret_cast<const uint8_t*>(&v));
  const uint16x8_t low = vmovl_u8(vget_low_u8(bytes)), high = vmovl_high_u8(bytes);
  vst1q_u32(out, vmovl_u16(vget_low_u16(low)));
  vst1q_u32(out + 4, vmovl_high_u16(low));
  vst1q_u32(out + 8, vmovl_u16(vget_low_u16(high)));
  vst1q_u32(out + 12, vmovl_high_u16(high));
#else
  for (int k = 0; k < 16; ++k) out[k] = v[k];
#endif
}

// Writes the eight units at in as eight bytes (each unit's low byte) and returns how many of the
// units, from the first, are below 0x80.
inline int Narrow8(const uint16_t* in, uint8_t* out) {
  Units16x8 units;
  memcpy(&units, in, sizeof units);
  const Half8 bytes = __builtin_convertvector(units, Half8);
  memcpy(out, &bytes, sizeof bytes);
  const W64 w = reinterpret_cast<W64>(units);
  constexpr uint64_t kAbove7F = 0xFF80FF80FF80FF80ull;
  if ((w[0] & kAbove7F) != 0) return __builtin_ctzll(w[0] & kAbove7F) >> 4;
  if ((w[1] & kAbove7F) != 0) return 4 + (__builtin_ctzll(w[1] & kAbove7F) >> 4);
  return 8;
}

}  // namespace zyl::vec16
