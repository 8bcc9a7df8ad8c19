// HTML and XML character references: the two encoders, the decoder both languages share, the
// ready-tests and the tag remover.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "codecs/codecs.h"
#include "codecs/html_entity_table.h"
#include "codecs/stop_walk.h"
#include "plugin/output_buffer.h"
#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "text/text.h"
#include "text/utf8_scan.h"
#include "text/vector16.h"
#include "text/words.h"

namespace zyl {

namespace {

constexpr EntityRow escapecodesXML[6] = {{34, "quot"}, {38, "amp"}, {39, "apos"}, {60, "lt"}, {62, "gt"}, {0, nullptr}};

constexpr int kRowCount = static_cast<int>(std::size(escapecodes)) - 1;
static_assert(kRowCount == 253 && escapecodes[kRowCount].name == nullptr);

// " & ' < > as bits of a mask over the code points 0 to 62.
constexpr uint64_t kMarkupMask = (1ull << 34) | (1ull << 38) | (1ull << 39) | (1ull << 60) | (1ull << 62);
constexpr bool IsMarkup(uint32_t c) { return c < 63 && ((kMarkupMask >> c) & 1) != 0; }

constexpr bool IsByteOrderMark(uint32_t c) { return c == 0xFEFF || c == 0xFFFE; }
constexpr bool IsDroppedControl(uint32_t c) { return c < 32 && c != 9 && c != 10 && c != 13; }

// The UTF-32 ready-tests over zero-terminated text: a zero code point ends the test like the
// terminator does, so nothing after it is looked at. A null or empty text is ready.
bool StringIsHTMLready(const uint32_t* text) {
  if (text == nullptr) return true;
  for (; *text != 0; ++text) {
    if (*text > 127 || IsMarkup(*text)) return false;
  }
  return true;
}

bool StringIsXMLready(const uint32_t* text) {
  if (text == nullptr) return true;
  for (; *text != 0; ++text) {
    if (IsMarkup(*text)) return false;
  }
  return true;
}

// ---------------------------------------------------------------------------------------------
// Encoding: the text written for one code point, looked up in tables made at compile time.

// A piece of output: up to 15 ASCII bytes ("&thetasym;" is the longest entity), copied as a
// whole and counted by its length. No code point gives more than 15 bytes, so a block of n code
// points fits in n x kRoomPerCodePoint bytes, also when all 16 bytes of a piece are copied.
struct Piece {
  char text[15];
  uint8_t length;
};
static_assert(sizeof(Piece) == 16);
constexpr int64_t kRoomPerCodePoint = 16;
// Code points encoded between two checks of the output's room.
constexpr int64_t kBlock = 256;

constexpr Piece TextPiece(const char* text) {
  Piece piece{};
  while (text[piece.length] != 0) {
    piece.text[piece.length] = text[piece.length];
    ++piece.length;
  }
  return piece;
}

constexpr Piece EntityPiece(const char* name) {
  Piece piece = TextPiece("&");
  for (int k = 0; name[k] != 0; ++k) piece.text[piece.length++] = name[k];
  piece.text[piece.length++] = ';';
  return piece;
}

// What an encoder writes for a code point below 128, step by step as the encoders define it:
// ' as the numeric "&#39;" (deliberately, though the table has "apos") unless numericApostrophe
// is off; else the first row of table with that code, after skipping the leading rows below 128
// when skipMarkupRows is on; else nothing for a control character other than tab, LF and CR;
// else the character itself.
constexpr Piece AsciiPiece(uint32_t c, const EntityRow* table, bool skipMarkupRows, bool numericApostrophe) {
  if (c == 39 && numericApostrophe) return TextPiece("&#39;");
  const EntityRow* row = table;
  if (skipMarkupRows) {
    while (row->name != nullptr && row->code < 128) ++row;
  }
  for (; row->name != nullptr; ++row) {
    if (row->code == c) return EntityPiece(row->name);
  }
  if (IsDroppedControl(c)) return Piece{};
  Piece piece{};
  piece.text[0] = static_cast<char>(c);
  piece.length = 1;
  return piece;
}

using AsciiPieces = std::array<Piece, 128>;

constexpr AsciiPieces MakeAsciiPieces(const EntityRow* table, bool skipMarkupRows, bool numericApostrophe) {
  AsciiPieces pieces{};
  for (uint32_t c = 0; c < 128; ++c) pieces[c] = AsciiPiece(c, table, skipMarkupRows, numericApostrophe);
  return pieces;
}

// HTML: options 0 writes references for the markup, options 1 keeps it. XML: the markup always
// becomes references; options 1 writes ' as "&apos;".
constexpr AsciiPieces kHTMLPieces = MakeAsciiPieces(escapecodes, false, true);
constexpr AsciiPieces kHTMLKeepMarkupPieces = MakeAsciiPieces(escapecodes, true, false);
constexpr AsciiPieces kXMLPieces = MakeAsciiPieces(escapecodesXML, false, true);
constexpr AsciiPieces kXMLApostrophePieces = MakeAsciiPieces(escapecodesXML, false, false);

// The pieces of ASCII code points fit in 8 bytes (the longest is "&quot;"): 8 bytes are copied.
constexpr bool AsciiPiecesFit(const AsciiPieces& pieces) {
  for (const Piece& piece : pieces) {
    if (piece.length > 8) return false;
  }
  return true;
}
static_assert(AsciiPiecesFit(kHTMLPieces) && AsciiPiecesFit(kHTMLKeepMarkupPieces));
static_assert(AsciiPiecesFit(kXMLPieces) && AsciiPiecesFit(kXMLApostrophePieces));

constexpr uint32_t MaxEntityCode() {
  uint32_t highest = 0;
  for (int row = 0; row < kRowCount; ++row) highest = std::max(highest, escapecodes[row].code);
  return highest;
}
constexpr uint32_t kMaxEntityCode = MaxEntityCode();

// Rows whose code is below 128 all lead the table, so for a code point of 128 or more the
// first matching row is the same whether the leading rows are skipped or not.
constexpr bool AsciiRowsLead() {
  int row = 0;
  while (row < kRowCount && escapecodes[row].code < 128) ++row;
  for (; row < kRowCount; ++row) {
    if (escapecodes[row].code < 128) return false;
  }
  return true;
}
static_assert(AsciiRowsLead());

// For each code point up to the highest in the table: 1 + the first row with that code, or 0.
using RowIndex = std::array<uint8_t, kMaxEntityCode + 1>;
static_assert(kRowCount < 255, "row numbers must fit the index");
constexpr RowIndex MakeRowOfCode() {
  RowIndex index{};
  for (int row = 0; row < kRowCount; ++row) {
    uint8_t& slot = index[escapecodes[row].code];
    if (slot == 0) slot = static_cast<uint8_t>(row + 1);
  }
  return index;
}
constexpr RowIndex kRowOfCode = MakeRowOfCode();

constexpr std::array<Piece, kRowCount> MakeEntityPieces() {
  std::array<Piece, kRowCount> pieces{};
  for (int row = 0; row < kRowCount; ++row) pieces[row] = EntityPiece(escapecodes[row].name);
  return pieces;
}
constexpr std::array<Piece, kRowCount> kEntityPieces = MakeEntityPieces();

// Runs an encoder over s as UTF-32: nil when s holds no code points; s itself, with one more
// reference, when ready() finds nothing to encode (no copy is made); otherwise encode(code
// points, count) without a leading byte-order mark.
template <typename Encode>
REALstringStruct* EncodeText(REALstringStruct* s, bool (*ready)(const uint32_t*), Encode encode) {
  rbText text(s);
  const uint32_t* in = text.GetUTF32();
  int64_t length = text.LengthUTF32();
  if (length < 1) return nullptr;
  if (ready(in)) {
    REALLockString(s);
    return s;
  }
  if (IsByteOrderMark(in[0])) ++in, --length;
  return encode(in, length);
}

// Hands each code point with the output cursor to write(), which writes at most
// kRoomPerCodePoint units there and returns the new cursor. The room is made once per block.
template <typename Unit, typename Write>
void WriteInBlocks(OutputBuffer<Unit>& out, const uint32_t* in, int64_t length, Write write) {
  for (const uint32_t* const end = in + length; in < end;) {
    const uint32_t* const blockEnd = in + std::min<int64_t>(end - in, kBlock);
    Unit* cursor = out.Room((blockEnd - in) * kRoomPerCodePoint);
    for (; in < blockEnd; ++in) cursor = write(cursor, *in);
    out.SetCursor(cursor);
  }
}

// Writes "&#<c in decimal>;" at out and returns the end (at most 13 bytes). The code point is
// written unsigned.
char* WriteDecimalReference(char* out, uint32_t c) {
  char digits[10];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + c % 10);
    c /= 10;
  } while (c != 0);
  *out++ = '&';
  *out++ = '#';
  while (count > 0) *out++ = digits[--count];
  *out++ = ';';
  return out;
}

