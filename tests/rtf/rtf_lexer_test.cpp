// The lexer on its own: control words and parameters, the delimiter rule, code pages, colour and
// font tables. Every input sits in a heap block of exactly its size plus the terminator, so the
// sanitizer run catches a read past the terminating zero.
#include <doctest/doctest.h>

#include <memory>
#include <string>
#include <string_view>

#include "rtf/rtf_lexer.h"

using namespace std::string_literals;

namespace {

struct Buffer {
  std::unique_ptr<uint8_t[]> bytes;
  const uint8_t* get() const { return bytes.get(); }
};

Buffer Terminated(const std::string& text) {
  Buffer buffer{std::make_unique<uint8_t[]>(text.size() + 1)};
  for (size_t i = 0; i < text.size(); ++i) buffer.bytes[i] = static_cast<uint8_t>(text[i]);
  buffer.bytes[text.size()] = 0;
  return buffer;
}

// The position a table reader starts from: ReadCommand over the word after the backslash at `at`.
int64_t AfterWord(const Buffer& text, size_t at, std::string_view expected) {
  std::string_view word;
  int64_t parameter;
  const int64_t position = zyl::ReadCommand(text.get(), static_cast<int64_t>(at) + 1, word, parameter);
  REQUIRE(word == expected);
  return position;
}

// A table reader's case: the text holds "{\colortbl" or "{\fonttbl" at 0; resumeAt is what the
// caller meets next ("": the terminator).
template <typename Table>
struct TableCase {
  const char* why;
  std::string text;
  Table table;
  std::string resumeAt;
};

template <typename Table, size_t N>
void CheckTables(const TableCase<Table> (&cases)[N], std::string_view word, Table (*read)(const uint8_t*, int64_t&)) {
  for (const TableCase<Table>& c : cases) {
    INFO(c.why);
    const Buffer text = Terminated(c.text);
    int64_t position = AfterWord(text, 1, word);
    CHECK(read(text.get(), position) == c.table);
    CHECK(static_cast<size_t>(position + 1) == c.text.size() - c.resumeAt.size());
  }
}

}  // namespace

TEST_CASE("ReadCommand: words, parameters and where the caller resumes") {
  struct Case {
    const char* why;
    std::string text;  // the byte after the backslash is at `at`
    int64_t at;
    std::string_view word;
    int64_t parameter;
    int64_t last;  // the position returned: the last byte consumed
  } cases[] = {
      {"the space after a word is its delimiter", "\\b0 x", 1, "b", 0, 3},
      {"a backslash is left for the caller", "\\fs24\\b", 1, "fs", 24, 4},
      {"any other byte is consumed: \\u233? yields no '?'", "\\u233?x", 1, "u", 233, 5},
      {"a letter after the digits is consumed too", "\\fs24x", 1, "fs", 24, 5},
      {"negative: folded from -1 and negated", "\\li-5", 1, "li", 5, 4},
      {"negative with two digits: 10^2 - 12", "\\li-12 ", 1, "li", 88, 6},
      {"\\u-3913 gives 6087", "\\u-3913?", 1, "u", 6087, 7},
      {"a bare minus gives 1", "\\li-", 1, "li", 1, 3},
      {"no number: -1", "\\b;", 1, "b", -1, 1},
      {"upper-case letters end the word", "\\uABC", 1, "u", -1, 2},
      {"no lower-case letter: an empty word", "\\UP", 1, "", -1, 1},
      {"a literal backslash is the caller's", "\\\\x", 1, "", -1, 0},
      {"a literal brace is the caller's", "\\{x", 1, "", -1, 0},
      {"hex escape: word u, E9 in the low eight bits", "\\'E9", 1, "u", -23, 3},
      {"hex escape: the byte after the digits goes with them", "\\'E9x y", 1, "u", -23, 5},
      {"hex escape: lower case ends it at once", "\\'e9", 1, "u", -1, 3},
      {"hex escape cut short", "\\'E", 1, "u", -2, 2},
      {"hex escape with nothing after the quote", "\\'", 1, "u", -1, 1},
      {"ignorable destination", "{\\*\\generator x;}", 2, "*\\generator", -1, 13},
      {"ignorable destination without a name", "{\\*\\}", 2, "*\\", -1, 3},
      {"a star alone is no destination", "\\*x", 1, "", -1, 1},
      {"backslash before CR LF: par, CR consumed", "\\\r\nx", 1, "par", -1, 1},
      {"CR, LF, LF: the look two ahead consumes the first LF", "\\\r\n\n", 1, "par", -1, 2},
      {"backslash before LF: par", "\\\nx", 1, "par", -1, 1},
      {"CR right before the terminator", "\\b\r", 1, "b", -1, 2},
      {"a zero byte inside the digits ends the word", "\\fs2\0" "4"s, 1, "fs", 2, 3},
      {"a zero byte right after the word", "\\b\0x"s, 1, "b", -1, 1},
      {"a zero byte right after the backslash", "\\\0x"s, 1, "", -1, 0},
      {"the terminator right after the backslash", "\\", 1, "", -1, 0},
      {"the terminator right after a minus", "\\li-", 1, "li", 1, 3},
      {"a zero byte inside a hex escape", "\\'E\0" "9"s, 1, "u", -2, 2},
      {"twenty digits wrap in 64 bits", "\\fs99999999999999999999 ", 1, "fs",
       static_cast<int64_t>(7766279631452241919ull), 23},
  };
  for (const Case& c : cases) {
    INFO(c.why);
    const Buffer text = Terminated(c.text);
    std::string_view word = "unset";
    int64_t parameter = 12345;
    CHECK(zyl::ReadCommand(text.get(), c.at, word, parameter) == c.last);
    CHECK(word == c.word);
    CHECK(parameter == c.parameter);
  }
}

