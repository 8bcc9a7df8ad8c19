// demo_command.cpp - `zyl demo`: what the library does, on telling inputs.
#include <iostream>
#include <map>

#include "catalogue.h"
#include "commands.h"
#include "errors.h"
#include "invoke.h"
#include "output.h"

namespace zyltool {

namespace {

// One demo call: a declaration and its arguments in zyl's argument syntax. `hex` shows the
// result's bytes (for results that look like their input).
struct DemoRow {
  const char* declaration;
  std::vector<const char*> arguments;
  bool hex = false;
};

// Rows per family in the order tried; each family shows its first kMaxRowsPerFamily rows whose
// declaration is registered. Rows of methods the library does not register are skipped.
const std::vector<DemoRow>& DemoRows() {
  static const std::vector<DemoRow> rows = {
      {"InStrBytesZYL(target as string, find as string) as integer", {"hello world", "world"}},
      {"CountOccurancesZYL(s as string, find as string) as integer", {"banana", "an"}},
      {"HasPrefixZYL(Text as String, Prefix as String) as boolean", {"libZYLString", "lib"}},
      {"StrCompBytesZYL(a as string, b as string) as integer", {"abc", "abd"}},
      {"ConcatBinaryStringsZYL(a as string, b as string, c as string) as string", {"con", "cat", "enate"}},
      {"CreateStringZYL(Length as integer, Content as String) as string", {"7", "ab"}},
      {"ReplaceLineEndingsZYL(Text as String, NewLine as String, yield as boolean = false) as String",
       {"esc:one\\r\\ntwo\\rthree", "esc:\\n"}, true},
      {"GetStringsFromDataZYL(data as String, MinLength as Integer = 0) as string()",
       {"esc:\\x01\\x02hello\\x00\\x07\\x08world!\\x03", "4"}},
      {"StrZYL(d as double) as string", {"3.14159"}},
      {"CheckUTF8ZYL(data as string, Placeholder as string) as string", {"hex:48C3A9FF21", "?"}},
      {"UnicodeStringZYL(s as string) as string", {"café"}},
      {"NativeStringZYL(s as string) as string", {"enc=latin1:café"}},
      {"IsASCIIStringZYL(s as string) as boolean", {"café"}},
      {"EncodingToCP1252ZYL(s as string) as string", {"€uro"}, true},
      {"EncodingToHTMLZYL(s as string, options as integer = 0) as string", {"<a href=\"x\">café & co</a>"}},
      {"DecodingFromHTMLZYL(s as string) as string", {"&lt;b&gt; caf&eacute; &#8364;"}},
      {"EncodingToURLZYL(s as string) as string", {"a b&c=ä"}},
      {"EncodingToQuotedPrintableZYL(s as string, LineLen as integer = 72) as string", {"Grüße"}},
      {"EncodeEmailSubjectZYL(s as string) as string", {"Grüße aus Köln"}},
      {"EncodingToHexZYL(s as string) as string", {"Hi!"}},
      {"ConvertUnicodeToCharacterDecompositionZYL(text as string) as string", {"é"}, true},
      {"ConvertUnicodeToCharacterCompositionZYL(text as string) as string", {"hex:65CC81"}, true},
      {"RemoveAccentsZYL(text as string, IgnoreCase as boolean = false) as string", {"Crème Brûlée"}},
      {"LevenshteinDistanceZYL(a as string, b as string) as double", {"kitten", "sitting"}},
      {"JaroWinklerDistanceZYL(a as string, b as string) as double", {"MARTHA", "MARHTA"}},
      {"RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false) as string", {"Hello, world"}},
      {"RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false, assigns value as string)",
       {"", "{\\rtf1\\ansi plain {\\b bold} {\\i italic}\\par}"}},
  };
  return rows;
}

constexpr std::size_t kMaxRowsPerFamily = 2;

// How a demo call reads: Name("text", 4, hex:41).
std::string CallText(const Entry& entry, const std::vector<CommandArgument>& arguments) {
  std::string text = NameOf(entry) + "(";
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const CommandArgument& argument = arguments[i];
    const bool quote = IsPlainText(argument) || argument.written.empty();
    text += (i > 0 ? ", " : "") + (quote ? "\"" + argument.written + "\"" : argument.written);
  }
  return text + ")";
}

struct DemoLine {
  std::string call;
  std::vector<std::string> result;
};

// Runs one row; a raised exception shows in the result lines and sets *raised.
DemoLine RunRow(const DemoRow& row, const Entry& entry, bool* raised) {
  std::vector<CommandArgument> arguments;
  for (const char* argument : row.arguments) arguments.push_back(ParseArgument(argument));
  DemoLine line{CallText(entry, arguments), {}};
  std::string reason;
  const std::optional<Plan> plan = PlanCall(entry, arguments, &reason);
  if (!plan) {
    line.result = {"(not run: " + reason + ")"};
    return line;
  }
  Outcome outcome = Invoke(*plan, arguments, kUTF8);
  line.result = DescribeResult(outcome.result, row.hex);
  ReleaseResult(outcome.result);
  if (outcome.runsAfter) {
    line.result.push_back("StyledText now holds " + Count(outcome.runsAfter->size(), "run", "runs"));
    for (const std::string& run : DescribeRuns(*outcome.runsAfter)) line.result.push_back("  " + run);
  }
  if (outcome.exception) {
    line.result.push_back("raised " + DescribeException(*outcome.exception));
    *raised = true;
  }
  return line;
}

void PrintFamily(std::string_view family, const std::vector<DemoLine>& lines) {
  std::size_t width = 0;
  for (const DemoLine& line : lines) width = std::max(width, std::min<std::size_t>(DisplayWidth(line.call), 44));
  std::cout << "\n" << family << "\n";
  for (const DemoLine& line : lines) {
    const std::size_t pad = width > DisplayWidth(line.call) ? width - DisplayWidth(line.call) : 0;
    std::cout << "  " << line.call << std::string(pad, ' ') << "  ->  " << (line.result.empty() ? "(done)" : line.result[0])
              << "\n";
    for (std::size_t i = 1; i < line.result.size(); ++i) std::cout << std::string(width + 8, ' ') << line.result[i] << "\n";
  }
}

}  // namespace

