// What the benchmark programs share: one host session with the plug-in loaded, and memcpy of the
// same input as the yardstick (the physical limit on one core).
#pragma once

#include <benchmark/benchmark.h>
#include <memhost.h>

#include <cstring>
#include <string>

#include "plugin/registration.h"

namespace zylbench {

// LoadPlugin: makes sure the shared session exists and the plug-in is loaded into it.
inline void LoadPlugin() {
  struct Loaded {
    memhost::Session session{2024.0};
    Loaded() { REALPluginMain(memhost::Resolve); }
  };
  static Loaded loaded;
}

// MemcpyBaseline: copies input into a warm buffer of the same size on every iteration.
inline void MemcpyBaseline(benchmark::State& state, const std::string& input) {
  std::string out(input.size(), '\0');
  for (auto _ : state) {
    memcpy(out.data(), input.data(), input.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

}  // namespace zylbench
