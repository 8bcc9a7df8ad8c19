// The registered methods next to the libraries people would use instead, on the same inputs in
// the same run: glib, ICU, libcurl, utf8proc, GMime and plain loops compiled here. Every input
// comes at 64 B, 4 KiB, 1 MiB and 16 MiB.
//
// Row names are "<who>/<method>/<corpus>/<size>", who being "zyl" (the method, called through
// the in-memory host as the host calls it), "peer:<name>", "host" (the host building the
// method's result by itself: its share of the method's time) or "memcpy" (a copy of the input,
// the one-core limit). A peer row's label says whether its output equals the method's, byte for
// byte (compared once, before the timing), or how the peer's job differs.
// scripts/bench.sh runs this and turns the rows into docs/benchmarks.md.
#include <curl/curl.h>
#include <glib.h>
#include <gmime/gmime.h>
#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#include <unicode/ustring.h>
#include <utf8proc.h>

#include <malloc.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "benchmark_host.h"
#include "peers_corpora.h"
#include "plugin/registration.h"
#include "text/text.h"

namespace {

using zylbench::Corpus;

constexpr size_t kSizes[] = {64, 4 << 10, 1 << 20, 16 << 20};
constexpr size_t kPairLength = 2000;  // characters of each string given to the similarity measures

std::string SizeName(size_t size) {
  if (size >= (1 << 20)) return std::to_string(size >> 20) + "MiB";
  if (size >= (1 << 10)) return std::to_string(size >> 10) + "KiB";
  return std::to_string(size) + "B";
}

// ---------------------------------------------------------------------------------------------
// The host, reached as the plug-in reaches it.

struct HostEntries {
  using Build = REALstringStruct* (*)(const void*, int32_t, uint32_t);
  using Unlock = void (*)(REALstringStruct*);
  Build build = reinterpret_cast<Build>(memhost::Resolve("REALBuildStringWithEncoding"));
  Unlock unlock = reinterpret_cast<Unlock>(memhost::Resolve("REALUnlockString"));
};

const HostEntries& Host() {
  static const HostEntries entries;
  return entries;
}

// ---------------------------------------------------------------------------------------------
// Inputs and results.

struct Input {
  std::string bytes;
  std::string second;  // the other string of a pair (similarity measures)
};

const std::string& CorpusText(Corpus corpus, size_t size) {
  static std::map<std::pair<Corpus, size_t>, std::string> cache;
  auto it = cache.find({corpus, size});
  if (it == cache.end()) it = cache.emplace(std::make_pair(corpus, size), zylbench::corpora::Generate(corpus, size)).first;
  return it->second;
}

// The first count characters of a UTF-8 text.
std::string FirstCharacters(const std::string& text, size_t count) {
  size_t i = 0;
  for (size_t k = 0; k < count && i < text.size(); ++k) {
    ++i;
    while (i < text.size() && (static_cast<uint8_t>(text[i]) & 0xC0) == 0x80) ++i;
  }
  return text.substr(0, i);
}

// What a call gives: a host string (released after the call) or a number.
struct Outcome {
  REALstringStruct* string = nullptr;
  double number = 0;
};

using Ours = std::function<Outcome(REALstringStruct* in, REALstringStruct* second)>;
// A peer runs on the input; when keep is not nil it stores its output there (outside the timing).
using PeerRun = std::function<double(const Input& in, std::string* keep)>;

struct Peer {
  std::string name;
  PeerRun run;
  std::string differs;  // how the peer's job differs from the method's, where it does
};

// A registered function of the loaded plug-in, found by its declaration.
template <typename F>
F Registered(const char* declaration) {
  void* address = memhost::FindFunction(declaration);
  if (address == nullptr) {
    fprintf(stderr, "not registered: %s\n", declaration);
    abort();
  }
  F f;
  memcpy(&f, &address, sizeof f);
  return f;
}

using StringMethod = REALstringStruct* (*)(REALstringStruct*);

Ours OneString(const char* declaration) {
  const auto f = Registered<StringMethod>(declaration);
  return [f](REALstringStruct* in, REALstringStruct*) { return Outcome{f(in), 0}; };
}

template <typename Extra>
Ours StringAnd(const char* declaration, Extra extra) {
  const auto f = Registered<REALstringStruct* (*)(REALstringStruct*, Extra)>(declaration);
  return [f, extra](REALstringStruct* in, REALstringStruct*) { return Outcome{f(in, extra), 0}; };
}

// A fresh host for every row, with the plug-in loaded into it: the in-memory host keeps every
// string it made until its session ends, so one session for the whole run would grow by gigabytes
// and slow its own look-ups row after row. The registered functions keep their addresses.
class RowHost {
 public:
  RowHost() {
    zyl::ResetPluginStateForTests();
    REALPluginMain(memhost::Resolve);
  }
  ~RowHost() { zyl::ResetPluginStateForTests(); }
  RowHost(const RowHost&) = delete;
  RowHost& operator=(const RowHost&) = delete;

