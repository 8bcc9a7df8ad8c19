// Byte search and comparison through the host: InStrBytesZYL, InStrByteRangeZYL, HasPrefixZYL,
// HasPostfixZYL, StrCompBytesZYL, StrCompCharactersZYL, CountOccurancesZYL, ContainsWholeWordZYL.
#include <doctest/doctest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "strings/occurrences.h"
#include "strings/strings.h"
#include "strings/string_args.h"
#include "support/plugin_host.h"
#include "text/text_test_support.h"

using memhost::String;
using namespace stringtest;
using namespace std::string_literals;

namespace {

constexpr const char* kInStrBytes = "InStrBytesZYL(target as string, find as string) as integer";
constexpr const char* kRange1 = "InStrByteRangeZYL(target as string, StartValue as integer, EndValue as integer) as integer";
constexpr const char* kRange2 =
    "InStrByteRangeZYL(target as string, StartValue as integer, EndValue as integer, StartValue2 as integer, "
    "EndValue2 as integer) as integer";
constexpr const char* kRange3 =
    "InStrByteRangeZYL(target as string, StartValue as integer, EndValue as integer, StartValue2 as integer, "
    "EndValue2 as integer, StartValue3 as integer, EndValue3 as integer) as integer";
constexpr const char* kRange1B =
    "InStrByteRangeZYL(target as string, find as string, StartValue as integer, EndValue as integer) as integer";
constexpr const char* kRange2B =
    "InStrByteRangeZYL(target as string, find as string, StartValue as integer, EndValue as integer, StartValue2 "
    "as integer, EndValue2 as integer) as integer";
constexpr const char* kRange3B =
    "InStrByteRangeZYL(target as string, find as string, StartValue as integer, EndValue as integer, StartValue2 "
    "as integer, EndValue2 as integer, StartValue3 as integer, EndValue3 as integer) as integer";
constexpr const char* kHasPrefix = "HasPrefixZYL(Text as String, Prefix as String) as boolean";
constexpr const char* kHasPostfix = "HasPostfixZYL(Text as String, Prefix as String) as boolean";
constexpr const char* kStrCompBytes = "StrCompBytesZYL(a as string, b as string) as integer";
constexpr const char* kStrCompChars = "StrCompCharactersZYL(a as string, b as string) as integer";
constexpr const char* kCount = "CountOccurancesZYL(s as string, find as string) as integer";
constexpr const char* kWholeWord = "ContainsWholeWordZYL(Text as String, Word as String) as boolean";

REALstringStruct* const kNil = nullptr;


int64_t Integer2(const char* declaration, const Arg& a, const Arg& b) {
  String x = Make(a), y = Make(b);
  return memhost::Call<int64_t>(declaration, x.get(), y.get());
}

bool Boolean2(const char* declaration, const Arg& a, const Arg& b) {
  String x = Make(a), y = Make(b);
  return memhost::Call<int8_t>(declaration, x.get(), y.get()) != 0;
}

// Literal references, written from the algorithms' wording.
struct ByteRange {
  int64_t first, last;
};

int64_t ReferenceFirstIn(const std::string& target, const std::string& find, const std::vector<ByteRange>& ranges) {
  for (size_t i = 0; i < target.size(); ++i) {
    const auto b = static_cast<uint8_t>(target[i]);
    bool hit = find.find(static_cast<char>(b)) != std::string::npos;
    for (const ByteRange& r : ranges) hit |= r.first <= b && b <= r.last;
    if (hit) return static_cast<int64_t>(i) + 1;
  }
  return 0;
}

int64_t ReferenceCount(const std::string& s, const std::string& find) {
  if (s.empty() || find.empty() || find.size() > s.size()) return 0;
  int64_t count = 0;
  for (size_t at = 0; at <= s.size() - find.size();) {
    size_t k = 0;
    while (k < find.size() && s[at + k] == find[k]) ++k;
    if (k == find.size()) {
      ++count;
      at += find.size();
    } else {
      ++at;
    }
  }
  return count;
}

int64_t ReferenceCompare(const std::string& a, const std::string& b) {
  for (size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
    const int x = i < a.size() ? static_cast<uint8_t>(a[i]) : 0, y = i < b.size() ? static_cast<uint8_t>(b[i]) : 0;
    if (x != y) return x < y ? -1 : 1;
  }
  return 0;
}

bool ReferenceWholeWord(const std::string& text, const std::string& word) {
  const auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  const auto letter = [&](char c) { return fold(c) >= 'a' && fold(c) <= 'z'; };
  if (word.empty() || word.size() > text.size()) return false;
  for (size_t from = 0; from + word.size() <= text.size();) {
    size_t hit = from;
    for (; hit + word.size() <= text.size(); ++hit) {
      size_t k = 0;
      while (k < word.size() && fold(text[hit + k]) == fold(word[k])) ++k;
      if (k == word.size()) break;
    }
    if (hit + word.size() > text.size()) return false;
    const size_t after = hit + word.size();
    if ((hit == 0 || !letter(text[hit - 1])) && (after == text.size() || !letter(text[after]))) return true;
    from = after;
  }
  return false;
}

// Random bytes from a small alphabet (so that searches hit), with zero bytes, high bytes and
// both cases of a few letters.
std::string RandomBytes(std::mt19937& rng, size_t maxLength) {
  static const char alphabet[] = {'a', 'A', 'b', 'B', ' ', '\0', '\x80', '\xE9', '\xFF', '1', '_', '\r'};
  std::string s(rng() % (maxLength + 1), '\0');
  for (char& c : s) c = rng() % 4 == 0 ? static_cast<char>(rng()) : alphabet[rng() % sizeof alphabet];
  return s;
}

}  // namespace

