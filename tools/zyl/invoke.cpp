// invoke.cpp - binding, calling and collecting.
#include "invoke.h"

namespace zyltool {

Outcome Invoke(const Plan& plan, const std::vector<CommandArgument>& arguments, uint32_t defaultEncoding) {
  const Declaration& declaration = *plan.entry->declaration;
  ArgumentStore store;
  std::vector<CallValue> values = BindArguments(plan, arguments, defaultEncoding, store);
  Outcome outcome;
  outcome.result = CallWithFfi(plan.entry->function, values, declaration.result);
  outcome.exception = memhost::TakeException();
  bool assigning = false;
  for (const Parameter& parameter : declaration.parameters) assigning = assigning || parameter.assigns;
  for (std::size_t i = 0; i < values.size() && assigning; ++i) {
    if (declaration.parameters[i].extends && values[i].pointer != nullptr &&
        memhost::ClassOf(static_cast<REALobjectStruct*>(values[i].pointer)) == "StyledText") {
      outcome.runsAfter = memhost::StyleRuns(static_cast<REALobjectStruct*>(values[i].pointer));
    }
  }
  return outcome;
}

}  // namespace zyltool
