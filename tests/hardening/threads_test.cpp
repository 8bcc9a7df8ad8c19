// Every method from 8 threads at once, each on its own arguments, while the main thread reads and
// writes the StyledText property: the host calls that property on its main thread only (the
// bridge's method caches are the main thread's), the global methods on any thread. Under the
// ThreadSanitizer preset a data race fails the run; in every preset each call must give the same
// result as on a quiet host, and the host must end clean.
#include <doctest/doctest.h>

#include <atomic>
#include <map>
#include <thread>

#include "call_cases.h"
#include "support/plugin_host.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 3;

bool ThreadSafeCase(const hardening::Case& c) {
  // Raising cases would race for the one pending exception the in-memory host keeps.
  return !c.raises && c.name != "RTFDataZYL";
}

// Random bytes differ from call to call: only their length is compared.
std::string Comparable(const hardening::Case& c, const std::string& result) {
  return c.name == "RandomBytesStringZYL" ? std::to_string(result.size()) : result;
}

}  // namespace

TEST_CASE("every method from 8 threads at once, the RTF property on the main thread") {
  zyltest::PluginHost host;
  const hardening::Caller caller;
  std::map<std::size_t, std::string> expected;
  const auto& cases = hardening::Cases();
  for (std::size_t i = 0; i < cases.size(); ++i) {
    if (ThreadSafeCase(cases[i])) expected[i] = Comparable(cases[i], caller.Call(cases[i]).result);
  }

  std::atomic<int> mismatches{0};
  std::atomic<int> running{kThreads};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round) {
        // Each thread walks the table from its own starting point, so different methods overlap.
        for (std::size_t k = 0; k < cases.size(); ++k) {
          const std::size_t i = (k + static_cast<std::size_t>(t) * 7) % cases.size();
          if (expected.count(i) == 0) continue;
          if (Comparable(cases[i], caller.Call(cases[i]).result) != expected.at(i)) ++mismatches;
        }
      }
      --running;
    });
  }
  int rtfCalls = 0;
  std::vector<hardening::Case> rtf;
  for (const hardening::Case& c : cases) {
    if (c.name == "RTFDataZYL") rtf.push_back(c);
  }
  while (running.load() > 0 || rtfCalls < 4) {
    for (const hardening::Case& c : rtf) {
      const hardening::Outcome outcome = caller.Call(c);
      CHECK_FALSE(outcome.exception.has_value());
      ++rtfCalls;
    }
  }
  for (std::thread& thread : threads) thread.join();
  CHECK(mismatches.load() == 0);
  CHECK(memhost::Problems().empty());
}
