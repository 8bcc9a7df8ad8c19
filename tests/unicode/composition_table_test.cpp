// The composition table against Unicode's own NormalizationTest.txt, its two look-ups, the flag
// table and the search's log lines.
#include <doctest/doctest.h>

#include <set>
#include <thread>
#include <vector>

#include "plugin/log.h"
#include "support/plugin_host.h"
#include "unicode/tables.h"
#include "unicode/unicode_test_support.h"

using namespace unicodetest;
using zyl::compositions;
using zyl::kCompositionCount;

namespace {

Units RowDecomposition(int64_t row) {
  Units units;
  for (int k = 1; k <= 4 && compositions[row][k] != 0; ++k) units += static_cast<char16_t>(compositions[row][k]);
  return units;
}

}  // namespace

TEST_CASE("the table holds exactly the BMP characters whose form D is longer than one unit") {
  int64_t row = 0;
  int lengths[5] = {};
  for (uint32_t cp = 0; cp < 0x10000; ++cp) {
    if (cp >= 0xD800 && cp <= 0xDFFF) continue;
    const Units nfd = ReferenceNFD(static_cast<uint16_t>(cp));
    if (nfd.size() < 2) continue;
    CAPTURE(Hex(cp));
    REQUIRE(row < kCompositionCount);
    CHECK(compositions[row][0] == cp);  // sorted, no gaps, no duplicates
    CHECK(Hex(RowDecomposition(row)) == Hex(nfd));
    for (size_t k = 1 + nfd.size(); k < 6; ++k) CHECK(compositions[row][k] == 0);
    ++lengths[nfd.size()];
    ++row;
  }
  CHECK(row == kCompositionCount);
  CHECK(lengths[2] == 1168);
  CHECK(lengths[3] == 10993);
  CHECK(lengths[4] == 36);
}

TEST_CASE("FindCompositionRow finds every row and nothing else") {
  std::vector<int64_t> expected(65536, -1);
  for (int64_t row = 0; row < kCompositionCount; ++row) expected[compositions[row][0]] = row;
  for (uint32_t unit = 0; unit < 0x10000; ++unit) {
    if (zyl::FindCompositionRow(static_cast<uint16_t>(unit)) != expected[unit]) FAIL_CHECK(Hex(unit));
  }
}

TEST_CASE("the row index finds every row outside the Hangul syllables and nothing else") {
  std::vector<int64_t> expected(65536, -1);
  for (int64_t row = 0; row < kCompositionCount; ++row) expected[compositions[row][0]] = row;
  for (uint32_t unit = 0; unit < 0x10000; ++unit) {
    if (unit >= zyl::kHangulFirst && unit <= zyl::kHangulLast) {
      CHECK(expected[unit] >= 0);  // every syllable has its row, which the index leaves out
      continue;
    }
    if (zyl::CompositionRowOf(static_cast<uint16_t>(unit)) != expected[unit]) FAIL_CHECK(Hex(unit));
  }
}

TEST_CASE("the search logs each middle only while debugging is on") {
  zyltest::PluginHost host;
  zyltest::CapturedLog log;
  CHECK(zyl::FindCompositionRow(0x00C5) == 5);
  CHECK(log.Lines().empty());
  zyl::setDebugging(1);  // writes one line of its own
  const size_t before = log.Lines().size();
  CHECK(zyl::FindCompositionRow(0x00C5) == 5);
  CHECK(zyl::FindCompositionRow(0x00C6) == -1);
  const std::vector<std::string> all = log.Lines();
  const std::vector<std::string> lines(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
  std::vector<std::string> expected = {"findComposition 197", "middle before 6098"};
  for (int middle : {3048, 1523, 761, 380, 189, 94, 46, 22, 10, 4, 7, 5}) expected.push_back("middle " + std::to_string(middle));
  expected.push_back("Char found 197, 5");
  expected.insert(expected.end(), {"findComposition 198", "middle before 6098"});
  for (int middle : {3048, 1523, 761, 380, 189, 94, 46, 22, 10, 4, 7, 5, 6, 5}) expected.push_back("middle " + std::to_string(middle));
  expected.push_back("Char not found 198");
  REQUIRE(lines.size() == expected.size());
  for (size_t i = 0; i < lines.size(); ++i) CHECK(lines[i] == "ZYL Debug: " + expected[i]);
}

TEST_CASE("the flag table marks exactly the first units of the rows, once") {
  zyl::InitCharsWhoCanBeCompositionLookupTable();
  const uint8_t* flags = zyl::CharsWhoCanBeCompositionLookupTable.load();
  REQUIRE(flags != nullptr);
  std::set<uint16_t> firsts;
  for (int64_t row = 0; row < kCompositionCount; ++row) firsts.insert(compositions[row][1]);
  for (uint32_t unit = 0; unit < 0x10000; ++unit) {
    if (flags[unit] != (firsts.count(static_cast<uint16_t>(unit)) ? 1 : 0)) FAIL_CHECK(Hex(unit));
  }
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back([] { zyl::InitCharsWhoCanBeCompositionLookupTable(); });
  for (std::thread& thread : threads) thread.join();
  CHECK(zyl::CharsWhoCanBeCompositionLookupTable.load() == flags);
}

TEST_CASE("the smallest second unit bounds every row") {
  uint16_t smallest = 0xFFFF;
  for (int64_t row = 0; row < kCompositionCount; ++row) smallest = std::min(smallest, compositions[row][2]);
  CHECK(zyl::compositionSmallestSecondUnit == smallest);
}

TEST_CASE("the search tree holds the binary search's middles in the order it visits them") {
  for (uint32_t unit = 0; unit < 0x10000; ++unit) {
    // The search as documented, step by step beside the tree's nodes.
    constexpr int64_t kNodes = (1 << zyl::kSearchDepth) - 1;
    int64_t low = 0, high = kCompositionCount - 1, middle = 6098, node = 0;
    while (true) {
      const uint16_t composed = compositions[middle][0];
      if (zyl::compositionSearchRows[node] != middle || zyl::compositionSearchValues[node] != composed) {
        FAIL_CHECK(Hex(unit));
        break;
      }
      if (unit == composed) break;
      const bool greater = unit > composed;
      if (greater) {
        low = middle + 1;
      } else {
        high = middle - 1;
      }
      middle = (low + high) / 2;
      if (low > high) break;
      node = 2 * node + 1 + greater;
      if (node >= kNodes) {
        FAIL_CHECK("the search goes deeper than its tree: " << Hex(unit));
        break;
      }
    }
  }
  // Four lanes at once give what one lane gives, for every unit.
  for (uint32_t unit = 0; unit < 0x10000; unit += 4) {
    const uint16_t units[4] = {static_cast<uint16_t>(unit), static_cast<uint16_t>(unit + 1),
                               static_cast<uint16_t>(unit + 2), static_cast<uint16_t>(unit + 3)};
    int64_t rows[4];
    zyl::FindCompositionRowsQuietly<4>(units, rows);
    for (int lane = 0; lane < 4; ++lane) {
      if (rows[lane] != zyl::FindCompositionRow(units[lane])) FAIL_CHECK(Hex(units[lane]));
    }
  }
}
