// Hexadecimal encoding and decoding of a string's bytes, and the configurable hex dump.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "codecs/codecs.h"
#include "codecs/hex_digits.h"
#include "plugin/builders.h"
#include "plugin/memory.h"
#include "text/text.h"
#include "text/vector16.h"

namespace zyl {

namespace {

// The digit of each nibble lane (0-15): "0"-"9", then "A"-"F".
inline vec16::V8 Digits(vec16::V8 nibbles) {
  return nibbles + vec16::Splat('0') + (reinterpret_cast<vec16::V8>(nibbles > vec16::Splat(9)) & vec16::Splat(7));
}

// Writes the two digits of each of the n bytes at out (2n bytes), 16 bytes at a time.
void WriteHex(const uint8_t* bytes, int64_t n, uint8_t* out) {
  int64_t i = 0;
  for (; i + 16 <= n; i += 16) {
    const vec16::V8 v = vec16::Load16(bytes + i);
    const vec16::V8 high = Digits(v >> 4), low = Digits(v & vec16::Splat(15));
    const vec16::V8 first = __builtin_shufflevector(high, low, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
    const vec16::V8 second =
        __builtin_shufflevector(high, low, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
    memcpy(out + 2 * i, &first, sizeof first);
    memcpy(out + 2 * i + 16, &second, sizeof second);
  }
  for (; i < n; ++i) hexdigits::WritePair(out + 2 * i, bytes[i]);
}

// The value of each digit lane ("0"-"9", "A"-"F", "a"-"f"); any other byte is 0.
inline vec16::V8 DigitValues(vec16::V8 c) {
  const vec16::V8 decimal = c - vec16::Splat('0');
  const vec16::V8 letter = (c | vec16::Splat(0x20)) - vec16::Splat('a');
  return (decimal & reinterpret_cast<vec16::V8>(decimal < vec16::Splat(10))) |
         ((letter + vec16::Splat(10)) & reinterpret_cast<vec16::V8>(letter < vec16::Splat(6)));
}

// Reads count pairs of digits at digits into count bytes at out, 16 pairs at a time.
void ReadHex(const uint8_t* digits, int64_t count, uint8_t* out) {
  int64_t i = 0;
  for (; i + 16 <= count; i += 16) {
    const vec16::V8 a = DigitValues(vec16::Load16(digits + 2 * i));
    const vec16::V8 b = DigitValues(vec16::Load16(digits + 2 * i + 16));
    const vec16::V8 high = __builtin_shufflevector(a, b, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
    const vec16::V8 low = __builtin_shufflevector(a, b, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
    const vec16::V8 bytes = (high << 4) | low;
    memcpy(out + i, &bytes, sizeof bytes);
  }
  // Anything that is not a digit counts as 0.
  const auto value = [](uint8_t c) { return std::max<int>(hexdigits::kNybble[c], 0); };
  for (; i < count; ++i) out[i] = static_cast<uint8_t>(value(digits[2 * i]) * 16 + value(digits[2 * i + 1]));
}

// Pieces of a dump are copied with kSlack bytes to spare on both sides: a piece of up to kSlack
// bytes goes out as one fixed-size copy, and what it writes past its end is overwritten by the
// next piece (or lies in the output's spare tail).
constexpr int64_t kSlack = 8;

uint8_t* Put(uint8_t* out, const uint8_t* bytes, int64_t count) {
  if (count <= kSlack) {
    memcpy(out, bytes, kSlack);  // a constant size: one load and one store
  } else {
    memcpy(out, bytes, static_cast<size_t>(count));
  }
  return out + count;
}

// A piece's bytes followed by kSlack readable bytes.
std::string Padded(const rbData& piece) {
  std::string padded(static_cast<size_t>(piece.Size() + kSlack), '\0');
  if (!piece.Empty()) memcpy(padded.data(), piece.Data(), static_cast<size_t>(piece.Size()));
  return padded;
}

struct DumpSize {
  int64_t lines;
  int64_t lineWidth;  // every line is as wide, the padded last one too
};

// The size of a dump of hexChars digits with pieces of the given lengths; false when it would not
// fit in a host string. Every product and sum is checked: no argument can overflow the arithmetic.
bool MeasureDump(int64_t hexChars, int64_t hexlen, int64_t linelen, int64_t spacer, int64_t lineend,
                 int64_t linestart, int64_t filler, DumpSize* size) {
  int64_t perLine = 0;  // hex characters on a line
  int64_t spacers = 0;
  if (__builtin_mul_overflow(hexlen, linelen, &perLine) || perLine > kMaxHostLength) return false;
  if (__builtin_mul_overflow(linelen - 1, spacer, &spacers)) return false;
  int64_t width = perLine;
  if (__builtin_add_overflow(width, spacers, &width) || __builtin_add_overflow(width, lineend, &width) ||
      __builtin_add_overflow(width, linestart, &width)) {
    return false;
  }
  int64_t lines = hexChars / perLine + (hexChars % perLine != 0 ? 1 : 0);
  // The work text holds the hex characters and the filler perLine times, and the dump is cut to
  // the whole lines that text has. With a filler of at least one character the last (padded)
  // line always fits, so the cut never bites; it is kept for what it guarantees.
  lines = std::min(lines, hexChars / perLine + filler);
  int64_t total = 0;
  if (__builtin_mul_overflow(lines, width, &total) || total > kMaxHostLength) return false;
  *size = {lines, width};
  return true;
}

}  // namespace

REALstringStruct* EncodingToHex(REALstringStruct* s) {
  rbData bytes(s);
  const int64_t n = bytes.Size();
  if (n == 0 || n > kMaxHostLength / 2) return nullptr;  // longer text has no host string
  LocalBytes<kLocalResult> out(2 * n, kUncleared);
  if (out.Get() == nullptr) return nullptr;
  WriteHex(bytes.Data(), n, out.Get());
  return REALBuildUnicodeString(out.Get(), 2 * n, kEncodingASCII);
}

REALstringStruct* DecodingToHex(REALstringStruct* s) {
  rbText text(s);
  const int64_t n = text.LengthASCII();
  if (n <= 1) return nullptr;
  LocalBytes<kLocalResult> out(n / 2, kUncleared);
  if (out.Get() == nullptr) return nullptr;
  // An odd last character is ignored.
  ReadHex(reinterpret_cast<const uint8_t*>(text.GetASCII()), n / 2, out.Get());
  return REALBuildUnicodeString(out.Get(), n / 2, kEncodingNone);
}

REALstringStruct* Hexstring(REALstringStruct* input, int64_t hexlen, int64_t linelen, REALstringStruct* linestart,
                            REALstringStruct* lineend, REALstringStruct* spacer, REALstringStruct* filler) {
  if (input == nullptr || hexlen <= 0 || linelen <= 0) return nullptr;
  rbData bytes(input), start(linestart), end(lineend), gap(spacer), fill(filler);
  const int64_t n = bytes.Size();
  if (n == 0 || n > kMaxHostLength / 2) return nullptr;
  static const uint8_t kZero = '0';
  const uint8_t* fillBytes = fill.Empty() ? &kZero : fill.Data();
  const int64_t fillLength = fill.Empty() ? 1 : fill.Size();

  DumpSize size{};
  if (!MeasureDump(2 * n, hexlen, linelen, gap.Size(), end.Size(), start.Size(), fillLength, &size)) return nullptr;

  // The work text: the hex digits, then the filler repeated over what the last line pads.
  const int64_t hexChars = size.lines * hexlen * linelen;
  std::string work(static_cast<size_t>(hexChars + kSlack), '\0');
  auto* hex = reinterpret_cast<uint8_t*>(work.data());
  WriteHex(bytes.Data(), n, hex);
  for (int64_t i = 2 * n; i < hexChars; ++i) hex[i] = fillBytes[(i - 2 * n) % fillLength];

  const std::string startText = Padded(start), endText = Padded(end), gapText = Padded(gap);
  const auto* startBytes = reinterpret_cast<const uint8_t*>(startText.data());
  const auto* endBytes = reinterpret_cast<const uint8_t*>(endText.data());
  const auto* gapBytes = reinterpret_cast<const uint8_t*>(gapText.data());
  const int64_t total = size.lines * size.lineWidth;
  std::string dump(static_cast<size_t>(total + kSlack), '\0');
  auto* out = reinterpret_cast<uint8_t*>(dump.data());
  for (int64_t line = 0; line < size.lines; ++line) {
    out = Put(out, startBytes, start.Size());
    for (int64_t group = 0; group < linelen; ++group) {
      if (group > 0) out = Put(out, gapBytes, gap.Size());
      out = Put(out, hex, hexlen);
      hex += hexlen;
    }
    out = Put(out, endBytes, end.Size());
  }
  return REALBuildUnicodeString(dump.data(), total, kEncodingASCII);
}

}  // namespace zyl
