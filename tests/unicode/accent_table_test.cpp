// The accent table: all zero before load and outside a built application; after load inside one,
// its ranges, its rule and its hand-mapped exceptions.
#include <doctest/doctest.h>

#include "support/plugin_host.h"
#include "unicode/tables.h"
#include "unicode/unicode_test_support.h"

using namespace unicodetest;
using zyl::lookupTableS;

TEST_CASE("outside a built application the accent table stays all zero") {
  zyltest::PluginHost host(2024.0, /*inRuntime=*/false);
  for (uint32_t unit = 0; unit < 0x10000; ++unit) {
    if (lookupTableS[unit] != 0) FAIL_CHECK(Hex(unit));
  }
}

TEST_CASE("inside a built application 844 entries change, as the ranges and the rule say") {
  zyltest::PluginHost host(2024.0, /*inRuntime=*/true);
  int changed = 0;
  for (uint32_t unit = 0; unit < 0x10000; ++unit) {
    const uint16_t entry = lookupTableS[unit];
    changed += entry != unit;
    CHECK_MESSAGE(entry == ReferenceAccentEntry(static_cast<uint16_t>(unit)), Hex(unit));
    CHECK_MESSAGE((entry != unit) == InAccentRanges(static_cast<uint16_t>(unit)), Hex(unit));
  }
  CHECK(changed == 844);
  struct Case {
    uint16_t unit, entry;
  } cases[] = {
      {0x0041, 'A'},    {0x00C5, 'A'},    {0xFF21, 'A'},    {0x01E2, 0x01E2}, {0x00E9, 'e'},    {0x1F82, 0x03B1},
      {0x0390, 0x03B9}, {0x037E, ';'},    {0x2260, '='},    {0x226E, '<'},    {0x212B, 'A'},    {0x2126, 0x03A9},
      {0x00A0, ' '},    {0xFF01, '!'},    {0xFF5E, '~'},    {0x00D0, 'D'},    {0x00F0, 'd'},    {0x00D8, 'O'},
      {0x00F8, 'o'},    {0x00DE, 'P'},    {0x00FE, 'p'},    {0x00DF, 's'},    {0x1E9E, 'S'},    {0x0141, 'L'},
      {0x0142, 'l'},    {0x2013, '-'},    {0x2014, '-'},    {0x2018, '\''},   {0x2019, '\''},   {0x2022, '*'},
      {0x01E3, 0x01E3}, {0x01EE, 0x01EE}, {0x01EF, 0x01EF}, {0x01FC, 0x01FC}, {0x01FF, 0x01FF}, {0x1E9B, 0x1E9B},
  };
  for (const Case& c : cases) CHECK_MESSAGE(lookupTableS[c.unit] == c.entry, Hex(c.unit));
}
