// "ReplaceLineEndingsZYL": both paths, with and without yielding, and the reservation hint.
#include <doctest/doctest.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

#include "strings/line_endings.h"
#include "strings/string_args.h"
#include "support/plugin_host.h"
#include "text/text_test_support.h"

using memhost::String;
using namespace stringtest;
using namespace std::string_literals;

namespace {

constexpr const char* kReplace =
    "ReplaceLineEndingsZYL(Text as String, NewLine as String, yield as boolean = false) as String";


memhost::StringValue Replace(const Arg& text, const Arg& newLine, bool yield) {
  String t = Make(text), n = Make(newLine);
  String result(memhost::Call<REALstringStruct*>(kReplace, t.get(), n.get(), static_cast<int8_t>(yield)));
  return memhost::Value(result.get());
}

// The literal walk: CR LF and LF CR are one ending, a lone CR or LF one each.
std::string ReferenceReplace(const std::string& in, const std::string& newLine) {
  std::string out;
  for (size_t i = 0; i < in.size(); ++i) {
    if (in[i] != '\r' && in[i] != '\n') {
      out += in[i];
      continue;
    }
    out += newLine;
    if (i + 1 < in.size() && (in[i + 1] == '\r' || in[i + 1] == '\n') && in[i + 1] != in[i]) ++i;
  }
  return out;
}

// Bytes around a 2^24-aligned address, so that the yield points are known exactly.
class AlignedBytes {
 public:
  AlignedBytes() : base_(static_cast<char*>(std::aligned_alloc(kAlign, 2 * kAlign))) { REQUIRE(base_ != nullptr); }
  ~AlignedBytes() { std::free(base_); }
  // Copies bytes so that byte number before (0-based) sits at the aligned address.
  const char* Place(const std::string& bytes, size_t before) {
    char* at = base_ + kAlign - before;
    std::copy(bytes.begin(), bytes.end(), at);
    return at;
  }
  static constexpr size_t kAlign = size_t{1} << 24;

 private:
  char* base_;
};

}  // namespace

TEST_CASE("ReplaceLineEndingsZYL replaces every kind of line ending on both paths") {
  zyltest::PluginHost host;
  const Arg lf{"\n"};
  struct Case {
    const char* why;
    Arg text, newLine;
    std::string bytes;
    uint32_t encoding;
  } cases[] = {
      {"every kind", {"a\r\nb\nc\rd"}, lf, "a\nb\nc\nd", memhost::kUTF8},
      {"LF CR is one, CR CR LF two", {"a\n\rb\r\r\nc"}, {"<>"}, "a<>b<><>c", memhost::kUTF8},
      {"Latin-1 keeps its encoding and high bytes", {"\xE9\r\n\xFF\r", memhost::kISOLatin1}, lf, "\xE9\n\xFF\n",
       memhost::kISOLatin1},
      {"NewLine converted to the text's encoding", {"a\r\nb", memhost::kISOLatin1}, {"\xC3\xA9"}, "a\xE9" "b",
       memhost::kISOLatin1},
      {"NewLine the host cannot convert counts as empty", {"a\nb", memhost::kASCII}, {"\xE2\x82\xAC"}, "ab",
       memhost::kASCII},
      {"a NewLine in the text's encoding stays as it is, malformed bytes too", {"a\nb"}, {"\xFF"}, "a\xFF" "b",
       memhost::kUTF8},
      {"so does one with no encoding in text with none", {"a\nb", memhost::kNoEncoding}, {"\xE9", memhost::kNoEncoding},
       "a\xE9" "b", memhost::kNoEncoding},
      {"no encoding keeps the NewLine's bytes", {"\x80\n", memhost::kNoEncoding}, {"\xC3\xA9"}, "\x80\xC3\xA9",
       memhost::kNoEncoding},
      {"UTF-16 comes back as UTF-8", {texttest::Wide(u"\u00E9\r\nz"), memhost::kUTF16}, lf, "\xC3\xA9\nz",
       memhost::kUTF8},
      {"UTF-32BE too, with a UTF-16 NewLine", {texttest::Wide(U"a\rb", true), memhost::kUTF32BE},
       {texttest::Wide(u"\r\n"), memhost::kUTF16}, "a\r\nb", memhost::kUTF8},
      {"pure ASCII 8-bit text comes back tagged ASCII, as the builder tags it", {"ab\r", memhost::kISOLatin1}, lf,
       "ab\n", memhost::kASCII},
      {"without endings the text comes back equal", {"h\xC3\xA9llo"}, lf, "h\xC3\xA9llo", memhost::kUTF8},
      {"an empty NewLine removes the endings", {"a\r\nb\n"}, {""}, "ab", memhost::kUTF8},
      {"a nil NewLine too", {"a\r\nb\n"}, kNilArg, "ab", memhost::kUTF8},
      {"nothing left: nil", {"\r\n\n\r"}, {""}, "", memhost::kNoEncoding},
      {"nil text", kNilArg, lf, "", memhost::kNoEncoding},
      {"empty text", {""}, lf, "", memhost::kNoEncoding},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    const memhost::StringValue expected{c.bytes, c.encoding};
    CHECK(Replace(c.text, c.newLine, false) == expected);
    CHECK(Replace(c.text, c.newLine, true) == expected);
  }
  CHECK(memhost::YieldCount() == 0);
}

