// "GetStringsFromDataZYL" in its three forms: the readable runs of binary data.
#include <doctest/doctest.h>

#include <optional>
#include <random>
#include <vector>

#include "strings/build_test_support.h"
#include "support/plugin_host.h"
#include "text/text.h"

using memhost::String;
using namespace buildtest;

namespace {

// The elements of an array result (released here), nullopt for nil. Every element is UTF-8.
std::optional<std::vector<std::string>> Elements(_REALarrayString* array) {
  if (array == nullptr) return std::nullopt;
  std::vector<std::string> texts;
  for (const memhost::StringValue& v : memhost::ArrayElements(array)) {
    CHECK(v.encoding == memhost::kUTF8);
    texts.push_back(v.bytes);
  }
  memhost::Release(array);
  return texts;
}

// The three forms on the same bytes must agree; returns what they gave.
std::optional<std::vector<std::string>> AllForms(const std::string& data, int64_t minLength) {
  String s(data, memhost::kNoEncoding, memhost::Storage::External);
  memhost::Object block(memhost::AsObject(memhost::NewMemoryBlock(data)));
  std::vector<char> copy(data.begin(), data.end());  // the pointer form gets exactly the bytes, no terminator
  const auto fromPtr = Elements(memhost::Call<_REALarrayString*>(kGetStringsPtr, static_cast<void*>(copy.data()),
                                                                 static_cast<int64_t>(copy.size()), minLength));
  CHECK(Elements(memhost::Call<_REALarrayString*>(kGetStringsBlock, memhost::AsMemoryBlock(block.get()),
                                                  minLength)) == fromPtr);
  CHECK(Elements(memhost::Call<_REALarrayString*>(kGetStringsString, s.get(), minLength)) == fromPtr);
  return fromPtr;
}

// Literally: scan a run at every position not consumed by a kept run.
std::vector<std::string> Reference(const std::string& data, int64_t minLength) {
  std::vector<std::string> out;
  const int64_t size = static_cast<int64_t>(data.size());
  for (int64_t p = 0; p < size;) {
    const int64_t n = zyl::CheckUTF8(data.data() + p, size - p);
    if (n > 0 && !zyl::IsSpaceOnly(data.data() + p, n) && n > std::max<int64_t>(minLength, 0)) {
      out.push_back(data.substr(static_cast<size_t>(p), static_cast<size_t>(n)));
      p += n + 1;
    } else {
      p += 1;
    }
  }
  return out;
}

using Texts = std::vector<std::string>;

}  // namespace

TEST_CASE("GetStringsFromDataZYL keeps the non-blank readable runs longer than MinLength") {
  zyltest::PluginHost host;
  struct Case {
    std::string why;
    std::string data;
    int64_t minLength;
    Texts texts;
  } cases[] = {
      {"zero and control bytes split", std::string("hi\0\x01" "abc", 7), 2, {"abc"}},
      {"the default keeps every run", std::string("hi\0\x01" "abc", 7), 0, {"hi", "abc"}},
      {"negative MinLength counts as 0", std::string("hi\0\x01" "abc", 7), -4, {"hi", "abc"}},
      {"strictly longer than MinLength", "abc\x02" "abcd", 3, {"abcd"}},
      {"nothing long enough: an empty array", "abc", 3, {}},
      {"blank runs are dropped", " \t\r\n \x01word\x02 ", 0, {"word"}},
      {"tab, line feed, carriage return belong to a run", "a\tb\r\nc", 0, {"a\tb\r\nc"}},
      {"DEL ends a run", "ab\x7F" "cd", 0, {"ab", "cd"}},
      {"well-formed UTF-8 belongs to a run", "caf\xC3\xA9 \xF0\x9F\x98\x80!", 0, {"caf\xC3\xA9 \xF0\x9F\x98\x80!"}},
      {"a stray continuation byte ends a run", "ab\x80" "cd", 0, {"ab", "cd"}},
      {"a surrogate encoding ends a run", "ab\xED\xA0\x80" "cd", 0, {"ab", "cd"}},
      {"a sequence cut off by the end", "ab\xC3", 0, {"ab"}},
      {"Latin-1 bytes are not text", "\xE9t\xE9", 0, {"t"}},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(AllForms(c.data, c.minLength) == std::optional<Texts>(c.texts));
  }
}

TEST_CASE("GetStringsFromDataZYL gives nil for no data") {
  zyltest::PluginHost host;
  char bytes[] = "abc";
  CHECK(Elements(memhost::Call<_REALarrayString*>(kGetStringsPtr, static_cast<void*>(nullptr), int64_t{5},
                                                  int64_t{0})) == std::nullopt);
  CHECK(Elements(memhost::Call<_REALarrayString*>(kGetStringsPtr, static_cast<void*>(bytes), int64_t{-1},
                                                  int64_t{0})) == std::nullopt);
  CHECK(Elements(memhost::Call<_REALarrayString*>(kGetStringsPtr, static_cast<void*>(bytes), int64_t{0},
                                                  int64_t{0})) == std::nullopt);
  CHECK(AllForms("", 0) == std::nullopt);
  CHECK(Elements(memhost::Call<_REALarrayString*>(kGetStringsBlock, static_cast<REALmemoryBlockStruct*>(nullptr),
                                                  int64_t{0})) == std::nullopt);
  CHECK(Elements(memhost::Call<_REALarrayString*>(kGetStringsString, static_cast<REALstringStruct*>(nullptr),
                                                  int64_t{0})) == std::nullopt);
}

TEST_CASE("GetStringsFromDataZYL skipping whole rejected runs matches the literal rescan") {
  zyltest::PluginHost host;
  const std::string pieces[] = {"a",  "word", " ",    "\t\n ", std::string(1, '\0'), "\x01", "\x7F",
                                "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80", "\xC3", "\xFF"};
  std::mt19937 rng(11);
  for (int round = 0; round < 400; ++round) {
    std::string data;
    const int count = static_cast<int>(rng() % 40);
    for (int k = 0; k < count; ++k) data += pieces[rng() % std::size(pieces)];
    const int64_t minLength = static_cast<int64_t>(rng() % 8) - 2;
    CAPTURE(data);
    CAPTURE(minLength);
    if (data.empty()) continue;
    CHECK(AllForms(data, minLength) == std::optional<Texts>(Reference(data, minLength)));
  }
}
