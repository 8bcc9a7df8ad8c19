// The text model's fast scanners held against plain references: the well-formed prefix, the
// decoders behind the UTF-16 and UTF-32 forms, the widening of ASCII, and results built as UTF-8
// where the host's converter was asked before.
#include <doctest/doctest.h>

#include <random>
#include <string>
#include <vector>

#include "plugin/builders.h"
#include "support/plugin_host.h"
#include "text/text.h"
#include "text/text_test_support.h"
#include "text/utf8_scan.h"

using namespace texttest;

namespace {

int64_t ReferenceWellFormed(const std::string& in) {
  size_t i = 0;
  while (i < in.size()) {
    const int n = ReferenceSequence(in, i);
    if (n == 0) break;
    i += static_cast<size_t>(n);
  }
  return static_cast<int64_t>(i);
}

void CheckPrefix(const std::string& in) {
  const auto n = static_cast<int64_t>(in.size());
  const int64_t expected = ReferenceWellFormed(in);
  CHECK(zyl::WellFormedPrefixPlain(U8(in), n) == expected);
  CHECK(zyl::WellFormedPrefix(U8(in), n) == expected);
}

// Text long enough for several blocks, with sequences of every length straddling block edges.
std::string LongSample() {
  std::string s;
  while (s.size() < 100) s += kValidSample + "\xEF\xBB\xBF" "abcdefghijklmnopq";
  return s;
}

}  // namespace

TEST_CASE("WellFormedPrefix: every byte value at every position of a few blocks") {
  std::string twoByte;  // ASCII and two-byte sequences only, as Latin and Cyrillic text
  while (twoByte.size() < 70) twoByte += "\xD0\x96\xC3\xA9 a\xDF\xBF\xC2\x80";
  std::string threeByte;  // ASCII and three-byte sequences only, as CJK text, with E0 and ED
  while (threeByte.size() < 70) threeByte += "\xE6\xBC\xA2\xE3\x81\x82 \xED\x9F\xBF\xE0\xA0\x80\xEF\xBF\xBD";
  const std::string bases[] = {std::string(56, 'a'), std::string(170, 'a'), LongSample().substr(0, 56),
                               twoByte, twoByte.substr(1), threeByte, threeByte.substr(1), threeByte.substr(2),
                               "\xD0\x96\xD0\x96\xD0\x96\xD0\x96 \xE6\xBC\xA2\xE6\xBC\xA2\xF0\x9F\x98\x80xyz"
                               "\xD0\x96\xD0\x96\xD0\x96\xD0\x96 \xE6\xBC\xA2\xE6\xBC\xA2\xF0\x9F\x98\x80xyz"};
  for (const std::string& base : bases) {
    for (size_t at = 0; at < base.size(); ++at) {
      for (int b = 0; b < 256; ++b) {
        std::string in = base;
        in[at] = static_cast<char>(b);
        CheckPrefix(in);
        // A lead byte followed by a continuation byte of each edge.
        in.insert(at + 1, 1, static_cast<char>(b % 4 == 0 ? 0x80 : b % 4 == 1 ? 0x9F : b % 4 == 2 ? 0xA0 : 0xBF));
        CheckPrefix(in);
      }
    }
  }
}

TEST_CASE("WellFormedLengthAt tells two- and three-byte sequences as WellFormedLength does") {
  // Every lead byte with every second byte, the third at its edges, cut off at each length.
  for (int lead = 0x80; lead <= 0xFF; ++lead) {
    for (int second = 0; second <= 0xFF; ++second) {
      for (const uint8_t third : {0x00, 0x7F, 0x80, 0xBF, 0xC0, 0xFF}) {
        const uint8_t bytes[4] = {static_cast<uint8_t>(lead), static_cast<uint8_t>(second), third, 0x80};
        for (int64_t available = 1; available <= 4; ++available) {
          if (zyl::WellFormedLengthAt(bytes, 0, available) != zyl::WellFormedLength(bytes, available)) {
            FAIL_CHECK(lead << " " << second << " " << int{third} << " " << available);
          }
        }
      }
    }
  }
}

