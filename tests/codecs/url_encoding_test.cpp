// "EncodingToURLZYL" and "DecodingFromURLZYL" in both forms, as the host calls them: the plain
// set over all 256 byte values, escapes cut short or malformed, the "+" option, round trips and
// a differential run of the decoder against a slow reference.
#include <doctest/doctest.h>

#include <algorithm>
#include <cctype>
#include <random>
#include <string_view>

#include "codecs/web_codecs_test_support.h"
#include "support/plugin_host.h"

using memhost::String;
using namespace webtest;
using namespace std::string_literals;

namespace {

std::optional<memhost::StringValue> EncodeURL(const std::string& bytes, uint32_t encoding = memhost::kUTF8) {
  String s(bytes, encoding);
  const auto one = Take(memhost::Call<REALstringStruct*>(kToURL1, s.get()));
  for (int64_t options : {0, 1, -1}) {  // options change nothing
    CHECK(Take(memhost::Call<REALstringStruct*>(kToURL2, s.get(), options)) == one);
  }
  return one;
}

std::optional<memhost::StringValue> DecodeURL(const std::string& bytes, int64_t options) {
  String s(bytes, memhost::kUTF8);
  const auto result = Take(memhost::Call<REALstringStruct*>(kFromURL2, s.get(), options));
  if (options == 0) CHECK(Take(memhost::Call<REALstringStruct*>(kFromURL1, s.get())) == result);
  return result;
}

// The decoder as the walk reads, written out plainly.
std::string ReferenceDecode(const std::string& in, bool plusIsSpace) {
  const auto digit = [&](size_t k) -> int {
    if (k >= in.size()) return 0;
    const char c = in[k];
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return 0;
  };
  std::string out;
  for (size_t i = 0; i < in.size();) {
    if (in[i] == '%') {
      out += static_cast<char>(digit(i + 1) * 16 + digit(i + 2));
      i += 3;
    } else {
      out += plusIsSpace && in[i] == '+' ? ' ' : in[i];
      ++i;
    }
  }
  return out;
}

}  // namespace

TEST_CASE("EncodingToURLZYL: 70 plain bytes, every other byte as %XX") {
  zyltest::PluginHost host;
  const std::string_view punctuation = "!*+-.@_~";
  std::string all, expected;
  for (int b = 0; b < 256; ++b) {
    all += static_cast<char>(b);
    const bool plain =
        std::isalnum(b) != 0 || (b != 0 && punctuation.find(static_cast<char>(b)) != std::string_view::npos);
    char escape[4];
    snprintf(escape, sizeof escape, "%%%02X", b);
    expected += plain ? std::string(1, static_cast<char>(b)) : std::string(escape);
  }
  const auto result = EncodeURL(all, memhost::kNoEncoding);
  REQUIRE(result.has_value());
  CHECK(result->bytes == expected);
  CHECK(result->encoding == memhost::kASCII);
  CHECK(expected.size() == 70 + 3 * 186);

  CHECK(EncodeURL(texttest::Wide(u"A"), memhost::kUTF16)->bytes == "A%00");  // bytes, not text
  CHECK(EncodeURL("") == std::nullopt);
  CHECK(memhost::Call<REALstringStruct*>(kToURL1, static_cast<REALstringStruct*>(nullptr)) == nullptr);
}

TEST_CASE("DecodingFromURLZYL: escapes, malformed and cut-off escapes, the + option") {
  zyltest::PluginHost host;
  const Case cases[] = {
      {"+ stays by default", "a+b", "a+b", 0},
      {"+ as a space with options 1", "a+b", "a b", 1},
      {"only bit 0 counts", "a+b", "a+b", 2},
      {"either case of digits", "%41%4a%4A", "AJJ", 0},
      {"% at the very end", "100%", "100\0"s, 0},
      {"% before the last byte", "x%4", "x\x40", 0},
      {"%% consumes three bytes", "%%41", "\x04" "1", 0},
      {"non-digit counts as 0", "%G1%zz", "\x01\0"s, 0},
      {"escaped + is no space", "%2B+", "+ ", 1},
      {"high bytes", "%C3%A9%ff", "\xC3\xA9\xFF", 0},
      {"other bytes copied", "\xFF\x01 /?", "\xFF\x01 /?", 0},
      {"empty", "", std::nullopt, 0},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    // No encoding, which the host tags ASCII when every byte is.
    const std::string out = c.out.value_or("");
    const bool ascii = std::all_of(out.begin(), out.end(), [](char b) { return (b & 0x80) == 0; });
    CHECK(DecodeURL(c.in, c.options) == Tagged(c.out, ascii ? memhost::kASCII : memhost::kNoEncoding));
  }
  CHECK(memhost::Call<REALstringStruct*>(kFromURL1, static_cast<REALstringStruct*>(nullptr)) == nullptr);
}

TEST_CASE("URL round trips and the decoder against its reference on random input") {
  zyltest::PluginHost host;
  std::mt19937 rng(42);
  const char alphabet[] = "%%%+09afAFgz ";
  for (int round = 0; round < 400; ++round) {
    std::string bytes, escapes;
    const size_t length = rng() % 64;
    for (size_t k = 0; k < length; ++k) {
      bytes += static_cast<char>(rng() & 0xFF);
      escapes += alphabet[rng() % (sizeof alphabet - 1)];
    }
    if (round == 0) bytes = texttest::AllBytes();
    CAPTURE(bytes);
    const auto encoded = EncodeURL(bytes, memhost::kNoEncoding);
    REQUIRE(encoded.has_value() == !bytes.empty());
    if (bytes.empty()) continue;
    std::string spaced = bytes;
    for (char& c : spaced) c = c == '+' ? ' ' : c;
    CHECK(DecodeURL(encoded->bytes, 0)->bytes == bytes);
    CHECK(DecodeURL(encoded->bytes, 1)->bytes == spaced);  // "+" is left plain on purpose

    CAPTURE(escapes);
    for (int64_t options : {0, 1}) {
      const auto decoded = DecodeURL(escapes, options);
      CHECK(decoded.value_or(memhost::StringValue{}).bytes == ReferenceDecode(escapes, options == 1));
    }
  }
}

TEST_CASE("URL decoding of long text: every place of an escape in the 64-byte blocks and at the end") {
  zyltest::PluginHost host;
  // Plain stretches long enough for whole blocks, with a stop at each offset, a pair of them
  // (the second right after the first's digits or overlapping them), and cut-off escapes at the end.
  for (size_t length : {127, 128, 129, 130, 200, 260}) {
    for (size_t at = 0; at < length; ++at) {
      for (const std::string stop : {"%41", "%e9", "%%41", "+", "%4", "%G1+%2B", "%"}) {
        std::string text(length, 'x');
        text.replace(at, std::min(stop.size(), length - at), stop.substr(0, length - at));
        CAPTURE(text);
        for (int64_t options : {0, 1}) CHECK(DecodeURL(text, options)->bytes == ReferenceDecode(text, options == 1));
      }
    }
  }
  std::mt19937 rng(7);
  for (int round = 0; round < 300; ++round) {
    // Dense and sparse escapes over several blocks.
    std::string text(130 + rng() % 400, 'a');
    const uint32_t density = 1 + rng() % 40;
    for (char& c : text) {
      if (rng() % density == 0) c = "%%%+09afAFgz \xFF"[rng() % 14];
    }
    CAPTURE(text);
    for (int64_t options : {0, 1}) CHECK(DecodeURL(text, options)->bytes == ReferenceDecode(text, options == 1));
  }
}
