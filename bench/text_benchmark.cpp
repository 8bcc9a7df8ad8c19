// Throughput of the text model on 1 MiB inputs, next to memcpy of the same buffer (the physical
// limit on one core). Run: build/native/bench/zyl_text_benchmark
#include <random>
#include <string>

#include "benchmark_host.h"
#include "plugin/builders.h"
#include "text/text.h"

namespace {

constexpr size_t kSize = 1 << 20;

std::string AsciiText() {
  std::string s;
  while (s.size() < kSize) s += "The quick brown fox jumps over the lazy dog. 0123456789\n";
  s.resize(kSize);
  return s;
}

std::string MixedText() {  // Latin, Greek, CJK and an emoji: 1- to 4-byte sequences
  std::string s;
  while (s.size() + 64 < kSize) s += "Gr\xC3\xBC\xC3\x9F" "e \xCE\xB1\xCE\xB2\xCE\xB3 \xE6\xBC\xA2\xE5\xAD\x97 \xF0\x9F\x98\x80 text ";
  return s;
}

std::string RandomBytes() {
  std::mt19937 rng(7);
  std::string s(kSize, '\0');
  for (char& c : s) c = static_cast<char>(rng() & 0xFF);
  return s;
}

void BM_memcpy(benchmark::State& state) { zylbench::MemcpyBaseline(state, AsciiText()); }

void RunCheckUTF8(benchmark::State& state, const std::string& input) {
  zylbench::LoadPlugin();
  memhost::String data(input, memhost::kNoEncoding, memhost::Storage::External);
  memhost::String placeholder("?", memhost::kUTF8);
  for (auto _ : state) {
    REALstringStruct* result = zyl::CheckUTF8s(data.get(), placeholder.get());
    benchmark::DoNotOptimize(result);
    memhost::Release(result);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

void BM_CheckUTF8_ascii(benchmark::State& state) { RunCheckUTF8(state, AsciiText()); }
void BM_CheckUTF8_mixed(benchmark::State& state) { RunCheckUTF8(state, MixedText()); }
void BM_CheckUTF8_random(benchmark::State& state) { RunCheckUTF8(state, RandomBytes()); }

void BM_CheckUTF8_prefix_mixed(benchmark::State& state) {
  const std::string input = MixedText();
  for (auto _ : state) benchmark::DoNotOptimize(zyl::CheckUTF8(input.data(), static_cast<int64_t>(input.size())));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

void BM_IsASCII(benchmark::State& state) {
  const std::string input = AsciiText();
  for (auto _ : state) benchmark::DoNotOptimize(zyl::IsASCII(input.data(), static_cast<int64_t>(input.size())));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

void RunTextForm(benchmark::State& state, const std::string& input, bool utf32) {
  zylbench::LoadPlugin();
  memhost::String text(input, memhost::kUTF8, memhost::Storage::External);
  for (auto _ : state) {
    zyl::rbText view(text.get());
    if (utf32) {
      benchmark::DoNotOptimize(view.GetUTF32());
    } else {
      benchmark::DoNotOptimize(view.GetUTF16());
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

void BM_rbText_UTF16_from_ascii(benchmark::State& state) { RunTextForm(state, AsciiText(), false); }
void BM_rbText_UTF16_from_mixed(benchmark::State& state) { RunTextForm(state, MixedText(), false); }
void BM_rbText_UTF32_from_mixed(benchmark::State& state) { RunTextForm(state, MixedText(), true); }

}  // namespace

BENCHMARK(BM_memcpy);
BENCHMARK(BM_IsASCII);
BENCHMARK(BM_CheckUTF8_ascii);
BENCHMARK(BM_CheckUTF8_mixed);
BENCHMARK(BM_CheckUTF8_random);
BENCHMARK(BM_CheckUTF8_prefix_mixed);
BENCHMARK(BM_rbText_UTF16_from_ascii);
BENCHMARK(BM_rbText_UTF16_from_mixed);
BENCHMARK(BM_rbText_UTF32_from_mixed);

BENCHMARK_MAIN();
