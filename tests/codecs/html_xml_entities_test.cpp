// "EncodingToHTMLZYL", "EncodingToXMLZYL" and the decoder behind "DecodingFromHTMLZYL" and
// "DecodingFromXMLZYL" as the host calls them: listed cases, the entity table row by row, the
// ready path, malformed references of each kind, and round trips on random text.
#include <doctest/doctest.h>

#include <map>
#include <random>
#include <set>
#include <string_view>

#include "codecs/html_entity_table.h"
#include "codecs/web_codecs_test_support.h"
#include "support/plugin_host.h"
#include "text/text_test_support.h"

using memhost::String;
using namespace webtest;
using namespace std::string_literals;

namespace {

std::optional<std::string> Encode(const char* declaration, const std::string& utf8, int64_t options) {
  String s(utf8, memhost::kUTF8);
  return CallUTF8(declaration, s.get(), options);
}

std::optional<std::string> Decode(const std::string& utf8, const char* declaration = kFromHTML) {
  String s(utf8, memhost::kUTF8);
  return CallUTF8(declaration, s.get());
}

}  // namespace

TEST_CASE("HTML and XML tables: HTML 4.01's entities in the order the decoder relies on") {
  constexpr int rows = static_cast<int>(std::size(zyl::escapecodes)) - 1;
  REQUIRE(rows == 253);
  CHECK(zyl::escapecodes[rows].code == 0);
  CHECK(zyl::escapecodes[rows].name == nullptr);
  const std::pair<uint32_t, std::string_view> leading[] = {
      {34, "quot"}, {38, "amp"}, {39, "apos"}, {60, "lt"}, {62, "gt"}};
  for (int row = 0; row < 5; ++row) {
    CHECK(zyl::escapecodes[row].code == leading[row].first);
    CHECK(zyl::escapecodes[row].name == leading[row].second);
  }
  std::set<std::string_view> names;
  for (int row = 0; row < rows; ++row) {
    const std::string_view name = zyl::escapecodes[row].name;
    CHECK(names.insert(name).second);
    CHECK((!name.empty() && name.size() <= 8));  // fits the decoder's window
    if (row > 5) CHECK(zyl::escapecodes[row].code > zyl::escapecodes[row - 1].code);
  }
  CHECK(zyl::escapecodes[5].code == 160);
  // Code points as the HTML 4.01 entity sets give them, where other lists differ or typos hide.
  const std::map<std::string_view, uint32_t> known = {
      {"nbsp", 160},    {"shy", 173},       {"yuml", 255},   {"OElig", 338},  {"Yuml", 376},    {"fnof", 402},
      {"circ", 710},    {"tilde", 732},     {"Sigma", 931},  {"sigmaf", 962}, {"thetasym", 977}, {"upsih", 978},
      {"piv", 982},     {"ensp", 8194},     {"thinsp", 8201}, {"zwnj", 8204}, {"rlm", 8207},    {"sbquo", 8218},
      {"permil", 8240}, {"oline", 8254},    {"frasl", 8260}, {"euro", 8364},  {"image", 8465},  {"weierp", 8472},
      {"alefsym", 8501}, {"crarr", 8629},   {"forall", 8704}, {"part", 8706}, {"empty", 8709},  {"ni", 8715},
      {"lowast", 8727}, {"prop", 8733},     {"ang", 8736},   {"there4", 8756}, {"sim", 8764},   {"cong", 8773},
      {"sdot", 8901},   {"lceil", 8968},    {"rfloor", 8971}, {"lang", 9001}, {"rang", 9002},   {"loz", 9674},
      {"spades", 9824}, {"diams", 9830}};
  int found = 0;
  for (int row = 0; row < rows; ++row) {
    const auto it = known.find(zyl::escapecodes[row].name);
    if (it == known.end()) continue;
    CAPTURE(it->first);
    CHECK(zyl::escapecodes[row].code == it->second);
    ++found;
  }
  CHECK(found == static_cast<int>(known.size()));
}

