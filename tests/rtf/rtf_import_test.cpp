// Assigning "RTFDataZYL" as the host does: the runs and paragraph alignments each document gives,
// the deliberate quirks, code pages, and inputs that are not RTF, truncated, mutated or carry zero
// bytes.
#include <doctest/doctest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "plugin/log.h"
#include "rtf/rtf_test_support.h"
#include "support/plugin_host.h"

using rtftest::ImportNew;
using rtftest::Run;
using rtftest::RunOf;
using namespace std::string_literals;

namespace {

struct Case {
  const char* why;
  std::string rtf;
  std::vector<Run> runs;
  std::optional<std::vector<int64_t>> alignments = std::nullopt;
};

void CheckCases(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    INFO(c.why);
    CAPTURE(c.rtf);
    const rtftest::Imported imported = ImportNew(c.rtf);
    CHECK(imported.runs == c.runs);
    if (c.alignments) CHECK(imported.alignments == *c.alignments);
  }
}

constexpr uint32_t kRed = 0xFF0000;

}  // namespace

TEST_CASE("runs: one per style change, \\u, \\par and closing brace") {
  zyltest::PluginHost host;
  CheckCases({
      {"defaults of the first group", R"({\rtf1 Hello})", {RunOf("Hello")}, {{0}}},
      {"a group's style ends with it", R"({\rtf1{\b bold} plain})", {RunOf("bold", "", 0, 0, "b"), RunOf(" plain")}},
      {"\\par ends a run and a paragraph", R"({\rtf1 a\par b})", {RunOf("a\r"), RunOf("b")}, {{0, 0}}},
      {"a backslash before a line break is a paragraph mark", "{\\rtf1 a\\\r\nb}", {RunOf("a\r"), RunOf("b")}},
      {"a raw line break ends a run but is no text", "{\\rtf1 a\r\nb}", {RunOf("a"), RunOf("b")}, {{0}}},
      {"styles on and off", R"({\rtf1\b\i\ul x\ulnone y\i0 z\b0 w\ul v\ul0 u})",
       {RunOf("x", "", 0, 0, "biu"), RunOf("y", "", 0, 0, "bi"), RunOf("z", "", 0, 0, "b"), RunOf("w"),
        RunOf("v", "", 0, 0, "u"), RunOf("u")}},
      {"sizes in half points, toward zero", R"({\rtf1\fs24 x\fs25 y\fs-12 z\upr40 w})",
       {RunOf("x", "", 12), RunOf("y", "", 12), RunOf("z", "", 44), RunOf("w", "", 20)}},
      {"literal escapes", R"({\rtf1 \{\}\\})", {RunOf(R"({}\)")}},
      {"\\line and \\tab are unknown words and give nothing", R"({\rtf1 a\line b\tab c})", {RunOf("abc")}},
      {"each \\u is a run of its own", R"({\rtf1 a\u8364  b})", {RunOf("a"), RunOf("\xE2\x82\xAC"), RunOf(" b")}},
      {"\\u233? yields only the letter: '?' is the word's delimiter", R"({\rtf1 \u233?})", {RunOf("\xC3\xA9")}},
      {"a fallback after the delimiter is kept", R"({\rtf1 \u233 ?})", {RunOf("\xC3\xA9"), RunOf("?")}},
      {"negative \\u by the lexer's arithmetic", R"({\rtf1 \u-3913 })", {RunOf("\xE1\x9F\x87")}},
      {"\\u0 is dropped", R"({\rtf1 a\u0 b})", {RunOf("a"), RunOf("b")}},
      {"a group opening with \\uc1 is skipped whole", R"({\rtf1{\uc1\u233 e}x})", {RunOf("x")}},
  });
}

TEST_CASE("font and colour tables, and the group they leave open") {
  zyltest::PluginHost host;
  const std::string tables = R"({\fonttbl{\f0\fswiss Arial;}{\f1 Times;}}{\colortbl;\red255\green0\blue0;})";
  CheckCases({
      {"colour by number", R"({\rtf1{\colortbl;\red255\green0\blue0;}\cf1 r\cf5 k})", {RunOf("r", "", 0, kRed), RunOf("k")}},
      {"font by number; a missing number is no font", "{\\rtf1" + tables + R"(\f1 t\f0 a\f7 n})",
       {RunOf("t", "Times"), RunOf("a", "Arial"), RunOf("n")}},
      {"a nested group's style ends with it", "{\\rtf1" + tables + R"(\f0{\cf1\b red}plain})",
       {RunOf("red", "Arial", 0, kRed, "b"), RunOf("plain", "Arial")}},
      {"the byte right after a table's brace is its delimiter", R"({\rtf1{\colortbl;}xyz})", {RunOf("yz")}},
      {"a colour table empties the pending text", R"({\rtf1 abc{\colortbl;}\par def})", {RunOf("\r"), RunOf("def")}},
      {"the table consumed its brace: the last one closes the table's group", R"({\rtf1\b{\fonttbl{\f0 A;}}\f0 a}b)",
       {RunOf("a", "A", 0, 0, "b"), RunOf("b", "", 0, 0, "b")}},
      {"after the outermost group: the host's defaults", R"({\rtf1\b a}b\i c)", {RunOf("a", "", 0, 0, "b"), RunOf("bc")}},
      {"a brace with no group open ends the pass", R"({\rtf1 a}}b)", {RunOf("a")}},
      {"a missing closing brace is tolerated", R"({\rtf1{\b bold)", {RunOf("bold", "", 0, 0, "b")}},
  });
}

