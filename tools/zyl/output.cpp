// output.cpp - result formatting.
#include "output.h"

#include <charconv>
#include <cstdio>

#include "encodings.h"

namespace zyltool {

std::optional<std::vector<uint32_t>> DecodeUTF8(std::string_view text) {
  std::vector<uint32_t> codes;
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<uint8_t>(text[i]);
    std::size_t length = 0;
    uint32_t code = 0, minimum = 0;
    if (lead < 0x80) {
      codes.push_back(lead);
      ++i;
      continue;
    } else if ((lead & 0xE0) == 0xC0) {
      length = 2, code = lead & 0x1Fu, minimum = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3, code = lead & 0x0Fu, minimum = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4, code = lead & 0x07u, minimum = 0x10000;
    } else {
      return std::nullopt;
    }
    if (i + length > text.size()) return std::nullopt;
    for (std::size_t k = 1; k < length; ++k) {
      const auto next = static_cast<uint8_t>(text[i + k]);
      if ((next & 0xC0) != 0x80) return std::nullopt;
      code = (code << 6) | (next & 0x3Fu);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return std::nullopt;
    codes.push_back(code);
    i += length;
  }
  return codes;
}

namespace {

bool IsValidUTF8(std::string_view text) { return DecodeUTF8(text).has_value(); }

// Printable UTF-8: no control characters (C0, DEL, C1) besides tab, line feed and return.
bool IsPrintable(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<uint8_t>(text[i]);
    if (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') return false;
    if (byte == 0x7F) return false;
    if (byte == 0xC2 && i + 1 < text.size() && static_cast<uint8_t>(text[i + 1]) < 0xA0) return false;
  }
  return true;
}

// The bytes as printable UTF-8 text, if they are text in that encoding.
std::optional<std::string> AsText(std::string_view bytes, uint32_t encoding) {
  std::optional<std::string> text;
  if (encoding == kNoEncoding || encoding == kUTF8) {
    if (IsValidUTF8(bytes)) text = std::string(bytes);
  } else if (memhost::CanConvert(encoding)) {
    text = memhost::ConvertBytes(bytes, encoding, kUTF8);
  }
  if (text && !IsPrintable(*text)) text.reset();
  return text;
}

std::string Double(double value) {
  char buffer[64];
  const auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return ec == std::errc{} ? std::string(buffer, end) : "?";
}

std::string Colour(uint32_t colour) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "#%06X", static_cast<unsigned>(colour & 0xFFFFFF));
  return buffer;
}

}  // namespace

std::string Hex(std::string_view bytes) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (char c : bytes) {
    const auto byte = static_cast<uint8_t>(c);
    out.push_back(kDigits[byte >> 4]);
    out.push_back(kDigits[byte & 0xF]);
  }
  return out;
}

std::string DescribeBytes(std::string_view bytes, uint32_t encoding, bool hex) {
  const std::string label = EncodingName(encoding) + ", " + Count(bytes.size(), "byte", "bytes");
  if (!hex) {
    if (const std::optional<std::string> text = AsText(bytes, encoding)) return label + ": " + *text;
  }
  return label + ", hex: " + Hex(bytes);
}

