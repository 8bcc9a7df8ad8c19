// Byte search and comparison: InStrBytesZYL, InStrByteRangeZYL, HasPrefixZYL, HasPostfixZYL,
// StrCompBytesZYL, StrCompCharactersZYL, CountOccurancesZYL and ContainsWholeWordZYL.
#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <memory>

#include "plugin/host_api.h"
#include "plugin/log.h"
#include "plugin/memory.h"
#include "strings/byte_set.h"
#include "strings/occurrences.h"
#include "strings/strings.h"
#include "text/text.h"
#include "text/words.h"

namespace zyl {

namespace {

// The 1-based position of the first byte of target in set, 0 when there is none.
int64_t FirstPositionIn(REALstringStruct* target, const ByteSet& set) {
  rbData view(target);
  if (view.Empty() || set.Count() == 0) return 0;
  const int64_t at = ByteSetScanner(set, view.Data(), view.Size()).Next(0);
  return at < view.Size() ? at + 1 : 0;
}

struct Range {
  int64_t first, last;
};

// The ranges, then (when find is not nil) the bytes of find.
int64_t FirstPositionInRanges(REALstringStruct* target, REALstringStruct* find, std::initializer_list<Range> ranges) {
  ByteSet set;
  for (const Range& range : ranges) set.AddRange(range.first, range.last);
  if (find != nullptr) {
    rbData bytes(find);
    set.AddBytes(bytes.Data(), bytes.Size());
  }
  return FirstPositionIn(target, set);
}

// -1, 0 or 1 by the first differing byte (unsigned) when each side is read as its bytes followed
// by zero bytes without end: the tail of the longer side is compared with zeros.
int64_t CompareZeroPadded(const uint8_t* a, int64_t aLength, const uint8_t* b, int64_t bLength) {
  const int64_t common = std::min(aLength, bLength);
  if (common > 0) {
    const int order = memcmp(a, b, static_cast<size_t>(common));
    if (order != 0) return order < 0 ? -1 : 1;
  }
  const uint8_t* longer = aLength > bLength ? a : b;
  const int64_t end = std::max(aLength, bLength);
  for (int64_t i = common; i < end; ++i) {
    if (longer[i] != 0) return aLength > bLength ? 1 : -1;
  }
  return 0;
}

uint8_t FoldASCII(uint8_t c) { return c >= 'A' && c <= 'Z' ? static_cast<uint8_t>(c + 32) : c; }

// FoldASCII on eight bytes at once: lanes from 'A' to 'Z' get bit 0x20.
uint64_t FoldASCII8(uint64_t word) {
  const uint64_t heptets = word & ~kHighBits;
  const uint64_t atLeastA = heptets + kOnes * (0x80 - 'A');
  const uint64_t aboveZ = heptets + kOnes * (0x80 - 'Z' - 1);
  return word | ((atLeastA & ~aboveZ & ~word & kHighBits) >> 2);
}

// Case-insensitive search of one word in one text (ASCII letters fold, every other byte is
// exact), by the C library's memmem over folded copies. The text is folded lazily in growing
// chunks, so an early hit costs little; a word without letters is searched in the text itself.
class FoldedSearch {
 public:
  FoldedSearch(const uint8_t* text, int64_t textLength, const uint8_t* word, int64_t wordLength)
      : text_(text), length_(textLength), wordLength_(wordLength), word_(NewScratchBytes(wordLength)) {
    bool letters = false;
    for (int64_t i = 0; i < wordLength; ++i) {
      word_[i] = FoldASCII(word[i]);
      letters |= IsWordChar(word[i]);
    }
    if (letters) {
      folded_ = NewScratchBytes(textLength);
    } else {
      foldedEnd_ = textLength;
    }
  }

  // Next: the offset of the first hit starting at or after from, -1 when there is none.
  int64_t Next(int64_t from) {
    const uint8_t* haystack = folded_ ? folded_.get() : text_;
    for (;;) {
      if (foldedEnd_ < std::min(length_, from + wordLength_)) Extend(from);
      if (foldedEnd_ - from >= wordLength_) {
        const void* hit = memmem(haystack + from, static_cast<size_t>(foldedEnd_ - from), word_.get(),
                                 static_cast<size_t>(wordLength_));
        if (hit != nullptr) return static_cast<const uint8_t*>(hit) - haystack;
      }
      if (foldedEnd_ == length_) return -1;
      // No hit in the folded part: only its last wordLength - 1 bytes may begin one.
      from = std::max(from, foldedEnd_ - wordLength_ + 1);
      Extend(from);
    }
  }

 private:
  // Folds at least up to from + wordLength, at least twice the chunk before and 64 KiB.
  void Extend(int64_t from) {
    chunk_ = std::max({chunk_ * 2, wordLength_ * 2, int64_t{1} << 16});
    const int64_t end = std::min(length_, std::max(foldedEnd_, from) + chunk_);
    int64_t i = foldedEnd_;
    for (; end - i >= 8; i += 8) {
      const uint64_t word = FoldASCII8(Load8(text_ + i));
      memcpy(folded_.get() + i, &word, sizeof word);
    }
    for (; i < end; ++i) folded_[i] = FoldASCII(text_[i]);
    foldedEnd_ = end;
  }

