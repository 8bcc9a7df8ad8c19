// doc_values.cpp - tokens, encodings, values and their rendering for the examples' language.
#include "doc_values.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "declaration.h"
#include "output.h"

namespace zyldocs {

namespace {

struct EncodingName {
  std::string_view name;
  uint32_t value;
};

constexpr EncodingName kEncodings[] = {
    {"UTF8", memhost::kUTF8},         {"UTF16", memhost::kUTF16},          {"UTF16LE", memhost::kUTF16LE},
    {"UTF16BE", memhost::kUTF16BE},   {"UTF32", memhost::kUTF32},          {"UTF32LE", memhost::kUTF32LE},
    {"UTF32BE", memhost::kUTF32BE},   {"ASCII", memhost::kASCII},          {"ISOLatin1", memhost::kISOLatin1},
    {"WindowsLatin1", memhost::kWindowsLatin1}, {"MacRoman", memhost::kMacRoman},
};

// Text as a concatenation of quoted runs and Chr()/ChrB() for what cannot stand in quotes.
std::string RenderCodes(const std::vector<uint32_t>& codes, bool bytes) {
  std::vector<std::string> parts;
  std::string run;
  bool inRun = false;
  for (uint32_t c : codes) {
    const bool plain = bytes ? (c >= 0x20 && c < 0x7F) : (c >= 0x20 && c != 0x7F && !(c >= 0x80 && c < 0xA0));
    if (plain) {
      run += Utf8Of(c);
      inRun = true;
      continue;
    }
    if (inRun) parts.push_back(Quote(run));
    run.clear();
    inRun = false;
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, bytes ? "ChrB(&h%02X)" : (c < 0x80 ? "Chr(%u)" : "Chr(&h%X)"), c);
    parts.emplace_back(buffer);
  }
  if (inRun) parts.push_back(Quote(run));
  if (parts.empty()) return "\"\"";
  std::string out = parts[0];
  for (std::size_t i = 1; i < parts.size(); ++i) out += " + " + parts[i];
  return out;
}

std::string HexOf(std::string_view bytes) {
  std::string out;
  char buffer[4];
  for (char c : bytes) {
    std::snprintf(buffer, sizeof buffer, "%02X", static_cast<unsigned>(static_cast<uint8_t>(c)));
    out += buffer;
  }
  return out;
}

std::string RenderDouble(double d) {
  char buffer[64];
  const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, d);
  std::string text = ec == std::errc{} ? std::string(buffer, end) : "?";
  if (text.find_first_of(".eEn") == std::string::npos) text += ".0";
  return text;
}

std::string RenderRun(const memhost::RunStyle& run) {
  char colour[16];
  std::snprintf(colour, sizeof colour, "&c%06X", static_cast<unsigned>(run.colour & 0xFFFFFF));
  std::string out = "StyleRun(" + RenderText(run.text, run.encoding) + ", " + RenderText(run.font, run.fontEncoding) +
                    ", " + std::to_string(run.size) + ", " + colour;
  if (run.bold) out += ", Bold";
  if (run.italic) out += ", Italic";
  if (run.underline) out += ", Underline";
  return out + ")";
}

}  // namespace

std::string Trim(std::string_view s) {
  std::size_t b = 0, e = s.size();
  while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
  while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
  return std::string(s.substr(b, e - b));
}

bool StartsWith(std::string_view s, std::string_view prefix) { return s.substr(0, prefix.size()) == prefix; }

// ---------------------------------------------------------------------------------------------
// Tokens.

