// Hex encoding, hex decoding and the hex dump as the host calls them: listed cases, odd and
// invalid characters, round trips on every byte value, sizes past the host's limit, and the
// dump against a reference that builds the padded work text literally.
#include <doctest/doctest.h>

#include <cstdio>

#include "codecs/byte_codecs_test_support.h"
#include "support/plugin_host.h"

using memhost::String;
using namespace bytecodecs;

namespace {

std::string ReferenceHex(const std::string& bytes) {
  std::string out;
  char pair[3];
  for (char c : bytes) {
    snprintf(pair, sizeof pair, "%02X", static_cast<uint8_t>(c));
    out += pair;
  }
  return out;
}

struct Dump {
  std::string input;
  int64_t hexlen, linelen;
  std::optional<std::string> start, end, spacer, filler;  // nullopt: nil
};

std::optional<std::string> CallDump(const Dump& d) {
  const auto make = [](const std::optional<std::string>& s) {
    return s ? String(*s, memhost::kUTF8) : String();
  };
  String input(d.input, memhost::kNoEncoding);
  String start = make(d.start), end = make(d.end), spacer = make(d.spacer), filler = make(d.filler);
  const auto result = Take(memhost::Call<REALstringStruct*>(kHexDump, input.get(), d.hexlen, d.linelen, start.get(),
                                                               end.get(), spacer.get(), filler.get()));
  if (result) CHECK(result->encoding == memhost::kASCII);
  return result ? std::optional<std::string>(result->bytes) : std::nullopt;
}

// The dump as written down: the hex text with the filler appended hexlen x linelen times, lines
// taken while hex characters remain, then the cut to the whole lines of the work text.
std::optional<std::string> ReferenceDump(const Dump& d) {
  if (d.hexlen <= 0 || d.linelen <= 0) return std::nullopt;
  const auto hexlen = static_cast<size_t>(d.hexlen), linelen = static_cast<size_t>(d.linelen);
  const std::string start = d.start.value_or(""), end = d.end.value_or(""), spacer = d.spacer.value_or("");
  const std::string filler = d.filler.value_or("").empty() ? "0" : *d.filler;
  std::string work = ReferenceHex(d.input);
  const size_t hexChars = work.size();
  for (size_t i = 0; i < hexlen * linelen; ++i) work += filler;
  std::string out;
  for (size_t consumed = 0; consumed < hexChars;) {
    out += start;
    for (size_t group = 0; group < linelen; ++group, consumed += hexlen) {
      out += work.substr(consumed, hexlen);
      if (group + 1 < linelen) out += spacer;
    }
    out += end;
  }
  const size_t width = hexlen * linelen + (linelen - 1) * spacer.size() + end.size() + start.size();
  out = out.substr(0, work.size() / (hexlen * linelen) * width);
  return out.empty() ? std::nullopt : std::optional<std::string>(out);
}

}  // namespace

TEST_CASE("hex encoding and decoding: listed cases, odd and invalid characters") {
  zyltest::PluginHost host;
  CHECK(CallBytes(kToHex, "") == std::nullopt);
  CHECK(memhost::Call<REALstringStruct*>(kToHex, kNilString) == nullptr);
  String az("Az", memhost::kUTF8);
  CHECK(Take(memhost::Call<REALstringStruct*>(kToHex, az.get()))->encoding == memhost::kASCII);

  struct Case {
    std::string why, in;
    std::optional<memhost::StringValue> out;
  } cases[] = {
      {"either case", "417a", memhost::StringValue{"Az", memhost::kASCII}},
      {"odd last character ignored", "41G", memhost::StringValue{"A", memhost::kASCII}},
      {"invalid characters count as 0", "GG", memhost::StringValue{std::string(1, '\0'), memhost::kASCII}},
      {"invalid low digit", "4z 1", memhost::StringValue{"@\x01", memhost::kASCII}},
      {"high bytes have no encoding", "FFfe80", memhost::StringValue{"\xFF\xFE\x80", memhost::kNoEncoding}},
      {"one character", "4", std::nullopt},
      {"empty", "", std::nullopt},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String s(c.in, memhost::kUTF8);
    CHECK(Take(memhost::Call<REALstringStruct*>(kFromHex, s.get())) == c.out);
  }
  CHECK(memhost::Call<REALstringStruct*>(kFromHex, kNilString) == nullptr);
  // The digits are read from the text, whatever its encoding.
  String wide(std::string("4\0" "1\0" "7\0" "a\0", 8), memhost::kUTF16);
  CHECK(Take(memhost::Call<REALstringStruct*>(kFromHex, wide.get()))->bytes == "Az");
}

