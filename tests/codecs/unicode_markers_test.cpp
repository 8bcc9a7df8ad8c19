// Byte-order marks as the host calls them: detection in its deliberate order, and the marks of
// each kind as current and older hosts build them.
#include <doctest/doctest.h>

#include "codecs/byte_codecs_test_support.h"
#include "support/plugin_host.h"

using memhost::String;
using namespace bytecodecs;

TEST_CASE("DetectUnicodeMarkersZYL tests the first bytes in order") {
  zyltest::PluginHost host;
  struct Case {
    std::string why, bytes;
    int64_t kind;
  } cases[] = {
      {"UTF-8", "\xEF\xBB\xBF" "A", 1},
      {"UTF-8 alone", "\xEF\xBB\xBF", 1},
      {"two bytes EF BB are no UTF-8 mark", "\xEF\xBB", 0},
      {"EF then anything else", "\xEF\xBB\xBE" "A", 0},
      {"UTF-16 big-endian", "\xFE\xFF", 3},
      {"FE then anything else", "\xFE\xFE" "AB", 0},
      {"UTF-16 little-endian, 4 bytes", "\xFF\xFE" "A\0", 4},
      {"UTF-16 little-endian, 2 bytes", "\xFF\xFE", 4},
      {"UTF-16 little-endian, 3 bytes", std::string("\xFF\xFE\0", 3), 4},
      {"FF FE 00 00 is always UTF-32 little-endian", std::string("\xFF\xFE\0\0", 4), 7},
      {"FF then anything else", "\xFF\xFF\xFE", 0},
      {"UTF-32 big-endian", std::string("\0\0\xFE\xFF", 4), 6},
      {"00 then anything else", std::string("\0\0\xFF\xFE", 4), 0},
      {"00 with fewer than 4 bytes", std::string("\0\0\xFE", 3), 0},
      {"one byte", "\xFF", 0},
      {"plain text", "plain", 0},
      {"empty", "", 0},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String s(c.bytes, memhost::kNoEncoding);
    CHECK(memhost::Call<int64_t>(kDetectMarkers, s.get()) == c.kind);
  }
  CHECK(memhost::Call<int64_t>(kDetectMarkers, kNilString) == 0);
}

TEST_CASE("GetUnicodeMarkersZYL on a current host: wide marks arrive as UTF-8") {
  zyltest::PluginHost host;
  const std::string bom = "\xEF\xBB\xBF";
  const std::optional<std::string> kind6 = memhost::ConvertBytes(std::string("\0\0\xFE\xFF", 4), memhost::kUTF32,
                                                                 memhost::kUTF8);
  const std::optional<std::string> expected[] = {std::nullopt, bom, bom, "\xEF\xBF\xBE", bom, bom, kind6, bom};
  for (int64_t kind = 0; kind < 8; ++kind) {
    CAPTURE(kind);
    const auto result = Take(memhost::Call<REALstringStruct*>(kGetMarkers, kind));
    CHECK((result ? std::optional<std::string>(result->bytes) : std::nullopt) == expected[kind]);
    if (result) CHECK(result->encoding == memhost::kUTF8);
  }
  for (int64_t kind : {int64_t{8}, int64_t{-1}, INT64_MIN, INT64_MAX}) {
    CHECK(memhost::Call<REALstringStruct*>(kGetMarkers, kind) == nullptr);
  }
}

TEST_CASE("GetUnicodeMarkersZYL on an older host: the table's bytes, tagged") {
  zyltest::PluginHost host(2011.0);
  const memhost::StringValue expected[] = {
      {"", memhost::kNoEncoding},
      {"\xEF\xBB\xBF", memhost::kUTF8},
      {"\xFF\xFE", memhost::kUTF16},
      {"\xFE\xFF", memhost::kUTF16},
      {"\xFF\xFE", memhost::kUTF16},
  };
  for (int64_t kind = 1; kind <= 4; ++kind) {
    CAPTURE(kind);
    CHECK(Take(memhost::Call<REALstringStruct*>(kGetMarkers, kind)) == expected[kind]);
  }
  // Hosts before UTF-32 strings get the UTF-32 marks as UTF-16 text (U+FEFF as FF FE).
  CHECK(Take(memhost::Call<REALstringStruct*>(kGetMarkers, int64_t{7})) == expected[4]);
}
