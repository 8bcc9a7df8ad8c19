// Host strings: conversions, storage, string-data records, reference counts, Len and compare.
#include <doctest/doctest.h>

#include <optional>
#include <string>
#include <vector>

#include "memhost.h"
#include "memhost_test_support.h"

using namespace std::string_literals;
using namespace memhost_test;

namespace {

struct ConversionCase {
  const char* why;
  std::string bytes;
  uint32_t from;
  uint32_t to;
  std::optional<std::string> expected;  // nullopt: the conversion must fail
};

const std::vector<ConversionCase> kConversions = {
    {"UTF-8 to Latin-1", "\xC3\xA9"s, memhost::kUTF8, memhost::kISOLatin1, "\xE9"s},
    {"euro sign has no Latin-1 byte", "\xE2\x82\xAC"s, memhost::kUTF8, memhost::kISOLatin1, std::nullopt},
    {"euro sign in Windows-1252", "\xE2\x82\xAC"s, memhost::kUTF8, memhost::kWindowsLatin1, "\x80"s},
    {"0x81 is undefined in Windows-1252", "\x81"s, memhost::kWindowsLatin1, memhost::kUTF8, std::nullopt},
    {"truncated UTF-8 sequence", "a\xC3"s, memhost::kUTF8, memhost::kUTF16, std::nullopt},
    {"overlong UTF-8", "\xC0\xAF"s, memhost::kUTF8, memhost::kUTF32, std::nullopt},
    {"UTF-8 encoded surrogate", "\xED\xA0\x80"s, memhost::kUTF8, memhost::kUTF16, std::nullopt},
    {"beyond U+10FFFF", "\xF4\x90\x80\x80"s, memhost::kUTF8, memhost::kUTF16, std::nullopt},
    {"same encoding keeps invalid bytes", "\xFF\xC3"s, memhost::kUTF8, memhost::kUTF8, "\xFF\xC3"s},
    {"to no encoding keeps the bytes", "\xFF\xC3"s, memhost::kUTF8, memhost::kNoEncoding, "\xFF\xC3"s},
    {"from no encoding reads ISO 8859-1", "A\xE9"s, memhost::kNoEncoding, memhost::kUTF8, "A\xC3\xA9"s},
    {"ASCII is 7-bit (source)", "\x80"s, memhost::kASCII, memhost::kUTF8, std::nullopt},
    {"ASCII is 7-bit (target)", "\xC3\xA9"s, memhost::kUTF8, memhost::kASCII, std::nullopt},
    {"UTF-16 host order is little-endian, no BOM", "A\xF0\x9F\x98\x80"s, memhost::kUTF8, memhost::kUTF16,
     "A\0\x3D\xD8\x00\xDE"s},
    {"UTF-16BE", "A\xF0\x9F\x98\x80"s, memhost::kUTF8, memhost::kUTF16BE, "\0A\xD8\x3D\xDE\x00"s},
    {"UTF-16LE", "A"s, memhost::kUTF8, memhost::kUTF16LE, "A\0"s},
    {"UTF-32 host order is little-endian", "\xF0\x9F\x98\x80"s, memhost::kUTF8, memhost::kUTF32, "\x00\xF6\x01\x00"s},
    {"UTF-32BE", "\xF0\x9F\x98\x80"s, memhost::kUTF8, memhost::kUTF32BE, "\x00\x01\xF6\x00"s},
    {"UTF-32LE to UTF-16BE", "\x00\xF6\x01\x00"s, memhost::kUTF32LE, memhost::kUTF16BE, "\xD8\x3D\xDE\x00"s},
    {"lone high surrogate in UTF-16LE", "\x3D\xD8"s, memhost::kUTF16LE, memhost::kUTF8, std::nullopt},
    {"lone low surrogate in UTF-16BE", "\xDE\x00"s, memhost::kUTF16BE, memhost::kUTF8, std::nullopt},
    {"odd byte count in UTF-16", "A\0B"s, memhost::kUTF16, memhost::kUTF8, std::nullopt},
    {"UTF-32 above U+10FFFF", "\x00\x00\x11\x00"s, memhost::kUTF32LE, memhost::kUTF8, std::nullopt},
    {"UTF-16 BOM is an ordinary character", "\xFF\xFE" "A\0"s, memhost::kUTF16, memhost::kUTF8, "\xEF\xBB\xBF" "A"s},
    {"Mac Roman", "\x8E"s, memhost::kMacRoman, memhost::kUTF8, "\xC3\xA9"s},
    {"CP437", "\x82"s, 1024, memhost::kUTF8, "\xC3\xA9"s},
    {"CP866", "\x80"s, 1051, memhost::kUTF8, "\xD0\x90"s},
    {"CP1251", "\xC0"s, 1282, memhost::kUTF8, "\xD0\x90"s},
    {"CP932, multi-byte", "\x82\xA0"s, 1056, memhost::kUTF8, "\xE3\x81\x82"s},
    {"CP932, truncated double byte", "\x82"s, 1056, memhost::kUTF8, std::nullopt},
    {"Mac Japanese as Shift_JIS", "\xE3\x81\x82"s, memhost::kUTF8, 1, "\x82\xA0"s},
    {"Mac Cyrillic", "\x80"s, 7, memhost::kUTF8, "\xD0\x90"s},
    {"Mac Central European", "\x81"s, 29, memhost::kUTF8, "\xC4\x80"s},
    {"CP1255 keeps its last character (flushed)", "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D"s, memhost::kUTF8, 1285,
     "\xF9\xEC\xE5\xED"s},
    {"CP1255 decoding flushes the held-back last character", "\xF9\xEC\xE5\xED"s, 1285, memhost::kUTF8,
     "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D"s},
    {"Mac Greek is not available", "A"s, 6, memhost::kUTF8, std::nullopt},
    {"Mac Turkish is not available", "A"s, memhost::kUTF8, 35, std::nullopt},
    {"unknown encoding numbers do not convert", "A"s, 0x12345, memhost::kUTF8, std::nullopt},
};

}  // namespace

