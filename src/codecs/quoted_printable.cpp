// Quoted-printable encoding and decoding of a string's bytes, and the mail subject as one "Q"
// encoded word.
#include <algorithm>
#include <array>
#include <cstring>
#include <cstdint>
#include <string>
#include <string_view>

#include "codecs/codecs.h"
#include "codecs/hex_digits.h"
#include "codecs/stop_walk.h"
#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "plugin/output_buffer.h"
#include "text/text.h"
#include "text/vector16.h"

namespace zyl {

namespace {

constexpr int kCR = 13;
constexpr int kLF = 10;
constexpr int64_t kDefaultLineLimit = 72;
constexpr int64_t kLargestLineLimit = 0x7FFFFFFF;

// What the encoder does with a byte.
enum CharacterClass : uint8_t {
  kEscaped = 0,          // "=XX"
  kLiteral = 1,          // letters, digits and punctuation that passes every gateway
  kWhiteSpace = 2,       // tab and space: held back until the next byte shows whether a break follows
  kLineBreak = 3,        // CR and LF
  kLiteralNotEbcdic = 4  // written like kLiteral; kept apart on purpose, without effect on the output
};

constexpr auto kClasses = [] {
  std::array<CharacterClass, 256> classes{};  // kEscaped unless listed
  for (int c = 37; c <= 126; ++c) classes[c] = kLiteral;
  for (const char c : std::string_view("!\"#$@[\\]^`{|}~")) classes[static_cast<uint8_t>(c)] = kLiteralNotEbcdic;
  classes['='] = kEscaped;
  classes['\t'] = classes[' '] = kWhiteSpace;
  classes[kLF] = classes[kCR] = kLineBreak;
  return classes;
}();

// What a byte becomes inside a run (see emit_run): itself, or "=" and its two digits, in the low
// four bytes of a word in memory order (so that one fixed-size store writes any of them), and
// its width in the high half.
constexpr auto kEncoded = [] {
  std::array<uint64_t, 256> encoded{};
  for (int b = 0; b < 256; ++b) {
    const bool escaped = kClasses[b] == kEscaped;
    const uint8_t bytes[4] = {escaped ? uint8_t{'='} : static_cast<uint8_t>(b),
                              escaped ? hexdigits::kPairs[b][0] : uint8_t{0},
                              escaped ? hexdigits::kPairs[b][1] : uint8_t{0}, 0};
    uint64_t word = uint64_t{escaped ? 3u : 1u} << 32;
    for (int k = 0; k < 4; ++k) word |= uint64_t{bytes[k]} << 8 * k;  // little-endian (vector16.h)
    encoded[b] = word;
  }
  return encoded;
}();

// Writes the byte b as kEncoded has it and returns the place after it (up to three bytes beyond
// that place are overwritten).
inline uint8_t* PutEncoded(uint8_t* to, uint8_t b) {
  const uint64_t word = kEncoded[b];
  const auto bytes = static_cast<uint32_t>(word);
  memcpy(to, &bytes, sizeof bytes);
  return to + (word >> 32);
}

// The working state of one encoding or decoding. The input is read through GETC, which returns
// -1 at the end without moving; pushing that -1 back does nothing, so input that ends in CR or
// LF ends cleanly. The output starts at input length + 1024 bytes and grows (see Reserve) when a
// step may not fit; every step makes room for what it writes before writing it.
class EncodeData {
 public:
  EncodeData(const uint8_t* input, int64_t length, int64_t lineLimit)
      : out_(length + 1024), in_(input), in_length_(length), line_limit_(lineLimit) {}
  EncodeData(const EncodeData&) = delete;
  EncodeData& operator=(const EncodeData&) = delete;

  void encode();
  void decode();
  const char* Output() const { return out_.Data(); }
  int64_t OutputLength() const { return out_.Length(); }

 private:
  // The most one encoding step writes: a pending byte and an escape, each after a soft break.
  static constexpr int64_t kLargestStep = 16;

