// memhost_encodings.cpp - text conversions between the host's encodings.
//
// Unicode forms are decoded and encoded here; 8-bit and multi-byte code pages go through the C
// library's iconv. Every conversion is strict: an invalid source byte or a character the target
// cannot hold makes it fail, nothing is replaced or guessed.
#include "memhost_internal.h"

#include <cerrno>

namespace memhost::detail {
namespace {

enum class Form : uint8_t { None, Latin1, Ascii, Utf8, Utf16LE, Utf16BE, Utf32LE, Utf32BE, Iconv, Unsupported };

struct EncodingInfo {
  uint32_t number;
  Form form;
  const char* charset;  // glibc's name, for Form::Iconv
  bool multiByte;       // a character may take more than one byte (Len counts code points)
};

// The code-page encodings are the ones an RTF document can name. glibc has no Mac Arabic, Hebrew,
// Greek or Turkish: those are known (Len counts their bytes) but every conversion of them fails.
constexpr EncodingInfo kEncodings[] = {
    {kMacRoman, Form::Iconv, "MACINTOSH", false},  // also code page 10000
    {kUTF16, Form::Utf16LE, nullptr, true},
    {kISOLatin1, Form::Latin1, nullptr, false},
    {kWindowsLatin1, Form::Iconv, "CP1252", false},  // also code page 1252 (1280)
    {kASCII, Form::Ascii, nullptr, false},
    {kNoEncoding, Form::None, nullptr, false},
    {kUTF8, Form::Utf8, nullptr, true},
    {kUTF32, Form::Utf32LE, nullptr, true},
    {kUTF16BE, Form::Utf16BE, nullptr, true},
    {kUTF16LE, Form::Utf16LE, nullptr, true},
    {kUTF32BE, Form::Utf32BE, nullptr, true},
    {kUTF32LE, Form::Utf32LE, nullptr, true},
    {1024, Form::Iconv, "CP437", false},
    {1040, Form::Iconv, "CP850", false},
    {1042, Form::Iconv, "CP852", false},
    {1045, Form::Iconv, "CP860", false},
    {1047, Form::Iconv, "CP862", false},
    {1048, Form::Iconv, "CP863", false},
    {1049, Form::Iconv, "CP864", false},
    {1050, Form::Iconv, "CP865", false},
    {1051, Form::Iconv, "CP866", false},
    {1053, Form::Iconv, "CP874", false},
    {1056, Form::Iconv, "CP932", true},
    {1057, Form::Iconv, "CP936", true},
    {1058, Form::Iconv, "CP949", true},
    {1059, Form::Iconv, "CP950", true},
    {1281, Form::Iconv, "CP1250", false},
    {1282, Form::Iconv, "CP1251", false},
    {1283, Form::Iconv, "CP1253", false},
    {1284, Form::Iconv, "CP1254", false},
    {1285, Form::Iconv, "CP1255", false},
    {1286, Form::Iconv, "CP1256", false},
    {1287, Form::Iconv, "CP1257", false},
    {1288, Form::Iconv, "CP1258", false},
    {1296, Form::Iconv, "JOHAB", true},
    // Mac Japanese: glibc has no Apple variant; plain Shift_JIS, its base, is the closest it has.
    {1, Form::Iconv, "SHIFT_JIS", true},
    {4, Form::Unsupported, nullptr, false},  // Mac Arabic
    {5, Form::Unsupported, nullptr, false},  // Mac Hebrew
    {6, Form::Unsupported, nullptr, false},  // Mac Greek
    {7, Form::Iconv, "MAC-CYRILLIC", false},
    {29, Form::Iconv, "MAC-CENTRALEUROPE", false},
    {35, Form::Unsupported, nullptr, false},  // Mac Turkish
};

// Unknown numbers are kept as tags: Len counts their bytes, conversions of them fail.
constexpr EncodingInfo kUnknown{0, Form::Unsupported, nullptr, false};

const EncodingInfo& InfoOf(uint32_t encoding) {
  for (const EncodingInfo& info : kEncodings) {
    if (info.number == encoding) return info;
  }
  return kUnknown;
}

constexpr char32_t kReplacement = 0xFFFD;

uint8_t ByteAt(std::string_view b, std::size_t i) { return static_cast<uint8_t>(b[i]); }

bool IsScalar(char32_t c) { return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF); }

// Utf8SequenceAt: length of the well-formed UTF-8 sequence at i (its code point in cp), 0 when
// the bytes there are not one (overlong forms, surrogates and values past U+10FFFF included).
std::size_t Utf8SequenceAt(std::string_view b, std::size_t i, char32_t& cp) {
  const uint8_t lead = ByteAt(b, i);
  if (lead < 0x80) {
    cp = lead;
    return 1;
  }
  std::size_t n;
  if (lead >= 0xC2 && lead <= 0xDF) {
    n = 2;
    cp = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    n = 3;
    cp = lead & 0x0Fu;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    n = 4;
    cp = lead & 0x07u;
  } else {
    return 0;
  }
  if (b.size() - i < n) return 0;
  for (std::size_t k = 1; k < n; ++k) {
    const uint8_t c = ByteAt(b, i + k);
    if ((c & 0xC0u) != 0x80u) return 0;
    cp = (cp << 6) | (c & 0x3Fu);
  }
  if (n == 3 && (cp < 0x800 || !IsScalar(cp))) return 0;
  if (n == 4 && (cp < 0x10000 || cp > 0x10FFFF)) return 0;
  return n;
}

bool DecodeUtf8(std::string_view b, bool lenient, std::u32string& out) {
  for (std::size_t i = 0; i < b.size();) {
    char32_t cp = 0;
    const std::size_t n = Utf8SequenceAt(b, i, cp);
    if (n == 0) {
      if (!lenient) return false;
      out.push_back(kReplacement);
      ++i;
      continue;
    }
    out.push_back(cp);
    i += n;
  }
  return true;
}

uint32_t UnitAt(std::string_view b, std::size_t i, std::size_t width, bool bigEndian) {
  uint32_t v = 0;
  for (std::size_t k = 0; k < width; ++k) {
    const uint32_t byte = ByteAt(b, i + k);
    v |= bigEndian ? byte << (8 * (width - 1 - k)) : byte << (8 * k);
  }
  return v;
}

bool DecodeUtf16(std::string_view b, bool bigEndian, bool lenient, std::u32string& out) {
  const std::size_t units = b.size() / 2;
  for (std::size_t u = 0; u < units; ++u) {
    const uint32_t c = UnitAt(b, 2 * u, 2, bigEndian);
    if (c >= 0xD800 && c <= 0xDBFF && u + 1 < units) {
      const uint32_t low = UnitAt(b, 2 * (u + 1), 2, bigEndian);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        out.push_back(0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00));
        ++u;
        continue;
      }
    }
    if (c >= 0xD800 && c <= 0xDFFF) {
      if (!lenient) return false;  // lone surrogate
      out.push_back(kReplacement);
      continue;
    }
    out.push_back(c);
  }
  if (b.size() % 2 != 0) {
    if (!lenient) return false;
    out.push_back(kReplacement);
  }
  return true;
}

