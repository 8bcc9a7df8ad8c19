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

void CheckFailedCall(const Case& c, const Outcome& baseline, const Outcome& outcome, const char* what, uint64_t n) {
  INFO(c.name << " with " << what << " allocation " << n << " failing; normal result " << baseline.result);
  for (const std::string& leftover : memhost::Leftovers()) FAIL_CHECK(leftover);
  memhost::ClearProblems();
  if (outcome.exception) {
    const std::string& raised = outcome.exception->className;
    INFO("raised " << raised << ": " << outcome.exception->message);
    CHECK(outcome.exception->message.find("unnamed C++") == std::string::npos);
    const bool expected = raised == "OutOfMemoryException" || (raised == "RuntimeException" && what[0] == 'h') ||
                          (baseline.exception && baseline.exception->className == raised);
    CHECK(expected);
  }
  // A shortage gives the normal result, the empty one, or a host exception. The one other way out
  // is the text buffer's: a host conversion that fails reads as empty text.
  if (outcome.result != baseline.result && !outcome.empty && !outcome.exception) {
    MESSAGE(c.name << ": " << what << " allocation " << n << " gave " << outcome.result);
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
      CheckFailedCall(c, baseline, outcome, "host", n);
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
      if (outcome) CheckFailedCall(c, baseline, *outcome, "library", n);
    }
  }
}
