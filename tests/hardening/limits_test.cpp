// Huge and limit inputs for every method: each integer parameter at INT64_MIN and INT64_MAX (and
// at the host's 32-bit limits), strings of a single byte, UTF-16 and UTF-32 strings with odd byte
// counts, pointers with negative sizes, and string data without a terminator. No crash, no read
// past a buffer (the sanitizer presets), no leak, no host problem; the documented limits give
// their nil or exception, decided before anything is allocated.
#include <doctest/doctest.h>

#include <cstdlib>
#include <limits>
#include <set>

#include "call_cases.h"
#include "fuzz_support.h"
#include "support/plugin_host.h"

namespace {

using zyltool::CallValue;
using zyltool::ValueType;

// Calls one row with the given values, gives back the result and checks the host is clean.
// Returns the result as hardening::Describe writes it.
std::string CallRow(const zylfuzz::Callable& row, std::vector<CallValue> values, const std::string& what) {
  INFO(row.text << " with " << what);
  const std::size_t strings = memhost::LiveStrings(), objects = memhost::LiveObjects();
  const CallValue result = zyltool::CallWithFfi(row.function, values, row.declaration.result);
  const auto raised = memhost::TakeException();
  if (raised) {
    INFO(raised->className << ": " << raised->message);
    CHECK((raised->className == "OutOfMemoryException" || raised->className == "OutOfBoundsException"));
  }
  const std::string described = hardening::Describe(result);
  zylfuzz::ReleaseResult(result);
  // The arguments are still held by the caller: everything else must be back. (The property's
  // setter gives the StyledText new runs: the end-of-test check covers those.)
  bool styled = false;
  for (const zyltool::Parameter& parameter : row.declaration.parameters) styled = styled || parameter.extends;
  if (!styled) CHECK(memhost::LiveStrings() == strings);
  CHECK(memhost::LiveObjects() == objects);
  CHECK(memhost::LiveArrays() == 0);
  CHECK(memhost::OpenStringData() == 0);
  for (const std::string& problem : memhost::Problems()) FAIL_CHECK(problem);
  memhost::ClearProblems();
  return described;
}

// Ordinary values for every parameter: short strings, small integers, a StyledText of two runs.
std::vector<CallValue> OrdinaryValues(const zylfuzz::Callable& row, std::vector<memhost::String>& strings,
                                      std::vector<memhost::Object>& objects, const std::string& text,
                                      uint32_t encoding) {
  static const std::string kBytes = "ptr data\xC3\xA9\x00tail";
  std::vector<CallValue> values;
  for (const zyltool::Parameter& parameter : row.declaration.parameters) {
    CallValue value;
    value.type = parameter.type;
    switch (parameter.type) {
      case ValueType::String:
        strings.emplace_back(text, encoding);
        value.pointer = strings.back().get();
        break;
      case ValueType::Integer: value.integer = 3; break;
      case ValueType::Double: value.real = 2.5; break;
      case ValueType::Boolean: value.boolean = 1; break;
      case ValueType::Ptr:
        value.pointer = const_cast<char*>(kBytes.data());
        break;
      case ValueType::MemoryBlock:
        objects.emplace_back(memhost::AsObject(memhost::NewMemoryBlock(text)));
        value.pointer = objects.back().get();
        break;
      case ValueType::Object:
        objects.emplace_back(memhost::NewStyledText({{text, memhost::kUTF8, "Arial"}, {"\rb", memhost::kUTF8, ""}}));
        value.pointer = objects.back().get();
        break;
      default: break;
    }
    values.push_back(value);
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (zyltool::IsImpliedSize(row.declaration, i)) values[i].integer = static_cast<int64_t>(kBytes.size());
  }
  return values;
}

}  // namespace

TEST_CASE("every integer parameter at its 64-bit and 32-bit limits") {
  zyltest::PluginHost host;
  static constexpr int64_t kLimits[] = {std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(),
                                        -1, 0x7FFFFFFF + 1LL, 0xFFFFFFFFLL, 0x100000000LL, -0x80000000LL};
  for (const zylfuzz::Callable& row : zylfuzz::Callables()) {
    for (std::size_t i = 0; i < row.declaration.parameters.size(); ++i) {
      if (row.declaration.parameters[i].type != ValueType::Integer) continue;
      for (const int64_t limit : kLimits) {
        // A size of a pointer beyond its data would be the caller's fault, not the library's.
        if (zyltool::IsImpliedSize(row.declaration, i) && limit > 0) continue;
        std::vector<memhost::String> strings;
        std::vector<memhost::Object> objects;
        std::vector<CallValue> values = OrdinaryValues(row, strings, objects, "some text", memhost::kUTF8);
        values[i].integer = limit;
        CallRow(row, values, row.declaration.parameters[i].name + " = " + std::to_string(limit));
      }
    }
  }
}

