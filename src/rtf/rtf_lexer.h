// The RTF lexer: one control word with its parameter, the font and colour tables, and code pages.
//
// Every function works on a zero-terminated byte buffer and a signed position into it. After a
// call the position names the last byte the call consumed; the caller resumes at the next byte.
// A zero byte ends every scan and is never consumed, so nothing here reads past the terminator,
// and a caller that walks further than the first zero (the import does) meets that zero next.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace zyl {

// One colour-table entry: the values of "\red", "\green" and "\blue" as written (not clamped;
// 0 when absent, -1 for a word without a number).
struct RTFColor {
  int32_t red = 0;
  int32_t green = 0;
  int32_t blue = 0;
  bool operator==(const RTFColor&) const = default;
};

// Colour and font numbers are the low 32 bits of the numbers in the text.
using RTFColorTable = std::unordered_map<uint32_t, RTFColor>;
using RTFFontTable = std::unordered_map<uint32_t, std::string>;

// ForwardOverDelimiter: whether the byte at i ends the control word before it. "\", "{", "}" and
// ";" belong to the caller (i - 1), as does a zero byte; CR is consumed (i), together with the
// byte after it when the byte after that is LF (i + 1), a look two bytes ahead that is kept on
// purpose; any other byte is consumed as the delimiter (i).
int64_t ForwardOverDelimiter(const uint8_t* text, int64_t i);

// ReadCommand: reads the control word whose first byte (the one after the backslash) is at p.
// The word is the run of lower-case letters from p; an ignorable destination "{\*\name" gives
// "*\name". The parameter is -1 when there is none; digits are folded in wrapping unsigned 64-bit
// arithmetic (exact in the low bits). After "-" the digits fold from -1 and the result is negated,
// so "-5" gives 5, "-12" gives 88 and a bare "-" gives 1: that arithmetic is deliberate. "\'"
// gives the word "u" with the upper-case hex digits folded from -1 ("\'E9" is -23; the byte after
// the digits is consumed too); a backslash before CR or LF gives "par". Returns the position of
// the word's last byte, or of its delimiter when that is consumed. "\fs24\b" at the "f" gives
// "fs", 24 and the position of the "4".
// The word points into the text or at a static literal; it stays valid as long as the text.
int64_t ReadCommand(const uint8_t* text, int64_t p, std::string_view& word, int64_t& parameter);

// FindEncoding: the host encoding number of a Windows or Macintosh code page ("\ansicpg");
// 1280 (Windows Latin 1) for every code page without one of its own.
uint32_t FindEncoding(int64_t codePage);

// ReadColorTable: reads "{\colortbl ...}" from the position of the word's last byte (or its
// delimiter). Entries are numbered 0, 1, 2 ... in the order of their ";", so the usual leading
// empty entry becomes entry 0, black. Consumes the table's closing "}" (and by the delimiter rule
// possibly the byte after it); text that ends inside the table gives what was read so far.
RTFColorTable ReadColorTable(const uint8_t* text, int64_t& position);

// ReadFontTable: reads "{\fonttbl ...}" from the position of the word's last byte (or its
// delimiter): the name before each ";" under the number of the "\f" before it. A group that
// opens with any other word ("{\*\panose ...}", "{\falt ...}") is skipped; other words are
// ignored; a hex escape in a name is read as a word and dropped. Consumes the table's closing "}"
// like ReadColorTable; text that ends inside the table gives what was read so far.
RTFFontTable ReadFontTable(const uint8_t* text, int64_t& position);

}  // namespace zyl
