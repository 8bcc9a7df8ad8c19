// "ConcatBinaryStringsZYL", "ReplaceNonPrintableCharactersZYL", "CreateStringZYL",
// "RandomBytesStringZYL" and "ClearStringContentZYL" as the host calls them.
#include <doctest/doctest.h>

#include <cstdlib>
#include <optional>
#include <random>
#include <vector>

#include "plugin/log.h"
#include "strings/build_test_support.h"
#include "support/plugin_host.h"
#include "text/text_test_support.h"

using memhost::String;
using namespace buildtest;
using texttest::AllBytes;

namespace {

constexpr int64_t kBeyondHostLength = int64_t{0x7FFFFFFF} + 1;

memhost::String Concat(const std::vector<REALstringStruct*>& s) {
  switch (s.size()) {
    case 2: return CallString(kConcat2, s[0], s[1]);
    case 3: return CallString(kConcat3, s[0], s[1], s[2]);
    case 4: return CallString(kConcat4, s[0], s[1], s[2], s[3]);
    case 5: return CallString(kConcat5, s[0], s[1], s[2], s[3], s[4]);
    default: return CallString(kConcat6, s[0], s[1], s[2], s[3], s[4], s[5]);
  }
}

}  // namespace

TEST_CASE("ConcatBinaryStringsZYL joins the bytes of every overload, nil as empty") {
  zyltest::PluginHost host;
  String ab("ab", memhost::kUTF8);
  String high(std::string("\xE9\x00\xFF", 3), memhost::kISOLatin1);  // a zero byte inside
  String wide(std::string("a\0b\0", 4), memhost::kUTF16);             // encodings are ignored: raw bytes
  String empty("", memhost::kUTF8);
  String all(AllBytes(), memhost::kNoEncoding, memhost::Storage::External);
  struct Case {
    std::string why;
    std::vector<REALstringStruct*> args;
    std::optional<std::string> bytes;  // nullopt: nil
  } cases[] = {
      {"two", {ab.get(), ab.get()}, "abab"},
      {"nil in the middle", {ab.get(), nullptr, high.get()}, std::string("ab\xE9\x00\xFF", 5)},
      {"UTF-16 bytes as they are", {wide.get(), ab.get(), empty.get(), ab.get()}, std::string("a\0b\0abab", 8)},
      {"five", {nullptr, ab.get(), nullptr, ab.get(), all.get()}, "abab" + AllBytes()},
      {"six", {ab.get(), ab.get(), ab.get(), ab.get(), ab.get(), high.get()}, std::string("ababababab\xE9\x00\xFF", 13)},
      {"all nil", {nullptr, nullptr}, std::nullopt},
      {"all empty", {empty.get(), empty.get(), nullptr, empty.get(), empty.get(), empty.get()}, std::nullopt},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    String r = Concat(c.args);
    CHECK(BytesOrNil(r) == c.bytes);
  }
  CHECK(Concat({high.get(), ab.get()}).encoding() == memhost::kNoEncoding);
  CHECK(Concat({ab.get(), ab.get()}).encoding() == memhost::kASCII);  // the builder tags pure ASCII
}

TEST_CASE("ReplaceNonPrintableCharactersZYL keeps 32-127 and replaces every other byte") {
  zyltest::PluginHost host;
  String tabAndE("\t\xC3\xA9", memhost::kUTF8);
  String r = CallString(kReplaceNonPrintable, tabAndE.get(), int64_t{46});
  CHECK(r.bytes() == "...");
  CHECK(r.encoding() == memhost::kASCII);

  // Every byte value at every position of a word, with a replacement given beyond 8 bits.
  std::mt19937 rng(5);
  for (size_t size : {size_t{1}, size_t{7}, size_t{8}, size_t{9}, size_t{256}, size_t{1000}}) {
    for (int64_t value : {int64_t{46}, int64_t{0x1FF}, int64_t{-2}}) {
      CAPTURE(size);
      CAPTURE(value);
      const std::string in = size == 256 ? AllBytes() : RandomBytes(rng, size);
      std::string expected = in;
      for (char& c : expected) {
        const auto b = static_cast<uint8_t>(c);
        if (b < 32 || b > 127) c = static_cast<char>(value & 0xFF);
      }
      String s(in, memhost::kISOLatin1, memhost::Storage::External);
      String out = CallString(kReplaceNonPrintable, s.get(), value);
      CHECK(out.bytes() == expected);
      CHECK(out.encoding() == memhost::kASCII);  // even with bytes above 127 in it
    }
  }
  String empty("", memhost::kUTF8);
  CHECK(CallString(kReplaceNonPrintable, empty.get(), int64_t{46}).get() == nullptr);
  CHECK(CallString(kReplaceNonPrintable, static_cast<REALstringStruct*>(nullptr), int64_t{46}).get() == nullptr);
}

