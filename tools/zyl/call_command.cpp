// call_command.cpp - `zyl call NAME ARG...` and `zyl call --decl DECLARATION ARG...`.
#include <iostream>

#include "catalogue.h"
#include "commands.h"
#include "errors.h"
#include "invoke.h"
#include "output.h"

namespace zyltool {

namespace {

// The names that contain the text, ignoring case, for a hint after an unknown name.
std::string SimilarNames(const Catalogue& catalogue, const std::string& name) {
  auto lowered = [](std::string text) {
    for (char& c : text) c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
  };
  std::string hint;
  std::string last;
  for (const Entry& entry : catalogue.entries) {
    const std::string candidate = NameOf(entry);
    if (candidate != last && lowered(candidate).find(lowered(name)) != std::string::npos) hint += " " + candidate;
    last = candidate;
  }
  return hint.empty() ? "" : "\ndid you mean:" + hint;
}

void PrintPlan(const Plan& plan, const std::vector<CommandArgument>& arguments) {
  std::cerr << "zyl: calling " << plan.entry->text << "\n";
  const Declaration& declaration = *plan.entry->declaration;
  for (std::size_t i = 0; i < plan.bindings.size(); ++i) {
    const Binding& binding = plan.bindings[i];
    std::cerr << "  " << declaration.parameters[i].name << " = ";
    if (binding.from == Binding::From::Argument) std::cerr << arguments[binding.index].written << "\n";
    if (binding.from == Binding::From::Default) std::cerr << *declaration.parameters[i].defaultText << " (default)\n";
    if (binding.from == Binding::From::Size) std::cerr << "(size of " << declaration.parameters[binding.index].name << ")\n";
  }
}

}  // namespace

int RunCall(const Options& options, const std::vector<std::string>& words) {
  if (!options.declaration && words.empty()) throw UsageError("call needs a method NAME (or --decl DECLARATION)");
  const auto first = words.begin() + (options.declaration ? 0 : 1);
  std::vector<CommandArgument> arguments;
  for (auto word = first; word != words.end(); ++word) arguments.push_back(ParseArgument(*word));

  Library library(options.load);
  const Catalogue catalogue = ReadCatalogue();
  std::vector<const Entry*> candidates;
  if (options.declaration) {
    const Entry* entry = FindByDeclaration(catalogue, *options.declaration);
    if (entry == nullptr) throw UsageError("no method is registered as \"" + *options.declaration + "\"");
    candidates.push_back(entry);
  } else {
    candidates = FindByName(catalogue, words[0]);
    if (candidates.empty()) {
      throw UsageError(words[0] + " is not registered by this library" + SimilarNames(catalogue, words[0]));
    }
  }
  const Plan plan = ChooseOverload(candidates, arguments);
  if (options.verbose) PrintPlan(plan, arguments);

  Outcome outcome = Invoke(plan, arguments, options.encoding);
  if (options.raw) {
    WriteRawResult(std::cout, outcome.result);
  } else {
    for (const std::string& line : DescribeResult(outcome.result, options.hex)) std::cout << line << "\n";
  }
  if (outcome.runsAfter) {
    std::cout << "StyledText after the call: " << Count(outcome.runsAfter->size(), "run", "runs") << "\n";
    for (const std::string& line : DescribeRuns(*outcome.runsAfter)) std::cout << "  " << line << "\n";
  }
  std::cout.flush();
  ReleaseResult(outcome.result);
  int status = kExitSuccess;
  if (outcome.exception) {
    std::cerr << "zyl: " << NameOf(*plan.entry) << " raised " << DescribeException(*outcome.exception) << "\n";
    status = kExitException;
  }
  return FinishRun(status);
}

}  // namespace zyltool
