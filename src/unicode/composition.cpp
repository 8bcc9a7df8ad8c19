// Canonical decomposition and composition by table, and accent removal: the three registered
// methods of the Unicode family. Each works on the UTF-16 units of the text and builds its result
// from UTF-16.
#include <algorithm>
#include <cstring>
#include <memory>

#include "plugin/builders.h"
#include "plugin/guard.h"
#include "plugin/log.h"
#include "text/text.h"
#include "text/vector16.h"
#include "unicode/tables.h"
#include "unicode/unicode.h"

namespace zyl {

namespace {

// The result being written: units in a buffer sized once and grown only when a text needs more.
// It is not cleared first: only written units are read.
class UnitOutput {
 public:
  explicit UnitOutput(int64_t capacity)
      : units_(std::make_unique_for_overwrite<uint16_t[]>(static_cast<size_t>(capacity))), capacity_(capacity) {}

  // Where the next units go, with room for at least count of them; Advance says how many were
  // written there.
  uint16_t* Room(int64_t count) {
    if (capacity_ - size_ < count) Grow(count);
    return units_.get() + size_;
  }
  void Advance(int64_t count) { size_ += count; }

  uint16_t* begin() { return units_.get(); }
  uint16_t* end() { return units_.get() + size_; }
  int64_t Size() const { return size_; }

  // The units as a new host string built from UTF-16 (nil when there are none).
  REALstringStruct* Build() const { return REALBuildUnicodeString(units_.get(), size_ * 2, kEncodingUTF16); }

 private:
  void Grow(int64_t count) {
    const int64_t capacity = std::max(2 * capacity_, size_ + count);
    auto units = std::make_unique_for_overwrite<uint16_t[]>(static_cast<size_t>(capacity));
    if (size_ > 0) memcpy(units.get(), units_.get(), static_cast<size_t>(size_) * sizeof(uint16_t));
    units_ = std::move(units);
    capacity_ = capacity;
  }

