// Composition and decomposition as the host calls them: the documented cases, every row of the
// table in both directions, Hangul, random text against a literal scan of the whole table, the log
// and the result's encoding.
#include <doctest/doctest.h>

#include <algorithm>
#include <map>
#include <random>
#include <sstream>
#include <vector>

#include "plugin/log.h"
#include "support/plugin_host.h"
#include "unicode/tables.h"
#include "unicode/unicode_test_support.h"

using namespace unicodetest;
using zyl::compositions;
using zyl::kCompositionCount;

namespace {

const std::vector<Units>& RowDecompositions() {
  static const std::vector<Units> decompositions = [] {
    std::vector<Units> all;
    for (int64_t row = 0; row < kCompositionCount; ++row) {
      Units units;
      for (int k = 1; k <= 4 && compositions[row][k] != 0; ++k) units += static_cast<char16_t>(compositions[row][k]);
      all.push_back(units);
    }
    return all;
  }();
  return decompositions;
}

// Composition by the letter of its definition: at each position, the first row of the whole table
// whose decomposition stands there.
Units ReferenceCompose(const Units& text) {
  const std::vector<Units>& decompositions = RowDecompositions();
  Units out;
  for (size_t p = 0; p < text.size();) {
    int64_t found = -1;
    for (int64_t row = 0; row < kCompositionCount && found < 0; ++row) {
      const Units& d = decompositions[static_cast<size_t>(row)];
      if (d[0] == text[p] && text.compare(p, d.size(), d) == 0) found = row;
    }
    out += found < 0 ? text[p] : static_cast<char16_t>(compositions[found][0]);
    p += found < 0 ? 1 : decompositions[static_cast<size_t>(found)].size();
  }
  return out;
}

// Each unit whose form D is longer than one unit is replaced by it; singletons are not applied.
Units ReferenceDecompose(const Units& text) {
  Units out;
  for (char16_t unit : text) {
    const Units nfd = unit >= 0xD800 && unit <= 0xDFFF ? Units(1, unit) : ReferenceNFD(unit);
    out += nfd.size() > 1 ? nfd : Units(1, unit);
  }
  return out;
}

// Rows whose own decomposition composes to an earlier row (lower code point) than themselves,
// because that row's decomposition is a prefix of theirs or equal to it; Hangul syllables with a
// final consonant (all of them compose to their LV syllable) are not listed. Worked out from
// Unicode's data independently of the library.
const char* const kFirstMatchElsewhere =
    "01D5>00DC 01D6>00FC 01D7>00DC 01D8>00FC 01D9>00DC 01DA>00FC 01DB>00DC 01DC>00FC 01DE>00C4 01DF>00E4 "
    "01EC>01EA 01ED>01EB 01FA>00C5 01FB>00E5 022A>00D6 022B>00F6 022C>00D5 022D>00F5 0230>022E 0231>022F "
    "0CCB>0CCA 0DDD>0DDC 1E08>00C7 1E09>00E7 1E14>0112 1E15>0113 1E16>0112 1E17>0113 1E1C>0228 1E1D>0229 "
    "1E2E>00CF 1E2F>00EF 1E38>1E36 1E39>1E37 1E4C>00D5 1E4D>00F5 1E4E>00D5 1E4F>00F5 1E50>014C 1E51>014D "
    "1E52>014C 1E53>014D 1E5C>1E5A 1E5D>1E5B 1E64>015A 1E65>015B 1E66>0160 1E67>0161 1E68>1E62 1E69>1E63 "
    "1E78>0168 1E79>0169 1E7A>016A 1E7B>016B 1EA4>00C2 1EA5>00E2 1EA6>00C2 1EA7>00E2 1EA8>00C2 1EA9>00E2 "
    "1EAA>00C2 1EAB>00E2 1EAC>1EA0 1EAD>1EA1 1EAE>0102 1EAF>0103 1EB0>0102 1EB1>0103 1EB2>0102 1EB3>0103 "
    "1EB4>0102 1EB5>0103 1EB6>1EA0 1EB7>1EA1 1EBE>00CA 1EBF>00EA 1EC0>00CA 1EC1>00EA 1EC2>00CA 1EC3>00EA "
    "1EC4>00CA 1EC5>00EA 1EC6>1EB8 1EC7>1EB9 1ED0>00D4 1ED1>00F4 1ED2>00D4 1ED3>00F4 1ED4>00D4 1ED5>00F4 "
    "1ED6>00D4 1ED7>00F4 1ED8>1ECC 1ED9>1ECD 1EDA>01A0 1EDB>01A1 1EDC>01A0 1EDD>01A1 1EDE>01A0 1EDF>01A1 "
    "1EE0>01A0 1EE1>01A1 1EE2>01A0 1EE3>01A1 1EE8>01AF 1EE9>01B0 1EEA>01AF 1EEB>01B0 1EEC>01AF 1EED>01B0 "
    "1EEE>01AF 1EEF>01B0 1EF0>01AF 1EF1>01B0 1F02>1F00 1F03>1F01 1F04>1F00 1F05>1F01 1F06>1F00 1F07>1F01 "
    "1F0A>1F08 1F0B>1F09 1F0C>1F08 1F0D>1F09 1F0E>1F08 1F0F>1F09 1F12>1F10 1F13>1F11 1F14>1F10 1F15>1F11 "
    "1F1A>1F18 1F1B>1F19 1F1C>1F18 1F1D>1F19 1F22>1F20 1F23>1F21 1F24>1F20 1F25>1F21 1F26>1F20 1F27>1F21 "
    "1F2A>1F28 1F2B>1F29 1F2C>1F28 1F2D>1F29 1F2E>1F28 1F2F>1F29 1F32>1F30 1F33>1F31 1F34>1F30 1F35>1F31 "
    "1F36>1F30 1F37>1F31 1F3A>1F38 1F3B>1F39 1F3C>1F38 1F3D>1F39 1F3E>1F38 1F3F>1F39 1F42>1F40 1F43>1F41 "
    "1F44>1F40 1F45>1F41 1F4A>1F48 1F4B>1F49 1F4C>1F48 1F4D>1F49 1F52>1F50 1F53>1F51 1F54>1F50 1F55>1F51 "
    "1F56>1F50 1F57>1F51 1F5B>1F59 1F5D>1F59 1F5F>1F59 1F62>1F60 1F63>1F61 1F64>1F60 1F65>1F61 1F66>1F60 "
    "1F67>1F61 1F6A>1F68 1F6B>1F69 1F6C>1F68 1F6D>1F69 1F6E>1F68 1F6F>1F69 1F71>03AC 1F73>03AD 1F75>03AE "
    "1F77>03AF 1F79>03CC 1F7B>03CD 1F7D>03CE 1F80>1F00 1F81>1F01 1F82>1F00 1F83>1F01 1F84>1F00 1F85>1F01 "
    "1F86>1F00 1F87>1F01 1F88>1F08 1F89>1F09 1F8A>1F08 1F8B>1F09 1F8C>1F08 1F8D>1F09 1F8E>1F08 1F8F>1F09 "
    "1F90>1F20 1F91>1F21 1F92>1F20 1F93>1F21 1F94>1F20 1F95>1F21 1F96>1F20 1F97>1F21 1F98>1F28 1F99>1F29 "
    "1F9A>1F28 1F9B>1F29 1F9C>1F28 1F9D>1F29 1F9E>1F28 1F9F>1F29 1FA0>1F60 1FA1>1F61 1FA2>1F60 1FA3>1F61 "
    "1FA4>1F60 1FA5>1F61 1FA6>1F60 1FA7>1F61 1FA8>1F68 1FA9>1F69 1FAA>1F68 1FAB>1F69 1FAC>1F68 1FAD>1F69 "
    "1FAE>1F68 1FAF>1F69 1FB2>1F70 1FB4>03AC 1FB7>1FB6 1FBB>0386 1FC2>1F74 1FC4>03AE 1FC7>1FC6 1FC9>0388 "
    "1FCB>0389 1FD2>03CA 1FD3>0390 1FD7>03CA 1FDB>038A 1FE2>03CB 1FE3>03B0 1FE7>03CB 1FEB>038E 1FEE>0385 "
    "1FF2>1F7C 1FF4>03CE 1FF7>1FF6 1FF9>038C 1FFB>038F 212B>00C5";

std::map<char16_t, char16_t> FirstMatchElsewhere() {
  std::map<char16_t, char16_t> listed;
  std::istringstream words(kFirstMatchElsewhere);
  for (std::string word; words >> word;) {
    listed[static_cast<char16_t>(std::stoul(word.substr(0, 4), nullptr, 16))] =
        static_cast<char16_t>(std::stoul(word.substr(5), nullptr, 16));
  }
  return listed;
}

}  // namespace

