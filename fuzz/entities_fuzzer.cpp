// The HTML/XML decoder on any text, and the round trip: decoding what either encoder wrote gives
// the text back, less what the encoders drop on purpose (control characters other than tab, LF
// and CR, a leading byte-order mark) and the three characters whose table name is a prefix of
// an earlier row's name ("&sup;", "&or;", "&sigma;" decode to that earlier row, by design).
//
// Input: one byte of configuration (options, encoding, which decoder), then the text.
#include "fuzz_support.h"

namespace {

// The UTF-8 bytes of the code points (valid UTF-8 in, valid UTF-8 out).
std::string Utf8(const std::u32string& points) {
  std::string out;
  for (const char32_t c : points) {
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      out += {static_cast<char>(0xC0 | (c >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
    } else if (c < 0x10000) {
      out += {static_cast<char>(0xE0 | (c >> 12)), static_cast<char>(0x80 | ((c >> 6) & 0x3F)),
              static_cast<char>(0x80 | (c & 0x3F))};
    } else {
      out += {static_cast<char>(0xF0 | (c >> 18)), static_cast<char>(0x80 | ((c >> 12) & 0x3F)),
              static_cast<char>(0x80 | ((c >> 6) & 0x3F)), static_cast<char>(0x80 | (c & 0x3F))};
    }
  }
  return out;
}

// Code points from the input: two bytes each, folded into the Unicode range without surrogates.
std::u32string Points(std::string_view bytes) {
  std::u32string points;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto raw = static_cast<char32_t>(static_cast<uint8_t>(bytes[i]) | (static_cast<uint8_t>(bytes[i + 1]) << 8));
    char32_t c = raw;
    if ((raw & 0xC000) == 0) c = raw & 0x7F;                  // mostly ASCII and markup
    if (raw >= 0xF000) c = 0x10000 + (raw & 0xFFF) * 0xFF;  // some beyond the BMP
    if (c >= 0xD800 && c <= 0xDFFF) c -= 0x800;
    // The text buffer drops byte-order marks wherever they stand in UTF-8, and the ready-tests
    // stop at a zero: both are the text buffer's business, not the codecs'.
    if (c == 0xFEFF || c == 0xFFFE) c = 0xFEFD;
    if (c == 0) c = ' ';
    points.push_back(c);
  }
  return points;
}

std::u32string Expected(const std::u32string& points) {
  std::u32string out;
  for (const char32_t c : points) {
    if (c < 32 && c != 9 && c != 10 && c != 13) continue;
    out.push_back(c == 8835 ? 178 : c == 8744 ? 170 : c == 963 ? 962 : c);
  }
  return out;
}

constexpr const char* kDecodeHTML = "DecodingFromHTMLZYL(s as string) as string";
constexpr const char* kDecodeXML = "DecodingFromXMLZYL(s as string) as string";

}  // namespace

ZYL_FUZZ_TARGET(entities) {
  zylfuzz::Input in(data, size);
  const uint8_t config = in.Byte();
  const std::string bytes = in.Rest();
  zylfuzz::Host host;
  const char* decoder = (config & 1) != 0 ? kDecodeXML : kDecodeHTML;

  // Any text, in any of the encodings the decoder reads.
  static constexpr uint32_t kEncodings[] = {memhost::kUTF8, memhost::kNoEncoding, memhost::kUTF16, memhost::kUTF32,
                                            memhost::kUTF16BE, memhost::kWindowsLatin1, memhost::kASCII, memhost::kUTF8};
  memhost::String raw(bytes, kEncodings[(config >> 1) & 7]);
  memhost::String decoded(memhost::Call<REALstringStruct*>(decoder, raw.get()));
  if (decoded.get() != nullptr) (void)memhost::ToUTF8(decoded.get());  // the result is well-formed text

  // The round trip through either encoder and either option.
  const std::u32string points = Points(bytes);
  memhost::String text(Utf8(points), memhost::kUTF8);
  // Option 1 of the HTML encoder keeps the markup characters as they are, so only its option 0
  // round-trips; the XML encoder escapes "&" under both.
  const bool xml = (config & 0x20) != 0;
  const int64_t options = xml && (config & 0x10) != 0 ? 1 : 0;
  memhost::String encoded(
      xml ? memhost::Call<REALstringStruct*>("EncodingToXMLZYL(s as string, options as integer = 0) as string", text.get(), options)
          : memhost::Call<REALstringStruct*>("EncodingToHTMLZYL(s as string, options as integer = 0) as string", text.get(), options));
  memhost::String back(memhost::Call<REALstringStruct*>(decoder, encoded.get()));
  std::u32string expected = Expected(points);
  // A text the encoder returns as it is (nothing to encode) keeps its control characters and mark.
  if (encoded.get() == text.get()) {
    expected.clear();
    for (const char32_t c : points) expected.push_back(c == 8835 ? 178 : c == 8744 ? 170 : c == 963 ? 962 : c);
  }
  if (back.utf8() != Utf8(expected)) {
    zylfuzz::Fail("decoding the encoder's result does not give the text back:\n" + text.utf8() + "\n" +
                  encoded.utf8() + "\n" + back.utf8());
  }
  if (memhost::TakeException()) zylfuzz::Fail("the entity codecs raised an exception");
}
