// Every allocation a call reaches, failed one at a time: first each allocation the host makes for
// the call (strings, objects, memory blocks, arrays), then each of the library's own (operator new
// and its private memory). Each failure must end in the call's normal result, its empty result or
// a host exception the library raises on purpose; never a crash, a leak, a host problem or a
// native exception.
#include <doctest/doctest.h>

#include <new>

#include "call_cases.h"
#include "failing_allocator.h"
#include "support/plugin_host.h"

namespace {

using hardening::Case;

uint64_t gCounted = 0;
void Disarm() { gCounted = hardening::DisarmAllocationFailure(); }
using hardening::Outcome;

// Whether the result is the call's result with one of its text arguments read as empty text: what
// a text form gives when the host cannot convert it or its buffer cannot be had (the text
// buffer's rule), and what a NewLine or placeholder the host cannot convert counts as.
bool ResultWithAnEmptyArgument(const hardening::Caller& caller, const Case& c, const Outcome& outcome) {
  for (std::size_t k = 0; k < c.arguments.size(); ++k) {
    Case emptied = c;
    emptied.arguments[k] = "";
    try {
      if (caller.Call(emptied).result == outcome.result) return true;
    } catch (const std::exception&) {
      // An empty text does not fit that parameter.
    }
  }
  return false;
}

// Whether an array result is the normal one less some elements: a run the builder could not turn
// into a string is left out.
bool ArrayLessSomeElements(const Outcome& baseline, const Outcome& outcome) {
  if (outcome.result.rfind("array", 0) != 0 || baseline.result.rfind("array", 0) != 0) return false;
  std::size_t at = 0;
  const std::string& all = baseline.result;
  for (std::size_t from = 6; from < outcome.result.size();) {
    const std::size_t end = std::min(outcome.result.find(' ', from), outcome.result.size());
    const std::string element = " " + outcome.result.substr(from, end - from);
    at = all.find(element, at);
    if (at == std::string::npos) return false;
    at += element.size();
    from = end + 1;
  }
  return true;
}

// Whether an RTF export is the normal one with the run texts left out: the export reads each run's
// text through the text buffer, and a form that cannot be had is empty text.
bool ExportWithoutRunText(const Case& c, const Outcome& baseline, const Outcome& outcome) {
  if (c.name != "RTFDataZYL" || outcome.result.size() < 2) return false;
  const std::string head = outcome.result.substr(0, outcome.result.size() - 2);  // less the closing "}"
  return outcome.result.ends_with("7D") && baseline.result.starts_with(head);
}

void CheckFailedCall(const hardening::Caller& caller, const Case& c, const Outcome& baseline, const Outcome& outcome,
                     const std::string& what, uint64_t n) {
  INFO(c.name << " with " << what << " allocation " << n << " failing; normal result " << baseline.result);
  for (const std::string& leftover : memhost::Leftovers()) FAIL_CHECK(leftover);
  memhost::ClearProblems();
  if (outcome.exception) {
    const std::string& raised = outcome.exception->className;
    INFO("raised " << raised << ": " << outcome.exception->message);
    CHECK(outcome.exception->message.find("unnamed C++") == std::string::npos);
    const bool expected = raised == "OutOfMemoryException" || (raised == "RuntimeException" && what == "host") ||
                          (baseline.exception && baseline.exception->className == raised);
    CHECK(expected);
  }
  // A shortage gives the normal result, the empty one, or a host exception; or the result of a
  // text argument read as empty, or an array less the elements that could not be made.
  if (outcome.result != baseline.result && !outcome.empty && !outcome.exception &&
      !ArrayLessSomeElements(baseline, outcome) && !ExportWithoutRunText(c, baseline, outcome)) {
    INFO("gave " << outcome.result);
    CHECK(ResultWithAnEmptyArgument(caller, c, outcome));
  }
}

}  // namespace

TEST_CASE("every host allocation a call reaches can fail") {
  zyltest::PluginHost host;
  const hardening::Caller caller;
  for (const Case& c : hardening::Cases()) {
    const uint64_t before = memhost::HostAllocations();
    const Outcome baseline = caller.Call(c);
    const uint64_t count = memhost::HostAllocations() - before;
    CHECK_MESSAGE(baseline.exception.has_value() == c.raises, c.name);
    for (uint64_t n = 1; n <= count; ++n) {
      memhost::FailAllocation(n);
      const Outcome outcome = caller.Call(c);
      memhost::FailAllocation(std::nullopt);
      CheckFailedCall(caller, c, baseline, outcome, "host", n);
    }
  }
}

TEST_CASE("every allocation of the library's own a call reaches can fail") {
  zyltest::PluginHost host;
  const hardening::Caller caller;
  for (const Case& c : hardening::Cases()) {
    hardening::ArmAllocationFailure(0);
    const Outcome baseline = caller.Call(c, &Disarm);
    const uint64_t count = gCounted;
    for (uint64_t n = 1; n <= count; ++n) {
      hardening::ArmAllocationFailure(n);
      std::optional<Outcome> outcome;
      try {
        outcome = caller.Call(c, &Disarm);
      } catch (const std::bad_alloc&) {
        // The test's own binding of the arguments ran short: nothing was called.
        Disarm();
      }
      if (outcome) CheckFailedCall(caller, c, baseline, *outcome, "library", n);
    }
  }
}