TEST_CASE("FindEncoding: code pages to host encodings, Windows Latin 1 for the rest") {
  const std::pair<int64_t, uint32_t> cases[] = {
      {437, 1024}, {936, 1057}, {1250, 1281}, {1251, 1282}, {1252, 1280}, {1361, 1296}, {10000, 0},
      {10001, 1},  {10029, 29}, {10081, 35},  {1200, 1280}, {0, 1280},    {-1, 1280},   {1251 + (int64_t{1} << 32), 1280},
  };
  for (const auto& [codePage, encoding] : cases) {
    CAPTURE(codePage);
    CHECK(zyl::FindEncoding(codePage) == encoding);
  }
}

TEST_CASE("ReadColorTable: entries by their ';', the closing brace consumed") {
  const TableCase<zyl::RTFColorTable> cases[] = {
      {"leading empty entry is black; the byte after the brace is its delimiter",
       "{\\colortbl;\\red255\\green0\\blue0;}xy", {{0, {0, 0, 0}}, {1, {255, 0, 0}}}, "y"},
      {"no empty entry: the first colour is 0", "{\\colortbl\\red1\\green2\\blue3;\\red4;}\\cf1",
       {{0, {1, 2, 3}}, {1, {4, 0, 0}}}, "\\cf1"},
      {"values are not clamped; bare words store -1; negatives by the lexer's rule",
       "{\\colortbl\\red256\\green\\blue-1;}", {{0, {256, -1, 9}}}, ""},
      {"other words and bytes are ignored", "{\\colortbl\\cshade10 \\red9 x\\green8\r\n;}", {{0, {9, 8, 0}}}, ""},
      {"text ending inside the table", "{\\colortbl;\\red255\\gre", {{0, {0, 0, 0}}}, ""},
      {"a zero byte ends the table and is left for the caller", "{\\colortbl;\\red1;\0\\red2;}"s,
       {{0, {0, 0, 0}}, {1, {1, 0, 0}}}, "\0\\red2;}"s},
  };
  CheckTables(cases, "colortbl", &zyl::ReadColorTable);
}

TEST_CASE("ReadFontTable: names by number, skipped groups, escapes dropped") {
  const std::string longName(300, 'N');
  const TableCase<zyl::RTFFontTable> cases[] = {
      {"one group per font; the byte after the brace is its delimiter",
       "{\\fonttbl{\\f0\\fswiss\\fcharset0 Helvetica;}{\\f1 Times;}}xy", {{0, "Helvetica"}, {1, "Times"}}, "y"},
      {"a panose group inside an entry is skipped",
       "{\\fonttbl{\\f0\\froman\\fcharset0\\fprq2{\\*\\panose 02020603050405020304}Times New Roman;}}",
       {{0, "Times New Roman"}}, ""},
      {"an alternative name is skipped", "{\\fonttbl{\\f2\\fnil Arial{\\*\\falt Ariel};}}\\f2", {{2, "Arial"}}, "\\f2"},
      {"entries without groups", "{\\fonttbl\\f0\\fswiss\\fcharset0 Helvetica;\\f1\\fnil\\fcharset0 Menlo-Regular;}",
       {{0, "Helvetica"}, {1, "Menlo-Regular"}}, ""},
      {"a later name of the same number wins; text after ';' is ignored", "{\\fonttbl{\\f1 A; junk}{\\f1 B;}}",
       {{1, "B"}}, ""},
      {"lower-case escape: dropped with its two bytes", "{\\fonttbl{\\f0 Caf\\'e9 Sans;}}", {{0, "Caf Sans"}}, ""},
      {"upper-case escape: the delimiter rule takes one byte more", "{\\fonttbl{\\f0 Caf\\'E9 Sans;}}",
       {{0, "Cafans"}}, ""},
      {"a name longer than the reservation is kept whole", "{\\fonttbl{\\f0 " + longName + ";}}", {{0, longName}}, ""},
      {"font numbers by their low 32 bits", "{\\fonttbl{\\f4294967297 Wrapped;}}", {{1, "Wrapped"}}, ""},
      {"line breaks are part of a name", "{\\fonttbl{\\f0 Two\r\nLines;}}", {{0, "Two\r\nLines"}}, ""},
      {"text ending inside the table", "{\\fonttbl{\\f0 Arial;}{\\f1 Hel", {{0, "Arial"}}, ""},
      {"a zero byte ends the table and is left for the caller", "{\\fonttbl{\\f0 Ar\0ial;}}"s, {}, "\0ial;}}"s},
  };
  CheckTables(cases, "fonttbl", &zyl::ReadFontTable);
}
