// declaration.cpp - the declaration reader.
#include "declaration.h"

#include <cstddef>

namespace zyltool {

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::vector<std::string_view> SplitWords(std::string_view text) {
  std::vector<std::string_view> words;
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && IsBlank(text[i])) ++i;
    const std::size_t start = i;
    while (i < text.size() && !IsBlank(text[i])) ++i;
    if (i > start) words.push_back(text.substr(start, i - start));
  }
  return words;
}

// The position of the parenthesis closing the one at `open`, or npos.
std::size_t MatchingParenthesis(std::string_view text, std::size_t open) {
  int depth = 0;
  for (std::size_t i = open; i < text.size(); ++i) {
    if (text[i] == '(') ++depth;
    if (text[i] == ')' && --depth == 0) return i;
  }
  return std::string_view::npos;
}

struct TypeRow {
  const char* name;
  ValueType type;
};

// Host type names zyl passes, and the ones it knows but cannot pass.
constexpr TypeRow kTypes[] = {
    {"string", ValueType::String},        {"integer", ValueType::Integer},
    {"int64", ValueType::Integer},        {"double", ValueType::Double},
    {"boolean", ValueType::Boolean},      {"memoryblock", ValueType::MemoryBlock},
    {"ptr", ValueType::Ptr},              {"string()", ValueType::StringArray},
    {"single", ValueType::Unsupported},   {"int8", ValueType::Unsupported},
    {"int16", ValueType::Unsupported},    {"int32", ValueType::Unsupported},
    {"uint8", ValueType::Unsupported},    {"uint16", ValueType::Unsupported},
    {"uint32", ValueType::Unsupported},   {"uint64", ValueType::Unsupported},
    {"color", ValueType::Unsupported},    {"currency", ValueType::Unsupported},
    {"variant", ValueType::Unsupported},  {"cstring", ValueType::Unsupported},
    {"wstring", ValueType::Unsupported},  {"text", ValueType::Unsupported},
};

// The kind of a type name: a listed name, another array (unsupported), or an object class.
ValueType TypeOf(std::string_view name) {
  for (const TypeRow& row : kTypes) {
    if (EqualIgnoringCase(name, row.name)) return row.type;
  }
  if (name.find('(') != std::string_view::npos) return ValueType::Unsupported;
  return ValueType::Object;
}

// The default an "Optional" parameter takes: its type's zero.
std::string ZeroOf(ValueType type) {
  switch (type) {
    case ValueType::Integer: return "0";
    case ValueType::Double: return "0.0";
    case ValueType::Boolean: return "false";
    case ValueType::String: return "\"\"";
    default: return "nil";
  }
}

// One parameter: [extends|assigns|byref|byval|optional]... name as type [= default].
std::optional<Parameter> ParseParameter(std::string_view text, std::string* error) {
  Parameter parameter;
  const std::size_t equals = text.find('=');
  if (equals != std::string_view::npos) {
    parameter.defaultText = std::string(Trim(text.substr(equals + 1)));
    text = text.substr(0, equals);
  }
  std::vector<std::string_view> words = SplitWords(text);
  bool optional = false;
  std::size_t i = 0;
  for (; i < words.size(); ++i) {
    if (EqualIgnoringCase(words[i], "extends")) {
      parameter.extends = true;
    } else if (EqualIgnoringCase(words[i], "assigns")) {
      parameter.assigns = true;
    } else if (EqualIgnoringCase(words[i], "optional")) {
      optional = true;
    } else if (!EqualIgnoringCase(words[i], "byref") && !EqualIgnoringCase(words[i], "byval")) {
      break;
    }
  }
  if (words.size() != i + 3 || !EqualIgnoringCase(words[i + 1], "as")) {
    *error = "cannot read the parameter \"" + std::string(Trim(text)) + "\" (expected \"name as type\")";
    return std::nullopt;
  }
  parameter.name = std::string(words[i]);
  parameter.typeName = std::string(words[i + 2]);
  parameter.type = TypeOf(parameter.typeName);
  if (parameter.type == ValueType::StringArray) parameter.type = ValueType::Unsupported;  // results only
  if (optional && !parameter.defaultText) parameter.defaultText = ZeroOf(parameter.type);
  return parameter;
}