int RunDemo(const Options& options) {
  Library library(options.load);
  const std::string banner = Banner(library);
  std::cout << (banner.empty() ? "(the library printed no banner)" : banner) << "\n";
  const Catalogue catalogue = ReadCatalogue();
  std::cout << "library " << library.path() << ", host version " << VersionText(library.hostVersion()) << "\nregistered: ";
  for (const memhost::RegisteredModule& module : catalogue.registration.modules) {
    std::cout << "module " << module.name << " (" << Count(module.methods.size(), "method", "methods") << ", "
              << Count(module.properties.size(), "property", "properties") << "); ";
  }
  std::cout << Count(catalogue.registration.methods.size(), "single method", "single methods") << ", "
            << Count(catalogue.registration.classExtensions.size(), "class extension", "class extensions") << "\n";

  std::map<std::string_view, std::vector<DemoLine>> byFamily;
  bool raised = false;
  std::size_t calls = 0;
  for (const DemoRow& row : DemoRows()) {
    const Entry* entry = FindByDeclaration(catalogue, row.declaration);
    if (entry == nullptr) continue;
    std::vector<DemoLine>& lines = byFamily[FamilyOf(NameOf(*entry))];
    if (lines.size() >= kMaxRowsPerFamily) continue;
    lines.push_back(RunRow(row, *entry, &raised));
    ++calls;
  }
  for (std::string_view family : Families()) {
    if (auto found = byFamily.find(family); found != byFamily.end()) PrintFamily(family, found->second);
  }
  std::cout << "\n" << Count(calls, "call", "calls") << " in " << Count(byFamily.size(), "family", "families")
            << "; zyl methods lists everything, zyl call NAME ARG... calls any of it\n";
  return FinishRun(raised ? kExitException : kExitSuccess);
}

}  // namespace zyltool
