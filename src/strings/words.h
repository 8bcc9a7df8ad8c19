// Word-at-a-time access to byte buffers of any alignment, for the byte functions of this folder.
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

}  // namespace zyl
