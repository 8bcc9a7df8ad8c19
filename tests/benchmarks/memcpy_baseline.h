// The physical limit every benchmark program shows beside its own rows: memcpy of the input.
#pragma once

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

namespace zylbench {

inline void RunMemcpy(benchmark::State& state, const std::string& in) {
  std::string out(in.size(), '\0');
  for (auto _ : state) {
    memcpy(out.data(), in.data(), in.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
}

}  // namespace zylbench
