// Helpers of the text model's tests: the registered declarations, byte images of wide text, and
// a slow, obviously correct UTF-8 reference written from the definition of the encoding
// (shortest form, no surrogates, nothing above U+10FFFF), not from the byte-range table the
// library uses.
#pragma once

#include <memhost.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "text/text.h"

namespace texttest {

inline constexpr const char* kCheckUTF8p = "CheckUTF8ZYL(data as ptr, size as Integer, Placeholder as string) as string";
inline constexpr const char* kCheckUTF8m = "CheckUTF8ZYL(mem as MemoryBlock, Placeholder as string) as string";
inline constexpr const char* kCheckUTF8s = "CheckUTF8ZYL(data as string, Placeholder as string) as string";
inline constexpr const char* kIsASCII1 = "IsASCIIStringZYL(s as string) as boolean";
inline constexpr const char* kIsASCII2 = "IsASCIIStringZYL(s as string, mode as integer) as boolean";
inline constexpr const char* kToISO = "EncodingToISO8859ZYL(s as string) as string";
inline constexpr const char* kFromISO = "DecodingFromISO8859ZYL(s as string) as string";
inline constexpr const char* kToCP1252 = "EncodingToCP1252ZYL(s as string) as string";
inline constexpr const char* kFromCP1252 = "DecodingFromCP1252ZYL(s as string) as string";

// Units as bytes, little-endian (host order) or big-endian.
template <typename Units>
std::string Wide(const Units& units, bool bigEndian = false) {
  constexpr int n = sizeof(typename Units::value_type);
  std::string out;
  for (uint32_t u : units) {
    for (int i = 0; i < n; ++i) out += static_cast<char>(u >> (bigEndian ? 8 * (n - 1 - i) : 8 * i));
  }
  return out;
}

template <typename Char, size_t N>
std::string Wide(const Char (&literal)[N], bool bigEndian = false) {
  return Wide(std::basic_string<Char>(literal, N - 1), bigEndian);
}

inline const uint8_t* U8(const std::string& s) { return reinterpret_cast<const uint8_t*>(s.data()); }

// Takes over a string result and gives back its bytes and encoding; nullopt for nil.
inline std::optional<memhost::StringValue> Take(REALstringStruct* result) {
  memhost::String owned(result);
  if (owned.get() == nullptr) return std::nullopt;
  return memhost::Value(owned.get());
}

inline memhost::String CallS(const char* declaration, REALstringStruct* s) {
  return memhost::String(memhost::Call<REALstringStruct*>(declaration, s));
}

inline std::string EncodeUTF8(uint32_t cp) {
  if (cp < 0x80) return std::string(1, static_cast<char>(cp));
  const int n = cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4;
  const uint8_t leadMarks[5] = {0, 0, 0xC0, 0xE0, 0xF0};
  std::string out(static_cast<size_t>(n), '\0');
  for (int k = n - 1; k > 0; --k, cp >>= 6) out[k] = static_cast<char>(0x80 | (cp & 0x3F));
  out[0] = static_cast<char>(leadMarks[n] | cp);
  return out;
}

// The 256 byte values in order.
inline std::string AllBytes() {
  std::string all;
  for (int b = 0; b < 256; ++b) all += static_cast<char>(b);
  return all;
}

inline std::string UTF8(const std::u32string& text) {
  std::string out;
  for (char32_t c : text) out += EncodeUTF8(c);
  return out;
}

// The length (1 to 4) of the well-formed sequence at s[i], 0 when there is none.
inline int ReferenceSequence(const std::string& s, size_t i) {
  const auto byte = [&](size_t k) { return static_cast<uint8_t>(s[k]); };
  const uint8_t lead = byte(i);
  if (lead < 0x80) return 1;
  const int n = (lead & 0xE0) == 0xC0 ? 2 : (lead & 0xF0) == 0xE0 ? 3 : (lead & 0xF8) == 0xF0 ? 4 : 0;
  if (n == 0 || s.size() - i < static_cast<size_t>(n)) return 0;
  uint32_t cp = lead & (0x7F >> n);
  for (int k = 1; k < n; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (byte(i + k) & 0x3F);
  }
  const bool shortest = EncodeUTF8(cp).size() == static_cast<size_t>(n);
  return shortest && cp <= 0x10FFFF && (cp < 0xD800 || cp > 0xDFFF) ? n : 0;
}

inline std::string ReferenceRepair(const std::string& in, const std::string& placeholder) {
  std::string out;
  for (size_t i = 0; i < in.size();) {
    const int n = ReferenceSequence(in, i);
    out += n > 0 ? in.substr(i, static_cast<size_t>(n)) : placeholder;
    i += n > 0 ? static_cast<size_t>(n) : 1;
  }
  return out;
}

// The prefix of tab, LF, CR, printable ASCII and well-formed multi-byte sequences.
inline int64_t ReferencePrefix(const std::string& in) {
  size_t i = 0;
  while (i < in.size()) {
    const auto b = static_cast<uint8_t>(in[i]);
    const bool printable = b == 9 || b == 10 || b == 13 || (b >= 32 && b <= 126);
    const int n = b < 0x80 ? (printable ? 1 : 0) : ReferenceSequence(in, i);
    if (n == 0) break;
    i += static_cast<size_t>(n);
  }
  return static_cast<int64_t>(i);
}

// The walk of the Unicode Consortium's reference converter, as the text buffer once ran it: the
// lead byte announces the trailing bytes, IsLegalUTF8 checks the sequence, the offsets table
// removes the marker bits; the marks U+FEFF and U+FFFE are left out; UTF-16 pairs the rest.
inline std::vector<uint32_t> ReferenceWideForm(const std::string& in, bool utf32) {
  static const uint32_t offsets[6] = {0x00000000, 0x00003080, 0x000E2080, 0x03C82080, 0xFA082080, 0x82082080};
  const auto trailing = [](uint8_t b) { return b < 0xC0 ? 0 : b < 0xE0 ? 1 : b < 0xF0 ? 2 : b < 0xF8 ? 3 : b < 0xFC ? 4 : 5; };
  std::vector<uint32_t> out;
  const auto* s = U8(in);
  const auto length = static_cast<int64_t>(in.size());
  for (int64_t i = 0; i < length;) {
    const int extra = trailing(s[i]);
    if (i + extra >= length || !zyl::IsLegalUTF8(s + i, static_cast<uint32_t>(extra + 1))) break;
    uint32_t c = 0;
    for (int k = 0; k <= extra; ++k) c = (c << 6) + s[i + k];
    c -= offsets[extra];
    i += extra + 1;
    if (c == 0xFEFF || c == 0xFFFE) continue;
    if (!utf32 && c >= 0x10000) {
      out.push_back(0xD800 + ((c - 0x10000) >> 10));
      out.push_back(0xDC00 + (c & 0x3FF));
    } else {
      out.push_back(c);
    }
  }
  return out;
}

// Valid text with sequences of every length, some at the edges of the well-formed rows.
inline const std::string kValidSample =
    "A\xC2\x80\xDF\xBF" "bc\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"
    "0123456789\xE2\x82\xAC\xF3\xA0\x80\x81z";

// Calls check with: random text (printable runs long enough for word-at-a-time paths, characters
// of every length and at range edges, controls, random bytes); kValidSample with each byte in
// turn replaced by each lead, continuation edge, ASCII and control byte; every prefix of it.
inline void ForEachInput(int randomRounds, const std::function<void(const std::string&)>& check) {
  static const uint32_t edges[] = {0x80, 0x7FF, 0x800, 0xD7FF, 0xE000, 0xFFFD, 0xFFFF, 0x10000, 0x10FFFF};
  std::mt19937 rng(20240611);
  for (int round = 0; round < randomRounds; ++round) {
    std::string in;
    for (int pieces = 1 + static_cast<int>(rng() % 40); pieces > 0; --pieces) {
      const uint32_t r = rng(), cp = rng() % 0x110000;
      switch (r % 6) {
        case 0: case 1: in.append(r % 23, static_cast<char>('a' + r % 26)); break;
        case 2: in += EncodeUTF8(edges[r % std::size(edges)]); break;
        case 3: in += EncodeUTF8(cp >= 0xD800 && cp <= 0xDFFF ? 0x20AC : cp); break;
        case 4: in += static_cast<char>(r % 32); break;
        default: in += static_cast<char>(r >> 8); break;
      }
    }
    check(in);
  }
  const uint8_t mutations[] = {0x00, 0x09, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0,
                               0xC1, 0xC2, 0xDF, 0xE0, 0xED, 0xEF, 0xF0, 0xF4, 0xF5, 0xFF};
  for (size_t at = 0; at < kValidSample.size(); ++at) {
    for (uint8_t b : mutations) {
      std::string in = kValidSample;
      in[at] = static_cast<char>(b);
      check(in);
    }
    check(kValidSample.substr(0, at));
  }
}

}  // namespace texttest
