// Throughput of the byte searches and comparisons, the line-ending replacement and the SQL helpers
// on 1 MiB inputs, next to memcpy of the same buffer.
// Run: build/native/bench/zyl_strings_search_benchmark
#include <string>

#include "benchmark_host.h"
#include "strings/strings.h"

namespace {

using zylbench::kInputSize;
using zylbench::Repeat;

const std::string& Text() {  // ASCII prose, CR LF line endings
  static const std::string text = Repeat("The quick brown fox jumps over the lazy dog. 0123456789\r\n");
  return text;
}

memhost::String HostString(const std::string& bytes, uint32_t encoding = memhost::kUTF8) {
  zylbench::LoadPlugin();
  return memhost::String(bytes, encoding, memhost::Storage::External);
}

template <typename Call>
void Run(benchmark::State& state, Call call) {
  for (auto _ : state) benchmark::DoNotOptimize(call());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kInputSize));
}

template <typename Call>
void RunString(benchmark::State& state, Call call) {
  for (auto _ : state) {
    REALstringStruct* result = call();
    benchmark::DoNotOptimize(result);
    memhost::Release(result);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kInputSize));
}

void BM_memcpy(benchmark::State& state) { zylbench::MemcpyBaseline(state, Text()); }

// No hit anywhere: every search reads the whole input.
void BM_InStrBytes_1byte(benchmark::State& state) {
  memhost::String t = HostString(Text()), f = HostString("#");
  Run(state, [&] { return zyl::InStrBytesZYL(t.get(), f.get()); });
}
void BM_InStrBytes_3bytes(benchmark::State& state) {
  memhost::String t = HostString(Text()), f = HostString("#$%");
  Run(state, [&] { return zyl::InStrBytesZYL(t.get(), f.get()); });
}
void BM_InStrBytes_10bytes(benchmark::State& state) {
  memhost::String t = HostString(Text()), f = HostString("#$%&*+/<=>");
  Run(state, [&] { return zyl::InStrBytesZYL(t.get(), f.get()); });
}
void BM_InStrByteRange_high(benchmark::State& state) {
  memhost::String t = HostString(Text());
  Run(state, [&] { return zyl::InStrByteRange1ZYL(t.get(), 128, 255); });
}

void BM_CountOccurances_1byte(benchmark::State& state) {
  memhost::String s = HostString(Text()), f = HostString("e");
  Run(state, [&] { return zyl::CountOccurancesZYL(s.get(), f.get()); });
}
void BM_CountOccurances_word(benchmark::State& state) {
  memhost::String s = HostString(Text()), f = HostString("the");
  Run(state, [&] { return zyl::CountOccurancesZYL(s.get(), f.get()); });
}

// "ove" occurs in every line, never as a whole word; "zebra" never occurs.
void BM_ContainsWholeWord_failing_hits(benchmark::State& state) {
  memhost::String t = HostString(Text()), w = HostString("OVE");
  Run(state, [&] { return zyl::ContainsWholeWordZYL(t.get(), w.get()); });
}
void BM_ContainsWholeWord_absent(benchmark::State& state) {
  memhost::String t = HostString(Text()), w = HostString("zebra");
  Run(state, [&] { return zyl::ContainsWholeWordZYL(t.get(), w.get()); });
}

void BM_StrCompBytes_equal(benchmark::State& state) {
  memhost::String a = HostString(Text()), b = HostString(Text());
  Run(state, [&] { return zyl::StrCompBytesZYL(a.get(), b.get()); });
}

void BM_ReplaceLineEndings(benchmark::State& state) {
  memhost::String t = HostString(Text()), lf = HostString("\n");
  const auto yield = static_cast<int8_t>(state.range(0));
  RunString(state, [&] { return zyl::ReplaceLineEndingsZYL(t.get(), lf.get(), yield); });
}
void BM_ReplaceLineEndings_latin1_to_crlf(benchmark::State& state) {
  memhost::String t = HostString(Repeat("Gr\xFC\xDF" "e aus K\xF6ln\n"), memhost::kISOLatin1), crlf = HostString("\r\n");
  RunString(state, [&] { return zyl::ReplaceLineEndingsZYL(t.get(), crlf.get(), 0); });
}
void BM_ReplaceLineEndings_utf16(benchmark::State& state) {
  std::string utf16;
  for (char c : Text().substr(0, kInputSize / 2)) utf16 += {c, '\0'};
  memhost::String t = HostString(utf16, memhost::kUTF16), lf = HostString("\n");
  RunString(state, [&] { return zyl::ReplaceLineEndingsZYL(t.get(), lf.get(), 0); });
}

void BM_SQLReplaceBoolean(benchmark::State& state) {
  memhost::String sql = HostString(Repeat("UPDATE t SET a = TRUE, b = 'false' WHERE (c = FALSE) AND d <> 12;\n"));
  RunString(state, [&] { return zyl::SQLReplaceBooleanZYL(sql.get()); });
}

void BM_DecodingFromMySQL(benchmark::State& state) {
  memhost::String s = HostString(Repeat("It\\'s a \\\"quoted\\\" value with a tab\\there and a line end\\n"));
  RunString(state, [&] { return zyl::DecodingFromMySQL(s.get()); });
}

}  // namespace

BENCHMARK(BM_memcpy);
BENCHMARK(BM_InStrBytes_1byte);
BENCHMARK(BM_InStrBytes_3bytes);
BENCHMARK(BM_InStrBytes_10bytes);
BENCHMARK(BM_InStrByteRange_high);
BENCHMARK(BM_CountOccurances_1byte);
BENCHMARK(BM_CountOccurances_word);
BENCHMARK(BM_ContainsWholeWord_failing_hits);
BENCHMARK(BM_ContainsWholeWord_absent);
BENCHMARK(BM_StrCompBytes_equal);
BENCHMARK(BM_ReplaceLineEndings)->Arg(0)->Arg(1);
BENCHMARK(BM_ReplaceLineEndings_latin1_to_crlf);
BENCHMARK(BM_ReplaceLineEndings_utf16);
BENCHMARK(BM_SQLReplaceBoolean);
BENCHMARK(BM_DecodingFromMySQL);

BENCHMARK_MAIN();