bool DecodeUtf32(std::string_view b, bool bigEndian, bool lenient, std::u32string& out) {
  const std::size_t units = b.size() / 4;
  for (std::size_t u = 0; u < units; ++u) {
    const char32_t c = UnitAt(b, 4 * u, 4, bigEndian);
    if (!IsScalar(c)) {
      if (!lenient) return false;
      out.push_back(kReplacement);
      continue;
    }
    out.push_back(c);
  }
  if (b.size() % 4 != 0) {
    if (!lenient) return false;
    out.push_back(kReplacement);
  }
  return true;
}

void PutUnit(std::string& out, uint32_t v, std::size_t width, bool bigEndian) {
  for (std::size_t k = 0; k < width; ++k) {
    const std::size_t shift = bigEndian ? 8 * (width - 1 - k) : 8 * k;
    out.push_back(static_cast<char>(static_cast<uint8_t>((v >> shift) & 0xFFu)));
  }
}

void PutByte(std::string& out, uint32_t v) { out.push_back(static_cast<char>(static_cast<uint8_t>(v))); }

void EncodeUtf8(char32_t c, std::string& out) {
  if (c < 0x80) {
    PutByte(out, c);
  } else if (c < 0x800) {
    PutByte(out, 0xC0 | (c >> 6));
    PutByte(out, 0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    PutByte(out, 0xE0 | (c >> 12));
    PutByte(out, 0x80 | ((c >> 6) & 0x3F));
    PutByte(out, 0x80 | (c & 0x3F));
  } else {
    PutByte(out, 0xF0 | (c >> 18));
    PutByte(out, 0x80 | ((c >> 12) & 0x3F));
    PutByte(out, 0x80 | ((c >> 6) & 0x3F));
    PutByte(out, 0x80 | (c & 0x3F));
  }
}

// RunIconv: converts all of `in`, then flushes the descriptor's shift state (CP1255 and CP1258
// hold back a base character until they know whether a combining mark follows). Fails on
// EILSEQ/EINVAL and on any conversion glibc reports as irreversible.
bool RunIconv(iconv_t cd, std::string_view in, std::string& out) {
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  out.assign(in.size() * 4 + 16, '\0');
  std::string input(in);  // iconv's prototype wants a mutable pointer
  char* src = input.data();
  std::size_t srcLeft = input.size();
  std::size_t used = 0;
  bool flushing = false;
  for (;;) {
    char* dst = out.data() + used;
    std::size_t dstLeft = out.size() - used;
    const std::size_t r =
        flushing ? iconv(cd, nullptr, nullptr, &dst, &dstLeft) : iconv(cd, &src, &srcLeft, &dst, &dstLeft);
    const int error = errno;
    used = out.size() - dstLeft;
    if (r == static_cast<std::size_t>(-1)) {
      if (error != E2BIG) return false;
      out.resize(out.size() * 2);
      continue;
    }
    if (r != 0) return false;
    if (flushing) break;
    flushing = true;
  }
  out.resize(used);
  return true;
}

bool DecodeIconv(IconvPool& pool, const char* charset, std::string_view b, std::u32string& out) {
  const std::optional<iconv_t> cd = pool.Get(charset, true);
  if (!cd) return false;
  std::string utf32;
  if (!RunIconv(*cd, b, utf32)) return false;
  return DecodeUtf32(utf32, false, false, out);
}

bool EncodeIconv(IconvPool& pool, const char* charset, std::u32string_view text, std::string& out) {
  const std::optional<iconv_t> cd = pool.Get(charset, false);
  if (!cd) return false;
  std::string utf32;
  utf32.reserve(text.size() * 4);
  for (char32_t c : text) PutUnit(utf32, c, 4, false);
  return RunIconv(*cd, utf32, out);
}

}  // namespace