TEST_CASE("WellFormedPrefix: random text, corrupted samples and text cut at every byte") {
  ForEachInput(3000, CheckPrefix);
  const std::string sample = LongSample();
  for (size_t cut = 0; cut <= sample.size(); ++cut) CheckPrefix(sample.substr(0, cut));
  std::mt19937 rng(5);
  for (int round = 0; round < 500; ++round) {
    std::string in = sample + sample;
    for (int k = static_cast<int>(rng() % 3); k > 0; --k) in[rng() % in.size()] = static_cast<char>(rng());
    CheckPrefix(in.substr(rng() % 8));
  }
}

TEST_CASE("Decoding of well-formed UTF-8 agrees with the plain decoder and the reference converter") {
  const auto check = [](const std::string& in) {
    const int64_t n = zyl::WellFormedPrefix(U8(in), static_cast<int64_t>(in.size()));
    std::vector<uint16_t> fast16(static_cast<size_t>(n) + 1), plain16(static_cast<size_t>(n) + 1);
    std::vector<uint32_t> fast32(static_cast<size_t>(n) + 1), plain32(static_cast<size_t>(n) + 1);
    fast16.resize(static_cast<size_t>(zyl::DecodeWellFormedUTF8ToUTF16(U8(in), n, fast16.data())));
    plain16.resize(static_cast<size_t>(zyl::DecodeWellFormedUTF8ToUTF16Plain(U8(in), n, plain16.data())));
    fast32.resize(static_cast<size_t>(zyl::DecodeWellFormedUTF8ToUTF32(U8(in), n, fast32.data())));
    plain32.resize(static_cast<size_t>(zyl::DecodeWellFormedUTF8ToUTF32Plain(U8(in), n, plain32.data())));
    const std::vector<uint32_t> reference16 = ReferenceWideForm(in, false), reference32 = ReferenceWideForm(in, true);
    CHECK(std::vector<uint32_t>(fast16.begin(), fast16.end()) == reference16);
    CHECK(std::vector<uint32_t>(plain16.begin(), plain16.end()) == reference16);
    CHECK(fast32 == reference32);
    CHECK(plain32 == reference32);
  };
  ForEachInput(2000, check);
  const std::string sample = LongSample();
  for (size_t cut = 0; cut <= sample.size(); ++cut) check(sample.substr(cut) + sample.substr(0, cut));
  // Runs of three-byte characters (taken two at a time) with byte-order marks, and other
  // characters led by EF, at every place of a pair, one or two of them.
  const std::string han = "\xE6\xBC\xA2";
  for (const std::string odd : {"\xEF\xBB\xBF", "\xEF\xBF\xBE", "\xEF\xBC\x8C", "\xEF\xBF\xBF"}) {
    for (size_t at = 0; at < 12; ++at) {
      for (size_t second = at; second < 12; ++second) {
        std::string in;
        for (size_t k = 0; k < 12; ++k) in += k == at || k == second ? odd : han;
        CAPTURE(in);
        check(in);
      }
    }
  }
}

TEST_CASE("rbText's wide forms of UTF-8 and ASCII text are the reference converter's") {
  zyltest::PluginHost host;
  const auto check = [](const std::string& in) {
    memhost::String s(in, memhost::kUTF8);
    zyl::rbText text(s.get());
    const std::vector<uint32_t> units16(text.GetUTF16(), text.GetUTF16() + text.LengthUTF16());
    const std::vector<uint32_t> units32(text.GetUTF32(), text.GetUTF32() + text.LengthUTF32());
    CHECK(units16 == ReferenceWideForm(in, false));
    CHECK(units32 == ReferenceWideForm(in, true));
    CHECK(text.GetUTF16()[text.LengthUTF16()] == 0);
    CHECK(text.GetUTF32()[text.LengthUTF32()] == 0);
  };
  ForEachInput(500, check);
  for (size_t length = 0; length < 70; ++length) check(std::string(length, 'q') + "~");
}

TEST_CASE("UTF-8 of UTF-16 units: the fast and plain encoders agree, and refuse unpaired surrogates") {
  std::mt19937 rng(11);
  const uint16_t picks[] = {0x41, 0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFFFF};
  for (int round = 0; round < 3000; ++round) {
    std::vector<uint16_t> units;
    for (int k = static_cast<int>(rng() % 40); k > 0; --k) {
      const uint32_t r = rng();
      units.push_back(r % 3 == 0 ? picks[r % std::size(picks)] : r % 3 == 1 ? static_cast<uint16_t>('a' + r % 26)
                                                                              : static_cast<uint16_t>(r >> 16));
    }
    const auto count = static_cast<int64_t>(units.size());
    std::vector<uint8_t> fast(units.size() * 3 + 1), plain(units.size() * 3 + 1);
    const int64_t a = zyl::EncodeValidUTF16AsUTF8(units.data(), count, fast.data());
    const int64_t b = zyl::EncodeValidUTF16AsUTF8Plain(units.data(), count, plain.data());
    REQUIRE(a == b);
    if (a >= 0) CHECK(std::equal(fast.begin(), fast.begin() + a, plain.begin()));
  }
}

