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

int64_t RowOf(uint16_t composed) {
  for (int64_t row = 0; row < kCompositionCount; ++row) {
    if (compositions[row][0] == composed) return row;
  }
  return -1;
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

TEST_CASE("rows named in the documentation") {
  struct Case {
    uint16_t composed;
    Units decomposition;
  } cases[] = {
      {0x00C0, u"\u0041\u0300"},        {0xFB4E, u"\u05E4\u05BF"},
      {0xAC00, u"\u1100\u1161"},        {0xAC01, u"\u1100\u1161\u11A8"},
      {0xD7A3, u"\u1112\u1175\u11C2"},  {0x1F82, u"\u03B1\u0313\u0300\u0345"},
      {0x212B, u"\u0041\u030A"},        {0x1E08, u"\u0043\u0327\u0301"},
      {0xFA6C, ToUnits(U"\U000242EE")}, {0xFACF, ToUnits(U"\U0002284A")},
      {0xFAD0, ToUnits(U"\U00022844")}, {0xFAD1, ToUnits(U"\U000233D5")},
      {0xFAD5, ToUnits(U"\U00025249")}, {0xFAD6, ToUnits(U"\U00025CD0")},
      {0xFAD7, ToUnits(U"\U00027ED3")},
  };
  for (const Case& c : cases) {
    CAPTURE(Hex(c.composed));
    const int64_t row = RowOf(c.composed);
    REQUIRE(row >= 0);
    CHECK(Hex(RowDecomposition(row)) == Hex(c.decomposition));
  }
  CHECK(RowOf(0x00C0) == 0);
  CHECK(RowOf(0xFB4E) == kCompositionCount - 1);
  // Singletons have no row.
  for (uint16_t singleton : {0x2126, 0x212A, 0x0340, 0x0374, 0xF900, 0xFA6B}) CHECK(RowOf(singleton) == -1);
  // Every Hangul syllable has its arithmetic row; the supplementary rows are exactly seven.
  int supplementary = 0;
  for (int64_t row = 0; row < kCompositionCount; ++row) {
    supplementary += compositions[row][1] >= 0xD800 && compositions[row][1] <= 0xDBFF;
  }
  CHECK(supplementary == 7);
  for (uint16_t s = 0xAC00; s <= 0xD7A3; ++s) {
    const int index = s - 0xAC00;
    Units jamo{static_cast<char16_t>(0x1100 + index / 588), static_cast<char16_t>(0x1161 + index % 588 / 28)};
    if (index % 28 != 0) jamo += static_cast<char16_t>(0x11A7 + index % 28);
    const int64_t row = RowOf(s);
    REQUIRE(row >= 0);
    if (RowDecomposition(row) != jamo) FAIL_CHECK(Hex(s));
  }
}

TEST_CASE("FindCompositionRow finds every row and nothing else") {
  std::vector<int64_t> expected(65536, -1);
  for (int64_t row = 0; row < kCompositionCount; ++row) expected[compositions[row][0]] = row;
  for (uint32_t unit = 0; unit < 0x10000; ++unit) {
    if (zyl::FindCompositionRow(static_cast<uint16_t>(unit)) != expected[unit]) FAIL_CHECK(Hex(unit));
  }
  CHECK(zyl::FindCompositionRow(0x00C0) == 0);
  CHECK(zyl::FindCompositionRow(0xFB4E) == kCompositionCount - 1);
  CHECK(zyl::FindCompositionRow(0x00C6) == -1);
  CHECK(zyl::FindCompositionRow(0xD800) == -1);
  CHECK(zyl::FindCompositionRow(0x00E9) == 34);
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
  CHECK(flags[0x41] == 1);
  CHECK(flags[0x1100] == 1);
  CHECK(flags[0x03B1] == 1);
  CHECK(flags[0xD850] == 1);  // high surrogate of U+242EE (U+FA6C's row)
  CHECK(flags[0x0300] == 0);
  CHECK(flags[0x0020] == 0);
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