  std::unique_ptr<uint16_t[]> units_;
  int64_t capacity_;
  int64_t size_ = 0;
};

// Runs fill over the text in blocks of at most kBlock units, each with room for maxPerUnit output
// units per input unit and a few more. fill(first, end, cursor) writes through cursor and returns
// where it stopped: at end, or up to three units past it (a match may run over the block's end).
// The cursor is a local, so the inner loops keep it in a register.
template <int64_t kBlock = 4096, typename Fill>
void WriteInBlocks(UnitOutput& output, int64_t count, int64_t maxPerUnit, Fill fill) {
  for (int64_t first = 0; first < count;) {
    const int64_t end = std::min(count, first + kBlock);
    uint16_t* const start = output.Room((end - first + 4) * maxPerUnit);
    uint16_t* cursor = start;
    first = fill(first, end, cursor);
    output.Advance(cursor - start);
  }
}

// Appends each byte of the zero-terminated ASCII text as one unit.
void AddText(uint16_t*& cursor, const char* text) {
  for (; *text != 0; ++text) *cursor++ = static_cast<uint8_t>(*text);
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
constexpr int64_t kLongestSpelledOut = 4;  // "1/10"

constexpr uint16_t kFirstDecomposable = 0xC0;     // no unit below it has a row
constexpr int64_t kCompositionReserve = 100000;   // units, whatever the text's length
constexpr int64_t kLongestDecomposition = 4;
constexpr int64_t kSearchBlock = 1024;  // units whose searches are gathered at once

// Whether any of the eight units at p is kFirstDecomposable or above.
inline bool AnyDecomposable(const uint16_t* p) {
  vec16::Units16x8 units;
  memcpy(&units, p, sizeof units);
  const vec16::Units16x8 at = units >= (vec16::Units16x8{} + kFirstDecomposable);
  const vec16::W64 w = reinterpret_cast<vec16::W64>(at);
  return (w[0] | w[1]) != 0;
}

// Writes the decomposition of the row, or unit itself for no row. All four decomposition places
// are copied: the row's zero padding makes that safe, and the length needs no branch on the row.
inline void WriteDecomposition(uint16_t*& cursor, uint16_t unit, int64_t row) {
  if (row < 0) {
    *cursor++ = unit;
    return;
  }
  memcpy(cursor, &compositions[row][1], kLongestDecomposition * sizeof(uint16_t));
  cursor += DecompositionLength(row);
}

}  // namespace

REALstringStruct* ConvertUnicodeToCharacterDecompositionZYL(REALstringStruct* text) {
  const bool logging = DebuggingEnabled.load(std::memory_order_relaxed);
  if (logging) LogMessage("ConvertUnicodeToCharacterDecompositionZYL");
  rbText source(text);
  const uint16_t* units = source.GetUTF16();
  const int64_t count = source.LengthUTF16();
  UnitOutput output(count + 1000);
  WriteInBlocks<kSearchBlock>(output, count, kLongestDecomposition, [&](int64_t first, int64_t end, uint16_t*& cursor) {
    // The block's units from the first decomposable one up, searched four side by side (the
    // searches are independent, so they fill each other's waits), then the block written out.
    uint16_t searched[kSearchBlock + 3];
    int64_t rows[kSearchBlock + 3];
    int64_t wanted = 0;
    for (int64_t i = first; i < end; ++i) {  // every unit is stored, the wanted ones kept
      if (i + 8 <= end && !AnyDecomposable(units + i)) {
        i += 7;
        continue;
      }
      searched[wanted] = units[i];
      wanted += units[i] >= kFirstDecomposable;
    }
    if (logging) {
      for (int64_t k = 0; k < wanted; ++k) rows[k] = FindCompositionRow(searched[k]);
    } else {
      for (int64_t k = wanted; k % 4 != 0; ++k) searched[k] = 0;  // a few more lanes, never read
      for (int64_t k = 0; k < wanted; k += 4) FindCompositionRowsQuietly<4>(searched + k, rows + k);
    }
    const uint16_t* const text = units;  // locals: the stores below cannot make them reload
    uint16_t* out = cursor;
    const int64_t* row = rows;
    for (int64_t i = first; i < end; ++i) {
      if (i + 8 <= end && !AnyDecomposable(text + i)) {  // eight units that stay as they are
        memcpy(out, text + i, 8 * sizeof(uint16_t));
        out += 8;
        i += 7;
        continue;
      }
      const uint16_t unit = text[i];
      if (unit < kFirstDecomposable) {
        *out++ = unit;
      } else {
        WriteDecomposition(out, unit, *row++);
      }
    }
    cursor = out;
    return end;
  });
  if (logging) LogMessage("outsize", output.Size());
  return output.Build();
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
  UnitOutput output(kCompositionReserve);
  WriteInBlocks(output, count, 1, [&](int64_t p, int64_t end, uint16_t*& cursor) {
    while (p < end) {
      const uint16_t unit = units[p];
      if (canStart[unit] != 0) {
        if (logging) LogMessage("findCompositionInText", static_cast<int32_t>(unit));
        // No row's second unit is below the smallest one: most letters end the look-up here.
        const bool secondCanFollow = p + 1 < count && units[p + 1] >= compositionSmallestSecondUnit;
        const int64_t row = secondCanFollow ? FindFirstDecompositionAt(units + p, count - p) : -1;
        if (row >= 0) {
          *cursor++ = compositions[row][0];
          p += DecompositionLength(row);
          continue;
        }
      }
      *cursor++ = unit;
      ++p;
    }
    return p;
  });
  if (logging) LogMessage("outsize", output.Size());
  return output.Build();
}

REALstringStruct* RemoveAccentsZYL(REALstringStruct* text, int8_t IgnoreCase) {
  rbText source(text);
  const uint16_t* units = source.GetUTF16();
  const int64_t count = source.LengthUTF16();
  if (count < 1) return nullptr;
  UnitOutput output(count + 1000);
  WriteInBlocks(output, count, kLongestSpelledOut, [&](int64_t i, int64_t end, uint16_t*& cursor) {
    for (; i < end; ++i) {
      const uint16_t unit = units[i];
      if (unit >= 0x0300 && unit <= 0x036F) continue;  // combining diacritical marks
      const char* spelled = unit < 0xBC ? nullptr : SpelledOut(unit);
      if (spelled != nullptr) {
        AddText(cursor, spelled);
      } else {
        *cursor++ = lookupTableS[unit];
      }
    }
    return i;
  });
  if (IgnoreCase != 0) {
    for (uint16_t& unit : output) {  // written without a branch, so that it vectorises
      unit = static_cast<uint16_t>(unit - (static_cast<uint16_t>(unit - 'a') < 26 ? 32 : 0));
    }
  }
  return output.Build();
}

}  // namespace zyl