 private:
  memhost::Session session_{2024.0};
};

const std::string kXorMask = "Key of 13 byte";
const std::string kFind = "the ";
const std::string kAbsentBytes = "#$^|~";

// The arguments the rows pass besides their input, made anew in each row's host.
struct Arguments {
  memhost::String replacement, xorMask, newLine, find, absent;
  memhost::Object styledText;                                 // the RTF import's target
  std::map<REALstringStruct*, memhost::Object> imported;      // each RTF input's styled text
};

Arguments& Args() {
  static Arguments arguments;
  return arguments;
}

void MakeArguments() {
  Arguments& a = Args();
  a.imported.clear();
  a.replacement = memhost::String("\xEF\xBF\xBD", memhost::kUTF8);
  a.xorMask = memhost::String(kXorMask, memhost::kNoEncoding);
  a.newLine = memhost::String("\r\n", memhost::kUTF8);
  a.find = memhost::String(kFind, memhost::kUTF8);
  a.absent = memhost::String(kAbsentBytes, memhost::kUTF8);
  a.styledText = memhost::Object(memhost::NewStyledText({}));
}

std::string Text(const Outcome& o) {
  if (o.string != nullptr) return memhost::Bytes(o.string);
  char number[64];
  snprintf(number, sizeof number, "%.12g", o.number);
  return number;
}

// ---------------------------------------------------------------------------------------------
// Rows.

struct Row {
  Row(std::string name_, std::vector<Corpus> corpora_, Ours ours_, std::vector<Peer> peers_,
      uint32_t encoding_ = memhost::kUTF8, bool pair_ = false)
      : name(std::move(name_)), corpora(std::move(corpora_)), ours(std::move(ours_)), peers(std::move(peers_)),
        encoding(encoding_), pair(pair_) {}
  std::string name;
  std::vector<Corpus> corpora;
  Ours ours;
  std::vector<Peer> peers;
  uint32_t encoding;  // of the input strings
  bool pair;          // similarity: two strings of kPairLength characters
  std::function<std::string(const std::string&)> prepare;  // turns the corpus into the input
  PeerRun compared;  // the method's output for the comparison, when not its result's bytes
};

Input MakeInput(const Row& m, Corpus corpus, size_t size) {
  Input in;
  if (m.pair) {
    // Two strings of the same script, the second starting a third of the way into the first.
    const std::string text = CorpusText(corpus, 1 << 16);
    const size_t count = size == 0 ? kPairLength : size;
    in.bytes = FirstCharacters(text, count);
    const size_t third = FirstCharacters(text, count / 3).size();
    in.second = FirstCharacters(text.substr(third), count);
    return in;
  }
  in.bytes = CorpusText(corpus, size);
  if (m.prepare) in.bytes = m.prepare(in.bytes);
  return in;
}

size_t InputBytes(const Input& in) { return in.bytes.size() + in.second.size(); }

struct HostInput {
  memhost::String first, second;
  HostInput(const Input& in, uint32_t encoding, bool pair)
      : first(in.bytes, encoding), second(pair ? memhost::String(in.second, encoding) : memhost::String()) {}
};

void RunOurs(benchmark::State& state, const Row& m, const Input& in) {
  const RowHost row;
  MakeArguments();
  const HostInput host(in, m.encoding, m.pair);
  const Outcome warm = m.ours(host.first.get(), host.second.get());  // once outside the timing
  if (warm.string != nullptr) Host().unlock(warm.string);
  for (auto _ : state) {
    const Outcome o = m.ours(host.first.get(), host.second.get());
    benchmark::DoNotOptimize(o);
    if (o.string != nullptr) Host().unlock(o.string);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * InputBytes(in)));
}

// The host building the method's result from its bytes: what the host spends of the call.
void RunHostShare(benchmark::State& state, const Row& m, const Input& in) {
  const RowHost row;
  MakeArguments();
  const HostInput host(in, m.encoding, m.pair);
  const Outcome o = m.ours(host.first.get(), host.second.get());
  const memhost::StringValue result = memhost::Value(o.string);
  Host().unlock(o.string);
  for (auto _ : state) {
    REALstringStruct* s = Host().build(result.bytes.data(), static_cast<int32_t>(result.bytes.size()), result.encoding);
    benchmark::DoNotOptimize(s);
    Host().unlock(s);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * InputBytes(in)));
  state.SetLabel(std::to_string(result.bytes.size()) + " result bytes");
}

