// Helpers of the tests of string construction, bitwise masks and similarity: the declarations as
// the host registers them, and calls that adopt their result.
#pragma once

#include <memhost.h>

#include <cstdint>
#include <optional>
#include <random>
#include <string>

namespace buildtest {

inline constexpr const char* kConcat2 = "ConcatBinaryStringsZYL(a as string, b as string) as string";
inline constexpr const char* kConcat3 = "ConcatBinaryStringsZYL(a as string, b as string, c as string) as string";
inline constexpr const char* kConcat4 =
    "ConcatBinaryStringsZYL(a as string, b as string, c as string, d as string) as string";
inline constexpr const char* kConcat5 =
    "ConcatBinaryStringsZYL(a as string, b as string, c as string, d as string, e as string) as string";
inline constexpr const char* kConcat6 =
    "ConcatBinaryStringsZYL(a as string, b as string, c as string, d as string, e as string, f as string) as string";
inline constexpr const char* kReplaceNonPrintable =
    "ReplaceNonPrintableCharactersZYL(s as string, replacevalue as integer=46) as string";
inline constexpr const char* kCreateString = "CreateStringZYL(Length as integer, Content as String) as string";
inline constexpr const char* kStr = "StrZYL(d as double) as string";
inline constexpr const char* kScientificStr = "ScientificStrZYL(d as double, digits as integer) as string";
inline constexpr const char* kClearStringContent = "ClearStringContentZYL(s as String) as Boolean";
inline constexpr const char* kRandomBytes = "RandomBytesStringZYL(Length as integer, ASCII as boolean=false) as string";
inline constexpr const char* kGetStringsPtr =
    "GetStringsFromDataZYL(data as ptr, size as Integer, MinLength as Integer = 0) as string()";
inline constexpr const char* kGetStringsBlock =
    "GetStringsFromDataZYL(data as MemoryBlock, MinLength as Integer = 0) as string()";
inline constexpr const char* kGetStringsString =
    "GetStringsFromDataZYL(data as String, MinLength as Integer = 0) as string()";
inline constexpr const char* kAND = "StringANDZYL(a as string,b as string) as string";
inline constexpr const char* kOR = "StringORZYL(a as string,b as string) as string";
inline constexpr const char* kXOR = "StringXORZYL(data as string, XorMask as string, MaskOffset as integer = 0) as string";
inline constexpr const char* kXOR2 =
    "StringXOR2ZYL(data as string, XorMask as string, MaskOffset as integer = 0) as string";
inline constexpr const char* kJaroWinkler = "JaroWinklerDistanceZYL(a as string, b as string) as double";
inline constexpr const char* kLevenshtein = "LevenshteinDistanceZYL(a as string, b as string) as double";

// Calls a method that returns a string and takes over the result's reference.
template <class... A>
memhost::String CallString(const char* declaration, A... args) {
  return memhost::String(memhost::Call<REALstringStruct*>(declaration, args...));
}

// A string result's bytes, nullopt for nil.
inline std::optional<std::string> BytesOrNil(const memhost::String& s) {
  if (s.get() == nullptr) return std::nullopt;
  return s.bytes();
}

inline std::string RandomBytes(std::mt19937& rng, size_t size) {
  std::string s(size, '\0');
  for (char& c : s) c = static_cast<char>(rng() & 0xFF);
  return s;
}

}  // namespace buildtest
