// doc_values.h - the words and values of the examples' language (doc_examples.h): tokens,
// encodings by their Xojo names, values, and how a value is written back in that language.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <memhost.h>

namespace zyldocs {

// A fault of an example: a syntax error, a misspelt name, a value of the wrong kind.
struct ExampleError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::string Trim(std::string_view s);
bool StartsWith(std::string_view s, std::string_view prefix);

// ---------------------------------------------------------------------------------------------
// Tokens.

enum class Tok { End, String, Integer, Double, Colour, Ident, LParen, RParen, Comma, Plus, Minus, Star, Slash, Equals, Dot };

struct Token {
  Tok type = Tok::End;
  std::string text;  // identifier, or the string literal's bytes
  int64_t integer = 0;
  double real = 0;
  int decimals = 0;  // digits after the point of a double literal
};

// Tokenize: the tokens of one statement or result, ending in Tok::End. Throws ExampleError.
std::vector<Token> Tokenize(std::string_view s);
// IsIdent: the token is that identifier, without regard to case (as Xojo reads keywords).
bool IsIdent(const Token& t, std::string_view name);
bool SameName(std::string_view a, std::string_view b);

// ---------------------------------------------------------------------------------------------
// Encodings by the names of Xojo's Encodings module ("UTF8", "ISOLatin1" ...).

std::optional<uint32_t> EncodingByName(std::string_view name);
// EncodingLabel: the name, "no encoding", or the number for one without a name.
std::string EncodingLabel(uint32_t encoding);

// ---------------------------------------------------------------------------------------------
// Values.

enum class Kind { Void, Nil, String, Integer, Double, Boolean, Colour, Encoding, MemoryBlock, StyledText, StyleRun, StyleFlag, Array, Paragraph, Namespace };

struct Value {
  Kind kind = Kind::Void;
  std::string bytes;  // String, MemoryBlock; the name of a StyleFlag or Namespace
  uint32_t encoding = memhost::kNoEncoding;  // String, Encoding
  int64_t integer = 0;  // Integer, Colour
  double real = 0;
  int decimals = -1;  // a Double written as a literal: its digits after the point
  bool boolean = false;
  memhost::RunStyle run;
  std::vector<memhost::RunStyle> runs;
  std::vector<Value> items;
  memhost::ParagraphSpan paragraph;
  std::string variable;  // names the variable the value was read from (its host value is passed)
};

Value MakeString(std::string bytes, uint32_t encoding);
Value NilValue();
Value MakeInteger(int64_t n);
Value MakeBoolean(bool b);
std::string_view KindName(Kind kind);
std::string Utf8Of(uint32_t code);
// Quote: a Xojo string literal of the text ("" for each quote).
std::string Quote(std::string_view text);
// RenderText: bytes in the language ("\"a\" + Chr(13)", "ChrB(&h80)", "DecodeHex(\"C3\")").
std::string RenderText(const std::string& bytes, uint32_t encoding);
// Render: a value as a result is written ("\"417A\" (ASCII)", "Nil", "Array(...)").
std::string Render(const Value& v);
// AsUTF8: text as UTF-8 for comparison; no encoding reads as ISO 8859-1, as the host shows it.
std::string AsUTF8(const std::string& bytes, uint32_t encoding);

}  // namespace zyldocs
