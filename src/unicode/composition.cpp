// Canonical decomposition and composition by table, and accent removal: the three registered
// methods of the Unicode family. Each works on the UTF-16 units of the text and builds its result
// from UTF-16.
#include <algorithm>
#include <cstring>
#include <memory>

#include "plugin/builders.h"
#include "plugin/guard.h"
#include "plugin/log.h"
#include "plugin/output_buffer.h"
#include "text/text.h"
#include "text/utf8_scan.h"
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

// Text tagged UTF-8 or ASCII is read from its UTF-8 where it stands, and the result written as
// UTF-8 for the host, when that gives the bytes of the UTF-16 way: the host builds results from
// UTF-16 as the UTF-8 of their units, the wide form is the well-formed prefix without U+FEFF and
// U+FFFE, and no result can pass the host's length limit (8 bytes of UTF-16 per input byte at
// most). The UTF-16 way stays for other text, older hosts and debugging (its log lines).
bool WorksOnUTF8(rbText& source, bool logging) {
  return !logging && source.WideFormsComeFromUTF8() && HostConvertsUnicodeResultsToUTF8() &&
         source.LengthUTF8() <= kMaxHostLength / 8;
}

constexpr int64_t kUTF8Block = 4096;  // input bytes per reservation of output

inline bool LeftOutOfWideForms(uint32_t c) { return c == 0xFEFF || c == 0xFFFE; }

// The character at in[i] (well-formed, i < n): its code point and length.
inline uint32_t CharacterAt(const uint8_t* in, int64_t i, int* length) {
  if (in[i] < 0x80) {
    *length = 1;
    return in[i];
  }
  return DecodeWellFormedSequence(in + i, length);
}

// Copies the length bytes of the character at in[i] (n bytes are readable at in). Four bytes at
// once where four are there: the output has room for them.
inline void CopyCharacter(uint8_t*& out, const uint8_t* in, int64_t i, int64_t n, int length) {
  if (n - i >= 4) {
    memcpy(out, in + i, 4);
  } else {
    for (int k = 0; k < length; ++k) out[k] = in[i + k];
  }
  out += length;
}

// Writes a row's decomposition as UTF-8. A few rows decompose to a character beyond U+FFFF, a
// surrogate pair in the row.
inline uint8_t* PutDecompositionUTF8(uint8_t* out, int64_t row) {
  const uint16_t* units = &compositions[row][1];
  for (int k = 0; k < kLongestDecomposition && units[k] != 0; ++k) {
    if (units[k] >= 0xD800 && units[k] <= 0xDBFF) {
      out = PutUTF8(out, 0x10000 + ((units[k] - 0xD800u) << 10) + (units[k + 1] - 0xDC00u));
      ++k;
    } else {
      out = PutUTF8(out, units[k]);
    }
  }
  return out;
}

// Hangul: a leading consonant and a vowel always compose to their syllable, the first row of
// their group (its code point is the smallest) and a whole match, whatever follows; a syllable's
// row holds its leading consonant, its vowel and its final consonant when it has one. The tests
// hold both against the UTF-16 way, which searches the table.
constexpr uint32_t kLeadingFirst = 0x1100, kLeadingLast = 0x1112, kVowelFirst = 0x1161, kVowelLast = 0x1175;
constexpr uint32_t kBeforeFinals = 0x11A7, kVowelCount = 21, kFinalCount = 28;
// Their UTF-8 forms, which the composer tests byte by byte: E1 84 80-92 and E1 85 A1-B5.
static_assert(kLeadingLast - kLeadingFirst == 0x92 - 0x80 && kVowelLast - kVowelFirst == 0xB5 - 0xA1);
inline uint16_t HangulSyllable(uint32_t leading, uint32_t vowel) {
  const uint32_t index = ((leading - kLeadingFirst) * kVowelCount + (vowel - kVowelFirst)) * kFinalCount;
  return static_cast<uint16_t>(kHangulFirst + index);
}
inline uint8_t* PutHangulDecompositionUTF8(uint8_t* out, uint32_t syllable) {
  const uint32_t index = syllable - kHangulFirst, final = index % kFinalCount;
  out = PutUTF8(out, kLeadingFirst + index / (kVowelCount * kFinalCount));
  out = PutUTF8(out, kVowelFirst + index / kFinalCount % kVowelCount);
  return final != 0 ? PutUTF8(out, kBeforeFinals + final) : out;
}