TEST_CASE("documented cases of composition and decomposition") {
  zyltest::PluginHost host;
  struct Case {
    std::string why;
    const char* declaration;
    Units in, out;
  } cases[] = {
      {"first match, not longest: the LV row comes before the LVT row", kCompose, u"\u1100\u1161\u11A8", u"\uAC00\u11A8"},
      {"first match, not longest: U+1EA0 comes before U+1EAC", kCompose, u"A\u0323\u0302", u"\u1EA0\u0302"},
      {"no reordering of marks", kCompose, u"\u0301e", u"\u0301e"},
      {"a supplementary ideograph composes to its BMP row", kCompose, u"\U000242EE", u"\uFA6C"},
      {"a decomposition cut by the end of the text", kCompose, u"xA\u0323", u"x\u1EA0"},
      {"a lone first unit at the end", kCompose, u"abcA", u"abcA"},
      {"precomposed text stays", kCompose, u"\u00C5\uAC01\u1EAC", u"\u00C5\uAC01\u1EAC"},
      {"marks that match no row stay", kCompose, u"e\u0301\u0301", u"\u00E9\u0301"},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    const std::optional<Units> out = CallUnits(c.declaration, c.in);
    REQUIRE(out.has_value());
    CHECK(Hex(*out) == Hex(c.out));
  }
  for (const char* declaration : {kCompose, kDecompose}) {
    CHECK_FALSE(CallUnits(declaration, std::nullopt).has_value());
    CHECK_FALSE(CallUnits(declaration, Units()).has_value());
  }
}

