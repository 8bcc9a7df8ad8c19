// RTF export and import of a large document (thousands of runs) through the in-memory host, as
// the host calls the property, next to memcpy of the RTF text. The import of a document whose
// text sits in a skipped group shows the pass alone, without host calls.
// Run: build/native/bench/zyl_rtf_benchmark
#include <random>
#include <string>
#include <vector>

#include "benchmark_host.h"

namespace {

constexpr const char* kGetter = "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false) as string";
constexpr const char* kSetter =
    "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false, assigns value as string)";
constexpr int kRuns = 5000;

// kRuns runs of mixed styles, fonts, colours and sizes; every tenth run ends its paragraph, and
// the paragraphs take turns at the four alignments.
memhost::Object LargeText() {
  zylbench::LoadPlugin();
  const char* fonts[] = {"Helvetica", "Times New Roman", "Menlo", "\xC3\x84rger Sans"};
  const uint32_t colours[] = {0, 0xC00000, 0x0070C0, 0x00B050};
  const char* words[] = {"The quick brown fox ", "jumps over the lazy dog, ", "caf\xC3\xA9 cr\xC3\xA8me ",
                         "{braces} and \\ backslash ", "\xE2\x82\xAC 12,50 "};
  std::mt19937 rng(11);
  std::vector<memhost::RunStyle> runs;
  for (int i = 0; i < kRuns; ++i) {
    memhost::RunStyle run;
    run.text = std::string(words[rng() % 5]) + words[rng() % 5] + (i % 10 == 9 ? "\r" : "");
    run.font = fonts[rng() % 4];
    run.size = 10 + static_cast<int64_t>(rng() % 4) * 2;
    run.colour = colours[rng() % 4];
    run.bold = rng() % 3 == 0;
    run.italic = rng() % 5 == 0;
    run.underline = rng() % 7 == 0;
    runs.push_back(run);
  }
  memhost::Object text(memhost::NewStyledText(runs));
  for (size_t p = 0; p < memhost::Paragraphs(text.get()).size(); ++p) {
    memhost::SetParagraphAlignment(text.get(), static_cast<int64_t>(p), static_cast<int64_t>(p % 4));
  }
  return text;
}

std::string ExportedDocument() {
  const memhost::Object text = LargeText();
  memhost::String rtf(memhost::Call<REALstringStruct*>(kGetter, text.get(), int8_t{0}));
  return rtf.bytes();
}

void BM_memcpy_rtf(benchmark::State& state) { zylbench::MemcpyBaseline(state, ExportedDocument()); }

void BM_RTFExport(benchmark::State& state) {
  const memhost::Object text = LargeText();
  int64_t bytes = 0;
  for (auto _ : state) {
    REALstringStruct* rtf = memhost::Call<REALstringStruct*>(kGetter, text.get(), int8_t{0});
    bytes += static_cast<int64_t>(memhost::Bytes(rtf).size());
    memhost::Release(rtf);
  }
  state.SetBytesProcessed(bytes);
  state.counters["runs"] = kRuns;
}

void RunImport(benchmark::State& state, const std::string& document) {
  zylbench::LoadPlugin();
  const memhost::Object text(memhost::NewStyledText({}));
  const memhost::String rtf(document, memhost::kUTF8, memhost::Storage::External);
  for (auto _ : state) memhost::Call<void>(kSetter, text.get(), int8_t{0}, rtf.get());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * document.size()));
  state.counters["runs"] = static_cast<double>(memhost::StyleRuns(text.get()).size());
}

void BM_RTFImport(benchmark::State& state) { RunImport(state, ExportedDocument()); }

// The same bytes inside a group that is skipped: the pass and the lexer, no host calls.
void BM_RTFImport_skipped_group(benchmark::State& state) {
  const std::string document = ExportedDocument();
  RunImport(state, "{\\rtf1{\\*\\skipped " + document.substr(1) + "}");
}

}  // namespace

BENCHMARK(BM_memcpy_rtf);
BENCHMARK(BM_RTFExport)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RTFImport)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RTFImport_skipped_group)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
