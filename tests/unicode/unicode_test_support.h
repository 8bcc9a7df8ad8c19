// Helpers of the Unicode family's tests: the registered declarations, calls with UTF-16 text, and
// two independent references: Unicode's own NormalizationTest.txt (read at test time) for the
// decompositions, and the accent table written out from its ranges and rule.
#pragma once

#include <memhost.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace unicodetest {

inline constexpr const char* kCompose = "ConvertUnicodeToCharacterCompositionZYL(text as string) as string";
inline constexpr const char* kDecompose = "ConvertUnicodeToCharacterDecompositionZYL(text as string) as string";
inline constexpr const char* kRemoveAccents =
    "RemoveAccentsZYL(text as string, IgnoreCase as boolean = false) as string";

using Units = std::u16string;

// Calls a one-string method with the units as a UTF-16 host string (nil for nullopt) and gives the
// result as UTF-16 units, or nullopt for nil. The result's encoding is checked to be UTF-8 (current
// hosts) or UTF-16 (hosts before 2012).
std::optional<Units> CallUnits(const char* declaration, const std::optional<Units>& text);
std::optional<Units> RemoveAccents(const std::optional<Units>& text, bool ignoreCase);

// The UTF-16 units of code points.
Units ToUnits(const std::u32string& codePoints);

// Unicode's canonical decomposition (form D) of one BMP code point, as UTF-16 units, from
// NormalizationTest.txt: a code point that the file's character-by-character part does not list
// is its own decomposition. Fails the test when the file cannot be read.
Units ReferenceNFD(uint16_t codePoint);
// The first code point of the compatibility decomposition (form KD) of one BMP code point.
char32_t ReferenceNFKDFirst(uint16_t codePoint);

// The accent table after load, from its ranges, its rule and its hand-mapped exceptions.
bool InAccentRanges(uint16_t unit);
uint16_t ReferenceAccentEntry(uint16_t unit);

// "XXXX" in hexadecimal, for messages.
std::string Hex(uint32_t value);
std::string Hex(const Units& units);

}  // namespace unicodetest