IconvPool::~IconvPool() {
  for (auto& [key, cd] : open_) iconv_close(cd);
}

std::optional<iconv_t> IconvPool::Get(const char* charset, bool toUnicode) {
  auto key = std::make_pair(std::string(charset), toUnicode);
  if (auto it = open_.find(key); it != open_.end()) return it->second;
  const iconv_t cd = toUnicode ? iconv_open("UTF-32LE", charset) : iconv_open(charset, "UTF-32LE");
  if (cd == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
  open_.emplace(std::move(key), cd);
  return cd;
}

bool DecodeText(IconvPool& pool, std::string_view bytes, uint32_t encoding, std::u32string& out) {
  out.clear();
  const EncodingInfo& info = InfoOf(encoding);
  switch (info.form) {
    case Form::None:  // bytes without an encoding read as ISO 8859-1
    case Form::Latin1:
      for (std::size_t i = 0; i < bytes.size(); ++i) out.push_back(ByteAt(bytes, i));
      return true;
    case Form::Ascii:
      for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (ByteAt(bytes, i) > 0x7F) return false;
        out.push_back(ByteAt(bytes, i));
      }
      return true;
    case Form::Utf8:
      return DecodeUtf8(bytes, false, out);
    case Form::Utf16LE:
    case Form::Utf16BE:
      return DecodeUtf16(bytes, info.form == Form::Utf16BE, false, out);
    case Form::Utf32LE:
    case Form::Utf32BE:
      return DecodeUtf32(bytes, info.form == Form::Utf32BE, false, out);
    case Form::Iconv:
      return DecodeIconv(pool, info.charset, bytes, out);
    case Form::Unsupported:
      return false;
  }
  return false;
}

