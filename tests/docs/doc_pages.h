// doc_pages.h - the reference pages under docs/ as the tests read them: title, sections, the
// declarations each section documents, and the fenced code blocks.
//
// Page shape: "# Title" on the first line; "## Name" starts a section; the first paragraph of a
// section is its one-line summary; a fenced block tagged "declaration" lists declarations exactly
// as registered, one a line; one tagged "property" lists properties ("Name As Type"); one tagged
// "xojo" is an example, run by the example runner. Other blocks must carry one of the tags in
// kPassiveTags (shown, never run), so a misspelt "xojo" cannot hide an example.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zyldocs {

inline constexpr std::string_view kPassiveTags[] = {"text", "rtf", "sh"};

struct CodeBlock {
  std::string tag;
  int firstLine = 0;  // line number of the first line inside the fence (1-based)
  std::vector<std::string> lines;
};

struct Section {
  std::string heading;  // the text after "## "
  std::string anchor;   // as the renderer makes it: lower case, blanks to "-", punctuation dropped
  std::string summary;  // the first paragraph, joined into one line
  int summaryLines = 0;
  int line = 0;
  std::vector<std::string> declarations;
  std::vector<std::string> properties;
  std::vector<CodeBlock> examples;
};

struct Page {
  std::string file;  // the file name without its folder ("strings-search.md")
  std::string title;
  std::vector<Section> sections;
  std::vector<CodeBlock> blocks;  // every fenced block in order, examples included
  std::vector<std::string> problems;  // shape errors: unknown block tag, unclosed fence ...
};

// ParsePage: reads a page's text. `file` names it in problems.
Page ParsePage(std::string_view text, std::string file);

// ReadPage: ParsePage of a file; a file that cannot be read gives a page with one problem.
Page ReadPage(const std::string& path);

// ReadFile: the whole file, or nothing when it cannot be read (`ok` false).
std::string ReadFile(const std::string& path, bool* ok = nullptr);

// Anchor: the fragment a Markdown renderer gives a heading ("InStrBytesZYL" -> "instrbyteszyl").
std::string Anchor(std::string_view heading);

}  // namespace zyldocs
