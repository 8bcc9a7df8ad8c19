// commands.h - zyl's commands. Each loads the library into a fresh host session, does its work,
// checks that the session was given back everything, and returns the exit status.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "encodings.h"
#include "library.h"

namespace zyltool {

struct Options {
  LoadOptions load;
  std::optional<std::string> declaration;  // call --decl
  uint32_t encoding = kUTF8;               // call --enc: for string arguments without enc=
  bool hex = false;                        // call --hex
  bool raw = false;                        // call --raw
  bool verbose = false;                    // call -v: the chosen overload on standard error
  std::optional<std::string> runsFile;     // runs, rtf-export --from: the runs in a file
  bool skipParagraphs = false;             // rtf-export, rtf-import --skip-paragraphs
};

// RunMethods: `zyl methods [NAME]`. Without a name: the module, property, class extensions and
// every declaration with its flags, grouped by family, and the counts. With a name: its overloads
// and how to call each (names containing NAME when none matches exactly). UsageError when
// nothing matches.
int RunMethods(const Options& options, const std::vector<std::string>& words);

// RunCall: `zyl call NAME ARG...` or `zyl call --decl DECLARATION ARG...`. Prints the result on
// standard output and a raised exception on standard error (status 3).
int RunCall(const Options& options, const std::vector<std::string>& words);

// RunDemo: `zyl demo`: the banner, what was registered, and a few telling calls of each family
// the library registers; rows whose method is not registered are skipped.
int RunDemo(const Options& options);

// RunRuns: `zyl runs RUN...` (or --from FILE): a StyledText made of the described runs and
// paragraph alignments, shown as its runs and paragraphs. A RUN is
// "[font=NAME,size=N,colour=#RRGGBB,b,i,u]TEXT" with TEXT in the argument syntax of call;
// "align:2,right,..." gives the paragraphs' alignments.
int RunRuns(const Options& options, const std::vector<std::string>& words);

// RunRTFExport: `zyl rtf-export RUN...`: the described StyledText as RTF, through the library's
// "RTFDataZYL" getter (followed by a line feed unless --raw).
int RunRTFExport(const Options& options, const std::vector<std::string>& words);

// RunRTFImport: `zyl rtf-import SOURCE`: RTF (from @FILE, standard input, esc:, hex: or text)
// assigned to a new StyledText through the setter, then shown as its runs and paragraphs.
int RunRTFImport(const Options& options, const std::vector<std::string>& words);

// FinishRun: the status of a run after checking the host session: leftovers (memhost::Leftovers) are
// printed on standard error and turn a successful status into kExitFailure.
int FinishRun(int status);

}  // namespace zyltool