std::vector<Token> Tokenize(std::string_view s) {
  std::vector<Token> tokens;
  std::size_t i = 0;
  auto hexValue = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  while (i < s.size()) {
    const char c = s[i];
    if (std::isspace(static_cast<unsigned char>(c))) {
      ++i;
      continue;
    }
    Token t;
    if (c == '"') {
      t.type = Tok::String;
      ++i;
      for (;;) {
        if (i >= s.size()) throw ExampleError("a string literal is not closed");
        if (s[i] == '"') {
          if (i + 1 < s.size() && s[i + 1] == '"') {
            t.text.push_back('"');
            i += 2;
            continue;
          }
          ++i;
          break;
        }
        t.text.push_back(s[i++]);
      }
    } else if (c == '&' && i + 1 < s.size() && (s[i + 1] == 'h' || s[i + 1] == 'H' || s[i + 1] == 'c' || s[i + 1] == 'C')) {
      const bool colour = s[i + 1] == 'c' || s[i + 1] == 'C';
      i += 2;
      const std::size_t start = i;
      uint64_t value = 0;
      while (i < s.size() && hexValue(s[i]) >= 0) value = value * 16 + static_cast<uint64_t>(hexValue(s[i++]));
      if (i == start) throw ExampleError("&h and &c need hexadecimal digits");
      if (colour && i - start != 6) throw ExampleError("a colour is &cRRGGBB");
      t.type = colour ? Tok::Colour : Tok::Integer;
      t.integer = static_cast<int64_t>(value);
    } else if (std::isdigit(static_cast<unsigned char>(c))) {
      const std::size_t start = i;
      while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) ++i;
      bool isDouble = false;
      if (i < s.size() && s[i] == '.' && i + 1 < s.size() && std::isdigit(static_cast<unsigned char>(s[i + 1]))) {
        isDouble = true;
        const std::size_t point = ++i;
        while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) ++i;
        t.decimals = static_cast<int>(i - point);
      }
      if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        std::size_t j = i + 1;
        if (j < s.size() && (s[j] == '+' || s[j] == '-')) ++j;
        if (j < s.size() && std::isdigit(static_cast<unsigned char>(s[j]))) {
          isDouble = true;
          i = j;
          while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) ++i;
        }
      }
      const std::string number(s.substr(start, i - start));
      if (isDouble) {
        t.type = Tok::Double;
        t.real = std::strtod(number.c_str(), nullptr);
      } else {
        t.type = Tok::Integer;
        const auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), t.integer);
        if (ec != std::errc{}) throw ExampleError("integer out of range: " + number);
      }
    } else if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') {
      t.type = Tok::Ident;
      while (i < s.size() && (std::isalnum(static_cast<unsigned char>(s[i])) || s[i] == '_')) t.text.push_back(s[i++]);
    } else {
      ++i;
      switch (c) {
        case '(': t.type = Tok::LParen; break;
        case ')': t.type = Tok::RParen; break;
        case ',': t.type = Tok::Comma; break;
        case '+': t.type = Tok::Plus; break;
        case '-': t.type = Tok::Minus; break;
        case '*': t.type = Tok::Star; break;
        case '/': t.type = Tok::Slash; break;
        case '=': t.type = Tok::Equals; break;
        case '.': t.type = Tok::Dot; break;
        default: throw ExampleError(std::string("unexpected character '") + c + "'");
      }
    }
    tokens.push_back(std::move(t));
  }
  tokens.push_back(Token{});
  return tokens;
}

bool IsIdent(const Token& t, std::string_view name) { return t.type == Tok::Ident && SameName(t.text, name); }

bool SameName(std::string_view a, std::string_view b) { return zyltool::EqualIgnoringCase(a, b); }

// ---------------------------------------------------------------------------------------------
// Encodings by their Xojo names.

std::optional<uint32_t> EncodingByName(std::string_view name) {
  for (const EncodingName& e : kEncodings) {
    if (e.name == name) return e.value;
  }
  return std::nullopt;
}

std::string EncodingLabel(uint32_t encoding) {
  if (encoding == memhost::kNoEncoding) return "no encoding";
  for (const EncodingName& e : kEncodings) {
    if (e.value == encoding) return std::string(e.name);
  }
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "encoding &h%X", static_cast<unsigned>(encoding));
  return buffer;
}

// ---------------------------------------------------------------------------------------------
// Values.

Value MakeString(std::string bytes, uint32_t encoding) {
  Value v;
  v.kind = Kind::String;
  v.bytes = std::move(bytes);
  v.encoding = encoding;
  return v;
}

Value NilValue() {
  Value v;
  v.kind = Kind::Nil;
  return v;
}