// ---------------------------------------------------------------------------------------------
// Results built from UTF-32.

// Values that are no Unicode scalar value are written as the old hosts' UTF-16 path writes them
// (a surrogate value is dropped, a value above U+10FFFF becomes U+FFFD), so that every host
// returns the same text and one such value never empties the whole result. Works in place.
int64_t KeepScalarValues(uint32_t* units, int64_t count) {
  const auto invalid = [](uint32_t c) { return c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF); };
  int64_t read = std::find_if(units, units + count, invalid) - units;
  int64_t written = read;
  for (; read < count; ++read) {
    const uint32_t c = units[read];
    if (c > 0x10FFFF) {
      units[written++] = 0xFFFD;
    } else if (c < 0xD800 || c > 0xDFFF) {
      units[written++] = c;
    }
  }
  return written;
}

REALstringStruct* BuildFromCodePoints(OutputBuffer<uint32_t>& out) {
  const int64_t count = KeepScalarValues(out.Data(), out.Length());
  if (count > INT64_MAX / 4) return nullptr;
  return REALBuildUnicodeString(out.Data(), count * 4, kEncodingUTF32);
}

// ---------------------------------------------------------------------------------------------
// Decoding.

// 0 when name[k] equals text[k] for every k below count, else -1; a count below 1 gives 0. The
// comparison stops at the end of name: a text longer than the name never matches it, also
// where the text holds a zero. A text shorter than the name matches the name's beginning, on
// purpose: that prefix rule is the decoder's.
int stringcompare(const char* name, const uint32_t* text, int64_t count) {
  for (int64_t k = 0; k < count; ++k) {
    const auto byte = static_cast<uint8_t>(name[k]);
    if (byte == 0 || byte != text[k]) return -1;
  }
  return 0;
}