TEST_CASE("hex: every byte value and random bytes go there and back") {
  zyltest::PluginHost host;
  const std::string all = AllBytes();
  CHECK(CallBytes(kToHex, all) == ReferenceHex(all));
  std::mt19937 rng(5);
  for (int round = 0; round < 300; ++round) {
    const std::string in = RandomBytes(rng, 600);
    CAPTURE(in);
    const std::optional<std::string> hex = CallBytes(kToHex, in);
    CHECK(hex.value_or("") == ReferenceHex(in));
    if (hex) CHECK(CallBytes(kFromHex, *hex) == in);
  }
}

TEST_CASE("hex dump: listed cases, filler, bad sizes") {
  zyltest::PluginHost host;
  const std::string five = "\x01\x02\x03\x04\x05";
  struct Case {
    std::string why;
    Dump dump;
    std::optional<std::string> out;
  } cases[] = {
      {"listed example", {five, 2, 4, "", "\n", " ", ""}, "01 02 03 04\n05 00 00 00\n"},
      {"nil filler and frame", {five, 2, 4, std::nullopt, std::nullopt, std::nullopt, std::nullopt},
       "0102030405000000"},
      {"longer filler", {five, 2, 4, "", "\n", " ", "ab"}, "01 02 03 04\n05 ab ab ab\n"},
      {"filler across groups", {"\x01", 3, 2, "", "", " ", "xyz"}, "01x yzx"},
      {"frame", {"\xAB\xCD", 1, 2, "> ", " <\n", ":", ""}, "> A:B <\n> C:D <\n"},
      {"exact lines", {five + "\x06", 4, 3, "", "|", "-", ""}, "0102-0304-0506|"},
      {"odd group length", {"\x12\x34", 3, 1, "", ",", "", ""}, "123,400,"},
      {"empty input", {"", 2, 4, "", "\n", " ", ""}, std::nullopt},
      {"hexlen 0", {five, 0, 4, "", "\n", " ", ""}, std::nullopt},
      {"linelen 0", {five, 2, 0, "", "\n", " ", ""}, std::nullopt},
      {"negative hexlen", {five, -2, 4, "", "\n", " ", ""}, std::nullopt},
      {"negative linelen", {five, 2, -4, "", "\n", " ", ""}, std::nullopt},
      {"hexlen x linelen overflows", {five, int64_t{1} << 62, 4, "", "", "", ""}, std::nullopt},
      {"group past the host's limit", {five, int64_t{1} << 31, 1, "", "", "", ""}, std::nullopt},
      {"spacers push a line past the limit", {five, 1, int64_t{1} << 30, "", "", "  ", ""}, std::nullopt},
      {"huge both", {five, INT64_MAX, INT64_MAX, "", "", "", ""}, std::nullopt},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(CallDump(c.dump) == c.out);
    if (c.dump.hexlen < 64 && c.dump.linelen < 64) CHECK(ReferenceDump(c.dump) == c.out);
  }
  CHECK(memhost::Call<REALstringStruct*>(kHexDump, kNilString, int64_t{2}, int64_t{4}, kNilString, kNilString,
                                         kNilString, kNilString) == nullptr);
  // One short line padded to a large group: 1000 characters, the filler repeated.
  CHECK(CallDump({"\xFF", 1000, 1, "", "", "", "."}) == "FF" + std::string(998, '.'));
}

TEST_CASE("hex dump agrees with the literal reference on random layouts") {
  zyltest::PluginHost host;
  std::mt19937 rng(99);
  const auto piece = [&]() -> std::optional<std::string> {
    const uint32_t r = rng() % 6;
    if (r == 0) return std::nullopt;
    return std::string("<>| \n-xyz").substr(rng() % 5, r - 1);
  };
  for (int round = 0; round < 600; ++round) {
    Dump d{RandomBytes(rng, 40), 1 + static_cast<int64_t>(rng() % 6), 1 + static_cast<int64_t>(rng() % 6),
           piece(), piece(), piece(), piece()};
    CAPTURE(d.input);
    CAPTURE(d.hexlen);
    CAPTURE(d.linelen);
    CHECK(CallDump(d) == ReferenceDump(d));
  }
}

TEST_CASE("hex decoding reads every character as the digit table does, 16 pairs at a time or not") {
  zyltest::PluginHost host;
  const auto value = [](uint8_t c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : c >= 'a' && c <= 'f' ? c - 'a' + 10 : 0;
  };
  std::mt19937 rng(17);
  for (int round = 0; round < 400; ++round) {
    std::string digits(rng() % 90, '0');
    // ASCII only: text with other bytes has no ASCII form to read.
    for (char& c : digits) c = static_cast<char>(rng() % 3 == 0 ? 1 + rng() % 127 : "0123456789abcdefABCDEFgG@`/:"[rng() % 28]);
    std::string expected;
    for (size_t i = 0; i + 1 < digits.size(); i += 2) {
      expected += static_cast<char>(value(static_cast<uint8_t>(digits[i])) * 16 + value(static_cast<uint8_t>(digits[i + 1])));
    }
    CAPTURE(digits);
    CHECK(CallBytes(kFromHex, digits).value_or("") == expected);
  }
}
