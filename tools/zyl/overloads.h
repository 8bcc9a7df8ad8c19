// overloads.h - choosing the overload that suits the arguments of a command line and binding
// the arguments to its parameters.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "catalogue.h"

namespace zyltool {

// Binding: where one parameter's value comes from.
struct Binding {
  enum class From { Argument, Default, Size };
  From from = From::Argument;
  std::size_t index = 0;  // Argument: the argument's index; Size: the index of the ptr parameter
};

// Plan: an entry and, for each of its parameters, its binding. `score` adds up the arguments'
// fits; `defaults` counts the parameters left to their defaults.
struct Plan {
  const Entry* entry = nullptr;
  std::vector<Binding> bindings;
  int score = 0;
  std::size_t defaults = 0;
};

// IsImpliedSize: whether parameter i is the size of the ptr before it (an integer right after a
// ptr). Its value is the size of the ptr's data; it is never given on the command line.
bool IsImpliedSize(const Declaration& declaration, std::size_t i);

// PlanCall: how the arguments fill the entry's parameters, in order; parameters with defaults
// may be left out, the rightmost first. Nullopt (reason in *reason) when the count does not fit,
// an argument cannot be read as its parameter's type, or a type cannot be passed.
std::optional<Plan> PlanCall(const Entry& entry, const std::vector<CommandArgument>& arguments, std::string* reason);

// ChooseOverload: the plan with the highest score, then the fewest defaults, then the first
// registered. Throws UsageError listing every candidate and why it does not fit when none does.
Plan ChooseOverload(const std::vector<const Entry*>& candidates, const std::vector<CommandArgument>& arguments);

// BindArguments: the values of a plan's parameters, made in the current host session and kept in
// the store. Throws as ReadArgument and ReadDefault do.
std::vector<CallValue> BindArguments(const Plan& plan, const std::vector<CommandArgument>& arguments,
                                     uint32_t defaultEncoding, ArgumentStore& store);

// UsageOf: the command-line form of an entry: "<s: string> [LineLen: integer = 72]"; a ptr is
// "<data: bytes for ptr>" and its size is not listed. Empty for an entry without parameters.
std::string UsageOf(const Entry& entry);

}  // namespace zyltool
