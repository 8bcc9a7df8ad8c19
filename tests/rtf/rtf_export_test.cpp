// Reading "RTFDataZYL" as the host does: the documented example byte for byte, text escapes,
// attribute changes, font and colour numbering, alignments, nil results, both registration routes.
#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "rtf/rtf_test_support.h"
#include "support/plugin_host.h"

using rtftest::Export;
using rtftest::NewText;
using rtftest::Run;
using rtftest::RunOf;

namespace {

constexpr const char* kBlack = R"(\red0\green0\blue0;)";

// A whole document: the header, the two tables' entries and the runs.
std::string Document(const std::string& fonts, const std::string& colours, const std::string& body) {
  return R"({\rtf1\ansi\ansicpg1252{\fonttbl)" + fonts + R"(}{\colortbl)" + colours + R"(}\uc0 )" + body + "}";
}

}  // namespace

TEST_CASE("the documented example, byte for byte") {
  zyltest::PluginHost host;
  memhost::Object text = NewText({RunOf("H\ri", "Arial", 12, 0xFF0000, "b")});
  CHECK(Export(text.get()) ==
        R"({\rtf1\ansi\ansicpg1252{\fonttbl{\f0\fnil Arial;}}{\colortbl\red255\green0\blue0;}\uc0 \b\f0\cf0\fs24 H\par i})");
}

TEST_CASE("text: escapes, \\u for everything above 127, one \\par per line break") {
  zyltest::PluginHost host;
  struct Case {
    const char* why;
    std::string text;
    std::string body;  // after the run's "\f0 "
  } cases[] = {
      {"braces and backslash", R"({x}\)", R"(\{x\}\\)"},
      {"Latin", "caf\xC3\xA9", R"(caf\u233 )"},
      {"the last unit of the plane, never negative", "\xEF\xBF\xBF", R"(\u65535 )"},
      {"beyond the plane: one word per surrogate", "\xF0\x9F\x98\x80", R"(\u55357 \u56832 )"},
      {"tab, vertical tab, form feed and DEL are written raw", "a\tb\x0B\x0C\x7F", "a\tb\x0B\x0C\x7F"},
      {"units 0 to 8 are dropped", std::string("a\0\x01\x08" "b", 5), "ab"},
      {"CR LF is one mark", "a\r\nb", R"(a\par b)"},
      {"LF CR is one mark", "a\n\rb", R"(a\par b)"},
      {"CR alone, LF alone", "a\rb\nc", R"(a\par b\par c)"},
      {"CR CR is two", "a\r\rb", R"(a\par \par b)"},
      {"each unit looks at the one before only: two CR LF pairs give one mark", "a\r\n\r\nb", R"(a\par b)"},
  };
  for (const Case& c : cases) {
    INFO(c.why);
    memhost::Object text = NewText({RunOf(c.text, "F")});
    CHECK(Export(text.get()) == Document(R"({\f0\fnil F;})", kBlack, R"(\f0 )" + c.body));
  }
}

TEST_CASE("each run writes only what changed, then one space") {
  zyltest::PluginHost host;
  memhost::Object text = NewText({
      RunOf("A", "Arial", 12, 0, "b"),
      RunOf("B", "Arial", 12, 0, "b"),  // nothing changed: no words, no space
      RunOf("C", "Times", 9, 0x00FF00, "iu"),
      RunOf("D", "Arial", 12, 0),
      RunOf("E", "Arial", -3, 0),
  });
  CHECK(Export(text.get()) == Document(R"({\f0\fnil Arial;}{\f1\fnil Times;})", R"(\red0\green0\blue0;\red0\green255\blue0;)",
                                       R"(\b\f0\fs24 AB\b0\i\ul\f1\cf1\fs18 C\i0\ul0\f0\cf0\fs24 D\fs-6 E)"));
}