TEST_CASE("REALConvertString converts strictly between the host's encodings") {
  memhost::Session session;
  auto convert = Entry<ConvertStringFn>("REALConvertString");
  for (const ConversionCase& c : kConversions) {
    CAPTURE(c.why);
    memhost::String source(c.bytes, c.from);
    memhost::String result(convert(source.get(), c.to));
    if (c.expected) {
      REQUIRE(result.get() != nullptr);
      CHECK(result.bytes() == *c.expected);
      CHECK(result.encoding() == c.to);
    } else {
      CHECK(result.get() == nullptr);
    }
  }
  CHECK(convert(nullptr, memhost::kUTF8) == nullptr);
  CHECK(memhost::LiveStrings() == 0);
  CHECK(memhost::Problems().empty());
}

TEST_CASE("single-byte code pages: every byte that decodes encodes back to itself") {
  memhost::Session session;
  const uint32_t pages[] = {memhost::kMacRoman, memhost::kWindowsLatin1, 1024, 1040, 1042, 1045, 1047, 1048, 1049,
                            1050, 1051, 1053, 1281, 1282, 1283, 1284, 1286, 1287, 7, 29};
  for (uint32_t page : pages) {
    CAPTURE(page);
    int decoded = 0;
    for (int b = 0; b < 256; ++b) {
      const std::string byte(1, static_cast<char>(b));
      const std::optional<std::string> utf8 = memhost::ConvertBytes(byte, page, memhost::kUTF8);
      if (!utf8) continue;
      ++decoded;
      CHECK(memhost::ConvertBytes(*utf8, memhost::kUTF8, page) == byte);
      CHECK(memhost::CharacterCount(byte, page) == 1);
    }
    CHECK(decoded > 128);
  }
}

TEST_CASE("string storage: short strings inline 42 bytes after the handle, long ones elsewhere") {
  memhost::Session session;
  auto cstring = Entry<const char* (*)(REALstringStruct*)>("StringGetCString");
  auto build = Entry<BuildStringFn>("REALBuildString");
  struct Case {
    const char* why;
    std::size_t length;
    memhost::Storage storage;
    bool inlined;
  };
  const Case cases[] = {
      {"empty", 0, memhost::Storage::Auto, true},
      {"short", 10, memhost::Storage::Auto, true},
      {"just below the threshold", memhost::kInlineLimit - 1, memhost::Storage::Auto, true},
      {"at the threshold", memhost::kInlineLimit, memhost::Storage::Auto, false},
      {"short, asked external", 3, memhost::Storage::External, false},
      {"long, asked inline", 1000, memhost::Storage::Inline, true},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    const std::string bytes(c.length, 'q');
    memhost::String s(bytes, memhost::kUTF8, c.storage);
    const char* data = cstring(s.get());
    REQUIRE(data != nullptr);
    CHECK(std::string(data, c.length) == bytes);
    CHECK(data[c.length] == '\0');
    CHECK((data == reinterpret_cast<const char*>(s.get()) + 42) == c.inlined);
    CHECK(memhost::IsInline(s.get()) == c.inlined);
  }
  memhost::String built(build("abc", 3));
  CHECK(cstring(built.get()) == reinterpret_cast<const char*>(built.get()) + 42);
  CHECK(built.encoding() == memhost::kNoEncoding);
  CHECK(cstring(nullptr) == nullptr);
}