TEST_CASE("groups that open with an unknown word are skipped; the just-opened flag") {
  zyltest::PluginHost host;
  CheckCases({
      {"ignorable destination", R"({\rtf1{\*\foo hidden}shown})", {RunOf("shown")}},
      {"stylesheet, info and generator",
       R"({\rtf1{\stylesheet{\s0 Normal;}{\s1\b Heading;}}{\info{\author A}{\title T}}{\*\generator G;}text})",
       {RunOf("text")}},
      {"nested groups inside a skipped group", R"({\rtf1{\foo{\b x}{{y}}z}w})", {RunOf("w")}},
      {"\\bin is acted on while skipping", R"({\rtf1{\foo\bin2 }}}w})", {RunOf("w")}},
      {"a raw line break does not clear the flag", "{\\rtf1{\r\n\\foo hidden}y}", {RunOf("y")}},
      {"a plain byte clears it", R"({\rtf1{ \foo shown}y})", {RunOf(" shown"), RunOf("y")}},
      {"a known word clears it", R"({\rtf1{\b\foo bold}x})", {RunOf("bold", "", 0, 0, "b"), RunOf("x")}},
      {"an ignored word clears it", R"({\rtf1{\pard\foo x}y})", {RunOf("x"), RunOf("y")}},
      {"a hex escape clears it", R"({\rtf1{\'41\foo x}y})", {RunOf("Ax"), RunOf("y")}},
      {"a literal escape clears it", R"({\rtf1{\{\foo x}y})", {RunOf("{x"), RunOf("y")}},
      {"an unknown word later in a group is ignored", R"({\rtf1 a\foo b})", {RunOf("ab")}},
  });
}

TEST_CASE("paragraph alignment: one value for the document, handed to every new paragraph") {
  zyltest::PluginHost host;
  CheckCases({
      {"centre, right, left", R"({\rtf1\qc c\par\pard\qr r\par\ql l})", {RunOf("c\r"), RunOf("r\r"), RunOf("l")}, {{2, 3, 1}}},
      {"\\pard does not reset it; \\qj is left", R"({\rtf1\qc a\par\pard b\par\qj c})", {RunOf("a\r"), RunOf("b\r"), RunOf("c")},
       {{2, 2, 1}}},
      {"only a paragraph's first run sets it", R"({\rtf1 a\qc b\par c})", {RunOf("a"), RunOf("b\r"), RunOf("c")}, {{0, 2}}},
      {"it is not per group", R"({\rtf1{\qr a\par}b})", {RunOf("a\r"), RunOf("b")}, {{3, 3}}},
  });
}

TEST_CASE("code pages: \\'hh and plain bytes in the group's encoding") {
  zyltest::PluginHost host;
  CheckCases({
      {"an escape alone makes no run", R"({\rtf1\ansi\ansicpg1251 \'c0})", {}},
      {"Cyrillic", R"({\rtf1\ansi\ansicpg1251 x\'c0})", {RunOf("x\xD0\x90")}},
      {"Windows Latin 1 by default, either case", R"({\rtf1 x\'e9\'E9\'80})", {RunOf("x\xC3\xA9\xC3\xA9\xE2\x82\xAC")}},
      {"Central European", R"({\rtf1\ansicpg1250 x\'8a})", {RunOf("x\xC5\xA0")}},
      {"Mac Roman", R"({\rtf1\mac x\'8e})", {RunOf("x\xC3\xA9")}},
      {"Shift_JIS, two escapes", R"({\rtf1\ansicpg932 x\'82\'a0})", {RunOf("x\xE3\x81\x82")}},
      {"per group", R"({\rtf1\ansicpg1251{\ansicpg1252 x\'c0}y\'c0})", {RunOf("x\xC3\x80"), RunOf("y\xD0\x90")}},
      {"\\ansi after \\ansicpg", R"({\rtf1\ansicpg1251\ansi x\'c0})", {RunOf("x\xC3\x80")}},
      {"plain 8-bit bytes too", "{\\rtf1\\ansicpg1251 \xC0\xC1}", {RunOf("\xD0\x90\xD0\x91")}},
      {"the escape is kept by a run made after it", R"({\rtf1\b \'e9x})", {RunOf("\xC3\xA9x", "", 0, 0, "b")}},
      {"one hex digit; the byte after it is taken all the same", R"({\rtf1 x\'9 y})", {RunOf("x\ty")}},
      {"no hex digit gives a zero byte, and the run's string ends there", R"({\rtf1 x\'zzy})", {RunOf("x")}},
      {"no white space is read", R"({\rtf1 x\' 9y})", {RunOf("x")}},
      {"an escape eats the closing brace as its second byte", R"({\rtf1 x\'4})", {RunOf("x\x04")}},
  });
}