TEST_CASE("Every HTML entity name decodes to its code point and encodes back") {
  zyltest::PluginHost host;
  // Names that begin an earlier row's name decode as that row, on purpose.
  const std::map<std::string_view, uint32_t> earlierRow = {{"sup", 178}, {"sigma", 962}, {"or", 170}};
  for (int row = 0; zyl::escapecodes[row].name != nullptr; ++row) {
    const std::string name = zyl::escapecodes[row].name;
    const uint32_t code = zyl::escapecodes[row].code;
    CAPTURE(name);
    const auto shadow = earlierRow.find(name);
    const std::string decoded = UTF8(std::u32string(1, shadow == earlierRow.end() ? code : shadow->second));
    const std::string character = UTF8(std::u32string(1, code));
    CHECK(Decode("&" + name + ";") == decoded);
    CHECK(Decode("x&" + name) == "x" + decoded);  // no ";" needed at the very end
    CHECK(Decode("&" + name + ";", kFromXML) == decoded);
    const std::string encoded = code == 39 ? "&#39;" : "&" + name + ";";
    CHECK(Encode(kToHTML, character, 0) == encoded);
    if (code >= 128) CHECK(Encode(kToHTML, character, 1) == encoded);
  }
}

TEST_CASE("EncodingToHTMLZYL: markup, entities, numeric references and dropped controls") {
  zyltest::PluginHost host;
  const Case cases[] = {
      {"markup, numeric apostrophe", "Tom & Jerry's <b>", "Tom &amp; Jerry&#39;s &lt;b&gt;", 0},
      {"options 1 keeps the markup", "Tom & Jerry's <b>", "Tom & Jerry's <b>", 1},
      {"only bit 0 of options counts", "a\"b", "a&quot;b", 2},
      {"no entity: decimal", "\xE2\x98\x83", "&#9731;", 0},
      {"beyond the BMP", "\xF0\x9F\x98\x80", "&#128512;", 1},
      {"control dropped once encoding", "a\x01&", "a&amp;", 0},
      {"tab, LF and CR survive", "\t\n\r<\x7F", "\t\n\r&lt;\x7F", 0},
      {"zero code point dropped too", "<\0>"s, "&lt;&gt;", 0},
      {"leading byte order mark", "\xEF\xBB\xBF<", "&lt;", 0},
      {"only a byte order mark", "\xEF\xBB\xBF", std::nullopt, 0},
      {"empty", "", std::nullopt, 0},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String s(c.in, memhost::kUTF8);
    CHECK(Take(memhost::Call<REALstringStruct*>(kToHTML, s.get(), c.options)) == Tagged(c.out, memhost::kASCII));
  }
  CHECK(Take(memhost::Call<REALstringStruct*>(kToHTML, static_cast<REALstringStruct*>(nullptr), int64_t{0})) ==
        std::nullopt);
}

TEST_CASE("EncodingToXMLZYL: only the markup becomes references") {
  zyltest::PluginHost host;
  const Case cases[] = {
      {"numeric apostrophe", "a'b", "a&#39;b", 0},
      {"options 1: &apos;", "a'b", "a&apos;b", 1},
      {"all five", "\"&'<>", "&quot;&amp;&#39;&lt;&gt;", 0},
      {"non-ASCII stays", "\xC3\xA9<\xF0\x9F\x98\x80", "\xC3\xA9&lt;\xF0\x9F\x98\x80", 0},
      {"controls dropped, tab LF CR kept", "\x01\t\n\r\x1F<", "\t\n\r&lt;", 0},
      {"only a byte order mark", "\xEF\xBB\xBF", std::nullopt, 0},
      {"empty", "", std::nullopt, 1},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String s(c.in, memhost::kUTF8);
    // Built from UTF-32, which current hosts hand over as UTF-8.
    CHECK(Take(memhost::Call<REALstringStruct*>(kToXML, s.get(), c.options)) == Tagged(c.out, memhost::kUTF8));
  }
}

