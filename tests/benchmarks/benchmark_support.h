// What the benchmark programs share: the input size, random input, one host session with the
// plug-in loaded, and memcpy of the same buffer as the baseline.
#pragma once

#include <benchmark/benchmark.h>
#include <memhost.h>

#include <cstring>
#include <random>
#include <string>

#include "plugin/registration.h"

namespace zylbench {

inline constexpr size_t kSize = 1 << 20;

inline std::string RandomBytes() {
  std::mt19937 rng(7);
  std::string s(kSize, '\0');
  for (char& c : s) c = static_cast<char>(rng() & 0xFF);
  return s;
}

// One host session with the plug-in loaded, shared by every benchmark of a program.
struct Loaded {
  memhost::Session session{2024.0};
  Loaded() { REALPluginMain(memhost::Resolve); }
};
inline Loaded& Host() {
  static Loaded loaded;
  return loaded;
}

// memcpy of a kSize buffer: the physical limit on one core.
inline void BM_memcpy(benchmark::State& state) {
  const std::string in = RandomBytes();
  std::string out(in.size(), '\0');
  for (auto _ : state) {
    memcpy(out.data(), in.data(), in.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
}

}  // namespace zylbench
