// The example runner and the page reader catch what would let the docs drift: a wrong result,
// a wrong encoding, a misspelt method, an unstated exception, a statement whose result is not
// stated, an example that checks nothing, a misspelt block tag, an undocumented declaration.
#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "doc_examples.h"
#include "doc_index.h"
#include "doc_pages.h"
#include "support/plugin_host.h"

namespace {

zyldocs::ExampleResult Run(std::vector<std::string> lines) {
  zyldocs::CodeBlock block;
  block.tag = "xojo";
  block.firstLine = 10;
  block.lines = std::move(lines);
  return zyldocs::RunExample(block, "page.md");
}

bool Mentions(const zyldocs::ExampleResult& result, const std::string& text) {
  for (const std::string& failure : result.failures) {
    if (failure.find(text) != std::string::npos) return true;
  }
  return false;
}

std::string Failures(const zyldocs::ExampleResult& result) {
  std::string all;
  for (const std::string& failure : result.failures) all += failure + "\n";
  return all;
}

}  // namespace

TEST_CASE("runner: a correct example passes and names the declaration it called") {
  zyltest::PluginHost host;
  const auto result = Run({"// a comment", "InStrBytesZYL(\"hello\", \"lo\")   // \xE2\x86\x92 3",
                           "EncodingToHexZYL(\"Az\")", "// \xE2\x86\x92 \"417A\" (ASCII)"});
  INFO(Failures(result));
  CHECK(result.failures.empty());
  CHECK(result.checks == 2);
  REQUIRE(result.declarations.size() == 2);
  CHECK(result.declarations[0] == "InStrBytesZYL(target as string, find as string) as integer");
}

TEST_CASE("runner: a wrong result fails with the line and what the call gave") {
  zyltest::PluginHost host;
  const auto result = Run({"", "InStrBytesZYL(\"hello\", \"lo\")   // \xE2\x86\x92 4"});
  REQUIRE(result.failures.size() == 1);
  CHECK(result.failures[0].rfind("page.md:11: ", 0) == 0);
  CHECK(Mentions(result, "gives 3"));
}

TEST_CASE("runner: a string result must state its encoding, and the right one") {
  zyltest::PluginHost host;
  CHECK(Mentions(Run({"EncodingToHexZYL(\"Az\") // \xE2\x86\x92 \"417A\""}), "state the result's encoding"));
  CHECK(Mentions(Run({"EncodingToHexZYL(\"Az\") // \xE2\x86\x92 \"417A\" (UTF8)"}), "(ASCII)"));
  CHECK(Mentions(Run({"EncodingToHexZYL(\"Az\") // \xE2\x86\x92 \"417a\" (ASCII)"}), "gives \"417A\" (ASCII)"));
  CHECK(Run({"DecodingFromISO8859ZYL(ChrB(&hE9)) // \xE2\x86\x92 \"\xC3\xA9\" (UTF8)"}).failures.empty());
}

TEST_CASE("runner: names must be registered, in their exact case, with an overload that takes the arguments") {
  zyltest::PluginHost host;
  CHECK(Mentions(Run({"InStrByteZYL(\"a\", \"b\") // \xE2\x86\x92 0"}), "neither registered"));
  CHECK(Mentions(Run({"instrbyteszyl(\"a\", \"b\") // \xE2\x86\x92 0"}), "registered as InStrBytesZYL"));
  CHECK(Mentions(Run({"InStrBytesZYL(\"a\") // \xE2\x86\x92 0"}), "no registered declaration of InStrBytesZYL"));
  CHECK(Mentions(Run({"InStrBytesZYL(\"a\", 3) // \xE2\x86\x92 0"}), "takes (String, Integer)"));
}

TEST_CASE("runner: an exception must be stated, and a stated one must come") {
  zyltest::PluginHost host;
  CHECK(Mentions(Run({"StringXORZYL(\"ab\", \"k\", 5) // \xE2\x86\x92 Nil"}), "raised OutOfBoundsException"));
  CHECK(Mentions(Run({"StringXORZYL(\"ab\", \"k\", 0) // \xE2\x86\x92 raises OutOfBoundsException"}), "raised nothing"));
  const auto stated = Run({"StringXORZYL(\"ab\", \"k\", 5) // \xE2\x86\x92 raises OutOfBoundsException"});
  INFO(Failures(stated));
  CHECK(stated.failures.empty());
  CHECK(Mentions(Run({"StringXORZYL(\"ab\", \"k\", 5) // \xE2\x86\x92 raises OutOfBoundsException \"no such text\""}), "the page says"));
}

TEST_CASE("runner: nothing goes unchecked") {
  zyltest::PluginHost host;
  CHECK(Mentions(Run({"InStrBytesZYL(\"hello\", \"lo\")"}), "state what this gives"));
  CHECK(Mentions(Run({"// only words"}), "checks nothing"));
  CHECK(Mentions(Run({"Var s As String = \"x\""}), "checks nothing"));
  CHECK(Mentions(Run({"InStrBytesZYL(\"a\", \"b\") // \xE2\x86\x92 0", "// \xE2\x86\x92 1"}), "no statement before it"));
  CHECK(Mentions(Run({"InStrBytesZYL(\"a\", \"b\") // \xE2\x86\x92 InStrBytesZYL(\"a\", \"a\")"}), "calls nothing"));
}

TEST_CASE("runner: doubles compare to the digits shown") {
  zyltest::PluginHost host;
  CHECK(Run({"LevenshteinDistanceZYL(\"abc\", \"acb\") // \xE2\x86\x92 0.3333"}).failures.empty());
  CHECK(Mentions(Run({"LevenshteinDistanceZYL(\"abc\", \"acb\") // \xE2\x86\x92 0.33334"}), "not within the digits shown"));
}

