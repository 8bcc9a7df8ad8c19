// What the benchmark programs share: one host session with the plug-in loaded, random input of
// the common size, and memcpy of a buffer as the baseline every result is set against.
#pragma once

#include <benchmark/benchmark.h>
#include <memhost.h>

#include <cstring>
#include <random>
#include <string>

#include "plugin/registration.h"

namespace zylbench {

inline constexpr size_t kSize = 1 << 20;

// kSize random bytes, the same in every run.
inline std::string RandomBytes() {
  std::mt19937 rng(7);
  std::string s(kSize, '\0');
  for (char& c : s) c = static_cast<char>(rng() & 0xFF);
  return s;
}

// Starts the one host session of the program, with the plug-in loaded, on the first call.
inline void LoadPlugin() {
  struct Loaded {
    memhost::Session session{2024.0};
    Loaded() { REALPluginMain(memhost::Resolve); }
  };
  static Loaded loaded;
}

// memcpy of the input into another buffer: the physical limit on one core.
inline void CopyBaseline(benchmark::State& state, const std::string& input) {
  std::string out(input.size(), '\0');
  for (auto _ : state) {
    memcpy(out.data(), input.data(), input.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

}  // namespace zylbench
