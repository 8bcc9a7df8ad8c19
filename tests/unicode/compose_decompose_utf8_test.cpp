// Composition and decomposition of text tagged UTF-8, which the methods read where it stands: the
// result must be the UTF-8 of what the same text gives as UTF-16 (its well-formed prefix, without
// U+FEFF and U+FFFE), on random text built from the table's own pieces, across the 16-byte ASCII
// steps and the 4,096-byte blocks, with malformed tails.
#include <doctest/doctest.h>

#include <random>
#include <string>

#include "support/plugin_host.h"
#include "text/text_test_support.h"
#include "unicode/tables.h"
#include "unicode/unicode_test_support.h"

using namespace unicodetest;
using zyl::compositions;
using zyl::kCompositionCount;

namespace {

// The UTF-8 of units whose surrogates are all paired.
std::string Utf8(const Units& units) {
  std::string out;
  for (size_t i = 0; i < units.size(); ++i) {
    uint32_t c = units[i];
    if (c >= 0xD800 && c <= 0xDBFF) c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00u);
    out += texttest::EncodeUTF8(c);
  }
  return out;
}

// The call with UTF-8 text: its result's bytes (empty for nil), checked to be tagged UTF-8.
std::string CallUtf8(const char* declaration, const std::string& bytes) {
  memhost::String in(bytes, memhost::kUTF8);
  memhost::String out(memhost::Call<REALstringStruct*>(declaration, in.get()));
  if (out.get() == nullptr) return "";
  CHECK(out.encoding() == memhost::kUTF8);
  return out.bytes();
}

// What the UTF-16 way gives for the units, as UTF-8.
std::string ThroughUtf16(const char* declaration, const Units& units) {
  Units kept;
  for (char16_t u : units) {
    if (u != 0xFEFF && u != 0xFFFE) kept += u;
  }
  const std::optional<Units> result = CallUnits(declaration, kept);
  return result ? Utf8(*result) : "";
}

// Text from the table's own pieces: whole and cut decompositions, combining marks, ASCII runs of
// every length around the 16-byte steps, Hangul jamo of each kind, composed characters,
// characters beyond U+FFFF, U+FEFF and U+FFFE, other BMP characters.
Units RandomText(std::mt19937& rng, int pieces) {
  Units text;
  for (; pieces > 0; --pieces) {
    const uint32_t r = rng();
    const auto row = static_cast<int64_t>(r / 16 % kCompositionCount);
    Units d;
    for (int k = 1; k <= 4 && compositions[row][k] != 0; ++k) d += static_cast<char16_t>(compositions[row][k]);
    switch (r % 10) {
      case 0: text += d; break;
      case 1: {  // cut short, but not inside a surrogate pair
        Units cut = d.substr(0, 1 + r / 8 % d.size());
        if (cut.back() >= 0xD800 && cut.back() <= 0xDBFF) cut.pop_back();
        text += cut;
        break;
      }
      case 2: text += static_cast<char16_t>(0x0300 + r / 8 % 0x70); break;
      case 3: text += Units(1 + r / 8 % 40, static_cast<char16_t>('a' + r / 512 % 26)); break;
      case 4: {
        const char16_t jamo[3] = {static_cast<char16_t>(0x1100 + r / 8 % 0x13), static_cast<char16_t>(0x1161 + r / 8 % 0x15),
                                  static_cast<char16_t>(0x11A8 + r / 8 % 0x1B)};
        text += jamo[r / 1024 % 3];
        break;
      }
      case 5: text += ToUnits(std::u32string(1, static_cast<char32_t>(0x10000 + r / 8 % 0x100000))); break;
      case 6: text += static_cast<char16_t>(compositions[row][0]); break;
      case 7: text += r / 8 % 2 != 0 ? u'\uFEFF' : u'\uFFFE'; break;
      default: {
        const auto unit = static_cast<char16_t>(1 + r / 8 % 0xFFFF);
        text += unit >= 0xD800 && unit <= 0xDFFF ? u'x' : unit;
      }
    }
  }
  return text;
}

}  // namespace

TEST_CASE("UTF-8 text composes and decomposes as its UTF-16 form does") {
  zyltest::PluginHost host;
  std::mt19937 rng(4711);
  for (int round = 0; round < 400; ++round) {
    const Units text = RandomText(rng, round % 50 == 0 ? 3000 : 1 + static_cast<int>(rng() % 24));
    const std::string bytes = Utf8(text);
    CAPTURE(Hex(text));
    for (const char* method : {kCompose, kDecompose}) {
      CAPTURE(method);
      CHECK(CallUtf8(method, bytes) == ThroughUtf16(method, text));
      // A malformed tail ends the text where it starts.
      for (const std::string tail : {"\xC3", "\xFF" "abc", "\xE1\x84", "\xED\xA0\x80" "e\xCC\x81"}) {
        CHECK(CallUtf8(method, bytes + tail) == ThroughUtf16(method, text));
      }
    }
  }
}

TEST_CASE("UTF-8 Hangul: every leading consonant and vowel, with and without a final") {
  zyltest::PluginHost host;
  Units text;
  for (char16_t l = 0x1100; l <= 0x1112; ++l) {
    for (char16_t v = 0x1161; v <= 0x1175; ++v) {
      text += Units{l, v};
      if ((l + v) % 2 != 0) text += static_cast<char16_t>(0x11A8 + (l + v) % 27);
      if ((l + v) % 5 == 0) text += Units{0xFEFF, v};
    }
  }
  CHECK(CallUtf8(kCompose, Utf8(text)) == ThroughUtf16(kCompose, text));
  CHECK(CallUtf8(kDecompose, Utf8(text)) == ThroughUtf16(kDecompose, text));
}

TEST_CASE("UTF-8: every row's decomposition and composed character, among others") {
  zyltest::PluginHost host;
  // In chunks of rows, so that each call has some length; the seven rows with a character beyond
  // U+FFFF on one side are among them.
  for (int64_t first = 0; first < kCompositionCount; first += 500) {
    Units text;
    for (int64_t row = first; row < std::min(first + 500, kCompositionCount); ++row) {
      for (int k = 1; k <= 4 && compositions[row][k] != 0; ++k) text += static_cast<char16_t>(compositions[row][k]);
      text += static_cast<char16_t>(compositions[row][0]);
      text += row % 3 == 0 ? u"a" : u"";
    }
    CAPTURE(first);
    CHECK(CallUtf8(kCompose, Utf8(text)) == ThroughUtf16(kCompose, text));
    CHECK(CallUtf8(kDecompose, Utf8(text)) == ThroughUtf16(kDecompose, text));
  }
}

TEST_CASE("surrogates in the table come in pairs, and no decomposition starts or ends inside one") {
  // The UTF-8 composer walks characters, not units: a match must start and end at a character.
  for (int64_t row = 0; row < kCompositionCount; ++row) {
    const uint16_t* units = &compositions[row][1];
    CAPTURE(row);
    CHECK((units[0] < 0xDC00 || units[0] > 0xDFFF));
    for (int k = 0; k < 4 && units[k] != 0; ++k) {
      if (units[k] >= 0xD800 && units[k] <= 0xDBFF) {
        CHECK((k + 1 < 4 && units[k + 1] >= 0xDC00 && units[k + 1] <= 0xDFFF));
        ++k;
      } else {
        CHECK((units[k] < 0xD800 || units[k] > 0xDFFF));
      }
    }
  }
}
