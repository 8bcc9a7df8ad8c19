// invoke.h - one call of a registered method, from a chosen plan to what came back.
#pragma once

#include <optional>
#include <vector>

#include <memhost.h>

#include "ffi_call.h"
#include "overloads.h"

namespace zyltool {

// Outcome: what a call gave. `result` carries the method's +1 reference for pointer results:
// give it back with ReleaseResult once it is shown. `runsAfter` holds the extended StyledText's
// runs after an assigning call ("assigns value"), for showing what the setter did.
struct Outcome {
  CallValue result;
  std::optional<memhost::RaisedException> exception;
  std::optional<std::vector<memhost::RunStyle>> runsAfter;
};

// Invoke: binds the arguments (see BindArguments), calls the entry's function through libffi,
// takes the exception the call raised, and gives back every argument's host reference before it
// returns. Throws UsageError or ToolError from binding; nothing is called then.
Outcome Invoke(const Plan& plan, const std::vector<CommandArgument>& arguments, uint32_t defaultEncoding);

}  // namespace zyltool