TEST_CASE("The encoders return a text that needs nothing as the same string with one more reference") {
  zyltest::PluginHost host;
  struct Case {
    std::string why, in;
    uint32_t encoding;
    bool html, xml;
  } cases[] = {
      {"plain ASCII", "plain text 123", memhost::kUTF8, true, true},
      {"control characters pass the test", "a\x01" "b", memhost::kUTF8, true, true},
      {"non-ASCII: only XML", "caf\xC3\xA9", memhost::kUTF8, false, true},
      {"UTF-16 plain text", texttest::Wide(u"plain"), memhost::kUTF16, true, true},
      {"the test ends at a zero code point", "a\0<b>"s, memhost::kUTF8, true, true},
      {"markup", "a<b", memhost::kUTF8, false, false},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String s(c.in, c.encoding);
    for (const auto& [declaration, same] : {std::pair{kToHTML, c.html}, std::pair{kToXML, c.xml}}) {
      REALstringStruct* result = memhost::Call<REALstringStruct*>(declaration, s.get(), int64_t{0});
      CHECK((result == s.get()) == same);
      if (same) CHECK(memhost::RefCount(s.get()) == 2);
      memhost::Release(result);
      CHECK(memhost::RefCount(s.get()) == 1);
    }
  }
}

TEST_CASE("DecodingFromHTMLZYL: named, decimal and hexadecimal references; malformed ones stay") {
  zyltest::PluginHost host;
  const Case cases[] = {
      {"three forms of <", "&lt;&#60;&#x3C;", "<<<"},
      {"case matters in names", "&LT;&Eacute;&eacute;", "&LT;\xC3\x89\xC3\xA9"},
      {"one level only", "&amp;lt;", "&lt;"},
      {"leading byte order mark", "\xEF\xBB\xBF&lt;", "<"},
      // The prefix rule: the first row whose name begins with the candidate.
      {"prefix of amp", "&am;", "&"},
      {"lt comes before laquo", "&l;", "<"},
      {"sup2 comes before sup", "&sup;", "\xC2\xB2"},
      {"sigmaf comes before sigma", "&sigma;", "\xCF\x82"},
      {"ordf comes before or", "&or;", "\xC2\xAA"},
      {"longer than the name", "&ltx;&amp2;", "&ltx;&amp2;"},
      {"longer than the name by a zero", "&lt\0;"s, "&lt\0;"s},
      {"zero inside the name", "&l\0;"s, "&l\0;"s},
      // Where the name ends.
      {"entity at the very end needs no ;", "a&nbsp", "a\xC2\xA0"},
      {"a name at the end runs to the end", "&#65&#x42", "A"},
      {"eight characters", "&thetasym;", "\xCF\x91"},
      {"no ; within nine", "&toolongname;", "&toolongname;"},
      {"nine before the ;", "&#00000065;", "&#00000065;"},
      {"eight before the ;", "&#0000065;", "A"},
      {"empty name", "&;", "&;"},
      {"lone &", "&", "&"},
      {"& at the end", "a&", "a&"},
      {"& before a reference", "&&lt;", "&<"},
      {"space in the name", "& lt;", "& lt;"},
      // Numbers.
      {"digits need not reach the ;", "&#65x;&#x41g;", "AA"},
      {"upper-case X is read as decimal", "&#X3C;", "&#X3C;"},
      {"zero", "&#0;&#x0;", "&#0;&#x0;"},
      {"negative", "&#-5;&#x-41;&#6-5;", "&#-5;&#x-41;&#6-5;"},
      {"no digits", "&#;&#x;&#a;&#", "&#;&#x;&#a;&#"},
      {"zero code point after #", "&#\0;"s, "&#\0;"s},
      {"decimal digits are low bytes", "&#\xC4\xB6\xC4\xB5;", "A"},         // U+0136 U+0135 read as "65"
      {"hexadecimal digits are low 16 bits", "&#x\xF0\x90\x81\x81;", "\n"},  // U+10041 read as "A"
      {"highest code point", "&#1114111;&#x10FFFF;", "\xF4\x8F\xBF\xBF\xF4\x8F\xBF\xBF"},
      {"beyond Unicode: U+FFFD", "&#1114112;&#x110000;&#9999999;", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"surrogate values dropped", "a&#55296;b&#xDFFF;c", "abc"},
      // Nothing left.
      {"empty", "", std::nullopt},
      {"only a byte order mark", "\xEF\xBB\xBF", std::nullopt},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String s(c.in, memhost::kUTF8);
    for (const char* declaration : {kFromHTML, kFromXML}) {
      CHECK(Take(memhost::Call<REALstringStruct*>(declaration, s.get())) == Tagged(c.out, memhost::kUTF8));
    }
  }
  CHECK(Decode("a&#xD800;b&#x110000;") == "ab\xEF\xBF\xBD");
}