TEST_CASE("ReplaceLineEndingsZYL agrees with the literal walk on random bytes") {
  zyltest::PluginHost host;
  std::mt19937 rng(2718);
  static const char alphabet[] = {'\r', '\n', 'a', '\0', '\xFF'};
  for (int round = 0; round < 2000; ++round) {
    std::string in(rng() % (round % 100 == 0 ? 3000 : 30), '\0');
    for (char& c : in) c = alphabet[rng() % sizeof alphabet];
    const std::string newLine = std::string("\xE9\r\n", rng() % 4);
    CAPTURE(round);
    CHECK(Replace({in, memhost::kNoEncoding}, {newLine, memhost::kNoEncoding}, round % 2 != 0).bytes ==
          ReferenceReplace(in, newLine));
  }
}

TEST_CASE("The yielding core yields after steps that reach a 2^24-aligned address, the plain one never") {
  zyltest::PluginHost host;
  AlignedBytes memory;
  struct Case {
    const char* why;
    std::string bytes;
    size_t before;  // bytes in front of the aligned address
    uint64_t yields;
  } cases[] = {
      {"a copied byte reaches it", "abcdefgh", 4, 1},
      {"a lone CR reaches it", "abc\refgh", 4, 1},
      {"CR LF jumps over it", "abc\r\nfgh", 4, 0},
      {"an ending that starts there", "abcd\r\ngh", 4, 1},
      {"the end of the input is there", "abc\n", 4, 1},
      {"the input starts there", "abc\n", 0, 0},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    const char* data = memory.Place(c.bytes, c.before);
    const std::string expected = ReferenceReplace(c.bytes, "\r\n");
    for (bool yield : {false, true}) {
      const uint64_t before = memhost::YieldCount();
      auto* core = yield ? zyl::ReplaceLineEndingsZYL_internal_yield : zyl::ReplaceLineEndingsZYL_internal;
      String result(core(data, c.bytes.size(), "\r\n", 2, memhost::kISOLatin1));
      CHECK(memhost::YieldCount() - before == (yield ? c.yields : 0));
      CHECK(result.bytes() == expected);
    }
  }
}

TEST_CASE("ReplaceLineEndingsZYL yields about once per 16 MiB with yield set, never without") {
  zyltest::PluginHost host;
  const size_t size = size_t{40} << 20;
  std::string text(size, 'x');
  for (size_t at = 1000; at < size; at += 1 << 20) text.replace(at, 2, "\r\n");
  String t(text, memhost::kWindowsLatin1, memhost::Storage::External), lf("\n", memhost::kUTF8);
  text.clear();
  text.shrink_to_fit();
  for (int8_t yield : {int8_t{0}, int8_t{1}}) {
    const uint64_t before = memhost::YieldCount();
    String result(memhost::Call<REALstringStruct*>(kReplace, t.get(), lf.get(), yield));
    const uint64_t yields = memhost::YieldCount() - before;
    CAPTURE(int{yield});
    if (yield != 0) {
      CHECK((yields == 2 || yields == 3));  // 2.5 x 16 MiB, wherever the host put the bytes
    } else {
      CHECK(yields == 0);
    }
    CHECK(memhost::LiveStrings() == 3);
    const std::string bytes = result.bytes();
    CHECK(bytes.size() == size - 40);
    CHECK(bytes.compare(998, 4, "xx\nx") == 0);
  }
}

TEST_CASE("The output reservation is a hint, capped") {
  constexpr uint64_t kCap = 0x7FFFFFFF;
  struct Case {
    uint64_t size, newLineSize, expected;
  } cases[] = {
      {1000000, 2, 1000000 + (20000 + 1000) * 2},
      {100, 1, 100},  // never more than newLineSize bytes per input byte
      {100, 0, 100},
      {0, 5, 0},
      {10, UINT64_MAX, kCap},
      {UINT64_MAX, 1, kCap},
      {uint64_t{1} << 40, 2, kCap},
  };
  for (const Case& c : cases) {
    CAPTURE(c.size);
    CAPTURE(c.newLineSize);
    CHECK(zyl::LineEndingReservation(c.size, c.newLineSize) == c.expected);
  }
}