bool EncodeText(IconvPool& pool, std::u32string_view text, uint32_t encoding, std::string& out) {
  out.clear();
  for (char32_t c : text) {
    if (!IsScalar(c)) return false;
  }
  const EncodingInfo& info = InfoOf(encoding);
  switch (info.form) {
    case Form::None:
    case Form::Latin1:
    case Form::Ascii: {
      const char32_t limit = info.form == Form::Ascii ? 0x7F : 0xFF;
      for (char32_t c : text) {
        if (c > limit) return false;
        PutByte(out, c);
      }
      return true;
    }
    case Form::Utf8:
      for (char32_t c : text) EncodeUtf8(c, out);
      return true;
    case Form::Utf16LE:
    case Form::Utf16BE: {
      const bool big = info.form == Form::Utf16BE;
      for (char32_t c : text) {
        if (c >= 0x10000) {
          PutUnit(out, 0xD800 + ((c - 0x10000) >> 10), 2, big);
          PutUnit(out, 0xDC00 + ((c - 0x10000) & 0x3FF), 2, big);
        } else {
          PutUnit(out, c, 2, big);
        }
      }
      return true;
    }
    case Form::Utf32LE:
    case Form::Utf32BE:
      for (char32_t c : text) PutUnit(out, c, 4, info.form == Form::Utf32BE);
      return true;
    case Form::Iconv:
      return EncodeIconv(pool, info.charset, text, out);
    case Form::Unsupported:
      return false;
  }
  return false;
}

std::optional<std::string> ConvertText(IconvPool& pool, std::string_view bytes, uint32_t from, uint32_t to) {
  if (from == to || to == kNoEncoding) return std::string(bytes);
  std::u32string text;
  if (!DecodeText(pool, bytes, from, text)) return std::nullopt;
  std::string out;
  if (!EncodeText(pool, text, to, out)) return std::nullopt;
  return out;
}

std::optional<std::string> DisplayText(IconvPool& pool, std::string_view bytes, uint32_t encoding) {
  std::u32string text;
  std::string out;
  if (!DecodeText(pool, bytes, encoding, text) || !EncodeText(pool, text, kUTF8, out)) return std::nullopt;
  return out;
}

std::u32string Characters(IconvPool& pool, std::string_view bytes, uint32_t encoding) {
  std::u32string out;
  const EncodingInfo& info = InfoOf(encoding);
  switch (info.form) {
    case Form::Utf8:
      DecodeUtf8(bytes, true, out);
      return out;
    case Form::Utf16LE:
    case Form::Utf16BE:
      DecodeUtf16(bytes, info.form == Form::Utf16BE, true, out);
      return out;
    case Form::Utf32LE:
    case Form::Utf32BE:
      DecodeUtf32(bytes, info.form == Form::Utf32BE, true, out);
      return out;
    default:
      if (info.multiByte && DecodeText(pool, bytes, encoding, out)) return out;
      out.clear();
      for (std::size_t i = 0; i < bytes.size(); ++i) out.push_back(ByteAt(bytes, i));
      return out;
  }
}

bool IsConvertible(uint32_t encoding) { return InfoOf(encoding).form != Form::Unsupported; }

}  // namespace memhost::detail
