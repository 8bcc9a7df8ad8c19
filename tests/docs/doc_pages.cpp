// doc_pages.cpp - reading the Markdown of a reference page.
#include "doc_pages.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>

namespace zyldocs {

namespace {

std::vector<std::string> SplitLines(std::string_view text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) {
      if (start < text.size()) lines.emplace_back(text.substr(start));
      break;
    }
    lines.emplace_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

std::string Trim(std::string_view s) {
  std::size_t b = 0, e = s.size();
  while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
  while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
  return std::string(s.substr(b, e - b));
}

bool StartsWith(std::string_view s, std::string_view prefix) { return s.substr(0, prefix.size()) == prefix; }

}  // namespace

std::string Anchor(std::string_view heading) {
  std::string anchor;
  for (char c : heading) {
    const auto u = static_cast<unsigned char>(c);
    if (std::isalnum(u) || c == '_' || c == '-') {
      anchor.push_back(static_cast<char>(std::tolower(u)));
    } else if (c == ' ') {
      anchor.push_back('-');
    } else if (u >= 0x80) {
      anchor.push_back(c);
    }
  }
  return anchor;
}

Page ParsePage(std::string_view text, std::string file) {
  Page page;
  page.file = std::move(file);
  const std::vector<std::string> lines = SplitLines(text);
  auto problem = [&](int line, const std::string& what) {
    page.problems.push_back(page.file + ":" + std::to_string(line) + ": " + what);
  };
  if (lines.empty() || !StartsWith(lines[0], "# ")) {
    problem(1, "a page starts with its title, \"# Title\"");
  } else {
    page.title = Trim(lines[0].substr(2));
  }

  Section* section = nullptr;
  bool expectSummary = false;
  for (std::size_t i = 1; i < lines.size(); ++i) {
    const std::string& line = lines[i];
    const int number = static_cast<int>(i) + 1;
    if (StartsWith(line, "```")) {
      CodeBlock block;
      block.tag = Trim(std::string_view(line).substr(3));
      block.firstLine = number + 1;
      std::size_t j = i + 1;
      while (j < lines.size() && !StartsWith(lines[j], "```")) block.lines.push_back(lines[j++]);
      if (j == lines.size()) {
        problem(number, "a code block is not closed");
        break;
      }
      const bool known = block.tag == "xojo" || block.tag == "declaration" || block.tag == "property" ||
                         std::find(std::begin(kPassiveTags), std::end(kPassiveTags), block.tag) != std::end(kPassiveTags);
      if (!known) problem(number, "code block tagged \"" + block.tag + "\": use xojo, declaration, property, text, rtf or sh");
      if (block.tag == "declaration" || block.tag == "property" || block.tag == "xojo") {
        if (section == nullptr) {
          problem(number, "a " + block.tag + " block outside any \"## \" section");
        } else if (block.tag == "declaration" || block.tag == "property") {
          auto& list = block.tag == "declaration" ? section->declarations : section->properties;
          for (const std::string& l : block.lines) {
            if (!Trim(l).empty()) list.push_back(l);
          }
        } else {
          section->examples.push_back(block);
        }
      }
      page.blocks.push_back(std::move(block));
      i = j;
      expectSummary = false;
      continue;
    }
    if (StartsWith(line, "## ")) {
      page.sections.emplace_back();
      section = &page.sections.back();
      section->heading = Trim(line.substr(3));
      section->anchor = Anchor(section->heading);
      section->line = number;
      expectSummary = true;
      continue;
    }
    if (StartsWith(line, "#") && !StartsWith(line, "###")) {
      problem(number, "one \"# \" title per page; sections are \"## \"");
      continue;
    }
    if (expectSummary && section != nullptr) {
      if (Trim(line).empty()) {
        if (section->summaryLines > 0) expectSummary = false;
        continue;
      }
      if (section->summaryLines > 0) section->summary += ' ';
      section->summary += Trim(line);
      ++section->summaryLines;
    }
  }
  return page;
}

std::string ReadFile(const std::string& path, bool* ok) {
  std::ifstream in(path, std::ios::binary);
  if (ok != nullptr) *ok = static_cast<bool>(in);
  if (!in) return {};
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

Page ReadPage(const std::string& path) {
  bool ok = false;
  const std::string text = ReadFile(path, &ok);
  const std::string file = path.substr(path.find_last_of('/') + 1);
  if (!ok) {
    Page page;
    page.file = file;
    page.problems.push_back(path + ": cannot be read");
    return page;
  }
  return ParsePage(text, file);
}

}  // namespace zyldocs
