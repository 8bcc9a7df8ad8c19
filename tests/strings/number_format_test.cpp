// "StrZYL" and "ScientificStrZYL": the exact texts, with their deliberate trimming.
#include <doctest/doctest.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <limits>

#include "strings/build_test_support.h"
#include "support/plugin_host.h"

using namespace buildtest;

TEST_CASE("StrZYL texts, trimming included") {
  zyltest::PluginHost host;
  char dblMax[400];
  snprintf(dblMax, sizeof dblMax, "%.0f", DBL_MAX);  // its last two digits differ, so nothing is trimmed
  struct Case {
    double d;
    std::string text;
    std::string why;
  } cases[] = {
      {1.5, "1.50", "a run of trailing zeros keeps one"},
      {1.0, "1.0", ""},
      {100.0, "100.0", "zeros before the point are not significant"},
      {2.25, "2.250", ""},
      {0.3, "0.29", "0.2999... loses its run of nines"},
      {3.14159, "3.141589", "3.14158999... cut, then its nines dropped"},
      {-2.5, "-2.50", "the minus sign counts as a significant character"},
      {123456.789, "123456.7890", ""},
      {1e20, "100000000000000000000.0", ""},
      {1.0 / 3.0, "0.3", ""},
      {0.1, "0.10", ""},
      {0.0, "0.0", ""},
      {-0.0, "-0.0", ""},
      {1e-5, "0.000010", "leading decimal zeros do not count"},
      {1e-300, "0.0", "below the 99 printed decimals"},
      {123456789123456.5, "123456789123456", "more than 14 significant characters: no decimals"},
      {123456789012345.5, "123456789012345.5", "a zero digit is not significant"},
      {111111111111111.0, "111", "the equal-character trim reaches into the integer part"},
      {DBL_MAX, dblMax, ""},
      {-DBL_MAX, std::string("-") + dblMax, ""},
      {std::numeric_limits<double>::infinity(), "inf", "no point"},
      {-std::numeric_limits<double>::infinity(), "-inf", ""},
  };
  for (const Case& c : cases) {
    CAPTURE(c.d);
    CAPTURE(c.why);
    memhost::String s = CallString(kStr, c.d);
    CHECK(s.bytes() == c.text);
    CHECK(s.encoding() == memhost::kASCII);
  }
  CHECK(CallString(kStr, std::nan("")).bytes() == "nan");
}

TEST_CASE("ScientificStrZYL prints digits decimals, clamped to the buffer") {
  zyltest::PluginHost host;
  struct Case {
    double d;
    int64_t digits;
    std::string text;
  } cases[] = {
      {1234.5, 2, "1.23e+03"},   {1.0, 0, "1e+00"},
      {-0.000125, 3, "-1.250e-04"}, {1.0, -7, "1e+00"},  // negative digits count as 0
      {6.02214076e23, 5, "6.02214e+23"},
      {std::numeric_limits<double>::infinity(), 4, "inf"},
  };
  for (const Case& c : cases) {
    CAPTURE(c.d);
    CAPTURE(c.digits);
    memhost::String s = CallString(kScientificStr, c.d, c.digits);
    CHECK(s.bytes() == c.text);
    CHECK(s.encoding() == memhost::kASCII);
  }
  // 498 decimals need 504 characters; the buffer keeps the first 498. More digits change nothing.
  const std::string longest = CallString(kScientificStr, 1.0 / 3.0, int64_t{498}).bytes();
  CHECK(longest.size() == 498);
  CHECK(longest.rfind("3.333333333333333", 0) == 0);
  CHECK(CallString(kScientificStr, 1.0 / 3.0, int64_t{100000}).bytes() == longest);
  CHECK(CallString(kScientificStr, 1.0 / 3.0, INT64_MAX).bytes() == longest);
  CHECK(CallString(kScientificStr, 2.5, INT64_MIN).bytes() == "2e+00");  // round half to even
}