// The rows grouped by the first byte of their name, each group in table order: a scan of one
// group finds the same first match as a scan of the whole table, since no row of another group
// can match a candidate's first code point.
struct RowsByInitial {
  std::array<uint16_t, 129> start{};  // the group of byte b is rows[start[b]] to rows[start[b + 1]]
  std::array<uint8_t, kRowCount> rows{};
};

constexpr RowsByInitial MakeRowsByInitial() {
  RowsByInitial groups{};
  for (int row = 0; row < kRowCount; ++row) ++groups.start[static_cast<uint8_t>(escapecodes[row].name[0]) + 1];
  for (int b = 0; b < 128; ++b) groups.start[b + 1] += groups.start[b];
  std::array<uint16_t, 129> filled = groups.start;
  for (int row = 0; row < kRowCount; ++row) {
    const auto initial = static_cast<uint8_t>(escapecodes[row].name[0]);
    groups.rows[filled[initial]++] = static_cast<uint8_t>(row);
  }
  return groups;
}
constexpr RowsByInitial kRowsByInitial = MakeRowsByInitial();

// The first row of the table whose name begins with the count code points of name; -1 if none.
int FindEntity(const uint32_t* name, int64_t count) {
  if (count < 1 || name[0] >= 128) return -1;
  const uint32_t initial = name[0];
  for (int k = kRowsByInitial.start[initial]; k < kRowsByInitial.start[initial + 1]; ++k) {
    const int row = kRowsByInitial.rows[k];
    if (stringcompare(escapecodes[row].name, name, count) == 0) return row;
  }
  return -1;
}

constexpr int HexValue(uint32_t c) {
  if (c >= '0' && c <= '9') return static_cast<int>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<int>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<int>(c - 'A' + 10);
  return -1;
}

