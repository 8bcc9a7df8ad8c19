// "JaroWinklerDistanceZYL" and "LevenshteinDistanceZYL" on code points: known values, both
// argument orders, and the optimal-string-alignment distance against a plain reference.
#include <doctest/doctest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "strings/build_test_support.h"
#include "strings/similarity_internal.h"
#include "support/plugin_host.h"
#include "text/text_test_support.h"

using memhost::String;
using namespace buildtest;
using texttest::UTF8;

namespace {

double Distance(const char* declaration, REALstringStruct* a, REALstringStruct* b) {
  return memhost::Call<double>(declaration, a, b);
}

double Distance(const char* declaration, const std::string& a, const std::string& b) {
  String sa(a, memhost::kUTF8);
  String sb(b, memhost::kUTF8);
  return Distance(declaration, sa.get(), sb.get());
}

// The restricted edit distance, straight from its recurrence, on code points.
int64_t ReferenceOSA(const std::u32string& a, const std::u32string& b) {
  std::vector<std::vector<int64_t>> d(a.size() + 1, std::vector<int64_t>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) d[i][0] = static_cast<int64_t>(i);
  for (size_t j = 0; j <= b.size(); ++j) d[0][j] = static_cast<int64_t>(j);
  for (size_t i = 1; i <= a.size(); ++i) {
    for (size_t j = 1; j <= b.size(); ++j) {
      const int64_t cost = a[i - 1] == b[j - 1] ? 0 : 1;
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + cost});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + cost);
      }
    }
  }
  return d[a.size()][b.size()];
}

struct Case {
  std::string a, b;
  double expected;
  std::string why;
};

// Each case in both argument orders.
template <size_t N>
void CheckBothOrders(const char* declaration, const Case (&cases)[N], double epsilon) {
  for (const Case& c : cases) {
    CAPTURE(c.a);
    CAPTURE(c.b);
    CAPTURE(c.why);
    CHECK(Distance(declaration, c.a, c.b) == doctest::Approx(c.expected).epsilon(epsilon));
    CHECK(Distance(declaration, c.b, c.a) == doctest::Approx(c.expected).epsilon(epsilon));
  }
}

}  // namespace

TEST_CASE("Jaro-Winkler distances") {
  zyltest::PluginHost host;
  const Case cases[] = {
      {"MARTHA", "MARHTA", 1 - 0.961111111, "jaro 0.9444, common prefix 3"},
      {"DWAYNE", "DUANE", 1 - 0.84, ""},
      {"DIXON", "DICKSONX", 1 - 0.813333333, ""},
      {"abcxyz", "bcaxyz", 1 - 0.944444444, "three differing pairs: one transposition"},
      {"abcdefg", "abcdefh", 1 - 0.942857143, "the prefix counts up to 4"},
      {"abcdefgh", "abxxxxxx", 0.5, "jaro 0.5: no boost despite the prefix"},
      {"abcd", "xxxa", 1.0, "the only common character lies outside the window"},
      {"abc", "xyz", 1.0, "nothing in common"},
      {"abc", "ABC", 1.0, "case counts"},
      {"\xC3\xA9", "e", 1.0, "accents count"},
      {"\xF0\x9F\x98\x80" "a", "\xF0\x9F\x98\x80" "b", 1.0 / 3.0, "a character beyond U+FFFF counts once"},
      {"same", "same", 0.0, ""},
      {"", "", 0.0, "two empty strings are equal"},
      {"", "abc", 1.0, ""},
  };
  CheckBothOrders(kJaroWinkler, cases, 1e-8);
  String abc("abc", memhost::kUTF8);
  CHECK(Distance(kJaroWinkler, nullptr, nullptr) == 0.0);
  CHECK(Distance(kJaroWinkler, abc.get(), nullptr) == 1.0);
  CHECK(Distance(kJaroWinkler, nullptr, abc.get()) == 1.0);
}

