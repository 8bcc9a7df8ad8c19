// errors.h - how zyl reports failure: two exception types and the exit statuses.
#pragma once

#include <stdexcept>

namespace zyltool {

// Exit statuses of zyl (documented in `zyl help`).
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;    // library not loadable, unreadable file, unclean host...
inline constexpr int kExitUsage = 2;      // bad command line, unknown method, no overload fits
inline constexpr int kExitException = 3;  // the called method raised a host exception

// UsageError: the command line asks for something zyl cannot do; main prints the message and a
// usage line and exits with kExitUsage.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// ToolError: anything else that stops zyl (a library that does not load, a file that cannot be
// read); main prints the message and exits with kExitFailure.
struct ToolError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace zyltool
