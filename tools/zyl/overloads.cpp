// overloads.cpp - overload choice and binding.
#include "overloads.h"

#include "errors.h"

namespace zyltool {

bool IsImpliedSize(const Declaration& declaration, std::size_t i) {
  return i > 0 && declaration.parameters[i].type == ValueType::Integer &&
         declaration.parameters[i - 1].type == ValueType::Ptr;
}

std::optional<Plan> PlanCall(const Entry& entry, const std::vector<CommandArgument>& arguments, std::string* reason) {
  if (!entry.declaration) {
    *reason = "zyl cannot read its declaration: " + entry.parseError;
    return std::nullopt;
  }
  const Declaration& declaration = *entry.declaration;
  if (declaration.result == ValueType::Unsupported) {
    *reason = "zyl cannot receive a result of type " + declaration.resultTypeName;
    return std::nullopt;
  }
  const std::size_t count = declaration.parameters.size();
  std::vector<std::size_t> given;  // parameters that take command-line arguments
  std::size_t required = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (IsImpliedSize(declaration, i)) continue;
    given.push_back(i);
    if (!declaration.parameters[i].defaultText) ++required;
  }
  if (arguments.size() < required || arguments.size() > given.size()) {
    *reason = "takes " + (required == given.size() ? std::to_string(required)
                                                   : std::to_string(required) + " to " + std::to_string(given.size())) +
              (given.size() == 1 ? " argument, " : " arguments, ") + std::to_string(arguments.size()) + " given";
    return std::nullopt;
  }
  Plan plan;
  plan.entry = &entry;
  plan.bindings.resize(count);
  // Leave out the rightmost parameters that have defaults, as many as arguments are missing.
  plan.defaults = given.size() - arguments.size();
  std::size_t toOmit = plan.defaults;
  for (std::size_t k = given.size(); k-- > 0 && toOmit > 0;) {
    if (declaration.parameters[given[k]].defaultText) {
      plan.bindings[given[k]].from = Binding::From::Default;
      given.erase(given.begin() + static_cast<std::ptrdiff_t>(k));
      --toOmit;
    }
  }
  for (std::size_t k = 0; k < given.size(); ++k) {
    const Parameter& parameter = declaration.parameters[given[k]];
    const int fit = ArgumentFit(arguments[k], parameter);
    if (fit < 0) {
      *reason = parameter.type == ValueType::Unsupported
                    ? "zyl cannot pass a " + parameter.typeName + " (" + parameter.name + ")"
                    : "\"" + arguments[k].written + "\" cannot be " + parameter.name + " as " + parameter.typeName;
      return std::nullopt;
    }
    plan.score += fit;
    plan.bindings[given[k]] = Binding{Binding::From::Argument, k};
  }
  for (std::size_t i = 0; i < count; ++i) {
    if (IsImpliedSize(declaration, i)) plan.bindings[i] = Binding{Binding::From::Size, i - 1};
  }
  return plan;
}

Plan ChooseOverload(const std::vector<const Entry*>& candidates, const std::vector<CommandArgument>& arguments) {
  std::optional<Plan> best;
  std::string reasons;
  for (const Entry* entry : candidates) {
    std::string reason;
    std::optional<Plan> plan = PlanCall(*entry, arguments, &reason);
    if (!plan) {
      reasons += "\n  " + entry->text + "\n    " + reason;
      continue;
    }
    if (!best || plan->score > best->score || (plan->score == best->score && plan->defaults < best->defaults)) {
      best = std::move(plan);
    }
  }
  if (!best) {
    const std::string name = candidates.empty() ? "it" : NameOf(*candidates.front());
    throw UsageError("no overload of " + name + " takes these arguments:" + reasons);
  }
  return *best;
}

std::vector<CallValue> BindArguments(const Plan& plan, const std::vector<CommandArgument>& arguments,
                                     uint32_t defaultEncoding, ArgumentStore& store) {
  const Declaration& declaration = *plan.entry->declaration;
  std::vector<CallValue> values(plan.bindings.size());
  for (std::size_t i = 0; i < plan.bindings.size(); ++i) {
    const Parameter& parameter = declaration.parameters[i];
    const Binding& binding = plan.bindings[i];
    if (binding.from == Binding::From::Argument) {
      values[i] = ReadArgument(arguments[binding.index], parameter, defaultEncoding, store);
    } else if (binding.from == Binding::From::Default) {
      values[i] = ReadDefault(parameter, store);
    }
  }
  // Sizes last: their ptr may come after a default in the loop above, never after them.
  for (std::size_t i = 0; i < plan.bindings.size(); ++i) {
    if (plan.bindings[i].from == Binding::From::Size) {
      values[i].type = ValueType::Integer;
      values[i].integer = values[plan.bindings[i].index].integer;
    }
  }
  return values;
}

std::string UsageOf(const Entry& entry) {
  if (!entry.declaration) return "(cannot be called: " + entry.parseError + ")";
  const Declaration& declaration = *entry.declaration;
  std::string usage;
  for (std::size_t i = 0; i < declaration.parameters.size(); ++i) {
    if (IsImpliedSize(declaration, i)) continue;
    const Parameter& parameter = declaration.parameters[i];
    std::string kind = parameter.typeName;
    if (parameter.type == ValueType::Ptr) kind = "bytes for ptr";
    if (parameter.extends) kind = parameter.typeName + " text";
    if (!usage.empty()) usage += ' ';
    usage += parameter.defaultText ? "[" + parameter.name + ": " + kind + " = " + *parameter.defaultText + "]"
                                   : "<" + parameter.name + ": " + kind + ">";
  }
  return usage;
}

}  // namespace zyltool