// The value of the digits of a numeric reference, from digits up to the end of the name (the
// ";" or the end of the text would stop the reading there anyway, so at most 7 digits are read
// and nothing overflows). Hexadecimal digits are cut to their low 16 bits, decimal ones to their
// low 8 bits (so U+0131 counts as "1", deliberately); any other code point, the zero code point
// too, ends the reading. A "-" makes the value negative, returned as 0.
uint32_t ReadNumber(const uint32_t* digits, const uint32_t* end, bool hexadecimal) {
  bool negative = false;
  uint32_t value = 0;
  for (; digits < end; ++digits) {
    const uint32_t c = *digits & (hexadecimal ? 0xFFFFu : 0xFFu);
    if (c == '-') {
      negative = true;
      continue;
    }
    const int digit = hexadecimal ? HexValue(c) : (c >= '0' && c <= '9' ? static_cast<int>(c - '0') : -1);
    if (digit < 0) break;
    value = value * (hexadecimal ? 16 : 10) + static_cast<uint32_t>(digit);
  }
  return negative ? 0 : value;
}

// The code point a reference stands for, from its name (the count code points after the "&",
// without the ";"); 0 when it stands for none. A table row comes first, so "&#..." is read as a
// number only when no row matches.
uint32_t ReferenceValue(const uint32_t* name, int64_t count) {
  const int row = FindEntity(name, count);
  if (row >= 0) return escapecodes[row].code;
  if (name[0] != '#') return 0;
  const bool hexadecimal = count >= 2 && name[1] == 'x';  // "&#X" is read as decimal and fails
  return ReadNumber(name + (hexadecimal ? 2 : 1), name + count, hexadecimal);
}

// Decodes what follows the "&" at in[i] into out and returns where the walk goes on: after the
// reference, or after the "&", which is copied, when there is none.
int64_t DecodeReference(const uint32_t* in, int64_t length, int64_t i, OutputBuffer<uint32_t>& out) {
  // The name runs up to a ";" among the next 9 code points. At the very end of the text it may
  // also run to the end (fewer than 9 code points), deliberately.
  const uint32_t* name = in + i + 1;
  const int64_t window = std::min<int64_t>(length - i - 1, 9);
  const int64_t count = std::find(name, name + window, static_cast<uint32_t>(';')) - name;
  const bool delimited = count > 0 && (count < window || window < 9);
  const uint32_t value = delimited ? ReferenceValue(name, count) : 0;
  if (value == 0) {
    out.Push('&');
    return i + 1;
  }
  out.Push(value);
  return i + count + 2;
}

// ---------------------------------------------------------------------------------------------
// Ready-tests over the host string's bytes, and the tag remover.

constexpr std::array<bool, 256> MakeNotReadyBytes() {
  std::array<bool, 256> table{};
  for (int b = 0; b < 256; ++b) table[b] = b == 0 || b >= 128 || IsMarkup(static_cast<uint32_t>(b));
  return table;
}
constexpr std::array<bool, 256> kNotReadyByte = MakeNotReadyBytes();

int8_t IsReadyForMarkup(REALstringStruct* s) {
  if (s == nullptr) return true;
  switch (REALGetStringEncoding(s)) {
    case kEncodingASCII:
    case kEncodingUTF8:
    case kEncodingWindowsLatin1:
    case kEncodingMacRoman:
      break;
    default:
      return false;
  }
  rbData bytes(s);
  const uint8_t* p = bytes.Data();
  return std::none_of(p, p + bytes.Size(), [](uint8_t b) { return kNotReadyByte[b]; });
}

// Bytes that end a run of text copied outside tags.
constexpr std::array<bool, 256> MakeTagBytes() {
  std::array<bool, 256> table{};
  table[0] = table['<'] = table['>'] = true;
  return table;
}
constexpr std::array<bool, 256> kTagByte = MakeTagBytes();


// The offset of the first "<", ">" or zero byte among the n bytes at p; n when there is none.
// Eight bytes at a time while none of them is one.
int64_t FindTagByte(const uint8_t* p, int64_t n) {
  int64_t i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t word;
    memcpy(&word, p + i, sizeof word);
    if (HasZeroByte(word) || HasByte(word, '<') || HasByte(word, '>')) break;
  }
  while (i < n && !kTagByte[p[i]]) ++i;
  return i;
}