TEST_CASE("CreateStringZYL repeats the content in its encoding") {
  zyltest::PluginHost host;
  String ab("ab", memhost::kUTF8);
  String latin("\xE9t\xE9", memhost::kISOLatin1);
  String zero(std::string(1, '\0'), memhost::kUTF8);
  String empty("", memhost::kUTF8);
  struct Case {
    std::string why;
    int64_t length;
    REALstringStruct* content;
    std::optional<std::string> bytes;
  } cases[] = {
      {"last copy cut", 5, ab.get(), "ababa"},
      {"content longer than Length", 1, ab.get(), "a"},
      {"bytes 128-255 kept", 7, latin.get(), "\xE9t\xE9\xE9t\xE9\xE9"},
      {"empty content: zero bytes", 3, empty.get(), std::string(3, '\0')},
      {"nil content: zero bytes", 2, nullptr, std::string(2, '\0')},
      {"a single zero byte", 4, zero.get(), std::string(4, '\0')},
      {"Length 0", 0, ab.get(), std::nullopt},
      {"negative Length", -3, ab.get(), std::nullopt},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(BytesOrNil(CallString(kCreateString, c.length, c.content)) == c.bytes);
  }
  CHECK(CallString(kCreateString, int64_t{4}, latin.get()).encoding() == memhost::kISOLatin1);
  CHECK(CallString(kCreateString, int64_t{4}, ab.get()).encoding() == memhost::kUTF8);

  String abc("abc", memhost::kASCII);
  std::string expected;
  while (expected.size() < 100001) expected += "abc";
  expected.resize(100001);
  CHECK(CallString(kCreateString, int64_t{100001}, abc.get()).bytes() == expected);
  CHECK_FALSE(memhost::TakeException().has_value());

  // Beyond what a host string holds: raised before anything is allocated.
  CHECK(CallString(kCreateString, kBeyondHostLength, ab.get()).get() == nullptr);
  const auto raised = memhost::TakeException();
  REQUIRE(raised.has_value());
  CHECK(raised->className == "OutOfMemoryException");
  CHECK(raised->message == "Failed to allocate memory.");
}

TEST_CASE("RandomBytesStringZYL draws from the C library's generator") {
  zyltest::PluginHost host;
  for (const bool ascii : {false, true}) {
    CAPTURE(ascii);
    srand(1234);
    String r = CallString(kRandomBytes, int64_t{300}, static_cast<int8_t>(ascii ? 1 : 0));
    srand(1234);
    std::string expected(300, '\0');
    for (char& c : expected) c = static_cast<char>(ascii ? rand() % 96 + 32 : rand() & 0xFF);
    CHECK(r.bytes() == expected);
    CHECK(r.encoding() == (ascii ? memhost::kASCII : memhost::kNoEncoding));
  }
  // Nothing drawn for a length that gives nil.
  for (const int64_t length : {int64_t{0}, int64_t{-1}, kBeyondHostLength}) {
    CAPTURE(length);
    srand(99);
    const int first = rand();
    srand(99);
    CHECK(CallString(kRandomBytes, length, int8_t{0}).get() == nullptr);
    CHECK(rand() == first);
  }
  CHECK_FALSE(memhost::TakeException().has_value());
}

TEST_CASE("ClearStringContentZYL wipes only bytes stored inside the string's record") {
  zyltest::PluginHost host;
  String inlined("secret\xE9", memhost::kISOLatin1, memhost::Storage::Inline);
  String elsewhere("secret", memhost::kUTF8, memhost::Storage::External);
  String emptyInline("", memhost::kUTF8, memhost::Storage::Inline);
  REQUIRE(memhost::IsInline(inlined.get()));
  REQUIRE_FALSE(memhost::IsInline(elsewhere.get()));

  CHECK(memhost::Call<int8_t>(kClearStringContent, inlined.get()) != 0);
  CHECK(inlined.bytes() == std::string(7, '\0'));
  CHECK(inlined.encoding() == memhost::kISOLatin1);

  CHECK(memhost::Call<int8_t>(kClearStringContent, elsewhere.get()) == 0);
  CHECK(elsewhere.bytes() == "secret");

  CHECK(memhost::Call<int8_t>(kClearStringContent, emptyInline.get()) != 0);
  CHECK(memhost::Call<int8_t>(kClearStringContent, static_cast<REALstringStruct*>(nullptr)) == 0);
}

TEST_CASE("ClearStringContentZYL logs where the bytes are when debugging") {
  zyltest::PluginHost host;
  String s("abc", memhost::kUTF8, memhost::Storage::Inline);
  zyltest::CapturedLog log(true);
  memhost::Call<int8_t>(kClearStringContent, s.get());
  const std::vector<std::string> lines = log.Lines();
  REQUIRE(lines.size() == 3);
  CHECK(lines[0] == "ZYL Debug: mPrivateStringDelta1 42");
  CHECK(lines[1] == "ZYL Debug: mySize 3");
  CHECK(lines[2].rfind("ZYL Debug: myData 0x", 0) == 0);
}