TEST_CASE("Levenshtein measures, and where the measure is no metric") {
  zyltest::PluginHost host;
  const Case cases[] = {
      {"kitten", "sitting", 0.5, "3 / 6"},
      {"abc", "acb", 1.0 / 3.0, "one transposition"},
      {"a", "bcd", 3.0, "divided by the shorter length: above 1"},
      {"same", "same", 0.0, ""},
      {"", "abc", 1.0, "an empty string is wholly different"},
      {"", "", 1.0, "even from another empty one: identity gives no zero here"},
      {"CA", "ABC", 1.5, "3 edits: no substring is edited twice"},
      {"CA", "AC", 0.5, "CA to AC to ABC takes 2 edits, yet CA to ABC takes 3"},
      {"a\xF0\x9F\x98\x80" "b", "ab", 0.5, "a character beyond U+FFFF is one edit"},
      {"\xC3\xA9t\xC3\xA9", "ete", 2.0 / 3.0, "accents count"},
  };
  CheckBothOrders(kLevenshtein, cases, 1e-12);
  String abc("abc", memhost::kUTF8);
  CHECK(Distance(kLevenshtein, nullptr, abc.get()) == 1.0);
  CHECK(Distance(kLevenshtein, abc.get(), nullptr) == 1.0);

  // Text in UTF-16 is compared as the same code points.
  String wide(std::string("a\0\x3D\xD8\x00\xDE" "b\0", 8), memhost::kUTF16);
  String narrow("a\xF0\x9F\x98\x80" "c", memhost::kUTF8);
  CHECK(Distance(kLevenshtein, wide.get(), narrow.get()) == doctest::Approx(1.0 / 3.0));
  CHECK(Distance(kJaroWinkler, wide.get(), wide.get()) == 0.0);
}

TEST_CASE("both measures are symmetric; Levenshtein matches the reference on random strings") {
  zyltest::PluginHost host;
  const std::u32string alphabet = U"abc\u00E9\U0001F600";
  std::mt19937 rng(17);
  for (int round = 0; round < 300; ++round) {
    std::u32string a, b;
    const size_t la = rng() % 9;
    const size_t lb = rng() % 12;
    for (size_t k = 0; k < la; ++k) a += alphabet[rng() % alphabet.size()];
    for (size_t k = 0; k < lb; ++k) b += alphabet[rng() % alphabet.size()];
    CAPTURE(UTF8(a));
    CAPTURE(UTF8(b));
    const double levenshtein = Distance(kLevenshtein, UTF8(a), UTF8(b));
    CHECK(levenshtein == Distance(kLevenshtein, UTF8(b), UTF8(a)));
    CHECK(Distance(kJaroWinkler, UTF8(a), UTF8(b)) == Distance(kJaroWinkler, UTF8(b), UTF8(a)));
    if (a.empty() || b.empty()) {
      CHECK(levenshtein == 1.0);
    } else {
      const auto shorter = static_cast<double>(std::min(a.size(), b.size()));
      CHECK(levenshtein == doctest::Approx(static_cast<double>(ReferenceOSA(a, b)) / shorter));
    }
  }
}

TEST_CASE("the Levenshtein matrix size is checked, never wrapped") {
  int64_t bytes = -1;
  CHECK(zyl::LevenshteinMatrixBytes(0, 0, &bytes));
  CHECK(bytes == 8);
  CHECK(zyl::LevenshteinMatrixBytes(2, 3, &bytes));
  CHECK(bytes == 96);
  CHECK(zyl::LevenshteinMatrixBytes(int64_t{1} << 30, int64_t{1} << 28, &bytes));
  CHECK(bytes == ((int64_t{1} << 30) + 1) * ((int64_t{1} << 28) + 1) * 8);
  bytes = -1;
  CHECK_FALSE(zyl::LevenshteinMatrixBytes(int64_t{1} << 31, int64_t{1} << 31, &bytes));  // 2^65 bytes
  CHECK_FALSE(zyl::LevenshteinMatrixBytes(INT64_MAX, 0, &bytes));
  CHECK_FALSE(zyl::LevenshteinMatrixBytes(INT64_MAX / 8, 0, &bytes));
  CHECK_FALSE(zyl::LevenshteinMatrixBytes(-1, 0, &bytes));
  CHECK(bytes == -1);
}