constexpr bool IsASCIILetter(uint8_t b) { return static_cast<uint8_t>((b | 0x20) - 'a') < 26; }

// Whether a "<" followed by the byte at p opens a tag: "/" or an ASCII letter. The end of the
// text reads as its terminating zero byte.
bool OpensTag(const uint8_t* p, const uint8_t* end) { return p < end && (*p == '/' || IsASCIILetter(*p)); }

// Walks a tag whose opening "<" stands just before p, to just after the ">" that closes it (or
// to the end). Inside, a "<" that opens a tag nests one level deeper and each ">" closes one; a
// double-quoted part hides both. Adds to *dropped every byte that a replacement stands for:
// all but the quoted parts, the quotes, the "<" of nested tags and the ">".
const uint8_t* SkipTag(const uint8_t* p, const uint8_t* end, int64_t* dropped) {
  int64_t depth = 1;
  bool inQuote = false;
  int64_t count = 0;
  while (p < end) {
    const uint8_t b = *p++;
    if (inQuote) {
      inQuote = b != '"';
    } else if (b == '"') {
      inQuote = true;
    } else if (b == '<' && OpensTag(p, end)) {
      ++depth;
    } else if (b == '>') {
      if (--depth == 0) break;
    } else {
      ++count;
    }
  }
  *dropped += count;
  return p;
}

}  // namespace

