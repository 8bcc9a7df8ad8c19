// Throughput of the HTML, XML and URL codecs on 1 MiB inputs, called as the host calls them,
// next to memcpy of the same buffer (the physical limit on one core).
// Run: build/native/bench/zyl_codecs_web_benchmark
#include <random>
#include <string>

#include "benchmark_host.h"

namespace {

using zylbench::kInputSize;
using zylbench::RunMethod;
using zylbench::Repeat;

// Prose with markup: most bytes plain, one in twenty a markup character.
std::string MarkupText() { return Repeat("Tom & Jerry's <b>cartoon</b> is \"classic\"; say it 0123456789 times.\n"); }
// Latin, Greek, symbols and an emoji: entities, decimal references and plain ASCII mixed.
std::string MixedText() {
  return Repeat("Gr\xC3\xBC\xC3\x9F" "e \xCE\xB1\xCE\xB2 \xE2\x82\xAC \xE2\x98\x83 \xF0\x9F\x98\x80 <caf\xC3\xA9> ");
}
std::string EntityText() { return Repeat("&lt;p&gt;caf&eacute; &amp; cr&egrave;me &#8364;5 &#x263A; &sup2; text "); }
std::string TaggedText() {
  return Repeat("<p class=\"note\">Some <b>bold</b> and <a href=\"x>y\">linked</a> text.</p>\n");
}
std::string UrlText() { return Repeat("path/to/caf\xC3\xA9?q=a b&x=1+2#frag "); }
std::string RandomBytes() {
  std::mt19937 rng(7);
  std::string s(kInputSize, '\0');
  for (char& c : s) c = static_cast<char>(rng() & 0xFF);
  return s;
}

std::string PercentText() { return Repeat("path%2Fto%2Fcaf%C3%A9%3Fq%3Da%20b%26x%3D1+2%23frag "); }

void BM_memcpy(benchmark::State& state) { zylbench::MemcpyBaseline(state, MarkupText()); }

constexpr const char* kToHTML = "EncodingToHTMLZYL(s as string, options as integer = 0) as string";
constexpr const char* kToXML = "EncodingToXMLZYL(s as string, options as integer = 0) as string";
constexpr const char* kFromHTML = "DecodingFromHTMLZYL(s as string) as string";
constexpr const char* kRemoveTags = "RemoveHTMLTagsZYL(AsciiTextWithTags as string) as string";
constexpr const char* kRemoveTagsWith =
    "RemoveHTMLTagsWithZYL(AsciiTextWithTags as string, Replacement as string) as string";
constexpr const char* kToURL = "EncodingToURLZYL(s as string) as string";
constexpr const char* kFromURL = "DecodingFromURLZYL(s as string, options as integer) as string";

void BM_EncodingToHTML_markup(benchmark::State& state) {
  RunMethod(state, kToHTML, MarkupText(), memhost::kUTF8, int64_t{0});
}
void BM_EncodingToHTML_mixed(benchmark::State& state) {
  RunMethod(state, kToHTML, MixedText(), memhost::kUTF8, int64_t{0});
}
void BM_EncodingToXML_mixed(benchmark::State& state) {
  RunMethod(state, kToXML, MixedText(), memhost::kUTF8, int64_t{0});
}
void BM_DecodingFromHTML_entities(benchmark::State& state) {
  RunMethod(state, kFromHTML, EntityText(), memhost::kUTF8);
}
void BM_DecodingFromHTML_plain(benchmark::State& state) { RunMethod(state, kFromHTML, MixedText(), memhost::kUTF8); }
void BM_RemoveHTMLTags(benchmark::State& state) { RunMethod(state, kRemoveTags, TaggedText(), memhost::kUTF8); }
void BM_RemoveHTMLTagsWith(benchmark::State& state) {
  zylbench::LoadPlugin();
  memhost::String dot("\xC2\xB7", memhost::kUTF8);
  RunMethod(state, kRemoveTagsWith, TaggedText(), memhost::kUTF8, dot.get());
}
void BM_EncodingToURL_text(benchmark::State& state) { RunMethod(state, kToURL, UrlText(), memhost::kUTF8); }
void BM_EncodingToURL_random(benchmark::State& state) {
  RunMethod(state, kToURL, RandomBytes(), memhost::kNoEncoding);
}
void BM_DecodingFromURL(benchmark::State& state) {
  RunMethod(state, kFromURL, PercentText(), memhost::kASCII, int64_t{1});
}

}  // namespace

BENCHMARK(BM_memcpy);
BENCHMARK(BM_EncodingToHTML_markup);
BENCHMARK(BM_EncodingToHTML_mixed);
BENCHMARK(BM_EncodingToXML_mixed);
BENCHMARK(BM_DecodingFromHTML_entities);
BENCHMARK(BM_DecodingFromHTML_plain);
BENCHMARK(BM_RemoveHTMLTags);
BENCHMARK(BM_RemoveHTMLTagsWith);
BENCHMARK(BM_EncodingToURL_text);
BENCHMARK(BM_EncodingToURL_random);
BENCHMARK(BM_DecodingFromURL);

BENCHMARK_MAIN();