void RunPeer(benchmark::State& state, const Row& m, const Peer& peer, const Input& in) {
  {
    const RowHost row;
    MakeArguments();
    std::string ours;
    if (m.compared) {
      m.compared(in, &ours);
    } else {
      const HostInput host(in, m.encoding, m.pair);
      const Outcome o = m.ours(host.first.get(), host.second.get());
      ours = Text(o);
      if (o.string != nullptr) Host().unlock(o.string);
    }
    std::string theirs;
    peer.run(in, &theirs);
    if (theirs.empty() && !ours.empty()) {
      state.SkipWithError("the peer gives nothing for this input (too long for it)");
      return;
    }
    if (ours == theirs) {
      state.SetLabel("same output");
    } else if (!peer.differs.empty()) {
      state.SetLabel(peer.differs);
    } else {
      state.SetLabel("OUTPUT DIFFERS" + (ours.size() < 40 ? ": " + ours + " against " + theirs : std::string()));
    }
  }
  for (auto _ : state) benchmark::DoNotOptimize(peer.run(in, nullptr));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * InputBytes(in)));
}

void Register(const Row& row, const std::vector<size_t>& sizes) {
  static std::vector<std::unique_ptr<Row>> rows;
  rows.push_back(std::make_unique<Row>(row));
  const Row& m = *rows.back();
  for (Corpus corpus : m.corpora) {
    for (size_t size : sizes) {
      const std::string suffix = m.name + "/" + zylbench::CorpusName(corpus) + "/" +
                                 (m.pair && size == 0 ? std::to_string(kPairLength) + "ch" : SizeName(size));
      const auto input = [&m, corpus, size] { return MakeInput(m, corpus, size); };
      benchmark::RegisterBenchmark(("zyl/" + suffix).c_str(), [&m, input](benchmark::State& s) { RunOurs(s, m, input()); });
      for (const Peer& peer : m.peers) {
        benchmark::RegisterBenchmark(("peer:" + peer.name + "/" + suffix).c_str(),
                                     [&m, &peer, input](benchmark::State& s) { RunPeer(s, m, peer, input()); });
      }
      benchmark::RegisterBenchmark(("host/" + suffix).c_str(), [&m, input](benchmark::State& s) { RunHostShare(s, m, input()); });
      benchmark::RegisterBenchmark(("memcpy/" + suffix).c_str(), [input](benchmark::State& s) {
        const Input in = input();
        zylbench::MemcpyBaseline(s, in.bytes + in.second);
      });
    }
  }
}

void Register(const Row& row) { Register(row, std::vector<size_t>(std::begin(kSizes), std::end(kSizes))); }

// ---------------------------------------------------------------------------------------------
// Peers.

// Output of size bytes in a fresh malloc block, as a peer hands it back; freed after the call.
double Keep(char* out, size_t size, std::string* keep, void (*release)(void*) = free) {
  if (out == nullptr) return 0;  // the peer refused the input
  if (keep != nullptr && out != nullptr) keep->assign(out, size);
  release(out);
  return static_cast<double>(size);
}

void GFree(void* p) { g_free(p); }
void CurlFree(void* p) { curl_free(p); }

CURL* Curl() {
  static CURL* handle = curl_easy_init();
  return handle;
}

// An ICU converter that skips what it cannot map, as the library's code-page encoders do.
UConverter* IcuConverter(const char* name) {
  UErrorCode error = U_ZERO_ERROR;
  UConverter* c = ucnv_open(name, &error);
  ucnv_setFromUCallBack(c, UCNV_FROM_U_CALLBACK_SKIP, nullptr, nullptr, nullptr, &error);
  if (U_FAILURE(error)) abort();
  return c;
}

// GCC 12 takes the fresh output block handed to ICU for a read of uninitialized memory.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
PeerRun IcuConvert(const char* to, const char* from) {
  UConverter* target = IcuConverter(to);
  UConverter* source = IcuConverter(from);
  return [target, source](const Input& in, std::string* keep) {
    const size_t capacity = in.bytes.size() * 3 + 16;
    auto* out = static_cast<char*>(malloc(capacity));
    char* cursor = out;
    const char* read = in.bytes.data();
    UChar pivot[4096] = {};
    UChar* pivotSource = pivot;
    UChar* pivotTarget = pivot;
    UErrorCode error = U_ZERO_ERROR;
    ucnv_convertEx(target, source, &cursor, out + capacity, &read, in.bytes.data() + in.bytes.size(), pivot,
                   &pivotSource, &pivotTarget, pivot + 4096, true, true, &error);
    return Keep(out, static_cast<size_t>(cursor - out), keep);
  };
}
#pragma GCC diagnostic pop

