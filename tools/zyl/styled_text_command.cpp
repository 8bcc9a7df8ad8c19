// styled_text_command.cpp - `zyl runs`, `zyl rtf-export` and `zyl rtf-import`: a StyledText
// described on the command line or in a file, shown as its runs and paragraphs, written as RTF
// through the library's "RTFDataZYL" getter, and rebuilt from RTF through its setter.
#include <charconv>
#include <iostream>
#include <sstream>

#include "arguments.h"
#include "commands.h"
#include "errors.h"
#include "output.h"

namespace zyltool {

namespace {

constexpr const char* kModuleGetter = "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false) as string";
constexpr const char* kModuleSetter =
    "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false, assigns value as string)";
constexpr const char* kClassRow = "RTFDataZYL(SkipParagraphs as boolean = false) as string";

struct TextDescription {
  std::vector<memhost::RunStyle> runs;
  std::vector<int64_t> alignments;
};

int64_t ParseNumber(std::string_view text, int base, std::string_view what) {
  int64_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (text.empty() || ec != std::errc{} || end != text.data() + text.size()) {
    throw UsageError(std::string(what) + " needs a number, not \"" + std::string(text) + "\"");
  }
  return value;
}

int64_t ParseAlignment(std::string_view word) {
  if (word == "default") return 0;
  if (word == "left") return 1;
  if (word == "centre" || word == "center") return 2;
  if (word == "right") return 3;
  return ParseNumber(word, 10, "an alignment");
}

std::string_view AlignmentName(int64_t alignment) {
  switch (alignment) {
    case 0: return "default";
    case 1: return "left";
    case 2: return "centre";
    case 3: return "right";
    default: return "other";
  }
}

void ApplyStyle(std::string_view item, memhost::RunStyle& run) {
  const std::size_t equals = item.find('=');
  const std::string_view key = item.substr(0, equals);
  const std::string_view value = equals == std::string_view::npos ? std::string_view{} : item.substr(equals + 1);
  if (key == "b" || key == "bold") {
    run.bold = true;
  } else if (key == "i" || key == "italic") {
    run.italic = true;
  } else if (key == "u" || key == "underline") {
    run.underline = true;
  } else if (key == "font") {
    run.font = std::string(value);
  } else if (key == "size") {
    run.size = ParseNumber(value, 10, "size=");
  } else if (key == "colour" || key == "color") {
    if (value.size() != 7 || value[0] != '#') throw UsageError("colour= needs #RRGGBB, not \"" + std::string(value) + "\"");
    run.colour = static_cast<uint32_t>(ParseNumber(value.substr(1), 16, "colour="));
  } else {
    throw UsageError("unknown run style \"" + std::string(item) + "\" (b, i, u, font=, size=, colour=)");
  }
}

// "[font=Arial,size=12,colour=#FF0000,b,i,u]TEXT", TEXT in zyl's argument syntax; or
// "align:2,3,left" for the paragraph alignments.
void AddWord(TextDescription& text, std::string_view word) {
  if (word.substr(0, 6) == "align:") {
    std::string_view list = word.substr(6);
    while (!list.empty()) {
      const std::size_t comma = list.find(',');
      text.alignments.push_back(ParseAlignment(list.substr(0, comma)));
      list = comma == std::string_view::npos ? std::string_view{} : list.substr(comma + 1);
    }
    return;
  }
  memhost::RunStyle run;
  if (!word.empty() && word[0] == '[') {
    const std::size_t close = word.find(']');
    if (close == std::string_view::npos) throw UsageError("run style without ']': " + std::string(word));
    std::string_view styles = word.substr(1, close - 1);
    while (!styles.empty()) {
      const std::size_t comma = styles.find(',');
      ApplyStyle(styles.substr(0, comma), run);
      styles = comma == std::string_view::npos ? std::string_view{} : styles.substr(comma + 1);
    }
    word.remove_prefix(close + 1);
  }
  run.text = SourceBytes(ParseArgument(word));
  text.runs.push_back(std::move(run));
}

// The words of the command line, or the lines of the --from file (blank lines and lines that
// start with '#' are skipped).
TextDescription Describe(const Options& options, const std::vector<std::string>& words) {
  TextDescription text;
  if (options.runsFile) {
    if (!words.empty()) throw UsageError("give runs either as words or with --from, not both");
    std::istringstream lines(SourceBytes(ParseArgument("@" + *options.runsFile)));
    for (std::string line; std::getline(lines, line);) {
      if (!line.empty() && line.back() == '\r') line.pop_back();
      if (!line.empty() && line[0] != '#') AddWord(text, line);
    }
  } else {
    for (const std::string& word : words) AddWord(text, word);
  }
  return text;
}

memhost::Object MakeText(const TextDescription& text) {
  try {
    return memhost::Object(memhost::NewStyledText(text.runs, text.alignments));
  } catch (const std::out_of_range&) {
    throw UsageError("more alignments than the text has paragraphs");
  }
}

bool ModuleRoute() {
  if (memhost::FindFunction(kModuleGetter) != nullptr) return true;
  if (memhost::FindFunction(kClassRow) != nullptr) return false;
  throw ToolError("the library registers no RTFDataZYL");
}

// The exception the call raised, shown; kExitException then.
int ExceptionStatus() {
  const std::optional<memhost::RaisedException> exception = memhost::TakeException();
  if (!exception) return kExitSuccess;
  std::cerr << "zyl: RTFDataZYL raised " << DescribeException(*exception) << "\n";
  return kExitException;
}

void PrintText(REALobjectStruct* styledText) {
  const std::vector<memhost::RunStyle> runs = memhost::StyleRuns(styledText);
  const std::vector<memhost::ParagraphSpan> paragraphs = memhost::Paragraphs(styledText);
  std::cout << "StyledText: " << Count(runs.size(), "run", "runs") << ", "
            << Count(paragraphs.size(), "paragraph", "paragraphs") << "\n";
  for (const std::string& line : DescribeRuns(runs)) std::cout << "  " << line << "\n";
  for (std::size_t i = 0; i < paragraphs.size(); ++i) {
    std::cout << "  paragraph " << i + 1 << ": characters " << paragraphs[i].start << "-" << paragraphs[i].end
              << ", alignment " << paragraphs[i].alignment << " (" << AlignmentName(paragraphs[i].alignment) << ")\n";
  }
}

}  // namespace

int RunRuns(const Options& options, const std::vector<std::string>& words) {
  const TextDescription description = Describe(options, words);
  Library library(options.load);
  {
    const memhost::Object text = MakeText(description);
    PrintText(text.get());
  }
  return FinishRun(kExitSuccess);
}

int RunRTFExport(const Options& options, const std::vector<std::string>& words) {
  const TextDescription description = Describe(options, words);
  Library library(options.load);
  int status = kExitSuccess;
  {
    const memhost::Object text = MakeText(description);
    const int8_t skip = options.skipParagraphs ? 1 : 0;
    memhost::String rtf(ModuleRoute() ? memhost::Call<REALstringStruct*>(kModuleGetter, text.get(), skip)
                                      : memhost::Call<REALstringStruct*>(kClassRow, text.get(), skip));
    status = ExceptionStatus();
    if (options.raw) {
      std::cout << rtf.bytes();
    } else if (rtf.get() == nullptr) {
      std::cout << "nil (empty string)\n";
    } else {
      std::cout << rtf.bytes() << "\n";
    }
    std::cout.flush();
  }
  return FinishRun(status);
}

int RunRTFImport(const Options& options, const std::vector<std::string>& words) {
  if (words.size() != 1) throw UsageError("rtf-import takes one RTF source (@FILE, -, esc:, hex: or text)");
  const std::string bytes = SourceBytes(ParseArgument(words[0]));
  Library library(options.load);
  int status = kExitSuccess;
  {
    const memhost::Object text = MakeText({});
    const memhost::String rtf(bytes, kUTF8);
    const int8_t skip = options.skipParagraphs ? 1 : 0;
    if (ModuleRoute()) {
      memhost::Call<void>(kModuleSetter, text.get(), skip, rtf.get());
    } else {
      memhost::CallSetter<void>(kClassRow, text.get(), skip, rtf.get());
    }
    status = ExceptionStatus();
    PrintText(text.get());
  }
  return FinishRun(status);
}

}  // namespace zyltool
