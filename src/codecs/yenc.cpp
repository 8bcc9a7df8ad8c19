// yEnc decoding of a string or memory block.
#include <cstdint>
#include <cstring>

#include "codecs/codecs.h"
#include "plugin/builders.h"
#include "plugin/memory.h"
#include "text/text.h"

namespace zyl {

namespace {

constexpr uint8_t kEscape = '=';

// Decodes n bytes into out and returns the end of what it wrote. Every byte goes out as
// (b - 42) mod 256; an "=" takes the byte after it, minus 64, instead. Only "=" is special: line
// breaks and "=ybegin" header lines are decoded like data, on purpose, so callers pass the
// encoded data alone. An "=" as the very last byte takes 0 as its partner: nothing past the
// input is read.
uint8_t* yDecode(const uint8_t* in, uint8_t* out, int64_t n) {
  const uint8_t* const end = in + n;
  while (in < end) {
    const auto* escape = static_cast<const uint8_t*>(memchr(in, kEscape, static_cast<size_t>(end - in)));
    const uint8_t* runEnd = escape != nullptr ? escape : end;
    for (; in < runEnd; ++in) *out++ = static_cast<uint8_t>(*in - 42);
    if (escape == nullptr) break;
    const uint8_t partner = escape + 1 < end ? escape[1] : 0;
    *out++ = static_cast<uint8_t>(partner - 64 - 42);
    in = escape + 1 < end ? escape + 2 : end;
  }
  return out;
}

// Decodes the view into a private buffer and hands the bytes written to build; nil for no data.
template <typename Build>
auto DecodeWith(const rbData& data, Build build) -> decltype(build(nullptr, int64_t{0})) {
  if (data.Empty()) return nullptr;
  LocalBytes<kLocalResult> out(data.Size(), kCleared);
  if (out.Get() == nullptr) return nullptr;
  const uint8_t* written = yDecode(data.Data(), out.Get(), data.Size());
  return build(out.Get(), written - out.Get());
}

}  // namespace

REALstringStruct* yDecodeZYLs(REALstringStruct* data) {
  rbData view(data);
  return DecodeWith(view, [](const uint8_t* bytes, int64_t n) {
    return REALBuildUnicodeString(bytes, n, kEncodingNone);
  });
}

REALmemoryBlockStruct* yDecodeZYLm(REALmemoryBlockStruct* data) {
  rbData view(data, 0, 0);
  return DecodeWith(view, [](const uint8_t* bytes, int64_t n) { return REALBuildMemoryblock(bytes, n); });
}

}  // namespace zyl
