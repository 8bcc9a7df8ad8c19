// What the benchmark programs share: one host session with the plug-in loaded, their 1 MiB inputs,
// the call of a declared method in a loop, and memcpy of the same input as the yardstick (the
// physical limit on one core).
#pragma once

#include <benchmark/benchmark.h>
#include <memhost.h>

#include <cstdint>
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

inline constexpr size_t kInputSize = 1 << 20;

// Repeat: whole copies of piece, as many as fit in kInputSize bytes.
inline std::string Repeat(const std::string& piece) {
  std::string s;
  while (s.size() + piece.size() <= kInputSize) s += piece;
  return s;
}

// RunMethod: calls the declared method on the input as a host string in that encoding (and the
// extra arguments) as the host does, releases what it returns, and counts the input's bytes.
template <class... A>
void RunMethod(benchmark::State& state, const char* declaration, const std::string& input, uint32_t encoding,
               A... extra) {
  LoadPlugin();
  memhost::String s(input, encoding, memhost::Storage::External);
  for (auto _ : state) {
    REALstringStruct* result = memhost::Call<REALstringStruct*>(declaration, s.get(), extra...);
    benchmark::DoNotOptimize(result);
    memhost::Release(result);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
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