  const uint8_t* text_;
  int64_t length_;
  int64_t wordLength_;
  ScratchBytes word_;
  ScratchBytes folded_;
  int64_t foldedEnd_ = 0;
  int64_t chunk_ = 0;
};

// HasPrefixZYL and HasPostfixZYL: the affix compared with the text's start or end.
int8_t HasAffix(REALstringStruct* text, REALstringStruct* affix, bool atEnd) {
  if (text == nullptr || affix == nullptr) return 0;
  rbText t(text), a(affix);
  const int64_t textLength = t.LengthUTF8(), affixLength = a.LengthUTF8();
  if (affixLength > textLength) return 0;
  const uint8_t* start = t.GetUTF8Bytes() + (atEnd ? textLength - affixLength : 0);
  return memcmp(start, a.GetUTF8Bytes(), static_cast<size_t>(affixLength)) == 0 ? 1 : 0;
}

}  // namespace

bool IsWordChar(int c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

int64_t InStrBytesZYL(REALstringStruct* target, REALstringStruct* find) {
  rbData bytes(find);
  ByteSet set;
  set.AddBytes(bytes.Data(), bytes.Size());
  return FirstPositionIn(target, set);
}

int64_t InStrByteRange1ZYL(REALstringStruct* target, int64_t start1, int64_t end1) {
  return FirstPositionInRanges(target, nullptr, {{start1, end1}});
}

int64_t InStrByteRange2ZYL(REALstringStruct* target, int64_t start1, int64_t end1, int64_t start2, int64_t end2) {
  return FirstPositionInRanges(target, nullptr, {{start1, end1}, {start2, end2}});
}

int64_t InStrByteRange3ZYL(REALstringStruct* target, int64_t start1, int64_t end1, int64_t start2, int64_t end2,
                           int64_t start3, int64_t end3) {
  return FirstPositionInRanges(target, nullptr, {{start1, end1}, {start2, end2}, {start3, end3}});
}

int64_t InStrByteRange1BZYL(REALstringStruct* target, REALstringStruct* find, int64_t start1, int64_t end1) {
  return FirstPositionInRanges(target, find, {{start1, end1}});
}

int64_t InStrByteRange2BZYL(REALstringStruct* target, REALstringStruct* find, int64_t start1, int64_t end1,
                            int64_t start2, int64_t end2) {
  return FirstPositionInRanges(target, find, {{start1, end1}, {start2, end2}});
}

int64_t InStrByteRange3BZYL(REALstringStruct* target, REALstringStruct* find, int64_t start1, int64_t end1,
                            int64_t start2, int64_t end2, int64_t start3, int64_t end3) {
  return FirstPositionInRanges(target, find, {{start1, end1}, {start2, end2}, {start3, end3}});
}

int8_t HasPrefixZYL(REALstringStruct* text, REALstringStruct* prefix) { return HasAffix(text, prefix, false); }

int8_t HasPostfixZYL(REALstringStruct* text, REALstringStruct* prefix) { return HasAffix(text, prefix, true); }

int64_t StrCompBytesZYL(REALstringStruct* a, REALstringStruct* b) {
  rbData left(a), right(b);
  if (left.Data() == nullptr) return -1;
  if (right.Data() == nullptr) return 1;
  return CompareZeroPadded(left.Data(), left.Size(), right.Data(), right.Size());
}

// Reading the terminators along (length + 1 bytes, or length b + 2 when a is the shorter UTF-8
// form) reads nothing but zeros past either text, so every variant is the zero-padded comparison.
// A nil string counts as one without encoding; the host is never asked about nil.
int64_t StrCompCharsZYL(REALstringStruct* a, REALstringStruct* b) {
  const uint32_t aEncoding = a != nullptr ? REALGetStringEncoding(a) : kEncodingNone;
  const uint32_t bEncoding = b != nullptr ? REALGetStringEncoding(b) : kEncodingNone;
  if (aEncoding == bEncoding) {
    rbData left(a), right(b);
    if (left.Data() == nullptr || right.Data() == nullptr) return -1;
    return CompareZeroPadded(left.Data(), left.Size(), right.Data(), right.Size());
  }
  rbText left(a), right(b);
  return CompareZeroPadded(left.GetUTF8Bytes(), left.LengthUTF8(), right.GetUTF8Bytes(), right.LengthUTF8());
}

int64_t CountOccurancesZYL(REALstringStruct* s, REALstringStruct* find) {
  if (find == nullptr) return 0;
  rbData needle(find), haystack(s);
  const int64_t size = haystack.Size(), findSize = needle.Size();
  if (needle.Data() == nullptr || haystack.Data() == nullptr || size == 0) return 0;
  if (findSize == 0 || findSize > size) return 0;
  const int64_t count = CountOccurrences(haystack.Data(), size, needle.Data(), findSize);
  if (DebuggingEnabled) LogMessage("ReplaceCount", count);
  return count;
}

int8_t ContainsWholeWordZYL(REALstringStruct* text, REALstringStruct* word) {
  if (text == nullptr || word == nullptr) return 0;
  rbText t(text), w(word);
  const int64_t textLength = t.LengthUTF8(), wordLength = w.LengthUTF8();
  if (wordLength > textLength || wordLength == 0) return 0;
  const uint8_t* bytes = t.GetUTF8Bytes();
  FoldedSearch search(bytes, textLength, w.GetUTF8Bytes(), wordLength);
  for (int64_t hit = search.Next(0); hit >= 0; hit = search.Next(hit + wordLength)) {
    const int64_t after = hit + wordLength;
    if (DebuggingEnabled) {
      LogMessage("position found", hit);
      if (hit > 0) LogMessage("posBefore", t.GetUTF8() + hit - 1);
      LogMessage("posAfter", t.GetUTF8() + after);
    }
    // The end of the text reads as its terminator, which is no word character.
    if ((hit == 0 || !IsWordChar(bytes[hit - 1])) && (after == textLength || !IsWordChar(bytes[after]))) return 1;
  }
  return 0;
}

}  // namespace zyl