TEST_CASE("InStrBytesZYL and InStrByteRangeZYL find the first byte of a set") {
  zyltest::PluginHost host;
  struct Case {
    const char* why;
    Arg target, find;
    int64_t expected;
  } cases[] = {
      {"empty target", {""}, {"x"}, 0},
      {"nil target", kNilArg, {"x"}, 0},
      {"empty find", {"abc"}, {""}, 0},
      {"nil find", {"abc"}, kNilArg, 0},
      {"encodings are ignored", {"h\0i\0"s, memhost::kUTF16}, {"i", memhost::kASCII}, 3},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(Integer2(kInStrBytes, c.target, c.find) == c.expected);
  }

  // Known answers and the bounds no random test draws; the differential test does the rest.
  String abc1("abc1", memhost::kUTF8), high("ab\xC8", memhost::kISOLatin1), bang("!", memhost::kUTF8);
  CHECK(memhost::Call<int64_t>(kRange1, abc1.get(), int64_t{48}, int64_t{57}) == 4);
  CHECK(memhost::Call<int64_t>(kRange1, high.get(), int64_t{128}, int64_t{255}) == 3);
  CHECK(memhost::Call<int64_t>(kRange1, high.get(), INT64_MIN, INT64_MAX) == 1);
  CHECK(memhost::Call<int64_t>(kRange1, kNil, int64_t{0}, int64_t{255}) == 0);
  CHECK(memhost::Call<int64_t>(kRange1B, abc1.get(), kNil, int64_t{49}, int64_t{49}) == 4);
  CHECK(memhost::Call<int64_t>(kRange1B, kNil, bang.get(), int64_t{0}, int64_t{255}) == 0);
}

TEST_CASE("The byte searches agree with a plain loop on random bytes") {
  zyltest::PluginHost host;
  std::mt19937 rng(31337);
  for (int round = 0; round < 3000; ++round) {
    // Long targets now and then, so that the table walk's eight-byte steps and long memchr runs
    // are exercised; sets of one to two dozen bytes cover every search strategy.
    const std::string target = RandomBytes(rng, round % 50 == 0 ? 5000 : 60);
    std::string find = RandomBytes(rng, 1 + round % 24);
    String t(target, memhost::kUTF8), f(find, memhost::kNoEncoding);
    CAPTURE(round);
    CHECK(memhost::Call<int64_t>(kInStrBytes, t.get(), f.get()) == ReferenceFirstIn(target, find, {}));
    CHECK(memhost::Call<int64_t>(kCount, t.get(), f.get()) == ReferenceCount(target, find));
    const std::string one = find.substr(0, 1);
    String f1(one, memhost::kUTF8);
    CHECK(memhost::Call<int64_t>(kCount, t.get(), f1.get()) == ReferenceCount(target, one));

    const auto bound = [&] { return static_cast<int64_t>(rng() % 300) - 20; };
    const ByteRange r1{bound(), bound()}, r2{bound(), bound()}, r3{bound(), bound()};
    CHECK(memhost::Call<int64_t>(kRange1, t.get(), r1.first, r1.last) == ReferenceFirstIn(target, "", {r1}));
    CHECK(memhost::Call<int64_t>(kRange2, t.get(), r1.first, r1.last, r2.first, r2.last) ==
          ReferenceFirstIn(target, "", {r1, r2}));
    CHECK(memhost::Call<int64_t>(kRange3, t.get(), r1.first, r1.last, r2.first, r2.last, r3.first, r3.last) ==
          ReferenceFirstIn(target, "", {r1, r2, r3}));
    CHECK(memhost::Call<int64_t>(kRange1B, t.get(), f.get(), r1.first, r1.last) ==
          ReferenceFirstIn(target, find, {r1}));
    CHECK(memhost::Call<int64_t>(kRange2B, t.get(), f.get(), r1.first, r1.last, r2.first, r2.last) ==
          ReferenceFirstIn(target, find, {r1, r2}));
    CHECK(memhost::Call<int64_t>(kRange3B, t.get(), f.get(), r1.first, r1.last, r2.first, r2.last, r3.first,
                                 r3.last) == ReferenceFirstIn(target, find, {r1, r2, r3}));
  }
}