TEST_CASE("Results built from UTF-16 and UTF-32 are what the host's converter makes, on every host") {
  std::mt19937 rng(3);
  const uint32_t picks[] = {0x0, 0x41, 0x80, 0x7FF, 0x800, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xFEFF, 0xFFFE,
                            0xFFFF, 0x10000, 0x10FFFF, 0x110000, 0xFFFFFFFF};
  std::vector<std::vector<uint32_t>> texts;
  for (int round = 0; round < 400; ++round) {
    std::vector<uint32_t> text;
    for (int k = 1 + static_cast<int>(rng() % 30); k > 0; --k) {
      const uint32_t r = rng();
      text.push_back(r % 4 == 0 ? picks[r % std::size(picks)] : r % 4 == 1 ? 'a' + r % 26 : r % 0x11000);
    }
    texts.push_back(text);
  }
  texts.push_back(std::vector<uint32_t>(600, 0x20AC));  // past the local buffer
  texts.push_back({0xFEFF, 'a'});
  texts.push_back({'a', 0xFEFF});

  for (double version : {2011.0, 2012.5, 2013.0, 2024.0}) {
    CAPTURE(version);
    zyltest::PluginHost host(version);
    for (const std::vector<uint32_t>& text : texts) {
      // UTF-16: a surrogate value of the list stands as itself (a lone unit); the rest as pairs.
      std::vector<uint16_t> units(text.size() * 2 + 1);
      units.resize(static_cast<size_t>(zyl::UTF32ToUTF16(text.data(), static_cast<int64_t>(text.size()), units.data())));
      if (rng() % 3 == 0) units.insert(units.begin() + static_cast<long>(rng() % (units.size() + 1)), 0xDC00);
      const std::string bytes16 = Wide(units), bytes32 = Wide(text);
      for (const auto& [bytes, encoding] : {std::pair{bytes16, memhost::kUTF16}, std::pair{bytes32, memhost::kUTF32}}) {
        memhost::String built(zyl::REALBuildUnicodeString(bytes.data(), static_cast<int64_t>(bytes.size()), encoding));
        memhost::StringValue expected{bytes, memhost::kUTF16};
        if (encoding == memhost::kUTF32 && version < 2013.0) {
          std::vector<uint16_t> converted(text.size() * 2 + 1);
          converted.resize(static_cast<size_t>(zyl::UTF32ToUTF16(text.data(), static_cast<int64_t>(text.size()), converted.data())));
          expected.bytes = Wide(converted);
        }
        if (version >= 2012.0) {
          const uint32_t from = encoding == memhost::kUTF32 && version >= 2013.0 ? memhost::kUTF32 : memhost::kUTF16;
          const auto converted = memhost::ConvertBytes(expected.bytes, from, memhost::kUTF8);
          expected = converted ? memhost::StringValue{*converted, memhost::kUTF8} : memhost::StringValue{};
        }
        if (expected.bytes.empty()) expected = {};  // nothing to build: nil, never an empty string
        CHECK(memhost::Value(built.get()) == expected);
      }
    }
  }
}

TEST_CASE("WidenBytes widens every length") {
  std::string in;
  for (int b = 0; b < 300; ++b) in += static_cast<char>(b * 7);
  for (size_t n = 0; n < in.size(); n += 1 + n / 8) {
    std::vector<uint16_t> units(n + 1, 0xAAAA);
    std::vector<uint32_t> points(n + 1, 0xAAAA);
    zyl::WidenBytes(U8(in), static_cast<int64_t>(n), units.data());
    zyl::WidenBytes(U8(in), static_cast<int64_t>(n), points.data());
    for (size_t i = 0; i < n; ++i) {
      CHECK(units[i] == static_cast<uint8_t>(in[i]));
      CHECK(points[i] == static_cast<uint8_t>(in[i]));
    }
    CHECK(units[n] == 0xAAAA);
    CHECK(points[n] == 0xAAAA);
  }
}