std::vector<std::string> DescribeResult(const CallValue& result, bool hex) {
  switch (result.type) {
    case ValueType::Void: return {};
    case ValueType::Integer: return {std::to_string(result.integer)};
    case ValueType::Double: return {Double(result.real)};
    case ValueType::Boolean: return {result.boolean != 0 ? "true" : "false"};
    case ValueType::String: {
      auto* string = static_cast<REALstringStruct*>(result.pointer);
      if (string == nullptr) return {"nil (empty string)"};
      const memhost::StringValue value = memhost::Value(string);
      return {DescribeBytes(value.bytes, value.encoding, hex)};
    }
    case ValueType::StringArray: {
      if (result.pointer == nullptr) return {"nil (no array)"};
      const auto elements = memhost::ArrayElements(static_cast<_REALarrayString*>(result.pointer));
      std::vector<std::string> lines{"string() with " + Count(elements.size(), "element", "elements")};
      for (std::size_t i = 0; i < elements.size(); ++i) {
        // Appended piece by piece: GCC 12 reports a false -Wrestrict for "[" + std::to_string(i) in Release.
        std::string line = "[";
        line += std::to_string(i);
        line += "] ";
        line += DescribeBytes(elements[i].bytes, elements[i].encoding, hex);
        lines.push_back(std::move(line));
      }
      return lines;
    }
    case ValueType::MemoryBlock: {
      if (result.pointer == nullptr) return {"nil (no MemoryBlock)"};
      const std::string bytes = memhost::MemoryBlockBytes(static_cast<REALmemoryBlockStruct*>(result.pointer));
      const std::string label = "MemoryBlock, " + Count(bytes.size(), "byte", "bytes");
      if (!hex && IsValidUTF8(bytes) && IsPrintable(bytes)) return {label + ": " + bytes};
      return {label + ", hex: " + Hex(bytes)};
    }
    case ValueType::Object:
      if (result.pointer == nullptr) return {"nil (no object)"};
      return {"object of class " + memhost::ClassOf(static_cast<REALobjectStruct*>(result.pointer))};
    case ValueType::Ptr: return {"ptr " + Hex(std::string_view(reinterpret_cast<const char*>(&result.pointer), sizeof(void*)))};
    case ValueType::Unsupported: break;
  }
  return {"(a result zyl cannot show)"};
}

void WriteRawResult(std::ostream& out, const CallValue& result) {
  if (result.type == ValueType::String) {
    out << memhost::Bytes(static_cast<REALstringStruct*>(result.pointer));
  } else if (result.type == ValueType::MemoryBlock && result.pointer != nullptr) {
    out << memhost::MemoryBlockBytes(static_cast<REALmemoryBlockStruct*>(result.pointer));
  } else if (result.type == ValueType::StringArray && result.pointer != nullptr) {
    for (const auto& element : memhost::ArrayElements(static_cast<_REALarrayString*>(result.pointer))) {
      out << element.bytes << '\n';
    }
  } else {
    for (const std::string& line : DescribeResult(result, false)) out << line << '\n';
  }
}

void ReleaseResult(CallValue& result) {
  if (result.pointer == nullptr) return;
  switch (result.type) {
    case ValueType::String: memhost::Release(static_cast<REALstringStruct*>(result.pointer)); break;
    case ValueType::MemoryBlock:
    case ValueType::Object: memhost::Release(static_cast<REALobjectStruct*>(result.pointer)); break;
    case ValueType::StringArray: memhost::Release(static_cast<_REALarrayString*>(result.pointer)); break;
    default: return;
  }
  result.pointer = nullptr;
}

std::string DescribeException(const memhost::RaisedException& exception) {
  return exception.className + " (ErrorNumber " + std::to_string(exception.errorNumber) + "): " + exception.message;
}

std::vector<std::string> DescribeRuns(const std::vector<memhost::RunStyle>& runs) {
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const memhost::RunStyle& run = runs[i];
    std::string style = "font " + (run.font.empty() ? std::string("(none)") : run.font) +
                        ", size " + std::to_string(run.size) + ", colour " + Colour(run.colour);
    if (run.bold) style += ", bold";
    if (run.italic) style += ", italic";
    if (run.underline) style += ", underline";
    // Line breaks and tabs are shown as escapes, so that one run stays on one line.
    std::string text;
    for (const char c : DescribeBytes(run.text, run.encoding, false)) {
      text += c == '\r' ? "\\r" : c == '\n' ? "\\n" : c == '\t' ? "\\t" : std::string(1, c);
    }
    lines.push_back("run " + std::to_string(i + 1) + ": " + text + "  [" + style + "]");
  }
  return lines;
}

std::string Count(std::size_t n, std::string_view one, std::string_view many) {
  return std::to_string(n) + " " + std::string(n == 1 ? one : many);
}

std::size_t DisplayWidth(std::string_view text) {
  std::size_t width = 0;
  for (char c : text) {
    if ((static_cast<uint8_t>(c) & 0xC0) != 0x80) ++width;
  }
  return width;
}

}  // namespace zyltool