  void Reserve(int64_t count) {
    if (out_.Spare() < count) Grow(count);
  }
  // Enough for the rest of the input at the ratio of output to input so far and an eighth more:
  // binary data, which grows to about 2.4 times its size, is moved once, not twice.
  [[gnu::noinline]] void Grow(int64_t count) {
    const double ratio = static_cast<double>(out_.Length()) / static_cast<double>(std::max<int64_t>(in_position_, 1));
    const auto projected = static_cast<int64_t>(ratio * 1.125 * static_cast<double>(in_length_ - in_position_));
    out_.Room(std::max(count, projected + 1024));
  }
  int GETC() { return in_position_ < in_length_ ? in_[in_position_++] : -1; }
  void UNGETC(int c) {
    if (c != -1 && in_position_ > 0) --in_position_;
  }
  // Both write into room that Reserve made.
  void PUTC(int c) {
    const char byte = static_cast<char>(c);
    out_.AppendInRoom(&byte, 1);
  }
  void PUTS(const uint8_t* bytes, int64_t count) { out_.Append(reinterpret_cast<const char*>(bytes), count); }

  void output_line_break() {
    PUTC(kCR);
    PUTC(kLF);
    line_length_ = 0;
  }
  // A soft break when n more characters would reach the limit's last column, which holds the "=".
  void check_line_length(int n) {
    if (line_length_ + n >= line_limit_ - 1) {
      PUTC('=');
      output_line_break();
      line_length_ = n;
    } else {
      line_length_ += n;
    }
  }
  void emit_literally(int c) {
    check_line_length(1);
    PUTC(c);
  }
  void emit_hex_encoded(int c) {
    check_line_length(3);
    PUTC('=');
    PUTS(hexdigits::kPairs[c].data(), 2);
  }
  void emit_pending_literally() {
    if (pending_ != 0) emit_literally(pending_);
    pending_ = 0;
  }
  void lay_out(const uint8_t* units, size_t count);
  void emit_run();

  // False unless c is CR or LF; then the other half of a CR LF or LF CR pair is taken with it.
  bool is_end_of_line_sequence(int c) {
    if (c != kCR && c != kLF) return false;
    const int next = read_decode_character();
    if (next != (c == kCR ? kLF : kCR)) UNGETC(next);
    return true;
  }
  int read_decode_character() { return GETC(); }
  static int hex_to_nybble(int c) { return c < 0 ? -1 : hexdigits::kNybble[c]; }
  void decode_escape();

