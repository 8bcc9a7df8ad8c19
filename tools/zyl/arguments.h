// arguments.h - method arguments as written on zyl's command line, and reading them into host
// values of the types a declaration asks for.
//
// Syntax of one argument (documented in `zyl help`):
//   [str:|mem:|ptr:] [enc=ENCODING:] SOURCE       for strings, memory blocks, pointer data
//   SOURCE: TEXT | text:TEXT | esc:TEXT | hex:HEX | @PATH | - | nil:
//   integers (42, -7, 0x1F), doubles (3.5, 1e-3), booleans (true, false, 1, 0) as written.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <memhost.h>

#include "declaration.h"
#include "ffi_call.h"

namespace zyltool {

// CommandArgument: one argument taken apart, not yet read (files and standard input are read only
// when the argument is bound).
struct CommandArgument {
  enum class Kind { Any, String, MemoryBlock, Ptr };
  enum class Source { Text, Escaped, Hex, File, Stdin, Nil };
  std::string written;  // as given
  Kind kind = Kind::Any;
  std::optional<uint32_t> encoding;  // from "enc=...:"
  Source source = Source::Text;
  std::string payload;  // the text, escaped text, hex digits or path
};

// ParseArgument: takes an argument apart. Throws UsageError for an unknown encoding name.
CommandArgument ParseArgument(std::string_view written);

// SourceBytes: the bytes an argument's source stands for, as written (plain text stays UTF-8):
// escapes and hex decoded, files and standard input read. Throws UsageError or ToolError.
std::string SourceBytes(const CommandArgument& argument);

// IsPlainText: whether the argument is text written without any prefix that does not read as a
// number or a boolean ("hello", not "42", "true" or "hex:41").
bool IsPlainText(const CommandArgument& argument);

// ArgumentFit: how well an argument suits a parameter: -1 it cannot be read as that type, 1 it can,
// 2 it is what the argument looks like ("42" fits integer 2, string 1; "mem:..." only MemoryBlock).
// Overload choice adds these up.
int ArgumentFit(const CommandArgument& argument, const Parameter& parameter);

// ArgumentStore: owns the host values and buffers made for one call and gives every host
// reference back when destroyed (before the host session ends).
class ArgumentStore {
 public:
  ArgumentStore() = default;
  ArgumentStore(const ArgumentStore&) = delete;
  ArgumentStore& operator=(const ArgumentStore&) = delete;

  REALstringStruct* Keep(memhost::String string);
  REALobjectStruct* Keep(memhost::Object object);
  void* Keep(std::string buffer);  // stable address of the buffer's bytes

 private:
  std::vector<memhost::String> strings_;
  std::vector<memhost::Object> objects_;
  std::deque<std::string> buffers_;
};

// ReadArgument: the value of an argument for a parameter, made in the current host session.
// Text (plain or text:) is UTF-8 and is converted to the argument's encoding; bytes (esc:, hex:,
// @file, -) are taken as they are and tagged with it. The encoding is the argument's enc=, else
// `defaultEncoding`. A StyledText parameter gets a new StyledText holding the text as one run.
// A Ptr value carries its size in `integer`. Throws UsageError for a value that cannot be read
// as the type, ToolError for a file that cannot be read.
CallValue ReadArgument(const CommandArgument& argument, const Parameter& parameter, uint32_t defaultEncoding,
                       ArgumentStore& store);

// ReadDefault: the value of a parameter's default ("= false", "=46", "= \"\""). Throws ToolError
// when the default cannot be read as the parameter's type.
CallValue ReadDefault(const Parameter& parameter, ArgumentStore& store);

}  // namespace zyltool
