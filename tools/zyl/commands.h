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

// FinishRun: the status of a run after checking the host session: leftovers (memhost::Leftovers) are
// printed on standard error and turn a successful status into kExitFailure.
int FinishRun(int status);

}  // namespace zyltool