  OutputBuffer<char> out_;
  const uint8_t* in_;
  int64_t in_length_;
  int64_t in_position_ = 0;
  int64_t line_limit_;
  int64_t line_length_ = 0;  // 64-bit, so that a limit near 2^31 cannot overflow the sum
  int pending_ = 0;
  int64_t error_count_ = 0;
};

// How many input bytes a run encodes before it lays them out; the scratch holds their units.
constexpr int64_t kRunChunk = 2048;

// Encodes the bytes from position up to the first CR or LF, or up to stop, into units (each byte
// through kEncoded: itself or "=XX", no line breaks) and returns the bytes written; position
// moves to the first byte not encoded. Sixteen bytes without a byte to escape, a tab or a line
// break are copied as they are. Writes up to 16 bytes beyond the units it returns.
size_t EncodeStretch(const uint8_t* in, int64_t& position, int64_t stop, uint8_t* units) {
  uint8_t* to = units;
  int64_t q = position;
  while (q + 16 <= stop) {
    const vec16::V8 v = vec16::Load16(in + q);
    const uint32_t odd = vec16::LaneMask((v < vec16::Splat(32)) | (v > vec16::Splat(126)) | (v == vec16::Splat('=')));
    if (odd == 0) {
      memcpy(to, &v, sizeof v);
      to += 16;
      q += 16;
      continue;
    }
    // Lanes before a line break only; the plain ones before the first odd lane go as they are,
    // those from it to the last odd lane through the table, and the next block starts after it.
    const uint32_t breaks = vec16::LaneMask((v == vec16::Splat(kCR)) | (v == vec16::Splat(kLF)));
    const int n = breaks != 0 ? __builtin_ctz(breaks) : 16;
    if (n == 16 && (odd & 0x000F) != 0 && (odd & 0xF000) != 0) {
      // Blocks with odd lanes near both ends (binary data) take all 16 lanes, a loop of fixed
      // length.
#pragma GCC unroll 16
      for (int k = 0; k < 16; ++k) to = PutEncoded(to, in[q + k]);
      q += 16;
      continue;
    }
    const uint32_t todo = odd & ((1u << n) - 1);
    memcpy(to, &v, sizeof v);
    if (todo == 0) {
      to += n;
      q += n;
      position = q;
      return static_cast<size_t>(to - units);  // a line break follows
    }
    const int first = __builtin_ctz(todo), last = 31 - __builtin_clz(todo);
    to += first;
    for (int k = first; k <= last; ++k) {
      to = PutEncoded(to, in[q + k]);
    }
    q += last + 1;
  }
  for (; q < stop && kClasses[in[q]] != kLineBreak; ++q) {
    to = PutEncoded(to, in[q]);
  }
  position = q;
  return static_cast<size_t>(to - units);
}

// Writes the encoded units at the current column with check_line_length's soft breaks: a unit
// goes on the line when it ends at or before the column limit - 2, else "=" CR LF comes first.
// A line of room columns is copied whole, cut short by one or two bytes when an escape would
// straddle its end ("=" starts every escape and appears nowhere else among the units). That
// needs room >= 3 (every unit fits on a fresh line, and the column never passes room); shorter
// limits go unit by unit.
void EncodeData::lay_out(const uint8_t* units, size_t count) {
  const int64_t room = line_limit_ - 2;
  if (room >= 3) {
    Reserve(static_cast<int64_t>(count) + 3 * (static_cast<int64_t>(count) / (room - 2) + 2));
    size_t p = 0;
    while (static_cast<int64_t>(count - p) > room - line_length_) {
      size_t end = p + static_cast<size_t>(room - line_length_);
      if (end > p && units[end - 1] == '=') {
        end -= 1;
      } else if (end > p + 1 && units[end - 2] == '=') {
        end -= 2;
      }
      PUTS(units + p, static_cast<int64_t>(end - p));
      PUTS(reinterpret_cast<const uint8_t*>("=\r\n"), 3);
      line_length_ = 0;
      p = end;
    }
    PUTS(units + p, static_cast<int64_t>(count - p));
    line_length_ += static_cast<int64_t>(count - p);
    return;
  }
  Reserve(4 * static_cast<int64_t>(count));
  for (size_t p = 0; p < count;) {
    const int width = units[p] == '=' ? 3 : 1;
    check_line_length(width);
    PUTS(units + p, width);
    p += static_cast<size_t>(width);
  }
}

// Writes the bytes that follow up to the next line break as emit_literally and emit_hex_encoded
// would, each through one table instead of a branch per class. A space or tab is part of the
// run when the byte after it is no line break: held back, it would be written literally, at the
// same column, as soon as that byte is read. One before a line break or at the very end ends
// the run and goes the way of the held-back byte. Long runs go kRunChunk bytes at a time.
void EncodeData::emit_run() {
  uint8_t units[3 * kRunChunk + 16];  // not cleared: only the units written are read
  for (;;) {
    const int64_t start = in_position_;
    size_t count = EncodeStretch(in_, in_position_, std::min(in_length_, start + kRunChunk), units);
    const bool ended = in_position_ == in_length_ || kClasses[in_[in_position_]] == kLineBreak;
    // A space or tab right before the line break or the end is held back.
    if (ended && in_position_ > start && kClasses[in_[in_position_ - 1]] == kWhiteSpace) {
      --in_position_;
      --count;
    }
    lay_out(units, count);
    if (ended) return;
  }
}

void EncodeData::encode() {
  int64_t hard_breaks = 0;
  for (int c; (c = GETC()) != -1;) {
    Reserve(kLargestStep);
    switch (kClasses[c]) {
      case kWhiteSpace:
        if (pending_ != 0) emit_literally(pending_);
        pending_ = c;
        break;
      case kLiteral:
      case kLiteralNotEbcdic:
        emit_pending_literally();
        emit_literally(c);
        emit_run();
        break;
      case kEscaped:
        emit_pending_literally();
        emit_hex_encoded(c);
        emit_run();
        break;
      case kLineBreak:
        ++hard_breaks;
        is_end_of_line_sequence(c);
        // White space before a line break is always encoded.
        if (pending_ != 0) emit_hex_encoded(pending_);
        pending_ = 0;
        output_line_break();
        break;
    }
  }
  // Trailing white space at the very end stays literal, on purpose.
  Reserve(kLargestStep);
  emit_pending_literally();
  if (hard_breaks > 0 && line_length_ > 0) {
    PUTC('=');
    output_line_break();
  }
}

// After "=": spaces and tabs are skipped; a line end makes a soft break; anything else is read
// as two digits. The value is l | h * 16 as plain int arithmetic, on purpose: an invalid high
// digit (-1) with a valid low one gives the byte 0xF0 + l, and with the low digit F or an
// invalid one the whole value is -1, which writes nothing.
void EncodeData::decode_escape() {
  int c = read_decode_character();
  while (c == ' ' || c == '\t') c = read_decode_character();
  if (is_end_of_line_sequence(c)) return;
  const int h = hex_to_nybble(c);
  const int l = hex_to_nybble(read_decode_character());
  if (h < 0 || l < 0) ++error_count_;
  const int value = l | (h * 16);
  if (value != -1) PUTC(value & 0xFF);
}

// The decoder writes at most one byte for each byte it reads, so the output (input length + 1024
// bytes) never grows. The walk takes the common steps (an escape of two digits, a soft break "="
// CR LF, a line end) and hands back any other escape, which decode_escape's one-step rules read;
// the last bytes go 16 at a time through the same steps while 16 are left (short texts are all
// last bytes), and the rest through the byte loop at the end.
void EncodeData::decode() {
  const auto stopLanes = [](vec16::V8 v) {
    return (v == vec16::Splat('=')) | (v == vec16::Splat(kCR)) | (v == vec16::Splat(kLF));
  };
  const auto stops = [&](const uint8_t* block) { return stopwalk::BlockStops(block, stopLanes); };
  const auto step = [](const uint8_t* stop, uint8_t* cursor, int) -> stopwalk::Taken {
    if (*stop != '=') {
      *cursor = kLF;  // decoded text always has LF line ends
      return {1 + (stop[1] == (*stop == kCR ? kLF : kCR)), 1};
    }
    const uint8_t next = stop[1], after = stop[2];
    const int h = hexdigits::kNybble[next], l = hexdigits::kNybble[after];
    // Escapes come in pairs in encoded text (a character of two bytes): both at once.
    if (stop[3] == '=') {
      const int h2 = hexdigits::kNybble[stop[4]], l2 = hexdigits::kNybble[stop[5]];
      if ((h | l | h2 | l2) >= 0) {
        cursor[0] = static_cast<uint8_t>(h * 16 + l);
        cursor[1] = static_cast<uint8_t>(h2 * 16 + l2);
        return {6, 2};
      }
    }
    // Neither two digits nor a soft break, in one test: bad digits give a negative h | l, and
    // notSoft is negative unless CR LF follows.
    const int notSoft = -((next ^ kCR) | (after ^ kLF));
    if (__builtin_expect((h | l) < 0 && notSoft < 0, 0)) return {0, 0};
    *cursor = static_cast<uint8_t>(h * 16 + l);
    return {3, (h | l) >= 0};
  };
  // The output never grows here: its start stays put through the walk.
  const auto start = reinterpret_cast<uint8_t*>(out_.Data());
  int64_t position = in_position_;
  int64_t used = out_.Length();
  while (!stopwalk::Walk(in_, in_length_, position, start, used, stops, step)) {
    in_position_ = position + 1;
    out_.SetCursor(out_.Data() + used);
    decode_escape();
    position = in_position_;
    used = out_.Length();
  }
  in_position_ = position;
  out_.SetCursor(out_.Data() + used);
  // At most one byte out per byte in: a 16-byte store where 16 bytes are left to read fits.
  while (in_length_ - in_position_ >= 16) {
    const vec16::V8 v = vec16::Load16(in_ + in_position_);
    const int plain = vec16::FirstLane(stopLanes(v));
    char* const cursor = out_.Cursor();  // the first reservation holds it (see above)
    if (plain > 0) {
      memcpy(cursor, &v, sizeof v);
      in_position_ += plain;
      out_.Advance(plain);
      continue;
    }
    const stopwalk::Taken taken = step(in_ + in_position_, reinterpret_cast<uint8_t*>(cursor), 0);
    if (taken.read == 0) {
      ++in_position_;
      decode_escape();
      continue;
    }
    in_position_ += taken.read;
    out_.Advance(taken.written);
  }
  for (int c; (c = read_decode_character()) != -1;) {
    if (c == '=') {
      decode_escape();
    } else if (is_end_of_line_sequence(c)) {
      PUTC(kLF);
    } else {
      PUTC(c);
    }
  }
}

}  // namespace

REALstringStruct* EncodingToQuotedPrintable2(REALstringStruct* s, int64_t LineLen) {
  if (s == nullptr) return nullptr;
  rbData bytes(s);
  const int64_t limit = LineLen > 1 ? std::min(LineLen, kLargestLineLimit) : kDefaultLineLimit;
  EncodeData data(bytes.Data(), bytes.Size(), limit);
  data.encode();
  return REALBuildUnicodeString(data.Output(), data.OutputLength(), kEncodingASCII);
}

REALstringStruct* DecodingToQuotedPrintable(REALstringStruct* s) {
  if (s == nullptr) return nullptr;
  rbData bytes(s);
  EncodeData data(bytes.Data(), bytes.Size(), kDefaultLineLimit);  // the limit is not used
  data.decode();
  return REALBuildUnicodeString(data.Output(), data.OutputLength(), kEncodingASCII);
}

REALstringStruct* EncodeEmailSubjectZYL(REALstringStruct* s) {
  if (s == nullptr) return nullptr;
  rbText text(s);
  const uint8_t* bytes = text.GetUTF8Bytes();
  const int64_t length = text.LengthUTF8();
  // Only a control byte triggers the encoding: printable ASCII and bytes of 128 or more alone
  // leave the subject as it is, on purpose.
  if (std::none_of(bytes, bytes + length, [](uint8_t b) { return b >= 1 && b <= 31; })) {
    REALLockString(s);
    return s;
  }
  std::string out;
  out.reserve(static_cast<size_t>(length) * 3 + 12);
  out += "=?utf-8?Q?";
  for (int64_t i = 0; i < length; ++i) {
    const uint8_t b = bytes[i];
    if (b == '=' || b == '_' || b >= 128) {
      out += '=';
      out.append(reinterpret_cast<const char*>(hexdigits::kPairs[b].data()), 2);
    } else {
      out += b == ' ' ? '_' : static_cast<char>(b);
    }
  }
  out += "?=";
  return REALBuildUnicodeString(out.data(), static_cast<int64_t>(out.size()), kEncodingASCII);
}

}  // namespace zyl
