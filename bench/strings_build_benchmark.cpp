// Throughput of string construction, the bitwise masks and the similarity measures, called as the
// host calls them, next to memcpy of the same buffer. Run:
// build/native/bench/zyl_strings_build_benchmark
#include <benchmark/benchmark.h>
#include <memhost.h>

#include <random>
#include <string>

#include "benchmark_host.h"

namespace {

constexpr size_t kSize = 1 << 20;

std::string RandomBytes(size_t size, uint32_t seed) {
  std::mt19937 rng(seed);
  std::string s(size, '\0');
  for (char& c : s) c = static_cast<char>(rng() & 0xFF);
  return s;
}

// Binary data with readable runs: a dump of text, numbers and control bytes.
std::string MixedData() {
  std::string s;
  std::mt19937 rng(4);
  while (s.size() < kSize) {
    s += "Readable text run, caf\xC3\xA9 ";
    for (int k = 0; k < 12; ++k) s += static_cast<char>(rng() & 0x1F);
  }
  s.resize(kSize);
  return s;
}

constexpr const char* kAND = "StringANDZYL(a as string,b as string) as string";
constexpr const char* kXOR = "StringXORZYL(data as string, XorMask as string, MaskOffset as integer = 0) as string";
constexpr const char* kXOR2 = "StringXOR2ZYL(data as string, XorMask as string, MaskOffset as integer = 0) as string";

template <class... A>
void CallAndRelease(const char* declaration, A... args) {
  REALstringStruct* r = memhost::Call<REALstringStruct*>(declaration, args...);
  benchmark::DoNotOptimize(r);
  memhost::Release(r);
}

void BM_memcpy(benchmark::State& state) { zylbench::MemcpyBaseline(state, RandomBytes(kSize, 1)); }

void BM_ConcatBinaryStrings(benchmark::State& state) {
  zylbench::LoadPlugin();
  memhost::String a(RandomBytes(kSize / 2, 1), memhost::kNoEncoding, memhost::Storage::External);
  memhost::String b(RandomBytes(kSize / 2, 2), memhost::kNoEncoding, memhost::Storage::External);
  for (auto _ : state) {
    CallAndRelease("ConcatBinaryStringsZYL(a as string, b as string) as string", a.get(), b.get());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}

void BM_ReplaceNonPrintable(benchmark::State& state) {
  zylbench::LoadPlugin();
  memhost::String s(RandomBytes(kSize, 3), memhost::kNoEncoding, memhost::Storage::External);
  for (auto _ : state) {
    CallAndRelease("ReplaceNonPrintableCharactersZYL(s as string, replacevalue as integer=46) as string", s.get(),
                   int64_t{46});
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}

void BM_CreateString(benchmark::State& state) {
  zylbench::LoadPlugin();
  memhost::String content("abc", memhost::kUTF8);
  for (auto _ : state) {
    CallAndRelease("CreateStringZYL(Length as integer, Content as String) as string", static_cast<int64_t>(kSize),
                   content.get());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}

void BM_RandomBytes(benchmark::State& state) {
  zylbench::LoadPlugin();
  for (auto _ : state) {
    CallAndRelease("RandomBytesStringZYL(Length as integer, ASCII as boolean=false) as string",
                   static_cast<int64_t>(kSize), int8_t{0});
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}

void BM_GetStringsFromData(benchmark::State& state) {
  zylbench::LoadPlugin();
  memhost::String data(MixedData(), memhost::kNoEncoding, memhost::Storage::External);
  for (auto _ : state) {
    _REALarrayString* r = memhost::Call<_REALarrayString*>(
        "GetStringsFromDataZYL(data as String, MinLength as Integer = 0) as string()", data.get(), int64_t{4});
    benchmark::DoNotOptimize(r);
    memhost::Release(r);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}

// The three ways of AND: a widened one-word mask (4 bytes), a repeating mask (3 and 1000
// bytes), and a mask as long as the data.
void RunAND(benchmark::State& state, size_t maskSize) {
  zylbench::LoadPlugin();
  memhost::String data(RandomBytes(kSize, 5), memhost::kNoEncoding, memhost::Storage::External);
  memhost::String mask(RandomBytes(maskSize, 6), memhost::kNoEncoding, memhost::Storage::External);
  for (auto _ : state) CallAndRelease(kAND, data.get(), mask.get());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}
void BM_StringAND_mask4(benchmark::State& state) { RunAND(state, 4); }
void BM_StringAND_mask3(benchmark::State& state) { RunAND(state, 3); }
void BM_StringAND_mask1000(benchmark::State& state) { RunAND(state, 1000); }
void BM_StringAND_fullmask(benchmark::State& state) { RunAND(state, kSize); }

void RunXOR(benchmark::State& state, const char* declaration) {
  zylbench::LoadPlugin();
  memhost::String data(RandomBytes(kSize, 7), memhost::kNoEncoding, memhost::Storage::External);
  memhost::String mask(RandomBytes(37, 8), memhost::kNoEncoding, memhost::Storage::External);
  for (auto _ : state) CallAndRelease(declaration, data.get(), mask.get(), int64_t{5});
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}
void BM_StringXOR(benchmark::State& state) { RunXOR(state, kXOR); }
void BM_StringXOR2(benchmark::State& state) { RunXOR(state, kXOR2); }

void BM_StrZYL(benchmark::State& state) {
  zylbench::LoadPlugin();
  double d = 0.1;
  for (auto _ : state) {
    CallAndRelease("StrZYL(d as double) as string", d);
    d += 1.37;
  }
}

// The measures are quadratic: state.range(0) characters each, bytes counted as cells.
void RunMeasure(benchmark::State& state, const char* declaration) {
  zylbench::LoadPlugin();
  const auto length = static_cast<size_t>(state.range(0));
  std::string a, b;
  std::mt19937 rng(10);
  for (size_t k = 0; k < length; ++k) {
    a += static_cast<char>('a' + rng() % 26);
    b += static_cast<char>('a' + rng() % 26);
  }
  memhost::String sa(a, memhost::kUTF8);
  memhost::String sb(b, memhost::kUTF8);
  for (auto _ : state) benchmark::DoNotOptimize(memhost::Call<double>(declaration, sa.get(), sb.get()));
  state.counters["cells/s"] = benchmark::Counter(static_cast<double>(state.iterations() * length * length),
                                                 benchmark::Counter::kIsRate);
}
void BM_Levenshtein(benchmark::State& state) {
  RunMeasure(state, "LevenshteinDistanceZYL(a as string, b as string) as double");
}
void BM_JaroWinkler(benchmark::State& state) {
  RunMeasure(state, "JaroWinklerDistanceZYL(a as string, b as string) as double");
}

}  // namespace

BENCHMARK(BM_memcpy);
BENCHMARK(BM_ConcatBinaryStrings);
BENCHMARK(BM_ReplaceNonPrintable);
BENCHMARK(BM_CreateString);
BENCHMARK(BM_RandomBytes);
BENCHMARK(BM_GetStringsFromData);
BENCHMARK(BM_StringAND_mask4);
BENCHMARK(BM_StringAND_mask3);
BENCHMARK(BM_StringAND_mask1000);
BENCHMARK(BM_StringAND_fullmask);
BENCHMARK(BM_StringXOR);
BENCHMARK(BM_StringXOR2);
BENCHMARK(BM_StrZYL);
BENCHMARK(BM_Levenshtein)->Arg(100)->Arg(1000);
BENCHMARK(BM_JaroWinkler)->Arg(100)->Arg(1000);

BENCHMARK_MAIN();
