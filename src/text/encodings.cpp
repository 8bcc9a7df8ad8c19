// Conversions between Unicode text and the host's encodings: the single-byte code pages ISO 8859-1
// and Windows-1252 (table-driven, independent of the host's converters), the host's own
// conversions to UTF-16 and UTF-8, and the helpers that give writers standard strings.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "plugin/memory.h"
#include "text/text.h"
#include "text/utf8_scan.h"
#include "text/vector16.h"

namespace zyl {

namespace {

using CodePage = std::array<uint16_t, 256>;

// The code point of each byte.
constexpr CodePage MakeISO8859() {
  CodePage table{};
  for (int b = 0; b < 256; ++b) table[b] = static_cast<uint16_t>(b);
  return table;
}

// Bytes that Windows-1252 leaves unassigned map to 0.
constexpr CodePage MakeCP1252() {
  CodePage table = MakeISO8859();
  constexpr uint16_t k80to9F[32] = {
      0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 80-87
      0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,       // 88-8F
      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 90-97
      0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178,  // 98-9F
  };
  for (int i = 0; i < 32; ++i) table[0x80 + i] = k80to9F[i];
  return table;
}

constexpr CodePage escapecharsISO8859 = MakeISO8859();
constexpr CodePage escapecharsCP1252 = MakeCP1252();

// The reverse of a code page: for each code point, the lowest byte that maps to it (so a code
// point that several bytes share, U+0000 in Windows-1252, always gives the lowest byte). Two
// levels: the high byte of a unit picks a page of 256 entries (byte or -1); units of pages that
// hold no character of the code page share the empty page 0.
struct ReverseCodePage {
  static constexpr int kPages = 8;
  uint8_t pageOf[256];
  int16_t pages[kPages][256];

