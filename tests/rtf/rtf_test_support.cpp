#include "rtf/rtf_test_support.h"

#include <doctest/doctest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

namespace rtftest {

std::string Describe(const Run& run) {
  std::ostringstream out;
  out << "{\"";
  for (const char c : run.text) {
    if (c == '\r') {
      out << "\\r";
    } else if (c == '\n') {
      out << "\\n";
    } else {
      out << c;
    }
  }
  out << "\" font \"" << run.font << "\" size " << run.size;
  char colour[16];
  snprintf(colour, sizeof colour, " #%06X", run.colour);
  out << colour << (run.bold ? " b" : "") << (run.italic ? " i" : "") << (run.underline ? " u" : "") << "}";
  return out.str();
}

Run RunOf(std::string text, std::string font, int64_t size, uint32_t colour, std::string_view styles) {
  Run run;
  run.text = std::move(text);
  run.font = std::move(font);
  run.size = size;
  run.colour = colour;
  run.bold = styles.find('b') != std::string_view::npos;
  run.italic = styles.find('i') != std::string_view::npos;
  run.underline = styles.find('u') != std::string_view::npos;
  return run;
}

memhost::Object NewText(const std::vector<Run>& runs, const std::vector<int64_t>& alignments) {
  return memhost::Object(memhost::NewStyledText(runs, alignments));
}

namespace {

std::string AsUTF8(const std::string& bytes, uint32_t encoding) {
  if (std::optional<std::string> utf8 = memhost::ConvertBytes(bytes, encoding, memhost::kUTF8)) return *utf8;
  std::string hex = "<hex";
  char digits[4];
  for (const char c : bytes) {
    snprintf(digits, sizeof digits, " %02X", static_cast<uint8_t>(c));
    hex += digits;
  }
  return hex + ">";
}

}  // namespace

std::vector<Run> RunsOf(REALobjectStruct* styledText) {
  std::vector<Run> runs;
  for (Run run : memhost::StyleRuns(styledText)) {
    run.text = AsUTF8(run.text, std::exchange(run.encoding, memhost::kUTF8));
    run.font = AsUTF8(run.font, std::exchange(run.fontEncoding, memhost::kUTF8));
    runs.push_back(std::move(run));
  }
  return runs;
}

std::vector<int64_t> AlignmentsOf(REALobjectStruct* styledText) {
  std::vector<int64_t> alignments;
  for (const memhost::ParagraphSpan& paragraph : memhost::Paragraphs(styledText)) {
    alignments.push_back(paragraph.alignment);
  }
  return alignments;
}

std::optional<std::string> Export(REALobjectStruct* styledText, bool skipParagraphs) {
  memhost::String rtf(memhost::Call<REALstringStruct*>(kGetter, styledText, int8_t{skipParagraphs}));
  if (rtf.get() == nullptr) return std::nullopt;
  CHECK(rtf.encoding() == memhost::kUTF8);
  return rtf.bytes();
}

void Import(REALobjectStruct* styledText, std::string_view rtf) {
  memhost::String value(rtf, memhost::kUTF8);
  memhost::Call<void>(kSetter, styledText, int8_t{0}, value.get());
}

Imported ImportNew(std::string_view rtf) {
  memhost::Object text = NewText({});
  Import(text.get(), rtf);
  return Imported{RunsOf(text.get()), AlignmentsOf(text.get())};
}

std::string Fixture(std::string_view name) {
  const std::string path = std::string(ZYL_RTF_DATA_DIR) + "/" + std::string(name);
  std::ifstream in(path, std::ios::binary);
  REQUIRE_MESSAGE(in.good(), "cannot read " << path);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace rtftest

doctest::String doctest::StringMaker<std::vector<rtftest::Run>>::convert(const std::vector<rtftest::Run>& runs) {
  std::ostringstream out;
  out << "[";
  for (const rtftest::Run& run : runs) out << " " << rtftest::Describe(run);
  out << " ]";
  return out.str().c_str();
}