TEST_CASE("string-data records: layout, trailing zeros, disposal errors") {
  memhost::Session session;
  auto get = Entry<GetStringDataFn>("PluginGetStringData");
  auto dispose = Entry<DisposeStringDataFn>("PluginDisposeStringData");
  memhost::String s("a\xC3\xA9"s, memhost::kUTF8);

  SUBCASE("filled record") {
    StringDataBytes record;
    REQUIRE(get(s.get(), memhost::kUTF16, record.bytes) == 1);
    CHECK(std::string(record.Data(), record.Length()) == "a\0\xE9\0"s);
    CHECK(record.Encoding() == memhost::kUTF16);
    CHECK(std::memcmp(record.Data() + record.Length(), "\0\0\0\0", 4) == 0);
    CHECK(memhost::OpenStringData() == 1);
    dispose(record.bytes);
    CHECK(memhost::OpenStringData() == 0);
    CHECK(memhost::Problems().empty());
  }
  SUBCASE("failures fill nothing") {
    StringDataBytes record;
    CHECK(get(nullptr, memhost::kUTF8, record.bytes) == 0);
    CHECK(get(s.get(), memhost::kASCII, record.bytes) == 0);
    CHECK(memhost::OpenStringData() == 0);
    CHECK(memhost::Problems().empty());
  }
  SUBCASE("disposed twice, a copy disposed, never filled: reported") {
    StringDataBytes record;
    REQUIRE(get(s.get(), memhost::kUTF8, record.bytes) == 1);
    StringDataBytes copy = record;
    dispose(record.bytes);
    dispose(record.bytes);
    dispose(copy.bytes);
    StringDataBytes empty;
    dispose(empty.bytes);
    CHECK(memhost::Problems().size() == 3);
    CHECK(memhost::OpenStringData() == 0);
  }
}

TEST_CASE("reference counts and double releases") {
  memhost::Session session;
  auto build = Entry<BuildStringWithEncodingFn>("REALBuildStringWithEncoding");
  auto lock = Entry<StringFn>("REALLockString");
  auto unlock = Entry<StringFn>("REALUnlockString");
  auto encodingOf = Entry<uint32_t (*)(REALstringStruct*)>("REALGetStringEncoding");

  REALstringStruct* s = build("x", 1, memhost::kUTF8);
  CHECK(memhost::RefCount(s) == 1);
  lock(s);
  CHECK(memhost::RefCount(s) == 2);
  unlock(s);
  unlock(s);
  CHECK(memhost::RefCount(s) == 0);
  CHECK(memhost::LiveStrings() == 0);
  CHECK(memhost::Problems().empty());

  unlock(s);  // an already released string
  CHECK(encodingOf(s) == memhost::kNoEncoding);
  int local = 0;
  unlock(reinterpret_cast<REALstringStruct*>(&local));  // never a host string
  const std::vector<std::string> problems = memhost::Problems();
  REQUIRE(problems.size() == 3);
  CHECK(problems[0].find("already released") != std::string::npos);
  CHECK(problems[1].find("released") != std::string::npos);
  CHECK(problems[2].find("unknown") != std::string::npos);
  lock(nullptr);
  unlock(nullptr);
  CHECK(memhost::Problems().size() == 3);

  // The last 4,096 released strings stay known, so a late use of one is still reported; older
  // ones are freed as more are released, and nothing of that is a problem.
  for (int k = 0; k < 4095; ++k) unlock(build("y", 1, memhost::kUTF8));
  CHECK(encodingOf(s) == memhost::kNoEncoding);
  REQUIRE(memhost::Problems().size() == 4);
  CHECK(memhost::Problems()[3].find("released") != std::string::npos);
  for (int k = 0; k < 5000; ++k) unlock(build("z", 1, memhost::kUTF8));
  CHECK(memhost::Problems().size() == 4);
  CHECK(memhost::LiveStrings() == 0);
}

