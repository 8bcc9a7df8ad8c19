// Hexadecimal digit tables shared by the byte codecs of this folder. All output is upper case.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace zyl::hexdigits {

inline constexpr char khex[] = "0123456789ABCDEF";

// The two digits of each byte value, high nibble first, in the order they are written.
inline constexpr auto kPairs = [] {
  std::array<std::array<uint8_t, 2>, 256> pairs{};
  for (int b = 0; b < 256; ++b) {
    pairs[b] = {static_cast<uint8_t>(khex[b >> 4]), static_cast<uint8_t>(khex[b & 15])};
  }
  return pairs;
}();

// The value of a digit "0"-"9", "A"-"F" or "a"-"f"; -1 for every other byte.
inline constexpr auto kNybble = [] {
  std::array<int8_t, 256> values{};
  for (int c = 0; c < 256; ++c) {
    values[c] = c >= '0' && c <= '9'   ? static_cast<int8_t>(c - '0')
                : c >= 'A' && c <= 'F' ? static_cast<int8_t>(c - 'A' + 10)
                : c >= 'a' && c <= 'f' ? static_cast<int8_t>(c - 'a' + 10)
                                       : int8_t{-1};
  }
  return values;
}();

// Writes the two digits of byte b at out.
inline void WritePair(uint8_t* out, uint8_t b) { memcpy(out, kPairs[b].data(), 2); }

}  // namespace zyl::hexdigits
