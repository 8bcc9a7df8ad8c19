// encodings.h - names of the host's text encodings, for reading arguments and printing results.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zyltool {

inline constexpr uint32_t kUTF8 = 0x08000100;
inline constexpr uint32_t kNoEncoding = 0xFFFF;

// ParseEncoding: an encoding given by name or number. Names are matched without case, blanks,
// '-' or '_': utf8, utf16, utf16le, utf16be, utf32, utf32le, utf32be, latin1 (iso88591),
// cp1252 (windows1252), ascii, macroman, none (binary). Numbers: decimal or 0x hex
// ("0x0201"). Nullopt for anything else.
std::optional<uint32_t> ParseEncoding(std::string_view text);

// EncodingName: the display name of an encoding number ("UTF-8", "ISO-8859-1", "no encoding");
// an unknown number prints as "encoding 0x1234ABCD".
std::string EncodingName(uint32_t encoding);

// EncodingNamesHelp: the names ParseEncoding accepts, for the help text.
std::string_view EncodingNamesHelp();

}  // namespace zyltool
