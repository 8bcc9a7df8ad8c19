// What the benchmark programs share: one host session with the plug-in loaded, and memcpy of a
// buffer as the baseline (the physical limit on one core) that throughputs are compared with.
#pragma once

#include <benchmark/benchmark.h>
#include <memhost.h>

#include <cstring>
#include <string>

#include "plugin/registration.h"

namespace zylbench {

// One host session with the plug-in loaded, shared by every benchmark of a program.
struct Loaded {
  memhost::Session session{2024.0};
  Loaded() { REALPluginMain(memhost::Resolve); }
};
inline Loaded& Host() {
  static Loaded loaded;
  return loaded;
}

// memcpy of the bytes, once per iteration.
inline void CopyBaseline(benchmark::State& state, const std::string& in) {
  std::string out(in.size(), '\0');
  for (auto _ : state) {
    memcpy(out.data(), in.data(), in.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
}

}  // namespace zylbench
