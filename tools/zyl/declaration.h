// declaration.h - reading a registered method's declaration ("Name(a as string, n as integer = 0)
// as string") into its name, typed parameters and result type.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zyltool {

// The kinds of value that cross the host interface, each with its C shape: String, MemoryBlock,
// Object, Ptr and StringArray are pointers, Integer int64_t, Double double, Boolean int8_t.
// Unsupported marks a type the host knows but zyl cannot pass (Single, Int32, Color, arrays...).
enum class ValueType { Void, String, Integer, Double, Boolean, MemoryBlock, Ptr, StringArray, Object, Unsupported };

struct Parameter {
  std::string name;
  ValueType type = ValueType::Unsupported;
  std::string typeName;                    // as written: "String", "StyledText", "string()"
  bool extends = false;                    // "extends ref as StyledText": the extended object
  bool assigns = false;                    // "assigns value as T": the assigned value
  std::optional<std::string> defaultText;  // "= false" gives "false"; "Optional" the type's zero
};

struct Declaration {
  std::string name;
  std::vector<Parameter> parameters;
  ValueType result = ValueType::Void;
  std::string resultTypeName;  // empty for a method without result
};

// ParseDeclaration: reads a declaration as the host language writes it. Keywords and type names
// are matched without regard to case; blanks are free; an empty list entry (as in
// "Name(extends ref as X, )") is skipped. Forms: "Name(params) as T", "Name(params)",
// "Name as T", "Name". Returns nullopt and puts the reason in *error for text it cannot read:
// an unbalanced parenthesis, a parameter without "as", a missing name.
// Example: ParseDeclaration("StrZYL(d as double) as string", &e)->parameters[0].type == Double.
std::optional<Declaration> ParseDeclaration(std::string_view text, std::string* error);

// ExtensionDeclaration: the declaration a class-extension row has when it is called as a global
// method, with the extended object as first parameter ("extends ref as CLASS"); for a setter
// (assigning) the assigned value is added last as "assigns value as T", T being the getter's
// result type. "RTFDataZYL(SkipParagraphs as boolean = false) as string" of StyledText gives
// "RTFDataZYL(extends ref as StyledText, SkipParagraphs as boolean = false) as string".
std::string ExtensionDeclaration(std::string_view declaration, std::string_view className, bool assigning);

// TypeLabel: a short lower-case name for the kind ("string", "integer", "MemoryBlock", ...).
std::string_view TypeLabel(ValueType type);

// EqualIgnoringCase: ASCII case-insensitive equality.
bool EqualIgnoringCase(std::string_view a, std::string_view b);

// SameDeclaration: whether two declaration texts are equal once blanks are removed and ASCII
// letters folded ("StringANDZYL(a as string,b as string)" matches with a blank after the comma).
bool SameDeclaration(std::string_view a, std::string_view b);

}  // namespace zyltool