double IcuFromUTF8(const Input& in, std::string* keep) {
  const auto n = static_cast<int32_t>(in.bytes.size());
  auto* out = static_cast<UChar*>(malloc((static_cast<size_t>(n) + 1) * sizeof(UChar)));
  int32_t length = 0;
  UErrorCode error = U_ZERO_ERROR;
  u_strFromUTF8(out, n + 1, &length, in.bytes.data(), n, &error);
  return Keep(reinterpret_cast<char*>(out), static_cast<size_t>(length) * sizeof(UChar), keep);
}

PeerRun IcuNormalize(bool compose) {
  UErrorCode error = U_ZERO_ERROR;
  const icu::Normalizer2* n = compose ? icu::Normalizer2::getNFCInstance(error) : icu::Normalizer2::getNFDInstance(error);
  return [n](const Input& in, std::string* keep) {
    std::string out;
    icu::StringByteSink<std::string> sink(&out, static_cast<int32_t>(in.bytes.size()));
    UErrorCode e = U_ZERO_ERROR;
    n->normalizeUTF8(0, icu::StringPiece(in.bytes.data(), static_cast<int32_t>(in.bytes.size())), sink, nullptr, e);
    if (keep != nullptr) *keep = out;
    return static_cast<double>(out.size());
  };
}

PeerRun Utf8procNormalize(bool compose) {
  return [compose](const Input& in, std::string* keep) {
    const auto* text = reinterpret_cast<const utf8proc_uint8_t*>(in.bytes.c_str());
    utf8proc_uint8_t* out = compose ? utf8proc_NFC(text) : utf8proc_NFD(text);
    return Keep(reinterpret_cast<char*>(out), strlen(reinterpret_cast<char*>(out)), keep);
  };
}