TEST_CASE("InStrBytesZYL finds a lone member at every position of a long run, whatever the set's size") {
  zyltest::PluginHost host;
  for (int members = 1; members <= 20; ++members) {
    std::string find;
    for (int k = 0; k < members; ++k) find += static_cast<char>(0x80 + 3 * k);
    String f(find, memhost::kNoEncoding);
    for (size_t at = 0; at < 200; at += 1 + at / 16) {
      std::string target(200, 'x');
      target[at] = find[at % find.size()];
      String t(target, memhost::kNoEncoding);
      CHECK(memhost::Call<int64_t>(kInStrBytes, t.get(), f.get()) == static_cast<int64_t>(at) + 1);
    }
    String none(std::string(150, 'y'), memhost::kNoEncoding);
    CHECK(memhost::Call<int64_t>(kInStrBytes, none.get(), f.get()) == 0);
  }
}

TEST_CASE("CountOccurancesZYL counts without overlaps and settles the open inputs") {
  zyltest::PluginHost host;
  struct Case {
    const char* why;
    Arg s, find;
    int64_t expected;
  } cases[] = {
      {"no overlaps", {"aaaa"}, {"aa"}, 2},
      {"a partial match goes on at the next byte", {"aabab"}, {"ab"}, 2},
      {"an empty find counts nothing", {"abc"}, {""}, 0},
      {"a find longer than s", {"ab"}, {"abc"}, 0},
      {"nil find", {"abc"}, kNilArg, 0},
      {"nil s", kNilArg, {"a"}, 0},
      {"empty s", {""}, {"a"}, 0},
      {"the whole string", {"abc"}, {"abc"}, 1},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(Integer2(kCount, c.s, c.find) == c.expected);
  }

  zyltest::CapturedLog log(true);
  CHECK(Integer2(kCount, {"banana"}, {"an"}) == 2);
  CHECK(log.Lines() == std::vector<std::string>{"ZYL Debug: ReplaceCount 2"});
}

TEST_CASE("The 16-positions-a-step count agrees with the memmem loop") {
  // Few letters make overlapping and near-miss candidates in every block; sizes cross the
  // vector steps and the limit past which finds go to memmem.
  std::mt19937 random(20261124);
  for (int round = 0; round < 3000; ++round) {
    const int letters = 1 + static_cast<int>(random() % 3);
    std::string data(random() % 90, 'a'), find(1 + random() % 20, 'a');
    for (char& c : data) c = static_cast<char>('a' + random() % letters);
    for (char& c : find) c = static_cast<char>('a' + random() % letters);
    const auto* d = reinterpret_cast<const uint8_t*>(data.data());
    const auto* f = reinterpret_cast<const uint8_t*>(find.data());
    const auto size = static_cast<int64_t>(data.size()), findSize = static_cast<int64_t>(find.size());
    CAPTURE(data);
    CAPTURE(find);
    CHECK(zyl::CountOccurrences(d, size, f, findSize) == zyl::CountOccurrencesPlain(d, size, f, findSize));
  }
}