namespace {

// The HTML text of one code point at cursor (at most 16 bytes written); returns the new end.
inline char* WriteHTMLCodePoint(char* cursor, uint32_t c, const AsciiPieces& ascii) {
  if (c < 128) {
    memcpy(cursor, ascii[c].text, 8);
    return cursor + ascii[c].length;
  }
  if (c <= kMaxEntityCode && kRowOfCode[c] != 0) {
    const Piece& piece = kEntityPieces[kRowOfCode[c] - 1];
    memcpy(cursor, &piece, sizeof piece);
    return cursor + piece.length;
  }
  return WriteDecimalReference(cursor, c);
}

// Bytes an ASCII run may hold as they are: no control byte, no markup, nothing from 0x80 on (tab,
// LF and CR, which stay as they are too, take the way of single bytes).
inline vec16::S8 NotPlainLanes(vec16::V8 v) {
  using vec16::Splat;
  return (v < Splat(32)) | (v >= Splat(0x80)) | (v == Splat('&')) | (v == Splat('<')) | (v == Splat('>')) |
         (v == Splat('"')) | (v == Splat('\''));
}

// Bytes where the ready-test has to look: zero, markup, and everything from 0x80 on.
inline vec16::S8 ReadyStopLanes(vec16::V8 v) {
  using vec16::Splat;
  return (v == Splat(0)) | (v >= Splat(0x80)) | (v == Splat('&')) | (v == Splat('<')) | (v == Splat('>')) |
         (v == Splat('"')) | (v == Splat('\''));
}

inline bool IsMarkUTF8(const uint8_t* p) {  // U+FEFF or U+FFFE, which the wide forms leave out
  return p[0] == 0xEF && ((p[1] == 0xBB && p[2] == 0xBF) || (p[1] == 0xBF && p[2] == 0xBE));
}

// EncodingToHTML for text whose UTF-32 form is decoded from its UTF-8 form: the same steps on the
// code points of the UTF-8's well-formed prefix, without U+FEFF and U+FFFE, read from the UTF-8
// at once. Each multi-byte sequence is checked where it is read, and the first that is not
// well-formed ends the text.
REALstringStruct* EncodeHTMLFromUTF8(REALstringStruct* s, rbText& text, const AsciiPieces& ascii) {
  const uint8_t* in = text.GetUTF8Bytes();
  const int64_t n = text.LengthUTF8();
  // The ready-test: up to the first zero code point, nothing above 127 and no markup. A text of
  // no code points at all is nil, ready or not.
  bool ready = true, anyCodePoint = false;
  for (int64_t i = 0; i < n;) {
    if (i + 16 <= n) {
      const int skip = vec16::FirstLane(ReadyStopLanes(vec16::Load16(in + i)));
      if (skip > 0) {
        anyCodePoint = true;
        i += skip;
        continue;
      }
    }
    const uint8_t b = in[i];
    if (b >= 0x80) {
      const int length = WellFormedLengthAt(in, i, n);
      if (length == 0) break;
      if (IsMarkUTF8(in + i)) {
        i += 3;
        continue;
      }
      anyCodePoint = true;
      ready = false;
      break;
    }
    anyCodePoint = true;
    if (b == 0) break;
    if (IsMarkup(b)) {
      ready = false;
      break;
    }
    ++i;
  }
  if (!anyCodePoint) return nullptr;
  if (ready) {
    REALLockString(s);
    return s;
  }
  // Text is mostly ASCII, and accented letters grow about fourfold: half as much again is the
  // first reservation, grown by the chunks as they need. Each input byte gives at most
  // kRoomPerCodePoint output bytes: room for a chunk is made once.
  OutputBuffer<char> out(n + n / 2 + std::min<int64_t>(n, 4096));
  int64_t valid = n;  // until a sequence that is not well-formed ends it
  // Whole blocks go through the stop walk, which copies the plain bytes and hands each other
  // byte here: a character's reference, or the end of the well-formed prefix.
  const auto stops = [](const uint8_t* block) { return stopwalk::BlockStops(block, NotPlainLanes); };
  const auto step = [&](const uint8_t* stop, uint8_t* cursor, int) -> stopwalk::Taken {
    char* const start = reinterpret_cast<char*>(cursor);
    if (*stop < 0x80) return {1, static_cast<int>(WriteHTMLCodePoint(start, *stop, ascii) - start)};
    if (WellFormedLengthAt(stop, 0, n - (stop - in)) == 0) return {0, 0};
    int length = 0;
    const uint32_t c = DecodeWellFormedSequence(stop, &length);
    if (c == 0xFEFF || c == 0xFFFE) return {length, 0};
    return {length, static_cast<int>(WriteHTMLCodePoint(start, c, ascii) - start)};
  };
  constexpr int64_t kChunk = 4096;
  for (int64_t i = 0; i < valid;) {
    const int64_t chunkEnd = std::min(valid, i + kChunk);
    const int64_t walked = std::min(valid, chunkEnd + stopwalk::kReach);
    // The walk may run past the chunk's end by a block and write a whole one; the bytes after it
    // write one character's room at most, and a 16-byte store.
    const int64_t slack = walked - i >= stopwalk::kReach ? 2 * stopwalk::kBlock : 1;
    char* const base = out.Room((chunkEnd - i + slack) * kRoomPerCodePoint);
    int64_t used = 0;
    const bool whole = stopwalk::Walk(in, walked, i, reinterpret_cast<uint8_t*>(base), used, stops, step);
    char* cursor = base + used;
    if (!whole) valid = i;
    // The last bytes: runs of plain ASCII 16 bytes at a time where 16 can be read, else one
    // character at a time.
    while (i < chunkEnd && i < valid) {
      if (n - i >= 16) {
        const vec16::V8 v = vec16::Load16(in + i);
        const int64_t plain = std::min<int64_t>(vec16::FirstLane(NotPlainLanes(v)), std::min(chunkEnd, valid) - i);
        if (plain > 0) {
          memcpy(cursor, &v, sizeof v);
          cursor += plain;
          i += plain;
          continue;
        }
      }
      const uint8_t b = in[i];
      if (b < 0x80) {
        cursor = WriteHTMLCodePoint(cursor, b, ascii);
        ++i;
        continue;
      }
      if (WellFormedLengthAt(in, i, n) == 0) {
        valid = i;
        break;
      }
      int length = 0;
      const uint32_t c = DecodeWellFormedSequence(in + i, &length);
      i += length;
      if (c != 0xFEFF && c != 0xFFFE) cursor = WriteHTMLCodePoint(cursor, c, ascii);
    }
    out.SetCursor(cursor);
  }
  return REALBuildUnicodeString(out.Data(), out.Length(), kEncodingASCII);
}

}  // namespace

