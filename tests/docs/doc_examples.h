// doc_examples.h - runs the examples of the reference pages through the in-memory host.
//
// An example is a fenced block tagged "xojo". It reads as Xojo code; each line is a statement:
//
//   Var mb As MemoryBlock = "hi" + ChrB(0) + "abc"            declare a variable
//   st.RTFDataZYL = "{\rtf1 Hello}"                           assign (extension setter)
//   InStrBytesZYL("hello", "lo")            // → 3            call, with its result
//   EncodingToHexZYL("Az")                  // → "417A" (ASCII)
//   StringXORZYL("ab", "k", 5)              // → raises OutOfBoundsException
//
// Every expression statement must state its result after "// →", on its line or on the comment
// line after it; the comment lines that follow continue the result when they start with "+" or
// while a parenthesis of it is open. An exception is stated as "// → raises CLASS" with an
// optional message. "// logs "TEXT"" lines list the log lines the statement writes ("// logs
// nothing": none). A string
// result states its encoding: (UTF8), (UTF16), (ASCII), (no encoding) ...
// docs/conventions.md describes the whole syntax for readers.
//
// A call resolves to exactly one registered declaration by name (exact case), the number of
// arguments (defaults fill the rest) and their kinds, and runs the function the host registered
// under it. Nothing is run that is not registered.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "doc_pages.h"

namespace zyldocs {

struct ExampleResult {
  int statements = 0;
  int checks = 0;                          // results, exceptions and log lines compared
  std::vector<std::string> failures;       // "file:line: what went wrong"
  std::vector<std::string> declarations;   // every registered declaration the example called
};

// RunExample: runs one example. A host session with the plug-in loaded must be current; every
// host value the example makes is given back before it returns.
ExampleResult RunExample(const CodeBlock& block, const std::string& file);

// RenderString: bytes with an encoding in the examples' syntax ("\"café\" (UTF16)",
// "ChrB(&h80) + \"ab\" (no encoding)"), as failures show results.
std::string RenderString(const std::string& bytes, uint32_t encoding);

}  // namespace zyldocs