TEST_CASE("Results built from UTF-32 read the same on hosts that take UTF-32 and on older ones") {
  const std::string in = "&lt;&#x1F600;&#xD800;&#x110000;&eacute;\x01";
  std::optional<std::string> current, old;
  {
    zyltest::PluginHost host(2024.0);
    current = Decode(in);
  }
  {
    zyltest::PluginHost host(2011.0);
    String s(in, memhost::kUTF8);
    const auto result = Take(memhost::Call<REALstringStruct*>(kFromHTML, s.get()));
    REQUIRE(result.has_value());
    CHECK(result->encoding == memhost::kUTF16);
    old = memhost::ConvertBytes(result->bytes, memhost::kUTF16, memhost::kUTF8);
  }
  CHECK(current == "<\xF0\x9F\x98\x80\xEF\xBF\xBD\xC3\xA9\x01");
  CHECK(old == current);
}

namespace {

// Random text: markup, controls, ASCII, Latin-1, the table's characters, other BMP and astral
// characters; no byte order marks (the text model drops them) and no surrogates.
std::u32string RandomText(std::mt19937& rng) {
  std::u32string text;
  for (int pieces = 1 + static_cast<int>(rng() % 30); pieces > 0; --pieces) {
    const uint32_t r = rng();
    switch (r % 7) {
      case 0: text += U"\"&'<>;#x"[r % 8]; break;
      case 1: text += static_cast<char32_t>(r % 32); break;
      case 2: text += static_cast<char32_t>(32 + r % 96); break;
      case 3: text += static_cast<char32_t>(128 + r % 128); break;
      case 4: text += static_cast<char32_t>(zyl::escapecodes[r % 253].code); break;
      case 5: text += static_cast<char32_t>(0x100 + r % 0xD700); break;
      default: text += static_cast<char32_t>(0x10000 + r % 0x100000); break;
    }
  }
  return text;
}

// Whether the encoder hands the text back unchanged: no character it must encode before the
// first zero code point.
bool Ready(const std::u32string& text, bool html) {
  for (char32_t c : text) {
    if (c == 0) break;
    if ((html && c > 127) || std::u32string_view(U"\"&'<>").find(c) != std::u32string_view::npos) return false;
  }
  return true;
}

// What decoding the encoded text gives: the text without the dropped controls; from HTML, the
// three characters whose names begin an earlier row's name read as that row.
std::u32string RoundTripped(const std::u32string& text, bool html) {
  std::u32string out;
  for (char32_t c : text) {
    if (c < 32 && c != 9 && c != 10 && c != 13) continue;
    if (html) c = c == 0x2283 ? 0xB2 : c == 0x3C3 ? 0x3C2 : c == 0x2228 ? 0xAA : c;
    out += c;
  }
  return out;
}

}  // namespace

