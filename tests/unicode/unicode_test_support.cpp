#include "unicode/unicode_test_support.h"

#include <doctest/doctest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>

#include "text/text_test_support.h"

namespace unicodetest {

namespace {

std::optional<Units> ResultUnits(REALstringStruct* result) {
  memhost::String adopted(result);
  if (adopted.get() == nullptr) return std::nullopt;
  const uint32_t encoding = adopted.encoding();
  CHECK((encoding == memhost::kUTF8 || encoding == memhost::kUTF16));
  const std::optional<std::string> bytes = memhost::ConvertBytes(adopted.bytes(), encoding, memhost::kUTF16);
  REQUIRE(bytes.has_value());
  Units units;
  for (size_t i = 0; i + 1 < bytes->size(); i += 2) {
    units += static_cast<char16_t>(static_cast<uint8_t>((*bytes)[i]) | static_cast<uint8_t>((*bytes)[i + 1]) << 8);
  }
  return units;
}

std::u32string ParseCodePoints(const std::string& field) {
  std::u32string out;
  std::istringstream words(field);
  for (std::string word; words >> word;) out += static_cast<char32_t>(std::stoul(word, nullptr, 16));
  return out;
}

struct Forms {
  std::u32string nfd, nfkd;
};

// The file's character-by-character section: one line per character whose forms differ from it,
// "c1;c2;c3;c4;c5; # ...".
const std::map<char32_t, Forms>& CharacterForms() {
  static const std::map<char32_t, Forms> forms = [] {
    std::map<char32_t, Forms> read;
    std::ifstream file(ZYL_NORMALIZATION_TEST);
    REQUIRE_MESSAGE(file.good(), "cannot read " ZYL_NORMALIZATION_TEST " (scripts/setup.sh installs unicode-data)");
    bool inPart1 = false;
    for (std::string line; std::getline(file, line);) {
      if (line.rfind("@Part", 0) == 0) inPart1 = line.rfind("@Part1", 0) == 0;
      if (!inPart1 || line.empty() || line[0] == '#' || line[0] == '@') continue;
      std::vector<std::string> fields;
      std::istringstream columns(line.substr(0, line.find('#')));
      for (std::string field; std::getline(columns, field, ';');) fields.push_back(field);
      REQUIRE(fields.size() >= 5);
      const std::u32string source = ParseCodePoints(fields[0]);
      REQUIRE(source.size() == 1);
      read[source[0]] = Forms{ParseCodePoints(fields[2]), ParseCodePoints(fields[4])};
    }
    REQUIRE(read.size() > 10000);
    return read;
  }();
  return forms;
}

struct Range {
  uint16_t first, last;
};

// The changed entries of the accent table, as the library's documentation lists them.
constexpr Range kAccentRanges[] = {
    {0x00A0, 0x00A0}, {0x00C0, 0x00C5}, {0x00C7, 0x00D6}, {0x00D8, 0x00E5}, {0x00E7, 0x00F6}, {0x00F8, 0x010F},
    {0x0112, 0x0125}, {0x0128, 0x0130}, {0x0134, 0x0137}, {0x0139, 0x013E}, {0x0141, 0x0148}, {0x014C, 0x0151},
    {0x0154, 0x0165}, {0x0168, 0x017E}, {0x01A0, 0x01A1}, {0x01AF, 0x01B0}, {0x01CD, 0x01DC}, {0x01DE, 0x01E1},
    {0x01E6, 0x01ED}, {0x01F0, 0x01F0}, {0x01F4, 0x01F5}, {0x01F8, 0x01FB}, {0x0200, 0x021B}, {0x021E, 0x021F},
    {0x0226, 0x0233}, {0x037E, 0x037E}, {0x0386, 0x0386}, {0x0388, 0x038A}, {0x038C, 0x038C}, {0x038E, 0x0390},
    {0x03AA, 0x03B0}, {0x03CA, 0x03CE}, {0x1E00, 0x1E99}, {0x1E9E, 0x1E9E}, {0x1EA0, 0x1EF9}, {0x1F00, 0x1F15},
    {0x1F18, 0x1F1D}, {0x1F20, 0x1F45}, {0x1F48, 0x1F4D}, {0x1F50, 0x1F57}, {0x1F59, 0x1F59}, {0x1F5B, 0x1F5B},
    {0x1F5D, 0x1F5D}, {0x1F5F, 0x1F7D}, {0x1F80, 0x1FB4}, {0x1FB6, 0x1FBC}, {0x1FBE, 0x1FBE}, {0x1FC2, 0x1FC4},
    {0x1FC6, 0x1FCC}, {0x1FD0, 0x1FD3}, {0x1FD6, 0x1FDB}, {0x1FE0, 0x1FEC}, {0x1FEF, 0x1FEF}, {0x1FF2, 0x1FF4},
    {0x1FF6, 0x1FFC}, {0x2013, 0x2014}, {0x2018, 0x2019}, {0x2022, 0x2022}, {0x2126, 0x2126}, {0x212A, 0x212B},
    {0x2260, 0x2260}, {0x226E, 0x226F}, {0xFF01, 0xFF5E},
};

// Letters and marks without a decomposition, mapped by hand.
const std::map<uint16_t, char> kAccentByHand = {
    {0x00D0, 'D'}, {0x00F0, 'd'}, {0x00D8, 'O'}, {0x00F8, 'o'}, {0x00DE, 'P'}, {0x00FE, 'p'}, {0x00DF, 's'}, {0x1E9E, 'S'},
    {0x0141, 'L'}, {0x0142, 'l'}, {0x2013, '-'}, {0x2014, '-'}, {0x2018, '\''}, {0x2019, '\''}, {0x2022, '*'},
};

}  // namespace

std::optional<Units> CallUnits(const char* declaration, const std::optional<Units>& text) {
  memhost::String in = text ? memhost::String(texttest::Wide(*text), memhost::kUTF16) : memhost::String();
  return ResultUnits(memhost::Call<REALstringStruct*>(declaration, in.get()));
}

std::optional<Units> RemoveAccents(const std::optional<Units>& text, bool ignoreCase) {
  memhost::String in = text ? memhost::String(texttest::Wide(*text), memhost::kUTF16) : memhost::String();
  return ResultUnits(memhost::Call<REALstringStruct*>(kRemoveAccents, in.get(), static_cast<int8_t>(ignoreCase)));
}

Units ToUnits(const std::u32string& codePoints) {
  Units units;
  for (char32_t cp : codePoints) {
    if (cp >= 0x10000) {
      units += static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      units += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      units += static_cast<char16_t>(cp);
    }
  }
  return units;
}

Units ReferenceNFD(uint16_t codePoint) {
  const auto& forms = CharacterForms();
  const auto found = forms.find(codePoint);
  return ToUnits(found == forms.end() ? std::u32string(1, codePoint) : found->second.nfd);
}

char32_t ReferenceNFKDFirst(uint16_t codePoint) {
  const auto& forms = CharacterForms();
  const auto found = forms.find(codePoint);
  return found == forms.end() ? codePoint : found->second.nfkd[0];
}

bool InAccentRanges(uint16_t unit) {
  for (const Range& range : kAccentRanges) {
    if (unit >= range.first && unit <= range.last) return true;
  }
  return false;
}

uint16_t ReferenceAccentEntry(uint16_t unit) {
  if (!InAccentRanges(unit)) return unit;
  if (const auto byHand = kAccentByHand.find(unit); byHand != kAccentByHand.end()) return static_cast<uint8_t>(byHand->second);
  if (unit == 0x00A0 || (unit >= 0xFF01 && unit <= 0xFF5E)) return static_cast<uint16_t>(ReferenceNFKDFirst(unit));
  return ReferenceNFD(unit)[0];
}

std::string Hex(uint32_t value) {
  char text[12];
  snprintf(text, sizeof text, "%04X", value);
  return text;
}

std::string Hex(const Units& units) {
  std::string text;
  for (char16_t unit : units) text += (text.empty() ? "" : " ") + Hex(unit);
  return text;
}

}  // namespace unicodetest