TEST_CASE("StrCompBytesZYL and StrCompCharactersZYL read each string as if zero bytes followed it") {
  zyltest::PluginHost host;
  struct Case {
    const char* why;
    Arg a, b;
    int64_t bytes, characters;
  } cases[] = {
      {"shorter is less", {"abc"}, {"abcd"}, -1, -1},
      {"longer is greater", {"abcd"}, {"abc"}, 1, 1},
      {"equal", {"abc"}, {"abc"}, 0, 0},
      {"trailing zero bytes compare equal", {"x"}, {"x\0\0"s}, 0, 0},
      {"... in either order", {"x\0"s}, {"x"}, 0, 0},
      {"a byte after the zeros", {"x\0a"s}, {"x"}, 1, 1},
      {"unsigned bytes", {"\x80"}, {"\x7F"}, 1, 1},
      {"the first difference decides", {"ab\xFF"}, {"ac\x01"}, -1, -1},
      {"both empty", {""}, {""}, 0, 0},
      {"nil a", kNilArg, {"a"}, -1, -1},
      {"nil b (no encoding, unlike a: the UTF-8 forms)", {"a"}, kNilArg, 1, 1},
      {"nil b, a without encoding", {"a", memhost::kNoEncoding}, kNilArg, 1, -1},
      {"both nil", kNilArg, kNilArg, -1, -1},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(Integer2(kStrCompBytes, c.a, c.b) == c.bytes);
    CHECK(Integer2(kStrCompChars, c.a, c.b) == c.characters);
  }

  // Different encodings compare the UTF-8 forms; a nil string then reads as empty text.
  const Arg cafeUTF8{"caf\xC3\xA9"}, cafeUTF16{texttest::Wide(u"caf\u00E9"), memhost::kUTF16};
  const Arg cafeUTF16BE{texttest::Wide(u"caf\u00E9", true), memhost::kUTF16BE};
  CHECK(Integer2(kStrCompChars, cafeUTF8, cafeUTF16) == 0);
  CHECK(Integer2(kStrCompChars, cafeUTF16BE, cafeUTF8) == 0);
  CHECK(Integer2(kStrCompBytes, cafeUTF8, cafeUTF16) != 0);
  CHECK(Integer2(kStrCompChars, {"caf"}, cafeUTF16) == -1);
  CHECK(Integer2(kStrCompChars, cafeUTF16, {"caf"}) == 1);
  CHECK(Integer2(kStrCompChars, cafeUTF16, kNilArg) == 1);
  CHECK(Integer2(kStrCompChars, kNilArg, cafeUTF16) == -1);
  CHECK(Integer2(kStrCompChars, {"x", memhost::kASCII}, {"x\0"s, memhost::kUTF16}) == 0);

  std::mt19937 rng(99);
  for (int round = 0; round < 2000; ++round) {
    const std::string a = RandomBytes(rng, 12), b = rng() % 3 == 0 ? a + std::string(rng() % 3, '\0') : RandomBytes(rng, 12);
    CAPTURE(round);
    CHECK(Integer2(kStrCompBytes, {a, memhost::kNoEncoding}, {b, memhost::kNoEncoding}) == ReferenceCompare(a, b));
    CHECK(Integer2(kStrCompChars, {a, memhost::kNoEncoding}, {b, memhost::kNoEncoding}) == ReferenceCompare(a, b));
  }
}

TEST_CASE("HasPrefixZYL and HasPostfixZYL compare UTF-8 forms byte for byte") {
  zyltest::PluginHost host;
  const Arg helloUTF16{texttest::Wide(u"h\u00E9llo"), memhost::kUTF16};
  struct Case {
    const char* why;
    Arg text, affix;
    bool prefix, postfix;
  } cases[] = {
      {"postfix", {"file.txt"}, {".txt"}, false, true},
      {"prefix longer than the text", {"ab"}, {"abc"}, false, false},
      {"prefix", {"abc"}, {"ab"}, true, false},
      {"empty affix", {"abc"}, {""}, true, true},
      {"both empty", {""}, {""}, true, true},
      {"case-sensitive", {"Hello"}, {"he"}, false, false},
      {"nil text", kNilArg, {""}, false, false},
      {"nil affix", {"abc"}, kNilArg, false, false},
      {"other encodings are converted", helloUTF16, {"h\xC3\xA9"}, true, false},
      {"... on either side", {"h\xC3\xA9llo"}, {texttest::Wide(u"llo"), memhost::kUTF16}, false, true},
      {"zero bytes are ordinary", {"a\0b"s}, {"a\0"s}, true, false},
      {"the whole text", {"same"}, {"same"}, true, true},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(Boolean2(kHasPrefix, c.text, c.affix) == c.prefix);
    CHECK(Boolean2(kHasPostfix, c.text, c.affix) == c.postfix);
  }
}

