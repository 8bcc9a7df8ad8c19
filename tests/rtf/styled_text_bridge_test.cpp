// The StyledText bridge against the in-memory host: the ownership rules of XojoStyleRun, the
// method caches, the three ways of adding a run, reading runs and paragraphs, nil objects and the
// debug messages.
#include <doctest/doctest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "rtf/rtf_test_support.h"
#include "rtf/styled_text_bridge.h"
#include "support/plugin_host.h"

using memhost::Object;
using memhost::String;
using rtftest::NewText;
using rtftest::Run;
using rtftest::RunOf;
using namespace std::string_literals;

namespace {

constexpr const char* kAppend = "AppendStyleRun(Run as StyleRun)";
constexpr const char* kAlign = "ParagraphAlignment(Index As Integer, assigns _value as Integer)";
constexpr const char* kStyleRun = "StyleRun(Index as Integer) As StyleRun";
constexpr const char* kParagraph = "Paragraph(Index as Integer) As Paragraph";
constexpr const char* kLen = "Len(s as string) as integer";

// Appends one run holding the text through form 1; returns nothing, as the importer sees it.
void AddText(REALobjectStruct* styledText, const std::string& text, int64_t alignment) {
  REALobjectStruct* run = zyl::NewStyleRun();
  String value(text, memhost::kUTF8);
  zyl::StyledTextAddStyleRun(value.get(), styledText, &run, alignment);
  CHECK(run == nullptr);
}

}  // namespace

TEST_CASE("XojoStyleRun holds one reference of its own to each string") {
  zyltest::PluginHost host;
  String text("text", memhost::kUTF8), font("Arial", memhost::kUTF8), other("Times", memhost::kUTF8);
  {
    zyl::XojoStyleRun run;
    CHECK(run.text() == nullptr);
    run.setText(text.get());
    run.setFont(font.get());
    CHECK(memhost::RefCount(text.get()) == 2);
    {
      const zyl::XojoStyleRun copy(run);  // shares the strings, one more reference each
      CHECK(copy.text() == text.get());
      CHECK(memhost::RefCount(text.get()) == 3);
      CHECK(memhost::RefCount(font.get()) == 3);
    }
    CHECK(memhost::RefCount(font.get()) == 2);
    run.setFont(font.get());  // the same string again: kept alive throughout
    CHECK(memhost::RefCount(font.get()) == 2);
    run.setFont(other.get());
    CHECK(memhost::RefCount(font.get()) == 1);
    std::vector<zyl::XojoStyleRun> runs;
    for (int i = 0; i < 100; ++i) runs.push_back(run);  // growing the array copies, never leaks
    CHECK(memhost::RefCount(other.get()) == 102);
    run.setText(nullptr);
    CHECK(memhost::RefCount(text.get()) == 101);
  }
  CHECK(memhost::RefCount(text.get()) == 1);
  CHECK(memhost::RefCount(other.get()) == 1);
}

TEST_CASE("a method is looked up once per object, again after a switch and after a miss") {
  zyltest::PluginHost host;
  Object a = NewText({}), b = NewText({});
  for (int i = 0; i < 3000; ++i) AddText(a.get(), "line\r", 2);  // every run opens a paragraph
  CHECK(memhost::MethodLookupCount(kAppend) == 1);
  CHECK(memhost::MethodLookupCount(kAlign) == 1);
  CHECK(rtftest::AlignmentsOf(a.get()) == std::vector<int64_t>(3000, 2));

  std::vector<zyl::XojoStyleRun> runs;
  zyl::GetXojoStyleRunsForText(a.get(), runs, false);
  CHECK(runs.size() == 3000);
  CHECK(memhost::MethodLookupCount(kStyleRun) == 1);
  CHECK(memhost::MethodLookupCount(kParagraph) == 1);
  CHECK(memhost::MethodLookupCount(kLen) == 1);

  AddText(b.get(), "b", 0);
  AddText(a.get(), "a", 0);
  AddText(b.get(), "b", 0);
  CHECK(memhost::MethodLookupCount(kAppend) == 4);

  memhost::HideMethod(kAppend);
  Object c = NewText({});
  zyltest::CapturedLog log(true);
  AddText(c.get(), "lost", 0);
  AddText(c.get(), "lost", 0);
  CHECK(memhost::MethodLookupCount(kAppend) == 6);  // a nil answer is asked again
  CHECK(log.Has("nil function in StyledTextAppendStyleRun"));
  CHECK(memhost::StyleRuns(c.get()).empty());
}