TEST_CASE("fonts and colours are numbered in order of first use") {
  zyltest::PluginHost host;
  SUBCASE("colour 0 is the first run's colour; no automatic entry") {
    memhost::Object text = NewText({RunOf("x", "", 0, 0x0000FF), RunOf("y"), RunOf("z", "", 0, 0x0000FF)});
    CHECK(Export(text.get()) == Document("", R"(\red0\green0\blue255;\red0\green0\blue0;)", R"(\cf0 x\cf1 y\cf0 z)"));
  }
  SUBCASE("names by their bytes, raw UTF-8; the switch by the host's comparison") {
    memhost::Object text = NewText({RunOf("a", "Arial"), RunOf("b", "ARIAL"), RunOf("c"), RunOf("d", "M\xC3\xBCller")});
    // "ARIAL" gets a number of its own but equals "Arial" to the host: no "\f" before "b". An
    // empty name is no font at all.
    CHECK(Export(text.get()) == Document(R"({\f0\fnil Arial;}{\f1\fnil ARIAL;}{\f2\fnil M)" "\xC3\xBC" R"(ller;})",
                                         kBlack, R"(\f0 abc\f2 d)"));
  }
}

TEST_CASE("paragraph alignments are written in front of the first run of a changed paragraph") {
  zyltest::PluginHost host;
  memhost::Object text =
      NewText({RunOf("p0\r"), RunOf("p1\r"), RunOf("p2\r"), RunOf("p3\r"), RunOf("p4")}, {0, 2, 3, 0, 1});
  // Back to 0 writes "\ql", and so does 1 after 0: every other value is left.
  CHECK(Export(text.get()) == Document("", kBlack, R"(p0\par \qc p1\par \qr p2\par \ql p3\par \ql p4)"));
  CHECK(Export(text.get(), true) == Document("", kBlack, R"(p0\par p1\par p2\par p3\par p4)"));
}

TEST_CASE("nil for no object, no runs or no paragraphs") {
  zyltest::PluginHost host;
  memhost::Object empty = NewText({});
  memhost::Object separators = NewText({RunOf("\r\n"), RunOf("\r")});
  CHECK(Export(nullptr) == std::nullopt);
  CHECK(Export(empty.get()) == std::nullopt);
  CHECK(Export(separators.get()) == std::nullopt);
}

TEST_CASE("a document larger than the first reservation is written whole") {
  zyltest::PluginHost host;
  std::vector<Run> runs;
  std::string body;
  const std::string words(120, 'w');
  for (int i = 0; i < 20000; ++i) {
    runs.push_back(RunOf(words, "", 0, 0, i % 2 == 0 ? "" : "b"));
    body += (i % 2 == 0 ? (i == 0 ? "" : R"(\b0 )") : R"(\b )") + words;
  }
  memhost::Object text = NewText(runs);
  const std::optional<std::string> rtf = Export(text.get());
  REQUIRE(rtf.has_value());
  CHECK(rtf->size() > 2 * 1048576);
  CHECK(*rtf == Document("", kBlack, body));
}

TEST_CASE("both routes register the getter and the setter") {
  const std::string rtf = R"({\rtf1\ansi{\fonttbl{\f0 Arial;}}\f0\fs20\b bold\b0  plain})";
  const std::vector<Run> expected = {RunOf("bold", "Arial", 10, 0, "b"), RunOf(" plain", "Arial", 10)};
  SUBCASE("module route: two rows") {
    zyltest::PluginHost host(2024.0);
    const auto imported = rtftest::ImportNew(rtf);
    CHECK(imported.runs == expected);
  }
  SUBCASE("direct route: one class row with getter and setter") {
    zyltest::PluginHost host(3000.0);
    memhost::Object text = NewText({});
    memhost::String value(rtf, memhost::kUTF8);
    memhost::CallSetter<void>(rtftest::kClassRow, text.get(), int8_t{0}, value.get());
    CHECK(rtftest::RunsOf(text.get()) == expected);
    memhost::String back(memhost::Call<REALstringStruct*>(rtftest::kClassRow, text.get(), int8_t{0}));
    CHECK(back.bytes() == Document(R"({\f0\fnil Arial;})", kBlack, R"(\b\f0\fs20 bold\b0  plain)"));
  }
}
