// Throughput of the byte codecs (quoted-printable, mail subject, hex, hex dump, yEnc) on 1 MiB
// inputs, called through the in-memory host as the host calls them, next to memcpy of the same
// buffer. Bytes processed are input bytes. Run: build/native/bench/zyl_codecs_bytes_benchmark
#include <random>
#include <string>

#include "benchmark_host.h"

namespace {

constexpr size_t kSize = 1 << 20;

constexpr const char* kToQP = "EncodingToQuotedPrintableZYL(s as string, LineLen as integer = 72) as string";
constexpr const char* kFromQP = "DecodingFromQuotedPrintableZYL(s as string) as string";
constexpr const char* kSubject = "EncodeEmailSubjectZYL(s as string) as string";
constexpr const char* kToHex = "EncodingToHexZYL(s as string) as string";
constexpr const char* kFromHex = "DecodingFromHexZYL(s as string) as string";
constexpr const char* kHexDump =
    "HexstringZYL(input as string, hexlen as integer, linelen as integer, linestart as string, lineend as "
    "string, spacer as string,filler as string) as string";
constexpr const char* kYDecodeString = "_yDecodeStringZYL(data as string) as string";
constexpr const char* kYDecodeMemory = "_yDecodeMemoryZYL(data as memoryblock) as memoryblock";

std::string RandomBytes() {
  std::mt19937 rng(7);
  std::string s(kSize, '\0');
  for (char& c : s) c = static_cast<char>(rng() & 0xFF);
  return s;
}

std::string MailText() {  // German prose: mostly literal, some umlauts, line breaks, a tab
  std::string s;
  const std::string line = "Sehr geehrte Damen und Herren, die Gr\xC3\xBC\xC3\x9F" "e aus K\xC3\xB6ln = 100%.\t\r\n";
  while (s.size() < kSize) s += line;
  s.resize(kSize);
  return s;
}

std::string Call(const char* declaration, const std::string& input) {
  zylbench::LoadPlugin();
  memhost::String s(input, memhost::kNoEncoding, memhost::Storage::External);
  return memhost::String(memhost::Call<REALstringStruct*>(declaration, s.get())).bytes();
}

// Calls the method on the input as a host string in that encoding and releases what it returns.
template <typename... More>
void RunString(benchmark::State& state, uint32_t encoding, const std::string& input, const char* declaration,
               More... more) {
  zylbench::LoadPlugin();
  memhost::String s(input, encoding, memhost::Storage::External);
  for (auto _ : state) {
    REALstringStruct* result = memhost::Call<REALstringStruct*>(declaration, s.get(), more...);
    benchmark::DoNotOptimize(result);
    memhost::Release(result);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

void BM_memcpy(benchmark::State& state) { zylbench::MemcpyBaseline(state, RandomBytes()); }

constexpr uint32_t kRaw = memhost::kNoEncoding;

void BM_QPEncode_mail(benchmark::State& state) { RunString(state, kRaw, MailText(), kToQP, int64_t{76}); }
void BM_QPEncode_random(benchmark::State& state) { RunString(state, kRaw, RandomBytes(), kToQP, int64_t{76}); }
void BM_QPDecode_mail(benchmark::State& state) {
  RunString(state, kRaw, Call(kToQP, MailText()).substr(0, kSize), kFromQP);
}
void BM_QPDecode_random(benchmark::State& state) {
  RunString(state, kRaw, Call(kToQP, RandomBytes()).substr(0, kSize), kFromQP);
}
void BM_Subject_mail(benchmark::State& state) { RunString(state, memhost::kUTF8, MailText(), kSubject); }
void BM_HexEncode(benchmark::State& state) { RunString(state, kRaw, RandomBytes(), kToHex); }
void BM_HexDecode(benchmark::State& state) {
  RunString(state, kRaw, Call(kToHex, RandomBytes()).substr(0, kSize), kFromHex);
}
void BM_HexDump_2x16(benchmark::State& state) {
  zylbench::LoadPlugin();
  memhost::String start("", memhost::kUTF8), end("\n", memhost::kUTF8), spacer(" ", memhost::kUTF8);
  RunString(state, kRaw, RandomBytes(), kHexDump, int64_t{2}, int64_t{16}, start.get(), end.get(), spacer.get(),
            static_cast<REALstringStruct*>(nullptr));
}
void BM_yDecode_string(benchmark::State& state) { RunString(state, kRaw, RandomBytes(), kYDecodeString); }
void BM_yDecode_memory(benchmark::State& state) {
  zylbench::LoadPlugin();
  const std::string input = RandomBytes();
  memhost::Object block(memhost::AsObject(memhost::NewMemoryBlock(input)));
  for (auto _ : state) {
    REALmemoryBlockStruct* result =
        memhost::Call<REALmemoryBlockStruct*>(kYDecodeMemory, memhost::AsMemoryBlock(block.get()));
    benchmark::DoNotOptimize(result);
    memhost::Release(result);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * input.size()));
}

}  // namespace

BENCHMARK(BM_memcpy);
BENCHMARK(BM_QPEncode_mail);
BENCHMARK(BM_QPEncode_random);
BENCHMARK(BM_QPDecode_mail);
BENCHMARK(BM_QPDecode_random);
BENCHMARK(BM_Subject_mail);
BENCHMARK(BM_HexEncode);
BENCHMARK(BM_HexDecode);
BENCHMARK(BM_HexDump_2x16);
BENCHMARK(BM_yDecode_string);
BENCHMARK(BM_yDecode_memory);

BENCHMARK_MAIN();
