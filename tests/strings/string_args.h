// Arguments of the string tests: a host string written as bytes plus encoding, or nil.
#pragma once

#include <memhost.h>

#include <cstdint>
#include <string>

namespace stringtest {

struct Arg {
  std::string bytes;
  uint32_t encoding = memhost::kUTF8;
  bool nil = false;
};
inline const Arg kNilArg{"", memhost::kUTF8, true};

// A new host string holding the argument (an empty handle for nil).
inline memhost::String Make(const Arg& a) { return a.nil ? memhost::String() : memhost::String(a.bytes, a.encoding); }

}  // namespace stringtest