// Decomposition over UTF-8: each character of the well-formed prefix as the UTF-16 way writes its
// unit (each multi-byte sequence is checked where it is read; the first that is not well-formed
// ends the text). A character beyond U+FFFF stands for two surrogate units, which have no row:
// its four bytes stay. At most 12 bytes come of one character of 2 (four units of up to 3 bytes).
REALstringStruct* DecomposeUTF8(rbText& source) {
  const uint8_t* const in = source.GetUTF8Bytes();
  int64_t n = source.LengthUTF8();  // until a sequence that is not well-formed ends the text
  OutputBuffer<uint8_t> output(n + n / 8 + std::min(n, kUTF8Block) * 6 + 64);
  for (int64_t i = 0; i < n;) {
    const int64_t end = std::min(n, i + kUTF8Block);
    uint8_t* out = output.Room((end - i) * 6 + 64);
    uint8_t* const start = out;
    while (i < end) {
      if (in[i] < 0x80) {  // ASCII stays, 16 bytes at a time
        if (i + 16 <= n) {
          const vec16::V8 v = vec16::Load16(in + i);
          memcpy(out, &v, sizeof v);
          const int ascii = vec16::AsciiPrefix(v);
          i += ascii;
          out += ascii;
        } else {
          *out++ = in[i++];
        }
        continue;
      }
      if (WellFormedLengthAt(in, i, n) == 0) {
        n = i;
        break;
      }
      int length = 0;
      const uint32_t c = DecodeWellFormedSequence(in + i, &length);
      if (c >= kHangulFirst && c <= kHangulLast) {
        out = PutHangulDecompositionUTF8(out, c);
        i += length;
        continue;
      }
      const int64_t row = c < 0x10000 ? CompositionRowOf(static_cast<uint16_t>(c)) : -1;
      if (row >= 0) {
        out = PutDecompositionUTF8(out, row);
      } else if (!LeftOutOfWideForms(c)) {
        CopyCharacter(out, in, i, n, length);
      }
      i += length;
    }
    output.Advance(out - start);
  }
  return REALBuildUnicodeString(output.Data(), output.Length(), kEncodingUTF8);
}

// The first units of the text from in[i] on, as the UTF-16 form has them, for the composer: up
// to four (the longest decomposition), each with the input offset after it (-1 after the first
// unit of a surrogate pair, inside its character: no decomposition ends there, as none ends in
// a lone high surrogate).
struct Window {
  uint16_t units[kLongestDecomposition + 1];  // a pair may take the last place and one more
  int64_t ends[kLongestDecomposition + 1];
  int count = 0;
};

inline void ExtendWindow(Window& w, const uint8_t* in, int64_t n, int64_t& j, int upTo) {
  while (w.count < upTo && j < n) {
    if (in[j] >= 0x80 && WellFormedLengthAt(in, j, n) == 0) break;  // the text ends there
    int length = 0;
    const uint32_t c = CharacterAt(in, j, &length);
    j += length;
    if (LeftOutOfWideForms(c)) continue;
    if (c >= 0x10000) {
      w.units[w.count] = static_cast<uint16_t>(0xD800 + ((c - 0x10000) >> 10));
      w.ends[w.count++] = -1;
      w.units[w.count] = static_cast<uint16_t>(0xDC00 + (c & 0x3FF));
    } else {
      w.units[w.count] = static_cast<uint16_t>(c);
    }
    w.ends[w.count++] = j;
  }
}