TEST_CASE("HTML and XML round trips: encoding then decoding gives the text back") {
  zyltest::PluginHost host;
  std::mt19937 rng(8);
  std::vector<std::u32string> inputs;
  std::string bytes;  // every byte value, as text without encoding (read as ISO 8859-1)
  for (int b = 255; b >= 0; --b) bytes += static_cast<char>(b);
  for (int round = 0; round < 300; ++round) inputs.push_back(RandomText(rng));

  const auto check = [&](const String& s, const std::u32string& text) {
    for (const auto& [encoder, html] : {std::pair{kToHTML, true}, std::pair{kToXML, false}}) {
      for (int64_t options : {0, 1}) {
        CAPTURE(encoder);
        CAPTURE(options);
        const String encoded(memhost::Call<REALstringStruct*>(encoder, s.get(), options));
        if (Ready(text, html)) {
          CHECK(encoded.get() == s.get());
          continue;
        }
        if (html && options == 1) continue;  // markup kept: not meant to decode back
        CHECK(CallUTF8(kFromHTML, encoded.get()).value_or("") == UTF8(RoundTripped(text, html)));
      }
    }
  };
  {
    String s(bytes, memhost::kNoEncoding);
    std::u32string text;
    for (char c : bytes) text += static_cast<char32_t>(static_cast<uint8_t>(c));
    check(s, text);
  }
  for (const std::u32string& text : inputs) {
    CAPTURE(UTF8(text));
    String s(UTF8(text), memhost::kUTF8);
    check(s, text);
  }
}

TEST_CASE("EncodingToHTMLZYL grows past its first reservation") {
  zyltest::PluginHost host;
  // 4 x length + 4096 bytes are not enough for 10 bytes per character.
  std::u32string text(5000, U'\U0001F600');
  std::string expected;
  for (int i = 0; i < 5000; ++i) expected += "&#128512;";
  CHECK(Encode(kToHTML, UTF8(text), 0) == expected);
}

TEST_CASE("EncodingToHTMLZYL reads UTF-8 text as it reads its UTF-32 form") {
  zyltest::PluginHost host;
  const auto check = [](const std::string& in) {
    const std::vector<uint32_t> form = texttest::ReferenceWideForm(in, false);
    String utf8(in, memhost::kUTF8);
    String utf16(texttest::Wide(std::vector<uint16_t>(form.begin(), form.end())), memhost::kUTF16);
    for (int64_t options : {0, 1}) {
      CAPTURE(in);
      CAPTURE(options);
      String a(memhost::Call<REALstringStruct*>(kToHTML, utf8.get(), options));
      String b(memhost::Call<REALstringStruct*>(kToHTML, utf16.get(), options));
      // A ready text comes back itself; otherwise both give the same ASCII text.
      CHECK((a.get() == utf8.get()) == (b.get() == utf16.get()));
      if (a.get() != utf8.get()) CHECK(memhost::Value(a.get()) == memhost::Value(b.get()));
    }
  };
  texttest::ForEachInput(800, check);
  for (const char* text : {"plain text that is long enough for a block or two of sixteen", "\xEF\xBB\xBF",
                           "\xEF\xBB\xBF\xEF\xBF\xBE", "abc\xEF\xBB\xBF", "\xEF\xBB\xBF<", "a\0<b", "caf\xC3\xA9 & co"}) {
    check(text);
  }
  check(std::string("x\0<", 3));
  check(std::string(40, 'q') + "\"" + std::string(40, 'r') + "\xE2\x82\xAC" + std::string(20, 's'));
  // Long prose over many 64-byte blocks and past 4,096 bytes: plain stretches, accented letters,
  // markup, controls, marks, three- and four-byte characters; then the same cut by a byte that
  // ends the well-formed prefix, at places across a block.
  std::mt19937 rng(2718);
  const char* const pieces[] = {"caf\xC3\xA9 ", "na\xC3\xAFve ", "&", "<b>", "\"", "'", "\t", "\r\n", "\x01",
                                "\xEF\xBB\xBF", "\xEF\xBF\xBE", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xC2\xA0"};
  for (int round = 0; round < 40; ++round) {
    std::string text;
    const size_t length = 130 + rng() % (round % 8 == 0 ? 9000 : 600);
    while (text.size() < length) {
      text += rng() % 3 == 0 ? std::string(pieces[rng() % std::size(pieces)]) : std::string(1 + rng() % 30, 'a' + rng() % 26);
    }
    check(text);
    for (size_t at = rng() % 7; at < std::min<size_t>(text.size(), 300); at += 1 + rng() % 9) {
      std::string cut = text;
      cut[at] = static_cast<char>("\x80\xC0\xFF\xED"[rng() % 4]);
      check(cut);
    }
  }
}
