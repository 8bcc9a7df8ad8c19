// "ReplaceLineEndingsZYL": every line ending of a text replaced by a given string.
#include "strings/line_endings.h"

#include <algorithm>

#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "plugin/memory.h"
#include "plugin/output_buffer.h"
#include "strings/byte_set.h"
#include "strings/strings.h"
#include "text/text.h"

namespace zyl {

namespace {

constexpr auto kMaxResultBytes = static_cast<uint64_t>(kMaxHostLength);
constexpr uintptr_t kYieldMask = (uintptr_t{1} << 24) - 1;

uintptr_t Address(const uint8_t* p) { return reinterpret_cast<uintptr_t>(p); }

// One pass: runs of plain bytes are found with memchr and copied whole; each ending appends
// newLine. With kYield the runs are cut at every 2^24-aligned address, which the literal byte
// walk would reach after a one-byte step; a two-byte ending that jumps over one does not yield.
template <bool kYield>
REALstringStruct* ReplaceLineEndings(const char* chars, uint64_t size, const char* newLineChars, uint64_t newLineSize,
                                     uint32_t encoding) {
  const auto* data = reinterpret_cast<const uint8_t*>(chars);
  const auto* newLine = reinterpret_cast<const uint8_t*>(newLineChars);
  if (data == nullptr || size > static_cast<uint64_t>(INT64_MAX)) size = 0;
  if (newLine == nullptr) newLineSize = 0;

  OutputBuffer<uint8_t> out(static_cast<int64_t>(LineEndingReservation(size, newLineSize)));
  // False once the output would pass what a host string holds.
  const auto append = [&out](const uint8_t* bytes, uint64_t count) {
    if (count > kMaxResultBytes - static_cast<uint64_t>(out.Length())) return false;
    out.Append(bytes, static_cast<int64_t>(count));
    return true;
  };

  ByteSet endings;
  endings.Add('\r');
  endings.Add('\n');
  ByteSetScanner scanner(endings, data, static_cast<int64_t>(size));
  uint64_t i = 0;
  while (i < size) {
    const auto end = static_cast<uint64_t>(scanner.Next(static_cast<int64_t>(i)));
    if constexpr (kYield) {
      const uintptr_t last = Address(data + end);
      for (uintptr_t boundary = (Address(data + i) | kYieldMask) + 1; boundary <= last; boundary += kYieldMask + 1) {
        const uint64_t upTo = boundary - Address(data);
        if (!append(data + i, upTo - i)) return nullptr;
        i = upTo;
        REALYieldToRB();
      }
    }
    if (!append(data + i, end - i)) return nullptr;
    if (end == size) break;
    const uint8_t partner = data[end] == '\r' ? '\n' : '\r';
    i = end + (end + 1 < size && data[end + 1] == partner ? 2 : 1);
    if (!append(newLine, newLineSize)) return nullptr;
    if constexpr (kYield) {
      if ((Address(data + i) & kYieldMask) == 0) REALYieldToRB();
    }
  }
  return REALBuildUnicodeString(out.Data(), out.Length(), encoding);
}

using Core = REALstringStruct* (*)(const char*, uint64_t, const char*, uint64_t, uint32_t);

Core CoreFor(int8_t yield) {
  return yield != 0 ? ReplaceLineEndingsZYL_internal_yield : ReplaceLineEndingsZYL_internal;
}

}  // namespace

uint64_t LineEndingReservation(uint64_t size, uint64_t newLineSize) {
  uint64_t room = 0, hint = 0, most = 0;
  if (__builtin_mul_overflow(size / 50 + 1000, newLineSize, &room) || __builtin_add_overflow(size, room, &hint)) {
    hint = UINT64_MAX;
  }
  if (__builtin_mul_overflow(size, std::max<uint64_t>(newLineSize, 1), &most)) most = UINT64_MAX;
  return std::min({hint, most, kMaxResultBytes});
}

REALstringStruct* ReplaceLineEndingsZYL_internal(const char* data, uint64_t size, const char* newLine,
                                                 uint64_t newLineSize, uint32_t encoding) {
  return ReplaceLineEndings<false>(data, size, newLine, newLineSize, encoding);
}

REALstringStruct* ReplaceLineEndingsZYL_internal_yield(const char* data, uint64_t size, const char* newLine,
                                                       uint64_t newLineSize, uint32_t encoding) {
  return ReplaceLineEndings<true>(data, size, newLine, newLineSize, encoding);
}

REALstringStruct* ReplaceLineEndingsZYL_text(REALstringStruct* text, REALstringStruct* newLine, int8_t yield) {
  rbText t(text), n(newLine);
  return CoreFor(yield)(t.GetUTF8(), static_cast<uint64_t>(t.LengthUTF8()), n.GetUTF8(),
                        static_cast<uint64_t>(n.LengthUTF8()), kEncodingUTF8);
}

REALstringStruct* ReplaceLineEndingsZYL_binary(REALstringStruct* text, REALstringStruct* newLine, uint32_t encoding,
                                               int8_t yield) {
  // A NewLine already in the text's encoding is its own conversion (the host gives such a string's
  // bytes back unchanged): it is read where it stands, without a new host string.
  const bool converts = newLine != nullptr && REALGetStringEncoding(newLine) != encoding;
  REALstringStruct* converted = converts ? REALConvertString(newLine, encoding) : nullptr;
  rbFreeLater release(nullptr, &converted);
  rbData bytes(text), newLineBytes(converts ? converted : newLine);
  return CoreFor(yield)(bytes.Chars(), static_cast<uint64_t>(bytes.Size()), newLineBytes.Chars(),
                        static_cast<uint64_t>(newLineBytes.Size()), encoding);
}

REALstringStruct* ReplaceLineEndingsZYL(REALstringStruct* text, REALstringStruct* newLine, int8_t yield) {
  if (text == nullptr) return nullptr;  // what the builder gives for no bytes
  const uint32_t encoding = REALGetStringEncoding(text);
  if (IsWideUnicode(encoding)) return ReplaceLineEndingsZYL_text(text, newLine, yield);
  return ReplaceLineEndingsZYL_binary(text, newLine, encoding, yield);
}

}  // namespace zyl