TEST_CASE("decomposition gives every row's decomposition and copies every other unit") {
  zyltest::PluginHost host;
  Units composed, others;
  for (int64_t row = 0; row < kCompositionCount; ++row) composed += static_cast<char16_t>(compositions[row][0]);
  for (uint32_t unit = 1; unit < 0x10000; ++unit) {
    if ((unit < 0xD800 || unit > 0xDFFF) && zyl::FindCompositionRow(static_cast<uint16_t>(unit)) < 0) {
      others += static_cast<char16_t>(unit);
    }
  }
  const std::optional<Units> decomposed = CallUnits(kDecompose, composed);
  REQUIRE(decomposed.has_value());
  size_t at = 0;
  for (char16_t c : composed) {
    const Units expected = ReferenceNFD(c);
    if (decomposed->compare(at, expected.size(), expected) != 0) FAIL_CHECK(Hex(c));
    at += expected.size();
  }
  CHECK(at == decomposed->size());
  CHECK(CallUnits(kDecompose, others) == others);
}

TEST_CASE("every row's decomposition composes back, except where an earlier row matches first") {
  zyltest::PluginHost host;
  // One call: each decomposition followed by a space, which no decomposition holds or continues.
  Units text;
  for (const Units& d : RowDecompositions()) text += d + u" ";
  const std::optional<Units> composed = CallUnits(kCompose, text);
  REQUIRE(composed.has_value());
  std::vector<Units> pieces;
  std::basic_istringstream<char16_t> split(*composed);
  for (Units piece; std::getline(split, piece, u' ');) pieces.push_back(piece);
  REQUIRE(pieces.size() == static_cast<size_t>(kCompositionCount));

  const std::map<char16_t, char16_t> elsewhere = FirstMatchElsewhere();
  CHECK(elsewhere.size() == 266);
  int roundTrips = 0, hangulWithFinal = 0;
  for (int64_t row = 0; row < kCompositionCount; ++row) {
    const auto composedUnit = static_cast<char16_t>(compositions[row][0]);
    const Units& d = RowDecompositions()[static_cast<size_t>(row)];
    CAPTURE(Hex(composedUnit));
    Units expected(1, composedUnit);
    if (const auto listed = elsewhere.find(composedUnit); listed != elsewhere.end()) {
      expected = Units(1, listed->second) + d.substr(ReferenceNFD(listed->second).size());
    } else if (composedUnit >= 0xAC00 && composedUnit <= 0xD7A3 && (composedUnit - 0xAC00) % 28 != 0) {
      expected = Units(1, static_cast<char16_t>(composedUnit - (composedUnit - 0xAC00) % 28)) + d.substr(2);
      ++hangulWithFinal;
    } else {
      ++roundTrips;
    }
    CHECK(Hex(pieces[static_cast<size_t>(row)]) == Hex(expected));
  }
  CHECK(hangulWithFinal == 11172 - 399);
  CHECK(roundTrips == kCompositionCount - 266 - hangulWithFinal);
}

TEST_CASE("Hangul: every LV pair composes to its syllable, a final jamo stays beside it") {
  zyltest::PluginHost host;
  Units pairs, expected;
  for (char16_t l = 0x1100; l <= 0x1112; ++l) {
    for (char16_t v = 0x1161; v <= 0x1175; ++v) {
      pairs += Units{l, v, 0x11AF};
      expected += Units{static_cast<char16_t>(0xAC00 + ((l - 0x1100) * 21 + (v - 0x1161)) * 28), 0x11AF};
    }
  }
  CHECK(CallUnits(kCompose, pairs) == expected);
  // Lone jamo and jamo in the wrong order stay as they are.
  CHECK(CallUnits(kCompose, Units(u"\u1161\u1100\u11A8\u1100")) == Units(u"\u1161\u1100\u11A8\u1100"));
}

