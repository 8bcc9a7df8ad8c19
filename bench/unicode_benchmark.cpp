// Throughput of composition, decomposition and accent removal on 1 MiB of Latin and Hangul text,
// next to memcpy of the same buffer and, where it is installed, ICU's normalizer doing NFC and NFD
// on the same text. Run: build/native/bench/zyl_unicode_benchmark
//
// "utf8" rows are calls as a current host makes them: UTF-8 in, the result built from UTF-16 and
// handed back as UTF-8 (the in-memory host's converter included). "utf16" rows give the text as
// UTF-16 to a host older than 2012, which keeps UTF-16 results as they are: the library's own
// work plus one copy in and out.
#include <benchmark/benchmark.h>
#include <memhost.h>

#include <cstring>
#include <string>

#include "benchmark_host.h"
#include "plugin/builders.h"
#include "plugin/registration.h"
#include "text/text.h"
#include "unicode/unicode.h"

#ifdef ZYL_BENCHMARK_ICU
#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#endif

namespace {

using zylbench::Repeat;

// Precomposed (NFC) and decomposed (NFD) forms of the same text, in UTF-8.
const std::string& LatinComposed() {
  static const std::string text = Repeat(
      "Cr\xC3\xA8me br\xC3\xBBl\xC3\xA9" "e \xC3\xA0 la fran\xC3\xA7" "aise, d\xC3\xA9j\xC3\xA0 vu. "
      "Gr\xC3\xBC\xC3\x9F" "e aus K\xC3\xB6ln, \xC3\x85ngstr\xC3\xB6m und Ni\xC3\xB1o. "
      "Ti\xE1\xBA\xBFng Vi\xE1\xBB\x87t c\xC3\xB3 d\xE1\xBA\xA5u. Plain ASCII words fill the rest of the line.\n");
  return text;
}
const std::string& LatinDecomposed() {
  static const std::string text = Repeat(
      "Cre\xCC\x80me bru\xCC\x82le\xCC\x81" "e a\xCC\x80 la franc\xCC\xA7" "aise, de\xCC\x81ja\xCC\x80 vu. "
      "Gru\xCC\x88\xC3\x9F" "e aus Ko\xCC\x88ln, A\xCC\x8Angstro\xCC\x88m und Nin\xCC\x83o. "
      "Tie\xCC\x82\xCC\x81ng Vie\xCC\xA3\xCC\x82t co\xCC\x81 da\xCC\x82\xCC\x81u. Plain ASCII words fill the rest of the line.\n");
  return text;
}
// "한국어 텍스트를 정규화합니다. " and its conjoining jamo.
const std::string& HangulComposed() {
  static const std::string text = Repeat(
      "\xED\x95\x9C\xEA\xB5\xAD\xEC\x96\xB4 \xED\x85\x8D\xEC\x8A\xA4\xED\x8A\xB8\xEB\xA5\xBC "
      "\xEC\xA0\x95\xEA\xB7\x9C\xED\x99\x94\xED\x95\xA9\xEB\x8B\x88\xEB\x8B\xA4. ");
  return text;
}
const std::string& HangulDecomposed() {
  static const std::string text = [] {
    // Decompose each syllable arithmetically (UTF-8 in and out).
    std::string out;
    const std::string& in = HangulComposed();
    for (size_t i = 0; i < in.size();) {
      const auto b = static_cast<uint8_t>(in[i]);
      if (b < 0x80) {
        out += in[i++];
        continue;
      }
      const uint32_t s = ((b & 0x0F) << 12) | ((static_cast<uint8_t>(in[i + 1]) & 0x3F) << 6) |
                         (static_cast<uint8_t>(in[i + 2]) & 0x3F);
      i += 3;
      const uint32_t index = s - 0xAC00;
      uint32_t jamo[3] = {0x1100 + index / 588, 0x1161 + index % 588 / 28, 0x11A7 + index % 28};
      for (int k = 0; k < (index % 28 ? 3 : 2); ++k) {
        out += static_cast<char>(0xE0 | (jamo[k] >> 12));
        out += static_cast<char>(0x80 | ((jamo[k] >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (jamo[k] & 0x3F));
      }
    }
    return out;
  }();
  return text;
}

// The same text as UTF-16 bytes (host order).
std::string AsUTF16(const std::string& utf8) {
  return memhost::ConvertBytes(utf8, memhost::kUTF8, memhost::kUTF16).value();
}

// A host session with the plug-in loaded inside a built application, for one benchmark.
struct Loaded {
  explicit Loaded(double version) : session(version) {
    zyl::ResetPluginStateForTests();
    memhost::SetInRuntime(true);
    REALPluginMain(memhost::Resolve);
  }
  ~Loaded() { zyl::ResetPluginStateForTests(); }
  memhost::Session session;
};

void BM_memcpy(benchmark::State& state) { zylbench::MemcpyBaseline(state, LatinComposed()); }

template <typename Function>
void RunCall(benchmark::State& state, const std::string& utf8, bool utf16, Function function) {
  Loaded host(utf16 ? 2011.0 : 2024.0);
  memhost::String text(utf16 ? AsUTF16(utf8) : utf8, utf16 ? memhost::kUTF16 : memhost::kUTF8,
                       memhost::Storage::External);
  for (auto _ : state) {
    REALstringStruct* result = function(text.get());
    benchmark::DoNotOptimize(result);
    memhost::Release(result);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * utf8.size()));
}

// What every call spends with the host: the text read as UTF-16 and a result of the same units
// built from UTF-16. The rest of a call's time is the library's own work.
void BM_HostRoundTrip(benchmark::State& state, const std::string& (*text)(), bool utf16) {
  RunCall(state, text(), utf16, [](REALstringStruct* s) {
    zyl::rbText view(s);
    return zyl::REALBuildUnicodeString(view.GetUTF16(), 2 * view.LengthUTF16(), zyl::kEncodingUTF16);
  });
}

void BM_Decompose(benchmark::State& state, const std::string& (*text)(), bool utf16) {
  RunCall(state, text(), utf16, zyl::ConvertUnicodeToCharacterDecompositionZYL);
}
void BM_Compose(benchmark::State& state, const std::string& (*text)(), bool utf16) {
  RunCall(state, text(), utf16, zyl::ConvertUnicodeToCharacterCompositionZYL);
}
void BM_RemoveAccents(benchmark::State& state, const std::string& (*text)(), bool utf16) {
  RunCall(state, text(), utf16, [](REALstringStruct* s) { return zyl::RemoveAccentsZYL(s, 1); });
}

#ifdef ZYL_BENCHMARK_ICU
// ICU's NFC or NFD, UTF-8 to UTF-8 ("utf8") or UTF-16 to UTF-16 ("utf16").
void BM_ICU(benchmark::State& state, const std::string& (*text)(), bool nfc, bool utf16) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer =
      nfc ? icu::Normalizer2::getNFCInstance(status) : icu::Normalizer2::getNFDInstance(status);
  const std::string& in = text();
  const icu::UnicodeString wide = icu::UnicodeString::fromUTF8(in);
  for (auto _ : state) {  // a new result each time, as every call of the library makes one
    if (utf16) {
      icu::UnicodeString out;
      normalizer->normalize(wide, out, status);
      benchmark::DoNotOptimize(out.getBuffer());
    } else {
      std::string out;
      icu::StringByteSink<std::string> sink(&out, static_cast<int32_t>(in.size()));
      normalizer->normalizeUTF8(0, in, sink, nullptr, status);
      benchmark::DoNotOptimize(out.data());
    }
  }
  if (U_FAILURE(status)) state.SkipWithError("ICU failed");
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
}
#endif

}  // namespace

