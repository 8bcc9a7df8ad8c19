// arguments.cpp - argument syntax, fit and reading.
#include "arguments.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "encodings.h"
#include "errors.h"

namespace zyltool {

namespace {

bool StartsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

std::optional<int64_t> ParseInteger(std::string_view text) {
  bool negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  int base = 10;
  if (StartsWith(text, "0x") || StartsWith(text, "0X") || StartsWith(text, "&h") || StartsWith(text, "&H")) {
    base = 16;
    text.remove_prefix(2);
  }
  uint64_t magnitude = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
  if (text.empty() || ec != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  // Two's complement, so that -9223372036854775808 and 0xFFFFFFFFFFFFFFFF both read.
  return static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
}

std::optional<double> ParseDouble(std::string_view text) {
  if (!text.empty() && text[0] == '+') text.remove_prefix(1);
  double value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || ec != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<bool> ParseBoolean(std::string_view text) {
  if (EqualIgnoringCase(text, "true") || text == "1") return true;
  if (EqualIgnoringCase(text, "false") || text == "0") return false;
  return std::nullopt;
}

// The bytes of esc: text: \\ \n \r \t \0 \" \' and \xHH.
std::string Unescape(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      out.push_back(text[i]);
      continue;
    }
    if (++i == text.size()) throw UsageError("esc: text ends in a lone backslash");
    switch (text[i]) {
      case '\\': out.push_back('\\'); break;
      case 'n': out.push_back('\n'); break;
      case 'r': out.push_back('\r'); break;
      case 't': out.push_back('\t'); break;
      case '0': out.push_back('\0'); break;
      case '"': out.push_back('"'); break;
      case '\'': out.push_back('\''); break;
      case 'x': {
        uint32_t byte = 0;
        const char* first = text.data() + i + 1;
        const char* last = text.data() + std::min(text.size(), i + 3);
        const auto [end, ec] = std::from_chars(first, last, byte, 16);
        if (ec != std::errc{} || end != last || last - first != 2) throw UsageError("esc: \\x needs two hex digits");
        out.push_back(static_cast<char>(byte));
        i += 2;
        break;
      }
      default: throw UsageError(std::string("esc: unknown escape \\") + text[i]);
    }
  }
  return out;
}

std::string DecodeHex(std::string_view digits) {
  std::string out;
  int high = -1;
  for (char c : digits) {
    if (c == ' ' || c == ':' || c == '\t' || c == '\n') continue;
    int nibble = -1;
    if (c >= '0' && c <= '9') nibble = c - '0';
    if (c >= 'a' && c <= 'f') nibble = c - 'a' + 10;
    if (c >= 'A' && c <= 'F') nibble = c - 'A' + 10;
    if (nibble < 0) throw UsageError(std::string("hex: '") + c + "' is not a hex digit");
    if (high < 0) {
      high = nibble;
    } else {
      out.push_back(static_cast<char>(high * 16 + nibble));
      high = -1;
    }
  }
  if (high >= 0) throw UsageError("hex: odd number of digits");
  return out;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw ToolError("cannot open " + path);
  std::ostringstream content;
  content << file.rdbuf();
  if (file.bad()) throw ToolError("cannot read " + path);
  return content.str();
}

// Standard input is read once; every "-" argument gets the same bytes.
const std::string& StandardInput() {
  static const std::string input(std::istreambuf_iterator<char>(std::cin), {});
  return input;
}

}  // namespace

std::string SourceBytes(const CommandArgument& argument) {
  switch (argument.source) {
    case CommandArgument::Source::Text: return argument.payload;
    case CommandArgument::Source::Escaped: return Unescape(argument.payload);
    case CommandArgument::Source::Hex: return DecodeHex(argument.payload);
    case CommandArgument::Source::File: return ReadFile(argument.payload);
    case CommandArgument::Source::Stdin: return StandardInput();
    case CommandArgument::Source::Nil: break;
  }
  return {};
}

namespace {

// The bytes of a string-like argument in its encoding.
std::string EncodedBytes(const CommandArgument& argument, uint32_t encoding) {
  std::string bytes = SourceBytes(argument);
  if (argument.source != CommandArgument::Source::Text || encoding == kUTF8) return bytes;
  std::optional<std::string> converted = memhost::ConvertBytes(bytes, kUTF8, encoding);
  if (!converted) throw UsageError("\"" + argument.written + "\" cannot be written in " + EncodingName(encoding));
  return *converted;
}

bool IsStyledText(const Parameter& parameter) { return EqualIgnoringCase(parameter.typeName, "StyledText"); }

CallValue Scalar(ValueType type, const std::string& text, const std::string& what) {
  CallValue value;
  value.type = type;
  if (type == ValueType::Integer) {
    const auto integer = ParseInteger(text);
    if (!integer) throw UsageError(what + ": \"" + text + "\" is not an integer");
    value.integer = *integer;
  } else if (type == ValueType::Double) {
    const auto real = ParseDouble(text);
    if (!real) throw UsageError(what + ": \"" + text + "\" is not a number");
    value.real = *real;
  } else {
    const auto boolean = ParseBoolean(text);
    if (!boolean) throw UsageError(what + ": \"" + text + "\" is not a boolean (true, false, 1, 0)");
    value.boolean = *boolean ? 1 : 0;
  }
  return value;
}

}  // namespace

CommandArgument ParseArgument(std::string_view written) {
  CommandArgument argument;
  argument.written = std::string(written);
  std::string_view rest = written;
  if (StartsWith(rest, "str:")) argument.kind = CommandArgument::Kind::String;
  if (StartsWith(rest, "mem:")) argument.kind = CommandArgument::Kind::MemoryBlock;
  if (StartsWith(rest, "ptr:")) argument.kind = CommandArgument::Kind::Ptr;
  if (argument.kind != CommandArgument::Kind::Any) rest.remove_prefix(4);
  if (StartsWith(rest, "enc=")) {
    const std::size_t colon = rest.find(':');
    if (colon == std::string_view::npos) throw UsageError("\"" + argument.written + "\": enc= needs a ':' after the encoding");
    argument.encoding = ParseEncoding(rest.substr(4, colon - 4));
    if (!argument.encoding) throw UsageError("unknown encoding \"" + std::string(rest.substr(4, colon - 4)) + "\"");
    rest.remove_prefix(colon + 1);
  }
  using Source = CommandArgument::Source;
  struct Prefix {
    std::string_view text;
    Source source;
  };
  static constexpr Prefix kPrefixes[] = {
      {"text:", Source::Text}, {"esc:", Source::Escaped}, {"hex:", Source::Hex}, {"@", Source::File}};
  for (const Prefix& prefix : kPrefixes) {
    if (StartsWith(rest, prefix.text)) {
      argument.source = prefix.source;
      argument.payload = std::string(rest.substr(prefix.text.size()));
      return argument;
    }
  }
  if (rest == "-") {
    argument.source = Source::Stdin;
  } else if (rest == "nil:") {
    argument.source = Source::Nil;
  } else {
    argument.payload = std::string(rest);
  }
  return argument;
}

bool IsPlainText(const CommandArgument& argument) {
  return argument.source == CommandArgument::Source::Text && argument.written == argument.payload &&
         !ParseDouble(argument.payload) && !ParseBoolean(argument.payload);
}

int ArgumentFit(const CommandArgument& argument, const Parameter& parameter) {
  using Kind = CommandArgument::Kind;
  // Only an argument written without any prefix can be a number or a boolean; a kind prefix
  // admits only its own type; nil: fits every handle type, a string best.
  const bool plain = argument.source == CommandArgument::Source::Text && argument.written == argument.payload;
  const auto only = [&](Kind kind) { return argument.kind == kind ? 2 : argument.kind == Kind::Any ? 1 : -1; };
  switch (parameter.type) {
    case ValueType::Integer: return plain && ParseInteger(argument.payload) ? 2 : -1;
    case ValueType::Double:
      if (!plain || !ParseDouble(argument.payload)) return -1;
      return ParseInteger(argument.payload) ? 1 : 2;
    case ValueType::Boolean: return plain && ParseBoolean(argument.payload) ? 2 : -1;
    case ValueType::String:
      if (argument.kind != Kind::Any) return argument.kind == Kind::String ? 2 : -1;
      return plain && (ParseDouble(argument.payload) || ParseBoolean(argument.payload)) ? 1 : 2;
    case ValueType::MemoryBlock: return only(Kind::MemoryBlock);
    case ValueType::Ptr: return only(Kind::Ptr);
    case ValueType::Object:
      if (!IsStyledText(parameter)) return argument.source == CommandArgument::Source::Nil && argument.kind == Kind::Any ? 1 : -1;
      if (parameter.extends && argument.kind == Kind::Any) return 2;
      return only(Kind::String);
    default: return -1;
  }
}

REALstringStruct* ArgumentStore::Keep(memhost::String string) {
  strings_.push_back(std::move(string));
  return strings_.back().get();
}

REALobjectStruct* ArgumentStore::Keep(memhost::Object object) {
  objects_.push_back(std::move(object));
  return objects_.back().get();
}

void* ArgumentStore::Keep(std::string buffer) {
  buffers_.push_back(std::move(buffer));
  return buffers_.back().data();
}

CallValue ReadArgument(const CommandArgument& argument, const Parameter& parameter, uint32_t defaultEncoding,
                       ArgumentStore& store) {
  const std::string what = "argument " + parameter.name;
  if (ArgumentFit(argument, parameter) < 0) {
    throw UsageError(what + " (" + std::string(TypeLabel(parameter.type)) + "): \"" + argument.written +
                     "\" cannot be read as " + parameter.typeName);
  }
  CallValue value;
  value.type = parameter.type;
  if (parameter.type == ValueType::Integer || parameter.type == ValueType::Double ||
      parameter.type == ValueType::Boolean) {
    return Scalar(parameter.type, argument.payload, what);
  }
  if (argument.source == CommandArgument::Source::Nil) return value;
  const uint32_t encoding = argument.encoding.value_or(defaultEncoding);
  std::string bytes = EncodedBytes(argument, encoding);
  switch (parameter.type) {
    case ValueType::String: value.pointer = store.Keep(memhost::String(bytes, encoding)); break;
    case ValueType::MemoryBlock:
      value.pointer = store.Keep(memhost::Object(memhost::AsObject(memhost::NewMemoryBlock(bytes))));
      break;
    case ValueType::Ptr:
      value.integer = static_cast<int64_t>(bytes.size());
      value.pointer = store.Keep(std::move(bytes));
      break;
    case ValueType::Object: {
      memhost::RunStyle run;
      run.text = std::move(bytes);
      run.encoding = encoding;
      value.pointer = store.Keep(memhost::Object(memhost::NewStyledText({run})));
      break;
    }
    default: break;
  }
  return value;
}

CallValue ReadDefault(const Parameter& parameter, ArgumentStore& store) {
  const std::string text = parameter.defaultText.value_or("");
  const std::string what = "the default of " + parameter.name;
  CallValue value;
  value.type = parameter.type;
  try {
    switch (parameter.type) {
      case ValueType::Integer:
      case ValueType::Double:
      case ValueType::Boolean: return Scalar(parameter.type, text, what);
      case ValueType::String: {
        if (text.size() < 2 || text.front() != '"' || text.back() != '"') break;
        std::string unquoted;
        for (std::size_t i = 1; i + 1 < text.size(); ++i) {
          unquoted.push_back(text[i]);
          if (text[i] == '"') ++i;  // "" inside quotes stands for one quote
        }
        if (!unquoted.empty()) value.pointer = store.Keep(memhost::String(unquoted, kUTF8));
        return value;
      }
      default:
        if (EqualIgnoringCase(text, "nil")) return value;
        break;
    }
  } catch (const UsageError& error) {
    throw ToolError(error.what());
  }
  throw ToolError(what + " (\"" + text + "\") cannot be read as " + parameter.typeName);
}

}  // namespace zyltool