TEST_CASE("\\bin skips its count of bytes, clamped to the text") {
  zyltest::PluginHost host;
  CheckCases({
      {"three bytes of data", R"({\rtf1 a\bin3 {}}b})", {RunOf("ab")}},
      {"a bare \\bin steps back one byte", R"({\rtf1 a\bin x})", {RunOf("a x")}},
      {"never past the last byte", R"({\rtf1 a\bin99999999999 b})", {RunOf("a")}},
      {"the lexer's negative arithmetic: -8 is 2", R"({\rtf1 a\bin-8 bcdef})", {RunOf("adef")}},
      {"twenty digits that wrap to a negative number", R"({\rtf1 a\bin18446744073709551000 b})", {RunOf("a b")}},
  });
}

TEST_CASE("zero bytes: text to the import, the end of every scan to the lexer") {
  zyltest::PluginHost host;
  CheckCases({
      {"a zero byte in the text ends the run's string", "{\\rtf1 ab\0cd\\b ef}"s, {RunOf("ab"), RunOf("ef", "", 0, 0, "b")}},
      {"a zero byte right after a word is not its delimiter", "{\\rtf1 a\\b\0x}"s, {RunOf("a"), RunOf("", "", 0, 0, "b")}},
      {"a zero byte inside a colour table ends the table", "{\\rtf1{\\colortbl;\\red255;\0}\\cf1 x}"s, {RunOf(""), RunOf("x", "", 0, kRed)}},
      {"a zero byte after a backslash", "{\\rtf1 a\\\0b}"s, {RunOf("a")}},
  });
}

TEST_CASE("what is not RTF leaves the text object empty; an import always clears it first") {
  zyltest::PluginHost host;
  memhost::Object text = rtftest::NewText({RunOf("old text")}, {2});
  for (const std::string& rtf : {"{\\rtf"s, "{\\rtf1"s, "x{\\rtf1 a}"s, "{\\RTF1 abc}"s, ""s}) {
    CAPTURE(rtf);
    rtftest::Import(text.get(), "{\\rtf1 refill}");
    REQUIRE(memhost::StyleRuns(text.get()).size() == 1);
    rtftest::Import(text.get(), rtf);
    CHECK(memhost::StyleRuns(text.get()).empty());
  }
  memhost::Call<void>(rtftest::kSetter, text.get(), int8_t{1}, static_cast<REALstringStruct*>(nullptr));
  CHECK(memhost::StyleRuns(text.get()).empty());
  CHECK(ImportNew("{\\rtf1 }").runs.empty());  // seven bytes, no text
}

TEST_CASE("truncated and mutated documents never crash nor leak") {
  zyltest::PluginHost host;
  const std::string document =
      "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fswiss\\fcharset0 Arial{\\*\\falt A};}}"
      "{\\colortbl;\\red255\\green0\\blue0;}{\\*\\generator x;}\\pard\\qc\\f0\\fs24\\cf1 caf\\'e9 \\u8364?\r\n"
      "\\par\\b bold\\b0 {\\i it}\\bin2 {}\\ul\\'E9\\'4}";
  memhost::Object text = rtftest::NewText({});
  for (size_t n = 0; n <= document.size(); ++n) rtftest::Import(text.get(), document.substr(0, n));
  std::mt19937 rng(7);
  const char replacements[] = {'{', '}', '\\', '\'', '\0', '9', '-', '\r', ';', 'x'};
  for (int round = 0; round < 3000; ++round) {
    std::string mutated = document;
    for (int k = 0; k < 3; ++k) {
      mutated[6 + rng() % (mutated.size() - 6)] = replacements[rng() % std::size(replacements)];
    }
    rtftest::Import(text.get(), mutated);
  }
  CHECK(memhost::Problems().empty());
}

TEST_CASE("a nil text object, and the debug log of an import") {
  zyltest::PluginHost host;
  memhost::String rtf(R"({\rtf1\qc{\fonttbl{\f0 Arial;}}\f0 centred\par})", memhost::kUTF8);
  memhost::Call<void>(rtftest::kSetter, static_cast<REALobjectStruct*>(nullptr), int8_t{0}, rtf.get());

  zyltest::CapturedLog log(true);
  const rtftest::Imported imported = ImportNew(R"({\rtf1\qc{\fonttbl{\f0 Arial;}}\f0 centred\par})");
  CHECK(imported.runs == std::vector<Run>{RunOf("centred\r", "Arial")});
  const std::vector<std::string> lines = log.Lines();
  for (const char* expected : {"ZYL Debug: StyledTextClear", "ZYL Debug: StyleRunSetFontName", "ZYL Debug: LengthUTF8 5",
                               "ZYL Debug: NewText", "ZYL Debug: NewParagraphCount 1",
                               "ZYL Debug: SetParagraphAlignment 0, 2", "ZYL Debug: Ignore empty run"}) {
    CHECK_MESSAGE(std::any_of(lines.begin(), lines.end(), [&](const std::string& line) { return line.rfind(expected, 0) == 0; }),
                  expected);
  }
}
