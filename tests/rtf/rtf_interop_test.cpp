// Interoperability with real word processors, on documents kept under tests/rtf/data.
// Export: what LibreOffice Writer read from documents we wrote (scripts/rtf_interop.sh made the
// .fodt files from interop/*.rtf), compared with what the RTF promises. Import: documents in the
// patterns TextEdit and WordPad write, and one LibreOffice wrote, read back as runs.
#include <doctest/doctest.h>

#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rtf/rtf_test_support.h"
#include "support/plugin_host.h"

using rtftest::Fixture;
using rtftest::Run;
using rtftest::RunOf;

namespace {

// ---------------------------------------------------------------------------------------------
// Just enough of flat OpenDocument to read paragraphs and their text spans.

struct Span {
  std::string text, font, size, colour;  // colour "" is LibreOffice's automatic colour
  bool bold = false, italic = false, underline = false;
  bool operator==(const Span&) const = default;
};

struct Paragraph {
  std::string alignment;  // fo:text-align, "" for the default
  std::vector<Span> spans;
  bool operator==(const Paragraph&) const = default;
};

std::string Attribute(std::string_view element, std::string_view name) {
  const std::string key = " " + std::string(name) + "=\"";
  const size_t at = element.find(key);
  if (at == std::string_view::npos) return "";
  const size_t start = at + key.size();
  return std::string(element.substr(start, element.find('"', start) - start));
}

std::string Unescaped(std::string_view xml) {
  std::string out;
  for (size_t i = 0; i < xml.size(); ++i) {
    if (xml.substr(i, 8) == "<text:s/") {
      out += ' ';
    } else if (xml[i] == '&') {
      const size_t end = xml.find(';', i);
      const std::string_view entity = xml.substr(i + 1, end - i - 1);
      out += entity == "amp" ? "&" : entity == "lt" ? "<" : entity == "gt" ? ">" : entity == "apos" ? "'" : "\"";
      i = end;
      continue;
    }
    if (xml[i] == '<') {
      i = xml.find('>', i);
      continue;
    }
    out += xml[i];
  }
  return out;
}

// The element of the automatic style with that name (its whole text, properties included).
std::string_view StyleElement(std::string_view xml, const std::string& name) {
  if (name.empty()) return {};
  const size_t at = xml.find("<style:style style:name=\"" + name + "\"");
  if (at == std::string_view::npos) return {};
  return xml.substr(at, xml.find("</style:style>", at) - at);
}

std::vector<Paragraph> ReadParagraphs(std::string_view xml) {
  std::vector<Paragraph> paragraphs;
  const std::string_view body = xml.substr(xml.find("<office:text"));
  for (size_t at = body.find("<text:p "); at != std::string_view::npos; at = body.find("<text:p ", at + 1)) {
    const std::string_view element = body.substr(at, body.find("</text:p>", at) - at);
    Paragraph paragraph;
    paragraph.alignment = Attribute(StyleElement(xml, Attribute(element, "text:style-name")), "fo:text-align");
    for (size_t s = element.find("<text:span "); s != std::string_view::npos; s = element.find("<text:span ", s + 1)) {
      const size_t open = element.find('>', s);
      const std::string_view style = StyleElement(xml, Attribute(element.substr(s, open - s), "text:style-name"));
      Span span;
      span.text = Unescaped(element.substr(open + 1, element.find("</text:span>", s) - open - 1));
      span.font = Attribute(style, "style:font-name");
      span.size = Attribute(style, "fo:font-size");
      span.colour = Attribute(style, "fo:color");
      span.bold = Attribute(style, "fo:font-weight") == "bold";
      span.italic = Attribute(style, "fo:font-style") == "italic";
      const std::string underline = Attribute(style, "style:text-underline-style");
      span.underline = !underline.empty() && underline != "none";
      paragraph.spans.push_back(span);
    }
    paragraphs.push_back(paragraph);
  }
  return paragraphs;
}

// ---------------------------------------------------------------------------------------------
// The documents of tests/rtf/data/interop/*.runs, paragraph by paragraph.

struct Document {
  const char* name;
  std::vector<std::pair<int64_t, std::vector<Run>>> paragraphs;  // alignment, runs without the CR
};

const Document kDocuments[] = {
    {"styles",
     {{0, {RunOf("Plain Helvetica twelve", "Helvetica", 12)}},
      {2, {RunOf("Bold red centred", "Times New Roman", 14, 0xFF0000, "b")}},
      {3, {RunOf("Italic blue right", "Menlo", 10, 0x0000FF, "i")}},
      {1, {RunOf("Underlined green", "Helvetica", 18, 0x00A000, "u"), RunOf(" and plain, left", "Helvetica", 18)}},
      {1, {RunOf("caf\xC3\xA9 \xE2\x82\xAC {x} \\ end", "\xC3\x84rger Sans", 12)}}}},
    {"colours",
     {{0, {RunOf("Red first", "Arial", 11, 0xC00000, "b")}},
      {0, {RunOf("Black second", "Arial", 11)}},
      {0, {RunOf("Red again", "Arial", 11, 0xC00000)}}}},
};

memhost::Object TextOf(const Document& document) {
  std::vector<Run> runs;
  std::vector<int64_t> alignments;
  for (const auto& [alignment, paragraphRuns] : document.paragraphs) {
    if (!runs.empty()) runs.back().text += '\r';
    runs.insert(runs.end(), paragraphRuns.begin(), paragraphRuns.end());
    alignments.push_back(alignment);
  }
  return rtftest::NewText(runs, alignments);
}

// What LibreOffice reads where the RTF is plain: the same text, font, size, colour and styles.
// Two readings of its own: runs before the first "\cf" (black: our table starts with the first
// run's colour and that run needs no word) get the automatic colour, and font names, written as
// raw UTF-8, are read as Windows-1252.
std::vector<Paragraph> Expected(const Document& document) {
  static const char* const kAlignments[] = {"", "start", "center", "end"};
  std::vector<Paragraph> paragraphs;
  bool colourWritten = false;
  for (const auto& [alignment, runs] : document.paragraphs) {
    Paragraph paragraph{kAlignments[alignment], {}};
    for (const Run& run : runs) {
      colourWritten = colourWritten || run.colour != 0;
      char colour[8];
      snprintf(colour, sizeof colour, "#%06x", run.colour);
      const std::optional<std::string> font = memhost::ConvertBytes(run.font, memhost::kWindowsLatin1, memhost::kUTF8);
      paragraph.spans.push_back(Span{run.text, font.value_or("?"), std::to_string(run.size) + "pt",
                                     colourWritten ? colour : "", run.bold, run.italic, run.underline});
    }
    paragraphs.push_back(paragraph);
  }
  return paragraphs;
}

}  // namespace