TEST_CASE("GetXojoStyleRunsForText: positions by Len, alignment by the paragraph of the middle") {
  zyltest::PluginHost host;
  // Paragraphs [0,3] "abc", [4,7] "def", [8,10] "gh".
  Object text = NewText({RunOf("abc"), RunOf("\r"), RunOf("de"), RunOf("f\rgh")}, {2, 3, 1});
  struct Expected {
    int64_t start, length, middle, alignment;
  };
  const Expected expected[] = {
      {0, 3, 1, 2},
      {3, 1, 3, 2},  // the middle on the first paragraph's EndPos
      {4, 2, 5, 3},
      {6, 4, 8, 1},  // starts in the second paragraph, its middle opens the third
  };
  std::vector<zyl::XojoStyleRun> runs;
  zyl::GetXojoStyleRunsForText(text.get(), runs, false);
  REQUIRE(runs.size() == std::size(expected));
  for (size_t i = 0; i < runs.size(); ++i) {
    CAPTURE(i);
    CHECK(runs[i].start == expected[i].start);
    CHECK(runs[i].length == expected[i].length);
    CHECK(runs[i].middle == expected[i].middle);
    CHECK(runs[i].alignment == expected[i].alignment);
  }

  std::vector<zyl::XojoStyleRun> skipped;
  zyl::GetXojoStyleRunsForText(text.get(), skipped, true);
  CHECK(std::all_of(skipped.begin(), skipped.end(), [](const zyl::XojoStyleRun& r) { return r.alignment == 0; }));

  Object separators = NewText({RunOf("\r\n"), RunOf("\n")});  // runs, but no paragraph
  std::vector<zyl::XojoStyleRun> none;
  zyl::GetXojoStyleRunsForText(separators.get(), none, false);
  zyl::GetXojoStyleRunsForText(nullptr, none, false);
  CHECK(none.empty());
}

TEST_CASE("GetXojoStyleRunsForText reads every attribute; a font holding zero bytes is UTF-16") {
  zyltest::PluginHost host;
  memhost::RunStyle style;
  style.text = "caf\xC3\xA9";
  style.font = "A\0r\0i\0a\0l\0"s;  // UTF-16 that arrived without its encoding
  style.fontEncoding = memhost::kNoEncoding;
  style.size = 14;
  style.colour = 0x123456;
  style.bold = style.underline = true;
  Object text(memhost::NewStyledText({style}));
  std::vector<zyl::XojoStyleRun> runs;
  zyl::GetXojoStyleRunsForText(text.get(), runs, false);
  REQUIRE(runs.size() == 1);
  CHECK(memhost::ToUTF8(runs[0].font()) == "Arial");
  CHECK(memhost::Bytes(runs[0].text()) == "caf\xC3\xA9");
  CHECK(runs[0].length == 4);  // characters, not bytes
  CHECK(runs[0].size == 14);
  CHECK(runs[0].textColor == 0x123456);
  CHECK((runs[0].bold && runs[0].underline && !runs[0].italic));
}

