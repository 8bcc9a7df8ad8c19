// Byte-level pieces: IsLegalUTF8, the valid-prefix scanner, IsSpaceOnly, rbData views and
// "IsASCIIStringZYL".
#include <doctest/doctest.h>

#include "plugin/builders.h"
#include "support/plugin_host.h"
#include "text/text.h"
#include "text/text_test_support.h"

using memhost::String;
using namespace texttest;

TEST_CASE("IsLegalUTF8 matches the definition for every lead byte at the length it announces") {
  const uint8_t fourths[] = {0x00, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xFF};
  int mismatches = 0;
  for (int lead = 0; lead < 256; ++lead) {
    const int n = lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : 5;
    std::string seq = {static_cast<char>(lead), '\x80', '\x80', '\x80', '\x80'};
    if (n == 5) CHECK_FALSE(zyl::IsLegalUTF8(U8(seq), 5));
    // Every second byte; every third (a fifth of them after four-byte leads); a sample of fourth.
    for (int b1 = 0; n < 5 && b1 < (n >= 2 ? 256 : 1); ++b1) {
      for (int b2 = 0; b2 < (n >= 3 ? 256 : 1); b2 += n == 4 ? 5 : 1) {
        for (int b3 = 0; b3 < (n == 4 ? 10 : 1); ++b3) {
          seq = {static_cast<char>(lead), static_cast<char>(b1), static_cast<char>(b2), static_cast<char>(fourths[b3])};
          const std::string sequence = seq.substr(0, static_cast<size_t>(n));
          mismatches += zyl::IsLegalUTF8(U8(sequence), static_cast<uint32_t>(n)) != (ReferenceSequence(sequence, 0) == n);
        }
      }
    }
  }
  CHECK(mismatches == 0);
  CHECK_FALSE(zyl::IsLegalUTF8(U8("A"), 0));
}

TEST_CASE("CheckUTF8 returns the valid prefix as the reference does; IsSpaceOnly") {
  CHECK(zyl::CheckUTF8("abcdefghijklmnop\x1B", 17) == 16);
  CHECK(zyl::CheckUTF8("abc\xE2\x82", 5) == 3);  // cut-off sequence rejected at its lead
  CHECK(zyl::CheckUTF8(nullptr, 5) == 0);
  CHECK(zyl::CheckUTF8("abc", -3) == 0);
  ForEachInput(3000, [](const std::string& in) {
    CAPTURE(in);
    CHECK(zyl::CheckUTF8(in.data(), static_cast<int64_t>(in.size())) == ReferencePrefix(in));
  });

  CHECK(zyl::IsSpaceOnly("", 0));
  CHECK(zyl::IsSpaceOnly(" \t\r\n\0 ", 6));
  CHECK_FALSE(zyl::IsSpaceOnly("   !", 4));
  CHECK_FALSE(zyl::IsSpaceOnly(" \xA0", 2));
}

TEST_CASE("IsASCII finds a high bit at every position of every length up to 200") {
  std::string bytes(200, 'a');
  int wrong = 0;
  for (int64_t n = 0; n <= 200; ++n) {
    wrong += !zyl::IsASCII(bytes.data(), n);
    for (int64_t at = 0; at < n; ++at) {
      bytes[static_cast<size_t>(at)] = static_cast<char>(at % 2 ? 0x80 : 0xFF);
      wrong += zyl::IsASCII(bytes.data(), n);
      bytes[static_cast<size_t>(at)] = 0x7F;
      wrong += !zyl::IsASCII(bytes.data(), n);
      bytes[static_cast<size_t>(at)] = 'a';
    }
    // A high bit just past the end is not the text's.
    if (n < 200) bytes[static_cast<size_t>(n)] = '\x80';
    wrong += !zyl::IsASCII(bytes.data(), n);
    if (n < 200) bytes[static_cast<size_t>(n)] = 'a';
  }
  CHECK(wrong == 0);
}

TEST_CASE("rbData views a string's own bytes and windows of a memory block") {
  zyltest::PluginHost host;
  String s(Wide(u"ab"), memhost::kUTF16, memhost::Storage::Inline);
  {
    zyl::rbData view(s.get());
    CHECK(view.Data() == reinterpret_cast<const uint8_t*>(s.get()) + memhost::kInlineOffset);
    CHECK(view.Size() == 4);
    CHECK(memhost::RefCount(s.get()) == 2);
    zyl::rbData nilString(static_cast<REALstringStruct*>(nullptr));
    zyl::rbData nilBlock(static_cast<REALmemoryBlockStruct*>(nullptr), 0, 0);
    CHECK((nilString.Empty() && nilBlock.Empty() && zyl::IsASCIIText(nilString)));
  }
  CHECK(memhost::RefCount(s.get()) == 1);

  memhost::Object block(memhost::AsObject(memhost::NewMemoryBlock("0123456789")));
  struct Case {
    int64_t offset, size;
    std::string bytes;
  } cases[] = {{0, 0, "0123456789"}, {2, 0, "23456789"}, {2, 3, "234"}, {8, 100, "89"},
               {10, 0, ""},          {11, 0, ""},        {-1, 3, ""},   {2, -1, ""}};
  for (const Case& c : cases) {
    CAPTURE(c.offset);
    CAPTURE(c.size);
    zyl::rbData view(memhost::AsMemoryBlock(block.get()), c.offset, c.size);
    CHECK(std::string(view.Size() ? view.Chars() : "", static_cast<size_t>(view.Size())) == c.bytes);
    CHECK(memhost::RefCount(block.get()) == 2);
  }
  CHECK(memhost::RefCount(block.get()) == 1);
}

TEST_CASE("IsASCIIStringZYL modes") {
  zyltest::PluginHost host;
  struct Case {
    std::string why, bytes;
    int64_t mode;
    bool expected;
  } cases[] = {
      {"plain", "Hello\t", 0, true},       {"high byte", "caf\xC3\xA9", 0, false},
      {"mode 1: tab", "a\tb", 1, false},   {"mode 1: DEL accepted", "a\x7F", 1, true},
      {"mode 1: high byte", "\xC3\xA9", 1, false},
      {"mode 2: high bytes pass", "caf\xC3\xA9", 2, true},
      {"mode 2: control byte", "a\nb", 2, false},
      {"unknown mode", "abc", 3, false},   {"negative mode", "abc", -1, false},
      {"empty string is not ASCII", "", 0, false},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String s(c.bytes, memhost::kUTF8);
    CHECK((memhost::Call<int8_t>(kIsASCII2, s.get(), c.mode) != 0) == c.expected);
    if (c.mode == 0) CHECK((memhost::Call<int8_t>(kIsASCII1, s.get()) != 0) == c.expected);
  }
  CHECK(memhost::Call<int8_t>(kIsASCII1, static_cast<REALstringStruct*>(nullptr)) != 0);
  CHECK(memhost::Call<int8_t>(kIsASCII2, static_cast<REALstringStruct*>(nullptr), int64_t{7}) != 0);
}