TEST_CASE("LibreOffice reads our documents with their text, styles, fonts, sizes, colours and alignments") {
  zyltest::PluginHost host;
  for (const Document& document : kDocuments) {
    CAPTURE(document.name);
    const memhost::Object text = TextOf(document);
    // The document LibreOffice was given is still what we write.
    CHECK(rtftest::Export(text.get()) == Fixture("interop/" + std::string(document.name) + ".rtf"));
    const std::vector<Paragraph> read = ReadParagraphs(Fixture("interop/" + std::string(document.name) + ".fodt"));
    const std::vector<Paragraph> expected = Expected(document);
    REQUIRE(read.size() == expected.size());
    for (size_t i = 0; i < read.size(); ++i) {
      CAPTURE(i);
      CHECK(read[i] == expected[i]);
    }
  }
  // The two readings, plainly.
  const std::vector<Paragraph> styles = ReadParagraphs(Fixture("interop/styles.fodt"));
  CHECK(styles[0].spans[0].colour.empty());
  CHECK(styles[4].spans[0].font == "\xC3\x83\xE2\x80\x9Erger Sans");
}

TEST_CASE("a document in TextEdit's pattern") {
  zyltest::PluginHost host;
  const rtftest::Imported imported = rtftest::ImportNew(Fixture("textedit_sample.rtf"));
  // The paragraph mark after "Fresh bread" is a backslash before a line break that follows a
  // style change: no run is pending then, so the mark is dropped and "Cheese" joins that
  // paragraph. The alignment of the last paragraph is the "\qr" still in force.
  CHECK(imported.runs == std::vector<Run>{
                             RunOf("Grocery list for the caf\xC3\xA9 \xE2\x80\x93 ", "Helvetica", 12),
                             RunOf("\xE2\x82\xAC", "Helvetica", 12),
                             RunOf("12\r", "Helvetica", 12),
                             RunOf("Fresh bread", "Helvetica-Bold", 12, 0xDC2626, "b"),
                             RunOf("Cheese", "Times-Italic", 14, 0, "iu"),
                             RunOf(" and \xE2\x80\x9Colives\xE2\x80\x9D\r", "Times-Italic", 14, 0, "i"),
                             RunOf("code { braces } and back\\slash", "Menlo-Regular", 11),
                         });
  CHECK(imported.alignments == std::vector<int64_t>{0, 2, 3});
}

TEST_CASE("a document in WordPad's pattern") {
  zyltest::PluginHost host;
  const rtftest::Imported imported = rtftest::ImportNew(Fixture("wordpad_sample.rtf"));
  // "\u8364?" gives the euro alone ('?' is the word's delimiter). The last paragraph's Cyrillic
  // word is written as escapes only, and an escape makes no run: it is dropped at the next word.
  CHECK(imported.runs == std::vector<Run>{
                             RunOf("Plain text, ", "Calibri", 11),
                             RunOf("bold", "Calibri", 11, 0, "b"),
                             RunOf(", ", "Calibri", 11),
                             RunOf("italic", "Calibri", 11, 0, "i"),
                             RunOf(" and caf\xC3\xA9 ", "Calibri", 11),
                             RunOf("\xE2\x82\xAC", "Calibri", 11),
                             RunOf("\r", "Calibri", 11),
                             RunOf("Centred red underlined Arial", "Arial", 14, 0xFF0000, "u"),
                             RunOf("\r", "Calibri", 11),
                             RunOf("Right blue bold 16", "Calibri", 16, 0x004DBB, "b"),
                             RunOf("\r", "Calibri", 11),
                             RunOf("\r", "Calibri", 11),
                         });
  CHECK(imported.alignments == std::vector<int64_t>{0, 2, 3});
}

TEST_CASE("a document LibreOffice wrote: only its paragraph marks survive the skip rule") {
  zyltest::PluginHost host;
  // LibreOffice puts every piece of text in a group opening with "\hich", a word the importer
  // does not know, so each such group is skipped whole; the "\par" words between them remain.
  const rtftest::Imported imported = rtftest::ImportNew(Fixture("libreoffice_styles.rtf"));
  CHECK(imported.runs == std::vector<Run>(5, RunOf("\r", "DejaVu Serif", 12)));
  CHECK(imported.alignments.empty());
}