REALstringStruct* EncodingToHTML(REALstringStruct* s, int64_t options) {
  const AsciiPieces& ascii = (options & 1) != 0 ? kHTMLKeepMarkupPieces : kHTMLPieces;
  {
    rbText text(s);
    if (text.WideFormsComeFromUTF8()) return EncodeHTMLFromUTF8(s, text, ascii);
  }
  return EncodeText(s, StringIsHTMLready, [&](const uint32_t* in, int64_t length) {
    OutputBuffer<char> out(4 * length + 4096);
    WriteInBlocks(out, in, length, [&](char* cursor, uint32_t c) { return WriteHTMLCodePoint(cursor, c, ascii); });
    return REALBuildUnicodeString(out.Data(), out.Length(), kEncodingASCII);
  });
}

REALstringStruct* EncodingToXML(REALstringStruct* s, int64_t options) {
  return EncodeText(s, StringIsXMLready, [&](const uint32_t* in, int64_t length) {
    const AsciiPieces& ascii = (options & 1) != 0 ? kXMLApostrophePieces : kXMLPieces;
    OutputBuffer<uint32_t> out(length + 4096);
    WriteInBlocks(out, in, length, [&](uint32_t* cursor, uint32_t c) {
      if (c >= 128 || ascii[c].length == 1) {
        *cursor = c;
        return cursor + 1;
      }
      for (int k = 0; k < ascii[c].length; ++k) *cursor++ = static_cast<uint8_t>(ascii[c].text[k]);
      return cursor;
    });
    return BuildFromCodePoints(out);
  });
}

REALstringStruct* DecodingToHTML(REALstringStruct* s) {
  rbText text(s);
  const uint32_t* in = text.GetUTF32();
  const int64_t length = text.LengthUTF32();
  if (length < 1) return nullptr;
  OutputBuffer<uint32_t> out(length + 4096);
  int64_t i = IsByteOrderMark(in[0]) ? 1 : 0;
  while (i < length) {
    const int64_t ampersand = std::find(in + i, in + length, static_cast<uint32_t>('&')) - in;
    out.Append(in + i, ampersand - i);
    if (ampersand >= length) break;
    i = DecodeReference(in, length, ampersand, out);
  }
  return BuildFromCodePoints(out);
}

int8_t StringIsHTMLready(REALstringStruct* s) { return IsReadyForMarkup(s); }

int8_t StringIsXMLready(REALstringStruct* s) { return IsReadyForMarkup(s); }

REALstringStruct* RemoveHTMLTagsWith(REALstringStruct* s, REALstringStruct* replacement) {
  rbText text(s);
  const uint8_t* p = text.GetUTF8Bytes();
  const uint8_t* const end = p + text.LengthUTF8();
  rbText replacementText(replacement);
  // The replacement is zero-terminated text, as the result is: it ends at its first zero byte.
  const char* with = replacementText.GetUTF8Nil();
  const auto withLength = static_cast<int64_t>(with != nullptr ? strlen(with) : 0);

  OutputBuffer<char> out(text.LengthUTF8() + 10);
  while (p < end) {
    const int64_t run = FindTagByte(p, end - p);
    out.Append(reinterpret_cast<const char*>(p), run);
    p += run;
    if (p == end) break;
    const uint8_t b = *p++;
    if (b == 0) break;       // the result ends at its first zero byte: nothing after it counts
    if (b == '>') continue;  // a stray ">" outside any tag is dropped too, deliberately
    if (!OpensTag(p, end)) {
      out.Push('<');
      continue;
    }
    int64_t dropped = 0;
    p = SkipTag(p, end, &dropped);
    // One whole replacement for each byte dropped inside the tag, deliberately. Nothing else is
    // written while inside it, so they all go out together.
    if (with == nullptr || withLength == 0 || dropped == 0) continue;
    if (dropped > (kMaxHostLength - out.Length()) / withLength) return nullptr;
    char* cursor = out.Room(dropped * withLength);
    for (int64_t k = 0; k < dropped; ++k, cursor += withLength) memcpy(cursor, with, static_cast<size_t>(withLength));
    out.SetCursor(cursor);
  }
  out.Push('\0');
  return CString2RB(out.Data(), kEncodingUTF8);
}

REALstringStruct* RemoveHTMLTags(REALstringStruct* s) { return RemoveHTMLTagsWith(s, nullptr); }

}  // namespace zyl
