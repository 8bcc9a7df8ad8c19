// Export followed by import: the text, every character's style and the paragraph alignments come
// back. Runs may be cut differently (each "\u" and each "\par" ends one), so runs of one style are
// joined before comparing.
#include <doctest/doctest.h>

#include <random>
#include <string>
#include <vector>

#include "rtf/rtf_test_support.h"
#include "support/plugin_host.h"

using rtftest::Run;
using rtftest::RunOf;

namespace {

bool SameStyle(Run a, Run b) {
  a.text.clear();
  b.text.clear();
  return a == b;
}

std::vector<Run> Joined(const std::vector<Run>& runs) {
  std::vector<Run> out;
  for (const Run& run : runs) {
    if (run.text.empty()) continue;
    if (!out.empty() && SameStyle(out.back(), run)) {
      out.back().text += run.text;
    } else {
      out.push_back(run);
    }
  }
  return out;
}

// Exports the text object and imports the document into a new one.
rtftest::Imported RoundTrip(REALobjectStruct* text, bool skipParagraphs = false) {
  const std::optional<std::string> rtf = rtftest::Export(text, skipParagraphs);
  REQUIRE(rtf.has_value());
  return rtftest::ImportNew(*rtf);
}

}  // namespace

TEST_CASE("round trip: every attribute, escapes, non-ASCII text and fonts, alignments") {
  zyltest::PluginHost host;
  const std::vector<Run> runs = {
      RunOf("Title\r", "Helvetica Neue", 24, 0x1F3A93, "b"),
      RunOf("caf\xC3\xA9 {braces} \\ back\tslash ", "Times New Roman", 12, 0),
      RunOf("\xE2\x82\xAC 12", "Times New Roman", 12, 0xFF0000, "iu"),
      RunOf(" and \xC3\x84rger\r", "\xC3\x84rger Sans", 13, 0x00FF00, "u"),
      RunOf("right\r", "Menlo", 9, 0),
      RunOf("left", "Menlo", 0, 0x808080, "bi"),
  };
  memhost::Object text = rtftest::NewText(runs, {0, 2, 3, 1});
  const rtftest::Imported back = RoundTrip(text.get());
  CHECK(Joined(back.runs) == Joined(runs));
  CHECK(back.alignments == std::vector<int64_t>{0, 2, 3, 1});
  CHECK(RoundTrip(text.get(), true).alignments == std::vector<int64_t>{0, 0, 0, 0});
}

TEST_CASE("round trip of thousands of random runs") {
  zyltest::PluginHost host;
  const char* fonts[] = {"Arial", "Times New Roman", "Menlo", "Zapf Dingbats", "\xC3\x84rger Sans"};
  const uint32_t colours[] = {0, 0xFF0000, 0x00FF00, 0x123456};
  const int64_t sizes[] = {0, 9, 12, 13, 48};
  const char* pieces[] = {"word", " ", "x y", "\xC3\xA9", "\xE2\x82\xAC", "{", "}", "\\", "\t", "\xC3\xBC", "Zz9"};
  std::mt19937 rng(20260109);
  std::vector<Run> runs;
  for (int i = 0; i < 4000; ++i) {
    std::string piecesText;
    for (int n = 1 + static_cast<int>(rng() % 4); n > 0; --n) piecesText += pieces[rng() % std::size(pieces)];
    if (rng() % 10 < 3) piecesText += '\r';  // paragraphs end with their run, so each run has one
    const uint32_t styleBits = rng() % 8;
    std::string styles = std::string(styleBits & 1 ? "b" : "") + (styleBits & 2 ? "i" : "") + (styleBits & 4 ? "u" : "");
    runs.push_back(RunOf(piecesText, fonts[rng() % std::size(fonts)], sizes[rng() % std::size(sizes)],
                         colours[rng() % std::size(colours)], styles));
  }
  memhost::Object text = rtftest::NewText(runs);
  std::vector<int64_t> alignments;
  for (size_t i = 0; i < memhost::Paragraphs(text.get()).size(); ++i) {
    alignments.push_back(i == 0 ? 0 : 1 + static_cast<int64_t>(rng() % 3));  // "\ql" cannot say 0 again
    memhost::SetParagraphAlignment(text.get(), static_cast<int64_t>(i), alignments.back());
  }
  const rtftest::Imported back = RoundTrip(text.get());
  CHECK(Joined(back.runs) == Joined(runs));
  CHECK(back.alignments == alignments);
}

TEST_CASE("round trip: what does not come back") {
  zyltest::PluginHost host;
  // Beyond the basic plane: two "\u" words, each a run of one lone surrogate, which the host
  // cannot turn into a string. A run without a font after one with a font keeps that font, and
  // alignment 0 after another comes back as left.
  memhost::Object text = rtftest::NewText({RunOf("a\xF0\x9F\x98\x80\r", "Arial"), RunOf("b")}, {2, 0});
  const rtftest::Imported back = RoundTrip(text.get());
  CHECK(back.runs == std::vector<Run>{RunOf("a", "Arial"), RunOf("", "Arial"), RunOf("", "Arial"),
                                      RunOf("\r", "Arial"), RunOf("b", "Arial")});
  CHECK(back.alignments == std::vector<int64_t>{2, 1});
}