BENCHMARK(BM_memcpy);
BENCHMARK_CAPTURE(BM_HostRoundTrip, latin_utf8, LatinComposed, false);
BENCHMARK_CAPTURE(BM_HostRoundTrip, latin_utf16, LatinComposed, true);
BENCHMARK_CAPTURE(BM_HostRoundTrip, hangul_utf8, HangulComposed, false);
BENCHMARK_CAPTURE(BM_HostRoundTrip, hangul_utf16, HangulComposed, true);
BENCHMARK_CAPTURE(BM_Decompose, latin_utf8, LatinComposed, false);
BENCHMARK_CAPTURE(BM_Decompose, latin_utf16, LatinComposed, true);
BENCHMARK_CAPTURE(BM_Decompose, hangul_utf8, HangulComposed, false);
BENCHMARK_CAPTURE(BM_Decompose, hangul_utf16, HangulComposed, true);
BENCHMARK_CAPTURE(BM_Compose, latin_utf8, LatinDecomposed, false);
BENCHMARK_CAPTURE(BM_Compose, latin_utf16, LatinDecomposed, true);
BENCHMARK_CAPTURE(BM_Compose, hangul_utf8, HangulDecomposed, false);
BENCHMARK_CAPTURE(BM_Compose, hangul_utf16, HangulDecomposed, true);
BENCHMARK_CAPTURE(BM_RemoveAccents, latin_utf8, LatinComposed, false);
BENCHMARK_CAPTURE(BM_RemoveAccents, latin_utf16, LatinComposed, true);
#ifdef ZYL_BENCHMARK_ICU
BENCHMARK_CAPTURE(BM_ICU, nfd_latin_utf8, LatinComposed, false, false);
BENCHMARK_CAPTURE(BM_ICU, nfd_latin_utf16, LatinComposed, false, true);
BENCHMARK_CAPTURE(BM_ICU, nfd_hangul_utf8, HangulComposed, false, false);
BENCHMARK_CAPTURE(BM_ICU, nfd_hangul_utf16, HangulComposed, false, true);
BENCHMARK_CAPTURE(BM_ICU, nfc_latin_utf8, LatinDecomposed, true, false);
BENCHMARK_CAPTURE(BM_ICU, nfc_latin_utf16, LatinDecomposed, true, true);
BENCHMARK_CAPTURE(BM_ICU, nfc_hangul_utf8, HangulDecomposed, true, false);
BENCHMARK_CAPTURE(BM_ICU, nfc_hangul_utf16, HangulDecomposed, true, true);
#endif

BENCHMARK_MAIN();
