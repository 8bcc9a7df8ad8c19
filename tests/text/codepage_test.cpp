// ISO 8859-1 and Windows-1252 as the host calls them: all 256 bytes there and back, the listed
// cases and the two-unit threshold; the helpers for writers.
#include <doctest/doctest.h>

#include <climits>
#include <optional>
#include <random>
#include <vector>

#include "support/plugin_host.h"
#include "text/text.h"
#include "text/text_test_support.h"

using memhost::String;
using namespace texttest;

namespace {

// Windows-1252 at 0x80-0x9F, typed from the code page's published chart; 0 where unassigned.
constexpr uint16_t kCP1252High[32] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                      0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                                      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                      0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

uint32_t CodePoint(bool cp1252, int b) { return cp1252 && b >= 0x80 && b < 0xA0 ? kCP1252High[b - 0x80] : b; }

}  // namespace

TEST_CASE("all 256 bytes decode to the code page's characters and encode back") {
  zyltest::PluginHost host;
  const std::string all = AllBytes();
  for (bool cp1252 : {false, true}) {
    CAPTURE(cp1252);
    String bytes(all, memhost::kNoEncoding);
    String decoded = CallS(cp1252 ? kFromCP1252 : kFromISO, bytes.get());
    std::string expected, back = all;
    for (int b = 0; b < 256; ++b) {
      expected += EncodeUTF8(CodePoint(cp1252, b));
      if (CodePoint(cp1252, b) == 0) back[b] = 0;  // unassigned bytes read U+0000, whose lowest byte is 0
    }
    CHECK(decoded.encoding() == memhost::kUTF8);  // built from UTF-16; current hosts hand back UTF-8
    CHECK(decoded.bytes() == expected);
    String encoded = CallS(cp1252 ? kToCP1252 : kToISO, decoded.get());
    CHECK(encoded.encoding() == memhost::kNoEncoding);
    CHECK(encoded.bytes() == back);
  }
}

TEST_CASE("single-byte code pages: listed cases and the deliberate two-unit threshold") {
  zyltest::PluginHost host;
  struct Case {
    std::string why;
    const char* declaration;
    std::string in;
    uint32_t encoding;
    std::optional<std::string> out;  // nullopt: nil
  } cases[] = {
      {"euro a b", kToCP1252, "\xE2\x82\xAC" "ab", memhost::kUTF8, "\x80" "ab"},
      {"euro alone: below the threshold", kToCP1252, "\xE2\x82\xAC", memhost::kUTF8, std::nullopt},
      {"two units: below the threshold", kToISO, "ab", memhost::kUTF8, std::nullopt},
      {"one character of two units too", kToISO, "\xF0\x9F\x98\x80", memhost::kUTF8, std::nullopt},
      {"no ISO byte for the euro sign", kToISO, "abc\xE2\x82\xAC", memhost::kUTF8, "abc"},
      {"beyond the plane is dropped", kToCP1252, "\xF0\x9F\x98\x80" "a", memhost::kUTF8, "a"},
      {"from UTF-16", kToISO, Wide(u"\u00E9t\u00E9"), memhost::kUTF16, "\xE9t\xE9"},
      {"the input's encoding is ignored", kFromISO, "\xC3\xA9", memhost::kUTF8, "\xC3\x83\xC2\xA9"},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String s(c.in, c.encoding);
    String r = CallS(c.declaration, s.get());
    CHECK((r.get() == nullptr ? std::nullopt : std::optional(r.bytes())) == c.out);
  }
  String abc("abc", memhost::kUTF8);
  CHECK(CallS(kToISO, abc.get()).encoding() == memhost::kASCII);
  for (const char* declaration : {kToISO, kFromISO, kToCP1252, kFromCP1252}) {
    CHECK(CallS(declaration, nullptr).get() == nullptr);
  }
}

TEST_CASE("GetStringInUTF8 and ToString") {
  zyltest::PluginHost host;
  String utf16(Wide(u"Gr\u00FC\u00DF" u"e"), memhost::kUTF16);
  String withZero(std::string("ab\0cd", 5), memhost::kUTF8);
  CHECK(zyl::GetStringInUTF8(utf16.get()) == "Gr\xC3\xBC\xC3\x9F" "e");
  CHECK(zyl::GetStringInUTF8(withZero.get()) == "ab");  // up to the first zero byte
  CHECK(zyl::GetStringInUTF8(nullptr).empty());
  CHECK(zyl::ToString(-42) == "-42");
  CHECK(zyl::ToString(INT_MIN) == "-2147483648");
}

TEST_CASE("decoded code pages: the UTF-8 written on current hosts is the old hosts' UTF-16, converted") {
  std::vector<std::string> inputs(3);
  inputs[0] = AllBytes();
  for (int k = 0; k < 300; ++k) inputs[1] += static_cast<char>(k % 7 == 0 ? 0x80 + k % 32 : 'a' + k % 26);
  inputs[2] = std::string(40, 'x') + "\x81\x9D" + std::string(17, 'y');
  // Bytes above 0x7F alone, in runs and throughout, at every place of the 16-byte steps.
  std::mt19937 rng(1252);
  for (int k = 0; k < 40; ++k) {
    std::string input(1 + rng() % 90, 'a');
    const uint32_t density = 1 + rng() % 8;
    for (char& c : input) c = static_cast<char>(rng() % density == 0 ? 0x80 + rng() % 128 : 1 + rng() % 127);
    inputs.push_back(input);
  }
  for (const char* declaration : {kFromISO, kFromCP1252}) {
    for (const std::string& input : inputs) {
      std::string utf16;
      {
        zyltest::PluginHost old(2011.0);
        String s(input, memhost::kNoEncoding);
        const String decoded = CallS(declaration, s.get());
        REQUIRE(decoded.encoding() == memhost::kUTF16);
        utf16 = decoded.bytes();
      }
      zyltest::PluginHost current;
      String s(input, memhost::kNoEncoding);
      const String decoded = CallS(declaration, s.get());
      CHECK(decoded.encoding() == memhost::kUTF8);
      CHECK(decoded.bytes() == memhost::ConvertBytes(utf16, memhost::kUTF16, memhost::kUTF8).value());
    }
  }
}

TEST_CASE("code-page encoders read UTF-8 text as they read its UTF-16 form") {
  zyltest::PluginHost host;
  ForEachInput(600, [](const std::string& in) {
    std::string text = in;
    if (text.size() % 5 == 1) text = "\xEF\xBB\xBF" + text;  // a leading U+FEFF now and then
    const std::vector<uint32_t> form = ReferenceWideForm(text, false);
    String utf8(text, memhost::kUTF8), utf16(Wide(std::vector<uint16_t>(form.begin(), form.end())), memhost::kUTF16);
    for (const char* declaration : {kToISO, kToCP1252}) {
      CHECK(memhost::Value(CallS(declaration, utf8.get()).get()) == memhost::Value(CallS(declaration, utf16.get()).get()));
    }
  });
}