  constexpr int Find(uint16_t unit) const { return pages[pageOf[unit >> 8]][unit & 0xFF]; }
};

constexpr ReverseCodePage MakeReverse(const CodePage& table) {
  ReverseCodePage reverse{};
  for (auto& page : reverse.pages) {
    for (int16_t& b : page) b = -1;
  }
  int used = 1;
  for (int b = 0; b < 256; ++b) {
    const uint16_t point = table[b];
    if (reverse.pageOf[point >> 8] == 0) reverse.pageOf[point >> 8] = static_cast<uint8_t>(used++);
    int16_t& entry = reverse.pages[reverse.pageOf[point >> 8]][point & 0xFF];
    if (entry < 0) entry = static_cast<int16_t>(b);
  }
  return reverse;
}

constexpr ReverseCodePage kFromUnicodeISO8859 = MakeReverse(escapecharsISO8859);
constexpr ReverseCodePage kFromUnicodeCP1252 = MakeReverse(escapecharsCP1252);
static_assert(kFromUnicodeCP1252.Find(0) == 0 && kFromUnicodeCP1252.Find(0x20AC) == 0x80);
static_assert(kFromUnicodeCP1252.Find(0x81) == -1 && kFromUnicodeCP1252.Find(0x2122) == 0x99);
static_assert(kFromUnicodeISO8859.Find(0xFF) == 0xFF && kFromUnicodeISO8859.Find(0x100) == -1);

// EncodingTo for text whose UTF-16 form is decoded from its UTF-8 form: the code points are read
// from the UTF-8 at once, with the same result. The form is the UTF-8's well-formed prefix: each
// multi-byte sequence is checked where it is read, and the first that is not well-formed ends the
// text. A character beyond U+FFFF stands for its two surrogate units, which no code page holds;
// U+FEFF and U+FFFE, which the UTF-16 form leaves out, are in neither code page either, but they
// do not count as units.
REALstringStruct* EncodingFromUTF8(rbText& text, const ReverseCodePage& reverse) {
  const uint8_t* in = text.GetUTF8Bytes();
  const int64_t n = text.LengthUTF8();
  // At most one byte per code point, and 16 spare for whole vectors.
  LocalBytes<kLocalResult> buffer(n + 16, kUncleared);
  uint8_t* const out = buffer.Get();
  if (out == nullptr) return nullptr;
  int64_t units = 0, written = 0;
  for (int64_t i = 0; i < n;) {
    if (in[i] < 0x80) {
      if (i + 16 <= n && in[i + 1] < 0x80) {
        const vec16::V8 v = vec16::Load16(in + i);
        memcpy(out + written, &v, sizeof v);
        const int ascii = vec16::AsciiPrefix(v);
        i += ascii, units += ascii, written += ascii;
      } else {
        out[written++] = in[i++];
        ++units;
      }
      continue;
    }
    if (WellFormedLengthAt(in, i, n) == 0) break;
    int length = 0;
    const uint32_t c = DecodeWellFormedSequence(in + i, &length);
    i += length;
    if (c >= 0x10000) {
      units += 2;
      continue;
    }
    if (c == 0xFEFF || c == 0xFFFE) continue;
    ++units;
    const int byte = reverse.Find(static_cast<uint16_t>(c));
    if (byte >= 0) out[written++] = static_cast<uint8_t>(byte);
  }
  // Deliberately nothing for one or two units: applications have always seen an empty result.
  return REALBuildUnicodeString(out, units > 2 ? written : 0, kEncodingNone);
}

// Unicode to single bytes, unit by unit over the UTF-16 form; units the code page lacks are
// dropped. The result has no encoding (ASCII when it is pure ASCII). Every unit gives at most
// one byte, so the handle of 2 bytes per unit never has to grow.
REALstringStruct* EncodingTo(REALstringStruct* s, const ReverseCodePage& reverse) {
  rbText text(s);
  if (text.WideFormsComeFromUTF8()) return EncodingFromUTF8(text, reverse);
  const uint16_t* units = text.GetUTF16();
  const int64_t count = text.LengthUTF16();
  Handle output = allocateHandle(count <= INT64_MAX / 2 ? 2 * count : -1);
  if (output == nullptr) return nullptr;
  auto* out = static_cast<uint8_t*>(lockHandle(output));
  int64_t written = 0;
  // Deliberately nothing for one or two units: applications have always seen an empty result.
  if (count > 2) {
    // Units below 0x80 are their own bytes in both code pages.
    for (int64_t i = 0; i < count;) {
      // The handle holds 2 bytes per unit: 8 more always fit.
      if (units[i] < 0x80 && i + 8 <= count && units[i + 1] < 0x80) {
        const int ascii = vec16::Narrow8(units + i, out + written);
        i += ascii;
        written += ascii;
        continue;
      }
      const int byte = reverse.Find(units[i++]);
      if (byte >= 0) out[written++] = static_cast<uint8_t>(byte);
    }
  }
  REALstringStruct* result = REALBuildUnicodeString(out, written, kEncodingNone);
  unlockHandle(output);
  freeHandle(output);
  return result;
}

// The UTF-8 of each byte's character, in 4 bytes so that one fixed-size copy writes any of them.
struct UTF8OfByte {
  uint8_t bytes[3];
  uint8_t length;
};
using UTF8CodePage = std::array<UTF8OfByte, 256>;

constexpr UTF8CodePage MakeUTF8(const CodePage& table) {
  UTF8CodePage utf8{};
  for (int b = 0; b < 256; ++b) {
    const uint16_t c = table[b];
    if (c < 0x80) {
      utf8[b] = {{static_cast<uint8_t>(c), 0, 0}, 1};
    } else if (c < 0x800) {
      utf8[b] = {{static_cast<uint8_t>(0xC0 | (c >> 6)), static_cast<uint8_t>(0x80 | (c & 0x3F)), 0}, 2};
    } else {
      utf8[b] = {{static_cast<uint8_t>(0xE0 | (c >> 12)), static_cast<uint8_t>(0x80 | ((c >> 6) & 0x3F)),
                  static_cast<uint8_t>(0x80 | (c & 0x3F))},
                 3};
    }
  }
  return utf8;
}

constexpr UTF8CodePage kUTF8ISO8859 = MakeUTF8(escapecharsISO8859);
constexpr UTF8CodePage kUTF8CP1252 = MakeUTF8(escapecharsCP1252);
static_assert(sizeof(UTF8OfByte) == 4);

// The code pages' characters are all valid scalar values below U+FEFF: where the host turns a
// UTF-16 result into UTF-8, the bytes are written as that UTF-8 at once. False (nothing built)
// when the UTF-8 would be longer than a host string.
bool DecodeAsUTF8(const rbData& view, const UTF8CodePage& utf8, REALstringStruct** result) {
  const int64_t count = view.Size();
  if (count > kMaxHostLength / 2) return false;  // the UTF-16 path gives nil there
  LocalBytes<kLocalResult> out(3 * count + 4, kUncleared);
  if (out.Get() == nullptr) return false;
  const uint8_t* bytes = view.Data();
  uint8_t* o = out.Get();
  // Room: 3 bytes for each byte read and 4 more, so a 16-byte store where 16 are left to read
  // fits, and so does a piece's 4-byte copy.
  const auto put = [&](int64_t from, int64_t to) {
    for (int64_t k = from; k < to; ++k) {
      const UTF8OfByte& piece = utf8[bytes[k]];
      memcpy(o, &piece, sizeof piece);
      o += piece.length;
    }
  };
  int64_t i = 0;
  // 16 bytes a step: the ASCII before the first byte above 0x7F as it is, and from there to the
  // block's last such byte through the table without a branch per byte (binary data would
  // mispredict every other one); the next step starts after it.
  while (count - i >= 16) {
    const vec16::V8 v = vec16::Load16(bytes + i);
    memcpy(o, &v, sizeof v);
    const uint32_t high = vec16::LaneMask(reinterpret_cast<vec16::S8>(v) < vec16::S8{});
    if (high == 0) {
      o += 16;
      i += 16;
      continue;
    }
    const int first = __builtin_ctz(high), last = 31 - __builtin_clz(high);
    o += first;
    put(i + first, i + last + 1);
    i += last + 1;
  }
  put(i, count);
  if (o - out.Get() > kMaxHostLength) return false;
  *result = REALBuildUnicodeString(out.Get(), o - out.Get(), kEncodingUTF8);
  return true;
}

// Single bytes to Unicode: each byte of s (its encoding ignored) as the code page's character,
// built from UTF-16 in host byte order. Runs of ASCII bytes are widened as they are.
REALstringStruct* DecodingTo(REALstringStruct* s, const CodePage& table, const UTF8CodePage& utf8) {
  rbData view(s);
  const int64_t count = view.Size();
  REALstringStruct* direct = nullptr;
  if (count > 0 && HostConvertsUnicodeResultsToUTF8() && DecodeAsUTF8(view, utf8, &direct)) return direct;
  Handle output = allocateHandle(count <= INT64_MAX / 4 ? 2 * count : -1);
  if (output == nullptr) return nullptr;
  auto* units = static_cast<uint16_t*>(lockHandle(output));  // the handle's bytes are 8-aligned
  const uint8_t* bytes = view.Data();
  for (int64_t i = 0; i < count;) {
    if (bytes[i] < 0x80 && i + 16 <= count && bytes[i + 1] < 0x80) {
      const vec16::V8 v = vec16::Load16(bytes + i);
      vec16::Widen16(v, units + i);
      i += vec16::AsciiPrefix(v);
    } else {
      units[i] = table[bytes[i]];
      ++i;
    }
  }
  REALstringStruct* result = REALBuildUnicodeString(units, 2 * count, kEncodingUTF16);
  unlockHandle(output);
  freeHandle(output);
  return result;
}

}  // namespace

REALstringStruct* EncodingToISO8859(REALstringStruct* s) { return EncodingTo(s, kFromUnicodeISO8859); }
REALstringStruct* EncodingToCP1252(REALstringStruct* s) { return EncodingTo(s, kFromUnicodeCP1252); }
REALstringStruct* DecodingToISO8859(REALstringStruct* s) { return DecodingTo(s, escapecharsISO8859, kUTF8ISO8859); }
REALstringStruct* DecodingToCP1252(REALstringStruct* s) { return DecodingTo(s, escapecharsCP1252, kUTF8CP1252); }

REALstringStruct* RBUnicodeString(REALstringStruct* s) { return REALConvertString(s, kEncodingUTF16); }

REALstringStruct* RBNativeString(REALstringStruct* s) { return REALConvertString(s, kEncodingUTF8); }

std::string GetStringInUTF8(REALstringStruct* s) {
  rbText text(s);
  return std::string(text.GetUTF8());
}

// The buffer is the caller's own, so that writers on several threads may call it.
std::string ToString(int value) {
  char digits[20];
  snprintf(digits, sizeof digits, "%d", value);
  return std::string(digits);
}

}  // namespace zyl
