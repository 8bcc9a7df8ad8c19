// URL encoding and decoding against a reference written from their algorithms, and the round
// trip: decoding (options 0) what the encoder wrote gives the bytes back.
//
// Input: one byte of options and encoding, then the bytes of the string.
#include "fuzz_support.h"

namespace {

constexpr std::string_view kPlain = "!*+-.@_~";

bool IsPlain(uint8_t b) {
  return (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || (b >= '0' && b <= '9') ||
         kPlain.find(static_cast<char>(b)) != std::string_view::npos;
}

std::string ReferenceEncode(std::string_view bytes) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (const char c : bytes) {
    const auto b = static_cast<uint8_t>(c);
    if (IsPlain(b)) {
      out.push_back(c);
    } else {
      out += {'%', kHex[b >> 4], kHex[b & 15]};
    }
  }
  return out;
}

int HexValue(std::string_view bytes, std::size_t at) {
  if (at >= bytes.size()) return 0;
  const char c = bytes[at];
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 0;
}

std::string ReferenceDecode(std::string_view bytes, int64_t options) {
  std::string out;
  for (std::size_t i = 0; i < bytes.size();) {
    if (bytes[i] == '%') {
      out.push_back(static_cast<char>((HexValue(bytes, i + 1) * 16 + HexValue(bytes, i + 2)) & 0xFF));
      i += 3;
    } else {
      out.push_back((bytes[i] == '+' && (options & 1) != 0) ? ' ' : bytes[i]);
      i += 1;
    }
  }
  return out;
}

memhost::String Encode(REALstringStruct* s) {
  return memhost::String(memhost::Call<REALstringStruct*>("EncodingToURLZYL(s as string) as string", s));
}

memhost::String Decode(REALstringStruct* s, int64_t options) {
  return memhost::String(memhost::Call<REALstringStruct*>(
      "DecodingFromURLZYL(s as string, options as integer) as string", s, options));
}

}  // namespace

ZYL_FUZZ_TARGET(url) {
  zylfuzz::Input in(data, size);
  const uint8_t config = in.Byte();
  const int64_t options = (config & 1) != 0 ? 1 : (config & 2) != 0 ? INT64_MIN + 1 : 0;
  const uint32_t encoding = (config & 4) != 0 ? memhost::kUTF8 : memhost::kNoEncoding;
  const std::string bytes = in.Rest();
  zylfuzz::Host host;
  memhost::String input(bytes, encoding);

  const memhost::String decoded = Decode(input.get(), options);
  if (decoded.bytes() != ReferenceDecode(bytes, options)) zylfuzz::Fail("DecodingFromURLZYL differs from the reference");
  const memhost::String encoded = Encode(input.get());
  if (encoded.bytes() != ReferenceEncode(bytes)) zylfuzz::Fail("EncodingToURLZYL differs from the reference");
  if (!bytes.empty() && encoded.encoding() != memhost::kASCII) zylfuzz::Fail("the encoder's result is not ASCII");
  const memhost::String back = Decode(encoded.get(), 0);
  if (back.bytes() != bytes) zylfuzz::Fail("decoding the encoder's result does not give the bytes back");
  if (memhost::TakeException()) zylfuzz::Fail("the URL codecs raised an exception");
}