Value MakeInteger(int64_t n) {
  Value v;
  v.kind = Kind::Integer;
  v.integer = n;
  return v;
}

Value MakeBoolean(bool b) {
  Value v;
  v.kind = Kind::Boolean;
  v.boolean = b;
  return v;
}

std::string_view KindName(Kind kind) {
  switch (kind) {
    case Kind::Void: return "nothing";
    case Kind::Nil: return "Nil";
    case Kind::String: return "String";
    case Kind::Integer: return "Integer";
    case Kind::Double: return "Double";
    case Kind::Boolean: return "Boolean";
    case Kind::Colour: return "Color";
    case Kind::Encoding: return "TextEncoding";
    case Kind::MemoryBlock: return "MemoryBlock";
    case Kind::StyledText: return "StyledText";
    case Kind::StyleRun: return "StyleRun";
    case Kind::StyleFlag: return "style";
    case Kind::Array: return "array";
    case Kind::Paragraph: return "Paragraph";
    case Kind::Namespace: return "module";
  }
  return "?";
}

std::string Utf8Of(uint32_t code) {
  std::string out;
  if (code < 0x80) {
    out.push_back(static_cast<char>(code));
  } else if (code < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (code >> 6)));
    out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
  } else if (code < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (code >> 12)));
    out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (code >> 18)));
    out.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
  }
  return out;
}

std::string Quote(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    out.push_back(c);
    if (c == '"') out.push_back('"');
  }
  return out + "\"";
}

std::string RenderText(const std::string& bytes, uint32_t encoding) {
  if (encoding == memhost::kNoEncoding) {
    std::vector<uint32_t> codes;
    for (char c : bytes) codes.push_back(static_cast<uint8_t>(c));
    return RenderCodes(codes, true);
  }
  std::optional<std::string> utf8;
  if (encoding == memhost::kUTF8) {
    utf8 = bytes;
  } else if (memhost::CanConvert(encoding)) {
    utf8 = memhost::ConvertBytes(bytes, encoding, memhost::kUTF8);
  }
  if (utf8) {
    if (auto codes = zyltool::DecodeUTF8(*utf8)) return RenderCodes(*codes, false);
  }
  return "DecodeHex(\"" + HexOf(bytes) + "\")";
}

std::string Render(const Value& v) {
  switch (v.kind) {
    case Kind::Void: return "(no result)";
    case Kind::Nil: return "Nil";
    case Kind::String: return RenderText(v.bytes, v.encoding) + " (" + EncodingLabel(v.encoding) + ")";
    case Kind::Integer: return std::to_string(v.integer);
    case Kind::Double: return RenderDouble(v.real);
    case Kind::Boolean: return v.boolean ? "True" : "False";
    case Kind::MemoryBlock: return "MemoryBlock(" + RenderText(v.bytes, memhost::kNoEncoding) + ")";
    case Kind::StyledText: {
      std::string out = "StyledText(";
      for (std::size_t i = 0; i < v.runs.size(); ++i) out += (i ? ", " : "") + RenderRun(v.runs[i]);
      return out + ")";
    }
    case Kind::Array: {
      std::string out = "Array(";
      for (std::size_t i = 0; i < v.items.size(); ++i) {
        const Value& item = v.items[i];
        out += (i ? ", " : "") + (item.kind == Kind::String ? RenderText(item.bytes, item.encoding) + " (" + EncodingLabel(item.encoding) + ")" : Render(item));
      }
      return out + ")";
    }
    default: return std::string(KindName(v.kind));
  }
}

// Text of a run or string as UTF-8 for comparison (no encoding reads as ISO 8859-1, as the host
// shows it).
std::string AsUTF8(const std::string& bytes, uint32_t encoding) {
  if (encoding == memhost::kUTF8 || bytes.empty()) return bytes;
  const uint32_t from = encoding == memhost::kNoEncoding ? memhost::kISOLatin1 : encoding;
  if (auto converted = memhost::ConvertBytes(bytes, from, memhost::kUTF8)) return *converted;
  return "DecodeHex(\"" + HexOf(bytes) + "\")";
}

}  // namespace zyldocs