TEST_CASE("single bytes, odd UTF-16 and UTF-32 byte counts, unterminated string data") {
  zyltest::PluginHost host;
  struct Text {
    const char* what;
    std::string bytes;
    uint32_t encoding;
  };
  const Text texts[] = {
      {"one byte", "x", memhost::kUTF8},
      {"one high byte", "\xE9", memhost::kNoEncoding},
      {"one zero byte", std::string(1, '\0'), memhost::kUTF8},
      {"UTF-16 of 3 bytes", std::string("a\0b", 3), memhost::kUTF16},
      {"UTF-16 of 1 byte", "a", memhost::kUTF16},
      {"UTF-16BE of 5 bytes", std::string("\0a\0bc", 5), memhost::kUTF16BE},
      {"UTF-32 of 7 bytes", std::string("a\0\0\0b\0\0", 7), memhost::kUTF32},
      {"UTF-32LE of 2 bytes", "ab", memhost::kUTF32LE},
      {"UTF-32BE of 5 bytes", std::string("\0\0\0ab", 5), memhost::kUTF32BE},
  };
  for (const zylfuzz::Callable& row : zylfuzz::Callables()) {
    for (const Text& text : texts) {
      // String data the host hands over without a terminator must make no difference.
      std::string results[2];
      for (const bool unterminated : {false, true}) {
        memhost::SetUnterminatedStringData(unterminated);
        std::vector<memhost::String> strings;
        std::vector<memhost::Object> objects;
        results[unterminated] = CallRow(row, OrdinaryValues(row, strings, objects, text.bytes, text.encoding),
                                        std::string(text.what) + (unterminated ? ", unterminated string data" : ""));
      }
      memhost::SetUnterminatedStringData(false);
      if (row.declaration.name != "RandomBytesStringZYL") {
        INFO(row.text << " with " << text.what);
        CHECK(results[0] == results[1]);
      }
    }
  }
}

TEST_CASE("pointers with negative or zero sizes and nil pointers give nil") {
  zyltest::PluginHost host;
  static const char kBytes[] = "Hello\0World";
  memhost::String placeholder("?", memhost::kUTF8);
  for (const int64_t size : {int64_t{-1}, int64_t{-12}, std::numeric_limits<int64_t>::min(), int64_t{0}}) {
    CAPTURE(size);
    CHECK(memhost::Call<REALstringStruct*>("CheckUTF8ZYL(data as ptr, size as Integer, Placeholder as string) as string",
                                           const_cast<char*>(kBytes), size, placeholder.get()) == nullptr);
    CHECK(memhost::Call<_REALarrayString*>(
              "GetStringsFromDataZYL(data as ptr, size as Integer, MinLength as Integer = 0) as string()",
              const_cast<char*>(kBytes), size, int64_t{0}) == nullptr);
  }
  CHECK(memhost::Call<REALstringStruct*>("CheckUTF8ZYL(data as ptr, size as Integer, Placeholder as string) as string",
                                         static_cast<void*>(nullptr), int64_t{5}, placeholder.get()) == nullptr);
  CHECK(memhost::Call<_REALarrayString*>(
            "GetStringsFromDataZYL(data as ptr, size as Integer, MinLength as Integer = 0) as string()",
            static_cast<void*>(nullptr), int64_t{5}, int64_t{0}) == nullptr);
}

TEST_CASE("results past the host's 32-bit length are refused before anything is allocated") {
  zyltest::PluginHost host;
  memhost::String ab("ab", memhost::kUTF8);
  // Each of these would need more than 2 GiB: the library must decide from the sizes alone.
  CHECK(memhost::Call<REALstringStruct*>("CreateStringZYL(Length as integer, Content as String) as string",
                                         int64_t{0x80000000LL}, ab.get()) == nullptr);
  const auto raised = memhost::TakeException();
  REQUIRE(raised.has_value());
  CHECK(raised->className == "OutOfMemoryException");
  CHECK(memhost::Call<REALstringStruct*>("RandomBytesStringZYL(Length as integer, ASCII as boolean=false) as string",
                                         int64_t{0x80000000LL}, int8_t{0}) == nullptr);
  memhost::String input(std::string(4096, 'x'), memhost::kUTF8);
  memhost::String empty;
  // Groups of 2^16 digits, 2^16 groups a line: one line alone passes 4 GiB.
  CHECK(memhost::Call<REALstringStruct*>(
            "HexstringZYL(input as string, hexlen as integer, linelen as integer, linestart as string, lineend as "
            "string, spacer as string,filler as string) as string",
            input.get(), int64_t{1} << 16, int64_t{1} << 16, empty.get(), empty.get(), ab.get(), empty.get()) == nullptr);
  CHECK_FALSE(memhost::TakeException().has_value());
}

// Results of 1 to 2 GiB: the library builds them, memory permitting. Needs several GiB, so it
// runs only when ZYL_HUGE_TESTS is set.
TEST_CASE("results just below the host's 32-bit length (ZYL_HUGE_TESTS)") {
  if (std::getenv("ZYL_HUGE_TESTS") == nullptr) return;
  zyltest::PluginHost host;
  memhost::String ab("ab", memhost::kUTF8);
  memhost::String made(memhost::Call<REALstringStruct*>(
      "CreateStringZYL(Length as integer, Content as String) as string", int64_t{0x7FFFFFFF}, ab.get()));
  const auto raised = memhost::TakeException();
  if (raised) {
    CHECK(raised->className == "OutOfMemoryException");
  } else {
    CHECK(memhost::Bytes(made.get()).size() == 0x7FFFFFFFu);
  }
}

TEST_CASE("the case table calls each of the 74 rows, on both registration routes") {
  for (const double version : {2024.0, 2011.0}) {
    zyltest::PluginHost host(version);
    const hardening::Caller caller;
    std::set<std::string> called;
    for (const hardening::Case& c : hardening::Cases()) called.insert(caller.Declaration(c));
    const std::vector<zylfuzz::Callable> rows = zylfuzz::Callables();
    CHECK(rows.size() == 74);
    for (const zylfuzz::Callable& row : rows) CHECK_MESSAGE(called.count(row.text) == 1, row.text);
  }
}