// The result part: "" (no result) or "as T".
bool ParseResult(std::string_view text, Declaration& declaration, std::string* error) {
  const std::vector<std::string_view> words = SplitWords(text);
  if (words.empty()) return true;
  if (words.size() == 2 && EqualIgnoringCase(words[0], "as")) {
    declaration.resultTypeName = std::string(words[1]);
    declaration.result = TypeOf(words[1]);
    return true;
  }
  *error = "cannot read the result \"" + std::string(Trim(text)) + "\" (expected \"as type\")";
  return false;
}

}  // namespace

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

bool SameDeclaration(std::string_view a, std::string_view b) {
  auto squeeze = [](std::string_view text) {
    std::string out;
    for (char c : text) {
      if (!IsBlank(c)) out.push_back(Lower(c));
    }
    return out;
  };
  return squeeze(a) == squeeze(b);
}

std::optional<Declaration> ParseDeclaration(std::string_view text, std::string* error) {
  text = Trim(text);
  Declaration declaration;
  const std::size_t open = text.find('(');
  std::size_t nameEnd = 0;
  while (nameEnd < text.size() && text[nameEnd] != '(' && !IsBlank(text[nameEnd])) ++nameEnd;
  declaration.name = std::string(text.substr(0, nameEnd));
  if (declaration.name.empty()) {
    *error = "the declaration has no name";
    return std::nullopt;
  }
  std::string_view rest = text.substr(nameEnd);
  if (open != std::string_view::npos && Trim(text.substr(nameEnd, open - nameEnd)).empty()) {
    const std::size_t close = MatchingParenthesis(text, open);
    if (close == std::string_view::npos) {
      *error = "unbalanced parenthesis in \"" + std::string(text) + "\"";
      return std::nullopt;
    }
    std::string_view list = text.substr(open + 1, close - open - 1);
    while (!list.empty()) {
      std::size_t comma = 0;
      for (int depth = 0; comma < list.size() && (list[comma] != ',' || depth > 0); ++comma) {
        depth += list[comma] == '(' ? 1 : list[comma] == ')' ? -1 : 0;
      }
      const std::string_view piece = Trim(list.substr(0, comma));
      list = comma < list.size() ? list.substr(comma + 1) : std::string_view{};
      if (piece.empty()) continue;
      std::optional<Parameter> parameter = ParseParameter(piece, error);
      if (!parameter) return std::nullopt;
      declaration.parameters.push_back(std::move(*parameter));
    }
    rest = text.substr(close + 1);
  }
  if (!ParseResult(rest, declaration, error)) return std::nullopt;
  return declaration;
}

std::string ExtensionDeclaration(std::string_view declaration, std::string_view className, bool assigning) {
  declaration = Trim(declaration);
  std::size_t nameEnd = 0;
  while (nameEnd < declaration.size() && declaration[nameEnd] != '(' && !IsBlank(declaration[nameEnd])) ++nameEnd;
  const std::string_view name = declaration.substr(0, nameEnd);
  std::string_view inner;
  std::string_view after = declaration.substr(nameEnd);
  if (nameEnd < declaration.size() && declaration[nameEnd] == '(') {
    const std::size_t close = MatchingParenthesis(declaration, nameEnd);
    if (close != std::string_view::npos) {
      inner = Trim(declaration.substr(nameEnd + 1, close - nameEnd - 1));
      after = declaration.substr(close + 1);
    }
  }
  std::string out = std::string(name) + "(extends ref as " + std::string(className);
  if (!inner.empty()) out += ", " + std::string(inner);
  if (assigning) return out + ", assigns value" + std::string(after) + ")";
  return out + ")" + std::string(after);
}

std::string_view TypeLabel(ValueType type) {
  switch (type) {
    case ValueType::Void: return "nothing";
    case ValueType::String: return "string";
    case ValueType::Integer: return "integer";
    case ValueType::Double: return "double";
    case ValueType::Boolean: return "boolean";
    case ValueType::MemoryBlock: return "MemoryBlock";
    case ValueType::Ptr: return "ptr";
    case ValueType::StringArray: return "string()";
    case ValueType::Object: return "object";
    case ValueType::Unsupported: return "unsupported type";
  }
  return "?";
}

}  // namespace zyltool