// Composition over UTF-8: the UTF-16 way's walk, unit by unit over the well-formed prefix (each
// multi-byte sequence is checked where the walk or a window reads it; the first that is not
// well-formed ends the text). A character that no composition can start with, or one followed by
// ASCII (no second unit of a decomposition is below U+0300), stays as its bytes. A composed
// character takes at most 3 bytes for at least 2, so the output never needs more than twice a
// block's input.
REALstringStruct* ComposeUTF8(rbText& source, const uint8_t* canStart) {
  const uint8_t* const in = source.GetUTF8Bytes();
  int64_t n = source.LengthUTF8();  // until a sequence that is not well-formed ends the text
  OutputBuffer<uint8_t> output(n + std::min(n, kUTF8Block) * 2 + 64);
  for (int64_t i = 0; i < n;) {
    const int64_t end = std::min(n, i + kUTF8Block);
    uint8_t* out = output.Room((end - i) * 2 + 64);
    uint8_t* const start = out;
    while (i < end) {
      if (in[i] < 0x80 && i + 16 < n) {
        // ASCII followed by ASCII stays: 16 bytes at a time, all but the last of a run.
        const vec16::V8 v = vec16::Load16(in + i);
        memcpy(out, &v, sizeof v);
        int ascii = vec16::AsciiPrefix(v);
        if (ascii == 16 && in[i + 16] < 0x80) {
          i += 16;
          out += 16;
          continue;
        }
        if (ascii > 1) {
          --ascii;
          i += ascii;
          out += ascii;
          continue;
        }
      }
      // A leading consonant right before a vowel (E1 84 80-92, E1 85 A1-B5): their syllable.
      if (in[i] == 0xE1 && n - i >= 6 && in[i + 1] == 0x84 && in[i + 2] <= 0x92 && in[i + 3] == 0xE1 &&
          in[i + 4] == 0x85 && in[i + 5] >= 0xA1 && in[i + 5] <= 0xB5) {
        out = PutUTF8(out, HangulSyllable(kLeadingFirst + (in[i + 2] - 0x80u), kVowelFirst + (in[i + 5] - 0xA1u)));
        i += 6;
        continue;
      }
      if (in[i] >= 0x80 && WellFormedLengthAt(in, i, n) == 0) {
        n = i;
        break;
      }
      int length = 0;
      const uint32_t c = CharacterAt(in, i, &length);
      if (LeftOutOfWideForms(c)) {
        i += length;
        continue;
      }
      if (canStart[c < 0x10000 ? c : 0xD800 + ((c - 0x10000) >> 10)] != 0) {
        Window w;
        int64_t j = i;
        ExtendWindow(w, in, n, j, 2);
        if (w.count == 2 && w.units[1] >= compositionSmallestSecondUnit) {
          ExtendWindow(w, in, n, j, kLongestDecomposition);
          const int64_t row = FindFirstDecompositionAt(w.units, std::min<int64_t>(w.count, kLongestDecomposition));
          if (row >= 0) {
            out = PutUTF8(out, compositions[row][0]);
            i = w.ends[DecompositionLength(row) - 1];
            continue;
          }
        }
      }
      CopyCharacter(out, in, i, n, length);
      i += length;
    }
    output.Advance(out - start);
  }
  return REALBuildUnicodeString(output.Data(), output.Length(), kEncodingUTF8);
}

}  // namespace

REALstringStruct* ConvertUnicodeToCharacterDecompositionZYL(REALstringStruct* text) {
  const bool logging = DebuggingEnabled.load(std::memory_order_relaxed);
  if (logging) LogMessage("ConvertUnicodeToCharacterDecompositionZYL");
  rbText source(text);
  if (WorksOnUTF8(source, logging)) return DecomposeUTF8(source);
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
  if (WorksOnUTF8(source, logging)) return ComposeUTF8(source, canStart);
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