PeerRun GMime(bool encode) {
  return [encode](const Input& in, std::string* keep) {
    GMimeEncoding state;
    if (encode) {
      g_mime_encoding_init_encode(&state, GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
    } else {
      g_mime_encoding_init_decode(&state, GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
    }
    auto* out = static_cast<char*>(malloc(g_mime_encoding_outlen(&state, in.bytes.size())));
    const size_t n = g_mime_encoding_flush(&state, in.bytes.data(), in.bytes.size(), out);
    return Keep(out, n, keep);
  };
}

// Plain loops, written as anyone would.

double PlainHexEncode(const Input& in, std::string* keep) {
  static const char digits[] = "0123456789ABCDEF";
  const size_t n = in.bytes.size();
  auto* out = static_cast<char*>(malloc(2 * n));
  for (size_t i = 0; i < n; ++i) {
    const auto b = static_cast<uint8_t>(in.bytes[i]);
    out[2 * i] = digits[b >> 4];
    out[2 * i + 1] = digits[b & 15];
  }
  return Keep(out, 2 * n, keep);
}

double PlainHexDecode(const Input& in, std::string* keep) {
  static const auto values = [] {
    std::array<uint8_t, 256> v{};
    for (int c = 0; c < 10; ++c) v['0' + c] = static_cast<uint8_t>(c);
    for (int c = 0; c < 6; ++c) v['A' + c] = v['a' + c] = static_cast<uint8_t>(10 + c);
    return v;
  }();
  const size_t n = in.bytes.size() / 2;
  auto* out = static_cast<char*>(malloc(n));
  const auto* d = reinterpret_cast<const uint8_t*>(in.bytes.data());
  for (size_t i = 0; i < n; ++i) out[i] = static_cast<char>(values[d[2 * i]] * 16 + values[d[2 * i + 1]]);
  return Keep(out, n, keep);
}

double PlainXor(const Input& in, std::string* keep) {
  const size_t n = in.bytes.size();
  auto* out = static_cast<char*>(malloc(n));
  size_t j = 0;
  for (size_t i = 0; i < n; ++i) {
    out[i] = static_cast<char>(in.bytes[i] ^ kXorMask[j]);
    if (++j == kXorMask.size()) j = 0;
  }
  return Keep(out, n, keep);
}

double PlainLineEndings(const Input& in, std::string* keep) {
  const size_t n = in.bytes.size();
  auto* out = static_cast<char*>(malloc(2 * n + 1));
  size_t w = 0;
  for (size_t i = 0; i < n; ++i) {
    const char c = in.bytes[i];
    if (c == '\r' || c == '\n') {
      out[w++] = '\r';
      out[w++] = '\n';
      if (i + 1 < n && in.bytes[i + 1] == (c == '\r' ? '\n' : '\r')) ++i;
    } else {
      out[w++] = c;
    }
  }
  return Keep(out, w, keep);
}

double MemmemCount(const Input& in, std::string* keep) {
  size_t count = 0;
  const char* p = in.bytes.data();
  const char* const end = p + in.bytes.size();
  while (const void* hit = memmem(p, static_cast<size_t>(end - p), kFind.data(), kFind.size())) {
    ++count;
    p = static_cast<const char*>(hit) + kFind.size();
  }
  if (keep != nullptr) *keep = std::to_string(count);
  return static_cast<double>(count);
}

double Strcspn(const Input& in, std::string* keep) {
  const size_t at = strcspn(in.bytes.c_str(), kAbsentBytes.c_str());
  if (keep != nullptr) *keep = std::to_string(at < in.bytes.size() ? at + 1 : 0);
  return static_cast<double>(at);
}

std::u32string CodePoints(const std::string& utf8) {
  std::u32string out;
  for (size_t i = 0; i < utf8.size();) {
    const auto b = static_cast<uint8_t>(utf8[i]);
    const int n = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
    uint32_t c = n == 1 ? b : b & (0x7F >> n);
    for (int k = 1; k < n; ++k) c = (c << 6) | (static_cast<uint8_t>(utf8[i + k]) & 0x3F);
    out += static_cast<char32_t>(c);
    i += static_cast<size_t>(n);
  }
  return out;
}

// The textbook two-row Levenshtein distance (insert, delete, substitute) on code points, reported
// as the library reports its measure.
double PlainLevenshtein(const Input& in, std::string* keep) {
  const std::u32string a = CodePoints(in.bytes), b = CodePoints(in.second);
  std::vector<int64_t> previous(b.size() + 1), current(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) previous[j] = static_cast<int64_t>(j);
  for (size_t i = 1; i <= a.size(); ++i) {
    current[0] = static_cast<int64_t>(i);
    for (size_t j = 1; j <= b.size(); ++j) {
      const int64_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
      current[j] = std::min({previous[j - 1] + cost, previous[j] + 1, current[j - 1] + 1});
    }
    std::swap(previous, current);
  }
  const auto distance = static_cast<double>(previous[b.size()]);
  const double measure = distance == 0 ? 0.0 : 1.0 / (static_cast<double>(std::min(a.size(), b.size())) / distance);
  if (keep != nullptr) *keep = Text(Outcome{nullptr, measure});
  return measure;
}

// The textbook Jaro-Winkler similarity (prefix scale 0.1, at most four characters), as a
// distance.
double PlainJaroWinkler(const Input& in, std::string* keep) {
  const std::u32string a = CodePoints(in.bytes), b = CodePoints(in.second);
  const int64_t la = static_cast<int64_t>(a.size()), lb = static_cast<int64_t>(b.size());
  const int64_t window = std::max<int64_t>(0, std::max(la, lb) / 2 - 1);
  std::vector<char> ma(a.size()), mb(b.size());
  int64_t matches = 0;
  for (int64_t i = 0; i < la; ++i) {
    for (int64_t j = std::max<int64_t>(0, i - window); j < std::min(lb, i + window + 1); ++j) {
      if (mb[j] || a[i] != b[j]) continue;
      ma[i] = mb[j] = 1;
      ++matches;
      break;
    }
  }
  double jaro = 0;
  if (matches > 0) {
    int64_t transpositions = 0;
    for (int64_t i = 0, j = 0; i < la; ++i) {
      if (!ma[i]) continue;
      while (!mb[j]) ++j;
      if (a[i] != b[j]) ++transpositions;
      ++j;
    }
    const double m = static_cast<double>(matches);
    jaro = (m / la + m / lb + (m - transpositions / 2.0) / m) / 3.0;
  }
  int64_t prefix = 0;
  while (prefix < std::min<int64_t>({4, la, lb}) && a[prefix] == b[prefix]) ++prefix;
  const double distance = 1.0 - (jaro + prefix * 0.1 * (1.0 - jaro));
  if (keep != nullptr) *keep = Text(Outcome{nullptr, distance});
  return distance;
}

// Our UTF-16 and UTF-32 forms as bytes, for the comparison with ICU's UTF-16.
Ours TextForm(bool utf32) {
  return [utf32](REALstringStruct* in, REALstringStruct*) {
    zyl::rbText text(in);
    if (!utf32) {
      const uint16_t* units = text.GetUTF16();
      return Outcome{nullptr, static_cast<double>(units[0] + text.LengthUTF16())};
    }
    const uint32_t* units = text.GetUTF32();
    return Outcome{nullptr, static_cast<double>(units[0] + text.LengthUTF32())};
  };
}

// UTF-16 of the text, for the comparison of the forms with ICU.
double FormAsUTF16(const Input& in, std::string* keep, bool utf32) {
  memhost::String s(in.bytes, memhost::kUTF8);
  zyl::rbText text(s.get());
  std::u16string units;
  if (utf32) {
    for (int64_t i = 0; i < text.LengthUTF32(); ++i) {
      const uint32_t c = text.GetUTF32()[i];
      if (c >= 0x10000) {
        units += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
        units += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
      } else {
        units += static_cast<char16_t>(c);
      }
    }
  } else {
    units.assign(reinterpret_cast<const char16_t*>(text.GetUTF16()), static_cast<size_t>(text.LengthUTF16()));
  }
  if (keep != nullptr) keep->assign(reinterpret_cast<const char*>(units.data()), units.size() * 2);
  return static_cast<double>(units.size());
}

// Inputs in another normalization form, made with ICU outside the timing.
std::string Normalized(const std::string& text, bool compose) {
  std::string out;
  IcuNormalize(compose)(Input{text, {}}, &out);
  return out;
}

// ---------------------------------------------------------------------------------------------

void RegisterAll() {
  const std::vector<Corpus> kTexts = {Corpus::Ascii, Corpus::Latin, Corpus::Cyrillic, Corpus::Cjk, Corpus::Emoji};

  {
    Row m{"CheckUTF8ZYL", kTexts,
          [f = Registered<REALstringStruct* (*)(REALstringStruct*, REALstringStruct*)>(
               "CheckUTF8ZYL(data as string, Placeholder as string) as string")](REALstringStruct* in, REALstringStruct*) {
            return Outcome{f(in, Args().replacement.get()), 0};
          },
             {{"glib", [](const Input& in, std::string* keep) {
                 char* out = g_utf8_make_valid(in.bytes.data(), static_cast<gssize>(in.bytes.size()));
                 return Keep(out, out != nullptr ? strlen(out) : 0, keep, GFree);
               }, "glib also replaces zero bytes"}}};
    m.corpora.push_back(Corpus::BadBytes);
    m.corpora.push_back(Corpus::Binary);
    Register(m);
  }

  // The text buffer's wide forms (what every text-level method asks for first).
  for (bool utf32 : {false, true}) {
    Row m{utf32 ? "rbText-UTF32-form" : "rbText-UTF16-form", kTexts, TextForm(utf32),
             {{"icu-u_strFromUTF8", IcuFromUTF8, ""}}};
    m.compared = [utf32](const Input& in, std::string* keep) { return FormAsUTF16(in, keep, utf32); };
    Register(m);
  }

  const std::vector<Corpus> kSingleByte = {Corpus::Ascii, Corpus::Latin, Corpus::Cyrillic};
  Register(Row{"EncodingToCP1252ZYL", kSingleByte, OneString("EncodingToCP1252ZYL(s as string) as string"),
            {{"icu-windows-1252", IcuConvert("windows-1252", "UTF-8"), "ICU maps characters the table lacks"}}});
  Register(Row{"EncodingToISO8859ZYL", kSingleByte, OneString("EncodingToISO8859ZYL(s as string) as string"),
            {{"icu-ISO-8859-1", IcuConvert("ISO-8859-1", "UTF-8"), ""}}});
  Register(Row{"DecodingFromCP1252ZYL", {Corpus::Cp1252, Corpus::Binary}, OneString("DecodingFromCP1252ZYL(s as string) as string"),
            {{"icu-windows-1252", IcuConvert("UTF-8", "windows-1252"), "ICU: 81 8D 8F 90 9D are C1 controls, ours U+0000"}},
            memhost::kNoEncoding});
  Register(Row{"DecodingFromISO8859ZYL", {Corpus::Cp1252, Corpus::Binary}, OneString("DecodingFromISO8859ZYL(s as string) as string"),
            {{"icu-ISO-8859-1", IcuConvert("UTF-8", "ISO-8859-1"), ""}}, memhost::kNoEncoding});

  const std::string kUrlSet = "peers escape all but A-Z a-z 0-9 - . _ ~ (ours keeps ! * + @ too)";
  Register(Row{"EncodingToURLZYL", {Corpus::Ascii, Corpus::Latin, Corpus::Cjk}, OneString("EncodingToURLZYL(s as string) as string"),
            {{"curl", [](const Input& in, std::string* keep) {
                char* out = curl_easy_escape(Curl(), in.bytes.data(), static_cast<int>(in.bytes.size()));
                return Keep(out, out != nullptr ? strlen(out) : 0, keep, CurlFree);
              }, kUrlSet},
             {"glib", [](const Input& in, std::string* keep) {
                char* out = g_uri_escape_string(in.bytes.c_str(), nullptr, false);
                return Keep(out, out != nullptr ? strlen(out) : 0, keep, GFree);
              }, kUrlSet}}});
  Register(Row{"DecodingFromURLZYL", {Corpus::UrlEncoded}, OneString("DecodingFromURLZYL(s as string) as string"),
            {{"curl", [](const Input& in, std::string* keep) {
                int length = 0;
                char* out = curl_easy_unescape(Curl(), in.bytes.data(), static_cast<int>(in.bytes.size()), &length);
                return Keep(out, static_cast<size_t>(length), keep, CurlFree);
              }, ""},
             {"glib", [](const Input& in, std::string* keep) {
                char* out = g_uri_unescape_string(in.bytes.c_str(), nullptr);
                return Keep(out, out != nullptr ? strlen(out) : 0, keep, GFree);
              }, ""}}});

  Register(Row{"EncodingToHTMLZYL", {Corpus::Html, Corpus::Ascii, Corpus::Latin},
            StringAnd("EncodingToHTMLZYL(s as string, options as integer = 0) as string", int64_t{0}),
            {{"glib-markup", [](const Input& in, std::string* keep) {
                char* out = g_markup_escape_text(in.bytes.data(), static_cast<gssize>(in.bytes.size()));
                return Keep(out, out != nullptr ? strlen(out) : 0, keep, GFree);
              }, "ours also writes entities for non-ASCII; glib escapes ' as &#39;"}}});

  Register(Row{"EncodingToQuotedPrintableZYL", {Corpus::Latin, Corpus::Ascii, Corpus::Binary},
            StringAnd("EncodingToQuotedPrintableZYL(s as string, LineLen as integer = 72) as string", int64_t{76}),
            {{"gmime", GMime(true), "GMime keeps LF line ends (ours CR LF) and breaks lines elsewhere"}}});
  Register(Row{"DecodingFromQuotedPrintableZYL", {Corpus::QuotedPrintable},
            OneString("DecodingFromQuotedPrintableZYL(s as string) as string"),
            {{"gmime", GMime(false), "GMime keeps CR LF line ends (ours LF)"}}});

  Register(Row{"EncodingToHexZYL", {Corpus::Binary, Corpus::Ascii}, OneString("EncodingToHexZYL(s as string) as string"),
            {{"plain-loop", PlainHexEncode, ""}}, memhost::kNoEncoding});
  {
    Row m{"DecodingFromHexZYL", {Corpus::Binary}, OneString("DecodingFromHexZYL(s as string) as string"),
             {{"plain-loop", PlainHexDecode, ""}}, memhost::kASCII};
    m.prepare = [](const std::string& bytes) {
      std::string hex;
      PlainHexEncode(Input{bytes.substr(0, bytes.size() / 2), {}}, &hex);
      return hex;
    };
    Register(m);
  }
  Register(Row{"StringXORZYL", {Corpus::Binary},
            [f = Registered<REALstringStruct* (*)(REALstringStruct*, REALstringStruct*, int64_t)>(
                 "StringXORZYL(data as string, XorMask as string, MaskOffset as integer = 0) as string")](REALstringStruct* in, REALstringStruct*) {
              return Outcome{f(in, Args().xorMask.get(), 0), 0};
            },
            {{"plain-loop", PlainXor, ""}}, memhost::kNoEncoding});

  Register(Row{"IsASCIIStringZYL", {Corpus::Ascii},
            [f = Registered<int8_t (*)(REALstringStruct*)>("IsASCIIStringZYL(s as string) as boolean")](
                REALstringStruct* in, REALstringStruct*) { return Outcome{nullptr, static_cast<double>(f(in))}; },
            {}});

  Register(Row{"ReplaceLineEndingsZYL", {Corpus::Ascii, Corpus::Html},
            [f = Registered<REALstringStruct* (*)(REALstringStruct*, REALstringStruct*, int8_t)>(
                 "ReplaceLineEndingsZYL(Text as String, NewLine as String, yield as boolean = false) as String")](REALstringStruct* in, REALstringStruct*) {
              return Outcome{f(in, Args().newLine.get(), 0), 0};
            },
            {{"plain-loop", PlainLineEndings, ""}}});
  Register(Row{"CountOccurancesZYL", {Corpus::Ascii, Corpus::Latin},
            [f = Registered<int64_t (*)(REALstringStruct*, REALstringStruct*)>(
                 "CountOccurancesZYL(s as string, find as string) as integer")](REALstringStruct* in, REALstringStruct*) {
              return Outcome{nullptr, static_cast<double>(f(in, Args().find.get()))};
            },
            {{"glibc-memmem", MemmemCount, ""}}});
  Register(Row{"InStrBytesZYL", {Corpus::Ascii, Corpus::Html},
            [f = Registered<int64_t (*)(REALstringStruct*, REALstringStruct*)>(
                 "InStrBytesZYL(target as string, find as string) as integer")](REALstringStruct* in, REALstringStruct*) {
              return Outcome{nullptr, static_cast<double>(f(in, Args().absent.get()))};
            },
            {{"glibc-strcspn", Strcspn, ""}}});

  for (bool compose : {true, false}) {
    Row m{compose ? "ConvertUnicodeToCharacterCompositionZYL" : "ConvertUnicodeToCharacterDecompositionZYL",
             {Corpus::Latin, Corpus::Hangul},
             OneString(compose ? "ConvertUnicodeToCharacterCompositionZYL(text as string) as string"
                               : "ConvertUnicodeToCharacterDecompositionZYL(text as string) as string"),
             {{compose ? "icu-NFC" : "icu-NFD", IcuNormalize(compose), "the library's own composition rules"},
              {compose ? "utf8proc-NFC" : "utf8proc-NFD", Utf8procNormalize(compose), "the library's own composition rules"}}};
    // Composition reads decomposed text, decomposition composed text.
    m.prepare = [compose](const std::string& text) { return Normalized(text, !compose); };
    Register(m);
  }

  // RTF: the StyledText extension's setter reads a document, its getter writes one back (from
  // what the setter made of the same document). No peer.
  {
    constexpr const char* kGetter = "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false) as string";
    constexpr const char* kSetter =
        "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false, assigns value as string)";
    const auto setter = Registered<void (*)(REALobjectStruct*, int8_t, REALstringStruct*)>(kSetter);
    const auto getter = Registered<REALstringStruct* (*)(REALobjectStruct*, int8_t)>(kGetter);
    Register(Row{"RTFDataZYL-import", {Corpus::Rtf},
                 [setter](REALstringStruct* in, REALstringStruct*) {
                   setter(Args().styledText.get(), 0, in);
                   return Outcome{};
                 },
                 {}});
    // The styled text each document gives, made once per document.
    Register(Row{"RTFDataZYL-export", {Corpus::Rtf},
                 [setter, getter](REALstringStruct* in, REALstringStruct*) {
                   auto& imported = Args().imported;
                   auto it = imported.find(in);
                   if (it == imported.end()) {
                     it = imported.emplace(in, memhost::Object(memhost::NewStyledText({}))).first;
                     setter(it->second.get(), 0, in);
                   }
                   return Outcome{getter(it->second.get(), 0), 0};
                 },
                 {}});
  }

  const std::string kVariant = "ours: transpositions too (optimal string alignment)";
  Register(Row{"LevenshteinDistanceZYL", {Corpus::Latin},
            [f = Registered<double (*)(REALstringStruct*, REALstringStruct*)>(
                 "LevenshteinDistanceZYL(a as string, b as string) as double")](REALstringStruct* a, REALstringStruct* b) {
              return Outcome{nullptr, f(a, b)};
            },
            {{"plain-two-row", PlainLevenshtein, kVariant}}, memhost::kUTF8, true},
           {0});
  Register(Row{"JaroWinklerDistanceZYL", {Corpus::Latin},
            [f = Registered<double (*)(REALstringStruct*, REALstringStruct*)>(
                 "JaroWinklerDistanceZYL(a as string, b as string) as double")](REALstringStruct* a, REALstringStruct* b) {
              return Outcome{nullptr, f(a, b)};
            },
            {{"plain", PlainJaroWinkler, ""}}, memhost::kUTF8, true},
           {0});
}

}  // namespace

int main(int argc, char** argv) {
  // glibc's malloc adapts its thresholds to what was freed last: whether a block of a few MiB
  // comes back from the heap or as fresh pages the kernel must clear then depends on the order of
  // the rows, and the page faults can outweigh the work. Fixed thresholds keep freed memory for
  // every row alike. Blocks at the mapping threshold and above (the 32 MiB of hex from 16 MiB)
  // come from the heap only when its free top is large enough, which the rows before decide: the
  // heap is grown (and its pages touched) once here, so that every row finds the room.
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  {
    constexpr size_t kBlock = 16 << 20;
    std::vector<void*> blocks;
    for (int k = 0; k < 32; ++k) {
      void* block = malloc(kBlock);
      if (block == nullptr) break;
      memset(block, 1, kBlock);
      blocks.push_back(block);
    }
    for (void* block : blocks) free(block);
  }
  g_mime_init();
  curl_global_init(CURL_GLOBAL_DEFAULT);
  {
    const RowHost host;  // the registered functions are looked up once
    RegisterAll();
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
