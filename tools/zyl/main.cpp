// main.cpp - zyl, a command-line host for the plug-in library: lists what it registers, calls
// any registered method, and shows what the library does.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "commands.h"
#include "encodings.h"
#include "errors.h"

namespace zyltool {

namespace {

constexpr std::string_view kUsage =
    "usage: zyl [--plugin PATH] [--host-version V] [--debug] COMMAND\n"
    "       zyl methods [NAME] | zyl call [--decl D] [--enc E] [--hex|--raw] [-v] NAME [ARG...] | zyl demo | zyl help\n"
    "       zyl runs RUN... | zyl rtf-export [--skip-paragraphs] [--raw] RUN... | zyl rtf-import SOURCE\n";

void PrintHelp() {
  std::cout << kUsage << R"(
Loads a libZYLString plug-in library into an in-memory host, as the host loads it, and talks to it.

Commands
  methods            what the library registered: module, property, every declaration with its
                     flags, grouped by family, and the counts
  methods NAME       the overloads of NAME and how to call each (names containing NAME when no
                     name matches exactly)
  call NAME ARG...   call the overload of NAME that suits the arguments (their number and kinds);
                     parameters with a default may be left out, the rightmost first
  call --decl "DECLARATION" ARG...
                     call exactly that registered declaration
  demo               the library's banner, what it registered, and a few calls of each family
  runs RUN...        a StyledText made of the runs, shown as its runs and paragraphs
  rtf-export RUN...  the same StyledText written as RTF by the library's RTFDataZYL getter
  rtf-import SOURCE  RTF (@FILE, -, esc:, hex: or text) read into a StyledText by the setter,
                     shown as its runs and paragraphs
  help               this text

Options (before the command's own words)
  --plugin PATH      load that library (default: ../src/libZYLString.so next to zyl's folder)
  --host-version V   the host version the library is told (default 2024.0, one module; below
                     2013.0 or from 3000.0 on, methods are registered one by one)
  --debug            switch the library's Debugging property on; its log goes to standard error
  --enc E            encoding of string arguments that have no enc= of their own (default utf8)
  --hex              show string and MemoryBlock results in hex
  --raw              write the result's bytes to standard output as they are, nothing else
  -v, --verbose      show the chosen overload and where each argument comes from (stderr)
  --from FILE        runs, rtf-export: the runs one a line (blank lines and # lines skipped)
  --skip-paragraphs  rtf-export, rtf-import: SkipParagraphs = true

Arguments of call
  integer            42, -7, 0x1F
  double             3.5, -1e-3, 7
  boolean            true, false, 1, 0
  string, MemoryBlock, ptr, StyledText:
    TEXT             the text as typed (UTF-8), converted to the argument's encoding
    text:TEXT        the same, for text that would otherwise read as something else
    esc:TEXT         bytes with escapes \n \r \t \0 \\ \" \' \xHH
    hex:HEX          bytes in hex, e.g. hex:41C3A9 (blanks and colons are ignored)
    @PATH            the bytes of a file
    -                the bytes of standard input (read once)
    nil:             a nil string, MemoryBlock or object
  Bytes (esc:, hex:, @, -) are taken as they are and tagged with the argument's encoding.
  Prefixes, in this order, refine a value:
    str: mem: ptr:   pass it only as a string, a MemoryBlock or a ptr (picks the overload)
    enc=E:           its encoding, e.g. enc=latin1:café or enc=utf16le:hex:4100
  Encodings: )" << EncodingNamesHelp() << R"(
  A ptr parameter gets the data's address and the integer parameter after it the data's size:
    zyl call GetStringsFromDataZYL ptr:@file.bin 4
  A StyledText parameter gets a new StyledText holding the text as one run; after an assigning
  call (assigns value) its runs are shown.

Runs of runs, rtf-export
  [font=NAME,size=N,colour=#RRGGBB,b,i,u]TEXT   one run; TEXT as a call argument (esc:, hex:,
                     @FILE ...); the style part may be left out
  align:2,right,...  the alignments of the paragraphs in order (0 default, 1 left, 2 centre,
                     3 right, or those names)
    zyl rtf-export "[font=Arial,size=12,colour=#FF0000,b]esc:H\ri" align:centre

Results
  text with its encoding ("UTF-16, 8 bytes: café"), else hex ("no encoding, 2 bytes, hex: 00FF");
  string arrays one element a line; integers, doubles and booleans plainly. A host exception the
  method raised is shown on standard error with its class, ErrorNumber and Message.

Exit status
  0 success, 1 failure (library not loadable, unreadable file, host values left unreleased),
  2 usage error (bad command line, unknown method, no overload takes the arguments),
  3 the method raised a host exception.
)";
}

// Options that take a value; every one of them may also be written --name=value.
bool TakesValue(std::string_view name) {
  return name == "--plugin" || name == "--host-version" || name == "--decl" || name == "--enc" || name == "--from";
}

void ApplyOption(Options& options, std::string_view name, const std::string& value) {
  if (name == "--plugin") {
    options.load.pluginPath = value;
  } else if (name == "--host-version") {
    char* end = nullptr;
    options.load.hostVersion = std::strtod(value.c_str(), &end);
    if (value.empty() || *end != '\0') throw UsageError("--host-version needs a number, not \"" + value + "\"");
  } else if (name == "--decl") {
    options.declaration = value;
  } else if (name == "--enc") {
    const auto encoding = ParseEncoding(value);
    if (!encoding) throw UsageError("unknown encoding \"" + value + "\"");
    options.encoding = *encoding;
  } else if (name == "--from") {
    options.runsFile = value;
  } else if (name == "--skip-paragraphs") {
    options.skipParagraphs = true;
  } else if (name == "--debug") {
    options.load.debug = true;
  } else if (name == "--hex") {
    options.hex = true;
  } else if (name == "--raw") {
    options.raw = true;
  } else if (name == "-v" || name == "--verbose") {
    options.verbose = true;
  } else {
    throw UsageError("unknown option " + std::string(name));
  }
}

int Run(const std::vector<std::string>& args) {
  Options options;
  std::string command;
  std::vector<std::string> words;
  bool optionsEnd = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    // Options come before the command's first word; after it everything is a word (so that
    // method arguments such as "-5" or "-" are never taken for options).
    const bool number = arg.size() > 1 && arg[0] == '-' && ((arg[1] >= '0' && arg[1] <= '9') || arg[1] == '.');
    const bool option = !optionsEnd && words.empty() && arg.size() > 1 && arg[0] == '-' && !number;
    if (!option) {
      if (command.empty()) {
        command = arg;
      } else {
        words.push_back(arg);
      }
      continue;
    }
    if (arg == "--") {
      optionsEnd = true;
    } else if (arg == "-h" || arg == "--help") {
      command = "help";
    } else if (const std::size_t equals = arg.find('='); equals != std::string::npos && arg.rfind("--", 0) == 0) {
      const std::string name = arg.substr(0, equals);
      if (!TakesValue(name)) throw UsageError("option " + name + " takes no value");
      ApplyOption(options, name, arg.substr(equals + 1));
    } else if (TakesValue(arg)) {
      if (++i == args.size()) throw UsageError("option " + arg + " needs a value");
      ApplyOption(options, arg, args[i]);
    } else {
      ApplyOption(options, arg, "");
    }
  }
  if (options.hex && options.raw) throw UsageError("--hex and --raw exclude each other");
  if (command == "help") {
    PrintHelp();
    return kExitSuccess;
  }
  if (command.empty()) throw UsageError("no command given");
  if (options.declaration && command != "call") throw UsageError("--decl belongs to call");
  if (options.runsFile && command != "runs" && command != "rtf-export") throw UsageError("--from belongs to runs and rtf-export");
  if (command == "methods") return RunMethods(options, words);
  if (command == "runs") return RunRuns(options, words);
  if (command == "rtf-export") return RunRTFExport(options, words);
  if (command == "rtf-import") return RunRTFImport(options, words);
  if (command == "call") return RunCall(options, words);
  if (command == "demo") {
    if (!words.empty()) throw UsageError("demo takes no arguments");
    return RunDemo(options);
  }
  throw UsageError("unknown command \"" + command + "\"");
}

}  // namespace

int FinishRun(int status) {
  const std::vector<std::string> leftovers = memhost::Leftovers();
  for (const std::string& leftover : leftovers) std::cerr << "zyl: after the run: " << leftover << "\n";
  return leftovers.empty() || status != kExitSuccess ? status : kExitFailure;
}

}  // namespace zyltool

int main(int argc, char** argv) {
  using namespace zyltool;
  try {
    return Run(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const UsageError& error) {
    std::cout.flush();
    std::cerr << "zyl: " << error.what() << "\n" << kUsage;
    return kExitUsage;
  } catch (const ToolError& error) {
    std::cout.flush();
    std::cerr << "zyl: " << error.what() << "\n";
    return kExitFailure;
  } catch (const std::exception& error) {
    std::cout.flush();
    std::cerr << "zyl: " << error.what() << "\n";
    return kExitFailure;
  }
}
