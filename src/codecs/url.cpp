// URL percent-encoding and decoding of the raw bytes of a host string.
#include <array>
#include <cstdint>
#include <cstring>

#include "codecs/codecs.h"
#include "codecs/stop_walk.h"
#include "plugin/builders.h"
#include "plugin/memory.h"
#include "text/text.h"
#include "text/vector16.h"

namespace zyl {

namespace {

constexpr const char* khex = "0123456789ABCDEF";

// Letters, digits and these eight stay as they are: 70 plain bytes. "+" stays on purpose, so
// that a decoder that reads "+" as a space does not give back what was encoded.
constexpr bool IsPlain(int b) {
  return (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || (b >= '0' && b <= '9') || b == '!' || b == '*' ||
         b == '+' || b == '-' || b == '.' || b == '@' || b == '_' || b == '~';
}

// The text of one byte: itself, or "%" and two upper-case hex digits. Stored in 4 bytes so that
// the encoder copies a whole entry and then counts only its length.
struct Escape {
  char text[3];
  uint8_t length;
};

constexpr std::array<Escape, 256> MakeEscapeChars() {
  std::array<Escape, 256> table{};
  for (int b = 0; b < 256; ++b) {
    if (IsPlain(b)) {
      table[b] = Escape{{static_cast<char>(b), 0, 0}, 1};
    } else {
      table[b] = Escape{{'%', khex[b >> 4], khex[b & 15]}, 3};
    }
  }
  return table;
}
constexpr std::array<Escape, 256> escapechars = MakeEscapeChars();
static_assert(sizeof(Escape) == 4);

constexpr int PlainCount() {
  int count = 0;
  for (int b = 0; b < 256; ++b) count += IsPlain(b) ? 1 : 0;
  return count;
}
static_assert(PlainCount() == 70);

// The value of one hexadecimal digit; any other byte is 0.
constexpr std::array<uint8_t, 256> MakeHexValues() {
  std::array<uint8_t, 256> table{};
  for (int k = 0; k < 16; ++k) {
    table[static_cast<uint8_t>(khex[k])] = static_cast<uint8_t>(k);
    if (k >= 10) table['a' + k - 10] = static_cast<uint8_t>(k);
  }
  return table;
}
constexpr std::array<uint8_t, 256> kHexValue = MakeHexValues();

constexpr uint8_t hex2int(uint8_t c) { return kHexValue[c]; }

}  // namespace

REALstringStruct* EncodingToURL1(REALstringStruct* s) { return EncodingToURL2(s, 0); }

REALstringStruct* EncodingToURL2(REALstringStruct* s, int64_t /*options*/) {
  if (s == nullptr) return nullptr;
  rbData bytes(s);
  const int64_t n = bytes.Size();
  if (n > (INT64_MAX - 10) / 3) return nullptr;
  // 3n bytes at most; the spare bytes take the unused tail of the last 4-byte entry copied.
  LocalBytes<kLocalResult> buffer(3 * n + 10, kCleared);
  uint8_t* const out = buffer.Get();
  if (out == nullptr) return nullptr;
  const uint8_t* in = bytes.Data();
  uint8_t* cursor = out;
  for (int64_t i = 0; i < n; ++i) {
    const Escape& escape = escapechars[in[i]];
    memcpy(cursor, &escape, sizeof escape);
    cursor += escape.length;
  }
  return REALBuildUnicodeString(out, cursor - out, kEncodingASCII);
}

REALstringStruct* DecodingToURL1(REALstringStruct* s) { return DecodingToURL2(s, 0); }

namespace {

// The decoding walk: "%" and the two bytes after it give one byte (digits cut off by the end count
// as 0, and the walk still moves on by 3), "+" gives a space when kPlusIsSpace, every other byte
// is itself. Writes at most n bytes, plus up to stopwalk::kBlock scratch bytes after them; returns the count.
template <bool kPlusIsSpace>
int64_t DecodeURLBytes(const uint8_t* in, int64_t n, uint8_t* out) {
  uint64_t pluses = 0;  // which stops of the block are "+"
  const auto stops = [&](const uint8_t* block) {
    const uint64_t escapes = stopwalk::BlockStops(block, [](vec16::V8 v) { return v == vec16::Splat('%'); });
    if (kPlusIsSpace) pluses = stopwalk::BlockStops(block, [](vec16::V8 v) { return v == vec16::Splat('+'); });
    return escapes | pluses;
  };
  const auto step = [&](const uint8_t* stop, uint8_t* cursor, int k) -> stopwalk::Taken {
    const bool escape = (pluses >> k & 1) == 0;
    *cursor = escape ? static_cast<uint8_t>(hex2int(stop[1]) * 16 + hex2int(stop[2])) : uint8_t{' '};
    return {escape ? 3 : 1, 1};
  };
  int64_t written = 0;
  int64_t i = 0;
  stopwalk::Walk<16>(in, n, i, out, written, stops, step);  // an escape every few bytes
  while (i < n) {
    const uint8_t b = in[i];
    if (b == '%') {
      const uint8_t high = i + 1 < n ? hex2int(in[i + 1]) : 0;
      const uint8_t low = i + 2 < n ? hex2int(in[i + 2]) : 0;
      out[written++] = static_cast<uint8_t>(high * 16 + low);
      i += 3;
    } else {
      out[written++] = kPlusIsSpace && b == '+' ? ' ' : b;
      ++i;
    }
  }
  return written;
}

}  // namespace

REALstringStruct* DecodingToURL2(REALstringStruct* s, int64_t options) {
  if (s == nullptr) return nullptr;
  rbData bytes(s);
  const int64_t n = bytes.Size();
  if (n < 1) return nullptr;
  // An escape never gives more bytes than it reads; the spare bytes take whole blocks.
  LocalBytes<kLocalResult> buffer(n + stopwalk::kBlock, kUncleared);
  if (buffer.Get() == nullptr) return nullptr;
  const bool plusIsSpace = (options & 1) != 0;
  const int64_t written = plusIsSpace ? DecodeURLBytes<true>(bytes.Data(), n, buffer.Get())
                                      : DecodeURLBytes<false>(bytes.Data(), n, buffer.Get());
  return REALBuildUnicodeString(buffer.Get(), written, kEncodingNone);
}

}  // namespace zyl
