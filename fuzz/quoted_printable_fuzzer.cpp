// Quoted-printable decoding against a reference written from its algorithm, and the round trip:
// decoding what the encoder wrote (any line length) gives the bytes back with every line break
// (CR, LF, CR LF or LF CR) as one LF.
//
// Input: two bytes of line length, one byte choosing the string's encoding, then the bytes.
#include "fuzz_support.h"

namespace {

int Nybble(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// The decoder's walk over the bytes, with GETC giving -1 at the end.
std::string ReferenceDecode(std::string_view bytes) {
  std::string out;
  std::size_t at = 0;
  const auto get = [&]() -> int { return at < bytes.size() ? static_cast<uint8_t>(bytes[at++]) : -1; };
  const auto unget = [&](int c) {
    if (c != -1 && at > 0) --at;
  };
  // A break's second byte joins it when it is the other of CR and LF.
  const auto pairUp = [&](int first) {
    const int next = get();
    if (!((first == '\r' && next == '\n') || (first == '\n' && next == '\r'))) unget(next);
  };
  for (int c; (c = get()) != -1;) {
    if (c == '\r' || c == '\n') {
      pairUp(c);
      out.push_back('\n');
    } else if (c == '=') {
      int next = get();
      while (next == ' ' || next == '\t') next = get();
      if (next == -1) continue;
      if (next == '\r' || next == '\n') {
        pairUp(next);
        continue;
      }
      const int high = Nybble(next);
      const int low = Nybble(get());
      const int value = low | (high * 16);
      if (value != -1) out.push_back(static_cast<char>(value & 0xFF));
    } else {
      out.push_back(static_cast<char>(c));
    }
  }
  return out;
}

std::string OneLineFeedPerBreak(std::string_view bytes) {
  std::string out;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char c = bytes[i];
    if (c != '\r' && c != '\n') {
      out.push_back(c);
      continue;
    }
    out.push_back('\n');
    if (i + 1 < bytes.size() && (bytes[i + 1] == '\r' || bytes[i + 1] == '\n') && bytes[i + 1] != c) ++i;
  }
  return out;
}

}  // namespace

ZYL_FUZZ_TARGET(quoted_printable) {
  zylfuzz::Input in(data, size);
  const uint16_t lineLength = static_cast<uint16_t>(in.Word(2));
  const int64_t lineLen = lineLength < 0xFF00 ? lineLength % 200 : static_cast<int64_t>(lineLength) << 48;
  const uint32_t encoding = (in.Byte() & 1) != 0 ? memhost::kUTF8 : memhost::kNoEncoding;
  const std::string bytes = in.Rest();
  zylfuzz::Host host;
  memhost::String input(bytes, encoding);

  const memhost::String decoded(memhost::Call<REALstringStruct*>(
      "DecodingFromQuotedPrintableZYL(s as string) as string", input.get()));
  if (decoded.bytes() != ReferenceDecode(bytes)) zylfuzz::Fail("the decoder differs from the reference");
  const memhost::String encoded(memhost::Call<REALstringStruct*>(
      "EncodingToQuotedPrintableZYL(s as string, LineLen as integer = 72) as string", input.get(), lineLen));
  const std::string text = encoded.bytes();
  const int64_t limit = lineLen > 1 ? lineLen : 72;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find("\r\n", start), text.size());
    if (limit < 0x10000 && static_cast<int64_t>(end - start) > std::max<int64_t>(limit - 1, 4)) {
      zylfuzz::Fail("an encoded line is longer than the line length");
    }
    start = end + 2;
  }
  const memhost::String back(memhost::Call<REALstringStruct*>(
      "DecodingFromQuotedPrintableZYL(s as string) as string", encoded.get()));
  if (back.bytes() != OneLineFeedPerBreak(bytes)) zylfuzz::Fail("decoding the encoder's result does not give the text back");
  if (memhost::TakeException()) zylfuzz::Fail("the quoted-printable codecs raised an exception");
}