TEST_CASE("StyledTextAddStyleRun: alignment only for new paragraphs; the run is always given back") {
  zyltest::PluginHost host;
  Object text = NewText({});
  AddText(text.get(), "no alignment for a negative value\r", -1);
  CHECK(memhost::MethodLookupCount(kAlign) == 0);
  AddText(text.get(), "centred", 2);
  AddText(text.get(), " still the same paragraph", 3);
  CHECK(rtftest::AlignmentsOf(text.get()) == std::vector<int64_t>{0, 2});

  zyltest::CapturedLog log(true);
  std::string bytes;
  REALobjectStruct* run = zyl::NewStyleRun();
  zyl::StyledTextAddStyleRun(zyl::kEncodingUTF8, bytes, text.get(), &run, 0);  // empty: nothing, run released
  CHECK(run == nullptr);
  bytes = "dropped";
  zyl::StyledTextAddStyleRun(zyl::kEncodingUTF8, bytes, text.get(), &run, 0);  // no run: the bytes go
  CHECK(bytes.empty());
  run = zyl::NewStyleRun();
  zyl::StyledTextAddStyleRun(uint16_t{0}, text.get(), &run, 0);
  CHECK(run == nullptr);
  zyl::StyledTextAddStyleRun(uint16_t{0xE9}, text.get(), &run, 0);  // no run: nothing
  CHECK(log.Has("Ignore empty run"));
  CHECK(log.Has("Ignore null character"));
  CHECK(memhost::StyleRuns(text.get()).size() == 3);

  run = zyl::NewStyleRun();
  bytes = "cut\0here"s;  // the string ends at a zero byte
  zyl::StyledTextAddStyleRun(zyl::kEncodingWindowsLatin1, bytes, text.get(), &run, 0);
  run = zyl::NewStyleRun();
  zyl::StyledTextAddStyleRun(uint16_t{0x20AC}, text.get(), &run, 0);
  const std::vector<Run> runs = rtftest::RunsOf(text.get());
  REQUIRE(runs.size() == 5);
  CHECK(runs[3].text == "cut");
  CHECK(runs[4].text == "\xE2\x82\xAC");
  CHECK(memhost::LiveObjects() == 1);
}

TEST_CASE("nil objects do nothing and say so in debug mode") {
  zyltest::PluginHost host;
  zyltest::CapturedLog log(true);
  String text("x", memhost::kUTF8);
  zyl::StyleRunSetBold(nullptr, true);
  zyl::StyleRunSetText(nullptr, text.get());
  zyl::StyleRunSetFontName(nullptr, text.get());
  zyl::StyledTextClear(nullptr);
  zyl::StyledTextRemoveStyleRun(nullptr, 0);
  zyl::StyledTextSetParagraphAlignment(nullptr, 0, 2);
  zyl::StyledTextAppendStyleRun(nullptr, nullptr);
  Object styled = NewText({});
  zyl::StyledTextAppendStyleRun(styled.get(), nullptr);
  CHECK(zyl::GetStyleRunCount(nullptr) == 0);
  CHECK(zyl::GetText(nullptr) == nullptr);
  memhost::FailInstantiation("StyleRun");
  CHECK(zyl::NewStyleRun() == nullptr);
  for (const char* line :
       {"StyleRunSetBold 1", "StyleRun is nil in StyleRunSetBold", "StyleRun is nil in StyleRunSetText",
        "StyleRun is nil in StyleRunSetFontName", "styledText is nil in StyledTextClear",
        "styledText is nil in StyledTextRemoveStyleRun", "styledText is nil in StyledTextSetParagraphAlignment",
        "styledText is nil in StyledTextAppendStyleRun", "styleRun is nil in StyledTextAppendStyleRun",
        "NewStyleRun failed"}) {
    CHECK_MESSAGE(log.Has(line), line);
  }
  CHECK(memhost::StyleRuns(styled.get()).empty());
}

TEST_CASE("setters write the run's properties and log what they do in debug mode") {
  zyltest::PluginHost host;
  Object run(zyl::NewStyleRun());
  String text("words", memhost::kUTF8), font("Helvetica", memhost::kUTF8);
  zyltest::CapturedLog log(true);
  zyl::StyleRunSetText(run.get(), text.get());
  zyl::StyleRunSetFontName(run.get(), font.get());
  zyl::StyleRunSetItalic(run.get(), true);
  zyl::StyleRunSetTextColor(run.get(), 0xFF8000);
  zyl::StyleRunSetSize(run.get(), 18);
  CHECK(log.Has("StyleRunSetText"));
  CHECK(log.Has("LengthUTF8 9"));
  CHECK(log.Has("StyleRunSetSize 18"));
  CHECK(log.Has("StyleRunSetTextColor 16744448"));
  const auto lines = log.Lines();
  CHECK(std::count_if(lines.begin(), lines.end(), [](const std::string& l) { return l.find("fontSet") != std::string::npos; }) == 1);
  CHECK(memhost::StringProperty(run.get(), "Font") == memhost::Value(font.get()));
  CHECK(memhost::BooleanProperty(run.get(), "Italic") == true);
  CHECK(memhost::ColourProperty(run.get(), "TextColor") == 0xFF8000u);
  CHECK(memhost::IntegerProperty(run.get(), "Size") == 18);
}
