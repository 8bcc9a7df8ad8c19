// Word-at-a-time access to byte buffers of any alignment: eight bytes as one 64-bit word.
#pragma once

#include <cstdint>
#include <cstring>

namespace zyl {

inline constexpr uint64_t kOnes = 0x0101010101010101ull;
inline constexpr uint64_t kHighBits = 0x8080808080808080ull;

inline uint64_t Load8(const uint8_t* p) {
  uint64_t word;
  memcpy(&word, p, sizeof word);
  return word;
}

inline void Store8(uint8_t* p, uint64_t word) { memcpy(p, &word, sizeof word); }

// Whether any byte of the word is below n (n at most 128) / above n (n at most 127).
constexpr bool HasByteBelow(uint64_t word, uint64_t n) { return ((word - kOnes * n) & ~word & kHighBits) != 0; }
constexpr bool HasByteAbove(uint64_t word, uint64_t n) { return (((word + kOnes * (127 - n)) | word) & kHighBits) != 0; }
constexpr bool HasZeroByte(uint64_t word) { return HasByteBelow(word, 1); }
// Whether any byte of the word equals value.
constexpr bool HasByte(uint64_t word, uint8_t value) { return HasZeroByte(word ^ (kOnes * value)); }

}  // namespace zyl
