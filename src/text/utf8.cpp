// UTF-8 validation: the reference sequence test, the repair behind "CheckUTF8ZYL", the
// valid-prefix scanner, and the ASCII tests behind "IsASCIIStringZYL".
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "plugin/builders.h"
#include "plugin/memory.h"
#include "plugin/output_buffer.h"
#include "text/text.h"
#include "text/utf8_scan.h"
#include "text/words.h"

namespace zyl {

namespace {

// Where rejected bytes come thick (binary data), from the rejected byte at i: each byte goes out
// as itself (ASCII), with its sequence (a well-formed one) or as the placeholder, a placeholder of
// up to four bytes being one store and a step that depends on the byte without a branch (half of
// binary data is ASCII, and a branch on that guesses wrong every other byte). Stops after a
// stretch of kLongStretch well-formed bytes (written like the rest) or at the end, and returns
// where it stopped, a sequence boundary: the block scanner takes over there.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);
int64_t RepairDense(const uint8_t* input, int64_t size, int64_t i, OutputBuffer<uint8_t>& out, uint32_t placeholder,
                    int placeholderLength) {
  constexpr int64_t kLongStretch = 8, kChunk = 1024;
  int64_t stretch = 0;  // well-formed bytes since the last rejected one
  while (i < size) {
    const int64_t chunkEnd = std::min(size, i + kChunk);
    uint8_t* cursor = out.Room((chunkEnd - i) * 4 + 4);  // at most four bytes out per byte in
    while (i < chunkEnd) {
      const uint8_t b = input[i];
      if (b >= 0xC2 && b <= 0xF4) {
        const int length = WellFormedLength(input + i, size - i);
        if (length != 0) {
          memcpy(cursor, input + i, static_cast<size_t>(length));
          cursor += length;
          i += length;
          stretch += length;
          if (stretch >= kLongStretch) break;
          continue;
        }
      }
      const bool ascii = b < 0x80;
      const uint32_t word = ascii ? b : placeholder;  // b is the first byte stored (little-endian)
      memcpy(cursor, &word, sizeof word);
      cursor += ascii ? 1 : placeholderLength;
      ++i;
      stretch = ascii ? stretch + 1 : 0;
      if (stretch >= kLongStretch) break;
    }
    out.SetCursor(cursor);
    if (stretch >= kLongStretch) break;
  }
  return i;
}

// The repair shared by the three forms of "CheckUTF8ZYL": each stretch of well-formed sequences
// goes out whole, each rejected byte as one placeholder. Input that is well-formed throughout is
// handed to the host as it is, without a private copy.
REALstringStruct* RepairUTF8(const uint8_t* input, int64_t size, REALstringStruct* placeholder) {
  if (input == nullptr || size < 1) return nullptr;
  if (size > INT64_MAX - 4096) throw std::bad_alloc();

  int64_t valid = WellFormedPrefix(input, size);
  if (valid == size) return REALBuildUnicodeString(input, size, kEncodingUTF8);
  // The placeholder is read only for input that needs it.
  rbText placeholderText(placeholder);
  const uint8_t* replacement = placeholderText.GetUTF8Bytes();
  const int64_t replacementLength = placeholderText.LengthUTF8();
  uint32_t replacementWord = 0;
  if (replacementLength <= 4) memcpy(&replacementWord, replacement, static_cast<size_t>(replacementLength));
  OutputBuffer<uint8_t> out(size + std::min<int64_t>(size, 4096));
  for (int64_t i = 0;;) {
    out.Append(input + i, valid);
    i += valid;
    if (i >= size) break;
    if (replacementLength <= 4) {
      i = RepairDense(input, size, i, out, replacementWord, static_cast<int>(replacementLength));
    } else {
      out.Append(replacement, replacementLength);
      ++i;
    }
    valid = WellFormedPrefix(input + i, size - i);
  }
  return REALBuildUnicodeString(out.Data(), out.Length(), kEncodingUTF8);
}

bool AllBytesIn(const rbData& view, uint8_t low, uint8_t high) {
  const uint8_t* p = view.Data();
  for (int64_t i = 0; i < view.Size(); ++i) {
    if (p[i] < low || p[i] > high) return false;
  }
  return true;
}

}  // namespace

// The reference converter's test; it trusts that length is the one the lead byte announces.
bool IsLegalUTF8(const uint8_t* source, uint32_t length) {
  if (length < 1 || length > 4) return false;
  const uint8_t lead = source[0];
  for (uint32_t k = length - 1; k >= 1; --k) {
    const uint8_t b = source[k];
    if (b < 0x80 || b > 0xBF) return false;
    if (k == 1) {
      if (lead == 0xE0 && b < 0xA0) return false;
      if (lead == 0xED && b > 0x9F) return false;
      if (lead == 0xF0 && b < 0x90) return false;
      if (lead == 0xF4 && b > 0x8F) return false;
    }
  }
  if (lead >= 0x80 && lead < 0xC2) return false;
  return lead <= 0xF4;
}

int64_t CheckUTF8(const void* data, int64_t size) {
  if (data == nullptr || size < 1) return 0;
  const auto* p = static_cast<const uint8_t*>(data);
  int64_t i = 0;
  while (i < size) {
    while (i + 8 <= size) {
      const uint64_t word = Load8(p + i);
      if (HasByteBelow(word, 0x20) || HasByteAbove(word, 0x7E)) break;
      i += 8;
    }
    if (i >= size) break;
    const uint8_t b = p[i];
    if (b < 0x80) {
      if (b == 9 || b == 10 || b == 13 || (b >= 32 && b <= 126)) {
        ++i;
        continue;
      }
      return i;
    }
    const int sequence = WellFormedLength(p + i, size - i);
    if (sequence == 0) return i;
    i += sequence;
  }
  return size;
}

bool IsSpaceOnly(const void* data, int64_t size) {
  if (data == nullptr || size < 1) return true;
  const auto* p = static_cast<const uint8_t*>(data);
  for (int64_t i = 0; i < size; ++i) {
    if (p[i] > 32) return false;
  }
  return true;
}

REALstringStruct* CheckUTF8p(void* data, int64_t size, REALstringStruct* placeholder) {
  return RepairUTF8(static_cast<const uint8_t*>(data), size, placeholder);
}

REALstringStruct* CheckUTF8m(REALmemoryBlockStruct* block, REALstringStruct* placeholder) {
  rbData view(block, 0, 0);
  return RepairUTF8(view.Data(), view.Size(), placeholder);
}

REALstringStruct* CheckUTF8s(REALstringStruct* data, REALstringStruct* placeholder) {
  rbData view(data);
  return RepairUTF8(view.Data(), view.Size(), placeholder);
}

int8_t IsASCIIString1(REALstringStruct* s) { return IsASCIIString2(s, 0); }

int8_t IsASCIIString2(REALstringStruct* s, int64_t mode) {
  if (s == nullptr) return 1;
  rbData view(s);
  if (view.Empty()) return 0;  // deliberately false, unlike nil: existing callers expect it
  switch (mode) {
    case 0:
      return IsASCIIText(view) ? 1 : 0;
    case 1:
      return AllBytesIn(view, 32, 127) ? 1 : 0;
    case 2:
      return AllBytesIn(view, 32, 255) ? 1 : 0;
    default:
      return 0;
  }
}

}  // namespace zyl
