// Throughput of the byte codecs (quoted-printable, mail subject, hex, hex dump, yEnc) on 1 MiB
// inputs, called through the in-memory host as the host calls them, next to memcpy of the same
// buffer. Bytes processed are input bytes. Run: build/native/bench/zyl_codecs_bytes_benchmark
#include <random>
#include <string>

#include "benchmark_host.h"

namespace {

using zylbench::kInputSize;
using zylbench::RunMethod;

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
  std::string s(kInputSize, '\0');
  for (char& c : s) c = static_cast<char>(rng() & 0xFF);
  return s;
}

std::string MailText() {  // German prose: mostly literal, some umlauts, line breaks, a tab
  std::string s;
  const std::string line = "Sehr geehrte Damen und Herren, die Gr\xC3\xBC\xC3\x9F" "e aus K\xC3\xB6ln = 100%.\t\r\n";
  while (s.size() < kInputSize) s += line;
  s.resize(kInputSize);
  return s;
}

std::string Call(const char* declaration, const std::string& input) {
  zylbench::LoadPlugin();
  memhost::String s(input, memhost::kNoEncoding, memhost::Storage::External);
  return memhost::String(memhost::Call<REALstringStruct*>(declaration, s.get())).bytes();
}

void BM_memcpy(benchmark::State& state) { zylbench::MemcpyBaseline(state, RandomBytes()); }

constexpr uint32_t kRaw = memhost::kNoEncoding;

void BM_QPEncode_mail(benchmark::State& state) { RunMethod(state, kToQP, MailText(), kRaw, int64_t{76}); }
void BM_QPEncode_random(benchmark::State& state) { RunMethod(state, kToQP, RandomBytes(), kRaw, int64_t{76}); }
void BM_QPDecode_mail(benchmark::State& state) {
  RunMethod(state, kFromQP, Call(kToQP, MailText()).substr(0, kInputSize), kRaw);
}
void BM_QPDecode_random(benchmark::State& state) {
  RunMethod(state, kFromQP, Call(kToQP, RandomBytes()).substr(0, kInputSize), kRaw);
}
void BM_Subject_mail(benchmark::State& state) { RunMethod(state, kSubject, MailText(), memhost::kUTF8); }
void BM_HexEncode(benchmark::State& state) { RunMethod(state, kToHex, RandomBytes(), kRaw); }
void BM_HexDecode(benchmark::State& state) {
  RunMethod(state, kFromHex, Call(kToHex, RandomBytes()).substr(0, kInputSize), kRaw);
}
void BM_HexDump_2x16(benchmark::State& state) {
  zylbench::LoadPlugin();
  memhost::String start("", memhost::kUTF8), end("\n", memhost::kUTF8), spacer(" ", memhost::kUTF8);
  RunMethod(state, kHexDump, RandomBytes(), kRaw, int64_t{2}, int64_t{16}, start.get(), end.get(), spacer.get(),
            static_cast<REALstringStruct*>(nullptr));
}
void BM_yDecode_string(benchmark::State& state) { RunMethod(state, kYDecodeString, RandomBytes(), kRaw); }
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