TEST_CASE("Len and LenB found as global methods") {
  memhost::Session session;
  auto load = Entry<void* (*)(const char*, const char*)>("REALLoadGlobalMethod");
  using LengthFn = int64_t (*)(REALstringStruct*);
  auto lenB = memhost::detail::AsFunction<LengthFn>(load(nullptr, "LenB( s as string ) as integer"));
  auto len = memhost::detail::AsFunction<LengthFn>(load(nullptr, "Len(s as string) as integer"));
  REQUIRE(static_cast<bool>(lenB));
  REQUIRE(static_cast<bool>(len));
  CHECK(load(nullptr, "LenB(s as string) as integer") == nullptr);

  struct Case {
    std::string bytes;
    uint32_t encoding;
    int64_t bytesCount;
    int64_t characters;
  };
  const Case cases[] = {
      {"\xC3\xA9"s, memhost::kUTF8, 2, 1},
      {"\xC3\xA9"s, memhost::kNoEncoding, 2, 2},
      {"\xE9"s, memhost::kISOLatin1, 1, 1},
      {"\x3D\xD8\x00\xDE"s, memhost::kUTF16, 4, 1},
      {"\x00\x01\xF6\x00"s, memhost::kUTF32BE, 4, 1},
      {"\x82\xA0" "a"s, 1056, 3, 2},
      {"\xFF" "a"s, memhost::kUTF8, 2, 2},  // an invalid byte is one character
  };
  for (const Case& c : cases) {
    memhost::String s(c.bytes, c.encoding);
    CHECK(lenB(s.get()) == c.bytesCount);
    CHECK(len(s.get()) == c.characters);
  }
  CHECK(len(nullptr) == 0);
  memhost::HideMethod("Len(s as string) as integer");
  CHECK(load(nullptr, "Len(s as string) as integer") == nullptr);
}

TEST_CASE("RuntimeStringCompare folds ASCII letters only and compares code points") {
  memhost::Session session;
  auto compare = Entry<int64_t (*)(REALstringStruct*, REALstringStruct*)>("RuntimeStringCompare");
  struct Case {
    const char* why;
    memhost::StringValue a;
    memhost::StringValue b;
    int sign;
  };
  const std::vector<Case> cases = {
      {"ASCII case folded", {"Hello", memhost::kUTF8}, {"hELLO", memhost::kASCII}, 0},
      {"same text, different encodings", {"\xC3\xA9"s, memhost::kUTF8}, {"\xE9"s, memhost::kISOLatin1}, 0},
      {"non-ASCII not folded", {"\xC3\x89"s, memhost::kUTF8}, {"\xC3\xA9"s, memhost::kUTF8}, -1},
      {"prefix is smaller", {"ab", memhost::kUTF8}, {"ABC", memhost::kUTF8}, -1},
      {"code points, not UTF-16 units", {"\xEF\xBF\xBD"s, memhost::kUTF8}, {"\xF0\x9F\x98\x80"s, memhost::kUTF8}, -1},
  };
  auto sign = [](int64_t v) { return v < 0 ? -1 : v > 0 ? 1 : 0; };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    memhost::String a(c.a.bytes, c.a.encoding);
    memhost::String b(c.b.bytes, c.b.encoding);
    CHECK(sign(compare(a.get(), b.get())) == c.sign);
    CHECK(sign(compare(b.get(), a.get())) == -c.sign);
  }
  memhost::String empty("", memhost::kUTF8);
  CHECK(compare(nullptr, empty.get()) == 0);
  CHECK(compare(nullptr, nullptr) == 0);
}

TEST_CASE("re-tagging keeps the bytes") {
  memhost::Session session;
  auto setEncoding = Entry<void (*)(REALstringStruct*, uint32_t)>("REALSetStringEncoding");
  memhost::String s("\xC3\xA9"s, memhost::kNoEncoding);
  setEncoding(s.get(), memhost::kUTF8);
  CHECK(s.encoding() == memhost::kUTF8);
  CHECK(s.bytes() == "\xC3\xA9"s);
  CHECK(s.utf8() == "\xC3\xA9"s);
  memhost::String invalid("\xFF"s, memhost::kUTF8);
  CHECK_THROWS_AS(invalid.utf8(), std::runtime_error);
}