TEST_CASE("ContainsWholeWordZYL wants no ASCII letter around a hit") {
  zyltest::PluginHost host;
  struct Case {
    const char* why;
    Arg text, word;
    bool expected;
  } cases[] = {
      {"case folds", {"Hello World"}, {"world"}, true},
      {"a letter before", {"Helloworld"}, {"world"}, false},
      {"a digit is no word character", {"a1world"}, {"WORLD"}, true},
      {"nor is the underscore", {"world_"}, {"world"}, true},
      {"a later hit", {"worlds, world"}, {"world"}, true},
      {"no whole-word hit at all", {"worlds underworld"}, {"world"}, false},
      {"the search resumes behind a failed hit", {"xa a a"}, {"a a"}, false},
      {"high bytes are no word characters", {"caf\xC3\xA9"}, {"caf"}, true},
      {"high bytes compare exactly", {"\xC3\x89t\xC3\xA9"}, {"\xC3\xA9T\xC3\x89"}, false},
      {"zero bytes are ordinary", {"a\0world\0b"s}, {"world"}, true},
      {"a zero byte in the word", {"ab\0cd x"s}, {"B\0C"s}, false},
      {"... and a whole word with one", {"x b\0c y"s}, {"B\0C"s}, true},
      {"the word is the text", {"Word"}, {"wORD"}, true},
      {"empty word", {"abc"}, {""}, false},
      {"empty word and text", {""}, {""}, false},
      {"word longer than text", {"ab"}, {"abc"}, false},
      {"nil text", kNilArg, {"a"}, false},
      {"nil word", {"a"}, kNilArg, false},
      {"UTF-16 text", {texttest::Wide(u"caf\u00E9 au lait"), memhost::kUTF16}, {"AU"}, true},
  };
  for (const Case& c : cases) {
    CAPTURE(c.why);
    CHECK(Boolean2(kWholeWord, c.text, c.word) == c.expected);
  }

  zyltest::CapturedLog log(true);
  CHECK(Boolean2(kWholeWord, {"xab ab"}, {"ab"}));
  CHECK(log.Lines() == std::vector<std::string>{"ZYL Debug: position found 1", "ZYL Debug: posBefore xab ab",
                                                      "ZYL Debug: posAfter  ab", "ZYL Debug: position found 4",
                                                      "ZYL Debug: posBefore  ab", "ZYL Debug: posAfter "});
}

TEST_CASE("ContainsWholeWordZYL agrees with a plain loop, also across long texts") {
  zyltest::PluginHost host;
  std::mt19937 rng(4242);
  for (int round = 0; round < 3000; ++round) {
    const std::string text = RandomBytes(rng, 40), word = RandomBytes(rng, 1 + round % 4);
    CAPTURE(round);
    CHECK(Boolean2(kWholeWord, {text}, {word}) == ReferenceWholeWord(text, word));
  }
  // Hits that fail again and again across the chunks the text is folded in, and a long word
  // whose only whole-word hit straddles them.
  std::string many;
  for (int i = 0; i < 60000; ++i) many += "xA";
  const std::string longWord(70000, 'q');
  const std::vector<std::pair<std::string, std::string>> long_cases = {
      {many + " a", "a"}, {many + " ax A", "ax a"}, {many, "a"},
      {std::string(100000, 'Q') + " " + longWord + "Q " + longWord + " ", longWord},
  };
  for (const auto& [text, word] : long_cases) {
    CAPTURE(text.size());
    CHECK(Boolean2(kWholeWord, {text}, {word}) == ReferenceWholeWord(text, word));
  }
  // A single hit at every offset around the first chunk ends (64 KiB, then 64 + 128 KiB),
  // after a failed hit that sends the search behind the first chunk.
  const std::string word = "Hit-Hit";
  for (size_t end : {size_t{1} << 16, size_t{3} << 16}) {
    for (size_t at = end - 9; at < end + 2; ++at) {
      std::string text = "hit-hitx" + std::string(at - 8, '-') + word + "!";
      CAPTURE(at);
      CHECK(Boolean2(kWholeWord, {text}, {"hIT-hit"}));
      text[at - 1] = 'Z';
      CHECK_FALSE(Boolean2(kWholeWord, {text}, {"hIT-hit"}));
    }
  }
}
