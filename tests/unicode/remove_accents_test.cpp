// Accent removal as the host calls it, inside a built application and outside one.
#include <doctest/doctest.h>

#include "support/plugin_host.h"
#include "unicode/unicode_test_support.h"

using namespace unicodetest;

namespace {

struct SpelledOut {
  char16_t unit;
  const char16_t* text;
};

constexpr SpelledOut kSpelledOut[] = {
    {0x00BC, u"1/4"}, {0x00BD, u"1/2"}, {0x00BE, u"3/4"}, {0x00C6, u"AE"},  {0x00E6, u"ae"},  {0x2150, u"1/7"},
    {0x2151, u"1/9"}, {0x2152, u"1/10"}, {0x2153, u"1/3"}, {0x2154, u"2/3"}, {0x2155, u"1/5"}, {0x2156, u"2/5"},
    {0x2157, u"3/5"}, {0x2158, u"4/5"}, {0x2159, u"1/6"}, {0x215A, u"5/6"}, {0x215B, u"1/8"}, {0x215C, u"3/8"},
    {0x215D, u"5/8"}, {0x215E, u"7/8"}, {0x2189, u"0/3"},
};

Units Capitalised(Units text) {
  for (char16_t& unit : text) {
    if (unit >= u'a' && unit <= u'z') unit = static_cast<char16_t>(unit - 32);
  }
  return text;
}

// What accent removal gives for one unit, with the accent table as it is after load.
Units ExpectedFor(char16_t unit) {
  if (unit >= 0x0300 && unit <= 0x036F) return Units();
  for (const SpelledOut& s : kSpelledOut) {
    if (s.unit == unit) return s.text;
  }
  return Units(1, static_cast<char16_t>(ReferenceAccentEntry(unit)));
}

}  // namespace

TEST_CASE("documented cases of accent removal") {
  zyltest::PluginHost host;
  struct Case {
    std::string why;
    Units in;
    bool ignoreCase;
    std::optional<Units> out;  // nullopt: nil
  } cases[] = {
      {"ligature, stroke and fraction", u"\u00C6r\u00F8sk\u00F8bing \u00BD", false, u"AEroskobing 1/2"},
      {"the same, capitalised", u"\u00C6r\u00F8sk\u00F8bing \u00BD", true, u"AEROSKOBING 1/2"},
      {"a supplementary character is copied unit by unit", u"\U0001F600\u00C5", false, u"\U0001F600A"},
      {"marks only: nothing left, so nil", u"\u0300\u036F", false, std::nullopt},
      {"empty", u"", false, std::nullopt},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(RemoveAccents(c.in, c.ignoreCase) == c.out);
  }
  CHECK_FALSE(RemoveAccents(std::nullopt, false).has_value());
  CHECK_FALSE(RemoveAccents(std::nullopt, true).has_value());
}

TEST_CASE("every BMP unit, in both cases") {
  zyltest::PluginHost host;
  Units all, expected;
  for (uint32_t unit = 1; unit < 0x10000; ++unit) {
    if (unit >= 0xD800 && unit <= 0xDFFF) continue;
    all += static_cast<char16_t>(unit);
    expected += ExpectedFor(static_cast<char16_t>(unit));
  }
  all += ToUnits(U"\U00010000\U0010FFFF");
  expected += ToUnits(U"\U00010000\U0010FFFF");
  CHECK(RemoveAccents(all, false) == expected);
  CHECK(RemoveAccents(all, true) == Capitalised(expected));
  // Any host boolean other than 0 is true.
  memhost::String text("\xC3\xA9", memhost::kUTF8);
  memhost::String out(memhost::Call<REALstringStruct*>(kRemoveAccents, text.get(), static_cast<int8_t>(-2)));
  CHECK(out.bytes() == "E");
  CHECK(out.encoding() == memhost::kUTF8);
}

TEST_CASE("outside a built application the table is all zero: units not handled otherwise become U+0000") {
  zyltest::PluginHost host(2024.0, /*inRuntime=*/false);
  const Units in = u"a\u00BD\u0301B\u00E6\u00E9";
  const Units out = Units(1, 0) + u"1/2" + Units(1, 0) + u"ae" + Units(1, 0);
  CHECK(RemoveAccents(in, false) == out);
  CHECK(RemoveAccents(in, true) == Capitalised(out));
}
