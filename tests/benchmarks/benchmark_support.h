// What every benchmark program shares: one host session with the plug-in loaded, and the memcpy
// baseline that results are read against.
#pragma once

#include <benchmark/benchmark.h>
#include <memhost.h>

#include <cstring>
#include <string>

#include "plugin/registration.h"

namespace zylbench {

// The host session of the program, made and loaded on first use.
inline memhost::Session& Host() {
  struct Loaded {
    memhost::Session session{2024.0};
    Loaded() { REALPluginMain(memhost::Resolve); }
  };
  static Loaded loaded;
  return loaded.session;
}

// memcpy of input into a buffer of its size: the physical limit on one core.
inline void RunMemcpy(benchmark::State& state, const std::string& input) {
  std::string out(input.size(), '\0');
  for (auto _ : state) {
    memcpy(out.data(), input.data(), input.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

}  // namespace zylbench
