// Making new strings from bytes: concatenation, masking of unprintable bytes, repetition,
// number formatting, random bytes, readable strings in binary data, and wiping a string.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "plugin/builders.h"
#include "plugin/guard.h"
#include "plugin/host_api.h"
#include "plugin/log.h"
#include "plugin/memory.h"
#include "strings/strings.h"
#include "text/words.h"
#include "text/text.h"

namespace zyl {

namespace {

// Where the host keeps a string's bytes when they live inside its own record.
constexpr int64_t kInlineStringOffset = 42;

// The printable bytes 32-127 of the word kept, every other byte replaced. Exact per byte: the
// sum below never carries into the next byte.
uint64_t ReplaceNonPrintableWord(uint64_t word, uint64_t replacement) {
  const uint64_t atLeastSpace = (word & ~kHighBits) + kOnes * (0x80 - 0x20);
  const uint64_t printable = atLeastSpace & ~word & kHighBits;
  const uint64_t replaced = ((printable ^ kHighBits) >> 7) * 0xFF;
  return (word & ~replaced) | (replacement & replaced);
}

// Writes "%.99f" of d, trimmed as StrZYL promises, into buffer (500 bytes, zeroed).
void FormatStr(double d, char (&buffer)[500]) {
  int64_t length = snprintf(buffer, sizeof buffer, "%.99f", d);
  if (length < 0) length = 0;
  if (length > 499) length = 499;

  // A run of trailing zeros keeps one zero; deliberate, so 1.5 reads "1.50".
  if (length > 3) {
    while (length > 3 && buffer[length - 1] == '0' && buffer[length - 2] == '0') --length;
    buffer[length] = 0;
  }

  const char* point = static_cast<const char*>(memchr(buffer, '.', static_cast<size_t>(length)));
  if (point != nullptr) {
    const int64_t pointIndex = point - buffer;
    int64_t significant = 0;  // characters before the point that are not the digit zero
    for (int64_t i = 0; i < pointIndex; ++i) significant += buffer[i] != '0';
    if (significant > 14) {
      length = pointIndex;
    } else {
      int64_t first = pointIndex + 1;  // the first decimal that is not zero, or the terminator
      while (first < length && buffer[first] == '0') ++first;
      const int64_t last = first - significant + 14;
      if (last < length) length = buffer[last] == '.' ? last : last + 1;
    }
    buffer[length] = 0;
  }

  // A run of equal last characters keeps one; deliberate, so 0.3 (0.29999...) reads "0.29".
  if (length >= 4) {
    while (length > 3 && buffer[length - 1] == buffer[length - 2]) --length;
    buffer[length] = 0;
  }
}

}  // namespace

REALstringStruct* ConcatBinaryStringsZYL(REALstringStruct* a, REALstringStruct* b, REALstringStruct* c,
                                         REALstringStruct* d, REALstringStruct* e, REALstringStruct* f) {
  const rbData parts[] = {rbData(a), rbData(b), rbData(c), rbData(d), rbData(e), rbData(f)};
  int64_t total = 0;
  for (const rbData& part : parts) {
    total += part.Size();
    if (total > kMaxHostLength) return nullptr;
  }
  if (total == 0) return nullptr;
  ClearedBytes out = AllocateClearBytes(total);
  if (out == nullptr) return nullptr;
  int64_t written = 0;
  for (const rbData& part : parts) {
    if (part.Empty()) continue;
    memcpy(out.get() + written, part.Data(), static_cast<size_t>(part.Size()));
    written += part.Size();
  }
  return REALBuildUnicodeString(out.get(), total, kEncodingNone);
}

REALstringStruct* ConcatBinaryStringsZYL2(REALstringStruct* a, REALstringStruct* b) {
  return ConcatBinaryStringsZYL(a, b, nullptr, nullptr, nullptr, nullptr);
}
REALstringStruct* ConcatBinaryStringsZYL3(REALstringStruct* a, REALstringStruct* b, REALstringStruct* c) {
  return ConcatBinaryStringsZYL(a, b, c, nullptr, nullptr, nullptr);
}
REALstringStruct* ConcatBinaryStringsZYL4(REALstringStruct* a, REALstringStruct* b, REALstringStruct* c,
                                          REALstringStruct* d) {
  return ConcatBinaryStringsZYL(a, b, c, d, nullptr, nullptr);
}
REALstringStruct* ConcatBinaryStringsZYL5(REALstringStruct* a, REALstringStruct* b, REALstringStruct* c,
                                          REALstringStruct* d, REALstringStruct* e) {
  return ConcatBinaryStringsZYL(a, b, c, d, e, nullptr);
}
REALstringStruct* ConcatBinaryStringsZYL6(REALstringStruct* a, REALstringStruct* b, REALstringStruct* c,
                                          REALstringStruct* d, REALstringStruct* e, REALstringStruct* f) {
  return ConcatBinaryStringsZYL(a, b, c, d, e, f);
}

REALstringStruct* ReplaceNonPrintableCharactersZYL(REALstringStruct* s, int64_t replacevalue) {
  const rbData in(s);
  const int64_t size = in.Size();
  if (size == 0 || size > kMaxHostLength) return nullptr;
  ClearedBytes out = AllocateClearBytes(size);
  if (out == nullptr) return nullptr;
  const auto replacement = static_cast<uint8_t>(replacevalue & 0xFF);
  const uint8_t* bytes = in.Data();
  int64_t i = 0;
  for (; i + 8 <= size; i += 8) Store8(out.get() + i, ReplaceNonPrintableWord(Load8(bytes + i), kOnes * replacement));
  for (; i < size; ++i) out[i] = bytes[i] < 32 || bytes[i] > 127 ? replacement : bytes[i];
  return REALBuildUnicodeString(out.get(), size, kEncodingASCII);
}

REALstringStruct* CreateStringZYL(int64_t length, REALstringStruct* content) {
  if (length < 1) return nullptr;
  ClearedBytes out;
  if (length <= kMaxHostLength) out = AllocateClearBytes(length);
  if (out == nullptr) {
    RaiseException("OutOfMemoryException", "Failed to allocate memory.", kEncodingASCII, 0);
    return nullptr;
  }
  const rbData pattern(content);
  const int64_t n = pattern.Size();
  // An empty content, or a single zero byte, leaves the zeroed buffer as it is.
  if (n > 1 || (n == 1 && pattern.Data()[0] != 0)) {
    // One copy of the content, then the filled part copied onto what follows, doubling each time.
    int64_t filled = n < length ? n : length;
    memcpy(out.get(), pattern.Data(), static_cast<size_t>(filled));
    while (filled < length) {
      const int64_t step = filled < length - filled ? filled : length - filled;
      memcpy(out.get() + filled, out.get(), static_cast<size_t>(step));
      filled += step;
    }
  }
  const uint32_t encoding = content != nullptr ? REALGetStringEncoding(content) : kEncodingNone;
  return REALBuildUnicodeString(out.get(), length, encoding);
}

REALstringStruct* StrZYL(double d) {
  char buffer[500] = {};
  FormatStr(d, buffer);
  return CString2RB(buffer, kEncodingASCII);
}

REALstringStruct* ScientificStrZYL(double d, int64_t digits) {
  // The 499-byte buffer holds 498 characters: more digits could never show.
  const int precision = digits < 0 ? 0 : digits > 498 ? 498 : static_cast<int>(digits);
  char buffer[499] = {};
  snprintf(buffer, sizeof buffer, "%.*e", precision, d);
  return CString2RB(buffer, kEncodingASCII);
}

int8_t ClearStringContentZYL(REALstringStruct* s) {
  if (s == nullptr) return 0;
  int64_t size = 0;
  char* data = const_cast<char*>(REALGetStringContents(s, &size));
  const auto distance =
      static_cast<int64_t>(reinterpret_cast<uintptr_t>(data) - reinterpret_cast<uintptr_t>(s));
  if (DebuggingEnabled) {
    LogMessage("mPrivateStringDelta1", distance);
    LogMessage("mySize", size);
    LogMessage("myData", static_cast<const void*>(data));
  }
  // Only bytes inside the string's own record are surely its own: a string kept elsewhere may
  // share its bytes, so it is left alone.
  if (data == nullptr || distance != kInlineStringOffset) return 0;
  if (size > 0) memset(data, 0, static_cast<size_t>(size));
  return 1;
}

REALstringStruct* RandomBytesStringZYL(int64_t length, int8_t ascii) {
  if (length < 1 || length > kMaxHostLength) return nullptr;
  ClearedBytes out = AllocateClearBytes(length);
  if (out == nullptr) return nullptr;
  if (ascii != 0) {
    for (int64_t i = 0; i < length; ++i) out[i] = static_cast<uint8_t>(rand() % 96 + 32);
  } else {
    for (int64_t i = 0; i < length; ++i) out[i] = static_cast<uint8_t>(rand() & 0xFF);
  }
  return REALBuildUnicodeString(out.get(), length, ascii != 0 ? kEncodingASCII : kEncodingNone);
}

_REALarrayString* GetStringsZYL(const void* data, int64_t size, int64_t minLength) {
  if (data == nullptr || size < 1) return nullptr;
  _REALarrayString* strings = REALCreateArrayString(-1);
  if (strings == nullptr) return nullptr;
  const auto* bytes = static_cast<const uint8_t*>(data);
  const int64_t shortest = minLength > 0 ? minLength : 0;
  // Each step goes past the run found and the byte that ended it. A rejected run is skipped
  // whole too: every run starting inside it is a suffix of it and is rejected as well.
  for (int64_t i = 0; i < size;) {
    const int64_t n = CheckUTF8(bytes + i, size - i);
    if (n > shortest && !IsSpaceOnly(bytes + i, n)) {
      REALstringStruct* found = REALBuildUnicodeString(bytes + i, n, kEncodingUTF8);
      if (found != nullptr) {
        REALAppendArrayValue(strings, found);
        REALUnlockString(found);
      }
    }
    i += n + 1;
  }
  return strings;
}

_REALarrayString* GetStringsZYLp(void* data, int64_t size, int64_t minLength) {
  return GetStringsZYL(data, size, minLength);
}

_REALarrayString* GetStringsZYLm(REALmemoryBlockStruct* data, int64_t minLength) {
  const rbData view(data, 0, 0);
  return GetStringsZYL(view.Data(), view.Size(), minLength);
}

_REALarrayString* GetStringsZYLs(REALstringStruct* data, int64_t minLength) {
  const rbData view(data);
  return GetStringsZYL(view.Data(), view.Size(), minLength);
}

}  // namespace zyl
