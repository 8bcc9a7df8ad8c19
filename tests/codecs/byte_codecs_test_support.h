// Helpers of the byte codecs' tests: the registered declarations, calls that read a result back
// as bytes (nullopt for nil), and random inputs that hold every byte value.
#pragma once

#include <memhost.h>

#include <cstdint>
#include <optional>
#include <random>
#include <string>

#include "text/text_test_support.h"

namespace bytecodecs {

inline constexpr const char* kToQP = "EncodingToQuotedPrintableZYL(s as string, LineLen as integer = 72) as string";
inline constexpr const char* kFromQP = "DecodingFromQuotedPrintableZYL(s as string) as string";
inline constexpr const char* kSubject = "EncodeEmailSubjectZYL(s as string) as string";
inline constexpr const char* kToHex = "EncodingToHexZYL(s as string) as string";
inline constexpr const char* kFromHex = "DecodingFromHexZYL(s as string) as string";
inline constexpr const char* kHexDump =
    "HexstringZYL(input as string, hexlen as integer, linelen as integer, linestart as string, lineend as "
    "string, spacer as string,filler as string) as string";
inline constexpr const char* kYDecodeString = "_yDecodeStringZYL(data as string) as string";
inline constexpr const char* kYDecodeMemory = "_yDecodeMemoryZYL(data as memoryblock) as memoryblock";
inline constexpr const char* kDetectMarkers = "DetectUnicodeMarkersZYL(s as string) as integer";
inline constexpr const char* kGetMarkers = "GetUnicodeMarkersZYL(kind as integer) as string";

inline constexpr auto* kNilString = static_cast<REALstringStruct*>(nullptr);

using texttest::Take;

// The bytes of a call's string result with one string argument (and more when given).
template <class... More>
std::optional<std::string> CallBytes(const char* declaration, const std::string& bytes, More... more) {
  memhost::String s(bytes, memhost::kNoEncoding);
  const auto value = Take(memhost::Call<REALstringStruct*>(declaration, s.get(), more...));
  return value ? std::optional<std::string>(value->bytes) : std::nullopt;
}

using texttest::AllBytes;

// Random bytes of random length below maxLength, drawn from all 256 values or, to make runs and
// escapes likely, from a few bytes the codecs treat specially.
inline std::string RandomBytes(std::mt19937& rng, size_t maxLength, const std::string& favourites = "") {
  std::string s(rng() % maxLength, '\0');
  for (char& c : s) {
    const uint32_t r = rng();
    c = !favourites.empty() && r % 3 == 0 ? favourites[(r >> 8) % favourites.size()] : static_cast<char>(r >> 16);
  }
  return s;
}

}  // namespace bytecodecs
