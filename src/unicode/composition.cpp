// Canonical decomposition and composition by table, and accent removal: the three registered
// methods of the Unicode family. Each works on the UTF-16 units of the text and builds its result
// from UTF-16.
#include <vector>

#include "plugin/builders.h"
#include "plugin/guard.h"
#include "plugin/log.h"
#include "text/text.h"
#include "unicode/tables.h"
#include "unicode/unicode.h"

namespace zyl {

namespace {

// The units as a new host string (nil when there are none).
REALstringStruct* BuildFromUnits(const std::vector<uint16_t>& units) {
  return REALBuildUnicodeString(units.data(), static_cast<int64_t>(units.size()) * 2, kEncodingUTF16);
}

// Appends each byte of the zero-terminated ASCII text as one unit.
void AddText(std::vector<uint16_t>& output, const char* text) {
  for (; *text != 0; ++text) output.push_back(static_cast<uint8_t>(*text));
}

// The ASCII text that accent removal writes for a fraction or an ae ligature, else nil.
const char* SpelledOut(uint16_t unit) {
  switch (unit) {
    case 0x00BC: return "1/4";
    case 0x00BD: return "1/2";
    case 0x00BE: return "3/4";
    case 0x00C6: return "AE";
    case 0x00E6: return "ae";
    case 0x2150: return "1/7";
    case 0x2151: return "1/9";
    case 0x2152: return "1/10";
    case 0x2153: return "1/3";
    case 0x2154: return "2/3";
    case 0x2155: return "1/5";
    case 0x2156: return "2/5";
    case 0x2157: return "3/5";
    case 0x2158: return "4/5";
    case 0x2159: return "1/6";
    case 0x215A: return "5/6";
    case 0x215B: return "1/8";
    case 0x215C: return "3/8";
    case 0x215D: return "5/8";
    case 0x215E: return "7/8";
    case 0x2189: return "0/3";
    default: return nullptr;
  }
}

constexpr uint16_t kFirstDecomposable = 0xC0;  // no unit below it has a row
constexpr size_t kCompositionReserve = 100000;  // units, whatever the text's length

}  // namespace

REALstringStruct* ConvertUnicodeToCharacterDecompositionZYL(REALstringStruct* text) {
  const bool logging = DebuggingEnabled.load(std::memory_order_relaxed);
  if (logging) LogMessage("ConvertUnicodeToCharacterDecompositionZYL");
  rbText source(text);
  const uint16_t* units = source.GetUTF16();
  const int64_t count = source.LengthUTF16();
  std::vector<uint16_t> output;
  output.reserve(static_cast<size_t>(count) + 1000);
  for (int64_t i = 0; i < count; ++i) {
    const uint16_t unit = units[i];
    const int64_t row = unit < kFirstDecomposable ? -1 : FindCompositionRow(unit);
    if (row < 0) {
      output.push_back(unit);
      continue;
    }
    for (const uint16_t* decomposition = &compositions[row][1]; *decomposition != 0; ++decomposition) {
      output.push_back(*decomposition);
    }
  }
  if (logging) LogMessage("outsize", static_cast<int64_t>(output.size()));
  return BuildFromUnits(output);
}

REALstringStruct* ConvertUnicodeToCharacterCompositionZYL(REALstringStruct* text) {
  const bool logging = DebuggingEnabled.load(std::memory_order_relaxed);
  if (logging) LogMessage("ConvertUnicodeToCharacterCompositionZYL");
  InitCharsWhoCanBeCompositionLookupTable();
  const uint8_t* canStart = CharsWhoCanBeCompositionLookupTable.load(std::memory_order_acquire);
  if (canStart == nullptr) {
    RaiseException("OutOfMemoryException", "Failed to allocate lookup table.", kEncodingASCII, 0);
    return nullptr;
  }
  if (logging) LogMessage("count compositions", kCompositionCount);
  rbText source(text);
  const uint16_t* units = source.GetUTF16();
  const int64_t count = source.LengthUTF16();
  std::vector<uint16_t> output;
  output.reserve(kCompositionReserve);
  for (int64_t p = 0; p < count;) {
    const uint16_t unit = units[p];
    if (canStart[unit] != 0) {
      if (logging) LogMessage("findCompositionInText", static_cast<int32_t>(unit));
      const int64_t row = FindFirstDecompositionAt(units + p, count - p);
      if (row >= 0) {
        output.push_back(compositions[row][0]);
        p += DecompositionLength(row);
        continue;
      }
    }
    output.push_back(unit);
    ++p;
  }
  if (logging) LogMessage("outsize", static_cast<int64_t>(output.size()));
  return BuildFromUnits(output);
}

REALstringStruct* RemoveAccentsZYL(REALstringStruct* text, int8_t IgnoreCase) {
  rbText source(text);
  const uint16_t* units = source.GetUTF16();
  const int64_t count = source.LengthUTF16();
  if (count < 1) return nullptr;
  std::vector<uint16_t> output;
  output.reserve(static_cast<size_t>(count) + 1000);
  for (int64_t i = 0; i < count; ++i) {
    const uint16_t unit = units[i];
    if (unit >= 0x0300 && unit <= 0x036F) continue;  // combining diacritical marks
    const char* spelled = SpelledOut(unit);
    if (spelled != nullptr) {
      AddText(output, spelled);
    } else {
      output.push_back(lookupTableS[unit]);
    }
  }
  if (IgnoreCase != 0) {
    for (uint16_t& unit : output) {
      if (unit >= 'a' && unit <= 'z') unit = static_cast<uint16_t>(unit - 32);
    }
  }
  return BuildFromUnits(output);
}

}  // namespace zyl
