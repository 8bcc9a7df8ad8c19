// encodings.cpp - the encoding name table.
#include "encodings.h"

#include <charconv>
#include <cstdio>

namespace zyltool {

namespace {

struct EncodingRow {
  const char* key;   // lower case, no separators
  const char* name;  // for display; nil for an alias row
  uint32_t number;
};

constexpr EncodingRow kEncodings[] = {
    {"utf8", "UTF-8", 0x08000100},         {"utf16", "UTF-16", 0x0100},
    {"utf16be", "UTF-16BE", 0x10000100},   {"utf16le", "UTF-16LE", 0x14000100},
    {"utf32", "UTF-32", 0x0C000100},       {"utf32be", "UTF-32BE", 0x18000100},
    {"utf32le", "UTF-32LE", 0x1C000100},   {"latin1", "ISO-8859-1", 0x0201},
    {"iso88591", nullptr, 0x0201},         {"cp1252", "Windows-1252", 0x0500},
    {"windows1252", nullptr, 0x0500},      {"ascii", "ASCII", 0x0600},
    {"macroman", "MacRoman", 0x0000},      {"none", "no encoding", 0xFFFF},
    {"binary", nullptr, 0xFFFF},
};

}  // namespace

std::optional<uint32_t> ParseEncoding(std::string_view text) {
  std::string key;
  for (char c : text) {
    if (c == '-' || c == '_' || c == ' ') continue;
    key.push_back((c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c);
  }
  for (const EncodingRow& row : kEncodings) {
    if (key == row.key) return row.number;
  }
  int base = 10;
  std::string_view digits = key;
  if (digits.size() > 2 && digits.substr(0, 2) == "0x") {
    base = 16;
    digits.remove_prefix(2);
  }
  uint32_t number = 0;
  const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
  if (digits.empty() || ec != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
  return number;
}

std::string EncodingName(uint32_t encoding) {
  for (const EncodingRow& row : kEncodings) {
    if (row.name != nullptr && row.number == encoding) return row.name;
  }
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "encoding 0x%08X", static_cast<unsigned>(encoding));
  return buffer;
}

std::string_view EncodingNamesHelp() {
  return "utf8, utf16, utf16le, utf16be, utf32, utf32le, utf32be, latin1, cp1252, ascii, macroman,\n"
         "none (no encoding), or a host encoding number such as 0x0201";
}

}  // namespace zyltool
