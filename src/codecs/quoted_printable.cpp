// Quoted-printable encoding and decoding of a string's bytes, and the mail subject as one "Q"
// encoded word.
#include <algorithm>
#include <array>
#include <cstring>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "codecs/codecs.h"
#include "codecs/hex_digits.h"
#include "codecs/stop_walk.h"
#include "plugin/builders.h"
#include "plugin/host_api.h"
#include "text/text.h"
#include "text/vector16.h"
#include "text/words.h"

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

// Bytes that may start a stretch of literals copied whole: printable ASCII but "=". Four of them
// in a row are looked for first, one test that binary data seldom passes and prose mostly does.
constexpr auto kRunStart = [] {
  std::array<uint8_t, 256> start{};
  for (int b = 32; b <= 126; ++b) start[b] = b != '=' ? 1 : 0;
  return start;
}();

// Whether one of the eight bytes at p is a CR or an LF.
inline bool HasLineBreak(const uint8_t* p) {
  const uint64_t word = Load8(p);
  return HasByte(word, kCR) || HasByte(word, kLF);
}

// What a byte becomes inside a run (see emit_run): itself, or "=" and its two digits. Four bytes
// per entry so that one fixed-size copy writes any of them.
struct Encoded {
  uint8_t bytes[4];
  int width;
};

constexpr auto kEncoded = [] {
  std::array<Encoded, 256> encoded{};
  for (int b = 0; b < 256; ++b) {
    if (kClasses[b] == kEscaped) {
      encoded[b] = {{'=', hexdigits::kPairs[b][0], hexdigits::kPairs[b][1], 0}, 3};
    } else {
      encoded[b] = {{static_cast<uint8_t>(b), 0, 0, 0}, 1};
    }
  }
  return encoded;
}();

// The working state of one encoding or decoding. The input is read through GETC, which returns
// -1 at the end without moving; pushing that -1 back does nothing, so input that ends in CR or
// LF ends cleanly. The output starts at input length + 1024 bytes and doubles when a step may
// not fit; every step makes room for what it writes before writing it.
class EncodeData {
 public:
  EncodeData(const uint8_t* input, int64_t length, int64_t lineLimit)
      : in_(input), in_length_(length), line_limit_(lineLimit) {
    // Not cleared: nothing is read before it is written.
    out_.reset(new char[static_cast<size_t>(length) + 1024]);
    capacity_ = static_cast<size_t>(length) + 1024;
  }

  void encode();
  void decode();
  const char* Output() const { return out_.get(); }
  int64_t OutputLength() const { return static_cast<int64_t>(used_); }

 private:
  // The most one encoding step writes: a pending byte and an escape, each after a soft break.
  static constexpr int64_t kLargestStep = 16;

  void Reserve(int64_t count) {
    if (static_cast<int64_t>(capacity_ - used_) < count) {
      const size_t grown = std::max(capacity_ * 2, used_ + static_cast<size_t>(count));
      std::unique_ptr<char[]> moved(new char[grown]);
      memcpy(moved.get(), out_.get(), used_);
      out_ = std::move(moved);
      capacity_ = grown;
    }
  }
  int GETC() { return in_position_ < in_length_ ? in_[in_position_++] : -1; }
  void UNGETC(int c) {
    if (c != -1 && in_position_ > 0) --in_position_;
  }
  void PUTC(int c) { out_[used_++] = static_cast<char>(c); }
  void PUTS(const uint8_t* bytes, int64_t count) {
    memcpy(out_.get() + used_, bytes, static_cast<size_t>(count));
    used_ += static_cast<size_t>(count);
  }

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

  std::unique_ptr<char[]> out_;
  size_t capacity_ = 0;
  size_t used_ = 0;
  const uint8_t* in_;
  int64_t in_length_;
  int64_t in_position_ = 0;
  int64_t line_limit_;
  int64_t line_length_ = 0;  // 64-bit, so that a limit near 2^31 cannot overflow the sum
  int pending_ = 0;
  int64_t error_count_ = 0;
};