TEST_CASE("runner: variables keep their host value; MemoryBlocks pass as Ptr; results continue on '+' lines") {
  zyltest::PluginHost host;
  const auto result = Run({"Var mb As MemoryBlock = \"hi\" + ChrB(0) + ChrB(1) + \"abc\"",
                           "GetStringsFromDataZYL(mb, mb.Size, 2)", "// \xE2\x86\x92 Array(\"abc\") (UTF8)",
                           "ConcatBinaryStringsZYL(\"a\", _", "  \"b\")  // \xE2\x86\x92 \"a\"", "//   + \"b\" (ASCII)"});
  INFO(Failures(result));
  CHECK(result.failures.empty());
  CHECK(result.checks == 2);
}

TEST_CASE("runner: a StyledText is described by its runs, assigned RTF, and shown as runs") {
  zyltest::PluginHost host;
  const auto result =
      Run({"Var st As New StyledText", "st.RTFDataZYL = \"{\\rtf1{\\b bold} plain}\"",
           "st  // \xE2\x86\x92 StyledText(StyleRun(\"bold\", \"\", 0, &c000000, Bold), StyleRun(\" plain\", \"\", 0, &c000000))",
           "StyledText(StyleRun(\"x\", \"\", 0, &c000000)).RTFDataZYL  // \xE2\x86\x92 \"{\\rtf1\\ansi\\ansicpg1252{\\fonttbl}\"",
           "//   + \"{\\colortbl\\red0\\green0\\blue0;}\\uc0 x}\" (UTF8)"});
  INFO(Failures(result));
  CHECK(result.failures.empty());
  CHECK(Mentions(Run({"Var st As New StyledText", "st.RTFDataZYL = \"{\\rtf1{\\b bold} plain}\"",
                      "st  // \xE2\x86\x92 StyledText(StyleRun(\"bold\", \"\", 0, &c000000), StyleRun(\" plain\", \"\", 0, &c000000))"}),
                 "gives StyledText(StyleRun(\"bold\", \"\", 0, &c000000, Bold)"));
}

TEST_CASE("runner: log lines are compared when an example lists them") {
  zyltest::PluginHost host;
  const auto result = Run({"StringGlobalsZYL.Debugging = True", "// logs \"ZYL Debug: ZYL debug logging enabled.\"",
                           "StringGlobalsZYL.Debugging  // \xE2\x86\x92 True"});
  INFO(Failures(result));
  CHECK(result.failures.empty());
  CHECK(Mentions(Run({"StringGlobalsZYL.Debugging = True", "// logs \"something else\""}), "the log lines differ"));
}

TEST_CASE("runner: results are shown in the examples' own syntax") {
  zyltest::PluginHost host;
  CHECK(zyldocs::RenderString("ab", memhost::kASCII) == "\"ab\" (ASCII)");
  CHECK(zyldocs::RenderString("\x80" "a\"b", memhost::kNoEncoding) == "ChrB(&h80) + \"a\"\"b\" (no encoding)");
  CHECK(zyldocs::RenderString("a\rb", memhost::kUTF8) == "\"a\" + Chr(13) + \"b\" (UTF8)");
  CHECK(zyldocs::RenderString(std::string("\xE9\x00", 2), memhost::kUTF16) == "\"\xC3\xA9\" (UTF16)");
  CHECK(zyldocs::RenderString("\xC3", memhost::kUTF8) == "DecodeHex(\"C3\") (UTF8)");
}

TEST_CASE("pages: sections, summaries, declarations and examples are read; unknown block tags are problems") {
  const zyldocs::Page page = zyldocs::ParsePage(
      "# Title\n\nIntro.\n\n## InStrBytesZYL\n\nFinds a byte.\n\n```declaration\nA(x as string) as integer\n```\n\n"
      "```xojo\nA(\"x\") // \xE2\x86\x92 1\n```\n\n```Xojo\nB()\n```\n",
      "p.md");
  CHECK(page.title == "Title");
  REQUIRE(page.sections.size() == 1);
  CHECK(page.sections[0].anchor == "instrbyteszyl");
  CHECK(page.sections[0].summary == "Finds a byte.");
  CHECK(page.sections[0].declarations == std::vector<std::string>{"A(x as string) as integer"});
  REQUIRE(page.sections[0].examples.size() == 1);
  CHECK(page.sections[0].examples[0].firstLine == 14);
  REQUIRE(page.problems.size() == 1);
  CHECK(page.problems[0].find("tagged \"Xojo\"") != std::string::npos);
  CHECK(zyldocs::Anchor("_yDecodeStringZYL") == "_ydecodestringzyl");
}

TEST_CASE("index: a registered declaration that no page states is listed as not documented") {
  const zyldocs::Page page = zyldocs::ParsePage("# Search\n\n## A\n\nDoes a.\n\n```declaration\nA(x as string) as integer\n```\n", "s.md");
  const std::string index = zyldocs::MakeIndex({page}, {"A(x as string) as integer", "B(y as string) as string"}, {}, "9.9");
  CHECK(index.rfind("# libZYLString 9.9 reference\n", 0) == 0);
  CHECK(index.find("- [A](s.md#a): Does a.\n  - `A(x as string) as integer`\n") != std::string::npos);
  CHECK(index.find("## Not documented\n\n- `B(y as string) as string`\n") != std::string::npos);
  CHECK(zyldocs::VersionOf("$$ Plugin version: 26.0 (2026) $$") == "26.0");
}