TEST_CASE("random text composes as a literal scan of every row does, and decomposes unit by unit") {
  zyltest::PluginHost host;
  std::mt19937 rng(90210);
  const std::vector<Units>& decompositions = RowDecompositions();
  for (int round = 0; round < 200; ++round) {
    Units text;
    for (int pieces = 1 + static_cast<int>(rng() % 16); pieces > 0; --pieces) {
      const uint32_t r = rng();
      const Units& d = decompositions[rng() % decompositions.size()];
      switch (r % 8) {
        case 0: text += d; break;
        case 1: text += d.substr(0, 1 + r / 8 % d.size()); break;  // cut short
        case 2: text += static_cast<char16_t>(0x0300 + r / 8 % 0x70); break;
        case 3: text += static_cast<char16_t>((r / 8 % 2 ? 'a' : 'A') + r / 16 % 26); break;
        case 4: text += static_cast<char16_t>(0x1100 + r / 8 % 0x100); break;  // jamo
        case 5: text += ToUnits(std::u32string(1, static_cast<char32_t>(0x10000 + r / 8 % 0x100000))); break;
        case 6: text += static_cast<char16_t>(compositions[r / 8 % kCompositionCount][0]); break;
        default: {
          const auto unit = static_cast<char16_t>(1 + r / 8 % 0xFFFF);
          text += unit >= 0xD800 && unit <= 0xDFFF ? u'x' : unit;
        }
      }
    }
    CAPTURE(Hex(text));
    CHECK(CallUnits(kCompose, text) == ReferenceCompose(text));
    CHECK(CallUnits(kDecompose, text) == ReferenceDecompose(text));
  }
}

TEST_CASE("input in any encoding; results come as UTF-8 on current hosts and UTF-16 on old ones") {
  {
    zyltest::PluginHost host;
    for (auto [bytes, encoding] : {std::pair<std::string, uint32_t>{"\xE9", memhost::kISOLatin1},
                                   {"\xE9", memhost::kNoEncoding},
                                   {"\xC3\xA9", memhost::kUTF8}}) {
      memhost::String in(bytes, encoding);
      memhost::String out(memhost::Call<REALstringStruct*>(kDecompose, in.get()));
      CHECK(out.encoding() == memhost::kUTF8);
      CHECK(out.bytes() == "e\xCC\x81");
    }
  }
  zyltest::PluginHost oldHost(2011.0);
  memhost::String in("e\xCC\x81", memhost::kUTF8);
  memhost::String out(memhost::Call<REALstringStruct*>(kCompose, in.get()));
  CHECK(out.encoding() == memhost::kUTF16);
  CHECK(out.bytes() == std::string("\xE9\x00", 2));
}

TEST_CASE("log lines while debugging is on, and none while it is off") {
  zyltest::PluginHost host;
  zyltest::CapturedLog log;
  const Units text = u"e\u0301x \u00E9";
  CHECK(CallUnits(kCompose, text) == Units(u"\u00E9x \u00E9"));
  CHECK(CallUnits(kDecompose, text) == Units(u"e\u0301x e\u0301"));
  CHECK(log.Lines().empty());
  zyl::setDebugging(1);
  const size_t before = log.Lines().size();
  CHECK(CallUnits(kCompose, text) == Units(u"\u00E9x \u00E9"));
  std::vector<std::string> lines = log.Lines();
  lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
  const std::vector<std::string> expected = {
      "ZYL Debug: ConvertUnicodeToCharacterCompositionZYL", "ZYL Debug: count compositions 12197",
      "ZYL Debug: findCompositionInText 101", "ZYL Debug: findCompositionInText 120", "ZYL Debug: outsize 4"};
  CHECK(lines == expected);

  const size_t composed = log.Lines().size();
  CHECK(CallUnits(kDecompose, text) == Units(u"e\u0301x e\u0301"));
  lines = log.Lines();
  lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(composed));
  REQUIRE(lines.size() > 4);
  CHECK(lines.front() == "ZYL Debug: ConvertUnicodeToCharacterDecompositionZYL");
  CHECK(lines[1] == "ZYL Debug: findComposition 769");  // U+0301: the only units from U+00C0 up
  CHECK(std::count(lines.begin(), lines.end(), "ZYL Debug: Char not found 769") == 1);
  CHECK(std::count(lines.begin(), lines.end(), "ZYL Debug: Char found 233, 34") == 1);
  CHECK(lines.back() == "ZYL Debug: outsize 6");
}

TEST_CASE("decomposition of long runs that need none, with decomposable units at every place in them") {
  zyltest::PluginHost host;
  for (size_t at = 0; at < 40; ++at) {
    Units text;
    for (size_t k = 0; k < 40; ++k) text += static_cast<char16_t>(k == at ? 0x00E9 : 'a' + k % 26);
    text += static_cast<char16_t>(0x00BF);  // the last unit below the first decomposable one
    text += text;
    CAPTURE(at);
    CHECK(CallUnits(kDecompose, text) == ReferenceDecompose(text));
  }
}
