// Quoted-printable and the mail subject as the host calls them: listed cases, line limits,
// malformed escapes of each kind, round trips and a differential run against references written
// byte by byte from the algorithm.
#include <doctest/doctest.h>

#include <cstdio>

#include "codecs/byte_codecs_test_support.h"
#include "support/plugin_host.h"

using memhost::String;
using namespace bytecodecs;

namespace {

std::optional<std::string> Encode(const std::string& bytes, int64_t lineLen = 72) {
  return CallBytes(kToQP, bytes, lineLen);
}
std::optional<std::string> Decode(const std::string& bytes) { return CallBytes(kFromQP, bytes); }

// The encoder one byte at a time, without look-up tables or runs.
std::string ReferenceEncode(const std::string& in, int64_t limit) {
  std::string out;
  int64_t lineLength = 0;
  int pending = -1;
  bool hardBreak = false;
  const auto check = [&](int n) {
    if (lineLength + n >= limit - 1) {
      out += "=\r\n";
      lineLength = n;
    } else {
      lineLength += n;
    }
  };
  const auto literal = [&](int c) {
    check(1);
    out += static_cast<char>(c);
  };
  const auto escaped = [&](int c) {
    check(3);
    char text[4];
    snprintf(text, sizeof text, "=%02X", c);
    out += text;
  };
  for (size_t i = 0; i < in.size(); ++i) {
    const auto c = static_cast<uint8_t>(in[i]);
    if (c == ' ' || c == '\t') {
      if (pending >= 0) literal(pending);
      pending = c;
    } else if (c == '\r' || c == '\n') {
      hardBreak = true;
      if (i + 1 < in.size() && in[i + 1] == (c == '\r' ? '\n' : '\r')) ++i;
      if (pending >= 0) escaped(pending);
      pending = -1;
      out += "\r\n";
      lineLength = 0;
    } else {
      if (pending >= 0) literal(pending);
      pending = -1;
      if (c >= 33 && c <= 126 && c != '=') {
        literal(c);
      } else {
        escaped(c);
      }
    }
  }
  if (pending >= 0) literal(pending);
  if (hardBreak && lineLength > 0) out += "=\r\n";
  return out;
}

int Nybble(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// The decoder one byte at a time.
std::string ReferenceDecode(const std::string& in) {
  std::string out;
  size_t i = 0;
  const auto next = [&]() -> int { return i < in.size() ? static_cast<uint8_t>(in[i++]) : -1; };
  const auto lineEnd = [&](int c) {
    if (c != '\r' && c != '\n') return false;
    if (i < in.size() && in[i] == (c == '\r' ? '\n' : '\r')) ++i;
    return true;
  };
  for (int c; (c = next()) != -1;) {
    if (lineEnd(c)) {
      out += '\n';
    } else if (c != '=') {
      out += static_cast<char>(c);
    } else {
      int d = next();
      while (d == ' ' || d == '\t') d = next();
      if (lineEnd(d)) continue;
      const int high = Nybble(d), low = Nybble(next());
      if (high >= 0 && low >= 0) out += static_cast<char>(high * 16 + low);
      if (high < 0 && low >= 0 && low != 15) out += static_cast<char>(0xF0 + low);
    }
  }
  return out;
}

// Every line break (CR LF, LF CR, CR, LF) as one LF.
std::string NormaliseLineBreaks(const std::string& in) {
  std::string out;
  for (size_t i = 0; i < in.size(); ++i) {
    if (in[i] != '\r' && in[i] != '\n') {
      out += in[i];
      continue;
    }
    out += '\n';
    if (i + 1 < in.size() && in[i + 1] == (in[i] == '\r' ? '\n' : '\r')) ++i;
  }
  return out;
}

}  // namespace

TEST_CASE("quoted-printable encoding: listed cases") {
  zyltest::PluginHost host;
  struct Case {
    std::string why, in;
    int64_t lineLen;
    std::optional<std::string> out;
  } cases[] = {
      {"white space before a break is escaped; the last line gets a soft break",
       "x \r\ny", 72, "x=20\r\ny=\r\n"},
      {"trailing white space at the end stays literal", "abc ", 72, "abc "},
      {"input ending in CR ends cleanly", "a\r", 72, "a\r\n"},
      {"input ending in LF", "a\n", 72, "a\r\n"},
      {"CR CR is two breaks, LF CR one", "\r\r\n\r", 72, "\r\n\r\n\r\n"},
      {"a space then a tab before a break", "a \t\nb", 72, "a =09\r\nb=\r\n"},
      {"zero byte, DEL and controls", std::string("\0\x7F\x1B", 3), 72, "=00=7F=1B"},
      {"empty", "", 72, std::nullopt},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(Encode(c.in, c.lineLen) == c.out);
  }
  CHECK(memhost::Call<REALstringStruct*>(kToQP, kNilString, int64_t{72}) == nullptr);
  String text("a=b", memhost::kUTF8);
  CHECK(Take(memhost::Call<REALstringStruct*>(kToQP, text.get(), int64_t{72}))->encoding == memhost::kASCII);
}

TEST_CASE("quoted-printable encoding: line limits") {
  zyltest::PluginHost host;
  const std::string hundred(100, 'a');
  const std::string soft70 = std::string(70, 'a') + "=\r\n" + std::string(30, 'a');
  // A limit of 1 or less means 72; one above 2^31 - 1 counts as 2^31 - 1 (no break at all), not
  // as its low 32 bits.
  for (int64_t lineLen : {int64_t{72}, int64_t{1}, int64_t{0}, int64_t{-5}, INT64_MIN}) {
    CAPTURE(lineLen);
    CHECK(Encode(hundred, lineLen) == soft70);
  }
  const std::string long_text(100000, 'b');
  for (int64_t lineLen : {int64_t{0x7FFFFFFF}, int64_t{0x80000000}, (int64_t{1} << 32) + 10, INT64_MAX}) {
    CAPTURE(lineLen);
    CHECK(Encode(long_text, lineLen) == long_text);
  }
  CHECK(Encode("ab", 2) == "=\r\na=\r\nb");  // every character opens a new line
  CHECK(Encode("a===", 6) == "a=3D=\r\n=3D=\r\n=3D");  // escapes are never split
}

TEST_CASE("quoted-printable decoding: listed cases and malformed escapes of each kind") {
  zyltest::PluginHost host;
  struct Case {
    std::string why, in;
    std::optional<std::string> out;
  } cases[] = {
      {"escape and soft break", "a=3Db=\r\nc", "a=bc"},
      {"hard breaks become LF", "a\r\nb\rc\nd\n\re", "a\nb\nc\nd\ne"},
      {"CR CR is two breaks", "a\r\rb", "a\n\nb"},
      {"lower-case digits", "=3d=c3=A9", "=\xC3\xA9"},
      {"soft break after spaces and tabs", "a= \t \r\nb", "ab"},
      {"soft break with LF alone, LF CR, CR alone", "a=\nb=\n\rc=\rd", "abcd"},
      {"soft break takes one CR of two", "a=\r\rb", "a\nb"},
      {"= at the end writes nothing", "ab=", "ab"},
      {"= and spaces at the end write nothing", "ab=  ", "ab"},
      {"one digit at the end writes nothing", "ab=4", "ab"},
      {"invalid high digit: 0xF0 + low", "=G1", "\xF1"},
      {"invalid high digit after a skipped space", "= x9", "\xF9"},
      {"zero byte as high digit", std::string("=\0A", 3), "\xFA"},
      {"invalid high digit with low F writes nothing", "a=GFb", "ab"},
      {"invalid low digit writes nothing", "a=4Gb", "ab"},
      {"two invalid digits write nothing", "a=GGb", "ab"},
      {"the invalid low digit is still consumed", "=4\r\nb", "\nb"},
      {"zero bytes survive", std::string("a\0b=00", 6), std::string("a\0b\0", 4)},
      {"only a soft break", "=\r\n", std::nullopt},
      {"empty", "", std::nullopt},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(Decode(c.in) == c.out);
  }
  CHECK(memhost::Call<REALstringStruct*>(kFromQP, kNilString) == nullptr);
  String text("=C3=A9", memhost::kUTF8);
  CHECK(Take(memhost::Call<REALstringStruct*>(kFromQP, text.get()))->encoding == memhost::kASCII);
}

TEST_CASE("quoted-printable: round trips and the byte-by-byte references") {
  zyltest::PluginHost host;
  const std::string all = AllBytes();
  CHECK(Decode(Encode(all).value()) == NormaliseLineBreaks(all));
  std::mt19937 rng(20240612);
  for (int round = 0; round < 1500; ++round) {
    const std::string in = round % 2 == 0 ? RandomBytes(rng, 300) : RandomBytes(rng, 300, "a =\t\r\n");
    const int64_t limit = round % 3 == 0 ? 72 : static_cast<int64_t>(round % 3 == 1 ? rng() % 20 : 20 + rng() % 80);
    CAPTURE(in);
    CAPTURE(limit);
    const std::string encoded = Encode(in, limit).value_or("");
    CHECK(encoded == ReferenceEncode(in, limit > 1 ? limit : 72));
    CHECK(Decode(encoded).value_or("") == NormaliseLineBreaks(in));
    // Prose: long printable stretches, spaces before line ends, a byte to escape now and then.
    std::string prose(rng() % 400, ' ');
    for (char& c : prose) {
      const uint32_t r = rng() % 64;
      c = r < 40 ? static_cast<char>('a' + r % 26) : r < 52 ? ' ' : "\r\n\t=\xE9.~!\"#$@"[r - 52];
    }
    const int64_t proseLimit = round % 2 == 0 ? 76 : static_cast<int64_t>(rng() % 40);
    CAPTURE(prose);
    CAPTURE(proseLimit);
    CHECK(Encode(prose, proseLimit).value_or("") == ReferenceEncode(prose, proseLimit > 1 ? proseLimit : 72));
    const std::string noisy = RandomBytes(rng, 300, "=\r\n \t0aF9gG");
    CAPTURE(noisy);
    CHECK(Decode(noisy).value_or("") == ReferenceDecode(noisy));
  }
}

TEST_CASE("quoted-printable encoding of long lines: spaces, line breaks and escapes at every place near 2 KiB") {
  // A line of several KiB is encoded a stretch at a time and laid out in lines afterwards: a
  // space or tab before a line break, an escape or a line break must come out the same wherever
  // it falls against the stretches, the 16-byte blocks and the lines.
  zyltest::PluginHost host;
  std::mt19937 rng(20261124);
  // Prose with an escape now and then (sparse blocks) and binary data without line breaks
  // (dense blocks).
  std::string base(6000, 'a'), dense(6000, 'a');
  for (char& c : base) c = rng() % 24 == 0 ? '\xE9' : static_cast<char>('a' + rng() % 26);
  for (char& c : dense) {
    do c = static_cast<char>(rng()); while (c == '\r' || c == '\n');
  }
  const char* const inserts[] = {" \r\n", "\t\n", "\xC3\xA9", "=", " ", "  \r", "\xFF\xFE\x01"};
  for (const size_t at : {size_t{2030}, size_t{2040}, size_t{2045}, size_t{2046}, size_t{2047}, size_t{2048},
                          size_t{2049}, size_t{2063}, size_t{4094}, size_t{4095}, size_t{4096}}) {
    for (const char* insert : inserts) {
      for (const std::string* text : {&base, &dense}) {
        std::string in = text->substr(0, at) + insert + text->substr(at);
        for (const int64_t limit : {int64_t{3}, int64_t{5}, int64_t{6}, int64_t{72}, int64_t{76}, int64_t{1000},
                                    int64_t{0x7FFFFFFF}}) {
          CAPTURE(at);
          CAPTURE(insert);
          CAPTURE(limit);
          CHECK(Encode(in, limit).value_or("") == ReferenceEncode(in, limit));
        }
      }
    }
  }
  // Ends with a space, a tab or an escape exactly at a stretch's end.
  for (const char* tail : {" ", "\t", "=", "\xE9", " \t"}) {
    const std::string in = base.substr(0, 2048 - std::string(tail).size()) + tail;
    CHECK(Encode(in, 76).value_or("") == ReferenceEncode(in, 76));
  }
}

TEST_CASE("quoted-printable decoding: every place of a stop in short text, in the 64-byte blocks and at the end") {
  zyltest::PluginHost host;
  // Plain stretches long enough for whole blocks, with each kind of stop at each offset: escapes
  // good and bad, soft breaks, line ends alone and in pairs, white space after "=", cut-off ends.
  const std::string stops[] = {"=C3", "=e9=A9", "=\r\n", "\r\n", "\n\r", "\r\r\n", "\n", "=  \t=41",
                               "= \r\n", "=\r", "=G1", "=4", "=", "\r", "=C3=G1", "=G1=A9", "=C3=\r\n",
                               "=C3=4", "=C3=A9=B6"};
  for (size_t length : {15, 16, 17, 21, 64, 127, 128, 129, 131, 200, 262}) {
    for (size_t at = 0; at < length; ++at) {
      for (const std::string& stop : stops) {
        std::string text(length, 'x');
        text.replace(at, std::min(stop.size(), length - at), stop.substr(0, length - at));
        CAPTURE(text);
        CHECK(Decode(text).value_or("") == ReferenceDecode(text));
      }
    }
  }
  std::mt19937 rng(11);
  for (int round = 0; round < 300; ++round) {
    std::string text(130 + rng() % 400, 'a');
    const uint32_t density = 1 + rng() % 40;
    for (char& c : text) {
      if (rng() % density == 0) c = "===\r\n \t0aF9gG\xFF"[rng() % 14];
    }
    CAPTURE(text);
    CHECK(Decode(text).value_or("") == ReferenceDecode(text));
  }
}

TEST_CASE("mail subject: only control bytes trigger the encoded word") {
  zyltest::PluginHost host;
  // Nothing to encode: the argument itself comes back with one more reference.
  for (const auto& [bytes, encoding] : {std::pair<std::string, uint32_t>{"Gr\xC3\xBC\xC3\x9F" "e", memhost::kUTF8},
                                        {"Gr\xFC\xDF" "e", memhost::kISOLatin1},
                                        {std::string("a\0b", 3), memhost::kUTF8},
                                        {"a=b_c?", memhost::kASCII}}) {
    String subject(bytes, encoding);
    REALstringStruct* result = memhost::Call<REALstringStruct*>(kSubject, subject.get());
    CHECK(result == subject.get());
    CHECK(memhost::RefCount(subject.get()) == 2);
    memhost::Release(result);
  }
  CHECK(memhost::Call<REALstringStruct*>(kSubject, kNilString) == nullptr);

  struct Case {
    std::string why, in;
    uint32_t encoding;
    std::string out;
  } cases[] = {
      {"space, tab", "a b\t", memhost::kUTF8, "=?utf-8?Q?a_b\t?="},
      {"= _ ? and non-ASCII", "x=_?\x01\xC3\xA9", memhost::kUTF8, "=?utf-8?Q?x=3D=5F?\x01=C3=A9?="},
      {"read as UTF-8 first", "\xE9\n", memhost::kISOLatin1, "=?utf-8?Q?=C3=A9\n?="},
      {"zero bytes survive", std::string("\x1F\0z", 3), memhost::kUTF8, std::string("=?utf-8?Q?\x1F\0z?=", 15)},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String subject(c.in, c.encoding);
    const auto result = Take(memhost::Call<REALstringStruct*>(kSubject, subject.get()));
    CHECK(result == memhost::StringValue{c.out, memhost::kASCII});
  }
}
