// Calls of every registered method, written as zyl's command line writes them, and the means to
// make them as the host does (zyl's declaration reading, overload choice and libffi call).
#pragma once

#include <memhost.h>

#include <optional>
#include <string>
#include <vector>

#include "catalogue.h"
#include "ffi_call.h"
#include "overloads.h"

namespace hardening {

// Case: a method name and its arguments in zyl's syntax ("hex:41C3", "enc=utf16:text", "nil:",
// "mem:...", "ptr:...", integers, doubles, booleans). `raises`: the call raises a host exception
// even with all the memory it wants.
struct Case {
  std::string name;
  std::vector<std::string> arguments;
  bool raises = false;
};

// Cases: at least one call of each of the 74 declarations (the property's getter and setter
// included), on inputs that reach each function's main work.
const std::vector<Case>& Cases();

// Outcome of one call: what came back, described (so that two runs can be compared), and the
// exception the call raised, if any. The result's reference is already given back.
struct Outcome {
  std::string result;  // "nil", "0", "false", "0.0" or the value as text; bytes in hex
  bool empty = true;   // nil, 0, false (0.0 for doubles)
  std::optional<memhost::RaisedException> exception;
};

// Callable: a case bound to the overload its arguments choose in the current session's catalogue.
class Caller {
 public:
  Caller();  // reads the current session's catalogue
  // Call: binds the arguments (new host values), calls as the host does, gives back the result
  // and every argument. Throws std::logic_error when no overload fits.
  // afterCall (optional) runs right after the call returns, before anything is described.
  Outcome Call(const Case& c, void (*afterCall)() = nullptr) const;
  // Declaration: the declaration the case's arguments choose.
  std::string Declaration(const Case& c) const;

 private:
  zyltool::Plan PlanFor(const Case& c, std::vector<zyltool::CommandArgument>* arguments) const;
  zyltool::Catalogue catalogue_;
};

// Describe: a call value as Outcome::result writes it.
std::string Describe(const zyltool::CallValue& value);

}  // namespace hardening