// Writes the bytes that follow up to the next line break, each as emit_literally or
// emit_hex_encoded would, through one table instead of a branch per class. A space or tab is
// part of the run when the byte after it is no line break: held back, it would be written
// literally, at the same column, as soon as that byte is read. One before a line break or at the
// very end ends the run and goes the way of the held-back byte.
void EncodeData::emit_run() {
  // The state lives in locals here: the compiler cannot keep members in registers across the
  // byte stores. The soft break is check_line_length's.
  const uint8_t* const in = in_;
  const int64_t length = in_length_;
  const int64_t last_column = line_limit_ - 1;
  int64_t position = in_position_;
  int64_t column = line_length_;
  size_t used = used_;
  auto* out = reinterpret_cast<uint8_t*>(out_.get());
  size_t capacity = capacity_;
  for (; position < length; ++position) {
    // A stretch of printable bytes that fits on the line goes out whole: 16 bytes are looked at,
    // the stretch ends before the first byte that is no literal (a space or tab at its end stays
    // out when a line break or the end follows it, as below).
    if (position + 16 <= length &&
        (kRunStart[in[position]] & kRunStart[in[position + 1]] & kRunStart[in[position + 2]] &
         kRunStart[in[position + 3]]) != 0 &&
        capacity - used >= 16 + kLargestStep && column + 1 < last_column) {
      const vec16::V8 v = vec16::Load16(in + position);
      int plain = vec16::FirstLane((v < vec16::Splat(32)) | (v > vec16::Splat(126)) | (v == vec16::Splat('=')));
      if (plain > 0 && in[position + plain - 1] == ' ' &&
          (position + plain == length || kClasses[in[position + plain]] == kLineBreak)) {
        --plain;
      }
      plain = static_cast<int>(std::min<int64_t>(plain, last_column - 1 - column));
      if (plain > 1) {
        memcpy(out + used, &v, sizeof v);
        used += static_cast<size_t>(plain);
        column += plain;
        position += plain - 1;
        continue;
      }
    }
    // Eight bytes without a line break among them or right after them, far enough from the
    // line's end that no soft break can fall among them: each goes out through the table
    // without a test (a space or tab among them is followed by no line break, so it is a literal).
    if (position + 9 <= length && column + 3 * 8 < last_column && capacity - used >= 3 * 8 + kLargestStep &&
        !HasLineBreak(in + position) && kClasses[in[position + 8]] != kLineBreak) {
      for (int k = 0; k < 8; ++k) {
        const Encoded& encoded = kEncoded[in[position + k]];
        memcpy(out + used, encoded.bytes, sizeof encoded.bytes);
        used += static_cast<size_t>(encoded.width);
        column += encoded.width;
      }
      position += 7;
      continue;
    }
    const uint8_t b = in[position];
    const CharacterClass c = kClasses[b];
    if (c == kLineBreak) break;
    if (c == kWhiteSpace && (position + 1 == length || kClasses[in[position + 1]] == kLineBreak)) break;
    if (capacity - used < kLargestStep) {
      used_ = used;
      Reserve(kLargestStep);
      out = reinterpret_cast<uint8_t*>(out_.get());
      capacity = capacity_;
    }
    const Encoded& encoded = kEncoded[b];
    if (column + encoded.width >= last_column) {
      memcpy(out + used, "=\r\n", 3);
      used += 3;
      column = encoded.width;
    } else {
      column += encoded.width;
    }
    memcpy(out + used, encoded.bytes, sizeof encoded.bytes);
    used += static_cast<size_t>(encoded.width);
  }
  in_position_ = position;
  line_length_ = column;
  used_ = used;
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
// the last bytes go through the byte loop at the end.
void EncodeData::decode() {
  const auto stops = [](const uint8_t* block) {
    return stopwalk::BlockStops(block, [](vec16::V8 v) {
      return (v == vec16::Splat('=')) | (v == vec16::Splat(kCR)) | (v == vec16::Splat(kLF));
    });
  };
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
  int64_t position = in_position_;
  auto used = static_cast<int64_t>(used_);
  while (!stopwalk::Walk(in_, in_length_, position, reinterpret_cast<uint8_t*>(out_.get()), used, stops, step)) {
    in_position_ = position + 1;
    used_ = static_cast<size_t>(used);
    decode_escape();
    position = in_position_;
    used = static_cast<int64_t>(used_);
  }
  in_position_ = position;
  used_ = static_cast<size_t>(used);
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
